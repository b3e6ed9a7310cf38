// Watched ports on the tool's real-module sources (i2c-dev, the kernel's
// module EEPROM file, ethtool): the port is looked at through the source
// itself, a module that does not answer is an empty port, and another
// serial number a swapped module.
#include <array>
#include <span>

#include "source.h"
#include "terminal_text.h"
#include "watch_loop.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

constexpr uint8_t kIdentifierOffset = 0; // A0h: the module's kind
constexpr uint8_t kSerialOffset = 68;    // A0h, 16 bytes
constexpr uint32_t kSerialWidth = 16;

// Statuses with which a backend says that no module answers (ENXIO,
// EREMOTEIO: no acknowledge at 0x50).
bool no_module(sfp_rc status) {
  return status == 6 || status == 121;
}

class SourceBackend : public PortBackend {
public:
  explicit SourceBackend(SourceSpec spec) : spec_(std::move(spec)) {}

  Probe probe() override {
    if (source_ == nullptr) {
      std::string error;
      sfp_rc status = SFP_RC_INVALID;
      source_ = ModuleSource::open(spec_, SourceSettings{}, error, &status);
      if (source_ == nullptr) {
        return {no_module(status) ? PortState::Absent : PortState::Failed, error, {}};
      }
    }
    uint8_t identifier = 0;
    std::array<uint8_t, kSerialWidth> serial{};
    sfp_rc rc = source_->read(SFP_PAGE_A0, kIdentifierOffset, 1, &identifier);
    if (rc == SFP_RC_OK) {
      rc = source_->read(SFP_PAGE_A0, kSerialOffset, kSerialWidth, serial.data());
    }
    if (rc != SFP_RC_OK) {
      if (no_module(rc)) {
        return {PortState::Absent, "no module: " + source_->describe(rc), {}};
      }
      return {PortState::Failed, "cannot read the module: " + source_->describe(rc), {}};
    }
    return {PortState::Up, {}, field_value(std::span<const uint8_t>(serial))};
  }

  sfp_rc fill_ops(sfp_platform_ops &ops, std::string &error) override {
    return source_->fill_ops(ops, error);
  }

  sfpsim::Module *simulated() override { return nullptr; }
  bool real() const override { return true; }

private:
  SourceSpec spec_;
  std::unique_ptr<ModuleSource> source_; // opened again while it cannot be
};

} // namespace

std::unique_ptr<PortBackend> open_source_backend(const std::string &source, std::string &error) {
  std::optional<SourceSpec> spec = parse_source(source, error);
  if (!spec) {
    return nullptr;
  }
  return std::make_unique<SourceBackend>(std::move(*spec));
}

} // namespace sfpctl
