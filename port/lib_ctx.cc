// The library-wide state, its one-time initialisation and the handle check.
#include <atomic>
#include <cstdio>

#include "common/trace_setup.h"
#include "port/internal.h"
#include "port/messages.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

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

sfp_rc set_up_tracing(sfp_lib_ctx &lib) {
  static constexpr TraceSetupTexts kTexts{
      .err_name = "sfp_err",
      .evt_name = "sfp_evt",
      .err_failed = stderr_text::kPelogErrFailed,
      .evt_failed = stderr_text::kPelogEvtFailed,
      .null_evm = stderr_text::kNullEvm,
      .layer = "sfp",
  };
  return set_up_trace_buffers(lib.err_trace, lib.evt_trace, lib.evm, kTexts);
}

} // namespace

sfp_rc init_library(const sfp_platform_ops &ops) {
  g_lib.evm = ops.evm;
  const sfp_rc rc = set_up_tracing(g_lib);
  if (rc != SFP_RC_OK) {
    std::fputs(stderr_text::kPelogInitFailed, stderr);
    return rc;
  }
  publish_trace(g_lib.port_evt_trace, g_lib.evt_trace);
  publish_trace(g_lib.port_err_trace, g_lib.err_trace);
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
  return published_trace(g_lib.err_trace);
}

sfp_trace_hdl library_evt_trace() {
  return published_trace(g_lib.evt_trace);
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
