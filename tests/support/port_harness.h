// Helpers for tests that drive the library through simulated modules.
#ifndef SFPDRV_TESTS_PORT_HARNESS_H
#define SFPDRV_TESTS_PORT_HARNESS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/trace.h"
#include "platform/evm.h"
#include "platform/pelog.h"
#include "platform/psleep.h"
#include "sfpdrv/sfpdrv.h"
#include "sfpsim/module.h"

namespace sfptest {

struct TraceRecord {
  uint32_t number;
  std::string text;
};

// The records of a trace buffer, oldest first (empty when it does not exist).
std::vector<TraceRecord> records(const char *buffer);

// Records of message `msg` in `buffer`.
std::vector<TraceRecord> records_of(const char *buffer, const sfpdrv::TraceMsg &msg);

// Text of the first record of `msg` in `buffer`, or "" when there is none.
std::string text_of(const char *buffer, const sfpdrv::TraceMsg &msg);

// Empties the library's two trace buffers.
void clear_traces();

// The module's calls, one token each: "r1.120" a read of page 1 at offset
// 120, "w1.120=06" a write with its first byte, "b" a bit-bang read; "+16"
// follows a length other than 1 and "!" marks a failed call.
std::string bus(const sfpsim::Module &module);

// The waits of the virtual clock since its reset.
std::vector<uint32_t> waits();

// The registry's contexts, head first.
std::vector<sfp_port_ctx *> registry();

// The process's event manager for creations.
void *test_evm();

// A simulated module from a ready-made profile, with its PHY if it has one.
std::unique_ptr<sfpsim::Module> module_from(const std::string &profile);

// A creation record for `module` with the test event manager.
sfp_platform_ops ops_for(const sfpsim::Module &module, int32_t controller = 0, int32_t port = 0);

// Base fixture: virtual clock on, traces cleared, and every port created
// through create() deleted at the end, so that the registry is left empty.
class PortTest : public ::testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;

  // Creates a port; the status goes to `status` and the handle is returned
  // (null when the creation gave none).
  sfp_port_ctx *create(const sfp_platform_ops &ops, sfp_rc *status = nullptr);

  // A port on a fresh module of `profile`, which `module` receives; the
  // module's log, the traces and the clock are emptied after the creation.
  sfp_port_ctx *create_on(const std::string &profile, std::unique_ptr<sfpsim::Module> &module);

  std::vector<sfp_port_ctx *> created_;
  std::vector<std::unique_ptr<sfpsim::Module>> retired_modules_;
};

} // namespace sfptest

#endif // SFPDRV_TESTS_PORT_HARNESS_H
