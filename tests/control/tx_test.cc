// Transmitter and signal-conditioning controls on a simulated 25G optic, as
// the module's bus, the trace buffers and the virtual clock show them.
#include <optional>

#include "control_harness.h"

namespace {

using ctltest::bus;
using ctltest::numbers;
using ctltest::text_of;
using ctltest::waits;
using sfptest::records_of;
using Numbers = std::vector<uint32_t>;
using namespace sfpdrv::msg;

constexpr sfp_rc kCond = SFP_RC_MODULE_COND;

class TxTest : public ctltest::ControlTest {
protected:
  sfp_port_ctx *open_25g(sfp_xcvr_type type = 784) { return open("25gbase-sr", type); }
  uint8_t &a2(uint8_t offset) { return module_->memory().a2_lower[offset]; }
};

TEST_F(TxTest, TransmitterFollowsTheSoftDisableWhenTheModuleHasIt) {
  struct Case {
    uint32_t skip_soft_tx, a2_space;
    uint8_t byte93, byte110;
    bool enable;
    const char *bus;
    bool tx_on;
    Numbers events, errors;
  };
  const Case cases[] = {
      {0, 1, 0xF0, 0x40, true, "r1.110 w1.110=00", true, {kTxRequest.number}, {}},
      {0, 1, 0xF0, 0x00, true, "r1.110", true, {kTxRequest.number}, {}},
      {0, 1, 0x40, 0x00, false, "r1.110 w1.110=40", false, {kTxRequest.number}, {}},
      {1, 1, 0xF0, 0x40, true, "", false, {kTxSkipSoftTx.number}, {}},
      {0, 1, 0xB0, 0x40, true, "", false, {kTxRequest.number}, {kTxUnable.number}},
      {0, 0, 0xF0, 0x00, false, "", true, {kTxRequest.number}, {kTxUnable.number}},
  };
  for (const Case &c : cases) {
    sfp_port_ctx *port = open_25g();
    port->skip_soft_tx = c.skip_soft_tx;
    port->spaces.a2 = c.a2_space;
    port->eeprom[93] = c.byte93;
    a2(110) = c.byte110;
    EXPECT_EQ(c.enable ? sfp_port_tx_enable(port) : sfp_port_tx_disable(port), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), c.bus) << c.bus;
    EXPECT_EQ(module_->transmitter_on(), c.tx_on) << c.bus;
    EXPECT_EQ(numbers("sfp_evt"), c.events) << c.bus;
    EXPECT_EQ(numbers("sfp_err"), c.errors) << c.bus;
  }
  EXPECT_EQ(text_of("sfp_err", kTxUnable), "Controller 0 Port 0: sfp_port_tx_ena_dis:unable to "
                                           "enable/disable port as a2:not  supported , "
                                           "enhanced_option: f0\n");
  sfp_port_ctx *skipping = open_25g();
  skipping->skip_soft_tx = 1;
  EXPECT_EQ(sfp_port_tx_disable(skipping), SFP_RC_OK);
  EXPECT_EQ(text_of("sfp_evt", kTxSkipSoftTx),
            "Controller 0 Port 0: SKIP sfp_port_tx_ena_dis: Soft Tx  disable\n");
  // A failed read or write of byte 110 is the operation's status.
  for (const uint64_t call : {1u, 2u}) {
    sfp_port_ctx *port = open_25g();
    a2(110) = 0x40;
    module_->fail_nth_access(call, 7);
    EXPECT_EQ(sfp_port_tx_enable(port), 7u);
    const auto &step = call == 1 ? kSetClearReadError : kSetClearWriteError;
    EXPECT_EQ(numbers("sfp_err"),
              (Numbers{kAccessError.number, step.number, kTxEnableWriteError.number}));
  }
}

