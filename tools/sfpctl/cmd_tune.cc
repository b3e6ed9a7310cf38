// tune: sets the channel of a tunable module and shows what was written.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

constexpr sfp_xcvr_type kTunable = 765;
// The module's channel number field in A2h table 2: the library writes its
// low byte.
constexpr uint8_t kChannelLowByte = 145;
// Index n of the 50 GHz grid is at 191300 + 50 n GHz.
constexpr uint32_t kFiftyZero = 191300;

class TuneCommand : public Command {
public:
  std::string_view name() const override { return "tune"; }
  // The adapter mirrors no tunable table of the SFP behind it.
  bool behind_adapter() const override { return false; }
  std::string_view summary() const override { return "Tune a tunable module to a channel"; }

  void add_arguments(CLI::App &sub) override {
    sub.add_option("CHANNEL", channel_,
                   "Channel of the 50 GHz grid: channel n is at 191.3 THz + n x 50 GHz")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, UINT32_MAX));
    sub.footer("The module must be tunable (type 765); 'identify' shows its channel range. The "
               "module channel written is the channel less the module's first channel offset.");
  }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    if (port->xcvr_type != kTunable) {
      print_error("tune: the module is not tunable (type " + std::to_string(port->xcvr_type) + " " +
                  printable(port->xcvr_name) + ")");
      return kExitFailure;
    }
    if (session.checked("tune", [&] { return sfp_port_tsfp_wavechannel_set(port, channel_); }) !=
        SFP_RC_OK) {
      return kExitFailure;
    }
    uint8_t written = 0;
    if (session.checked("read back", [&] {
          return sfp_port_read(port, kChannelLowByte, SFP_PAGE_A2_TABLE2, 1, &written);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    // The library accepts no channel beyond the module's last frequency.
    const auto freq = static_cast<uint32_t>(kFiftyZero + uint64_t{channel_} * 50);
    std::printf("channel %u: %u GHz, %u pm\n", channel_, freq, sfp_xcvr_freq_to_wl(freq));
    std::printf("module channel %u written (A2h table 2 byte %u)\n", written, kChannelLowByte);
    return kExitOk;
  }

  std::string planned_change() const override {
    return "tune the module to channel " + std::to_string(channel_) + " (A2h table 2)";
  }

private:
  uint32_t channel_ = 0;
};

} // namespace

std::unique_ptr<Command> make_tune_command() {
  return std::make_unique<TuneCommand>();
}

} // namespace sfpctl
