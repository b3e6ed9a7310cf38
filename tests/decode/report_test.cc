// The EEPROM text report against reports written by hand (tests/data/
// reports), its size and allocation rules, the maker-area decoders, the
// page dumps and the common strings.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "common/alloc.h"
#include "support/port_harness.h"

namespace {

using sfptest::PortTest;

std::string expected_report(const std::string &profile) {
  std::ifstream file(std::string(SFPDRV_TEST_DATA) + "/reports/" + profile + ".txt");
  EXPECT_TRUE(file.good()) << profile;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

class ReportTest : public PortTest {
protected:
  sfp_port_ctx *port_on(const std::string &profile) {
    modules_.push_back(sfptest::module_from(profile));
    return create(sfptest::ops_for(*modules_.back(), 0, 1));
  }
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

// Without diagnostics, internally and externally calibrated: every line as
// the rules give it for the profile's bytes.
TEST_F(ReportTest, ProfilesGiveTheReportsWrittenByHand) {
  for (const std::string profile : {"10g-dac-1m", "10gbase-sr", "1000base-lx-extcal"}) {
    sfp_port_ctx *port = port_on(profile);
    char *text = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(sfp_port_phy_reg_decode(port, &text, &length), SFP_RC_OK) << profile;
    const std::string expected = expected_report(profile);
    const std::vector<std::string> got = lines_of(text);
    const std::vector<std::string> want = lines_of(expected);
    for (std::size_t i = 0; i < std::max(got.size(), want.size()); ++i) {
      EXPECT_EQ(i < got.size() ? got[i] : "(none)", i < want.size() ? want[i] : "(none)")
          << profile << " line " << i + 1;
    }
    EXPECT_EQ(length, expected.size() + 1) << profile;
    std::free(text);
  }
}

// The room left must stay greater than each piece: text and terminator fit
// the caller's size; what does not fit names its piece and leaves the
// caller's buffer as it was.
TEST_F(ReportTest, AReportThatDoesNotFitLeavesTheBufferUntouched) {
  sfp_port_ctx *port = port_on("10gbase-sr");
  const auto length = static_cast<uint32_t>(expected_report("10gbase-sr").size());
  struct Case {
    uint32_t size;
    sfp_rc rc;
    std::string printed;
  };
  const Case cases[] = {
      {length + 1, SFP_RC_OK, ""},
      {length, SFP_RC_MODULE_COND, "sfp_drv_sfp_get_eeprom_str 42 size 1 len 1\n"},
      {20, SFP_RC_MODULE_COND, "sfp_drv_sfp_get_eeprom_str 1 size 20 len 20\n"},
      {0, SFP_RC_MODULE_COND, "sfp_drv_sfp_get_eeprom_str 1 size 20 len 0\n"},
      {SFP_EEPROM_REPORT_SIZE + 1, SFP_RC_INVALID, ""},
  };
  for (const Case &c : cases) {
    std::string text(SFP_EEPROM_REPORT_SIZE + 1, 'x');
    testing::internal::CaptureStdout();
    EXPECT_EQ(sfp_drv_sfp_get_eeprom_str(port, text.data(), c.size), c.rc) << c.size;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed) << c.size;
    EXPECT_EQ(text.find_first_not_of('x') == std::string::npos, c.rc != SFP_RC_OK) << c.size;
  }
  EXPECT_EQ(sfp_drv_sfp_get_eeprom_str(nullptr, nullptr, 10), SFP_RC_INVALID);
}

// The working buffer and the four tables come first: each missing one ends
// the report with 12. A piece's scratch that is missing counts as empty (the
// 6th allocation is the port line's); a dump's missing scratch fails it.
TEST_F(ReportTest, AllocationFailuresEndTheReportOrDropAPiece) {
  sfp_port_ctx *port = port_on("10g-dac-1m");
  const std::string full = expected_report("10g-dac-1m");
  struct Case {
    uint64_t nth;
    sfp_rc rc;
    std::string text;
  };
  // Areas, the port line, 13 identification lines, "MSA Data", the dump.
  const Case cases[] = {{1, SFP_RC_NO_MEMORY, ""},
                        {3, SFP_RC_NO_MEMORY, ""},
                        {5, SFP_RC_NO_MEMORY, ""},
                        {6, SFP_RC_OK, full.substr(std::strlen("\nSFP EEPROM  port: 1"))},
                        {5 + 1 + 13 + 1 + 1, SFP_RC_INVALID, ""}};
  for (const Case &c : cases) {
    std::string text(SFP_EEPROM_REPORT_SIZE, '\0');
    sfpdrv::testing::fail_allocation(c.nth);
    EXPECT_EQ(sfp_drv_sfp_get_eeprom_str(port, text.data(), SFP_EEPROM_REPORT_SIZE), c.rc);
    sfpdrv::testing::fail_allocation(0);
    EXPECT_EQ(text.c_str(), c.text) << c.nth;
  }
}

using Area = std::array<uint8_t, 128>;

// A missing area, page or table is refused with 22, and nothing is written.
TEST(MakerAreaTest, MissingArgumentsAreRefused) {
  Area area{};
  area.fill(0x5a);
  const Area before = area;
  auto table = std::make_unique<sfp_user_eeprom_field_table>();
  uint32_t stored = 0;
  uint32_t computed = 0;
  EXPECT_EQ(sfp_xcvr_decode_user_eeprom(nullptr, table.get()), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_decode_user_eeprom(area.data(), nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_decode_a2_02_eeprom(nullptr, area.data(), table.get()), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_decode_a2_02_eeprom(area.data(), nullptr, table.get()), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_decode_a2_02_eeprom(area.data(), area.data(), nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_check_compliance_vendor_chksum(nullptr, &stored, &computed), SFP_RC_INVALID);
  EXPECT_EQ(area, before);
}

// Byte 24: the range from bits 0 and 1 alone while bits 6 and 7 are clear;
// else from bits 6 and 7, with compensation, latching and maximum power.
TEST(MakerAreaTest, TemperatureAlarmAndPowerFlags) {
  const std::pair<uint8_t, const char *> cases[] = {
      {0x00, "Unknown temp range, "},
      {0x01, "COM, commercial 0C to 70C "},
      {0x02, "EXT, extended -5C to 85 "},
      {0x3f, "IND, industrial -40C to 85C "},
      {0x80, "EXT, extended -5C to 85, not temp compensated, not RCLR, Max power not specified"},
      {0xf5, "IND, industrial -40C to 85C, temp compensated, latch & RCLR, Max power: 500 mW"},
  };
  for (const auto &[flags, text] : cases) {
    Area area{};
    area[24] = flags;
    sfp_no_ddm_field_table no_ddm;
    sfp_user_eeprom_field_table user;
    ASSERT_EQ(sfp_xcvr_decode_a0_no_ddm(area.data(), &no_ddm), SFP_RC_OK);
    ASSERT_EQ(sfp_xcvr_decode_user_eeprom(area.data(), &user), SFP_RC_OK);
    EXPECT_STREQ(no_ddm.field[3].value, text) << int{flags};
    EXPECT_STREQ(user.field[3].value, text) << int{flags};
  }
  EXPECT_EQ(sfp_xcvr_decode_a0_no_ddm(nullptr, nullptr), SFP_RC_INVALID);
}

// Values of the area lie low byte first; the tunable entries appear only
// with a first frequency, and table 2's words are copied as they lie.
TEST(MakerAreaTest, UserEepromCalibrationAndTunableEntries) {
  Area area{};
  const std::pair<std::size_t, std::vector<uint8_t>> bytes[] = {
      {40, {0x80, 0x01}},
      {52, {0x80, 0x19}},
      {54, {0xe8, 0x03}},
      {56, {0x10, 0x27}},
      {58, {0x0b}},
      {60, {0x09, 0x00}},
      {109, {0xbf, 0x00, 0xac, 0x0d, 0xc4, 0x00, 0xe8, 0x03}},
      {118, {0x05, 0x00}}};
  for (const auto &[at, values] : bytes) {
    std::copy(values.begin(), values.end(), area.begin() + static_cast<std::ptrdiff_t>(at));
  }
  sfp_user_eeprom_field_table table;
  ASSERT_EQ(sfp_xcvr_decode_user_eeprom(area.data(), &table), SFP_RC_OK);
  const std::vector<std::tuple<std::size_t, const char *, const char *, const char *>> want = {
      {7, "lbcScaleMinus40", "1.500", "80 01 "},
      {13, "tempAtMfg", "25.500", "80 19 "},
      {14, "laserBiasCurrentAtMfg", "2.000 mAmps", "e8 03 "},
      {15, "outputPowerAtMfg", " 1.00000 mW (0.00000 dBm)", "10 27 "},
      {16, "calibrationConstantsFlags", "LBC Scale, Temperature, Output power, ", "0b "},
      {17, "measuredInputPower", " 0.000 mW (<-40.00 dBm)", "09 00 "},
      {19, "laserFirstFrequencyTHz", "191 THz", "bf 00 "},
      {20, "laserFirstFrequencyGHz", "350.000 GHz", "ac 0d "},
      {21, "laserLastFrequencyTHz", "196 THz", "c4 00 "},
      {22, "laserLastFrequencyGHz", "100.000 GHz", "e8 03 "},
      {23, "", "", ""},
      {24, "wavelengthChannel", "505 00 ", ""},
      {25, "", "", ""}};
  for (const auto &[i, name, value, raw] : want) {
    EXPECT_STREQ(table.field[i].name, name) << i;
    EXPECT_STREQ(table.field[i].value, value) << i;
    EXPECT_STREQ(table.field[i].raw, raw) << i;
  }
  // Table 2 holds its words most significant byte first.
  Area page02{};
  page02[4] = 0x00; // 132, 133: 191 THz
  page02[5] = 0xbf;
  page02[17] = 0x07; // 145: channel 7
  Area copy{};
  sfp_user_eeprom_field_table tunable{};
  ASSERT_EQ(sfp_xcvr_decode_a2_02_eeprom(page02.data(), copy.data(), &tunable), SFP_RC_OK);
  EXPECT_EQ(copy[109] * 256 + copy[110] + copy[118] * 256 + copy[119], 0xbf + 0x07);
  EXPECT_STREQ(tunable.field[19].value, "48896 THz");
  EXPECT_STREQ(tunable.field[24].value, "179200 07 ");
  EXPECT_STREQ(tunable.field[0].name, "");
  area[109] = area[110] = 0;
  ASSERT_EQ(sfp_xcvr_decode_user_eeprom(area.data(), &table), SFP_RC_OK);
  EXPECT_STREQ(table.field[19].name, "");
  EXPECT_STREQ(table.field[24].value, "");
}

// At least one line, as many as the count needs, eight at most; the text is
// cut to its size and both dumps say the same.
TEST(PageDumpTest, LinesFollowTheCountAndTheSize) {
  std::array<uint8_t, 256> image{};
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<uint8_t>(i);
  }
  for (const auto &[count, lines] : {std::pair{0u, 1u}, {16u, 1u}, {17u, 2u}, {400u, 8u}}) {
    std::string plug(1936, 'x');
    std::string plain(1936, 'x');
    ASSERT_EQ(plug_eeprom_page_to_ascii(image.data(), 16, plug.data(), 1936, count), SFP_RC_OK);
    ASSERT_EQ(sfp_eeprom_page_to_ascii(image.data(), 16, plain.data(), 1936, count), SFP_RC_OK);
    EXPECT_EQ(plug, plain);
    EXPECT_EQ(lines_of(plug.c_str()).size(), lines) << count;
    EXPECT_TRUE(plug.starts_with("0x0010: 10 11 12 13 14 15 16 17 : 18 19 1a 1b 1c 1d 1e 1f \n"));
  }
  std::string small(12, 'x');
  ASSERT_EQ(plug_eeprom_page_to_ascii(image.data(), 16, small.data(), 12, 16), SFP_RC_OK);
  EXPECT_EQ(small, std::string("0x0010: 10 ") + '\0');
  EXPECT_EQ(sfp_eeprom_page_to_ascii(image.data(), 0, nullptr, 10, 16), SFP_RC_INVALID);
}

// The vendor strings of A0h, the maker strings of the area that the
// monitoring bit picks, each cut at its first blank.
TEST(CommonStringTest, FieldsOfA0hAndOfTheMakerArea) {
  std::array<uint8_t, 512> image{};
  const auto put = [&image](std::size_t at, const char *text) {
    std::memcpy(image.data() + at, text, std::strlen(text));
  };
  put(20, "ACME CORP       ");
  put(128 + 64, "PID-IN-A0 ");
  put(384 + 64, "PID-IN-A2 ");
  put(384 + 0, "CLEI-A2XYZ");
  put(384 + 20, "V02 ");
  char text[32];
  const std::tuple<uint8_t, uint32_t, uint32_t, sfp_rc, const char *> cases[] = {
      {0x00, 0, 17, SFP_RC_OK, "ACME"},      {0x00, 4, 21, SFP_RC_OK, "PID-IN-A0"},
      {0x40, 4, 21, SFP_RC_OK, "PID-IN-A2"}, {0x40, 3, 11, SFP_RC_OK, "CLEI-A2XYZ"},
      {0x40, 6, 5, SFP_RC_OK, "V02"},        {0x40, 3, 10, SFP_RC_INVALID, ""},
      {0x40, 7, 32, SFP_RC_INVALID, ""},     {0x40, 2, 17, SFP_RC_OK, ""},
  };
  for (const auto &[monitoring, index, size, rc, value] : cases) {
    image[92] = monitoring;
    std::memset(text, 'x', sizeof text);
    text[0] = '\0';
    EXPECT_EQ(sfp_xcvr_get_string(image.data(), index, text, size), rc) << index;
    EXPECT_STREQ(text, value) << index;
  }
}

} // namespace
