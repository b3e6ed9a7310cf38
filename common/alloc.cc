#include "common/alloc.h"

#include <atomic>
#include <cstdlib>

namespace sfpdrv {
namespace {
// Allocations still to go before the injected failure; 0 = none armed.
std::atomic<uint64_t> g_fail_countdown{0};
// Every allocation from the injected failure on fails too.
std::atomic<bool> g_fail_onward{false};
std::atomic<void (*)(std::size_t)> g_observer{nullptr};

bool injected_failure() {
  uint64_t left = g_fail_countdown.load(std::memory_order_relaxed);
  while (left != 0) {
    if (left == 1 && g_fail_onward.load(std::memory_order_relaxed)) {
      return true;
    }
    if (g_fail_countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
      return left == 1;
    }
  }
  return false;
}

// Tells the observer of the allocation and says whether it is to fail.
bool refused(std::size_t bytes) {
  if (auto *observer = g_observer.load(std::memory_order_acquire)) {
    observer(bytes);
  }
  return injected_failure();
}
} // namespace

void *lib_calloc(std::size_t count, std::size_t size) {
  return refused(count * size) ? nullptr : std::calloc(count, size);
}

void *lib_malloc(std::size_t size) {
  return refused(size) ? nullptr : std::malloc(size);
}

namespace testing {
void fail_allocation(uint64_t nth, bool onward) {
  g_fail_onward.store(onward, std::memory_order_relaxed);
  g_fail_countdown.store(nth, std::memory_order_relaxed);
}

void set_allocation_observer(void (*observer)(std::size_t bytes)) {
  g_observer.store(observer, std::memory_order_release);
}
} // namespace testing

} // namespace sfpdrv
