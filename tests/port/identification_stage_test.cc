// The identification stage of port creation, access by access on a
// simulated module: the diagnostic memory read by autopoll or bit-bang, its
// failures, and the tunable range.
#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

#include "port/messages.h"
#include "support/port_harness.h"
#include "xcvr/messages.h"

namespace {

using sfpsim::Bus;
using sfptest::records;
using sfptest::records_of;
namespace msg = sfpdrv::msg;

// An access the stage should make, and the message its failure gives.
struct Expected {
  Bus bus;
  uint8_t page, offset;
  std::vector<uint8_t> bytes;
  const sfpdrv::TraceMsg *failure;
};

bool is_tunable(const sfpsim::Memory &m) {
  return (m.a0[65] & 0x40) != 0;
}

// The diagnostic read of module `m` whose table select stood at `select`.
std::vector<Expected> expected_accesses(const sfpsim::Memory &m, bool bitbang, uint8_t select) {
  const auto table = [&m](uint8_t t, uint8_t offset, std::size_t length) {
    const auto first = m.tables[t].begin() + (offset - 128);
    return std::vector<uint8_t>(first, first + static_cast<long>(length));
  };
  const auto select_table = [](uint8_t t, const sfpdrv::TraceMsg &failure) {
    return Expected{Bus::Write, SFP_PAGE_A2, 127, {t}, &failure};
  };
  const bool tunable = is_tunable(m);
  std::vector<Expected> out{
      {Bus::Read, SFP_PAGE_A2, 0, {m.a2_lower.begin(), m.a2_lower.end()}, &msg::kGetPageA2Failed}};
  if (tunable && select != 0) {
    out.push_back(select_table(0, msg::kTsfpTableSelectFailed));
  }
  if (!bitbang) {
    out.push_back(select_table(0, msg::kGetA2Table0Failed));
    out.push_back({Bus::Read, SFP_PAGE_A2_TABLE0, 0, table(0, 128, 128), &msg::kGetA2Table0Failed});
    if (tunable) {
      out.push_back(select_table(2, msg::kTsfpSelectTable2Failed));
      out.push_back(select_table(2, msg::kTsfpGetTable2Failed));
      out.push_back(
          {Bus::Read, SFP_PAGE_A2_TABLE2, 128, table(2, 128, 128), &msg::kTsfpGetTable2Failed});
    }
    return out;
  }
  const std::tuple<uint8_t, uint8_t, uint8_t, const sfpdrv::TraceMsg &> reads[] = {
      {2, 128, 10, msg::kBbCleiReadError}, {2, 138, 10, msg::kBbPartNumberReadError},
      {2, 192, 20, msg::kBbPidReadError},  {2, 148, 4, msg::kBbVidReadError},
      {4, 132, 2, msg::kBbFirstThzFailed}, {4, 134, 2, msg::kBbFirstGhzFailed},
      {4, 136, 2, msg::kBbLastThzFailed},  {4, 138, 2, msg::kBbLastGhzFailed}};
  for (const auto &[page, offset, length, failure] : reads) {
    if (page == 2 || tunable) {
      const auto t = static_cast<uint8_t>(page - 2);
      out.push_back(select_table(t, failure));
      out.push_back({Bus::BitBangRead, page, offset, table(t, offset, length), &failure});
    }
  }
  return out;
}

class IdentificationStage : public sfptest::PortTest {
protected:
  // A module of `profile` with its table select at `select`, and a creation
  // record whose copy of table 0 is blank, so that the image shows what
  // creation read. The tuning range is moved off the grid so that the
  // rounding shows: 191.325 THz is offset -0.5 (away from zero: -1),
  // 196.083 THz offset 94.66.
  sfp_platform_ops ops_on(const char *profile, bool bitbang, uint8_t select) {
    modules_.push_back(sfptest::module_from(profile));
    sfpsim::Memory &m = modules_.back()->memory();
    m.a2_lower[127] = select;
    std::copy_n(std::array<uint8_t, 2>{3250 >> 8, 3250 & 0xff}.begin(), 2, &m.tables[2][6]);
    std::copy_n(std::array<uint8_t, 2>{830 >> 8, 830 & 0xff}.begin(), 2, &m.tables[2][10]);
    sfp_platform_ops ops = sfptest::ops_for(*modules_.back());
    std::fill(ops.eeprom + SFP_IMAGE_A2_TABLE0, ops.eeprom + SFP_EEPROM_CALLER_LEN, 0);
    ops.bitbang_read_cb = bitbang ? ops.bitbang_read_cb : nullptr;
    return ops;
  }
  sfpsim::Module &module() { return *modules_.back(); }
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

TEST_F(IdentificationStage, DiagnosticMemoryAccessByAccess) {
  for (const char *profile : {"10g-tunable-dwdm", "10gbase-sr"}) {
    for (const bool bitbang : {false, true}) {
      for (const uint8_t select : {uint8_t{0}, uint8_t{2}}) {
        SCOPED_TRACE(testing::Message()
                     << profile << " bit-bang " << bitbang << " select " << int{select});
        sfptest::clear_traces();
        const sfp_platform_ops ops = ops_on(profile, bitbang, select);
        const sfpsim::Memory memory = module().memory();
        sfp_rc rc = 99;
        const sfp_port_ctx *port = create(ops, &rc);
        ASSERT_EQ(rc, SFP_RC_OK);
        const std::vector<Expected> expected = expected_accesses(memory, bitbang, select);
        const std::vector<sfpsim::Access> &log = module().log();
        ASSERT_EQ(log.size(), expected.size());
        std::array<uint8_t, SFP_EEPROM_IMAGE_LEN> image{};
        std::copy_n(ops.eeprom, SFP_EEPROM_CALLER_LEN, image.begin());
        for (std::size_t i = 0; i < log.size(); ++i) {
          const Expected &e = expected[i];
          EXPECT_EQ(std::tie(log[i].bus, log[i].page, log[i].offset, log[i].bytes),
                    std::tie(e.bus, e.page, e.offset, e.bytes))
              << "access " << i;
          // Where each read lands: A2h at 256, table 0 at 384, table 2 at 512.
          const std::size_t at = e.page == SFP_PAGE_A2          ? 256 + e.offset
                                 : e.page == SFP_PAGE_A2_TABLE0 ? 384 + e.offset % 128
                                                                : 384 + e.offset;
          if (e.bus != Bus::Write) {
            std::copy(e.bytes.begin(), e.bytes.end(), image.begin() + static_cast<long>(at));
          }
        }
        EXPECT_TRUE(std::equal(image.begin(), image.end(), port->eeprom));

        const bool tunable = is_tunable(memory);
        EXPECT_EQ(std::pair(port->tunable_lower_offset, port->tunable_upper_offset),
                  tunable ? std::pair(-1, 95) : std::pair(0, 0));
        const auto range = records_of("sfp_evt", msg::kTunableRange);
        ASSERT_EQ(range.size(), tunable ? 1u : 0u);
        if (tunable) {
          EXPECT_EQ(range[0].text, "Controller 0 Port 0: First Laser THz: 191.3250, Last Laser "
                                   "THz: 196.0830, Lower channel offset: -1, Upper channel "
                                   "offset: 95\n");
        }
        EXPECT_EQ(records_of("sfp_evt", msg::kSpacesSupportedUpd).at(0).text,
                  "Controller 0 Port 0: Spaces supported upd [half_a0:1 full_a0:1 a2:1 dom:1]\n");
        // The spaces are checked before and after the read, then the
        // module is identified.
        EXPECT_EQ(records_of("sfp_err", msg::kCheckSupported).size(), 3u);
      }
    }
  }
}

// A failure at any access of the read ends creation with its status and
// message, and leaves the context registered but uninitialised.
TEST_F(IdentificationStage, EveryFailedAccessEndsTheStage) {
  constexpr int kFault = 0x3c;
  for (const bool bitbang : {false, true}) {
    const std::size_t accesses =
        expected_accesses(sfptest::module_from("10g-tunable-dwdm")->memory(), bitbang, 2).size();
    for (std::size_t n = 1; n <= accesses; ++n) {
      SCOPED_TRACE(testing::Message() << "bit-bang " << bitbang << ", access " << n);
      sfptest::clear_traces();
      const sfp_platform_ops ops = ops_on("10g-tunable-dwdm", bitbang, 2);
      const auto expected = expected_accesses(module().memory(), bitbang, 2);
      module().fail_nth_access(n, kFault);
      sfp_rc rc = 0;
      EXPECT_EQ(create(ops, &rc), nullptr);
      EXPECT_EQ(rc, static_cast<sfp_rc>(kFault));
      EXPECT_EQ(module().log().size(), n) << "nothing after the failure";
      EXPECT_EQ(std::pair(created_.back()->opaque, created_.back()->initialised),
                std::pair(ops.opaque, 0u));
      EXPECT_EQ(records("sfp_err").back().number, expected[n - 1].failure->number);
    }
  }
  EXPECT_EQ(records("sfp_err").back().text,
            "Controller 0 Port 0: TSFP laser last frequency GHz get failed");
}

TEST_F(IdentificationStage, ModulesWithoutDiagnosticMemoryAreNotRead) {
  for (const auto &[profile, status] : {std::pair("10g-dac-1m", 0u), std::pair("blank", 95u)}) {
    sfptest::clear_traces();
    modules_.push_back(sfptest::module_from(profile));
    sfp_rc rc = 99;
    create(sfptest::ops_for(module()), &rc);
    EXPECT_EQ(rc, status) << profile;
    EXPECT_TRUE(module().log().empty()) << profile;
    EXPECT_EQ(records_of("sfp_evt", msg::kInvalidDeviceType).size(), status == 95 ? 1u : 0u);
  }
  EXPECT_EQ(created_.front()->initialised, 1u);
  EXPECT_EQ(created_.front()->spaces.a2, 0u);
}

} // namespace
