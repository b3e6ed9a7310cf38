// Helpers of the port control tests: compact views of the module's bus, of
// the trace buffers and of the virtual clock.
#ifndef SFPDRV_TESTS_CONTROL_HARNESS_H
#define SFPDRV_TESTS_CONTROL_HARNESS_H

#include <cstdio>
#include <string>
#include <vector>

#include "control/messages.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace ctltest {

// The module's calls, one token each: "r1.120" a read of page 1 at offset
// 120, "w1.120=06" a write with its bytes in hex; "!" marks a failed call.
inline std::string bus(const sfpsim::Module &module) {
  std::string out;
  for (const sfpsim::Access &a : module.log()) {
    char token[16];
    std::snprintf(token, sizeof token, "%s%c%u.%u", out.empty() ? "" : " ",
                  a.bus == sfpsim::Bus::Write ? 'w' : 'r', a.page, a.offset);
    out += token;
    for (std::size_t i = 0; a.bus == sfpsim::Bus::Write && i < a.bytes.size(); ++i) {
      std::snprintf(token, sizeof token, "%c%02x", i == 0 ? '=' : ',', a.bytes[i]);
      out += token;
    }
    out += a.status != 0 ? "!" : "";
  }
  return out;
}

// Message numbers of the records in `buffer`, oldest first.
inline std::vector<uint32_t> numbers(const char *buffer) {
  std::vector<uint32_t> out;
  for (const sfptest::TraceRecord &r : sfptest::records(buffer)) {
    out.push_back(r.number);
  }
  return out;
}

// Text of the first record of `m` in `buffer`, or "" when there is none.
inline std::string text_of(const char *buffer, const sfpdrv::TraceMsg &m) {
  const auto found = sfptest::records_of(buffer, m);
  return found.empty() ? "" : found[0].text;
}

inline std::vector<uint32_t> waits() {
  std::vector<uint32_t> out(16);
  out.resize(platform_clock_waits(out.data(), out.size()));
  return out;
}

class ControlTest : public sfptest::PortTest {
protected:
  // A port on a fresh module of `profile`, of transceiver type `type`, with
  // the log, the traces and the clock emptied.
  sfp_port_ctx *open(const std::string &profile, sfp_xcvr_type type) {
    sfp_port_ctx *port = create_on(profile, module_);
    port->xcvr_type = type;
    restart();
    return port;
  }
  void restart() {
    module_->clear_log();
    sfptest::clear_traces();
    platform_clock_reset();
  }

  std::unique_ptr<sfpsim::Module> module_;
};

} // namespace ctltest

#endif // SFPDRV_TESTS_CONTROL_HARNESS_H
