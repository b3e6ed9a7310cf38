// Real modules behind the Linux backends: i2c-dev, the kernel's module
// EEPROM file and ethtool.
#include <cerrno>
#include <cstring>
#include <system_error>

#include "sfpdrv/linux.h"
#include "source.h"
#include "status_text.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

// Just the words of a failed open: "no such device, file or interface".
std::string open_failure(sfp_rc status) {
  const char *words = sfp_linux_status_text(status);
  if (words != nullptr) {
    return words;
  }
  return std::error_code(static_cast<int>(status), std::generic_category()).message();
}

class LinuxSource : public ModuleSource {
public:
  LinuxSource(SourceSpec spec, sfp_linux_source *source)
      : ModuleSource(std::move(spec)), source_(source) {}
  ~LinuxSource() override { sfp_linux_close(source_); }
  LinuxSource(const LinuxSource &) = delete;
  LinuxSource &operator=(const LinuxSource &) = delete;

  bool read_only() const override { return sfp_linux_read_only(source_) != 0; }

  sfp_rc fill_ops(sfp_platform_ops &ops, std::string &error) override {
    const sfp_rc rc = sfp_linux_fill_ops(source_, &ops);
    ops_ = ops;
    if (rc != SFP_RC_OK) {
      error = label() + ": cannot read the module: " + describe(rc);
    }
    return rc;
  }

  void print_transfers(std::FILE *out) const override {
    uint64_t transfers = 0;
    uint64_t bytes = 0;
    sfp_linux_counters(source_, &transfers, &bytes);
    std::fprintf(out, "%s: %llu transfers, %llu bytes\n", echoed(label()).c_str(),
                 static_cast<unsigned long long>(transfers - forgotten_transfers_),
                 static_cast<unsigned long long>(bytes - forgotten_bytes_));
  }

  void forget_transfers() override {
    sfp_linux_counters(source_, &forgotten_transfers_, &forgotten_bytes_);
  }

private:
  sfp_linux_source *source_;
  uint64_t forgotten_transfers_ = 0;
  uint64_t forgotten_bytes_ = 0;
};

// With a kernel driver bound to the module's address, i2c-dev would race
// the driver on the bus: the driver's own file is the way in.
bool driver_allows(const SourceSpec &spec, const SourceSettings &settings, std::string &error) {
  char driver[64] = {};
  if (settings.force ||
      sfp_linux_i2c_bound_driver(spec.target.c_str(), driver, sizeof driver) != SFP_RC_OK ||
      driver[0] == '\0') {
    return true;
  }
  const std::string device = spec.target.substr(spec.target.rfind('-') + 1);
  error = spec.label() + ": the kernel driver '" + driver +
          "' is bound to the module's address; use --eeprom-file /sys/bus/i2c/devices/" + device +
          "-0050/eeprom for this cage, or --force to go around the driver";
  return false;
}

} // namespace

std::unique_ptr<ModuleSource> open_linux_source(const SourceSpec &spec,
                                                const SourceSettings &settings, std::string &error,
                                                sfp_rc &status) {
  sfp_linux_source *source = nullptr;
  sfp_rc rc = SFP_RC_INVALID;
  switch (spec.kind) {
  case SourceKind::I2c: {
    if (!driver_allows(spec, settings, error)) {
      return nullptr;
    }
    sfp_linux_i2c_options options{};
    options.force = settings.force ? 1 : 0;
    options.phy_word_access = settings.phy_word_access ? 1 : 0;
    rc = sfp_linux_open_i2c(spec.target.c_str(), &options, &source);
    break;
  }
  case SourceKind::EepromFile:
    rc = sfp_linux_open_eeprom_file(spec.target.c_str(), &source);
    break;
  case SourceKind::Ethtool:
    rc = sfp_linux_open_ethtool(spec.target.c_str(), &source);
    break;
  default:
    break;
  }
  if (rc != SFP_RC_OK || source == nullptr) {
    sfp_linux_close(source);
    status = rc;
    error = echoed(spec.label()) + ": cannot open: " + open_failure(rc);
    return nullptr;
  }
  // From now on a callback's status is worded as the backend words it.
  set_callback_words(&sfp_linux_status_text);
  return std::make_unique<LinuxSource>(spec, source);
}

} // namespace sfpctl
