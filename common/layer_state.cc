#include "common/layer_state.h"

#include <atomic>
#include <cstdio>

#include "common/catalog.h"
#include "platform/evm.h"
#include "platform/pelog.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kTraceBufferSize = 65536;
constexpr uint32_t kTraceOpenMode = 270;
constexpr const char *kTraceDirectory = "sfp_pelog_dir";

// Opens a trace buffer and publishes its handle in `slot`. Returns the
// trace service's status.
int open_trace_buffer(sfp_trace_hdl &slot, const char *name) {
  sfp_trace_hdl buffer = nullptr;
  const int rc =
      pelog_open(&buffer, name, kTraceBufferSize, kTraceOpenMode, kTraceDirectory, kCatalogId, 0);
  if (rc == 0) {
    publish_trace(slot, buffer);
  }
  return rc;
}

} // namespace

void publish_trace(sfp_trace_hdl &slot, sfp_trace_hdl buffer) {
  std::atomic_ref<sfp_trace_hdl>(slot).store(buffer, std::memory_order_release);
}

sfp_trace_hdl published_trace(sfp_trace_hdl &slot) {
  return std::atomic_ref<sfp_trace_hdl>(slot).load(std::memory_order_acquire);
}

sfp_rc set_up_trace_buffers(sfp_trace_hdl &err_slot, sfp_trace_hdl &evt_slot, void *evm,
                            const TraceSetupTexts &texts) {
  if (open_trace_buffer(err_slot, texts.err_name) != 0) {
    std::fputs(texts.err_failed, stderr);
    return SFP_RC_FAULT;
  }
  if (open_trace_buffer(evt_slot, texts.evt_name) != 0) {
    std::fputs(texts.evt_failed, stderr);
    return SFP_RC_FAULT;
  }
  if (evm == nullptr) {
    std::fputs(texts.null_evm, stderr);
    return SFP_RC_OK;
  }
  event_manager *manager = event_manager_get(evm);
  // The event buffer's command first, then the error buffer's.
  const int evt_rc = pelog_enable(evt_slot, manager);
  const int rc = evt_rc | pelog_enable(err_slot, manager);
  if (rc != 0) {
    std::fprintf(stderr, "%s: pelog enable failed for evt, rc 0x%x\n", texts.layer,
                 static_cast<unsigned>(rc));
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}

} // namespace sfpdrv
