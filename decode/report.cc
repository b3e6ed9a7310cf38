// The EEPROM text report of a port's module, and the hex dumps of module
// memory it is made with.
//
// The report is built in a working buffer with a count of the room left,
// which starts at the caller's size: every piece is formatted into a scratch
// of its own first and appended only while the room is greater than its
// length, so that text and terminator always fit the caller's buffer. A
// piece that does not fit ends the report; the caller's buffer is written
// only when the whole report fits.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/alloc.h"
#include "common/text.h"
#include "decode/internal.h"
#include "decode/messages.h"
#include "sfpdrv/xcvr.h"
#include "xcvr/internal.h"

namespace sfpdrv {
namespace {

// ---- hex dumps -----------------------------------------------------------------

constexpr uint32_t kDumpLines = 8;
constexpr uint32_t kBytesPerLine = 16;
constexpr uint32_t kSeparatorAfter = 7; // " : " after the eighth byte of a line
// "0x" + up to 8 digits + ": " + 16 x "hh " + ": " + "\n" and the terminator.
constexpr std::size_t kLineScratch = 12 + 16 * 3 + 2 + 2;

constexpr char kDigits[] = "0123456789abcdef";

// Appends "hh " (or "hh : " after the eighth byte of a line) to `out`.
char *put_byte(char *out, uint8_t byte, bool separator) {
  *out++ = kDigits[byte >> 4];
  *out++ = kDigits[byte & 0xf];
  *out++ = ' ';
  if (separator) {
    *out++ = ':';
    *out++ = ' ';
  }
  return out;
}

// Appends "0x%04x: " of the offset to `out`.
char *put_offset(char *out, uint32_t offset) {
  int digits = 4;
  while (digits < 8 && (offset >> (4 * digits)) != 0) {
    ++digits;
  }
  *out++ = '0';
  *out++ = 'x';
  for (int d = digits - 1; d >= 0; --d) {
    *out++ = kDigits[(offset >> (4 * d)) & 0xf];
  }
  *out++ = ':';
  *out++ = ' ';
  return out;
}

// Up to eight lines of 16 bytes from image[start], as many as `count` bytes
// need (at least one), appended to the cleared text as far as they fit.
// The bytes are put by hand: the report dumps four pages, and a formatted
// print per byte would be most of its cost.
sfp_rc dump_page(const uint8_t *image, uint32_t start, char *text, uint32_t size, uint32_t count) {
  if (text == nullptr || image == nullptr) {
    return SFP_RC_INVALID;
  }
  std::memset(text, 0, size);
  for (uint32_t line = 0; line < kDumpLines; ++line) {
    const uint32_t first = start + kBytesPerLine * line;
    char scratch[kLineScratch];
    char *out = put_offset(scratch, first);
    for (uint32_t i = 0; i < kBytesPerLine; ++i) {
      out = put_byte(out, image[first + i], i == kSeparatorAfter);
    }
    *out++ = '\n';
    *out = '\0';
    append_bounded(text, size, scratch);
    if (kBytesPerLine * (line + 1) >= count) {
      break;
    }
  }
  return SFP_RC_OK;
}

// ---- the report ------------------------------------------------------------------

constexpr uint32_t kWorkSize = SFP_EEPROM_REPORT_SIZE;
constexpr std::size_t kPieceSize = 1001; // at most 1000 characters a piece
constexpr std::size_t kDumpScratch = 1936;
constexpr uint32_t kDumpCount = 128;

// Offsets of the port's image.
constexpr uint32_t kA0Lower = SFP_IMAGE_A0;
constexpr uint32_t kA0Upper = SFP_IMAGE_A0 + 128;
constexpr uint32_t kA2Lower = SFP_IMAGE_A2_LOWER;
constexpr uint32_t kA2Upper = SFP_IMAGE_A2_TABLE0;

// A0h bytes the report tests.
constexpr std::size_t kFiberLengths = 14; // 14 to 17, one line each
constexpr std::size_t kDiagMonType = 92;

// Entries of the identification table.
enum IdField : std::size_t {
  kXcvrType = 0,
  kXcvrCode = 3,
  kEncoding = 4,
  kBitRate = 5,
  kDistance9uKm = 6, // 6 to 9: the fiber lengths of A0h bytes 14 to 17
  kVendorName = 11,
  kVendorOui = 12,
  kVendorPn = 13,
  kVendorRev = 14,
  kWavelength = 15,
  kWavelengthFraction = 16,
  kOptions = 19,
  kVendorSn = 22,
  kDateCode = 23,
  kDiagMon = 24,
  kEnhancedOptions = 25,
};

// Entries of the status table.
enum StatusField : std::size_t {
  kThresholds = 0, // five quantities of four: high alarm, low alarm, high warning, low warning
  kR4 = 20,        // R4, R3, R2, R1, R0, then B1, B0, P1, P0, T1, T0, V1, V0
  kTemp = 33,      // temp, voltage, txBias, txPower, rxPower, optionalStatusControl
};

// Entries both maker-area tables begin with, and where their PID is.
enum MakerField : std::size_t {
  kClei = 0,
  kPartNumber = 1,
  kVersionId = 2,
  kTempAlarmPowerFlags = 3,
  kMinTemp = 4,
  kMaxTemp = 5,
  kNoDdmPid = 7,
  kCalibrationConstants = 16,
  kUserEepromPid = 18,
};

// The working text with its room, appended to piece by piece.
class ReportText {
public:
  ReportText(const sfp_port_ctx &port, char *text, uint32_t room)
      : port_(port), text_(text), room_(room) {}

