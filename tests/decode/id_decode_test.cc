// The identification page decode (the entries of a blank page, those of a
// simulated module that the report leaves out, the entries whose value
// depends on particular bytes), the value formatting and unit conversions,
// and the identification checksums.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>

#include "decode/internal.h"
#include "sfpsim/module.h"
#include "xcvr/catalogue.h"
#include "xcvr/type_table.h"

namespace {

using Id = std::array<uint8_t, 128>;

std::string hex(const uint8_t *bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    char piece[4];
    std::snprintf(piece, sizeof piece, "%02x ", bytes[i]);
    text += piece;
  }
  return text;
}

Id id_of(const char *profile) {
  Id id{};
  std::memcpy(id.data(), sfpsim::find_profile(profile)->memory.a0.data(), id.size());
  return id;
}

sfp_id_field_table decode(const Id &id, const char *pid = nullptr) {
  sfp_id_field_table table;
  std::memset(&table, 0x5a, sizeof table);
  EXPECT_EQ(sfp_xcvr_decode_sfp_id(nullptr, id.data(), &table, pid), SFP_RC_OK);
  return table;
}

// A blank page: nothing is known, text fields are empty, the date code's
// first character is a NUL.
TEST(IdDecodeTest, BlankPage) {
  const Id id{};
  const sfp_id_field_table blank = decode(id);
  // clang-format off
  const std::map<std::size_t, const char *> values = {
      {0, "Unknown"}, {2, "Unknown"}, {3, "Unknown"}, {4, "not specified"}, {5, ""},
      {6, "0 meter"}, {7, "0 meter"}, {8, "0 meter"}, {9, "0 meter"}, {10, "0 meter"},
      {11, ""}, {13, ""}, {14, ""}, {22, ""}, {23, ""}, {24, "no DOM, "}, {25, "None"},
      {28, "PX-SFP-STD00 "}, {30, "000 "}, {32, "e9 77 70 80 "},
  };
  // clang-format on
  for (const auto &[field, value] : values) {
    EXPECT_STREQ(blank.field[field].value, value) << blank.field[field].name;
  }
  sfp_id_field_table table;
  std::memset(&table, 0x5a, sizeof table);
  EXPECT_EQ(sfp_xcvr_decode_sfp_id(nullptr, nullptr, &table, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(table.field[0].name[0], 0x5a);
  EXPECT_EQ(sfp_xcvr_decode_sfp_id(nullptr, id.data(), nullptr, nullptr), SFP_RC_INVALID);
}

// The entries that the text report leaves out (it shows the others, checked
// line by line against tests/data), and the raw bytes of a few.
TEST(IdDecodeTest, ChecksumAndVendorEntriesOfASimulatedModule) {
  const Id id = id_of("10gbase-sr");
  const uint32_t crc = sfpsim::crc32(std::span<const uint8_t>(&id[96], 28));
  const uint8_t crc_lsb_first[4] = {static_cast<uint8_t>(crc), static_cast<uint8_t>(crc >> 8),
                                    static_cast<uint8_t>(crc >> 16),
                                    static_cast<uint8_t>(crc >> 24)};
  const auto sum = [&id](std::size_t first, std::size_t end) {
    const auto byte = static_cast<uint8_t>(std::accumulate(&id[first], &id[end], 0));
    return hex(&byte, 1);
  };
  const std::tuple<std::size_t, const char *, std::string, std::string> entries[] = {
      {1, "extType", "", "04 "},
      {3, "xcvrCode", "SFP+ 10G SR", "10 00 00 00 00 00 00 00 "},
      {12, "vendorOUI", "02.5a.11", "02 5a 11 "},
      {15, "laserWavelength", "850 nm", "03 52 "},
      {17, "baseIdChecksum", "", hex(&id[63], 1)},
      {18, "calBaseIdChecksum", sum(0, 63), ""},
      {19, "options", "Tx_Disable, Tx_Fault, LOS ", "00 1a "},
      {20, "maxBitRate", "0%", "00 "},
      {21, "minBitRate", "0%", "00 "},
      {23, "dateCode", "26/03/16  lot code:   ", "32 36 30 33 31 36 20 20 "},
      {26, "extIdChecksum", "", hex(&id[95], 1)},
      {27, "calExtIdChecksum", sum(64, 95), ""},
      {28, "vendorSpecific_extId", "PX-SFP-STD00 ", ""},
      {29, "vendorSpecific_rsvd1", "00 ", ""},
      {30, "vendorSpecific_id", "8353 ", ""}, // 'S' of the vendor text
      {31, "vendorSpecific_crc", hex(&id[124], 4), ""},
      {32, "vendorSpecific_calCrc", hex(crc_lsb_first, 4), ""},
      {SFP_ID_FIELDS - 1, "", "", ""},
  };
  const sfp_id_field_table table = decode(id);
  for (const auto &[i, name, value, raw] : entries) {
    EXPECT_STREQ(table.field[i].name, name) << i;
    EXPECT_EQ(table.field[i].value, value) << name;
    EXPECT_EQ(table.field[i].raw, raw) << name;
  }
}

TEST(IdDecodeTest, ValuesThatDependOnParticularBytes) {
  enum : std::size_t { kKind = 0, kCode = 3, kEncoding = 4, kName = 11, kOptions = 19 };
  enum : std::size_t { kWave = 15, kFraction = 16, kDiag = 24, kEnhanced = 25, kExtId = 28 };
  // clang-format off
  const struct {
    std::map<std::size_t, uint8_t> bytes;
    std::size_t field;
    const char *value;
    const char *pid = nullptr;
  } cases[] = {
      {{{0, 141}}, kKind, "T-SFP"}, {{{0, 11}}, kKind, "DWDM"},
      {{{0, 6}}, kKind, "XFP"}, {{{0, 12}}, kKind, "T-XFP"},
      {{{11, 7}}, kEncoding, "Unknown"}, {{{11, 0x80}}, kEncoding, "Unknown"},
      {{{20, 0xff}, {21, 'A'}}, kName, ""},
      {{{60, 0x05}, {61, 0x0e}}, kWave, "1294 nm"}, {{{62, 5}}, kFraction, "0.05 nm"},
      {{{92, 0xb0}}, kDiag, "no DOM, Ext. Cal., Int. Cal., Analog, "},
      {{{93, 0xff}}, kEnhanced,
       "SW rate select, SW RX LOS Mon., SW TX Fault Mon, SW TX Disable, Alarm/Warning Flags"},
      {{{93, 0x07}}, kEnhanced, ""},
      // Byte 96 = 0xff makes byte 97 the high byte of the vendor code.
      {{{96, 0xff}, {97, 92}}, kExtId, "Unknown Value (23807)ff "},
      {{{96, 0xff}, {97, 92}}, kCode, "SFP+ 10G DWDM 1530.33nm"},
      {{{96, 0x6a}}, kExtId, "PX-SFP-OSC1510-1606a "}, {{{96, 0x6a}}, kCode, "PX-SFP-OSC1510-160"},
      // A 25G module: rate byte 0xff with 103 in byte 66.
      {{{12, 0xff}, {66, 103}, {36, 2}}, kCode, "SFP28 25G SR"},
      // A copper pigtail gives its length in byte 18, other modules in 14;
      // the PID tells a breakout cable.
      {{{2, 0x21}, {8, 0x04}, {18, 1}, {14, 5}}, kCode, "SFP+ 10G CU1.5M"},
      {{{8, 0x04}, {18, 1}, {14, 5}}, kCode, "SFP+ 10G CU5M", "PX-SFP-10G-CU5M"},
      {{{8, 0x04}, {18, 1}, {14, 5}}, kCode, "4x10G CU5M", "PX-Q4S-10G-CU5M"},
      {{{65, 0x40}}, kCode, "SFP+ 10G DWDM Tunable"}, {{{65, 0x40}}, kOptions, "Tx_Tunable, "},
  };
  // clang-format on
  for (const auto &c : cases) {
    Id id{};
    for (const auto &[offset, byte] : c.bytes) {
      id[offset] = byte;
    }
    const sfp_id_field_table table = decode(id, c.pid);
    EXPECT_STREQ(table.field[c.field].value, c.value) << table.field[c.field].name;
    if (c.field == kName) {
      EXPECT_STREQ(table.field[c.field].raw, "ff 41 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ");
    }
  }
}

// Each code of the type table (but the 50 GHz DWDM family) carries the
// product ID of the first type that has it.
TEST(IdDecodeTest, VendorCodesCarryTheirProductIds) {
  std::set<uint16_t> seen;
  for (const sfpdrv::XcvrRow &row : sfpdrv::type_slots().first<sfpdrv::kTypeRows>()) {
    const bool grid_50ghz = row.xcvr_type >= 612 && row.xcvr_type <= 691;
    if (row.ext_id != 0 && !grid_50ghz && seen.insert(row.ext_id).second) {
      const auto *pid =
          std::find_if(sfpdrv::kPidEntries.begin(), sfpdrv::kPidEntries.end(),
                       [&row](const auto &e) { return e.xcvr_type == row.xcvr_type; });
      const char *label = sfpdrv::vendor_ext_id_label(row.ext_id);
      EXPECT_TRUE(label != nullptr &&
                  (pid == sfpdrv::kPidEntries.end() || pid->pn == std::string(label)))
          << row.xcvr_type;
    }
  }
  EXPECT_EQ(seen.size(), 146u);
}

using TextFn = void (*)(uint32_t, char *, int32_t);

TEST(FormatTest, PiecesAppendToTheText) {
  // clang-format off
  const struct { TextFn fn; uint32_t raw; const char *piece; } cases[] = {
      {xcvr_id_temp_to_string, 0x1980, "25.500 C"},
      {xcvr_id_temp_to_string, 0x1910, "25.062 C"},
      {xcvr_id_signed_fixed_point16_to_string, 0x0100, "1.000"},
      {xcvr_id_signed_fixed_point16_to_string, 0xff80, "-0.500"},
      {xcvr_id_unsigned_fixed_point16_to_string, 0xff80, "255.500"},
      {xcvr_id_unsigned_fixed_point16_to_string, 0x0140, "1.250"},
      {xcvr_curr_bias_uint16_to_string, 3001, "6.002 mAmps"},
      {xcvr_voltage_to_string, 32999, "3.300 Volt"},
      {xcvr_id_power_to_string, 12349, "1234 uWatt"},
      {xcvr_pwr_uint16_to_dbm_string, 0, " 0.000 mW (<-40.00 dBm)"},
      {xcvr_pwr_uint16_to_dbm_string, 9, " 0.000 mW (<-40.00 dBm)"},
      {xcvr_pwr_uint16_to_dbm_string, 10, " 0.00100 mW (-30.00000 dBm)"},
      {xcvr_pwr_uint16_to_dbm_string, 20000, " 2.00000 mW (3.01030 dBm)"},
  };
  // clang-format on
  for (const auto &c : cases) {
    char text[64] = "x=";
    c.fn(c.raw, text, sizeof text);
    EXPECT_EQ(std::string(text), std::string("x=") + c.piece) << c.raw;
  }
  const uint8_t oui[3] = {0x00, 0x90, 0x65};
  char text[16] = "";
  xcvr_oui_to_string(oui, text, sizeof text);
  EXPECT_STREQ(text, "00.90.65");
}

TEST(FormatTest, BitDecodeMasksTheValueAndListsEveryMatchingRow) {
  const xcvr_bit_decode_entry rows[] = {
      {0x01, 0x01, "A"},   {0x00, 0x01, "not A"},   {0x06, 0x06, "B+C"},
      {0x100, 0x100, "H"}, {0x10000, 0x10000, "W"},
  };
  const auto decode = [&rows](auto fn, uint32_t value, int32_t count = 5) {
    char text[80] = "x=";
    fn(value, text, sizeof text, count, rows);
    return std::string(text);
  };
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x10107), "x=A, B+C, ");
  EXPECT_EQ(decode(xcvr_decode_uint16_to_string, 0x10107), "x=A, B+C, H, ");
  EXPECT_EQ(decode(xcvr_decode_uint32_to_string, 0x10107), "x=A, B+C, H, W, ");
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x02), "x=not A, ");
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x07, 0), "x=");
  EXPECT_EQ(decode(xcvr_decode_uint32_to_string, 0x10000, 1), "x="); // no row matches
}

