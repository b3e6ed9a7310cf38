// The transmitter and the signal conditioning of 25G and 50G optics: soft
// transmitter disable, Tx CDR, adaptive CTLE with the CDR fault check, CTLE
// peaking and the power level. Each is a read-modify-write of one A2h byte,
// guarded by what the module declares and by its type.
#include <cstdint>

#include "control/internal.h"
#include "control/messages.h"
#include "platform/psleep.h"
#include "port/internal.h"
#include "sfpdrv/control.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// A0h bytes, read from the module or from the port's image.
constexpr uint32_t kA0Options = 64;
constexpr uint8_t kOptionPowerLevel2 = 0x20; // the module asks for power level 2
constexpr uint8_t kOptionCdrLol = 0x08;      // CDR loss of lock implemented
constexpr uint32_t kA0EnhancedOptions = 93;
constexpr uint8_t kSoftTxDisableImplemented = 0x40;

// A2h bytes (page 1).
constexpr uint32_t kStatusControl = 110;
constexpr uint8_t kSoftTxDisable = 0x40; // set: transmitter off
constexpr uint32_t kTxPeaking = 114;
constexpr uint32_t kRxPeaking = 115;
constexpr uint32_t kExtendedControl = 118;
constexpr uint8_t kPowerLevelSelect = 0x01; // set: power level 2/3
constexpr uint32_t kCdrFlags = 119;
constexpr uint8_t kCdrFault = 0x02; // latched: the first read clears it
constexpr uint32_t kCdrControl = 120;
constexpr uint8_t kTxCdrEnable = 0x06;
constexpr uint8_t kAdaptiveCtleEnable = 0x01;
constexpr uint32_t kAdaptiveSupport = 122;
constexpr uint8_t kAdaptiveCtleSupported = 0x03;

// The dual-rate optics address their CTLE at A2h byte 71, but which bit
// switches it is not settled: with no bit to move, the byte is only read.
constexpr uint32_t kDualRateCtle = 71;
constexpr uint8_t kDualRateCtleBits = 0x00;

// The module's settling times after a change.
constexpr uint32_t kCtleSettleMs = 500;
constexpr uint32_t kPowerLevelSettleMs = 300;

constexpr uint32_t kEnable = 1;

bool has_a2(const sfp_port_ctx *port) {
  return port->spaces.a2 != 0;
}

sfp_rc read_byte(sfp_port_ctx *port, uint32_t page, uint32_t offset, uint8_t &value) {
  return sfp_access(port, offset, 1, page, &value, SFP_ACCESS_READ);
}

// Traces a null handle given to `operation`; true when the handle is null.
bool null_handle(const sfp_port_ctx *port, const char *operation) {
  if (port != nullptr) {
    return false;
  }
  trace<msg::kControlNullHdl>(library_err_trace(), operation);
  return true;
}

// The dual-rate optics' CTLE: the byte is read (and, having no bit to move,
// not written), then the module gets its settling time. Returns the read's
// status.
sfp_rc dual_rate_ctle(sfp_port_ctx *port, uint32_t enable) {
  const sfp_rc rc = sfp_set_clear_bits(port, kDualRateCtle, enable, kDualRateCtleBits);
  if (rc != SFP_RC_OK) {
    port_error<msg::kCtleDualRateReadError>(port);
  }
  platform_sleep_ms(kCtleSettleMs);
  return rc;
}

// Moves the adaptive CTLE enable bit and waits for the module to settle.
// Write failures are only traced.
void set_adaptive_ctle(sfp_port_ctx *port, bool on) {
  if (on) {
    port_event<msg::kCtleEnableRequest>(port);
    if (sfp_set_clear_bits(port, kCdrControl, 0, kAdaptiveCtleEnable) != SFP_RC_OK) {
      port_error<msg::kCtleEnableWriteError>(port);
    }
  } else {
    port_event<msg::kCtleDisableRequest>(port);
    if (sfp_set_clear_bits(port, kCdrControl, 1, kAdaptiveCtleEnable) != SFP_RC_OK) {
      port_error<msg::kCtleDisableWriteError>(port);
    }
  }
  platform_sleep_ms(kCtleSettleMs);
}

// After a CTLE enable request: SFP_RC_MODULE_COND when a module that
// implements CDR loss of lock reports a CDR fault that persists past the
// latch's clearing read.
sfp_rc check_cdr_fault(sfp_port_ctx *port) {
  uint8_t options = 0;
  sfp_rc rc = read_byte(port, SFP_PAGE_A0, kA0Options, options);
  if (rc != SFP_RC_OK) {
    port_error<msg::kCdrLolReadError>(port);
    return rc;
  }
  if ((options & kOptionCdrLol) == 0) {
    port_event<msg::kCdrLolNotImplemented>(port);
    return SFP_RC_OK;
  }
  port_event<msg::kCdrLolImplemented>(port);
  uint8_t flags = 0;
  (void)read_byte(port, SFP_PAGE_A2, kCdrFlags, flags); // clears a stale latch
  rc = read_byte(port, SFP_PAGE_A2, kCdrFlags, flags);
  if (rc != SFP_RC_OK) {
    port_error<msg::kCdrLolClearReadError>(port);
    return rc;
  }
  if ((flags & kCdrFault) != 0) {
    port_event<msg::kCdrFault>(port);
    return SFP_RC_MODULE_COND;
  }
  return SFP_RC_OK;
}

