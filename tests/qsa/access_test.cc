// Paged adapter access, the data-ready handshake and the SFP callbacks'
// page map.
#include "platform/psleep.h"
#include "qsa_harness.h"

namespace {

using sfptest::records_of;

class QsaAccessTest : public qsatest::QsaTest {};

constexpr uint32_t R = SFP_ACCESS_READ;
constexpr uint32_t W = SFP_ACCESS_WRITE;
constexpr int kNone = -1;

// The page-select writes among the logged calls.
std::vector<int> select_writes(const std::vector<sfpsim::AdapterAccess> &log) {
  std::vector<int> out;
  for (const auto &a : log) {
    if (a.write && a.offset == sfpsim::Adapter::kPageSelect && a.length == 1) {
      out.push_back(a.bytes.at(0));
    }
  }
  return out;
}

TEST_F(QsaAccessTest, PageSelectAndRefusals) {
  struct Step {
    const char *what;
    qsa_page_code page;
    uint32_t direction;
    uint32_t offset;
    uint32_t length;
    uint32_t no_read_select;
    uint32_t no_write_select;
    sfp_rc rc;
    int select; // the byte written to 127, or kNone
    int32_t page_after;
  };
  const Step steps[] = {
      {"first upper access selects", 0xA04, R, 200, 56, 0, 0, 0, 4, 0xA04},
      {"same page: no select", 0xA04, R, 200, 1, 0, 0, 0, kNone, 0xA04},
      {"past the page end", 0xA04, R, 200, 57, 0, 0, 22, kNone, 0xA04},
      {"lower page: nothing written", 0xA0, R, 21, 1, 0, 0, 0, kNone, 0xA0},
      {"upper page again: selects", 0xA04, R, 200, 1, 0, 0, 0, 4, 0xA04},
      {"page 1 refused", 0xA01, R, 200, 1, 0, 0, 22, kNone, 0xA04},
      {"page 3 refused", 0xA03, W, 200, 1, 0, 0, 22, kNone, 0xA04},
      {"no read select: page 1 reaches the bus", 0xA01, R, 200, 1, 1, 0, 0, kNone, 0xA04},
      {"no write select does not spare a read", 0xA00, R, 200, 1, 0, 1, 0, 0, 0xA00},
      {"no write select: write unselected", 0xA02, W, 200, 1, 0, 1, 0, kNone, 0xA00},
      {"not a page code", 0x5, R, 200, 1, 0, 0, 22, kNone, 0xA00},
  };
  sfpsim::Adapter &adapter = new_adapter();
  qsa_port_ctx *port = create_adapter(adapter);
  port->current_page = -1;
  for (const Step &s : steps) {
    SCOPED_TRACE(s.what);
    adapter.clear_log();
    sfpdrv::qsa_set_page_select_flags(s.no_write_select, s.no_read_select);
    uint8_t buffer[64] = {};
    EXPECT_EQ(qsa_access(port, s.offset, s.length, s.page, buffer, s.direction), s.rc);
    const auto log = adapter.log();
    EXPECT_EQ(select_writes(log),
              s.select == kNone ? std::vector<int>{} : std::vector<int>{s.select});
    EXPECT_EQ(port->current_page, s.page_after);
    if (s.rc != SFP_RC_OK) {
      EXPECT_TRUE(log.empty());
      continue;
    }
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back().page, s.page == QSA_PAGE_LOWER ? 0 : s.page - 0xA00);
    EXPECT_EQ(log.back().offset, s.offset);
  }
  sfpdrv::qsa_set_page_select_flags(0, 0);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaCrossBoundary).size(), 1u);
  const auto invalid = records_of("qsa_err", sfpdrv::msg::kQsaPageNoValidData);
  ASSERT_EQ(invalid.size(), 2u);
  EXPECT_EQ(invalid[0].text, "Port 3: page 1 does not have valid data\n");
  EXPECT_EQ(invalid[1].text, "Port 3: page 3 does not have valid data\n");
}

