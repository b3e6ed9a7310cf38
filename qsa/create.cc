// Adapter port creation and deletion.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qsa/internal.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

constexpr const char *kDeleteLockName = "qsa_port_context_find_and_delete";

// What the locked part of creation ended with: the context, or the status
// that ends the creation and whether that status goes into the caller's
// result.
struct Lookup {
  sfp_rc rc = SFP_RC_OK;
  qsa_port_ctx *port = nullptr;
  bool reported = false;
};

// Runs the one-time initialisation if needed, then finds or registers the
// context of `opaque`, all under the registry lock.
Lookup find_or_add_port(const qsa_platform_ops &ops) {
  qsa_port_registry &layer = *qsa_get_ctx();
  sfp_rc rc = qsa_lock_registry(__LINE__);
  if (rc != SFP_RC_OK) {
    return {.rc = rc};
  }
  if (layer.initialised == 0) {
    rc = qsa_init_layer(ops);
    if (rc != SFP_RC_OK) {
      std::fputs(qsa_stderr_text::kCreateFailed, stderr);
      return {.rc = qsa_unlock_registry(rc), .reported = true};
    }
  } else {
    trace<msg::kQsaDllAlreadyInit>(qsa_layer_evt_trace());
  }
  qsa_port_ctx *found = qsa_registry_find(ops.opaque);
  if (found == nullptr) {
    trace<msg::kQsaCreatePortCtx>(qsa_layer_evt_trace(), ops.opaque);
    found = qsa_registry_add(ops.opaque);
    if (found == nullptr) {
      trace<msg::kQsaAllocPortFailed>(qsa_layer_err_trace(), ops.opaque);
      rc = qsa_unlock_registry(SFP_RC_OK);
      if (rc != SFP_RC_OK) {
        return {.rc = rc};
      }
      std::fputs(qsa_stderr_text::kFindAddError, stderr);
      return {.rc = SFP_RC_NO_MEMORY, .reported = true};
    }
  }
  trace<msg::kQsaFindEnd>(qsa_layer_evt_trace(), ops.opaque);
  rc = qsa_unlock_registry(SFP_RC_OK);
  return {.rc = rc, .port = rc == SFP_RC_OK ? found : nullptr};
}

void take_over_parameters(qsa_port_ctx &port, const qsa_platform_ops &ops) {
  const qsa_port_registry &layer = *qsa_get_ctx();
  port.controller = ops.controller;
  port.port = ops.port;
  port.read_cb = ops.read_cb;
  port.write_cb = ops.write_cb;
  port.oir_notify_cb = ops.oir_notify_cb;
  port.err_trace = layer.port_err_trace;
  port.evt_trace = layer.port_evt_trace;
}

// Keeps the type code only for the two kinds of adapter we know.
void take_type_code(qsa_port_ctx &port, uint8_t code) {
  if (code == qsa_adapter_10g || code == qsa_adapter_25g) {
    port.adapter_type_code = code;
  }
}

void disable_adapter_tx(qsa_port_ctx &port) {
  uint8_t disable = 1;
  const sfp_rc rc =
      qsa_access(&port, kQsaTxDisableReg, 1, QSA_PAGE_LOWER, &disable, SFP_ACCESS_WRITE);
  if (rc != SFP_RC_OK) {
    trace<msg::kQsaCreateTxWriteFailed>(port.err_trace, port.port);
    trace<msg::kQsaCreateTxDisableFailed>(port.err_trace, port.port, rc);
  }
}

// Creates the SFP port behind the adapter from the adapter's A0h mirror
// (read without a handshake: the mirror holds what the adapter last
// fetched) and records its type. A failure leaves the adapter port usable.
void create_sfp_port(qsa_port_ctx &port, uint32_t module_present) {
  trace<msg::kQsaReadingSfpEeprom>(port.evt_trace, port.port);
  uint8_t image[SFP_EEPROM_CALLER_LEN] = {};
  qsa_access(&port, kQsaMirrorBase, 128, kQsaPageSfpA0Lower, image, SFP_ACCESS_READ);
  qsa_access(&port, kQsaMirrorBase, 128, kQsaPageSfpA0Upper, image + 128, SFP_ACCESS_READ);
  const sfp_platform_ops ops = qsa_sfp_platform_ops(port, module_present, image);
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&ops, &result);
  port.sfp_port = result.handle;
  if (rc != SFP_RC_OK || result.handle == nullptr) {
    trace<msg::kQsaSfpPortCreateFailed>(port.evt_trace, port.port, rc);
    return;
  }
  uint32_t defaulted = 0;
  sfp_port_get_type(result.handle, &port.sfp_type, port.sfp_name, sizeof port.sfp_name, &defaulted);
  trace<msg::kQsaSfpPortCreateDone>(port.evt_trace, port.port);
}

