// The SFP layer working through the adapter: identification of the module
// behind it and its copper PHY, and the adapter operations that forward to
// it.
#include <cstring>

#include "common/alloc.h"
#include "qsa_harness.h"
#include "sfpdrv/phy.h"

using qsatest::bus_summary;
using qsatest::texts_of;

namespace {

// A record's bytes: the records are cleared whole before they are filled, so
// their padding compares too.
template <typename Record> std::string bytes_of(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

class ThroughAdapterTest : public qsatest::QsaTest {};

// The module behind the adapter is identified, and the forwarding operations
// answer, as the SFP layer does for the same module in a cage of its own; the
// status's slot 3 is the adapter's transmitter disable instead.
TEST_F(ThroughAdapterTest, IdentityAndForwardedOperationsMatchADirectlyAttachedModule) {
  for (const char *profile : {"10gbase-sr", "1000base-t", "1000base-sx"}) {
    SCOPED_TRACE(profile);
    sfp_port_ctx *direct = create(sfptest::ops_for(new_module(profile), 0, qsatest::kPort));
    sfpsim::Adapter &adapter = new_adapter(profile);
    qsa_port_ctx *port = create_adapter(adapter);
    ASSERT_NE(port->sfp_port, nullptr);
    EXPECT_EQ(port->sfp_type, direct->xcvr_type);
    EXPECT_EQ(std::memcmp(port->sfp_port->eeprom, direct->eeprom, SFP_EEPROM_IMAGE_LEN), 0)
        << "the image read through the mirror is the module's";

    sfp_xcvr_type types[2] = {};
    char names[2][64] = {};
    uint32_t defaulted = 7;
    sfp_port_type(direct, &types[0], names[0], 64, &defaulted);
    EXPECT_EQ(qsa_port_type(port, &types[1], names[1], 64, &defaulted), SFP_RC_OK);
    EXPECT_EQ(types[1], types[0]);
    EXPECT_STREQ(names[1], names[0]);
    EXPECT_EQ(defaulted, 0u);

    sfp_hw_status_rec status[2] = {};
    ASSERT_EQ(sfp_port_hw_status(direct, &status[0]), SFP_RC_OK);
    adapter.set_lower(sfpsim::Adapter::kTxDisable, 1);
    ASSERT_EQ(qsa_port_hw_status(port, &status[1]), SFP_RC_OK);
    EXPECT_EQ(status[1].tx_disabled, 1u);
    status[1].tx_disabled = status[0].tx_disabled;
    EXPECT_EQ(bytes_of(status[0]), bytes_of(status[1]));

    sfp_hw_info_rec info[3] = {};
    sfp_port_hw_info(direct, &info[0]);
    EXPECT_EQ(qsa_port_hw_info(port, &info[1], &info[2]), SFP_RC_OK);
    EXPECT_EQ(bytes_of(info[0]), bytes_of(info[1]));
    EXPECT_STREQ(info[2].type_name, "PX-QSA-10G") << "the adapter's own";

    char *dumps[2] = {};
    uint32_t sizes[2] = {};
    sfp_reg_access(direct, &dumps[0], &sizes[0], 1);
    EXPECT_EQ(qsa_port_read_reg(port, &dumps[1], &sizes[1]), SFP_RC_OK);
    EXPECT_STREQ(dumps[1], dumps[0]);
    EXPECT_EQ(sizes[1], sizes[0]);

    char report[SFP_EEPROM_REPORT_SIZE];
    ASSERT_EQ(sfp_drv_sfp_get_eeprom_str(direct, report, sizeof report), SFP_RC_OK);
    char *text = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(qsa_port_phy_reg_decode(port, &text, &size), SFP_RC_OK);
    const std::string adapter_part = strstr(text, "\nMSA Data LOWER PAGE (QSA)\n");
    EXPECT_EQ(std::string(text), report + adapter_part);
    EXPECT_EQ(size, std::strlen(text) + 1);
    for (char *t : {dumps[0], dumps[1], text}) {
      std::free(t);
    }
  }
}

// Writes on the SFP port behind the adapter land in the module at the same
// place: A0h, the A2h lower half, and A2h table 0 through its mirror page.
TEST_F(ThroughAdapterTest, WritesReachTheModuleThroughTheMirrorPages) {
  sfpsim::Module &module = new_module("10gbase-sr");
  sfpsim::Adapter &adapter = new_adapter();
  adapter.seat(module);
  qsa_port_ctx *port = create_adapter(adapter);
  ASSERT_NE(port->sfp_port, nullptr);
  const struct {
    uint32_t page, offset;
    uint8_t value;
    const uint8_t *lands;
  } cases[] = {
      {SFP_PAGE_A0, 20, 0x41, &module.memory().a0[20]},
      {SFP_PAGE_A2, 114, 0x35, &module.memory().a2_lower[114]},
      {SFP_PAGE_A2_TABLE0, 2, 0x5c, &module.memory().tables[0][2]},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.page);
    uint8_t value = c.value;
    EXPECT_EQ(sfp_port_write(port->sfp_port, c.offset, c.page, 1, &value), SFP_RC_OK);
    EXPECT_EQ(*c.lands, c.value);
  }
}

TEST_F(ThroughAdapterTest, AdminStateForwardsAndAFailedStatusIsReported) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  for (const uint32_t state : {1u, 0u}) {
    adapter.clear_log();
    EXPECT_EQ(qsa_port_admin_state(port, 1 - state, state), SFP_RC_OK);
    EXPECT_EQ(port->sfp_port->admin_state, state);
    uint32_t tx_writes = 0;
    for (const auto &a : adapter.log()) {
      tx_writes += a.write && a.offset == sfpsim::Adapter::kTxDisable && a.bytes[0] == 1 - state;
    }
    EXPECT_EQ(tx_writes, 2u) << "once for the adapter, once more for the seated SFP";
  }
  adapter.fail_at(6, 128, qsatest::kBusError); // the A2h mirror
  sfp_hw_status_rec status;
  EXPECT_EQ(qsa_port_hw_status(port, &status), static_cast<sfp_rc>(qsatest::kBusError));
  EXPECT_EQ(texts_of(sfpdrv::msg::kOpHwStatusSfpFailed),
            std::vector<std::string>{"qsa port sfp read hw_status failed/invalid\n"});
}

