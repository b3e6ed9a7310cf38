// The catalogue of every trace point of the library.
#ifndef SFPDRV_COMMON_CATALOG_H
#define SFPDRV_COMMON_CATALOG_H

#include <span>

#include "common/trace.h"

namespace sfpdrv {

// Every message of the library, in number order within each subsystem.
std::span<const TraceMsg> message_catalog();

// Identifier of the library's message catalogue, given to the trace service.
inline constexpr const char *kCatalogId = "5f1d2c7a9b3e4d60a8c1f2e3d4b5a697";

} // namespace sfpdrv

#endif // SFPDRV_COMMON_CATALOG_H
