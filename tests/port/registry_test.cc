// Port creation, the registry and deletion.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "common/alloc.h"
#include "port/messages.h"
#include "support/port_harness.h"

namespace {

using sfptest::records;
using sfptest::records_of;
using sfptest::registry;

class RegistryTest : public sfptest::PortTest {};

TEST_F(RegistryTest, SameOpaqueGivesTheSameContextWithoutTouchingTheModule) {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *first = create_on("10gbase-sr", module);
  const auto accesses = module->access_count();

  sfp_platform_ops again = sfptest::ops_for(*module, 5, 9);
  again.read_cb = nullptr; // ignored for an initialised context
  again.module_present = 1;
  sfp_port_create_result result{};
  ASSERT_EQ(sfp_port_create(&again, &result), SFP_RC_OK);
  EXPECT_EQ(result.handle, first);
  EXPECT_EQ(result.module_present, 1u);
  EXPECT_EQ(result.status, SFP_RC_OK);
  EXPECT_EQ(module->access_count(), accesses);
  EXPECT_EQ(first->port, 0) << "the new parameters are ignored";
  EXPECT_NE(first->read_cb, nullptr);
  EXPECT_EQ(registry().size(), 1u);
}

TEST_F(RegistryTest, CreationTakesOverTheCallerRecordAndReportsIt) {
  auto module = sfptest::module_from("10gbase-sr");
  sfp_platform_ops ops = sfptest::ops_for(*module, 3, 17);
  // Distinct values, so that a field copied from the wrong one shows.
  const sfp_phy_cb phy_read = [](void *, uint8_t, uint8_t, void *) { return 1; };
  const sfp_phy_cb phy_write = [](void *, uint8_t, uint8_t, void *) { return 2; };
  ops.phy_read_cb = phy_read;
  ops.phy_write_cb = phy_write;
  ops.rate_code = 2;
  ops.bus_mode = 3;
  ops.skip_soft_tx = 4;
  ops.oper_speed = 25000;
  ops.phy_word_access = 6;
  ops.sonet_capable = 7;
  ops.eeprom_len = 4096; // more than the record holds: 512 bytes are copied
  sfp_port_ctx *port = create(ops);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->controller, 3);
  EXPECT_EQ(port->phy_read_cb, phy_read);
  EXPECT_EQ(port->phy_write_cb, phy_write);
  EXPECT_EQ(port->bitbang_read_cb, ops.bitbang_read_cb);
  EXPECT_EQ((std::array{port->rate_code, port->bus_mode, port->skip_soft_tx, port->oper_speed,
                        port->phy_word_access, port->sonet_capable}),
            (std::array{2u, 3u, 4u, 25000u, 6u, 7u}));
  EXPECT_EQ(0, std::memcmp(port->eeprom, ops.eeprom, SFP_EEPROM_CALLER_LEN));
  EXPECT_EQ(port->spaces.a2, 1u);

  const auto copying = records_of("sfp_evt", sfpdrv::msg::kCopyingBytes);
  ASSERT_EQ(copying.size(), 1u);
  EXPECT_EQ(copying[0].text,
            "Controller 3 Port 17: Copying 512 bytes over to the sfp register structure\n");
  const auto done = records_of("sfp_evt", sfpdrv::msg::kInitDone);
  ASSERT_EQ(done.size(), 1u);
  std::string summary;
  for (int i = 0; i < 32; ++i) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x ", ops.eeprom[i]);
    summary += hex;
  }
  EXPECT_EQ(done[0].text, "Controller 3 Port 17: Init done: " + summary + "\n");

  // An empty image copies nothing and is an unknown module.
  sfp_platform_ops empty = sfptest::ops_for(*module, 0, 1);
  empty.opaque = &empty;
  empty.eeprom_len = 0;
  sfp_rc rc = 0;
  EXPECT_EQ(create(empty, &rc), nullptr);
  EXPECT_EQ(rc, SFP_RC_UNSUPPORTED);
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kInvalidDeviceType).size(), 1u);
  const sfp_port_ctx *blank = registry().front();
  EXPECT_EQ(std::count(blank->eeprom, blank->eeprom + SFP_EEPROM_IMAGE_LEN, 0),
            static_cast<long>(SFP_EEPROM_IMAGE_LEN));
}

