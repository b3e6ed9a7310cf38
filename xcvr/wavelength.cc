// Conversions between wavelength (pm), optical frequency (GHz) and channel
// numbers, and the channel setting of a tunable module.
//
// The arithmetic is unsigned: quotients are taken in 64 bits and cut to 32
// bits where a 32-bit result is rounded further, so results match the
// module data bit for bit. A zero divisor gives 0.
#include "port/internal.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace sfpdrv {
namespace {

// The speed of light in pm x GHz, and ten times it for results in 0.1 units
// that are then rounded to whole units.
constexpr uint64_t kLightPmGhz = 299792458000ULL;
constexpr uint64_t kLightPmGhzTimes10 = 2997924580000ULL;
constexpr uint32_t kWavelengthSetpointPm = 50; // A0h wavelength unit
constexpr uint32_t kWavelengthErrorPm = 5;     // A0h wavelength tolerance unit
// kv channel k is at kKvBaseGhz - k x kKvSpacingGhz (k = 1 is 196.10 THz).
constexpr uint32_t kKvBaseGhz = 196150;
constexpr uint32_t kKvSpacingGhz = 50;
// A2h table 2 byte 145: low byte of the module's channel number.
constexpr uint32_t kChannelNumberLow = 145;

// (dividend / divisor cut to 32 bits) / 10, rounded half up; 0 for a zero
// divisor.
uint32_t rounded_tenth_quotient(uint64_t dividend, uint32_t divisor) {
  if (divisor == 0) {
    return 0;
  }
  const auto tenths = static_cast<uint32_t>(dividend / divisor);
  return (tenths + 5) / 10;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API uint32_t sfp_xcvr_wavelength_setpoint_from_wl(uint32_t wl) {
  return wl / kWavelengthSetpointPm;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_setpoint(uint32_t setpoint) {
  return setpoint * kWavelengthSetpointPm;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_waveLength_to_wl(uint32_t wavelength) {
  return wavelength * kWavelengthSetpointPm;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_error(uint32_t error) {
  return error * kWavelengthErrorPm;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_wavelengthTolerance_to_wl(uint32_t tolerance) {
  return tolerance * kWavelengthErrorPm;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_wl_to_freq(uint32_t wl) {
  return rounded_tenth_quotient(kLightPmGhzTimes10, wl);
}

// Rounded to 10 pm.
extern "C" SFPDRV_API uint32_t sfp_xcvr_freq_to_wl(uint32_t freq) {
  return rounded_tenth_quotient(kLightPmGhz, freq) * 10;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_freq(uint32_t channel) {
  return channel == 0 ? 0 : kKvBaseGhz - kKvSpacingGhz * channel;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_wavelength(uint32_t channel) {
  return rounded_tenth_quotient(kLightPmGhzTimes10, sfp_xcvr_kv_channel_2_freq(channel));
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_optic_pm(uint32_t channel) {
  return (sfp_xcvr_kv_channel_2_wavelength(channel) + 5) / 10 * 10;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_get_chan_from_freq(uint32_t freq, uint32_t first,
                                                           uint32_t spacing) {
  if (spacing == 0 || freq < first) {
    return 0;
  }
  return (freq - first) / spacing + 1;
}

// `channel` counts 50 GHz steps from 191.35 THz; the module numbers its
// channels from its own first frequency, `tunable_lower_offset` steps up.
extern "C" SFPDRV_API sfp_rc sfp_port_tsfp_wavechannel_set(sfp_port_ctx *hdl, uint32_t channel) {
  const sfp_rc checked = sfp_check_hdl(hdl, kSiteTsfpWavechannelSet);
  if (checked != SFP_RC_OK) {
    return checked;
  }
  const int32_t lo = hdl->tunable_lower_offset;
  // The range test compares unsigned, as the channel is.
  const auto lo_bound = static_cast<uint32_t>(lo);
  const uint32_t hi_bound = static_cast<uint32_t>(hdl->tunable_upper_offset) + 1;
  if ((lo > 0 && lo_bound >= channel) || hi_bound < channel) {
    trace<msg::kChannelOutOfRange>(hdl->err_trace, hdl->controller, hdl->port, channel,
                                   lo_bound + 1, hi_bound);
    return SFP_RC_INVALID;
  }
  const uint32_t module_channel = channel - lo_bound;
  trace<msg::kChannelSetRequest>(hdl->err_trace, hdl->controller, hdl->port, module_channel, lo);
  auto low_byte = static_cast<uint8_t>(module_channel);
  const sfp_rc rc =
      sfp_access(hdl, kChannelNumberLow, 1, SFP_PAGE_A2_TABLE2, &low_byte, SFP_ACCESS_WRITE);
  if (rc != SFP_RC_OK) {
    trace<msg::kChannelSetError>(hdl->err_trace, hdl->controller, hdl->port);
  }
  trace<msg::kChannelSetDone>(hdl->err_trace, hdl->controller, hdl->port, module_channel, lo);
  return rc;
}
