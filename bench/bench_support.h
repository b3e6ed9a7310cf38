// Helpers shared by the benchmarks: a minimal module, callbacks that return
// at once, and a port that lives for one benchmark run.
#ifndef SFPDRV_BENCH_SUPPORT_H
#define SFPDRV_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "sfpdrv/sfpdrv.h"

namespace sfpbench {

// The status a failing callback returns (an I/O error of the bus layer).
inline constexpr int kBusError = 5;

// A module the library accepts: an SFP whose compliance code says
// 1000BASE-T, a supported type without A2h, so that creation reads nothing
// from it (a port whose read callback fails is still created).
struct MinimalModule {
  std::array<uint8_t, SFP_EEPROM_CALLER_LEN> image{};
  MinimalModule() {
    image[0] = 0x03; // SFP
    image[1] = 0x04; // two-wire identification
    image[6] = 0x08; // 1000BASE-T
  }
};

// Callbacks that return at once. Kept out of line so that a call through a
// function pointer is a real call, as it is from the library.
[[gnu::noinline]] inline int instant_cb(void *, uint8_t, uint8_t, uint32_t, uint8_t *) {
  return 0;
}
[[gnu::noinline]] inline int failing_cb(void *, uint8_t, uint8_t, uint32_t, uint8_t *) {
  return kBusError;
}

// A port registered for one benchmark run and deleted after it.
class ScopedPort {
public:
  explicit ScopedPort(const sfp_platform_ops &ops) {
    sfp_port_create_result result{};
    status_ = sfp_port_create(&ops, &result);
    handle_ = status_ == SFP_RC_OK ? result.handle : nullptr;
  }
  ScopedPort(const ScopedPort &) = delete;
  ScopedPort &operator=(const ScopedPort &) = delete;
  ~ScopedPort() {
    if (handle_ != nullptr) {
      sfp_port_delete(handle_);
    }
  }

  sfp_port_ctx *handle() const { return handle_; }
  sfp_rc status() const { return status_; }

  // Marks the run failed when the port could not be created.
  bool usable(benchmark::State &state) const {
    if (handle_ == nullptr) {
      state.SkipWithError(("sfp_port_create failed with " + std::to_string(status_)).c_str());
      return false;
    }
    return true;
  }

private:
  sfp_port_ctx *handle_ = nullptr;
  sfp_rc status_ = SFP_RC_OK;
};

// A creation record for `module` (the opaque value) with the given callbacks.
inline sfp_platform_ops minimal_ops(MinimalModule &module, sfp_mem_cb read_cb, sfp_mem_cb write_cb,
                                    int32_t port) {
  sfp_platform_ops ops;
  std::memset(&ops, 0, sizeof ops);
  ops.opaque = &module;
  ops.controller = 0;
  ops.port = port;
  ops.read_cb = read_cb;
  ops.write_cb = write_cb;
  ops.module_present = 1;
  ops.eeprom_len = SFP_EEPROM_CALLER_LEN;
  std::memcpy(ops.eeprom, module.image.data(), module.image.size());
  return ops;
}

// Nanoseconds per call of `fn`, the best of a few rounds, measured outside
// the benchmark loop to report a difference between two paths as a counter.
template <typename Fn> double ns_per_call(Fn &&fn) {
  constexpr int kRounds = 5;
  constexpr int kCalls = 100000;
  double best = std::numeric_limits<double>::max();
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i) {
      benchmark::DoNotOptimize(fn());
    }
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count() / kCalls);
  }
  return best;
}

} // namespace sfpbench

#endif // SFPDRV_BENCH_SUPPORT_H
