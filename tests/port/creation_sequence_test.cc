// Port creation end to end on the simulated profiles: every module access
// and every wait, against an independent model of the creation rules, what
// a failure at each of those accesses does to creation, and the tunable
// range that identification reads.
#include <algorithm>
#include <array>
#include <numeric>
#include <tuple>
#include <vector>

#include "port/messages.h"
#include "support/port_harness.h"
#include "xcvr/messages.h"

namespace {

using sfpsim::Bus;
using sfptest::records_of;
using sfptest::waits;
namespace msg = sfpdrv::msg;

constexpr int kFault = 0x3c;

// What a failure of an access does to creation.
enum class OnFailure {
  EndsCreation, // identification: that status, the port left uninitialised
  EndsStage,    // transmitter stage: that status, the port initialised
  Ignored,      // traced only: creation ends as it would have
};

// One access the rules prescribe. `bytes`: what a write carries, or what an
// identification read brings into the image at `image_at`; unchecked when
// empty. `message`: the last error record after a failure, when checked.
struct Step {
  Bus bus;
  uint8_t page, offset;
  uint32_t length;
  std::vector<uint8_t> bytes;
  OnFailure on_failure;
  const sfpdrv::TraceMsg *message = nullptr;
  std::size_t image_at = 0;
};

struct Cage {
  std::string profile;
  bool bitbang = false;
  bool present = true;
  bool identified = true; // the supported policy accepts the module
  uint32_t rate_code = SFP_RATE_CODE_25G;
  uint32_t ready_after = 0; // reads of A2h byte 110 that show data not ready
  uint8_t table_select = 0;
  bool monitoring = true; // A0h byte 92 left as the profile has it
};

struct Prediction {
  std::vector<Step> accesses;
  std::vector<uint32_t> waits;
  sfp_rc status = SFP_RC_OK;
};

// Identification's verdict, which the rest of the sequence follows (its own
// rules are tested with the supported policy).
struct Verdict {
  sfp_xcvr_type type;
  sfp_eeprom_space spaces;
};

constexpr std::array<sfp_xcvr_type, 6> k25gOptics{784, 786, 787, 788, 808, 809};
constexpr std::array<sfp_xcvr_type, 8> k25g50gOptics{784, 786, 787, 788, 808, 809, 811, 820};

template <std::size_t N> bool in(const std::array<sfp_xcvr_type, N> &set, sfp_xcvr_type t) {
  return std::find(set.begin(), set.end(), t) != set.end();
}

// The creation rules, written down from scratch over a copy of the module's
// memory that the model's own writes change.
class Model {
public:
  Model(const Cage &cage, const sfpsim::Memory &memory, const Verdict &verdict)
      : c_(cage), m_(memory), v_(verdict), not_ready_(cage.ready_after) {}

  Prediction predict() {
    identification();
    if (p_.status == SFP_RC_OK && c_.present) {
      transmitter_stage();
    }
    return p_;
  }

private:
  bool a2() const { return v_.spaces.a2 != 0; }
  bool tunable() const { return (m_.a0[65] & 0x40) != 0; }
  // A 25G module (bit rate 0xff, maximum 103 or 104) is asked for its
  // multi-rate marker, A0h byte 253, at every detection.
  bool rate_25g() const { return m_.a0[12] == 0xff && (m_.a0[66] == 103 || m_.a0[66] == 104); }
  bool multi_rate() const { return rate_25g() && m_.a0[253] == 3; }

