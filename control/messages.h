// Trace points of port control and of the copper PHY.
// Columns: name, message number, argument signature, format.
// Numbers: 4100s transmitter and signal conditioning, 4200s admin state and
// PHY speed, 4300s copper PHY.
#ifndef SFPDRV_CONTROL_MESSAGES_H
#define SFPDRV_CONTROL_MESSAGES_H

#include "common/trace.h"

// clang-format off
#define SFPDRV_TX_MESSAGES(X) \
  X(kSetClearReadError,     4101, "dd",   "Controller %d Port %d: SFP Set/Clear : Read register error\n") \
  X(kSetClearWriteError,    4102, "dd",   "Controller %d Port %d: SFP Set/Clear : Write register error\n") \
  X(kTxSkipSoftTx,          4103, "dds",  "Controller %d Port %d: SKIP sfp_port_tx_ena_dis: Soft Tx  %s\n") \
  X(kTxRequest,             4104, "dds",  "Controller %d Port %d: sfp_port_tx_ena_dis: Request is to %s\n") \
  X(kTxEnableWriteError,    4105, "dd",   "Controller %d Port %d: SFP Tx Enable Write error\n") \
  X(kTxUnable,              4106, "ddsd", "Controller %d Port %d: sfp_port_tx_ena_dis:unable to enable/disable port as a2:%s supported , enhanced_option: %x\n") \
  X(kTxCdrWriteError,       4107, "ddd",  "Controller %d Port %d: SFP Tx CDR Enable Write error, rc:%d\n") \
  X(kTxCdrReadError,        4108, "ddd",  "Controller %d Port %d: SFP25G Byte 120(A2h) : Read register error, rc:%d\n") \
  X(kTxCdrByte120,          4109, "ddd",  "Controller %d Port %d: sfp_port_tx_cdr_ena_dis: SFP25G Byte 120(A2h) is :0x%x\n") \
  X(kCtleDualRateReadError, 4110, "dd",   "Controller %d Port %d: SFP Tx CTLE Enable Write error\n") \
  X(kCtleSupportReadError,  4111, "dd",   "Controller %d Port %d: SFP25G Read adaptive support : Read register error\n") \
  X(kCtleSupportError,      4112, "dd",   "Controller %d Port %d: SFP Tx CTLE adaptive support read error\n") \
  X(kCtleStatus,            4113, "ddd",  "Controller %d Port %d: SFP25G CTLE status = 0x%x\n") \
  X(kCtleEnableRequest,     4114, "dd",   "Controller %d Port %d: sfp_port_tx_ctle_ena_dis: Request is to ENABLE Adaptive CTLE\n") \
  X(kCtleEnableWriteError,  4115, "dd",   "Controller %d Port %d: SFP Tx CTLE Enable Write error\n") \
  X(kCtleDisableRequest,    4116, "dd",   "Controller %d Port %d: sfp_port_tx_ctle_ena_dis: Request is to DISABLE Adaptive CTLE\n") \
  X(kCtleDisableWriteError, 4117, "dd",   "Controller %d Port %d: SFP Tx CTLE Disable Write error\n") \
  X(kCdrLolReadError,       4118, "dd",   "Controller %d Port %d: SFP25G Read CDR LOL : Read register error\n") \
  X(kCdrLolNotImplemented,  4119, "dd",   "Controller %d Port %d: SFP25G does not have CDR LOL implemented\n") \
  X(kCdrLolImplemented,     4120, "dd",   "Controller %d Port %d: SFP25G has CDR LOL imlepented\n") \
  X(kCdrLolClearReadError,  4121, "dd",   "Controller %d Port %d: SFP25G Read CDR LOL Clear : Read register error\n") \
  X(kCdrFault,              4122, "dd",   "Controller %d Port %d: SFP25G has CDR Fault\n") \
  X(kPeakingReadError,      4123, "dd",   "Controller %d Port %d: SFP25G TX CTLE peaking value Write error\n") \
  X(kPeakingWriteError,     4124, "ddd",  "Controller %d Port %d: SFP25G TX CTLE peaking value Write error, rc:0x%x\n") \
  X(kPeakingTxValue,        4125, "dddd", "Controller %d Port %d: SFP25G TX CTLE peaking value = 0x%x rc = 0x%x\n") \
  X(kPeakingRxValue,        4126, "dddd", "Controller %d Port %d: SFP25G RX CTLE peaking value = 0x%x rc = 0x%x\n") \
  X(kPowerReadError,        4127, "dd",   "Controller %d Port %d: SFP25G Power level read error\n") \
  X(kPowerExpectsLevel2,    4128, "dd",   "Controller %d Port %d: SFP25G expects to go to power level 2\n") \
  X(kPowerNotAbove2,        4129, "dd",   "Controller %d Port %d: SFP25G power not greater than 2 \n") \
  X(kPowerSetLevel23,       4130, "dd",   "Controller %d Port %d: SFP25G Set power level 2/3 \n") \
  X(kPowerLevel23WriteError, 4131, "dd",  "Controller %d Port %d: SFP25G power level 2-3 Write error\n") \
  X(kPowerSetLevel1,        4132, "dd",   "Controller %d Port %d: SFP25G set module power level 1\n") \
  X(kPowerLevel1WriteError, 4133, "dd",   "Controller %d Port %d: SFP25G power level 1 Write error\n") \
  X(kControlNullHdl,        4134, "s",    "%s: NULL Hdl passed in\n")

