// cdr: switches the transmit clock and data recovery of a 25G optic.
#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "session.h"

namespace sfpctl {
namespace {

class CdrCommand : public Command {
public:
  std::string_view name() const override { return "cdr"; }
  // The adapter takes no signal-conditioning requests for the SFP behind it.
  bool behind_adapter() const override { return false; }
  std::string_view summary() const override {
    return "Switch a 25G optic's Tx CDR on or off (A2h byte 120 bits 1 and 2)";
  }

  void add_arguments(CLI::App &sub) override {
    add_switch(sub, "STATE", on_, "off", "on", "on enables Tx CDR, off disables it");
    sub.footer(std::string("Other modules are left as they are, with status 0. ") + kControlFooter);
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    const uint32_t enable = on_ ? 1 : 0;
    return run_control(session, on_ ? "cdr on" : "cdr off",
                       [port, enable] { return sfp_port_tx_cdr_enable(port, enable); });
  }

  std::string planned_change() const override {
    return std::string("switch the Tx CDR ") + (on_ ? "on" : "off") + " (A2h byte 120)";
  }

private:
  bool on_ = false;
};

} // namespace

std::unique_ptr<Command> make_cdr_command() {
  return std::make_unique<CdrCommand>();
}

} // namespace sfpctl
