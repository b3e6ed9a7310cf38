#include "watch.h"

#include <cmath>
#include <filesystem>

#include "module_view.h"
#include "status_text.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

constexpr int32_t kController = 0;
constexpr std::size_t kSerialOffset = 68; // A0h, 16 bytes
constexpr std::size_t kSerialWidth = 16;

// clang-format off
constexpr QuantityInfo kQuantities[kQuantityCount] = {
    {"temperature", "temperature", "C",  1, false},
    {"vcc",         "supply",      "V",  3, false},
    {"tx_bias",     "tx bias",     "mA", 2, false},
    {"tx_power",    "tx power",    "mW", 4, true},
    {"rx_power",    "rx power",    "mW", 4, true},
};
// clang-format on

std::string serial_of(const sfpsim::Memory &memory) {
  return field_value(std::span<const uint8_t>(memory.a0.data() + kSerialOffset, kSerialWidth));
}

class SimBackend : public PortBackend {
public:
  explicit SimBackend(const sfpsim::Profile &profile) : module_(profile) {}
  Probe probe() override { return {PortState::Up, {}, serial_of(module_.memory())}; }
  sfp_rc fill_ops(sfp_platform_ops &ops, std::string &) override {
    ops = module_.platform_ops(ops.controller, ops.port);
    return SFP_RC_OK;
  }
  sfpsim::Module *simulated() override { return &module_; }

private:
  sfpsim::Module module_;
};

// A module image file stands for the port: looked at again at each reading,
// a file that is gone is an empty port, and another module's image (another
// serial number) a swapped module.
class ImageBackend : public PortBackend {
public:
  explicit ImageBackend(std::string path) : path_(std::move(path)) {}
  Probe probe() override {
    std::error_code ignored;
    if (!std::filesystem::exists(path_, ignored)) {
      return {PortState::Absent, "no module (no file '" + echoed(path_) + "')", {}};
    }
    std::string error;
    std::optional<sfpsim::Memory> memory = sfpsim::load_image_file(path_, error);
    if (!memory) {
      return {PortState::Failed, "cannot load image: " + error, {}};
    }
    const std::string serial = serial_of(*memory);
    if (module_ == nullptr || serial != serial_of(module_->memory())) {
      module_ = std::make_unique<sfpsim::Module>(*memory);
    }
    return {PortState::Up, {}, serial};
  }
  sfp_rc fill_ops(sfp_platform_ops &ops, std::string &) override {
    ops = module_->platform_ops(ops.controller, ops.port);
    return SFP_RC_OK;
  }
  sfpsim::Module *simulated() override { return module_.get(); }

private:
  std::string path_;
  std::unique_ptr<sfpsim::Module> module_;
};

// The context the library keeps registered for `opaque` after a failed
// creation, if any.
sfp_port_ctx *registered_port(const void *opaque) {
  for (sfp_port_ctx *port = sfp_get_ctx()->ports; port != nullptr; port = port->next) {
    if (port->opaque == opaque) {
      return port;
    }
  }
  return nullptr;
}

double milliwatts(double dbm) {
  return std::pow(10.0, dbm / 10.0);
}

// The limits of a quantity in the record, in Level order.
std::array<float, kLevelCount> record_limits(const sfp_hw_status_rec &rec, Quantity q) {
  switch (q) {
  case Quantity::Temperature:
    return {rec.temperature_alarm_high, rec.temperature_warn_high, rec.temperature_warn_low,
            rec.temperature_alarm_low};
  case Quantity::Vcc:
    return {rec.vcc_alarm_high, rec.vcc_warn_high, rec.vcc_warn_low, rec.vcc_alarm_low};
  case Quantity::TxBias:
    return {rec.bias_alarm_high, rec.bias_warn_high, rec.bias_warn_low, rec.bias_alarm_low};
  case Quantity::TxPower:
    return {rec.tx_power_alarm_high, rec.tx_power_warn_high, rec.tx_power_warn_low,
            rec.tx_power_alarm_low};
  case Quantity::RxPower:
    return {rec.rx_power_alarm_high, rec.rx_power_warn_high, rec.rx_power_warn_low,
            rec.rx_power_alarm_low};
  }
  return {};
}

// The record's flags of a quantity (high alarm, low alarm, high warning,
// low warning) in Level order.
std::array<bool, kLevelCount> record_flags(const sfp_hw_status_rec &rec, Quantity q) {
  const uint32_t *flags = nullptr;
  switch (q) {
  case Quantity::Temperature:
    flags = rec.temperature_flags;
    break;
  case Quantity::Vcc:
    flags = rec.vcc_flags;
    break;
  case Quantity::TxBias:
    flags = rec.bias_flags;
    break;
  case Quantity::TxPower:
    flags = rec.tx_power_flags;
    break;
  case Quantity::RxPower:
    flags = rec.rx_power_flags;
    break;
  }
  return {flags[SFP_FLAG_ALARM_HIGH] != 0, flags[SFP_FLAG_WARN_HIGH] != 0,
          flags[SFP_FLAG_WARN_LOW] != 0, flags[SFP_FLAG_ALARM_LOW] != 0};
}

