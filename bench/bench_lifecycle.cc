// Creation of many cages at once. A 25G optic's creation is mostly the
// module's settling waits (power level, transmitter, CTLE: about 1.2 s), and
// the registry lock is held only around the registry lookup, never across a
// module access or a wait; so 48 cages created from 48 threads take about as
// long as one. Target: the 48 take at most 1.1 times one creation alone.
#include <chrono>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "bench_support.h"

#include "platform/psleep.h"
#include "sfpsim/module.h"

namespace {

constexpr int kPorts = 48;
constexpr double kRatioTarget = 1.1;

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A module of the 25G profile, without an access log, in a cage that holds
// it (so creation runs the transmitter stage).
struct Cage {
  std::unique_ptr<sfpsim::Module> module;
  sfp_platform_ops ops{};

  explicit Cage(int32_t port) {
    module = std::make_unique<sfpsim::Module>(*sfpsim::find_profile("25gbase-sr"));
    module->set_logging(false);
    ops = module->platform_ops(0, port);
    ops.module_present = 1;
  }
};

// Creates the port of `cage`; its handle, or null after marking the run
// failed.
sfp_port_ctx *create(benchmark::State &state, const Cage &cage) {
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&cage.ops, &result);
  if (rc != SFP_RC_OK) {
    state.SkipWithError(("sfp_port_create failed with " + std::to_string(rc)).c_str());
    return nullptr;
  }
  return result.handle;
}

// Seconds for one creation alone.
double one_creation(benchmark::State &state) {
  const Cage cage(0);
  const auto start = Clock::now();
  sfp_port_ctx *port = create(state, cage);
  const double took = seconds_since(start);
  sfp_port_delete(port);
  return took;
}

// Seconds for kPorts creations started together from as many threads, from
// the start signal until the last one returned.
double parallel_creations(benchmark::State &state) {
  std::vector<Cage> cages;
  cages.reserve(kPorts);
  for (int i = 0; i < kPorts; ++i) {
    cages.emplace_back(i);
  }
  std::vector<sfp_port_ctx *> ports(kPorts, nullptr);
  std::latch go(1);
  std::vector<std::thread> threads;
  threads.reserve(kPorts);
  for (int i = 0; i < kPorts; ++i) {
    threads.emplace_back([&, i] {
      go.wait();
      sfp_port_create_result result{};
      if (sfp_port_create(&cages[i].ops, &result) == SFP_RC_OK) {
        ports[i] = result.handle;
      }
    });
  }
  const auto start = Clock::now();
  go.count_down();
  for (std::thread &t : threads) {
    t.join();
  }
  const double took = seconds_since(start);
  for (sfp_port_ctx *port : ports) {
    if (port == nullptr) {
      state.SkipWithError("a parallel creation failed");
    }
    sfp_port_delete(port);
  }
  return took;
}

// Each iteration times one creation alone and then kPorts at once; the
// iteration time is the parallel one, the counters compare the two.
void BM_CreatePortsInParallel(benchmark::State &state) {
  platform_clock_set_virtual(0);
  const Cage warm_up(0); // the one-time initialisation, outside the timing
  sfp_port_delete(create(state, warm_up));
  double one = 0;
  double all = 0;
  for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop's own variable
    one += one_creation(state);
    const double took = parallel_creations(state);
    all += took;
    state.SetIterationTime(took);
  }
  const auto runs = static_cast<double>(state.iterations());
  const double ratio = all / one;
  state.counters["one_ms"] = 1000 * one / runs;
  state.counters["all_ms"] = 1000 * all / runs;
  state.counters["ratio"] = ratio;
  state.counters["target_ratio"] = kRatioTarget;
  state.SetLabel(ratio <= kRatioTarget ? "within target" : "RATIO ABOVE TARGET");
}
BENCHMARK(BM_CreatePortsInParallel)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
