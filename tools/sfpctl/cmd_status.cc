// status: the module's live diagnostics as the library's status snapshot
// gives them: each quantity with its value, thresholds and flags, then the
// module's status bits.
#include <array>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "json.h"
#include "module_bytes.h"
#include "module_view.h"
#include "session.h"
#include "status_text.h"

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

bool tunable(const uint8_t *a0) {
  return (a0[kOptionsByte] & kTunable) != 0;
}

// The time of a reading in ISO 8601, UTC.
std::string utc_time(std::time_t when) {
  std::tm utc{};
  (void)gmtime_r(&when, &utc);
  char text[32];
  (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

// One reading of the module and what is known about it: a port's status
// snapshot, or for a module the library refused its bytes decoded.
struct Reading {
  const uint8_t *a0 = nullptr;
  Rec rec{};
  ModuleView view;
  std::time_t time = 0;
  bool sfp = false;         // an SFP module is there (not an empty adapter)
  bool diagnostics = false; // live values, thresholds and flags are known
  bool status_bits = false; // LOS, Tx fault and Tx disabled are known
  bool channel = false;     // the tunable channel is known
  bool copper_type = false; // the library's type has no diagnostics
  const char *note = nullptr;
  std::optional<Verdict> verdict;
  std::string type_name;
  bool refused = false;
};

void print_table(const Reading &r) {
  const Rec &rec = r.rec;
  std::printf("%-12s %-12s %-12s %-12s %-12s %-12s %-6s %s\n", "QUANTITY", "VALUE", "HIGH ALARM",
              "HIGH WARNING", "LOW WARNING", "LOW ALARM", "ALARM", "WARNING");
  for (const Quantity &q : kQuantities) {
    const std::optional<double> value = r.view.*q.value;
    // A power of zero has no dBm.
    const std::string shown = value ? with_unit(*value, q) : "0 mW";
    std::printf("%-12s %-12s %-12s %-12s %-12s %-12s %-6s %s\n", q.label, shown.c_str(),
                with_unit(rec.*q.high_alarm, q).c_str(), with_unit(rec.*q.high_warning, q).c_str(),
                with_unit(rec.*q.low_warning, q).c_str(), with_unit(rec.*q.low_alarm, q).c_str(),
                flag_text(rec.*q.flags, false), flag_text(rec.*q.flags, true));
  }
  std::printf("%-12s %.3f nm\n", "wavelength", static_cast<double>(rec.wavelength));
  if (r.channel) {
    std::printf("%-12s %u\n", "channel", static_cast<unsigned>(rec.channel));
  }
  std::printf("%-12s %s\n%-12s %s\n%-12s %s\n", "LOS", yes_no(rec.los), "Tx fault",
              yes_no(rec.tx_fault), "Tx disabled", yes_no(rec.tx_disabled));
}

void print_text(const Reading &r) {
  if (!r.sfp) {
    std::printf("no SFP behind the adapter\n%-12s %s\n", "Tx disabled", yes_no(r.rec.tx_disabled));
  } else if (r.note != nullptr) {
    std::printf("%s\n", r.note);
  } else if (!r.diagnostics) {
    std::printf("diagnostics: none%s\n", r.copper_type ? " (a copper or loopback type)" : "");
  } else {
    print_table(r);
  }
  if (r.refused) {
    std::printf("%-12s %s\n", "supported", refusal_text(*r.verdict).c_str());
  }
}

std::string json_key(const char *quantity, const char *what, const char *suffix) {
  std::string key = quantity;
  key += what;
  key += '_';
  key += suffix;
  return key;
}

// Behind an adapter that holds no SFP port only the adapter's transmitter
// has a value: the keys of the module are all null.
void print_json(const Reading &r, const std::string &source, bool adapter) {
  JsonObject json;
  json.text("source", source).text("time", utc_time(r.time));
  json.absent(!r.sfp);
  json.integer("type", r.verdict ? r.verdict->type : 0).text("type_name", r.type_name);
  json.flag("supported", r.verdict && r.verdict->supported())
      .text("verdict", r.verdict ? r.verdict->text() : "");
  json.flag("diagnostics", r.diagnostics);
  json.absent(false);
  if (r.note != nullptr) {
    json.text("note", r.note);
  } else {
    json.null("note");
  }
  add_module_keys(json, r.view);
  const auto limit = [&](float value) {
    return r.diagnostics ? std::optional<double>(value) : std::nullopt;
  };
  // Limits as "tx_power_high_alarm_dbm", flags as "tx_power_high_alarm_flag"
  // (in the record's order of flags).
  const char *limits[] = {"_high_alarm", "_high_warning", "_low_warning", "_low_alarm"};
  const char *flags[] = {"_high_alarm", "_low_alarm", "_high_warning", "_low_warning"};
  for (const Quantity &q : kQuantities) {
    const float values[] = {r.rec.*q.high_alarm, r.rec.*q.high_warning, r.rec.*q.low_warning,
                            r.rec.*q.low_alarm};
    for (std::size_t i = 0; i < std::size(limits); ++i) {
      json.number(json_key(q.key, limits[i], q.unit_key), limit(values[i]));
    }
    json.absent(!r.sfp || (r.note != nullptr));
    for (std::size_t i = 0; i < std::size(flags); ++i) {
      json.flag(json_key(q.key, flags[i], "flag"), (r.rec.*q.flags)[i] != 0);
    }
    json.absent(false);
  }
  if (r.diagnostics && r.channel) {
    json.integer("channel", r.rec.channel);
  } else {
    json.null("channel");
  }
  json.absent(!r.status_bits).flag("los", r.rec.los != 0).flag("tx_fault", r.rec.tx_fault != 0);
  json.absent(!r.status_bits && !(adapter && !r.sfp)).flag("tx_disabled", r.rec.tx_disabled != 0);
  json.absent(!r.sfp || r.refused).flag("no_diagnostics_type", r.rec.no_diagnostics != 0);
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
               "module the library refuses is read and decoded from its bytes, with the verdict "
               "(JSON \"supported\": false); an image of A0h only has no diagnostics.");
  }

  PortUse port_use() const override { return PortUse::Optional; }
  bool shows_refused_module() const override { return true; }

  int run(Session &session) override {
    Reading reading;
    reading.time = std::time(nullptr);
    const int exit_code = session.port() == nullptr && session.adapter_port() == nullptr
                              ? read_refused(session, reading)
                              : read_port(session, reading);
    if (exit_code != kExitOk) {
      return exit_code;
    }
    if (json_) {
      print_json(reading, session.source_label(), session.adapter_port() != nullptr);
    } else {
      print_text(reading);
    }
    return kExitOk;
  }

private:
  static int read_port(Session &session, Reading &r) {
    sfp_port_ctx *port = session.port();
    qsa_port_ctx *adapter = session.adapter_port();
    r.sfp = port != nullptr;
    const bool unknown_a2 = port != nullptr && has_diagnostics(*port) && !session.a2_captured();
    if (unknown_a2) {
      r.note = kNoDiagnosticsInImage;
    } else if (session.checked("status", [&] {
                 return adapter != nullptr ? qsa_port_hw_status(adapter, &r.rec)
                                           : sfp_port_hw_status(port, &r.rec);
               }) != SFP_RC_OK) {
      return kExitFailure;
    }
    r.time = std::time(nullptr);
    if (port == nullptr) {
      return kExitOk;
    }
    r.a0 = port->eeprom + SFP_IMAGE_A0;
    r.diagnostics = has_diagnostics(*port) && !unknown_a2;
    r.status_bits = !unknown_a2;
    r.channel = tunable(r.a0);
    r.copper_type = r.rec.no_diagnostics != 0;
    r.view = module_view(*port, unknown_a2 ? nullptr : &r.rec, !unknown_a2);
    r.verdict = port_verdict(*port);
    r.type_name = sfp_xcvr_get_name_from_type(port, port->xcvr_type);
    return kExitOk;
  }

  // A module the library refused: a fresh reading of its A2h lower half,
  // decoded by the library's decode functions, when its bytes declare
  // diagnostics and the image has A2h.
  static int read_refused(Session &session, Reading &r) {
    sfp_port_ctx *context = refused_module(session);
    if (context == nullptr) {
      return kExitFailure;
    }
    const CreationImage &image = session.creation_image();
    r.sfp = true;
    r.refused = true;
    r.a0 = image.data() + SFP_IMAGE_A0;
    r.verdict = refused_verdict(*context);
    r.type_name = sfp_xcvr_get_name_from_type(context, r.verdict->type);
    std::array<uint8_t, 128> a2{};
    const bool declared = declares_diagnostics(image);
    if (!session.a2_captured()) {
      r.note = declared ? kNoDiagnosticsInImage : nullptr;
    } else if (declared) {
      if (read_refused_status(session, *context, "status", a2, r.rec) != SFP_RC_OK) {
        return kExitFailure;
      }
      r.time = std::time(nullptr);
      r.diagnostics = true;
      r.status_bits = true;
    }
    r.view = module_view(*context, ModuleBytes{r.a0, a2.data(), r.diagnostics},
                         r.diagnostics ? &r.rec : nullptr);
    return kExitOk;
  }

  bool json_ = false;
};

} // namespace

std::unique_ptr<Command> make_status_command() {
  return std::make_unique<StatusCommand>();
}

} // namespace sfpctl
