// The i2c-dev backend's transfers, as the fake kernel sees them.
#include <gtest/gtest.h>
#include <linux/i2c.h>

#include <cerrno>
#include <vector>

#include "backends/fake_kernel.h"
#include "sfpdrv/linux.h"

namespace {

using sfpdrv::fake::FakeKernel;
using sfpdrv::fake::Op;
using sfpdrv::fake::Transfer;

sfp_linux_i2c_options opts(uint32_t limit, uint32_t retries = 0, uint32_t force = 0) {
  return {limit, retries, force, 0};
}

std::vector<Transfer> of(const std::vector<Transfer> &log, Op op) {
  std::vector<Transfer> out;
  for (const Transfer &t : log) {
    if (t.op == op) {
      out.push_back(t);
    }
  }
  return out;
}

class I2cTest : public ::testing::Test {
protected:
  I2cTest() : module_(*sfpsim::find_profile("25gbase-sr")), kernel_(module_) {}
  ~I2cTest() override { sfp_linux_close(source_); }

  // Opens the adapter and fills ops_ (reading the module once).
  sfp_rc open(sfp_linux_i2c_options options = {}) {
    const sfp_rc rc = sfp_linux_open_i2c(kernel_.i2c_device.c_str(), &options, &source_);
    if (rc == 0) {
      ops_ = sfp_platform_ops{};
      sfp_linux_fill_ops(source_, &ops_);
    }
    return rc;
  }
  int read(uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
    kernel_.clear_log();
    return ops_.read_cb(ops_.opaque, offset, page, length, buffer);
  }

  sfpsim::Module module_;
  FakeKernel kernel_;
  sfp_linux_source *source_ = nullptr;
  sfp_platform_ops ops_{};
};

// Every read is split at the limit and at the half boundary, goes to the
// right address and brings the module's bytes.
class BlockLimit : public I2cTest, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(BlockLimit, ReadsSplitAtTheLimitAndNeverCrossAHalf) {
  const uint32_t limit = GetParam();
  ASSERT_EQ(open(opts(limit)), 0u);
  std::vector<uint8_t> a0(256);
  ASSERT_EQ(read(0, SFP_PAGE_A0, 256, a0.data()), 0);
  EXPECT_TRUE(std::equal(a0.begin(), a0.end(), module_.memory().a0.begin()));
  uint32_t next = 0;
  for (const Transfer &t : kernel_.log()) {
    ASSERT_EQ(t.op, Op::I2cRead);
    EXPECT_EQ(t.address, 0x50);
    EXPECT_EQ(t.offset, next);
    EXPECT_LE(t.length, limit);
    EXPECT_LE(t.offset % 128 + t.length, 128u);
    next += t.length;
  }
  EXPECT_EQ(next, 256u);
  EXPECT_EQ(kernel_.log().size(), 2 * ((128 + limit - 1) / limit));

  // An A2h read across the middle: two halves at 0x51.
  std::vector<uint8_t> a2(60);
  ASSERT_EQ(read(100, SFP_PAGE_A2, 60, a2.data()), 0);
  EXPECT_EQ(kernel_.log().front().address, 0x51);
  for (const Transfer &t : kernel_.log()) {
    EXPECT_LE(t.offset % 128 + t.length, 128u);
  }
  EXPECT_EQ(a2[0], module_.memory().a2_lower[100]);
  EXPECT_EQ(a2[59], module_.memory().tables[module_.table_select()][159 - 128]);
}

INSTANTIATE_TEST_SUITE_P(Limits, BlockLimit, ::testing::Values(1u, 16u, 32u, 128u));

TEST_F(I2cTest, SmbusOnlyAdaptersFallBackToBlockThenByteReads) {
  kernel_.i2c_funcs = I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_BYTE_DATA;
  ASSERT_EQ(open(opts(128)), 0u);
  std::vector<uint8_t> a0(256);
  ASSERT_EQ(read(0, SFP_PAGE_A0, 256, a0.data()), 0);
  EXPECT_TRUE(std::equal(a0.begin(), a0.end(), module_.memory().a0.begin()));
  EXPECT_EQ(of(kernel_.log(), Op::SmbusBlockRead).size(), 8u); // 32 bytes at most each
  EXPECT_TRUE(of(kernel_.log(), Op::I2cRead).empty());
  sfp_linux_close(source_);

  kernel_.i2c_funcs = I2C_FUNC_SMBUS_BYTE_DATA;
  ASSERT_EQ(open(), 0u);
  ASSERT_EQ(read(0, SFP_PAGE_A0, 256, a0.data()), 0);
  EXPECT_TRUE(std::equal(a0.begin(), a0.end(), module_.memory().a0.begin()));
  EXPECT_EQ(of(kernel_.log(), Op::SmbusByteRead).size(), 256u);
  sfp_linux_close(source_);

  kernel_.i2c_funcs = 0;
  EXPECT_EQ(open(), static_cast<sfp_rc>(EOPNOTSUPP));
}

TEST_F(I2cTest, WritesGoInEightBytePagesWithTheWriteCycleWaitAfterEach) {
  ASSERT_EQ(open(), 0u);
  kernel_.clear_log();
  std::vector<uint8_t> bytes(20);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(0xA0 + i);
  }
  ASSERT_EQ(ops_.write_cb(ops_.opaque, 5, SFP_PAGE_A0, 20, bytes.data()), 0);
  const std::vector<std::pair<uint32_t, uint32_t>> pieces{{5, 3}, {8, 8}, {16, 8}, {24, 1}};
  ASSERT_EQ(kernel_.log().size(), 2 * pieces.size());
  for (size_t i = 0; i < pieces.size(); ++i) {
    const Transfer &write = kernel_.log()[2 * i];
    const Transfer &wait = kernel_.log()[2 * i + 1];
    EXPECT_EQ(write.op, Op::I2cWrite);
    EXPECT_EQ(write.address, 0x50);
    EXPECT_EQ(write.offset, pieces[i].first);
    EXPECT_EQ(write.length, pieces[i].second);
    EXPECT_EQ(wait.op, Op::Wait);
    EXPECT_EQ(wait.length, SFP_LINUX_WRITE_CYCLE_US);
  }
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), module_.memory().a0.begin() + 5));
}

