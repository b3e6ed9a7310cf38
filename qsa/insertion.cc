// The insertion queries and the detection of insertion, swap and removal of
// the SFP behind the adapter.
#include <cstdio>
#include <cstring>

#include "qsa/internal.h"

namespace sfpdrv {
namespace {

const char *yes_no(bool value) {
  return value ? "true" : "false";
}

void notify(const qsa_port_ctx &port) {
  if (port.oir_notify_cb == nullptr) {
    return;
  }
  port.oir_notify_cb(port.opaque, 0);
  port.oir_notify_cb(port.opaque, 1);
}

// Compares the serial number in the freshly refreshed A0h mirror with the
// one the SFP port was created with.
bool sfp_swapped(qsa_port_ctx &port) {
  qsa_wait_page_data_ready(&port, 0);
  uint8_t serial[kSfpSerialLen] = {};
  qsa_access(&port, kQsaSfpSerialReg, kSfpSerialLen, kQsaPageSfpA0Lower, serial, SFP_ACCESS_READ);
  if (sfp_vendor_sn_match(port.sfp_port, serial, kSfpSerialLen) != 0) {
    return false;
  }
  char text[kSfpSerialLen + 1] = {};
  std::memcpy(text, serial, kSfpSerialLen);
  trace<msg::kOirSwapped>(port.evt_trace, port.port, text);
  return true;
}

// Drops the SFP port of a module that is gone. The handle is cleared only
// after the platform is told, so a notification still sees the adapter as
// holding an SFP port; the deleted handle itself is refused by every SFP
// operation (it is no longer registered), and every adapter operation waits
// for the port lock held here.
void remove_sfp_port(qsa_port_ctx &port, bool inserted, bool instantiated, bool swapped) {
  trace<msg::kOirRemoved>(port.evt_trace, port.port, yes_no(inserted), yes_no(instantiated),
                          yes_no(swapped));
  sfp_port_delete(port.sfp_port);
  uint8_t disable = 1;
  if (qsa_access(&port, kQsaTxDisableReg, 1, QSA_PAGE_LOWER, &disable, SFP_ACCESS_WRITE) !=
      SFP_RC_OK) {
    trace<msg::kOirTxWriteFailed>(port.err_trace, port.port);
  }
  notify(port);
  port.sfp_port = nullptr;
}

// One poll, under the port lock. An adapter that does not answer ends it
// with nothing changed.
void detect_change(qsa_port_ctx &port) {
  if (!qsa_adapter_answers<msg::kOirPresentReadFailed, msg::kOirNotPresent>(&port)) {
    return;
  }
  const bool inserted = qsa_sfp_present<msg::kOirInsertedReadFailed>(&port);
  const bool instantiated = port.sfp_port != nullptr;
  const bool swapped = instantiated && sfp_swapped(port);
  if (!qsa_adapter_answers<msg::kOirPresentRereadFailed, msg::kOirNotPresentReread>(&port)) {
    return;
  }
  if (inserted && (!instantiated || swapped)) {
    // A swapped module's old port stays until the platform recreates the
    // adapter port.
    notify(port);
    trace<msg::kOirReported>(port.evt_trace, port.port, yes_no(true), yes_no(instantiated),
                             yes_no(swapped));
    return;
  }
  if (qsa_sfp_present<msg::kOirInsertedRereadFailed>(&port)) {
    return;
  }
  if (port.sfp_port != nullptr) {
    remove_sfp_port(port, inserted, instantiated, swapped);
  }
}

} // namespace

SfpPresence qsa_read_sfp_presence(qsa_port_ctx *port) {
  uint8_t byte = 0;
  if (qsa_access(port, kQsaPresenceReg, 1, QSA_PAGE_LOWER, &byte, SFP_ACCESS_READ) != SFP_RC_OK) {
    return SfpPresence::Unreadable;
  }
  return (byte & kQsaNoSfpBit) != 0 ? SfpPresence::Absent : SfpPresence::Seated;
}

sfp_rc qsa_read_ext_id(qsa_port_ctx *port, uint8_t &ext_id) {
  return qsa_access(port, kQsaExtIdReg, 1, QSA_PAGE_UPPER(0), &ext_id, SFP_ACCESS_READ);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API uint8_t qsa_is_sfp_inserted(qsa_port_ctx *port) {
  return qsa_sfp_present<msg::kQsaInsertedReadFailed>(port) ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t is_qsa_inserted(qsa_port_ctx *port) {
  return qsa_adapter_answers<msg::kQsaPresentReadFailed, msg::kQsaNotPresent>(port) ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t qsa_is_sfp_instantiated(qsa_port_ctx *port) {
  return port != nullptr && port->sfp_port != nullptr ? 1 : 0;
}

extern "C" SFPDRV_API sfp_rc qsa_port_detect_sfp_oir(qsa_port_ctx *hdl) {
  const sfp_rc rc = qsa_check_and_lock_hdl(hdl, __LINE__);
  if (rc != SFP_RC_OK) {
    std::fputs(qsa_stderr_text::kTypeCheckHdlFailed, stderr);
    return rc;
  }
  detect_change(*hdl);
  return qsa_unlock_port(hdl, SFP_RC_OK);
}
