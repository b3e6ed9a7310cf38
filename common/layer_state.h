// The state the port layer and the adapter layer both keep in their
// registries: two trace buffers, opened once and published to every port,
// and the page-select flags of the last creation.
#ifndef SFPDRV_COMMON_LAYER_STATE_H
#define SFPDRV_COMMON_LAYER_STATE_H

#include <atomic>
#include <cstdio>

#include "sfpdrv/types.h"

namespace sfpdrv {

// The buffer names and the standard-error lines of one layer.
struct TraceSetupTexts {
  const char *err_name;    // the error buffer, e.g. "sfp_err"
  const char *evt_name;    // the event buffer, e.g. "sfp_evt"
  const char *err_failed;  // the error buffer could not be opened
  const char *evt_failed;  // the event buffer could not be opened
  const char *null_evm;    // no event manager: no show commands
  const char *layer;       // prefix of the show-command failure line, e.g. "sfp"
  const char *init_failed; // the layer's one-time initialisation failed
};

// The trace handles are read without a lock (null-handle and lock-failure
// paths) while the first creation sets them under its registry lock. A
// handle is stored with release only once its buffer is open, and read with
// acquire, so a reader sees either null (the record is dropped) or a buffer
// ready for writing.
sfp_trace_hdl published_trace(sfp_trace_hdl &slot);
void publish_trace(sfp_trace_hdl &slot, sfp_trace_hdl buffer);

// Opens the error buffer, then the event buffer, publishing each handle,
// and registers their show commands with `evm` when there is one. Returns
// 0, or the failure status after printing what failed.
sfp_rc set_up_trace_buffers(sfp_trace_hdl &err_slot, sfp_trace_hdl &evt_slot, void *evm,
                            const TraceSetupTexts &texts);

// Opens the layer's buffers for its one-time initialisation and hands
// them to the layer's ports. Returns 0, or the failure status after printing
// what failed.
template <typename Layer>
sfp_rc open_layer_traces(Layer &layer, void *evm, const TraceSetupTexts &texts) {
  layer.evm = evm;
  const sfp_rc rc = set_up_trace_buffers(layer.err_trace, layer.evt_trace, evm, texts);
  if (rc != SFP_RC_OK) {
    std::fputs(texts.init_failed, stderr);
    return rc;
  }
  publish_trace(layer.port_evt_trace, layer.evt_trace);
  publish_trace(layer.port_err_trace, layer.err_trace);
  return SFP_RC_OK;
}

// Concurrent creations of different ports write the page-select flags while
// other ports read them, so every access is atomic.
template <typename Layer> uint32_t layer_no_page_select(Layer &layer, uint32_t direction) {
  uint32_t &flag =
      direction == SFP_ACCESS_READ ? layer.no_read_page_select : layer.no_write_page_select;
  return std::atomic_ref<uint32_t>(flag).load(std::memory_order_relaxed);
}

template <typename Layer>
void store_layer_page_select(Layer &layer, uint32_t no_write, uint32_t no_read) {
  std::atomic_ref<uint32_t>(layer.no_write_page_select).store(no_write, std::memory_order_relaxed);
  std::atomic_ref<uint32_t>(layer.no_read_page_select).store(no_read, std::memory_order_relaxed);
}

} // namespace sfpdrv

#endif // SFPDRV_COMMON_LAYER_STATE_H
