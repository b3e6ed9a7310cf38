#include "metrics_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>

#include "terminal_text.h"

namespace sfpctl {
namespace {

struct QuantityMetric {
  Quantity quantity;
  const char *label;     // the quantity label of flags
  const char *value;     // family of the value
  const char *threshold; // family of the limits
  const char *help;
  double scale; // from the reading's unit to the base unit
};

// clang-format off
constexpr QuantityMetric kMetrics[] = {
    {Quantity::Temperature, "temperature", "sfp_temperature_celsius",
     "sfp_temperature_threshold_celsius", "module temperature", 1.0},
    {Quantity::Vcc, "supply_voltage", "sfp_supply_voltage_volts",
     "sfp_supply_voltage_threshold_volts", "module supply voltage", 1.0},
    {Quantity::TxBias, "tx_bias", "sfp_tx_bias_amperes", "sfp_tx_bias_threshold_amperes",
     "laser bias current", 1e-3},
    {Quantity::TxPower, "tx_power", "sfp_tx_power_watts", "sfp_tx_power_threshold_watts",
     "transmit power", 1e-3},
    {Quantity::RxPower, "rx_power", "sfp_rx_power_watts", "sfp_rx_power_threshold_watts",
     "receive power", 1e-3},
};
// clang-format on

constexpr Level kLevels[] = {Level::HighAlarm, Level::HighWarning, Level::LowWarning,
                             Level::LowAlarm};

void number(std::string &out, double value) {
  char digits[32];
  // The values come from single-precision numbers: their shortest float form.
  const auto result = std::to_chars(digits, digits + sizeof digits, static_cast<float>(value));
  out.append(digits, result.ptr);
}

void family(std::string &out, std::string_view name, std::string_view type, std::string_view help) {
  out.append("# HELP ").append(name).append(" ").append(help).append("\n# TYPE ");
  out.append(name).append(" ").append(type).append("\n");
}

// `name{port="P"` without the closing brace: more labels may follow.
void series(std::string &out, std::string_view name, const PortReading &reading) {
  out.append(name).append("{port=\"").append(label_value(reading.name)).append("\"");
}

void label(std::string &out, std::string_view key, std::string_view value) {
  out.append(",").append(key).append("=\"").append(value).append("\"");
}

void sample(std::string &out, double value) {
  out.append("} ");
  number(out, value);
  out.append("\n");
}

bool measured(const PortReading &r) {
  return r.state == PortState::Up && r.diagnostics;
}

void render_values(const std::vector<PortReading> &readings, std::string &out) {
  for (const QuantityMetric &metric : kMetrics) {
    family(out, metric.value, "gauge", std::string("Measured ") + metric.help + ".");
    for (const PortReading &r : readings) {
      if (measured(r) && r[metric.quantity].value) {
        series(out, metric.value, r);
        sample(out, *r[metric.quantity].value * metric.scale);
      }
    }
  }
  for (const QuantityMetric &metric : kMetrics) {
    if (!quantity_info(metric.quantity).power) {
      continue;
    }
    const std::string name = std::string("sfp_") + metric.label + "_dbm";
    family(out, name, "gauge",
           std::string("Measured ") + metric.help + " in dBm (none for a power of zero).");
    for (const PortReading &r : readings) {
      if (measured(r) && r[metric.quantity].dbm) {
        series(out, name, r);
        sample(out, *r[metric.quantity].dbm);
      }
    }
  }
}

void render_thresholds(const std::vector<PortReading> &readings, std::string &out) {
  for (const QuantityMetric &metric : kMetrics) {
    family(out, metric.threshold, "gauge",
           std::string("The module's alarm and warning thresholds of its ") + metric.help + ".");
    for (const PortReading &r : readings) {
      if (!measured(r)) {
        continue;
      }
      for (const Level level : kLevels) {
        series(out, metric.threshold, r);
        label(out, "level", level_key(level));
        sample(out, r[metric.quantity].limits[static_cast<std::size_t>(level)] * metric.scale);
      }
    }
  }
}

void render_flags(const std::vector<PortReading> &readings, std::string &out) {
  const struct {
    const char *name;
    const char *help;
    Level high;
    Level low;
  } kFlags[] = {
      {"sfp_alarm", "Alarm flag the module raised (1) for a quantity and direction.",
       Level::HighAlarm, Level::LowAlarm},
      {"sfp_warning", "Warning flag the module raised (1) for a quantity and direction.",
       Level::HighWarning, Level::LowWarning},
  };
  for (const auto &flag : kFlags) {
    family(out, flag.name, "gauge", flag.help);
    for (const PortReading &r : readings) {
      if (!measured(r)) {
        continue;
      }
      for (const QuantityMetric &metric : kMetrics) {
        for (const auto &[direction, level] : {std::pair{"high", flag.high}, {"low", flag.low}}) {
          series(out, flag.name, r);
          label(out, "quantity", metric.label);
          label(out, "direction", direction);
          sample(out, r[metric.quantity].flags[static_cast<std::size_t>(level)] ? 1 : 0);
        }
      }
    }
  }
}

void render_status_bits(const std::vector<PortReading> &readings, std::string &out) {
  const struct {
    const char *name;
    const char *help;
    bool PortReading::*bit;
  } kBits[] = {
      {"sfp_rx_los", "Loss of receive signal (1).", &PortReading::los},
      {"sfp_tx_fault", "Transmitter fault (1).", &PortReading::tx_fault},
      {"sfp_tx_disabled", "Transmitter disabled by software (1).", &PortReading::tx_disabled},
  };
  for (const auto &bit : kBits) {
    family(out, bit.name, "gauge", bit.help);
    for (const PortReading &r : readings) {
      if (r.state == PortState::Up) {
        series(out, bit.name, r);
        sample(out, r.*bit.bit ? 1 : 0);
      }
    }
  }
}

void render_ports(const std::vector<PortReading> &readings, std::string &out) {
  family(out, "sfp_up", "gauge",
         "Whether the port's module was read (1), or is absent, "
         "refused or failing (0).");
  for (const PortReading &r : readings) {
    series(out, "sfp_up", r);
    sample(out, r.state == PortState::Up ? 1 : 0);
  }
  family(out, "sfp_read_errors_total", "counter", "Failed readings of the port's module.");
  for (const PortReading &r : readings) {
    series(out, "sfp_read_errors_total", r);
    sample(out, static_cast<double>(r.read_errors));
  }
  family(out, "sfp_module_info", "gauge",
         "The module in the port: vendor, part number, serial, type name and whether the "
         "library supports it.");
  for (const PortReading &r : readings) {
    if (!r.identity) {
      continue;
    }
    series(out, "sfp_module_info", r);
    label(out, "vendor", label_value(r.identity->vendor));
    label(out, "part_number", label_value(r.identity->part_number));
    label(out, "serial", label_value(r.identity->serial));
    label(out, "type", label_value(r.identity->type_name));
    label(out, "supported", r.identity->supported ? "true" : "false");
    sample(out, 1);
  }
}

} // namespace

std::string label_value(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\' || c == '"') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += byte < 0x20 || byte > 0x7e ? '.' : c;
    }
  }
  return out;
}

