// The health of a set of ports as a monitoring plugin reports it: OK,
// WARNING, CRITICAL or UNKNOWN, with one line per problem.
#ifndef SFPCTL_HEALTH_H
#define SFPCTL_HEALTH_H

#include <string>
#include <vector>

#include "watch.h"

namespace sfpctl {

// The exit codes of `sfpctl check`, the plugin conventions.
enum class Health { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

const char *health_name(Health health);

struct Problem {
  Health health;
  std::string text; // e.g. "p2 rx power -21.30 dBm below low alarm -20.00 dBm"
};

struct HealthReport {
  Health worst = Health::Ok;
  std::vector<Problem> problems; // worst first, then in port order
};

// An alarm flag or a value beyond an alarm threshold is CRITICAL, a warning
// flag or a value beyond a warning threshold WARNING; a port that is not up
// is UNKNOWN, except an absent module with `absent_ok`. Worst is CRITICAL,
// then WARNING, then UNKNOWN.
HealthReport assess(const std::vector<PortReading> &readings, bool absent_ok);

// "SFP CRITICAL - p2 rx power ..." (the worst problem), or "SFP OK - N ports
// without alarm or warning".
std::string summary_line(const HealthReport &report, std::size_t ports);

// A quantity's value as the status table shows it ("41.2 C", "-2.50 dBm",
// "0 mW" for a power of zero), or "-" when there is none.
std::string value_text(Quantity quantity, const Measurement &m);
// A limit of the quantity in the same form.
std::string limit_text(Quantity quantity, const Measurement &m, Level level);

} // namespace sfpctl

#endif // SFPCTL_HEALTH_H
