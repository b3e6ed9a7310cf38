// The registry lock: failures of the threads library, deadlock reports, the
// block marking of a creation that meets a busy lock, and many threads
// creating and deleting ports at once.
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <latch>
#include <set>
#include <thread>

#include "platform/thread_mark.h"
#include "port/internal.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfptest::records;
using sfptest::records_of;
using sfptest::registry;

// Mutex functions whose unlock result a test scripts.
struct ScriptedMutex {
  static inline std::atomic<int> unlock_rc{0};
  static int unlock(pthread_mutex_t *m) {
    const int rc = pthread_mutex_unlock(m);
    return unlock_rc.load() != 0 ? unlock_rc.load() : rc;
  }
};

class LockTest : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    ScriptedMutex::unlock_rc = 0;
    sfpdrv::testing::set_mutex_ops(&kOps);
    module_ = sfptest::module_from("1000base-sx");
  }
  void TearDown() override {
    sfpdrv::testing::set_mutex_ops(nullptr);
    PortTest::TearDown();
  }
  static constexpr sfpdrv::MutexOps kOps{pthread_mutex_trylock, pthread_mutex_lock,
                                         ScriptedMutex::unlock};
  std::unique_ptr<sfpsim::Module> module_;
};

TEST_F(LockTest, UnlockFailureReplacesTheStatus) {
  ScriptedMutex::unlock_rc = EPERM;
  const sfp_platform_ops ops = sfptest::ops_for(*module_);
  sfp_port_create_result result{};
  EXPECT_EQ(sfp_port_create(&ops, &result), static_cast<sfp_rc>(EPERM));
  EXPECT_EQ(result.status, static_cast<sfp_rc>(EPERM)) << "stored as returned";
  EXPECT_EQ(result.handle, nullptr);
  ASSERT_EQ(registry().size(), 1u) << "the new context stays registered";
  created_.push_back(registry().front());
  EXPECT_EQ(registry().front()->initialised, 0u);
  EXPECT_EQ(module_->access_count(), 0u);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kMutexUnlockFailed).size(), 1u);

  // Deletion reports the unlock failure in place of its own success.
  EXPECT_EQ(sfp_port_delete(registry().front()), static_cast<sfp_rc>(EPERM));
  created_.clear();
  EXPECT_TRUE(registry().empty());
}

TEST_F(LockTest, RealDeadlockOnAnErrorCheckingLock) {
  // With an error-checking registry lock held by this thread, the creation's
  // try finds it busy, marks the block and gets EDEADLK from the real
  // threads library.
  sfpdrv::testing::set_mutex_ops(nullptr);
  pthread_mutex_t &lock = sfp_get_ctx()->lock;
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(&lock, &attr);
  pthread_mutexattr_destroy(&attr);
  ASSERT_EQ(pthread_mutex_lock(&lock), 0);
  const uint64_t marks = thread_mutex_block_total();

  const sfp_platform_ops ops = sfptest::ops_for(*module_);
  sfp_port_create_result result{nullptr, 7, 7};
  EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_DEADLOCK);
  EXPECT_EQ(result.status, 7u) << "the result is not written";
  EXPECT_EQ(module_->access_count(), 0u);
  EXPECT_EQ(thread_mutex_block_total(), marks + 1);
  thread_mutex_block_info mine{};
  EXPECT_EQ(thread_mutex_block_get(&mine), 0) << "the mark is lifted after the attempt";
  const auto errors = records("sfp_err");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].text.rfind("mutex_lock(3) failed, rc: 35, errno: ", 0), 0u);
  EXPECT_EQ(errors[1].text, "locking leads to deadlock, need traceback\n");

  ASSERT_EQ(pthread_mutex_unlock(&lock), 0);
  pthread_mutex_destroy(&lock);
  lock = PTHREAD_MUTEX_INITIALIZER;
  EXPECT_TRUE(registry().empty());
}

