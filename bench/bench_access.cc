// Cost of a module read through the library against the caller's callback
// alone. Target: the library adds at most 100 ns to a 1-byte read
// (BM_PortRead minus BM_CallbackDirect; BM_PortRead's overhead_ns counter).
#include "bench_support.h"

#include "sfpsim/module.h"

namespace {

using sfpbench::instant_cb;
using sfpbench::MinimalModule;
using sfpbench::ScopedPort;

constexpr double kOverheadTargetNs = 100.0;

// (a) The baseline: the callback called directly through a function pointer.
void BM_CallbackDirect(benchmark::State &state) {
  MinimalModule module;
  sfp_mem_cb cb = instant_cb;
  benchmark::DoNotOptimize(cb); // the call stays indirect
  uint8_t byte = 0;
  for (auto _ : state) {
    const int rc = cb(&module, 0, SFP_PAGE_A0, 1, &byte);
    benchmark::DoNotOptimize(rc);
  }
}
BENCHMARK(BM_CallbackDirect);

// The timed loop of the read benchmarks.
void read_one_byte_each_iteration(benchmark::State &state, sfp_port_ctx *hdl, uint8_t &byte) {
  for (auto _ : state) {
    const sfp_rc rc = sfp_port_read(hdl, 0, SFP_PAGE_A0, 1, &byte);
    benchmark::DoNotOptimize(rc);
    benchmark::DoNotOptimize(byte);
  }
}

// (b) A 1-byte read through sfp_port_read on a port whose callback returns at
// once: the difference to (a) is the library's own cost.
void BM_PortRead(benchmark::State &state) {
  static MinimalModule module;
  const ScopedPort port(sfpbench::minimal_ops(module, instant_cb, instant_cb, 1));
  if (!port.usable(state)) {
    return;
  }
  sfp_port_ctx *hdl = port.handle();
  uint8_t byte = 0;
  read_one_byte_each_iteration(state, hdl, byte);
  if (sfp_port_read(hdl, 0, SFP_PAGE_A0, 1, &byte) != SFP_RC_OK) {
    state.SkipWithError("sfp_port_read failed");
    return;
  }

  // The same two paths timed back to back, so that the overhead shows as
  // one figure next to the target.
  sfp_mem_cb cb = instant_cb;
  benchmark::DoNotOptimize(cb);
  const double library_ns =
      sfpbench::ns_per_call([&] { return sfp_port_read(hdl, 0, SFP_PAGE_A0, 1, &byte); });
  const double direct_ns =
      sfpbench::ns_per_call([&] { return cb(&module, 0, SFP_PAGE_A0, 1, &byte); });
  const double overhead = library_ns - direct_ns;
  state.counters["overhead_ns"] = overhead;
  state.counters["target_ns"] = kOverheadTargetNs;
  state.SetLabel(overhead <= kOverheadTargetNs ? "overhead within target"
                                               : "OVERHEAD ABOVE TARGET");
}
BENCHMARK(BM_PortRead);

// (c) The same read served by the simulated module (its access log off):
// informative, the simulation's own work included.
void BM_PortReadSim(benchmark::State &state) {
  static sfpsim::Memory memory = [] {
    sfpsim::Memory m{};
    const MinimalModule minimal;
    std::copy_n(minimal.image.begin(), m.a0.size(), m.a0.begin());
    return m;
  }();
  static sfpsim::Module module(memory);
  module.set_logging(false);
  const ScopedPort port(module.platform_ops(0, 2));
  if (!port.usable(state)) {
    return;
  }
  sfp_port_ctx *hdl = port.handle();
  uint8_t byte = 0;
  read_one_byte_each_iteration(state, hdl, byte);
  if (byte != 0x03) {
    state.SkipWithError("the simulated module did not return its identifier");
  }
}
BENCHMARK(BM_PortReadSim);

} // namespace
