// Internal interface of the adapter layer.
#ifndef SFPDRV_QSA_INTERNAL_H
#define SFPDRV_QSA_INTERNAL_H

#include <cstdint>

#include "port/internal.h"
#include "qsa/messages.h"
#include "sfpdrv/qsa.h"

namespace sfpdrv {

// --- the adapter's memory map ---

// Lower page.
inline constexpr uint32_t kQsaPresenceReg = 1; // bit 0 set: no SFP seated
inline constexpr uint8_t kQsaNoSfpBit = 0x01;
inline constexpr uint32_t kQsaRateReg = 21;
inline constexpr uint32_t kQsaTxDisableReg = 86; // write 1 to disable; bit 0 reads back
inline constexpr uint32_t kQsaHandshakeA0Reg = 116;
inline constexpr uint32_t kQsaHandshakeOtherReg = 117;
inline constexpr uint32_t kQsaPageSelectReg = 127;
// Upper page 0.
inline constexpr uint32_t kQsaTypeCodeReg = 221;
inline constexpr uint32_t kQsaExtIdReg = 222;
inline constexpr uint8_t kQsaExtIdPresent = 0xF2;
// Mirror pages of the SFP behind the adapter, each at offsets 128 to 255.
inline constexpr uint32_t kQsaMirrorBase = 128;
inline constexpr qsa_page_code kQsaPageSfpA0Lower = QSA_PAGE_UPPER(0x04);
inline constexpr qsa_page_code kQsaPageSfpA0Upper = QSA_PAGE_UPPER(0x05);
inline constexpr qsa_page_code kQsaPageSfpA2Lower = QSA_PAGE_UPPER(0x06);
inline constexpr qsa_page_code kQsaPageSfpA2Table0 = QSA_PAGE_UPPER(0x07);
inline constexpr qsa_page_code kQsaPageSfpPhy = QSA_PAGE_UPPER(0xAC);
// The SFP serial number (A0h bytes 68 to 83) in the A0h mirror.
inline constexpr uint32_t kQsaSfpSerialReg = kQsaMirrorBase + 68;
inline constexpr uint32_t kSfpSerialLen = 16;

// --- layer state (registry.cc) ---

// The layer's error and event buffers, for layer-level messages. Safe to
// call without a lock: null until the one-time initialisation has opened the
// buffer, then the ready buffer.
sfp_trace_hdl qsa_layer_err_trace();
sfp_trace_hdl qsa_layer_evt_trace();

// The layer's process-wide page-select flags (read and written without a
// lock by concurrent ports).
uint32_t qsa_no_page_select(uint32_t direction);
void qsa_set_page_select_flags(uint32_t no_write, uint32_t no_read);

// The one-time initialisation; runs under the registry lock. Returns 0 or
// the failure status after printing its messages.
sfp_rc qsa_init_layer(const qsa_platform_ops &ops);

// --- locks (registry.cc) ---

// Takes the registry lock: a try first, then, if it is busy, a blocking take
// inside the platform's block marking. Returns 0 or the threads library's
// code after tracing it.
sfp_rc qsa_lock_registry(uint32_t site);

// Releases the registry lock. Returns `status`, or the unlock failure's code.
sfp_rc qsa_unlock_registry(sfp_rc status);

// Takes a port lock the same way, marking a block under `name`. Returns 0 or
// the threads library's code; traces nothing.
int qsa_take_port_lock(qsa_port_ctx *port, const char *name, uint32_t site);

// Releases the port lock that qsa_check_and_lock_hdl took. Returns `status`,
// or the unlock failure's code after tracing it.
sfp_rc qsa_unlock_port(qsa_port_ctx *port, sfp_rc status);

// (Re)makes the port lock an error-checking mutex; a default one when its
// attributes cannot be set up.
void qsa_init_port_lock(qsa_port_ctx &port);

namespace testing {
// Replaces the mutex functions of the layer's registry and port locks; null
// restores pthreads'.
void set_qsa_mutex_ops(const MutexOps *ops);
} // namespace testing

// --- registry list (registry.cc); every call needs the registry lock ---

// The context registered for `opaque`, or null; traces every context passed
// over.
qsa_port_ctx *qsa_registry_find(const void *opaque);

// Registers a new zero-filled context for `opaque` at the head (page
// unknown), or null when the allocation fails.
qsa_port_ctx *qsa_registry_add(void *opaque);

// Unlinks `port` (compared by pointer); false when it is not registered.
bool qsa_registry_unlink(const qsa_port_ctx *port);

// --- creation (create.cc) ---

// The creation record of the SFP port behind the adapter: the adapter's SFP
// callbacks with the adapter port as opaque, bus mode 1, `image` as the
// module memory, and `module_present` inverted (an adapter whose platform
// reports a module present has its own transmitter disabled instead).
sfp_platform_ops qsa_sfp_platform_ops(const qsa_port_ctx &port, uint32_t module_present,
                                      const uint8_t (&image)[SFP_EEPROM_CALLER_LEN]);

// --- access (access.cc) ---

// Asks the adapter to refresh its SFP mirror through the handshake register
// (116 for selector 0, else 117) and waits until it reports the data ready,
// 75 polls at most. A timeout is only traced.
void qsa_wait_page_data_ready(qsa_port_ctx *port, uint8_t selector);

// The callbacks of the SFP port behind the adapter (opaque = the adapter
// port): module memory through the mirror pages, copper PHY registers
// through page 0xAC.
int qsa_sfp_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
int qsa_sfp_write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
int qsa_sfp_phy_read_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);
int qsa_sfp_phy_write_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);

