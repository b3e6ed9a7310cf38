// Fault seams of the library's own resources for the sweeps: allocations
// (common/alloc.h) and the lock operations of both layers (MutexOps).
#ifndef SFPDRV_TESTS_PROOF_SEAMS_H
#define SFPDRV_TESTS_PROOF_SEAMS_H

#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

#include "common/alloc.h"
#include "port/internal.h"
#include "proof/sweep.h"
#include "qsa/internal.h"

namespace prooftest {

// Allocations, one token each with its size: "a1001".
class AllocationFaults {
public:
  AllocationFaults() {
    std::lock_guard<std::mutex> guard(g_lock);
    g_tokens.clear();
    sfpdrv::testing::set_allocation_observer(observe);
  }
  ~AllocationFaults() {
    sfpdrv::testing::set_allocation_observer(nullptr);
    sfpdrv::testing::fail_allocation(0);
  }
  AllocationFaults(const AllocationFaults &) = delete;
  AllocationFaults &operator=(const AllocationFaults &) = delete;

  void arm(uint64_t k, Mode mode) { sfpdrv::testing::fail_allocation(k, mode == Mode::Onward); }
  Tokens tokens() const {
    std::lock_guard<std::mutex> guard(g_lock);
    return g_tokens;
  }

private:
  static void observe(std::size_t bytes) {
    std::lock_guard<std::mutex> guard(g_lock);
    std::string token(1, 'a');
    token += std::to_string(bytes);
    g_tokens.push_back(std::move(token));
  }
  static inline std::mutex g_lock;
  static inline Tokens g_tokens;
};

// Lock operations of both layers, counted and failed from the k-th on with
// `code`: "t" a trylock, "l" a blocking lock, "u" an unlock. A failed take
// leaves the mutex as it was; a failed unlock still unlocks it, so that the
// process can go on after the threads library reported the failure.
class LockFaults {
public:
  explicit LockFaults(int code) : code_(code) {
    std::lock_guard<std::mutex> guard(g_lock);
    g_active = this;
    sfpdrv::testing::set_mutex_ops(&kOps);
    sfpdrv::testing::set_qsa_mutex_ops(&kOps);
  }
  ~LockFaults() {
    sfpdrv::testing::set_mutex_ops(nullptr);
    sfpdrv::testing::set_qsa_mutex_ops(nullptr);
    std::lock_guard<std::mutex> guard(g_lock);
    g_active = nullptr;
  }
  LockFaults(const LockFaults &) = delete;
  LockFaults &operator=(const LockFaults &) = delete;

  void arm(uint64_t k, Mode mode) {
    std::lock_guard<std::mutex> guard(g_lock);
    fail_from_ = k == 0 ? 0 : tokens_.size() + k;
    onward_ = mode == Mode::Onward;
  }
  Tokens tokens() const {
    std::lock_guard<std::mutex> guard(g_lock);
    return tokens_;
  }
  int code() const { return code_; }

private:
  // Counts the operation; true when it is to fail.
  static bool take(const char *kind) {
    std::lock_guard<std::mutex> guard(g_lock);
    LockFaults *self = g_active;
    if (self == nullptr) {
      return false;
    }
    self->tokens_.emplace_back(kind);
    const uint64_t n = self->tokens_.size();
    return self->fail_from_ != 0 &&
           (n == self->fail_from_ || (self->onward_ && n > self->fail_from_));
  }
  static int code_now() {
    std::lock_guard<std::mutex> guard(g_lock);
    return g_active != nullptr ? g_active->code_ : 0;
  }
  static int trylock(pthread_mutex_t *m) {
    return take("t") ? code_now() : pthread_mutex_trylock(m);
  }
  static int lock(pthread_mutex_t *m) { return take("l") ? code_now() : pthread_mutex_lock(m); }
  static int unlock(pthread_mutex_t *m) {
    const bool fail = take("u");
    const int rc = pthread_mutex_unlock(m);
    return fail ? code_now() : rc;
  }

  static constexpr sfpdrv::MutexOps kOps{trylock, lock, unlock};
  static inline std::mutex g_lock;
  static inline LockFaults *g_active = nullptr;

  int code_;
  Tokens tokens_;
  uint64_t fail_from_ = 0;
  bool onward_ = false;
};

// The registry locks of both layers are free. A lock left held would hang
// every later test, so the run stops here with a message instead.
inline void expect_registry_locks_free() {
  for (pthread_mutex_t *m : {&sfp_get_ctx()->lock, &qsa_get_ctx()->lock}) {
    if (pthread_mutex_trylock(m) != 0) {
      std::fprintf(stderr, "%s registry lock left held after a fault\n",
                   m == &sfp_get_ctx()->lock ? "the SFP" : "the adapter");
      std::abort();
    }
    pthread_mutex_unlock(m);
  }
}

} // namespace prooftest

#endif // SFPDRV_TESTS_PROOF_SEAMS_H
