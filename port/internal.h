// Internal interface of the port core and module access.
#ifndef SFPDRV_PORT_INTERNAL_H
#define SFPDRV_PORT_INTERNAL_H

#include <pthread.h>

#include <cstdint>

#include "sfpdrv/access.h"
#include "sfpdrv/port.h"

namespace sfpdrv {

// Sites of the handle checks and of the registry lock, printed in messages
// and given to the block marking so that a report names the caller.
enum CheckSite : uint32_t {
  kSitePortRead = 101,
  kSitePortWrite = 102,
  kSitePortReadReg = 103,
  kSitePortType = 111,
  kSitePortRate = 112,
  kSiteAdminState = 121,
  kSiteSetPhySpeed = 122,
  kSiteHwStatus = 131,
  kSiteHwInfo = 132,
  kSiteDebugInfo = 133,
  kSitePhyRegDecode = 134,
  kSiteCreateLock = 201,
  kSiteDeleteLock = 202,
  kSiteForgetLock = 203,
  kSiteTsfpWavechannelSet = 351,
};

// --- registry (registry.cc); every call but lock_registry needs the lock ---

// Takes the registry lock: a try first, then, if the lock is busy, a blocking
// take inside the platform's block marking. Returns 0 or the threads
// library's code after tracing it.
sfp_rc lock_registry(uint32_t site);

// Releases the registry lock. Returns `status`, or the unlock failure's code.
sfp_rc unlock_registry(sfp_rc status);

// The context registered for `opaque`, or null.
sfp_port_ctx *registry_find(const void *opaque);

// Registers a new zero-filled context for `opaque` at the head, or null when
// the allocation fails.
sfp_port_ctx *registry_add(void *opaque);

// Unlinks and frees `port`; false when it is not registered.
bool registry_remove(const sfp_port_ctx *port);

// Unlinks and frees whatever context is registered for `opaque`, silently
// (no pass-over records): for a layer that owns the opaque and is going away.
void registry_remove_opaque(const void *opaque);

// Under the registry lock: forgets the context registered for `opaque`, if
// any. A context whose creation failed stays registered with no handle ever
// given out; the owner of the opaque calls this when the opaque is freed, so
// that no context outlives the memory its opaque points at.
void forget_port_of(const void *opaque);

// The mutex functions the registry lock uses; tests replace them to make
// the threads library fail.
struct MutexOps {
  int (*trylock)(pthread_mutex_t *);
  int (*lock)(pthread_mutex_t *);
  int (*unlock)(pthread_mutex_t *);
};

namespace testing {
// Replaces the registry lock's mutex functions; null restores pthreads'.
void set_mutex_ops(const MutexOps *ops);
} // namespace testing

// --- library state (lib_ctx.cc) ---

// The library's part of the one-time initialisation, run by creation under
// the registry lock: opens the trace buffers. Returns 0 or the failure status
// (after printing its messages).
sfp_rc open_library(const sfp_platform_ops &ops);

// Marks the one-time initialisation done and takes over the library-wide
// parameters of the first creation.
void mark_library_initialised(const sfp_platform_ops &ops);

// The library's error and event buffers, for library-level messages. Safe
// to call without the registry lock: null until the one-time initialisation
// has opened the buffer, then the ready buffer.
sfp_trace_hdl library_err_trace();
sfp_trace_hdl library_evt_trace();

// The process-wide page-select flags, read and written without a lock by
// concurrent port operations.
uint32_t no_page_select(uint32_t direction);
void set_page_select_flags(uint32_t no_write, uint32_t no_read);

// --- access (access.cc) ---

// The two paths into module memory; each traces its refusals under message
// numbers of its own so that an operator can tell which path refused.
enum class AccessPath { Paged, BitBang };

// The request checks shared by the paged and the bit-bang access: range,
// table limit and A2h presence. Returns 0 or 22 after tracing the refusal.
template <AccessPath Path>
sfp_rc check_request(const sfp_port_ctx *port, uint32_t offset, uint32_t length, uint32_t page);

// Writes the table number for `page` (2 to 5) to A2h byte 127. Returns the
// callback's status.
int write_table_select(const sfp_port_ctx *port, uint32_t page);

} // namespace sfpdrv

#endif // SFPDRV_PORT_INTERNAL_H
