// Supported part-number lists (appends, counts and copies out, the built-in
// catalogue, the list checks, the status texts), the wavelength and channel
// conversions with the channel setting of a tunable module, and the cable
// predicates.
#include <cstring>
#include <string>
#include <utility>

#include "common/alloc.h"
#include "support/port_harness.h"
#include "xcvr/catalogue.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace {

using sfptest::records_of;
using Check = sfp_rc (*)(sfp_port_ctx *, sfp_xcvr_type, const char *, sfp_xcvr_pid_status *);

// The three lists through their exported functions.
struct ListApi {
  const char *name;
  sfp_rc (*set)(const sfp_xcvr_pn_entry *);
  uint16_t (*count)();
  sfp_rc (*get)(uint32_t, sfp_xcvr_pn_entry *);
  sfp_xcvr_pn_node **head;
  Check check;
};

const ListApi kLists[] = {
    {"pid", sfp_xcvr_set_pid_supported, sfp_xcvr_get_pid_supported_count,
     sfp_xcvr_get_pid_supported_data, &sfp_pid_supported_list, sfp_xcvr_get_pid_supported},
    {"vendor pn", sfp_xcvr_set_vendor_pn_supported, sfp_xcvr_get_vendor_pn_supported_count,
     sfp_xcvr_get_vendor_pn_supported_data, &sfp_vendor_pn_supported_list,
     sfp_xcvr_get_vendor_pn_supported},
    {"pn", sfp_xcvr_set_pn_supported, sfp_xcvr_get_pn_supported_count,
     sfp_xcvr_get_pn_supported_data, &sfp_pn_supported_list, sfp_xcvr_get_pn_supported},
};

std::string entry_at(const ListApi &list, uint32_t index) {
  sfp_xcvr_pn_entry out{};
  const sfp_rc rc = list.get(index, &out);
  return rc != SFP_RC_OK ? "rc " + std::to_string(rc) : std::to_string(out.xcvr_type) + out.pn;
}

// The lists are process-wide and only grow: tests look at what they add.
class PartNumberTest : public sfptest::PortTest {
protected:
  void TearDown() override {
    sfpdrv::testing::fail_allocation(0);
    PortTest::TearDown();
  }
  static void ensure_builtin_lists() {
    if (sfp_xcvr_get_pid_supported_count() < sfpdrv::kPidEntryCount) {
      ASSERT_EQ(sfpdrv::fill_part_number_lists(), SFP_RC_OK);
    }
  }
};

TEST_F(PartNumberTest, AppendCopiesEntriesToItsOwnListAndFailsCleanly) {
  for (const ListApi &list : kLists) {
    SCOPED_TRACE(list.name);
    const int others = kLists[0].count() + kLists[1].count() + kLists[2].count() - list.count();
    sfp_xcvr_pn_entry entry{600, "FIRST"};
    ASSERT_EQ(list.set(&entry), SFP_RC_OK);
    entry = {601, "SECOND"};
    ASSERT_EQ(list.set(&entry), SFP_RC_OK);
    entry = {0, nullptr};           // the list holds copies
    for (uint64_t nth : {1u, 2u}) { // the node's allocation, then the entry's
      sfpdrv::testing::fail_allocation(nth);
      EXPECT_EQ(list.set(&entry), SFP_RC_NO_MEMORY);
    }
    EXPECT_EQ(list.set(nullptr), SFP_RC_INVALID);

    const uint32_t n = list.count();
    EXPECT_EQ(entry_at(list, n - 2), "600FIRST");
    EXPECT_EQ(entry_at(list, n - 1), "601SECOND");
    EXPECT_EQ(entry_at(list, n), "rc 22");
    EXPECT_EQ(list.get(0, nullptr), SFP_RC_INVALID);
    EXPECT_EQ(kLists[0].count() + kLists[1].count() + kLists[2].count() - n, others);
  }
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kPnListAppendFailed).size(), 6u);
}