TEST(FormatTest, AppendIsBoundedByTheBufferAndTheScratch) {
  char text[8] = "abcde"; // room for one more character
  xcvr_id_power_to_string(12340, text, 7);
  EXPECT_STREQ(text, "abcde1");
  for (int32_t size : {7, 0, -1}) { // full, or no size: unchanged and terminated
    char full[8] = "abcdef";
    xcvr_id_power_to_string(12340, full, size);
    EXPECT_STREQ(full, "abcdef") << size;
  }
  const std::string label(100, 'L');
  const xcvr_bit_decode_entry row[] = {{0, 0, label.c_str()}};
  char big[200] = "";
  xcvr_decode_uint32_to_string(0, big, sizeof big, 1, row);
  EXPECT_EQ(std::string(big), std::string(79, 'L')); // a piece is cut to 79
}

TEST(FormatTest, NumericConversions) {
  using FloatFn = uint32_t (*)(uint32_t, float *);
  const FloatFn sfixed = xcvr_id_signed_fixed_point16_to_float;
  const FloatFn ufixed = xcvr_id_unsigned_fixed_point16_to_float;
  // clang-format off
  const struct { FloatFn fn; uint32_t raw, one; float value; } fixed[] = {
      {sfixed, 0x0100, 1, 1.0F}, {ufixed, 0x0100, 1, 1.0F}, {sfixed, 0xff80, 0, -0.5F},
      {ufixed, 0xff80, 0, 255.5F},
  };
  // clang-format on
  float out = 0;
  for (const auto &c : fixed) {
    EXPECT_EQ(c.fn(c.raw, &out), c.one) << c.raw;
    EXPECT_EQ(out, c.value) << c.raw;
  }
  xcvr_curr_bias_uint16_to_value(3001, &out);
  EXPECT_EQ(out, static_cast<float>(6.002));
  xcvr_voltage_to_value(33000, &out);
  EXPECT_EQ(out, static_cast<float>(3.3));
  for (const auto &[raw, dbm] : {std::pair{0u, -40.0F},
                                 {1u, -40.0F},
                                 {10000u, 0.0F},
                                 {0x10000u + 10000, 0.0F},
                                 {0x10000u, -40.0F}}) {
    xcvr_pwr_uint16_to_dbm_value(raw, &out);
    EXPECT_NEAR(out, dbm, 1e-4) << raw;
  }
  EXPECT_EQ(sfp_convert_pwr_to_envmon(12349), 1234u);
  EXPECT_EQ(sfp_convert_bias_to_envmon(2999), 5u);
  EXPECT_EQ(sfp_convert_vcc_to_envmon(33009), 3300u);
  for (const auto &[raw, tenths] :
       {std::pair{0xff80u, -5}, {0xe700u, -250}, {0x1980u, 255}, {0x19ffu, 259}, {0u, 0}}) {
    EXPECT_EQ(sfp_convert_temp_to_envmon(raw), tenths) << raw;
  }
}

