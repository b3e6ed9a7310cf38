// Mutex-block marking.
//
// Each thread that marks gets a slot (its kernel thread id and current
// mark) on first use; the slot is listed in a process-wide table until the
// thread exits, so another thread can list every thread now blocking. A
// slot's fields are guarded by its own lock, taken by its thread when it
// marks and by a lister while it copies; the table's lock guards the list
// and is always taken before a slot's.
#include "platform/thread_mark.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace {

struct Slot {
  std::mutex lock;
  uint64_t thread_id = 0;
  const void *mutex = nullptr; // null while the thread is not marked
  const char *name = nullptr;
  uint32_t site = 0;
};

struct Table {
  std::mutex lock;
  std::vector<Slot *> slots;
};

// Leaked on purpose: threads may unregister while the process exits.
Table &table() {
  static Table *instance = new Table;
  return *instance;
}

std::atomic<uint64_t> total_marks{0};

// Registers the calling thread's slot for as long as the thread lives.
class SlotOwner {
public:
  SlotOwner() {
    slot_.thread_id = static_cast<uint64_t>(gettid());
    Table &t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    t.slots.push_back(&slot_);
  }
  ~SlotOwner() {
    Table &t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    t.slots.erase(std::remove(t.slots.begin(), t.slots.end(), &slot_), t.slots.end());
  }
  SlotOwner(const SlotOwner &) = delete;
  SlotOwner &operator=(const SlotOwner &) = delete;

  Slot &slot() { return slot_; }

private:
  Slot slot_;
};

Slot &own_slot() {
  thread_local SlotOwner owner;
  return owner.slot();
}

void copy_mark(const Slot &slot, thread_mutex_block_info *out) {
  out->thread_id = slot.thread_id;
  out->mutex = slot.mutex;
  out->name = slot.name;
  out->site = slot.site;
}

} // namespace

extern "C" {

void thread_mark_mutex_block(const void *mutex, const char *name, uint32_t site) {
  if (mutex == nullptr) {
    return;
  }
  Slot &slot = own_slot();
  {
    std::lock_guard<std::mutex> guard(slot.lock);
    slot.mutex = mutex;
    slot.name = name;
    slot.site = site;
  }
  total_marks.fetch_add(1, std::memory_order_relaxed);
}

// Clears the mark only when it is for `mutex`: a mark for another mutex is
// not this call's to remove.
void thread_unmark_mutex_block(const void *mutex) {
  Slot &slot = own_slot();
  std::lock_guard<std::mutex> guard(slot.lock);
  if (slot.mutex == mutex) {
    slot.mutex = nullptr;
    slot.name = nullptr;
    slot.site = 0;
  }
}

int thread_mutex_block_get(thread_mutex_block_info *out) {
  if (out == nullptr) {
    return 0;
  }
  Slot &slot = own_slot();
  std::lock_guard<std::mutex> guard(slot.lock);
  if (slot.mutex == nullptr) {
    return 0;
  }
  copy_mark(slot, out);
  return 1;
}

size_t thread_mutex_block_list(thread_mutex_block_info *out, size_t max) {
  Table &t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  size_t marked = 0;
  for (Slot *slot : t.slots) {
    std::lock_guard<std::mutex> slot_guard(slot->lock);
    if (slot->mutex == nullptr) {
      continue;
    }
    if (out != nullptr && marked < max) {
      copy_mark(*slot, &out[marked]);
    }
    ++marked;
  }
  return marked;
}

uint64_t thread_mutex_block_total(void) {
  return total_marks.load(std::memory_order_relaxed);
}

} // extern "C"
