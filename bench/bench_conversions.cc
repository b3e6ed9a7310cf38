// Cost of the wavelength, frequency and channel conversions. Target: each
// conversion takes at most 100 ns.
#include <benchmark/benchmark.h>

#include "sfpdrv/sfpdrv.h"

namespace {

// One conversion per iteration over a spread of realistic inputs, so that
// neither the input nor the result is a constant the compiler could fold.
void BM_Conversion(benchmark::State &state, uint32_t (*convert)(uint32_t), uint32_t first,
                   uint32_t step) {
  uint32_t input = first;
  uint32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(input);
    const uint32_t result = convert(input);
    benchmark::DoNotOptimize(result);
    i = (i + 1) & 63;
    input = first + i * step;
  }
  state.counters["target_ns"] = 100;
  state.SetLabel("target <= 100 ns");
}

BENCHMARK_CAPTURE(BM_Conversion, wl_to_freq, sfp_xcvr_wl_to_freq, 1528000, 400);
BENCHMARK_CAPTURE(BM_Conversion, freq_to_wl, sfp_xcvr_freq_to_wl, 191350, 50);
BENCHMARK_CAPTURE(BM_Conversion, kv_channel_2_freq, sfp_xcvr_kv_channel_2_freq, 1, 1);
BENCHMARK_CAPTURE(BM_Conversion, kv_channel_2_wavelength, sfp_xcvr_kv_channel_2_wavelength, 1, 1);
BENCHMARK_CAPTURE(BM_Conversion, kv_channel_2_optic_pm, sfp_xcvr_kv_channel_2_optic_pm, 1, 1);
BENCHMARK_CAPTURE(BM_Conversion, wavelength_setpoint_from_wl, sfp_xcvr_wavelength_setpoint_from_wl,
                  1528000, 400);
BENCHMARK_CAPTURE(BM_Conversion, wl_from_wavelength_setpoint, sfp_xcvr_wl_from_wavelength_setpoint,
                  30560, 8);
BENCHMARK_CAPTURE(BM_Conversion, waveLength_to_wl, sfp_xcvr_waveLength_to_wl, 30560, 8);
BENCHMARK_CAPTURE(BM_Conversion, wl_from_wavelength_error, sfp_xcvr_wl_from_wavelength_error, 1, 3);
BENCHMARK_CAPTURE(BM_Conversion, wavelengthTolerance_to_wl, sfp_xcvr_wavelengthTolerance_to_wl, 1,
                  3);

void BM_ChanFromFreq(benchmark::State &state) {
  uint32_t freq = 191350;
  uint32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(freq);
    const uint32_t chan = sfp_xcvr_get_chan_from_freq(freq, 191350, 50);
    benchmark::DoNotOptimize(chan);
    i = (i + 1) & 63;
    freq = 191350 + i * 50;
  }
  state.counters["target_ns"] = 100;
  state.SetLabel("target <= 100 ns");
}
BENCHMARK(BM_ChanFromFreq);

} // namespace