TEST(FormatTest, CommonStringNamesAndTrimmedCopy) {
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(0), "Vendor name");
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(6), "Zando version");
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(7), "Unknown");
  // clang-format off
  const struct { const char *field; uint16_t length; const char *copy; } cases[] = {
      {"ACME CORP       ", 16, "ACME"}, {"ABCDEFGH", 4, "ABCD"}, {"\xff" "ABC", 4, ""},
      {"\0ABC", 4, ""}, {"AB\0CD", 5, "AB"},
  };
  // clang-format on
  for (const auto &c : cases) {
    char dest[20] = "";
    const auto *source = reinterpret_cast<const uint8_t *>(c.field);
    EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, source, c.length), SFP_RC_OK);
    EXPECT_STREQ(dest, c.copy) << c.field;
  }
  char dest[4] = "";
  const uint8_t source[1] = {'A'};
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(nullptr, source, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, source, 0), SFP_RC_INVALID);
}

TEST(ChecksumTest, Crc32KnownValues) {
  const uint8_t zeros[28] = {};
  EXPECT_EQ(sfpdrv::crc32(zeros, sizeof zeros), 0x807077E9u);
  EXPECT_EQ(sfpdrv::crc32(reinterpret_cast<const uint8_t *>("123456789"), 9), 0xCBF43926u);
}

