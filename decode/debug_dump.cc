// The raw dump of a port's diagnostic pages for field debugging, and the
// EEPROM report handed to the platform in a text of its own.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/alloc.h"
#include "decode/internal.h"
#include "decode/messages.h"
#include "port/internal.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kHalf = 128;
constexpr uint32_t kBytesPerLine = 16;
constexpr uint8_t kTableSelect = 127;
constexpr std::size_t kOptions = 65; // A0h; bit 6: transmitter tunable
constexpr uint8_t kTunable = 0x40;
// Tuning range in the A2h table 2 upper half (A2h byte 128 is index 0): the
// first and the last frequency, each in whole THz and in 0.1 GHz.
constexpr std::size_t kFirstThz = 132 - 128;
constexpr std::size_t kLastThz = 136 - 128;

// The caller's text, written piece by piece within its size.
class DumpText {
public:
  DumpText(char *text, uint32_t size) : text_(text), size_(size) {
    if (size_ != 0) {
      text_[0] = '\0';
    }
  }

  // Appends a piece, cut to what is left; false once the text is full.
  bool add(const char *format, ...) __attribute__((format(printf, 2, 3)));

  uint32_t length() const { return length_; }

private:
  char *text_;
  uint32_t size_;
  uint32_t length_ = 0;
};

bool DumpText::add(const char *format, ...) {
  if (length_ + 1 >= size_) {
    return false;
  }
  const uint32_t room = size_ - length_;
  va_list args;
  va_start(args, format);
  const int written = std::vsnprintf(text_ + length_, room, format, args);
  va_end(args);
  if (written < 0) {
    return true;
  }
  if (static_cast<uint32_t>(written) >= room) {
    length_ = size_ - 1;
    return false;
  }
  length_ += static_cast<uint32_t>(written);
  return true;
}

// 128 bytes of page `space` (the access layer's page number), 16 a line,
// each line headed by the page and the offset of its first byte.
bool dump_half(DumpText &out, uint32_t space, uint32_t first_offset, const uint8_t *bytes) {
  if (!out.add("\nRead Data :\n\n    Page = %d, Offset = 0x%08x :  ", static_cast<int>(space),
               first_offset)) {
    return false;
  }
  for (uint32_t i = 0; i < kHalf; ++i) {
    if (i != 0 && i % kBytesPerLine == 0 &&
        !out.add("\n    Page = %d, Offset = 0x%08x :  ", static_cast<int>(space),
                 first_offset + i)) {
      return false;
    }
    if (!out.add("0x%02x  ", bytes[i])) {
      return false;
    }
  }
  return true;
}

// A frequency of the tuning range in THz.
double frequency_thz(const uint8_t *table2, std::size_t at) {
  return read_be16(table2 + at) + read_be16(table2 + at + 2) / 10000.0;
}

// Selects the A2h table of `page`; a failure is traced and returned.
int select_table(const sfp_port_ctx &port, uint32_t page) {
  const int rc = write_table_select(&port, page);
  if (rc != 0) {
    trace<msg::kDebugTableSelectFailed>(port.err_trace, port.controller, port.port,
                                        page - SFP_PAGE_A2_TABLE0, rc);
  }
  return rc;
}

sfp_rc dump_tunable(sfp_port_ctx &port, DumpText &out) {
  const int rc = select_table(port, SFP_PAGE_A2_TABLE2);
  if (rc != 0) {
    return static_cast<sfp_rc>(rc);
  }
  uint8_t bytes[kHalf];
  const sfp_rc read = sfp_access(&port, kHalf, kHalf, SFP_PAGE_A2_TABLE2, bytes, SFP_ACCESS_READ);
  if (read != SFP_RC_OK) {
    return read;
  }
  const uint8_t *table2 = port.eeprom + SFP_IMAGE_A2_TABLE2;
  if (dump_half(out, SFP_PAGE_A2_TABLE2, kHalf, bytes)) {
    (void)(out.add("\n\nTunable SFP specific data:\n\n") &&
           out.add("First Laser THz : %.4f\nLast Laser THz :  %.4f\nChannel range supported : "
                   "%d to %d\n",
                   frequency_thz(table2, kFirstThz), frequency_thz(table2, kLastThz),
                   port.tunable_lower_offset + 1, port.tunable_upper_offset + 1));
  }
  return SFP_RC_OK;
}

sfp_rc debug_info(sfp_port_ctx &port, DumpText &out) {
  if (port.spaces.a2 == 0) {
    out.add("\nA2 page not supported\n\n");
    return SFP_RC_OK;
  }
  uint8_t bytes[kHalf];
  sfp_rc rc = sfp_access(&port, 0, kHalf, SFP_PAGE_A2, bytes, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (!dump_half(out, SFP_PAGE_A2, 0, bytes)) {
    return SFP_RC_OK;
  }
  const bool tunable = (port.eeprom[SFP_IMAGE_A0 + kOptions] & kTunable) != 0;
  // A tunable module may be left on table 2; table 0 is wanted next.
  if (tunable && port.eeprom[SFP_IMAGE_A2_LOWER + kTableSelect] != 0) {
    const int selected = select_table(port, SFP_PAGE_A2_TABLE0);
    if (selected != 0) {
      return static_cast<sfp_rc>(selected);
    }
  }
  rc = sfp_access(&port, 0, kHalf, SFP_PAGE_A2_TABLE0, bytes, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (!dump_half(out, SFP_PAGE_A2_TABLE0, kHalf, bytes) || !tunable) {
    return SFP_RC_OK;
  }
  return dump_tunable(port, out);
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_get_debug_info(sfp_port_ctx *hdl, char *text, uint32_t size,
                                                     uint32_t *length) {
  const sfp_rc checked = sfp_check_hdl(hdl, kSiteDebugInfo);
  if (checked != SFP_RC_OK) {
    return checked;
  }
  if (text == nullptr || length == nullptr) {
    return SFP_RC_INVALID;
  }
  DumpText out(text, size);
  const sfp_rc rc = debug_info(*hdl, out);
  *length = out.length();
  return rc;
}

extern "C" SFPDRV_API sfp_rc sfp_port_phy_reg_decode(sfp_port_ctx *hdl, char **text,
                                                     uint32_t *length) {
  const sfp_rc checked = sfp_check_hdl(hdl, kSitePhyRegDecode);
  if (checked != SFP_RC_OK) {
    return checked;
  }
  if (text == nullptr || length == nullptr) {
    return SFP_RC_INVALID;
  }
  auto *report = static_cast<char *>(lib_calloc(SFP_EEPROM_REPORT_SIZE, 1));
  if (report == nullptr) {
    trace<msg::kReportBufferNoMemory>(hdl->err_trace, hdl->controller, hdl->port);
    return SFP_RC_NO_MEMORY;
  }
  const sfp_rc rc = sfp_drv_sfp_get_eeprom_str(hdl, report, SFP_EEPROM_REPORT_SIZE);
  if (rc != SFP_RC_OK) {
    std::free(report);
    return rc;
  }
  *text = report;
  *length = static_cast<uint32_t>(std::strlen(report) + 1);
  return SFP_RC_OK;
}
