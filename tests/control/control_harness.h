// Helpers of the port control tests: compact views of the module's bus, of
// the trace buffers and of the virtual clock.
#ifndef SFPDRV_TESTS_CONTROL_HARNESS_H
#define SFPDRV_TESTS_CONTROL_HARNESS_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "control/messages.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace ctltest {

using sfptest::records_of;
using Numbers = std::vector<uint32_t>;

// The module's calls, one token each: "r1.120" a read of page 1 at offset
// 120, "w1.120=06" a one-byte write; "!" marks a failed call.
inline std::string bus(const sfpsim::Module &module) {
  std::string out;
  for (const sfpsim::Access &a : module.log()) {
    char token[24];
    const bool write = a.bus == sfpsim::Bus::Write;
    std::snprintf(token, sizeof token, " %c%u.%u", write ? 'w' : 'r', a.page, a.offset);
    out += token;
    if (write) {
      std::snprintf(token, sizeof token, "=%02x", a.bytes.empty() ? 0u : a.bytes[0]);
      out += token;
    }
    out += a.status != 0 ? "!" : "";
  }
  return out.empty() ? out : out.substr(1);
}

// Text of the first record of `m` in `buffer`, or "" when there is none.
inline std::string text_of(const char *buffer, const sfpdrv::TraceMsg &m) {
  const auto found = records_of(buffer, m);
  return found.empty() ? "" : found[0].text;
}

inline Numbers waits() {
  Numbers out(16);
  out.resize(platform_clock_waits(out.data(), out.size()));
  return out;
}

class ControlTest : public sfptest::PortTest {
protected:
  // A port of type `type` on a fresh module of `profile`; log, traces and
  // clock emptied. Earlier modules stay alive, so that a new one cannot take
  // an earlier one's address, the registry's key.
  sfp_port_ctx *open(const std::string &profile, sfp_xcvr_type type) {
    sfp_port_ctx *port = create_on(profile, modules_.emplace_back());
    module_ = modules_.back().get();
    port->xcvr_type = type;
    restart();
    return port;
  }
  void restart() {
    module_->clear_log();
    sfptest::clear_traces();
    platform_clock_reset();
  }
  uint8_t &a2(uint8_t offset) { return module_->memory().a2_lower[offset]; }

  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
  sfpsim::Module *module_ = nullptr;
};

} // namespace ctltest

#endif // SFPDRV_TESTS_CONTROL_HARNESS_H