std::optional<double> view_value(const ModuleView &view, Quantity q) {
  switch (q) {
  case Quantity::Temperature:
    return view.temperature_c;
  case Quantity::Vcc:
    return view.vcc_v;
  case Quantity::TxBias:
    return view.tx_bias_ma;
  case Quantity::TxPower:
    return view.tx_power_mw;
  case Quantity::RxPower:
    return view.rx_power_mw;
  }
  return std::nullopt;
}

Identity identity_of(sfp_port_ctx &context, uint32_t type, std::string type_name, bool supported) {
  const ModuleView view = module_view(context, nullptr);
  return {view.vendor_name, view.vendor_pn, view.vendor_sn, type, std::move(type_name), supported};
}

} // namespace

const char *state_name(PortState state) {
  switch (state) {
  case PortState::Up:
    return "up";
  case PortState::Absent:
    return "absent";
  case PortState::Refused:
    return "refused";
  case PortState::Failed:
    return "failed";
  }
  return "?";
}

const QuantityInfo &quantity_info(Quantity quantity) {
  return kQuantities[static_cast<std::size_t>(quantity)];
}

const char *level_key(Level level) {
  constexpr const char *kKeys[] = {"high_alarm", "high_warning", "low_warning", "low_alarm"};
  return kKeys[static_cast<std::size_t>(level)];
}

const char *level_text(Level level) {
  constexpr const char *kTexts[] = {"high alarm", "high warning", "low warning", "low alarm"};
  return kTexts[static_cast<std::size_t>(level)];
}

std::unique_ptr<PortBackend> open_backend(const std::string &source, std::string &error,
                                          BackendOpener others) {
  if (source.starts_with("sim:")) {
    const sfpsim::Profile *profile = sfpsim::find_profile(source.substr(4));
    if (profile == nullptr) {
      error = "unknown profile '" + echoed(source.substr(4)) + "' ('sfpctl profiles' lists them)";
      return nullptr;
    }
    return std::make_unique<SimBackend>(*profile);
  }
  if (source.starts_with("image:") && source.size() > 6) {
    return std::make_unique<ImageBackend>(source.substr(6));
  }
  if (others != nullptr) {
    return others(source, error);
  }
  error = "unknown source '" + echoed(source) + "' (sim:PROFILE or image:PATH)";
  return nullptr;
}

WatchedPort::WatchedPort(PortSpec spec, int32_t number, event_manager *manager,
                         BackendOpener others)
    : spec_(std::move(spec)), number_(number), manager_(manager),
      backend_(open_backend(spec_.source, open_error_, others)) {}

WatchedPort::~WatchedPort() {
  drop_port();
}

void WatchedPort::drop_port() {
  if (port_ != nullptr) {
    (void)sfp_port_delete(port_);
    port_ = nullptr;
  }
  refused_ = false;
  identity_.reset();
}

// Creation identifies the module; the identity is taken now, once per
// inserted module, from the port's copy of the module's memory.
void WatchedPort::create(PortReading &reading) {
  sfp_platform_ops ops{};
  ops.controller = kController;
  ops.port = number_;
  std::string error;
  const sfp_rc filled = backend_->fill_ops(ops, error);
  if (filled != SFP_RC_OK) {
    ++read_errors_;
    reading.problem = error;
    return;
  }
  ops.controller = kController;
  ops.port = number_;
  ops.bitbang_read_cb = nullptr;
  // A real module is read as found: the transmitter stage never runs.
  ops.module_present = backend_->real() ? 0 : 1;
  ops.evm = manager_;
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&ops, &result);
  ++creations_;
  if (result.handle == nullptr) {
    sfp_port_ctx *context = registered_port(ops.opaque);
    refused_ = rc == SFP_RC_UNSUPPORTED;
    if (context != nullptr) {
      if (refused_) {
        sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
        sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
        const char *pid = sfp_get_pid(context);
        (void)sfp_xcvr_check_supported(context, context->eeprom, &status, &type,
                                       pid != nullptr ? pid : "");
        const char *name = sfp_xcvr_get_name_from_type(context, type);
        identity_ = identity_of(*context, type, name != nullptr ? name : "", false);
      }
      (void)sfp_port_delete(context);
    }
    refused_problem_ =
        (refused_ ? "the library refused the module: " : "cannot create port: ") + status_text(rc);
    reading.problem = refused_problem_;
    if (!refused_) {
      ++read_errors_;
    }
    return;
  }
  port_ = result.handle;
  sfp_hw_info_rec info{};
  uint32_t type = port_->xcvr_type;
  std::string name;
  if (sfp_port_hw_info(port_, &info) == SFP_RC_OK) {
    type = info.xcvr_type;
    name = field_value(std::string_view(info.type_name));
  }
  identity_ = identity_of(*port_, type, name, port_->supported == sfp_XCVR_SUPPORTED_OK);
}

