// Value formatting and unit conversion: the text pieces, their bounded
// append, the numeric conversions at their edges and the trimmed copy.
#include <gtest/gtest.h>

#include <string>

#include "sfpdrv/decode.h"

namespace {

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

} // namespace
