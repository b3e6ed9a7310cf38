// Port creation: find or register the context, then initialise it.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/text.h"
#include "port/internal.h"
#include "port/messages.h"

namespace sfpdrv {
namespace {

constexpr std::size_t kSummaryBytes = 32;

// Finds or registers the context of `opaque` under the registry lock,
// running the one-time initialisation first if needed. Returns 0 with the
// context in `found`, or the status that ends the creation.
sfp_rc find_or_add_port(const sfp_platform_ops &ops, sfp_port_create_result &result,
                        sfp_port_ctx *&found) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  sfp_rc rc = lock_registry(kSiteCreateLock);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (lib.initialised == 0) {
    rc = init_library(ops);
    if (rc != SFP_RC_OK) {
      result.status = rc;
      return unlock_registry(rc);
    }
  } else {
    trace<msg::kDllAlreadyInit>(lib.evt_trace);
  }
  found = registry_find(ops.opaque);
  if (found == nullptr) {
    trace<msg::kCreatePortCtx>(lib.evt_trace, ops.opaque);
    found = registry_add(ops.opaque);
    if (found == nullptr) {
      trace<msg::kAllocPortFailed>(lib.err_trace, ops.opaque);
      rc = unlock_registry(SFP_RC_OK);
      if (rc != SFP_RC_OK) {
        return rc;
      }
      std::fputs(stderr_text::kPortFindAddError, stderr);
      return SFP_RC_NO_MEMORY;
    }
  }
  trace<msg::kFindEnd>(lib.evt_trace, ops.opaque);
  return unlock_registry(SFP_RC_OK);
}

void take_over_parameters(sfp_port_ctx &port, const sfp_platform_ops &ops) {
  const sfp_lib_ctx &lib = *sfp_get_ctx();
  port.controller = ops.controller;
  port.port = ops.port;
  port.read_cb = ops.read_cb;
  port.write_cb = ops.write_cb;
  port.bitbang_read_cb = ops.bitbang_read_cb;
  port.phy_read_cb = ops.phy_read_cb;
  port.phy_write_cb = ops.phy_write_cb;
  port.bus_mode = ops.bus_mode;
  port.skip_soft_tx = ops.skip_soft_tx;
  port.rate_code = ops.rate_code;
  port.oper_speed = ops.oper_speed;
  port.phy_word_access = ops.phy_word_access;
  port.sonet_capable = ops.sonet_capable;
  port.err_trace = lib.port_err_trace;
  port.evt_trace = lib.port_evt_trace;
}

// Port initialisation, without the registry lock.
sfp_rc initialise_port(sfp_port_ctx &port, const sfp_platform_ops &ops,
                       sfp_port_create_result &result) {
  set_page_select_flags(ops.no_write_page_select, ops.no_read_page_select);
  take_over_parameters(port, ops);

  char summary[kSummaryBytes * 3 + 1] = "";
  append_hex_bytes(summary, sizeof summary, ops.eeprom, kSummaryBytes);

  const uint32_t count = std::min(ops.eeprom_len, SFP_EEPROM_CALLER_LEN);
  std::memcpy(port.eeprom, ops.eeprom, count);
  trace<msg::kCopyingBytes>(port.evt_trace, port.controller, port.port, count);

  const sfp_rc rc = run_identification_stage(&port);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  port.initialised = 1;
  result.handle = &port;
  result.module_present = ops.module_present;
  trace<msg::kInitDone>(port.evt_trace, port.controller, port.port, summary);
  return SFP_RC_OK;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_create(const sfp_platform_ops *ops,
                                             sfp_port_create_result *result) {
  if (ops == nullptr || result == nullptr) {
    trace<msg::kCreateNullParams>(sfp_get_ctx()->err_trace);
    return SFP_RC_INVALID;
  }
  sfp_port_ctx *port = nullptr;
  sfp_rc rc = find_or_add_port(*ops, *result, port);
  if (rc != SFP_RC_OK || port == nullptr) {
    return rc;
  }
  if (port->initialised != 0) {
    result->handle = port;
    result->module_present = ops->module_present;
    result->status = SFP_RC_OK;
    return SFP_RC_OK;
  }
  rc = initialise_port(*port, *ops, *result);
  result->status = rc;
  return rc;
}
