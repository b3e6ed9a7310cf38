// The stages of port initialisation that creation runs for a new port.
#include <array>
#include <cmath>
#include <cstdio>

#include "control/internal.h"
#include "create/internal.h"
#include "platform/psleep.h"
#include "port/internal.h"
#include "port/messages.h"
#include "sfpdrv/control.h"
#include "sfpdrv/xcvr.h"
#include "xcvr/internal.h"

namespace sfpdrv {
namespace {

// A0h byte 65 bit 6: a tunable module, whose tuning range is in A2h table 2.
constexpr std::size_t kOptionsByte = 65;
constexpr uint8_t kTunable = 0x40;
constexpr std::size_t kTableSelectByte = 127;
constexpr uint32_t kHalf = 128;

// Where A2h table 2 keeps the tuning range: whole THz, then a fraction in
// 0.1 GHz units, of the first and of the last frequency (big-endian words).
constexpr uint32_t kFirstThz = 132;
constexpr uint32_t kFirstFraction = 134;
constexpr uint32_t kLastThz = 136;
constexpr uint32_t kLastFraction = 138;
constexpr double kFractionsPerThz = 10000.0;
// Channel offsets count 50 GHz steps from 191.35 THz.
constexpr double kGridOriginThz = 191.35;
constexpr double kGridStepThz = 0.05;
constexpr std::size_t kRangeTextSize = 128;

// A2h byte 110 bit 0: the module's data is not ready yet.
constexpr uint32_t kStatusControlByte = 110;
constexpr uint8_t kDataNotReady = 0x01;
constexpr uint32_t kDataReadyPolls = 20;
constexpr uint32_t kDataReadyPollMs = 100;
// The transmitter's settling time after the disable.
constexpr uint32_t kTxDisableSettleMs = 100;

constexpr uint32_t kOff = 0;
constexpr uint32_t kOn = 1;

bool is_tunable(const sfp_port_ctx &port) {
  return (port.eeprom[SFP_IMAGE_A0 + kOptionsByte] & kTunable) != 0;
}

// The image byte that holds upper-table byte `offset` (128..255) of table
// page `page`: table 0 and table 2 each have an area of the image.
uint8_t *table_byte(sfp_port_ctx &port, uint32_t page, uint32_t offset) {
  const uint32_t area = page == SFP_PAGE_A2_TABLE0 ? SFP_IMAGE_A2_TABLE0 : SFP_IMAGE_A2_TABLE2;
  return port.eeprom + area + (offset - kHalf);
}

template <const TraceMsg &M> void report(const sfp_port_ctx &port) {
  trace<M>(port.err_trace, port.controller, port.port);
}

// Traces failure M of the diagnostic read and passes its status on.
template <const TraceMsg &M> sfp_rc failed(const sfp_port_ctx &port, sfp_rc rc) {
  report<M>(port);
  return rc;
}

// Asks the supported policy which memory spaces the module has, with the
// part identifier the image holds now.
sfp_rc check_spaces(sfp_port_ctx &port) {
  char pid[SFP_PID_LEN + 1];
  copy_pid(&port, pid);
  return sfp_xcvr_which_space_supported2(&port, port.eeprom + SFP_IMAGE_A0, &port.spaces, pid);
}

template <const TraceMsg &M> void trace_spaces(const sfp_port_ctx &port) {
  const sfp_eeprom_space &s = port.spaces;
  trace<M>(port.evt_trace, port.controller, port.port, s.half_a0, s.full_a0, s.a2, s.dom);
}

// The table select through the write callback, as the module's own table
// handling needs it (not a table access of its own).
sfp_rc select_table(const sfp_port_ctx &port, uint32_t page) {
  return static_cast<sfp_rc>(write_table_select(&port, page));
}

// Table 0 and, for a tunable module, table 2 through the paged access.
sfp_rc read_tables_autopoll(sfp_port_ctx &port, bool tunable) {
  trace<msg::kReadA2Autopoll>(port.evt_trace, port.controller, port.port);
  // Table 0 is asked for at offset 0: the callback hands back its bytes
  // 128..255.
  sfp_rc rc = sfp_access(&port, 0, kHalf, SFP_PAGE_A2_TABLE0, port.eeprom + SFP_IMAGE_A2_TABLE0,
                         SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return failed<msg::kGetA2Table0Failed>(port, rc);
  }
  if (!tunable) {
    return SFP_RC_OK;
  }
  rc = select_table(port, SFP_PAGE_A2_TABLE2);
  if (rc != SFP_RC_OK) {
    return failed<msg::kTsfpSelectTable2Failed>(port, rc);
  }
  rc = sfp_access(&port, kHalf, kHalf, SFP_PAGE_A2_TABLE2, port.eeprom + SFP_IMAGE_A2_TABLE2,
                  SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return failed<msg::kTsfpGetTable2Failed>(port, rc);
  }
  return SFP_RC_OK;
}

// One bit-bang read of the maker area or the tuning range.
struct BitBangRead {
  uint32_t page;
  uint32_t offset;
  uint32_t length;
  bool tunable_only;
  void (*report_failure)(const sfp_port_ctx &);
};

// clang-format off
constexpr std::array<BitBangRead, 8> kBitBangReads{{
    {SFP_PAGE_A2_TABLE0, 128, 10, false, report<msg::kBbCleiReadError>},       // CLEI code
    {SFP_PAGE_A2_TABLE0, 138, 10, false, report<msg::kBbPartNumberReadError>}, // catalogue number
    {SFP_PAGE_A2_TABLE0, 192, 20, false, report<msg::kBbPidReadError>},        // part identifier
    {SFP_PAGE_A2_TABLE0, 148,  4, false, report<msg::kBbVidReadError>},        // version
    {SFP_PAGE_A2_TABLE2, kFirstThz,      2, true, report<msg::kBbFirstThzFailed>},
    {SFP_PAGE_A2_TABLE2, kFirstFraction, 2, true, report<msg::kBbFirstGhzFailed>},
    {SFP_PAGE_A2_TABLE2, kLastThz,       2, true, report<msg::kBbLastThzFailed>},
    {SFP_PAGE_A2_TABLE2, kLastFraction,  2, true, report<msg::kBbLastGhzFailed>},
}};
// clang-format on

constexpr bool reads_fit_their_areas() {
  for (const BitBangRead &r : kBitBangReads) {
    if (r.offset < kHalf || r.offset + r.length > 2 * kHalf) {
      return false;
    }
  }
  return true;
}
static_assert(reads_fit_their_areas());

// The maker area of table 0 and, for a tunable module, the tuning range,
// each read on its own through the bit-bang path.
sfp_rc read_tables_bitbang(sfp_port_ctx &port, bool tunable) {
  trace<msg::kReadA2BitBang>(port.evt_trace, port.controller, port.port);
  for (const BitBangRead &r : kBitBangReads) {
    if (r.tunable_only && !tunable) {
      continue;
    }
    const sfp_rc rc = sfp_special_bitbang_access(
        &port, r.offset, r.length, r.page, table_byte(port, r.page, r.offset), SFP_ACCESS_READ);
    if (rc != SFP_RC_OK) {
      r.report_failure(port);
      return rc;
    }
  }
  return SFP_RC_OK;
}

uint16_t table2_word(sfp_port_ctx &port, uint32_t offset) {
  const uint8_t *at = table_byte(port, SFP_PAGE_A2_TABLE2, offset);
  return static_cast<uint16_t>(at[0] << 8 | at[1]);
}

double frequency_thz(sfp_port_ctx &port, uint32_t thz_offset, uint32_t fraction_offset) {
  return (table2_word(port, thz_offset) * kFractionsPerThz + table2_word(port, fraction_offset)) /
         kFractionsPerThz;
}

int32_t channel_offset(double thz) {
  return static_cast<int32_t>(std::lround((thz - kGridOriginThz) / kGridStepThz));
}

// The tunable range as channel offsets of the 50 GHz grid, from table 2.
void set_tunable_range(sfp_port_ctx &port) {
  const double first = frequency_thz(port, kFirstThz, kFirstFraction);
  const double last = frequency_thz(port, kLastThz, kLastFraction);
  port.tunable_lower_offset = channel_offset(first);
  port.tunable_upper_offset = channel_offset(last);
  char text[kRangeTextSize];
  std::snprintf(text, sizeof text,
                "First Laser THz: %.4f, Last Laser THz: %.4f, Lower channel offset: %d, Upper "
                "channel offset: %d",
                first, last, port.tunable_lower_offset, port.tunable_upper_offset);
  trace<msg::kTunableRange>(port.evt_trace, port.controller, port.port, text);
}

// Reads the diagnostic memory into the image: the lower half of A2h, then
// the upper tables that identification and the reports use. Every failure
// is traced and ends the stage with its status.
sfp_rc read_diagnostic_memory(sfp_port_ctx &port) {
  sfp_rc rc =
      sfp_access(&port, 0, kHalf, SFP_PAGE_A2, port.eeprom + SFP_IMAGE_A2_LOWER, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    return failed<msg::kGetPageA2Failed>(port, rc);
  }
  const bool tunable = is_tunable(port);
  // A tunable module left on another table would serve that one as table 0.
  if (tunable && port.eeprom[SFP_IMAGE_A2_LOWER + kTableSelectByte] != 0) {
    rc = select_table(port, SFP_PAGE_A2_TABLE0);
    if (rc != SFP_RC_OK) {
      return failed<msg::kTsfpTableSelectFailed>(port, rc);
    }
  }
  rc = port.bitbang_read_cb == nullptr ? read_tables_autopoll(port, tunable)
                                       : read_tables_bitbang(port, tunable);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (tunable) {
    set_tunable_range(port);
  }
  // The image now holds the maker area: check the spaces again with it.
  trace<msg::kIdentifyTp2>(port.evt_trace, port.controller, port.port);
  check_spaces(port);
  trace_spaces<msg::kSpacesSupportedUpd>(port);
  return SFP_RC_OK;
}

// Polls the data-not-ready bit until it clears, 100 ms apart. Returns 0,
// the failed read's status, or SFP_RC_FAULT when the data never got ready.
sfp_rc wait_for_data_ready(sfp_port_ctx &port) {
  for (uint32_t poll = 0; poll < kDataReadyPolls; ++poll) {
    uint8_t status = 0;
    const sfp_rc rc =
        sfp_access(&port, kStatusControlByte, 1, SFP_PAGE_A2, &status, SFP_ACCESS_READ);
    if (rc != SFP_RC_OK) {
      return failed<msg::kDataReadyReadError>(port, rc);
    }
    if ((status & kDataNotReady) == 0) {
      return SFP_RC_OK;
    }
    platform_sleep_ms(kDataReadyPollMs);
  }
  return failed<msg::kTxNotDataReady>(port, SFP_RC_FAULT);
}

// Power level 1, transmitter off, Tx CDR off, then the higher power level
// and CTLE off. Each operation traces its own failures; none of them stops
// the others, so their results are not looked at.
void set_initial_transmitter_state(sfp_port_ctx &port) {
  (void)sfp_port_high_power_class_ena_dis(&port, kOff);
  (void)sfp_port_tx_ena_dis(&port, kOff);
  platform_sleep_ms(kTxDisableSettleMs);
  (void)sfp_port_tx_cdr_ena_dis(&port, kOff);
  (void)sfp_port_high_power_class_ena_dis(&port, kOn);
  (void)sfp_port_ctle_ena_dis(&port, kOff);
  trace<msg::kInitTxDisable>(port.evt_trace, port.controller, port.port);
}

} // namespace

sfp_rc run_identification_stage(sfp_port_ctx *port) {
  trace<msg::kIdentifyTp1>(port->evt_trace, port->controller, port->port);
  if (check_spaces(*port) == SFP_RC_UNSUPPORTED) {
    trace<msg::kInvalidDeviceType>(port->evt_trace, port->controller, port->port);
    return SFP_RC_UNSUPPORTED;
  }
  trace_spaces<msg::kSpacesSupported>(*port);
  if (port->spaces.a2 != 0) {
    const sfp_rc rc = read_diagnostic_memory(*port);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  sfp_port_identify(port);
  return SFP_RC_OK;
}

sfp_rc run_transmitter_stage(sfp_port_ctx *port) {
  // Only a module with diagnostics reports whether its data is ready.
  if (port->spaces.a2 != 0 && port->spaces.dom != 0) {
    const sfp_rc rc = wait_for_data_ready(*port);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  if (port->multi_rate != 0) {
    const sfp_rc rc = sfp_multi_rate_sel_oper_rate(port);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  set_initial_transmitter_state(*port);
  return SFP_RC_OK;
}

} // namespace sfpdrv
