// Helpers shared by the decoders of module memory: the bounded append of a
// formatted piece, the raw hex text of a field, the field bounds, readers of
// big- and little-endian values, the vendor code and the CRC-32.
#ifndef SFPDRV_DECODE_INTERNAL_H
#define SFPDRV_DECODE_INTERNAL_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "sfpdrv/decode.h"

namespace sfpdrv {

// Every text piece is formatted into a scratch of this size first, so a
// piece is cut to 79 characters before it is appended.
inline constexpr std::size_t kPieceScratch = 80;

// Bounds with which the decoders write a field: the name is written with a
// 32-byte bound, value pieces are appended with 160 and hex with 64.
inline constexpr int32_t kFieldNameBound = 32;
inline constexpr int32_t kFieldValueBound = 160;
inline constexpr int32_t kFieldRawBound = 64;

// Formats a piece (printf) into the 80-byte scratch and appends it to the
// terminated text in `text`, as far as it fits with its terminator in
// `size` bytes. A size of 0 or less, or a missing text, appends nothing; a
// full text stays as it is.
void append_piece(char *text, int32_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

// Appends a text as a piece: cut to 79 characters, then appended as far as
// it fits, as append_piece(text, size, "%s", piece) would.
void append_text(char *text, int32_t size, const char *piece);

// Appends "%02x " for each of `count` bytes (at most 20 are rendered) to the
// text in `text` of `size` bytes. A missing text or bytes, or a count below
// 1, renders nothing.
inline constexpr int32_t kHexMaxBytes = 20;
void xcvr_bytes_to_hex_string(char *text, int32_t size, const uint8_t *bytes, int32_t count);

// Appends "%u meter" of length x unit.
void xcvr_length_to_string(uint8_t length, uint32_t unit, char *text, int32_t size);
// Appends "%u%%" of the byte.
void xcvr_percent_to_string(uint8_t percent, char *text, int32_t size);

// Clears `field` and names it (32-byte bound).
void start_field(sfp_decoded_field &field, const char *name);

// Module values are stored most significant byte first; the vendor CRC is
// stored least significant byte first.
constexpr uint16_t read_be16(const uint8_t *bytes) {
  return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}
constexpr uint32_t read_be32(const uint8_t *bytes) {
  return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
         uint32_t{bytes[3]};
}
constexpr uint32_t read_le32(const uint8_t *bytes) {
  return (uint32_t{bytes[3]} << 24) | (uint32_t{bytes[2]} << 16) | (uint32_t{bytes[1]} << 8) |
         uint32_t{bytes[0]};
}
// A single-precision number stored most significant byte first.
inline float read_be_float(const uint8_t *bytes) {
  return std::bit_cast<float>(read_be32(bytes));
}

// The vendor-specific extended ID of A0h bytes 0..127: byte 96, or, when
// byte 96 is 0xff, byte 97 as the high byte over 0xff.
constexpr uint16_t vendor_ext_id(const uint8_t *id) {
  return id[96] != 0xff ? id[96] : static_cast<uint16_t>((id[97] << 8) | 0xff);
}

// CRC-32 as the vendor-specific area of A0h carries it (reflected
// polynomial 0xEDB88320, initial value and final xor all ones).
uint32_t crc32(const uint8_t *bytes, std::size_t count);

// Checks the byte sum (modulo 256) of image[first..check - 1] against
// image[check], giving both back: SFP_COMPLIANCE_OK, `mismatch`, or 22 for
// a null argument. Shared by the SFP and the QSFP identification checksums.
sfp_rc check_byte_sum(const uint8_t *image, std::size_t first, std::size_t check, uint8_t *stored,
                      uint8_t *computed, sfp_compliance_result mismatch);

// One row of the vendor extended-ID table.
struct VendorExtIdRow {
  uint16_t code;
  const char *label;
};
inline constexpr std::size_t kVendorExtIdRows = 200;
extern const std::array<VendorExtIdRow, kVendorExtIdRows> sfp_vendor_ext_id_table;
// The label of `code`, or null when the table has no row for it.
const char *vendor_ext_id_label(uint16_t code);

// Replaces the debug file at `path` with one "name:raw:value" line per
// field. The file is written under a temporary name beside it and renamed
// into place; a name held by anything but a regular file of this process's
// user with a single link is never touched. False when nothing was written.
bool replace_debug_file(const char *path, const sfp_decoded_field *fields, std::size_t count);

} // namespace sfpdrv

#endif // SFPDRV_DECODE_INTERNAL_H
