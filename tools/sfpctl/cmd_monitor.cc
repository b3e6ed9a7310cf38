// monitor: a live table of the ports' diagnostics, redrawn in place on a
// terminal with a trend of each value, plain rows otherwise, and optionally
// every reading appended to a CSV file.
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <ctime>
#include <deque>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "command.h"
#include "health.h"
#include "session.h"
#include "terminal_text.h"
#include "watch.h"
#include "watch_loop.h"

namespace sfpctl {
namespace {

constexpr std::size_t kTrendLength = 12;
constexpr const char *kClear = "\x1b[H\x1b[2J"; // cursor home, clear the screen
constexpr const char *kChanged = "\x1b[1m";     // bold
constexpr const char *kAlarm = "\x1b[1;31m";    // bold red
constexpr const char *kWarning = "\x1b[1;33m";  // bold yellow
constexpr const char *kReset = "\x1b[0m";

constexpr Level kLevels[] = {Level::HighAlarm, Level::HighWarning, Level::LowWarning,
                             Level::LowAlarm};

std::string iso_time(std::chrono::system_clock::time_point time) {
  const auto since = time.time_since_epoch();
  const std::time_t seconds = std::chrono::duration_cast<std::chrono::seconds>(since).count();
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(since).count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[40];
  const std::size_t n = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + n, sizeof text - n, ".%03dZ", static_cast<int>(millis));
  return text;
}

std::string shortest(double value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, static_cast<float>(value));
  return {digits, result.ptr};
}

// "temperature-high,rx_power-low": the quantities whose alarm (or warning)
// flags are raised, "-" for none.
std::string raised(const PortReading &r, bool warning) {
  std::string text;
  for (std::size_t i = 0; i < kQuantityCount; ++i) {
    const Measurement &m = r.measurements[i];
    const auto high = static_cast<std::size_t>(warning ? Level::HighWarning : Level::HighAlarm);
    const auto low = static_cast<std::size_t>(warning ? Level::LowWarning : Level::LowAlarm);
    for (const auto &[flag, side] : {std::pair{m.flags[high], "-high"}, {m.flags[low], "-low"}}) {
      if (flag) {
        text += (text.empty() ? "" : ",") +
                std::string(quantity_info(static_cast<Quantity>(i)).key) + side;
      }
    }
  }
  return text.empty() ? "-" : text;
}

std::string note_of(const PortReading &r) {
  std::string note = r.event;
  if (!r.problem.empty()) {
    note += (note.empty() ? "" : "; ") + r.problem;
  }
  return printable(note);
}

