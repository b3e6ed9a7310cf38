// Value formatting and unit conversion: the text pieces, their bounded
// append, the numeric conversions at their edges and the trimmed copy.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "sfpdrv/decode.h"

namespace {

using Append = std::function<void(char *, int32_t)>;

TEST(FormatTest, PiecesAppendToTheText) {
  static const uint8_t oui[3] = {0x00, 0x90, 0x65};
  const struct {
    Append append;
    const char *piece;
  } cases[] = {
      {[](char *t, int32_t n) { xcvr_oui_to_string(oui, t, n); }, "00.90.65"},
      {[](char *t, int32_t n) { xcvr_id_temp_to_string(0x1980, t, n); }, "25.500 C"},
      {[](char *t, int32_t n) { xcvr_id_temp_to_string(0x1910, t, n); }, "25.062 C"},
      {[](char *t, int32_t n) { xcvr_id_signed_fixed_point16_to_string(0x0100, t, n); }, "1.000"},
      {[](char *t, int32_t n) { xcvr_id_signed_fixed_point16_to_string(0xff80, t, n); }, "-0.500"},
      {[](char *t, int32_t n) { xcvr_id_unsigned_fixed_point16_to_string(0xff80, t, n); },
       "255.500"},
      {[](char *t, int32_t n) { xcvr_id_unsigned_fixed_point16_to_string(0x0140, t, n); }, "1.250"},
      {[](char *t, int32_t n) { xcvr_curr_bias_uint16_to_string(3001, t, n); }, "6.002 mAmps"},
      {[](char *t, int32_t n) { xcvr_voltage_to_string(32999, t, n); }, "3.300 Volt"},
      {[](char *t, int32_t n) { xcvr_id_power_to_string(12349, t, n); }, "1234 uWatt"},
      {[](char *t, int32_t n) { xcvr_pwr_uint16_to_dbm_string(0, t, n); },
       " 0.000 mW (<-40.00 dBm)"},
      {[](char *t, int32_t n) { xcvr_pwr_uint16_to_dbm_string(9, t, n); },
       " 0.000 mW (<-40.00 dBm)"},
      {[](char *t, int32_t n) { xcvr_pwr_uint16_to_dbm_string(10, t, n); },
       " 0.00100 mW (-30.00000 dBm)"},
      {[](char *t, int32_t n) { xcvr_pwr_uint16_to_dbm_string(20000, t, n); },
       " 2.00000 mW (3.01030 dBm)"},
  };
  for (const auto &c : cases) {
    char text[64] = "x=";
    c.append(text, sizeof text);
    EXPECT_EQ(std::string(text), std::string("x=") + c.piece);
  }
}

TEST(FormatTest, BitDecodeMasksTheValueAndListsEveryMatchingRow) {
  const xcvr_bit_decode_entry rows[] = {
      {0x01, 0x01, "A"},   {0x00, 0x01, "not A"},   {0x06, 0x06, "B+C"},
      {0x100, 0x100, "H"}, {0x10000, 0x10000, "W"},
  };
  const auto decode = [&rows](auto fn, uint32_t value, int32_t count = 5) {
    char text[80] = "";
    fn(value, text, sizeof text, count, rows);
    return std::string(text);
  };
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x10107), "A, B+C, ");
  EXPECT_EQ(decode(xcvr_decode_uint16_to_string, 0x10107), "A, B+C, H, ");
  EXPECT_EQ(decode(xcvr_decode_uint32_to_string, 0x10107), "A, B+C, H, W, ");
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x02), "not A, ");
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x07, 1), "A, ");
  EXPECT_EQ(decode(xcvr_decode_uint8_to_string, 0x07, 0), "");
  // No row matches: the text is left as it was.
  const xcvr_bit_decode_entry set_only[] = {{0x80, 0x80, "X"}};
  char text[16] = "keep";
  xcvr_decode_uint8_to_string(0x7f, text, sizeof text, 1, set_only);
  EXPECT_STREQ(text, "keep");
}