  void access(Bus bus, uint8_t page, uint8_t offset, uint32_t length, std::vector<uint8_t> bytes,
              OnFailure f, const sfpdrv::TraceMsg *message = nullptr, std::size_t image_at = 0) {
    p_.accesses.push_back({bus, page, offset, length, std::move(bytes), f, message, image_at});
  }
  void read(uint8_t page, uint8_t offset, OnFailure f, const sfpdrv::TraceMsg *message = nullptr) {
    access(Bus::Read, page, offset, 1, {}, f, message);
  }
  void write(uint8_t offset, uint8_t value, OnFailure f,
             const sfpdrv::TraceMsg *message = nullptr) {
    access(Bus::Write, SFP_PAGE_A2, offset, 1, {value}, f, message);
    m_.a2_lower[offset] = value;
  }
  // A read that includes A2h byte 110 counts towards data ready; true when
  // it showed the data not ready.
  bool byte_110_read() {
    const bool not_ready = (m_.a2_lower[110] & 0x01) != 0;
    if (not_ready_ != 0 && not_ready_ != sfpsim::kNeverReady && --not_ready_ == 0) {
      m_.a2_lower[110] &= 0xfe;
    }
    return not_ready;
  }
  std::vector<uint8_t> table(uint8_t t, uint8_t offset, uint32_t length) const {
    const auto first = m_.tables[t].begin() + (offset - 128);
    return {first, first + length};
  }
  void select_table(uint8_t t, OnFailure f, const sfpdrv::TraceMsg &message) {
    access(Bus::Write, SFP_PAGE_A2, 127, 1, {t}, f, &message);
    m_.a2_lower[127] = t;
  }

  void detection() {
    if (rate_25g()) {
      read(SFP_PAGE_A0, 253, OnFailure::Ignored);
    }
  }

  void identification() {
    detection();
    if (!c_.identified) {
      p_.status = SFP_RC_UNSUPPORTED;
      return;
    }
    if (a2()) {
      diagnostic_read();
      detection();
    }
    detection();
  }

  void diagnostic_read() {
    constexpr OnFailure kEnds = OnFailure::EndsCreation;
    std::vector<uint8_t> lower(m_.a2_lower.begin(), m_.a2_lower.end());
    byte_110_read();
    access(Bus::Read, SFP_PAGE_A2, 0, 128, lower, kEnds, &msg::kGetPageA2Failed,
           SFP_IMAGE_A2_LOWER);
    if (tunable() && lower[127] != 0) {
      select_table(0, kEnds, msg::kTsfpTableSelectFailed);
    }
    if (!c_.bitbang) {
      select_table(0, kEnds, msg::kGetA2Table0Failed);
      access(Bus::Read, SFP_PAGE_A2_TABLE0, 0, 128, table(0, 128, 128), kEnds,
             &msg::kGetA2Table0Failed, SFP_IMAGE_A2_TABLE0);
      if (tunable()) {
        select_table(2, kEnds, msg::kTsfpSelectTable2Failed);
        select_table(2, kEnds, msg::kTsfpGetTable2Failed);
        access(Bus::Read, SFP_PAGE_A2_TABLE2, 128, 128, table(2, 128, 128), kEnds,
               &msg::kTsfpGetTable2Failed, SFP_IMAGE_A2_TABLE2);
      }
      return;
    }
    const std::tuple<uint8_t, uint8_t, uint8_t, const sfpdrv::TraceMsg &> reads[] = {
        {0, 128, 10, msg::kBbCleiReadError}, {0, 138, 10, msg::kBbPartNumberReadError},
        {0, 192, 20, msg::kBbPidReadError},  {0, 148, 4, msg::kBbVidReadError},
        {2, 132, 2, msg::kBbFirstThzFailed}, {2, 134, 2, msg::kBbFirstGhzFailed},
        {2, 136, 2, msg::kBbLastThzFailed},  {2, 138, 2, msg::kBbLastGhzFailed}};
    for (const auto &[t, offset, length, message] : reads) {
      if (t == 0 || tunable()) {
        select_table(t, kEnds, message);
        access(Bus::BitBangRead, static_cast<uint8_t>(SFP_PAGE_A2_TABLE0 + t), offset, length,
               table(t, offset, length), kEnds, &message,
               (t == 0 ? SFP_IMAGE_A2_TABLE0 : SFP_IMAGE_A2_TABLE2) + offset - 128u);
      }
    }
  }

