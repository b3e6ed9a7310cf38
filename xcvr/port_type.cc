// The port's type operations: identification of the module in the cage on
// first use, and the type, name and rate that the port reports from then on.
#include <array>

#include "common/text.h"
#include "port/internal.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace sfpdrv {
namespace {

// Nominal rate of the types (Mb/s); every type outside these ranges,
// the dual-rate bases and the 50G types among them, reports 0.
struct RateRange {
  sfp_xcvr_type first;
  sfp_xcvr_type last;
  uint32_t mbps;
};

constexpr std::array<RateRange, 7> kRates = {{
    {513, 513, 1000},
    {515, 516, 1000},
    {521, 590, 1000},
    {594, 766, 10000},
    {784, 802, 25000},
    {808, 810, 25000},
    {852, 853, 1000},
}};

constexpr bool ranges_ascend(const std::array<RateRange, kRates.size()> &ranges) {
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    if (ranges[i].first > ranges[i].last || (i > 0 && ranges[i - 1].last >= ranges[i].first)) {
      return false;
    }
  }
  return true;
}
static_assert(ranges_ascend(kRates), "rate ranges must be disjoint and ascending");

uint32_t rate_of(sfp_xcvr_type type) {
  for (const RateRange &range : kRates) {
    if (type >= range.first && type <= range.last) {
      return range.mbps;
    }
  }
  return 0;
}

// The name scratch of sfp_xcvr_get_name_from_xcvrCode.
constexpr std::size_t kNameScratch = 80;

sfp_trace_hdl err_buffer_of(const sfp_port_ctx &port) {
  return port.err_trace != nullptr ? port.err_trace : library_err_trace();
}

} // namespace

void sfp_port_identify(sfp_port_ctx *port) {
  if (port == nullptr || port->xcvr_type != SFP_XCVR_TYPE_NONE) {
    return;
  }
  trace<msg::kIdentifyTp3>(port->evt_trace, port->controller, port->port);
  sfp_xcvr_check_supported(port, port->eeprom + SFP_IMAGE_A0, &port->supported, &port->xcvr_type,
                           sfp_get_pid(port));
  copy_bounded(port->xcvr_name, sizeof port->xcvr_name,
               sfp_xcvr_get_name_from_type(port, port->xcvr_type));
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_get_type(sfp_port_ctx *port, sfp_xcvr_type *type, char *name,
                                               uint32_t name_len, uint32_t *defaulted) {
  if (port == nullptr) {
    trace<msg::kGetTypeNullPort>(library_err_trace(), __func__);
    return SFP_RC_INVALID;
  }
  sfp_port_identify(port);
  if (type != nullptr) {
    *type = port->xcvr_type;
  }
  copy_bounded(name, name_len, port->xcvr_name);
  if (defaulted != nullptr) {
    *defaulted = port->defaulted;
  }
  trace<msg::kGetType>(port->err_trace, port->controller, port->port, port->xcvr_type,
                       port->xcvr_name);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_port_type(sfp_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                           uint32_t name_len, uint32_t *defaulted) {
  const bool outputs_given =
      type != nullptr && name != nullptr && name_len != 0 && defaulted != nullptr;
  if (!outputs_given && hdl != nullptr) {
    trace<msg::kGetTypeNullParams>(err_buffer_of(*hdl), hdl->controller, hdl->port);
    return SFP_RC_INVALID;
  }
  const sfp_rc rc = sfp_check_hdl(hdl, kSitePortType);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  return sfp_port_get_type(hdl, type, name, name_len, defaulted);
}

extern "C" SFPDRV_API sfp_rc sfp_port_rate(sfp_port_ctx *hdl, uint32_t *rate) {
  const sfp_rc rc = sfp_check_hdl(hdl, kSitePortRate);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (rate == nullptr) {
    trace<msg::kGetRateNullParams>(hdl->err_trace, hdl->controller, hdl->port);
    return SFP_RC_INVALID;
  }
  sfp_port_identify(hdl);
  *rate = rate_of(hdl->xcvr_type);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_xcvr_type sfp_xcvr_get_name_from_xcvrCode(
    sfp_port_ctx *port, uint8_t identifier, uint32_t code_low, uint32_t code_high, uint16_t ext_id,
    uint8_t length, uint8_t options1, char *dest, uint32_t dest_size, const char *pid,
    uint8_t ext_code, uint32_t speed) {
  // Without a port (a decode of a bare image) detection runs on a blank
  // one that traces to the library's buffers.
  sfp_port_ctx detached{};
  sfp_port_ctx *target = port;
  if (target == nullptr) {
    detached.err_trace = library_err_trace();
    detached.evt_trace = library_evt_trace();
    target = &detached;
  }
  const sfp_xcvr_type type = sfp_xcvr_detect_type(target, identifier, code_low, code_high, ext_id,
                                                  length, options1, pid, ext_code, speed);
  char scratch[kNameScratch];
  copy_bounded(scratch, sizeof scratch, sfp_xcvr_get_name_from_type(port, type));
  append_bounded(dest, dest_size, scratch);
  return type;
}

extern "C" SFPDRV_API sfp_rc sfp_port_handle_event_irq(void) {
  return SFP_RC_OK;
}