TEST_F(TxTest, TxCdrOnlyOn25gOpticsAndAlwaysReportsByte120) {
  // type, byte 120, enable, injected failure (call), status, bus
  const std::tuple<sfp_xcvr_type, uint8_t, uint32_t, uint64_t, sfp_rc, const char *> cases[] = {
      {811, 0x00, 1, 0, 0, ""},
      {784, 0x01, 1, 0, 0, "r1.120 w1.120=07 r1.120"},
      {809, 0x06, 1, 0, 0, "r1.120 r1.120"}, // already on: no write
      {788, 0x07, 2, 0, 0, "r1.120 w1.120=01 r1.120"},
      {784, 0x00, 1, 2, 0, "r1.120 w1.120=06! r1.120"},
      {784, 0x00, 1, 3, 9, "r1.120 w1.120=06 r1.120!"},
  };
  for (const auto &[type, byte120, enable, fail, rc, expected] : cases) {
    sfp_port_ctx *port = open_25g(type);
    a2(120) = byte120;
    module_->fail_nth_access(fail, 9);
    EXPECT_EQ(sfp_port_tx_cdr_enable(port, enable), rc) << expected;
    EXPECT_EQ(bus(*module_), expected);
  }
  EXPECT_EQ(text_of("sfp_err", kTxCdrReadError),
            "Controller 0 Port 0: SFP25G Byte 120(A2h) : Read register error, rc:9\n");
  // Forcing the type makes any module a 25G LR optic with A2h.
  sfp_port_ctx *port = open_25g(0);
  port->spaces.a2 = 0;
  EXPECT_EQ(sfp_port_set_sfp_type(port), SFP_RC_OK);
  EXPECT_EQ(port->xcvr_type, 786u);
  EXPECT_EQ(port->spaces.a2, 1u);
  EXPECT_EQ(bus(*module_), "r1.120 w1.120=06 r1.120");
  EXPECT_EQ(text_of("sfp_evt", kTxCdrByte120),
            "Controller 0 Port 0: sfp_port_tx_cdr_ena_dis: SFP25G Byte 120(A2h) is :0x6\n");
}

