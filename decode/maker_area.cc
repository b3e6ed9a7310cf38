// Decode of the maker identification area (128 bytes in the upper half of
// A0h, or of A2h for modules with diagnostics): its two field tables, the
// tunable values of A2h table 2 added to the second, and the common strings
// of a module image.
#include <array>
#include <cstring>
#include <utility>

#include "decode/internal.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// Offsets of the maker area.
constexpr std::size_t kClei = 0;
constexpr std::size_t kPartNumber = 10;
constexpr std::size_t kVersionId = 20;
constexpr std::size_t kTempAlarmPowerFlags = 24;
constexpr std::size_t kMinTemp = 25;
constexpr std::size_t kMaxTemp = 26;
constexpr std::size_t kPid = 64;
constexpr std::size_t kFirstThz = 109;
constexpr std::size_t kFirstGhz = 111;
constexpr std::size_t kLastThz = 113;
constexpr std::size_t kLastGhz = 115;
constexpr std::size_t kChannel = 118;

// Offsets of the A2h table 2 upper half (A2h byte 128 is index 0) whose words
// the tunable decode copies into the area.
constexpr std::size_t kPage02FirstThz = 132 - 128;
constexpr std::size_t kPage02FirstGhz = 134 - 128;
constexpr std::size_t kPage02LastThz = 136 - 128;
constexpr std::size_t kPage02LastGhz = 138 - 128;
constexpr std::size_t kPage02Channel = 144 - 128;

// Entries of the user EEPROM table that the tunable values fill.
constexpr std::size_t kFirstTunableEntry = 19;
constexpr std::size_t kChannelEntry = 24;

// A 16-bit value of the area, low byte first as it lies there.
uint16_t read_le16(const uint8_t *bytes) {
  return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8));
}

bool printable(uint8_t byte) {
  return byte >= 0x20 && byte <= 0x7e;
}

using RenderValue = void (*)(const uint8_t *area, char *value);

// One entry of a table: its name, the area bytes of its raw hex and how its
// value is rendered (none: empty). An entry without a name stays empty.
struct MakerEntry {
  const char *name;
  uint8_t first;
  uint8_t count;
  RenderValue render;
};

// A fixed-width text field, shown as it is when it begins printable.
template <std::size_t Offset, int Width> void text_field(const uint8_t *area, char *value) {
  if (printable(area[Offset])) {
    append_piece(value, kFieldValueBound, "%.*s", Width,
                 reinterpret_cast<const char *>(area + Offset));
  }
}

constexpr std::array<const char *, 4> kLowBitsRanges = {
    "Unknown temp range, ",
    "COM, commercial 0C to 70C ",
    "EXT, extended -5C to 85 ",
    "IND, industrial -40C to 85C ",
};
constexpr std::array<const char *, 4> kHighBitsRanges = {
    nullptr,
    "COM, commercial -5C to 70C, ",
    "EXT, extended -5C to 85, ",
    "IND, industrial -40C to 85C, ",
};

// Byte 24: the temperature range from bits 6 and 7, or, when both are
// clear, from bits 0 and 1 alone; with bits 6 and 7 also the compensation,
// the latching and the maximum power (bits 0 to 3, in 100 mW).
void temp_alarm_power_flags(const uint8_t *area, char *value) {
  const uint8_t flags = area[kTempAlarmPowerFlags];
  const unsigned high_range = flags >> 6;
  value[0] = '\0';
  if (high_range == 0) {
    append_piece(value, kFieldValueBound, "%s", kLowBitsRanges.at(flags & 0x03u));
    return;
  }
  append_piece(value, kFieldValueBound, "%s", kHighBitsRanges.at(high_range));
  append_piece(value, kFieldValueBound, "%s",
               (flags & 0x10u) != 0 ? "temp compensated, " : "not temp compensated, ");
  append_piece(value, kFieldValueBound, "%s",
               (flags & 0x20u) != 0 ? "latch & RCLR, " : "not RCLR, ");
  const unsigned max_power = flags & 0x0fu;
  if (max_power == 0) {
    append_piece(value, kFieldValueBound, "Max power not specified");
  } else {
    append_piece(value, kFieldValueBound, "Max power: %d mW", static_cast<int>(max_power * 100));
  }
}

template <std::size_t Offset> void signed_byte(const uint8_t *area, char *value) {
  append_piece(value, kFieldValueBound, "%d", static_cast<int8_t>(area[Offset]));
}

