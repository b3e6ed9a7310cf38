// Type detection: turns a module's identification values into one type of
// the type table. An ordered cascade: the special families first (50G,
// tunable, smart SFPs, vendor-coded 1G, 25G, 10G cables, SONET, Fibre
// Channel, 10GBASE-T), then the IEEE compliance bits, then a scan of the
// whole table, and last the defaults for unknown modules when the process
// accepts them. The first step that decides ends the cascade.
#include <array>
#include <cstring>
#include <optional>

#include "port/internal.h"
#include "xcvr/catalogue.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace sfpdrv {
namespace {

// --- A0h bytes of the detection inputs ---
constexpr std::size_t kIdentifierByte = 0;
constexpr std::size_t kConnectorByte = 2;
constexpr std::size_t kCodeLowByte = 3;  // bytes 3..6
constexpr std::size_t kCodeHighByte = 7; // bytes 7..10
constexpr std::size_t kBitRateByte = 12;
constexpr std::size_t kSmfLengthByte = 14;
constexpr std::size_t kCableLengthByte = 18;
constexpr std::size_t kExtCodeByte = 36;
constexpr std::size_t kVendorPnByte = 40; // 16 characters
constexpr std::size_t kVendorPnLength = 16;
constexpr std::size_t kOptions1Byte = 65;
constexpr std::size_t kBitRateMaxByte = 66;
constexpr std::size_t kVendorCodeByte = 96;
constexpr std::size_t kVendorChannelByte = 97;

constexpr uint8_t kConnectorCopperPigtail = 0x21;
constexpr uint8_t kBitRateAbove25G = 0xff; // byte 12: the rate is in byte 66
constexpr uint8_t kVendorCodeWithChannel = 0xff;

constexpr uint32_t kSpeed25G = 25000;
constexpr uint32_t kSpeed50G = 50000;

// Byte 66 values (units of 250 Mb/s) of the 25G and 50G modules.
constexpr bool is_25g_rate(uint8_t rate) {
  return rate == 103 || rate == 104;
}
constexpr bool is_50g_rate(uint8_t rate) {
  return rate == 106 || rate == 224;
}

uint32_t big_endian32(const uint8_t *bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 |
         uint32_t{bytes[3]};
}

// --- values the cascade decides on ---
constexpr sfp_xcvr_type kUnknown = SFP_XCVR_TYPE_UNKNOWN;
constexpr uint8_t kOptionTunable = 0x40;
constexpr uint32_t kCodeHighPassiveCable = 0x40000;
constexpr uint32_t kCodeHighActiveCable = 0x80000;
constexpr uint32_t kCodeLowSonetBits = 0xffff00;
constexpr uint32_t kCodeLowNotSonet = 0xb0000000; // 10G Ethernet bits SR, LR, ER
constexpr uint8_t kIdentifierSfp = 0x03;
constexpr uint8_t kIdentifierDwdmSfp = 0x0b;
constexpr uint32_t kFcSpeedBits = 0xfff0ffff;
constexpr uint32_t kFcShortwave = 0x4600000;
constexpr uint32_t kFcLongwave = 0x2100000;
constexpr uint8_t kExtCode10gBaseT = 0x1c;
constexpr uint32_t kIeeeBits = 0xf00000ff;       // 10G Ethernet bits of byte 3, Ethernet byte 6
constexpr uint32_t kCodeLow10gBits = 0x0fffffff; // above it: a 10G Ethernet bit
constexpr uint32_t kCodeLowEthernetByte = 0xff;
constexpr uint8_t kZxLength = 80; // km: a 1000BASE-LX code on a ZX module
constexpr uint16_t kBxUpperVendorCode = 0x20;

// The vendor part number of a 10G ZR module that carries no vendor code; it
// is detected as the 10G ZR row.
constexpr char kZrVendorPn[] = "SPP5110ZR-GL";
constexpr uint16_t kZrVendorCode = 0x9f;

// DWDM modules whose codes name the DWDM SFP family match any row with
// their vendor code.
constexpr uint32_t kDwdmCodeHigh1 = 0x82000105;
constexpr uint32_t kDwdmCodeLow1 = 0x000c0000;
constexpr uint32_t kDwdmCodeHigh2 = 0x82000115;
constexpr uint32_t kDwdmCodeLow2 = 0x000c4402;
// Rows matched by vendor code alone in the scan of other identifiers.
constexpr uint32_t kCwdmCodeHigh = 0x82000105;
constexpr std::array<uint32_t, 3> kFcCwdmCodeHigh = {0x80100105, 0x80100115, 0x80100154};
constexpr sfp_xcvr_type kTunableType = 765;

// The defaults of unknown modules.
constexpr sfp_xcvr_type kDefault50g = 811;
constexpr sfp_xcvr_type kDefault25g = 784;
constexpr sfp_xcvr_type kDefault1g = 529;
constexpr sfp_xcvr_type kDefault10g = 594;

// One run of the cascade: the inputs, the PID cut at its first blank, and
// the port whose flags and buffers it uses.
struct Detection {
  sfp_port_ctx &port;
  uint8_t identifier;
  uint32_t code_low;
  uint32_t code_high;
  uint16_t ext_id;
  uint8_t length;
  uint8_t options1;
  uint8_t ext_code;
  uint32_t speed;
  char pid[SFP_PID_LEN + 1];
};

using Step = std::optional<sfp_xcvr_type>; // nullopt: the cascade goes on

const char *type_name(sfp_xcvr_type type) {
  return sfp_xcvr_get_name_from_type(nullptr, type);
}

bool unsupported_allowed() {
  return sfp_get_ctx()->unsupported_xcvr_allowed != 0;
}

void cut_at_blank(char *dest, const char *source, std::size_t max) {
  std::size_t n = 0;
  while (n < max && source[n] != '\0' && source[n] != ' ') {
    dest[n] = source[n];
    ++n;
  }
  dest[n] = '\0';
}

// A module's PID matches a breakout cable when it is a prefix of the
// cable's catalogue PID.
bool pid_matches(const Detection &d, const char *breakout) {
  return std::strncmp(d.pid, breakout, std::strlen(d.pid)) == 0;
}

// The default of an unknown module: `type`, flagged and traced under the
// caller's own trace point.
template <const TraceMsg &M> sfp_xcvr_type use_default(Detection &d, sfp_xcvr_type type) {
  d.port.defaulted = 1;
  trace<M>(d.port.err_trace, d.port.port, type_name(type), type);
  return type;
}

// --- 1. 50G ---

// The 50G default: 811 when unknown modules are accepted, else 512 (traced
// as an unknown ext code when `trace_unknown`).
sfp_xcvr_type default_50g(Detection &d, bool trace_unknown) {
  if (unsupported_allowed()) {
    return use_default<msg::kDefaulted50g>(d, kDefault50g);
  }
  if (trace_unknown) {
    trace<msg::kUnknown50gExtCode>(d.port.err_trace, d.port.controller, d.port.port, d.ext_code);
  }
  return kUnknown;
}

sfp_xcvr_type detect_50g_type(Detection &d) {
  constexpr std::array<sfp_xcvr_type, 5> kCopperByLength = {812, 814, 816, 817, 818}; // 1..5 m
  switch (d.ext_code) {
  case 0x41:
    return 811;
  case 0x45:
    return 820;
  case 0x40:
    return d.length >= 1 && d.length <= kCopperByLength.size()
               ? kCopperByLength[static_cast<std::size_t>(d.length) - 1]
               : kUnknown;
  case 0x00:
    return d.code_low == 0x11000000 && d.code_high == kCodeHighPassiveCable ? 819
                                                                            : default_50g(d, false);
  default:
    return default_50g(d, true);
  }
}

Step detect_50g(Detection &d) {
  if (d.speed != kSpeed50G) {
    return std::nullopt;
  }
  const sfp_xcvr_type type = detect_50g_type(d);
  trace<msg::kDetected50g>(d.port.err_trace, d.port.port, type, d.ext_code);
  return type;
}

// --- 2. to 4. tunable, smart SFPs, vendor-coded 1G ---

Step detect_tunable(const Detection &d) {
  if ((d.options1 & kOptionTunable) == 0) {
    return std::nullopt;
  }
  trace<msg::kDetectedTunable>(d.port.err_trace, d.port.port, type_name(kTunableType), d.options1);
  return kTunableType;
}

// Circuit-emulation SFPs carry their kind as code low 99 + d.
Step detect_smart_sfp(const Detection &d) {
  if (d.ext_id != 0) {
    return std::nullopt;
  }
  // T1F, E1F, OC3/STM1, T3F, (none), STM1, E1U
  constexpr std::array<sfp_xcvr_type, 7> kSmartByCode = {535, 536, 540, 537, 0, 539, 538};
  const auto code = static_cast<uint16_t>(d.code_low - 99);
  if (code < kSmartByCode.size() && kSmartByCode[code] != 0) {
    trace<msg::kDetectedSmartSfp>(d.port.err_trace, kSmartByCode[code]);
    return kSmartByCode[code];
  }
  trace<msg::kNotSmartSfp>(d.port.evt_trace, d.port.controller, d.port.port, d.port.port);
  return std::nullopt;
}

Step detect_vendor_coded_1g(const Detection &d) {
  if (d.code_low != 0) {
    return std::nullopt;
  }
  sfp_xcvr_type type = 0;
  if (d.ext_id == 0xd7) {
    type = 852;
  } else if (d.ext_id == 0xd6) {
    type = 853;
  } else {
    return std::nullopt;
  }
  trace<msg::kDetectedVendorCoded1g>(d.port.err_trace, type);
  return type;
}

// --- 5. 25G ---

sfp_xcvr_type default_25g(Detection &d) {
  if (unsupported_allowed()) {
    return use_default<msg::kDefaulted25g>(d, kDefault25g);
  }
  trace<msg::kUnknown25gExtCode>(d.port.err_trace, d.port.controller, d.port.port, d.ext_code);
  return kUnknown;
}

sfp_xcvr_type detect_25g_aoc(const Detection &d) {
  switch (d.length) {
  case 1:
    return 796;
  case 2:
    return 797;
  case 3:
    return 798;
  case 4:
    return 799;
  case 5:
    return 800;
  case 7:
    return 801;
  case 10:
    return 802;
  default:
    trace<msg::kUnknown25gAocLength>(d.port.err_trace, d.port.controller, d.port.port, d.length);
    return 796;
  }
}

sfp_xcvr_type detect_25g_type(Detection &d) {
  switch (d.ext_code) {
  case 0x00:
    switch (d.ext_id) {
    case 0xffff:
      return 810;
    case 0xf3:
      return 808;
    case 0xf2:
      return 809;
    default:
      trace<msg::kUnknown25gExtId>(d.port.err_trace, d.port.controller, d.port.port, d.ext_id);
      return kDefault25g;
    }
  case 0x01:
    return detect_25g_aoc(d);
  case 0x02:
    return 784;
  case 0x03:
    return 786;
  case 0x04:
    return 787;
  case 0x0a:
    return 792;
  case 0x0b:
    return 793;
  case 0x0c:
    return 791;
  case 0x0d:
    return d.length == 1 ? 789 : d.length == 2 ? 790 : kUnknown;
  default:
    return default_25g(d);
  }
}

Step detect_25g(Detection &d) {
  if (d.speed != kSpeed25G) {
    return std::nullopt;
  }
  sfp_xcvr_type type = detect_25g_type(d);
  // A multi-rate optic is known by its family's base type.
  if (is_multi_rate_sfp(&d.port) != 0) {
    d.port.multi_rate = 1;
    type = sfp_get_base_xcvr_type_frm_sub_xcvr_type(&d.port, d.ext_code, type);
  } else {
    d.port.multi_rate = 0;
  }
  trace<msg::kDetected25g>(d.port.err_trace, d.port.port, type, d.ext_code, d.length);
  return type;
}

// --- 6. and 7. 10G cables ---

sfp_xcvr_type detect_10g_copper_type(const Detection &d) {
  switch (d.length) {
  case 1:
    if (d.ext_id == 0) {
      return 744;
    }
    return pid_matches(d, breakout_pid.cu1m) ? 762 : 692;
  case 2:
    return d.ext_id == 0 ? 746 : 745;
  case 3:
    return pid_matches(d, breakout_pid.cu3m) ? 763 : 693;
  case 5:
    return pid_matches(d, breakout_pid.cu5m) ? 764 : 747;
  default:
    trace<msg::kCopperLengthUnknown>(d.port.err_trace, d.port.controller, d.port.port, d.length);
    return kUnknown;
  }
}

Step detect_10g_copper(const Detection &d) {
  if ((d.code_high & kCodeHighPassiveCable) == 0) {
    return std::nullopt;
  }
  const sfp_xcvr_type type = detect_10g_copper_type(d);
  trace<msg::kDetected10gCopper>(d.port.err_trace, d.port.port, type, d.pid, d.ext_id, d.length);
  return type;
}

// An active cable of one length: the breakout cables of that length (an AOC
// first, then an active copper one) or else the plain cable.
struct ActiveCable {
  uint8_t length;
  sfp_xcvr_type plain;
  const char *breakout_aoc;
  sfp_xcvr_type breakout_aoc_type;
  const char *breakout_acu; // null: no active copper breakout of this length
  sfp_xcvr_type breakout_acu_type;
};

constexpr std::array<ActiveCable, 6> kActiveCables = {{
    {1, 748, breakout_pid.aoc1m, 754, nullptr, 0},
    {2, 749, breakout_pid.aoc2m, 755, nullptr, 0},
    {3, 750, breakout_pid.aoc3m, 756, nullptr, 0},
    {5, 751, breakout_pid.aoc5m, 757, nullptr, 0},
    {7, 752, breakout_pid.aoc7m, 758, breakout_pid.acu7m, 760},
    {10, 753, breakout_pid.aoc10m, 759, breakout_pid.acu10m, 761},
}};

sfp_xcvr_type detect_10g_active_type(const Detection &d) {
  for (const ActiveCable &cable : kActiveCables) {
    if (cable.length != d.length) {
      continue;
    }
    if (pid_matches(d, cable.breakout_aoc)) {
      return cable.breakout_aoc_type;
    }
    if (cable.breakout_acu != nullptr && pid_matches(d, cable.breakout_acu)) {
      return cable.breakout_acu_type;
    }
    return cable.plain;
  }
  trace<msg::kActiveLengthUnknown>(d.port.err_trace, d.port.controller, d.port.port, d.length);
  return kUnknown;
}

Step detect_10g_active(const Detection &d) {
  if ((d.code_high & kCodeHighActiveCable) == 0) {
    return std::nullopt;
  }
  const sfp_xcvr_type type = detect_10g_active_type(d);
  trace<msg::kDetected10gActive>(d.port.err_trace, d.port.port, type, d.pid, d.length);
  return type;
}

// --- 8. and 9. SONET and Fibre Channel, traced on the event buffer ---

using HitTrace = void (*)(const sfp_port_ctx &port, sfp_xcvr_type type);

template <const TraceMsg &M> void trace_hit(const sfp_port_ctx &port, sfp_xcvr_type type) {
  trace<M>(port.evt_trace, port.controller, port.port, port.port, type);
}

struct SonetRate {
  uint32_t bit;
  sfp_xcvr_type type;
  HitTrace hit;
};

constexpr std::array<SonetRate, 4> kSonetRates = {{
    {0x10000, 780, trace_hit<msg::kSonetOc48Sr>},
    {0x20000, 781, trace_hit<msg::kSonetOc48Ir1>},
    {0x40000, 782, trace_hit<msg::kSonetOc48Lr>},
    {0x200000, 783, trace_hit<msg::kSonetOc192Sr>},
}};

Step detect_sonet(const Detection &d) {
  if ((d.code_low & kCodeLowSonetBits) == 0 || d.port.sonet_capable == 0) {
    return std::nullopt;
  }
  if ((d.code_low & kCodeLowNotSonet) != 0) {
    trace<msg::kSonetOtn>(d.port.evt_trace, d.port.controller, d.port.port, d.port.port,
                          d.code_low);
    return std::nullopt;
  }
  for (const SonetRate &rate : kSonetRates) {
    if ((d.code_low & rate.bit) != 0) {
      rate.hit(d.port, rate.type);
      return rate.type;
    }
  }
  trace<msg::kSonetInvalid>(d.port.evt_trace, d.port.controller, d.port.port, d.port.port,
                            d.code_low);
  return std::nullopt;
}

// A Fibre Channel speed bit of code high with its shortwave and longwave
// types, in the order they are tested (a later hit replaces an earlier one).
struct FcSpeed {
  uint32_t bit;
  sfp_xcvr_type shortwave;
  HitTrace shortwave_hit;
  sfp_xcvr_type longwave;
  HitTrace longwave_hit;
};

constexpr std::array<FcSpeed, 6> kFcSpeeds = {{
    {0x01, 768, trace_hit<msg::kFcGeSw>, 769, trace_hit<msg::kFcGeLw>},
    {0x04, 770, trace_hit<msg::kFc2gSw>, 771, trace_hit<msg::kFc2gLw>},
    {0x10, 772, trace_hit<msg::kFc4gSw>, 773, trace_hit<msg::kFc4gLw>},
    {0x40, 774, trace_hit<msg::kFc8gSw>, 775, trace_hit<msg::kFc8gLw>},
    {0x20, 776, trace_hit<msg::kFc16gSw>, 777, trace_hit<msg::kFc16gLw>},
    {0x08, 778, trace_hit<msg::kFc32gSw>, 779, trace_hit<msg::kFc32gLw>},
}};

Step detect_fibre_channel(const Detection &d) {
  if (d.identifier != kIdentifierSfp || d.ext_id != 0 || d.code_low != 0 ||
      (d.code_high & kFcSpeedBits) == 0) {
    return std::nullopt;
  }
  sfp_xcvr_type type = kUnknown;
  for (const FcSpeed &speed : kFcSpeeds) {
    if ((d.code_high & speed.bit) == 0) {
      continue;
    }
    if ((d.code_high & kFcShortwave) != 0) {
      type = speed.shortwave;
      speed.shortwave_hit(d.port, type);
    } else if ((d.code_high & kFcLongwave) != 0) {
      type = speed.longwave;
      speed.longwave_hit(d.port, type);
    }
  }
  if (type == kUnknown) {
    return std::nullopt;
  }
  trace<msg::kDetectedFc>(d.port.err_trace, d.port.port, type);
  return type;
}

// --- 10. and 11. 10GBASE-T and the IEEE compliance bits ---

Step detect_10g_base_t(const Detection &d) {
  if (d.ext_code != kExtCode10gBaseT) {
    return std::nullopt;
  }
  constexpr sfp_xcvr_type kType = 766;
  trace<msg::kDetected10gBaseT>(d.port.err_trace, d.port.port, type_name(kType), d.options1);
  return kType;
}

sfp_xcvr_type compliance_type(const Detection &d, uint32_t bits) {
  switch (bits) {
  case 0x01:
    return 529;
  case 0x02:
    return d.length == kZxLength ? 531 : 530;
  case 0x08:
    return 533;
  case 0x10:
    return 534;
  case 0x20:
    return 513;
  case 0x40:
    return d.ext_id == kBxUpperVendorCode ? 521 : kUnknown;
  case 0x42:
    return 531;
  case 0x10000000:
    return 594;
  case 0x20000000:
    return 596;
  case 0x40000000:
    return 597;
  case 0x80000000:
    return 598;
  default:
    trace<msg::kComplianceAmbiguous>(d.port.err_trace, d.port.controller, d.port.port, bits);
    return kUnknown;
  }
}

Step detect_compliance(const Detection &d) {
  const uint32_t bits = d.code_low & kIeeeBits;
  if (bits == 0) {
    return std::nullopt;
  }
  const sfp_xcvr_type type = compliance_type(d, bits);
  trace<msg::kDetectedCompliance>(d.port.err_trace, d.port.port, type, d.ext_id, d.length);
  return type != kUnknown ? Step{type} : std::nullopt;
}

// --- 12. vendor part number ---

// A ZR module known by its vendor part number is scanned with the ZR row's
// vendor code.
void apply_vendor_pn(Detection &d) {
  char vendor_pn[kVendorPnLength + 1];
  // The field is blank-padded, not terminated: stop at its end.
  std::size_t n = 0;
  const uint8_t *field = d.port.eeprom + SFP_IMAGE_A0 + kVendorPnByte;
  while (n < kVendorPnLength && field[n] != ' ' && field[n] != '\0') {
    vendor_pn[n] = static_cast<char>(field[n]);
    ++n;
  }
  vendor_pn[n] = '\0';
  trace<msg::kVendorPn>(d.port.err_trace, vendor_pn, d.port.port);
  if (std::strncmp(vendor_pn, kZrVendorPn, sizeof kZrVendorPn - 1) == 0) {
    trace<msg::kVendorPnZr>(d.port.err_trace, vendor_pn);
    d.ext_id = kZrVendorCode;
  }
}

// --- 13. table scan ---

bool is_fc_cwdm_row(const XcvrRow &row) {
  return row.attr_low == 0 &&
         (row.attr_high == kFcCwdmCodeHigh[0] || row.attr_high == kFcCwdmCodeHigh[1] ||
          row.attr_high == kFcCwdmCodeHigh[2]);
}

std::optional<std::size_t> scan_dwdm(const Detection &d) {
  const bool dwdm_codes = (d.code_high == kDwdmCodeHigh1 && d.code_low == kDwdmCodeLow1) ||
                          (d.code_high == kDwdmCodeHigh2 && d.code_low == kDwdmCodeLow2);
  const auto slots = type_slots();
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    const XcvrRow &row = slots[slot];
    if (row.xcvr_type == kTunableType) {
      continue;
    }
    trace<msg::kDwdmScanSlot>(d.port.err_trace, static_cast<uint32_t>(slot), row.ext_id);
    const bool code_free = row.attr_low == 0 && row.attr_high == 0;
    if (row.ext_id == d.ext_id && (code_free || dwdm_codes)) {
      return slot;
    }
  }
  return std::nullopt;
}