void render_metrics(const std::vector<PortReading> &readings, std::string &out) {
  render_ports(readings, out);
  render_values(readings, out);
  render_thresholds(readings, out);
  render_flags(readings, out);
  render_status_bits(readings, out);
}

bool write_file_atomically(const std::string &path, std::string_view text, std::string &error) {
  const std::filesystem::path target(path);
  const std::filesystem::path directory =
      target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
  // A name the textfile collector skips (it reads *.prom only).
  std::string name(1, '.');
  name += target.filename().string();
  name += ".XXXXXX";
  std::string temporary = (directory / name).string();
  const int fd = mkstemp(temporary.data());
  if (fd < 0) {
    error = "cannot create a temporary file in '" + echoed(directory.string()) +
            "': " + std::strerror(errno);
    return false;
  }
  bool written = fchmod(fd, 0644) == 0;
  for (std::size_t done = 0; written && done < text.size();) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    written = n > 0;
    done += written ? static_cast<std::size_t>(n) : 0;
  }
  written = written && fsync(fd) == 0;
  const int saved = errno;
  written = close(fd) == 0 && written;
  if (!written || std::rename(temporary.c_str(), path.c_str()) != 0) {
    error = "cannot write '" + echoed(path) + "': " + std::strerror(written ? errno : saved);
    std::remove(temporary.c_str());
    return false;
  }
  return true;
}

} // namespace sfpctl
