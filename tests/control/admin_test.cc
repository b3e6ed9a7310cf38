// Admin state and PHY speed on a simulated 25G optic and on a copper module
// with a PHY, as the module's bus, the PHY, the trace buffers and the virtual
// clock show them.
#include <tuple>

#include "control_harness.h"

namespace {

using namespace ctltest;
using namespace sfpdrv::msg;

class AdminTest : public ControlTest {
protected:
  // A 1000BASE-T port with its PHY attached; the PHY's registers are words.
  sfp_port_ctx *open_copper() {
    sfp_port_ctx *port = open("1000base-t", 533);
    port->phy_word_access = 1;
    EXPECT_EQ(sfp_xcvr_set_phy_access(port, 533), SFP_RC_OK);
    return port;
  }
  sfpsim::Phy &phy() { return *module_->phy(); }
  // The PHY's advertisement (register 4) and links at 1000 Mb/s, with the
  // PHY log, the traces and the clock emptied.
  void set_phy(uint16_t advertisement, bool copper_up, bool system_up) {
    phy().set_reg(0, 4, advertisement);
    phy().set_link(0, copper_up, 2);
    phy().set_link(1, system_up, 2);
    phy().clear_log();
    restart();
  }
};

TEST_F(AdminTest, TransitionsOfA25gOpticSwitchItsControlsAndClearStaleFlags) {
  sfp_port_ctx *port = open("25gbase-sr", 784);
  a2(110) = 0x40;                  // transmitter off
  module_->latch_flags(112, 0x80); // a stale alarm
  // previous, new; bus, transmitter on afterwards
  const std::tuple<uint32_t, uint32_t, const char *, bool> steps[] = {
      {0, 0, "", false},
      {0, 1,
       "r1.120 w1.120=06 r1.120 r1.122 r1.120 r0.64 r1.110 w1.110=00 r1.110 r1.110 r1.112 r1.113 "
       "r1.114 r1.115 r1.116 r1.117",
       true},
      {1, 3, "", true},
      {3, 0, "r1.110 w1.110=40 r1.120 w1.120=00 r1.120 r1.122 r1.120", false},
      {0, 0, "", false},
  };
  for (const auto &[previous, state, expected, tx_on] : steps) {
    restart();
    EXPECT_EQ(sfp_port_admin_state(port, previous, state), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), expected) << previous << "->" << state;
    EXPECT_EQ(waits(), *expected == '\0' ? Numbers{} : Numbers{500}); // the CTLE change
    EXPECT_EQ(std::make_tuple(port->admin_state, module_->transmitter_on()),
              std::tie(state, tx_on));
    if (state != 0) {
      EXPECT_EQ(a2(112), 0) << "the stale alarm is still latched";
    }
  }
  EXPECT_EQ(text_of("sfp_evt", kAdminState),
            "Controller 0 Port 0: SFP admin state handler, pre 0, state 0, speed:0\n");
  // A Tx fault skips the flag clearing, failed reads are traced, and the
  // port comes up all the same.
  // live Tx fault, failing A2h byte; flags read, buffer and message
  const std::tuple<uint8_t, uint8_t, bool, const char *, const sfpdrv::TraceMsg *> cases[] = {
      {0x04, 0, false, "sfp_evt", &kAdminOpticalTxFault},
      {0x00, 113, true, "sfp_err", &kAdminFlagClearReadError},
      {0x00, 110, true, "sfp_err", &kAdminTxFaultReadError},
  };
  for (const auto &[fault, failing, flags_read, buffer, message] : cases) {
    port = open("25gbase-sr", 784);
    module_->set_live_flags(110, fault);
    module_->fail_at(1, failing, 5);
    EXPECT_EQ(sfp_port_admin_state(port, 0, 1), SFP_RC_OK);
    EXPECT_EQ(bus(*module_).ends_with("r1.116 r1.117"), flags_read) << bus(*module_);
    EXPECT_EQ(records_of(buffer, *message).size(), 1u);
  }
  port->spaces.a2 = 0; // without A2h there are no flags to clear
  restart();
  EXPECT_EQ(sfp_port_admin_state(port, 0, 1), SFP_RC_OK);
  EXPECT_TRUE(records_of("sfp_evt", kAdminClearFlags).empty());
}

TEST_F(AdminTest, CopperPortKeepsItsPhySpeedWhileDownAndAppliesItWhenUp) {
  sfp_port_ctx *port = open_copper();
  EXPECT_EQ(sfp_port_set_phy_speed(port, 1000, 0), SFP_RC_OK);
  EXPECT_EQ(std::tie(port->phy_speed, port->phy_autoneg), std::make_tuple(1000u, 0u));
  EXPECT_EQ(text_of("sfp_evt", kPhySpeedDeferred),
            "Controller 0 Port 0: SFP phy skip speed, speed 1000MB AN 0\n");
  EXPECT_TRUE(phy().log().empty());
  // previous, new, copper link up; PHY calls: 6 for the queries, 8 more for
  // the 1000 Mb/s sequence after its wait
  const std::tuple<uint32_t, uint32_t, bool, std::size_t> steps[] = {
      {0, 1, false, 14}, {1, 1, true, 6},  {1, 1, false, 14},
      {1, 0, false, 0},  {0, 0, false, 0}, {0, 1, true, 6},
  };
  for (const auto &[previous, state, copper_up, calls] : steps) {
    set_phy(phy().reg(0, 4), copper_up, true);
    EXPECT_EQ(sfp_port_admin_state(port, previous, state), SFP_RC_OK);
    EXPECT_EQ(phy().log().size(), calls) << previous << "->" << state << " " << copper_up;
    EXPECT_EQ(waits(), calls == 14 ? Numbers{250} : Numbers{});
    EXPECT_EQ(std::make_tuple(bus(*module_), port->phy_speed), std::make_tuple("", 1000u));
  }
}