// An SFP pulled before the next insertion poll still has its port, but no
// operation forwards to it any more: the report is the note and the
// adapter's two pages.
TEST_F(ThroughAdapterTest, NothingIsForwardedOnceTheSfpIsPulled) {
  sfpsim::Adapter &adapter = new_adapter("1000base-t");
  qsa_port_ctx *port = create_adapter(adapter);
  adapter.remove();
  sfp_xcvr_type type = 0;
  char name[64] = {};
  uint32_t defaulted = 0;
  EXPECT_EQ(qsa_port_type(port, &type, name, sizeof name, &defaulted), SFP_RC_OK);
  EXPECT_STREQ(name, "PX-QSA-10G");
  EXPECT_EQ(qsa_port_set_sfp_phy_speed(port, 1000, 1), SFP_RC_FAULT);
  sfp_hw_status_rec status;
  std::memset(&status, 0xff, sizeof status);
  EXPECT_EQ(qsa_port_hw_status(port, &status), SFP_RC_OK);
  sfp_hw_status_rec only_tx_disabled{};
  only_tx_disabled.tx_disabled = 1;
  EXPECT_EQ(bytes_of(status), bytes_of(only_tx_disabled));
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(qsa_port_read_reg(port, &text, &size), SFP_RC_OK);
  EXPECT_EQ(text, nullptr);
  uint8_t link = 9;
  EXPECT_EQ(qsa_port_get_state(port, &link), SFP_RC_OK);
  EXPECT_EQ(link, 9);
  ASSERT_EQ(qsa_port_phy_reg_decode(port, &text, &size), SFP_RC_OK);
  char dump[2][1936];
  plug_eeprom_page_to_ascii(port->adapter_eeprom, 0, dump[0], sizeof dump[0], 128);
  plug_eeprom_page_to_ascii(port->adapter_eeprom, 128, dump[1], sizeof dump[1], 128);
  const std::string expected = std::string("\n SFP NOT INSERTED \n") +
                               "\nMSA Data LOWER PAGE (QSA)\n" + dump[0] +
                               "\nMSA Data UPPER PAGE (QSA)\n" + dump[1];
  EXPECT_EQ(text, expected);
  EXPECT_EQ(size, expected.size() + 1);
  std::free(text);
  text = nullptr;
  sfpdrv::testing::fail_allocation(1);
  EXPECT_EQ(qsa_port_phy_reg_decode(port, &text, &size), SFP_RC_NO_MEMORY);
  EXPECT_EQ(text, nullptr);
  EXPECT_NE(port->sfp_port, nullptr);
}

// Behind an adapter the PHY's registers are byte pairs of page 0xAC: a PHY
// read is a handshake and a read of each byte, the link state one handshake
// and one 2-byte read of register 17, and the speed sequence lands at
// 128 + 2r and 129 + 2r without handshakes.
TEST_F(ThroughAdapterTest, CopperPhyThroughTheAdapter) {
  sfpsim::Adapter &adapter = new_adapter("1000base-t");
  qsa_port_ctx *port = create_adapter(adapter);
  sfpsim::Phy &phy = *adapter.seated()->phy();
  phy.set_link(0, true, 2);
  port->current_page = -1;
  adapter.clear_log();
  uint16_t status = 0;
  EXPECT_EQ(qrn_te_phy_rd(port->sfp_port, 0xAD, 17, &status), SFP_RC_OK);
  EXPECT_EQ(status, phy.reg(0, 17));
  EXPECT_EQ(bus_summary(adapter),
            "w0:116=01 r0:116 w0:127=ac r172:162 w0:116=01 r0:116 w0:127=ac r172:163");
  uint8_t link = 9;
  for (const bool up : {true, false}) {
    phy.set_link(0, up, 2);
    port->current_page = -1;
    adapter.clear_log();
    EXPECT_EQ(qsa_port_get_state(port, &link), SFP_RC_OK);
    EXPECT_EQ(link, up ? 1 : 0);
    EXPECT_EQ(bus_summary(adapter), "r0:1 w0:117=01 r0:117 w0:127=ac r172:162");
  }

  ASSERT_EQ(qsa_port_admin_state(port, 0, 1), SFP_RC_OK);
  adapter.clear_log();
  EXPECT_EQ(qsa_port_set_sfp_phy_speed(port, 1000, 0), SFP_RC_OK);
  const std::pair<uint8_t, uint16_t> forced_1000[] = {{22, 0x0001}, {0, 0x9140}, {22, 0x0000},
                                                      {27, 0x9084}, {4, 0x0C01}, {9, 0x0E00},
                                                      {16, 0x0370}, {0, 0x9140}};
  std::string expected;
  for (const auto &[reg, value] : forced_1000) {
    char pair[64];
    std::snprintf(pair, sizeof pair, " w172:%d=%02x w172:%d=%02x", 128 + 2 * reg, value >> 8,
                  129 + 2 * reg, value & 0xff);
    expected += pair;
  }
  EXPECT_TRUE(bus_summary(adapter).ends_with(expected)) << bus_summary(adapter);
  EXPECT_EQ(phy.reg(0, 4), 0x0C01);
}

} // namespace
