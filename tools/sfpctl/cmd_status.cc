// status: the module's live diagnostics as the library's status snapshot
// gives them: each quantity with its value, thresholds and flags, then the
// module's status bits.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "json.h"
#include "module_view.h"
#include "session.h"

namespace sfpctl {
namespace {

using Rec = sfp_hw_status_rec;
constexpr std::size_t kOptionsByte = 65; // A0h; bit 6: tunable transmitter
constexpr uint8_t kTunable = 0x40;

// One monitored quantity: where its value, thresholds and flags are, how it
// is shown, and the names of its JSON keys (with the unit).
struct Quantity {
  const char *label;
  const char *key; // e.g. "temperature", keys "temperature_c", "temperature_high_alarm_c"
  const char *unit_key;
  const char *unit;
  int decimals;
  std::optional<double> ModuleView::*value;
  float Rec::*high_alarm;
  float Rec::*high_warning;
  float Rec::*low_warning;
  float Rec::*low_alarm;
  uint32_t (Rec::*flags)[4];
};

// clang-format off
constexpr Quantity kQuantities[] = {
    {"temperature", "temperature", "c",   "C",   1, &ModuleView::temperature_c,
     &Rec::temperature_alarm_high, &Rec::temperature_warn_high, &Rec::temperature_warn_low,
     &Rec::temperature_alarm_low, &Rec::temperature_flags},
    {"supply",      "vcc",         "v",   "V",   3, &ModuleView::vcc_v,
     &Rec::vcc_alarm_high, &Rec::vcc_warn_high, &Rec::vcc_warn_low, &Rec::vcc_alarm_low,
     &Rec::vcc_flags},
    {"tx bias",     "tx_bias",     "ma",  "mA",  2, &ModuleView::tx_bias_ma,
     &Rec::bias_alarm_high, &Rec::bias_warn_high, &Rec::bias_warn_low, &Rec::bias_alarm_low,
     &Rec::bias_flags},
    {"tx power",    "tx_power",    "dbm", "dBm", 2, &ModuleView::tx_power_dbm,
     &Rec::tx_power_alarm_high, &Rec::tx_power_warn_high, &Rec::tx_power_warn_low,
     &Rec::tx_power_alarm_low, &Rec::tx_power_flags},
    {"rx power",    "rx_power",    "dbm", "dBm", 2, &ModuleView::rx_power_dbm,
     &Rec::rx_power_alarm_high, &Rec::rx_power_warn_high, &Rec::rx_power_warn_low,
     &Rec::rx_power_alarm_low, &Rec::rx_power_flags},
};
// clang-format on

std::string with_unit(double value, const Quantity &q) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f %s", q.decimals, value, q.unit);
  return text;
}

// "high", "low" or "-" for a quantity's alarm (or warning) pair of flags.
const char *flag_text(const uint32_t (&flags)[4], bool warning) {
  const std::size_t high = warning ? SFP_FLAG_WARN_HIGH : SFP_FLAG_ALARM_HIGH;
  const std::size_t low = warning ? SFP_FLAG_WARN_LOW : SFP_FLAG_ALARM_LOW;
  return flags[high] != 0 ? "high" : flags[low] != 0 ? "low" : "-";
}

const char *yes_no(uint32_t flag) {
  return flag != 0 ? "yes" : "no";
}

bool tunable(const sfp_port_ctx &port) {
  return (port.eeprom[SFP_IMAGE_A0 + kOptionsByte] & kTunable) != 0;
}

void print_table(const sfp_port_ctx &port, const Rec &rec, const ModuleView &view) {
  std::printf("%-12s %-12s %-12s %-12s %-12s %-12s %-6s %s\n", "QUANTITY", "VALUE", "HIGH ALARM",
              "HIGH WARNING", "LOW WARNING", "LOW ALARM", "ALARM", "WARNING");
  for (const Quantity &q : kQuantities) {
    const std::optional<double> value = view.*q.value;
    // A power of zero has no dBm.
    const std::string shown = value ? with_unit(*value, q) : "0 mW";
    std::printf("%-12s %-12s %-12s %-12s %-12s %-12s %-6s %s\n", q.label, shown.c_str(),
                with_unit(rec.*q.high_alarm, q).c_str(), with_unit(rec.*q.high_warning, q).c_str(),
                with_unit(rec.*q.low_warning, q).c_str(), with_unit(rec.*q.low_alarm, q).c_str(),
                flag_text(rec.*q.flags, false), flag_text(rec.*q.flags, true));
  }
  std::printf("%-12s %.3f nm\n", "wavelength", static_cast<double>(rec.wavelength));
  if (tunable(port)) {
    std::printf("%-12s %u\n", "channel", static_cast<unsigned>(rec.channel));
  }
  std::printf("%-12s %s\n%-12s %s\n%-12s %s\n", "LOS", yes_no(rec.los), "Tx fault",
              yes_no(rec.tx_fault), "Tx disabled", yes_no(rec.tx_disabled));
}

std::string json_key(const char *quantity, const char *what, const char *suffix) {
  std::string key = quantity;
  key += what;
  key += '_';
  key += suffix;
  return key;
}

// Behind an adapter that holds no SFP port (`port` null) only the adapter's
// transmitter has a value: the keys of the module are all null. A refused
// module (no port, no adapter port) has none.
void print_json(const sfp_port_ctx *port, const Rec &rec, const ModuleView &view, bool adapter) {
  JsonObject json;
  const bool diagnostics = port != nullptr && has_diagnostics(*port);
  json.absent(port == nullptr).flag("diagnostics", diagnostics);
  add_module_keys(json, view);
  const auto limit = [&](float value) {
    return diagnostics ? std::optional<double>(value) : std::nullopt;
  };
  // Limits as "tx_power_high_alarm_dbm", flags as "tx_power_high_alarm_flag"
  // (in the record's order of flags).
  const char *limits[] = {"_high_alarm", "_high_warning", "_low_warning", "_low_alarm"};
  const char *flags[] = {"_high_alarm", "_low_alarm", "_high_warning", "_low_warning"};
  for (const Quantity &q : kQuantities) {
    const float values[] = {rec.*q.high_alarm, rec.*q.high_warning, rec.*q.low_warning,
                            rec.*q.low_alarm};
    for (std::size_t i = 0; i < std::size(limits); ++i) {
      json.number(json_key(q.key, limits[i], q.unit_key), limit(values[i]));
    }
    for (std::size_t i = 0; i < std::size(flags); ++i) {
      json.flag(json_key(q.key, flags[i], "flag"), (rec.*q.flags)[i] != 0);
    }
  }
  if (diagnostics && tunable(*port)) {
    json.integer("channel", rec.channel);
  } else {
    json.null("channel");
  }
  json.flag("los", rec.los != 0).flag("tx_fault", rec.tx_fault != 0);
  json.absent(port == nullptr && !adapter).flag("tx_disabled", rec.tx_disabled != 0);
  json.absent(port == nullptr).flag("no_diagnostics_type", rec.no_diagnostics != 0);
  std::fputs(json.str().c_str(), stdout);
}

class StatusCommand : public Command {
public:
  std::string_view name() const override { return "status"; }
  std::string_view summary() const override {
    return "Show the live diagnostics: values, thresholds, alarm and warning flags, LOS, Tx fault";
  }
  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--json", json_, "Print one JSON object instead of the table");
    sub.footer("Values are the library's status snapshot (sfp_port_hw_status; with --qsa "
               "qsa_port_hw_status, whose Tx disabled is the adapter's transmitter); "
               "temperatures of thresholds are whole degrees. A power of zero has no dBm (JSON "
               "null); with no SFP port behind the adapter every key but tx_disabled is null. A "
               "module the library refuses gets one line (in JSON every key null) and exit "
               "status 1.");
  }