// Every SFP read costs a handshake on the register of its page; a mirror
// that never refreshes costs 75 polls of 2 ms and is read stale.
TEST_F(QsaAccessTest, HandshakeOfSfpReads) {
  struct Case {
    uint8_t sfp_page;
    uint8_t offset;
    uint32_t latency;
    uint8_t reg;
    uint8_t mirror;
    uint64_t ms;
  };
  const Case cases[] = {
      {0, 20, 0, 116, 4, 1},
      {1, 96, 3, 117, 6, 7},
      {2, 20, 0, 117, 7, 1},
      {4, 20, 0, 117, 4, 1},
      {0, 20, sfpsim::kNeverRefresh, 116, 4, 150},
      {2, 20, sfpsim::kNeverRefresh, 117, 7, 150},
  };
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  sfpsim::Memory &memory = adapter.seated()->memory();
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "page " << int{c.sfp_page} << " latency " << c.latency);
    const bool fresh = c.latency != sfpsim::kNeverRefresh;
    // The module changes behind the mirror; only a refresh shows it.
    uint8_t &byte = c.mirror == 4   ? memory.a0[c.offset]
                    : c.mirror == 6 ? memory.a2_lower[c.offset]
                                    : memory.tables[0][c.offset];
    const uint8_t before = adapter.upper(c.mirror, static_cast<uint8_t>(c.offset + 128));
    byte = static_cast<uint8_t>(before + 1);
    adapter.set_refresh_latency(c.latency);
    adapter.clear_log();
    platform_clock_reset();
    pelog_clear(pelog_find("qsa_err"));

    uint8_t value = 0;
    EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, c.offset, c.sfp_page, 1, &value), 0);
    EXPECT_EQ(value, fresh ? byte : before);
    EXPECT_EQ(platform_clock_elapsed_ms(), c.ms);
    const auto log = adapter.log();
    ASSERT_GE(log.size(), 2u);
    EXPECT_TRUE(log.front().write && log.front().offset == c.reg) << "the handshake comes first";
    EXPECT_EQ(log.back().selected, c.mirror);
    EXPECT_EQ(log.back().offset, c.offset + 128);
    const auto not_ready = records_of("qsa_err", sfpdrv::msg::kQsaDataNotReady);
    ASSERT_EQ(not_ready.size(), fresh ? 0u : 1u);
    if (!fresh) {
      EXPECT_EQ(not_ready[0].text,
                "Port 3: Data read from page " + std::to_string(c.reg) + " is not ready\n");
    }
  }
}

TEST_F(QsaAccessTest, SfpAccessesBeyondTheMirrorAreRefused) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  uint8_t buffer[32] = {};
  EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, 96, SFP_PAGE_A0, 32, buffer), 0);
  EXPECT_EQ(adapter.log().back().offset, 224);
  EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, 97, SFP_PAGE_A0, 32, buffer), SFP_RC_INVALID);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaCrossBoundary).size(), 1u);
  // Creation of a tunable module reads table 2 at offset 128 and so fails.
  EXPECT_EQ(sfp_port_read(port->sfp_port, 128, SFP_PAGE_A2_TABLE2, 1, buffer), SFP_RC_INVALID);
}

TEST_F(QsaAccessTest, SfpWritesReachTheModuleThroughTheMirror) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  sfpsim::Module &sfp = *adapter.seated();
  ASSERT_TRUE(sfp.transmitter_on());
  pelog_clear(pelog_find("qsa_evt"));
  uint8_t soft_disable = 0x40;
  uint8_t table = 2;
  EXPECT_EQ(sfp_port_write(port->sfp_port, 110, SFP_PAGE_A2, 1, &soft_disable), SFP_RC_OK);
  EXPECT_EQ(sfp_port_write(port->sfp_port, 127, SFP_PAGE_A2, 1, &table), SFP_RC_OK);
  EXPECT_FALSE(sfp.transmitter_on());
  EXPECT_EQ(sfp.table_select(), 2);
  const auto writes = records_of("qsa_evt", sfpdrv::msg::kQsaWritingSfpEeprom);
  ASSERT_EQ(writes.size(), 2u);
  EXPECT_EQ(writes[0].text, "Port 3: Writing sfp eeprom from qsa page 2566\n");
  // With no SFP seated nothing acknowledges such a write.
  adapter.remove();
  EXPECT_EQ(sfpdrv::qsa_sfp_write_cb(port, 110, SFP_PAGE_A2, 1, &soft_disable),
            sfpsim::kAdapterNak);
}

} // namespace
