// Decode of the identification page's base area (A0h bytes 0 to 127) into a
// table of named fields, each with a readable value and the hex of the bytes
// it comes from.
#include <array>
#include <cstring>

#include "decode/internal.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// What an entry's value is rendered from.
struct IdSource {
  sfp_port_ctx *port;
  const uint8_t *id;
  const char *pid;
};

using RenderValue = void (*)(const IdSource &source, char *value);

// One entry of the table: its name, the bytes shown as its raw hex (none
// when the count is 0) and how its value is rendered (none: empty).
struct IdEntry {
  const char *name;
  uint8_t raw_first;
  uint8_t raw_count;
  RenderValue render;
};

// A flag of an options byte and the text it adds.
struct FlagText {
  uint8_t bit;
  const char *text;
};

// A0h offsets read by more than one entry.
constexpr std::size_t kConnector = 2;
constexpr std::size_t kBitRate = 12;
constexpr std::size_t kLengthSmfKm = 14;
constexpr std::size_t kLengthCopper = 18;
constexpr std::size_t kExtCompliance = 36;
constexpr std::size_t kOptions = 65;
constexpr std::size_t kBitRateMax = 66;
constexpr std::size_t kVendorId = 98;
constexpr std::size_t kVendorCrc = 124;

constexpr uint8_t kCopperPigtail = 0x21;
constexpr uint8_t kBitRateAbove = 0xff; // the rate is in byte 66
constexpr uint32_t k25gSpeed = 25000;

constexpr std::array<const char *, 7> kEncodingNames = {
    "not specified", "8B10B", "4B5B", "NRZ", "Manchester", "Sonet Scrambled", "64B66B",
};

constexpr xcvr_bit_decode_entry kDiagMonTypeRows[] = {
    {0x40, 0x40, "DOM"},       {0x00, 0x40, "no DOM"}, {0x10, 0x10, "Ext. Cal."},
    {0x20, 0x20, "Int. Cal."}, {0x80, 0x80, "Analog"},
};

constexpr FlagText kOptionFlags[] = {
    {0x40, "Tx_Tunable, "}, {0x20, "Rate Sel, "}, {0x10, "Tx_Disable, "},
    {0x08, "Tx_Fault, "},   {0x04, "LOS Inv, "},  {0x02, "LOS "},
};

constexpr FlagText kEnhancedOptionFlags[] = {
    {0x08, "SW rate select, "}, {0x10, "SW RX LOS Mon., "},    {0x20, "SW TX Fault Mon, "},
    {0x40, "SW TX Disable, "},  {0x80, "Alarm/Warning Flags"},
};

void append_value(char *value, const char *text) {
  append_piece(value, kFieldValueBound, "%s", text);
}

void append_hex(char *value, const uint8_t *bytes, int32_t count) {
  xcvr_bytes_to_hex_string(value, kFieldValueBound, bytes, count);
}

template <std::size_t N> void append_flags(uint8_t byte, const FlagText (&flags)[N], char *value) {
  for (const FlagText &flag : flags) {
    if ((byte & flag.bit) != 0) {
      append_value(value, flag.text);
    }
  }
}

// --- value renderers, in table order ----------------------------------------

void module_kind(const IdSource &s, char *value) {
  switch (s.id[0]) {
  case 3:
    return append_value(value, "SFP");
  case 6:
    return append_value(value, "XFP");
  case 11:
    return append_value(value, "DWDM");
  case 12:
    return append_value(value, "T-XFP");
  case 141:
    return append_value(value, "T-SFP");
  default:
    return append_value(value, "Unknown");
  }
}

void connector(const IdSource &s, char *value) {
  append_value(value, s.id[kConnector] == 7 ? "LC" : "Unknown");
}

