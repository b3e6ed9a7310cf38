// Copper PHY access as the simulated PHY on the module's bus sees it: word
// and byte transfers, the speed sequences, the link and auto-negotiation
// queries and the 10G copper PHY's configuration.
#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "control/messages.h"
#include "support/port_harness.h"

namespace {

using sfpsim::Phy;
using sfpsim::PhyWidth;
using sfptest::records_of;
namespace msg = sfpdrv::msg;

// How the board carries PHY registers, as the PHY and as the port see it.
struct BusSetup {
  PhyWidth width;
  uint32_t word_access;
  uint32_t bus_mode;
};
constexpr BusSetup kWord{PhyWidth::Word, 1, 0};
constexpr BusSetup kBytes{PhyWidth::SameByte, 0, 0};
constexpr BusSetup kAdapter{PhyWidth::SplitByte, 0, 1};

// write, device address, register byte, value, status
using Transfer = std::tuple<bool, unsigned, unsigned, unsigned, int>;
using Pairs = std::vector<std::pair<unsigned, unsigned>>; // (register, value)

// The bus transfers that carry one register access.
std::vector<Transfer> transfers_of(const BusSetup &bus, bool write, unsigned reg, unsigned value) {
  const unsigned address = write ? 0xAC : 0xAD;
  if (bus.word_access != 0) {
    return {{write, address, reg, value, 0}};
  }
  const unsigned high_at = bus.bus_mode == 1 ? 2 * reg : reg;
  const unsigned low_at = bus.bus_mode == 1 ? high_at + 1 : high_at;
  return {{write, address, high_at, value >> 8, 0}, {write, address, low_at, value & 0xFF, 0}};
}

std::vector<Transfer> writes_of(const BusSetup &bus, const Pairs &pairs) {
  std::vector<Transfer> out;
  for (const auto &[reg, value] : pairs) {
    for (const Transfer &t : transfers_of(bus, true, reg, value)) {
      out.push_back(t);
    }
  }
  return out;
}

std::vector<Transfer> seen(const Phy &phy) {
  std::vector<Transfer> out;
  for (const sfpsim::PhyAccess &a : phy.log()) {
    out.emplace_back(a.write, a.address, a.reg, a.value, a.status);
  }
  return out;
}

// Text of the first record of `m` in `buffer`, or "" when there is none.
std::string first_text(const char *buffer, const sfpdrv::TraceMsg &m) {
  const auto found = records_of(buffer, m);
  return found.empty() ? "" : found[0].text;
}

std::vector<uint32_t> waits() {
  std::vector<uint32_t> out(16);
  out.resize(platform_clock_waits(out.data(), out.size()));
  return out;
}

class PhyTest : public sfptest::PortTest {
protected:
  // A port on a fresh 1000BASE-T module whose PHY is reached as `bus` says.
  sfp_port_ctx *open(const BusSetup &bus, sfpsim::Memory memory = profile_memory()) {
    auto &module = modules_.emplace_back(std::make_unique<sfpsim::Module>(memory));
    phy_ = &module->attach_phy(Phy(bus.width));
    sfp_platform_ops ops = sfptest::ops_for(*module);
    ops.phy_word_access = bus.word_access;
    ops.bus_mode = bus.bus_mode;
    sfp_port_ctx *port = create(ops);
    EXPECT_EQ(sfp_xcvr_set_phy_access(port, 533), SFP_RC_OK);
    phy_->clear_log();
    sfptest::clear_traces();
    platform_clock_reset();
    return port;
  }
  static sfpsim::Memory profile_memory() { return sfpsim::find_profile("1000base-t")->memory; }

  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
  Phy *phy_ = nullptr;
};

const Pairs kPageSetup = {{22, 1}, {0, 0x9140}, {22, 0}, {27, 0x9084}};

TEST_F(PhyTest, SpeedRequestsWriteTheirSequenceAfterTheWaitOnEveryBus) {
  struct Request {
    uint32_t speed, autoneg;
    Pairs after_setup;
  };
  const Request requests[] = {
      {1000, 0, {{4, 0x0C01}, {9, 0x0E00}, {16, 0x0370}, {0, 0x9140}}},
      {100, 2, {{0, 0x9140}, {4, 0x0D81}, {9, 0x0C00}, {16, 0x0370}, {0, 0xB100}}},
      {10, 0, {{0, 0x9140}, {0, 0x9100}, {4, 0x0C61}, {9, 0x0C00}, {16, 0x0370}}},
      {40, 1, {{0, 0x9140}, {4, 0x0DE1}, {9, 0x0E00}, {16, 0x0370}, {0, 0x9140}}},
  };
  for (const BusSetup &bus : {kWord, kBytes, kAdapter}) {
    for (const Request &r : requests) {
      SCOPED_TRACE(::testing::Message() << "bus mode " << bus.bus_mode << " word "
                                        << bus.word_access << " speed " << r.speed);
      sfp_port_ctx *port = open(bus);
      ASSERT_EQ(port->phy_access->set_link_speed(port, r.speed, r.autoneg), SFP_RC_OK);
      Pairs pairs = kPageSetup;
      pairs.insert(pairs.end(), r.after_setup.begin(), r.after_setup.end());
      EXPECT_EQ(seen(*phy_), writes_of(bus, pairs));
      const auto advertisement = std::ranges::find(r.after_setup, 4u, &Pairs::value_type::first);
      EXPECT_EQ(phy_->reg(0, 4), advertisement->second);
      EXPECT_EQ(waits(), std::vector<uint32_t>{bus.bus_mode == 1 ? 500u : 250u});
    }
  }
}

TEST_F(PhyTest, RefusedSpeedRequestsTouchNothing) {
  sfp_port_ctx *port = open(kWord);
  EXPECT_EQ(qrn_te_set_link_speed(port, 40, 2), SFP_RC_INVALID);
  EXPECT_EQ(qrn_te_set_link_speed(port, 1000, 3), SFP_RC_INVALID);
  EXPECT_TRUE(phy_->log().empty());
  EXPECT_TRUE(waits().empty());
  const auto errors = sfptest::records("sfp_err");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].text, "Controller 0 Port 0: Speed not supported 40\n");
  EXPECT_EQ(errors[1].number, msg::kPhyAutonegNotSupported.number);
}

