// What one status snapshot (sfp_port_hw_status) costs the bus: module
// accesses and bytes per call, from the simulated module's access log, for
// the cases that take different paths. A set flag is read again after a
// wait, which runs on the virtual clock here; counter `waited_ms` is that
// wait. The access count is the figure to watch: the fewest the status
// record allows are one read of the A2h lower half, a read of byte 110 on a
// module with soft TX disable, a second read of the flag bytes when a flag
// is set, and the channel of a tunable module.
#include <cstdint>
#include <numeric>

#include "bench_support.h"
#include "platform/psleep.h"
#include "sfpsim/module.h"

namespace {

enum class Flags : uint8_t { None, BiasHighAlarm };

void BM_HwStatus(benchmark::State &state, const char *profile, Flags flags, bool bitbang,
                 int fewest_accesses) {
  platform_clock_set_virtual(1);
  sfpsim::Module module(*sfpsim::find_profile(profile));
  sfp_platform_ops ops = module.platform_ops(0, 2);
  ops.module_present = 1;
  if (!bitbang) {
    ops.bitbang_read_cb = nullptr;
  }
  const sfpbench::ScopedPort port(ops);
  if (!port.usable(state)) {
    return;
  }
  if (flags == Flags::BiasHighAlarm) {
    module.set_live_flags(112, 0x08); // Tx bias high alarm, persisting
  }
  module.clear_log();
  platform_clock_reset();
  sfp_hw_status_rec rec{};
  for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop's own variable
    const sfp_rc rc = sfp_port_hw_status(port.handle(), &rec);
    benchmark::DoNotOptimize(rc);
    benchmark::DoNotOptimize(rec);
  }
  const auto calls = static_cast<double>(state.iterations());
  const auto &log = module.log();
  const uint64_t bytes = std::accumulate(
      log.begin(), log.end(), uint64_t{0},
      [](uint64_t sum, const sfpsim::Access &access) { return sum + access.length; });
  state.counters["accesses"] = static_cast<double>(log.size()) / calls;
  state.counters["bytes"] = static_cast<double>(bytes) / calls;
  state.counters["target_accesses"] = fewest_accesses;
  state.counters["waited_ms"] = static_cast<double>(platform_clock_elapsed_ms()) / calls;
  platform_clock_set_virtual(0);
}
BENCHMARK_CAPTURE(BM_HwStatus, no_flags, "10gbase-sr", Flags::None, true, 2);
BENCHMARK_CAPTURE(BM_HwStatus, flag_bitbang, "10gbase-sr", Flags::BiasHighAlarm, true, 4);
BENCHMARK_CAPTURE(BM_HwStatus, flag_paged, "10gbase-sr", Flags::BiasHighAlarm, false, 4);
BENCHMARK_CAPTURE(BM_HwStatus, tunable, "10g-tunable-dwdm", Flags::None, true, 4);
BENCHMARK_CAPTURE(BM_HwStatus, no_diagnostics, "10g-dac-1m", Flags::None, true, 0);

} // namespace
