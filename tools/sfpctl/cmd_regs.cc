// regs: the library's dump of the named module registers.
#include <cstdio>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "command.h"
#include "session.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

class RegsCommand : public Command {
public:
  std::string_view name() const override { return "regs"; }
  std::string_view summary() const override {
    return "Print the named module registers that the library reads";
  }
  void add_arguments(CLI::App &) override {}

  int run(Session &session) override {
    char *text = nullptr;
    uint32_t size = 0;
    const sfp_rc rc = session.checked("register dump", [&] {
      return session.adapter() != nullptr ? qsa_port_read_reg(session.adapter_port(), &text, &size)
                                          : sfp_port_read_reg(session.port(), &text, &size);
    });
    if (text == nullptr && rc == SFP_RC_OK) {
      std::puts("no SFP behind the adapter");
    }
    // A dump with a failed register still comes with its text.
    if (text != nullptr) {
      const char *start = text;
      while (*start == '\n') {
        ++start;
      }
      print_library_text(start);
      std::free(text);
    }
    return rc == SFP_RC_OK ? kExitOk : kExitFailure;
  }
};

} // namespace

std::unique_ptr<Command> make_regs_command() {
  return std::make_unique<RegsCommand>();
}

} // namespace sfpctl
