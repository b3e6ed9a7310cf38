// The fault sweep: run an operation once clean to count the accesses it
// makes, then again on a fresh port with the k-th access failing, for every
// k, once (a transient fault) and from then on (a persistent one), and check
// the status, the error record and the port afterwards.
#ifndef SFPDRV_TESTS_PROOF_SWEEP_H
#define SFPDRV_TESTS_PROOF_SWEEP_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sfpdrv/sfpdrv.h"

namespace prooftest {

// A callback code the library never makes up: seen in a status, it was
// passed through.
inline constexpr int kInjected = 0x6B;

enum class Mode { Once, Onward };

// What a failure of one access must give: its code passed through (the
// default), a documented status, or nothing (the operation goes on and ends
// as a clean run would: an access whose failure is only traced). Every
// failure leaves an error record, unless `record` says otherwise.
struct Expect {
  enum class Kind { Passed, Status, Ignored } kind = Kind::Passed;
  sfp_rc status = 0;
  bool record = true;
};
inline constexpr Expect kPassed{};
inline constexpr Expect kIgnored{Expect::Kind::Ignored};
inline constexpr Expect status_of(sfp_rc rc) {
  return Expect{Expect::Kind::Status, rc};
}

// The accesses of a run, one token each: "r1.110" a read of page 1 at 110,
// "w1.127" a write, "b2.128" a bit-bang read, "p17" a PHY call; adapter
// accesses as the adapter log shows them.
using Tokens = std::vector<std::string>;

// One run on a fresh port: `arm(k, mode)` arms the fault (k = 0 disarms),
// `run` runs the operation, `error_records` counts the error records since
// the setup (a failure must leave one that a clean run does not), `verify` checks that the port
// still works after the faults are lifted (it reports through gtest), `tokens` the accesses since
// the setup.
struct Trial {
  std::function<void(uint64_t k, Mode mode)> arm;
  std::function<sfp_rc()> run;
  std::function<std::vector<uint32_t>()> error_records; // message numbers
  std::function<void()> verify;
  std::function<Tokens()> tokens;
};

using Setup = std::function<Trial()>;
// The expectation for a failure of the access at `index` (0-based) of a
// clean run's accesses.
using Rule = std::function<Expect(std::size_t index, const Tokens &clean)>;

// What a fault from the k-th access on gives: the first access at or after
// it whose failure is not ignored decides.
inline Expect onward_expect(const Rule &rule, std::size_t first, const Tokens &clean) {
  for (std::size_t i = first; i < clean.size(); ++i) {
    const Expect e = rule(i, clean);
    if (e.kind != Expect::Kind::Ignored) {
      return e;
    }
  }
  return kIgnored;
}

// The sweep of one operation; returns the number of accesses a clean run
// makes. `onward_rule`, where given, says what a fault from the k-th access
// on gives (for an operation whose path a failure changes); otherwise the
// first access at or after k whose failure is not ignored decides. Deviations are gathered per mode
// and reported once, with every k.
inline std::size_t run_sweep(const std::string &name, const Setup &setup, const Rule &rule,
                             sfp_rc clean_status = SFP_RC_OK,
                             sfp_rc injected = static_cast<sfp_rc>(kInjected),
                             const Rule &onward_rule = nullptr) {
  Tokens clean;
  std::vector<uint32_t> clean_records;
  {
    Trial trial = setup();
    const sfp_rc rc = trial.run();
    clean = trial.tokens();
    clean_records = trial.error_records();
    EXPECT_EQ(rc, clean_status) << name << ": the clean run";
    trial.verify();
  }
  for (Mode mode : {Mode::Once, Mode::Onward}) {
    std::string deviations;
    for (std::size_t k = 1; k <= clean.size(); ++k) {
      SCOPED_TRACE(name + " k=" + std::to_string(k) + (mode == Mode::Once ? " once" : " onward"));
      Trial trial = setup();
      const Expect expect = mode == Mode::Once ? rule(k - 1, clean)
                            : onward_rule      ? onward_rule(k - 1, clean)
                                               : onward_expect(rule, k - 1, clean);
      trial.arm(k, mode);
      const sfp_rc rc = trial.run();
      trial.arm(0, mode);
      bool new_record = false;
      for (uint32_t number : trial.error_records()) {
        new_record = new_record || std::find(clean_records.begin(), clean_records.end(), number) ==
                                       clean_records.end();
      }
      const sfp_rc want = expect.kind == Expect::Kind::Ignored  ? clean_status
                          : expect.kind == Expect::Kind::Status ? expect.status
                                                                : injected;
      if (rc != want || (expect.record && !new_record)) {
        deviations += " k" + std::to_string(k) + "(" + clean[k - 1] + "):rc=" + std::to_string(rc) +
                      (new_record ? "" : ",no-record");
      }
      trial.verify();
    }
    EXPECT_TRUE(deviations.empty())
        << name << " (" << clean.size() << " accesses, " << (mode == Mode::Once ? "once" : "onward")
        << "):" << deviations;
  }
  return clean.size();
}

} // namespace prooftest

#endif // SFPDRV_TESTS_PROOF_SWEEP_H
