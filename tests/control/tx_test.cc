// Transmitter and signal-conditioning controls on a simulated 25G optic, and
// admin state and PHY speed on that optic and on a copper module with a PHY,
// as the module's bus, the PHY, the trace buffers and the virtual clock show
// them.
#include <tuple>

#include "control_harness.h"

namespace {

using namespace ctltest;
using namespace sfpdrv::msg;

constexpr sfp_rc kCond = SFP_RC_MODULE_COND;

class TxTest : public ControlTest {
protected:
  sfp_port_ctx *open_25g(sfp_xcvr_type type = 784) { return open("25gbase-sr", type); }
};

TEST_F(TxTest, TransmitterFollowsTheSoftDisableWhenTheModuleHasIt) {
  // skip_soft_tx, A2h space, A0h byte 93, byte 110, enable; bus, transmitter on
  const std::tuple<uint32_t, uint32_t, uint8_t, uint8_t, bool, const char *, bool> cases[] = {
      {0, 1, 0xF0, 0x40, true, "r1.110 w1.110=00", true},
      {0, 1, 0xF0, 0x00, true, "r1.110", true},
      {0, 1, 0x40, 0x00, false, "r1.110 w1.110=40", false},
      {1, 1, 0xF0, 0x40, true, "", false},
      {0, 1, 0xB0, 0x40, true, "", false},
      {0, 0, 0xF0, 0x00, false, "", true},
  };
  for (const auto &[skip, space, byte93, byte110, enable, expected, tx_on] : cases) {
    sfp_port_ctx *port = open_25g();
    std::tie(port->skip_soft_tx, port->spaces.a2, port->eeprom[93], a2(110)) =
        std::tie(skip, space, byte93, byte110);
    EXPECT_EQ(enable ? sfp_port_tx_enable(port) : sfp_port_tx_disable(port), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), expected);
    EXPECT_EQ(module_->transmitter_on(), tx_on) << expected;
  }
  EXPECT_EQ(text_of("sfp_err", kTxUnable), "Controller 0 Port 0: sfp_port_tx_ena_dis:unable to "
                                           "enable/disable port as a2:not  supported , "
                                           "enhanced_option: f0\n");
}