TEST_F(PartNumberTest, ListEndingBeforeItsCountGives6) {
  const sfp_xcvr_pn_entry entry{700, "SPARE"};
  ASSERT_EQ(sfp_xcvr_set_pid_supported(&entry), SFP_RC_OK);
  ASSERT_EQ(sfp_xcvr_set_pid_supported(&entry), SFP_RC_OK);
  const uint32_t last = sfp_xcvr_get_pid_supported_count() - 1u;
  sfp_xcvr_pn_node *const cut = sfp_pid_supported_list->next;
  sfp_pid_supported_list->next = nullptr;
  EXPECT_EQ(entry_at(kLists[0], last), "rc 6");
  sfp_pid_supported_list->next = cut;
  EXPECT_EQ(entry_at(kLists[0], last), "700SPARE");
}

// The fill appends the whole catalogue in order, product IDs first and
// vendor part numbers last, and reports the last append's status.
TEST_F(PartNumberTest, FillAppendsTheCatalogueInOrder) {
  const std::pair<const ListApi &, std::span<const sfp_xcvr_pn_entry>> blocks[] = {
      {kLists[0], sfpdrv::kPidEntries},
      {kLists[2], sfpdrv::kCataloguePnEntries},
      {kLists[1], sfpdrv::kVendorPnEntries}};
  uint16_t before[3];
  for (int i = 0; i < 3; ++i) {
    before[i] = blocks[i].first.count();
  }
  ASSERT_EQ(sfpdrv::fill_part_number_lists(), SFP_RC_OK);
  for (int i = 0; i < 3; ++i) {
    const auto &[list, entries] = blocks[i];
    ASSERT_EQ(list.count(), before[i] + entries.size()) << list.name;
    for (std::size_t k = 0; k < entries.size(); ++k) {
      EXPECT_EQ(entry_at(list, static_cast<uint32_t>(before[i] + k)),
                std::to_string(entries[k].xcvr_type) + entries[k].pn);
    }
  }
  // Two allocations per entry: failing the very last fails only the last
  // vendor part number, and that is what the fill reports.
  const uint16_t vendor = sfp_xcvr_get_vendor_pn_supported_count();
  sfpdrv::testing::fail_allocation(
      2 * (sfpdrv::kPidEntryCount + sfpdrv::kCataloguePnEntryCount + sfpdrv::kVendorPnEntryCount));
  EXPECT_EQ(sfpdrv::fill_part_number_lists(), SFP_RC_NO_MEMORY);
  EXPECT_EQ(sfp_xcvr_get_vendor_pn_supported_count(), vendor + sfpdrv::kVendorPnEntryCount - 1);
}

// The generated families against our numbering scheme's own examples.
TEST_F(PartNumberTest, CatalogueFollowsTheScheme) {
  auto find = [](std::span<const sfp_xcvr_pn_entry> entries, sfp_xcvr_type type) {
    for (const sfp_xcvr_pn_entry &e : entries) {
      if (e.xcvr_type == type) {
        return std::to_string(type) + " " + e.pn;
      }
    }
    return std::to_string(type) + " (none)";
  };
  for (const std::string expected :
       {"549 PX-SFP-1G-DW59", "588 PX-SFP-1G-DW20", "704 PX-SFP-10G-DW59", "743 PX-SFP-10G-DW20",
        "612 PX-SFP-10G-DH92", "691 PX-SFP-10G-DH13", "541 PX-SFP-1G-CW147", "548 PX-SFP-1G-CW161",
        "604 PX-SFP-10G-CW147", "824 PX-SFP-FC2G-CW147", "847 PX-SFP-FC8G-CW161",
        "531 PX-SFP-1G-ZX-E", "762 PX-Q4S-10G-CU1M", "794 (none)", "805 (none)"}) {
    EXPECT_EQ(find(sfpdrv::kPidEntries, static_cast<sfp_xcvr_type>(std::stoul(expected))),
              expected);
  }
  EXPECT_EQ(find(sfpdrv::kCataloguePnEntries, 594), "594 74-0594-02");
  EXPECT_EQ(find(sfpdrv::kCataloguePnEntries, 549), "549 74-0549-01");
}

