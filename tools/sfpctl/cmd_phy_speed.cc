// phy-speed: requests a speed of a copper module's PHY.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

std::string autoneg_text(uint32_t autoneg) {
  switch (autoneg) {
  case SFP_PHY_AN_ON:
    return "auto-negotiation";
  case SFP_PHY_AN_FORCED:
    return "forced";
  default:
    return "auto-negotiation " + std::to_string(autoneg);
  }
}

class PhySpeedCommand : public Command {
public:
  std::string_view name() const override { return "phy-speed"; }
  std::string_view summary() const override {
    return "Request a copper module's PHY speed: stored while the port is down, else programmed";
  }

  void add_arguments(CLI::App &sub) override {
    sub.add_option("SPEED", speed_, "Speed in Mb/s: 10, 100 or 1000 (any with --autoneg)")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, UINT32_MAX));
    sub.add_flag("--autoneg", autoneg_, "Auto-negotiate with the full advertisement");
    sub.add_flag("--up", up_,
                 "Bring the port up first (admin down to up), so that the request programs the "
                 "PHY at once");
    sub.footer(std::string("A new port is down: the request is stored and applied when the "
                           "port comes up. An up port's PHY is programmed unless it already "
                           "runs the request with both links up. Modules without a PHY ignore "
                           "it. ") +
               kControlFooter);
  }

  int run(Session &session) override {
    qsa_port_ctx *adapter = session.adapter_port();
    if (up_ && session.checked("admin up", [&session, adapter] {
          return adapter != nullptr ? qsa_port_admin_state(adapter, 0, 1)
                                    : sfp_port_admin_state(session.port(), 0, 1);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    // Behind an adapter there may be no SFP port to forward to.
    sfp_port_ctx *port = session.port();
    const uint32_t autoneg = autoneg_ ? SFP_PHY_AN_ON : SFP_PHY_AN_FORCED;
    const std::string state = port == nullptr          ? "no SFP port"
                              : port->admin_state != 0 ? "port up"
                                                       : "port down";
    const std::string what =
        "phy-speed " + std::to_string(speed_) + " (" + autoneg_text(autoneg) + ", " + state + ")";
    return run_control(
        session, what,
        [this, port, adapter, autoneg] {
          return adapter != nullptr ? qsa_port_set_sfp_phy_speed(adapter, speed_, autoneg)
                                    : sfp_port_set_phy_speed(port, speed_, autoneg);
        },
        [port] {
          if (port == nullptr || port->phy_speed == 0) {
            std::puts("stored: none");
          } else {
            std::printf("stored: %u Mb/s, %s\n", port->phy_speed,
                        autoneg_text(port->phy_autoneg).c_str());
          }
        });
  }

  std::string planned_change() const override {
    return "set the PHY speed to " + std::to_string(speed_) +
           (autoneg_ ? " with autonegotiation" : "") + (up_ ? ", bringing the port up first" : "");
  }

private:
  uint32_t speed_ = 0;
  bool autoneg_ = false;
  bool up_ = false;
};

} // namespace

std::unique_ptr<Command> make_phy_speed_command() {
  return std::make_unique<PhySpeedCommand>();
}

} // namespace sfpctl
