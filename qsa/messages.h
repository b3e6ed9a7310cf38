// Trace points of the adapter layer.
// Columns: name, message number, argument signature, format.
// Numbers: 6100s lifecycle and locking, 6200s access and insertion, 6300s
// adapter operations.
#ifndef SFPDRV_QSA_MESSAGES_H
#define SFPDRV_QSA_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_QSA_LIFECYCLE_MESSAGES(X) \
  X(kQsaNullHdl,             6101, "",     "NULL Hdl passed in\n") \
  X(kQsaMutexLockFailed,     6102, "dd",   "mutex_lock(3) failed, rc: %d, errno: %d\n") \
  X(kQsaLockDeadlock,        6103, "",     "locking leads to deadlock, need traceback\n") \
  X(kQsaMutexUnlockFailed,   6104, "dd",   "mutex_unlock(3) failed, rc: %d, errno: %d\n") \
  X(kQsaPortLockFailed,      6105, "dd",   "Failed to lock port ctx, rc: %d, errno: %d\n") \
  X(kQsaPortLockDeadlock,    6106, "",     "Port ctx locking failed.  Deadlock!!\n") \
  X(kQsaNotInitialised,      6107, "dDDd", "Port %d: QSA instance not fully initialized. Hdl 0x%p  Opaque 0x%p at line %d\n") \
  X(kQsaDllInitDone,         6108, "d",    "QSA DLL init done. rc 0x%x\n") \
  X(kQsaDllAlreadyInit,      6109, "",     "QSA DLL already initialized\n") \
  X(kQsaFindPassOver,        6110, "DD",   "opaque = 0x%p  lpc->opaque = 0x%p\n") \
  X(kQsaCreatePortCtx,       6111, "D",    "Opaque 0x%p\nCan't find our port ctx.  Create one!\n") \
  X(kQsaAllocPortFailed,     6112, "D",    "QSA : unable to allocate memory for QSA Port context.  opaque 0x%p\n") \
  X(kQsaFindEnd,             6113, "D",    "opaque 0x%lx  END\n") \
  X(kQsaTypeReadFailed,      6114, "d",    "Port %d: Failed to identify QSA adapter type\n") \
  X(kQsaCreateTxWriteFailed, 6115, "d",    "Port %d: Error: Failed in QSA TX Diable register write\n") \
  X(kQsaCreateTxDisableFailed, 6116, "dd", "Port %d: Error: Failed to disable QSA TX, rc:%d\n") \
  X(kQsaCreatePresenceFailed, 6117, "d",   "Port %d: QSA sfp present read failed : Read error\n") \
  X(kQsaReadingSfpEeprom,    6118, "d",    "Port %d: Reading sfp eeprom\n") \
  X(kQsaSfpPortCreateDone,   6119, "d",    "Port %d: SFP port create done\n") \
  X(kQsaSfpPortCreateFailed, 6120, "dd",   "Port %d: SFP Port Create failed. rc 0x%x\n") \
  X(kQsaDevInitDone,         6121, "d",    "Port %d: QSA port dev init done\n") \
  X(kQsaInitDone,            6122, "d",    "Port %d: Init done\n") \
  X(kQsaCreateNullParams,    6123, "",     "qsa port create : NULL parameters\n") \
  X(kQsaPortUnlockFailed,    6124, "dd",   "mutex_unlock(3) failed, rc: %d, errno: %d\n") \
  X(kQsaDeleteLockFailed,    6125, "ddd",  "Port %d: port lock not taken for deletion, rc: %d, errno: %d\n")

