// The identification checksums: the CRC-32 against known values and the
// verdicts of the combined check, in the order the checks are made.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "decode/internal.h"
#include "sfpsim/module.h"

namespace {

using Id = std::array<uint8_t, 128>;

Id id_of(const char *profile) {
  Id id{};
  std::memcpy(id.data(), sfpsim::find_profile(profile)->memory.a0.data(), id.size());
  return id;
}

TEST(ChecksumTest, Crc32KnownValues) {
  const uint8_t zeros[28] = {};
  EXPECT_EQ(sfpdrv::crc32(zeros, sizeof zeros), 0x807077E9u);
  EXPECT_EQ(sfpdrv::crc32(reinterpret_cast<const uint8_t *>("123456789"), 9), 0xCBF43926u);
}

TEST(ChecksumTest, ComplianceVerdictIsTheFirstFailingCheck) {
  enum Change : unsigned { kBase = 1, kExt = 2, kCrc = 4, kCrcMsbFirst = 8, kZero = 16 };
  const struct {
    unsigned changes;
    sfp_compliance_result result;
  } cases[] = {
      {0, SFP_COMPLIANCE_OK},
      {kBase, SFP_COMPLIANCE_BASE_CHECKSUM},
      {kBase | kExt | kCrc, SFP_COMPLIANCE_BASE_CHECKSUM},
      {kExt, SFP_COMPLIANCE_EXT_CHECKSUM},
      {kExt | kCrc, SFP_COMPLIANCE_EXT_CHECKSUM},
      {kCrc, SFP_COMPLIANCE_VENDOR_CRC},
      {kCrcMsbFirst, SFP_COMPLIANCE_VENDOR_CRC},
      {kZero, SFP_COMPLIANCE_VENDOR_CRC}, // the CRC of 28 zero bytes is not 0
  };
  for (const auto &c : cases) {
    Id id = id_of("10gbase-sr");
    id[63] = static_cast<uint8_t>(id[63] + ((c.changes & kBase) != 0 ? 1 : 0));
    id[95] ^= (c.changes & kExt) != 0 ? 0x40 : 0;
    id[110] ^= (c.changes & kCrc) != 0 ? 0x01 : 0;
    if ((c.changes & kCrcMsbFirst) != 0) {
      std::reverse(id.begin() + 124, id.end());
    }
    if ((c.changes & kZero) != 0) {
      id.fill(0);
    }
    sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
    EXPECT_EQ(sfp_xcvr_check_compliance(id.data(), &result), SFP_RC_OK);
    EXPECT_EQ(result, c.result) << c.changes;
  }
  sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, &result), SFP_RC_OK);
  EXPECT_EQ(result, SFP_COMPLIANCE_NO_DATA);
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, nullptr), SFP_RC_OK);
  uint8_t stored = 0;
  EXPECT_EQ(sfp_xcvr_check_compliance_base_chksum(nullptr, &stored, &stored), SFP_RC_INVALID);
}

} // namespace
