// The supported check, the memory spaces it implies, the blanking of an
// image by them, and the default supported types.
#include <algorithm>
#include <array>
#include <vector>

#include "support/port_harness.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace {

using sfptest::records_of;
using Image = std::array<uint8_t, SFP_EEPROM_CALLER_LEN>;
using Edits = std::vector<std::pair<std::size_t, uint8_t>>;
using Spaces = std::array<uint32_t, 4>;

Image image_of(const char *profile, const Edits &edits = {}) {
  Image a0 = sfpsim::Module(*sfpsim::find_profile(profile)).caller_image();
  for (const auto &[offset, value] : edits) {
    a0[offset] = value;
  }
  return a0;
}

// No compliance code: the module is known by its vendor code (byte 96).
Edits vendor_coded(uint8_t code) {
  return {{3, 0}, {4, 0}, {5, 0}, {6, 0}, {96, code}};
}

Spaces flags(const sfp_eeprom_space &s) {
  return {s.half_a0, s.full_a0, s.a2, s.dom};
}

class Supported : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("10gbase-sr", module_);
    sfptest::clear_traces();
    saved_allowed_ = sfp_get_ctx()->unsupported_xcvr_allowed;
  }
  // The process-wide allowance for one case, and the port's identification
  // flags cleared so that one case does not carry over into the next.
  void prepare(uint32_t allowed) {
    sfp_get_ctx()->unsupported_xcvr_allowed = allowed;
    port_->defaulted = port_->multi_rate = 0;
    port_->phy_access = nullptr;
  }
  void TearDown() override {
    sfp_get_ctx()->unsupported_xcvr_allowed = saved_allowed_;
    PortTest::TearDown();
  }
  uint32_t saved_allowed_ = 0;
  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
};

