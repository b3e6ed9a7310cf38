// Trace points of the adapter layer.
// Columns: name, message number, argument signature, format.
// Numbers: 6100s lifecycle and locking, 6200s access and insertion, 6300s
// adapter operations.
#ifndef SFPDRV_QSA_MESSAGES_H
#define SFPDRV_QSA_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_QSA_LIFECYCLE_MESSAGES(X)

#define SFPDRV_QSA_ACCESS_MESSAGES(X)

#define SFPDRV_QSA_OPERATION_MESSAGES(X)
// clang-format on

namespace sfpdrv::msg {
SFPDRV_QSA_LIFECYCLE_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_QSA_ACCESS_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_QSA_OPERATION_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_QSA_MESSAGES(X)                                                                     \
  SFPDRV_QSA_LIFECYCLE_MESSAGES(X)                                                                 \
  SFPDRV_QSA_ACCESS_MESSAGES(X)                                                                    \
  SFPDRV_QSA_OPERATION_MESSAGES(X)

#endif // SFPDRV_QSA_MESSAGES_H