TEST_F(AdminTest, SpeedRequestOnAnUpPortProgramsThePhyUnlessItAlreadyRunsIt) {
  // speed, autoneg; PHY advertisement, copper link, system link; programs
  const std::tuple<uint32_t, uint32_t, uint16_t, bool, bool, bool> cases[] = {
      {1000, 1, 0x0DE1, true, true, false}, {1000, 0, 0x0DE1, true, true, true},
      {1000, 0, 0x0C01, true, true, false}, {1000, 2, 0x0C01, true, true, false},
      {1000, 1, 0x0C01, true, true, true},  {100, 2, 0x0C01, true, true, true},
      {1000, 2, 0x0C01, false, true, true}, {1000, 2, 0x0C01, true, false, true},
  };
  for (const auto &[speed, autoneg, advertisement, copper, system, programs] : cases) {
    sfp_port_ctx *port = open_copper();
    ASSERT_EQ(sfp_port_admin_state(port, 0, 1), SFP_RC_OK);
    set_phy(advertisement, copper, system);
    EXPECT_EQ(sfp_port_set_phy_speed(port, speed, autoneg), SFP_RC_OK);
    EXPECT_EQ(std::tie(port->phy_speed, port->phy_autoneg), std::tie(speed, autoneg));
    EXPECT_EQ(waits(), programs ? Numbers{250} : Numbers{}) << speed << " AN " << autoneg;
  }
  // A PHY that cannot take the speed fails the request and the admin-up.
  sfp_port_ctx *port = open_copper();
  ASSERT_EQ(sfp_port_admin_state(port, 0, 1), SFP_RC_OK);
  EXPECT_EQ(sfp_port_set_phy_speed(port, 40, 0), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_admin_state(port, 1, 1), SFP_RC_INVALID);
  EXPECT_EQ(text_of("sfp_err", kPhySpeedFailed),
            "Controller 0 Port 0: Failed sfp_phy_speed, speed 40MB AN 0rc: 0x16\n");
  EXPECT_EQ(text_of("sfp_err", kAdminPhySpeedFailed),
            "Controller 0 Port 0: Failed sfp_admin_state, pre_admin 1, state 1, rc: 0x16\n");
  EXPECT_EQ(records_of("sfp_evt", kPhySpeedProgrammed).size(), 2u); // traced before the result
  // Failed queries are traced and the PHY is programmed.
  set_phy(0x0C01, true, true);
  phy().fail_nth_call(5, 9); // the page select of the advertisement query
  EXPECT_EQ(sfp_port_set_phy_speed(port, 1000, 0), SFP_RC_OK);
  EXPECT_EQ(text_of("sfp_err", kPhyAnCapabilityFailed),
            "Controller 0 Port 0: phy_get_an_capability failed with rc 9 \n");
  static const sfp_phy_ops kLinkQueryFails = {
      0xAC, 0xAD, &qrn_te_set_link_speed,
      [](sfp_port_ctx *, uint32_t *, uint32_t *, uint32_t *) -> sfp_rc { return 8; },
      &qrn_te_get_an_capability};
  port->phy_access = &kLinkQueryFails;
  EXPECT_EQ(sfp_port_set_phy_speed(port, 1000, 0), SFP_RC_OK);
  EXPECT_EQ(records_of("sfp_err", kPhyLinkStateFailed).size(), 1u);
  EXPECT_EQ(waits(), (Numbers{250, 250}));
}

TEST_F(AdminTest, PortsWithoutAPhyAndBadHandles) {
  static const sfp_phy_ops kNoSetSpeed = {0xAC, 0xAD, nullptr, nullptr, nullptr};
  sfp_port_ctx *port = open("25gbase-sr", 784);
  for (const sfp_phy_ops *ops : {static_cast<const sfp_phy_ops *>(nullptr), &kNoSetSpeed}) {
    port->phy_access = ops;
    for (const uint32_t state : {0u, 1u}) {
      std::tie(port->admin_state, port->phy_speed) = std::make_tuple(state, 0u);
      EXPECT_EQ(sfp_port_set_phy_speed(port, 1000, 1), SFP_RC_OK);
      EXPECT_EQ(port->phy_speed, ops != nullptr && state == 0 ? 1000u : 0u);
    }
  }
  EXPECT_EQ(sfp_port_admin_state(nullptr, 0, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_set_phy_speed(nullptr, 1000, 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", kNullHdl).size(), 2u);
  port->initialised = 0;
  EXPECT_EQ(sfp_port_admin_state(port, 1, 0), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_set_phy_speed(port, 1000, 1), SFP_RC_INVALID);
  port->initialised = 1;
  const auto refused = records_of("sfp_err", kNotInitialised);
  ASSERT_EQ(refused.size(), 2u);
  EXPECT_TRUE(refused[0].text.ends_with("at line 121\n") &&
              refused[1].text.ends_with("line 122\n"));
  EXPECT_EQ(port->admin_state, 1u);
  EXPECT_TRUE(module_->log().empty());
}

} // namespace
