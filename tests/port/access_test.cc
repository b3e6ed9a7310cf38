// Paged module access: refusals, table select and callback failures, as the
// simulated module and the trace buffers see them.
#include <array>
#include <cstring>

#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfpsim::Bus;
using sfptest::records;
using sfptest::records_of;

class AccessTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10gbase-sr", module_);
    module_->clear_log();
    sfptest::clear_traces();
  }
  void TearDown() override {
    set_select_flags(0, 0);
    PortTest::TearDown();
  }

  // The process-wide flags are taken from a creation; set them directly
  // the way a new creation would.
  static void set_select_flags(uint32_t no_write, uint32_t no_read) {
    sfp_get_ctx()->no_write_page_select = no_write;
    sfp_get_ctx()->no_read_page_select = no_read;
  }

  // Expects exactly one error record, of `msg`, with `text`.
  static void expect_error(const sfpdrv::TraceMsg &msg, const std::string &text) {
    const auto errors = records("sfp_err");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, msg.number);
    EXPECT_EQ(errors[0].text, text);
  }

  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
  std::array<uint8_t, 256> buf_{};
};

using Access = sfp_rc (*)(sfp_port_ctx *, uint32_t, uint32_t, uint32_t, uint8_t *, uint32_t);

struct Refusal {
  uint32_t offset, length, page, direction;
  bool null_buffer;
  const sfpdrv::TraceMsg *paged, *bitbang; // no bit-bang message: the paged path only
  const char *text; // of the paged path, after "Controller 0 Port 0: SFP Access : "
};