TEST(ChecksumTest, ComplianceVerdictIsTheFirstFailingCheck) {
  enum Change : unsigned { kBase = 1, kExt = 2, kCrc = 4, kCrcMsbFirst = 8, kZero = 16 };
  const struct {
    unsigned changes;
    sfp_compliance_result result;
  } cases[] = {
      {0, SFP_COMPLIANCE_OK},
      {kBase, SFP_COMPLIANCE_BASE_CHECKSUM},
      {kBase | kExt | kCrc, SFP_COMPLIANCE_BASE_CHECKSUM},
      {kExt, SFP_COMPLIANCE_EXT_CHECKSUM},
      {kExt | kCrc, SFP_COMPLIANCE_EXT_CHECKSUM},
      {kCrc, SFP_COMPLIANCE_VENDOR_CRC},
      {kCrcMsbFirst, SFP_COMPLIANCE_VENDOR_CRC},
      {kZero, SFP_COMPLIANCE_VENDOR_CRC}, // the CRC of 28 zero bytes is not 0
  };
  for (const auto &c : cases) {
    Id id = id_of("10gbase-sr");
    id[63] = static_cast<uint8_t>(id[63] + ((c.changes & kBase) != 0 ? 1 : 0));
    id[95] ^= (c.changes & kExt) != 0 ? 0x40 : 0;
    id[110] ^= (c.changes & kCrc) != 0 ? 0x01 : 0;
    if ((c.changes & kCrcMsbFirst) != 0) {
      std::reverse(id.begin() + 124, id.end());
    }
    if ((c.changes & kZero) != 0) {
      id.fill(0);
    }
    sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
    EXPECT_EQ(sfp_xcvr_check_compliance(id.data(), &result), SFP_RC_OK);
    EXPECT_EQ(result, c.result) << c.changes;
  }
  sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, &result), SFP_RC_OK);
  EXPECT_EQ(result, SFP_COMPLIANCE_NO_DATA);
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, nullptr), SFP_RC_OK);
  uint8_t stored = 0;
  EXPECT_EQ(sfp_xcvr_check_compliance_base_chksum(nullptr, &stored, &stored), SFP_RC_INVALID);
}

} // namespace
