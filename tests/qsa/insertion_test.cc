// Insertion, swap and removal of the SFP behind the adapter, the insertion
// queries and the serial-number match.
#include <functional>

#include "qsa_harness.h"

namespace {

using namespace qsatest;
using namespace sfpdrv::msg;
using Strings = std::vector<std::string>;

std::vector<uint32_t> g_phases;
qsa_port_ctx *g_watched = nullptr;

// Records each phase, plus 10 while the adapter still holds an SFP port: a
// removal tells the platform before it lets go of the deleted port.
int record_phase(void * /*opaque*/, uint32_t phase) {
  g_phases.push_back(phase + (qsa_is_sfp_instantiated(g_watched) != 0 ? 10 : 0));
  return 0;
}

class QsaInsertionTest : public QsaTest {
protected:
  qsa_port_ctx *create_watched(sfpsim::Adapter &adapter) {
    qsa_platform_ops ops = adapter.platform_ops(kPort, 0);
    ops.oir_notify_cb = record_phase;
    g_watched = create_adapter(ops);
    return g_watched;
  }
};

TEST_F(QsaInsertionTest, EveryRowOfTheStateTable) {
  using Change = std::function<void(QsaInsertionTest &, sfpsim::Adapter &)>;
  const Change nothing = [](auto &, auto &) {};
  const Change seat_other = [](auto &t, auto &a) { a.seat(t.new_module("25gbase-sr")); };
  const Change pull = [](auto &, auto &a) { a.remove(); };
  const Change fail_presence = [](auto &, auto &a) { a.fail_at(0, 1, kBusError); };
  const Change silence = [](auto &, auto &a) { a.set_ext_id(0); };
  const Change fail_ext_id = [](auto &, auto &a) { a.fail_at(0, 222, kBusError); };
  const Change swap_then_fail_ext_id = [&](auto &t, auto &a) {
    seat_other(t, a);
    a.fail_at(0, 222, kBusError, 1);
  };
  struct Row {
    const char *name;
    Change change;
    // port_kept: the SFP port of creation is still there; port_deleted: gone.
    bool seated_at_creation, notified, port_kept, port_deleted;
    const sfpdrv::TraceMsg *msg;
    const char *text;
  };
  const Row rows[] = {
      {"none", nothing, false, false, false, false, nullptr, nullptr},
      {"insert", seat_other, false, true, false, false, &kOirReported,
       "Port 3: OIR reported because qsa_is_sfp_inserted:true,qsa_sfp_instantiated "
       "false,qsa_sfp_swapped false\n"},
      {"unchanged", nothing, true, false, true, false, nullptr, nullptr},
      {"swap", seat_other, true, true, true, false, &kOirReported,
       "Port 3: OIR reported because qsa_is_sfp_inserted:true,qsa_sfp_instantiated "
       "true,qsa_sfp_swapped true\n"},
      {"remove", pull, true, true, false, true, &kOirRemoved,
       "Port 3: sfp is removed, OIR reported becauseqsa_is_sfp_inserted:false, "
       "qsa_sfp_instantiated true,qsa_sfp_swapped false\n"},
      {"presence unreadable", fail_presence, true, true, false, true, &kOirInsertedRereadFailed,
       "Port 3: QSA sfp present read failed : Read error\n"},
      {"adapter not answering", silence, true, false, true, false, &kOirNotPresent,
       "Port 3: Error: QSA is not present, Ext id :0\n"},
      {"identifier unreadable", fail_ext_id, true, false, true, false, &kOirPresentReadFailed,
       "Port 3: QSA present read failed : Read error\n"},
      {"identifier unreadable after a swap", swap_then_fail_ext_id, true, false, true, false,
       &kOirPresentRereadFailed, "Port 3: QSA present read failed : Read error\n"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.name);
    sfpsim::Adapter &adapter = new_adapter(row.seated_at_creation ? "10gbase-sr" : nullptr);
    qsa_port_ctx *port = create_watched(adapter);
    sfp_port_ctx *created = port->sfp_port;
    row.change(*this, adapter);
    g_phases.clear();
    clear_qsa_traces();

    EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
    const std::vector<uint32_t> told =
        row.seated_at_creation ? std::vector<uint32_t>{10, 11} : std::vector<uint32_t>{0, 1};
    EXPECT_EQ(g_phases, row.notified ? told : std::vector<uint32_t>{});
    EXPECT_EQ(port->sfp_port, row.port_kept ? created : nullptr);
    EXPECT_EQ(sfptest::registry().size(), row.port_kept ? 1u : 0u);
    EXPECT_EQ(adapter.lower(sfpsim::Adapter::kTxDisable), row.port_deleted ? 1 : 0);
    if (row.msg != nullptr) {
      EXPECT_EQ(texts_of(*row.msg), Strings{row.text});
    } else {
      EXPECT_TRUE(texts_of(kOirReported).empty() && texts_of(kOirRemoved).empty());
      EXPECT_TRUE(sfptest::records("qsa_err").empty());
    }
    g_phases.clear();
    EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
    EXPECT_EQ(g_phases.empty(), row.port_deleted || !row.notified) << "a removal is told once";
    EXPECT_EQ(qsa_port_delete(port), SFP_RC_OK);
  }
}

TEST_F(QsaInsertionTest, SwapIsToldByTheSerialNumberAfterARefresh) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_watched(adapter);
  const std::string stored(port->sfp_port->eeprom + 68, port->sfp_port->eeprom + 84);
  // Only the handshake's refresh shows the new serial number.
  std::copy_n("SIM99999999     ", 16, adapter.seated()->memory().a0.begin() + 68);
  EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
  EXPECT_EQ(texts_of(kOirSwapped),
            Strings{"Port 3: SFP is Swapped, new sfp serial number read SIM99999999     \n"});
  const auto mismatch = sfptest::records_of("sfp_evt", kSfpSerialMismatch);
  ASSERT_EQ(mismatch.size(), 1u);
  EXPECT_EQ(mismatch[0].text, "Controller 0 Port 3: SFP " + stored + "/SIM99999999     \n");
  EXPECT_EQ(sfp_vendor_sn_match(port->sfp_port, port->sfp_port->eeprom + 68, 16), 1u);
  EXPECT_EQ(sfp_vendor_sn_match(nullptr, port->sfp_port->eeprom + 68, 16), 0u);
}

TEST_F(QsaInsertionTest, QueriesReportFailuresAsAbsence) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  EXPECT_EQ(qsa_is_sfp_inserted(port) + is_qsa_inserted(port) + qsa_is_sfp_instantiated(port), 3u);
  adapter.fail_all(kBusError);
  EXPECT_EQ(qsa_is_sfp_inserted(port) + is_qsa_inserted(port), 0u);
  EXPECT_EQ(texts_of(kQsaInsertedReadFailed).size() + texts_of(kQsaPresentReadFailed).size(), 2u);
  clear_qsa_traces();
  EXPECT_EQ(qsa_is_sfp_inserted(nullptr) + is_qsa_inserted(nullptr), 0u);
  EXPECT_EQ(texts_of(kQsaNullPort), (Strings{"NULL Qsa Port\n", "NULL Qsa Port\n"}));
}

} // namespace