// Whether `row` matches in the scan of a non-DWDM identifier; traces the
// match (and the comparison of a row that has codes of its own).
bool scan_row_matches(const Detection &d, uint32_t slot, const XcvrRow &row, uint32_t ieee) {
  if (is_fc_cwdm_row(row)) {
    if (row.ext_id != d.ext_id) {
      return false;
    }
    trace<msg::kScanFcCwdmMatch>(d.port.err_trace, slot, row.xcvr_type);
    return true;
  }
  if (row.attr_low == 0 && (row.attr_high == 0 || row.attr_high == kCwdmCodeHigh)) {
    if (row.ext_id != d.ext_id) {
      return false;
    }
    trace<msg::kScanCodeMatch>(d.port.err_trace, slot, row.xcvr_type);
    return true;
  }
  trace<msg::kScanRow>(d.port.err_trace, slot, row.attr_low, row.attr_high, row.ext_id, ieee,
                       d.port.port);
  const bool matches = (row.attr_high == d.code_high || row.attr_high == 0) &&
                       (row.attr_low == ieee || row.attr_low == 0) &&
                       (row.ext_id == d.ext_id || row.ext_id == 0);
  if (matches) {
    trace<msg::kScanAttributeMatch>(d.port.err_trace, slot, row.xcvr_type);
  }
  return matches;
}

