// Cost of type detection. Target: at most 5 us per detection, trace records
// included, for the module of every simulated profile and for the worst
// cases: modules that only the table scan finds, late in the table, or that
// nothing finds.
#include <memory>
#include <string>

#include "bench_support.h"
#include "sfpsim/module.h"
#include "xcvr/internal.h"

namespace {

constexpr double kDetectTargetUs = 5.0;

// Opens the library's trace buffers once, as the first creation does.
void ensure_library_initialised() {
  if (sfp_get_ctx()->initialised != 0) {
    return;
  }
  static sfpbench::MinimalModule module;
  const sfpbench::ScopedPort port(
      sfpbench::minimal_ops(module, sfpbench::instant_cb, sfpbench::instant_cb, 90));
}

// A port in front of a simulated module (whose A0h byte 253 the 25G step
// reads), tracing to the library's buffers like a created port.
struct BenchPort {
  explicit BenchPort(const sfpsim::Memory &memory) : module(memory) {
    module.set_logging(false);
    ensure_library_initialised();
    port.initialised = 1;
    port.opaque = &module;
    port.port = 91;
    port.read_cb = sfpsim::Module::read_cb;
    port.write_cb = sfpsim::Module::write_cb;
    port.err_trace = sfp_get_ctx()->port_err_trace;
    port.evt_trace = sfp_get_ctx()->port_evt_trace;
    port.spaces = sfp_eeprom_space{1, 1, 1, 1};
    const auto image = module.caller_image();
    std::copy(image.begin(), image.end(), port.eeprom);
  }
  sfpsim::Module module;
  sfp_port_ctx port{};
};

// `found`: the module is one that detection finds, which the target is for;
// a module that nothing finds is refused only after every slot of the
// table has been examined and traced, and is measured for information.
void time_detection(benchmark::State &state, const sfpsim::Memory &memory, bool found = true) {
  BenchPort bench(memory);
  sfp_port_ctx *port = &bench.port;
  const sfpdrv::DetectInputs in = sfpdrv::detect_inputs(port->eeprom);
  const char *pid = sfp_get_pid(port);
  const auto detect = [&] {
    return sfpdrv::sfp_xcvr_detect_type(port, in.identifier, in.code_low, in.code_high, in.ext_id,
                                        in.length, in.options1, pid, in.ext_code, in.speed);
  };
  for (auto _ : state) {
    benchmark::DoNotOptimize(detect());
  }
  const double us = sfpbench::ns_per_call(detect) / 1000.0;
  state.counters["us_per_detection"] = us;
  state.counters["type"] = detect();
  if (!found) {
    state.SetLabel("no row matches: every slot examined");
    return;
  }
  state.counters["target_us"] = kDetectTargetUs;
  state.SetLabel(us <= kDetectTargetUs ? "within target" : "ABOVE TARGET");
}

// Identification bytes of the worst cases.
sfpsim::Memory worst_case(uint8_t identifier, uint8_t code_byte5, uint8_t vendor_code) {
  sfpsim::Memory memory;
  memory.a0[0] = identifier;
  memory.a0[1] = 0x04;
  memory.a0[5] = code_byte5; // a code bit that no step before the scan decides on
  memory.a0[96] = vendor_code;
  return memory;
}

struct WorstCase {
  const char *name;
  sfpsim::Memory memory;
  bool found;
};

// Registers one benchmark per profile and per worst case.
const int kRegistered = [] {
  for (const sfpsim::Profile &profile : sfpsim::profiles()) {
    benchmark::RegisterBenchmark(
        ("BM_Detect/" + profile.name).c_str(),
        [&profile](benchmark::State &state) { time_detection(state, profile.memory); });
  }
  static const WorstCase kWorst[] = {
      {"scan_last_row", worst_case(0x03, 0x01, 0xd6), true}, // 853, the table's last row
      {"scan_no_match", worst_case(0x03, 0x01, 0x77), false},
      {"dwdm_scan_late", worst_case(0x0b, 0x00, 0xa0), true}, // 743, the last 10G DWDM row
      {"dwdm_scan_no_match", worst_case(0x0b, 0x00, 0x77), false},
  };
  for (const WorstCase &worst : kWorst) {
    benchmark::RegisterBenchmark(
        (std::string("BM_Detect/") + worst.name).c_str(),
        [&worst](benchmark::State &state) { time_detection(state, worst.memory, worst.found); });
  }
  return 0;
}();

} // namespace
