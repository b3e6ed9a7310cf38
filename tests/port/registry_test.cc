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
namespace msg = sfpdrv::msg;

class RegistryTest : public sfptest::PortTest {
protected:
  std::array<std::unique_ptr<sfpsim::Module>, 5> modules_;
};

// A creation with a known opaque finds its context, passing over (and
// tracing) each newer one, and neither reads the module nor takes the new
// parameters.
TEST_F(RegistryTest, SameOpaqueGivesTheSameContextWithoutTouchingTheModule) {
  sfp_port_ctx *first = create_on("10gbase-sr", modules_[0]);
  create_on("1000base-sx", modules_[1]);
  create_on("1000base-sx", modules_[2]);
  const auto accesses = modules_[0]->access_count();
  sfp_platform_ops again = sfptest::ops_for(*modules_[0], 5, 9);
  again.read_cb = nullptr;
  again.module_present = 1;
  sfp_port_create_result result{};
  ASSERT_EQ(sfp_port_create(&again, &result), SFP_RC_OK);
  EXPECT_EQ(result.handle, first);
  EXPECT_EQ(std::pair(result.module_present, result.status), std::pair(1u, SFP_RC_OK));
  EXPECT_EQ(modules_[0]->access_count(), accesses);
  EXPECT_EQ(std::pair(first->port, first->read_cb), std::pair(0, &sfpsim::Module::read_cb));
  EXPECT_EQ(registry().size(), 3u);
  EXPECT_EQ(records_of("sfp_evt", msg::kFindPassOver).size(), 2u);
}

TEST_F(RegistryTest, CreationTakesOverTheCallerRecordAndReportsIt) {
  modules_[0] = sfptest::module_from("10gbase-sr");
  sfp_platform_ops ops = sfptest::ops_for(*modules_[0], 3, 17);
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
  EXPECT_EQ(std::pair(port->phy_read_cb, port->phy_write_cb), std::pair(phy_read, phy_write));
  EXPECT_EQ(port->bitbang_read_cb, ops.bitbang_read_cb);
  EXPECT_EQ((std::array{port->rate_code, port->bus_mode, port->skip_soft_tx, port->oper_speed,
                        port->phy_word_access, port->sonet_capable}),
            (std::array{2u, 3u, 4u, 25000u, 6u, 7u}));
  EXPECT_EQ(0, std::memcmp(port->eeprom, ops.eeprom, SFP_EEPROM_CALLER_LEN));
  EXPECT_EQ(sfptest::text_of("sfp_evt", msg::kCopyingBytes),
            "Controller 3 Port 17: Copying 512 bytes over to the sfp register structure\n");

  // An empty image copies nothing and is an unknown module.
  sfp_platform_ops empty = sfptest::ops_for(*modules_[0], 0, 1);
  empty.opaque = &empty;
  empty.eeprom_len = 0;
  sfp_rc rc = 0;
  EXPECT_EQ(create(empty, &rc), nullptr);
  EXPECT_EQ(rc, SFP_RC_UNSUPPORTED);
  EXPECT_EQ(records_of("sfp_evt", msg::kInvalidDeviceType).size(), 1u);
  const sfp_port_ctx *blank = registry().front();
  EXPECT_EQ(std::count(blank->eeprom, blank->eeprom + SFP_EEPROM_IMAGE_LEN, 0),
            long{SFP_EEPROM_IMAGE_LEN});
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
  char expected[160];
  std::snprintf(expected, sizeof expected,
                "Controller 2 Port 4: SFP instance not fully initialized.  Hdl 0x%lx  Opaque "
                "0x%lx at line 101\n",
                reinterpret_cast<unsigned long>(ctx), reinterpret_cast<unsigned long>(&module));
  EXPECT_EQ(sfptest::text_of("sfp_err", msg::kNotInitialised), expected);
  char *text = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(sfp_port_read_reg(ctx, &text, &size), SFP_RC_INVALID);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(records_of("sfp_err", msg::kNotInitialised).size(), 2u);
  EXPECT_EQ(module.access_count(), 0u) << "neither reached the module";

  // The same opaque with a real module initialises the same context.
  module.memory() = sfpsim::find_profile("1000base-sx")->memory;
  ops = sfptest::ops_for(module, 2, 4);
  ASSERT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
  EXPECT_EQ(result.handle, ctx);
  EXPECT_EQ(records_of("sfp_evt", msg::kCreatePortCtx).size(), 1u);
  EXPECT_EQ(sfp_port_read(ctx, 0, 0, 1, &byte), SFP_RC_OK);
}

TEST_F(RegistryTest, DeletionUnlinksHeadMiddleAndLast) {
  std::vector<sfp_port_ctx *> expected;
  std::array<sfp_port_ctx *, 5> ports{};
  for (std::size_t i = 0; i < ports.size(); ++i) {
    ports[i] = create_on("1000base-sx", modules_[i]);
    expected.insert(expected.begin(), ports[i]); // newest first
  }
  created_.clear();
  ASSERT_EQ(registry(), expected);
  for (const std::size_t i : {2, 4, 0, 3, 1}) { // middle, head, last, ...
    EXPECT_EQ(sfp_port_delete(ports[i]), SFP_RC_OK);
    std::erase(expected, ports[i]);
    EXPECT_EQ(registry(), expected) << i;
  }
  // The cage comes back: a new context and a fresh read of the module.
  EXPECT_NE(create(sfptest::ops_for(*modules_[1])), nullptr);
  EXPECT_EQ(records_of("sfp_evt", msg::kCreatePortCtx).size(), 1u);
}

TEST_F(RegistryTest, DeletionGoesByTheContextNotByItsOpaque) {
  sfp_port_ctx *first = create_on("1000base-sx", modules_[0]);
  sfp_port_ctx *second = create_on("1000base-sx", modules_[1]);
  second->opaque = first->opaque; // the newer context now comes first for that opaque
  EXPECT_EQ(sfp_port_delete(first), SFP_RC_OK);
  EXPECT_EQ(registry(), std::vector<sfp_port_ctx *>{second});
  created_ = {second};
}

TEST_F(RegistryTest, UnknownHandlesAndNullRecordsAreRefused) {
  sfp_port_create_result result{};
  const sfpsim::Module blank;
  const sfp_platform_ops ops = sfptest::ops_for(blank);
  EXPECT_EQ(sfp_port_create(nullptr, &result), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_create(&ops, nullptr), SFP_RC_INVALID);
  sfp_port_ctx *port = create_on("1000base-sx", modules_[0]);
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

TEST_F(RegistryTest, AllocationFailuresReturn12) {
  modules_[0] = sfptest::module_from("1000base-sx");
  sfp_platform_ops ops = sfptest::ops_for(*modules_[0]);
  sfp_port_create_result result{};
  sfpdrv::testing::fail_allocation(1);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_NO_MEMORY);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "sfp port init : port context find/add error \n");
  EXPECT_EQ(result.handle, nullptr);
  EXPECT_TRUE(registry().empty());
  EXPECT_EQ(records_of("sfp_err", msg::kAllocPortFailed).size(), 1u);

  sfp_port_ctx *port = create(ops);
  ASSERT_NE(port, nullptr);
  char *text = nullptr;
  uint32_t size = 0;
  sfpdrv::testing::fail_allocation(1);
  EXPECT_EQ(sfp_port_read_reg(port, &text, &size), SFP_RC_NO_MEMORY);
  EXPECT_EQ(text, nullptr);
}

} // namespace
