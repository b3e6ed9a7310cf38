#include "source.h"

#include <algorithm>

#include "session.h"
#include "status_text.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

struct KindName {
  SourceKind kind;
  std::string_view name;
};

constexpr KindName kKinds[] = {
    {SourceKind::Sim, "sim"},           {SourceKind::Image, "image"},     {SourceKind::I2c, "i2c"},
    {SourceKind::EepromFile, "eeprom"}, {SourceKind::Ethtool, "ethtool"},
};

// A0h bytes that say which A2h memory a module has: byte 92 bit 6 the
// diagnostics (and with them A2h), byte 64 bit 4 paged A2h tables, byte 65
// bit 6 a tunable module's table 2.
constexpr std::size_t kDiagTypeByte = 92;
constexpr uint8_t kDiagImplemented = 0x40;
constexpr std::size_t kPagingByte = 64;
constexpr uint8_t kPagingImplemented = 0x10;
constexpr std::size_t kOptionsByte = 65;
constexpr uint8_t kTunable = 0x40;
constexpr uint8_t kTableSelect = sfpsim::kTableSelectOffset;

// The module's PHY wiring that matches how the port reaches it.
sfpsim::PhyWidth phy_width(const SourceSettings &settings) {
  if (settings.phy_word_access) {
    return sfpsim::PhyWidth::Word;
  }
  return settings.bus_mode == 1 ? sfpsim::PhyWidth::SplitByte : sfpsim::PhyWidth::SameByte;
}

uint8_t speed_code(uint32_t speed) {
  return speed == 1000 ? 2 : speed == 100 ? 1 : 0;
}

const char *bus_name(sfpsim::Bus bus) {
  switch (bus) {
  case sfpsim::Bus::Read:
    return "read";
  case sfpsim::Bus::Write:
    return "write";
  case sfpsim::Bus::BitBangRead:
    return "bb-read";
  }
  return "?";
}

// A module simulated in this process: a profile, or an image file's memory.
class SimulatedSource : public ModuleSource {
public:
  SimulatedSource(SourceSpec spec, std::unique_ptr<sfpsim::Module> module)
      : ModuleSource(std::move(spec)), module_(std::move(module)) {}

  sfp_rc fill_ops(sfp_platform_ops &ops, std::string & /*error*/) override {
    const sfp_platform_ops filled = module_->platform_ops(ops.controller, ops.port);
    ops.opaque = filled.opaque;
    ops.read_cb = filled.read_cb;
    ops.write_cb = filled.write_cb;
    ops.bitbang_read_cb = filled.bitbang_read_cb;
    ops.phy_read_cb = filled.phy_read_cb;
    ops.phy_write_cb = filled.phy_write_cb;
    ops.eeprom_len = filled.eeprom_len;
    std::copy(std::begin(filled.eeprom), std::end(filled.eeprom), std::begin(ops.eeprom));
    ops_ = ops;
    return SFP_RC_OK;
  }

  sfpsim::Module *simulated() override { return module_.get(); }

  void print_transfers(std::FILE *out) const override {
    for (const sfpsim::Access &access : module_->log()) {
      std::fprintf(out,
                   "bus %-7s page %u offset 0x%02x length %3u status %d:", bus_name(access.bus),
                   static_cast<unsigned>(access.page), static_cast<unsigned>(access.offset),
                   access.length, access.status);
      for (const uint8_t byte : access.bytes) {
        std::fprintf(out, " %02x", static_cast<unsigned>(byte));
      }
      std::fputc('\n', out);
    }
    if (const sfpsim::Phy *phy = module_->phy(); phy != nullptr) {
      for (const sfpsim::PhyAccess &access : phy->log()) {
        std::fprintf(out,
                     "phy %-5s address 0x%02x register 0x%02x value 0x%04x status %d page %u\n",
                     access.write ? "write" : "read", static_cast<unsigned>(access.address),
                     static_cast<unsigned>(access.reg), static_cast<unsigned>(access.value),
                     access.status, static_cast<unsigned>(access.page));
      }
    }
  }

  void forget_transfers() override {
    module_->clear_log();
    if (sfpsim::Phy *phy = module_->phy(); phy != nullptr) {
      phy->clear_log();
    }
  }

private:
  std::unique_ptr<sfpsim::Module> module_;
};

