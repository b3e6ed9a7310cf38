// External calibration of the diagnostic values: the slope and offset of
// temperature, supply voltage, bias and transmit power, and the polynomial of
// receive power. Values are raw 16-bit module units before and after.
#ifndef SFPDRV_DECODE_CALIBRATION_H
#define SFPDRV_DECODE_CALIBRATION_H

#include <cstdint>

namespace sfpdrv {

// 1.0 in the unsigned 8.8 slope.
inline constexpr uint16_t kUnitSlope = 256;

// Temperature: slope product plus the offset, modulo 65536 (a two's
// complement value, so a negative result wraps as the module stores it).
uint16_t calibrate_temperature(uint16_t raw, uint16_t slope, int16_t offset);

// Supply voltage, bias and transmit power: slope product plus the offset,
// floored at 0 when a negative offset is larger than the product.
uint16_t calibrate_unsigned(uint16_t raw, uint16_t slope, int16_t offset);

// Receive power: R4 x^4 + R3 x^3 + R2 x^2 + R1 x + R0 in single precision,
// each coefficient a big-endian float in the page. R4 counts only when its
// stored bits are non-zero; a null R3, R2 or R1 leaves its term out. The
// sum, truncated, gives the low 16 bits; a negative or non-finite sum gives 0.
uint16_t calibrate_rx_power(uint16_t raw, const uint8_t *r4, const uint8_t *r3, const uint8_t *r2,
                            const uint8_t *r1, const uint8_t *r0);

} // namespace sfpdrv

#endif // SFPDRV_DECODE_CALIBRATION_H