// The type lookup on the identification values as type detection reads
// them; cables and modules with an extended compliance code give their
// length in byte 18.
void transceiver_name(const IdSource &s, char *value) {
  const uint8_t *id = s.id;
  const bool ext_coded = id[kExtCompliance] != 0 || id[kConnector] == kCopperPigtail;
  const uint8_t length = ext_coded ? id[kLengthCopper] : id[kLengthSmfKm];
  const uint8_t ext_code = ext_coded ? id[kExtCompliance] : 0;
  const bool rate_25g =
      id[kBitRate] == kBitRateAbove && (id[kBitRateMax] == 103 || id[kBitRateMax] == 104);
  sfp_xcvr_get_name_from_xcvrCode(s.port, id[0], read_be32(id + 3), read_be32(id + 7),
                                  vendor_ext_id(id), length, id[kOptions], value, kFieldValueBound,
                                  s.pid, ext_code, rate_25g ? k25gSpeed : 0);
}

void encoding(const IdSource &s, char *value) {
  const uint8_t code = s.id[11];
  append_value(value, code < kEncodingNames.size() ? kEncodingNames.at(code) : "Unknown");
}

void bit_rate(const IdSource &s, char *value) {
  if (s.id[kBitRate] != 0) {
    append_piece(value, kFieldValueBound, "%u00 Mbps", static_cast<unsigned>(s.id[kBitRate]));
  }
}

template <std::size_t Offset, uint32_t Unit> void distance(const IdSource &s, char *value) {
  xcvr_length_to_string(s.id[Offset], Unit, value, kFieldValueBound);
}

// A fixed-width text field, shown as it is when it begins printable.
template <std::size_t Offset, int Width> void text_field(const IdSource &s, char *value) {
  const uint8_t first = s.id[Offset];
  if (first >= 0x20 && first <= 0x7e) {
    append_piece(value, kFieldValueBound, "%.*s", Width,
                 reinterpret_cast<const char *>(s.id + Offset));
  }
}

void vendor_oui(const IdSource &s, char *value) {
  xcvr_oui_to_string(s.id + 37, value, kFieldValueBound);
}

void wavelength(const IdSource &s, char *value) {
  append_piece(value, kFieldValueBound, "%u nm", static_cast<unsigned>(read_be16(s.id + 60)));
}

void wavelength_fraction(const IdSource &s, char *value) {
  append_piece(value, kFieldValueBound, "0.0%d nm", s.id[62]);
}

// The check byte a checksum computes from the page (not the stored one).
template <sfp_rc (*Check)(const uint8_t *, uint8_t *, uint8_t *)>
void computed_checksum(const IdSource &s, char *value) {
  uint8_t stored = 0;
  uint8_t computed = 0;
  Check(s.id, &stored, &computed);
  append_hex(value, &computed, 1);
}

void options(const IdSource &s, char *value) {
  append_flags(s.id[kOptions], kOptionFlags, value);
}

template <std::size_t Offset> void percent(const IdSource &s, char *value) {
  xcvr_percent_to_string(s.id[Offset], value, kFieldValueBound);
}

// Year, month and day, then the lot code; a zero byte ends the text early.
void date_code(const IdSource &s, char *value) {
  const uint8_t *d = s.id + 84;
  append_piece(value, kFieldValueBound, "%c%c/%c%c/%c%c  lot code: %c%c", d[0], d[1], d[2], d[3],
               d[4], d[5], d[6], d[7]);
}

void diag_mon_type(const IdSource &s, char *value) {
  xcvr_decode_uint8_to_string(s.id[92], value, kFieldValueBound,
                              static_cast<int32_t>(std::size(kDiagMonTypeRows)), kDiagMonTypeRows);
}

void enhanced_options(const IdSource &s, char *value) {
  if (s.id[93] == 0) {
    return append_value(value, "None");
  }
  append_flags(s.id[93], kEnhancedOptionFlags, value);
}

void vendor_ext_id_text(const IdSource &s, char *value) {
  const uint16_t code = vendor_ext_id(s.id);
  const char *label = vendor_ext_id_label(code);
  if (label != nullptr) {
    append_piece(value, kFieldValueBound, "%s", label);
  } else {
    append_piece(value, kFieldValueBound, "Unknown Value (%d)", code);
  }
  append_hex(value, s.id + 96, 1);
}

void vendor_reserved(const IdSource &s, char *value) {
  append_hex(value, s.id + 97, 1);
}

