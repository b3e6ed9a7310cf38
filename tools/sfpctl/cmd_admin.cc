// admin: tells the library that the port's admin state changed.
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

std::string up_down(bool up) {
  return up ? "up" : "down";
}

class AdminCommand : public Command {
public:
  std::string_view name() const override { return "admin"; }
  std::string_view summary() const override {
    return "Bring the port up or down: transmitter, Tx CDR, CTLE, fault flags, PHY speed";
  }

  void add_arguments(CLI::App &sub) override {
    add_switch(sub, "STATE", up_, "down", "up", "The new admin state");
    from_ = sub.add_option("--from", from_up_, "The previous admin state (default the opposite)")
                ->type_name("down|up")
                ->transform(word_of({{"down", "0"}, {"up", "1"}}));
    sub.footer(
        std::string("up switches on Tx CDR, CTLE and the transmitter and, on a 25G optic, "
                    "clears its latched fault flags; down switches them off. Coming up and up "
                    "to up apply a stored PHY speed (see phy-speed). With --qsa the adapter's "
                    "transmitter (adapter byte 86) follows the state too. ") +
        kControlFooter);
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    const bool previous = from_->count() != 0 ? from_up_ : !up_;
    const uint32_t pre = previous ? 1 : 0;
    const uint32_t state = up_ ? 1 : 0;
    const std::string what = "admin " + up_down(previous) + " to " + up_down(up_);
    if (qsa_port_ctx *adapter = session.adapter_port(); adapter != nullptr) {
      return run_control(session, what, [adapter, pre, state] {
        return qsa_port_admin_state(adapter, pre, state);
      });
    }
    return run_control(session, what,
                       [port, pre, state] { return sfp_port_admin_state(port, pre, state); });
  }

  std::string planned_change() const override {
    return std::string("bring the port ") + (up_ ? "up" : "down") +
           " (transmitter and, on a copper module, the PHY)";
  }

private:
  CLI::Option *from_ = nullptr;
  bool up_ = false;
  bool from_up_ = false;
};

} // namespace

std::unique_ptr<Command> make_admin_command() {
  return std::make_unique<AdminCommand>();
}

} // namespace sfpctl
