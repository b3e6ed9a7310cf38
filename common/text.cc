#include "common/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
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

namespace {

// "%.*s": a text of at most the given number of characters.
bool is_bounded_text(const char *conversion) {
  return conversion[0] == '.' && conversion[1] == '*' && conversion[2] == 's';
}

bool only_plain_conversions(const char *format) {
  for (const char *f = std::strchr(format, '%'); f != nullptr; f = std::strchr(f + 1, '%')) {
    ++f; // the conversion
    if (is_bounded_text(f)) {
      f += 2;
    } else if (*f == '\0' || std::strchr("sduc%", *f) == nullptr) {
      return false;
    }
  }
  return true;
}

// Output cut to the room of a buffer, terminated by finish().
class Bounded {
public:
  Bounded(char *out, std::size_t size) : out_(out), last_(size - 1) {}
  void put(char c) {
    if (used_ < last_) {
      out_[used_++] = c;
    }
  }
  void put(const char *text, std::size_t length) {
    const std::size_t n = std::min(length, last_ - used_);
    std::memcpy(out_ + used_, text, n);
    used_ += n;
  }
  void put(const char *text) { put(text, strnlen(text, last_ - used_)); }
  void put_unsigned(uint64_t value, bool negative) {
    char digits[24];
    std::size_t n = sizeof digits;
    do {
      digits[--n] = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value != 0);
    if (negative) {
      digits[--n] = '-';
    }
    put(digits + n, sizeof digits - n);
  }
  void finish() { out_[used_] = '\0'; }

private:
  char *out_;
  std::size_t last_;
  std::size_t used_ = 0;
};

} // namespace

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): `args` is started by
// the caller.
bool format_plain(char *out, std::size_t size, const char *format, va_list args) {
  if (out == nullptr || size == 0 || format == nullptr || !only_plain_conversions(format)) {
    return false;
  }
  Bounded text(out, size);
  for (const char *f = format; *f != '\0'; ++f) {
    const char *percent = std::strchr(f, '%');
    if (percent == nullptr) {
      text.put(f);
      break;
    }
    text.put(f, static_cast<std::size_t>(percent - f));
    f = percent + 1;
    if (is_bounded_text(f)) {
      f += 2;
      const int precision = va_arg(args, int);
      const char *piece = va_arg(args, const char *);
      if (piece == nullptr) {
        // What printf shows for a missing text: "(null)" if it fits, else nothing.
        piece = precision < 0 || precision >= 6 ? "(null)" : "";
      }
      text.put(piece, precision < 0 ? std::strlen(piece)
                                    : strnlen(piece, static_cast<std::size_t>(precision)));
      continue;
    }
    switch (*f) {
    case 's': {
      const char *piece = va_arg(args, const char *);
      text.put(piece != nullptr ? piece : "(null)");
      break;
    }
    case 'd': {
      const int value = va_arg(args, int);
      const auto magnitude = value < 0 ? 0 - static_cast<uint64_t>(static_cast<int64_t>(value))
                                       : static_cast<uint64_t>(value);
      text.put_unsigned(magnitude, value < 0);
      break;
    }
    case 'u':
      text.put_unsigned(va_arg(args, unsigned), false);
      break;
    case 'c':
      text.put(static_cast<char>(va_arg(args, int)));
      break;
    default: // "%%"
      text.put('%');
      break;
    }
  }
  text.finish();
  return true;
}

bool format_piece(char *out, std::size_t size, const char *format, va_list args) {
  va_list plain;
  va_copy(plain, args);
  const bool done = format_plain(out, size, format, plain);
  va_end(plain);
  return done || std::vsnprintf(out, size, format, args) >= 0;
}
// NOLINTEND(clang-analyzer-valist.Uninitialized)

} // namespace sfpdrv
