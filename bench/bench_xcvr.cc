// Cost of the lookups by transceiver type. Target: at most 100 ns per
// lookup; each benchmark walks the types of the table so that no one type
// stays hot, and labels its result against the target.
#include <array>
#include <cstdint>

#include "bench_support.h"

namespace {

constexpr double kLookupTargetNs = 100.0;

// Types spread over the table, from its first rows to its last ones, with
// types that have no row.
constexpr std::array<sfp_xcvr_type, 16> kTypes = {512, 521, 549, 588, 594, 612, 691, 704,
                                                  743, 765, 784, 793, 811, 853, 514, 900};
// The DWDM types among them, for the channel lookups.
constexpr std::array<sfp_xcvr_type, 8> kDwdmTypes = {549, 570, 588, 704, 720, 743, 612, 691};

// Runs `lookup` on each type in turn and labels the mean time per lookup.
template <std::size_t N, typename Lookup>
void time_lookups(benchmark::State &state, const std::array<sfp_xcvr_type, N> &types,
                  Lookup &&lookup) {
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(types[i]));
    i = (i + 1) % N;
  }
  std::size_t round = 0;
  const double ns = sfpbench::ns_per_call([&] {
    round = (round + 1) % N;
    return lookup(types[round]);
  });
  state.counters["ns_per_lookup"] = ns;
  state.counters["target_ns"] = kLookupTargetNs;
  state.SetLabel(ns <= kLookupTargetNs ? "within target" : "ABOVE TARGET");
}

void BM_NameFromType(benchmark::State &state) {
  time_lookups(state, kTypes,
               [](sfp_xcvr_type t) { return sfp_xcvr_get_name_from_type(nullptr, t); });
}
BENCHMARK(BM_NameFromType);

// The name on a multi-rate port goes through the multi-rate families first.
void BM_NameFromTypeMultiRate(benchmark::State &state) {
  sfp_port_ctx port{};
  port.multi_rate = 1;
  port.xcvr_type = 806;
  constexpr std::array<sfp_xcvr_type, 6> kFamilyTypes = {594, 784, 806, 811, 785, 808};
  time_lookups(state, kFamilyTypes,
               [&port](sfp_xcvr_type t) { return sfp_xcvr_get_name_from_type(&port, t); });
}
BENCHMARK(BM_NameFromTypeMultiRate);

void BM_CodeId(benchmark::State &state) {
  time_lookups(state, kTypes, [](sfp_xcvr_type t) {
    uint32_t low = 0;
    uint32_t high = 0;
    uint16_t ext_id = 0;
    const uint32_t rc = sfp_xcvr_get_code_id(t, &low, &high, &ext_id);
    return rc ^ low ^ high ^ ext_id;
  });
}
BENCHMARK(BM_CodeId);

void BM_KvItuChannel(benchmark::State &state) {
  time_lookups(state, kDwdmTypes, [](sfp_xcvr_type t) {
    uint32_t chan = 0;
    const sfp_rc rc = sfp_xcvr_get_kv_itu_chan(t, &chan);
    return rc ^ chan;
  });
}
BENCHMARK(BM_KvItuChannel);

void BM_50GhzKvItuChannel(benchmark::State &state) {
  time_lookups(state, kDwdmTypes, [](sfp_xcvr_type t) {
    uint32_t chan = 0;
    const sfp_rc rc = sfp_xcvr_get_50Ghz_kv_itu_chan(t, &chan);
    return rc ^ chan;
  });
}
BENCHMARK(BM_50GhzKvItuChannel);

void BM_OpticsSpeed(benchmark::State &state) {
  time_lookups(state, kTypes, [](sfp_xcvr_type t) { return sfp_get_optics_speed(t); });
}
BENCHMARK(BM_OpticsSpeed);

} // namespace
