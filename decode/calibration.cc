// External calibration arithmetic and the monitoring-type bits of A0h byte
// 92, which tell whether a module needs it.
#include "decode/calibration.h"

#include "decode/internal.h"
#include "sfpdrv/decode.h"

namespace sfpdrv {
namespace {

// x times the 8.8 slope, without the fraction: the low byte's product is
// shifted back on its own, the high byte's product is already whole.
constexpr uint32_t slope_product(uint16_t raw, uint16_t slope) {
  return (((raw & 0xFFu) * slope) >> 8) + (uint32_t{raw} >> 8) * slope;
}
static_assert(slope_product(0x1234, kUnitSlope) == 0x1234);
static_assert(slope_product(1000, 0x0180) == 1500); // slope 1.5
static_assert(slope_product(0x0101, 0x0180) == 385);

constexpr uint16_t low16(uint32_t value) {
  return static_cast<uint16_t>(value & 0xFFFFu);
}

// At 2^64 and beyond the whole number is a multiple of 2^40 (a float has 24
// significant bits), so its low 16 bits are 0.
constexpr float kTwoTo64 = 18446744073709551616.0F;

uint16_t truncated_low16(float sum) {
  if (!(sum > 0.0F) || sum >= kTwoTo64) { // also NaN and infinity
    return 0;
  }
  return static_cast<uint16_t>(static_cast<uint64_t>(sum) & 0xFFFFu);
}

// The term c x^k; x^k is exact in 64 bits (65535^4 < 2^64) and rounded once
// to single precision.
float term(const uint8_t *coefficient, uint64_t power) {
  return read_be_float(coefficient) * static_cast<float>(power);
}

} // namespace

uint16_t calibrate_temperature(uint16_t raw, uint16_t slope, int16_t offset) {
  if (slope == kUnitSlope && offset == 0) {
    return raw;
  }
  return low16(slope_product(raw, slope) + static_cast<uint32_t>(offset));
}

uint16_t calibrate_unsigned(uint16_t raw, uint16_t slope, int16_t offset) {
  if (slope == kUnitSlope && offset == 0) {
    return raw;
  }
  const uint32_t product = slope_product(raw, slope);
  if (offset < 0 && product < static_cast<uint32_t>(-int32_t{offset})) {
    return 0;
  }
  return low16(product + static_cast<uint32_t>(offset));
}

uint16_t calibrate_rx_power(uint16_t raw, const uint8_t *r4, const uint8_t *r3, const uint8_t *r2,
                            const uint8_t *r1, const uint8_t *r0) {
  const uint64_t x = raw;
  const uint64_t x2 = x * x;
  float sum = 0.0F;
  if (read_be32(r4) != 0) {
    sum = term(r4, x2 * x2);
  }
  if (r3 != nullptr) {
    sum += term(r3, x2 * x);
  }
  if (r2 != nullptr) {
    sum += term(r2, x2);
  }
  if (r1 != nullptr) {
    sum += term(r1, x);
  }
  sum += read_be_float(r0);
  return truncated_low16(sum);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API uint32_t sfp_id_diagMonType_ext_cal(uint8_t type) {
  return (type & 0x10u) != 0 ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t sfp_id_diagMonType_int_cal(uint8_t type) {
  return (type & 0x20u) != 0 ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t sfp_id_diagMonType_digital_mon(uint8_t type) {
  return (type & 0x40u) != 0 ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t sfp_id_diagMonType_analog_mon(uint8_t type) {
  return (type & 0x80u) != 0 ? 1 : 0;
}

extern "C" SFPDRV_API sfp_rc sfp_get_ext_cal_temp(uint16_t raw, uint16_t *out, uint16_t slope,
                                                  int16_t offset) {
  if (out == nullptr) {
    return SFP_RC_INVALID;
  }
  *out = calibrate_temperature(raw, slope, offset);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_get_ext_cal_dom(uint16_t raw, uint16_t *out, uint16_t slope,
                                                 int16_t offset) {
  if (out == nullptr) {
    return SFP_RC_INVALID;
  }
  *out = calibrate_unsigned(raw, slope, offset);
  return SFP_RC_OK;
}

// R4 and R0 are always part of the polynomial: without them there is
// nothing to compute, so their absence is refused like a missing out.
extern "C" SFPDRV_API sfp_rc sfp_get_ext_cal_rx_power(uint16_t raw, uint16_t *out,
                                                      const uint8_t *r4, const uint8_t *r3,
                                                      const uint8_t *r2, const uint8_t *r1,
                                                      const uint8_t *r0) {
  if (out == nullptr || r4 == nullptr || r0 == nullptr) {
    return SFP_RC_INVALID;
  }
  *out = calibrate_rx_power(raw, r4, r3, r2, r1, r0);
  return SFP_RC_OK;
}