TEST_F(PhyTest, AFailingWriteEndsTheSequenceWithItsStatus) {
  for (const BusSetup &bus : {kWord, kAdapter}) {
    const unsigned calls = bus.word_access != 0 ? 8 : 16; // 1000 Mb/s forced: eight pairs
    for (unsigned k = 1; k <= calls; ++k) {
      sfp_port_ctx *port = open(bus);
      phy_->fail_nth_call(k, 0x33);
      EXPECT_EQ(qrn_te_set_link_speed(port, 1000, 0), 0x33u) << k;
      ASSERT_EQ(phy_->log().size(), k);
      EXPECT_EQ(phy_->log().back().status, 0x33);
      const auto &failure = bus.word_access != 0 ? msg::kPhyWriteError
                            : k % 2 == 1         ? msg::kPhyWriteMsbError
                                                 : msg::kPhyWriteLsbError;
      EXPECT_EQ(records_of("sfp_err", failure).size(), 1u) << k;
    }
  }
  EXPECT_EQ(first_text("sfp_err", msg::kPhyWriteLsbError),
            "Controller 0 Port 0: Error writing 0x40 LSB to PHY or Dev[0xac]:Reg[0x1]\n");
}

TEST_F(PhyTest, RegisterReadsAndWritesOnEveryBus) {
  for (const BusSetup &bus : {kWord, kBytes, kAdapter}) {
    sfp_port_ctx *port = open(bus);
    phy_->set_reg(0, 17, 0xC4A5);
    uint16_t value = 0;
    ASSERT_EQ(sfp_port_qrn_te_access(port, 17, &value, SFP_ACCESS_READ), SFP_RC_OK);
    EXPECT_EQ(value, 0xC4A5);
    EXPECT_EQ(seen(*phy_), transfers_of(bus, false, 17, 0xC4A5));
    phy_->clear_log();
    value = 0x1234;
    ASSERT_EQ(sfp_port_qrn_te_access(port, 9, &value, 7), SFP_RC_OK); // any other direction writes
    EXPECT_EQ(seen(*phy_), transfers_of(bus, true, 9, 0x1234));
    EXPECT_EQ(phy_->reg(0, 9), 0x1234);
  }
  // A failing byte leaves the value as it was and names the byte.
  sfp_port_ctx *port = open(kAdapter);
  for (const unsigned k : {1u, 2u}) {
    uint16_t value = 0xBEEF;
    phy_->fail_nth_call(k, 5);
    EXPECT_EQ(qrn_te_phy_rd(port, 0xAD, 17, &value), 5u);
    EXPECT_EQ(value, 0xBEEF);
  }
  EXPECT_EQ(first_text("sfp_err", msg::kPhyReadMsbError),
            "Controller 0 Port 0: Error reading MSB from PHY for Dev[0xad]:Reg[0x22]\n");
  EXPECT_EQ(first_text("sfp_err", msg::kPhyReadLsbError),
            "Controller 0 Port 0: Error reading LSB from PHY for Dev[0xad]:Reg[0x23]\n");
}