  // Appends a formatted piece when it fits; else prints where the report
  // stopped and fails, and every later piece is ignored.
  void add(const char *format, ...) __attribute__((format(printf, 2, 3)));

  bool failed() const { return failed_; }
  const sfp_port_ctx &port() const { return port_; }
  const char *text() const { return text_; }
  std::size_t length() const { return length_; }

private:
  const sfp_port_ctx &port_;
  char *text_;
  std::size_t length_ = 0;
  uint32_t room_;
  int piece_ = 0;
  bool failed_ = false;
};

void ReportText::add(const char *format, ...) {
  if (failed_) {
    return;
  }
  ++piece_;
  // A piece without a scratch counts as empty. The piece is always written
  // terminated, so the scratch need not be cleared.
  auto *scratch = static_cast<char *>(lib_malloc(kPieceSize));
  std::size_t n = 0;
  if (scratch == nullptr) {
    trace<msg::kReportPieceLost>(port_.err_trace, port_.controller, port_.port, piece_);
  } else {
    va_list args;
    va_start(args, format);
    const bool formatted = format_piece(scratch, kPieceSize, format, args);
    va_end(args);
    n = formatted ? std::strlen(scratch) : 0;
  }
  if (room_ > n) {
    if (n != 0) {
      std::memcpy(text_ + length_, scratch, n);
    }
    length_ += n;
    text_[length_] = '\0';
    room_ -= static_cast<uint32_t>(n);
  } else {
    std::printf("%s %d size %d len %d\n", "sfp_drv_sfp_get_eeprom_str", piece_, static_cast<int>(n),
                static_cast<int>(room_));
    failed_ = true;
  }
  std::free(scratch);
}

// The working buffer and the four decoded tables, released on every path.
struct WorkAreas {
  char *text = static_cast<char *>(lib_calloc(kWorkSize, 1));
  sfp_id_field_table *id = alloc<sfp_id_field_table>();
  sfp_user_eeprom_field_table *user = alloc<sfp_user_eeprom_field_table>();
  sfp_status_field_table *status = alloc<sfp_status_field_table>();
  sfp_no_ddm_field_table *no_ddm = alloc<sfp_no_ddm_field_table>();

