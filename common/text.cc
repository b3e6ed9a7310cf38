#include "common/text.h"

#include <cstring>

namespace sfpdrv {

std::size_t copy_bounded(char *dest, std::size_t size, const char *source) {
  if (dest == nullptr || size == 0) {
    return 0;
  }
  dest[0] = '\0';
  return append_bounded(dest, size, source);
}

std::size_t append_bounded(char *dest, std::size_t size, const char *piece) {
  if (dest == nullptr || size == 0) {
    return 0;
  }
  const std::size_t used = strnlen(dest, size - 1);
  if (piece == nullptr) {
    dest[used] = '\0';
    return used;
  }
  const std::size_t room = size - 1 - used;
  const std::size_t n = strnlen(piece, room);
  std::memcpy(dest + used, piece, n);
  dest[used + n] = '\0';
  return used + n;
}

std::size_t append_hex_bytes(char *dest, std::size_t size, const unsigned char *bytes,
                             std::size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::size_t length = append_bounded(dest, size, "");
  for (std::size_t i = 0; i < count && bytes != nullptr; ++i) {
    const char piece[4] = {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 0xf], ' ', '\0'};
    length = append_bounded(dest, size, piece);
  }
  return length;
}

} // namespace sfpdrv
