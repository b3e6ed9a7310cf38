// Trace points of port control and of the copper PHY.
// Columns: name, message number, argument signature, format.
// Numbers: 4100s transmitter and signal conditioning, 4200s admin state and
// PHY speed, 4300s copper PHY.
#ifndef SFPDRV_CONTROL_MESSAGES_H
#define SFPDRV_CONTROL_MESSAGES_H

#include "common/trace.h"

// clang-format off
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
SFPDRV_PHY_MESSAGES(SFPDRV_DEFINE_MESSAGE)
} // namespace sfpdrv::msg

// Every list of this header, for the catalogue.
#define SFPDRV_CONTROL_MESSAGES(X) SFPDRV_PHY_MESSAGES(X)

#endif // SFPDRV_CONTROL_MESSAGES_H