TEST(FormatTest, AppendIsBoundedByTheBufferAndTheScratch) {
  // Room for one more character and the terminator.
  char text[8] = "abcde";
  xcvr_id_power_to_string(12340, text, 7);
  EXPECT_STREQ(text, "abcde1");
  // Full, or a size of zero or below: unchanged and terminated.
  for (int32_t size : {7, 0, -1}) {
    char full[8] = "abcdef";
    xcvr_oui_to_string(reinterpret_cast<const uint8_t *>("abc"), full, size);
    EXPECT_STREQ(full, "abcdef") << size;
  }
  // A piece longer than the scratch is cut to 79 characters.
  const std::string label(100, 'L');
  const xcvr_bit_decode_entry row[] = {{0, 0, label.c_str()}};
  char big[200] = "";
  xcvr_decode_uint32_to_string(0, big, sizeof big, 1, row);
  EXPECT_EQ(std::string(big), std::string(79, 'L'));
}

TEST(FormatTest, NumericConversions) {
  float out = 0;
  EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0x0100, &out), 1u);
  EXPECT_EQ(out, 1.0F);
  EXPECT_EQ(xcvr_id_unsigned_fixed_point16_to_float(0x0100, &out), 1u);
  EXPECT_EQ(out, 1.0F);
  EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0xff80, &out), 0u);
  EXPECT_EQ(out, -0.5F);
  EXPECT_EQ(xcvr_id_unsigned_fixed_point16_to_float(0xff80, &out), 0u);
  EXPECT_EQ(out, 255.5F);
  EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0x7f01, &out), 0u);
  EXPECT_EQ(out, 127.00390625F);
  xcvr_curr_bias_uint16_to_value(3001, &out);
  EXPECT_EQ(out, static_cast<float>(6.002));
  xcvr_voltage_to_value(33000, &out);
  EXPECT_EQ(out, static_cast<float>(3.3));
  const struct {
    uint32_t raw;
    float dbm;
  } powers[] = {
      {0, -40.0F}, {1, -40.0F}, {10000, 0.0F}, {0x10000 + 10000, 0.0F}, {0x10000, -40.0F}};
  for (const auto &p : powers) {
    xcvr_pwr_uint16_to_dbm_value(p.raw, &out);
    EXPECT_NEAR(out, p.dbm, 1e-4) << p.raw;
  }
  EXPECT_EQ(sfp_convert_pwr_to_envmon(12349), 1234u);
  EXPECT_EQ(sfp_convert_bias_to_envmon(2999), 5u);
  EXPECT_EQ(sfp_convert_vcc_to_envmon(33009), 3300u);
  const struct {
    uint32_t raw;
    int32_t tenths;
  } temps[] = {{0xff80, -5}, {0xe700, -250}, {0x1980, 255}, {0x19ff, 259}, {0, 0}};
  for (const auto &t : temps) {
    EXPECT_EQ(sfp_convert_temp_to_envmon(t.raw), t.tenths) << t.raw;
  }
}

TEST(FormatTest, CommonStringNamesAndTrimmedCopy) {
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(0), "Vendor name");
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(4), "PID");
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(6), "Zando version");
  EXPECT_STREQ(sfp_eeprom_get_cmn_str_name(7), "Unknown");

  const struct {
    const char *field;
    uint16_t length;
    const char *copy;
  } cases[] = {
      {"ACME CORP       ", 16, "ACME"},
      {"ABCDEFGH", 4, "ABCD"},
      {"\xff"
       "ABC",
       4, ""},
      {"\0ABC", 4, ""},
      {"AB\0CD", 5, "AB"},
  };
  for (const auto &c : cases) {
    char dest[20] = "";
    EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, reinterpret_cast<const uint8_t *>(c.field), c.length),
              SFP_RC_OK);
    EXPECT_STREQ(dest, c.copy) << c.field;
  }
  char dest[4] = "";
  const uint8_t source[1] = {'A'};
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(nullptr, source, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_eeprom_get_n_trim_str(dest, source, 0), SFP_RC_INVALID);
}

} // namespace
