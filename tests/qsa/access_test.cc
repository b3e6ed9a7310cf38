// Paged adapter access, the data-ready handshake and the SFP callbacks'
// page map.
#include "platform/psleep.h"
#include "qsa_harness.h"

namespace {

using namespace qsatest;
using namespace sfpdrv::msg;
using Strings = std::vector<std::string>;

class QsaAccessTest : public QsaTest {};

constexpr uint32_t R = SFP_ACCESS_READ;
constexpr uint32_t W = SFP_ACCESS_WRITE;
constexpr uint32_t kNoRead = 1;  // no_read_page_select
constexpr uint32_t kNoWrite = 2; // no_write_page_select

TEST_F(QsaAccessTest, PageSelectAndRefusals) {
  struct Step {
    qsa_page_code page;
    uint32_t direction, offset, length, no_select;
    sfp_rc rc;
    const char *bus;
    int32_t page_after;
  };
  const Step steps[] = {
      {0xA04, R, 200, 56, 0, 0, "w0:127=04 r4:200", 0xA04},       // the first upper access selects
      {0xA04, R, 200, 1, 0, 0, "r4:200", 0xA04},                  // the same page again does not
      {0xA04, R, 200, 57, 0, 22, "", 0xA04},                      // past the page end
      {0xA0, R, 21, 1, 0, 0, "r0:21", 0xA0},                      // the lower page: nothing written
      {0xA04, R, 200, 1, 0, 0, "w0:127=04 r4:200", 0xA04},        // so the upper page selects again
      {0xA01, R, 200, 1, 0, 22, "", 0xA04},                       // pages 1 and 3 refused
      {0xA03, W, 200, 1, 0, 22, "", 0xA04},                       //
      {0xA01, R, 200, 1, kNoRead, 0, "r1:200", 0xA04},            // unless no select is due
      {0xA00, R, 200, 1, kNoWrite, 0, "w0:127=00 r0:200", 0xA00}, // a read ignores the write flag
      {0xA02, W, 200, 1, kNoWrite, 0, "w2:200=00", 0xA00},        // a write obeys it
      {0x5, R, 200, 1, 0, 22, "", 0xA00},                         // not a page code
  };
  sfpsim::Adapter &adapter = new_adapter();
  qsa_port_ctx *port = create_adapter(adapter);
  port->current_page = -1;
  for (size_t i = 0; i < std::size(steps); ++i) {
    const Step &s = steps[i];
    SCOPED_TRACE(i);
    adapter.clear_log();
    sfpdrv::qsa_set_page_select_flags(s.no_select & kNoWrite, s.no_select & kNoRead);
    uint8_t buffer[64] = {};
    EXPECT_EQ(qsa_access(port, s.offset, s.length, s.page, buffer, s.direction), s.rc);
    EXPECT_EQ(bus_summary(adapter), s.bus);
    EXPECT_EQ(port->current_page, s.page_after);
  }
  sfpdrv::qsa_set_page_select_flags(0, 0);
  EXPECT_EQ(texts_of(kQsaCrossBoundary).size(), 1u);
  EXPECT_EQ(texts_of(kQsaPageNoValidData), (Strings{"Port 3: page 1 does not have valid data\n",
                                                    "Port 3: page 3 does not have valid data\n"}));
}

// Every SFP read costs a handshake on the register of its page; a mirror
// that never refreshes costs 75 polls of 2 ms and is read stale, and a poll
// that fails ends the wait.
TEST_F(QsaAccessTest, HandshakeOfSfpReads) {
  constexpr uint32_t kNever = sfpsim::kNeverRefresh;
  struct Case {
    uint8_t sfp_page, offset;
    uint32_t latency;
    bool poll_fails;
    uint8_t reg, mirror;
    uint64_t ms;
  };
  const Case cases[] = {
      {0, 20, 0, false, 116, 4, 1},        {1, 96, 3, false, 117, 6, 7},
      {2, 20, 0, false, 117, 7, 1},        {4, 20, 0, false, 117, 4, 1},
      {0, 20, kNever, false, 116, 4, 150}, {2, 20, kNever, false, 117, 7, 150},
      {1, 96, 3, true, 117, 6, 1},
  };
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  sfpsim::Memory &memory = adapter.seated()->memory();
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "page " << int{c.sfp_page} << " latency " << c.latency);
    // The module changes behind the mirror; only a refresh shows it.
    uint8_t &byte = c.mirror == 4   ? memory.a0[c.offset]
                    : c.mirror == 6 ? memory.a2_lower[c.offset]
                                    : memory.tables[0][c.offset];
    const uint8_t before = adapter.upper(c.mirror, static_cast<uint8_t>(c.offset + 128));
    byte = static_cast<uint8_t>(before + 1);
    adapter.set_refresh_latency(c.latency);
    if (c.poll_fails) {
      adapter.fail_at(0, c.reg, kBusError);
    }
    adapter.clear_log();
    platform_clock_reset();
    clear_qsa_traces();

