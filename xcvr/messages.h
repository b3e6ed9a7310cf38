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

#define SFPDRV_DETECT_MESSAGES(X) \
  X(kDetectInputs,          3201, "ddddddddd", "Get SFP Type port:%d  sfpType:0x%02x, code low:0x%08x high:0x%08x ext_id:0x%02x length:0x%02x options1: 0x%02x extCode 0x%02x, xcvr speed:%d\n") \
  X(kUnknown50gExtCode,     3202, "ddd",   "Controller %d Port %d: Unknown 50G optics ext_code 0x%x \n") \
  X(kDefaulted50g,          3203, "dsd",   "Port:%d Could be unknown type sfp optics, defaulting to SFP type:%s (%02d)\n") \
  X(kDetected50g,           3204, "ddd",   "SFP 50G  port:%d xcvr_type:%d ext code :%d\n") \
  X(kDetectedTunable,       3205, "dsd",   "Get SFP Tunable Type port:%d type:%s options1: 0x%02x\n") \
  X(kDetectedSmartSfp,      3206, "d",     "SMART SSFP XCVR_TYPE = %d") \
  X(kNotSmartSfp,           3207, "ddd",   "Controller %d Port %d:  NOT SSFP %d\n") \
  X(kDetectedVendorCoded1g, 3208, "d",     "Velmora optics XCVR_TYPE = %d") \
  X(kUnknown25gExtId,       3209, "ddd",   "Controller %d Port %d: Unknow 25G optics ext_id 0x%x Initialising as 25G_SR optics\n") \
  X(kUnknown25gAocLength,   3210, "ddd",   "Controller %d Port %d: Unknow 25G AOC cable length %d Setting to default 1G length \n") \
  X(kDefaulted25g,          3211, "dsd",   "Port:%d Could be unknown type sfp optics, defaulting to SFP type:%s (%02d)\n") \
  X(kUnknown25gExtCode,     3212, "ddd",   "Controller %d Port %d: Unknow 25G optics ext_code 0x%x \n") \
  X(kDetected25g,           3213, "dddd",  "SFP 25G  port:%d xcvr_type:%d ext code :%d distance CU: %d \n") \
  X(kCopperLengthUnknown,   3214, "ddd",   "Controller %d Port %d: Copper optics length doesnt match any of the supported lengths %d \n") \
  X(kDetected10gCopper,     3215, "ddsdd", "SFP 10G CU  port:%d xcvr_type:%d pid:%s,extid:%d, distance CU: %d \n") \
  X(kActiveLengthUnknown,   3216, "ddd",   "Controller %d Port %d: Active Copper optics length doesnt match any of the supported lengths %d \n") \
  X(kDetected10gActive,     3217, "ddsd",  "SFP 10G_AOC  port:%d xcvr_type:%d pid:%s, distance CU: %d \n") \
  X(kSonetOc48Sr,           3218, "dddd",  "Controller %d Port %d: Port: %d, SFP_OC48_SR (%d) \n") \
  X(kSonetOc48Ir1,          3219, "dddd",  "Controller %d Port %d: Port: %d, SFP_OC48_IR1 (%d) \n") \
  X(kSonetOc48Lr,           3220, "dddd",  "Controller %d Port %d: Port: %d, SFP_OC48_LR (%d) \n") \
  X(kSonetOc192Sr,          3221, "dddd",  "Controller %d Port %d: Port: %d, SFP_OC192_SR (%d) \n") \
  X(kSonetInvalid,          3222, "dddd",  "Controller %d Port %d: Port: %d, INVALID SFP TYPE, xcvr_low: 0x%x \n") \
  X(kSonetOtn,              3223, "dddd",  "Controller %d Port %d: Port: %d, defaulting to ethernetOTN case  xcvrCodeLow=%x \n") \
  X(kFcGeSw,                3224, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_GE_SW (%d) \n") \
  X(kFcGeLw,                3225, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_GE_LW (%d) \n") \
  X(kFc2gSw,                3226, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_2G_SW (%d) \n") \
  X(kFc2gLw,                3227, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_2G_LW (%d) \n") \
  X(kFc4gSw,                3228, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_4G_SW (%d) \n") \
  X(kFc4gLw,                3229, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_4G_LW (%d) \n") \
  X(kFc8gSw,                3230, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_8G_SW (%d) \n") \
  X(kFc8gLw,                3231, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_8G_LW (%d) \n") \
  X(kFc16gSw,               3232, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_16G_SW (%d) \n") \
  X(kFc16gLw,               3233, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_16G_LW (%d) \n") \
  X(kFc32gSw,               3234, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_32G_SW (%d) \n") \
  X(kFc32gLw,               3235, "dddd",  "Controller %d Port %d: Port: %d, SFP_FC_32G_LW (%d) \n") \
  X(kDetectedFc,            3236, "dd",    "SFP identified as FC type port:%d type:%d n") \
  X(kDetected10gBaseT,      3237, "dsd",   "SFP Copper Type port:%d type:%s options1: 0x%02x\n") \
  X(kComplianceAmbiguous,   3238, "ddd",   "Controller %d Port %d: Cannot identify optics based on xcvr_code low mask 0x%x \n") \
  X(kDetectedCompliance,    3239, "dddd",  "SFP 10G_1G  port:%d xcvr_type:%d ext ID :%d distance CU: %d \n") \
  X(kVendorPn,              3240, "sd",    "Vendor PN is %s for port %d\n") \
  X(kVendorPnZr,            3241, "s",     "PID %s matched withSumitomo SFP PN:SPP5110ZR-GL\n") \
  X(kDwdmScanSlot,          3242, "dd",    "Get SFP DWDM Type index:%d  ext_id:0x%02x\n") \
  X(kScanFcCwdmMatch,       3243, "dd",    "FC CWDM SFP Type index:%d xcvr_type:%d") \
  X(kScanCodeMatch,         3244, "dd",    "SFP Type index:%d xcvr_type:%d") \
  X(kScanRow,               3245, "dddddd", "Get SFP Type index:%d attributes low:0x%08x  high:0x%08x ext_id:0x%02x xcvrCodeLowLocal:0x%02x port:%d\n") \
  X(kScanAttributeMatch,    3246, "dd",    "SFP Type index:%d xcvr_type:%d") \
  X(kDefaultedScan,         3247, "dsd",   "Port:%d Could be unknown type sfp optics, defaulting to SFP type:%s (%02d)\n") \
  X(kDetected,              3248, "dsdd",  "Get SFP Type port:%d type:%s (%02d),ext_id: %d\n") \
  X(kIdentifyTp3,           3251, "dd",    "Controller %d Port %d: sfp_xcvr_which_space_supported2 - TP3\n") \
  X(kGetType,               3252, "ddds",  "Controller %d Port %d: SFP Get type %d: %s\n") \
  X(kGetTypeNullParams,     3253, "dd",    "Controller %d Port %d: SFP Get type Null parameters\n") \
  X(kGetTypeNullPort,       3254, "s",     "%s: NULL Hdl passed in\n") \
  X(kGetRateNullParams,     3255, "dd",    "Controller %d Port %d: SFP Get rate Null parameters\n")

#define SFPDRV_SUPPORTED_MESSAGES(X) \
  X(kPidSupported,       3301, "dsdssd", "Get SFP PID supported, port:%d type:%s(%02d)  pid:%s status:%s  rc:0x%08x\n") \
  X(kVendorPnSupported,  3302, "dsdssd", "Get SFP Vendor PN supported, port:%d type:%s(%02d)  pn:%s status:%s  rc:0x%08x\n") \
  X(kPnSupported,        3303, "dsdssd", "Get SFP PN supported, port:%d type:%s(%02d)  pn:%s status:%s  rc:0x%08x\n") \
  X(kPnListAppendFailed, 3304, "sds",   "SFP supported %s list: no room for the entry of type %d (%s)\n") \
  X(kCheckSupported,     3305, "dsds",  "Get SFP check supported, port:%d type:%s(%02d)  status:%s\n") \
  X(kCheckSupportedNullPort, 3306, "",  "SFP check supported: NULL port\n") \
  X(kAdjustNotSupported, 3307, "sd",    "\n%s( port_num=%u ): sfp_XCVR_SUPPORTED_OK != type_supported\n") \
  X(kAdjustStatusInfo,   3308, "sd",    "\n%s( port_num=%u ): force status_info to all-0\n") \
  X(kAdjustUserEeprom,   3309, "sd",    "\n%s( port_num=%u ): force user_eeprom to all-0\n") \
  X(kAdjustA0Page1,      3310, "sd",    "\n%s( port_num=%u ): force a0_page1 to all-0\n")

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
