// The catalogue of every trace point of the library, assembled here, above
// every subsystem, where all their message tables are visible.
#ifndef SFPDRV_CATALOG_CATALOG_H
#define SFPDRV_CATALOG_CATALOG_H

#include <span>

#include "common/trace.h"

namespace sfpdrv {

// Every message of the library, in number order within each subsystem.
std::span<const TraceMsg> message_catalog();

} // namespace sfpdrv

#endif // SFPDRV_CATALOG_CATALOG_H