  void transmitter_stage() {
    if (a2() && v_.spaces.dom != 0) {
      for (int poll = 1;; ++poll) {
        read(SFP_PAGE_A2, 110, OnFailure::EndsStage, &msg::kDataReadyReadError);
        if (!byte_110_read()) {
          break;
        }
        p_.waits.push_back(100);
        if (poll == 20) {
          p_.status = SFP_RC_FAULT;
          return;
        }
      }
    }
    if (multi_rate()) {
      rate_select();
    }
    power_level(false);
    if (a2() && (m_.a0[93] & 0x40) != 0) {
      set_clear(110, false, 0x40); // transmitter off
    }
    p_.waits.push_back(100);
    if (a2() && in(k25gOptics, v_.type)) {
      set_clear(120, true, 0x06); // Tx CDR off
      read(SFP_PAGE_A2, 120, OnFailure::Ignored);
    }
    power_level(true);
    ctle_off();
  }

  void rate_select() {
    const uint32_t speed = sfp_get_optics_speed(v_.type);
    uint8_t reg = 120;
    uint8_t value = 0;
    if (speed == 50000 && v_.type == 811) {
      reg = 110;
      value = 8;
    } else if (speed == 25000) {
      const bool soft = v_.type == 811 || v_.type == 785;
      reg = soft ? 110 : 120;
      value = soft ? 0 : 8;
    }
    write(reg, value, OnFailure::EndsStage, &msg::kRateSelectWriteError);
  }

  void set_clear(uint8_t offset, bool clear, uint8_t mask) {
    read(SFP_PAGE_A2, offset, OnFailure::Ignored);
    const uint8_t old = m_.a2_lower[offset];
    const auto now = static_cast<uint8_t>(clear ? old & ~mask : old | mask);
    if (now != old) {
      write(offset, now, OnFailure::Ignored);
    }
  }

  void power_level(bool high) {
    const bool optic = in(k25g50gOptics, v_.type) && a2();
    if (!optic && !(multi_rate() && c_.rate_code == SFP_RATE_CODE_10G)) {
      return;
    }
    if (high) {
      read(SFP_PAGE_A0, 64, OnFailure::Ignored);
      if ((m_.a0[64] & 0x20) != 0) {
        return; // the module asks for level 2: nothing written, no wait
      }
    }
    set_clear(118, !high, 0x01);
    p_.waits.push_back(300);
  }

  void ctle_off() {
    if (!in(k25g50gOptics, v_.type) || !a2()) {
      return;
    }
    if (v_.type == 811 || v_.type == 820) {
      read(SFP_PAGE_A2, 71, OnFailure::Ignored);
    } else {
      read(SFP_PAGE_A2, 122, OnFailure::Ignored);
      set_clear(120, true, 0x01);
    }
    p_.waits.push_back(500);
  }

  const Cage &c_;
  sfpsim::Memory m_;
  Verdict v_;
  uint32_t not_ready_;
  Prediction p_;
};

class CreationSequence : public sfptest::PortTest {
protected:
  struct Outcome {
    sfp_rc rc;
    sfp_port_ctx *handle;
    const sfp_port_ctx *registered;
    Prediction expected;
  };

  // Creates a port in `cage`, failing the module's `fail_at`-th access
  // (0: none), and predicts the creation for the verdict it reached without
  // a failure.
  Outcome create_in(const Cage &cage, uint64_t fail_at = 0) {
    sfptest::clear_traces();
    platform_clock_reset();
    modules_.push_back(sfptest::module_from(cage.profile));
    sfpsim::Module &module = *modules_.back();
    module.memory().a2_lower[127] = cage.table_select;
    module.set_data_ready_after(cage.ready_after);
    if (!cage.monitoring) {
      module.memory().a0[92] &= 0xbf; // no diagnostic monitoring
    }
    const sfpsim::Memory before = module.memory();
    sfp_platform_ops ops = sfptest::ops_for(module);
    // The caller's copy has no A2h, so that the image shows what was read.
    std::fill(ops.eeprom + SFP_IMAGE_A2_LOWER, ops.eeprom + SFP_EEPROM_CALLER_LEN, 0);
    ops.bitbang_read_cb = cage.bitbang ? ops.bitbang_read_cb : nullptr;
    ops.module_present = cage.present ? 1 : 0;
    ops.rate_code = cage.rate_code;
    module.fail_nth_access(fail_at, kFault);
    sfp_rc rc = 99;
    sfp_port_ctx *handle = create(ops, &rc);
    const sfp_port_ctx *port = created_.back(); // registered for the new module
    if (fail_at == 0) {
      verdict_ = {port->xcvr_type, port->spaces};
    }
    return {rc, handle, port, Model(cage, before, verdict_).predict()};
  }

