// The simulated copper PHY: how each bus width carries a register, paging,
// refusals, the log and injected faults. (The control tests reach it through
// modules made from the copper profile.)
#include <gtest/gtest.h>

#include <vector>

#include "sfpsim/module.h"

namespace {

using sfpsim::kPhyNak;
using sfpsim::Phy;
using sfpsim::PhyWidth;

int wr8(Phy &phy, uint8_t reg, uint8_t byte) {
  return Phy::write_cb(&phy, 0xAC, reg, &byte);
}
uint8_t rd8(Phy &phy, uint8_t reg) {
  uint8_t byte = 0xEE;
  EXPECT_EQ(Phy::read_cb(&phy, 0xAD, reg, &byte), 0) << int{reg};
  return byte;
}
int wr16(Phy &phy, uint8_t reg, uint16_t word, uint8_t address = 0xAC) {
  return Phy::write_cb(&phy, address, reg, &word);
}

TEST(SimPhy, ByteWidthsAssembleRegistersFromTheirHalves) {
  Phy same(PhyWidth::SameByte);
  same.set_reg(0, 9, 0xA1B2);
  EXPECT_EQ(std::vector<uint8_t>({rd8(same, 9), rd8(same, 9), rd8(same, 9)}),
            (std::vector<uint8_t>{0xA1, 0xB2, 0xA1}));
  ASSERT_EQ(wr8(same, 4, 0x0D), 0);
  EXPECT_EQ(same.reg(0, 4), 0); // the high byte waits for its low byte
  ASSERT_EQ(wr8(same, 4, 0xE1), 0);
  EXPECT_EQ(same.reg(0, 4), 0x0DE1);
  // Another register or direction starts a new pair.
  ASSERT_EQ(wr8(same, 4, 0x12), 0);
  EXPECT_EQ(rd8(same, 4), 0x0D);
  ASSERT_EQ(wr8(same, 4, 0x12), 0);
  ASSERT_EQ(wr8(same, 5, 0x34), 0);
  ASSERT_EQ(wr8(same, 5, 0x56), 0);
  EXPECT_EQ(std::vector<uint16_t>({same.reg(0, 4), same.reg(0, 5)}),
            (std::vector<uint16_t>{0x0DE1, 0x3456}));

  Phy split(PhyWidth::SplitByte);
  ASSERT_EQ(wr8(split, 2 * 4 + 1, 0xE1), 0);
  ASSERT_EQ(wr8(split, 2 * 4, 0x0D), 0);
  EXPECT_EQ(split.reg(0, 4), 0x0DE1);
  EXPECT_EQ(std::vector<uint8_t>({rd8(split, 9), rd8(split, 8)}),
            (std::vector<uint8_t>{0xE1, 0x0D}));
  EXPECT_EQ(wr8(split, 64, 0), kPhyNak);
}

TEST(SimPhy, PagesStatusAddressesAndByteRegisters) {
  Phy phy; // word width
  ASSERT_EQ(wr16(phy, 4, 0x0C01), 0);
  ASSERT_EQ(wr16(phy, 22, 1), 0);
  ASSERT_EQ(wr16(phy, 4, 0x0DE1), 0);
  EXPECT_EQ(std::vector<uint16_t>({phy.reg(0, 4), phy.reg(1, 4), phy.reg(0, 22)}),
            (std::vector<uint16_t>{0x0C01, 0x0DE1, 1}));
  phy.set_link(1, true, 2);
  ASSERT_EQ(wr16(phy, 17, 0), 0); // the status register ignores the bus
  uint16_t word = 0;
  ASSERT_EQ(Phy::read_cb(&phy, 0xAD, 17, &word), 0);
  EXPECT_EQ(word, 0x8400);
  phy.set_link(1, false, 1);
  EXPECT_EQ(phy.reg(1, 17), 0x4000);
  ASSERT_EQ(wr16(phy, 22, 2), 0); // a page the PHY does not have: only 22 answers
  EXPECT_EQ(wr16(phy, 4, 1), kPhyNak);
  ASSERT_EQ(Phy::read_cb(&phy, 0xAD, 22, &word), 0);
  EXPECT_EQ(word, 2);
  EXPECT_EQ(wr16(phy, 22, 0), 0);
  EXPECT_EQ(wr16(phy, 32, 0), kPhyNak);
  EXPECT_EQ(wr16(phy, 4, 0, 0xA0), kPhyNak);
  EXPECT_EQ(Phy::write_cb(&phy, 0xAC, 4, nullptr), sfpsim::kInvalidArgument);
  EXPECT_EQ(Phy::read_cb(nullptr, 0xAD, 4, &word), sfpsim::kInvalidArgument);
  EXPECT_EQ(phy.reg(0, 4), 0x0C01);
  ASSERT_EQ(wr8(phy, 132, 25), 0); // one byte whatever the width
  EXPECT_EQ(phy.byte_reg(132), 25);
  EXPECT_EQ(wr8(phy, 133, 0), kPhyNak);
}

TEST(SimPhy, LogsEveryCallAndInjectsFaults) {
  Phy phy(PhyWidth::SameByte);
  phy.fail_nth_call(2, 7);
  phy.fail_at(9, 8);
  ASSERT_EQ(wr8(phy, 22, 0), 0);
  EXPECT_EQ(wr8(phy, 22, 1), 7); // the fault leaves the pair open
  ASSERT_EQ(wr8(phy, 22, 1), 0);
  EXPECT_EQ(wr8(phy, 9, 1), 8);
  EXPECT_EQ(wr8(phy, 9, 1), 8);
  phy.clear_faults();
  EXPECT_EQ(rd8(phy, 9), 0);
  const std::vector<sfpsim::PhyAccess> expected = {
      {true, 0xAC, 22, 0, 0, 0}, {true, 0xAC, 22, 1, 7, 0}, {true, 0xAC, 22, 1, 0, 0},
      {true, 0xAC, 9, 1, 8, 1},  {true, 0xAC, 9, 1, 8, 1},  {false, 0xAD, 9, 0, 0, 1}};
  EXPECT_EQ(phy.log(), expected);
  EXPECT_EQ(phy.call_count(), 6u);
}

} // namespace
