// Trace points of the port core and of module access.
// Columns: name, message number, argument signature, format.
#ifndef SFPDRV_PORT_MESSAGES_H
#define SFPDRV_PORT_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_PORT_MESSAGES(X) \
  X(kNullHdl,            1001, "",      "NULL Hdl passed in\n") \
  X(kNotInitialised,     1002, "ddDDd", "Controller %d Port %d: SFP instance not fully initialized.  Hdl 0x%p  Opaque 0x%p at line %d\n") \
  X(kFindPassOver,       1003, "DD",    "opaque = 0x%p  lpc->opaque = 0x%p\n") \
  X(kMutexLockFailed,    1004, "dd",    "mutex_lock(3) failed, rc: %d, errno: %d\n") \
  X(kLockDeadlock,       1005, "",      "locking leads to deadlock, need traceback\n") \
  X(kMutexUnlockFailed,  1006, "dd",    "mutex_unlock(3) failed, rc: %d, errno: %d\n") \
  X(kDllInitDone,        1007, "d",     "SFP DLL init done. rc 0x%x\n") \
  X(kSupportedInitDone,  1008, "d",     "SFP suported sfp init done. rc 0x%x\n") \
  X(kDllAlreadyInit,     1009, "",      "SFP DLL already initialized\n") \
  X(kCreatePortCtx,      1010, "D",     "Opaque 0x%p\nCan't find our port ctx.  Create one!\n") \
  X(kAllocPortFailed,    1011, "D",     "SFP : unable to allocate memory for SFP Port context.  opaque 0x%p\n") \
  X(kFindEnd,            1012, "D",     "opaque 0x%p  END\n") \
  X(kCopyingBytes,       1013, "ddd",   "Controller %d Port %d: Copying %d bytes over to the sfp register structure\n") \
  X(kInitDone,           1014, "dds",   "Controller %d Port %d: Init done: %s\n") \
  X(kDeleteNullHdl,      1015, "",      "sfp port context find and delete : NULL hdl \n") \
  X(kDeleteNotFound,     1016, "D",     "sfp port context find and delete:port context not found for handle 0x%p\n") \
  X(kCreateNullParams,   1017, "",      "sfp port create : NULL parameters\n") \
  X(kIdentifyTp1,        1101, "dd",    "Controller %d Port %d: sfp_xcvr_which_space_supported2 - TP1\n") \
  X(kInvalidDeviceType,  1102, "dd",    "Controller %d Port %d: Invalid device type\n") \
  X(kSpacesSupported,    1103, "dddddd", "Controller %d Port %d: Spaces supported [half_a0:%d full_a0:%d a2:%d dom:%d]\n") \
  X(kGetPageA2Failed,    1104, "dd",    "Controller %d Port %d: SFP Get Page A2 failed") \
  X(kTsfpTableSelectFailed, 1105, "dd", "Controller %d Port %d: TSFP Set tableSelect failed") \
  X(kReadA2Autopoll,     1106, "dd",    "Controller %d Port %d: SFP reading A2 upper page with autopoll utility \n") \
  X(kGetA2Table0Failed,  1107, "dd",    "Controller %d Port %d: SFP Get A2 Upper page 0 failed") \
  X(kTsfpSelectTable2Failed, 1108, "dd", "Controller %d Port %d: TSFP Set tableSelect failed to select version 2") \
  X(kTsfpGetTable2Failed, 1109, "dd",   "Controller %d Port %d: TSFP Get Upper page A2-02 failed") \
  X(kReadA2BitBang,      1110, "dd",    "Controller %d Port %d: SFP reading A2 upper page with bit-bang utility \n") \
  X(kBbCleiReadError,    1111, "dd",    "Controller %d Port %d: SFP CLEI read error with bit-bang utility \n") \
  X(kBbPartNumberReadError, 1112, "dd", "Controller %d Port %d: SFP PART NUMBER read error with bit-bang utility \n") \
  X(kBbPidReadError,     1113, "dd",    "Controller %d Port %d: SFP PID read error with bit-bang utility \n") \
  X(kBbVidReadError,     1114, "dd",    "Controller %d Port %d: TSFP VID Read error with bit-bang utility \n") \
  X(kBbFirstThzFailed,   1115, "dd",    "Controller %d Port %d: TSFP laser first frequency get failed") \
  X(kBbFirstGhzFailed,   1116, "dd",    "Controller %d Port %d: TSFP laser first frequency GHz get failed") \
  X(kBbLastThzFailed,    1117, "dd",    "Controller %d Port %d: TSFP laser last frequency get failed") \
  X(kBbLastGhzFailed,    1118, "dd",    "Controller %d Port %d: TSFP laser last frequency GHz get failed") \
  X(kTunableRange,       1119, "dds",   "Controller %d Port %d: %s\n") \
  X(kIdentifyTp2,        1120, "dd",    "Controller %d Port %d: sfp_xcvr_which_space_supported2 - TP2\n") \
  X(kSpacesSupportedUpd, 1121, "dddddd", "Controller %d Port %d: Spaces supported upd [half_a0:%d full_a0:%d a2:%d dom:%d]\n") \
  X(kDataReadyReadError, 1122, "dd",    "Controller %d Port %d: SFP data ready : Read error\n") \
  X(kTxNotDataReady,     1123, "dd",    "Controller %d Port %d: SFP Tx is not data ready \n") \
  X(kInitTxDisable,      1124, "dd",    "Controller %d Port %d: Init: Tx disable\n")