  // A module the library refuses still gets a line, or an object of nulls.
  PortUse port_use() const override { return PortUse::Optional; }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    qsa_port_ctx *adapter = session.adapter_port();
    if (port == nullptr && adapter == nullptr) {
      if (json_) {
        print_json(nullptr, Rec{}, ModuleView{}, false);
      } else {
        std::printf("%s\n", kRefusedModuleNote);
      }
      return kExitFailure;
    }
    Rec rec{};
    if (session.checked("status", [&] {
          return adapter != nullptr ? qsa_port_hw_status(adapter, &rec)
                                    : sfp_port_hw_status(port, &rec);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    const ModuleView view = port != nullptr ? module_view(*port, &rec) : ModuleView{};
    if (json_) {
      print_json(port, rec, view, adapter != nullptr);
    } else if (port == nullptr) {
      std::printf("no SFP behind the adapter\n%-12s %s\n", "Tx disabled", yes_no(rec.tx_disabled));
    } else if (!has_diagnostics(*port)) {
      std::printf("diagnostics: none%s\n",
                  rec.no_diagnostics != 0 ? " (a copper or loopback type)" : "");
    } else {
      print_table(*port, rec, view);
    }
    return kExitOk;
  }

private:
  bool json_ = false;
};

} // namespace

std::unique_ptr<Command> make_status_command() {
  return std::make_unique<StatusCommand>();
}

} // namespace sfpctl