#define SFPDRV_ADMIN_MESSAGES(X) \
  X(kAdminState,            4201, "ddddd", "Controller %d Port %d: SFP admin state handler, pre %d, state %d, speed:%d\n") \
  X(kAdminClearFlags,       4202, "dd",    "Controller %d Port %d: SFP25G Clear Tx faults and flags\n") \
  X(kAdminTxFaultReadError, 4203, "dd",    "Controller %d Port %d: SFP25G TX fault read error\n") \
  X(kAdminOpticalTxFault,   4204, "dd",    "Controller %d Port %d: SFP25G has a optical TX fault \n") \
  X(kAdminFlagClearReadError, 4205, "dd",  "Controller %d Port %d: SFP25G Flag clear read error\n") \
  X(kAdminPhySpeedFailed,   4206, "ddddd", "Controller %d Port %d: Failed sfp_admin_state, pre_admin %d, state %d, rc: 0x%x\n") \
  X(kPhySpeedRequest,       4207, "dddd",  "Controller %d Port %d: SFP phy speed set, speed %uMB AN %u\n") \
  X(kPhySpeedDeferred,      4208, "dddd",  "Controller %d Port %d: SFP phy skip speed, speed %uMB AN %u\n") \
  X(kPhyLinkStateFailed,    4209, "ddd",   "Controller %d Port %d: phy_get_link_state_speed failed with rc %d \n") \
  X(kPhyAnCapabilityFailed, 4210, "ddd",   "Controller %d Port %d: phy_get_an_capability failed with rc %d \n") \
  X(kPhySpeedProgrammed,    4211, "dddd",  "Controller %d Port %d: SFP set phy speed fvt, speed %uMB AN %u\n") \
  X(kPhySpeedFailed,        4212, "ddddd", "Controller %d Port %d: Failed sfp_phy_speed, speed %uMB AN %urc: 0x%x\n")