TEST_F(Supported, VerdictsAndSpacesOfModules) {
  const struct {
    const char *profile;
    Edits edits;
    uint32_t allowed;
    sfp_rc rc;
    sfp_xcvr_supported_status status;
    sfp_xcvr_type type;
    sfp_rc spaces_rc;
    Spaces spaces;
  } cases[] = {
      {"10gbase-sr", {}, 0, 0, 0, 594, 0, {1, 1, 1, 1}},
      {"10gbase-sr", {{1, 0}}, 0, 0, 9, 512, 95, {}}, // ext id not 0x04
      {"10gbase-sr", {{1, 0}}, 1, 0, 0, 594, 0, {1, 1, 1, 1}},
      {"10gbase-sr", {{0, 0x0b}}, 0, 0, 9, 512, 95, {}}, // DWDM SFP needs 0x24
      {"10gbase-sr", {{0, 0x0b}, {1, 0x24}}, 0, 0, 0, 594, 0, {1, 1, 1, 1}},
      {"10gbase-sr", {{0, 0x8d}, {1, 0x77}}, 0, 0, 0, 594, 0, {1, 1, 1, 1}},
      {"10gbase-sr", {{0, 0x0d}}, 1, 0, 3, 512, 95, {}}, // not an SFP
      {"10gbase-sr", vendor_coded(0), 0, 95, 10, 512, 95, {}},
      {"10gbase-sr", vendor_coded(0x84), 0, 95, 11, 697, 95, {}}, // CX1-15: not supported
      {"10gbase-sr", vendor_coded(0x84), 1, 0, 0, 697, 0, {1, 1, 1, 1}},
      {"10gbase-sr", {{92, 0}}, 0, 0, 0, 594, 0, {1, 1, 1, 0}},            // no diagnostics
      {"10gbase-sr", {{3, 0x30}, {96, 0}}, 1, 0, 0, 594, 0, {1, 0, 0, 0}}, // defaulted
      {"1000base-t", {}, 0, 0, 0, 533, 0, {1, 1, 0, 0}},
  };
  for (const auto &c : cases) {
    const Image a0 = image_of(c.profile, c.edits);
    SCOPED_TRACE(testing::Message() << "type " << c.type << " status " << c.status);
    prepare(c.allowed);
    sfp_xcvr_supported_status status = 99;
    sfp_xcvr_type type = 99;
    EXPECT_EQ(sfp_xcvr_check_supported(port_, a0.data(), &status, &type, ""), c.rc);
    EXPECT_EQ(std::pair(status, type), std::pair(c.status, c.type));
    EXPECT_EQ(port_->phy_access, c.type == 533 ? &qrn_te_phy_access : nullptr);
    const bool passes = c.rc == 0 && c.status == 0;
    EXPECT_EQ(std::pair(sfp_xcvr_check_a0_full_space_supported(port_, a0.data(), ""),
                        sfp_xcvr_check_a2_space_supported(port_, a0.data(), "")),
              std::pair(passes ? 1u : 0u, passes && (a0[92] & 0x40) != 0 ? 1u : 0u));
    prepare(c.allowed);
    sfp_eeprom_space spaces{};
    EXPECT_EQ(sfp_xcvr_which_space_supported2(port_, a0.data(), &spaces, ""), c.spaces_rc);
    EXPECT_EQ(flags(spaces), c.spaces);
    // The record from a given verdict: on a port-less call nothing was
    // defaulted, so it follows status and type alone.
    const bool defaulted = port_->defaulted != 0;
    spaces = {};
    EXPECT_EQ(sfp_xcvr_which_space_supported(nullptr, a0.data(), c.status, c.type, &spaces), 0);
    const Spaces refused{1, 0, 0, 0};
    const Spaces defaulted_sr{1, 1, 1, 1};
    EXPECT_EQ(flags(spaces), c.status != 0 ? refused : defaulted ? defaulted_sr : c.spaces);
  }
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kCheckSupported)[8 * 4].text,
            "Get SFP check supported, port:0 type:SFP+ 10G CX1-15(697)  status:Failed - "
            "Unsupported Xcvr type\n");

  // No PHY for a 1000BASE-T module that this system does not support.
  prepare(0);
  sfp_xcvr_set_attribute_supported(533, 0);
  sfp_xcvr_supported_status status = 99;
  sfp_xcvr_type type = 99;
  EXPECT_EQ(sfp_xcvr_check_supported(port_, image_of("1000base-t").data(), &status, &type, ""),
            95u);
  sfp_xcvr_set_attribute_supported(533, 1);
  EXPECT_EQ(port_->phy_access, nullptr);
  EXPECT_EQ(sfp_xcvr_check_supported(port_, nullptr, &status, &type, ""), SFP_RC_OK);
  EXPECT_EQ(std::pair(status, type), std::pair(SFP_XCVR_EEPROM_DATA_ERROR, 512u));
  EXPECT_EQ(sfp_xcvr_check_supported(nullptr, image_of("1000base-t").data(), &status, &type, ""),
            SFP_RC_INVALID);
}

// A multi-rate module runs as the sub type of the cage's rate; a rate
// without one leaves the base type, which is not supported.
TEST_F(Supported, MultiRateModuleRunsAsTheSubTypeOfItsCage) {
  module_->memory() = sfpsim::find_profile("25gbase-sr")->memory;
  module_->memory().a0[253] = 3; // the multi-rate marker, read from the module
  const Image a0 = image_of("25gbase-sr");
  std::copy(a0.begin(), a0.end(), port_->eeprom); // the family's base comes from it
  const std::array<std::array<uint32_t, 3>, 3> cases{{{2, 0, 594}, {1, 0, 784}, {3, 95, 806}}};
  for (const auto &[rate_code, rc, type] : cases) {
    port_->rate_code = rate_code;
    sfp_xcvr_supported_status status = 99;
    sfp_xcvr_type found = 0;
    EXPECT_EQ(sfp_xcvr_check_supported(port_, a0.data(), &status, &found, ""), rc);
    EXPECT_EQ(found, type) << "rate code " << rate_code;
  }
}

