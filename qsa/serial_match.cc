// Serial-number comparison, used behind an adapter to tell a swapped module
// from the one its port was created with.
#include <algorithm>
#include <cstring>

#include "port/internal.h"
#include "qsa/messages.h"
#include "sfpdrv/qsa.h"

namespace sfpdrv {
namespace {

constexpr std::size_t kSerialOffset = SFP_IMAGE_A0 + 68;
constexpr std::size_t kSerialRoom = 256 - 68; // to the end of A0h
constexpr std::size_t kStoredTextMax = 50;

// Appends up to `count` bytes of `bytes` as text, stopping at a NUL.
std::size_t append_text(char *dest, std::size_t size, std::size_t used, const uint8_t *bytes,
                        std::size_t count) {
  for (std::size_t i = 0; i < count && bytes[i] != 0 && used + 1 < size; ++i) {
    dest[used++] = static_cast<char>(bytes[i]);
  }
  dest[used] = '\0';
  return used;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API uint32_t sfp_vendor_sn_match(sfp_port_ctx *port, const uint8_t *serial,
                                                   uint32_t length) {
  if (port == nullptr || serial == nullptr || length > kSerialRoom) {
    return 0;
  }
  const uint8_t *stored = port->eeprom + kSerialOffset;
  if (std::memcmp(stored, serial, length) == 0) {
    return 1;
  }
  // "stored/given", the stored part cut at 50 bytes.
  char text[2 * kSerialRoom + 2] = "";
  std::size_t used =
      append_text(text, sizeof text, 0, stored, std::min<std::size_t>(length, kStoredTextMax));
  text[used++] = '/';
  append_text(text, sizeof text, used, serial, length);
  trace<msg::kSfpSerialMismatch>(port->evt_trace, port->controller, port->port, text);
  return 0;
}
