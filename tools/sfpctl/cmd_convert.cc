// convert: the library's wavelength, frequency and channel conversions.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

// The grids, in GHz. kv channel k is at 196150 - 50 k; index m of the 50 GHz
// grid at 191300 + 50 m; ITU channel c of the 100 GHz grid at 190000 + 100 c.
constexpr uint32_t kKvZero = 196150;
constexpr uint32_t kFiftyZero = 191300;
constexpr uint32_t kItuZero = 190000;
// The highest kv channel whose frequency is above zero.
constexpr uint32_t kLastKvChannel = kKvZero / 50 - 1;

void line(const char *label, const std::string &value) {
  std::printf("%-22s %s\n", label, value.c_str());
}

std::string with_unit(uint32_t value, const char *unit) {
  return std::to_string(value) + " " + unit;
}

// The channel number of `freq` on a grid, or "-" when it is not on it.
std::string on_grid(uint32_t freq, uint32_t zero, uint32_t spacing, bool descending) {
  if (descending ? freq > zero : freq < zero) {
    return "-";
  }
  const uint32_t distance = descending ? zero - freq : freq - zero;
  return distance % spacing == 0 ? std::to_string(distance / spacing) : "-";
}

void print_channels(uint32_t freq) {
  line("kv channel:", on_grid(freq, kKvZero, 50, true));
  line("50 GHz index:", on_grid(freq, kFiftyZero, 50, false));
  line("ITU channel (100 GHz):", on_grid(freq, kItuZero, 100, false));
}

class ConvertCommand : public Command {
public:
  std::string_view name() const override { return "convert"; }
  std::string_view summary() const override {
    return "Convert between wavelength, frequency and channel numbers";
  }
  PortUse port_use() const override { return PortUse::None; }

  void add_arguments(CLI::App &sub) override {
    sub.require_subcommand(1);
    wl_ = sub.add_subcommand("wl", "From a wavelength in picometres (1550120)");
    wl_->add_option("PM", value_, "Wavelength in pm")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(1, UINT32_MAX));
    freq_ = sub.add_subcommand("freq", "From a frequency in GHz (193400)");
    freq_->add_option("GHZ", value_, "Frequency in GHz")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(1, UINT32_MAX));
    kv_ = sub.add_subcommand("kv", "From a kv channel (1 = 196.10 THz, 50 GHz apart downwards)");
    kv_->add_option("K", value_, "kv channel")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(1, kLastKvChannel));
    chan_ = sub.add_subcommand("chan", "The channel of a frequency on a grid of given start and "
                                       "spacing (193100 191350 50)");
    chan_->add_option("GHZ", value_, "Frequency in GHz")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, UINT32_MAX));
    chan_->add_option("FIRST", first_, "Frequency of channel 1 in GHz")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, UINT32_MAX));
    chan_->add_option("SPACING", spacing_, "Channel spacing in GHz")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(1, UINT32_MAX));
    for (CLI::App *form : {wl_, freq_, kv_, chan_}) {
      form->set_help_flag("-h,--help", "Print this help and exit");
    }
    sub.footer("Wavelengths are in pm, frequencies in GHz. Numbers are decimal or hex with 0x.");
  }

  int run(Session &) override {
    if (wl_->parsed()) {
      from_wavelength();
    } else if (freq_->parsed()) {
      from_frequency();
    } else if (kv_->parsed()) {
      from_kv_channel();
    } else {
      grid_channel();
    }
    return kExitOk;
  }

private:
  void from_wavelength() const {
    const uint32_t freq = sfp_xcvr_wl_to_freq(value_);
    line("wavelength:", with_unit(value_, "pm"));
    line("frequency:", with_unit(freq, "GHz"));
    line("wavelength (10 pm):", with_unit(sfp_xcvr_freq_to_wl(freq), "pm"));
    line("setpoint (50 pm):", std::to_string(sfp_xcvr_wavelength_setpoint_from_wl(value_)));
    print_channels(freq);
  }

  void from_frequency() const {
    const uint32_t wl = sfp_xcvr_freq_to_wl(value_);
    line("frequency:", with_unit(value_, "GHz"));
    line("wavelength (10 pm):", with_unit(wl, "pm"));
    line("its frequency:", with_unit(sfp_xcvr_wl_to_freq(wl), "GHz"));
    print_channels(value_);
  }

  void from_kv_channel() const {
    const uint32_t freq = sfp_xcvr_kv_channel_2_freq(value_);
    line("kv channel:", std::to_string(value_));
    line("frequency:", with_unit(freq, "GHz"));
    line("wavelength:", with_unit(sfp_xcvr_kv_channel_2_wavelength(value_), "pm"));
    line("wavelength (10 pm):", with_unit(sfp_xcvr_kv_channel_2_optic_pm(value_), "pm"));
    line("50 GHz index:", on_grid(freq, kFiftyZero, 50, false));
    line("ITU channel (100 GHz):", on_grid(freq, kItuZero, 100, false));
  }

  void grid_channel() const {
    const uint32_t channel = sfp_xcvr_get_chan_from_freq(value_, first_, spacing_);
    line("frequency:", with_unit(value_, "GHz"));
    line("grid:",
         "channel 1 at " + with_unit(first_, "GHz") + ", " + with_unit(spacing_, "GHz") + " apart");
    line("channel:", channel == 0 ? "0 (below the grid)" : std::to_string(channel));
    if (channel != 0) {
      const uint64_t start = first_ + uint64_t{channel - 1} * spacing_;
      line("channel's frequency:", std::to_string(start) + " GHz");
    }
  }

  CLI::App *wl_ = nullptr;
  CLI::App *freq_ = nullptr;
  CLI::App *kv_ = nullptr;
  CLI::App *chan_ = nullptr;
  uint32_t value_ = 0;
  uint32_t first_ = 0;
  uint32_t spacing_ = 0;
};

} // namespace

std::unique_ptr<Command> make_convert_command() {
  return std::make_unique<ConvertCommand>();
}

} // namespace sfpctl