  WorkAreas() = default;
  WorkAreas(const WorkAreas &) = delete;
  WorkAreas &operator=(const WorkAreas &) = delete;
  ~WorkAreas() {
    std::free(text);
    std::free(id);
    std::free(user);
    std::free(status);
    std::free(no_ddm);
  }
  bool complete() const {
    return text != nullptr && id != nullptr && user != nullptr && status != nullptr &&
           no_ddm != nullptr;
  }

private:
  template <typename T> static T *alloc() { return static_cast<T *>(lib_calloc(1, sizeof(T))); }
};

// Runs the supported check on the port's image, blanks what the module does
// not provide and returns the memory it does provide.
sfp_eeprom_space prepare(sfp_port_ctx &port, const char *pid) {
  sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  (void)sfp_xcvr_check_supported(&port, port.eeprom, &status, &type, pid);
  sfp_eeprom_space space{};
  (void)sfp_xcvr_which_space_supported(&port, port.eeprom, status, type, &space);
  (void)sfp_xcvr_adjust_eeprom(&port, port.eeprom, status, type);
  return space;
}

// Decodes what the report shows; the result of the last decode made.
sfp_rc decode(sfp_port_ctx &port, const sfp_eeprom_space &space, const char *pid,
              WorkAreas &areas) {
  const uint8_t *image = port.eeprom;
  sfp_rc rc = sfp_xcvr_decode_sfp_id(&port, image + kA0Lower, areas.id, pid);
  if (space.a2 != 0) {
    // Not the last decode made: the status decode's result is the one kept.
    (void)sfp_xcvr_decode_user_eeprom(image + kA2Upper, areas.user);
    rc = sfp_xcvr_decode_sfp_status_str(image + kA2Lower, areas.status,
                                        sfp_id_diagMonType_ext_cal(image[kDiagMonType]));
  }
  if (space.dom == 0) {
    rc = sfp_xcvr_decode_a0_no_ddm(image + kA0Upper, areas.no_ddm);
  }
  return rc;
}

// A hex dump of 128 bytes of the image as one piece.
sfp_rc add_dump(ReportText &report, const uint8_t *image, uint32_t start) {
  if (report.failed()) {
    return SFP_RC_OK;
  }
  // The dump clears its text first.
  auto *scratch = static_cast<char *>(lib_malloc(kDumpScratch));
  const sfp_rc rc = plug_eeprom_page_to_ascii(image, start, scratch, kDumpScratch, kDumpCount);
  if (rc == SFP_RC_OK) {
    report.add("%s", scratch);
  } else {
    const sfp_port_ctx &port = report.port();
    trace<msg::kReportDumpFailed>(port.err_trace, port.controller, port.port, rc);
  }
  std::free(scratch);
  return rc;
}

void add_identification(ReportText &r, const uint8_t *a0, const sfp_id_field_table &table) {
  const auto value = [&table](std::size_t field) { return table.field[field].value; };
  r.add("\n\tXcvr Type: %s", value(kXcvrType));
  r.add("\n\tXcvr Code: %s", value(kXcvrCode));
  r.add("\n\tEncoding: %s", value(kEncoding));
  r.add("\n\tBit Rate: %s", value(kBitRate));
  // Only the fibers the module states a length for.
  if (a0[kFiberLengths] != 0) {
    r.add("\n\tLink Reach 9u fiber (Km): %s", value(kDistance9uKm));
  }
  if (a0[kFiberLengths + 1] != 0) {
    r.add("\n\tLink Reach 9u fiber (100m): %s", value(kDistance9uKm + 1));
  }
  if (a0[kFiberLengths + 2] != 0) {
    r.add("\n\tLink Reach 50u fiber: %s", value(kDistance9uKm + 2));
  }
  if (a0[kFiberLengths + 3] != 0) {
    r.add("\n\tLink Reach 62.5u fiber: %s", value(kDistance9uKm + 3));
  }
  r.add("\n\tVendor Name: %s", value(kVendorName));
  r.add("\n\tVendor OUI: %s", value(kVendorOui));
  r.add("\n\tVendor Part Number: %s (rev.: %s)", value(kVendorPn), value(kVendorRev));
  r.add("\n\tLaser wavelength: %s (fraction: %s)", value(kWavelength), value(kWavelengthFraction));
  r.add("\n\tOptional SFP Signal: %s", value(kOptions));
  r.add("\n\tVendor Serial Number: %s", value(kVendorSn));
  r.add("\n\tDate Code (yy/mm/dd): %s", value(kDateCode));
  r.add("\n\tDiagnostic Monitoring: %s", value(kDiagMon));
  r.add("\n\tEnhanced Options: %s", value(kEnhancedOptions));
}

sfp_rc add_no_diagnostics(ReportText &r, const uint8_t *image, const sfp_no_ddm_field_table &t) {
  const auto value = [&t](std::size_t field) { return t.field[field].value; };
  r.add("\n\nDigital Monitoring not supported");
  r.add("\n\tCLEI Code: %s", value(kClei));
  r.add("\n\tPart Number: %s (ver.: %s)", value(kPartNumber), value(kVersionId));
  r.add("\n\tTemp/Alarm/Power Flags: %s", value(kTempAlarmPowerFlags));
  r.add("\n\tMinimum Temp.: %s", value(kMinTemp));
  r.add("\n\tMaximum Temp.: %s", value(kMaxTemp));
  r.add("\n\tProduct Id: %s", value(kNoDdmPid));
  r.add("\nEEPROM Memory (A0)\n");
  return add_dump(r, image, kA0Upper);
}

// A threshold row: high alarm, high warning, low warning, low alarm.
void add_threshold_row(ReportText &r, const char *label, const sfp_status_field_table &t,
                       std::size_t quantity) {
  const auto value = [&t, quantity](std::size_t limit) {
    return t.field[kThresholds + 4 * quantity + limit].value;
  };
  r.add("\n\t  %15s: %20s  %20s  %20s  %20s", label, value(0), value(2), value(3), value(1));
}

sfp_rc add_diagnostics(ReportText &r, const uint8_t *image, const sfp_status_field_table &t) {
  const auto value = [&t](std::size_t field) { return t.field[field].value; };
  if (sfp_id_diagMonType_ext_cal(image[kDiagMonType]) != 0) {
    r.add("\n\tCalibration Parameters");
    r.add("\n\t  R4: %10s  R3: %10s R2: %10s  R1: %10s  R0: %10s", value(kR4), value(kR4 + 1),
          value(kR4 + 2), value(kR4 + 3), value(kR4 + 4));
    r.add("\n\t  B1: %10s  B0: %10s", value(kR4 + 5), value(kR4 + 6));
    r.add("\n\t  P1: %10s  P0: %10s", value(kR4 + 7), value(kR4 + 8));
    r.add("\n\t  T1: %10s  T0: %10s", value(kR4 + 9), value(kR4 + 10));
    r.add("\n\t  V1: %10s  V0: %10s", value(kR4 + 11), value(kR4 + 12));
  }
  r.add("\n\tThresholds:                    Alarm High         Warning High          Warning "
        "Low            Alarm Low");
  constexpr const char *kQuantities[] = {"Temperature", "Voltage", "Bias", "Transmit Power",
                                         "Receive Power"};
  for (std::size_t q = 0; q < std::size(kQuantities); ++q) {
    add_threshold_row(r, kQuantities[q], t, q);
  }
  r.add("\n\tTemperature: %s", value(kTemp));
  r.add("\n\tVoltage: %s", value(kTemp + 1));
  r.add("\n\tTx Bias: %s", value(kTemp + 2));
  r.add("\n\tTx Power: %s", value(kTemp + 3));
  r.add("\n\tRx Power: %s", value(kTemp + 4));
  r.add("\n\tOper. Status/Control: %s", value(kTemp + 5));
  r.add("\nEEPROM Memory (A2 lower)\n");
  return add_dump(r, image, kA2Lower);
}

sfp_rc add_user_eeprom(ReportText &r, const uint8_t *image, const sfp_user_eeprom_field_table &t) {
  const auto value = [&t](std::size_t field) { return t.field[field].value; };
  r.add("\n\tCLEI Code: %s", value(kClei));
  r.add("\n\tPart Number: %s (ver.: %s)", value(kPartNumber), value(kVersionId));
  r.add("\n\tTemp/Alarm/Power Flags: %s", value(kTempAlarmPowerFlags));
  r.add("\n\tMinimum Temperature: %s", value(kMinTemp));
  r.add("\n\tMaximum Temperature: %s", value(kMaxTemp));
  r.add("\n\tCalibration Constants: %s", value(kCalibrationConstants));
  r.add("\n\tProduct Id: %s", value(kUserEepromPid));
  r.add("\nEEPROM Memory (A2 upper)\n");
  return add_dump(r, image, kA2Upper);
}

sfp_rc build_report(sfp_port_ctx &port, char *out, uint32_t size) {
  char pid[SFP_PID_LEN + 1];
  copy_pid(&port, pid);
  const sfp_eeprom_space space = prepare(port, pid);
  WorkAreas areas;
  if (!areas.complete()) {
    trace<msg::kReportNoMemory>(port.err_trace, port.controller, port.port);
    return SFP_RC_NO_MEMORY;
  }
  const sfp_rc decoded = decode(port, space, pid, areas);
  const uint8_t *image = port.eeprom;
  ReportText report(port, areas.text, size);
  report.add("\nSFP EEPROM  port: %d", port.port);
  if (report.failed()) {
    return SFP_RC_MODULE_COND;
  }
  if (decoded != SFP_RC_OK) {
    return decoded;
  }
  add_identification(report, image + kA0Lower, *areas.id);
  report.add("\n\nMSA Data\n");
  sfp_rc rc = add_dump(report, image, kA0Lower);
  if (rc == SFP_RC_OK && space.dom == 0) {
    rc = add_no_diagnostics(report, image, *areas.no_ddm);
  } else if (rc == SFP_RC_OK) {
    rc = add_diagnostics(report, image, *areas.status);
  }
  if (rc == SFP_RC_OK && space.a2 != 0) {
    rc = add_user_eeprom(report, image, *areas.user);
  }
  if (rc != SFP_RC_OK) {
    return rc;
  }
  report.add("\n");
  if (report.failed()) {
    return SFP_RC_MODULE_COND;
  }
  std::memcpy(out, report.text(), report.length() + 1);
  return SFP_RC_OK;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc plug_eeprom_page_to_ascii(const uint8_t *image, uint32_t start,
                                                       char *text, uint32_t size, uint32_t count) {
  return dump_page(image, start, text, size, count);
}

extern "C" SFPDRV_API sfp_rc sfp_eeprom_page_to_ascii(const uint8_t *image, uint32_t start,
                                                      char *text, uint32_t size, uint32_t count) {
  return dump_page(image, start, text, size, count);
}

extern "C" SFPDRV_API sfp_rc sfp_drv_sfp_get_eeprom_str(sfp_port_ctx *port, char *text,
                                                        uint32_t size) {
  if (port == nullptr || text == nullptr || size > SFP_EEPROM_REPORT_SIZE) {
    return SFP_RC_INVALID;
  }
  return build_report(*port, text, size);
}
