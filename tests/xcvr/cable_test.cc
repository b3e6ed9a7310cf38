// Cable and copper classification, the PID's place in the image, and the
// receiver kind of the 10G DWDM modules.
#include <cstring>
#include <string>

#include "support/port_harness.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace {

using sfptest::records_of;

// A port context that no creation has filled: the predicates only read its
// cached image.
class CableTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_.err_trace = sfp_get_ctx()->port_err_trace;
    port_.controller = 1;
    port_.port = 2;
  }
  void set_a0(uint8_t connector, uint8_t cable_tech) {
    port_.eeprom[2] = connector;
    port_.eeprom[8] = cable_tech;
  }
  sfp_port_ctx port_{};
};

TEST_F(CableTest, CableAndCopperPredicates) {
  const struct {
    uint8_t connector, cable_tech;
    uint32_t cable, copper;
  } cases[] = {
      {0x07, 0x04, 1, 1},                     // LC, passive cable
      {0x07, 0x08, 1, 1},                     // active cable
      {0x07, 0x0c, 0, 0},                     // both: the byte is compared whole
      {0x07, 0x01, 0, 0}, {0x21, 0x00, 0, 1}, // copper pigtail
      {0x22, 0x00, 0, 1},                     // RJ45
      {0x23, 0x00, 0, 0},
  };
  for (const auto &c : cases) {
    set_a0(c.connector, c.cable_tech);
    uint32_t cable = 99;
    uint32_t copper = 99;
    EXPECT_EQ(sfp_is_cable(&port_, &cable), SFP_RC_OK);
    EXPECT_EQ(sfp_is_zando_copper_optics(&port_, port_.eeprom, &copper), SFP_RC_OK);
    EXPECT_EQ(std::make_pair(cable, copper), std::make_pair(c.cable, c.copper))
        << int{c.connector} << "/" << int{c.cable_tech};
  }
  const auto cable = records_of("sfp_err", sfpdrv::msg::kIsCable);
  const auto copper = records_of("sfp_err", sfpdrv::msg::kCx1Compliant);
  ASSERT_EQ(cable.size() + copper.size(), 2 * std::size(cases));
  EXPECT_EQ(cable[2].text, "Controller 1 Port 2: sfp is cable: False \n");
  EXPECT_EQ(copper[6].text, "Controller 1 Port 2: SFP is  not cx1 compliant\n");

  uint32_t flag = 99;
  EXPECT_EQ(sfp_is_cable(nullptr, &flag), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_cable(&port_, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_zando_copper_optics(nullptr, port_.eeprom, &flag), SFP_RC_INVALID);
  EXPECT_EQ(sfp_is_zando_copper_optics(&port_, nullptr, &flag), SFP_RC_INVALID);
  EXPECT_EQ(flag, 99u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kCx1NullParams).size(), 1u);
}

TEST_F(CableTest, PidComesFromA0ForCopperElseA2) {
  std::memcpy(port_.eeprom + 192, "PX-SFP-1G-T       ", 18);
  std::memcpy(port_.eeprom + 256 + 192, "PX-SFP-10G-SR     XY", 20);
  char pid[SFP_PID_LEN + 1];
  set_a0(0x22, 0x00); // RJ45 module
  EXPECT_EQ(sfp_get_pid(&port_), reinterpret_cast<const char *>(port_.eeprom + 192));
  set_a0(0x07, 0x00); // optic
  EXPECT_EQ(sfp_get_pid(&port_), reinterpret_cast<const char *>(port_.eeprom + 256 + 192));
  sfpdrv::copy_pid(&port_, pid); // cut to the 18-character field
  EXPECT_STREQ(pid, "PX-SFP-10G-SR     ");
  port_.eeprom[256 + 192 + 13] = '\0';
  sfpdrv::copy_pid(&port_, pid);
  EXPECT_STREQ(pid, "PX-SFP-10G-SR");
  EXPECT_STREQ(sfp_get_pid(nullptr), "");
  sfpdrv::copy_pid(nullptr, pid);
  EXPECT_STREQ(pid, "");
}

TEST_F(CableTest, DwdmReceiverKind) {
  const struct {
    sfp_xcvr_type type;
    uint8_t options; // A0h byte 64; bit 0 = linear receiver output
    uint32_t limiting;
  } cases[] = {
      {704, 0x00, 1}, {720, 0x01, 0}, {720, 0xfe, 1}, {743, 0x00, 1}, {744, 0x00, 0},
      {764, 0x00, 0}, {765, 0x00, 1}, {765, 0x01, 0}, {703, 0x00, 0}, {766, 0x00, 0},
  };
  for (const auto &c : cases) {
    port_.xcvr_type = c.type;
    port_.eeprom[64] = c.options;
    EXPECT_EQ(is_sfp_10g_dwdm_limiting_module(&port_), c.limiting)
        << c.type << " options " << int{c.options};
  }
  const auto traces = records_of("sfp_err", sfpdrv::msg::kDwdmReceiver);
  ASSERT_EQ(traces.size(), std::size(cases));
  EXPECT_EQ(traces[0].text, "Controller 1 Port 2: is a SFP+ DWDM limiting module\n");
  EXPECT_EQ(traces[1].text, "Controller 1 Port 2: is a SFP+ DWDM linear module\n");
  EXPECT_EQ(is_sfp_10g_dwdm_limiting_module(nullptr), 0u);
}

} // namespace