TEST_F(TxTest, CtleEnablesAdaptiveCtleOnlyWhenAllowedAndChecksTheCdrFault) {
  enum Cdr { kNone, kTransient, kPersistent };
  struct Case {
    sfp_xcvr_type type;
    uint32_t adaptive_ctle, enable;
    uint8_t byte122, byte120, a0_64;
    Cdr cdr;
    sfp_rc rc;
    const char *bus;
    Numbers events;
  };
  const uint32_t st = kCtleStatus.number, on = kCtleEnableRequest.number,
                 off = kCtleDisableRequest.number, lol = kCdrLolImplemented.number;
  const Case cases[] = {
      {811, 1, 1, 0x03, 0x00, 0x08, kPersistent, 0, "r1.71", {}},
      {820, 1, 0, 0x03, 0x01, 0x08, kPersistent, 0, "r1.71", {}},
      {594, 1, 1, 0x03, 0x00, 0x08, kPersistent, 0, "", {}},
      {784,
       1,
       1,
       0x02,
       0x00,
       0x00,
       kNone,
       0,
       "r1.122 r1.120 w1.120=01 r0.64",
       {st, on, kCdrLolNotImplemented.number}},
      {784,
       0,
       1,
       0x03,
       0x01,
       0x08,
       kNone,
       0,
       "r1.122 r1.120 w1.120=00 r0.64 r1.119 r1.119",
       {st, off, lol}},
      {784,
       1,
       1,
       0x00,
       0x01,
       0x08,
       kNone,
       0,
       "r1.122 r1.120 w1.120=00 r0.64 r1.119 r1.119",
       {st, off, lol}},
      {787, 1, 2, 0x03, 0x01, 0x08, kPersistent, 0, "r1.122 r1.120 w1.120=00", {st, off}},
      {786,
       1,
       1,
       0x01,
       0x01,
       0x08,
       kTransient,
       0,
       "r1.122 r1.120 r0.64 r1.119 r1.119",
       {st, on, lol}},
      {786,
       1,
       1,
       0x03,
       0x00,
       0x08,
       kPersistent,
       kCond,
       "r1.122 r1.120 w1.120=01 r0.64 r1.119 r1.119",
       {st, on, lol, kCdrFault.number}},
  };
  for (const Case &c : cases) {
    sfp_port_ctx *port = open_25g(c.type);
    port->adaptive_ctle = c.adaptive_ctle;
    a2(122) = c.byte122;
    a2(120) = c.byte120;
    module_->memory().a0[64] = c.a0_64;
    if (c.cdr == kPersistent) {
      module_->set_live_flags(119, 0x02);
    } else if (c.cdr == kTransient) {
      module_->latch_flags(119, 0x02);
    }
    EXPECT_EQ(sfp_port_ctle_ena_dis(port, c.enable), c.rc) << c.type << " " << c.bus;
    EXPECT_EQ(bus(*module_), c.bus);
    EXPECT_EQ(numbers("sfp_evt"), c.events) << c.bus;
    EXPECT_EQ(waits(), c.type == 594 ? Numbers{} : Numbers{500});
  }
  EXPECT_EQ(text_of("sfp_evt", kCtleStatus), "Controller 0 Port 0: SFP25G CTLE status = 0x3\n");
  EXPECT_EQ(text_of("sfp_evt", kCdrFault), "Controller 0 Port 0: SFP25G has CDR Fault\n");
  // Failing reads: adaptive support (22 whatever the cause), the CDR checks,
  // and the dual-rate byte (its own status).
  const std::tuple<sfp_xcvr_type, uint8_t, uint8_t, sfp_rc, Numbers> failures[] = {
      {784, 1, 122, 22, {kCtleSupportReadError.number, kCtleSupportError.number}},
      {784, 0, 64, 5, {kCdrLolReadError.number}},
      {784, 1, 119, 5, {kCdrLolClearReadError.number}},
      {811, 1, 71, 5, {kSetClearReadError.number, kCtleDualRateReadError.number}},
  };
  for (const auto &[type, page, offset, rc, errors] : failures) {
    sfp_port_ctx *port = open_25g(type);
    module_->memory().a0[64] = 0x08;
    module_->fail_at(page, offset, 5);
    EXPECT_EQ(sfp_port_ctle_ena_dis(port, 1), rc) << offset;
    Numbers seen = numbers("sfp_err");
    std::erase(seen, kAccessError.number);
    EXPECT_EQ(seen, errors) << offset;
  }
}

TEST_F(TxTest, PowerLevelOn25g50gOpticsAndMultiRateModulesIn10gCages) {
  // type, multi-rate, rate code, enable, A0h 64, byte 118, status, bus, waits
  const std::tuple<sfp_xcvr_type, uint32_t, uint32_t, uint32_t, uint8_t, uint8_t, sfp_rc,
                   const char *, Numbers>
      cases[] = {
          {784, 0, 0, 1, 0x00, 0x00, 0, "r0.64 r1.118 w1.118=01", {300}},
          {784, 0, 0, 0, 0x20, 0x03, 0, "r1.118 w1.118=02", {300}},
          {809, 0, 0, 7, 0x00, 0x01, 0, "r0.64 r1.118", {300}},
          {806, 1, 2, 1, 0x00, 0x00, 0, "r0.64 r1.118 w1.118=01", {300}},
          {806, 1, 1, 1, 0x00, 0x00, 0, "", {}},
          {594, 0, 2, 1, 0x00, 0x00, 0, "", {}},
          {820, 0, 0, 1, 0x20, 0x00, kCond, "r0.64", {}},
      };
  for (const auto &[type, multi, code, enable, a0_64, byte118, rc, expected, wait] : cases) {
    sfp_port_ctx *port = open_25g(type);
    port->multi_rate = multi;
    port->rate_code = code;
    module_->memory().a0[64] = a0_64;
    a2(118) = byte118;
    EXPECT_EQ(sfp_port_high_power_class_ena_dis(port, enable), rc) << expected;
    EXPECT_EQ(bus(*module_), expected);
    EXPECT_EQ(waits(), wait) << expected;
  }
  EXPECT_EQ(text_of("sfp_evt", kPowerExpectsLevel2),
            "Controller 0 Port 0: SFP25G expects to go to power level 2\n");
  // A failed write is traced; the wait and the status stay.
  sfp_port_ctx *port = open_25g();
  module_->fail_nth_access(3, 4);
  EXPECT_EQ(sfp_port_high_power_class_ena_dis(port, 1), SFP_RC_OK);
  EXPECT_EQ(numbers("sfp_err"), (Numbers{kAccessError.number, kSetClearWriteError.number,
                                         kPowerLevel23WriteError.number}));
  EXPECT_EQ(waits(), Numbers{300});
}

