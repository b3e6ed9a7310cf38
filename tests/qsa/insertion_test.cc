// Insertion, swap and removal of the SFP behind the adapter, the insertion
// queries and the serial-number match.
#include <functional>

#include "qsa_harness.h"

namespace {

using qsatest::kBusError;
using sfptest::records;
using sfptest::records_of;

std::vector<uint32_t> g_phases;

int record_phase(void * /*opaque*/, uint32_t phase) {
  g_phases.push_back(phase);
  return 0;
}

class QsaInsertionTest : public qsatest::QsaTest {
protected:
  qsa_port_ctx *create_watched(sfpsim::Adapter &adapter) {
    qsa_platform_ops ops = adapter.platform_ops(qsatest::kPort, 0);
    ops.oir_notify_cb = record_phase;
    return create_adapter(ops);
  }
};

// Texts of the event and error buffers' records that contain `part`.
size_t count_containing(const char *buffer, const std::string &part) {
  size_t n = 0;
  for (const auto &r : records(buffer)) {
    n += r.text.find(part) != std::string::npos ? 1u : 0u;
  }
  return n;
}

TEST_F(QsaInsertionTest, EveryRowOfTheStateTable) {
  struct Row {
    const char *name;
    bool seated_at_creation;
    std::function<void(QsaInsertionTest &, sfpsim::Adapter &)> change;
    bool notified;
    bool port_kept;    // the SFP port of creation is still there
    bool port_deleted; // ... and deleted
    const char *message;
  };
  const Row rows[] = {
      {"none", false, [](auto &, auto &) {}, false, false, false, nullptr},
      {"insert", false, [](auto &t, auto &a) { a.seat(t.new_module("25gbase-sr")); }, true, false,
       false,
       "OIR reported because qsa_is_sfp_inserted:true,qsa_sfp_instantiated false,qsa_sfp_swapped "
       "false"},
      {"unchanged", true, [](auto &, auto &) {}, false, true, false, nullptr},
      {"swap", true, [](auto &t, auto &a) { a.seat(t.new_module("25gbase-sr")); }, true, true,
       false, "qsa_is_sfp_inserted:true,qsa_sfp_instantiated true,qsa_sfp_swapped true"},
      {"remove", true, [](auto &, auto &a) { a.remove(); }, true, false, true,
       "sfp is removed, OIR reported becauseqsa_is_sfp_inserted:false, qsa_sfp_instantiated "
       "true,qsa_sfp_swapped false"},
      {"presence unreadable", true,
       [](auto &, auto &a) { a.fail_at(0, sfpsim::Adapter::kPresence, kBusError); }, true, false,
       true, "Port 3: QSA sfp present read failed : Read error"},
      {"adapter not answering", true, [](auto &, auto &a) { a.set_ext_id(0); }, false, true, false,
       "Port 3: Error: QSA is not present, Ext id :0"},
      {"identifier unreadable", true,
       [](auto &, auto &a) { a.fail_at(0, sfpsim::Adapter::kExtId, kBusError); }, false, true,
       false, "Port 3: QSA present read failed : Read error"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.name);
    sfpsim::Adapter &adapter = new_adapter(row.seated_at_creation ? "10gbase-sr" : nullptr);
    qsa_port_ctx *port = create_watched(adapter);
    sfp_port_ctx *created = port->sfp_port;
    ASSERT_EQ(created != nullptr, row.seated_at_creation);
    row.change(*this, adapter);
    adapter.clear_log();
    g_phases.clear();
    pelog_clear(pelog_find("qsa_evt"));
    pelog_clear(pelog_find("qsa_err"));

    EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
    EXPECT_EQ(g_phases, (row.notified ? std::vector<uint32_t>{0, 1} : std::vector<uint32_t>{}));
    EXPECT_EQ(port->sfp_port, row.port_kept ? created : nullptr);
    EXPECT_EQ(sfptest::registry().size(), row.port_kept ? 1u : 0u);
    EXPECT_EQ(adapter.lower(sfpsim::Adapter::kTxDisable), row.port_deleted ? 1 : 0);
    if (row.message != nullptr) {
      EXPECT_EQ(count_containing("qsa_evt", row.message) + count_containing("qsa_err", row.message),
                row.name == std::string("presence unreadable") ? 2u : 1u);
    } else {
      EXPECT_EQ(count_containing("qsa_evt", "OIR reported"), 0u);
      EXPECT_TRUE(records("qsa_err").empty());
    }
    // A second poll finds nothing new once the SFP port is gone.
    if (row.port_deleted) {
      g_phases.clear();
      EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
      EXPECT_TRUE(g_phases.empty());
    }
    EXPECT_EQ(qsa_port_delete(port), SFP_RC_OK);
  }
}

TEST_F(QsaInsertionTest, SwapIsToldByTheSerialNumber) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_watched(adapter);
  // The same kind of module with another serial number.
  sfpsim::Module &other = new_module("10gbase-sr");
  std::copy_n("SIM99999999     ", 16, other.memory().a0.begin() + 68);
  adapter.seat(other);
  EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK);
  const auto swapped = records_of("qsa_evt", sfpdrv::msg::kOirSwapped);
  ASSERT_EQ(swapped.size(), 1u);
  EXPECT_EQ(swapped[0].text,
            "Port 3: SFP is Swapped, new sfp serial number read SIM99999999     \n");
  const std::string stored(port->sfp_port->eeprom + 68, port->sfp_port->eeprom + 84);
  const auto mismatch = records_of("sfp_evt", sfpdrv::msg::kSfpSerialMismatch);
  ASSERT_EQ(mismatch.size(), 1u);
  EXPECT_EQ(mismatch[0].text, "Controller 0 Port 3: SFP " + stored + "/SIM99999999     \n");
  EXPECT_EQ(sfp_vendor_sn_match(port->sfp_port, port->sfp_port->eeprom + 68, 16), 1u);
  EXPECT_EQ(sfp_vendor_sn_match(nullptr, port->sfp_port->eeprom + 68, 16), 0u);
}

TEST_F(QsaInsertionTest, QueriesReportFailuresAsAbsence) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  EXPECT_EQ(qsa_is_sfp_inserted(port), 1);
  EXPECT_EQ(is_qsa_inserted(port), 1u);
  EXPECT_EQ(qsa_is_sfp_instantiated(port), 1u);
  adapter.fail_all(kBusError);
  EXPECT_EQ(qsa_is_sfp_inserted(port), 0);
  EXPECT_EQ(is_qsa_inserted(port), 0u);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaInsertedReadFailed).size(), 1u);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaPresentReadFailed).size(), 1u);
  adapter.clear_faults();
  adapter.set_ext_id(0x0D);
  adapter.remove();
  EXPECT_EQ(qsa_is_sfp_inserted(port), 0);
  EXPECT_EQ(is_qsa_inserted(port), 0u);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaNotPresent).at(0).text,
            "Port 3: Error: QSA is not present, Ext id :13\n");
  EXPECT_EQ(qsa_is_sfp_inserted(nullptr), 0);
  EXPECT_EQ(is_qsa_inserted(nullptr), 0u);
  EXPECT_EQ(qsa_is_sfp_instantiated(nullptr), 0u);
}

} // namespace
