// Decode of the diagnostic page (A2h bytes 0 to 127): the numeric status
// record, the text table of named fields and the status/control lines.
// Values of an externally calibrated module are calibrated before they are
// converted or formatted; the raw hex of a field always shows the bytes as
// read.
#include <array>
#include <cstddef>
#include <cstdint>

#include "common/text.h"
#include "decode/calibration.h"
#include "decode/internal.h"
#include "sfpdrv/decode.h"

namespace sfpdrv {
namespace {

// The monitored quantities, each with its calibration.
enum class Quantity : uint8_t { None, Temperature, Voltage, Bias, TxPower, RxPower };

// A2h offsets.
constexpr std::size_t kRxPowerCoefficients = 56; // R4, R3, R2, R1, R0, 4 bytes each
constexpr std::size_t kCoefficientSize = 4;
constexpr std::size_t kMeasuredTemperature = 96;
constexpr std::size_t kMeasuredVoltage = 98;
constexpr std::size_t kMeasuredBias = 100;
constexpr std::size_t kMeasuredTxPower = 102;
constexpr std::size_t kMeasuredRxPower = 104;
constexpr std::size_t kStatusControl = 110;
constexpr std::size_t kAlarmFlags = 112;
constexpr std::size_t kWarningFlags = 116;

// Byte 110.
constexpr uint8_t kLossOfSignal = 0x02;
constexpr uint8_t kTxFault = 0x04;

// The 160 km optical supervisory channel types report receive power 10 dB
// above the level at the receiver.
constexpr sfp_xcvr_type kOsc1510Type = 589;
constexpr sfp_xcvr_type kOsc1514Type = 590;
constexpr float kOscRxPowerCorrection = 10.0F;

// Where a quantity's slope and offset are.
struct SlopeOffset {
  Quantity quantity;
  std::size_t slope;
  std::size_t offset;
};
constexpr std::array<SlopeOffset, 4> kSlopeOffsets{{
    {Quantity::Bias, 76, 78},
    {Quantity::TxPower, 80, 82},
    {Quantity::Temperature, 84, 86},
    {Quantity::Voltage, 88, 90},
}};

const uint8_t *coefficient(const uint8_t *diag, std::size_t index) {
  return diag + kRxPowerCoefficients + index * kCoefficientSize;
}

// The 16-bit value at `offset`, calibrated for `quantity` when `external`.
uint16_t calibrated(const uint8_t *diag, std::size_t offset, Quantity quantity, bool external) {
  const uint16_t raw = read_be16(diag + offset);
  if (!external || quantity == Quantity::None) {
    return raw;
  }
  if (quantity == Quantity::RxPower) {
    return calibrate_rx_power(raw, coefficient(diag, 0), coefficient(diag, 1), coefficient(diag, 2),
                              coefficient(diag, 3), coefficient(diag, 4));
  }
  for (const SlopeOffset &row : kSlopeOffsets) {
    if (row.quantity == quantity) {
      const uint16_t slope = read_be16(diag + row.slope);
      const auto offset_value = static_cast<int16_t>(read_be16(diag + row.offset));
      return quantity == Quantity::Temperature ? calibrate_temperature(raw, slope, offset_value)
                                               : calibrate_unsigned(raw, slope, offset_value);
    }
  }
  return raw;
}

// A temperature as whole degrees: the signed high byte.
int8_t whole_degrees(uint16_t value) {
  return static_cast<int8_t>(value >> 8);
}

// A calibrated value in the record's unit.
float record_value(Quantity quantity, uint16_t value) {
  float result = 0.0F;
  switch (quantity) {
  case Quantity::Temperature:
    result = whole_degrees(value);
    break;
  case Quantity::Voltage:
    xcvr_voltage_to_value(value, &result);
    break;
  case Quantity::Bias:
    xcvr_curr_bias_uint16_to_value(value, &result);
    break;
  case Quantity::TxPower:
  case Quantity::RxPower:
    xcvr_pwr_uint16_to_dbm_value(value, &result);
    break;
  case Quantity::None:
    break;
  }
  return result;
}

// ---- numeric record --------------------------------------------------------

using Rec = sfp_hw_status_rec;

// A quantity's four thresholds (high alarm, low alarm, high warning, low
// warning at `offset`) and the record slots they go to, in decode order.
struct ThresholdRow {
  Quantity quantity;
  std::size_t offset;
  std::array<float Rec::*, 4> slots;
};
constexpr std::array<ThresholdRow, 5> kThresholdRows{{
    {Quantity::Temperature,
     0,
     {&Rec::temperature_alarm_high, &Rec::temperature_alarm_low, &Rec::temperature_warn_high,
      &Rec::temperature_warn_low}},
    {Quantity::Voltage,
     8,
     {&Rec::vcc_alarm_high, &Rec::vcc_alarm_low, &Rec::vcc_warn_high, &Rec::vcc_warn_low}},
    {Quantity::Bias,
     16,
     {&Rec::bias_alarm_high, &Rec::bias_alarm_low, &Rec::bias_warn_high, &Rec::bias_warn_low}},
    {Quantity::TxPower,
     24,
     {&Rec::tx_power_alarm_high, &Rec::tx_power_alarm_low, &Rec::tx_power_warn_high,
      &Rec::tx_power_warn_low}},
    {Quantity::RxPower,
     32,
     {&Rec::rx_power_alarm_high, &Rec::rx_power_alarm_low, &Rec::rx_power_warn_high,
      &Rec::rx_power_warn_low}},
}};

// A quantity's flags: the high and low bits of alarm byte 112 + `byte`, the
// same bits of warning byte 116 + `byte`, and the record's four flag slots.
struct FlagGroup {
  std::size_t byte;
  uint8_t high;
  uint8_t low;
  uint32_t (Rec::*slots)[4];
};
// Examined in this order; the first inconsistent group ends the decode.
constexpr std::array<FlagGroup, 5> kFlagGroups{{
    {0, 0x02, 0x01, &Rec::tx_power_flags},
    {1, 0x80, 0x40, &Rec::rx_power_flags},
    {0, 0x08, 0x04, &Rec::bias_flags},
    {0, 0x80, 0x40, &Rec::temperature_flags},
    {0, 0x20, 0x10, &Rec::vcc_flags},
}};

uint32_t bit(uint8_t byte, uint8_t mask) {
  return (byte & mask) != 0 ? 1U : 0U;
}

void store_thresholds(const uint8_t *diag, bool external, Rec &rec) {
  for (const ThresholdRow &row : kThresholdRows) {
    for (std::size_t i = 0; i < row.slots.size(); ++i) {
      const uint16_t value = calibrated(diag, row.offset + 2 * i, row.quantity, external);
      rec.*row.slots[i] = record_value(row.quantity, value);
    }
  }
}

void store_powers(const uint8_t *diag, bool external, sfp_xcvr_type type, Rec &rec) {
  rec.tx_power = record_value(Quantity::TxPower,
                              calibrated(diag, kMeasuredTxPower, Quantity::TxPower, external));
  rec.rx_power = record_value(Quantity::RxPower,
                              calibrated(diag, kMeasuredRxPower, Quantity::RxPower, external));
  if (type == kOsc1510Type || type == kOsc1514Type) {
    rec.rx_power -= kOscRxPowerCorrection;
  }
}

// Stores each group's flags in turn; false, with the later groups left as
// they are, at a group whose high and low flags are both set.
bool store_flags(const uint8_t *diag, Rec &rec) {
  for (const FlagGroup &group : kFlagGroups) {
    const uint8_t alarm = diag[kAlarmFlags + group.byte];
    const uint8_t warning = diag[kWarningFlags + group.byte];
    uint32_t(&slots)[4] = rec.*group.slots;
    slots[SFP_FLAG_ALARM_HIGH] = bit(alarm, group.high);
    slots[SFP_FLAG_ALARM_LOW] = bit(alarm, group.low);
    slots[SFP_FLAG_WARN_HIGH] = bit(warning, group.high);
    slots[SFP_FLAG_WARN_LOW] = bit(warning, group.low);
    const bool high = (slots[SFP_FLAG_ALARM_HIGH] | slots[SFP_FLAG_WARN_HIGH]) != 0;
    const bool low = (slots[SFP_FLAG_ALARM_LOW] | slots[SFP_FLAG_WARN_LOW]) != 0;
    if (high && low) {
      return false;
    }
  }
  return true;
}

void store_measured(const uint8_t *diag, bool external, Rec &rec) {
  rec.vcc = record_value(Quantity::Voltage,
                         calibrated(diag, kMeasuredVoltage, Quantity::Voltage, external));
  rec.temperature =
      record_value(Quantity::Temperature,
                   calibrated(diag, kMeasuredTemperature, Quantity::Temperature, external));
  rec.bias =
      record_value(Quantity::Bias, calibrated(diag, kMeasuredBias, Quantity::Bias, external));
}

// ---- text table --------------------------------------------------------------

// How an entry's value text is made.
enum class Text : uint8_t {
  Temperature,   // "%c%d.%03u C"
  Voltage,       // volts
  Bias,          // milliamperes
  Power,         // milliwatts and dBm
  Coefficient,   // "%f" of a big-endian float
  Slope,         // unsigned 8.8
  Offset,        // "%d" of a signed 16-bit value
  SignedFixed,   // signed 8.8, no unit
  StatusControl, // bits of bytes 110, 111
  Flags,         // alarm or warning flags
  Empty,
};

struct TextEntry {
  const char *name;
  uint8_t offset;
  uint8_t length;
  Text text;
  Quantity calibration; // None: formatted as read
};

using Q = Quantity;
using T = Text;
constexpr std::array<TextEntry, SFP_STATUS_FIELDS> kTextEntries{{
    {"tempHighAlarmThresh", 0, 2, T::Temperature, Q::Temperature},
    {"tempLowAlarmThresh", 2, 2, T::Temperature, Q::Temperature},
    {"tempHighWarnThresh", 4, 2, T::Temperature, Q::Temperature},
    {"tempLowWarnThresh", 6, 2, T::Temperature, Q::Temperature},
    {"voltageHighAlarmThresh", 8, 2, T::Voltage, Q::Voltage},
    {"voltageLowAlarmThresh", 10, 2, T::Voltage, Q::Voltage},
    {"voltageHighWarnThresh", 12, 2, T::Voltage, Q::Voltage},
    {"voltageLowWarnThresh", 14, 2, T::Voltage, Q::Voltage},
    {"biasHighAlarmThresh", 16, 2, T::Bias, Q::Bias},
    {"biasLowAlarmThresh", 18, 2, T::Bias, Q::Bias},
    {"biasHighWarnThresh", 20, 2, T::Bias, Q::Bias},
    {"biasLowWarnThresh", 22, 2, T::Bias, Q::Bias},
    {"txPwrHighAlarmThresh", 24, 2, T::Power, Q::TxPower},
    {"txPwrLowAlarmThresh", 26, 2, T::Power, Q::TxPower},
    {"txPwrHighWarnThresh", 28, 2, T::Power, Q::TxPower},
    {"txPwrLowWarnThresh", 30, 2, T::Power, Q::TxPower},
    {"rxPwrHighAlarmThresh", 32, 2, T::Power, Q::RxPower},
    {"rxPwrLowAlarmThresh", 34, 2, T::Power, Q::RxPower},
    {"rxPwrHighWarnThresh", 36, 2, T::Power, Q::RxPower},
    {"rxPwrLowWarnThresh", 38, 2, T::Power, Q::RxPower},
    {"R4", 56, 4, T::Coefficient, Q::None},
    {"R3", 60, 4, T::Coefficient, Q::None},
    {"R2", 64, 4, T::Coefficient, Q::None},
    {"R1", 68, 4, T::Coefficient, Q::None},
    {"R0", 72, 4, T::Coefficient, Q::None},
    {"B1", 76, 2, T::Slope, Q::None},
    {"B0", 78, 2, T::Offset, Q::None},
    {"P1", 80, 2, T::Slope, Q::None},
    {"P0", 82, 2, T::Offset, Q::None},
    {"T1", 84, 2, T::Slope, Q::None},
    {"T0", 86, 2, T::Offset, Q::None},
    {"V1", 88, 2, T::Slope, Q::None},
    {"V0", 90, 2, T::Offset, Q::None},
    {"temp", 96, 2, T::SignedFixed, Q::Temperature},
    {"voltage", 98, 2, T::Voltage, Q::Voltage},
    {"txBias", 100, 2, T::Bias, Q::Bias},
    {"txPower", 102, 2, T::Power, Q::TxPower},
    {"rxPower", 104, 2, T::Power, Q::RxPower},
    {"optionalStatusControl", 110, 2, T::StatusControl, Q::None},
    {"alarmStatus", 112, 2, T::Flags, Q::None},
    {"warningStatus", 116, 2, T::Flags, Q::None},
    {"password", 123, 4, T::Empty, Q::None},
    {"tableSelect", 127, 1, T::Empty, Q::None},
}};

constexpr bool entries_within_page() {
  for (const TextEntry &entry : kTextEntries) {
    if (entry.offset + entry.length > 128 || entry.length > kHexMaxBytes) {
      return false;
    }
  }
  return true;
}
static_assert(entries_within_page());

// Bits of the status/control word (byte 110 high, 111 low).
constexpr std::array<xcvr_bit_decode_entry, 7> kStatusControlBits{{
    {0x8000, 0x8000, "Tx Disabled"},
    {0x4000, 0x4000, "Soft Tx Disabled"},
    {0x1000, 0x1000, "Rx Rate Select"},
    {0x0800, 0x0800, "Soft Rx Rate Select"},
    {0x0400, 0x0400, "Tx Fault"},
    {0x0200, 0x0200, "LOS"},
    {0x0100, 0x0100, "Data Ready"},
}};

struct FlagLabel {
  uint16_t bit;
  const char *label;
};
// Bits of an alarm or warning word (byte 112 or 116 high).
constexpr std::array<FlagLabel, 10> kFlagLabels{{
    {0x8000, "High Temp, "},
    {0x4000, "Low Temp, "},
    {0x2000, "High Volt, "},
    {0x1000, "Low Volt, "},
    {0x0800, "High Tx Bias, "},
    {0x0400, "Low Tx Bias, "},
    {0x0200, "High Tx Pwr, "},
    {0x0100, "Low Tx Pwr, "},
    {0x0080, "High Rx Pwr "},
    {0x0040, "Low Rx Pwr "},
}};

void append_temperature(char *text, uint16_t value) {
  const int8_t degrees = whole_degrees(value);
  const unsigned thousandths = ((value & 0xFFu) * 1000u) >> 8;
  append_piece(text, kFieldValueBound, "%c%d.%03u C", degrees >= 0 ? '+' : ' ', degrees,
               thousandths);
}

void append_flags(char *text, uint16_t word) {
  bool any = false;
  for (const FlagLabel &flag : kFlagLabels) {
    if ((word & flag.bit) != 0) {
      append_piece(text, kFieldValueBound, "%s", flag.label);
      any = true;
    }
  }
  if (!any) {
    append_piece(text, kFieldValueBound, "None");
  }
}

void append_value(char *text, const uint8_t *diag, const TextEntry &entry, bool external) {
  const uint8_t *bytes = diag + entry.offset;
  // Only two-byte entries hold a value; the last entry is the page's last byte.
  const uint16_t value =
      entry.length == 2 ? calibrated(diag, entry.offset, entry.calibration, external) : 0;
  switch (entry.text) {
  case Text::Temperature:
    append_temperature(text, value);
    break;
  case Text::Voltage:
    xcvr_voltage_to_string(value, text, kFieldValueBound);
    break;
  case Text::Bias:
    xcvr_curr_bias_uint16_to_string(value, text, kFieldValueBound);
    break;
  case Text::Power:
    xcvr_pwr_uint16_to_dbm_string(value, text, kFieldValueBound);
    break;
  case Text::Coefficient:
    append_piece(text, kFieldValueBound, "%f", static_cast<double>(read_be_float(bytes)));
    break;
  case Text::Slope:
    xcvr_id_unsigned_fixed_point16_to_string(value, text, kFieldValueBound);
    break;
  case Text::Offset:
    append_piece(text, kFieldValueBound, "%d", static_cast<int16_t>(value));
    break;
  case Text::SignedFixed:
    xcvr_id_signed_fixed_point16_to_string(value, text, kFieldValueBound);
    break;
  case Text::StatusControl:
    xcvr_decode_uint16_to_string(value, text, kFieldValueBound,
                                 static_cast<int32_t>(kStatusControlBits.size()),
                                 kStatusControlBits.data());
    break;
  case Text::Flags:
    append_flags(text, value);
    break;
  case Text::Empty:
    break;
  }
}

// ---- status/control lines ------------------------------------------------------

struct StatusLine {
  uint16_t bit;
  const char *set;
  const char *clear;
};
// The data-ready line's Clear form has no line end, as the platform's
// tools expect it.
constexpr std::array<StatusLine, 7> kStatusLines{{
    {0x8000, "Tx Disable: Set\n", "Tx Disable: Clear\n"},
    {0x4000, "Soft Tx Disable: Set\n", "Soft Tx Disable: Clear\n"},
    {0x1000, "Rx Rate Select: Set\n", "Rx Rate Select: Clear\n"},
    {0x0800, "Soft Rx Rate Select: Set\n", "Soft Rx Rate Select: Clear\n"},
    {0x0400, "Tx Fault: Set\n", "Tx Fault: Clear\n"},
    {0x0200, "LOS: Set\n", "LOS: Clear\n"},
    {0x0100, "Data Ready: Set\n", "Data Rdy:0"},
}};

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

// A null port is a module of unknown type: no type-specific correction.
extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status(sfp_port_ctx *port, const uint8_t *diag,
                                                        sfp_hw_status_rec *rec, uint32_t ext_cal) {
  if (diag == nullptr || rec == nullptr) {
    return SFP_RC_INVALID;
  }
  const bool external = ext_cal != 0;
  const sfp_xcvr_type type = port != nullptr ? port->xcvr_type : SFP_XCVR_TYPE_UNKNOWN;
  *rec = sfp_hw_status_rec{};
  store_thresholds(diag, external, *rec);
  store_powers(diag, external, type, *rec);
  rec->los = bit(diag[kStatusControl], kLossOfSignal);
  rec->tx_fault = bit(diag[kStatusControl], kTxFault);
  if (!store_flags(diag, *rec)) {
    return SFP_RC_INVALID;
  }
  store_measured(diag, external, *rec);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status_str(const uint8_t *diag,
                                                            sfp_status_field_table *table,
                                                            uint32_t ext_cal) {
  if (diag == nullptr || table == nullptr) {
    return SFP_RC_INVALID;
  }
  for (std::size_t i = 0; i < kTextEntries.size(); ++i) {
    const TextEntry &entry = kTextEntries[i];
    sfp_decoded_field &field = table->field[i];
    // The table is the caller's to clear: the name is copied, the raw bytes
    // and the value are appended to what the entry holds.
    copy_bounded(field.name, kFieldNameBound, entry.name);
    xcvr_bytes_to_hex_string(field.raw, kFieldRawBound, diag + entry.offset, entry.length);
    append_value(field.value, diag, entry, ext_cal != 0);
  }
  return SFP_RC_OK;
}

extern "C" SFPDRV_API void sfp_id_operationStatusControl_to_long_string(uint16_t word, char *text,
                                                                        int32_t size) {
  for (const StatusLine &line : kStatusLines) {
    append_piece(text, size, "%s", (word & line.bit) != 0 ? line.set : line.clear);
  }
}
