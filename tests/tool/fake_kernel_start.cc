// The test-only sfpctl_fake_kernel: before main, serves the simulated module
// that SFPDRV_FAKE_PROFILE names through the Linux backends' system-call
// seam, so that --i2c /dev/i2c-fake, --eeprom-file /sys/fake/sfp0/eeprom and
// --ethtool fake0 run the real backend code.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/backends/fake_kernel.h"

namespace {

const bool g_installed = [] {
  std::string error;
  if (!sfpdrv::fake::install_fake_kernel_from_environment(error)) {
    std::fprintf(stderr, "sfpctl_fake_kernel: %s\n", error.c_str());
    std::exit(2);
  }
  return true;
}();

} // namespace
