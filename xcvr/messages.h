// Trace points of transceiver identification.
// Columns: name, message number, argument signature, format.
// Numbers: 3100s type table, 3200s type detection, 3300s supported policy
// and part-number lists, 3400s multi-rate optics, 3500s wavelength and
// channels, 3600s cable classification.
#ifndef SFPDRV_XCVR_MESSAGES_H
#define SFPDRV_XCVR_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_TYPE_TABLE_MESSAGES(X) \
  X(kMultiRateNameMissing, 3101, "ddd",  "Controller %d Port %d: Multi rate SFP:%d ;Entry missing from multi rate table\n")

#define SFPDRV_DETECT_MESSAGES(X)

#define SFPDRV_SUPPORTED_MESSAGES(X) \
  X(kPidSupported,       3301, "dsdssd", "Get SFP PID supported, port:%d type:%s(%02d)  pid:%s status:%s  rc:0x%08x\n") \
  X(kVendorPnSupported,  3302, "dsdssd", "Get SFP Vendor PN supported, port:%d type:%s(%02d)  pn:%s status:%s  rc:0x%08x\n") \
  X(kPnSupported,        3303, "dsdssd", "Get SFP PN supported, port:%d type:%s(%02d)  pn:%s status:%s  rc:0x%08x\n") \
  X(kPnListAppendFailed, 3304, "sds",   "SFP supported %s list: no room for the entry of type %d (%s)\n")

#define SFPDRV_MULTI_RATE_MESSAGES(X) \
  X(kMultiRateReadError,   3401, "dd",   "Controller %d Port %d: SFP Multi Rate Support : Read register error\n") \
  X(kMultiRateOptics,      3402, "ddd",  "Controller %d Port %d: Multi Rate Optics port %d\n") \
  X(kMultiRateBaseChosen,  3403, "dddd", "Controller %d Port %d: Selected multi rate base_sfp_type:%d port:%d\n") \
  X(kMultiRateSubMissing,  3404, "ddd",  "Controller %d Port %d: Multi rate SFP:%d ;Entry missing for sub xcvr_type inmulti rate table\n") \
  X(kRateSelect50G,        3405, "ddd",  "Controller %d Port %d: sfp_multi_rate_sel_oper_rate:rate selection to 50G for port %d\n") \
  X(kRateSelect25G,        3406, "dd",   "Controller %d Port %d: sfp_multi_rate_sel_oper_rate:rate selection to 25G\n") \
  X(kRateSelect10G,        3407, "dd",   "Controller %d Port %d: sfp_multi_rate_sel_oper_rate:rate selection to 10G\n") \
  X(kRateSelectWriteError, 3408, "dddd", "Controller %d Port %d: SFP Rate selection,reg_val:0x%x Write error, rc:0x%x\n") \
  X(kMultiRateNullPort,    3409, "s",    "%s: NULL Hdl passed in\n")

#define SFPDRV_WAVELENGTH_MESSAGES(X) \
  X(kChannelOutOfRange,  3501, "ddddd", "Controller %d Port %d: tsfp wave channel not in usable range\nwave_channel: %d, supported_range: %d - %d\n") \
  X(kChannelSetRequest,  3502, "dddd",  "Controller %d Port %d: tsfp wave channel set req, chan no %d, with offset: %d\n") \
  X(kChannelSetError,    3503, "dd",    "Controller %d Port %d: tsfp channel set error") \
  X(kChannelSetDone,     3504, "dddd",  "Controller %d Port %d: tsfp channel programming done: channel %d, with offset: %d\n")

#define SFPDRV_CABLE_MESSAGES(X) \
  X(kIsCable,            3601, "dds",   "Controller %d Port %d: sfp is cable: %s \n") \
  X(kCx1Compliant,       3602, "dds",   "Controller %d Port %d: SFP is %s cx1 compliant\n") \
  X(kCx1NullParams,       3603, "dd",    "Controller %d Port %d: SFP cx1 check: NULL parameters\n") \
  X(kDwdmReceiver,       3604, "dds",   "Controller %d Port %d: is a SFP+ DWDM %s module\n")
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
