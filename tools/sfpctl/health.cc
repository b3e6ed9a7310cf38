#include "health.h"

#include <algorithm>
#include <cstdio>

namespace sfpctl {
namespace {

std::string formatted(double value, int decimals, const char *unit) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f %s", decimals, value, unit);
  return text;
}

int rank(Health health) {
  switch (health) {
  case Health::Critical:
    return 3;
  case Health::Warning:
    return 2;
  case Health::Unknown:
    return 1;
  case Health::Ok:
    return 0;
  }
  return 0;
}

// The problem of one direction (high or low) of a quantity at one severity:
// its flag raised, or its value beyond the limit.
std::optional<std::string> beyond(const PortReading &r, Quantity q, Level level) {
  const Measurement &m = r[q];
  const auto index = static_cast<std::size_t>(level);
  const bool high = level == Level::HighAlarm || level == Level::HighWarning;
  const bool past = m.value && (high ? *m.value > m.limits[index] : *m.value < m.limits[index]);
  if (!past && !m.flags[index]) {
    return std::nullopt;
  }
  const std::string head = r.name + " " + quantity_info(q).label + " " + value_text(q, m);
  if (past) {
    return head + (high ? " above " : " below ") + level_text(level) + " " +
           limit_text(q, m, level);
  }
  return head + ": " + level_text(level) + " flag raised";
}

void assess_port(const PortReading &r, bool absent_ok, std::vector<Problem> &problems) {
  if (r.state == PortState::Absent && absent_ok) {
    return;
  }
  if (r.state != PortState::Up) {
    problems.push_back({Health::Unknown, r.name + " " + state_name(r.state) + ": " + r.problem});
    return;
  }
  if (!r.diagnostics) {
    return;
  }
  for (std::size_t i = 0; i < kQuantityCount; ++i) {
    const auto q = static_cast<Quantity>(i);
    bool critical = false;
    for (const Level level : {Level::HighAlarm, Level::LowAlarm}) {
      if (std::optional<std::string> text = beyond(r, q, level)) {
        problems.push_back({Health::Critical, std::move(*text)});
        critical = true;
      }
    }
    for (const Level level : {Level::HighWarning, Level::LowWarning}) {
      std::optional<std::string> text = critical ? std::nullopt : beyond(r, q, level);
      if (text) {
        problems.push_back({Health::Warning, std::move(*text)});
      }
    }
  }
}

} // namespace

const char *health_name(Health health) {
  switch (health) {
  case Health::Ok:
    return "OK";
  case Health::Warning:
    return "WARNING";
  case Health::Critical:
    return "CRITICAL";
  case Health::Unknown:
    return "UNKNOWN";
  }
  return "UNKNOWN";
}

std::string value_text(Quantity quantity, const Measurement &m) {
  const QuantityInfo &info = quantity_info(quantity);
  if (!m.value) {
    return "-";
  }
  if (info.power) {
    return m.dbm ? formatted(*m.dbm, 2, "dBm") : "0 mW";
  }
  return formatted(*m.value, info.decimals, info.unit);
}

std::string limit_text(Quantity quantity, const Measurement &m, Level level) {
  const QuantityInfo &info = quantity_info(quantity);
  const auto index = static_cast<std::size_t>(level);
  return info.power ? formatted(m.limits_dbm[index], 2, "dBm")
                    : formatted(m.limits[index], info.decimals, info.unit);
}

HealthReport assess(const std::vector<PortReading> &readings, bool absent_ok) {
  HealthReport report;
  for (const PortReading &r : readings) {
    assess_port(r, absent_ok, report.problems);
  }
  std::stable_sort(
      report.problems.begin(), report.problems.end(),
      [](const Problem &a, const Problem &b) { return rank(a.health) > rank(b.health); });
  if (!report.problems.empty()) {
    report.worst = report.problems.front().health;
  }
  return report;
}

std::string summary_line(const HealthReport &report, std::size_t ports) {
  const std::string head = std::string("SFP ") + health_name(report.worst) + " - ";
  if (report.problems.empty()) {
    return head + std::to_string(ports) + (ports == 1 ? " port" : " ports") +
           " without alarm or warning";
  }
  return head + report.problems.front().text;
}

} // namespace sfpctl
