// The type table checked by its rules (families, first match) and the
// lookups by type.
#include <cmath>
#include <cstdio>
#include <string>

#include "support/port_harness.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace {

using sfpdrv::row_of;
using sfpdrv::type_slots;

// The first slot of `type` by a plain scan from slot 0.
std::optional<std::size_t> scanned_slot(sfp_xcvr_type type) {
  for (std::size_t slot = 0; slot < type_slots().size(); ++slot) {
    if (type_slots()[slot].xcvr_type == type) {
      return slot;
    }
  }
  return std::nullopt;
}

// `name` is `prefix` and a wavelength within 0.01 nm of `nm`, with "nm".
void expect_wavelength_name(const char *name, const std::string &prefix, double nm) {
  const std::string text(name);
  EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
  EXPECT_LT(std::fabs(std::stod(text.substr(prefix.size())) - nm), 0.01) << text;
  EXPECT_EQ(text.substr(text.size() - 2), "nm") << text;
}

TEST(TypeTable, EveryTypeResolvesToItsFirstScannedSlot) {
  for (sfp_xcvr_type type = 0; type < 1100; ++type) {
    EXPECT_EQ(sfpdrv::first_slot_of(type), scanned_slot(type)) << type;
  }
  EXPECT_EQ(sfpdrv::first_slot_of(0xFFFFFFFFu), std::nullopt);
  EXPECT_EQ(sfpdrv::first_slot_of(0), sfpdrv::kTypeRows) << "type 0 is the first empty slot";
}

TEST(TypeTable, DwdmFamiliesFollowTheirGridRules) {
  // 50 GHz grid: index m from 92 down, named exactly as printf rounds.
  for (int32_t m = 92; m >= 13; --m) {
    const sfpdrv::XcvrRow *row = row_of(612 + static_cast<uint32_t>(92 - m));
    char name[64];
    std::snprintf(name, sizeof name, "SFP+ 10G DWDM %.2fnm", 299792.458 / (191.3 + 0.05 * m));
    EXPECT_EQ(row->itu_chan, m);
    EXPECT_EQ(row->ext_id, (m << 8) | 0xff);
    EXPECT_STREQ(row->name, name);
  }
  // 100 GHz grid: ITU channel c from 59 down, for 1G and 10G (a few product
  // names cut the last digit instead of rounding it).
  for (int32_t c = 59; c >= 20; --c) {
    const auto i = static_cast<uint32_t>(59 - c);
    const double nm = 299792.458 / (190.0 + 0.1 * c);
    EXPECT_EQ(row_of(549 + i)->itu_chan, c);
    EXPECT_EQ(row_of(704 + i)->itu_chan, c);
    EXPECT_EQ(row_of(704 + i)->ext_id, 0xc7 - i);
    expect_wavelength_name(row_of(549 + i)->name, "SFP 1G DWDM ", nm);
    expect_wavelength_name(row_of(704 + i)->name, "SFP+ 10G DWDM ", nm);
  }
}

TEST(TypeTable, CwdmFamiliesRunTwentyNanometresApart) {
  struct Family {
    sfp_xcvr_type first;
    uint32_t attr_high;
    uint16_t first_ext_id;
    const char *prefix;
  };
  const Family families[] = {{541, 0x82000105, 1, "SFP 1G CWDM "},
                             {604, 0, 0xcc, "SFP+ 10G CWDM "},
                             {824, 0x80100105, 0x97, "SFP 2G CWDM FC "},
                             {832, 0x80100115, 0x97, "SFP 4G CWDM FC "},
                             {840, 0x80100154, 0x97, "SFP 8G CWDM FC "}};
  for (const Family &f : families) {
    for (uint32_t i = 0; i < 8; ++i) {
      const sfpdrv::XcvrRow *row = row_of(f.first + i);
      EXPECT_EQ(row->attr_high, f.attr_high);
      EXPECT_EQ(row->ext_id, f.first_ext_id + i);
      EXPECT_EQ(row->name, f.prefix + std::to_string(1470 + 20 * i) + "nm");
    }
  }
}

TEST(TypeTable, KvChannelsRunAcrossEachDwdmFamily) {
  uint32_t chan = 0;
  for (uint32_t i = 0; i < 40; ++i) {
    for (sfp_xcvr_type first : {704u, 549u}) {
      ASSERT_EQ(sfp_xcvr_get_kv_itu_chan(first + i, &chan), SFP_RC_OK);
      EXPECT_EQ(chan, 5 + 2 * i);
    }
  }
  for (uint32_t i = 0; i < 80; ++i) {
    ASSERT_EQ(sfp_xcvr_get_50Ghz_kv_itu_chan(612 + i, &chan), SFP_RC_OK);
    EXPECT_EQ(chan, 5 + i);
  }
  // A row of the other grid gives the wrapped unsigned result.
  ASSERT_EQ(sfp_xcvr_get_kv_itu_chan(612, &chan), SFP_RC_OK);
  EXPECT_EQ(chan, 123u - 2u * 92u);
  // No channel, no row or no output: 22 and the output untouched.
  for (sfp_xcvr_type t : {594u, 900u, 512u}) {
    chan = 77;
    EXPECT_EQ(sfp_xcvr_get_kv_itu_chan(t, &chan), SFP_RC_INVALID) << t;
    EXPECT_EQ(sfp_xcvr_get_50Ghz_kv_itu_chan(t, &chan), SFP_RC_INVALID) << t;
    EXPECT_EQ(chan, 77u);
  }
  EXPECT_EQ(sfp_xcvr_get_kv_itu_chan(704, nullptr), SFP_RC_INVALID);
}