TEST_F(PartNumberTest, ListChecks) {
  ensure_builtin_lists();
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = create_on("10gbase-sr", module);
  port->port = 7;
  sfptest::clear_traces();
  const struct {
    Check check;
    sfp_xcvr_type type;
    sfp_xcvr_pid_status status;
    const char *text;
  } cases[] = {
      {sfp_xcvr_get_pid_supported, 594, SFP_PID_SUPPORTED, "PX-SFP-10G-SR"},
      {sfp_xcvr_get_pid_supported, 596, SFP_PID_NOT_SUPPORTED, "PX-SFP-10G-SR"},
      {sfp_xcvr_get_pid_supported, 594, SFP_PID_NOT_SUPPORTED, "PX-SFP-10G-SR "},
      {sfp_xcvr_get_pid_supported, 594, SFP_PID_NOT_SUPPORTED, "PX-SFP-10G-S"},
      {sfp_xcvr_get_pid_supported, 530, SFP_PID_SUPPORTED, "OTHER"}, // on the ZX entry
      {sfp_xcvr_get_pid_supported, 529, SFP_PID_NOT_SUPPORTED, sfpdrv::alt_zx_pid},
      {sfp_xcvr_get_vendor_pn_supported, 533, SFP_PID_SUPPORTED, "PXT-1000-RJ02"},
      {sfp_xcvr_get_vendor_pn_supported, 529, SFP_PID_NOT_SUPPORTED, "PXT-1000-RJ02"},
      {sfp_xcvr_get_pn_supported, 594, SFP_PID_SUPPORTED, "74-0594-02"},
      {sfp_xcvr_get_pn_supported, 594, SFP_PID_SUPPORTED, "74-0594-03"},
      {sfp_xcvr_get_pn_supported, 594, SFP_PID_NOT_SUPPORTED, "74-0594-01"},
      {sfp_xcvr_get_pn_supported, 596, SFP_PID_NOT_SUPPORTED, "74-0594-03"},
      {sfp_xcvr_get_pn_supported, 594, SFP_PID_NOT_SUPPORTED, "74-0595-03"},
      {sfp_xcvr_get_pn_supported, 594, SFP_PID_NOT_SUPPORTED, "74-0594"},
  };
  for (const auto &c : cases) {
    sfp_xcvr_pid_status status = 99;
    EXPECT_EQ(c.check(port, c.type, c.text, &status), SFP_RC_OK) << c.type << " " << c.text;
    EXPECT_EQ(status, c.status) << c.type << " " << c.text;
  }
  const std::string first = sfptest::records("sfp_err").at(0).text;
  EXPECT_EQ(first.rfind("Get SFP PID supported, port:7 type:", 0), 0u) << first;
  EXPECT_TRUE(first.ends_with("(594)  pid:PX-SFP-10G-SR status:Supported  rc:0x00000000\n"));

  // Missing text, list or status: 22 and "Not Checked".
  for (const ListApi &list : kLists) {
    sfp_xcvr_pid_status status = 99;
    EXPECT_EQ(list.check(nullptr, 533, nullptr, &status), SFP_RC_INVALID);
    EXPECT_EQ(status, SFP_PID_NOT_CHECKED) << list.name;
    sfp_xcvr_pn_node *const head = std::exchange(*list.head, nullptr);
    status = 99;
    EXPECT_EQ(list.check(nullptr, 533, "PXT-1000-RJ01", &status), SFP_RC_INVALID);
    EXPECT_EQ(status, SFP_PID_NOT_CHECKED) << list.name;
    *list.head = head;
    EXPECT_EQ(list.check(nullptr, 533, "PXT-1000-RJ01", nullptr), SFP_RC_INVALID);
  }
}

