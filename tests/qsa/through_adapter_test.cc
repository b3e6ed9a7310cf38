// The SFP layer working through the adapter: identification of the module
// behind it and its copper PHY.
#include <cstring>

#include "qsa_harness.h"

using qsatest::bus_summary;
#include "sfpdrv/phy.h"

namespace {

class ThroughAdapterTest : public qsatest::QsaTest {};

// The module gets the type behind the adapter that it gets in a cage of its
// own.
TEST_F(ThroughAdapterTest, IdentificationMatchesADirectlyAttachedModule) {
  for (const char *profile : {"10gbase-sr", "1000base-t", "1000base-sx"}) {
    SCOPED_TRACE(profile);
    sfp_port_ctx *direct = create(sfptest::ops_for(new_module(profile)));
    ASSERT_NE(direct, nullptr);

    qsa_port_ctx *port = create_adapter(new_adapter(profile), 1);
    ASSERT_NE(port->sfp_port, nullptr);
    EXPECT_EQ(port->sfp_type, direct->xcvr_type);
    EXPECT_STREQ(port->sfp_name, direct->xcvr_name);
    EXPECT_EQ(std::memcmp(port->sfp_port->eeprom, direct->eeprom, SFP_EEPROM_IMAGE_LEN), 0)
        << "the image read through the mirror is the module's";
  }
}

TEST_F(ThroughAdapterTest, CopperPhyRegistersAreBytePairsOfThePhyMirror) {
  sfpsim::Adapter &adapter = new_adapter("1000base-t");
  qsa_port_ctx *port = create_adapter(adapter);
  sfp_port_ctx *sfp = port->sfp_port;
  ASSERT_NE(sfp, nullptr);
  ASSERT_NE(sfp->phy_access, nullptr);
  sfpsim::Phy &phy = *adapter.seated()->phy();

  port->current_page = -1;
  adapter.clear_log();
  const uint16_t advertised = 0x0DE1;
  EXPECT_EQ(qrn_te_phy_wr(sfp, 0xAC, 4, &advertised), SFP_RC_OK);
  EXPECT_EQ(phy.reg(0, 4), advertised);
  EXPECT_EQ(bus_summary(adapter), "w0:127=ac w172:136=0d w172:137=e1")
      << "writes need no handshake";

  phy.set_link(0, true, 2);
  adapter.clear_log();
  uint16_t status = 0;
  EXPECT_EQ(qrn_te_phy_rd(sfp, 0xAD, 17, &status), SFP_RC_OK);
  EXPECT_EQ(status, phy.reg(0, 17));
  EXPECT_EQ(bus_summary(adapter),
            "w0:116=01 r0:116 w0:127=ac r172:162 w0:116=01 r0:116 w0:127=ac r172:163");
}

} // namespace