TEST(TypeTable, LookupsUseTheFirstRowOfATypeAndTheUnknownFallback) {
  struct Case {
    sfp_xcvr_type type;
    uint32_t rc, low, high;
    uint16_t ext_id;
    const char *name;
  };
  const Case cases[] = {
      {521, 0, 0, 0, 0x2d, "SFP 1G 1000BX-10-U"},
      {789, 0, 0, 0x40000, 0x80, "SFP28 25G CU1M"},
      {790, 0, 0, 0x40000, 0, "SFP28 25G CU2M"},
      {793, 0, 0, 0x40000, 0, "SFP28 25G CU5M"},
      {0, 0, 0, 0, 0, ""},
      {900, SFP_XCVR_NO_ROW, 0, 0, 0, "Unknown"},
      {514, SFP_XCVR_NO_ROW, 0, 0, 0, "Unknown"},
  };
  for (const Case &c : cases) {
    uint32_t low = 0xAAAA, high = 0xBBBB;
    uint16_t ext_id = 0xCC;
    EXPECT_EQ(sfp_xcvr_get_code_id(c.type, &low, &high, &ext_id), c.rc) << c.type;
    EXPECT_EQ(low, c.low) << c.type;
    EXPECT_EQ(high, c.high) << c.type;
    EXPECT_EQ(ext_id, c.ext_id) << c.type;
    EXPECT_STREQ(sfp_xcvr_get_name_from_type(nullptr, c.type), c.name);
  }
  EXPECT_EQ(sfp_xcvr_get_code_id(594, nullptr, nullptr, nullptr), SFP_RC_OK);
}

TEST(TypeTable, SpeedAndOneGigByTypeRange) {
  struct Case {
    sfp_xcvr_type type;
    uint32_t speed, one_ge;
  };
  const Case cases[] = {
      {0, 25000, 0},   {512, 25000, 0}, {513, 1000, 1},  {514, 25000, 0}, {516, 1000, 0},
      {520, 25000, 0}, {521, 1000, 1},  {534, 1000, 1},  {535, 1000, 0},  {540, 1000, 0},
      {541, 1000, 1},  {590, 1000, 1},  {591, 25000, 0}, {594, 10000, 0}, {766, 10000, 0},
      {767, 25000, 0}, {768, 25000, 0}, {810, 25000, 0}, {811, 50000, 0}, {820, 50000, 0},
      {821, 25000, 0}, {852, 1000, 0},  {853, 1000, 0},  {854, 25000, 0},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(sfp_get_optics_speed(c.type), c.speed) << c.type;
    EXPECT_EQ(sfp_xcvr_is_one_ge_sfp(c.type), c.one_ge) << c.type;
  }
}

TEST(TypeTable, SupportedFlagBelongsToTheTypesFirstSlot) {
  std::vector<uint32_t> saved(type_slots().size());
  for (std::size_t slot = 0; slot < saved.size(); ++slot) {
    saved[slot] = sfpdrv::slot_supported(slot);
  }
  for (std::size_t slot = 0; slot < sfpdrv::kTypeRows; ++slot) {
    const sfp_xcvr_type type = type_slots()[slot].xcvr_type;
    EXPECT_EQ(sfp_xcvr_set_attribute_supported(type, type), SFP_RC_OK);
  }
  for (std::size_t slot = 0; slot < sfpdrv::kTypeRows; ++slot) {
    const sfp_xcvr_type type = type_slots()[slot].xcvr_type;
    EXPECT_EQ(sfp_xcvr_get_attribute_supported(type), type);
    EXPECT_EQ(sfpdrv::slot_supported(slot), scanned_slot(type) == slot ? type : saved[slot]);
  }
  EXPECT_EQ(sfp_xcvr_set_attribute_supported(900, 1), SFP_RC_OK);
  EXPECT_EQ(sfp_xcvr_get_attribute_supported(900), 0u);
  for (std::size_t slot = 0; slot < saved.size(); ++slot) {
    sfpdrv::set_slot_supported(slot, saved[slot]);
  }
}

class MultiRateNames : public sfptest::PortTest {};

TEST_F(MultiRateNames, MultiRatePortsShowTheFamilyName) {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = create_on("25gbase-sr", module);
  sfptest::clear_traces(); // creation's own records
  // Each family: its base type first, then its sub types.
  const std::vector<sfp_xcvr_type> families[] = {{807, 596, 786}, {806, 594, 784}, {805, 595, 788},
                                                 {809, 600},      {808, 601},      {811, 785}};
  for (const auto &family : families) {
    const char *family_name = sfp_xcvr_get_name_from_type(nullptr, family.front());
    for (sfp_xcvr_type member : family) {
      port->multi_rate = 1;
      EXPECT_STREQ(sfp_xcvr_get_name_from_type(port, member), family_name) << member;
      port->multi_rate = 0;
      EXPECT_STREQ(sfp_xcvr_get_name_from_type(port, member), row_of(member)->name);
    }
  }
  EXPECT_TRUE(sfptest::records("sfp_err").empty());

  port->multi_rate = 1;
  EXPECT_STREQ(sfp_xcvr_get_name_from_type(port, 787), "SFP28 25G ER");
  const auto missing = sfptest::records_of("sfp_err", sfpdrv::msg::kMultiRateNameMissing);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0].text,
            "Controller 0 Port 0: Multi rate SFP:787 ;Entry missing from multi rate table\n");
}

} // namespace