    uint8_t value = 0;
    EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, c.offset, c.sfp_page, 1, &value), 0);
    adapter.clear_faults();
    const bool timed_out = c.latency == kNever;
    EXPECT_EQ(value, timed_out || c.poll_fails ? before : byte);
    EXPECT_EQ(platform_clock_elapsed_ms(), c.ms);
    char handshake[32];
    char read[16];
    std::snprintf(handshake, sizeof handshake, "w0:%u=01 r0:%u", c.reg, c.reg);
    std::snprintf(read, sizeof read, "r%u:%u", c.mirror, c.offset + 128);
    const std::string bus = bus_summary(adapter);
    EXPECT_TRUE(bus.starts_with(handshake) && bus.ends_with(read)) << bus;
    EXPECT_EQ(texts_of(kQsaAccess).size(), 1u) << "handshake bytes are not traced";
    std::snprintf(read, sizeof read, "page %u", c.reg);
    EXPECT_EQ(texts_of(kQsaDataNotReady),
              timed_out ? Strings{"Port 3: Data read from " + std::string(read) + " is not ready\n"}
                        : Strings{});
  }
}

TEST_F(QsaAccessTest, SfpAccessesThroughTheMirror) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  sfpsim::Module &sfp = *adapter.seated();
  uint8_t buffer[32] = {};
  EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, 96, SFP_PAGE_A0, 32, buffer), 0);
  EXPECT_TRUE(bus_summary(adapter).ends_with("w0:127=04 r4:224"));
  EXPECT_EQ(sfpdrv::qsa_sfp_read_cb(port, 97, SFP_PAGE_A0, 32, buffer), SFP_RC_INVALID);
  // Creation of a tunable module reads table 2 at offset 128 and so fails.
  EXPECT_EQ(sfp_port_read(port->sfp_port, 128, SFP_PAGE_A2_TABLE2, 1, buffer), SFP_RC_INVALID);
  EXPECT_EQ(texts_of(kQsaCrossBoundary).size(), 2u);

  clear_qsa_traces();
  adapter.clear_log();
  uint8_t soft_disable = 0x40;
  uint8_t table = 2;
  EXPECT_EQ(sfp_port_write(port->sfp_port, 110, SFP_PAGE_A2, 1, &soft_disable), SFP_RC_OK);
  EXPECT_EQ(bus_summary(adapter), "w0:117=01 r0:117 w0:127=06 w6:238=40");
  EXPECT_EQ(sfp_port_write(port->sfp_port, 127, SFP_PAGE_A2, 1, &table), SFP_RC_OK);
  EXPECT_FALSE(sfp.transmitter_on());
  EXPECT_EQ(sfp.table_select(), 2);
  EXPECT_EQ(texts_of(kQsaWritingSfpEeprom).at(0),
            "Port 3: Writing sfp eeprom from qsa page 2566\n");
  adapter.remove();
  EXPECT_EQ(sfpdrv::qsa_sfp_write_cb(port, 110, SFP_PAGE_A2, 1, &soft_disable),
            sfpsim::kAdapterNak);
}

} // namespace