template <std::size_t Offset> void slope(const uint8_t *area, char *value) {
  xcvr_id_unsigned_fixed_point16_to_string(read_le16(area + Offset), value, kFieldValueBound);
}

void temp_at_mfg(const uint8_t *area, char *value) {
  xcvr_id_signed_fixed_point16_to_string(read_le16(area + 52), value, kFieldValueBound);
}

void bias_at_mfg(const uint8_t *area, char *value) {
  xcvr_curr_bias_uint16_to_string(read_le16(area + 54), value, kFieldValueBound);
}

template <std::size_t Offset> void power(const uint8_t *area, char *value) {
  xcvr_pwr_uint16_to_dbm_string(read_le16(area + Offset), value, kFieldValueBound);
}

constexpr xcvr_bit_decode_entry kCalibrationConstantRows[] = {
    {0x01, 0x01, "LBC Scale"},
    {0x02, 0x02, "Temperature"},
    {0x04, 0x04, "Laser bias current"},
    {0x08, 0x08, "Output power"},
};

void calibration_constants(const uint8_t *area, char *value) {
  xcvr_decode_uint8_to_string(area[58], value, kFieldValueBound,
                              static_cast<int32_t>(std::size(kCalibrationConstantRows)),
                              kCalibrationConstantRows);
}

template <std::size_t Offset> void terahertz(const uint8_t *area, char *value) {
  append_piece(value, kFieldValueBound, "%u THz", static_cast<unsigned>(read_le16(area + Offset)));
}

// A value in 0.1 GHz.
template <std::size_t Offset> void gigahertz(const uint8_t *area, char *value) {
  const unsigned tenths = read_le16(area + Offset);
  append_piece(value, kFieldValueBound, "%u.%03u GHz", tenths / 10, (tenths % 10) * 100);
}

void wavelength_channel(const uint8_t *area, char *value) {
  append_piece(value, kFieldValueBound, "%u", static_cast<unsigned>(read_le16(area + kChannel)));
  xcvr_bytes_to_hex_string(value, kFieldValueBound, area + kChannel, 2);
}

// clang-format off
// The entries both tables begin with.
constexpr MakerEntry kIdentityEntries[] = {
    {"clei",                kClei,                10, text_field<kClei, 10>},
    {"partNumber",          kPartNumber,          10, text_field<kPartNumber, 10>},
    {"versionId",           kVersionId,           4,  text_field<kVersionId, 4>},
    {"tempAlarmPowerFlags", kTempAlarmPowerFlags, 1,  temp_alarm_power_flags},
    {"minTemp",             kMinTemp,             1,  signed_byte<kMinTemp>},
    {"maxTemp",             kMaxTemp,             1,  signed_byte<kMaxTemp>},
};

// What follows them in the table of a module without diagnostics.
constexpr MakerEntry kNoDdmEntries[] = {
    {nullptr,               0,                    0,  nullptr},
    {"pid",                 kPid,                 20, text_field<kPid, 20>},
};

// What follows them in the user EEPROM table.
constexpr MakerEntry kUserEepromEntries[] = {
    {"transceiverCodes",          32,   8,  nullptr},
    {"lbcScaleMinus40",           40,   2,  slope<40>},
    {"lbcScaleMinus5",            42,   2,  slope<42>},
    {"lbcScale20",                44,   2,  slope<44>},
    {"lbcScale45",                46,   2,  slope<46>},
    {"lbcScale70",                48,   2,  slope<48>},
    {"lbcScale85",                50,   2,  slope<50>},
    {"tempAtMfg",                 52,   2,  temp_at_mfg},
    {"laserBiasCurrentAtMfg",     54,   2,  bias_at_mfg},
    {"outputPowerAtMfg",          56,   2,  power<56>},
    {"calibrationConstantsFlags", 58,   1,  calibration_constants},
    {"measuredInputPower",        60,   2,  power<60>},
    {"pid",                       kPid, 20, text_field<kPid, 20>},
};

// Entries 19 to 24 of the user EEPROM table: filled only for a module whose
// first frequency is set.
constexpr MakerEntry kTunableEntries[] = {
    {"laserFirstFrequencyTHz", kFirstThz, 2, terahertz<kFirstThz>},
    {"laserFirstFrequencyGHz", kFirstGhz, 2, gigahertz<kFirstGhz>},
    {"laserLastFrequencyTHz",  kLastThz,  2, terahertz<kLastThz>},
    {"laserLastFrequencyGHz",  kLastGhz,  2, gigahertz<kLastGhz>},
    {nullptr,                  0,         0, nullptr},
    {"wavelengthChannel",      0,         0, wavelength_channel},
};
// clang-format on