// Port initialisation, without any lock. Only a failed adapter-type read
// fails it.
sfp_rc initialise_port(qsa_port_ctx &port, const qsa_platform_ops &ops,
                       qsa_port_create_result &result) {
  qsa_set_page_select_flags(ops.no_write_page_select, ops.no_read_page_select);
  take_over_parameters(port, ops);

  uint8_t type_code = 0;
  const sfp_rc rc =
      qsa_access(&port, kQsaTypeCodeReg, 1, QSA_PAGE_UPPER(0), &type_code, SFP_ACCESS_READ);
  if (rc != SFP_RC_OK) {
    trace<msg::kQsaTypeReadFailed>(port.err_trace, port.port);
    std::fputs(qsa_stderr_text::kPortInitFailed, stderr);
    return rc;
  }
  take_type_code(port, type_code);
  std::memcpy(port.adapter_eeprom, ops.adapter_eeprom, sizeof port.adapter_eeprom);
  port.current_page = -1;
  qsa_init_port_lock(port);

  if (ops.module_present != 0) {
    disable_adapter_tx(port);
  }
  const SfpPresence presence = qsa_read_sfp_presence(&port);
  if (presence == SfpPresence::Unreadable) {
    trace<msg::kQsaCreatePresenceFailed>(port.err_trace, port.port);
  } else if (presence == SfpPresence::Seated) {
    create_sfp_port(port, ops.module_present);
  }

  trace<msg::kQsaDevInitDone>(port.evt_trace, port.port);
  result.handle = &port;
  result.module_present = ops.module_present;
  port.initialised = 1;
  trace<msg::kQsaInitDone>(port.evt_trace, port.port);
  return SFP_RC_OK;
}

} // namespace

sfp_platform_ops qsa_sfp_platform_ops(const qsa_port_ctx &port, uint32_t module_present,
                                      const uint8_t (&image)[SFP_EEPROM_CALLER_LEN]) {
  sfp_platform_ops ops;
  std::memset(&ops, 0, sizeof ops);
  // The callbacks get the adapter port back as their opaque.
  ops.opaque = const_cast<qsa_port_ctx *>(&port);
  ops.port = port.port;
  ops.evm = qsa_get_ctx()->evm;
  ops.read_cb = qsa_sfp_read_cb;
  ops.write_cb = qsa_sfp_write_cb;
  ops.phy_read_cb = qsa_sfp_phy_read_cb;
  ops.phy_write_cb = qsa_sfp_phy_write_cb;
  ops.module_present = module_present == 0 ? 1 : 0;
  ops.no_write_page_select = qsa_no_page_select(SFP_ACCESS_WRITE);
  ops.no_read_page_select = qsa_no_page_select(SFP_ACCESS_READ);
  ops.eeprom_len = SFP_EEPROM_CALLER_LEN;
  std::memcpy(ops.eeprom, image, sizeof ops.eeprom);
  ops.bus_mode = 1;
  return ops;
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc qsa_port_create(const qsa_platform_ops *ops,
                                             qsa_port_create_result *result) {
  if (ops == nullptr || result == nullptr) {
    trace<msg::kQsaCreateNullParams>(qsa_layer_err_trace());
    return SFP_RC_INVALID;
  }
  const Lookup found = find_or_add_port(*ops);
  if (found.port == nullptr) {
    if (found.reported) {
      result->status = found.rc;
    }
    return found.rc;
  }
  qsa_port_ctx *port = found.port;
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

// Registry lock, then the port lock (so that no operation of the port is
// under way), then the SFP layer's registry lock inside sfp_port_delete.
extern "C" SFPDRV_API sfp_rc qsa_port_delete(qsa_port_ctx *hdl) {
  if (hdl == nullptr) {
    std::fputs(qsa_stderr_text::kDeleteFailed, stderr);
    return SFP_RC_INVALID;
  }
  const sfp_rc rc = qsa_lock_registry(__LINE__);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  if (!qsa_registry_unlink(hdl)) {
    std::fputs(qsa_stderr_text::kDeleteNotFound, stderr);
    return qsa_unlock_registry(SFP_RC_NOT_FOUND);
  }
  // A failure to take the port lock does not stop the deletion.
  const int lock_rc = qsa_take_port_lock(hdl, kDeleteLockName, __LINE__);
  if (lock_rc != 0) {
    trace<msg::kQsaDeleteLockFailed>(qsa_layer_err_trace(), hdl->port, lock_rc, errno);
  }
  const bool locked = lock_rc == 0;
  if (hdl->sfp_port != nullptr) {
    sfp_port_delete(hdl->sfp_port);
  } else {
    // An SFP the SFP layer refused (an unknown type) leaves a context there,
    // registered under this adapter port and never handed out. It goes with
    // the adapter port, or it would point at freed memory and slow every
    // later lookup.
    forget_port_of(hdl);
  }
  if (locked) {
    qsa_unlock_port(hdl, SFP_RC_OK);
  }
  pthread_mutex_destroy(&hdl->lock);
  std::free(hdl);
  return qsa_unlock_registry(SFP_RC_OK);
}
