// The identification stage of port creation beyond its module accesses
// (which creation_sequence_test follows access by access): the tunable
// range, the spaces reported after the diagnostic read, and a module of no
// known type.
#include <algorithm>
#include <array>

#include "port/messages.h"
#include "support/port_harness.h"
#include "xcvr/messages.h"

namespace {

using sfptest::records_of;
namespace msg = sfpdrv::msg;

class IdentificationStage : public sfptest::PortTest {
protected:
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

// The tuning range is moved off the grid so that the rounding shows:
// 191.325 THz is offset -0.5 (away from zero: -1), 196.083 THz offset 94.66.
TEST_F(IdentificationStage, TunableRangeFromTable2) {
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
    const auto range = records_of("sfp_evt", msg::kTunableRange);
    ASSERT_EQ(range.size(), 1u);
    EXPECT_EQ(range[0].text, "Controller 0 Port 0: First Laser THz: 191.3250, Last Laser "
                             "THz: 196.0830, Lower channel offset: -1, Upper channel "
                             "offset: 95\n");
    EXPECT_EQ(records_of("sfp_evt", msg::kSpacesSupportedUpd).at(0).text,
              "Controller 0 Port 0: Spaces supported upd [half_a0:1 full_a0:1 a2:1 dom:1]\n");
    // The spaces are checked before and after the read, then the module is
    // identified.
    EXPECT_EQ(records_of("sfp_err", msg::kCheckSupported).size(), 3u);
  }
}

TEST_F(IdentificationStage, ModulesWithoutDiagnosticMemoryAreNotRead) {
  for (const auto &[profile, status] : {std::pair("10g-dac-1m", 0u), std::pair("blank", 95u)}) {
    sfptest::clear_traces();
    modules_.push_back(sfptest::module_from(profile));
    sfp_rc rc = 99;
    create(sfptest::ops_for(*modules_.back()), &rc);
    EXPECT_EQ(rc, status) << profile;
    EXPECT_EQ(records_of("sfp_evt", msg::kInvalidDeviceType).size(), status == 95 ? 1u : 0u);
    EXPECT_TRUE(records_of("sfp_evt", msg::kTunableRange).empty());
  }
  EXPECT_EQ(created_.front()->initialised, 1u);
  EXPECT_EQ(created_.front()->spaces.a2, 0u);
}

} // namespace