std::optional<std::size_t> scan_other(const Detection &d) {
  const uint32_t ieee = d.code_low & kIeeeBits;
  // The slots after the rows are all zero, and a slot without codes never
  // matches here: the scan can stop at the last row.
  const auto slots = type_slots().first<kTypeRows>();
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    const XcvrRow &row = slots[slot];
    const bool no_codes = row.attr_low == 0 && row.attr_high == 0 && row.ext_id == 0;
    if (row.xcvr_type == kTunableType || no_codes) {
      continue;
    }
    if (scan_row_matches(d, static_cast<uint32_t>(slot), row, ieee)) {
      return slot;
    }
  }
  return std::nullopt;
}

sfp_xcvr_type scan_table(const Detection &d) {
  const std::optional<std::size_t> slot =
      d.identifier == kIdentifierDwdmSfp ? scan_dwdm(d) : scan_other(d);
  return slot ? type_slots()[*slot].xcvr_type : kUnknown;
}

// --- 14. defaults ---

sfp_xcvr_type apply_default(Detection &d, sfp_xcvr_type type) {
  if (type != kUnknown || !unsupported_allowed()) {
    return type;
  }
  if ((d.code_low & kCodeLowEthernetByte) != 0) {
    return use_default<msg::kDefaultedScan>(d, kDefault1g);
  }
  if (d.code_low > kCodeLow10gBits) {
    return use_default<msg::kDefaultedScan>(d, kDefault10g);
  }
  d.port.defaulted = 0;
  return kUnknown;
}