#define SFPDRV_ACCESS_MESSAGES(X) \
  X(kNullSfpPort,        2001, "",      "NULL Sfp Port\n") \
  X(kAccessEmptyParams,  2002, "dd",    "Controller %d Port %d: SFP Access : Call with empty parameters\n") \
  X(kCrossBoundary,      2003, "dd",    "Controller %d Port %d: SFP Access : register address cross upper page boundary\n") \
  X(kPageBeyondTables,   2004, "dd",    "Controller %d Port %d: SFP Access : requested PAGE is beyond supported pages [0-3]\n") \
  X(kPageNotProvided,    2005, "ddddddd", "Controller %d Port %d: SFP Access : requested PAGE %d is beyond supported [half_a0:%d full_a0:%d a2:%d dom:%d]\n") \
  X(kCannotSetPage,      2006, "ddd",   "Controller %d Port %d: cannot set page. rc: 0x%x\n") \
  X(kAccessError,        2007, "ddddddd", "Controller %d Port %d: access error. Reg 0x%x Sz %d page %d rw %d rc: 0x%x\n") \
  X(kBbEmptyParams,      2008, "dd",    "Controller %d Port %d: SFP BB Access : Call with empty parameters\n") \
  X(kBbCannotSetPage,    2009, "ddd",   "Controller %d Port %d: cannot set page. rc: 0x%x\n") \
  X(kBbAccessError,      2010, "ddddddd", "Controller %d Port %d: access error. Reg 0x%x Sz %d page %d rw %d rc: 0x%x\n") \
  X(kRegEmptyParams,     2011, "dd",    "Controller %d Port %d: SFP Access :Call with empty parameters\n") \
  X(kRegReadError,       2012, "ddddddd", "Controller %d Port %d: access error. Reg 0x%x Sz %d page %d rw %d rc: 0x%x\n") \
  X(kBbNullSfpPort,      2013, "",      "NULL Sfp Port\n") \
  X(kRegNullSfpPort,     2014, "",      "NULL Sfp Port\n") \
  X(kBadDirection,       2015, "ddd",   "Controller %d Port %d: SFP Access : invalid direction %d\n") \
  X(kBbCrossBoundary,    2016, "dd",    "Controller %d Port %d: SFP Access : register address cross upper page boundary\n") \
  X(kBbPageBeyondTables, 2017, "dd",    "Controller %d Port %d: SFP Access : requested PAGE is beyond supported pages [0-3]\n") \
  X(kBbPageNotProvided,  2018, "ddddddd", "Controller %d Port %d: SFP Access : requested PAGE %d is beyond supported [half_a0:%d full_a0:%d a2:%d dom:%d]\n")
// clang-format on

namespace sfpdrv::msg {
SFPDRV_PORT_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_ACCESS_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Texts printed to standard error when the trace service is not usable.
namespace sfpdrv::stderr_text {
inline constexpr const char *kPelogErrFailed = "sfp: pelog creation failed for error.\n";
inline constexpr const char *kPelogEvtFailed = "sfp: pelog creation failed for event.\n";
inline constexpr const char *kNullEvm = "sfp: NULL evm. Not enable to pelog show command\n";
inline constexpr const char *kPelogInitFailed = "SFP: pelog initialization failed\n";
inline constexpr const char *kPortFindAddError = "sfp port init : port context find/add error \n";
} // namespace sfpdrv::stderr_text

#endif // SFPDRV_PORT_MESSAGES_H