// --- insertion (insertion.cc) ---

enum class SfpPresence { Seated, Absent, Unreadable };

// Reads the presence bit; traces nothing. Unreadable for a null port.
SfpPresence qsa_read_sfp_presence(qsa_port_ctx *port);

// Reads the extended identifier into `ext_id`. Returns the access status.
sfp_rc qsa_read_ext_id(qsa_port_ctx *port, uint8_t &ext_id);

// The presence test of the adapter operations: true only when the presence
// bit reads "seated". An unreadable bit counts as absent and is traced with
// the caller's own message ReadFailed ("Port %d: QSA sfp present read failed
// : Read error\n") on the port's error buffer.
template <const TraceMsg &ReadFailed> bool qsa_sfp_present(qsa_port_ctx *port) {
  const SfpPresence presence = qsa_read_sfp_presence(port);
  if (presence == SfpPresence::Unreadable && port != nullptr) {
    trace<ReadFailed>(port->err_trace, port->port);
  }
  return presence == SfpPresence::Seated;
}

// Whether an adapter operation forwards to the SFP port: only when the port
// has one and the presence bit says the SFP is still seated (an unreadable
// bit counts as absent and is traced with ReadFailed).
template <const TraceMsg &ReadFailed> bool qsa_forwarding(qsa_port_ctx &port) {
  return port.sfp_port != nullptr && qsa_sfp_present<ReadFailed>(&port);
}

// True when the adapter answers with extended identifier 0xF2; otherwise
// traces the caller's ReadFailed ("Port %d: QSA present read failed : Read
// error\n") or NotPresent ("Port %d: Error: QSA is not present, Ext id :%u\n")
// on the port's error buffer.
template <const TraceMsg &ReadFailed, const TraceMsg &NotPresent>
bool qsa_adapter_answers(qsa_port_ctx *port) {
  // A null port reaches the read, which refuses it with "NULL Qsa Port".
  uint8_t ext_id = 0;
  if (qsa_read_ext_id(port, ext_id) != SFP_RC_OK) {
    if (port != nullptr) {
      trace<ReadFailed>(port->err_trace, port->port);
    }
    return false;
  }
  if (ext_id != kQsaExtIdPresent) {
    trace<NotPresent>(port->err_trace, port->port, ext_id);
    return false;
  }
  return true;
}

} // namespace sfpdrv

#endif // SFPDRV_QSA_INTERNAL_H