// The steps that decide by themselves, in cascade order.
using DecidingStep = Step (*)(Detection &);

template <Step (*F)(const Detection &)> Step reading(Detection &d) {
  return F(d);
}

constexpr std::array<DecidingStep, 11> kSteps = {
    detect_50g,
    reading<detect_tunable>,
    reading<detect_smart_sfp>,
    reading<detect_vendor_coded_1g>,
    detect_25g,
    reading<detect_10g_copper>,
    reading<detect_10g_active>,
    reading<detect_sonet>,
    reading<detect_fibre_channel>,
    reading<detect_10g_base_t>,
    reading<detect_compliance>,
};

sfp_xcvr_type run_cascade(Detection &d) {
  trace<msg::kDetectInputs>(d.port.err_trace, d.port.port, d.identifier, d.code_low, d.code_high,
                            d.ext_id, d.length, d.options1, d.ext_code, d.speed);
  for (const DecidingStep step : kSteps) {
    if (const Step decided = step(d)) {
      return *decided;
    }
  }
  apply_vendor_pn(d);
  const sfp_xcvr_type type = apply_default(d, scan_table(d));
  trace<msg::kDetected>(d.port.err_trace, d.port.port, type_name(type), type, d.ext_id);
  return type;
}

} // namespace

DetectInputs detect_inputs(const uint8_t *a0) {
  const uint8_t ext_code = a0[kExtCodeByte];
  const bool cable_length = ext_code != 0 || a0[kConnectorByte] == kConnectorCopperPigtail;
  uint32_t speed = 0;
  if (a0[kBitRateByte] == kBitRateAbove25G) {
    const uint8_t rate = a0[kBitRateMaxByte];
    speed = is_25g_rate(rate) ? kSpeed25G : is_50g_rate(rate) ? kSpeed50G : 0;
  }
  const uint8_t vendor_code = a0[kVendorCodeByte];
  const auto ext_id =
      vendor_code == kVendorCodeWithChannel
          ? static_cast<uint16_t>(kVendorCodeWithChannel | a0[kVendorChannelByte] << 8)
          : uint16_t{vendor_code};
  return DetectInputs{
      .identifier = a0[kIdentifierByte],
      .code_low = big_endian32(a0 + kCodeLowByte),
      .code_high = big_endian32(a0 + kCodeHighByte),
      .ext_id = ext_id,
      .length = a0[cable_length ? kCableLengthByte : kSmfLengthByte],
      .options1 = a0[kOptions1Byte],
      .ext_code = ext_code,
      .speed = speed,
  };
}

sfp_xcvr_type sfp_xcvr_detect_type(sfp_port_ctx *port, uint8_t identifier, uint32_t code_low,
                                   uint32_t code_high, uint16_t ext_id, uint8_t length,
                                   uint8_t options1, const char *pid, uint8_t ext_code,
                                   uint32_t speed) {
  if (port == nullptr) {
    return kUnknown;
  }
  Detection d{.port = *port,
              .identifier = identifier,
              .code_low = code_low,
              .code_high = code_high,
              .ext_id = ext_id,
              .length = length,
              .options1 = options1,
              .ext_code = ext_code,
              .speed = speed,
              .pid = {}};
  cut_at_blank(d.pid, pid != nullptr ? pid : "", SFP_PID_LEN);
  return run_cascade(d);
}

} // namespace sfpdrv
