// Many threads creating and deleting ports at once.
#include <algorithm>
#include <latch>
#include <set>
#include <thread>

#include "support/port_harness.h"

namespace {

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
