// Bounded text helpers: every copy and append is given the destination's
// full size and never writes past it; the result is always terminated.
#ifndef SFPDRV_COMMON_TEXT_H
#define SFPDRV_COMMON_TEXT_H

#include <cstdarg>
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

// vsnprintf for the formats most text pieces use: literal text with the
// plain conversions %s, %.*s, %d, %u, %c and %% (no flags or width).
// Writes into `out` (`size` bytes, at least 1) exactly what vsnprintf would
// and returns true; for any other format returns false without reading
// `args`, and the caller formats the piece with vsnprintf.
bool format_plain(char *out, std::size_t size, const char *format, va_list args);

// vsnprintf of a text piece, by format_plain where it can: false only for
// an encoding error.
bool format_piece(char *out, std::size_t size, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));

} // namespace sfpdrv

#endif // SFPDRV_COMMON_TEXT_H