// Every reading as one CSV row, the file's header first when it is new or
// empty; each row is flushed whole.
class CsvLog {
public:
  bool open(const std::string &path) {
    file_ = std::fopen(path.c_str(), "a");
    if (file_ == nullptr) {
      print_error("cannot open CSV file '" + echoed(path) + "'");
      return false;
    }
    path_ = path;
    std::fseek(file_, 0, SEEK_END);
    return std::ftell(file_) > 0 || write_line(header());
  }
  ~CsvLog() {
    if (file_ != nullptr) {
      std::fclose(file_);
    }
  }
  bool write(const PortReading &r) { return write_line(row(r)); }

private:
  static std::string header() {
    std::string line = "time,port,state,vendor,part_number,serial";
    for (std::size_t i = 0; i < kQuantityCount; ++i) {
      const QuantityInfo &info = quantity_info(static_cast<Quantity>(i));
      const std::string key = info.key;
      const std::string unit = info.power ? "dbm" : unit_key(info);
      if (info.power) {
        line += "," + key + "_mw";
      }
      line += "," + key + "_" + unit;
      for (const Level level : kLevels) {
        line += "," + key + "_" + level_key(level) + "_" + unit;
      }
      for (const Level level : kLevels) {
        line += "," + key + "_" + level_key(level) + "_flag";
      }
    }
    return line + ",los,tx_fault,tx_disabled,read_errors,note\n";
  }
  static std::string unit_key(const QuantityInfo &info) {
    std::string unit = info.unit;
    for (char &c : unit) {
      c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return unit;
  }
  static std::string cell(std::string_view text) {
    if (text.find_first_of(",\"\n") == std::string_view::npos) {
      return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
      quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
  }
  static std::string row(const PortReading &r) {
    std::string line = iso_time(r.time) + "," + cell(printable(r.name)) + "," + state_name(r.state);
    for (const std::string *text : {r.identity ? &r.identity->vendor : nullptr,
                                    r.identity ? &r.identity->part_number : nullptr,
                                    r.identity ? &r.identity->serial : nullptr}) {
      line += "," + (text != nullptr ? cell(printable(*text)) : std::string());
    }
    const bool values = r.state == PortState::Up && r.diagnostics;
    for (std::size_t i = 0; i < kQuantityCount; ++i) {
      const Measurement &m = r.measurements[i];
      const bool power = quantity_info(static_cast<Quantity>(i)).power;
      const auto put = [&line, values](std::optional<double> v) {
        line += "," + (values && v ? shortest(*v) : std::string());
      };
      if (power) {
        put(m.value);
      }
      put(power ? m.dbm : m.value);
      for (const Level level : kLevels) {
        const auto l = static_cast<std::size_t>(level);
        put(power ? m.limits_dbm[l] : m.limits[l]);
      }
      for (const Level level : kLevels) {
        line += values ? (m.flags[static_cast<std::size_t>(level)] ? ",1" : ",0") : ",";
      }
    }
    const bool up = r.state == PortState::Up;
    for (const bool bit : {r.los, r.tx_fault, r.tx_disabled}) {
      line += up ? (bit ? ",1" : ",0") : ",";
    }
    return line + "," + std::to_string(r.read_errors) + "," + cell(note_of(r)) + "\n";
  }
  bool write_line(const std::string &line) {
    if (std::fputs(line.c_str(), file_) < 0 || std::fflush(file_) != 0) {
      print_error("cannot write CSV file '" + echoed(path_) + "'");
      return false;
    }
    return true;
  }

  std::FILE *file_ = nullptr;
  std::string path_;
};

// The table on a terminal: redrawn in place, with the trend of each value,
// changed values bold and raised flags in colour.
class TerminalView {
public:
  std::string frame(const std::vector<PortReading> &readings, uint64_t reading) {
    std::string out = kClear;
    out += "sfpctl monitor   reading " + std::to_string(reading) + "   " +
           iso_time(readings.empty() ? std::chrono::system_clock::now() : readings.front().time) +
           "   (Ctrl-C ends)\n\n";
    char line[256];
    std::snprintf(line, sizeof line, "%-12s %-22s %-*s %-11s %-11s %-11s %-11s %-7s %s\n",
                  "QUANTITY", "VALUE", static_cast<int>(kTrendLength), "TREND", "HIGH ALARM",
                  "HIGH WARN", "LOW WARN", "LOW ALARM", "ALARM", "WARNING");
    out += line;
    for (const PortReading &r : readings) {
      port(out, r);
    }
    return out;
  }

private:
  struct Track {
    std::array<std::deque<double>, kQuantityCount> history;
    std::optional<PortReading> last;
  };

  static std::string trend(const std::deque<double> &history) {
    static constexpr const char *kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    if (history.empty()) {
      return std::string(kTrendLength, ' ');
    }
    const auto [low, high] = std::minmax_element(history.begin(), history.end());
    std::string bars;
    for (const double value : history) {
      const double share = *high > *low ? (value - *low) / (*high - *low) : 0.0;
      bars += kBars[static_cast<std::size_t>(share * 7.0 + 0.5)];
    }
    return bars + std::string(kTrendLength - history.size(), ' ');
  }

  static std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) {
      text.append(width - text.size(), ' ');
    }
    return text;
  }

  static std::string marked(const std::string &text, const char *style) {
    return style == nullptr ? text : style + text + kReset;
  }

  static const char *flag_style(bool alarm, bool warning) {
    return alarm ? kAlarm : warning ? kWarning : nullptr;
  }

  void port(std::string &out, const PortReading &r) {
    Track &track = tracks_[r.name];
    out += "\n" + marked(padded(printable(r.name), 6), kChanged) + " " + printable(r.source);
    if (r.identity) {
      out += "  " + printable(r.identity->vendor) + " " + printable(r.identity->part_number) + " " +
             printable(r.identity->serial) + "  " + printable(r.identity->type_name);
    }
    out += "\n";
    if (r.state != PortState::Up || !r.diagnostics) {
      const std::string what = r.state != PortState::Up ? state_name(r.state) : "no diagnostics";
      out += "  " + marked(what, r.state == PortState::Up ? nullptr : kWarning) + "  " +
             note_of(r) + "\n";
      track.last.reset();
      return;
    }
    if (!r.event.empty()) {
      out += "  " + printable(r.event) + "\n";
    }
    for (std::size_t i = 0; i < kQuantityCount; ++i) {
      quantity(out, r, static_cast<Quantity>(i), track);
    }
    out += std::string("  LOS ") + (r.los ? "yes" : "no") + "  Tx fault " +
           (r.tx_fault ? "yes" : "no") + "  Tx disabled " + (r.tx_disabled ? "yes" : "no") + "\n";
    track.last = r;
  }

