// Port deletion.
#include "port/internal.h"
#include "port/messages.h"

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_delete(sfp_port_ctx *hdl) {
  const sfp_rc rc = lock_registry(kSiteDeleteLock);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  sfp_rc status = SFP_RC_OK;
  if (hdl == nullptr) {
    trace<msg::kDeleteNullHdl>(library_err_trace());
    status = SFP_RC_INVALID;
  } else if (!registry_remove(hdl)) {
    trace<msg::kDeleteNotFound>(library_err_trace(), hdl);
    status = SFP_RC_NOT_FOUND;
  }
  return unlock_registry(status);
}

namespace sfpdrv {

void forget_port_of(const void *opaque) {
  if (lock_registry(kSiteForgetLock) != SFP_RC_OK) {
    return;
  }
  registry_remove_opaque(opaque);
  (void)unlock_registry(SFP_RC_OK);
}

} // namespace sfpdrv