TEST_F(I2cTest, ErrnoComesBackUnchangedAndNoAcknowledgeIsToldApart) {
  ASSERT_EQ(open(), 0u);
  uint8_t byte = 0;
  kernel_.fail_next(EREMOTEIO);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), EREMOTEIO);
  kernel_.fail_next(EIO);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), EIO);
  EXPECT_STRNE(sfp_linux_status_text(ENXIO), sfp_linux_status_text(EIO));
  EXPECT_STREQ(sfp_linux_status_text(ENXIO), sfp_linux_status_text(EREMOTEIO));
  EXPECT_NE(std::string(sfp_linux_status_text(ENXIO)).find("no acknowledge"), std::string::npos);
  EXPECT_EQ(sfp_linux_status_text(SFP_RC_MODULE_COND), nullptr);

  kernel_.module_present = false;
  sfp_platform_ops ops{};
  EXPECT_EQ(sfp_linux_fill_ops(source_, &ops), static_cast<sfp_rc>(ENXIO));
  EXPECT_EQ(ops.eeprom[0], 0);
}

TEST_F(I2cTest, TransientErrorsAreRetriedOnlyWhenAskedAndOnlyAFewTimes) {
  uint8_t byte = 0;
  ASSERT_EQ(open(), 0u);
  kernel_.fail_next(EAGAIN);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), EAGAIN);
  EXPECT_EQ(kernel_.log().size(), 1u);
  sfp_linux_close(source_);

  ASSERT_EQ(open(opts(0, 2)), 0u);
  kernel_.fail_next(ETIMEDOUT, 2);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), 0);
  EXPECT_EQ(kernel_.log().size(), 3u);
  EXPECT_EQ(byte, module_.memory().a0[0]);
  kernel_.fail_next(EAGAIN, 10);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), EAGAIN);
  EXPECT_EQ(kernel_.log().size(), 3u);
  kernel_.fail_next(EIO, 10);
  EXPECT_EQ(read(0, SFP_PAGE_A0, 1, &byte), EIO);
  EXPECT_EQ(kernel_.log().size(), 1u);
  sfp_linux_close(source_);
  source_ = nullptr;

  EXPECT_EQ(open(opts(0, SFP_LINUX_MAX_RETRIES + 1)), static_cast<sfp_rc>(EINVAL));
  EXPECT_EQ(open(opts(129)), static_cast<sfp_rc>(EINVAL));
}

TEST_F(I2cTest, ABoundKernelDriverBlocksTheOpenUnlessForced) {
  kernel_.i2c_device = "/dev/i2c-7";
  kernel_.bound_driver = "optic-eeprom";
  std::array<char, 32> name{};
  ASSERT_EQ(sfp_linux_i2c_bound_driver("/dev/i2c-7", name.data(), name.size()), 0u);
  EXPECT_STREQ(name.data(), "optic-eeprom");
  EXPECT_EQ(open(), static_cast<sfp_rc>(EBUSY));
  EXPECT_EQ(source_, nullptr);

  kernel_.i2c_funcs = I2C_FUNC_SMBUS_I2C_BLOCK;
  ASSERT_EQ(open(opts(0, 0, 1)), 0u);
  uint8_t byte = 0;
  EXPECT_EQ(read(3, SFP_PAGE_A0, 1, &byte), 0);
  EXPECT_EQ(byte, module_.memory().a0[3]);
  EXPECT_EQ(sfp_linux_i2c_bound_driver("eth0", name.data(), name.size()),
            static_cast<sfp_rc>(EINVAL));
}

TEST(I2cRealKernel, AMissingAdapterFailsClearly) {
  sfp_linux_source *source = nullptr;
  const sfp_rc rc = sfp_linux_open_i2c("/dev/i2c-99", nullptr, &source);
  EXPECT_EQ(rc, static_cast<sfp_rc>(ENOENT));
  EXPECT_EQ(source, nullptr);
  EXPECT_NE(sfp_linux_status_text(rc), nullptr);
}

} // namespace
