// Paged and bit-bang module access and the register dump: refusals, table
// select and callback failures, as the simulated module and the traces see
// them.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfptest::bus;
using sfptest::records;
using sfptest::records_of;
namespace msg = sfpdrv::msg;

using Access = sfp_rc (*)(sfp_port_ctx *, uint32_t, uint32_t, uint32_t, uint8_t *, uint32_t);

class AccessTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10g-tunable-dwdm", module_);
    buf_.fill(0xAA);
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

  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
  std::array<uint8_t, 256> buf_{};
};

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
  const char *boundary = "register address cross upper page boundary\n";
  const Refusal refusals[] = {
      {250, 7, 1, 1, true, &msg::kAccessEmptyParams, &msg::kBbEmptyParams,
       "Call with empty parameters\n"},
      {250, 7, 1, 1, false, &msg::kCrossBoundary, &msg::kBbCrossBoundary, boundary},
      {200, 100, 6, 1, false, &msg::kCrossBoundary, &msg::kBbCrossBoundary, boundary},
      {0, 0, 0, 1, false, &msg::kCrossBoundary, &msg::kBbCrossBoundary, boundary}, // wraps
      {0x200, 0xFFFFFE80u, 0, 1, false, &msg::kCrossBoundary, &msg::kBbCrossBoundary,
       boundary}, // the end address wraps below 256
      {128, 1, 6, 1, false, &msg::kPageBeyondTables, &msg::kBbPageBeyondTables,
       "requested PAGE is beyond supported pages [0-3]\n"},
      {0, 1, 1, 1, false, &msg::kPageNotProvided, &msg::kBbPageNotProvided,
       "requested PAGE 1 is beyond supported [half_a0:1 full_a0:1 a2:0 dom:1]\n"},
      {0, 1, 0, 2, false, &msg::kBadDirection, nullptr, "invalid direction 2\n"},
  };
  port_->spaces.a2 = 0;
  for (const Refusal &r : refusals) {
    for (const auto &[access, message] :
         {std::pair<Access, const sfpdrv::TraceMsg *>{sfp_access, r.paged},
          {sfp_special_bitbang_access, r.bitbang}}) {
      if (message == nullptr) {
        continue;
      }
      sfptest::clear_traces();
      EXPECT_EQ(access(port_, r.offset, r.length, r.page, r.null_buffer ? nullptr : buf_.data(),
                       r.direction),
                SFP_RC_INVALID)
          << r.text;
      const auto errors = records("sfp_err");
      ASSERT_EQ(errors.size(), 1u) << r.text;
      EXPECT_EQ(errors[0].number, message->number) << r.text << " expected, got " << errors[0].text;
      if (access == sfp_access) {
        EXPECT_EQ(errors[0].text, std::string("Controller 0 Port 0: SFP Access : ") + r.text);
      }
    }
  }
  port_->spaces.a2 = 1;
  EXPECT_EQ(sfp_access(nullptr, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_special_bitbang_access(nullptr, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", msg::kNullSfpPort).size(), 1u);
  EXPECT_EQ(records_of("sfp_err", msg::kBbNullSfpPort).size(), 1u);
  // Missing callbacks are empty parameters too; only a table page needs
  // the write callback on the bit-bang path.
  sfptest::clear_traces();
  port_->read_cb = nullptr;
  EXPECT_EQ(sfp_access(port_, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  port_->read_cb = &sfpsim::Module::read_cb;
  port_->write_cb = nullptr;
  EXPECT_EQ(sfp_access(port_, 0, 1, 0, buf_.data(), 0), SFP_RC_INVALID);
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, SFP_PAGE_A2_TABLE0, buf_.data(), 1),
            SFP_RC_INVALID);
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, SFP_PAGE_A2, buf_.data(), 1), SFP_RC_OK);
  port_->write_cb = &sfpsim::Module::write_cb;
  port_->bitbang_read_cb = nullptr;
  EXPECT_EQ(sfp_special_bitbang_access(port_, 0, 1, 0, buf_.data(), 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", msg::kAccessEmptyParams).size(), 2u);
  EXPECT_EQ(records_of("sfp_err", msg::kBbEmptyParams).at(0).text,
            "Controller 0 Port 0: SFP BB Access : Call with empty parameters\n");
  EXPECT_EQ(records_of("sfp_err", msg::kBbEmptyParams).size(), 2u);
  EXPECT_EQ(bus(*module_), "b1.0") << "only the lower-page bit-bang read went out";
  EXPECT_EQ(buf_[1], 0xAA) << "a refused read leaves the buffer untouched";
}

// A table page's transfer follows the write of its table number to A2h byte
// 127, unless the flag of the direction suppresses it (the bit-bang path
// always selects); transfers up to the page end pass.
TEST_F(AccessTest, TablePagesSelectTheirTableUnlessTheDirectionSuppressesIt) {
  constexpr uint32_t kTable1 = SFP_PAGE_A2_TABLE1;
  constexpr uint32_t kTable2 = SFP_PAGE_A2_TABLE2;
  const struct {
    Access access;
    uint32_t offset, length, page, direction, no_write, no_read;
    const char *bus;
  } cases[] = {
      {sfp_access, 250, 6, 0, 1, 0, 0, "r0.250+6"},
      {sfp_access, 5, 0, 0, 1, 0, 0, "r0.5+0"},
      {sfp_access, 0, 4, kTable1, 1, 0, 0, "w1.127=01 r3.0+4"},
      {sfp_access, 0, 1, 6, 1, 0, 0, "w1.127=04 r6.0!"}, // passes the table limit: the module
                                                         // refuses the page
      {sfp_access, 0, 4, kTable1, 1, 0, 1, "r3.0+4"},
      {sfp_access, 0, 4, kTable1, 1, 1, 0, "w1.127=01 r3.0+4"},
      {sfp_access, 130, 1, kTable2, 0, 1, 0, "w4.130=aa"},
      {sfp_access, 130, 1, kTable2, 0, 0, 1, "w1.127=02 w4.130=aa"},
      {sfp_special_bitbang_access, 132, 2, kTable2, 1, 0, 1, "w1.127=02 b4.132+2"},
      {sfp_special_bitbang_access, 130, 1, kTable1, 0, 0, 0, "w1.127=01"}, // selects only
  };
  for (const auto &c : cases) {
    module_->clear_log();
    set_select_flags(c.no_write, c.no_read);
    buf_.fill(0xAA);
    const sfp_rc rc = c.access(port_, c.offset, c.length, c.page, buf_.data(), c.direction);
    EXPECT_EQ(rc, c.page == 6 ? static_cast<sfp_rc>(sfpsim::kInvalidArgument) : SFP_RC_OK);
    EXPECT_EQ(bus(*module_), c.bus);
    const sfpsim::Access &last = module_->log().back();
    if (rc == SFP_RC_OK && c.direction == SFP_ACCESS_READ && last.bus != sfpsim::Bus::Write) {
      EXPECT_EQ(std::vector<uint8_t>(buf_.begin(), buf_.begin() + c.length), last.bytes) << c.bus;
    }
  }
  EXPECT_EQ(buf_[0], 0xAA) << "a bit-bang write reads nothing";
  EXPECT_EQ(module_->table_select(), 1) << "the select is not restored";
}

// A failed call returns its status with its own record; a failed select
// stops the transfer; a failed read leaves zeros where nothing came.
TEST_F(AccessTest, FailuresKeepTheStatusAndZeroTheUnreadPart) {
  const struct {
    Access access;
    uint32_t offset, length, page, direction;
    uint64_t failing_call;
    int rc;
    uint32_t handed; // bytes the failing read hands out
    const sfpdrv::TraceMsg &message;
    const char *text; // after "Controller 0 Port 0: "
  } cases[] = {
      {sfp_access, 20, 16, 0, 1, 1, -5, 3, msg::kAccessError,
       "access error. Reg 0x14 Sz 16 page 0 rw 1 rc: 0xfffffffb\n"},
      {sfp_access, 110, 1, 1, 0, 1, 9, 0, msg::kAccessError,
       "access error. Reg 0x6e Sz 1 page 1 rw 0 rc: 0x9\n"},
      {sfp_access, 0, 8, SFP_PAGE_A2_TABLE0, 1, 1, 0x77, 0, msg::kCannotSetPage,
       "cannot set page. rc: 0x77\n"},
      {sfp_special_bitbang_access, 140, 4, SFP_PAGE_A2_TABLE0, 1, 2, 3, 1, msg::kBbAccessError,
       "access error. Reg 0x8c Sz 4 page 2 rw 1 rc: 0x3\n"},
      {sfp_special_bitbang_access, 140, 4, SFP_PAGE_A2_TABLE0, 1, 1, 4, 0, msg::kBbCannotSetPage,
       "cannot set page. rc: 0x4\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text);
    module_->clear_log();
    sfptest::clear_traces();
    buf_.fill(0xAA);
    module_->fail_nth_access(c.failing_call, c.rc, c.handed);
    EXPECT_EQ(c.access(port_, c.offset, c.length, c.page, buf_.data(), c.direction),
              static_cast<sfp_rc>(c.rc));
    ASSERT_EQ(module_->log().size(), c.failing_call) << "nothing after the failure";
    const auto errors = records("sfp_err");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, c.message.number);
    EXPECT_EQ(errors[0].text, std::string("Controller 0 Port 0: ") + c.text);
    const bool read_out = module_->log().back().bus != sfpsim::Bus::Write;
    if (read_out) {
      const std::vector<uint8_t> &handed = module_->log().back().bytes;
      ASSERT_EQ(handed.size(), c.handed);
      EXPECT_EQ(std::vector<uint8_t>(buf_.begin(), buf_.begin() + c.handed), handed);
      EXPECT_EQ(std::count(&buf_[c.handed], &buf_[c.length], 0), long{c.length - c.handed});
    }
    EXPECT_EQ(buf_[read_out ? c.length : 0], 0xAA) << "only the requested length is cleared";
  }
}

TEST_F(AccessTest, PortReadAndWriteCheckTheHandle) {
  EXPECT_EQ(sfp_port_read(nullptr, 0, 0, 1, buf_.data()), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_write(nullptr, 0, 0, 1, buf_.data()), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", msg::kNullHdl).size(), 2u);
  std::array<uint8_t, 2> pattern{0x12, 0x34};
  ASSERT_EQ(sfp_port_write(port_, 128, SFP_PAGE_A2_TABLE3, 2, pattern.data()), SFP_RC_OK);
  ASSERT_EQ(sfp_port_read(port_, 0, SFP_PAGE_A2_TABLE3, 2, buf_.data()), SFP_RC_OK);
  EXPECT_EQ(bus(*module_), "w1.127=03 w5.128+2=12 w1.127=03 r5.0+2") << "page before length";
  EXPECT_EQ(buf_[1], 0x34);
}

// A dump line: the register's A0h offset, its name and its value.
std::string dump_line(uint32_t offset, const char *name, uint8_t value) {
  char line[80];
  std::snprintf(line, sizeof line, "0x%04X \t  %-30s \t : 0x%08X\n", offset, name, value);
  return line;
}

// Fifteen named registers of A0h, one single-byte read each; a failed read
// shows as 0 and the dump goes on, and the last read's status is returned.
TEST_F(AccessTest, RegisterDumpReadsEveryRegisterAndGoesOnPastFailures) {
  for (const int last_rc : {0, 8}) {
    module_->clear_faults();
    module_->fail_at(0, 0, 6, 1); // hands out the byte, but fails
    if (last_rc != 0) {
      module_->fail_at(0, 121, last_rc);
    }
    module_->clear_log();
    sfptest::clear_traces();
    char *text = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(sfp_port_read_reg(port_, &text, &size), static_cast<sfp_rc>(last_rc));
    EXPECT_EQ(size, SFP_REG_DUMP_SIZE);
    const std::string dump(text);
    std::free(text);
    EXPECT_TRUE(dump.starts_with("\nOPTICS registers:\n" + dump_line(0, "SFP_Ident", 0)));
    const uint8_t ctle = last_rc != 0 ? 0 : module_->memory().a0[121];
    EXPECT_TRUE(dump.ends_with(dump_line(121, "ADP_CTLE_REG", ctle))) << dump;
    EXPECT_EQ(std::count_if(module_->log().begin(), module_->log().end(),
                            [](const auto &a) { return a.page == 0 && a.length == 1; }),
              15);
    EXPECT_EQ(module_->log().size(), 15u);
    EXPECT_EQ(records_of("sfp_err", msg::kRegReadError).size(), last_rc != 0 ? 2u : 1u);
  }
  EXPECT_EQ(sfptest::text_of("sfp_err", msg::kRegReadError),
            "Controller 0 Port 0: access error. Reg 0x0 Sz 1 page 0 rw 1 rc: 0x6\n");
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(sfp_port_read_reg(nullptr, &text, &size), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(nullptr, &text, &size, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(port_, nullptr, &size, 1), SFP_RC_INVALID);
  EXPECT_EQ(sfp_reg_access(port_, &text, nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(records_of("sfp_err", msg::kRegEmptyParams).size(), 2u);
}

} // namespace