void WatchedPort::read_status(PortReading &reading) {
  sfp_hw_status_rec rec{};
  const sfp_rc rc = sfp_port_hw_status(port_, &rec);
  if (rc != SFP_RC_OK) {
    ++read_errors_;
    reading.state = PortState::Failed;
    reading.problem = "status snapshot failed: " + status_text(rc);
    return;
  }
  reading.state = PortState::Up;
  reading.diagnostics = has_diagnostics(*port_);
  reading.los = rec.los != 0;
  reading.tx_fault = rec.tx_fault != 0;
  reading.tx_disabled = rec.tx_disabled != 0;
  if (!reading.diagnostics) {
    return;
  }
  const ModuleView view = module_view(*port_, &rec);
  for (std::size_t i = 0; i < kQuantityCount; ++i) {
    const auto q = static_cast<Quantity>(i);
    Measurement &m = reading.measurements[i];
    m.value = view_value(view, q);
    m.flags = record_flags(rec, q);
    const std::array<float, kLevelCount> limits = record_limits(rec, q);
    for (std::size_t l = 0; l < kLevelCount; ++l) {
      m.limits[l] = quantity_info(q).power ? milliwatts(limits[l]) : limits[l];
      m.limits_dbm[l] = quantity_info(q).power ? limits[l] : 0.0;
    }
  }
  reading.measurements[static_cast<std::size_t>(Quantity::TxPower)].dbm = view.tx_power_dbm;
  reading.measurements[static_cast<std::size_t>(Quantity::RxPower)].dbm = view.rx_power_dbm;
}

PortReading WatchedPort::read() {
  PortReading reading;
  reading.name = spec_.name;
  reading.source = spec_.source;
  reading.time = std::chrono::system_clock::now();
  if (backend_ == nullptr) {
    ++read_errors_;
    reading.state = PortState::Failed;
    reading.problem = open_error_;
    reading.read_errors = read_errors_;
    return reading;
  }
  const PortBackend::Probe probe = backend_->probe();
  const bool known = port_ != nullptr || refused_;
  if (probe.state != PortState::Up) {
    drop_port();
    if (had_module_ && probe.state == PortState::Absent) {
      reading.event = "removed";
    }
    had_module_ = false;
    if (probe.state == PortState::Failed) {
      ++read_errors_;
    }
    reading.state = probe.state;
    reading.problem = probe.problem;
    reading.read_errors = read_errors_;
    return reading;
  }
  if (known && probe.serial != serial_) {
    drop_port();
    reading.event = "swapped";
  } else if (!had_module_) {
    reading.event = "inserted";
  }
  had_module_ = true;
  serial_ = probe.serial;
  if (port_ == nullptr && !refused_) {
    create(reading);
  }
  reading.identity = identity_;
  if (port_ != nullptr) {
    read_status(reading);
  } else if (refused_) {
    reading.state = PortState::Refused;
    reading.problem = refused_problem_;
  } else {
    reading.state = PortState::Failed;
  }
  reading.read_errors = read_errors_;
  return reading;
}

PortSet::PortSet(const std::vector<PortSpec> &specs, BackendOpener others)
    : manager_(event_manager_create("sfpctl")) {
  int32_t number = 1;
  for (const PortSpec &spec : specs) {
    ports_.push_back(std::make_unique<WatchedPort>(spec, number++, manager_, others));
  }
}

PortSet::~PortSet() {
  ports_.clear(); // the ports go before their event manager
  if (manager_ != nullptr) {
    event_manager_destroy(manager_);
  }
}

std::vector<PortReading> PortSet::read_all() {
  std::vector<PortReading> readings;
  readings.reserve(ports_.size());
  for (const std::unique_ptr<WatchedPort> &port : ports_) {
    readings.push_back(port->read());
  }
  return readings;
}

std::vector<PortSpec> default_ports() {
  return {
      {"p1", "sim:10gbase-sr"}, {"p2", "sim:25gbase-sr-drift"}, {"p3", "sim:1000base-lx-extcal"}};
}

} // namespace sfpctl
