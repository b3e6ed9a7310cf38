// power-class: the power level of a 25G or 50G optic.
#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "session.h"

namespace sfpctl {
namespace {

class PowerClassCommand : public Command {
public:
  std::string_view name() const override { return "power-class"; }
  // The adapter takes no signal-conditioning requests for the SFP behind it.
  bool behind_adapter() const override { return false; }
  std::string_view summary() const override {
    return "Set a 25G or 50G optic's power level: low (1) or high (2/3) (A2h byte 118 bit 0)";
  }

  void add_arguments(CLI::App &sub) override {
    add_switch(sub, "LEVEL", high_, "low", "high",
               "low selects power level 1, high requests level 2/3");
    sub.footer(std::string("Applies to 25G and 50G optics and to multi-rate modules at 10G "
                           "(--rate 10g); others are left as they are, with status 0. A module "
                           "that asks for power level 2 (A0h byte 64 bit 5) is not raised: status "
                           "0xffffffff. ") +
               kControlFooter);
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    const uint32_t enable = high_ ? 1 : 0;
    return run_control(session, high_ ? "power-class high" : "power-class low",
                       [port, enable] { return sfp_port_high_power_class_ena_dis(port, enable); });
  }

  std::string planned_change() const override {
    return std::string("select the ") + (high_ ? "high" : "low") +
           " power class (A2h byte 118 bit 0)";
  }

private:
  bool high_ = false;
};

} // namespace

std::unique_ptr<Command> make_power_class_command() {
  return std::make_unique<PowerClassCommand>();
}

} // namespace sfpctl