// Power level 2/3, unless the module says it expects level 2 (then
// SFP_RC_MODULE_COND and nothing is written). True when it wrote.
bool raise_power_level(sfp_port_ctx *port) {
  uint8_t options = 0;
  if (read_byte(port, SFP_PAGE_A0, kA0Options, options) != SFP_RC_OK) {
    port_error<msg::kPowerReadError>(port);
    options = 0;
  }
  if ((options & kOptionPowerLevel2) != 0) {
    port_event<msg::kPowerExpectsLevel2>(port);
    return false;
  }
  port_event<msg::kPowerNotAbove2>(port);
  port_event<msg::kPowerSetLevel23>(port);
  if (sfp_set_clear_bits(port, kExtendedControl, 0, kPowerLevelSelect) != SFP_RC_OK) {
    port_error<msg::kPowerLevel23WriteError>(port);
  }
  return true;
}

void lower_power_level(sfp_port_ctx *port) {
  port_event<msg::kPowerSetLevel1>(port);
  if (sfp_set_clear_bits(port, kExtendedControl, 1, kPowerLevelSelect) != SFP_RC_OK) {
    port_error<msg::kPowerLevel1WriteError>(port);
  }
}

} // namespace

sfp_rc sfp_set_clear_bits(sfp_port_ctx *port, uint32_t offset, uint32_t clear, uint8_t mask) {
  uint8_t old = 0;
  sfp_rc rc = read_byte(port, SFP_PAGE_A2, offset, old);
  if (rc != SFP_RC_OK) {
    port_error<msg::kSetClearReadError>(port);
    return rc;
  }
  uint8_t value = clear != 0 ? static_cast<uint8_t>(old & ~mask) : static_cast<uint8_t>(old | mask);
  if (value == old) {
    return SFP_RC_OK;
  }
  rc = sfp_access(port, offset, 1, SFP_PAGE_A2, &value, SFP_ACCESS_WRITE);
  if (rc != SFP_RC_OK) {
    port_error<msg::kSetClearWriteError>(port);
  }
  return rc;
}

sfp_rc sfp_port_tx_ena_dis(sfp_port_ctx *port, uint32_t enable) {
  if (null_handle(port, __func__)) {
    return SFP_RC_INVALID;
  }
  const bool on = enable == kEnable;
  const char *word = on ? "enable" : "disable";
  if (port->skip_soft_tx == 1) {
    port_event<msg::kTxSkipSoftTx>(port, word);
    return SFP_RC_OK;
  }
  port_event<msg::kTxRequest>(port, word);
  const uint8_t enhanced = port->eeprom[SFP_IMAGE_A0 + kA0EnhancedOptions];
  if (!has_a2(port) || (enhanced & kSoftTxDisableImplemented) == 0) {
    port_error<msg::kTxUnable>(port, has_a2(port) ? "" : "not ", enhanced);
    return SFP_RC_OK;
  }
  const sfp_rc rc = sfp_set_clear_bits(port, kStatusControl, on ? 1 : 0, kSoftTxDisable);
  if (rc != SFP_RC_OK) {
    port_error<msg::kTxEnableWriteError>(port);
  }
  return rc;
}

