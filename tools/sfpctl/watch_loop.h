// What the commands that watch ports share: the ports they watch, and a loop
// of readings that SIGINT and SIGTERM end cleanly.
#ifndef SFPCTL_WATCH_LOOP_H
#define SFPCTL_WATCH_LOOP_H

#include <cstdint>
#include <optional>
#include <vector>

#include "ports.h"
#include "watch.h"

namespace CLI {
class App;
} // namespace CLI

namespace sfpctl {

struct GlobalOptions;

// The ports of the options: --port and --ports; else the module of --sim or
// --image as port "module"; else default_ports().
std::vector<PortSpec> watched_ports(const GlobalOptions &options);

// The backend of a port on an i2c:, eeprom: or ethtool: source: opened, and
// opened again, at each reading until it can be; presence and serial number
// read through the source. Null and `error` set for what is not a source.
std::unique_ptr<PortBackend> open_source_backend(const std::string &source, std::string &error);

// While it lives, SIGINT and SIGTERM only set a flag: they are held back
// while a reading runs, and end the wait between readings at once.
class StopSignals {
public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals &) = delete;
  StopSignals &operator=(const StopSignals &) = delete;

  // Waits `seconds` (0: only takes a pending signal); false once a signal
  // came.
  bool wait(double seconds);
  bool stopped() const;
};

// --interval SECONDS and --count N of a repeating command.
struct Repeat {
  double interval = 1.0;
  std::optional<uint64_t> count; // none: until stopped
  void add_options(CLI::App &sub, const char *what, bool interval_repeats);
};

} // namespace sfpctl

#endif // SFPCTL_WATCH_LOOP_H