  const std::vector<sfpsim::Access> &log() const { return modules_.back()->log(); }

  // The log's first `count` accesses against the prediction; the last one's
  // bytes only when it did not fail.
  void expect_accesses(const Prediction &expected, std::size_t count, bool last_failed) const {
    ASSERT_GE(log().size(), count);
    ASSERT_GE(expected.accesses.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
      const sfpsim::Access &a = log()[i];
      const Step &e = expected.accesses[i];
      EXPECT_EQ(std::tie(a.bus, a.page, a.offset, a.length),
                std::tie(e.bus, e.page, e.offset, e.length))
          << "access " << i;
      if (!e.bytes.empty() && !(last_failed && i + 1 == count)) {
        EXPECT_EQ(a.bytes, e.bytes) << "access " << i;
      }
    }
  }

  static std::size_t tx_disable_records() {
    return records_of("sfp_evt", msg::kInitTxDisable).size();
  }

  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
  Verdict verdict_{};
};

TEST_F(CreationSequence, EveryProfileAccessByAccessAndWaitByWait) {
  std::vector<Cage> cages;
  for (const sfpsim::Profile &p : sfpsim::profiles()) {
    for (const bool bitbang : {false, true}) {
      const bool known = p.name != "blank";
      cages.push_back(
          {.profile = p.name, .bitbang = bitbang, .present = false, .identified = known});
      for (const uint32_t ready_after : {0u, 19u, sfpsim::kNeverReady}) {
        cages.push_back({.profile = p.name,
                         .bitbang = bitbang,
                         .identified = known,
                         .ready_after = ready_after});
      }
    }
  }
  // A 10/25G module has no 50G rate: a 50G cage refuses it.
  cages.push_back({.profile = "10-25g-sr-multirate", .rate_code = SFP_RATE_CODE_10G});
  cages.push_back(
      {.profile = "10-25g-sr-multirate", .identified = false, .rate_code = SFP_RATE_CODE_50G});
  // A tunable module left on table 2 is put back on table 0 first.
  for (const bool bitbang : {false, true}) {
    cages.push_back({.profile = "10g-tunable-dwdm", .bitbang = bitbang, .table_select = 2});
  }
  // Without monitoring the data-ready bit means nothing: it is not polled.
  cages.push_back(
      {.profile = "25gbase-sr", .ready_after = sfpsim::kNeverReady, .monitoring = false});

  for (const Cage &cage : cages) {
    SCOPED_TRACE(testing::Message()
                 << cage.profile << " bit-bang " << cage.bitbang << " present " << cage.present
                 << " rate code " << cage.rate_code << " ready after " << cage.ready_after
                 << " select " << int{cage.table_select});
    const Outcome out = create_in(cage);
    const Prediction &expected = out.expected;
    EXPECT_EQ(out.rc, expected.status);
    EXPECT_EQ(log().size(), expected.accesses.size());
    expect_accesses(expected, std::min(log().size(), expected.accesses.size()), false);
    EXPECT_EQ(waits(), expected.waits);

    const bool initialised = expected.status != SFP_RC_UNSUPPORTED;
    EXPECT_EQ(out.registered->initialised, initialised ? 1u : 0u);
    EXPECT_EQ(out.handle, initialised ? out.registered : nullptr);
    EXPECT_EQ(tx_disable_records(), initialised && cage.present && expected.status == 0 ? 1u : 0u);
    for (const Step &s : expected.accesses) {
      if (s.image_at != 0) {
        EXPECT_TRUE(std::equal(s.bytes.begin(), s.bytes.end(), out.registered->eeprom + s.image_at))
            << "image at " << s.image_at;
      }
    }
    // Data that never gets ready costs 20 waits of 100 ms, then status 14.
    const sfp_eeprom_space &sp = out.registered->spaces;
    if (cage.present && cage.ready_after == sfpsim::kNeverReady && sp.a2 != 0 && sp.dom != 0) {
      const std::vector<uint32_t> slept = waits();
      EXPECT_EQ(std::accumulate(slept.begin(), slept.end(), 0u), 2000u);
      EXPECT_EQ(out.rc, SFP_RC_FAULT);
      EXPECT_EQ(sfptest::records("sfp_err").back().number, msg::kTxNotDataReady.number);
    }
  }
}

// A failure at any one access of creation: an identification access ends
// creation with its status and an uninitialised port; the data-ready read
// and the rate select end the transmitter stage with their status on an
// initialised port; the transmitter settings are only traced.
TEST_F(CreationSequence, FailureAtEachAccess) {
  const Cage walks[] = {
      {.profile = "10g-tunable-dwdm", .table_select = 2},
      {.profile = "10g-tunable-dwdm", .bitbang = true},
      {.profile = "10-25g-sr-multirate", .rate_code = SFP_RATE_CODE_25G},
      {.profile = "10-25g-sr-multirate", .bitbang = true, .rate_code = SFP_RATE_CODE_10G},
  };
  for (const Cage &cage : walks) {
    const std::size_t accesses = create_in(cage).expected.accesses.size();
    for (std::size_t n = 1; n <= accesses; ++n) {
      SCOPED_TRACE(testing::Message()
                   << cage.profile << " bit-bang " << cage.bitbang << ", failed access " << n);
      const Outcome out = create_in(cage, n);
      const Step &failed = out.expected.accesses[n - 1];
      expect_accesses(out.expected, n, true);
      const bool ends = failed.on_failure != OnFailure::Ignored;
      EXPECT_EQ(out.rc, ends ? static_cast<sfp_rc>(kFault) : SFP_RC_OK);
      const bool initialised = failed.on_failure != OnFailure::EndsCreation;
      EXPECT_EQ(out.registered->initialised, initialised ? 1u : 0u);
      EXPECT_EQ(out.handle, initialised ? out.registered : nullptr);
      if (ends) {
        EXPECT_EQ(log().size(), n) << "nothing after the failure";
      }
      EXPECT_EQ(tx_disable_records(), ends ? 0u : 1u) << "the stage runs to its end";
      if (failed.message != nullptr) {
        EXPECT_EQ(sfptest::records("sfp_err").back().number, failed.message->number);
      }
    }
  }
}

// The tuning range is moved off the grid so that the rounding shows:
// 191.325 THz is offset -0.5 (away from zero: -1), 196.083 THz offset 94.66.
TEST_F(CreationSequence, TunableRangeFromTable2) {
  for (const bool bitbang : {false, true}) {
    SCOPED_TRACE(testing::Message() << "bit-bang " << bitbang);
    sfptest::clear_traces();
    modules_.push_back(sfptest::module_from("10g-tunable-dwdm"));
    sfpsim::Memory &m = modules_.back()->memory();
    std::copy_n(std::array<uint8_t, 2>{3250 >> 8, 3250 & 0xff}.begin(), 2, &m.tables[2][6]);
    std::copy_n(std::array<uint8_t, 2>{830 >> 8, 830 & 0xff}.begin(), 2, &m.tables[2][10]);
    sfp_platform_ops ops = sfptest::ops_for(*modules_.back());
    ops.bitbang_read_cb = bitbang ? ops.bitbang_read_cb : nullptr;
    const sfp_port_ctx *port = create(ops);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(std::pair(port->tunable_lower_offset, port->tunable_upper_offset), std::pair(-1, 95));
    EXPECT_EQ(sfptest::text_of("sfp_evt", msg::kTunableRange),
              "Controller 0 Port 0: First Laser THz: 191.3250, Last Laser THz: 196.0830, Lower "
              "channel offset: -1, Upper channel offset: 95\n");
    // The spaces are checked before and after the read, then the module is
    // identified.
    EXPECT_EQ(records_of("sfp_err", msg::kCheckSupported).size(), 3u);
  }
}

} // namespace
