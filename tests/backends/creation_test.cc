// A port created through each backend over the fake kernel gives the same
// identity, status snapshot and reports as one created on the simulated
// module directly.
#include <gtest/gtest.h>
#include <linux/i2c.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "backends/fake_kernel.h"
#include "sfpdrv/linux.h"
#include "support/port_harness.h"

namespace {

using sfpdrv::fake::FakeKernel;

enum class Source { I2c, I2cSmbus, File, Ethtool };

struct Outcome {
  sfp_rc create = 0;
  sfp_xcvr_type type = 0;
  sfp_rc status_rc = 0;
  sfp_hw_status_rec status{};
  sfp_rc report_rc = 0;
  std::string report;
  sfp_rc decode_rc = 0;
  std::string decoded;
};

class CreationThroughBackends
    : public sfptest::PortTest,
      public ::testing::WithParamInterface<std::tuple<Source, const char *>> {
protected:
  Outcome run(const sfp_platform_ops &ops) {
    Outcome out;
    sfp_port_ctx *port = create(ops, &out.create);
    if (port == nullptr) {
      return out;
    }
    out.type = port->xcvr_type;
    out.status_rc = sfp_port_hw_status(port, &out.status);
    std::string text(SFP_EEPROM_REPORT_SIZE, '\0');
    out.report_rc = sfp_drv_sfp_get_eeprom_str(port, text.data(), SFP_EEPROM_REPORT_SIZE);
    out.report = text.c_str();
    char *decoded = nullptr;
    uint32_t length = 0;
    out.decode_rc = sfp_port_phy_reg_decode(port, &decoded, &length);
    if (decoded != nullptr) {
      out.decoded = decoded;
      free(decoded);
    }
    sfp_port_delete(port);
    created_.clear();
    return out;
  }
};

TEST_P(CreationThroughBackends, GivesTheSameResultsAsTheModuleDirectly) {
  const auto [source, profile] = GetParam();
  auto direct_module = sfptest::module_from(profile);
  const sfp_platform_ops direct_ops = sfptest::ops_for(*direct_module, 1, 2);
  const Outcome direct = run(direct_ops);
  ASSERT_EQ(direct.create, 0u);

  auto module = sfptest::module_from(profile);
  FakeKernel kernel(*module);
  sfp_linux_source *handle = nullptr;
  const sfp_linux_i2c_options options{0, 0, 0, direct_ops.phy_word_access};
  switch (source) {
  case Source::I2cSmbus:
    kernel.i2c_funcs = I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_BYTE_DATA;
    [[fallthrough]];
  case Source::I2c:
    ASSERT_EQ(sfp_linux_open_i2c(kernel.i2c_device.c_str(), &options, &handle), 0u);
    break;
  case Source::File:
    ASSERT_EQ(sfp_linux_open_eeprom_file(kernel.eeprom_path.c_str(), &handle), 0u);
    break;
  case Source::Ethtool:
    ASSERT_EQ(sfp_linux_open_ethtool(kernel.ifname.c_str(), &handle), 0u);
    break;
  }
  sfp_platform_ops ops{};
  ops.controller = 1;
  ops.port = 2;
  ops.evm = sfptest::test_evm();
  ops.bus_mode = direct_ops.bus_mode;
  ASSERT_EQ(sfp_linux_fill_ops(handle, &ops), 0u);
  EXPECT_EQ(ops.controller, 1);
  EXPECT_EQ(ops.evm, sfptest::test_evm());
  const Outcome backend = run(ops);
  sfp_linux_close(handle);

  EXPECT_EQ(backend.create, direct.create);
  EXPECT_EQ(backend.type, direct.type);
  EXPECT_EQ(backend.status_rc, direct.status_rc);
  EXPECT_EQ(std::memcmp(&backend.status, &direct.status, sizeof direct.status), 0);
  EXPECT_EQ(backend.report_rc, direct.report_rc);
  EXPECT_EQ(backend.report, direct.report);
  EXPECT_EQ(backend.decode_rc, direct.decode_rc);
  EXPECT_EQ(backend.decoded, direct.decoded);
  EXPECT_FALSE(direct.report.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Optics, CreationThroughBackends,
    ::testing::Combine(::testing::Values(Source::I2c, Source::I2cSmbus, Source::File),
                       ::testing::Values("25gbase-sr", "10g-tunable-dwdm", "1000base-sx")));
// Through ethtool the table is a page number of each read: a tunable
// module's own table select is never written, and it is identified as
// anywhere else.
INSTANTIATE_TEST_SUITE_P(ReadOnly, CreationThroughBackends,
                         ::testing::Combine(::testing::Values(Source::Ethtool),
                                            ::testing::Values("25gbase-sr", "10g-tunable-dwdm",
                                                              "1000base-sx")));
INSTANTIATE_TEST_SUITE_P(Copper, CreationThroughBackends,
                         ::testing::Combine(::testing::Values(Source::I2c, Source::I2cSmbus),
                                            ::testing::Values("1000base-t")));

} // namespace
