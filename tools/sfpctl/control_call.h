// How the port-control commands run a library call and report it.
#ifndef SFPCTL_CONTROL_CALL_H
#define SFPCTL_CONTROL_CALL_H

#include <functional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "session.h"

namespace sfpctl {

// Runs `call` on the session's port and prints "WHAT: status N (meaning)",
// then the lines of `report` when given, then every adapter lower-page byte
// (with --qsa), module byte and PHY register the call changed, as they are
// afterwards ("no module byte changed" when none). A failed call is also reported on standard
// error. Returns the exit code.
int run_control(Session &session, std::string_view what, const std::function<sfp_rc()> &call,
                const std::function<void()> &report = {});

// Declares a required positional argument that takes one of two words and
// sets `value` to whether it was the second, e.g. "off" / "on".
void add_switch(CLI::App &command, const std::string &name, bool &value, const std::string &off,
                const std::string &on, const std::string &description);

// The note every control command's help ends with.
inline constexpr const char *kControlFooter =
    "Prints the status and the module bytes the call changed, read back from the module after "
    "it; --log also prints the call's bus transfers.";

} // namespace sfpctl

#endif // SFPCTL_CONTROL_CALL_H