  void quantity(std::string &out, const PortReading &r, Quantity q, Track &track) {
    const auto i = static_cast<std::size_t>(q);
    const Measurement &m = r.measurements[i];
    std::deque<double> &history = track.history[i];
    if (m.value) {
      history.push_back(quantity_info(q).power && m.dbm ? *m.dbm : *m.value);
      if (history.size() > kTrendLength) {
        history.pop_front();
      }
    }
    std::string value = value_text(q, m);
    if (quantity_info(q).power && m.value) {
      char mw[32];
      std::snprintf(mw, sizeof mw, "  %.4f mW", *m.value);
      value += mw;
    }
    const bool changed = track.last && (*track.last)[q].value != m.value;
    const auto flag = [&m](Level level) { return m.flags[static_cast<std::size_t>(level)]; };
    const bool alarm = flag(Level::HighAlarm) || flag(Level::LowAlarm);
    const bool warning = flag(Level::HighWarning) || flag(Level::LowWarning);
    out += "  " + padded(quantity_info(q).label, 11) + " " +
           marked(padded(value, 22), alarm     ? kAlarm
                                     : warning ? kWarning
                                     : changed ? kChanged
                                               : nullptr) +
           " " + trend(history);
    for (const Level level : kLevels) {
      out += " " + padded(limit_text(q, m, level), 11);
    }
    const auto side = [&](Level high, Level low) {
      return flag(high) ? std::string("high") : flag(low) ? std::string("low") : std::string("-");
    };
    out +=
        " " + marked(padded(side(Level::HighAlarm, Level::LowAlarm), 7), flag_style(alarm, false));
    out += " " + marked(side(Level::HighWarning, Level::LowWarning), flag_style(false, warning));
    out += "\n";
  }

  std::map<std::string, Track> tracks_;
};

void print_plain_header() {
  std::printf("%-7s %-24s %-8s %-8s %-7s %-6s %-10s %-8s %-8s %-8s %-8s %-28s %-28s %s\n",
              "READING", "TIME", "PORT", "STATE", "TEMP_C", "VCC_V", "TX_BIAS_MA", "TX_DBM",
              "TX_MW", "RX_DBM", "RX_MW", "ALARMS", "WARNINGS", "NOTE");
}

void print_plain_row(const PortReading &r, uint64_t reading) {
  const bool values = r.state == PortState::Up && r.diagnostics;
  const auto shown = [values](std::optional<double> v, int decimals) {
    if (!values || !v) {
      return std::string("-");
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, *v);
    return std::string(text);
  };
  const Measurement &tx = r[Quantity::TxPower];
  const Measurement &rx = r[Quantity::RxPower];
  std::printf("%-7llu %-24s %-8s %-8s %-7s %-6s %-10s %-8s %-8s %-8s %-8s %-28s %-28s %s\n",
              static_cast<unsigned long long>(reading), iso_time(r.time).c_str(),
              printable(r.name).c_str(), state_name(r.state),
              shown(r[Quantity::Temperature].value, 1).c_str(),
              shown(r[Quantity::Vcc].value, 3).c_str(), shown(r[Quantity::TxBias].value, 2).c_str(),
              shown(tx.dbm, 2).c_str(), shown(tx.value, 4).c_str(), shown(rx.dbm, 2).c_str(),
              shown(rx.value, 4).c_str(), values ? raised(r, false).c_str() : "-",
              values ? raised(r, true).c_str() : "-", note_of(r).c_str());
}

class MonitorCommand : public Command {
public:
  std::string_view name() const override { return "monitor"; }
  std::string_view summary() const override {
    return "Watch the ports' diagnostics live: values, thresholds, flags and their trend";
  }
  PortUse port_use() const override { return PortUse::None; }
  void add_arguments(CLI::App &sub) override {
    repeat_.add_options(sub, "readings", false);
    sub.add_option("--csv", csv_,
                   "Append one row per port and reading to this CSV file (ISO 8601 time, port, "
                   "every value, threshold and flag; the header when the file is new or empty)")
        ->type_name("FILE");
    sub.footer("Reads every port at each interval with the library's status snapshot (a module "
               "is identified once when it is inserted) until --count readings or Ctrl-C / "
               "SIGTERM. Ports: --port NAME=SOURCE, --ports FILE; without them three embedded "
               "simulated ports, p2 drifting into a warning. On a terminal the table is redrawn "
               "in place: changed values bold, raised alarms red and warnings yellow, with a "
               "trend of each value's recent readings; otherwise one plain row per port and "
               "reading.");
  }

  int run(Session &session) override {
    PortSet ports(watched_ports(session.options()), &open_source_backend);
    CsvLog csv;
    if (!csv_.empty() && !csv.open(csv_)) {
      return kExitFailure;
    }
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    TerminalView view;
    if (!terminal) {
      print_plain_header();
    }
    StopSignals signals;
    for (uint64_t reading = 1;; ++reading) {
      const std::vector<PortReading> readings = ports.read_all();
      for (const PortReading &r : readings) {
        if (!csv_.empty() && !csv.write(r)) {
          return kExitFailure;
        }
      }
      if (terminal) {
        const std::string frame = view.frame(readings, reading);
        std::fwrite(frame.data(), 1, frame.size(), stdout);
      } else {
        for (const PortReading &r : readings) {
          print_plain_row(r, reading);
        }
      }
      if (!flush_standard_output()) {
        return kExitFailure;
      }
      if ((repeat_.count && reading >= *repeat_.count) || !signals.wait(repeat_.interval)) {
        return kExitOk;
      }
    }
  }

private:
  Repeat repeat_;
  std::string csv_;
};

} // namespace

std::unique_ptr<Command> make_monitor_command() {
  return std::make_unique<MonitorCommand>();
}

} // namespace sfpctl
