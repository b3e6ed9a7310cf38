// The one-time initialisation of the library. Each test needs a process in
// which no port was created yet (ctest runs every test in its own process).
#include <atomic>
#include <cerrno>
#include <thread>

#include "port/internal.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfptest::records_of;

// Registry lock functions whose unlock fails.
int failing_unlock(pthread_mutex_t *mutex) {
  pthread_mutex_unlock(mutex);
  return EPERM;
}
constexpr sfpdrv::MutexOps kFailingUnlock{pthread_mutex_trylock, pthread_mutex_lock,
                                          failing_unlock};

class LibraryInit : public ::testing::Test {
protected:
  void SetUp() override {
    if (sfp_get_ctx()->initialised != 0) {
      GTEST_SKIP() << "needs a process without earlier creations";
    }
    module_ = sfptest::module_from("1000base-sx");
  }
  sfp_rc create_capturing_stderr(const sfp_platform_ops &ops, sfp_port_create_result &result,
                                 std::string &printed) {
    ::testing::internal::CaptureStderr();
    const sfp_rc rc = sfp_port_create(&ops, &result);
    printed = ::testing::internal::GetCapturedStderr();
    return rc;
  }
  std::unique_ptr<sfpsim::Module> module_;
};

TEST_F(LibraryInit, RetriesUntilTheTraceServiceWorksThenInitialisesOnce) {
  sfp_platform_ops ops = sfptest::ops_for(*module_);
  ops.unsupported_xcvr_allowed = 1;
  sfp_port_create_result result{};
  std::string printed;

  pelog_fail_open("sfp_err", 5);
  for (int attempt = 0; attempt < 2; ++attempt) {
    result = {};
    EXPECT_EQ(create_capturing_stderr(ops, result, printed), SFP_RC_FAULT);
    EXPECT_EQ(printed, "sfp: pelog creation failed for error.\n"
                       "SFP: pelog initialization failed\n");
    EXPECT_EQ(result.status, SFP_RC_FAULT);
    EXPECT_EQ(result.handle, nullptr);
  }
  // An unlock failure after it replaces the status, in the result too.
  sfpdrv::testing::set_mutex_ops(&kFailingUnlock);
  EXPECT_EQ(create_capturing_stderr(ops, result, printed), static_cast<sfp_rc>(EPERM));
  EXPECT_EQ(result.status, static_cast<sfp_rc>(EPERM));
  sfpdrv::testing::set_mutex_ops(nullptr);
  pelog_fail_open("sfp_err", 0);
  pelog_fail_open("sfp_evt", 5);
  EXPECT_EQ(create_capturing_stderr(ops, result, printed), SFP_RC_FAULT);
  EXPECT_EQ(printed, "sfp: pelog creation failed for event.\n"
                     "SFP: pelog initialization failed\n");
  pelog_fail_open("sfp_evt", 0);

  // An evm that is no event manager makes enabling the show commands fail.
  int not_a_manager = 0;
  ops.evm = &not_a_manager;
  const sfp_rc enable_rc = create_capturing_stderr(ops, result, printed);
  EXPECT_NE(enable_rc, SFP_RC_OK);
  char expected[64];
  std::snprintf(expected, sizeof expected, "sfp: pelog enable failed for evt, rc 0x%x\n",
                enable_rc);
  EXPECT_EQ(printed, std::string(expected) + "SFP: pelog initialization failed\n");
  EXPECT_EQ(sfp_get_ctx()->initialised, 0u);
  EXPECT_TRUE(sfptest::registry().empty()) << "no context before the library is up";

  ops.evm = sfptest::test_evm();
  ASSERT_EQ(create_capturing_stderr(ops, result, printed), SFP_RC_OK);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(sfp_get_ctx()->initialised, 1u);
  EXPECT_EQ(sfp_get_ctx()->unsupported_xcvr_allowed, 1u);
  EXPECT_EQ(result.handle->err_trace, pelog_find("sfp_err"));
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kDllInitDone).size(), 1u);
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kSupportedInitDone).size(), 1u);

  // The show commands are registered with the event manager.
  auto *manager = static_cast<event_manager *>(sfptest::test_evm());
  ASSERT_EQ(event_manager_command_count(manager), 2u);
  EXPECT_STREQ(event_manager_command_name(manager, 0), "show pelog sfp_evt");
  EXPECT_STREQ(event_manager_command_name(manager, 1), "show pelog sfp_err");

  // Later creations leave the library as it is.
  auto other = sfptest::module_from("10gbase-sr");
  sfp_platform_ops second = sfptest::ops_for(*other);
  second.unsupported_xcvr_allowed = 0;
  second.evm = nullptr;
  sfp_port_create_result again{};
  ASSERT_EQ(create_capturing_stderr(second, again, printed), SFP_RC_OK);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(sfp_get_ctx()->unsupported_xcvr_allowed, 1u);
  EXPECT_EQ(sfp_get_ctx()->evm, sfptest::test_evm());
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kDllAlreadyInit).size(), 1u);
  EXPECT_EQ(sfp_port_delete(again.handle), SFP_RC_OK);
  EXPECT_EQ(sfp_port_delete(result.handle), SFP_RC_OK);
}

TEST_F(LibraryInit, MissingEventManagerIsReportedButNotAFailure) {
  sfp_platform_ops ops = sfptest::ops_for(*module_);
  ops.evm = nullptr;
  sfp_port_create_result result{};
  std::string printed;
  ASSERT_EQ(create_capturing_stderr(ops, result, printed), SFP_RC_OK);
  EXPECT_EQ(printed, "sfp: NULL evm. Not enable to pelog show command\n");
  EXPECT_EQ(sfp_get_ctx()->evm, nullptr);
  EXPECT_EQ(sfp_port_delete(result.handle), SFP_RC_OK);
}

// Calls without a port trace on the library's error buffer, which the first
// creation sets up meanwhile on another thread: a call sees no buffer yet
// (the record is dropped) or a ready one.
TEST_F(LibraryInit, CallsWithoutAPortRaceTheFirstCreationSafely) {
  std::atomic<int> calls{0};
  std::atomic<bool> created{false};
  std::thread caller([&] {
    uint8_t byte = 0;
    char *text = nullptr;
    uint32_t size = 0;
    sfp_port_create_result none{};
    // Goes on for a while after the creation, so that calls find the buffer.
    for (int after = 0; after < 50;) {
      const bool late = created.load();
      EXPECT_EQ(sfp_port_read(nullptr, 0, 0, 1, &byte), SFP_RC_INVALID);
      EXPECT_EQ(sfp_access(nullptr, 0, 1, 0, &byte, 1), SFP_RC_INVALID);
      EXPECT_EQ(sfp_special_bitbang_access(nullptr, 0, 1, 0, &byte, 1), SFP_RC_INVALID);
      EXPECT_EQ(sfp_reg_access(nullptr, &text, &size, 1), SFP_RC_INVALID);
      EXPECT_EQ(sfp_port_create(nullptr, &none), SFP_RC_INVALID);
      ++calls;
      after += late ? 1 : 0;
    }
  });
  while (calls.load() == 0) {
    std::this_thread::yield();
  }
  const sfp_platform_ops ops = sfptest::ops_for(*module_);
  sfp_port_create_result result{};
  EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
  created = true;
  caller.join();
  EXPECT_GE(records_of("sfp_err", sfpdrv::msg::kNullHdl).size(), 50u);
  EXPECT_EQ(sfp_port_delete(result.handle), SFP_RC_OK);
}

} // namespace
