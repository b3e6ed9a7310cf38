#include "hex_dump.h"

#include <cstdio>

namespace sfpctl {
namespace {

constexpr std::size_t kBytesPerLine = 16;

char printable(uint8_t byte) {
  return byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
}

} // namespace

std::string hex_dump(std::span<const uint8_t> bytes, uint32_t first_offset) {
  std::string out;
  for (std::size_t start = 0; start < bytes.size(); start += kBytesPerLine) {
    const std::span<const uint8_t> line =
        bytes.subspan(start).first(std::min(kBytesPerLine, bytes.size() - start));
    char field[16];
    std::snprintf(field, sizeof field, "0x%04zx: ", first_offset + start);
    out += field;
    std::string ascii;
    for (std::size_t i = 0; i < kBytesPerLine; ++i) {
      if (i < line.size()) {
        std::snprintf(field, sizeof field, " %02x", static_cast<unsigned>(line[i]));
        out += field;
        ascii += printable(line[i]);
      } else {
        out += "   ";
      }
    }
    out += "  |" + ascii + "|\n";
  }
  return out;
}

} // namespace sfpctl
