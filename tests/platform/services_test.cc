// Event manager, mutex-block marks and the clock, through the C interface.
#include "platform/evm.h"
#include "platform/psleep.h"
#include "platform/thread_mark.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kInvalid = 22;

int say_a(void *, FILE *out) {
  return std::fputs("a", out) < 0 ? 5 : 0;
}
int say_b(void *, FILE *out) {
  return std::fputs("b", out) < 0 ? 5 : 0;
}
int status_from_ctx(void *ctx, FILE *) {
  return *static_cast<int *>(ctx);
}

std::string run(event_manager *manager, const char *command, int *status) {
  char *text = nullptr;
  size_t size = 0;
  FILE *out = open_memstream(&text, &size);
  *status = event_manager_run(manager, command, out);
  std::fclose(out);
  std::string result(text, size);
  std::free(text);
  return result;
}

TEST(EventManager, GetAcceptsOnlyLiveManagers) {
  event_manager *manager = event_manager_create("live");
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(event_manager_get(manager), manager);
  int not_a_manager = 0;
  EXPECT_EQ(event_manager_get(&not_a_manager), nullptr);
  EXPECT_EQ(event_manager_get(nullptr), nullptr);
  event_manager_destroy(manager);
  EXPECT_EQ(event_manager_get(manager), nullptr);
  // A stale handle is refused rather than used.
  EXPECT_EQ(event_manager_register(manager, "x", say_a, nullptr), kInvalid);
  event_manager_destroy(manager);
}

TEST(EventManager, RunsRegisteredCommandsAndReplacesThem) {
  event_manager *manager = event_manager_create(nullptr);
  ASSERT_NE(manager, nullptr);
  int code = 17;
  ASSERT_EQ(event_manager_register(manager, "first", say_a, nullptr), 0);
  ASSERT_EQ(event_manager_register(manager, "second", status_from_ctx, &code), 0);
  ASSERT_EQ(event_manager_register(manager, "first", say_b, nullptr), 0);
  ASSERT_EQ(event_manager_command_count(manager), 2u);
  EXPECT_STREQ(event_manager_command_name(manager, 0), "first");
  EXPECT_STREQ(event_manager_command_name(manager, 1), "second");
  EXPECT_EQ(event_manager_command_name(manager, 2), nullptr);

  int status = -1;
  EXPECT_EQ(run(manager, "first", &status), "b");
  EXPECT_EQ(status, 0);
  run(manager, "second", &status);
  EXPECT_EQ(status, 17);
  run(manager, "third", &status);
  EXPECT_EQ(status, 2);

  EXPECT_EQ(event_manager_register(nullptr, "x", say_a, nullptr), kInvalid);
  EXPECT_EQ(event_manager_register(manager, nullptr, say_a, nullptr), kInvalid);
  EXPECT_EQ(event_manager_register(manager, "x", nullptr, nullptr), kInvalid);
  EXPECT_EQ(event_manager_run(manager, "first", nullptr), kInvalid);
  event_manager_destroy(manager);
}

TEST(ThreadMark, OwnMarkIsSetAndCleared) {
  int mutex = 0;
  int other = 0;
  thread_mutex_block_info info{};
  EXPECT_EQ(thread_mutex_block_get(&info), 0);
  const uint64_t total = thread_mutex_block_total();
  thread_mark_mutex_block(&mutex, "port lock", 7);
  EXPECT_EQ(thread_mutex_block_total(), total + 1);
  ASSERT_EQ(thread_mutex_block_get(&info), 1);
  EXPECT_EQ(info.mutex, &mutex);
  EXPECT_STREQ(info.name, "port lock");
  EXPECT_EQ(info.site, 7u);
  EXPECT_EQ(info.thread_id, static_cast<uint64_t>(gettid()));
  thread_unmark_mutex_block(&other); // not the marked mutex: the mark stays
  EXPECT_EQ(thread_mutex_block_get(&info), 1);
  thread_unmark_mutex_block(&mutex);
  EXPECT_EQ(thread_mutex_block_get(&info), 0);
}

// Whether another thread lists thread `tid` as blocking on `mutex`.
bool listed(uint64_t tid, const void *mutex) {
  std::vector<thread_mutex_block_info> marks(thread_mutex_block_list(nullptr, 0) + 8);
  marks.resize(std::min(marks.size(), thread_mutex_block_list(marks.data(), marks.size())));
  for (const thread_mutex_block_info &mark : marks) {
    if (mark.thread_id == tid && mark.mutex == mutex) {
      EXPECT_STREQ(mark.name, "held elsewhere");
      EXPECT_EQ(mark.site, 42u);
      return true;
    }
  }
  return false;
}

