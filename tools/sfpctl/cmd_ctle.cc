// ctle: the continuous-time linear equalisation of a 25G or 50G optic: its
// adaptive mode and its Tx peaking value.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "control_call.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

constexpr uint32_t kWholeByte = 0xff;

class CtleCommand : public Command {
public:
  std::string_view name() const override { return "ctle"; }
  // The adapter takes no signal-conditioning requests for the SFP behind it.
  bool behind_adapter() const override { return false; }
  std::string_view summary() const override {
    return "Switch a 25G/50G optic's adaptive CTLE on or off, or set its Tx peaking value";
  }

  void add_arguments(CLI::App &sub) override {
    sub.require_subcommand(1);
    sub.fallthrough();
    on_ = sub.add_subcommand("on", "Enable adaptive CTLE (A2h byte 120 bit 0)");
    on_->add_flag("--adaptive", adaptive_,
                  "The platform allows adaptive CTLE on the port (it sets the handle's "
                  "adaptive_ctle); without it, on leaves adaptive CTLE off");
    off_ = sub.add_subcommand("off", "Disable adaptive CTLE");
    peaking_ = sub.add_subcommand("peaking", "Set the Tx CTLE peaking value (A2h byte 114)");
    peaking_->add_option("VALUE", value_, "The new bits, 0..255")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, kWholeByte));
    peaking_->add_option("--mask", mask_, "The bits VALUE replaces (default 0xff, the whole byte)")
        ->type_name("M")
        ->transform(number_in(0, kWholeByte));
    for (CLI::App *form : {on_, off_, peaking_}) {
      form->set_help_flag("-h,--help", "Print this help and exit");
    }
    sub.footer(std::string("Adaptive CTLE applies to 25G and 50G optics, peaking to 25G optics; "
                           "others are left as they are, with status 0. on and off wait 500 ms; "
                           "on then checks the CDR fault flag (status 0xffffffff for a fault). "
                           "Peaking writes (old AND NOT M) OR VALUE. ") +
               kControlFooter);
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    if (peaking_->parsed()) {
      char what[40];
      std::snprintf(what, sizeof what, "ctle peaking 0x%02x mask 0x%02x", value_, mask_);
      return run_control(session, what, [this, port] {
        return sfp_port_configure_peaking_ctle(port, value_, mask_);
      });
    }
    if (on_->parsed()) {
      if (adaptive_) {
        port->adaptive_ctle = 1;
      }
      return run_control(session, "ctle on", [port] { return sfp_port_ctle_ena_dis(port, 1); });
    }
    return run_control(session, "ctle off", [port] { return sfp_port_ctle_ena_dis(port, 0); });
  }

  std::string planned_change() const override {
    if (peaking_->parsed()) {
      return "set the Tx CTLE peaking to " + std::to_string(value_) + " under mask " +
             std::to_string(mask_) + " (A2h byte 114)";
    }
    return std::string("switch adaptive CTLE ") + (on_->parsed() ? "on" : "off") +
           " (A2h byte 120)";
  }

private:
  CLI::App *on_ = nullptr;
  CLI::App *off_ = nullptr;
  CLI::App *peaking_ = nullptr;
  bool adaptive_ = false;
  uint32_t value_ = 0;
  uint32_t mask_ = kWholeByte;
};

} // namespace

std::unique_ptr<Command> make_ctle_command() {
  return std::make_unique<CtleCommand>();
}

} // namespace sfpctl
