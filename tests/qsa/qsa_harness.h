// Helpers for tests that drive the adapter layer through simulated adapters.
#ifndef SFPDRV_TESTS_QSA_HARNESS_H
#define SFPDRV_TESTS_QSA_HARNESS_H

#include <memory>
#include <string>
#include <vector>

#include "qsa/internal.h"
#include "sfpsim/adapter.h"
#include "support/port_harness.h"

namespace qsatest {

inline constexpr int32_t kPort = 3;
inline constexpr int kBusError = 0x5E;

// The adapter registry's contexts, head first.
std::vector<qsa_port_ctx *> adapter_registry();

// Base fixture: the port fixture's setup, the adapter layer's traces
// cleared, and every adapter port the test made deleted at its end together
// with whatever SFP context it left behind.
class QsaTest : public sfptest::PortTest {
public:
  // A simulated adapter owned by the test, with a module of `profile`
  // seated (none for null).
  sfpsim::Adapter &new_adapter(const char *profile = nullptr);
  // A module owned by the test.
  sfpsim::Module &new_module(const std::string &profile);

  // Creates an adapter port; the status goes to `status`, the handle is
  // returned (null when the creation gave none).
  qsa_port_ctx *create_adapter(const qsa_platform_ops &ops, sfp_rc *status = nullptr);
  qsa_port_ctx *create_adapter(sfpsim::Adapter &adapter, uint32_t module_present = 1);

protected:
  void SetUp() override;
  void TearDown() override;

  std::vector<std::unique_ptr<sfpsim::Adapter>> adapters_;
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

} // namespace qsatest

#endif // SFPDRV_TESTS_QSA_HARNESS_H
