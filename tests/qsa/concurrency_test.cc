// Threads on adapter ports: operations under the port lock, insertion polls,
// the block marking of every lock, and a re-entrant call that must not hang.
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>

#include "platform/thread_mark.h"
#include "qsa_harness.h"

namespace {

using sfptest::records_of;

class QsaConcurrencyTest : public qsatest::QsaTest {};

sfpsim::Adapter *g_watched[2];
std::atomic<int> g_notified[2];

int count_notification(void *opaque, uint32_t /*phase*/) {
  g_notified[opaque == g_watched[0] ? 0 : 1]++;
  return 0;
}

TEST_F(QsaConcurrencyTest, LockedOperationsAndPollsOnOneAndTwoPortsStayConsistent) {
  // Port 0 keeps its SFP; the SFP of port 1 is pulled while the threads run.
  qsa_port_ctx *ports[2];
  sfpsim::Adapter **adapters = g_watched;
  std::string serial[2];
  for (int p : {0, 1}) {
    adapters[p] = &new_adapter(p == 0 ? "10gbase-sr" : "1000base-sx");
    qsa_platform_ops ops = adapters[p]->platform_ops(p, 1);
    ops.oir_notify_cb = count_notification;
    ports[p] = create_adapter(ops);
    ASSERT_NE(ports[p], nullptr);
    serial[p].assign(ports[p]->sfp_port->eeprom + 68, ports[p]->sfp_port->eeprom + 84);
    g_notified[p] = 0;
  }
  constexpr int kWorkers = 2;
  constexpr int kPollers = 2;
  constexpr int kRounds = 150;
  std::atomic<int> failures{0};
  std::atomic<int> rounds_done{0};
  uint64_t inside[2] = {0, 0}; // touched only under the port lock

  auto worker = [&](int id) {
    for (int i = 0; i < kRounds; ++i, ++rounds_done) {
      const int p = (id + i) % 2;
      if (qsa_check_and_lock_hdl(ports[p], __LINE__) != SFP_RC_OK) {
        ++failures;
        continue;
      }
      uint8_t ext = 0;
      uint8_t sn[16] = {};
      bool ok = qsa_access(ports[p], 222, 1, QSA_PAGE_UPPER(0), &ext, SFP_ACCESS_READ) == 0 &&
                ext == 0xF2;
      if (p == 0) {
        ok = ok && qsa_access(ports[0], 196, 16, QSA_PAGE_UPPER(4), sn, SFP_ACCESS_READ) == 0 &&
             std::memcmp(sn, serial[0].data(), 16) == 0 && qsa_is_sfp_inserted(ports[0]) == 1;
      }
      ++inside[p];
      failures += ok ? 0 : 1;
      sfpdrv::qsa_unlock_port(ports[p], SFP_RC_OK);
    }
  };
  auto poller = [&](int id) {
    for (int i = 0; i < kRounds; ++i) {
      failures += qsa_port_detect_sfp_oir(ports[(id + i) % 2]) == SFP_RC_OK ? 0 : 1;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kWorkers; ++t) {
    threads.emplace_back(worker, t);
  }
  for (int t = 0; t < kPollers; ++t) {
    threads.emplace_back(poller, t);
  }
  threads.emplace_back([&] {
    while (rounds_done < kRounds / 2) {
      std::this_thread::yield();
    }
    adapters[1]->remove();
  });
  for (auto &t : threads) {
    t.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(inside[0] + inside[1], static_cast<uint64_t>(kWorkers * kRounds));
  // One poll saw the removal: one SFP port deleted, one pair of notifications.
  EXPECT_EQ(qsa_port_detect_sfp_oir(ports[1]), SFP_RC_OK);
  EXPECT_NE(ports[0]->sfp_port, nullptr);
  EXPECT_EQ(ports[1]->sfp_port, nullptr);
  EXPECT_EQ(g_notified[0], 0);
  EXPECT_EQ(g_notified[1], 2);
  EXPECT_EQ(sfptest::registry().size(), 1u);
}

qsa_port_ctx *g_reentered = nullptr;
std::vector<sfp_rc> g_reentry_status;

int poll_again(void * /*opaque*/, uint32_t /*phase*/) {
  g_reentry_status.push_back(qsa_port_detect_sfp_oir(g_reentered));
  return 0;
}

TEST_F(QsaConcurrencyTest, ReentrantPollFromTheNotificationGetsDeadlock) {
  sfpsim::Adapter &adapter = new_adapter();
  qsa_platform_ops ops = adapter.platform_ops(qsatest::kPort, 1);
  ops.oir_notify_cb = poll_again;
  g_reentered = create_adapter(ops);
  g_reentry_status.clear();
  adapter.seat(new_module("10gbase-sr"));
  const uint64_t marks = thread_mutex_block_total();

  EXPECT_EQ(qsa_port_detect_sfp_oir(g_reentered), SFP_RC_OK);
  EXPECT_EQ(g_reentry_status, (std::vector<sfp_rc>{SFP_RC_DEADLOCK, SFP_RC_DEADLOCK}));
  EXPECT_EQ(thread_mutex_block_total(), marks + 2);
  const auto failed = records_of("qsa_err", sfpdrv::msg::kQsaPortLockFailed);
  ASSERT_EQ(failed.size(), 2u);
  EXPECT_EQ(failed[0].text.rfind("Failed to lock port ctx, rc: 35, errno: ", 0), 0u);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaPortLockDeadlock).size(), 2u);
  EXPECT_EQ(pthread_mutex_trylock(&g_reentered->lock), 0) << "the outer poll let go of the lock";
  pthread_mutex_unlock(&g_reentered->lock);
  EXPECT_EQ(pthread_mutex_trylock(&qsa_get_ctx()->lock), 0);
  pthread_mutex_unlock(&qsa_get_ctx()->lock);
}

// A thread that meets a busy lock marks itself under the lock's name until
// it gets the lock.
TEST_F(QsaConcurrencyTest, BlockedThreadsAreMarkedWithTheLockName) {
  qsa_port_ctx *port = create_adapter(new_adapter("10gbase-sr"));
  qsa_port_ctx *victim = create_adapter(new_adapter());
  pthread_mutex_t *registry_lock = &qsa_get_ctx()->lock;
  struct Case {
    const char *mark;
    std::function<void()> hold;
    std::function<void()> blocked;
    std::function<void()> release;
  };
  const Case cases[] = {
      {"qsa_context_lock", [&] { pthread_mutex_lock(registry_lock); },
       [&] {
         ASSERT_EQ(qsa_check_and_lock_hdl(port, 1), SFP_RC_OK);
         sfpdrv::qsa_unlock_port(port, SFP_RC_OK);
       },
       [&] { pthread_mutex_unlock(registry_lock); }},
      {"qsa_check_and_lock_hdl", [&] { qsa_check_and_lock_hdl(port, 2); },
       [&] { EXPECT_EQ(qsa_port_detect_sfp_oir(port), SFP_RC_OK); },
       [&] { sfpdrv::qsa_unlock_port(port, SFP_RC_OK); }},
      {"qsa_port_context_find_and_delete", [&] { qsa_check_and_lock_hdl(victim, 3); },
       [&] { EXPECT_EQ(qsa_port_delete(victim), SFP_RC_OK); },
       [&] { sfpdrv::qsa_unlock_port(victim, SFP_RC_OK); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.mark);
    c.hold();
    std::thread blocked(c.blocked);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool seen = false;
    while (!seen && std::chrono::steady_clock::now() < deadline) {
      thread_mutex_block_info marks[8];
      const size_t n = std::min<size_t>(thread_mutex_block_list(marks, 8), 8);
      for (size_t i = 0; i < n; ++i) {
        seen = seen || std::string(marks[i].name) == c.mark;
      }
      std::this_thread::yield();
    }
    EXPECT_TRUE(seen);
    c.release();
    blocked.join();
  }
  EXPECT_EQ(qsatest::adapter_registry(), std::vector<qsa_port_ctx *>{port});
}

} // namespace