// The port has no A2h memory here, so that every request for a page other
// than 0 fails the last check too: the first failing check is the one
// reported, by each path under its own message number.
TEST_F(AccessTest, RefusalsReportTheFirstFailingCheckAndTouchNothing) {
  using namespace sfpdrv::msg;
  const char *boundary = "register address cross upper page boundary\n";
  const Refusal refusals[] = {
      {250, 7, 1, 1, true, &kAccessEmptyParams, &kBbEmptyParams, "Call with empty parameters\n"},
      {250, 7, 1, 1, false, &kCrossBoundary, &kBbCrossBoundary, boundary},
      {200, 100, 6, 1, false, &kCrossBoundary, &kBbCrossBoundary, boundary},
      {0, 0, 0, 1, false, &kCrossBoundary, &kBbCrossBoundary, boundary}, // length 0 wraps
      {0x200, 0xFFFFFE80u, 0, 1, false, &kCrossBoundary, &kBbCrossBoundary,
       boundary}, // the end address wraps below 256
      {128, 1, 6, 1, false, &kPageBeyondTables, &kBbPageBeyondTables,
       "requested PAGE is beyond supported pages [0-3]\n"},
      {0, 1, 1, 1, false, &kPageNotProvided, &kBbPageNotProvided,
       "requested PAGE 1 is beyond supported [half_a0:1 full_a0:1 a2:0 dom:1]\n"},
      {0, 1, 0, 2, false, &kBadDirection, nullptr, "invalid direction 2\n"},
  };
  port_->spaces.a2 = 0;
  for (const Refusal &r : refusals) {
    for (const auto &[access, msg] :
         {std::pair<Access, const sfpdrv::TraceMsg *>{sfp_access, r.paged},
          {sfp_special_bitbang_access, r.bitbang}}) {
      if (msg == nullptr) {
        continue;
      }
      sfptest::clear_traces();
      buf_.fill(0xAA);
      EXPECT_EQ(access(port_, r.offset, r.length, r.page, r.null_buffer ? nullptr : buf_.data(),
                       r.direction),
                SFP_RC_INVALID)
          << r.text;
      const auto errors = records("sfp_err");
      ASSERT_EQ(errors.size(), 1u) << r.text;
      EXPECT_EQ(errors[0].number, msg->number) << r.text << " expected, got " << errors[0].text;
      if (access == sfp_access) {
        EXPECT_EQ(errors[0].text, std::string("Controller 0 Port 0: SFP Access : ") + r.text);
      }
      EXPECT_EQ(buf_[0], 0xAA) << "a refused read leaves the buffer untouched";
    }
  }
  port_->spaces.a2 = 1;
  EXPECT_EQ(sfp_access(nullptr, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", kNullSfpPort).size(), 1u);

  // A port whose callbacks are missing has empty parameters too.
  port_->read_cb = nullptr;
  EXPECT_EQ(sfp_access(port_, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  port_->read_cb = &sfpsim::Module::read_cb;
  port_->write_cb = nullptr;
  EXPECT_EQ(sfp_access(port_, 0, 1, 0, buf_.data(), 0), SFP_RC_INVALID);
  port_->write_cb = &sfpsim::Module::write_cb;
  EXPECT_EQ(records_of("sfp_err", kAccessEmptyParams).size(), 2u);
  EXPECT_TRUE(module_->log().empty());
}

TEST_F(AccessTest, BoundaryAndZeroLengthPassThrough) {
  ASSERT_EQ(sfp_access(port_, 250, 6, 0, buf_.data(), 1), SFP_RC_OK);
  EXPECT_EQ(0, std::memcmp(buf_.data(), &module_->memory().a0[250], 6));
  ASSERT_EQ(sfp_access(port_, 5, 0, 0, buf_.data(), 1), SFP_RC_OK);
  ASSERT_EQ(module_->log().size(), 2u);
  EXPECT_EQ(module_->log()[1].length, 0u);
  EXPECT_EQ(module_->log()[1].offset, 5);
  EXPECT_TRUE(records("sfp_err").empty());
}

TEST_F(AccessTest, A2PagesNeedTheA2Memory) {
  std::unique_ptr<sfpsim::Module> cable;
  sfp_port_ctx *port = create_on("10g-dac-1m", cable);
  cable->clear_log();
  sfptest::clear_traces();
  for (uint32_t page : {1u, 2u, 5u}) {
    EXPECT_EQ(sfp_access(port, 0, 4, page, buf_.data(), 1), SFP_RC_INVALID) << page;
  }
  const auto errors = records_of("sfp_err", sfpdrv::msg::kPageNotProvided);
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[0].text, "Controller 0 Port 0: SFP Access : requested PAGE 1 is beyond "
                            "supported [half_a0:1 full_a0:1 a2:0 dom:0]\n");
  EXPECT_TRUE(cable->log().empty());
  EXPECT_EQ(sfp_access(port, 0, 4, 0, buf_.data(), 1), SFP_RC_OK) << "A0h stays readable";
}

TEST_F(AccessTest, TablePagesWriteTheTableSelectFirst) {
  module_->memory().tables[1][0] = 0x5A;
  ASSERT_EQ(sfp_access(port_, 0, 4, SFP_PAGE_A2_TABLE1, buf_.data(), 1), SFP_RC_OK);
  const auto &log = module_->log();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].bus, Bus::Write);
  EXPECT_EQ(log[0].page, 1);
  EXPECT_EQ(log[0].offset, 127);
  EXPECT_EQ(log[0].bytes, std::vector<uint8_t>{1});
  EXPECT_EQ(log[1].bus, Bus::Read);
  EXPECT_EQ(log[1].page, 3);
  EXPECT_EQ(buf_[0], 0x5A) << "the read is served from table 1";
  EXPECT_EQ(module_->table_select(), 1) << "the select is not restored";
}

TEST_F(AccessTest, LowerHalfOfAnUnknownTablePageStillSelects) {
  // Page 6 below offset 128 passes the table limit and selects table 4;
  // what the callback then makes of page 6 is the platform's business.
  sfp_access(port_, 0, 1, 6, buf_.data(), 1);
  ASSERT_EQ(module_->log().size(), 2u);
  EXPECT_EQ(module_->log()[1].page, 6);
  EXPECT_EQ(module_->log()[0].bytes, std::vector<uint8_t>{4});
}

TEST_F(AccessTest, NoSelectFlagsSuppressTheSelectPerDirection) {
  set_select_flags(0, 1);
  ASSERT_EQ(sfp_access(port_, 0, 2, SFP_PAGE_A2_TABLE1, buf_.data(), 1), SFP_RC_OK);
  ASSERT_EQ(module_->log().size(), 1u);
  EXPECT_EQ(module_->log()[0].bus, Bus::Read);

  module_->clear_log();
  set_select_flags(1, 0);
  uint8_t value = 7;
  ASSERT_EQ(sfp_access(port_, 130, 1, SFP_PAGE_A2_TABLE2, &value, 0), SFP_RC_OK);
  ASSERT_EQ(module_->log().size(), 1u);
  EXPECT_EQ(module_->log()[0].bus, Bus::Write);
  EXPECT_EQ(module_->log()[0].page, 4);

  module_->clear_log();
  ASSERT_EQ(sfp_access(port_, 0, 1, SFP_PAGE_A2_TABLE1, buf_.data(), 1), SFP_RC_OK);
  EXPECT_EQ(module_->log().size(), 2u) << "reads still select with only no-write set";
}

TEST_F(AccessTest, FailedTableSelectStopsBeforeTheTransfer) {
  buf_.fill(0xAA);
  module_->fail_at(1, 127, 0x77);
  EXPECT_EQ(sfp_access(port_, 0, 8, SFP_PAGE_A2_TABLE0, buf_.data(), 1), 0x77u);
  expect_error(sfpdrv::msg::kCannotSetPage, "Controller 0 Port 0: cannot set page. rc: 0x77\n");
  EXPECT_EQ(module_->log().size(), 1u);
  EXPECT_EQ(buf_[0], 0xAA);
}

TEST_F(AccessTest, FailingTransfersKeepTheStatusAndZeroTheUnreadPart) {
  buf_.fill(0xAA);
  module_->fail_nth_access(1, -5, 3);
  EXPECT_EQ(sfp_access(port_, 20, 16, 0, buf_.data(), 1), static_cast<sfp_rc>(-5));
  EXPECT_EQ(0, std::memcmp(buf_.data(), &module_->memory().a0[20], 3));
  for (int i = 3; i < 16; ++i) {
    EXPECT_EQ(buf_[i], 0) << i;
  }
  EXPECT_EQ(buf_[16], 0xAA) << "only the requested length is cleared";
  expect_error(sfpdrv::msg::kAccessError, "Controller 0 Port 0: access error. Reg 0x14 Sz 16 "
                                          "page 0 rw 1 rc: 0xfffffffb\n");

  sfptest::clear_traces();
  module_->fail_at(1, 110, 9);
  uint8_t value = 0x40;
  EXPECT_EQ(sfp_access(port_, 110, 1, 1, &value, 0), 9u);
  expect_error(sfpdrv::msg::kAccessError,
               "Controller 0 Port 0: access error. Reg 0x6e Sz 1 page 1 rw 0 rc: 0x9\n");
}

TEST_F(AccessTest, PortReadAndWriteCheckTheHandle) {
  EXPECT_EQ(sfp_port_read(nullptr, 0, 0, 1, buf_.data()), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_write(nullptr, 0, 0, 1, buf_.data()), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kNullHdl).size(), 2u);

  std::array<uint8_t, 2> pattern{0x12, 0x34};
  ASSERT_EQ(sfp_port_write(port_, 128, SFP_PAGE_A2_TABLE3, 2, pattern.data()), SFP_RC_OK);
  EXPECT_EQ(module_->memory().tables[3][0], 0x12);
  // Argument order: page before length.
  ASSERT_EQ(sfp_port_read(port_, 0, SFP_PAGE_A2_TABLE3, 2, buf_.data()), SFP_RC_OK);
  EXPECT_EQ(buf_[1], 0x34);
}

} // namespace
