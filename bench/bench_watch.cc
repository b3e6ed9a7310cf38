// Watching many ports (sfpctl monitor, metrics, check): rendering the
// metrics of 48 ports from prepared readings must take at most 1 ms of CPU,
// and a scrape must cost each port's bus exactly one status snapshot, the
// module being identified once when it is inserted, not at every scrape.
#include <time.h>

#include <numeric>
#include <string>
#include <vector>

#include "bench_support.h"
#include "metrics_text.h"
#include "platform/psleep.h"
#include "sfpsim/module.h"
#include "watch.h"

namespace {

constexpr std::size_t kPorts = 48;
constexpr double kRenderBudgetUs = 1000.0;

std::vector<sfpctl::PortSpec> port_specs(const std::vector<const char *> &sources) {
  std::vector<sfpctl::PortSpec> specs;
  for (std::size_t i = 0; i < kPorts; ++i) {
    specs.push_back({"eth" + std::to_string(i), sources[i % sources.size()]});
  }
  return specs;
}

double cpu_us() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

uint64_t logged_bytes(const sfpsim::Module &module) {
  return std::accumulate(module.log().begin(), module.log().end(), uint64_t{0},
                         [](uint64_t sum, const sfpsim::Access &a) { return sum + a.length; });
}

void BM_RenderMetrics48Ports(benchmark::State &state) {
  platform_clock_set_virtual(1);
  sfpctl::PortSet set(
      port_specs({"sim:10gbase-sr", "sim:25gbase-sr-drift", "sim:25gbase-sr-rx-alarm",
                  "sim:1000base-lx-extcal", "sim:10g-dac-1m", "image:/nonexistent/port.bin"}));
  const std::vector<sfpctl::PortReading> readings = set.read_all();
  std::string text;
  const double start = cpu_us();
  for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop's own variable
    text.clear();
    sfpctl::render_metrics(readings, text);
    benchmark::DoNotOptimize(text.data());
  }
  const double per_render = (cpu_us() - start) / static_cast<double>(state.iterations());
  state.counters["cpu_us_per_render"] = per_render;
  state.counters["target_us"] = kRenderBudgetUs;
  state.counters["bytes"] = static_cast<double>(text.size());
  platform_clock_set_virtual(0);
  if (per_render > kRenderBudgetUs) {
    state.SkipWithError("rendering 48 ports took more than 1 ms of CPU");
  }
}
BENCHMARK(BM_RenderMetrics48Ports);

// The bus bytes of one status snapshot of a fresh port on the profile.
uint64_t snapshot_bytes(const char *profile) {
  sfpsim::Module module(*sfpsim::find_profile(profile));
  sfp_platform_ops ops = module.platform_ops(0, 99);
  ops.module_present = 1;
  ops.bitbang_read_cb = nullptr;
  const sfpbench::ScopedPort port(ops);
  module.clear_log();
  sfp_hw_status_rec rec{};
  (void)sfp_port_hw_status(port.handle(), &rec);
  return logged_bytes(module);
}

void BM_ScrapeBusBytes48Ports(benchmark::State &state) {
  platform_clock_set_virtual(1);
  const char *profile = "10gbase-sr";
  const uint64_t snapshot = snapshot_bytes(profile);
  sfpctl::PortSet set(port_specs({"sim:10gbase-sr"}));
  (void)set.read_all(); // inserts and identifies every module
  for (const auto &port : set.ports()) {
    port->module()->clear_log();
  }
  for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop's own variable
    benchmark::DoNotOptimize(set.read_all());
  }
  uint64_t bytes = 0;
  uint64_t creations = 0;
  for (const auto &port : set.ports()) {
    bytes += logged_bytes(*port->module());
    creations += port->creations();
  }
  const double scrapes = static_cast<double>(state.iterations());
  const double per_port = static_cast<double>(bytes) / scrapes / kPorts;
  state.counters["bytes_per_port_scrape"] = per_port;
  state.counters["target_bytes"] = static_cast<double>(snapshot);
  state.counters["snapshot_bytes"] = static_cast<double>(snapshot);
  state.counters["creations_per_port"] = static_cast<double>(creations) / kPorts;
  platform_clock_set_virtual(0);
  if (per_port != static_cast<double>(snapshot)) {
    state.SkipWithError("a scrape moved more or fewer bytes than one status snapshot per port");
  } else if (creations != kPorts) {
    state.SkipWithError("a module was identified more than once");
  }
}
BENCHMARK(BM_ScrapeBusBytes48Ports);

} // namespace
