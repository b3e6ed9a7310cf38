// Trace points of port control and of the copper PHY.
// Columns: name, message number, argument signature, format.
// Numbers: 4100s transmitter and signal conditioning, 4200s admin state and
// PHY speed, 4300s copper PHY.
#ifndef SFPDRV_CONTROL_MESSAGES_H
#define SFPDRV_CONTROL_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_PHY_MESSAGES(X)
// clang-format on

namespace sfpdrv::msg {
SFPDRV_PHY_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_CONTROL_MESSAGES(X) SFPDRV_PHY_MESSAGES(X)

#endif // SFPDRV_CONTROL_MESSAGES_H
