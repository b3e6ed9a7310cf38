// Trace points of EEPROM decode, reports and snapshots.
// Columns: name, message number, argument signature, format.
// Numbers: 5100s value formatting, 5200s identification decode, 5300s
// diagnostic decode, 5400s EEPROM report, 5500s snapshots, 5600s checksums.
#ifndef SFPDRV_DECODE_MESSAGES_H
#define SFPDRV_DECODE_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_REPORT_MESSAGES(X) \
  X(kReportNoMemory,          5401, "dd",   "Controller %d Port %d: EEPROM report: calloc failed\n") \
  X(kReportPieceLost,         5402, "ddd",  "Controller %d Port %d: EEPROM report: piece %d left out, calloc failed\n") \
  X(kReportDumpFailed,        5403, "ddd",  "Controller %d Port %d: EEPROM report: hex dump failed. rc: 0x%x\n") \
  X(kReportBufferNoMemory,    5404, "dd",   "Controller %d Port %d: EEPROM report text: calloc failed\n")

#define SFPDRV_SNAPSHOT_MESSAGES(X) \
  X(kStatusSpaceNotSupported, 5501, "dd",   "Controller %d Port %d: Status space not supported\n") \
  X(kStatusTypeReadFailed,    5502, "ddd",  "Controller %d Port %d: errno: sfp HW status sfp type read failed. rc: 0x%x\n") \
  X(kStatusCallocFailed,      5503, "dd",   "Controller %d Port %d: calloc failed \n ") \
  X(kStatusFileOpenFailed,    5504, "dd",   "Controller %d Port %d: File open failed \n ") \
  X(kBitbangFlagsFailed,      5505, "dd",   "Controller %d Port %d: BITBANG read fail for Alarm flags\n") \
  X(kInvalidFlags,            5506, "dddd", "Controller %d Port %d: HW status Read alarm status %x and warning status %x. But high and low alarms can't occur together, hence invalid status \n") \
  X(kChannelReadFailed,       5507, "ddd",  "Controller %d Port %d: HW Info tsfp channel number reg read failed. rc: 0x%x\n") \
  X(kTxDisableReadFailed,     5508, "ddd",  "Controller %d Port %d: HW Info sfp enable/disable reg read failed. rc: 0x%x\n") \
  X(kInfoNullParams,          5509, "dd",   "Controller %d Port %d: sfp get hw info Null parameters\n") \
  X(kInfoCallocFailed,        5510, "dd",   "Controller %d Port %d: calloc failed \n ") \
  X(kInfoFileOpenFailed,      5511, "dd",   "Controller %d Port %d: File open failed \n ") \
  X(kInfoTypeReadFailed,      5512, "ddd",  "Controller %d Port %d: errno: sfp HW Info sfp type read failed. rc: 0x%x\n") \
  X(kInfoCableFailed,         5513, "ddd",  "Controller %d Port %d: Failed to identify the sfp is cable. rc: 0x%x\n") \
  X(kDebugTableSelectFailed,  5514, "dddd", "Controller %d Port %d: Debug dump cannot select table %d. rc: 0x%x\n")
// clang-format on

namespace sfpdrv::msg {
SFPDRV_REPORT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_SNAPSHOT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_DECODE_MESSAGES(X) SFPDRV_REPORT_MESSAGES(X) SFPDRV_SNAPSHOT_MESSAGES(X)

#endif // SFPDRV_DECODE_MESSAGES_H