TEST_F(TxTest, PeakingWritesTheMaskedValueAndReportsBothPeakings) {
  // type, byte 114, value, mask, failed call, bus, Tx report
  const std::tuple<sfp_xcvr_type, uint8_t, uint32_t, uint32_t, uint64_t, const char *, const char *>
      cases[] = {
          {811, 0xA5, 0x0C, 0x0F, 0, "", ""},
          {784, 0xA5, 0x30C, 0xF0F, 0, "r1.114 w1.114=ac r1.114 r1.115", "0xac rc = 0x0"},
          {786, 0xAC, 0x0C, 0x0F, 0, "r1.114 w1.114=ac r1.114 r1.115", "0xac rc = 0x0"},
          {784, 0xA5, 0x0C, 0x0F, 1, "r1.114! w1.114=0c r1.114 r1.115", "0xc rc = 0x0"},
          {784, 0xA5, 0x0C, 0x0F, 3, "r1.114 w1.114=ac r1.114! r1.115", "0x0 rc = 0x3"},
      };
  for (const auto &[type, byte114, value, mask, fail, expected, tx] : cases) {
    sfp_port_ctx *port = open_25g(type);
    a2(114) = byte114;
    a2(115) = 0x5A;
    module_->fail_nth_access(fail, 3);
    EXPECT_EQ(sfp_port_configure_peaking_ctle(port, value, mask), SFP_RC_OK);
    EXPECT_EQ(bus(*module_), expected);
    const std::string report = text_of("sfp_evt", kPeakingTxValue);
    EXPECT_EQ(report, *tx == '\0' ? ""
                                  : std::string("Controller 0 Port 0: SFP25G TX CTLE peaking "
                                                "value = ") +
                                        tx + "\n");
  }
  EXPECT_EQ(text_of("sfp_evt", kPeakingRxValue),
            "Controller 0 Port 0: SFP25G RX CTLE peaking value = 0x5a rc = 0x3\n");
}

TEST_F(TxTest, NullHandlesAndUnsupportedOperations) {
  const std::pair<sfp_rc, sfp_rc> results[] = {
      {sfp_port_tx_enable(nullptr), 22},
      {sfp_port_tx_disable(nullptr), 22},
      {sfp_port_tx_cdr_enable(nullptr, 1), 22},
      {sfp_port_set_sfp_type(nullptr), 22},
      {sfp_port_ctle_ena_dis(nullptr, 1), 22},
      {sfp_port_configure_peaking_ctle(nullptr, 1, 1), 0},
      {sfp_port_high_power_class_ena_dis(nullptr, 1), 0},
  };
  for (const auto &[got, want] : results) {
    EXPECT_EQ(got, want);
  }
  EXPECT_EQ(records_of("sfp_err", kControlNullHdl).size(), std::size(results));
  sfp_port_ctx *port = open_25g();
  for (const sfp_rc rc : {sfp_port_rx_cdr_enable(port, 1), sfp_port_rx_output_ena_dis(port, 1),
                          sfp_modify_eq(port, 3), sfp_modify_deemphasis(port, 3),
                          sfp_modify_amp(port, 3), sfp_modify_amp(nullptr, 0)}) {
    EXPECT_EQ(rc, SFP_RC_UNSUPPORTED);
  }
  EXPECT_TRUE(module_->log().empty());
}

} // namespace
