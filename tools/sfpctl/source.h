// Where the module a run works on comes from: a simulated profile, an image
// file, or a real module behind one of the Linux backends (i2c-dev, the
// kernel's module EEPROM file, ethtool). Every command reaches the module
// through one ModuleSource, so none of them needs to know which kind it is.
#ifndef SFPCTL_SOURCE_H
#define SFPCTL_SOURCE_H

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sfpdrv/port.h"
#include "sfpsim/module.h"

namespace sfpctl {

enum class SourceKind { Sim, Image, I2c, EepromFile, Ethtool };

// A source as named on the command line ("sim:10gbase-sr", "i2c:/dev/i2c-3").
struct SourceSpec {
  SourceKind kind = SourceKind::Sim;
  // The profile name, image path, i2c-dev device, EEPROM file path or
  // interface name.
  std::string target;
  // An image given as two files: the second holds A2h (the first A0h).
  std::string second_image;

  // "sim:PROFILE", "image:PATH", "i2c:DEV", "eeprom:PATH" or "ethtool:IFNAME"
  // (an image of two files: "image:A0PATH+A2PATH").
  std::string label() const;
  // A module that carries a live link: the tool never disturbs it unasked.
  bool real() const {
    return kind == SourceKind::I2c || kind == SourceKind::EepromFile || kind == SourceKind::Ethtool;
  }
};

// "KIND:TARGET" as a source spec (KIND one of sim, image, i2c, eeprom,
// ethtool; TARGET not empty). On failure returns nullopt and sets `error` to
// one line saying what is wrong.
std::optional<SourceSpec> parse_source(std::string_view text, std::string &error);

// How the source is to be set up, from the global options.
struct SourceSettings {
  // Simulated PHY: word access, bus mode, link speed (0: no link).
  bool phy_word_access = false;
  uint32_t bus_mode = 0;
  uint32_t phy_link_speed = 0;
  // Simulated module: reads of A2h byte 110 before its data becomes ready.
  std::optional<uint32_t> data_ready_after;
  // i2c-dev: open even with a kernel driver bound to the module's address.
  bool force = false;
};

// The module's whole memory as read through the source, and which parts of
// it the module has.
struct Capture {
  sfpsim::Memory memory;
  bool has_a2 = false;
  std::array<bool, sfpsim::kTableCount> tables{};
};

class ModuleSource {
public:
  virtual ~ModuleSource() = default;

  // Opens the source. On failure prints nothing, returns null and sets
  // `error` to one line naming the source and what went wrong, and
  // `status`, when given, to the backend's status of the failed open
  // (SFP_RC_INVALID when the source is not a real module's).
  static std::unique_ptr<ModuleSource> open(const SourceSpec &spec, const SourceSettings &settings,
                                            std::string &error, sfp_rc *status = nullptr);

  const SourceSpec &spec() const { return spec_; }
  std::string label() const { return spec_.label(); }
  bool real() const { return spec_.real(); }
  // Every write is refused (ethtool; an EEPROM file opened read-only).
  virtual bool read_only() const { return false; }

  // Fills the creation record's module part: opaque, callbacks (PHY ones
  // when the source reaches a PHY), the page-select flags the source needs
  // and the caller image (A0h then A2h as read now). Returns the status of
  // that read; on failure `error` says what failed in one line.
  virtual sfp_rc fill_ops(sfp_platform_ops &ops, std::string &error) = 0;

  // The simulated module behind a sim or image source; null for a real one.
  virtual sfpsim::Module *simulated() { return nullptr; }
  const sfpsim::Module *simulated() const { return const_cast<ModuleSource *>(this)->simulated(); }

  // What a status that a callback of this source returned means, in words
  // ("status 6 (no module answers at 0x50 (no acknowledge))").
  virtual std::string describe(sfp_rc status) const;

  // Reads module memory through the source's own callbacks, selecting each
  // A2h table itself where the source needs it and putting the table
  // select back afterwards. `whole`: A2h and every table the module has;
  // otherwise A0h and the A2h lower half. Returns the first failing status.
  sfp_rc capture(bool whole, Capture &out, std::string &error);

  // Reads module memory through the source's own callbacks, as the
  // platform's bus does, without a port (for a module the library refused).
  // An A2h table is selected first (A2h byte 127) unless the source selects
  // tables itself. Returns 0 or the source's status.
  sfp_rc read(uint8_t page, uint8_t offset, uint32_t length, uint8_t *buffer);

  // The transfers since the last forget_transfers(), one per line (a real
  // source: how many it made and the bytes moved).
  virtual void print_transfers(std::FILE *out) const = 0;
  virtual void forget_transfers() {}

protected:
  explicit ModuleSource(SourceSpec spec) : spec_(std::move(spec)) {}
  // The callbacks of the last fill_ops (capture uses them).
  sfp_platform_ops ops_{};

private:
  SourceSpec spec_;
};

} // namespace sfpctl

#endif // SFPCTL_SOURCE_H
