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

#define SFPDRV_SUPPORTED_MESSAGES(X)

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
