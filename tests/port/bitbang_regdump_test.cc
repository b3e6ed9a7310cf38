// Bit-bang reads and the named-register dump.
#include <array>
#include <cstdlib>
#include <sstream>

#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfpsim::Bus;
using sfptest::records_of;

class BitBangTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10g-tunable-dwdm", module_);
    module_->clear_log();
    sfptest::clear_traces();
  }
  void TearDown() override {
    sfp_get_ctx()->no_read_page_select = 0;
    PortTest::TearDown();
  }
  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
  std::array<uint8_t, 256> buf_{};
};

TEST_F(BitBangTest, TableReadSelectsEvenWhenReadSelectIsSwitchedOff) {
  sfp_get_ctx()->no_read_page_select = 1;
  ASSERT_EQ(sfp_special_bitbang_access(port_, 132, 2, SFP_PAGE_A2_TABLE2, buf_.data(), 1),
            SFP_RC_OK);
  const auto &log = module_->log();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].bus, Bus::Write);
  EXPECT_EQ(log[0].offset, 127);
  EXPECT_EQ(log[0].bytes, std::vector<uint8_t>{2});
  EXPECT_EQ(log[1].bus, Bus::BitBangRead);
  EXPECT_EQ(log[1].offset, 132);
  EXPECT_EQ(buf_[0], module_->memory().tables[2][4]);
  EXPECT_EQ(buf_[1], module_->memory().tables[2][5]);
}

TEST_F(BitBangTest, WriteDirectionOnlySelectsTheTable) {
  buf_.fill(0xAA);
  ASSERT_EQ(sfp_special_bitbang_access(port_, 130, 1, SFP_PAGE_A2_TABLE1, buf_.data(), 0),
            SFP_RC_OK);
  ASSERT_EQ(module_->log().size(), 1u);
  EXPECT_EQ(module_->log()[0].bytes, std::vector<uint8_t>{1});
  EXPECT_EQ(buf_[0], 0xAA);
}

TEST_F(BitBangTest, RefusalsAndFailures) {
  EXPECT_EQ(sfp_special_bitbang_access(nullptr, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kBbNullSfpPort).size(), 1u);

  sfp_mem_cb bitbang = port_->bitbang_read_cb;
  port_->bitbang_read_cb = nullptr;
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  port_->bitbang_read_cb = bitbang;
  sfp_mem_cb write = port_->write_cb;
  port_->write_cb = nullptr;
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, SFP_PAGE_A2_TABLE0, buf_.data(), 1),
            SFP_RC_INVALID);
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, SFP_PAGE_A2, buf_.data(), 1), SFP_RC_OK)
      << "the lower pages need no write callback";
  port_->write_cb = write;
  const auto empty = records_of("sfp_err", sfpdrv::msg::kBbEmptyParams);
  ASSERT_EQ(empty.size(), 2u);
  EXPECT_EQ(empty[0].text, "Controller 0 Port 0: SFP BB Access : Call with empty parameters\n");

  // A failed read leaves zeros where the callback wrote nothing.
  module_->clear_log();
  module_->fail_nth_access(2, 3, 1);
  buf_.fill(0xAA);
  EXPECT_EQ(sfp_special_bitbang_access(port_, 140, 4, SFP_PAGE_A2_TABLE0, buf_.data(), 1), 3u);
  EXPECT_EQ(buf_[0], module_->memory().tables[0][12]);
  EXPECT_EQ((std::vector<uint8_t>{buf_[1], buf_[2], buf_[3], buf_[4]}),
            (std::vector<uint8_t>{0, 0, 0, 0xAA}));
  const auto failed = records_of("sfp_err", sfpdrv::msg::kBbAccessError);
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_EQ(failed[0].text,
            "Controller 0 Port 0: access error. Reg 0x8c Sz 4 page 2 rw 1 rc: 0x3\n");

  module_->fail_at(1, 127, 4);
  EXPECT_EQ(sfp_special_bitbang_access(port_, 140, 4, SFP_PAGE_A2_TABLE0, buf_.data(), 1), 4u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kBbCannotSetPage).size(), 1u);
}

// The dump's lines after its heading.
std::vector<std::string> dump_lines(const char *text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("0x", 0) == 0) {
      lines.push_back(line);
    }
  }
  return lines;
}

TEST_F(BitBangTest, RegisterDumpNamesFifteenRegistersWithTheirValues) {
  char *text = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(sfp_port_read_reg(port_, &text, &size), SFP_RC_OK);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(size, SFP_REG_DUMP_SIZE);
  EXPECT_EQ(std::string(text).rfind("\nOPTICS registers:\n", 0), 0u);
  const auto lines = dump_lines(text);
  ASSERT_EQ(lines.size(), 15u);
  char expected[80];
  std::snprintf(expected, sizeof expected, "0x0000 \t  %-30s \t : 0x%08X", "SFP_Ident",
                module_->memory().a0[0]);
  EXPECT_EQ(lines[0], expected);
  std::snprintf(expected, sizeof expected, "0x0079 \t  %-30s \t : 0x%08X", "ADP_CTLE_REG",
                module_->memory().a0[121]);
  EXPECT_EQ(lines[14], expected);
  std::free(text);
  // Every register is one single-byte read of A0h.
  ASSERT_EQ(module_->log().size(), 15u);
  for (const auto &access : module_->log()) {
    EXPECT_EQ(access.page, 0);
    EXPECT_EQ(access.length, 1u);
  }
}

TEST_F(BitBangTest, RegisterDumpGoesOnPastFailedReads) {
  module_->fail_at(0, 0, 6);
  module_->fail_at(0, 121, 8);
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(sfp_reg_access(port_, &text, &size, 1), 8u) << "the last row's status";
  const auto lines = dump_lines(text);
  ASSERT_EQ(lines.size(), 15u);
  EXPECT_NE(lines[0].find(": 0x00000000"), std::string::npos);
  const auto errors = records_of("sfp_err", sfpdrv::msg::kRegReadError);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[1].text,
            "Controller 0 Port 0: access error. Reg 0x79 Sz 1 page 0 rw 1 rc: 0x8\n");
  std::free(text);

  // Only the last row decides the status.
  module_->clear_faults();
  module_->fail_at(0, 0, 6);
  EXPECT_EQ(sfp_reg_access(port_, &text, &size, 1), SFP_RC_OK);
  std::free(text);
}

TEST_F(BitBangTest, RegisterDumpRefusals) {
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(sfp_port_read_reg(nullptr, &text, &size), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(nullptr, &text, &size, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(port_, nullptr, &size, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(port_, &text, nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kRegEmptyParams).size(), 2u);
  EXPECT_TRUE(module_->log().empty());
}

} // namespace
