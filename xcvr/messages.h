// Trace points of transceiver identification.
// Columns: name, message number, argument signature, format.
// Numbers: 3100s type table, 3200s type detection, 3300s supported policy
// and part-number lists, 3400s multi-rate optics, 3500s wavelength and
// channels, 3600s cable classification.
#ifndef SFPDRV_XCVR_MESSAGES_H
#define SFPDRV_XCVR_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_TYPE_TABLE_MESSAGES(X)

#define SFPDRV_DETECT_MESSAGES(X)

#define SFPDRV_SUPPORTED_MESSAGES(X)

#define SFPDRV_MULTI_RATE_MESSAGES(X)

#define SFPDRV_WAVELENGTH_MESSAGES(X)

#define SFPDRV_CABLE_MESSAGES(X)
// clang-format on

namespace sfpdrv::msg {
SFPDRV_TYPE_TABLE_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_DETECT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_SUPPORTED_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_MULTI_RATE_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_WAVELENGTH_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_CABLE_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_XCVR_MESSAGES(X)                                                                    \
  SFPDRV_TYPE_TABLE_MESSAGES(X)                                                                    \
  SFPDRV_DETECT_MESSAGES(X)                                                                        \
  SFPDRV_SUPPORTED_MESSAGES(X)                                                                     \
  SFPDRV_MULTI_RATE_MESSAGES(X)                                                                    \
  SFPDRV_WAVELENGTH_MESSAGES(X)                                                                    \
  SFPDRV_CABLE_MESSAGES(X)

#endif // SFPDRV_XCVR_MESSAGES_H
