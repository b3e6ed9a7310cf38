// Bounded text helpers: every copy and append is given the destination's
// full size and never writes past it; the result is always terminated.
#ifndef SFPDRV_COMMON_TEXT_H
#define SFPDRV_COMMON_TEXT_H

#include <cstddef>

namespace sfpdrv {

// Copies `source` into `dest` of `size` bytes, cut to fit. Returns the length
// of the result.
std::size_t copy_bounded(char *dest, std::size_t size, const char *source);

// Appends `piece` to the text in `dest` (of `size` bytes), as far as it fits
// with its terminator. Returns the length of the result.
std::size_t append_bounded(char *dest, std::size_t size, const char *piece);

// Lower-case hex of `count` bytes, each as two digits and a blank, appended
// to `dest` as far as it fits.
std::size_t append_hex_bytes(char *dest, std::size_t size, const unsigned char *bytes,
                             std::size_t count);

} // namespace sfpdrv

#endif // SFPDRV_COMMON_TEXT_H
