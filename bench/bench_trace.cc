// Cost of trace records. Target: one record of seven integers costs at most
// 200 ns (BM_TraceRecord).
#include "bench_support.h"

#include "platform/pelog.h"

namespace {

using sfpbench::failing_cb;
using sfpbench::instant_cb;
using sfpbench::MinimalModule;
using sfpbench::ScopedPort;

constexpr uint32_t kBufferSize = 65536;
constexpr uint32_t kRecordNumber = 9001;
constexpr const char *kSignature = "ddddddd";
constexpr const char *kFormat =
    "Controller %d Port %d: access error. Reg 0x%x Sz %d page %d rw %d rc: 0x%x\n";

// (d) One record with a typical signature on an open buffer; the buffer is
// full after the first few thousand, so most writes also drop the oldest.
void BM_TraceRecord(benchmark::State &state) {
  pelog_hdl buffer = nullptr;
  if (pelog_open(&buffer, "bench_trace", kBufferSize, 0, "bench", "bench", 0) != 0) {
    state.SkipWithError("pelog_open failed");
    return;
  }
  int32_t reg = 0;
  for (auto _ : state) {
    const int rc =
        pelog_write(buffer, kRecordNumber, 7 * 4, 0, kSignature, kFormat, 0, 1, reg, 1, 0, 1, 5);
    benchmark::DoNotOptimize(rc);
    reg = (reg + 1) & 0xff;
  }
  if (pelog_count(buffer) == 0) {
    state.SkipWithError("no record was kept");
  }
  state.counters["target_ns"] = 200;
  state.SetLabel("target <= 200 ns");
}
BENCHMARK(BM_TraceRecord);

// (e) A read whose callback fails: the status comes back and one error
// record goes to the library's error buffer.
void BM_PortReadFailing(benchmark::State &state) {
  static MinimalModule module;
  const ScopedPort port(sfpbench::minimal_ops(module, failing_cb, instant_cb, 3));
  if (!port.usable(state)) {
    return;
  }
  sfp_port_ctx *hdl = port.handle();
  pelog_hdl errors = pelog_find("sfp_err");
  const uint64_t before = errors != nullptr ? pelog_count(errors) + pelog_dropped(errors) : 0;
  uint8_t byte = 0;
  for (auto _ : state) {
    const sfp_rc rc = sfp_port_read(hdl, 0, SFP_PAGE_A0, 1, &byte);
    benchmark::DoNotOptimize(rc);
  }
  if (sfp_port_read(hdl, 0, SFP_PAGE_A0, 1, &byte) != static_cast<sfp_rc>(sfpbench::kBusError)) {
    state.SkipWithError("the callback's status did not come back");
    return;
  }
  const uint64_t after = errors != nullptr ? pelog_count(errors) + pelog_dropped(errors) : 0;
  // Records written per read (count plus dropped is the number written
  // since the last clear).
  state.counters["records_per_read"] =
      static_cast<double>(after - before) / static_cast<double>(state.iterations() + 1);
}
BENCHMARK(BM_PortReadFailing);

} // namespace
