// debug: the raw dump of the diagnostic pages that the library gives for
// field debugging.
#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "session.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

// Room for the three pages of a tunable module and its tuning range.
constexpr uint32_t kDumpSize = 8192;

class DebugCommand : public Command {
public:
  std::string_view name() const override { return "debug"; }
  std::string_view summary() const override {
    return "Dump the diagnostic pages (A2h, its table 0 and a tunable module's table 2)";
  }
  void add_arguments(CLI::App &sub) override {
    sub.footer("The library's debug dump (sfp_port_get_debug_info); pages are numbered as "
               "sfpctl read numbers them (1 A2h, 2 table 0, 4 table 2).");
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.sfp_port_for("debug");
    if (port == nullptr) {
      return kExitFailure;
    }
    std::vector<char> text(kDumpSize);
    uint32_t length = 0;
    if (session.checked("debug", [&] {
          return sfp_port_get_debug_info(port, text.data(), kDumpSize, &length);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    std::string_view dump(text.data(), std::min(length, kDumpSize));
    print_library_text(dump);
    // The library's dump can end without a line end.
    if (!dump.empty() && dump.back() != '\n') {
      std::fputc('\n', stdout);
    }
    return kExitOk;
  }
};

} // namespace

std::unique_ptr<Command> make_debug_command() {
  return std::make_unique<DebugCommand>();
}

} // namespace sfpctl
