// The simulated module's callbacks: page mapping, table select, range checks,
// the access log and injected faults.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "sfpsim/module.h"

namespace {

using sfpsim::Bus;
using sfpsim::Module;
using Bytes = std::vector<uint8_t>;

// Every byte tells where it lives: A0h holds its offset, the A2h lower half
// 0x80 + offset/2, table t at A2h offset o holds 0x40 * t + (o - 128) / 2.
uint8_t table_byte(unsigned table, unsigned a2_offset) {
  return static_cast<uint8_t>(0x40 * table + (a2_offset - 128) / 2);
}

class SimModule : public ::testing::Test {
protected:
  SimModule() {
    auto &mem = module.memory();
    for (unsigned i = 0; i < 256; ++i) {
      mem.a0[i] = static_cast<uint8_t>(i);
    }
    for (unsigned i = 0; i < 127; ++i) {
      mem.a2_lower[i] = static_cast<uint8_t>(0x80 + i / 2);
    }
    for (unsigned t = 0; t < 4; ++t) {
      for (unsigned i = 0; i < 128; ++i) {
        mem.tables[t][i] = table_byte(t, 128 + i);
      }
    }
  }

  Bytes read(uint8_t page, uint8_t offset, uint32_t length, int expect = 0) {
    Bytes out(length, 0xAA);
    EXPECT_EQ(Module::read_cb(&module, offset, page, length, out.data()), expect);
    return out;
  }
  int write(uint8_t page, uint8_t offset, Bytes data) {
    return Module::write_cb(&module, offset, page, static_cast<uint32_t>(data.size()), data.data());
  }
  void select(uint8_t table) { ASSERT_EQ(write(1, 127, {table}), 0); }

