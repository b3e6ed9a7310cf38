// The module EEPROM file and ethtool backends: layout, refusals and the
// netlink-to-ioctl fallback, through the fake kernel and the real one.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "backends/fake_kernel.h"
#include "sfpdrv/linux.h"

namespace {

using sfpdrv::fake::FakeKernel;
using sfpdrv::fake::Netlink;
using sfpdrv::fake::Op;
using sfpdrv::fake::Transfer;

bool only(const std::vector<Transfer> &log, Op op) {
  return !log.empty() &&
         std::all_of(log.begin(), log.end(), [op](const Transfer &t) { return t.op == op; });
}

class BackendTest : public ::testing::Test {
protected:
  BackendTest() : module_(*sfpsim::find_profile("25gbase-sr")), kernel_(module_) {
    // Table 1 differs from table 0, so that a wrong table shows.
    for (size_t i = 0; i < 128; ++i) {
      module_.memory().tables[1][i] = static_cast<uint8_t>(0x80 + i);
    }
  }
  ~BackendTest() override { sfp_linux_close(source_); }

  sfp_platform_ops fill() {
    sfp_platform_ops ops{};
    EXPECT_EQ(sfp_linux_fill_ops(source_, &ops), 0u);
    kernel_.clear_log();
    return ops;
  }

  sfpsim::Module module_;
  FakeKernel kernel_;
  sfp_linux_source *source_ = nullptr;
};

TEST_F(BackendTest, EepromFileReadsTheLinearLayoutAndNeverSelectsATable) {
  ASSERT_EQ(sfp_linux_open_eeprom_file(kernel_.eeprom_path.c_str(), &source_), 0u);
  sfp_platform_ops ops{};
  ASSERT_EQ(sfp_linux_fill_ops(source_, &ops), 0u);
  EXPECT_EQ(ops.no_read_page_select, 1u);
  EXPECT_EQ(ops.no_write_page_select, 1u);
  const auto image = module_.caller_image();
  EXPECT_TRUE(std::equal(image.begin(), image.end(), ops.eeprom));
  ASSERT_EQ(kernel_.log().size(), 2u);
  EXPECT_EQ(kernel_.log()[0].offset, 0u);
  EXPECT_EQ(kernel_.log()[1].offset, 256u);
  EXPECT_EQ(kernel_.log()[1].length, 256u);

  kernel_.clear_log();
  std::vector<uint8_t> table(128);
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2_TABLE1, 128, table.data()), 0);
  EXPECT_TRUE(std::equal(table.begin(), table.end(), module_.memory().tables[1].begin()));
  ASSERT_EQ(kernel_.log().size(), 1u);
  EXPECT_EQ(kernel_.log()[0].offset, 384u + 128u);
  ASSERT_EQ(ops.read_cb(ops.opaque, 200, SFP_PAGE_A2_TABLE3, 8, table.data()), 0);
  EXPECT_EQ(kernel_.log()[1].offset, 384u + 3 * 128u + 72u);

  uint8_t value = 0x55;
  ASSERT_EQ(ops.write_cb(ops.opaque, 130, SFP_PAGE_A2_TABLE2, 1, &value), 0);
  EXPECT_EQ(kernel_.log().back().op, Op::FileWrite);
  EXPECT_EQ(kernel_.log().back().offset, 384u + 2 * 128u + 2u);
  EXPECT_EQ(module_.memory().tables[2][2], 0x55);

  kernel_.module_present = false;
  EXPECT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A0, 1, &value), ENXIO);
}

TEST_F(BackendTest, AReadOnlyEepromFileRefusesWrites) {
  kernel_.eeprom_writable = false;
  ASSERT_EQ(sfp_linux_open_eeprom_file(kernel_.eeprom_path.c_str(), &source_), 0u);
  EXPECT_EQ(sfp_linux_read_only(source_), 1);
  sfp_platform_ops ops = fill();
  uint8_t value = 1;
  EXPECT_EQ(ops.write_cb(ops.opaque, 110, SFP_PAGE_A2, 1, &value), EROFS);
  EXPECT_TRUE(kernel_.log().empty());
}