TEST(ThreadMark, MarksAreVisibleFromAnotherThread) {
  int mutex = 0;
  std::promise<uint64_t> marked;
  std::promise<void> unmark;
  std::promise<void> unmarked;
  std::promise<void> finish;
  std::thread blocker([&, unmark_now = unmark.get_future(), finish_now = finish.get_future()] {
    thread_mark_mutex_block(&mutex, "held elsewhere", 42);
    marked.set_value(static_cast<uint64_t>(gettid()));
    unmark_now.wait();
    thread_unmark_mutex_block(&mutex);
    unmarked.set_value();
    finish_now.wait();
  });
  const uint64_t tid = marked.get_future().get();
  EXPECT_TRUE(listed(tid, &mutex));
  unmark.set_value();
  unmarked.get_future().wait();
  EXPECT_FALSE(listed(tid, &mutex)); // unmarked while the thread still lives
  finish.set_value();
  blocker.join();
}

void record_wait(void *ctx, uint32_t ms) {
  static_cast<std::vector<uint32_t> *>(ctx)->push_back(ms);
}

// Leaves the clock real, unhooked and reset whatever a test did.
class Clock : public ::testing::Test {
protected:
  void SetUp() override { platform_clock_reset(); }
  void TearDown() override {
    platform_clock_set_hook(nullptr, nullptr);
    platform_clock_set_virtual(0);
    platform_clock_reset();
  }
};

TEST_F(Clock, VirtualWaitsAreCountedLoggedAndHookedWithoutSleeping) {
  std::vector<uint32_t> hooked;
  platform_clock_set_virtual(1);
  EXPECT_EQ(platform_clock_is_virtual(), 1);
  platform_clock_set_hook(record_wait, &hooked);
  platform_sleep_ms(3600u * 1000u); // an hour: the test would time out if it slept
  platform_sleep_ms(5);
  platform_sleep_ms(0);
  EXPECT_EQ(platform_clock_elapsed_ms(), 3600u * 1000u + 5u);
  EXPECT_EQ(platform_clock_wait_count(), 3u);
  const std::vector<uint32_t> expected{3600u * 1000u, 5u, 0u};
  std::vector<uint32_t> logged(8);
  logged.resize(platform_clock_waits(logged.data(), logged.size()));
  EXPECT_EQ(logged, expected);
  EXPECT_EQ(hooked, expected);

  platform_clock_reset();
  EXPECT_EQ(platform_clock_elapsed_ms(), 0u);
  EXPECT_EQ(platform_clock_wait_count(), 0u);
  EXPECT_EQ(platform_clock_waits(nullptr, 0), 0u);
}

TEST_F(Clock, LogKeepsTheFirstWaitsOnly) {
  platform_clock_set_virtual(1);
  for (uint32_t i = 0; i < PLATFORM_CLOCK_LOG_MAX + 3; ++i) {
    platform_sleep_ms(i);
  }
  EXPECT_EQ(platform_clock_wait_count(), PLATFORM_CLOCK_LOG_MAX + 3);
  std::vector<uint32_t> logged(PLATFORM_CLOCK_LOG_MAX + 3, 99);
  ASSERT_EQ(platform_clock_waits(logged.data(), logged.size()), PLATFORM_CLOCK_LOG_MAX);
  EXPECT_EQ(logged[PLATFORM_CLOCK_LOG_MAX - 1], PLATFORM_CLOCK_LOG_MAX - 1);
  EXPECT_EQ(logged[PLATFORM_CLOCK_LOG_MAX], 99u); // nothing past the log copied
}

TEST_F(Clock, WaitsFromSeveralThreadsAreAllCounted) {
  platform_clock_set_virtual(1);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 500; ++i) {
        platform_sleep_ms(2);
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(platform_clock_wait_count(), 2000u);
  EXPECT_EQ(platform_clock_elapsed_ms(), 4000u);
}

TEST_F(Clock, RealSleepIsCountedToo) {
  platform_sleep_ms(1);
  EXPECT_EQ(platform_clock_elapsed_ms(), 1u);
  EXPECT_EQ(platform_clock_wait_count(), 1u);
}

} // namespace
