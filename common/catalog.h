// The identifier of the library's message catalogue. The catalogue itself,
// every subsystem's table with its numbers checked for uniqueness, is
// assembled above all subsystems (catalog/catalog.cc).
#ifndef SFPDRV_COMMON_CATALOG_H
#define SFPDRV_COMMON_CATALOG_H

namespace sfpdrv {

// Identifier of the library's message catalogue, given to the trace service.
inline constexpr const char *kCatalogId = "5f1d2c7a9b3e4d60a8c1f2e3d4b5a697";

} // namespace sfpdrv

#endif // SFPDRV_COMMON_CATALOG_H
