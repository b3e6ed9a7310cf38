// Helpers for tests that drive the adapter layer through simulated adapters.
#ifndef SFPDRV_TESTS_QSA_HARNESS_H
#define SFPDRV_TESTS_QSA_HARNESS_H

#include <cstdio>
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
inline std::vector<qsa_port_ctx *> adapter_registry() {
  std::vector<qsa_port_ctx *> out;
  for (qsa_port_ctx *p = qsa_get_ctx()->ports; p != nullptr; p = p->next) {
    out.push_back(p);
  }
  return out;
}

// The texts of message `msg` in the adapter layer's two buffers.
inline std::vector<std::string> texts_of(const sfpdrv::TraceMsg &msg) {
  std::vector<std::string> out;
  for (const char *buffer : {"qsa_evt", "qsa_err"}) {
    for (const auto &r : sfptest::records_of(buffer, msg)) {
      out.push_back(r.text);
    }
  }
  return out;
}

// The adapter's log in short: "w0:127=04" for a write (page argument,
// offset, first byte), "r4:200" for a read.
inline std::string bus_summary(const sfpsim::Adapter &adapter) {
  std::string out;
  for (const auto &a : adapter.log()) {
    char piece[24];
    if (a.write) {
      std::snprintf(piece, sizeof piece, " w%u:%u=%02x", a.page, a.offset, a.bytes.at(0));
    } else {
      std::snprintf(piece, sizeof piece, " r%u:%u", a.page, a.offset);
    }
    out += piece;
  }
  return out.empty() ? out : out.substr(1);
}

inline void clear_qsa_traces() {
  for (const char *name : {"qsa_err", "qsa_evt"}) {
    if (pelog_hdl hdl = pelog_find(name)) {
      pelog_clear(hdl);
    }
  }
}

// The port fixture, with the adapter layer's traces cleared, and every
// adapter port deleted at the end together with any SFP context it left.
class QsaTest : public sfptest::PortTest {
public:
  // An adapter owned by the test, with a module of `profile` seated.
  sfpsim::Adapter &new_adapter(const char *profile = nullptr) {
    auto &adapter = *adapters_.emplace_back(std::make_unique<sfpsim::Adapter>());
    if (profile != nullptr) {
      adapter.seat(new_module(profile));
    }
    return adapter;
  }
  sfpsim::Module &new_module(const std::string &profile) {
    return *modules_.emplace_back(sfptest::module_from(profile));
  }
  // The handle of a creation (null if none); its status goes to `status`.
  qsa_port_ctx *create_adapter(qsa_platform_ops ops, sfp_rc *status = nullptr) {
    ops.evm = sfptest::test_evm();
    qsa_port_create_result result{};
    const sfp_rc rc = qsa_port_create(&ops, &result);
    if (status != nullptr) {
      *status = rc;
    }
    return result.handle;
  }
  qsa_port_ctx *create_adapter(sfpsim::Adapter &adapter, uint32_t module_present = 1) {
    sfp_rc rc = 0;
    qsa_port_ctx *port = create_adapter(adapter.platform_ops(kPort, module_present), &rc);
    EXPECT_EQ(rc, SFP_RC_OK);
    EXPECT_NE(port, nullptr);
    return port;
  }

protected:
  void SetUp() override {
    PortTest::SetUp();
    ASSERT_TRUE(adapter_registry().empty()) << "an earlier test left adapter ports";
    clear_qsa_traces();
  }
  void TearDown() override {
    for (qsa_port_ctx *adapter : adapter_registry()) {
      for (sfp_port_ctx *sfp : sfptest::registry()) {
        if (sfp->opaque == adapter && sfp != adapter->sfp_port) {
          sfp_port_delete(sfp); // left by a failed SFP creation
        }
      }
      EXPECT_EQ(qsa_port_delete(adapter), SFP_RC_OK);
    }
    PortTest::TearDown();
  }

  std::vector<std::unique_ptr<sfpsim::Adapter>> adapters_;
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

} // namespace qsatest

#endif // SFPDRV_TESTS_QSA_HARNESS_H
