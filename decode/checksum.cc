// The check values of the identification page's base area (A0h bytes 0 to
// 127): the base checksum at byte 63, the extended checksum at byte 95 and
// the CRC-32 of the vendor-specific bytes 96 to 123 stored at bytes 124 to
// 127, least significant byte first.
#include <array>
#include <numeric>

#include "decode/internal.h"

namespace sfpdrv {
namespace {

constexpr std::size_t kBaseFirst = 0;
constexpr std::size_t kBaseCheck = 63;
constexpr std::size_t kExtFirst = 64;
constexpr std::size_t kExtCheck = 95;
constexpr std::size_t kVendorFirst = 96;
constexpr std::size_t kVendorCrc = 124;

constexpr uint32_t kCrcPolynomial = 0xEDB88320; // reflected

// One table word per byte value: the register after eight shifts.
constexpr std::array<uint32_t, 256> make_crc_table() {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t reg = byte;
    for (int bit = 0; bit < 8; ++bit) {
      reg = (reg & 1) != 0 ? (reg >> 1) ^ kCrcPolynomial : reg >> 1;
    }
    table.at(byte) = reg;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kCrcTable = make_crc_table();

constexpr uint32_t crc32_of(const uint8_t *bytes, std::size_t count) {
  uint32_t reg = 0xFFFFFFFF;
  for (std::size_t i = 0; i < count; ++i) {
    reg = kCrcTable.at((reg ^ bytes[i]) & 0xff) ^ (reg >> 8);
  }
  return reg ^ 0xFFFFFFFF;
}

constexpr uint8_t kCheckText[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(kCrcTable[1] == 0x77073096 && kCrcTable[255] == 0x2D02EF8D);
static_assert(crc32_of(kCheckText, sizeof kCheckText) == 0xCBF43926, "the CRC-32 check value");

// Sum of bytes first..last - 1, modulo 256.
uint8_t sum_of(const uint8_t *id, std::size_t first, std::size_t end) {
  return static_cast<uint8_t>(std::accumulate(id + first, id + end, 0U));
}

} // namespace

uint32_t crc32(const uint8_t *bytes, std::size_t count) {
  return bytes == nullptr ? 0 : crc32_of(bytes, count);
}

sfp_rc check_byte_sum(const uint8_t *image, std::size_t first, std::size_t check, uint8_t *stored,
                      uint8_t *computed, sfp_compliance_result mismatch) {
  if (image == nullptr || stored == nullptr || computed == nullptr) {
    return SFP_RC_INVALID;
  }
  *stored = image[check];
  *computed = sum_of(image, first, check);
  return *stored == *computed ? SFP_COMPLIANCE_OK : mismatch;
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_xcvr_check_compliance_base_chksum(const uint8_t *id,
                                                                   uint8_t *stored,
                                                                   uint8_t *computed) {
  return check_byte_sum(id, kBaseFirst, kBaseCheck, stored, computed, SFP_COMPLIANCE_BASE_CHECKSUM);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_check_compliance_ext_chksum(const uint8_t *id,
                                                                  uint8_t *stored,
                                                                  uint8_t *computed) {
  return check_byte_sum(id, kExtFirst, kExtCheck, stored, computed, SFP_COMPLIANCE_EXT_CHECKSUM);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_check_compliance_vendor_chksum(const uint8_t *id,
                                                                     uint32_t *stored,
                                                                     uint32_t *computed) {
  if (id == nullptr || stored == nullptr || computed == nullptr) {
    return SFP_RC_INVALID;
  }
  *stored = read_le32(id + kVendorCrc);
  *computed = crc32_of(id + kVendorFirst, kVendorCrc - kVendorFirst);
  return *stored == *computed ? SFP_COMPLIANCE_OK : SFP_COMPLIANCE_VENDOR_CRC;
}

// The checks run in order and the first mismatch is the verdict.
extern "C" SFPDRV_API sfp_rc sfp_xcvr_check_compliance(const uint8_t *id,
                                                       sfp_compliance_result *result) {
  if (result == nullptr) {
    return SFP_RC_OK;
  }
  if (id == nullptr) {
    *result = SFP_COMPLIANCE_NO_DATA;
    return SFP_RC_OK;
  }
  uint8_t stored = 0;
  uint8_t computed = 0;
  uint32_t stored_crc = 0;
  uint32_t computed_crc = 0;
  sfp_compliance_result verdict = sfp_xcvr_check_compliance_base_chksum(id, &stored, &computed);
  if (verdict == SFP_COMPLIANCE_OK) {
    verdict = sfp_xcvr_check_compliance_ext_chksum(id, &stored, &computed);
  }
  if (verdict == SFP_COMPLIANCE_OK) {
    verdict = sfp_xcvr_check_compliance_vendor_chksum(id, &stored_crc, &computed_crc);
  }
  *result = verdict;
  return SFP_RC_OK;
}