#define SFPDRV_PHY_MESSAGES(X) \
  X(kPhyReadError,          4301, "dddd",     "Controller %d Port %d: Error reading from PHY for Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyReadMsbError,       4302, "dddd",     "Controller %d Port %d: Error reading MSB from PHY for Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyReadLsbError,       4303, "dddd",     "Controller %d Port %d: Error reading LSB from PHY for Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyWriteError,         4304, "ddddd",    "Controller %d Port %d: Error writing 0x%x  PHY for Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyWriteMsbError,      4305, "ddddd",    "Controller %d Port %d: Error writing 0x%x MSB to PHY for Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyWriteLsbError,      4306, "ddddd",    "Controller %d Port %d: Error writing 0x%x LSB to PHY or Dev[0x%x]:Reg[0x%x]\n") \
  X(kPhyBadLinkStatus,      4307, "ddddd",    "Controller %d Port %d: Bad QRN-T link status reg 0x%x val 0x%x speed 0x%x\n") \
  X(kPhyLinkStatus,         4308, "dddddddd", "Controller %d Port %d: QRN-T link status reg %x value %x linkstate %u speed %u fb_reg_value %x fb_linkstate %u\n") \
  X(kPhyAnCapability,       4309, "ddddd",    "Controller %d Port %d: QRN-T AN capability reg %x value 0x%x AN %u\n") \
  X(kPhySetSpeed,           4310, "dddd",     "Controller %d Port %d: Setting QRN TE PHY speed to %u AN %u \n") \
  X(kPhySpeedNotSupported,  4311, "ddd",      "Controller %d Port %d: Speed not supported %u\n") \
  X(kPhyAutonegNotSupported, 4312, "ddd",     "Controller %d Port %d: PHY auto-negotiation value %u not supported, PHY left unchanged\n") \
  X(kSetPhyAccess,          4313, "ddD",      "Controller %d Port %d: Setting QRN TE Phy access %p \n") \
  X(kTenGigNoPhyCallbacks,  4314, "dd",       "Controller %d Port %d: SFP PHY configure refused: no PHY read or write callback\n") \
  X(kTenGigAssertResetFail, 4315, "ddd",      "Controller %d Port %d: SFP PHY assert reset fail rc:%d\n") \
  X(kTenGigReleaseResetFail, 4316, "ddd",     "Controller %d Port %d:  SFP PHY release reset fail rc:%d\n") \
  X(kTenGigWriteSuccess,    4317, "dd",       "Controller %d Port %d: SFP PHY write SUCCESS\n") \
  X(kTenGigReadFail,        4318, "ddd",      "Controller %d Port %d: SFP PHY read fail rc:%d") \
  X(kTenGigReadSuccess,     4319, "ddd",      "Controller %d Port %d: SFP PHY READ SUCCESS, val = %d\n") \
  X(kTenGigPowerLevelFail,  4320, "ddd",      "Controller %d Port %d:  SFP PHY POWER LEVEL fail rc:%d\n") \
  X(kTenGigSystemSideFail,  4321, "ddd",      "Controller %d Port %d:  SFP SYSTEM SIDE CONFIG fail rc:%d\n") \
  X(kTenGigSystemSideDone,  4322, "ddd",      "Controller %d Port %d: SFP SYSTEM SIDE CONFIG SUCCESS, val = %d\n") \
  X(kTenGigAdvertiseFail,   4323, "ddd",      "Controller %d Port %d:  Failed setting line side auto neg rc:%d\n") \
  X(kTenGigAdvertiseDone,   4324, "ddd",      "Controller %d Port %d: SFP AUTO_NEG ADVERTISE val = %d\n") \
  X(kTenGigAnEnableFail,    4325, "ddd",      "Controller %d Port %d:  Failed setting line side auto neg rc:%d\n") \
  X(kTenGigAnEnableDone,    4326, "ddd",      "Controller %d Port %d: SFP AUTO_NEG ENABLE val = %d\n")
// clang-format on

namespace sfpdrv::msg {
SFPDRV_TX_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_ADMIN_MESSAGES(SFPDRV_DEFINE_MESSAGE)
SFPDRV_PHY_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_CONTROL_MESSAGES(X)                                                                 \
  SFPDRV_TX_MESSAGES(X) SFPDRV_ADMIN_MESSAGES(X) SFPDRV_PHY_MESSAGES(X)

#endif // SFPDRV_CONTROL_MESSAGES_H
