// The library-wide state, its one-time initialisation and the handle check.
#include <atomic>
#include <cstdio>

#include "common/catalog.h"
#include "platform/evm.h"
#include "platform/pelog.h"
#include "port/internal.h"
#include "port/messages.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kTraceBufferSize = 65536;
constexpr uint32_t kTraceOpenMode = 270;
constexpr const char *kTraceDirectory = "sfp_pelog_dir";

sfp_lib_ctx g_lib = {
    .initialised = 0,
    .ports = nullptr,
    .lock = PTHREAD_MUTEX_INITIALIZER,
    .evm = nullptr,
    .err_trace = nullptr,
    .evt_trace = nullptr,
    .port_err_trace = nullptr,
    .port_evt_trace = nullptr,
    .no_write_page_select = 0,
    .no_read_page_select = 0,
    .unsupported_xcvr_allowed = 0,
};

// The trace handles are read without the registry lock (null-handle and
// lock-failure paths) while the first creation sets them under it. A handle
// is stored with release only once its buffer is open, and read with
// acquire, so a reader sees either null (the record is dropped) or a buffer
// ready for writing.
void publish(sfp_trace_hdl &slot, sfp_trace_hdl buffer) {
  std::atomic_ref<sfp_trace_hdl>(slot).store(buffer, std::memory_order_release);
}

sfp_trace_hdl published(sfp_trace_hdl &slot) {
  return std::atomic_ref<sfp_trace_hdl>(slot).load(std::memory_order_acquire);
}

// Opens a trace buffer and publishes its handle in `slot`. Returns the
// trace service's status.
int open_trace_buffer(sfp_trace_hdl &slot, const char *name) {
  sfp_trace_hdl buffer = nullptr;
  const int rc =
      pelog_open(&buffer, name, kTraceBufferSize, kTraceOpenMode, kTraceDirectory, kCatalogId, 0);
  if (rc == 0) {
    publish(slot, buffer);
  }
  return rc;
}

// Opens both buffers and enables their show commands. Returns 0 or the
// failure status after printing what failed.
sfp_rc set_up_tracing(sfp_lib_ctx &lib) {
  if (open_trace_buffer(lib.err_trace, "sfp_err") != 0) {
    std::fputs(stderr_text::kPelogErrFailed, stderr);
    return SFP_RC_FAULT;
  }
  if (open_trace_buffer(lib.evt_trace, "sfp_evt") != 0) {
    std::fputs(stderr_text::kPelogEvtFailed, stderr);
    return SFP_RC_FAULT;
  }
  if (lib.evm == nullptr) {
    std::fputs(stderr_text::kNullEvm, stderr);
    return SFP_RC_OK;
  }
  event_manager *manager = event_manager_get(lib.evm);
  // The event buffer's command first, then the error buffer's.
  const int evt_rc = pelog_enable(lib.evt_trace, manager);
  const int rc = evt_rc | pelog_enable(lib.err_trace, manager);
  if (rc != 0) {
    std::fprintf(stderr, stderr_text::kPelogEnableFailed, static_cast<unsigned>(rc));
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}

} // namespace

sfp_rc init_library(const sfp_platform_ops &ops) {
  g_lib.evm = ops.evm;
  const sfp_rc rc = set_up_tracing(g_lib);
  if (rc != SFP_RC_OK) {
    std::fputs(stderr_text::kPelogInitFailed, stderr);
    return rc;
  }
  publish(g_lib.port_evt_trace, g_lib.evt_trace);
  publish(g_lib.port_err_trace, g_lib.err_trace);
  trace<msg::kDllInitDone>(g_lib.evt_trace, 0);
  // The supported flags and part-number lists. A list append that runs out
  // of memory is traced by the list itself and costs only that entry, so the
  // library comes up all the same.
  sfp_xcvr_lib_init();
  trace<msg::kSupportedInitDone>(g_lib.evt_trace, 0);
  g_lib.initialised = 1;
  g_lib.unsupported_xcvr_allowed = ops.unsupported_xcvr_allowed;
  return SFP_RC_OK;
}

sfp_trace_hdl library_err_trace() {
  return published(g_lib.err_trace);
}

sfp_trace_hdl library_evt_trace() {
  return published(g_lib.evt_trace);
}

// Concurrent creations of different ports write these flags while other
// ports read them, so every access is atomic.
uint32_t no_page_select(uint32_t direction) {
  uint32_t &flag =
      direction == SFP_ACCESS_READ ? g_lib.no_read_page_select : g_lib.no_write_page_select;
  return std::atomic_ref<uint32_t>(flag).load(std::memory_order_relaxed);
}

void set_page_select_flags(uint32_t no_write, uint32_t no_read) {
  std::atomic_ref<uint32_t>(g_lib.no_write_page_select).store(no_write, std::memory_order_relaxed);
  std::atomic_ref<uint32_t>(g_lib.no_read_page_select).store(no_read, std::memory_order_relaxed);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_lib_ctx *sfp_get_ctx(void) {
  return &g_lib;
}

extern "C" SFPDRV_API sfp_rc sfp_check_hdl(sfp_port_ctx *hdl, uint32_t site) {
  if (hdl == nullptr) {
    trace<msg::kNullHdl>(library_err_trace());
    return SFP_RC_INVALID;
  }
  if (hdl->initialised == 0) {
    // A context whose initialisation stopped before it got its buffers
    // reports on the library's.
    sfp_trace_hdl buffer = hdl->err_trace != nullptr ? hdl->err_trace : library_err_trace();
    trace<msg::kNotInitialised>(buffer, hdl->controller, hdl->port, hdl, hdl->opaque, site);
    return SFP_RC_INVALID;
  }
  return SFP_RC_OK;
}
