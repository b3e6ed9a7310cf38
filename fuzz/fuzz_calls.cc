// Fuzz target: a script of API calls on two ports of simulated modules.
//
// Input: one byte picking each slot's profile (low and high nibble), then
// steps of one operation byte and its arguments. Bit 7 of the operation
// byte replaces the slot's handle by a null one. A slot's handle is cleared
// when the script deletes it, so the script never uses a deleted handle.
#include <array>
#include <cstdlib>
#include <optional>

#include "fuzz/fuzz_support.h"
#include "platform/psleep.h"

namespace sfpfuzz {
namespace {

constexpr std::size_t kSlots = 2;
constexpr uint32_t kPageSize = 256;
constexpr uint32_t kUpperHalf = 128;
constexpr uint32_t kPastLastPage = SFP_PAGE_A2_TABLE3 + 1;
constexpr uint8_t kNullHandle = 0x80;

// Values around the edges of module memory and of 32-bit arithmetic.
constexpr std::array<uint32_t, 12> kEdges = {0,   1,   95,  127,  128,        129,
                                             255, 256, 257, 4096, 0x80000000, UINT32_MAX};

class Script {
public:
  Script(const uint8_t *data, std::size_t size) : data_(data), size_(size) {}
  bool done() const { return at_ >= size_; }
  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  // An edge value, or a small one taken whole from the script.
  uint32_t number() {
    const uint8_t pick = byte();
    if ((pick & 0x80) != 0) {
      return kEdges[pick % kEdges.size()];
    }
    return static_cast<uint32_t>(pick) << 1 | (byte() & 1u);
  }

private:
  const uint8_t *data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

struct Slot {
  std::optional<sfpsim::Module> module; // fixed address: the port's opaque
  const sfpsim::Profile *profile = nullptr;
  sfp_port_ctx *handle = nullptr;
};

std::array<Slot, kSlots> g_slots;

void check(sfp_rc rc) {
  FUZZ_REQUIRE(documented(rc));
}

// The request the range check must refuse before any bus traffic.
bool refused_range(uint32_t offset, uint32_t length, uint32_t page) {
  return offset + length - 1 >= kPageSize || offset >= kPageSize || length > kPageSize ||
         (offset >= kUpperHalf && page >= kPastLastPage);
}

void create(Slot &slot, std::size_t index, Script &script) {
  sfp_platform_ops ops = slot.module->platform_ops(0, static_cast<int32_t>(index));
  const uint8_t arg = script.byte();
  ops.module_present = arg & 1u;
  if (sfpsim::Phy *phy = slot.module->phy(); phy != nullptr && slot.handle == nullptr) {
    // The PHY's bus width, and the record that tells the library about it.
    constexpr sfpsim::PhyWidth kWidths[] = {sfpsim::PhyWidth::Word, sfpsim::PhyWidth::SameByte,
                                            sfpsim::PhyWidth::SplitByte};
    const sfpsim::PhyWidth width = kWidths[(arg >> 1) % 3];
    phy->set_width(width);
    ops.phy_word_access = width == sfpsim::PhyWidth::Word ? 1 : 0;
    ops.bus_mode = width == sfpsim::PhyWidth::SplitByte ? 1 : 0;
  }
  ops.bitbang_read_cb = sfpsim::Module::bitbang_read_cb;
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&ops, &result);
  check(rc);
  if (slot.handle != nullptr) {
    // A port that exists is handed back as it is.
    FUZZ_REQUIRE(rc == SFP_RC_OK && result.handle == slot.handle);
  } else if (result.handle != nullptr) {
    slot.handle = result.handle;
  } else {
    FUZZ_REQUIRE(rc != SFP_RC_OK);
  }
}

void remove(Slot &slot) {
  if (slot.handle != nullptr) {
    FUZZ_REQUIRE(sfp_port_delete(slot.handle) == SFP_RC_OK);
    slot.handle = nullptr;
  } else {
    FUZZ_REQUIRE(sfp_port_delete(nullptr) == SFP_RC_INVALID);
  }
}

sfp_rc run_access(sfp_port_ctx *port, uint8_t kind, uint32_t offset, uint32_t length, uint32_t page,
                  uint8_t *buffer, uint32_t direction) {
  switch (kind % 4) {
  case 0:
    return sfp_access(port, offset, length, page, buffer, direction);
  case 1:
    return sfp_port_read(port, offset, page, length, buffer);
  case 2:
    return sfp_port_write(port, offset, page, length, buffer);
  default:
    return sfp_special_bitbang_access(port, offset, length, page, buffer, direction);
  }
}

// An access with arbitrary arguments. A refused one returns 22 and leaves
// the module alone: no call reaches it, no byte of it changes.
void access(Slot &slot, sfp_port_ctx *port, Script &script) {
  const uint8_t kind = script.byte();
  const uint32_t offset = script.number();
  const uint32_t length = script.number();
  const uint32_t page = script.byte() % 8;
  const uint32_t direction = script.byte() % 3;
  const bool null_buffer = (kind & 0x10) != 0;
  // Exactly as long as the request when it can be valid, so that a transfer
  // past its end is caught.
  std::vector<uint8_t> buffer(std::max<uint32_t>(1, std::min(length, kPageSize)));
  for (uint8_t &b : buffer) {
    b = script.byte();
  }
  const sfpsim::Memory before = slot.module->memory();
  const uint64_t calls_before = slot.module->access_count();
  const sfp_rc rc = run_access(port, kind, offset, length, page,
                               null_buffer ? nullptr : buffer.data(), direction);
  check(rc);
  const bool direction_used = kind % 4 == 0;
  if (port == nullptr || null_buffer || refused_range(offset, length, page) ||
      (direction_used && direction > SFP_ACCESS_READ)) {
    FUZZ_REQUIRE(rc == SFP_RC_INVALID);
    FUZZ_REQUIRE(slot.module->access_count() == calls_before);
    FUZZ_REQUIRE(slot.module->memory() == before);
  }
}

constexpr std::array<uint32_t, 6> kSpeeds = {0, 10, 100, 1000, 10000, UINT32_MAX};

void control(sfp_port_ctx *port, uint8_t op, Script &script) {
  const uint8_t arg = script.byte();
  switch (op) {
  case 3:
    check((arg & 1) != 0 ? sfp_port_tx_enable(port) : sfp_port_tx_disable(port));
    break;
  case 4:
    check(sfp_port_admin_state(port, arg % 3, (arg >> 2) % 3));
    break;
  case 5:
    check(sfp_port_set_phy_speed(port, kSpeeds[arg % kSpeeds.size()], (arg >> 4) & 1u));
    break;
  case 6:
    check(sfp_port_tx_cdr_enable(port, arg & 1u));
    check(sfp_port_ctle_ena_dis(port, (arg >> 1) & 1u));
    check(sfp_port_high_power_class_ena_dis(port, (arg >> 2) & 1u));
    break;
  default: {
    char *text = nullptr;
    uint32_t size = 0;
    const sfp_rc rc = sfp_port_read_reg(port, &text, &size);
    check(rc);
    FUZZ_REQUIRE(rc != SFP_RC_OK || (text != nullptr && terminated(text, SFP_REG_DUMP_SIZE)));
    std::free(text);
  }
  }
}

void step(Script &script) {
  const uint8_t op_byte = script.byte();
  const std::size_t index = (op_byte >> 4) & 1u;
  Slot &slot = g_slots[index];
  sfp_port_ctx *port = (op_byte & kNullHandle) != 0 ? nullptr : slot.handle;
  const uint8_t op = op_byte & 0x0f;
  switch (op % 10) {
  case 0:
    create(slot, index, script);
    break;
  case 1:
    remove(slot);
    break;
  case 2:
    access(slot, port, script);
    break;
  case 8: {
    const uint8_t nth = script.byte();
    slot.module->fail_nth_access(1 + nth % 8, kInjectedFault, nth >> 5);
    break;
  }
  case 9: {
    const uint8_t page = script.byte();
    if (page >= 0x80) {
      slot.module->clear_faults();
    } else {
      slot.module->fail_at(page % 6, script.byte(), kInjectedFault);
    }
    break;
  }
  default:
    if (port != nullptr || (op_byte & kNullHandle) != 0) {
      control(port, static_cast<uint8_t>(op % 10), script);
    }
  }
}

} // namespace
} // namespace sfpfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace sfpfuzz;
  platform_clock_set_virtual(1);
  platform_clock_reset();
  Script script(data, size);
  const uint8_t profiles = script.byte();
  const auto &all = sfpsim::profiles();
  for (std::size_t i = 0; i < kSlots; ++i) {
    Slot &slot = g_slots[i];
    slot.profile = &all[(profiles >> (4 * i) & 0x0f) % all.size()];
    slot.module.emplace(*slot.profile);
    slot.module->set_logging(false);
  }
  for (int steps = 0; !script.done() && steps < 256; ++steps) {
    step(script);
  }
  for (Slot &slot : g_slots) {
    if (slot.handle != nullptr) {
      slot.module->clear_faults();
      FUZZ_REQUIRE(sfp_port_delete(slot.handle) == SFP_RC_OK);
      slot.handle = nullptr;
    }
  }
  return 0;
}

namespace sfpfuzz {

// Seeded random scripts, each starting by creating both ports so that most
// steps reach a live port.
void generate_inputs(bool mutated, const Emit &emit) {
  Rng rng(0xca11);
  const int count = mutated ? 20000 : 40;
  for (int n = 0; n < count; ++n) {
    std::vector<uint8_t> input = {rng.byte(), 0x00, 0x01, 0x10, 0x01};
    const std::size_t length = 8 + rng.next() % 250;
    while (input.size() < length) {
      input.push_back(rng.byte());
    }
    emit(input);
  }
}

} // namespace sfpfuzz
