// phy: the copper PHY of a 1000BASE-T module, reached over the module's bus.
#include <cstdio>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

constexpr uint32_t kRead = 1;
constexpr uint32_t kWrite = 0;
constexpr uint32_t kLastRegister = 31;
// The capability of a PHY that advertises every speed (0x0de1 in register 4).
constexpr uint32_t kAnFull = 1;

std::string up_down(uint32_t link) {
  return link != 0 ? "up" : "down";
}

class PhyCommand : public Command {
public:
  std::string_view name() const override { return "phy"; }
  std::string_view summary() const override {
    return "Read and write the registers of a copper module's PHY, show its link";
  }

  void add_arguments(CLI::App &sub) override {
    sub.require_subcommand(1);
    sub.fallthrough();
    sub.add_flag("--word", word_, "The board moves a PHY register as one 16-bit word");
    sub.add_option("--bus-mode", bus_mode_,
                   "Byte transfers: 0 both bytes of register r at register byte r, 1 at bytes "
                   "2r and 2r + 1 (a module behind an adapter)")
        ->type_name("0|1")
        ->transform(number_in(0, 1));
    sub.add_option("--sim-link", link_speed_,
                   "The simulated PHY reports its copper link up at this speed")
        ->type_name("10|100|1000")
        ->transform(number_of({10, 100, 1000}));

    read_ = sub.add_subcommand("read", "Read a PHY register");
    add_register(*read_);
    write_ = sub.add_subcommand("write", "Write a PHY register");
    add_register(*write_);
    write_->add_option("VALUE", value_, "16-bit value")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, 0xffff));
    link_ = sub.add_subcommand("link", "Show the copper and fiber link state and speed");
    an_ = sub.add_subcommand("an", "Show whether the PHY advertises every speed");
    for (CLI::App *form : {read_, write_, link_, an_}) {
      form->set_help_flag("-h,--help", "Print this help and exit");
    }
    sub.footer("Registers are clause 22 numbers (22 selects the page: 0 copper, 1 fiber side). "
               "Numbers are decimal or hex with 0x. --log shows every PHY transfer. With --qsa "
               "the PHY is reached through the adapter's page 0xAC (bytes 2r and 2r + 1), and "
               "link also shows the adapter's link state (qsa_port_get_state). A module from "
               "--image has no simulated PHY: phy refuses it (exit 1), and --sim-link needs a "
               "simulated PHY (exit 2).");
  }

  void configure(GlobalOptions &options) const override {
    options.phy_word_access = word_;
    options.bus_mode = bus_mode_;
    options.phy_link_speed = link_speed_;
  }

  int run(Session &session) override {
    // Only the copper profiles carry a simulated PHY; a module from an
    // image has none, whatever its type says.
    const bool simulated_phy = session.module() != nullptr && session.module()->phy() != nullptr;
    if (link_speed_ != 0 && !simulated_phy) {
      print_error("phy: --sim-link: the module has no simulated PHY to report a link");
      return kExitUsage;
    }
    sfp_port_ctx *port = session.sfp_port_for("phy");
    if (port == nullptr) {
      return kExitFailure;
    }
    if (port->phy_access == nullptr) {
      print_error("phy: the module has no copper PHY (type " + std::to_string(port->xcvr_type) +
                  " " + printable(port->xcvr_name) + ")");
      return kExitFailure;
    }
    if (!simulated_phy && !session.real_source()) {
      print_error("phy: a module from --image has no simulated PHY (the --sim profile "
                  "1000base-t has one)");
      return kExitFailure;
    }
    if (read_->parsed()) {
      return read(session);
    }
    if (write_->parsed()) {
      return write(session);
    }
    return link_->parsed() ? link(session) : auto_negotiation(session);
  }

  std::string planned_change() const override {
    if (write_ == nullptr || !write_->parsed()) {
      return {};
    }
    return "write " + std::to_string(value_) + " to PHY register " + std::to_string(register_);
  }

private:
  void add_register(CLI::App &form) {
    form.add_option("REG", register_, "PHY register, 0..31")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, kLastRegister));
  }

  int read(Session &session) const {
    uint16_t value = 0;
    if (session.checked("phy read", [&] {
          return sfp_port_qrn_te_access(session.port(), register_, &value, kRead);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    std::printf("register %u: 0x%04x\n", register_, static_cast<unsigned>(value));
    return kExitOk;
  }

  int write(Session &session) const {
    auto value = static_cast<uint16_t>(value_);
    if (session.checked("phy write", [&] {
          return sfp_port_qrn_te_access(session.port(), register_, &value, kWrite);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    std::printf("wrote 0x%04x to register %u\n", value_, register_);
    return kExitOk;
  }

  static int link(Session &session) {
    // The adapter's own view, register 17 read once through its PHY mirror,
    // first: the full query below leaves the PHY's fiber side selected.
    std::optional<uint8_t> adapter_link;
    if (qsa_port_ctx *adapter = session.adapter_port(); adapter != nullptr) {
      uint8_t state = 0;
      if (session.checked("adapter link", [&] { return qsa_port_get_state(adapter, &state); }) !=
          SFP_RC_OK) {
        return kExitFailure;
      }
      adapter_link = state;
    }
    uint32_t link = 0;
    uint32_t speed = 0;
    uint32_t fiber = 0;
    if (session.checked("phy link", [&] {
          return qrn_te_get_link_state_speed(session.port(), &link, &speed, &fiber);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    std::printf("copper link: %s, %u Mb/s\n", up_down(link).c_str(), speed);
    std::printf("fiber link: %s\n", up_down(fiber).c_str());
    if (adapter_link) {
      std::printf("adapter link: %s\n", up_down(*adapter_link).c_str());
    }
    return kExitOk;
  }

  static int auto_negotiation(Session &session) {
    uint32_t capability = 0;
    if (session.checked("phy an", [&] {
          return qrn_te_get_an_capability(session.port(), &capability);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    std::printf("auto-negotiation: %u (%s)\n", capability,
                capability == kAnFull ? "advertises every speed, register 4 = 0x0de1"
                                      : "does not advertise every speed");
    return kExitOk;
  }

  CLI::App *read_ = nullptr;
  CLI::App *write_ = nullptr;
  CLI::App *link_ = nullptr;
  CLI::App *an_ = nullptr;
  bool word_ = false;
  uint32_t bus_mode_ = 0;
  uint32_t link_speed_ = 0;
  uint32_t register_ = 0;
  uint32_t value_ = 0;
};

} // namespace

std::unique_ptr<Command> make_phy_command() {
  return std::make_unique<PhyCommand>();
}

} // namespace sfpctl
