#include "support/port_harness.h"

#include <algorithm>
#include <cstdio>

namespace sfptest {

std::vector<TraceRecord> records(const char *buffer) {
  std::vector<TraceRecord> out;
  pelog_hdl hdl = pelog_find(buffer);
  if (hdl == nullptr) {
    return out;
  }
  pelog_for_each(
      hdl,
      [](void *ctx, uint32_t number, const char *, const char *text) {
        static_cast<std::vector<TraceRecord> *>(ctx)->push_back({number, text});
      },
      &out);
  return out;
}

std::vector<TraceRecord> records_of(const char *buffer, const sfpdrv::TraceMsg &msg) {
  std::vector<TraceRecord> all = records(buffer);
  std::erase_if(all, [&](const TraceRecord &r) { return r.number != msg.number; });
  return all;
}

std::string text_of(const char *buffer, const sfpdrv::TraceMsg &msg) {
  const auto found = records_of(buffer, msg);
  return found.empty() ? "" : found[0].text;
}

void clear_traces() {
  for (const char *name : {"sfp_err", "sfp_evt"}) {
    if (pelog_hdl hdl = pelog_find(name)) {
      pelog_clear(hdl);
    }
  }
}

std::string bus(const sfpsim::Module &module) {
  std::string out;
  for (const sfpsim::Access &a : module.log()) {
    const bool write = a.bus == sfpsim::Bus::Write;
    char token[32];
    int used = std::snprintf(token, sizeof token, " %c%u.%u",
                             write                        ? 'w'
                             : a.bus == sfpsim::Bus::Read ? 'r'
                                                          : 'b',
                             a.page, a.offset);
    if (a.length != 1) {
      used += std::snprintf(token + used, sizeof token - used, "+%u", a.length);
    }
    if (write) {
      std::snprintf(token + used, sizeof token - used, "=%02x", a.bytes.empty() ? 0u : a.bytes[0]);
    }
    out += token;
    out += a.status != 0 ? "!" : "";
  }
  return out.empty() ? out : out.substr(1);
}

std::vector<uint32_t> waits() {
  std::vector<uint32_t> out(platform_clock_waits(nullptr, 0));
  out.resize(platform_clock_waits(out.data(), out.size()));
  return out;
}

std::vector<sfp_port_ctx *> registry() {
  std::vector<sfp_port_ctx *> out;
  for (sfp_port_ctx *p = sfp_get_ctx()->ports; p != nullptr; p = p->next) {
    out.push_back(p);
  }
  return out;
}

void *test_evm() {
  static event_manager *manager = event_manager_create("sfpdrv-tests");
  return manager;
}

std::unique_ptr<sfpsim::Module> module_from(const std::string &profile) {
  const sfpsim::Profile *p = sfpsim::find_profile(profile);
  EXPECT_NE(p, nullptr) << "no profile " << profile;
  return p != nullptr ? std::make_unique<sfpsim::Module>(*p) : std::make_unique<sfpsim::Module>();
}

sfp_platform_ops ops_for(const sfpsim::Module &module, int32_t controller, int32_t port) {
  sfp_platform_ops ops = module.platform_ops(controller, port);
  ops.evm = test_evm();
  return ops;
}

// Brings the library up with one creation, so that every test finds its
// trace buffers open whatever ran before it in the process.
void ensure_library_initialised() {
  if (sfp_get_ctx()->initialised != 0) {
    return;
  }
  auto module = module_from("1000base-sx");
  const sfp_platform_ops ops = ops_for(*module);
  sfp_port_create_result result{};
  ASSERT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
  ASSERT_EQ(sfp_port_delete(result.handle), SFP_RC_OK);
}

void PortTest::SetUp() {
  platform_clock_set_virtual(1);
  platform_clock_reset();
  ensure_library_initialised();
  ASSERT_TRUE(registry().empty()) << "an earlier test left ports registered";
  clear_traces();
}

void PortTest::TearDown() {
  for (sfp_port_ctx *port : created_) {
    sfp_port_delete(port);
  }
  created_.clear();
  retired_modules_.clear();
  EXPECT_TRUE(registry().empty());
}

sfp_port_ctx *PortTest::create(const sfp_platform_ops &ops, sfp_rc *status) {
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&ops, &result);
  if (status != nullptr) {
    *status = rc;
  }
  // Also remember contexts left registered by a failed initialisation.
  for (sfp_port_ctx *p : registry()) {
    if (p->opaque == ops.opaque &&
        std::find(created_.begin(), created_.end(), p) == created_.end()) {
      created_.push_back(p);
    }
  }
  return result.handle;
}

sfp_port_ctx *PortTest::create_on(const std::string &profile,
                                  std::unique_ptr<sfpsim::Module> &module) {
  // A module freed while its port is still registered could give its
  // address, the port's key, to the next module: keep every module of the
  // test alive until its ports are deleted.
  if (module != nullptr) {
    retired_modules_.push_back(std::move(module));
  }
  module = module_from(profile);
  sfp_rc rc = 0;
  sfp_port_ctx *port = create(ops_for(*module), &rc);
  EXPECT_EQ(rc, SFP_RC_OK);
  EXPECT_NE(port, nullptr);
  module->clear_log();
  clear_traces();
  platform_clock_reset();
  return port;
}

} // namespace sfptest
