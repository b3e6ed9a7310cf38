// The fixture of the port control tests: ports on simulated modules, with
// the module's bus, the traces and the virtual clock emptied.
#ifndef SFPDRV_TESTS_CONTROL_HARNESS_H
#define SFPDRV_TESTS_CONTROL_HARNESS_H

#include <memory>
#include <string>
#include <vector>

#include "control/messages.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace ctltest {

using sfptest::bus;
using sfptest::records_of;
using sfptest::text_of;
using sfptest::waits;
using Numbers = std::vector<uint32_t>;

class ControlTest : public sfptest::PortTest {
protected:
  // A port of type `type` on a fresh module of `profile`. Earlier modules
  // stay alive, so that a new one cannot take an earlier one's address, the
  // registry's key.
  sfp_port_ctx *open(const std::string &profile, sfp_xcvr_type type) {
    sfp_port_ctx *port = create_on(profile, modules_.emplace_back());
    module_ = modules_.back().get();
    port->xcvr_type = type;
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