TEST_F(BackendTest, EthtoolReadsPagesOverNetlinkAndRefusesEveryWrite) {
  ASSERT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), 0u);
  EXPECT_EQ(sfp_linux_read_only(source_), 1);
  sfp_platform_ops ops{};
  ASSERT_EQ(sfp_linux_fill_ops(source_, &ops), 0u);
  const auto image = module_.caller_image();
  EXPECT_TRUE(std::equal(image.begin(), image.end(), ops.eeprom));
  EXPECT_EQ(ops.no_read_page_select, 1u);
  kernel_.clear_log();

  std::vector<uint8_t> table(128);
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2_TABLE1, 128, table.data()), 0);
  EXPECT_TRUE(std::equal(table.begin(), table.end(), module_.memory().tables[1].begin()));
  ASSERT_EQ(kernel_.log().size(), 1u);
  EXPECT_EQ(kernel_.log()[0].op, Op::NetlinkEeprom);
  EXPECT_EQ(kernel_.log()[0].address, 0x51);
  EXPECT_EQ(kernel_.log()[0].page, 1);
  EXPECT_EQ(kernel_.log()[0].offset, 128u);

  const sfpsim::Memory before = module_.memory();
  uint8_t value = 0x40;
  kernel_.clear_log();
  EXPECT_EQ(ops.write_cb(ops.opaque, 110, SFP_PAGE_A2, 1, &value), EROFS);
  EXPECT_EQ(ops.write_cb(ops.opaque, 0, SFP_PAGE_A0, 1, &value), EROFS);
  EXPECT_TRUE(kernel_.log().empty());
  EXPECT_EQ(module_.memory(), before);
  EXPECT_STREQ(sfp_linux_status_text(EROFS), "read-only source");
}

TEST_F(BackendTest, EthtoolFallsBackToTheIoctlWhenNetlinkCannotServe) {
  kernel_.netlink = Netlink::Absent;
  ASSERT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), 0u);
  sfp_platform_ops ops = fill();
  std::vector<uint8_t> a0(256);
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A0, 256, a0.data()), 0);
  EXPECT_TRUE(only(kernel_.log(), Op::EthtoolEeprom));
  EXPECT_TRUE(std::equal(a0.begin(), a0.end(), module_.memory().a0.begin()));
  sfp_linux_close(source_);

  // The family is there but the driver reads no pages: one try, then the
  // ioctl for good.
  kernel_.netlink = Netlink::NoModuleRead;
  ASSERT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), 0u);
  ops = fill();
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A0, 256, a0.data()), 0);
  EXPECT_TRUE(only(kernel_.log(), Op::EthtoolEeprom));
  EXPECT_TRUE(std::equal(a0.begin(), a0.end(), module_.memory().a0.begin()));
  sfp_linux_close(source_);

  // Page 0 over netlink, a table beyond 0 refused: the ioctl cannot name it.
  kernel_.netlink = Netlink::PageZeroOnly;
  ASSERT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), 0u);
  ops = fill();
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A0, 128, a0.data()), 0);
  EXPECT_TRUE(only(kernel_.log(), Op::NetlinkEeprom));
  EXPECT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2_TABLE1, 128, a0.data()), EOPNOTSUPP);
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2_TABLE0, 128, a0.data()), 0);
  EXPECT_TRUE(std::equal(a0.begin(), a0.begin() + 128, module_.memory().tables[0].begin()));
}