TEST_F(RegistryTest, EveryPortInitialisationSetsTheProcessWideSelectFlags) {
  std::array<std::unique_ptr<sfpsim::Module>, 3> modules;
  const std::array<std::array<uint32_t, 2>, 3> flags{{{1, 0}, {0, 1}, {0, 0}}};
  for (std::size_t i = 0; i < flags.size(); ++i) {
    modules[i] = sfptest::module_from("1000base-sx");
    sfp_platform_ops ops = sfptest::ops_for(*modules[i]);
    ops.no_write_page_select = flags[i][0];
    ops.no_read_page_select = flags[i][1];
    ASSERT_NE(create(ops), nullptr);
    EXPECT_EQ((std::array{sfp_get_ctx()->no_write_page_select, sfp_get_ctx()->no_read_page_select}),
              flags[i]);
  }
}

TEST_F(RegistryTest, FailedInitialisationLeavesAReusableUninitialisedContext) {
  sfpsim::Module module; // blank: not an SFP
  sfp_platform_ops ops = sfptest::ops_for(module, 2, 4);
  sfp_port_create_result result{};
  EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_UNSUPPORTED);
  EXPECT_EQ(result.handle, nullptr);
  EXPECT_EQ(result.status, SFP_RC_UNSUPPORTED);
  ASSERT_EQ(registry().size(), 1u);
  sfp_port_ctx *ctx = registry().front();
  created_.push_back(ctx);
  EXPECT_EQ(ctx->initialised, 0u);

  uint8_t byte = 0;
  EXPECT_EQ(sfp_port_read(ctx, 0, 0, 1, &byte), SFP_RC_INVALID);
  const auto refused = records_of("sfp_err", sfpdrv::msg::kNotInitialised);
  ASSERT_EQ(refused.size(), 1u);
  char expected[160];
  std::snprintf(expected, sizeof expected,
                "Controller 2 Port 4: SFP instance not fully initialized.  Hdl 0x%lx  Opaque "
                "0x%lx at line %d\n",
                reinterpret_cast<unsigned long>(ctx), reinterpret_cast<unsigned long>(&module),
                101);
  EXPECT_EQ(refused[0].text, expected);
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(sfp_port_read_reg(ctx, &text, &size), SFP_RC_INVALID);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kNotInitialised).size(), 2u);
  EXPECT_EQ(module.access_count(), 0u) << "neither reached the module";

  // The same opaque with a real module initialises the same context.
  module.memory() = sfpsim::find_profile("1000base-sx")->memory;
  ops = sfptest::ops_for(module, 2, 4);
  ASSERT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
  EXPECT_EQ(result.handle, ctx);
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kCreatePortCtx).size(), 1u);
  EXPECT_EQ(sfp_port_read(ctx, 0, 0, 1, &byte), SFP_RC_OK);
}

TEST_F(RegistryTest, LookupTracesEveryContextPassedOver) {
  std::array<std::unique_ptr<sfpsim::Module>, 3> modules;
  for (auto &m : modules) {
    create_on("1000base-sx", m);
  }
  sfptest::clear_traces();
  create(sfptest::ops_for(*modules[0]));
  const auto passed = records_of("sfp_evt", sfpdrv::msg::kFindPassOver);
  ASSERT_EQ(passed.size(), 2u);
  char expected[96];
  std::snprintf(expected, sizeof expected, "opaque = 0x%lx  lpc->opaque = 0x%lx\n",
                reinterpret_cast<unsigned long>(modules[0].get()),
                reinterpret_cast<unsigned long>(modules[2].get()));
  EXPECT_EQ(passed[0].text, expected) << "newest first";
}

