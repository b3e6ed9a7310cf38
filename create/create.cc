// Port creation: find or register the context, then initialise it.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/text.h"
#include "create/internal.h"
#include "port/internal.h"
#include "port/messages.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

constexpr std::size_t kSummaryBytes = 32;

// What the locked part of creation ended with: the context, or the status
// that ends the creation and whether that status goes into the caller's
// result (every way out after the registry lookup, and a failed one-time
// initialisation; not a lock or allocation failure).
struct Lookup {
  sfp_rc rc = SFP_RC_OK;
  sfp_port_ctx *port = nullptr;
  bool reported = false;
};

// The one-time initialisation; runs under the registry lock. Returns 0 or
// the failure status (after printing its messages).
sfp_rc init_library(const sfp_platform_ops &ops) {
  const sfp_rc rc = open_library(ops);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  // The supported flags and part-number lists. A list append that runs out
  // of memory is traced by the list itself and costs only that entry, so the
  // library comes up all the same.
  sfp_xcvr_lib_init();
  trace<msg::kSupportedInitDone>(library_evt_trace(), 0);
  mark_library_initialised(ops);
  return SFP_RC_OK;
}

// Finds or registers the context of `opaque` under the registry lock,
// running the one-time initialisation first if needed.
Lookup find_or_add_port(const sfp_platform_ops &ops) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  sfp_rc rc = lock_registry(kSiteCreateLock);
  if (rc != SFP_RC_OK) {
    return {.rc = rc};
  }
  if (lib.initialised == 0) {
    rc = init_library(ops);
    if (rc != SFP_RC_OK) {
      return {.rc = unlock_registry(rc), .reported = true};
    }
  } else {
    trace<msg::kDllAlreadyInit>(library_evt_trace());
  }
  sfp_port_ctx *found = registry_find(ops.opaque);
  if (found == nullptr) {
    trace<msg::kCreatePortCtx>(library_evt_trace(), ops.opaque);
    found = registry_add(ops.opaque);
    if (found == nullptr) {
      trace<msg::kAllocPortFailed>(library_err_trace(), ops.opaque);
      rc = unlock_registry(SFP_RC_OK);
      if (rc == SFP_RC_OK) {
        std::fputs(stderr_text::kPortFindAddError, stderr);
        rc = SFP_RC_NO_MEMORY;
      }
      return {.rc = rc};
    }
  }
  trace<msg::kFindEnd>(library_evt_trace(), ops.opaque);
  rc = unlock_registry(SFP_RC_OK);
  return {.rc = rc, .port = rc == SFP_RC_OK ? found : nullptr, .reported = true};
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

  sfp_rc rc = run_identification_stage(&port);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  // The transmitter stage's status is creation's, but the port is usable
  // whatever it is.
  if (ops.module_present != 0) {
    rc = run_transmitter_stage(&port);
  }
  port.initialised = 1;
  result.handle = &port;
  result.module_present = ops.module_present;
  trace<msg::kInitDone>(port.evt_trace, port.controller, port.port, summary);
  return rc;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_create(const sfp_platform_ops *ops,
                                             sfp_port_create_result *result) {
  if (ops == nullptr || result == nullptr) {
    trace<msg::kCreateNullParams>(library_err_trace());
    return SFP_RC_INVALID;
  }
  const Lookup found = find_or_add_port(*ops);
  if (found.port == nullptr) {
    if (found.reported) {
      result->status = found.rc;
    }
    return found.rc;
  }
  sfp_port_ctx *port = found.port;
  if (port->initialised != 0) {
    result->handle = port;
    result->module_present = ops->module_present;
    result->status = SFP_RC_OK;
    return SFP_RC_OK;
  }
  const sfp_rc rc = initialise_port(*port, *ops, *result);
  result->status = rc;
  return rc;
}
