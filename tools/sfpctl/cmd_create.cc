// create: creates the port as a platform would and shows what creation did:
// how it identified the module, the state it left the module in, and every
// wait it made.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"
#include "status_text.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

// A0h byte 65 bit 6: a tunable module.
constexpr std::size_t kOptionsByte = 65;
constexpr uint8_t kTunable = 0x40;

// The A2h bytes creation sets, and their bits.
constexpr std::size_t kStatusControl = 110;
constexpr uint8_t kSoftTxDisable = 0x40;
constexpr std::size_t kPowerLevel = 118;
constexpr uint8_t kPowerLevelSelect = 0x01;
constexpr std::size_t kCdrAndCtle = 120;
constexpr uint8_t kTxCdr = 0x06;
constexpr uint8_t kAdaptiveCtle = 0x01;

constexpr const char *kNever = "never";

void line(const char *label, const std::string &value) {
  std::printf("%-17s %s\n", label, value.c_str());
}

std::string hex_byte(unsigned value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02x", value);
  return text;
}

std::string type_text(sfp_xcvr_type type) {
  if (type == 0) {
    return "- (not identified)";
  }
  return std::to_string(type) + " " + sfp_xcvr_get_name_from_type(nullptr, type);
}

std::string rate_name(uint32_t rate_code) {
  switch (rate_code) {
  case SFP_RATE_CODE_10G:
    return "10G";
  case SFP_RATE_CODE_25G:
    return "25G";
  case SFP_RATE_CODE_50G:
    return "50G";
  default:
    return "unknown rate";
  }
}

std::string waits_text(const std::vector<uint32_t> &waits) {
  if (waits.empty()) {
    return "none";
  }
  std::string text;
  for (const uint32_t ms : waits) {
    text += (text.empty() ? "" : ", ") + std::to_string(ms);
  }
  return text + " ms";
}

std::string wait_total(const std::vector<uint32_t> &waits) {
  uint64_t total = 0;
  for (const uint32_t ms : waits) {
    total += ms;
  }
  return std::to_string(total) + " ms in " + std::to_string(waits.size()) +
         (waits.size() == 1 ? " wait" : " waits");
}

CLI::Validator count_or_never() {
  return CLI::Validator(
      [](std::string &text) -> std::string {
        if (text == kNever) {
          return {};
        }
        const ParsedNumber number = parse_number(text);
        if (number.result == ParsedNumber::Result::NotANumber) {
          return "'" + echoed(text) + "' is neither a number of reads nor 'never'";
        }
        if (number.result != ParsedNumber::Result::Ok) {
          return echoed(text) + " is out of range 0.." + std::to_string(UINT32_MAX);
        }
        return {};
      },
      "", "N|never");
}

