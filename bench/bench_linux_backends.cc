// What the i2c-dev backend moves on the bus for a 25G optic: transfers and
// bytes per creation (the backend's first image read included), per status
// snapshot and per full report, at block limits 16 and 128, from the fake
// kernel's counts. `min_transfers` and `min_bytes` are the fewest the module
// layout allows for the same library accesses: each access split only where
// it crosses a 128-byte half, with the block limit applied to each piece.
// A status snapshot must move about a quarter of a whole-EEPROM read (512
// bytes, what an exporter reading the whole EEPROM moves per module): the
// A2h lower half, plus the one byte of the transmitter state that the
// snapshot reads again on its own after decoding. The run fails when it
// moves more.
#include <cerrno>
#include <cstdint>
#include <string>

#include "backends/fake_kernel.h"
#include "bench_support.h"
#include "platform/psleep.h"
#include "sfpdrv/linux.h"
#include "sfpsim/module.h"

namespace {

constexpr const char *kProfile = "25gbase-sr";
constexpr uint64_t kWholeEeprom = 512;
// The snapshot's own re-read of A2h byte 110 (soft transmitter disable).
constexpr uint64_t kTxStateReread = 1;
constexpr uint32_t kHalf = 128;

enum class Work : uint8_t { Creation, Status, Report };

// Fewest transfers for one library access at `limit`.
uint64_t fewest(uint32_t offset, uint32_t length, uint32_t limit) {
  uint64_t transfers = 0;
  for (uint32_t at = offset; at < offset + length;) {
    const uint32_t piece = std::min(offset + length - at, kHalf - at % kHalf);
    transfers += (piece + limit - 1) / limit;
    at += piece;
  }
  return transfers;
}

// The library's accesses for one round of `work` on the module directly.
void layout_minimum(Work work, uint32_t limit, uint64_t &transfers, uint64_t &bytes) {
  sfpsim::Module module(*sfpsim::find_profile(kProfile));
  sfp_platform_ops ops = module.platform_ops(0, 3);
  ops.module_present = 1;
  module.clear_log();
  transfers = 0;
  bytes = 0;
  {
    const sfpbench::ScopedPort port(ops);
    if (work != Work::Creation) {
      module.clear_log();
      sfp_hw_status_rec rec{};
      std::string text(SFP_EEPROM_REPORT_SIZE, '\0');
      if (work == Work::Status) {
        sfp_port_hw_status(port.handle(), &rec);
      } else {
        sfp_drv_sfp_get_eeprom_str(port.handle(), text.data(), SFP_EEPROM_REPORT_SIZE);
      }
    } else {
      transfers = 2 * fewest(0, 256, limit); // the backend's image read of A0h and A2h
      bytes = kWholeEeprom;
    }
    for (const sfpsim::Access &access : module.log()) {
      const uint32_t start =
          access.page >= 2 && access.offset < kHalf ? access.offset + kHalf : access.offset;
      transfers += fewest(start, access.length, limit);
      bytes += access.length;
    }
  }
}

void BM_I2cBus(benchmark::State &state, Work work) {
  const auto limit = static_cast<uint32_t>(state.range(0));
  platform_clock_set_virtual(1);
  sfpsim::Module module(*sfpsim::find_profile(kProfile));
  sfpdrv::fake::FakeKernel kernel(module);
  kernel.set_logging(false);
  module.set_logging(false);
  const sfp_linux_i2c_options options{limit, 0, 0, 0};
  sfp_linux_source *source = nullptr;
  if (sfp_linux_open_i2c(kernel.i2c_device.c_str(), &options, &source) != 0) {
    state.SkipWithError("cannot open the fake adapter");
    return;
  }
  sfp_platform_ops ops{};
  ops.port = 3;
  ops.module_present = 1;
  uint64_t transfers = 0;
  uint64_t bytes = 0;
  if (work == Work::Creation) {
    const uint64_t before_transfers = kernel.transfer_count();
    const uint64_t before_bytes = kernel.transfer_bytes();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
      sfp_linux_fill_ops(source, &ops);
      const sfpbench::ScopedPort port(ops);
      benchmark::DoNotOptimize(port.handle());
    }
    transfers = kernel.transfer_count() - before_transfers;
    bytes = kernel.transfer_bytes() - before_bytes;
  } else {
    sfp_linux_fill_ops(source, &ops);
    const sfpbench::ScopedPort port(ops);
    if (!port.usable(state)) {
      sfp_linux_close(source);
      return;
    }
    sfp_hw_status_rec rec{};
    std::string text(SFP_EEPROM_REPORT_SIZE, '\0');
    const uint64_t before_transfers = kernel.transfer_count();
    const uint64_t before_bytes = kernel.transfer_bytes();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
      const sfp_rc rc =
          work == Work::Status
              ? sfp_port_hw_status(port.handle(), &rec)
              : sfp_drv_sfp_get_eeprom_str(port.handle(), text.data(), SFP_EEPROM_REPORT_SIZE);
      benchmark::DoNotOptimize(rc);
    }
    transfers = kernel.transfer_count() - before_transfers;
    bytes = kernel.transfer_bytes() - before_bytes;
  }
  sfp_linux_close(source);
  platform_clock_set_virtual(0);

  const auto rounds = static_cast<double>(state.iterations());
  uint64_t min_transfers = 0;
  uint64_t min_bytes = 0;
  layout_minimum(work, limit, min_transfers, min_bytes);
  state.counters["transfers"] = static_cast<double>(transfers) / rounds;
  state.counters["bytes"] = static_cast<double>(bytes) / rounds;
  state.counters["min_transfers"] = static_cast<double>(min_transfers);
  state.counters["min_bytes"] = static_cast<double>(min_bytes);
  // The target: no more transfers than the module's layout needs at this
  // transfer limit.
  state.counters["target_transfers"] = static_cast<double>(min_transfers);
  if (work == Work::Status) {
    const double per_snapshot = static_cast<double>(bytes) / rounds;
    state.counters["share_of_eeprom"] = per_snapshot / kWholeEeprom;
    if (per_snapshot > static_cast<double>(kWholeEeprom / 4 + kTxStateReread)) {
      const std::string why = "a status snapshot moves " + std::to_string(per_snapshot) +
                              " bytes, more than a quarter of the EEPROM and the transmitter state";
      state.SkipWithError(why.c_str());
    }
  }
}
BENCHMARK_CAPTURE(BM_I2cBus, creation, Work::Creation)->Arg(16)->Arg(128);
BENCHMARK_CAPTURE(BM_I2cBus, status, Work::Status)->Arg(16)->Arg(128);
BENCHMARK_CAPTURE(BM_I2cBus, report, Work::Report)->Arg(16)->Arg(128);

} // namespace