TEST_F(PhyTest, LinkStateDecodesBothSidesAndLeavesTheFiberPage) {
  struct Case {
    uint16_t copper, fiber;
    bool fail_status_reads;
    uint32_t link, speed, fiber_link;
    size_t bad;
  };
  const Case cases[] = {
      {0x8400, 0x0400, false, 1, 1000, 1, 0},
      {0x4000, 0x8000, false, 0, 100, 0, 0},
      {0x0400, 0x0000, false, 1, 10, 0, 0},
      {0x8400, 0x0400, true, 0, 10, 0, 0}, // unread words: copper 0, fiber 1
      {0xC400, 0x0400, false, 1, 0, 1, 1},
  };
  for (const Case &c : cases) {
    sfp_port_ctx *port = open(kBytes);
    phy_->set_reg(0, 17, c.copper);
    phy_->set_reg(1, 17, c.fiber);
    if (c.fail_status_reads) {
      phy_->fail_at(17, 9);
    }
    uint32_t link = 7, speed = 7, fiber_link = 7;
    ASSERT_EQ(port->phy_access->get_link_state_speed(port, &link, &speed, &fiber_link), 0u);
    EXPECT_EQ(std::tie(link, speed, fiber_link), std::tie(c.link, c.speed, c.fiber_link))
        << c.copper;
    EXPECT_EQ(records_of("sfp_err", msg::kPhyBadLinkStatus).size(), c.bad);
    EXPECT_EQ(phy_->page_select(), 1);
  }
  EXPECT_EQ(first_text("sfp_err", msg::kPhyBadLinkStatus),
            "Controller 0 Port 0: Bad QRN-T link status reg 0x11 val 0xc400 speed 0x3\n");
  sfp_port_ctx *port = open(kWord);
  phy_->set_link(0, true, 2);
  phy_->set_link(1, true, 0);
  EXPECT_EQ(qrn_te_get_link_state_speed(port, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(seen(*phy_), (std::vector<Transfer>{{true, 0xAC, 22, 0, 0},
                                                {false, 0xAD, 17, 0x8400, 0},
                                                {true, 0xAC, 22, 1, 0},
                                                {false, 0xAD, 17, 0x0400, 0}}));
  EXPECT_EQ(first_text("sfp_evt", msg::kPhyLinkStatus),
            "Controller 0 Port 0: QRN-T link status reg 11 value 8400 linkstate 1 speed 1000 "
            "fb_reg_value 400 fb_linkstate 1\n");
}

TEST_F(PhyTest, AnCapabilityReadsTheCopperAdvertisement) {
  for (const auto &[advertised, capability] : {std::pair{0x0DE1u, 1u}, std::pair{0x0C01u, 2u}}) {
    sfp_port_ctx *port = open(kWord);
    phy_->set_reg(0, 4, static_cast<uint16_t>(advertised));
    phy_->set_reg(1, 4, 0x0DE1);
    phy_->set_reg(1, 22, 1);
    uint32_t out = 0;
    ASSERT_EQ(port->phy_access->get_an_capability(port, &out), SFP_RC_OK);
    EXPECT_EQ(out, capability);
  }
  sfp_port_ctx *port = open(kWord);
  for (const unsigned k : {1u, 2u}) { // the page select, then the read
    uint32_t out = 9;
    phy_->fail_nth_call(k, 6);
    EXPECT_EQ(qrn_te_get_an_capability(port, &out), 6u);
    EXPECT_EQ(out, 9u);
  }
}

TEST_F(PhyTest, TenGigConfigureResetsAndSetsThePhyWithItsWaits) {
  sfpsim::Memory memory = profile_memory();
  memory.a0[36] = 0x04;
  sfp_port_ctx *port = open(kBytes, memory);
  ASSERT_EQ(sfp_10G_copper_phy_configure(port), SFP_RC_OK);
  const std::vector<Transfer> expected = {{true, 0xAC, 128, 1, 0},  {true, 0xAC, 128, 0, 0},
                                          {false, 0xAC, 128, 0, 0}, {true, 0xAC, 129, 3, 0},
                                          {true, 0xAC, 130, 0, 0},  {true, 0xAC, 132, 25, 0},
                                          {true, 0xAC, 131, 1, 0}};
  EXPECT_EQ(seen(*phy_), expected);
  EXPECT_EQ(waits(), (std::vector<uint32_t>{400, 100, 400}));
  EXPECT_EQ(records_of("sfp_evt", msg::kTenGigAnEnableDone).size(), 1u);
  for (unsigned k = 1; k <= expected.size(); ++k) { // the read-back alone does not stop it
    port = open(kBytes, memory);
    phy_->fail_nth_call(k, 0x21);
    EXPECT_EQ(sfp_10G_copper_phy_configure(port), k == 3 ? 0u : 0x21u) << k;
    EXPECT_EQ(phy_->log().size(), k == 3 ? expected.size() : k);
    if (k == 3) {
      EXPECT_EQ(first_text("sfp_err", msg::kTenGigReadFail),
                "Controller 0 Port 0: SFP PHY read fail rc:33");
    }
  }

  memory.a0[36] = 0x01; // none of 0x1C: not a 10G copper module
  port = open(kBytes, memory);
  EXPECT_EQ(sfp_10G_copper_phy_configure(port), SFP_RC_OK);
  EXPECT_TRUE(phy_->log().empty());
  EXPECT_TRUE(waits().empty());
}

TEST_F(PhyTest, RefusalsWithoutPortPhyOrCallbacks) {
  sfp_port_ctx *port = open(kWord);
  EXPECT_EQ(sfp_xcvr_set_phy_access(port, 534), SFP_RC_OK);
  EXPECT_EQ(port->phy_access, &qrn_te_phy_access);
  EXPECT_EQ(records_of("sfp_evt", msg::kSetPhyAccess).size(), 0u);
  port->phy_access = nullptr;
  EXPECT_EQ(sfp_xcvr_set_phy_access(port, 534), SFP_RC_OK);
  EXPECT_EQ(port->phy_access, nullptr);
  uint16_t value = 0;
  EXPECT_EQ(sfp_port_qrn_te_access(port, 4, &value, SFP_ACCESS_READ), SFP_RC_INVALID);
  EXPECT_EQ(qrn_te_phy_wr(port, 0xAC, 4, &value), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_set_phy_access(port, 533), SFP_RC_OK);
  EXPECT_EQ(port->phy_access, &qrn_te_phy_access);
  EXPECT_EQ(qrn_te_phy_rd(port, 0xAD, 4, nullptr), SFP_RC_INVALID);

  port->phy_read_cb = nullptr;
  port->eeprom[36] = 0x10;
  EXPECT_EQ(qrn_te_phy_rd(port, 0xAD, 4, &value), SFP_RC_INVALID);
  EXPECT_EQ(sfp_10G_copper_phy_configure(port), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", msg::kTenGigNoPhyCallbacks).size(), 1u);
  EXPECT_TRUE(phy_->log().empty());

  for (const sfp_rc rc :
       {sfp_xcvr_set_phy_access(nullptr, 533), qrn_te_phy_rd(nullptr, 0, 0, &value),
        qrn_te_phy_wr(nullptr, 0, 0, &value), sfp_port_qrn_te_access(nullptr, 0, &value, 1),
        qrn_te_set_link_speed(nullptr, 1000, 1),
        qrn_te_get_link_state_speed(nullptr, nullptr, nullptr, nullptr),
        qrn_te_get_an_capability(nullptr, nullptr), sfp_10G_copper_phy_configure(nullptr)}) {
    EXPECT_EQ(rc, SFP_RC_INVALID);
  }
}

} // namespace