// The areas that adjusting an image to a verdict blanks: bit 0 the upper
// half of A0h, bit 1 the lower and bit 2 the upper half of A2h.
TEST_F(Supported, BlankingOfAnImage) {
  const struct {
    sfp_xcvr_supported_status status;
    sfp_xcvr_type type;
    uint32_t defaulted;
    uint8_t diag_type; // A0h byte 92
    unsigned blanked;
  } cases[] = {
      {0, 594, 0, 0x68, 0}, {0, 594, 0, 0x28, 2},  {0, 765, 0, 0x68, 0}, {0, 819, 0, 0x68, 0},
      {0, 533, 0, 0x68, 6}, {0, 744, 0, 0x00, 6},  {0, 764, 0, 0x68, 6}, {0, 818, 0, 0x68, 6},
      {0, 594, 1, 0x68, 7}, {11, 697, 0, 0x68, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " status " << c.status);
    port_->defaulted = c.defaulted;
    Image image;
    image.fill(0xa5);
    image[92] = c.diag_type;
    EXPECT_EQ(sfp_xcvr_adjust_eeprom(port_, image.data(), c.status, c.type), 0u);
    for (unsigned area = 0; area < 3; ++area) {
      const auto first = image.begin() + 128 * (area + 1);
      EXPECT_EQ(std::count(first, first + 128, 0) == 128, ((c.blanked >> area) & 1) != 0) << area;
    }
  }
  EXPECT_EQ(records_of("sfp_evt", sfpdrv::msg::kAdjustA0Page1).at(0).text,
            "\nadjust_eeprom_inline( port_num=0 ): force a0_page1 to all-0\n");

  // The form that checks the module's own bytes first: a defaulted module
  // loses all but the lower half of A0h, a rejected one nothing.
  prepare(1);
  Image defaulted = image_of("10gbase-sr", {{3, 0x30}, {96, 0}, {200, 0xa5}});
  EXPECT_EQ(sfp_xcvr_adjust_eeprom2(port_, defaulted.data(), ""), 0u);
  EXPECT_EQ(defaulted[200], 0);
  prepare(0);
  Image rejected = image_of("10gbase-sr", {{96, 0x84}, {3, 0}, {200, 0xa5}});
  EXPECT_EQ(sfp_xcvr_adjust_eeprom2(port_, rejected.data(), ""), SFP_RC_UNSUPPORTED);
  EXPECT_EQ(rejected[200], 0xa5);
}

// Initialisation marks the default set supported whatever the flags said.
TEST_F(Supported, LibraryInitialisationSetsTheSupportedTypes) {
  sfp_xcvr_set_attribute_supported(697, 1);
  sfp_xcvr_set_attribute_supported(594, 0);
  const uint16_t pids = sfp_xcvr_get_pid_supported_count();
  EXPECT_EQ(sfp_xcvr_lib_init(), SFP_RC_OK);
  EXPECT_EQ(sfp_xcvr_get_pid_supported_count(), pids + 308) << "the lists are filled";
  std::vector<sfp_xcvr_type> unsupported;
  int supported = 0;
  for (sfp_xcvr_type type = 0; type <= 853; ++type) {
    if (sfp_xcvr_get_attribute_supported(type) != 0) {
      ++supported;
    } else if (type != 0 && sfpdrv::row_of(type) != nullptr) {
      unsupported.push_back(type);
    }
  }
  EXPECT_EQ(supported, 311) << "312 types, of which 767 has no row";
  EXPECT_EQ(unsupported,
            (std::vector<sfp_xcvr_type>{512, 697, 698, 699, 700, 701, 702, 703, 805, 806, 807}));
}

} // namespace

namespace {

// A missing image, record or port is refused with a status (or the "none"
// answer of a query) before anything is read or written.
TEST(SupportedNullArguments, AreRefusedWithoutTouchingAnything) {
  std::array<uint8_t, SFP_EEPROM_CALLER_LEN> image{};
  image[0] = 0x03;
  const auto before = image;
  sfp_port_ctx port{};
  sfp_eeprom_space space{};
  EXPECT_EQ(sfp_xcvr_which_space_supported(nullptr, nullptr, 0, 0, &space), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_which_space_supported(nullptr, image.data(), 0, 0, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_which_space_supported2(nullptr, nullptr, &space, ""), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_which_space_supported2(nullptr, image.data(), nullptr, ""), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_adjust_eeprom(nullptr, image.data(), 0, 0), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_adjust_eeprom(&port, nullptr, 0, 0), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_adjust_eeprom2(nullptr, image.data(), ""), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_adjust_eeprom2(&port, nullptr, ""), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_check_a2_space_supported(&port, nullptr, ""), 0u);
  EXPECT_EQ(sfp_get_base_xcvr_type_from_reg(nullptr), SFP_XCVR_TYPE_UNKNOWN);
  EXPECT_EQ(image, before);
}

} // namespace
