// The library's sleep, with a switchable virtual clock.
//
// The counters are atomics so that they can be read at any time; the wait
// log, the hook and the counter updates of one wait are kept together under
// one lock so that a reader never sees a wait counted but not logged.
#include "platform/psleep.h"

#include <cerrno>
#include <ctime>

#include <algorithm>
#include <atomic>
#include <mutex>

namespace {

struct Clock {
  std::mutex lock;
  std::atomic<bool> is_virtual{false};
  std::atomic<uint64_t> elapsed_ms{0};
  std::atomic<uint64_t> waits{0};
  uint32_t log[PLATFORM_CLOCK_LOG_MAX] = {};
  size_t logged = 0;
  platform_sleep_hook hook = nullptr;
  void *hook_ctx = nullptr;
};

// Leaked on purpose: threads may still sleep while the process exits.
Clock &clock_state() {
  static Clock *instance = new Clock;
  return *instance;
}

void real_sleep(uint32_t ms) {
  timespec want{};
  want.tv_sec = static_cast<time_t>(ms / 1000u);
  want.tv_nsec = static_cast<long>(ms % 1000u) * 1000000L;
  timespec left{};
  while (nanosleep(&want, &left) != 0 && errno == EINTR) {
    want = left;
  }
}

} // namespace

extern "C" {

void platform_sleep_ms(uint32_t ms) {
  Clock &c = clock_state();
  platform_sleep_hook hook = nullptr;
  void *ctx = nullptr;
  {
    std::lock_guard<std::mutex> guard(c.lock);
    c.elapsed_ms.fetch_add(ms, std::memory_order_relaxed);
    c.waits.fetch_add(1, std::memory_order_relaxed);
    if (c.logged < PLATFORM_CLOCK_LOG_MAX) {
      c.log[c.logged++] = ms;
    }
    hook = c.hook;
    ctx = c.hook_ctx;
  }
  // The hook hears of a wait before it is made, so that a caller can say
  // what it waits for while it waits.
  if (hook != nullptr) {
    hook(ctx, ms);
  }
  if (!c.is_virtual.load(std::memory_order_relaxed)) {
    real_sleep(ms);
  }
}

void platform_clock_set_virtual(int on) {
  clock_state().is_virtual.store(on != 0, std::memory_order_relaxed);
}

int platform_clock_is_virtual(void) {
  return clock_state().is_virtual.load(std::memory_order_relaxed) ? 1 : 0;
}

void platform_clock_reset(void) {
  Clock &c = clock_state();
  std::lock_guard<std::mutex> guard(c.lock);
  c.elapsed_ms.store(0, std::memory_order_relaxed);
  c.waits.store(0, std::memory_order_relaxed);
  c.logged = 0;
}

uint64_t platform_clock_elapsed_ms(void) {
  return clock_state().elapsed_ms.load(std::memory_order_relaxed);
}

uint64_t platform_clock_wait_count(void) {
  return clock_state().waits.load(std::memory_order_relaxed);
}

size_t platform_clock_waits(uint32_t *out, size_t max) {
  Clock &c = clock_state();
  std::lock_guard<std::mutex> guard(c.lock);
  if (out != nullptr) {
    std::copy_n(c.log, std::min(max, c.logged), out);
  }
  return c.logged;
}

void platform_clock_set_hook(platform_sleep_hook fn, void *ctx) {
  Clock &c = clock_state();
  std::lock_guard<std::mutex> guard(c.lock);
  c.hook = fn;
  c.hook_ctx = fn != nullptr ? ctx : nullptr;
}

} // extern "C"
