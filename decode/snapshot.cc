// The snapshots a platform collects of a port's module: its live
// diagnostics with thresholds and flags, and its identity. Both also write
// the decoded fields to a debug file under /tmp.
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/alloc.h"
#include "common/text.h"
#include "decode/internal.h"
#include "decode/messages.h"
#include "platform/psleep.h"
#include "port/internal.h"
#include "sfpdrv/xcvr.h"
#include "xcvr/internal.h"

namespace sfpdrv {
namespace {

// A0h bytes.
constexpr std::size_t kVendorName = 20;
constexpr std::size_t kVendorOui = 37;
constexpr std::size_t kVendorPn = 40;
constexpr std::size_t kVendorRev = 56;
constexpr std::size_t kWavelength = 60; // 60, 61 in nm, 62 in 0.01 nm
constexpr std::size_t kOptions = 65;
constexpr std::size_t kVendorSn = 68;
constexpr std::size_t kDateCode = 84;
constexpr std::size_t kDiagMonType = 92;
constexpr std::size_t kEnhancedOptions = 93;
constexpr uint8_t kTunable = 0x40;       // byte 65
constexpr uint8_t kSoftTxDisable = 0x40; // byte 93: implemented; A2h byte 110: set

// A2h bytes.
constexpr uint32_t kStatusControl = 110;
constexpr uint32_t kAlarmFlags = 112;
constexpr uint32_t kWarningFlags = 116;
constexpr uint32_t kFlagBytes = 2;
constexpr uint32_t kTunableChannel = 145; // of table 2

// Offsets of the maker area.
constexpr std::size_t kMakerClei = 0;
constexpr std::size_t kMakerVersionId = 20;
constexpr std::size_t kMakerPid = 64;

constexpr uint32_t kHalf = 128;
constexpr uint32_t kFlagSettleMs = 100;

// The 50 GHz grid of tunable modules, counted from channel 1 at 191.35 THz.
constexpr double kSpeedOfLight = 299792.458; // nm x THz
constexpr double kFirstChannelThz = 191.35;
constexpr double kChannelSpacingThz = 0.05;

// Module types whose kind of module has no diagnostics: copper modules,
// copper cables and the passive loopback.
struct TypeRange {
  sfp_xcvr_type first;
  sfp_xcvr_type last;
};
constexpr std::array<TypeRange, 12> kTypesWithoutDiagnostics{{
    {533, 533}, // 1000BASE-T
    {692, 696}, // SFP+ 10G copper cables, 1 to 5 m
    {744, 747}, // SFP+ 10G copper cables, 6 to 10 m
    {760, 764}, // 4x10G breakout copper cables
    {766, 766}, // SFP+ 10G copper
    {789, 791}, // SFP28 25G copper cables
    {793, 795},
    {810, 810}, // SFP 25G passive loopback
    {812, 812}, // SFP 50G copper cables, 1 to 5 m
    {814, 814},
    {816, 818},
}};

bool without_diagnostics(sfp_xcvr_type type) {
  for (const TypeRange &range : kTypesWithoutDiagnostics) {
    if (type >= range.first && type <= range.last) {
      return true;
    }
  }
  return false;
}

// ---- debug files ----------------------------------------------------------------

enum class DebugFile { Status, Identity };

// Writes every entry as "name:raw:value" to the port's file, replacing it;
// false when the file cannot be written safely (see replace_debug_file).
bool write_debug_file(DebugFile which, const sfp_port_ctx &port, const sfp_decoded_field *fields,
                      std::size_t count) {
  char path[64];
  std::snprintf(path, sizeof path,
                which == DebugFile::Status ? "/tmp/hw_status_file_%d_%d" : "/tmp/hw_id_file_%d_%d",
                port.controller, port.port);
  return replace_debug_file(path, fields, count);
}

// ---- status snapshot --------------------------------------------------------------

// A module without diagnostics: only the type says more.
sfp_rc status_without_diagnostics(sfp_port_ctx &port, sfp_hw_status_rec &rec) {
  trace<msg::kStatusSpaceNotSupported>(port.evt_trace, port.controller, port.port);
  rec.filled = 1;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  const sfp_rc rc = sfp_port_get_type(&port, &type, nullptr, 0, nullptr);
  if (rc != SFP_RC_OK) {
    trace<msg::kStatusTypeReadFailed>(port.err_trace, port.controller, port.port, rc);
  }
  if (without_diagnostics(type)) {
    rec.no_diagnostics = 1;
  }
  return rc;
}

sfp_rc write_status_file(sfp_port_ctx &port, const uint8_t *diag, uint32_t ext_cal) {
  auto *table =
      static_cast<sfp_status_field_table *>(lib_calloc(1, sizeof(sfp_status_field_table)));
  if (table == nullptr) {
    trace<msg::kStatusCallocFailed>(port.err_trace, port.controller, port.port);
    return SFP_RC_NO_MEMORY;
  }
  (void)sfp_xcvr_decode_sfp_status_str(diag, table, ext_cal);
  const bool written = write_debug_file(DebugFile::Status, port, table->field, SFP_STATUS_FIELDS);
  std::free(table);
  if (!written) {
    trace<msg::kStatusFileOpenFailed>(port.err_trace, port.controller, port.port);
    return SFP_RC_INVALID;
  }
  return SFP_RC_OK;
}

// Flags latch: a flag that is set is read again after a while, so that the
// record shows a condition that persists rather than one that has passed.
sfp_rc reread_flags(sfp_port_ctx &port, uint8_t *diag) {
  const bool any_set = (diag[kAlarmFlags] | diag[kAlarmFlags + 1] | diag[kWarningFlags] |
                        diag[kWarningFlags + 1]) != 0;
  if (!any_set) {
    return SFP_RC_OK;
  }
  platform_sleep_ms(kFlagSettleMs);
  if (port.bitbang_read_cb == nullptr || port.bus_mode != 0) {
    platform_sleep_ms(kFlagSettleMs);
    for (const uint32_t offset : {kAlarmFlags, kWarningFlags}) {
      const sfp_rc rc =
          sfp_access(&port, offset, kFlagBytes, SFP_PAGE_A2, diag + offset, SFP_ACCESS_READ);
      if (rc != SFP_RC_OK) {
        return rc;
      }
    }
    return SFP_RC_OK;
  }
  const sfp_rc alarm = sfp_special_bitbang_access(&port, kAlarmFlags, kFlagBytes, SFP_PAGE_A2,
                                                  diag + kAlarmFlags, SFP_ACCESS_READ);
  const sfp_rc warning = sfp_special_bitbang_access(&port, kWarningFlags, kFlagBytes, SFP_PAGE_A2,
                                                    diag + kWarningFlags, SFP_ACCESS_READ);
  if (alarm != SFP_RC_OK || warning != SFP_RC_OK) {
    trace<msg::kBitbangFlagsFailed>(port.err_trace, port.controller, port.port);
  }
  return SFP_RC_OK;
}

// The wavelength in nm of a channel of the 50 GHz grid, to three decimals.
float channel_wavelength(uint8_t channel) {
  const double thz = (channel - 1) * kChannelSpacingThz + kFirstChannelThz;
  return static_cast<float>(std::round(kSpeedOfLight / thz * 1000.0) / 1000.0);
}

sfp_rc read_tunable_channel(sfp_port_ctx &port, sfp_hw_status_rec &rec) {
  uint8_t channel = 0;
  const sfp_rc rc =
      sfp_access(&port, kTunableChannel, 1, SFP_PAGE_A2_TABLE2, &channel, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    trace<msg::kChannelReadFailed>(port.err_trace, port.controller, port.port, rc);
    return rc;
  }
  rec.channel = static_cast<uint8_t>(channel + port.tunable_lower_offset);
  rec.wavelength = channel_wavelength(rec.channel);
  return SFP_RC_OK;
}

sfp_rc read_soft_tx_disable(sfp_port_ctx &port, sfp_hw_status_rec &rec) {
  uint8_t status = 0;
  const sfp_rc rc = sfp_access(&port, kStatusControl, 1, SFP_PAGE_A2, &status, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    trace<msg::kTxDisableReadFailed>(port.err_trace, port.controller, port.port, rc);
    rec.tx_disabled = 0;
    return rc;
  }
  rec.tx_disabled = (status & kSoftTxDisable) != 0 ? 1 : 0;
  return SFP_RC_OK;
}

sfp_rc hw_status(sfp_port_ctx &port, sfp_hw_status_rec &rec) {
  rec = sfp_hw_status_rec{};
  if (port.spaces.a2 == 0 || port.spaces.dom == 0) {
    return status_without_diagnostics(port, rec);
  }
  const uint8_t *a0 = port.eeprom + SFP_IMAGE_A0;
  uint8_t *diag = port.eeprom + SFP_IMAGE_A2_LOWER;
  sfp_rc rc = sfp_access(&port, 0, kHalf, SFP_PAGE_A2, diag, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  const uint32_t ext_cal = sfp_id_diagMonType_ext_cal(a0[kDiagMonType]);
  rc = write_status_file(port, diag, ext_cal);
  if (rc == SFP_RC_OK) {
    rc = reread_flags(port, diag);
  }
  if (rc != SFP_RC_OK) {
    return rc;
  }
  const sfp_rc decoded = sfp_xcvr_decode_sfp_status(&port, diag, &rec, ext_cal);
  if (decoded != SFP_RC_OK) {
    trace<msg::kInvalidFlags>(port.err_trace, port.controller, port.port,
                              read_be16(diag + kAlarmFlags), read_be16(diag + kWarningFlags));
    return decoded;
  }
  rec.wavelength = static_cast<float>(read_be16(a0 + kWavelength) + a0[kWavelength + 2] * 0.01);
  rec.filled = 1;
  if ((a0[kOptions] & kTunable) != 0) {
    rc = read_tunable_channel(port, rec);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  if ((a0[kEnhancedOptions] & kSoftTxDisable) != 0) {
    return read_soft_tx_disable(port, rec);
  }
  rec.tx_disabled = 0;
  return decoded;
}

// ---- identity snapshot --------------------------------------------------------------

sfp_rc write_id_file(sfp_port_ctx &port) {
  auto *table = static_cast<sfp_id_field_table *>(lib_calloc(1, sizeof(sfp_id_field_table)));
  if (table == nullptr) {
    trace<msg::kInfoCallocFailed>(port.err_trace, port.controller, port.port);
    return SFP_RC_NO_MEMORY;
  }
  char pid[SFP_PID_LEN + 1];
  copy_pid(&port, pid);
  (void)sfp_xcvr_decode_sfp_id(&port, port.eeprom + SFP_IMAGE_A0, table, pid);
  const bool written = write_debug_file(DebugFile::Identity, port, table->field, SFP_ID_FIELDS);
  std::free(table);
  if (!written) {
    trace<msg::kInfoFileOpenFailed>(port.err_trace, port.controller, port.port);
    return SFP_RC_INVALID;
  }
  return SFP_RC_OK;
}

// A blank-padded text field of `Length` bytes into a record's text, cut at
// its first blank.
template <uint16_t Length, std::size_t N> void trimmed(char (&dest)[N], const uint8_t *source) {
  static_assert(Length < N, "the text and its terminator fit the record's field");
  std::memset(dest, 0, N);
  (void)sfp_eeprom_get_n_trim_str(dest, source, Length);
}

// The maker area: in the A2h upper half for an optic with A2h, else (copper
// modules and cables) in the A0h upper half.
const uint8_t *maker_area(sfp_port_ctx &port) {
  uint32_t cable = 0;
  const sfp_rc rc = sfp_is_cable(&port, &cable);
  if (rc != SFP_RC_OK) {
    trace<msg::kInfoCableFailed>(port.err_trace, port.controller, port.port, rc);
    cable = 0;
  }
  const bool in_a2 = port.spaces.a2 != 0 && cable == 0;
  return port.eeprom + (in_a2 ? SFP_IMAGE_A2_TABLE0 : SFP_IMAGE_A0 + kHalf);
}

sfp_rc hw_info(sfp_port_ctx &port, sfp_hw_info_rec &rec) {
  sfp_rc rc = write_id_file(port);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  char name[SFP_XCVR_NAME_LEN + 1] = {};
  rc = sfp_port_get_type(&port, &type, name, sizeof name, nullptr);
  if (rc != SFP_RC_OK) {
    trace<msg::kInfoTypeReadFailed>(port.err_trace, port.controller, port.port, rc);
    return rc;
  }
  const uint8_t *a0 = port.eeprom + SFP_IMAGE_A0;
  (void)sfp_xcvr_check_compliance(a0, &rec.compliance);
  rec.xcvr_type = type;
  copy_bounded(rec.type_name, sizeof rec.type_name, name); // cut to 40 characters
  trimmed<16>(rec.vendor_name, a0 + kVendorName);
  trimmed<4>(rec.vendor_rev, a0 + kVendorRev);
  trimmed<16>(rec.vendor_pn, a0 + kVendorPn);
  trimmed<16>(rec.vendor_sn, a0 + kVendorSn);
  std::memcpy(rec.vendor_oui, a0 + kVendorOui, sizeof rec.vendor_oui);
  std::memcpy(rec.vendor_rev_raw, a0 + kVendorRev, sizeof rec.vendor_rev_raw);
  trimmed<8>(rec.date_code, a0 + kDateCode);
  const uint8_t *maker = maker_area(port);
  trimmed<SFP_PID_LEN>(rec.pid, maker + kMakerPid);
  trimmed<10>(rec.clei, maker + kMakerClei);
  trimmed<4>(rec.version_id, maker + kMakerVersionId);
  return SFP_RC_OK;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_hw_status(sfp_port_ctx *hdl, sfp_hw_status_rec *rec) {
  const sfp_rc rc = sfp_check_hdl(hdl, kSiteHwStatus);
  if (rc != SFP_RC_OK) {
    std::fprintf(stderr, "sfp port sfp hw status check hdl failed \n");
    return rc;
  }
  if (rec == nullptr) {
    return SFP_RC_INVALID;
  }
  return hw_status(*hdl, *rec);
}

extern "C" SFPDRV_API sfp_rc sfp_port_hw_info(sfp_port_ctx *hdl, sfp_hw_info_rec *rec) {
  const sfp_rc rc = sfp_check_hdl(hdl, kSiteHwInfo);
  if (rc != SFP_RC_OK) {
    std::fprintf(stderr, "sfp port hw info check hdl failed \n");
    return rc;
  }
  if (rec == nullptr) {
    trace<msg::kInfoNullParams>(hdl->err_trace, hdl->controller, hdl->port);
    return SFP_RC_INVALID;
  }
  return hw_info(*hdl, *rec);
}

extern "C" SFPDRV_API sfp_rc sfp_port_dom_info(sfp_port_ctx *, sfp_hw_status_rec *) {
  return SFP_RC_OK;
}
