// The identification checksums: the CRC-32 against known values and the
// verdicts of the combined check, in the order the checks are made.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <numeric>
#include <span>

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
  const char *check = "123456789";
  EXPECT_EQ(sfpdrv::crc32(reinterpret_cast<const uint8_t *>(check), 9), 0xCBF43926u);
}

TEST(ChecksumTest, ComplianceVerdictIsTheFirstFailingCheck) {
  const auto bad_base = [](Id &id) { ++id[63]; };
  const auto bad_ext = [](Id &id) { id[95] ^= 0x40; };
  const auto bad_crc = [](Id &id) { ++id[110]; };
  const auto crc_msb_first = [](Id &id) { std::reverse(id.begin() + 124, id.end()); };
  const struct {
    const char *what;
    std::function<void(Id &)> change;
    sfp_compliance_result result;
  } cases[] = {
      {"intact", [](Id &) {}, SFP_COMPLIANCE_OK},
      {"base", bad_base, SFP_COMPLIANCE_BASE_CHECKSUM},
      {"base before the others",
       [&](Id &id) {
         bad_base(id);
         bad_ext(id);
         bad_crc(id);
       },
       SFP_COMPLIANCE_BASE_CHECKSUM},
      {"extended", bad_ext, SFP_COMPLIANCE_EXT_CHECKSUM},
      {"extended before the CRC",
       [&](Id &id) {
         bad_ext(id);
         bad_crc(id);
       },
       SFP_COMPLIANCE_EXT_CHECKSUM},
      {"vendor area", bad_crc, SFP_COMPLIANCE_VENDOR_CRC},
      {"CRC stored most significant first", crc_msb_first, SFP_COMPLIANCE_VENDOR_CRC},
      {"all zero", [](Id &id) { id.fill(0); }, SFP_COMPLIANCE_VENDOR_CRC},
  };
  for (const auto &c : cases) {
    Id id = id_of("10gbase-sr");
    c.change(id);
    sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
    EXPECT_EQ(sfp_xcvr_check_compliance(id.data(), &result), SFP_RC_OK);
    EXPECT_EQ(result, c.result) << c.what;
  }
  sfp_compliance_result result = SFP_COMPLIANCE_NOT_CHECKED;
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, &result), SFP_RC_OK);
  EXPECT_EQ(result, SFP_COMPLIANCE_NO_DATA);
  EXPECT_EQ(sfp_xcvr_check_compliance(nullptr, nullptr), SFP_RC_OK);
}

TEST(ChecksumTest, SingleChecksGiveStoredAndComputedValues) {
  Id id = id_of("25gbase-sr");
  const uint8_t base = id[63];
  ++id[63];
  id[95] = 0x5a;
  uint8_t stored = 0;
  uint8_t computed = 0;
  EXPECT_EQ(sfp_xcvr_check_compliance_base_chksum(id.data(), &stored, &computed), 3u);
  EXPECT_EQ(stored, static_cast<uint8_t>(base + 1));
  EXPECT_EQ(computed, base);
  const uint8_t ext_sum = static_cast<uint8_t>(std::accumulate(&id[64], &id[95], 0));
  EXPECT_EQ(sfp_xcvr_check_compliance_ext_chksum(id.data(), &stored, &computed), 4u);
  EXPECT_EQ(stored, 0x5a);
  EXPECT_EQ(computed, ext_sum);

  uint32_t stored_crc = 0;
  uint32_t computed_crc = 0;
  const uint32_t crc = sfpsim::crc32(std::span<const uint8_t>(&id[96], 28));
  EXPECT_EQ(sfp_xcvr_check_compliance_vendor_chksum(id.data(), &stored_crc, &computed_crc), 0u);
  EXPECT_EQ(stored_crc, crc);
  EXPECT_EQ(computed_crc, crc);
  EXPECT_EQ(sfp_xcvr_check_compliance_base_chksum(nullptr, &stored, &computed), SFP_RC_INVALID);
  EXPECT_EQ(sfp_xcvr_check_compliance_vendor_chksum(id.data(), nullptr, &computed_crc),
            SFP_RC_INVALID);
}

} // namespace
