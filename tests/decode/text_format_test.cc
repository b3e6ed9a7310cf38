// The value texts and pieces are built without printf where they can be;
// what they produce must stay what printf would produce, byte for byte, for
// every raw value and every buffer size.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "common/text.h"
#include "sfpdrv/sfpdrv.h"

namespace {

std::string printf_text(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string printf_text(const char *format, ...) {
  char text[128];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

// The text a value function appends to an empty buffer.
template <typename F> std::string rendered(F render, uint32_t raw) {
  char text[160] = "";
  render(raw, text, static_cast<int32_t>(sizeof text));
  return text;
}

// Every 16-bit raw value of each quantity reads as printf shows the
// number the matching value function gives.
TEST(ValueTextTest, EveryRawValueReadsAsPrintfShowsIt) {
  for (uint32_t raw = 0; raw <= 0xffff; ++raw) {
    float number = 0;
    xcvr_curr_bias_uint16_to_value(raw, &number);
    ASSERT_EQ(rendered(xcvr_curr_bias_uint16_to_string, raw),
              printf_text("%3.3f mAmps", static_cast<double>(number)))
        << raw;
    xcvr_voltage_to_value(raw, &number);
    ASSERT_EQ(rendered(xcvr_voltage_to_string, raw),
              printf_text("%1.3f Volt", static_cast<double>(number)))
        << raw;
    if (xcvr_id_signed_fixed_point16_to_float(raw, &number) == 0) {
      ASSERT_EQ(rendered(xcvr_id_signed_fixed_point16_to_string, raw),
                printf_text("%0.3f", static_cast<double>(number)))
          << raw;
    }
    if (xcvr_id_unsigned_fixed_point16_to_float(raw, &number) == 0) {
      ASSERT_EQ(rendered(xcvr_id_unsigned_fixed_point16_to_string, raw),
                printf_text("%0.3f", static_cast<double>(number)))
          << raw;
    }
    if (raw >= 10) { // 1 uW and more: milliwatts and decibels
      xcvr_pwr_uint16_to_dbm_value(raw, &number);
      ASSERT_EQ(rendered(xcvr_pwr_uint16_to_dbm_string, raw),
                printf_text(" %0.5f mW (%2.5f dBm)", raw * 0.0001, static_cast<double>(number)))
          << raw;
    }
  }
}

// A value text never writes to a missing buffer or one of no size, and a
// missing value or result is refused.
TEST(ValueTextTest, NoRoomOrNoArgumentWritesNothing) {
  char text[8] = "kept";
  xcvr_voltage_to_string(33000, text, 0);
  xcvr_curr_bias_uint16_to_string(3000, nullptr, 8);
  xcvr_pwr_uint16_to_dbm_string(5000, text, -1);
  xcvr_oui_to_string(nullptr, text, sizeof text);
  EXPECT_STREQ(text, "kept");
  xcvr_pwr_uint16_to_dbm_value(5000, nullptr);
}

// A hex dump line starts with the offset as "0x%04x: ", with more digits
// for an offset that needs them.
TEST(ValueTextTest, DumpOffsetsHaveFourDigitsOrAsManyAsNeeded) {
  std::vector<uint8_t> image(0x10000 + 128, 0xab);
  char text[1936];
  for (uint32_t start : {0x0u, 0x180u, 0xff80u, 0x10000u}) {
    ASSERT_EQ(sfp_eeprom_page_to_ascii(image.data(), start, text, sizeof text, 16), SFP_RC_OK);
    EXPECT_EQ(std::string(text).substr(0, std::string(text).find(' ')),
              printf_text("0x%04x:", start));
  }
}

// The plain formatter writes what vsnprintf writes, cut at every size.
std::string plain(std::size_t size, const char *format, ...) {
  std::string text(size, '\x7f');
  va_list args;
  va_start(args, format);
  const bool done = sfpdrv::format_plain(text.data(), size, format, args);
  va_end(args);
  EXPECT_TRUE(done) << format;
  return text;
}

std::string reference(std::size_t size, const char *format, ...) {
  std::string text(size, '\x7f');
  va_list args;
  va_start(args, format);
  std::vsnprintf(text.data(), size, format, args);
  va_end(args);
  return text;
}

TEST(PlainFormatTest, WritesWhatPrintfWritesAtEverySize) {
  const char *vendor = "ACME OPTICS     ";
  for (std::size_t size = 1; size <= 48; ++size) {
    SCOPED_TRACE(size);
    EXPECT_EQ(plain(size, "\n\tVendor Name: %s", vendor),
              reference(size, "\n\tVendor Name: %s", vendor));
    EXPECT_EQ(plain(size, "%s, %s", "Tx_DISABLE", static_cast<const char *>(nullptr)),
              reference(size, "%s, %s", "Tx_DISABLE", static_cast<const char *>(nullptr)));
    EXPECT_EQ(plain(size, "%u00 Mbps|%d|%d|%u%%", 103u, -2147483647 - 1, 0, 4294967295u),
              reference(size, "%u00 Mbps|%d|%d|%u%%", 103u, -2147483647 - 1, 0, 4294967295u));
    EXPECT_EQ(plain(size, "[%.*s][%.*s][%.*s]", 4, vendor, 0, vendor, -1, "all"),
              reference(size, "[%.*s][%.*s][%.*s]", 4, vendor, 0, vendor, -1, "all"));
    const char *none = nullptr;
    EXPECT_EQ(plain(size, "[%.*s][%.*s][%.*s]", 3, none, 6, none, -1, none),
              reference(size, "[%.*s][%.*s][%.*s]", 3, none, 6, none, -1, none));
    EXPECT_EQ(plain(size, "%c%c/%c%c lot %c", '2', '6', '1', '1', 'A'),
              reference(size, "%c%c/%c%c lot %c", '2', '6', '1', '1', 'A'));
    EXPECT_EQ(plain(size, "no conversion at all"), reference(size, "no conversion at all"));
  }
}

// Anything else is left to printf, with the output untouched.
bool refused(char (&text)[16], const char *format, ...) {
  va_list args;
  va_start(args, format);
  const bool done = sfpdrv::format_plain(text, sizeof text, format, args);
  va_end(args);
  return !done;
}

TEST(PlainFormatTest, LeavesOtherConversionsToPrintf) {
  char text[16] = "kept";
  for (const char *format : {"%15s", "%02x", "%0.3f", "%ld", "%", "trailing %"}) {
    EXPECT_TRUE(refused(text, format, 7)) << format;
  }
  EXPECT_STREQ(text, "kept");
}

} // namespace
