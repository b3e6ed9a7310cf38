// What a command changed in the module: its memory and its PHY's registers
// before and after a library call, compared byte by byte.
#ifndef SFPCTL_MODULE_CHANGES_H
#define SFPCTL_MODULE_CHANGES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sfpsim/module.h"

namespace sfpctl {

// The module's bytes and PHY registers at one moment.
class ModuleSnapshot {
public:
  explicit ModuleSnapshot(const sfpsim::Module &module);
  // Memory alone, as read from a real module (no PHY registers).
  explicit ModuleSnapshot(const sfpsim::Memory &memory) : memory_(memory) {}

  // One line per byte or register that differs in `after`, in address order,
  // e.g. "A2h byte 110: 0x40 -> 0x00" or "PHY page 0 register 4: 0x0de1 ->
  // 0x0c01".
  std::vector<std::string> changes_to(const ModuleSnapshot &after) const;

private:
  using Page = std::array<uint16_t, sfpsim::Phy::kRegisterCount>;
  struct PhyRegisters {
    std::array<Page, sfpsim::Phy::kPageCount> pages;
    std::array<uint8_t, sfpsim::Phy::kByteRegisterCount> byte_registers;
  };

  sfpsim::Memory memory_;
  std::optional<PhyRegisters> phy_;
};

} // namespace sfpctl

#endif // SFPCTL_MODULE_CHANGES_H
