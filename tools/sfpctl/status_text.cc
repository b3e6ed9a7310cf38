#include "status_text.h"

namespace sfpctl {
namespace {

CallbackWords g_callback_words = nullptr;

// Statuses the library returns on its own from a module access or a
// control call; every other code there is a callback's.
bool library_status(sfp_rc rc) {
  return rc == SFP_RC_OK || rc == SFP_RC_INVALID || rc == SFP_RC_UNSUPPORTED ||
         rc == SFP_RC_FAULT || rc == SFP_RC_NO_MEMORY || rc == SFP_RC_DEADLOCK ||
         rc == SFP_RC_MODULE_COND;
}

} // namespace

void set_callback_words(CallbackWords words) {
  g_callback_words = words;
}

std::string_view status_meaning(sfp_rc rc) {
  if (g_callback_words != nullptr && !library_status(rc)) {
    if (const char *words = g_callback_words(rc); words != nullptr) {
      return words;
    }
  }
  switch (rc) {
  case SFP_RC_OK:
    return "ok";
  case SFP_RC_NOT_FOUND:
    return "not found";
  case SFP_RC_LIST_SHORT:
    return "list ended early";
  case SFP_RC_QSA_NOT_INIT:
    return "adapter port not initialised";
  case SFP_RC_NO_MEMORY:
    return "out of memory";
  case SFP_RC_FAULT:
    return "trace setup/data not ready/PHY forward failed";
  case SFP_RC_NO_ADAPTER:
    return "adapter did not identify itself";
  case SFP_RC_INVALID:
    return "invalid argument, handle or access";
  case SFP_RC_DEADLOCK:
    return "deadlock";
  case SFP_RC_UNSUPPORTED:
    return "unknown module type or unsupported operation";
  case SFP_RC_MODULE_COND:
    return "module condition or report did not fit";
  default:
    return "callback status";
  }
}

std::string status_text(sfp_rc rc) {
  const std::string number = rc == SFP_RC_MODULE_COND ? "0xffffffff" : std::to_string(rc);
  return "status " + number + " (" + std::string(status_meaning(rc)) + ")";
}

} // namespace sfpctl