#define SFPDRV_QSA_ACCESS_MESSAGES(X) \
  X(kQsaNullPort,            6201, "",     "NULL Qsa Port\n") \
  X(kQsaAccessEmptyParams,   6202, "d",    "Port %d: QSA Access : Call with empty parameters\n") \
  X(kQsaCrossBoundary,       6203, "d",    "Port %d: QSA Access : register address cross upper page boundary\n") \
  X(kQsaAccess,              6204, "ddddddd", "Port %d: access  Reg %d Sz %d page %d rw %d last_page = %d real_page = %d\n") \
  X(kQsaPageNoValidData,     6205, "dd",   "Port %d: page %d does not have valid data\n") \
  X(kQsaCannotSetPage,       6206, "ddd",  "Port %d: cannot set page %d. rc: 0x%x\n") \
  X(kQsaAccessError,         6207, "dddddd", "Port %d: access error. Reg %d Sz %d page %d rw %d rc: 0x%x\n") \
  X(kQsaBadDirection,        6208, "dd",   "Port %d: QSA Access : invalid direction %d\n") \
  X(kQsaBadPageCode,         6209, "dd",   "Port %d: QSA Access : invalid page code 0x%x\n") \
  X(kQsaDataNotReady,        6210, "dd",   "Port %d: Data read from page %d is not ready\n") \
  X(kQsaWritingSfpEeprom,    6211, "dd",   "Port %d: Writing sfp eeprom from qsa page %d\n") \
  X(kQsaInsertedReadFailed,  6212, "d",    "Port %d: QSA sfp present read failed : Read error\n") \
  X(kQsaPresentReadFailed,   6213, "d",    "Port %d: QSA present read failed : Read error\n") \
  X(kQsaNotPresent,          6214, "dd",   "Port %d: Error: QSA is not present, Ext id :%u\n") \
  X(kSfpSerialMismatch,      6215, "dds",  "Controller %d Port %d: SFP %s\n") \
  X(kOirPresentReadFailed,   6216, "d",    "Port %d: QSA present read failed : Read error\n") \
  X(kOirNotPresent,          6217, "dd",   "Port %d: Error: QSA is not present, Ext id :%u\n") \
  X(kOirInsertedReadFailed,  6218, "d",    "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOirSwapped,             6219, "ds",   "Port %d: SFP is Swapped, new sfp serial number read %10s\n") \
  X(kOirPresentRereadFailed, 6220, "d",    "Port %d: QSA present read failed : Read error\n") \
  X(kOirNotPresentReread,    6221, "dd",   "Port %d: Error: QSA is not present, Ext id :%u\n") \
  X(kOirReported,            6222, "dsss", "Port %d: OIR reported because qsa_is_sfp_inserted:%s,qsa_sfp_instantiated %s,qsa_sfp_swapped %s\n") \
  X(kOirInsertedRereadFailed, 6223, "d",   "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOirRemoved,             6224, "dsss", "Port %d: sfp is removed, OIR reported becauseqsa_is_sfp_inserted:%s, qsa_sfp_instantiated %s,qsa_sfp_swapped %s\n") \
  X(kOirTxWriteFailed,       6225, "d",    "Port %d: Error: Failed in QSA TX Diable register write\n")

#define SFPDRV_QSA_OPERATION_MESSAGES(X) \
  X(kOpTxEnableWriteFailed,  6301, "d",    "Port %d: Error: Failed in QSA TX Diable register write\n") \
  X(kOpTxDisableWriteFailed, 6302, "d",    "Port %d: Error: Failed in QSA TX Diable register write\n") \
  X(kOpReadRegPresenceFailed, 6303, "d",   "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpGetTypeNullParams,    6304, "d",    "Port %d: QSA Get type Null parameters\n") \
  X(kOpGetTypePresenceFailed, 6305, "d",   "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpGetTypeExtIdReadFailed, 6306, "d",  "Port %d: QSA present read failed : Read error\n") \
  X(kOpGetTypeNotPresent,    6307, "dd",   "Port %d: Error: QSA is not present, Ext id :%u\n") \
  X(kOpAdminPresenceFailed,  6308, "d",    "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpAdminTxWriteFailed,   6309, "d",    "Port %d: Error: Failed in QSA TX Diable register write\n") \
  X(kOpAdminSfpFailed,       6310, "dd",   "Port %d: sfp HW admin_state failed. rc 0x%x\n") \
  X(kOpPhySpeedPresenceFailed, 6311, "d",  "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpPhySpeedFailed,       6312, "d",    "Port %d: Failed to set PHY speed\n") \
  X(kOpHwStatusPresenceFailed, 6313, "d",  "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpHwStatusSfpFailed,    6314, "",     "qsa port sfp read hw_status failed/invalid\n") \
  X(kOpHwInfoPresenceFailed, 6315, "d",    "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpGetStatePresenceFailed, 6316, "d",  "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpDecodePresenceFailed, 6317, "d",    "Port %d: QSA sfp present read failed : Read error\n") \
  X(kOpDecodeNoMemory,       6318, "d",    "Port %d: QSA report: calloc failed\n")
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

// Texts printed to standard error where the layer's trace buffers are not
// usable or the caller is to be told at once.
namespace sfpdrv::qsa_stderr_text {
inline constexpr const char *kPelogErrFailed = "qsa: pelog creation failed for error.\n";
inline constexpr const char *kPelogEvtFailed = "qsa: pelog creation failed for event.\n";
inline constexpr const char *kNullEvm = "qsa: NULL evm. Not enable to pelog show command\n";
inline constexpr const char *kPelogInitFailed = "QSA: pelog initialization failed\n";
inline constexpr const char *kCreateFailed = "qsa port create failed \n";
inline constexpr const char *kFindAddError = "qsa port init : port context find/add error \n";
inline constexpr const char *kPortInitFailed = "qsa port init failed \n";
inline constexpr const char *kDeleteFailed = "qsa port delete failed \n";
inline constexpr const char *kDeleteNotFound = "qsa port context find and delete : NULL port \n";
inline constexpr const char *kTypeCheckHdlFailed = "qsa port qsa type check hdl failed \n";
inline constexpr const char *kReadCheckHdlFailed = "qsa port read check hdl failed \n";
inline constexpr const char *kReadRegCheckHdlFailed = "qsa port read reg check hdl failed \n";
inline constexpr const char *kWriteCheckHdlFailed = "qsa port write check hdl failed \n";
} // namespace sfpdrv::qsa_stderr_text

#endif // SFPDRV_QSA_MESSAGES_H