TEST_F(LockTest, BusyLockIsWaitedForInsideTheBlockMarking) {
  sfpdrv::testing::set_mutex_ops(nullptr);
  pthread_mutex_t &lock = sfp_get_ctx()->lock;
  ASSERT_EQ(pthread_mutex_lock(&lock), 0);

  std::atomic<sfp_rc> rc{~0u};
  sfp_port_create_result result{};
  const sfp_platform_ops ops = sfptest::ops_for(*module_);
  std::thread creator([&] { rc = sfp_port_create(&ops, &result); });

  // Wait until the creator shows up as blocked on the registry lock.
  thread_mutex_block_info seen{};
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < deadline) {
    thread_mutex_block_info marks[8];
    const size_t n = thread_mutex_block_list(marks, 8);
    if (n > 0) {
      seen = marks[0];
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_EQ(pthread_mutex_unlock(&lock), 0);
  creator.join();

  EXPECT_EQ(seen.mutex, &lock);
  ASSERT_NE(seen.name, nullptr);
  EXPECT_STREQ(seen.name, "sfp_context_lock");
  EXPECT_EQ(seen.site, sfpdrv::kSiteCreateLock);
  EXPECT_EQ(rc.load(), SFP_RC_OK);
  ASSERT_NE(result.handle, nullptr);
  created_.push_back(result.handle);
  EXPECT_EQ(thread_mutex_block_list(nullptr, 0), 0u);
}

constexpr int kThreads = 64;

class ConcurrencyTest : public sfptest::PortTest {};

TEST_F(ConcurrencyTest, SixtyFourThreadsCreateAndDeleteDistinctPorts) {
  std::vector<std::unique_ptr<sfpsim::Module>> modules;
  for (int i = 0; i < kThreads; ++i) {
    modules.push_back(sfptest::module_from(i % 2 == 0 ? "10gbase-sr" : "1000base-sx"));
  }
  std::vector<sfp_port_ctx *> handles(kThreads, nullptr);
  std::vector<sfp_rc> created(kThreads, ~0u);
  std::vector<sfp_rc> deleted(kThreads, ~0u);
  std::latch all_created(kThreads);
  std::latch snapshot_taken(1);

  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      sfp_platform_ops ops = sfptest::ops_for(*modules[i], 0, i);
      ops.no_read_page_select = static_cast<uint32_t>(i % 2);
      ops.module_present = 1; // the transmitter stages run side by side too
      sfp_port_create_result result{};
      created[i] = sfp_port_create(&ops, &result);
      handles[i] = result.handle;
      uint8_t id = 0;
      if (created[i] == SFP_RC_OK) {
        sfp_port_read(result.handle, 0, 0, 1, &id);
      }
      all_created.count_down();
      snapshot_taken.wait();
      deleted[i] = sfp_port_delete(result.handle);
    });
  }
  all_created.wait();
  // Contexts are freed once the threads go on: read them now.
  const std::vector<sfp_port_ctx *> registered = sfptest::registry();
  std::set<const void *> opaques;
  for (const sfp_port_ctx *p : registered) {
    opaques.insert(p->opaque);
  }
  snapshot_taken.count_down();
  for (auto &t : threads) {
    t.join();
  }

  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(created[i], SFP_RC_OK) << i;
    EXPECT_EQ(deleted[i], SFP_RC_OK) << i;
    ASSERT_NE(handles[i], nullptr);
  }
  ASSERT_EQ(registered.size(), static_cast<size_t>(kThreads)) << "a context was lost or doubled";
  EXPECT_EQ(opaques.size(), static_cast<size_t>(kThreads));
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_NE(std::find(registered.begin(), registered.end(), handles[i]), registered.end());
    // Creation reads and writes only A2h of these modules; the one A0h read
    // is the port's own, after it.
    const std::vector<sfpsim::Access> &log = modules[i]->log();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const sfpsim::Access &a) { return a.page == SFP_PAGE_A0; }),
              1)
        << "each port read its own module once";
    EXPECT_EQ(log.back().page, SFP_PAGE_A0);
  }
  EXPECT_TRUE(sfptest::registry().empty());
}

} // namespace
