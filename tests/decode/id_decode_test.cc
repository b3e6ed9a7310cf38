// The identification page decode: every entry of a blank page and of a
// simulated module against values read by hand from the page layout, and
// the entries whose value depends on particular bytes.
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
  Id id{};
  std::memcpy(id.data(), sfpsim::find_profile("10gbase-sr")->memory.a0.data(), id.size());
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

} // namespace
