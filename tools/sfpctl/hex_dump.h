// Hex dump of module memory.
#ifndef SFPCTL_HEX_DUMP_H
#define SFPCTL_HEX_DUMP_H

#include <cstdint>
#include <span>
#include <string>

namespace sfpctl {

// Lines of 16 bytes: the module offset of the line's first byte, the bytes
// in hex and an ASCII column with '.' for unprintable bytes, e.g.
//   0x0010:  00 00 00 00 53 49 4d 4c 41 42 20 4f 50 54 49 43  |....SIMLAB OPTIC|
// A short last line is padded so that its ASCII column lines up.
std::string hex_dump(std::span<const uint8_t> bytes, uint32_t first_offset);

} // namespace sfpctl

#endif // SFPCTL_HEX_DUMP_H
