#include "module_changes.h"

#include <cstdio>
#include <span>

namespace sfpctl {
namespace {

std::string hex_byte(unsigned value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02x", value);
  return text;
}

std::string hex_word(unsigned value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04x", value);
  return text;
}

// Appends "NAME byte N: 0xOLD -> 0xNEW" for every byte of `after` that
// differs from `before`; N counts from `first`.
void compare(std::span<const uint8_t> before, std::span<const uint8_t> after,
             const std::string &name, std::size_t first, std::vector<std::string> &lines) {
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] != after[i]) {
      lines.push_back(name + " byte " + std::to_string(first + i) + ": " + hex_byte(before[i]) +
                      " -> " + hex_byte(after[i]));
    }
  }
}

} // namespace

ModuleSnapshot::ModuleSnapshot(const sfpsim::Module &module) : memory_(module.memory()) {
  const sfpsim::Phy *phy = module.phy();
  if (phy == nullptr) {
    return;
  }
  PhyRegisters registers{};
  for (uint8_t page = 0; page < sfpsim::Phy::kPageCount; ++page) {
    for (uint8_t r = 0; r < sfpsim::Phy::kRegisterCount; ++r) {
      registers.pages[page][r] = phy->reg(page, r);
    }
  }
  for (uint8_t i = 0; i < sfpsim::Phy::kByteRegisterCount; ++i) {
    registers.byte_registers[i] =
        phy->byte_reg(static_cast<uint8_t>(sfpsim::Phy::kFirstByteRegister + i));
  }
  phy_ = registers;
}

std::vector<std::string> ModuleSnapshot::changes_to(const ModuleSnapshot &after) const {
  std::vector<std::string> lines;
  compare(memory_.a0, after.memory_.a0, "A0h", 0, lines);
  compare(memory_.a2_lower, after.memory_.a2_lower, "A2h", 0, lines);
  for (std::size_t table = 0; table < sfpsim::kTableCount; ++table) {
    compare(memory_.tables[table], after.memory_.tables[table],
            "A2h table " + std::to_string(table), sfpsim::kA2LowerSize, lines);
  }
  if (!phy_ || !after.phy_) {
    return lines;
  }
  for (uint8_t page = 0; page < sfpsim::Phy::kPageCount; ++page) {
    for (uint8_t r = 0; r < sfpsim::Phy::kRegisterCount; ++r) {
      const uint16_t old_value = phy_->pages[page][r];
      const uint16_t new_value = after.phy_->pages[page][r];
      // The page select is one register that both pages show.
      if (old_value != new_value && (r != sfpsim::Phy::kPageSelect || page == 0)) {
        const std::string where = r == sfpsim::Phy::kPageSelect
                                      ? "PHY register "
                                      : "PHY page " + std::to_string(page) + " register ";
        lines.push_back(where + std::to_string(r) + ": " + hex_word(old_value) + " -> " +
                        hex_word(new_value));
      }
    }
  }
  compare(phy_->byte_registers, after.phy_->byte_registers, "PHY", sfpsim::Phy::kFirstByteRegister,
          lines);
  return lines;
}

} // namespace sfpctl
