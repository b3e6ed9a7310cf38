// Transmitter and signal-conditioning controls on a simulated 25G optic, as
// the module's bus, the trace buffers and the virtual clock show them.
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
  for (const uint64_t failing_call : {1u, 2u}) { // the read, the write
    sfp_port_ctx *port = open_25g();
    a2(110) = 0x40;
    module_->fail_nth_access(failing_call, 7);
    EXPECT_EQ(sfp_port_tx_enable(port), 7u);
    EXPECT_EQ(records_of("sfp_err", kTxEnableWriteError).size(), 1u);
  }
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
      {784, 0xA5, 0x0C, 0x0F, 3, "r1.114 w1.114=ac r1.114! r1.115"},
  };
  for (const auto &[type, byte114, value, mask, failing_call, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    std::tie(a2(114), a2(115)) = std::make_tuple(byte114, uint8_t{0x5A});
    module_->fail_nth_access(failing_call, 3);
    EXPECT_EQ(sfp_port_configure_peaking_ctle(port, value, mask), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), expected);
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

} // namespace
