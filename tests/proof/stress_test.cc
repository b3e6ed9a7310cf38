// Many threads at once, within the threading rules: each SFP worker owns
// its ports (creates, uses, deletes them); each adapter worker owns an
// adapter port and polls it while a plugger thread inserts and removes the
// SFPs of every adapter. Bounded by iterations; the waits run on the
// virtual clock. Run under the thread sanitizer (tsan preset) and the
// address sanitizer (debug preset) it must stay clean.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qsa/qsa_harness.h"

namespace {

constexpr int kSfpWorkers = 4;
constexpr int kAdapterWorkers = 4;
constexpr int kRounds = 150;

const char *const kSfpProfiles[] = {"10gbase-sr", "25gbase-sr", "1000base-t", "10g-tunable-dwdm"};
const char *const kAdapterProfiles[] = {"10gbase-sr", "1000base-sx", "1000base-t", "25gbase-sr"};

class StressTest : public qsatest::QsaTest {};

// One SFP port's life: create, read and check, snapshots, controls, delete.
// Each worker is a cage of its own, with its own port number (and so its own
// debug files), as on a platform.
void sfp_round(const char *profile, int32_t cage, std::atomic<int> &failures) {
  auto module = sfptest::module_from(profile);
  module->set_logging(false);
  sfp_platform_ops ops = sfptest::ops_for(*module, 0, cage);
  ops.module_present = 1;
  sfp_port_create_result result{};
  if (sfp_port_create(&ops, &result) != SFP_RC_OK || result.handle == nullptr) {
    ++failures;
    return;
  }
  sfp_port_ctx *port = result.handle;
  uint8_t bytes[96] = {};
  const bool read = sfp_port_read(port, 0, SFP_PAGE_A0, sizeof bytes, bytes) == SFP_RC_OK &&
                    std::memcmp(bytes, module->memory().a0.data(), sizeof bytes) == 0;
  sfp_hw_status_rec status{};
  sfp_hw_info_rec info{};
  const bool ok =
      read && sfp_port_hw_status(port, &status) == SFP_RC_OK &&
      sfp_port_hw_info(port, &info) == SFP_RC_OK && sfp_port_admin_state(port, 0, 1) == SFP_RC_OK &&
      sfp_port_tx_disable(port) == SFP_RC_OK && sfp_port_admin_state(port, 1, 0) == SFP_RC_OK;
  char *text = nullptr;
  uint32_t size = 0;
  const bool dumped = sfp_port_read_reg(port, &text, &size) == SFP_RC_OK;
  std::free(text);
  failures += ok && dumped ? 0 : 1;
  failures += sfp_port_delete(port) == SFP_RC_OK ? 0 : 1;
}

// An adapter the plugger changes while its worker polls it.
struct Cage {
  sfpsim::Adapter adapter;
  std::vector<std::unique_ptr<sfpsim::Module>> modules; // seated in turn
};

qsa_port_ctx *create_adapter_port(Cage &cage) {
  qsa_platform_ops ops = cage.adapter.platform_ops(qsatest::kPort, 1);
  ops.evm = sfptest::test_evm();
  qsa_port_create_result result{};
  qsa_port_create(&ops, &result);
  return result.handle;
}

// Deletes the adapter port with any SFP context a refused creation left.
void delete_adapter_port(qsa_port_ctx *port, std::atomic<int> &failures) {
  failures += qsa_port_delete(port) == SFP_RC_OK ? 0 : 1;
}

// The adapter worker: operations, polls, and a new adapter port when a poll
// found a change (as a platform does), for kRounds rounds.
void adapter_worker(Cage &cage, std::atomic<int> &failures) {
  qsa_port_ctx *port = create_adapter_port(cage);
  if (port == nullptr) {
    ++failures;
    return;
  }
  for (int round = 0; round < kRounds; ++round) {
    uint8_t byte = 0;
    failures +=
        qsa_port_read(port, 222, QSA_PAGE_UPPER(0), 1, &byte) == SFP_RC_OK && byte == 0xF2 ? 0 : 1;
    sfp_hw_status_rec status{};
    qsa_port_hw_status(port, &status); // the SFP may be gone: any status will do
    qsa_port_admin_state(port, round % 2, (round + 1) % 2);
    qsa_port_tx_disable(port);
    const bool had_sfp = port->sfp_port != nullptr;
    failures += qsa_port_detect_sfp_oir(port) == SFP_RC_OK ? 0 : 1;
    if (round % 5 == 4 || (had_sfp && port->sfp_port == nullptr)) {
      delete_adapter_port(port, failures);
      port = create_adapter_port(cage);
      if (port == nullptr) {
        ++failures;
        return;
      }
    }
  }
  delete_adapter_port(port, failures);
}

// The plugger: inserts, swaps and removes the adapters' SFPs.
void plugger(std::vector<std::unique_ptr<Cage>> &cages, std::atomic<bool> &stop) {
  int step = 0;
  while (!stop.load()) {
    Cage &cage = *cages[static_cast<std::size_t>(step) % cages.size()];
    if (step % 3 == 2) {
      cage.adapter.remove();
    } else {
      const std::size_t next = static_cast<std::size_t>(step / 3) % cage.modules.size();
      cage.adapter.seat(*cage.modules[next]);
    }
    ++step;
    std::this_thread::yield();
  }
}

TEST_F(StressTest, ManyPortsOnManyThreads) {
  std::vector<std::unique_ptr<Cage>> cages;
  for (int i = 0; i < kAdapterWorkers; ++i) {
    auto cage = std::make_unique<Cage>();
    for (const char *profile : {kAdapterProfiles[i], kAdapterProfiles[(i + 1) % 4]}) {
      cage->modules.push_back(sfptest::module_from(profile));
      cage->modules.back()->set_logging(false);
    }
    cage->adapter.seat(*cage->modules[0]);
    cages.push_back(std::move(cage));
  }
  std::atomic<int> failures{0};
  std::atomic<bool> stop{false};
  std::thread plug(plugger, std::ref(cages), std::ref(stop));
  std::vector<std::thread> workers;
  for (int i = 0; i < kSfpWorkers; ++i) {
    workers.emplace_back([i, &failures] {
      for (int round = 0; round < kRounds; ++round) {
        sfp_round(kSfpProfiles[(i + round) % 4], 40 + i, failures);
      }
    });
  }
  for (int i = 0; i < kAdapterWorkers; ++i) {
    workers.emplace_back([&cages, i, &failures] { adapter_worker(*cages[i], failures); });
  }
  for (std::thread &t : workers) {
    t.join();
  }
  stop = true;
  plug.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_TRUE(sfptest::registry().empty()) << "a port outlived its worker";
  EXPECT_TRUE(qsatest::adapter_registry().empty()) << "an adapter port outlived its worker";
}

} // namespace