sfp_rc sfp_port_tx_cdr_ena_dis(sfp_port_ctx *port, uint32_t enable) {
  if (null_handle(port, __func__)) {
    return SFP_RC_INVALID;
  }
  if (!has_a2(port) || !type_in(sfp_25g_optics, port->xcvr_type)) {
    return SFP_RC_OK;
  }
  sfp_rc rc = sfp_set_clear_bits(port, kCdrControl, enable == kEnable ? 0 : 1, kTxCdrEnable);
  if (rc != SFP_RC_OK) {
    port_error<msg::kTxCdrWriteError>(port, rc);
  }
  uint8_t value = 0;
  rc = read_byte(port, SFP_PAGE_A2, kCdrControl, value);
  if (rc != SFP_RC_OK) {
    port_error<msg::kTxCdrReadError>(port, rc);
    return rc;
  }
  port_event<msg::kTxCdrByte120>(port, value);
  return SFP_RC_OK;
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_tx_enable(sfp_port_ctx *hdl) {
  return sfp_port_tx_ena_dis(hdl, 1);
}

extern "C" SFPDRV_API sfp_rc sfp_port_tx_disable(sfp_port_ctx *hdl) {
  return sfp_port_tx_ena_dis(hdl, 0);
}

extern "C" SFPDRV_API sfp_rc sfp_port_tx_cdr_enable(sfp_port_ctx *hdl, uint32_t enable) {
  return sfp_port_tx_cdr_ena_dis(hdl, enable);
}

extern "C" SFPDRV_API sfp_rc sfp_port_set_sfp_type(sfp_port_ctx *hdl) {
  constexpr sfp_xcvr_type kSfp28Lr = 786;
  if (null_handle(hdl, __func__)) {
    return SFP_RC_INVALID;
  }
  hdl->xcvr_type = kSfp28Lr;
  hdl->spaces.a2 = 1;
  return sfp_port_tx_cdr_ena_dis(hdl, 1);
}

extern "C" SFPDRV_API sfp_rc sfp_port_ctle_ena_dis(sfp_port_ctx *hdl, uint32_t enable) {
  if (null_handle(hdl, __func__)) {
    return SFP_RC_INVALID;
  }
  if (!type_in(sfp_25g_50g_optics, hdl->xcvr_type) || !has_a2(hdl)) {
    return SFP_RC_OK;
  }
  if (type_in(sfp_dual_rate_50g_optics, hdl->xcvr_type)) {
    return dual_rate_ctle(hdl, enable);
  }
  uint8_t support = 0;
  if (read_byte(hdl, SFP_PAGE_A2, kAdaptiveSupport, support) != SFP_RC_OK) {
    port_error<msg::kCtleSupportReadError>(hdl);
    port_error<msg::kCtleSupportError>(hdl);
    return SFP_RC_INVALID;
  }
  port_event<msg::kCtleStatus>(hdl, support);
  const bool enable_request = enable == kEnable;
  const bool adaptive =
      enable_request && (support & kAdaptiveCtleSupported) != 0 && hdl->adaptive_ctle != 0;
  set_adaptive_ctle(hdl, adaptive);
  if (!enable_request) {
    return SFP_RC_OK;
  }
  return check_cdr_fault(hdl);
}

extern "C" SFPDRV_API sfp_rc sfp_port_configure_peaking_ctle(sfp_port_ctx *hdl, uint32_t value,
                                                             uint32_t mask) {
  if (null_handle(hdl, __func__)) {
    return SFP_RC_OK;
  }
  if (!type_in(sfp_25g_optics, hdl->xcvr_type) || !has_a2(hdl)) {
    return SFP_RC_OK;
  }
  uint8_t old = 0;
  if (read_byte(hdl, SFP_PAGE_A2, kTxPeaking, old) != SFP_RC_OK) {
    port_error<msg::kPeakingReadError>(hdl);
    old = 0;
  }
  // Written even when the value does not change.
  uint8_t peaking = static_cast<uint8_t>((old & ~mask) | value);
  const sfp_rc rc = sfp_access(hdl, kTxPeaking, 1, SFP_PAGE_A2, &peaking, SFP_ACCESS_WRITE);
  if (rc != SFP_RC_OK) {
    port_error<msg::kPeakingWriteError>(hdl, rc);
  }
  uint8_t tx = 0;
  const sfp_rc tx_rc = read_byte(hdl, SFP_PAGE_A2, kTxPeaking, tx);
  port_event<msg::kPeakingTxValue>(hdl, tx, tx_rc);
  uint8_t rx = 0;
  const sfp_rc rx_rc = read_byte(hdl, SFP_PAGE_A2, kRxPeaking, rx);
  port_event<msg::kPeakingRxValue>(hdl, rx, tx_rc | rx_rc);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_port_high_power_class_ena_dis(sfp_port_ctx *hdl, uint32_t enable) {
  if (null_handle(hdl, __func__)) {
    return SFP_RC_OK;
  }
  const bool optic = type_in(sfp_25g_50g_optics, hdl->xcvr_type) && has_a2(hdl);
  const bool multi_rate_in_10g_cage = hdl->multi_rate != 0 && hdl->rate_code == SFP_RATE_CODE_10G;
  if (!optic && !multi_rate_in_10g_cage) {
    return SFP_RC_OK;
  }
  if (enable != 0) {
    if (!raise_power_level(hdl)) {
      return SFP_RC_MODULE_COND;
    }
  } else {
    lower_power_level(hdl);
  }
  platform_sleep_ms(kPowerLevelSettleMs);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_port_rx_cdr_enable(sfp_port_ctx *, uint32_t) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc sfp_port_rx_output_ena_dis(sfp_port_ctx *, uint32_t) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc sfp_modify_eq(sfp_port_ctx *, uint32_t) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc sfp_modify_deemphasis(sfp_port_ctx *, uint32_t) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc sfp_modify_amp(sfp_port_ctx *, uint32_t) {
  return SFP_RC_UNSUPPORTED;
}
