// Behaviours that no test noticed a change of: every line of the register
// dump, negative temperatures in the diagnostics text, the 0.1 GHz digit of
// the user-memory frequencies, and a table 0 write behind an adapter.
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "qsa/qsa_harness.h"

namespace {

// The dump's rows: name and A0h offset, in dump order.
struct Row {
  const char *name;
  uint32_t offset;
};
const std::vector<Row> kDumpRows = {
    {"SFP_Ident", 0},
    {"TX CDR LOL STATUS", 64},
    {"Extended Identifer", 1},
    {"Ether compliance", 6},
    {"Ext Ether compliance", 3},
    {"TX12 Input Eq control", 108},
    {"TX34 Input Eq control", 109},
    {"RX12 Output Emphasis control", 110},
    {"RX34 Output Emphasis control", 111},
    {"RX12 Output Amp control", 112},
    {"RX34 Output Amp control", 113},
    {"TXRX Output Disable", 114},
    {"TX_CDR_LATCH_REG", 119},
    {"CDR_CNTRL_REG", 120},
    {"ADP_CTLE_REG", 121},
};

class CatchTest : public sfptest::PortTest {};

// Every row shows its own offset, name and the value of its own byte: the
// module's bytes at the fifteen offsets all differ, so a row that reads a
// neighbour's byte or swaps names shows.
TEST_F(CatchTest, RegisterDumpShowsEveryRowWithItsOwnByte) {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = create_on("25gbase-sr", module);
  ASSERT_NE(port, nullptr);
  for (std::size_t i = 0; i < kDumpRows.size(); ++i) {
    module->memory().a0[kDumpRows[i].offset] = static_cast<uint8_t>(0x11 + 0x0B * i);
  }
  std::string want = "\nOPTICS registers:\n";
  for (const Row &row : kDumpRows) {
    char line[80];
    std::snprintf(line, sizeof line, "0x%04X \t  %-30s \t : 0x%08X\n", row.offset, row.name,
                  module->memory().a0[row.offset]);
    want += line;
  }
  char *text = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(sfp_port_read_reg(port, &text, &size), SFP_RC_OK);
  const std::string dump(text);
  std::free(text);
  EXPECT_EQ(dump, want);
}

// Thresholds show the signed high byte and a positive fraction, with a
// blank for a negative one; the measured value is a signed fixed-point
// number: -5.5 C is 0xFA80 and -0.5 C is 0xFF80.
TEST_F(CatchTest, NegativeTemperaturesInTheDiagnosticsText) {
  uint8_t diag[128] = {};
  const auto put = [&diag](std::size_t at, uint16_t value) {
    diag[at] = static_cast<uint8_t>(value >> 8);
    diag[at + 1] = static_cast<uint8_t>(value);
  };
  put(0, 0xFA80); // high alarm: -5.5
  put(2, 0xFF80); // low alarm: -0.5
  put(4, 0x0080); // high warning: +0.5
  put(96, 0xFA80);
  sfp_status_field_table table{};
  ASSERT_EQ(sfp_xcvr_decode_sfp_status_str(diag, &table, 0), SFP_RC_OK);
  EXPECT_STREQ(table.field[0].value, " -6.500 C");
  EXPECT_STREQ(table.field[1].value, " -1.500 C");
  EXPECT_STREQ(table.field[2].value, "+0.500 C");
  EXPECT_STREQ(table.field[33].value, "-5.500");
  put(96, 0xFF80);
  table = {};
  ASSERT_EQ(sfp_xcvr_decode_sfp_status_str(diag, &table, 0), SFP_RC_OK);
  EXPECT_STREQ(table.field[33].value, "-0.500");
}

// The frequency fractions count 0.1 GHz: 3507 is 350.7 GHz, 9 is 0.9 GHz.
TEST_F(CatchTest, FrequencyFractionDigitInTheUserMemory) {
  std::array<uint8_t, 256> area{};
  const auto put_le = [&area](std::size_t at, uint16_t value) {
    area[at] = static_cast<uint8_t>(value);
    area[at + 1] = static_cast<uint8_t>(value >> 8);
  };
  put_le(109, 191);
  put_le(111, 3507);
  put_le(113, 196);
  put_le(115, 9);
  sfp_user_eeprom_field_table table{};
  ASSERT_EQ(sfp_xcvr_decode_user_eeprom(area.data(), &table), SFP_RC_OK);
  EXPECT_STREQ(table.field[20].value, "350.700 GHz");
  EXPECT_STREQ(table.field[22].value, "0.900 GHz");
  // Table 2 holds them most significant byte first, at 134 and 138.
  std::array<uint8_t, 128> page02{};
  page02[4] = 0;
  page02[5] = 191;
  page02[6] = 3507 >> 8;
  page02[7] = 3507 & 0xFF;
  page02[10] = 0;
  page02[11] = 42;
  std::array<uint8_t, 256> copy{};
  sfp_user_eeprom_field_table tunable{};
  ASSERT_EQ(sfp_xcvr_decode_a2_02_eeprom(page02.data(), copy.data(), &tunable), SFP_RC_OK);
  const uint16_t first = static_cast<uint16_t>(copy[111] | copy[112] << 8);
  const uint16_t last = static_cast<uint16_t>(copy[115] | copy[116] << 8);
  char want[32];
  std::snprintf(want, sizeof want, "%u.%03u GHz", first / 10u, (first % 10u) * 100u);
  EXPECT_STREQ(tunable.field[20].value, want);
  std::snprintf(want, sizeof want, "%u.%03u GHz", last / 10u, (last % 10u) * 100u);
  EXPECT_STREQ(tunable.field[22].value, want);
  EXPECT_NE(first % 10u, 0u) << "the copy must carry a fraction digit";
}

// The display name of every row written by hand, as the type table lists
// them; the rows whose names are catalogue part numbers each have a name of
// their own (but the two rows of one dual-rate module).
TEST_F(CatchTest, EveryHandWrittenTypeRowHasItsDisplayName) {
  struct Named {
    sfp_xcvr_type type;
    const char *name;
  };
  // clang-format off
  const std::vector<Named> rows = {
      {512, "Unknown"},
      {513, "SFP 100M 100BASE-FX"},
      {515, "SFP 100M 100BASE-EX"},
      {516, "SFP 100M 100BASE-ZX"},
      {521, "SFP 1G 1000BX-10-U"},
      {522, "SFP 1G 1000BX-10-D"},
      {523, "SFP 1G 1000BASE 2BX-D"},
      {524, "SFP 1G 1000BX-80-D"},
      {525, "SFP 1G 1000BX-80-U"},
      {526, "SFP 1G 1000BX-40-D"},
      {527, "SFP 1G 1000BX-40-U"},
      {528, "SFP 1G 1000BX-40-DA"},
      {529, "SFP 1G 1000BASE-SX"},
      {530, "SFP 1G 1000BASE-LX"},
      {531, "SFP 1G 1000BASE-ZX"},
      {532, "SFP 1G 1000BASE-EX"},
      {533, "SFP 1G 1000BASE-T"},
      {534, "SFP 1G 100/1000BASE-LX"},
      {535, "SFP T1F SATOP1"},
      {536, "SFP E1F SATOP1"},
      {537, "SFP T3F SATOP1"},
      {538, "SFP E1U SATOP1"},
      {539, "SFP CH STM1"},
      {540, "SFP CH OC3 STM1"},
      {594, "SFP+ 10G SR"},
      {595, "SFP+ 10G CSR"},
      {596, "SFP+ 10G LR"},
      {597, "SFP+ 10G LRM"},
      {598, "SFP+ 10G ER"},
      {599, "SFP+ 10G ZR"},
      {600, "SFP+ 10G BX-D"},
      {601, "SFP+ 10G BX-U"},
      {602, "SFP+ 10G BX40-D"},
      {603, "SFP+ 10G BX40-U"},
      {692, "SFP+ 10G CU1M"},
      {693, "SFP+ 10G CU3M"},
      {694, "SFP+ 10G CU3M"},
      {695, "SFP+ 10G ACU7M"},
      {696, "SFP+ 10G ACU10M"},
      {697, "SFP+ 10G CX1-15"},
      {698, "SFP+ 10G LBX1"},
      {699, "SFP+ 10G USR"},
      {700, "SFP+ 10G LRM-SM"},
      {701, "SFP+ 10G ELPBK"},
      {702, "SFP+ 10G ELPBK-CR"},
      {703, "SFP+ 10G ELPBK-BER"},
      {744, "SFP+ 10G CU1.5M"},
      {745, "SFP+ 10G CU2M"},
      {746, "SFP+ 10G CU2.5M"},
      {747, "SFP+ 10G CU5M"},
      {748, "SFP+ 10G AOC1M"},
      {749, "SFP+ 10G AOC2M"},
      {750, "SFP+ 10G AOC3M"},
      {751, "SFP+ 10G AOC5M"},
      {752, "SFP+ 10G AOC7M"},
      {753, "SFP+ 10G AOC10M"},
      {754, "4x10G AOC1M"},
      {755, "4x10G AOC2M"},
      {756, "4x10G AOC3M"},
      {757, "4x10G AOC5M"},
      {758, "4x10G AOC7M"},
      {759, "4x10G AOC10M"},
      {760, "4x10G AC7M"},
      {761, "4x10G AC10M"},
      {762, "4x10G CU1M"},
      {763, "4x10G CU3M"},
      {764, "4x10G CU5M"},
      {765, "SFP+ 10G DWDM Tunable"},
      {766, "SFP+ 10G COPPER"},
      {768, "SFP FC GE SW"},
      {769, "SFP FC GE LW"},
      {770, "SFP FC 2G SW"},
      {771, "SFP FC 2G LW"},
      {772, "SFP FC 4G SW"},
      {773, "SFP FC 4G LW"},
      {774, "SFP FC 8G SW"},
      {775, "SFP FC 8G LW"},
      {776, "SFP FC 16G SW"},
      {777, "SFP FC 16G LW"},
      {778, "SFP FC 32G SW"},
      {779, "SFP FC 32G LW"},
      {780, "SFP 10G OC48 SR"},
      {781, "SFP 10G OC48 IR1"},
      {782, "SFP 10G OC48 LR"},
      {783, "SFP 10G OC192 SR"},
      {784, "SFP28 25G SR"},
      {786, "SFP28 25G LR for SMF"},
      {787, "SFP28 25G ER"},
      {788, "SFP28 25G CSR for MMF"},
      {789, "SFP28 25G CU1M"},
      {790, "SFP28 25G CU2M"},
      {791, "SFP28 25G CU3M"},
      {792, "SFP28 25G CU4M"},
      {793, "SFP28 25G CU5M"},
      {794, "SFP28 25G CU1.5M"},
      {795, "SFP28 25G CU2.5M"},
      {796, "SFP28 25G AOC1M"},
      {797, "SFP28 25G AOC2M"},
      {798, "SFP28 25G AOC3M"},
      {799, "SFP28 25G AOC4M"},
      {800, "SFP28 25G AOC5M"},
      {801, "SFP28 25G AOC7M"},
      {802, "SFP28 25G AOC10M"},
      {810, "SFP 25G PASSIVE LOOPBACK"},
      {812, "SFP 50G CU1M"},
      {814, "SFP 50G CU2M"},
      {816, "SFP 50G CU3M"},
      {817, "SFP 50G CU4M"},
      {818, "SFP 50G CU5M"},
      {819, "SFP 50G PASSIVE LOOPBACK"},
      {852, "SFP 1G 1000BASE-LH"},
      {853, "SFP 1G 1000BASE-SX"},
  };
  // clang-format on
  std::set<std::string> seen;
  for (const Named &row : rows) {
    EXPECT_STREQ(sfp_xcvr_get_name_from_type(nullptr, row.type), row.name) << row.type;
    seen.insert(row.name);
  }
  // The dual-rate 25/50G SR module's two rows (785, 811) carry one name.
  for (const sfp_xcvr_type type : {589u, 590u, 785u, 805u, 806u, 807u, 808u, 809u, 820u}) {
    const std::string name = sfp_xcvr_get_name_from_type(nullptr, type);
    EXPECT_FALSE(name.empty() || name == "Unknown") << type;
    EXPECT_TRUE(seen.insert(name).second) << type << " shares its name " << name;
  }
  EXPECT_STREQ(sfp_xcvr_get_name_from_type(nullptr, 811),
               sfp_xcvr_get_name_from_type(nullptr, 785));
}

class CatchAdapterTest : public qsatest::QsaTest {};

// A write to table 0 of the SFP behind an adapter lands in the module's
// table 0 and nowhere else.
TEST_F(CatchAdapterTest, TableZeroWriteBehindAnAdapterReachesTableZero) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  sfpsim::Module &module = *adapter.seated();
  qsa_port_ctx *port = create_adapter(adapter);
  ASSERT_NE(port, nullptr);
  ASSERT_NE(port->sfp_port, nullptr);
  const sfpsim::Memory before = module.memory();
  uint8_t bytes[2] = {0xA5, 0x5A};
  ASSERT_EQ(sfp_port_write(port->sfp_port, 0x20, SFP_PAGE_A2_TABLE0, 2, bytes), SFP_RC_OK);
  sfpsim::Memory want = before;
  want.tables[0][0x20] = 0xA5;
  want.tables[0][0x21] = 0x5A;
  EXPECT_EQ(module.memory().a0, want.a0) << "the identification page changed";
  EXPECT_EQ(module.memory().tables, want.tables);
  uint8_t back[2] = {};
  ASSERT_EQ(sfp_port_read(port->sfp_port, 0x20, SFP_PAGE_A2_TABLE0, 2, back), SFP_RC_OK);
  EXPECT_EQ(back[0], 0xA5);
  EXPECT_EQ(back[1], 0x5A);
}

} // namespace