TEST_F(TxTest, TxCdrOnlyOn25gOpticsWithA2hAndAlwaysReportsByte120) {
  // type, byte 120, enable, failing call, status, bus
  const std::tuple<sfp_xcvr_type, uint8_t, uint32_t, uint64_t, sfp_rc, const char *> cases[] = {
      {811, 0x00, 1, 0, 0, ""},
      {784, 0x01, 1, 0, 0, "r1.120 w1.120=07 r1.120"},
      {809, 0x06, 1, 0, 0, "r1.120 r1.120"},
      {788, 0x07, 2, 0, 0, "r1.120 w1.120=01 r1.120"},
      {784, 0x00, 1, 2, 0, "r1.120 w1.120=06! r1.120"},
      {784, 0x00, 1, 3, 9, "r1.120 w1.120=06 r1.120!"},
  };
  for (const auto &[type, byte120, enable, failing_call, rc, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    a2(120) = byte120;
    module_->fail_nth_access(failing_call, 9);
    EXPECT_EQ(sfp_port_tx_cdr_enable(port, enable), rc) << expected;
    EXPECT_EQ(bus(*module_), expected);
  }
  sfp_port_ctx *port = open_25g(0); // forcing the type: a 25G LR optic with A2h
  port->spaces.a2 = 0;
  EXPECT_EQ(sfp_port_set_sfp_type(port), SFP_RC_OK);
  EXPECT_EQ(std::tie(port->xcvr_type, port->spaces.a2), std::make_tuple(786u, 1u));
  EXPECT_EQ(bus(*module_), "r1.120 w1.120=06 r1.120");
  EXPECT_EQ(text_of("sfp_evt", kTxCdrByte120),
            "Controller 0 Port 0: sfp_port_tx_cdr_ena_dis: SFP25G Byte 120(A2h) is :0x6\n");
  port->spaces.a2 = 0; // without A2h nothing is done, nor reported
  restart();
  EXPECT_EQ(sfp_port_tx_cdr_enable(port, 1) | sfp_port_ctle_ena_dis(port, 1) |
                sfp_port_high_power_class_ena_dis(port, 1),
            SFP_RC_OK);
  EXPECT_TRUE(sfptest::records("sfp_err").empty() && sfptest::records("sfp_evt").empty());
}

TEST_F(TxTest, CtleEnablesAdaptiveCtleOnlyWhenAllowedAndChecksTheCdrFault) {
  enum Cdr { kNone, kTransient, kPersistent };
  // type, adaptive_ctle, enable, bytes 122 and 120, A0h 64, CDR fault; status, bus
  const std::tuple<sfp_xcvr_type, uint32_t, uint32_t, uint8_t, uint8_t, uint8_t, Cdr, sfp_rc,
                   const char *>
      cases[] = {
          {594, 1, 1, 0x03, 0x00, 0x08, kPersistent, 0, ""},
          {811, 1, 1, 0x03, 0x00, 0x08, kPersistent, 0, "r1.71"},
          {820, 1, 0, 0x03, 0x01, 0x08, kPersistent, 0, "r1.71"},
          {784, 1, 1, 0x02, 0x00, 0x00, kNone, 0, "r1.122 r1.120 w1.120=01 r0.64"},
          {784, 0, 1, 0x03, 0x01, 0x08, kNone, 0, "r1.122 r1.120 w1.120=00 r0.64 r1.119 r1.119"},
          {784, 1, 1, 0x00, 0x01, 0x08, kNone, 0, "r1.122 r1.120 w1.120=00 r0.64 r1.119 r1.119"},
          {787, 1, 2, 0x03, 0x01, 0x08, kPersistent, 0, "r1.122 r1.120 w1.120=00"},
          {786, 1, 1, 0x01, 0x01, 0x08, kTransient, 0, "r1.122 r1.120 r0.64 r1.119 r1.119"},
          {786, 1, 1, 0x03, 0x00, 0x08, kPersistent, kCond,
           "r1.122 r1.120 w1.120=01 r0.64 r1.119 r1.119"},
      };
  for (const auto &[type, adaptive, enable, byte122, byte120, a0_64, cdr, rc, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    port->adaptive_ctle = adaptive;
    std::tie(a2(122), a2(120), module_->memory().a0[64]) = std::tie(byte122, byte120, a0_64);
    module_->latch_flags(119, cdr == kTransient ? 0x02 : 0x00);
    module_->set_live_flags(119, cdr == kPersistent ? 0x02 : 0x00);
    EXPECT_EQ(sfp_port_ctle_ena_dis(port, enable), rc) << expected;
    EXPECT_EQ(bus(*module_), expected);
    EXPECT_EQ(waits(), type == 594 ? Numbers{} : Numbers{500}) << expected;
  }
  EXPECT_EQ(text_of("sfp_evt", kCtleStatus), "Controller 0 Port 0: SFP25G CTLE status = 0x3\n");
  EXPECT_EQ(records_of("sfp_evt", kCdrFault).size(), 1u);
  // Failing reads: adaptive support (22), the CDR checks and the dual-rate
  // byte (their own status).
  const std::tuple<sfp_xcvr_type, uint8_t, uint8_t, sfp_rc, const sfpdrv::TraceMsg *> failures[] = {
      {784, 1, 122, 22, &kCtleSupportError},
      {784, 0, 64, 5, &kCdrLolReadError},
      {784, 1, 119, 5, &kCdrLolClearReadError},
      {811, 1, 71, 5, &kCtleDualRateReadError},
  };
  for (const auto &[type, page, offset, rc, message] : failures) {
    sfp_port_ctx *port = open_25g(type);
    module_->memory().a0[64] = 0x08;
    module_->fail_at(page, offset, 5);
    EXPECT_EQ(sfp_port_ctle_ena_dis(port, 1), rc) << offset;
    EXPECT_EQ(records_of("sfp_err", *message).size(), 1u) << offset;
  }
}

TEST_F(TxTest, PowerLevelOn25g50gOpticsAndMultiRateModulesIn10gCages) {
  // type, multi-rate, rate code, enable, A0h 64, byte 118; status, bus
  const std::tuple<sfp_xcvr_type, uint32_t, uint32_t, uint32_t, uint8_t, uint8_t, sfp_rc,
                   const char *>
      cases[] = {
          {784, 0, 0, 1, 0x00, 0x00, 0, "r0.64 r1.118 w1.118=01"},
          {784, 0, 0, 0, 0x20, 0x03, 0, "r1.118 w1.118=02"},
          {809, 0, 0, 7, 0x00, 0x01, 0, "r0.64 r1.118"},
          {806, 1, 2, 1, 0x00, 0x00, 0, "r0.64 r1.118 w1.118=01"},
          {806, 1, 1, 1, 0x00, 0x00, 0, ""},
          {594, 0, 2, 1, 0x00, 0x00, 0, ""},
          {820, 0, 0, 1, 0x20, 0x00, kCond, "r0.64"},
      };
  for (const auto &[type, multi, code, enable, a0_64, byte118, rc, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    std::tie(port->multi_rate, port->rate_code) = std::tie(multi, code);
    std::tie(module_->memory().a0[64], a2(118)) = std::tie(a0_64, byte118);
    EXPECT_EQ(sfp_port_high_power_class_ena_dis(port, enable), rc) << expected;
    EXPECT_EQ(bus(*module_), expected);
    EXPECT_EQ(waits(), *expected == 'r' && rc == 0 ? Numbers{300} : Numbers{}) << expected;
  }
  // Failures are traced; the wait and the status stay. A failed read of
  // A0h byte 64 counts as 0, whatever it handed out.
  sfp_port_ctx *port = open_25g();
  module_->memory().a0[64] = 0x20;
  module_->fail_at(0, 64, 4, 1);
  module_->fail_nth_access(3, 4);
  EXPECT_EQ(sfp_port_high_power_class_ena_dis(port, 1), SFP_RC_OK);
  EXPECT_EQ(bus(*module_), "r0.64! r1.118 w1.118=01!");
  EXPECT_EQ(records_of("sfp_err", kPowerLevel23WriteError).size(), 1u);
  EXPECT_EQ(waits(), Numbers{300});
}

TEST_F(TxTest, PeakingWritesTheMaskedValueAndReportsBothPeakings) {
  // type, byte 114, value, mask, failing call; bus
  const std::tuple<sfp_xcvr_type, uint8_t, uint32_t, uint32_t, uint64_t, const char *> cases[] = {
      {811, 0xA5, 0x0C, 0x0F, 0, ""},
      {784, 0xA5, 0x30C, 0xF0F, 0, "r1.114 w1.114=ac r1.114 r1.115"},
      {786, 0xAC, 0x0C, 0x0F, 0, "r1.114 w1.114=ac r1.114 r1.115"},
      {784, 0xA5, 0x0C, 0x0F, 1, "r1.114! w1.114=0c r1.114 r1.115"},
      {784, 0xA5, 0x0C, 0x0F, 2, "r1.114 w1.114=ac! r1.114 r1.115"},
      {784, 0xA5, 0x0C, 0x0F, 3, "r1.114 w1.114=ac r1.114! r1.115"},
  };
  for (const auto &[type, byte114, value, mask, failing_call, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    std::tie(a2(114), a2(115)) = std::make_tuple(byte114, uint8_t{0x5A});
    module_->fail_nth_access(failing_call, 3);
    EXPECT_EQ(sfp_port_configure_peaking_ctle(port, value, mask), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), expected);
    // A failed write is traced, not returned.
    EXPECT_EQ(records_of("sfp_err", kPeakingWriteError).size(), failing_call == 2 ? 1u : 0u);
  }
  EXPECT_EQ(text_of("sfp_evt", kPeakingTxValue),
            "Controller 0 Port 0: SFP25G TX CTLE peaking value = 0x0 rc = 0x3\n");
  EXPECT_EQ(text_of("sfp_evt", kPeakingRxValue),
            "Controller 0 Port 0: SFP25G RX CTLE peaking value = 0x5a rc = 0x3\n");
}

TEST_F(TxTest, NullHandlesAndUnsupportedOperations) {
  EXPECT_EQ(std::make_tuple(sfp_port_tx_enable(nullptr), sfp_port_tx_disable(nullptr),
                            sfp_port_tx_cdr_enable(nullptr, 1), sfp_port_set_sfp_type(nullptr),
                            sfp_port_ctle_ena_dis(nullptr, 1),
                            sfp_port_configure_peaking_ctle(nullptr, 1, 1),
                            sfp_port_high_power_class_ena_dis(nullptr, 1)),
            std::make_tuple(22u, 22u, 22u, 22u, 22u, 0u, 0u));
  EXPECT_EQ(records_of("sfp_err", kControlNullHdl).size(), 7u);
  sfp_port_ctx *port = open_25g();
  EXPECT_EQ(std::make_tuple(sfp_port_rx_cdr_enable(port, 1), sfp_port_rx_output_ena_dis(port, 1),
                            sfp_modify_eq(port, 3), sfp_modify_deemphasis(port, 3),
                            sfp_modify_amp(port, 3)),
            std::make_tuple(95u, 95u, 95u, 95u, 95u));
  EXPECT_TRUE(module_->log().empty());
}

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
