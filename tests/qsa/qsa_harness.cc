#include "qsa_harness.h"

#include <algorithm>

namespace qsatest {

std::vector<qsa_port_ctx *> adapter_registry() {
  std::vector<qsa_port_ctx *> out;
  for (qsa_port_ctx *p = qsa_get_ctx()->ports; p != nullptr; p = p->next) {
    out.push_back(p);
  }
  return out;
}

void QsaTest::SetUp() {
  PortTest::SetUp();
  ASSERT_TRUE(adapter_registry().empty()) << "an earlier test left adapter ports registered";
  for (const char *name : {"qsa_err", "qsa_evt"}) {
    if (pelog_hdl hdl = pelog_find(name)) {
      pelog_clear(hdl);
    }
  }
}

void QsaTest::TearDown() {
  for (qsa_port_ctx *adapter : adapter_registry()) {
    // An SFP context whose creation failed stays registered under the
    // adapter port as its key.
    for (sfp_port_ctx *sfp : sfptest::registry()) {
      if (sfp->opaque == adapter && sfp != adapter->sfp_port) {
        sfp_port_delete(sfp);
      }
    }
    EXPECT_EQ(qsa_port_delete(adapter), SFP_RC_OK);
  }
  PortTest::TearDown();
}

sfpsim::Adapter &QsaTest::new_adapter(const char *profile) {
  auto &adapter = *adapters_.emplace_back(std::make_unique<sfpsim::Adapter>());
  if (profile != nullptr) {
    adapter.seat(new_module(profile));
  }
  return adapter;
}

sfpsim::Module &QsaTest::new_module(const std::string &profile) {
  return *modules_.emplace_back(sfptest::module_from(profile));
}

qsa_port_ctx *QsaTest::create_adapter(const qsa_platform_ops &ops, sfp_rc *status) {
  qsa_port_create_result result{};
  const sfp_rc rc = qsa_port_create(&ops, &result);
  if (status != nullptr) {
    *status = rc;
  }
  return result.handle;
}

qsa_port_ctx *QsaTest::create_adapter(sfpsim::Adapter &adapter, uint32_t module_present) {
  qsa_platform_ops ops = adapter.platform_ops(kPort, module_present);
  ops.evm = sfptest::test_evm();
  sfp_rc rc = 0;
  qsa_port_ctx *port = create_adapter(ops, &rc);
  EXPECT_EQ(rc, SFP_RC_OK);
  EXPECT_NE(port, nullptr);
  return port;
}

} // namespace qsatest
