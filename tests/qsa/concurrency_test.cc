// Threads on adapter ports: operations under the port lock, insertion polls,
// and a re-entrant call that must not hang.
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "platform/thread_mark.h"
#include "qsa_harness.h"

namespace {

using namespace qsatest;
using namespace sfpdrv::msg;

class QsaConcurrencyTest : public QsaTest {};

sfpsim::Adapter *g_watched[2];
std::atomic<int> g_notified[2];

int count_notification(void *opaque, uint32_t /*phase*/) {
  g_notified[opaque == g_watched[0] ? 0 : 1]++;
  return 0;
}

// Port 0 keeps its SFP; the SFP of port 1 is pulled while the threads run.
TEST_F(QsaConcurrencyTest, LockedOperationsAndPollsOnOneAndTwoPortsStayConsistent) {
  qsa_port_ctx *ports[2] = {};
  for (int p : {0, 1}) {
    g_watched[p] = &new_adapter(p == 0 ? "10gbase-sr" : "1000base-sx");
    qsa_platform_ops ops = g_watched[p]->platform_ops(p, 1);
    ops.oir_notify_cb = count_notification;
    ports[p] = create_adapter(ops);
    g_notified[p] = 0;
  }
  ASSERT_TRUE(ports[0] != nullptr && ports[1] != nullptr && ports[0]->sfp_port != nullptr);
  const std::string serial(ports[0]->sfp_port->eeprom + 68, ports[0]->sfp_port->eeprom + 84);
  constexpr int kRounds = 150;
  std::atomic<int> failures{0};
  std::atomic<int> rounds_done{0};

  // A locked operation reads one upper page and then another: without the
  // lock another thread's page select could come in between.
  auto worker = [&](int id) {
    for (int i = 0; i < kRounds; ++i, ++rounds_done) {
      qsa_port_ctx *port = ports[(id + i) % 2];
      ASSERT_EQ(qsa_check_and_lock_hdl(port, __LINE__), SFP_RC_OK);
      uint8_t ext = 0;
      uint8_t sn[16] = {};
      qsa_access(port, 222, 1, QSA_PAGE_UPPER(0), &ext, SFP_ACCESS_READ);
      qsa_access(port, 196, 16, QSA_PAGE_UPPER(4), sn, SFP_ACCESS_READ);
      const bool kept = port != ports[0] ||
                        (qsa_is_sfp_inserted(port) == 1 && std::memcmp(sn, serial.data(), 16) == 0);
      failures += ext == 0xF2 && kept ? 0 : 1;
      sfpdrv::qsa_unlock_port(port, SFP_RC_OK);
    }
  };
  auto poller = [&](int id) {
    for (int i = 0; i < kRounds; ++i) {
      failures += qsa_port_detect_sfp_oir(ports[(id + i) % 2]) == SFP_RC_OK ? 0 : 1;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back(worker, t);
    threads.emplace_back(poller, t);
  }
  threads.emplace_back([&] {
    while (rounds_done < kRounds / 2) {
      std::this_thread::yield();
    }
    g_watched[1]->remove();
  });
  for (auto &t : threads) {
    t.join();
  }
  EXPECT_EQ(failures, 0);
  // Exactly one poll saw the removal.
  EXPECT_EQ(qsa_port_detect_sfp_oir(ports[1]), SFP_RC_OK);
  EXPECT_NE(ports[0]->sfp_port, nullptr);
  EXPECT_EQ(ports[1]->sfp_port, nullptr);
  EXPECT_EQ(g_notified[0], 0);
  EXPECT_EQ(g_notified[1], 2);
  EXPECT_EQ(sfptest::registry().size(), 1u);
}

// The adapter operations themselves, each under the port lock, with polls
// in between: every answer stays the seated module's.
TEST_F(QsaConcurrencyTest, AdapterOperationsAndPollsFromSeveralThreads) {
  qsa_port_ctx *ports[2] = {create_adapter(new_adapter("10gbase-sr")),
                            create_adapter(new_adapter("1000base-sx"))};
  ASSERT_TRUE(ports[0]->sfp_port != nullptr && ports[1]->sfp_port != nullptr);
  std::atomic<int> failures{0};
  const auto check = [&](bool ok) { failures += ok ? 0 : 1; };
  const std::function<void(qsa_port_ctx *)> operations[] = {
      [&](qsa_port_ctx *port) {
        sfp_hw_status_rec rec;
        check(qsa_port_hw_status(port, &rec) == SFP_RC_OK && rec.filled == 1);
      },
      [&](qsa_port_ctx *port) {
        sfp_xcvr_type type = 0;
        char name[64];
        uint32_t defaulted = 0;
        check(qsa_port_type(port, &type, name, sizeof name, &defaulted) == SFP_RC_OK &&
              type == port->sfp_type);
      },
      [&](qsa_port_ctx *port) { check(qsa_port_admin_state(port, 1, 1) == SFP_RC_OK); },
      [&](qsa_port_ctx *port) {
        uint8_t serial[16] = {};
        check(qsa_port_read(port, 196, QSA_PAGE_UPPER(4), 16, serial) == SFP_RC_OK &&
              std::memcmp(serial, port->sfp_port->eeprom + 68, 16) == 0);
      },
      [&](qsa_port_ctx *port) { check(qsa_port_detect_sfp_oir(port) == SFP_RC_OK); },
  };
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < std::size(operations); ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = 0; i < 30; ++i) {
        // Half the threads stay on port 0, the others alternate.
        operations[(t + i) % std::size(operations)](ports[t % 2 == 0 ? 0 : i % 2]);
      }
    });
  }
  for (auto &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(sfptest::registry().size(), 2u) << "no poll saw a change";
}

qsa_port_ctx *g_reentered = nullptr;
std::vector<sfp_rc> g_reentry_status;

int poll_again(void * /*opaque*/, uint32_t /*phase*/) {
  g_reentry_status.push_back(qsa_port_detect_sfp_oir(g_reentered));
  return 0;
}

TEST_F(QsaConcurrencyTest, ReentrantPollFromTheNotificationGetsDeadlock) {
  sfpsim::Adapter &adapter = new_adapter();
  qsa_platform_ops ops = adapter.platform_ops(kPort, 1);
  ops.oir_notify_cb = poll_again;
  g_reentered = create_adapter(ops);
  g_reentry_status.clear();
  adapter.seat(new_module("10gbase-sr"));
  const uint64_t marks = thread_mutex_block_total();

  EXPECT_EQ(qsa_port_detect_sfp_oir(g_reentered), SFP_RC_OK);
  EXPECT_EQ(g_reentry_status, (std::vector<sfp_rc>{SFP_RC_DEADLOCK, SFP_RC_DEADLOCK}));
  EXPECT_EQ(thread_mutex_block_total(), marks + 2);
  EXPECT_TRUE(texts_of(kQsaPortLockFailed).at(1).starts_with("Failed to lock port ctx, rc: 35"));
  EXPECT_EQ(texts_of(kQsaPortLockDeadlock).size(), 2u);
  for (pthread_mutex_t *lock : {&g_reentered->lock, &qsa_get_ctx()->lock}) {
    EXPECT_EQ(pthread_mutex_trylock(lock), 0) << "every lock let go";
    pthread_mutex_unlock(lock);
  }
}

} // namespace
