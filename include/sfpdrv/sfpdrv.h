/**
 * @file
 * @brief sfpdrv: user-space driver library for pluggable transceiver modules.
 *
 * Including this header gives the whole exported interface: the port core
 * (port.h, access.h), identification (xcvr.h), control (control.h, phy.h),
 * reports and snapshots (decode.h) and the adapter layer (qsa.h). The
 * overview, the threading rules and an embedding example are on the main
 * page.
 */
#ifndef SFPDRV_SFPDRV_H
#define SFPDRV_SFPDRV_H

#include "sfpdrv/access.h"
#include "sfpdrv/control.h"
#include "sfpdrv/decode.h"
#include "sfpdrv/export.h"
#include "sfpdrv/phy.h"
#include "sfpdrv/port.h"
#include "sfpdrv/qsa.h"
#include "sfpdrv/types.h"
#include "sfpdrv/xcvr.h"

#endif /* SFPDRV_SFPDRV_H */