  Module module;
};

TEST_F(SimModule, PagesMapToA0hA2hAndTheSelectedTable) {
  EXPECT_EQ(read(0, 10, 3), (Bytes{10, 11, 12}));
  EXPECT_EQ(read(1, 4, 2), (Bytes{0x82, 0x82}));
  select(2);
  // Table 2 the way the library reads it (page 4, 128..255), by the low form
  // of the offset, and through page 1; across the boundary page 1 joins the
  // lower half (ending in the select) to the table.
  EXPECT_EQ(read(4, 130, 1)[0], table_byte(2, 130));
  EXPECT_EQ(read(4, 2, 1)[0], table_byte(2, 130));
  EXPECT_EQ(read(1, 126, 3), (Bytes{0x80 + 63, 2, table_byte(2, 128)}));
  // The table comes from the select, not from the page.
  select(1);
  EXPECT_EQ(read(2, 0, 1)[0], table_byte(1, 128));
  EXPECT_EQ(read(5, 200, 1)[0], table_byte(1, 200));
}

TEST_F(SimModule, SelectBeyondTheTablesReadsFfAndIgnoresWrites) {
  select(4);
  const auto before = module.memory();
  EXPECT_EQ(read(3, 130, 2), (Bytes{0xff, 0xff}));
  EXPECT_EQ(write(1, 140, {1, 2, 3}), 0);
  EXPECT_EQ(module.memory().tables, before.tables);
  EXPECT_EQ(read(1, 0, 1)[0], 0x80);
}

TEST_F(SimModule, WritesLandWhereReadsFindThem) {
  EXPECT_EQ(write(0, 20, {0xde, 0xad}), 0);
  EXPECT_EQ(read(0, 19, 4), (Bytes{19, 0xde, 0xad, 22}));
  select(3);
  EXPECT_EQ(write(5, 0, {0x5a}), 0);
  EXPECT_EQ(module.memory().tables[3][0], 0x5a);
  // A write through byte 127 changes the select; the rest of the call still
  // goes to the table in force when it started.
  EXPECT_EQ(write(1, 127, {0, 0x77}), 0);
  EXPECT_EQ(module.table_select(), 0);
  EXPECT_EQ(module.memory().tables[3][0], 0x77);
}

TEST_F(SimModule, RejectsBadCallsWithoutTouchingAnything) {
  const auto before = module.memory();
  EXPECT_EQ(read(0, 250, 7, sfpsim::kRangeError), Bytes(7, 0xAA));
  EXPECT_EQ(read(2, 127, 2, sfpsim::kRangeError), Bytes(2, 0xAA)); // 255 and past
  EXPECT_EQ(read(2, 126, 2).size(), 2u);                           // 254 and 255
  uint8_t byte = 0;
  EXPECT_EQ(Module::read_cb(&module, 0, 0, 0xFFFFFFFFu, &byte), sfpsim::kRangeError);
  EXPECT_EQ(write(0, 255, {1, 2}), sfpsim::kRangeError);
  EXPECT_EQ(Module::read_cb(nullptr, 0, 0, 1, &byte), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::write_cb(&module, 0, 0, 4, nullptr), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::read_cb(&module, 0, 6, 1, &byte), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::write_cb(&module, 0, 0, 0, nullptr), 0);
  EXPECT_EQ(module.memory().a0, before.a0);
  EXPECT_EQ(module.memory().a2_lower, before.a2_lower);
  ASSERT_EQ(module.log().size(), 8u);
  EXPECT_EQ(module.log()[5].status, sfpsim::kInvalidArgument);
  EXPECT_TRUE(module.log()[5].bytes.empty());
}

TEST_F(SimModule, LogsEveryCallWithItsData) {
  select(2);
  read(4, 130, 2);
  uint8_t byte = 0;
  EXPECT_EQ(Module::bitbang_read_cb(&module, 5, 0, 1, &byte), 0);
  auto fields = [](const sfpsim::Access &a) {
    return std::make_tuple(a.bus, a.page, a.offset, a.length, a.bytes, a.status, a.table);
  };
  const auto &log = module.log();
  ASSERT_EQ(log.size(), 3u);
  // The select's own write is logged with the select in force before it.
  EXPECT_EQ(fields(log[0]), fields({Bus::Write, 1, 127, 1, {2}, 0, 0}));
  EXPECT_EQ(fields(log[1]),
            fields({Bus::Read, 4, 130, 2, {table_byte(2, 130), table_byte(2, 131)}, 0, 2}));
  EXPECT_EQ(fields(log[2]), fields({Bus::BitBangRead, 0, 5, 1, {5}, 0, 2}));

  module.set_logging(false);
  read(0, 0, 1);
  EXPECT_EQ(module.log().size(), 3u);
  EXPECT_EQ(module.access_count(), 4u);
  module.clear_log();
  EXPECT_TRUE(module.log().empty());
}

TEST_F(SimModule, NthFaultFailsOneCallAcrossAllCallbacks) {
  module.fail_nth_access(0, 9); // fails nothing
  module.fail_nth_access(3, 5);
  read(0, 0, 1);
  EXPECT_EQ(write(0, 0, {0x11}), 0);
  uint8_t byte = 0;
  EXPECT_EQ(Module::bitbang_read_cb(&module, 0, 0, 1, &byte), 5);
  EXPECT_EQ(write(0, 1, {0x22}), 0);
  EXPECT_EQ(module.log()[2].status, 5);
  EXPECT_TRUE(module.log()[2].bytes.empty());
  EXPECT_EQ(module.memory().a0[1], 0x22);
}

TEST_F(SimModule, FaultAtPlaceRepeatsUntilClearedAndCanHandOutPartialData) {
  module.fail_at(0, 20, 7, 3);
  module.fail_at(1, 0, 8);
  Bytes out = read(0, 20, 6, 7);
  EXPECT_EQ(out, (Bytes{20, 21, 22, 0xAA, 0xAA, 0xAA}));
  EXPECT_EQ(module.log().back().bytes, (Bytes{20, 21, 22}));
  read(0, 20, 1, 7);
  EXPECT_EQ(read(0, 19, 3), (Bytes{19, 20, 21})); // the start offset must match
  EXPECT_EQ(write(1, 0, {0}), 8);
  EXPECT_EQ(module.memory().a2_lower[0], 0x80); // a faulted write changes nothing
  module.clear_faults();
  EXPECT_EQ(read(0, 20, 1), Bytes{20});
}

TEST_F(SimModule, CallerImageAndCreationRecord) {
  select(3); // the image still carries table 0
  const auto image = module.caller_image();
  EXPECT_EQ(image[5], 5);
  EXPECT_EQ(image[256 + 10], 0x85);
  EXPECT_EQ(image[256 + 127], 3);
  EXPECT_EQ(image[384 + 4], table_byte(0, 132));

  const sfp_platform_ops ops = module.platform_ops(2, 7);
  EXPECT_EQ(ops.opaque, &module);
  EXPECT_EQ(std::make_tuple(ops.controller, ops.port, ops.eeprom_len), std::make_tuple(2, 7, 512u));
  EXPECT_EQ(0, std::memcmp(ops.eeprom, image.data(), image.size()));
  EXPECT_EQ(ops.phy_read_cb, nullptr);
  uint8_t byte = 0;
  EXPECT_EQ(ops.read_cb(ops.opaque, 9, 0, 1, &byte), 0);
  EXPECT_EQ(byte, 9);
  EXPECT_EQ(ops.write_cb(ops.opaque, 9, 0, 1, &byte), 0);
  EXPECT_EQ(ops.bitbang_read_cb(ops.opaque, 9, 0, 1, &byte), 0);
  EXPECT_EQ(module.access_count(), 4u);
}

} // namespace
