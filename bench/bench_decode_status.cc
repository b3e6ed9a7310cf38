// Cost of decoding a diagnostic page into the status record, for an
// internally calibrated module and for an externally calibrated one (slope
// and offset of every quantity, the receive power polynomial). Target: at
// most 1 us per decode.
#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <cstdint>

#include "sfpdrv/sfpdrv.h"
#include "sfpsim/module.h"

namespace {

using Page = std::array<uint8_t, sfpsim::kA2LowerSize>;

void put16(Page &page, std::size_t at, uint16_t value) {
  page[at] = static_cast<uint8_t>(value >> 8);
  page[at + 1] = static_cast<uint8_t>(value);
}

// The 10GBASE-SR module's page, optionally with calibration constants that
// leave the values near where they were.
Page dom_page(bool external) {
  Page page = sfpsim::find_profile("10gbase-sr")->memory.a2_lower;
  if (external) {
    constexpr std::array<float, 5> kRxPower{1e-12F, -2e-9F, 1e-6F, 1.02F, 3.0F};
    for (std::size_t i = 0; i < kRxPower.size(); ++i) {
      const auto bits = std::bit_cast<uint32_t>(kRxPower[i]);
      put16(page, 56 + 4 * i, static_cast<uint16_t>(bits >> 16));
      put16(page, 58 + 4 * i, static_cast<uint16_t>(bits));
    }
    for (std::size_t slope = 76; slope <= 88; slope += 4) {
      put16(page, slope, 0x0104);                                  // 1.016
      put16(page, slope + 2, static_cast<uint16_t>(int16_t{-12})); // offset
    }
  }
  return page;
}

void BM_DecodeStatus(benchmark::State &state, bool external) {
  const Page page = dom_page(external);
  sfp_port_ctx port{};
  sfp_hw_status_rec rec{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(page.data());
    const sfp_rc rc = sfp_xcvr_decode_sfp_status(&port, page.data(), &rec, external ? 1 : 0);
    benchmark::DoNotOptimize(rc);
    benchmark::DoNotOptimize(rec);
  }
  state.counters["target_us"] = 1;
  state.SetLabel("target <= 1 us");
}
BENCHMARK_CAPTURE(BM_DecodeStatus, internal_cal, false);
BENCHMARK_CAPTURE(BM_DecodeStatus, external_cal, true);

} // namespace
