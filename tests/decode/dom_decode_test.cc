// Diagnostic page decode: the calibration arithmetic, the numeric status
// record (flag groups, the supervisory channel correction) and the text table.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>

#include "sfpdrv/sfpdrv.h"

namespace {

using Page = std::array<uint8_t, 128>;

void put16(Page &page, std::size_t at, int value) {
  page[at] = static_cast<uint8_t>(value >> 8);
  page[at + 1] = static_cast<uint8_t>(value);
}

void put_float(Page &page, std::size_t at, float value) {
  const auto bits = std::bit_cast<uint32_t>(value);
  put16(page, at, static_cast<int>(bits >> 16));
  put16(page, at + 2, static_cast<int>(bits & 0xFFFF));
}

// Slot `i` of the record, 32 bits each.
uint32_t slot(const sfp_hw_status_rec &rec, std::size_t i) {
  uint32_t bits = 0;
  std::memcpy(&bits, reinterpret_cast<const char *>(&rec) + 4 * i, sizeof bits);
  return bits;
}

TEST(DomCalibration, RxPowerPolynomialTakesEveryPowerOfX) {
  struct Case {
    std::array<float, 5> r; // R4 .. R0
    uint16_t x, expected;
    bool middle = true; // R3, R2 and R1 given
  };
  const Case cases[] = {{{0.5F, 0, 0, 0, 0}, 10, 5000},
                        {{0, 2, 0, 0, 0}, 10, 2000},
                        {{0, 0, 3, 0, 0}, 10, 300},
                        {{0, 0, 0, 4, 0}, 10, 40},
                        {{0, 0, 0, 0, 7.5F}, 10, 7},
                        {{0.5F, 2, 3, 4, 7.5F}, 10, 7347},
                        {{0.5F, 2, 3, 4, 7.5F}, 10, 5007, false},
                        {{0, 0, 0, 1, -20}, 10, 0},          // negative sum
                        {{0, 0, 0.25F, 0, 0}, 1000, 53392}}; // 250000, low 16 bits
  for (const Case &c : cases) {
    Page page{};
    for (std::size_t i = 0; i < 5; ++i) {
      put_float(page, 56 + 4 * i, c.r[i]);
    }
    uint16_t out = 0xBEEF;
    const uint8_t *r = page.data() + 56;
    auto at = [&c, r](std::size_t i) { return c.middle ? r + i : nullptr; };
    EXPECT_EQ(sfp_get_ext_cal_rx_power(c.x, &out, r, at(4), at(8), at(12), r + 16), 0U);
    EXPECT_EQ(out, c.expected) << c.r[0] << " " << c.r[1] << " " << c.r[2] << " " << c.r[3];
    EXPECT_EQ(sfp_get_ext_cal_rx_power(c.x, nullptr, r, r, r, r, r), 22U);
  }
}

TEST(DomCalibration, SlopeAndOffset) {
  struct Case {
    bool temperature;
    uint16_t raw, slope;
    int16_t offset;
    uint16_t expected;
  };
  const Case cases[] = {
      {false, 0x1234, 256, 0, 0x1234},    {true, 0x1234, 256, 0, 0x1234},
      {false, 1000, 0x0180, 0, 1500},     {false, 1000, 0x0180, 100, 1600},
      {false, 1000, 0x0180, -500, 1000},  {false, 1000, 0x0180, -2000, 0}, // never wraps
      {true, 1000, 0x0180, -2000, 65036}, // temperature wraps: -500
      {true, 0xE700, 256, -256, 0xE600},  // -25 C with -1 C offset
      {false, 0xFFFF, 0x0200, 0, 0xFFFE}, // product modulo 65536
  };
  for (const Case &c : cases) {
    uint16_t out = 0;
    const auto calibrate = c.temperature ? sfp_get_ext_cal_temp : sfp_get_ext_cal_dom;
    EXPECT_EQ(calibrate(c.raw, &out, c.slope, c.offset), 0U);
    EXPECT_EQ(out, c.expected) << c.raw << " " << c.slope << " " << c.offset;
    EXPECT_EQ(calibrate(c.raw, nullptr, c.slope, c.offset), 22U);
  }
}

TEST(DomCalibration, MonitoringTypeBits) {
  uint32_t (*const bits[])(uint8_t) = {sfp_id_diagMonType_ext_cal, sfp_id_diagMonType_int_cal,
                                       sfp_id_diagMonType_digital_mon,
                                       sfp_id_diagMonType_analog_mon};
  for (std::size_t f = 0; f < 4; ++f) {
    const auto own = static_cast<uint8_t>(0x10U << f); // bits 4 to 7
    EXPECT_EQ(std::pair(bits[f](own), bits[f](static_cast<uint8_t>(~own))), std::pair(1U, 0U));
  }
}

// Distinct thresholds and measured values of every quantity, with external
// calibration that changes each of them: temperature offset -10 C, voltage
// slope 1.5, bias offset -3000, tx power offset -20000, rx power 2 x - 4.
Page calibrated_page() {
  Page p{};
  constexpr std::pair<std::size_t, int> kWords[] = {
      {0, 0x5000},  {2, 0xF600},   {4, 0x4B00},  {6, 0x0500},  {8, 20000},  {10, 10000},
      {12, 18000},  {14, 12000},   {16, 5000},   {18, 4000},   {20, 4500},  {22, 1000},
      {24, 30000},  {26, 1000},    {28, 20000},  {30, 25000},  {32, 5002},  {34, 7},
      {36, 502},    {38, 1},       {76, 256},    {78, -3000},  {80, 256},   {82, -20000},
      {84, 256},    {86, -0x0A00}, {88, 0x0180}, {96, 0xE700}, {98, 22000}, {100, 1000},
      {102, 30000}, {104, 5002}};
  for (const auto &[at, value] : kWords) {
    put16(p, at, value);
  }
  put_float(p, 68, 2);  // R1
  put_float(p, 72, -4); // R0
  p[110] = 0x02;        // LOS
  return p;
}

TEST(DomStatusRecord, CalibratesOnlyWhenExternal) {
  Page page = calibrated_page();
  struct Case {
    std::size_t slot;
    float internal, external;
  };
  // clang-format off
  const Case cases[] = {
      {16, 80, 70}, {17, -10, -20}, {26, 75, 65}, {27, 5, -5}, {5, -25, -35},        // degrees
      {14, 2, 3}, {15, 1, 1.5F}, {24, 1.8F, 2.7F}, {25, 1.2F, 1.8F}, {4, 2.2F, 3.3F}, // volts
      {12, 10, 4}, {13, 8, 2}, {22, 9, 3}, {23, 2, 0}, {2, 2, 0},                  // mA, floor 0
      {10, 4.77121F, 0}, {11, -10, -40}, {20, 3.0103F, -40}, {21, 3.9794F, -3.0103F}, // tx dBm
      {1, 4.77121F, 0},
      {8, -3.00856F, 0}, {9, -31.54902F, -30}, {18, -12.99296F, -10}, {19, -40, -40}, // rx dBm
      {0, -3.00856F, 0}};
  // clang-format on
  for (uint32_t ext : {0U, 1U}) {
    sfp_hw_status_rec rec{};
    ASSERT_EQ(sfp_xcvr_decode_sfp_status(nullptr, page.data(), &rec, ext), 0U);
    for (const Case &c : cases) {
      const float value = std::bit_cast<float>(slot(rec, c.slot));
      EXPECT_NEAR(value, ext != 0 ? c.external : c.internal, 1e-4) << c.slot;
    }
    EXPECT_EQ(rec.los + 2 * rec.tx_fault, 1U);
  }
  // Every coefficient in its place: 0.5 x^4 + 2 x^3 + 25 x^2 + 50 x at x = 10.
  for (std::size_t i = 0; i < 5; ++i) {
    put_float(page, 56 + 4 * i, std::array{0.5F, 2.0F, 25.0F, 50.0F, 0.0F}[i]);
  }
  put16(page, 104, 10);
  sfp_hw_status_rec rec{};
  ASSERT_EQ(sfp_xcvr_decode_sfp_status(nullptr, page.data(), &rec, 1), 0U);
  EXPECT_FLOAT_EQ(rec.rx_power, 0.0F); // 10000
}

TEST(DomStatusRecord, SupervisoryChannelRxPowerIsTenDbLower) {
  Page page{};
  put16(page, 32, 10000);
  put16(page, 104, 10000); // 0 dBm
  page[110] = 0x04;        // Tx fault
  for (const sfp_xcvr_type type : {588U, 589U, 590U, 591U}) {
    sfp_port_ctx port{};
    port.xcvr_type = type;
    sfp_hw_status_rec rec{};
    ASSERT_EQ(sfp_xcvr_decode_sfp_status(&port, page.data(), &rec, 0), 0U);
    EXPECT_FLOAT_EQ(rec.rx_power, type == 589 || type == 590 ? -10.0F : 0.0F) << type;
    EXPECT_FLOAT_EQ(rec.rx_power_alarm_high, 0.0F);
    EXPECT_EQ(rec.tx_fault + 2 * rec.los, 1U);
  }
  sfp_hw_status_rec rec{};
  EXPECT_EQ(sfp_xcvr_decode_sfp_status(nullptr, nullptr, &rec, 0), 22U);
  EXPECT_EQ(sfp_xcvr_decode_sfp_status(nullptr, page.data(), nullptr, 0), 22U);
}

TEST(DomStatusRecord, FlagGroupsInOrderStopAtHighAndLowTogether) {
  struct Group {
    std::size_t byte; // 0: bytes 112 and 116, 1: 113 and 117
    uint8_t high, low;
    std::size_t first_slot;
  };
  const Group groups[] = {{0, 0x02, 0x01, 33},
                          {1, 0x80, 0x40, 37},
                          {0, 0x08, 0x04, 41},
                          {0, 0x80, 0x40, 45},
                          {0, 0x20, 0x10, 49}};
  for (std::size_t g = 0; g < 5; ++g) {
    const Group &group = groups[g];
    for (std::size_t flag = 0; flag < 4; ++flag) { // one flag alone
      Page page{};
      page[(flag < 2 ? 112 : 116) + group.byte] = flag % 2 == 0 ? group.high : group.low;
      sfp_hw_status_rec rec{};
      ASSERT_EQ(sfp_xcvr_decode_sfp_status(nullptr, page.data(), &rec, 0), 0U);
      for (std::size_t s = 33; s <= 52; ++s) {
        EXPECT_EQ(slot(rec, s), s == group.first_slot + flag ? 1U : 0U) << g << flag << s;
      }
    }
    for (std::size_t high_at : {112U, 116U}) { // a high and a low flag together
      for (std::size_t low_at : {112U, 116U}) {
        Page page = calibrated_page();
        page[high_at + group.byte] |= group.high;
        page[low_at + group.byte] |= group.low;
        const Group *next = g < 4 ? &groups[g + 1] : nullptr;
        if (next != nullptr) {
          page[112 + next->byte] |= next->high;
        }
        sfp_hw_status_rec rec{};
        ASSERT_EQ(sfp_xcvr_decode_sfp_status(nullptr, page.data(), &rec, 0), 22U);
        EXPECT_EQ(slot(rec, group.first_slot + (high_at == 112 ? 0 : 2)), 1U);
        EXPECT_EQ(slot(rec, group.first_slot + (low_at == 112 ? 1 : 3)), 1U);
        EXPECT_EQ(next != nullptr ? slot(rec, next->first_slot) : 0U, 0U) << g;
        EXPECT_FLOAT_EQ(rec.vcc_alarm_high, 2.0F); // stored before the flags
        EXPECT_EQ(rec.los, 1U);
        EXPECT_EQ(rec.vcc, 0.0F); // measured values come after them
      }
    }
  }
}

struct Entry {
  std::size_t index;
  const char *name, *raw, *value;
};

void expect_entries(const Page &page, uint32_t ext, std::initializer_list<Entry> expected) {
  sfp_status_field_table table{};
  ASSERT_EQ(sfp_xcvr_decode_sfp_status_str(page.data(), &table, ext), 0U);
  for (const Entry &e : expected) {
    EXPECT_STREQ(table.field[e.index].name, e.name) << e.index;
    EXPECT_STREQ(table.field[e.index].raw, e.raw) << e.name;
    EXPECT_STREQ(table.field[e.index].value, e.value) << e.name;
  }
}

// Calibrated values formatted, raw bytes as read; the bit and flag texts.
TEST(DomStatusText, CalibratedValuesAndBitTexts) {
  Page page = calibrated_page();
  put16(page, 2, 0x1980); // 25.5 C
  put16(page, 4, 0xE700); // -25 C
  put16(page, 6, 0x0A80); // 10.5 C, 0.5 C after the offset
  put16(page, 110, 0xC500);
  put16(page, 112, 0x80C0);
  put16(page, 116, 0x7F00);
  page[127] = 0x02;
  // clang-format off
  expect_entries(page, 0, {
    {1, "tempLowAlarmThresh", "19 80 ", "+25.500 C"},
    {2, "tempHighWarnThresh", "e7 00 ", " -25.000 C"},
    {4, "voltageHighAlarmThresh", "4e 20 ", "2.000 Volt"}, {33, "temp", "e7 00 ", "-25.000"}});
  expect_entries(page, 1, {
    {3, "tempLowWarnThresh", "0a 80 ", "+0.500 C"},
    {4, "voltageHighAlarmThresh", "4e 20 ", "3.000 Volt"},
    {13, "txPwrLowAlarmThresh", "03 e8 ", " 0.000 mW (<-40.00 dBm)"},
    {24, "R0", "c0 80 00 00 ", "-4.000000"}, {26, "B0", "f4 48 ", "-3000"},
    {33, "temp", "e7 00 ", "-35.000"}, {37, "rxPower", "13 8a ", " 1.00000 mW (0.00000 dBm)"},
    {38, "optionalStatusControl", "c5 00 ",
     "Tx Disabled, Soft Tx Disabled, Tx Fault, Data Ready, "},
    {39, "alarmStatus", "80 c0 ", "High Temp, High Rx Pwr Low Rx Pwr "},
    {40, "warningStatus", "7f 00 ",
     "Low Temp, High Volt, Low Volt, High Tx Bias, Low Tx Bias, High Tx Pwr, Low Tx Pwr, "},
    {42, "tableSelect", "02 ", ""}});
  // clang-format on
}

TEST(DomStatusText, StatusControlLinesAndMissingPointers) {
  char text[256] = "";
  sfp_id_operationStatusControl_to_long_string(0x0000, text, sizeof text);
  EXPECT_STREQ(text, "Tx Disable: Clear\nSoft Tx Disable: Clear\nRx Rate Select: Clear\n"
                     "Soft Rx Rate Select: Clear\nTx Fault: Clear\nLOS: Clear\nData Rdy:0");
  text[0] = '\0';
  sfp_id_operationStatusControl_to_long_string(0x5500, text, sizeof text);
  EXPECT_STREQ(text, "Tx Disable: Clear\nSoft Tx Disable: Set\nRx Rate Select: Set\n"
                     "Soft Rx Rate Select: Clear\nTx Fault: Set\nLOS: Clear\nData Ready: Set\n");
  char small[12] = "";
  sfp_id_operationStatusControl_to_long_string(0xFF00, small, sizeof small);
  EXPECT_STREQ(small, "Tx Disable:");
  sfp_status_field_table table{};
  const Page page{};
  // The caller clears the table: what an entry holds stays ahead of the new
  // raw bytes and value.
  std::snprintf(table.field[33].raw, sizeof table.field[33].raw, "old ");
  std::snprintf(table.field[33].value, sizeof table.field[33].value, "old ");
  ASSERT_EQ(sfp_xcvr_decode_sfp_status_str(page.data(), &table, 0), 0U);
  EXPECT_STREQ(table.field[33].name, "temp");
  EXPECT_STREQ(table.field[33].raw, "old 00 00 ");
  EXPECT_STREQ(table.field[33].value, "old 0.000");
  EXPECT_EQ(sfp_xcvr_decode_sfp_status_str(nullptr, &table, 0), 22U);
  EXPECT_EQ(sfp_xcvr_decode_sfp_status_str(page.data(), nullptr, 0), 22U);
}

} // namespace
