// Watching a set of named ports: each port's module is identified once when
// it is inserted, then read with the library's status snapshot at every
// reading. A port whose module is absent, removed, refused or failing says so
// in its reading and never stops the others; a module swapped between two
// readings (its serial number changed) is identified afresh.
#ifndef SFPCTL_WATCH_H
#define SFPCTL_WATCH_H

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/evm.h"
#include "ports.h"
#include "sfpdrv/sfpdrv.h"
#include "sfpsim/module.h"

namespace sfpctl {

enum class PortState {
  Up,      // the module was read
  Absent,  // no module in the port (an image file that is not there)
  Refused, // the library refused the module (its creation failed, e.g. status 95)
  Failed,  // the source or the module failed (a bad image, a failing read)
};

const char *state_name(PortState state);

// The monitored quantities, in the order of the status table.
enum class Quantity { Temperature, Vcc, TxBias, TxPower, RxPower };
inline constexpr std::size_t kQuantityCount = 5;

// The four limits and flags of a quantity, in this order.
enum class Level { HighAlarm, HighWarning, LowWarning, LowAlarm };
inline constexpr std::size_t kLevelCount = 4;

struct QuantityInfo {
  const char *key;   // "temperature", "vcc", "tx_bias", "tx_power", "rx_power"
  const char *label; // "temperature", "supply", "tx bias", "tx power", "rx power"
  const char *unit;  // of value and limits: "C", "V", "mA", "mW", "mW"
  int decimals;      // as the status table shows them
  bool power;        // also in dBm
};
const QuantityInfo &quantity_info(Quantity quantity);
const char *level_key(Level level);  // "high_alarm", ...
const char *level_text(Level level); // "high alarm", ...

struct Measurement {
  std::optional<double> value;              // in the quantity's unit
  std::optional<double> dbm;                // powers: the library's dBm; none for a power of zero
  std::array<double, kLevelCount> limits{}; // in the quantity's unit
  std::array<double, kLevelCount> limits_dbm{}; // powers only
  std::array<bool, kLevelCount> flags{};        // as the module raised them
};

struct Identity {
  std::string vendor;
  std::string part_number;
  std::string serial;
  uint32_t type = 0;
  std::string type_name;
  bool supported = false;
};

struct PortReading {
  std::string name;
  std::string source;
  PortState state = PortState::Absent;
  std::string problem;              // why the port is not up, one line
  std::string event;                // "inserted", "removed", "swapped" on the reading after
  std::optional<Identity> identity; // up and refused modules
  bool diagnostics = false;         // the module has live diagnostics
  std::array<Measurement, kQuantityCount> measurements{};
  bool los = false;
  bool tx_fault = false;
  bool tx_disabled = false;
  uint64_t read_errors = 0; // failed readings of this port so far
  std::chrono::system_clock::time_point time;

  const Measurement &operator[](Quantity q) const {
    return measurements[static_cast<std::size_t>(q)];
  }
};

// Where a port's module comes from: what is in the port now (looked at
// without the module's bus) and the module itself.
class PortBackend {
public:
  virtual ~PortBackend() = default;
  struct Probe {
    PortState state = PortState::Up; // Up: a module is there; Absent or Failed
    std::string problem;
    std::string serial; // of the module there now (A0h bytes 68..83)
  };
  // Looks at the port; may replace the module by the one now there.
  virtual Probe probe() = 0;
  // Fills the creation record's module part (opaque, callbacks, the caller
  // image) for the module there now; its status, and `error` on failure.
  virtual sfp_rc fill_ops(sfp_platform_ops &ops, std::string &error) = 0;
  // The simulated module behind the port; null for a real one.
  virtual sfpsim::Module *simulated() = 0;
  // A module with a live link: its creation leaves the transmitter as found.
  virtual bool real() const { return false; }
};

// Opens the backend of a source other than sim: and image: (the tool's
// real-module sources); null and `error` set when it cannot.
using BackendOpener = std::unique_ptr<PortBackend> (*)(const std::string &source,
                                                       std::string &error);

// The backend of a SOURCE: "sim:PROFILE" or "image:PATH", any other through
// `others` when given. Null and `error` set for a source it does not know.
std::unique_ptr<PortBackend> open_backend(const std::string &source, std::string &error,
                                          BackendOpener others = nullptr);

// One watched port and the library port on its module.
class WatchedPort {
public:
  // `manager` gets the library's trace commands at its first creation.
  WatchedPort(PortSpec spec, int32_t number, event_manager *manager,
              BackendOpener others = nullptr);
  ~WatchedPort();
  WatchedPort(const WatchedPort &) = delete;
  WatchedPort &operator=(const WatchedPort &) = delete;

  PortReading read();

  const PortSpec &spec() const { return spec_; }
  // The simulated module behind the port; null for a real one, or when the
  // source could not be opened.
  sfpsim::Module *module() { return backend_ ? backend_->simulated() : nullptr; }
  // How often the port was created (once per inserted module).
  uint64_t creations() const { return creations_; }

private:
  void create(PortReading &reading);
  void drop_port();
  void read_status(PortReading &reading);

  PortSpec spec_;
  int32_t number_;
  event_manager *manager_;
  std::string open_error_; // before backend_: its opening sets it
  std::unique_ptr<PortBackend> backend_;
  sfp_port_ctx *port_ = nullptr;
  bool refused_ = false; // the library refused the module in the port
  std::string refused_problem_;
  std::optional<Identity> identity_;
  std::string serial_; // of the module the port was created on
  bool had_module_ = false;
  uint64_t read_errors_ = 0;
  uint64_t creations_ = 0;
};

// The ports of a command, read together.
class PortSet {
public:
  // `others` opens the sources beyond sim: and image:.
  explicit PortSet(const std::vector<PortSpec> &specs, BackendOpener others = nullptr);
  ~PortSet();
  PortSet(const PortSet &) = delete;
  PortSet &operator=(const PortSet &) = delete;
  std::vector<PortReading> read_all();
  std::vector<std::unique_ptr<WatchedPort>> &ports() { return ports_; }

private:
  event_manager *manager_;
  std::vector<std::unique_ptr<WatchedPort>> ports_;
};

// The ports watched when a command is given none: three embedded simulated
// modules, one of them drifting into a warning.
std::vector<PortSpec> default_ports();

} // namespace sfpctl

#endif // SFPCTL_WATCH_H