constexpr std::size_t kIdentityCount = std::size(kIdentityEntries);
static_assert(kIdentityCount + std::size(kNoDdmEntries) == SFP_NO_DDM_FIELDS);
static_assert(kIdentityCount + std::size(kUserEepromEntries) == kFirstTunableEntry);
static_assert(kFirstTunableEntry + std::size(kTunableEntries) == SFP_USER_EEPROM_FIELDS - 1);
static_assert(kFirstTunableEntry + 5 == kChannelEntry);

void fill(const MakerEntry &entry, const uint8_t *area, sfp_decoded_field &field) {
  if (entry.name == nullptr) {
    return;
  }
  start_field(field, entry.name);
  xcvr_bytes_to_hex_string(field.raw, kFieldRawBound, area + entry.first, entry.count);
  if (entry.render != nullptr) {
    entry.render(area, field.value);
  }
}

template <std::size_t N>
void fill_all(const MakerEntry (&entries)[N], const uint8_t *area, sfp_decoded_field *fields) {
  for (std::size_t i = 0; i < N; ++i) {
    fill(entries[i], area, fields[i]);
  }
}

void fill_tunable(const uint8_t *area, sfp_user_eeprom_field_table &table) {
  if (read_le16(area + kFirstThz) == 0) {
    return;
  }
  fill_all(kTunableEntries, area, table.field + kFirstTunableEntry);
}

// Where a common string is, its length and the smallest text that holds it.
struct CommonString {
  bool in_maker_area;
  std::size_t offset;
  uint16_t length;
};
constexpr std::array<CommonString, 7> kCommonStrings{{
    {false, 20, 16},         // vendor name
    {false, 40, 16},         // vendor part number
    {false, 68, 16},         // vendor serial number
    {true, kClei, 10},       // CLEI code
    {true, kPid, 20},        // product ID
    {true, kPartNumber, 10}, // catalogue part number
    {true, kVersionId, 4},   // version
}};

constexpr std::size_t kA0UpperHalf = 128;
constexpr std::size_t kA2UpperHalf = 384;

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_a0_no_ddm(const uint8_t *area,
                                                       sfp_no_ddm_field_table *table) {
  if (area == nullptr || table == nullptr) {
    return SFP_RC_INVALID;
  }
  *table = sfp_no_ddm_field_table{};
  fill_all(kIdentityEntries, area, table->field);
  fill_all(kNoDdmEntries, area, table->field + kIdentityCount);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_user_eeprom(const uint8_t *area,
                                                         sfp_user_eeprom_field_table *table) {
  if (area == nullptr || table == nullptr) {
    return SFP_RC_INVALID;
  }
  *table = sfp_user_eeprom_field_table{};
  fill_all(kIdentityEntries, area, table->field);
  fill_all(kUserEepromEntries, area, table->field + kIdentityCount);
  fill_tunable(area, *table);
  return SFP_RC_OK;
}

// The words are copied as they lie in the page, and then read as every
// value of the area is, low byte first.
extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_a2_02_eeprom(const uint8_t *page02, uint8_t *area,
                                                          sfp_user_eeprom_field_table *table) {
  if (page02 == nullptr || area == nullptr || table == nullptr) {
    return SFP_RC_INVALID;
  }
  constexpr std::array<std::pair<std::size_t, std::size_t>, 5> kCopies{{
      {kPage02FirstThz, kFirstThz},
      {kPage02FirstGhz, kFirstGhz},
      {kPage02LastThz, kLastThz},
      {kPage02LastGhz, kLastGhz},
      {kPage02Channel, kChannel},
  }};
  for (const auto &[from, to] : kCopies) {
    std::memcpy(area + to, page02 + from, 2);
  }
  fill_tunable(area, *table);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_string(const uint8_t *image, uint32_t index, char *text,
                                                 uint32_t size) {
  if (image == nullptr || text == nullptr || index >= kCommonStrings.size()) {
    return SFP_RC_INVALID;
  }
  const CommonString &string = kCommonStrings.at(index);
  if (size < string.length + 1u) {
    return SFP_RC_INVALID;
  }
  std::memset(text, 0, size);
  const std::size_t maker_area =
      sfp_xcvr_check_digital_monitoring(image) != 0 ? kA2UpperHalf : kA0UpperHalf;
  const std::size_t base = string.in_maker_area ? maker_area : 0;
  return sfp_eeprom_get_n_trim_str(text, image + base + string.offset, string.length);
}