// Product ID, then catalogue part number, then vendor part number: the
// first check that decides ends the walk.
TEST_F(PartNumberTest, ExtCheckOrder) {
  ensure_builtin_lists();
  const struct {
    const char *pid, *pn, *vendor_pn;
    sfp_xcvr_type type;
    sfp_xcvr_pid_status status;
    uint32_t checks; // checks run, by their traces
  } cases[] = {
      {"PX-SFP-10G-SR", "74-0594-01", "", 594, SFP_PID_SUPPORTED, 1},
      {"NONE", "74-0594-02", "", 594, SFP_PID_SUPPORTED, 2},
      {"NONE", "NONE", "PXT-1000-RJ03", 533, SFP_PID_SUPPORTED, 3},
      {"NONE", "NONE", "NONE", 533, SFP_PID_NOT_SUPPORTED, 3},
      {"NONE", "NONE", "NONE", 513, SFP_PID_NOT_SUPPORTED, 3},
      {"NONE", "NONE", "NONE", 515, SFP_PID_SUPPORTED, 3},
      {"NONE", "NONE", "NONE", 516, SFP_PID_SUPPORTED, 3},
      {"NONE", nullptr, "NONE", 515, SFP_PID_NOT_CHECKED, 2}, // a failing check ends it
  };
  for (const auto &c : cases) {
    sfptest::clear_traces();
    sfp_xcvr_pid_status status = 99;
    const sfp_rc rc =
        sfp_xcvr_get_pid_ext_supported(nullptr, c.type, c.pid, c.pn, c.vendor_pn, &status);
    EXPECT_EQ(rc, c.pn != nullptr ? SFP_RC_OK : SFP_RC_INVALID) << c.type;
    EXPECT_EQ(status, c.status) << c.type << " " << c.pid;
    const sfpdrv::TraceMsg *order[] = {&sfpdrv::msg::kPidSupported, &sfpdrv::msg::kPnSupported,
                                       &sfpdrv::msg::kVendorPnSupported};
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(records_of("sfp_err", *order[i]).size(), i < c.checks ? 1u : 0u)
          << c.type << " " << c.pid << " check " << i;
    }
  }
}

TEST(StatusTexts, StatusAndSpaceTexts) {
  EXPECT_STREQ(sfp_xcvr_supported_to_str(5), "Unknown Status");
  EXPECT_STREQ(sfp_xcvr_supported_to_str(11), "Failed - Unsupported Xcvr type");
  EXPECT_STREQ(sfp_xcvr_supported_to_str(12), "Unknown Status");
  EXPECT_STREQ(sfp_xcvr_pid_supported_to_str(4), "Not available");
  EXPECT_STREQ(sfp_xcvr_pid_supported_to_str(5), "Unknown Status");

  const sfp_eeprom_space space{1, 0, 1, 0};
  char text[64] = "kept";
  sfp_eeprom_space_supported_to_string(&space, text, 0);
  EXPECT_STREQ(text, "kept");
  EXPECT_EQ(sfp_eeprom_space_supported_to_string(&space, text, sizeof text), text);
  EXPECT_STREQ(text, "{ half_a0=1, full_a0=0, a2=1, dom=0 }");
  EXPECT_STREQ(sfp_eeprom_space_supported_to_string(&space, text, 12), "{ half_a0=1");
  EXPECT_STREQ(sfp_eeprom_space_supported_to_string(nullptr, text, sizeof text), "(null)");
  EXPECT_EQ(sfp_eeprom_space_supported_to_string(&space, nullptr, 10), nullptr);

  uint8_t a0[256] = {};
  a0[92] = 0x40;
  EXPECT_EQ(sfp_xcvr_check_digital_monitoring(a0), 1u);
  a0[92] = 0xbf;
  EXPECT_EQ(sfp_xcvr_check_digital_monitoring(a0), 0u);
  EXPECT_EQ(sfp_xcvr_check_digital_monitoring(nullptr), 0u);
}

