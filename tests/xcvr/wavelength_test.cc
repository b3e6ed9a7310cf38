// Wavelength, frequency and channel conversions, and the channel setting of
// a tunable module as the simulated module sees it.
#include <string>

#include "support/port_harness.h"
#include "xcvr/messages.h"

namespace {

using sfptest::records_of;

TEST(Wavelength, Conversions) {
  const struct {
    uint32_t (*convert)(uint32_t);
    uint32_t input, expected;
  } cases[] = {
      {sfp_xcvr_wl_to_freq, 1550120, 193400},
      {sfp_xcvr_wl_to_freq, 1, 3740739}, // the quotient is cut to 32 bits before rounding
      {sfp_xcvr_wl_to_freq, 0, 0},
      {sfp_xcvr_freq_to_wl, 193400, 1550120},
      {sfp_xcvr_kv_channel_2_freq, 5, 195900},
      {sfp_xcvr_kv_channel_2_freq, 3924, 0xffffffceu}, // past the band: wraps
      {sfp_xcvr_kv_channel_2_wavelength, 5, 1530334},
      {sfp_xcvr_kv_channel_2_wavelength, 0, 0},
      {sfp_xcvr_kv_channel_2_wavelength, 3923, 0}, // 0 GHz
      {sfp_xcvr_kv_channel_2_optic_pm, 5, 1530330},
      {sfp_xcvr_kv_channel_2_optic_pm, 6, 1530730}, // 1530725 pm rounds up
      {sfp_xcvr_wavelength_setpoint_from_wl, 1550149, 31002},
      {sfp_xcvr_wl_from_wavelength_setpoint, 0x80000000u, 0}, // 32-bit product
      {sfp_xcvr_wavelengthTolerance_to_wl, 0x80000001u, 0x80000005u},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].convert(cases[i].input), cases[i].expected) << "case " << i;
  }
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(193100, 191350, 50), 36u);
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(191300, 191350, 50), 0u);
  EXPECT_EQ(sfp_xcvr_get_chan_from_freq(193100, 191350, 0), 0u);
}

class ChannelSetTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10g-tunable-dwdm", module_);
    ASSERT_NE(port_, nullptr);
    module_->clear_log();
    sfptest::clear_traces();
  }
  void set_offsets(int32_t lo, int32_t hi) {
    port_->tunable_lower_offset = lo;
    port_->tunable_upper_offset = hi;
  }
  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
};

TEST_F(ChannelSetTest, RangeAndModuleChannel) {
  const struct {
    int32_t lo, hi;
    uint32_t channel;
    int module_channel; // -1: refused with 22
  } cases[] = {
      {0, 95, 1, 1},
      {0, 95, 96, 96},
      {0, 95, 97, -1},
      {0, 95, 0, 0},
      {4, 90, 4, -1},
      {4, 90, 5, 1},
      {4, 90, 91, 87},
      {4, 90, 92, -1},
      {0, 300, 260, 4},   // only the low byte
                          // of the channel
                          // number is written
      {-2, -5, 100, 102}, // unsigned comparison: a negative upper offset accepts all
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.lo) + ".." + std::to_string(c.hi) + " channel " +
                 std::to_string(c.channel));
    set_offsets(c.lo, c.hi);
    module_->clear_log();
    const sfp_rc rc = sfp_port_tsfp_wavechannel_set(port_, c.channel);
    if (c.module_channel < 0) {
      EXPECT_EQ(rc, SFP_RC_INVALID);
      EXPECT_TRUE(module_->log().empty());
      continue;
    }
    EXPECT_EQ(rc, SFP_RC_OK);
    // The table select, then the one byte at A2h table 2 byte 145.
    ASSERT_EQ(module_->log().size(), 2u);
    EXPECT_EQ(module_->log()[1].bus, sfpsim::Bus::Write);
    EXPECT_EQ(module_->log()[1].length, 1u);
    EXPECT_EQ(module_->memory().tables[2][145 - 128], c.module_channel);
  }
  const auto refused = records_of("sfp_err", sfpdrv::msg::kChannelOutOfRange);
  ASSERT_EQ(refused.size(), 3u);
  EXPECT_EQ(refused[2].text, "Controller 0 Port 0: tsfp wave channel not in usable range\n"
                             "wave_channel: 92, supported_range: 5 - 91\n");
  const auto done = records_of("sfp_err", sfpdrv::msg::kChannelSetDone);
  ASSERT_EQ(done.size(), 7u);
  EXPECT_EQ(done[3].text,
            "Controller 0 Port 0: tsfp channel programming done: channel 1, with offset: 4\n");
}

TEST_F(ChannelSetTest, BadHandleAndWriteFailure) {
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(nullptr, 1), SFP_RC_INVALID);
  port_->initialised = 0;
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(port_, 1), SFP_RC_INVALID);
  port_->initialised = 1;
  EXPECT_TRUE(module_->log().empty());

  set_offsets(0, 95);
  sfptest::clear_traces();
  module_->fail_at(SFP_PAGE_A2_TABLE2, 145, 5);
  EXPECT_EQ(sfp_port_tsfp_wavechannel_set(port_, 10), 5u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kChannelSetError).size(), 1u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kChannelSetDone).size(), 1u);
}

} // namespace
