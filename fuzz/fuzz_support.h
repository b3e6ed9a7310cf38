// Shared pieces of the fuzz targets: property checks, the status codes a
// caller may see, and the seed inputs of the replay runner.
#ifndef SFPDRV_FUZZ_SUPPORT_H
#define SFPDRV_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "sfpdrv/sfpdrv.h"
#include "sfpsim/module.h"

namespace sfpfuzz {

// A violated property: say which one and stop the run so the input is kept.
#define FUZZ_REQUIRE(cond)                                                                         \
  do {                                                                                             \
    if (!(cond)) {                                                                                 \
      std::fprintf(stderr, "%s:%d: property violated: %s\n", __FILE__, __LINE__, #cond);           \
      __builtin_trap();                                                                            \
    }                                                                                              \
  } while (0)

// What a failing simulated transfer returns when the fuzzer injects a fault.
inline constexpr int kInjectedFault = 0x71;

// A library status, or a code the simulated bus hands back unchanged.
inline bool documented(sfp_rc rc) {
  switch (rc) {
  case SFP_RC_OK:
  case SFP_RC_NOT_FOUND:
  case SFP_RC_NO_MEMORY:
  case SFP_RC_FAULT:
  case SFP_RC_INVALID:
  case SFP_RC_DEADLOCK:
  case SFP_RC_UNSUPPORTED:
  case SFP_RC_MODULE_COND:
  case static_cast<sfp_rc>(sfpsim::kRangeError):
  case static_cast<sfp_rc>(sfpsim::kPhyNak):
  case static_cast<sfp_rc>(kInjectedFault):
    return true;
  default:
    return false;
  }
}

// The text has its terminator within `size` bytes.
inline bool terminated(const char *text, std::size_t size) {
  return std::memchr(text, '\0', size) != nullptr;
}
template <std::size_t N> bool terminated(const char (&text)[N]) {
  return terminated(text, N);
}

// Module memory from up to 512 bytes: A0h, the A2h lower half, table 0
// (A2h upper half); missing bytes stay zero.
inline sfpsim::Memory memory_from(const uint8_t *data, std::size_t size) {
  sfpsim::Memory memory;
  uint8_t image[SFP_EEPROM_CALLER_LEN] = {};
  std::memcpy(image, data, size < sizeof image ? size : sizeof image);
  std::memcpy(memory.a0.data(), image, sfpsim::kA0Size);
  std::memcpy(memory.a2_lower.data(), image + sfpsim::kA0Size, sfpsim::kA2LowerSize);
  std::memcpy(memory.tables[0].data(), image + sfpsim::kA0Size + sfpsim::kA2LowerSize,
              sfpsim::kTableSize);
  return memory;
}

// Inputs of the replay runner; `mutated` adds the mutations of the seeds.
using Emit = std::function<void(const std::vector<uint8_t> &)>;
void generate_inputs(bool mutated, const Emit &emit);

// Small deterministic generator for the seeded inputs.
class Rng {
public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  uint32_t next() {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>(state_ >> 33);
  }
  uint8_t byte() { return static_cast<uint8_t>(next()); }

private:
  uint64_t state_;
};

} // namespace sfpfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);

#endif // SFPDRV_FUZZ_SUPPORT_H