TEST_F(RegistryTest, DeletionUnlinksHeadMiddleAndLast) {
  std::array<std::unique_ptr<sfpsim::Module>, 5> modules;
  std::array<sfp_port_ctx *, 5> ports{};
  for (std::size_t i = 0; i < ports.size(); ++i) {
    ports[i] = create_on("1000base-sx", modules[i]);
  }
  created_.clear();
  ASSERT_EQ(registry(),
            (std::vector<sfp_port_ctx *>{ports[4], ports[3], ports[2], ports[1], ports[0]}));
  EXPECT_EQ(sfp_port_delete(ports[2]), SFP_RC_OK); // middle
  EXPECT_EQ(registry(), (std::vector<sfp_port_ctx *>{ports[4], ports[3], ports[1], ports[0]}));
  EXPECT_EQ(sfp_port_delete(ports[4]), SFP_RC_OK); // head
  EXPECT_EQ(registry(), (std::vector<sfp_port_ctx *>{ports[3], ports[1], ports[0]}));
  EXPECT_EQ(sfp_port_delete(ports[0]), SFP_RC_OK); // last
  EXPECT_EQ(registry(), (std::vector<sfp_port_ctx *>{ports[3], ports[1]}));
  EXPECT_EQ(sfp_port_delete(ports[3]), SFP_RC_OK);
  EXPECT_EQ(sfp_port_delete(ports[1]), SFP_RC_OK);
  EXPECT_TRUE(registry().empty());

  // The cage comes back: a new context and a fresh read of the module.
  sfptest::clear_traces();
  EXPECT_NE(create(sfptest::ops_for(*modules[1])), nullptr);
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kCreatePortCtx).size(), 1u);
}

TEST_F(RegistryTest, DeletionGoesByTheContextNotByItsOpaque) {
  std::unique_ptr<sfpsim::Module> older;
  std::unique_ptr<sfpsim::Module> newer;
  sfp_port_ctx *first = create_on("1000base-sx", older);
  sfp_port_ctx *second = create_on("1000base-sx", newer);
  second->opaque = first->opaque; // the newer context now comes first for that opaque
  EXPECT_EQ(sfp_port_delete(first), SFP_RC_OK);
  EXPECT_EQ(registry(), std::vector<sfp_port_ctx *>{second});
  created_ = {second};
}

TEST_F(RegistryTest, DeletingUnknownHandlesFreesNothing) {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = create_on("1000base-sx", module);
  sfptest::clear_traces(); // creation's own records
  sfp_port_ctx stranger{};
  EXPECT_EQ(sfp_port_delete(&stranger), SFP_RC_NOT_FOUND);
  EXPECT_EQ(sfp_port_delete(nullptr), SFP_RC_INVALID);
  EXPECT_EQ(registry(), std::vector<sfp_port_ctx *>{port});
  const auto errors = records("sfp_err");
  ASSERT_EQ(errors.size(), 2u);
  char expected[128];
  std::snprintf(expected, sizeof expected,
                "sfp port context find and delete:port context not found for handle 0x%lx\n",
                reinterpret_cast<unsigned long>(&stranger));
  EXPECT_EQ(errors[0].text, expected);
  EXPECT_EQ(errors[1].text, "sfp port context find and delete : NULL hdl \n");
}

TEST_F(RegistryTest, NullRecordsAreRefused) {
  sfp_port_create_result result{};
  sfpsim::Module module;
  const sfp_platform_ops ops = sfptest::ops_for(module);
  EXPECT_EQ(sfp_port_create(nullptr, &result), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_create(&ops, nullptr), SFP_RC_INVALID);
  EXPECT_TRUE(registry().empty());
}

TEST_F(RegistryTest, AllocationFailuresReturn12) {
  auto module = sfptest::module_from("1000base-sx");
  sfp_platform_ops ops = sfptest::ops_for(*module);
  sfp_port_create_result result{};
  sfpdrv::testing::fail_allocation(1);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_NO_MEMORY);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "sfp port init : port context find/add error \n");
  EXPECT_EQ(result.handle, nullptr);
  EXPECT_TRUE(registry().empty());
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kAllocPortFailed).size(), 1u);

  sfp_port_ctx *port = create(ops);
  ASSERT_NE(port, nullptr);
  char *text = nullptr;
  uint32_t size = 0;
  sfpdrv::testing::fail_allocation(1);
  EXPECT_EQ(sfp_port_read_reg(port, &text, &size), SFP_RC_NO_MEMORY);
  EXPECT_EQ(text, nullptr);
}

} // namespace