void vendor_id(const IdSource &s, char *value) {
  append_piece(value, kFieldValueBound, "%d", s.id[kVendorId]);
  append_hex(value, s.id + kVendorId, 1);
}

void stored_vendor_crc(const IdSource &s, char *value) {
  append_hex(value, s.id + kVendorCrc, 4);
}

// Least significant byte first, the order in which bytes 124..127 hold it.
void computed_vendor_crc(const IdSource &s, char *value) {
  uint32_t stored = 0;
  uint32_t computed = 0;
  sfp_xcvr_check_compliance_vendor_chksum(s.id, &stored, &computed);
  const uint8_t bytes[4] = {static_cast<uint8_t>(computed), static_cast<uint8_t>(computed >> 8),
                            static_cast<uint8_t>(computed >> 16),
                            static_cast<uint8_t>(computed >> 24)};
  append_hex(value, bytes, 4);
}

// clang-format off
constexpr IdEntry kIdEntries[] = {
    {"xcvrType",                0,   1,  module_kind},
    {"extType",                 1,   1,  nullptr},
    {"connectorType",           2,   1,  connector},
    {"xcvrCode",                3,   8,  transceiver_name},
    {"encoding",                11,  1,  encoding},
    {"bitRate",                 12,  1,  bit_rate},
    {"distance9uKM",            14,  1,  distance<14, 1000>},
    {"distance9u100M",          15,  1,  distance<15, 100>},
    {"distance50u10M",          16,  1,  distance<16, 10>},
    {"distance60u10M",          17,  1,  distance<17, 10>},
    {"distanceCU",              18,  1,  distance<18, 1>},
    {"vendorName",              20,  16, text_field<20, 16>},
    {"vendorOUI",               37,  3,  vendor_oui},
    {"vendorPN",                40,  16, text_field<40, 16>},
    {"vendorRev",               56,  4,  text_field<56, 4>},
    {"laserWavelength",         60,  2,  wavelength},
    {"laserWavelengthFraction", 62,  1,  wavelength_fraction},
    {"baseIdChecksum",          63,  1,  nullptr},
    {"calBaseIdChecksum",       0,   0,  computed_checksum<sfp_xcvr_check_compliance_base_chksum>},
    {"options",                 64,  2,  options},
    {"maxBitRate",              66,  1,  percent<66>},
    {"minBitRate",              67,  1,  percent<67>},
    {"vendorSN",                68,  16, text_field<68, 16>},
    {"dateCode",                84,  8,  date_code},
    {"diagMonType",             92,  1,  diag_mon_type},
    {"enhancedOptions",         93,  1,  enhanced_options},
    {"extIdChecksum",           95,  1,  nullptr},
    {"calExtIdChecksum",        0,   0,  computed_checksum<sfp_xcvr_check_compliance_ext_chksum>},
    {"vendorSpecific_extId",    0,   0,  vendor_ext_id_text},
    {"vendorSpecific_rsvd1",    0,   0,  vendor_reserved},
    {"vendorSpecific_id",       0,   0,  vendor_id},
    {"vendorSpecific_crc",      0,   0,  stored_vendor_crc},
    {"vendorSpecific_calCrc",   0,   0,  computed_vendor_crc},
};
// clang-format on

// The last entry of the table stays empty.
static_assert(std::size(kIdEntries) == SFP_ID_FIELDS - 1);

} // namespace

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_id(sfp_port_ctx *port, const uint8_t *id,
                                                    sfp_id_field_table *table, const char *pid) {
  if (id == nullptr || table == nullptr) {
    return SFP_RC_INVALID;
  }
  *table = sfp_id_field_table{};
  const IdSource source{port, id, pid};
  for (std::size_t i = 0; i < std::size(kIdEntries); ++i) {
    const IdEntry &entry = kIdEntries[i];
    sfp_decoded_field &field = table->field[i];
    start_field(field, entry.name);
    xcvr_bytes_to_hex_string(field.raw, kFieldRawBound, id + entry.raw_first, entry.raw_count);
    if (entry.render != nullptr) {
      entry.render(source, field.value);
    }
  }
  return SFP_RC_OK;
}
