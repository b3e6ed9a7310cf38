// The library-wide state, its one-time initialisation and the handle check.

#include "common/layer_state.h"
#include "port/internal.h"
#include "port/messages.h"

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

constexpr TraceSetupTexts kTraceTexts{
    .err_name = "sfp_err",
    .evt_name = "sfp_evt",
    .err_failed = stderr_text::kPelogErrFailed,
    .evt_failed = stderr_text::kPelogEvtFailed,
    .null_evm = stderr_text::kNullEvm,
    .layer = "sfp",
    .init_failed = stderr_text::kPelogInitFailed,
};

} // namespace

sfp_rc open_library(const sfp_platform_ops &ops) {
  const sfp_rc rc = open_layer_traces(g_lib, ops.evm, kTraceTexts);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  trace<msg::kDllInitDone>(g_lib.evt_trace, 0);
  return SFP_RC_OK;
}

void mark_library_initialised(const sfp_platform_ops &ops) {
  g_lib.initialised = 1;
  g_lib.unsupported_xcvr_allowed = ops.unsupported_xcvr_allowed;
}

sfp_trace_hdl library_err_trace() {
  return published_trace(g_lib.err_trace);
}

sfp_trace_hdl library_evt_trace() {
  return published_trace(g_lib.evt_trace);
}

uint32_t no_page_select(uint32_t direction) {
  return layer_no_page_select(g_lib, direction);
}

void set_page_select_flags(uint32_t no_write, uint32_t no_read) {
  store_layer_page_select(g_lib, no_write, no_read);
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
