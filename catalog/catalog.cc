#include "catalog/catalog.h"

#include <array>
#include <cstddef>

#include "control/messages.h"
#include "decode/messages.h"
#include "port/messages.h"
#include "qsa/messages.h"
#include "xcvr/messages.h"

namespace sfpdrv {
namespace {

using namespace msg;

constexpr TraceMsg kCatalog[] = {
    SFPDRV_PORT_MESSAGES(SFPDRV_LIST_MESSAGE) SFPDRV_ACCESS_MESSAGES(SFPDRV_LIST_MESSAGE)
        SFPDRV_XCVR_MESSAGES(SFPDRV_LIST_MESSAGE) SFPDRV_CONTROL_MESSAGES(SFPDRV_LIST_MESSAGE)
            SFPDRV_DECODE_MESSAGES(SFPDRV_LIST_MESSAGE) SFPDRV_QSA_MESSAGES(SFPDRV_LIST_MESSAGE)};

constexpr bool numbers_unique() {
  constexpr std::size_t n = std::size(kCatalog);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      if (kCatalog[i].number == kCatalog[j].number) {
        return false;
      }
    }
  }
  return true;
}
static_assert(numbers_unique(), "two trace points share a message number");

} // namespace

std::span<const TraceMsg> message_catalog() {
  return kCatalog;
}

} // namespace sfpdrv
