// Trace points of EEPROM decode, reports and snapshots.
// Columns: name, message number, argument signature, format.
// Numbers: 5100s value formatting, 5200s identification decode, 5300s
// diagnostic decode, 5400s EEPROM report, 5500s snapshots, 5600s checksums.
#ifndef SFPDRV_DECODE_MESSAGES_H
#define SFPDRV_DECODE_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_REPORT_MESSAGES(X)

#define SFPDRV_SNAPSHOT_MESSAGES(X)
// clang-format on

namespace sfpdrv::msg {
SFPDRV_REPORT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_SNAPSHOT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_DECODE_MESSAGES(X) SFPDRV_REPORT_MESSAGES(X) SFPDRV_SNAPSHOT_MESSAGES(X)

#endif // SFPDRV_DECODE_MESSAGES_H