std::unique_ptr<ModuleSource> open_profile(const SourceSpec &spec, const SourceSettings &settings,
                                           std::string &error) {
  const sfpsim::Profile *profile = sfpsim::find_profile(spec.target);
  if (profile == nullptr) {
    error = "unknown profile '" + echoed(spec.target) + "'";
    return nullptr;
  }
  auto module = std::make_unique<sfpsim::Module>(*profile);
  if (sfpsim::Phy *phy = module->phy(); phy != nullptr) {
    phy->set_width(phy_width(settings));
    if (settings.phy_link_speed != 0) {
      phy->set_link(0, true, speed_code(settings.phy_link_speed));
    }
  }
  return std::make_unique<SimulatedSource>(spec, std::move(module));
}

// An image of two files: A0h from the first, A2h (lower half and the upper
// half of the table its select names) from the second.
std::optional<sfpsim::Memory> load_two_images(const SourceSpec &spec, std::string &error) {
  std::optional<sfpsim::Memory> memory = sfpsim::load_image_file(spec.target, error);
  if (!memory) {
    return std::nullopt;
  }
  const std::optional<sfpsim::Memory> a2 = sfpsim::load_image_file(spec.second_image, error);
  if (!a2) {
    return std::nullopt;
  }
  std::copy_n(a2->a0.begin(), sfpsim::kA2LowerSize, memory->a2_lower.begin());
  memory->a2_captured = true;
  const uint8_t select = memory->a2_lower[kTableSelect];
  std::copy_n(a2->a0.begin() + sfpsim::kA2LowerSize, sfpsim::kTableSize,
              memory->tables[select < sfpsim::kTableCount ? select : 0].begin());
  return memory;
}

std::unique_ptr<ModuleSource> open_image(const SourceSpec &spec, const SourceSettings &settings,
                                         std::string &error) {
  const std::optional<sfpsim::Memory> memory = spec.second_image.empty()
                                                   ? sfpsim::load_image_file(spec.target, error)
                                                   : load_two_images(spec, error);
  if (!memory) {
    error = "cannot load image: " + with_echoed(error, spec.target);
    return nullptr;
  }
  auto module = std::make_unique<sfpsim::Module>(*memory);
  (void)settings;
  return std::make_unique<SimulatedSource>(spec, std::move(module));
}

} // namespace

// Defined with the Linux backends (source_linux.cc).
std::unique_ptr<ModuleSource> open_linux_source(const SourceSpec &spec,
                                                const SourceSettings &settings, std::string &error,
                                                sfp_rc &status);

std::string SourceSpec::label() const {
  std::string text;
  for (const KindName &entry : kKinds) {
    if (entry.kind == kind) {
      text = std::string(entry.name) + ":" + target;
    }
  }
  return second_image.empty() ? text : text + "+" + second_image;
}

std::optional<SourceSpec> parse_source(std::string_view text, std::string &error) {
  const std::size_t colon = text.find(':');
  const std::string_view kind = text.substr(0, colon);
  const auto known = std::ranges::find(kKinds, kind, &KindName::name);
  std::string quoted = "'";
  quoted.append(echoed(text)).append("'");
  if (colon == std::string_view::npos || known == std::end(kKinds)) {
    error = quoted.append(
        " is not a source (sim:PROFILE, image:PATH, i2c:DEV, eeprom:PATH or ethtool:IFNAME)");
    return std::nullopt;
  }
  SourceSpec spec;
  spec.kind = known->kind;
  spec.target = std::string(text.substr(colon + 1));
  if (spec.target.empty()) {
    const char *what = spec.kind == SourceKind::Sim       ? "profile"
                       : spec.kind == SourceKind::I2c     ? "device"
                       : spec.kind == SourceKind::Ethtool ? "interface"
                                                          : "file";
    error = quoted.append(" names no ").append(what);
    return std::nullopt;
  }
  return spec;
}

std::unique_ptr<ModuleSource> ModuleSource::open(const SourceSpec &spec,
                                                 const SourceSettings &settings, std::string &error,
                                                 sfp_rc *status) {
  sfp_rc ignored = SFP_RC_INVALID;
  sfp_rc &open_status = status != nullptr ? *status : ignored;
  open_status = SFP_RC_INVALID;
  std::unique_ptr<ModuleSource> source;
  switch (spec.kind) {
  case SourceKind::Sim:
    source = open_profile(spec, settings, error);
    break;
  case SourceKind::Image:
    source = open_image(spec, settings, error);
    break;
  case SourceKind::I2c:
  case SourceKind::EepromFile:
  case SourceKind::Ethtool:
    return open_linux_source(spec, settings, error, open_status);
  }
  if (source != nullptr && settings.data_ready_after) {
    source->simulated()->set_data_ready_after(*settings.data_ready_after);
  }
  return source;
}