TEST(Wavelength, Conversions) {
  const struct {
    uint32_t (*convert)(uint32_t);
    uint32_t input, expected;
  } cases[] = {
      {sfp_xcvr_wl_to_freq, 1550120, 193400},
      {sfp_xcvr_wl_to_freq, 1, 3740739}, // the quotient is cut to 32 bits before rounding
      {sfp_xcvr_wl_to_freq, 0, 0},
      {sfp_xcvr_freq_to_wl, 193400, 1550120},
      {sfp_xcvr_kv_channel_2_freq, 5, 195900},
      {sfp_xcvr_kv_channel_2_freq, 3924, 0xffffffceu}, // past the band: wraps
      {sfp_xcvr_kv_channel_2_wavelength, 5, 1530334},
      {sfp_xcvr_kv_channel_2_wavelength, 0, 0},
      {sfp_xcvr_kv_channel_2_wavelength, 3923, 0}, // 0 GHz
      {sfp_xcvr_kv_channel_2_optic_pm, 5, 1530330},
      {sfp_xcvr_kv_channel_2_optic_pm, 6, 1530730}, // 1530725 pm rounds up
      {sfp_xcvr_wavelength_setpoint_from_wl, 1550149, 31002},
      {sfp_xcvr_wl_from_wavelength_setpoint, 0x80000000u, 0}, // 32-bit product
      {sfp_xcvr_wavelengthTolerance_to_wl, 0x80000001u, 0x80000005u},
      {sfp_xcvr_waveLength_to_wl, 31002, 1550100}, // 50 pm units
      {sfp_xcvr_wl_from_wavelength_error, 3, 15},  // 5 pm units
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].convert(cases[i].input), cases[i].expected) << "case " << i;
  }
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(193100, 191350, 50), 36u);
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(191300, 191350, 50), 0u);
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(193100, 191350, 0), 0u);
}

class ChannelSetTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10g-tunable-dwdm", module_);
    ASSERT_NE(port_, nullptr);
    module_->clear_log();
    sfptest::clear_traces();
  }
  void set_offsets(int32_t lo, int32_t hi) {
    port_->tunable_lower_offset = lo;
    port_->tunable_upper_offset = hi;
  }
  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
};

TEST_F(ChannelSetTest, RangeAndModuleChannel) {
  const struct {
    int32_t lo, hi;
    uint32_t channel;
    int module_channel; // -1: refused with 22
  } cases[] = {
      {0, 95, 1, 1},
      {0, 95, 96, 96},
      {0, 95, 97, -1},
      {0, 95, 0, 0},
      {4, 90, 4, -1},
      {4, 90, 5, 1},
      {4, 90, 91, 87},
      {4, 90, 92, -1},
      {0, 300, 260, 4},   // only the low byte
                          // of the channel
                          // number is written
      {-2, -5, 100, 102}, // unsigned comparison: a negative upper offset accepts all
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.lo) + ".." + std::to_string(c.hi) + " channel " +
                 std::to_string(c.channel));
    set_offsets(c.lo, c.hi);
    module_->clear_log();
    const sfp_rc rc = sfp_port_tsfp_wavechannel_set(port_, c.channel);
    if (c.module_channel < 0) {
      EXPECT_EQ(rc, SFP_RC_INVALID);
      EXPECT_TRUE(module_->log().empty());
      continue;
    }
    EXPECT_EQ(rc, SFP_RC_OK);
    // The table select, then the one byte at A2h table 2 byte 145.
    ASSERT_EQ(module_->log().size(), 2u);
    EXPECT_EQ(module_->log()[1].bus, sfpsim::Bus::Write);
    EXPECT_EQ(module_->log()[1].length, 1u);
    EXPECT_EQ(module_->memory().tables[2][145 - 128], c.module_channel);
  }
  const auto refused = records_of("sfp_err", sfpdrv::msg::kChannelOutOfRange);
  ASSERT_EQ(refused.size(), 3u);
  EXPECT_EQ(refused[2].text, "Controller 0 Port 0: tsfp wave channel not in usable range\n"
                             "wave_channel: 92, supported_range: 5 - 91\n");
  const auto done = records_of("sfp_err", sfpdrv::msg::kChannelSetDone);
  ASSERT_EQ(done.size(), 7u);
  EXPECT_EQ(done[3].text,
            "Controller 0 Port 0: tsfp channel programming done: channel 1, with offset: 4\n");
}

