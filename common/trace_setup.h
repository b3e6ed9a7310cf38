// Opening a layer's two trace buffers and publishing their handles, shared
// by the port layer and the adapter layer.
#ifndef SFPDRV_COMMON_TRACE_SETUP_H
#define SFPDRV_COMMON_TRACE_SETUP_H

#include "sfpdrv/types.h"

namespace sfpdrv {

// The buffer names and the standard-error lines of one layer.
struct TraceSetupTexts {
  const char *err_name;   // the error buffer, e.g. "sfp_err"
  const char *evt_name;   // the event buffer, e.g. "sfp_evt"
  const char *err_failed; // the error buffer could not be opened
  const char *evt_failed; // the event buffer could not be opened
  const char *null_evm;   // no event manager: no show commands
  const char *layer;      // prefix of the show-command failure line, e.g. "sfp"
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

} // namespace sfpdrv

#endif // SFPDRV_COMMON_TRACE_SETUP_H
