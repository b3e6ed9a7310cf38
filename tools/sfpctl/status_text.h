// Short meanings of the library's status codes, for messages.
#ifndef SFPCTL_STATUS_TEXT_H
#define SFPCTL_STATUS_TEXT_H

#include <string>
#include <string_view>

#include "sfpdrv/types.h"

namespace sfpctl {

// What the status means, e.g. "invalid argument, handle or access". Codes
// the library does not define come from a callback and read "callback
// status".
std::string_view status_meaning(sfp_rc rc);

// Words for the statuses a source's callbacks return (a real source's errno
// values, e.g. "no module answers at 0x50 (no acknowledge)"); null for a
// status they do not know. Consulted before the library's own meaning for
// every status the library does not return itself on a bus path.
using CallbackWords = const char *(*)(sfp_rc);
void set_callback_words(CallbackWords words);

// "status 22 (invalid argument, handle or access)"; the all-ones code is
// shown in hex.
std::string status_text(sfp_rc rc);

} // namespace sfpctl

#endif // SFPCTL_STATUS_TEXT_H