TEST_F(ChannelSetTest, BadHandleAndWriteFailure) {
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(nullptr, 1), SFP_RC_INVALID);
  port_->initialised = 0;
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(port_, 1), SFP_RC_INVALID);
  port_->initialised = 1;
  EXPECT_TRUE(module_->log().empty());

  set_offsets(0, 95);
  sfptest::clear_traces();
  module_->fail_at(SFP_PAGE_A2_TABLE2, 145, 5);
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(port_, 10), 5u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kChannelSetError).size(), 1u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kChannelSetDone).size(), 1u);
}

// A port context that no creation has filled: the predicates only read its
// cached image.
class CableTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_.err_trace = sfp_get_ctx()->port_err_trace;
    port_.controller = 1;
    port_.port = 2;
  }
  void set_a0(uint8_t connector, uint8_t cable_tech) {
    port_.eeprom[2] = connector;
    port_.eeprom[8] = cable_tech;
  }
  sfp_port_ctx port_{};
};

TEST_F(CableTest, CableAndCopperPredicates) {
  const struct {
    uint8_t connector, cable_tech;
    uint32_t cable, copper;
  } cases[] = {
      {0x07, 0x04, 1, 1},                     // LC, passive cable
      {0x07, 0x08, 1, 1},                     // active cable
      {0x07, 0x0c, 0, 0},                     // both: the byte is compared whole
      {0x07, 0x01, 0, 0}, {0x21, 0x00, 0, 1}, // copper pigtail
      {0x22, 0x00, 0, 1},                     // RJ45
      {0x23, 0x00, 0, 0},
  };
  for (const auto &c : cases) {
    set_a0(c.connector, c.cable_tech);
    uint32_t cable = 99;
    uint32_t copper = 99;
    EXPECT_EQ(sfp_is_cable(&port_, &cable), SFP_RC_OK);
    EXPECT_EQ(sfp_is_zando_copper_optics(&port_, port_.eeprom, &copper), SFP_RC_OK);
    EXPECT_EQ(std::make_pair(cable, copper), std::make_pair(c.cable, c.copper))
        << int{c.connector} << "/" << int{c.cable_tech};
  }
  const auto cable = records_of("sfp_err", sfpdrv::msg::kIsCable);
  const auto copper = records_of("sfp_err", sfpdrv::msg::kCx1Compliant);
  ASSERT_EQ(cable.size() + copper.size(), 2 * std::size(cases));
  EXPECT_EQ(cable[2].text, "Controller 1 Port 2: sfp is cable: False \n");
  EXPECT_EQ(copper[6].text, "Controller 1 Port 2: SFP is  not cx1 compliant\n");

  uint32_t flag = 99;
  EXPECT_EQ(sfp_is_cable(nullptr, &flag), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_cable(&port_, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_zando_copper_optics(nullptr, port_.eeprom, &flag), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_zando_copper_optics(&port_, nullptr, &flag), SFP_RC_INVALID);
  EXPECT_EQ(flag, 99u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kCx1NullParams).size(), 1u);
}

TEST_F(CableTest, DwdmReceiverKind) {
  const struct {
    sfp_xcvr_type type;
    uint8_t options; // A0h byte 64; bit 0 = linear receiver output
    uint32_t limiting;
  } cases[] = {
      {704, 0x00, 1}, {720, 0x01, 0}, {720, 0xfe, 1}, {743, 0x00, 1}, {744, 0x00, 0},
      {764, 0x00, 0}, {765, 0x00, 1}, {765, 0x01, 0}, {703, 0x00, 0}, {766, 0x00, 0},
  };
  for (const auto &c : cases) {
    port_.xcvr_type = c.type;
    port_.eeprom[64] = c.options;
    EXPECT_EQ(is_sfp_10g_dwdm_limiting_module(&port_), c.limiting)
        << c.type << " options " << int{c.options};
  }
  const auto traces = records_of("sfp_err", sfpdrv::msg::kDwdmReceiver);
  ASSERT_EQ(traces.size(), std::size(cases));
  EXPECT_EQ(traces[1].text, "Controller 1 Port 2: is a SFP+ DWDM linear module\n");
  EXPECT_EQ(is_sfp_10g_dwdm_limiting_module(nullptr), 0u);
}

} // namespace
