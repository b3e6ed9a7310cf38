// tx: switches the module's transmitter on or off.
#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "session.h"

namespace sfpctl {
namespace {

class TxCommand : public Command {
public:
  std::string_view name() const override { return "tx"; }
  std::string_view summary() const override {
    return "Switch the transmitter on or off (soft transmitter disable, A2h byte 110 bit 6)";
  }

  void add_arguments(CLI::App &sub) override {
    add_switch(sub, "STATE", on_, "off", "on", "on enables the transmitter, off disables it");
    sub.footer(
        std::string("A module without the soft transmitter disable (A0h byte 93 bit 6) or "
                    "without A2h is left as it is, with status 0. With --qsa it switches the "
                    "adapter's transmitter (adapter byte 86) instead. ") +
        kControlFooter);
  }

  int run(Session &session) override {
    if (qsa_port_ctx *adapter = session.adapter_port(); adapter != nullptr) {
      // The adapter's transmitter (its lower-page byte 86), not the SFP's.
      return on_ ? run_control(session, "tx on", [adapter] { return qsa_port_tx_enable(adapter); })
                 : run_control(session, "tx off",
                               [adapter] { return qsa_port_tx_disable(adapter); });
    }
    sfp_port_ctx *port = session.port();
    return on_ ? run_control(session, "tx on", [port] { return sfp_port_tx_enable(port); })
               : run_control(session, "tx off", [port] { return sfp_port_tx_disable(port); });
  }

  std::string planned_change() const override {
    return std::string("switch the transmitter ") + (on_ ? "on" : "off") +
           " (soft disable, A2h byte 110 bit 6)";
  }

private:
  bool on_ = false;
};

} // namespace

std::unique_ptr<Command> make_tx_command() {
  return std::make_unique<TxCommand>();
}

} // namespace sfpctl
