// Multi-rate optics on a simulated module: the marker byte, base and sub
// types of the families, and the rate-select write.
#include "support/port_harness.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace {

using sfpsim::Bus;
using sfptest::records_of;

class MultiRate : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("25gbase-sr", module_);
    module_->clear_log();
    sfptest::clear_traces();
  }
  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
};

TEST_F(MultiRate, MarkerByteThreeMeansMultiRate) {
  for (const int marker : {0x00, 0x02, 0x03, 0xff}) {
    module_->memory().a0[253] = static_cast<uint8_t>(marker);
    EXPECT_EQ(is_multi_rate_sfp(port_), marker == 3 ? 1u : 0u) << marker;
    EXPECT_EQ(module_->log().back().offset, 253);
    EXPECT_EQ(module_->log().back().page, SFP_PAGE_A0);
  }
  const auto found = records_of("sfp_err", sfpdrv::msg::kMultiRateOptics);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].text, "Controller 0 Port 0: Multi Rate Optics port 0\n");

  module_->memory().a0[253] = 3;
  module_->fail_at(SFP_PAGE_A0, 253, 5);
  EXPECT_EQ(is_multi_rate_sfp(port_), 0u) << "a read error counts as single-rate";
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kMultiRateReadError).size(), 1u);
  EXPECT_EQ(is_multi_rate_sfp(nullptr), 0u);
}

TEST_F(MultiRate, BaseTypeOfADetectedSubType) {
  struct Case {
    sfp_xcvr_type sub, base;
    uint8_t ext_code;
    uint8_t om3_length; // A0h byte 19
  };
  const Case cases[] = {
      {784, 806, 2, 0}, {784, 805, 2, 30}, {999, 806, 2, 31}, {786, 807, 3, 30},   {596, 807, 0, 0},
      {594, 806, 0, 0}, {595, 805, 0, 0},  {788, 805, 0, 0},  {600, 809, 0x0d, 0}, {809, 809, 0, 0},
      {601, 808, 0, 0}, {808, 808, 0, 0},  {785, 811, 0, 0},  {811, 811, 0x41, 0},
  };
  for (const Case &c : cases) {
    port_->eeprom[19] = c.om3_length;
    EXPECT_EQ(sfp_get_base_xcvr_type_frm_sub_xcvr_type(port_, c.ext_code, c.sub), c.base)
        << c.sub << " ext code " << int{c.ext_code};
  }
  const auto chosen = records_of("sfp_err", sfpdrv::msg::kMultiRateBaseChosen);
  ASSERT_EQ(chosen.size(), 3u) << "one per ext code 2 case";
  EXPECT_EQ(chosen[1].text, "Controller 0 Port 0: Selected multi rate base_sfp_type:805 port:0\n");
  EXPECT_TRUE(records_of("sfp_err", sfpdrv::msg::kMultiRateSubMissing).empty());

  EXPECT_EQ(sfp_get_base_xcvr_type_frm_sub_xcvr_type(port_, 3, 787), 787u);
  const auto missing = records_of("sfp_err", sfpdrv::msg::kMultiRateSubMissing);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0].text, "Controller 0 Port 0: Multi rate SFP:787 ;Entry missing for sub "
                             "xcvr_type inmulti rate table\n");
  EXPECT_EQ(sfp_get_base_xcvr_type_frm_sub_xcvr_type(nullptr, 2, 784), 784u);
}

TEST(MultiRateSubType, BaseTypeRunsAsTheSubTypeOfTheCagesRate) {
  struct Case {
    sfp_xcvr_type base;
    uint32_t rate_code;
    sfp_xcvr_type sub;
  };
  const Case cases[] = {
      {806, SFP_RATE_CODE_10G, 594}, {806, SFP_RATE_CODE_25G, 784}, {807, SFP_RATE_CODE_10G, 596},
      {807, SFP_RATE_CODE_25G, 786}, {805, SFP_RATE_CODE_10G, 595}, {805, SFP_RATE_CODE_25G, 788},
      {809, SFP_RATE_CODE_10G, 600}, {809, SFP_RATE_CODE_25G, 809}, {808, SFP_RATE_CODE_10G, 601},
      {808, SFP_RATE_CODE_25G, 808}, {811, SFP_RATE_CODE_50G, 811}, {811, SFP_RATE_CODE_25G, 785},
      {807, SFP_RATE_CODE_50G, 807}, {784, SFP_RATE_CODE_10G, 784}, {806, 0, 806},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(sfpdrv::multi_rate_sub_type(c.base, c.rate_code), c.sub)
        << c.base << " rate " << c.rate_code;
  }
}

TEST_F(MultiRate, RateSelectWritesTheRegisterOfTheSpeedOrReturnsTheError) {
  struct Case {
    sfp_xcvr_type type;
    uint32_t oper_speed; // 0: the type's own speed
    uint8_t reg, value;
    const sfpdrv::TraceMsg *msg; // null: no trace
  };
  const Case cases[] = {
      {806, 25000, 120, 8, &sfpdrv::msg::kRateSelect25G},
      {806, 0, 120, 8, &sfpdrv::msg::kRateSelect25G},
      {785, 25000, 110, 0, &sfpdrv::msg::kRateSelect25G},
      {811, 25000, 110, 0, &sfpdrv::msg::kRateSelect25G},
      {811, 0, 110, 8, &sfpdrv::msg::kRateSelect50G},
      {806, 50000, 120, 0, &sfpdrv::msg::kRateSelect50G},
      {594, 0, 120, 0, &sfpdrv::msg::kRateSelect10G},
      {806, 10000, 120, 0, &sfpdrv::msg::kRateSelect10G},
      {806, 1000, 120, 0, nullptr},
  };
  for (const Case &c : cases) {
    module_->clear_log();
    sfptest::clear_traces();
    module_->memory().a2_lower[c.reg] = 0x40; // writable on both bytes; no select sets it
    port_->xcvr_type = c.type;
    port_->oper_speed = c.oper_speed;
    ASSERT_EQ(sfp_multi_rate_sel_oper_rate(port_), SFP_RC_OK) << c.type;
    ASSERT_EQ(module_->log().size(), 1u) << c.type;
    EXPECT_EQ(module_->log()[0].bus, Bus::Write);
    EXPECT_EQ(module_->log()[0].page, SFP_PAGE_A2);
    EXPECT_EQ(module_->memory().a2_lower[c.reg], c.value) << c.type << " at " << c.oper_speed;
    const auto traced = sfptest::records("sfp_err");
    ASSERT_EQ(traced.size(), c.msg != nullptr ? 1u : 0u) << c.type;
    if (c.msg != nullptr) {
      EXPECT_EQ(traced[0].number, c.msg->number);
    }
  }

  // A failing write: traced with the value and returned.
  port_->xcvr_type = 806;
  port_->oper_speed = 25000;
  module_->fail_at(SFP_PAGE_A2, 120, 7);
  EXPECT_EQ(sfp_multi_rate_sel_oper_rate(port_), 7u);
  const auto failed = records_of("sfp_err", sfpdrv::msg::kRateSelectWriteError);
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].text,
            "Controller 0 Port 0: SFP Rate selection,reg_val:0x8 Write error, rc:0x7\n");
  EXPECT_EQ(sfp_multi_rate_sel_oper_rate(nullptr), SFP_RC_INVALID);
}

} // namespace