std::string ModuleSource::describe(sfp_rc status) const {
  return status_text(status);
}

sfp_rc ModuleSource::read(uint8_t page, uint8_t offset, uint32_t length, uint8_t *buffer) {
  if (ops_.read_cb == nullptr) {
    sfp_platform_ops ops{};
    std::string error;
    if (const sfp_rc rc = fill_ops(ops, error); rc != SFP_RC_OK) {
      return rc;
    }
  }
  if (page >= SFP_PAGE_A2_TABLE0 && ops_.no_read_page_select == 0) {
    auto table = static_cast<uint8_t>(page - SFP_PAGE_A2_TABLE0);
    if (const int rc = ops_.write_cb(ops_.opaque, kTableSelect, SFP_PAGE_A2, 1, &table); rc != 0) {
      return static_cast<sfp_rc>(rc);
    }
  }
  return static_cast<sfp_rc>(ops_.read_cb(ops_.opaque, offset, page, length, buffer));
}

sfp_rc ModuleSource::capture(bool whole, Capture &out, std::string &error) {
  if (ops_.read_cb == nullptr) {
    sfp_platform_ops ops{};
    if (const sfp_rc rc = fill_ops(ops, error); rc != SFP_RC_OK) {
      return rc;
    }
  }
  void *opaque = ops_.opaque;
  auto read = [&](uint8_t offset, uint8_t page, std::size_t length, uint8_t *buffer,
                  const char *what) {
    const int rc = ops_.read_cb(opaque, offset, page, static_cast<uint32_t>(length), buffer);
    if (rc != 0) {
      error = std::string("cannot read ") + what + ": " + describe(static_cast<sfp_rc>(rc));
    }
    return static_cast<sfp_rc>(rc);
  };
  out = Capture{};
  if (const sfp_rc rc = read(0, SFP_PAGE_A0, sfpsim::kA0Size, out.memory.a0.data(), "A0h");
      rc != SFP_RC_OK) {
    return rc;
  }
  const auto &a0 = out.memory.a0;
  // A simulated module has its whole memory; a real one what its A0h says.
  out.has_a2 = !real() || (a0[kDiagTypeByte] & kDiagImplemented) != 0;
  if (!out.has_a2) {
    return SFP_RC_OK;
  }
  if (const sfp_rc rc =
          read(0, SFP_PAGE_A2, sfpsim::kA2LowerSize, out.memory.a2_lower.data(), "A2h");
      rc != SFP_RC_OK) {
    return rc;
  }
  if (!whole) {
    return SFP_RC_OK;
  }
  const bool paged =
      !real() || (a0[kPagingByte] & kPagingImplemented) != 0 || (a0[kOptionsByte] & kTunable) != 0;
  const uint8_t select = out.memory.a2_lower[kTableSelect];
  sfp_rc result = SFP_RC_OK;
  for (uint8_t table = 0; table < sfpsim::kTableCount && result == SFP_RC_OK; ++table) {
    if (table > 0 && !paged) {
      break;
    }
    uint8_t number = table;
    if (ops_.no_read_page_select == 0) {
      result = static_cast<sfp_rc>(ops_.write_cb(opaque, kTableSelect, SFP_PAGE_A2, 1, &number));
      if (result != SFP_RC_OK) {
        error = "cannot select A2h table " + std::to_string(table) + ": " + describe(result);
        break;
      }
    }
    const std::string what = "A2h table " + std::to_string(table);
    const auto page = static_cast<uint8_t>(SFP_PAGE_A2_TABLE0 + table);
    result = read(0, page, sfpsim::kTableSize, out.memory.tables[table].data(), what.c_str());
    // A table beyond 0 that a real module does not serve is left out.
    if (result != SFP_RC_OK && table > 0 && real()) {
      result = SFP_RC_OK;
      error.clear();
      break;
    }
    out.tables[table] = result == SFP_RC_OK;
  }
  if (ops_.no_read_page_select == 0) {
    uint8_t restored = select;
    const int rc = ops_.write_cb(opaque, kTableSelect, SFP_PAGE_A2, 1, &restored);
    if (rc != 0 && result == SFP_RC_OK) {
      error = "cannot restore the A2h table select: " + describe(static_cast<sfp_rc>(rc));
      result = static_cast<sfp_rc>(rc);
    }
  }
  // The captured select is the module's, not the one the capture left.
  out.memory.a2_lower[kTableSelect] = select;
  return result;
}

} // namespace sfpctl