class CreateCommand : public Command {
public:
  std::string_view name() const override { return "create"; }
  // Behind an adapter the adapter port creates the SFP port, its own way.
  bool behind_adapter() const override { return false; }
  std::string_view why_not_behind_adapter() const override {
    return "the adapter port creates the SFP port its own way";
  }
  std::string_view summary() const override {
    return "Create the port and show what creation did: identity, module state, waits";
  }
  // A failed creation is what this command is there to show.
  PortUse port_use() const override { return PortUse::Optional; }

  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--no-module-present", no_module_present_,
                 "The platform says no module is present: creation identifies the module but "
                 "neither waits for its data nor sets its transmitter");
    sub.add_flag("--bitbang", bitbang_,
                 "Give the library the module's bit-bang read, which it then uses for the upper "
                 "tables of A2h");
    sub.add_option("--data-ready-after", data_ready_,
                   "The simulated module reports its data not ready (A2h byte 110 bit 0) for N "
                   "reads of that byte, creation's read of A2h counting as one, or never")
        ->type_name("N|never")
        ->check(count_or_never());
    sub.footer("Shows the memory spaces, the type and the supported check, the tunable range, "
               "the multi-rate rate, the state creation left the module in (A2h bytes 110, 118 "
               "and 120 read back from the module), every wait, and the creation status. --log "
               "shows creation's bus transfers.");
  }

  void configure(GlobalOptions &options) const override {
    options.module_present = !no_module_present_;
    options.bitbang = bitbang_;
    options.log_creation = true;
    if (data_ready_ == kNever) {
      options.data_ready_after = sfpsim::kNeverReady;
    } else if (!data_ready_.empty()) {
      options.data_ready_after = parse_number(data_ready_).value;
    }
  }

  int run(Session &session) override {
    const sfp_port_ctx *port = session.port() != nullptr ? session.port() : session.failed_port();
    if (port == nullptr) {
      return kExitFailure;
    }
    char spaces[64];
    sfp_eeprom_space_supported_to_string(&port->spaces, spaces, sizeof spaces);
    line("memory:", spaces);
    line("type:", type_text(port->xcvr_type));
    // A module that was not identified has not been checked either.
    line("supported:",
         port->xcvr_type == 0 ? "- (not checked)" : sfp_xcvr_supported_to_str(port->supported));
    if ((port->eeprom[SFP_IMAGE_A0 + kOptionsByte] & kTunable) != 0) {
      line("tunable:", "channels " + std::to_string(port->tunable_lower_offset + 1) + " to " +
                           std::to_string(port->tunable_upper_offset + 1) + " (offsets " +
                           std::to_string(port->tunable_lower_offset) + " to " +
                           std::to_string(port->tunable_upper_offset) + ")");
    }
    line("multi-rate:", port->multi_rate == 0
                            ? "no"
                            : "yes, " + rate_name(port->rate_code) + " (rate code " +
                                  std::to_string(port->rate_code) +
                                  "): " + type_text(port->xcvr_type));
    line("module present:", no_module_present_ ? "no: no wait, transmitter left as it is" : "yes");
    module_state(*port, module_memory(session));
    line("waits:", waits_text(session.creation_waits()));
    line("wait total:", wait_total(session.creation_waits()));
    line("creation:", status_text(session.creation_status()));
    return session.creation_status() == SFP_RC_OK ? kExitOk : kExitFailure;
  }

private:
  // The module's memory: the simulated module's, or read from a real one.
  static sfpsim::Memory module_memory(const Session &session) {
    if (const sfpsim::Module *module = session.module(); module != nullptr) {
      return module->memory();
    }
    Capture capture;
    std::string error;
    (void)session.source()->capture(false, capture, error);
    return capture.memory;
  }

  // What creation left in the module's control bytes, as the module holds
  // them.
  static void module_state(const sfp_port_ctx &port, const sfpsim::Memory &memory) {
    const char *labels[] = {"transmitter:", "power level:", "tx cdr:", "ctle:"};
    if (port.spaces.a2 == 0) {
      for (const char *label : labels) {
        line(label, "- (no A2h memory)");
      }
      return;
    }
    const uint8_t status = memory.a2_lower[kStatusControl];
    const uint8_t power = memory.a2_lower[kPowerLevel];
    const uint8_t cdr_ctle = memory.a2_lower[kCdrAndCtle];
    const uint8_t cdr = cdr_ctle & kTxCdr;
    line(labels[0], std::string((status & kSoftTxDisable) != 0 ? "soft-disabled" : "enabled") +
                        " (A2h byte 110 = " + hex_byte(status) + ")");
    line(labels[1], std::string((power & kPowerLevelSelect) != 0 ? "2/3" : "1") +
                        " (A2h byte 118 = " + hex_byte(power) + ")");
    const std::string cdr_text = cdr == kTxCdr ? "on" : cdr == 0 ? "off" : "partly on";
    line(labels[2], cdr_text + " (A2h byte 120 = " + hex_byte(cdr_ctle) + ")");
    line(labels[3], std::string((cdr_ctle & kAdaptiveCtle) != 0 ? "adaptive on" : "adaptive off") +
                        " (A2h byte 120 = " + hex_byte(cdr_ctle) + ")");
  }

  bool no_module_present_ = false;
  bool bitbang_ = false;
  std::string data_ready_;
};

} // namespace

std::unique_ptr<Command> make_create_command() {
  return std::make_unique<CreateCommand>();
}

} // namespace sfpctl