TEST_F(BackendTest, EthtoolTellsA256ByteModuleFromA512ByteOne) {
  kernel_.ethtool_eeprom_len = 256;
  kernel_.netlink = Netlink::Absent;
  ASSERT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), 0u);
  sfp_platform_ops ops{};
  ASSERT_EQ(sfp_linux_fill_ops(source_, &ops), 0u);
  EXPECT_TRUE(std::equal(module_.memory().a0.begin(), module_.memory().a0.end(), ops.eeprom));
  EXPECT_TRUE(std::all_of(ops.eeprom + 256, ops.eeprom + 512, [](uint8_t b) { return b == 0; }));
  for (const Transfer &t : kernel_.log()) {
    EXPECT_LE(t.offset + t.length, 256u);
  }
  uint8_t byte = 0;
  EXPECT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2, 1, &byte), EOPNOTSUPP);
}

TEST_F(BackendTest, EthtoolOpenFailsClearlyWithoutAModuleEeprom) {
  EXPECT_EQ(sfp_linux_open_ethtool("fake1", &source_), static_cast<sfp_rc>(ENODEV));
  kernel_.ethtool_eeprom_len = 0;
  EXPECT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_),
            static_cast<sfp_rc>(EOPNOTSUPP));
  kernel_.ethtool_eeprom_len = 512;
  kernel_.module_present = false;
  EXPECT_EQ(sfp_linux_open_ethtool(kernel_.ifname.c_str(), &source_), static_cast<sfp_rc>(ENXIO));
  EXPECT_EQ(source_, nullptr);
}

// --- the real kernel --------------------------------------------------------

TEST(RealKernel, EthtoolOnLoopbackFailsWithAWordedStatus) {
  sfp_linux_source *source = nullptr;
  const sfp_rc rc = sfp_linux_open_ethtool("lo", &source);
  EXPECT_NE(rc, 0u);
  EXPECT_EQ(source, nullptr);
  EXPECT_NE(sfp_linux_status_text(rc), nullptr) << "status " << rc;
  EXPECT_EQ(sfp_linux_open_ethtool("nosuchif0", &source), static_cast<sfp_rc>(ENODEV));
}

TEST(RealKernel, AMissingEepromFileFailsAndARegularFileLaidOutLikeOneReads) {
  sfp_linux_source *source = nullptr;
  EXPECT_EQ(sfp_linux_open_eeprom_file("/nonexistent/sfp0/eeprom", &source),
            static_cast<sfp_rc>(ENOENT));

  sfpsim::Module module(*sfpsim::find_profile("10g-tunable-dwdm"));
  const sfpsim::Memory &m = module.memory();
  std::vector<uint8_t> file(m.a0.begin(), m.a0.end());
  file.insert(file.end(), m.a2_lower.begin(), m.a2_lower.end());
  for (const auto &table : m.tables) {
    file.insert(file.end(), table.begin(), table.end());
  }
  char path[] = "/tmp/sfpdrv-eeprom-XXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(write(fd, file.data(), file.size()), static_cast<ssize_t>(file.size()));
  close(fd);

  ASSERT_EQ(sfp_linux_open_eeprom_file(path, &source), 0u);
  sfp_platform_ops ops{};
  ASSERT_EQ(sfp_linux_fill_ops(source, &ops), 0u);
  const auto image = module.caller_image();
  EXPECT_TRUE(std::equal(image.begin(), image.end(), ops.eeprom));
  std::vector<uint8_t> table(128);
  ASSERT_EQ(ops.read_cb(ops.opaque, 0, SFP_PAGE_A2_TABLE2, 128, table.data()), 0);
  EXPECT_TRUE(std::equal(table.begin(), table.end(), m.tables[2].begin()));
  sfp_linux_close(source);

  // A file that ends early gives a short read, not stale bytes.
  ASSERT_EQ(truncate(path, 300), 0);
  ASSERT_EQ(sfp_linux_open_eeprom_file(path, &source), 0u);
  EXPECT_EQ(ops.read_cb(source, 0, SFP_PAGE_A2, 128, table.data()), ENODATA);
  sfp_linux_close(source);
  unlink(path);
}

} // namespace
