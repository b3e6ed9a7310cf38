/**
 * @file
 * @brief Port control: the transmitter, the signal conditioning of 25G and
 * 50G optics (Tx CDR, CTLE and its peaking, power level), the port's admin
 * state and the copper PHY's speed.
 *
 * The transmitter and signal-conditioning operations take no lock and do not
 * require a fully initialised port, only a non-null handle: port creation
 * calls them while it brings a module up. Each is a read-modify-write of one
 * byte of the module's A2h memory (page 1), guarded by what the module
 * declares and by its transceiver type; operations that do not apply to the
 * module return 0 without touching it. "25G optics" are the types 784, 786,
 * 787, 788, 808 and 809; the "25G and 50G optics" add the dual-rate types 811
 * and 820.
 *
 * Threading: nothing here takes a lock. The caller serialises the operations
 * on one port (with every other operation on it); different ports may be
 * driven at the same time. Several operations sleep (through
 * platform_sleep_ms()) on the calling thread, as each one says.
 *
 * Adaptive CTLE: sfp_port_ctle_ena_dis() enables the module's adaptive CTLE
 * only on a port whose `adaptive_ctle` field is nonzero. No operation of the
 * library sets it; a platform that wants adaptive CTLE sets it on its handle
 * (the port context is a public record), e.g. `hdl->adaptive_ctle = 1;`,
 * after creation and before the CTLE operation runs.
 */
#ifndef SFPDRV_CONTROL_H
#define SFPDRV_CONTROL_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/**
 * Switches the transmitter on by clearing the module's soft transmitter
 * disable (A2h byte 110 bit 6).
 *
 * The byte is written only when it changes, only when the module implements
 * the bit (A0h byte 93 bit 6) and has A2h, and only when the port may write
 * it (`skip_soft_tx` 0); otherwise nothing is touched. No wait.
 *
 * @param hdl The port handle (need not be fully initialised).
 * @return 0, also when the module cannot do it; 22 for a null handle; the
 *         status of a failed module access.
 */
SFPDRV_API sfp_rc sfp_port_tx_enable(sfp_port_ctx *hdl);

/**
 * Switches the transmitter off by setting the module's soft transmitter
 * disable (A2h byte 110 bit 6), under the same conditions as
 * sfp_port_tx_enable().
 *
 * No wait of its own (port creation waits 100 ms after it).
 *
 * @param hdl The port handle (need not be fully initialised).
 * @return 0, also when the module cannot do it; 22 for a null handle; the
 *         status of a failed module access.
 */
SFPDRV_API sfp_rc sfp_port_tx_disable(sfp_port_ctx *hdl);

/**
 * Switches Tx CDR on or off on a 25G optic with A2h (A2h byte 120 bits 1
 * and 2), then reads the byte back and reports it on the event buffer.
 * Other modules are left alone. A failed write is only traced. No wait.
 *
 * @param hdl    The port handle (need not be fully initialised).
 * @param enable 1 switches Tx CDR on; any other value switches it off.
 * @return 0; 22 for a null handle; the status of a failed read-back.
 */
SFPDRV_API sfp_rc sfp_port_tx_cdr_enable(sfp_port_ctx *hdl, uint32_t enable);

/**
 * Marks the port as holding a 25G LR optic (type 786) with A2h memory, then
 * switches its Tx CDR on as sfp_port_tx_cdr_enable() does.
 *
 * @param hdl The port handle (need not be fully initialised).
 * @return 0; 22 for a null handle; the status of the Tx CDR read-back.
 */
SFPDRV_API sfp_rc sfp_port_set_sfp_type(sfp_port_ctx *hdl);

/**
 * Switches adaptive CTLE on or off on a 25G or 50G optic with A2h (A2h byte
 * 120 bit 0), then waits 500 ms.
 *
 * An enable request sets the bit only when the module supports adaptive
 * CTLE (A2h byte 122 bits 0 and 1) and the port's `adaptive_ctle` is
 * nonzero; otherwise it clears it. An enable request then checks the CDR
 * fault latch when the module implements CDR loss of lock (A0h byte 64 bit
 * 3): A2h byte 119 is read twice, the first read clearing the latch. On the
 * dual-rate types 811 and 820 the operation reads A2h byte 71, changes
 * nothing, waits 500 ms and returns the read's status. Other modules are left
 * alone and nothing waits.
 *
 * Blocks 500 ms on the calling thread whenever it acts on the module.
 *
 * @param hdl    The port handle (need not be fully initialised).
 * @param enable 1 requests adaptive CTLE; any other value disables it.
 * @return 0; #SFP_RC_MODULE_COND (-1) when an enable request finds a CDR
 *         fault; 22 for a null handle or when the module's adaptive support
 *         cannot be read; the status of a failed CDR read.
 */
SFPDRV_API sfp_rc sfp_port_ctle_ena_dis(sfp_port_ctx *hdl, uint32_t enable);

/**
 * Sets the Tx CTLE peaking value of a 25G optic (A2h byte 114) to
 * (old AND NOT mask) OR value, using the low 8 bits of each, and reports the
 * Tx and Rx (byte 115) peaking values on the event buffer. The byte is
 * written even when unchanged. Other modules are left alone. No wait.
 *
 * @param hdl   The port handle (need not be fully initialised).
 * @param value The bits to set.
 * @param mask  The bits to clear first.
 * @return Always 0 (also for a null handle); failures are only traced.
 */
SFPDRV_API sfp_rc sfp_port_configure_peaking_ctle(sfp_port_ctx *hdl, uint32_t value, uint32_t mask);

/**
 * Selects power level 2/3 or 1 (A2h byte 118 bit 0) on a 25G or 50G optic
 * with A2h, or on a multi-rate module in a 10G cage (`rate_code` 2).
 *
 * A request for the higher level is refused, with nothing written, when the
 * module asks for power level 2 (A0h byte 64 bit 5). After every write the
 * operation waits 300 ms, whether or not the write succeeded. Other modules
 * are left alone and nothing waits.
 *
 * @param hdl    The port handle (need not be fully initialised).
 * @param enable Nonzero for power level 2/3, 0 for power level 1.
 * @return 0, also for a null handle and when the write failed (traced);
 *         #SFP_RC_MODULE_COND (-1) when the higher level was refused.
 */
SFPDRV_API sfp_rc sfp_port_high_power_class_ena_dis(sfp_port_ctx *hdl, uint32_t enable);

/**
 * Rx CDR control, which no module driven by this library supports: nothing
 * is touched.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc sfp_port_rx_cdr_enable(sfp_port_ctx *hdl, uint32_t enable);

/**
 * Rx output control, which no module driven by this library supports:
 * nothing is touched.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc sfp_port_rx_output_ena_dis(sfp_port_ctx *hdl, uint32_t enable);

/**
 * Input equalisation, which no module driven by this library supports:
 * nothing is touched.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc sfp_modify_eq(sfp_port_ctx *hdl, uint32_t value);

/**
 * Output de-emphasis, which no module driven by this library supports:
 * nothing is touched.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc sfp_modify_deemphasis(sfp_port_ctx *hdl, uint32_t value);

/**
 * Output amplitude, which no module driven by this library supports:
 * nothing is touched.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc sfp_modify_amp(sfp_port_ctx *hdl, uint32_t value);

/**
 * Follows the port's admin state.
 *
 * Coming up (previous 0, new nonzero) switches on Tx CDR, CTLE and the
 * transmitter and, on a 25G optic, clears the latched fault and alarm flags
 * by reading them (A2h bytes 110 and 112 to 117). Going down (previous
 * nonzero, new 0) switches the transmitter, Tx CDR and CTLE off. Down to
 * down only records the state; up to up touches no module byte. Coming up
 * and up to up re-apply a stored PHY speed (sfp_port_set_phy_speed()). The
 * results of the transmitter and signal-conditioning steps are not looked
 * at.
 *
 * Blocking: the CTLE step waits 500 ms on a 25G or 50G optic; re-applying a
 * PHY speed waits 250 ms (500 ms behind an adapter) before programming.
 *
 * @param hdl      The port handle.
 * @param previous The previous admin state (0 down, nonzero up).
 * @param state    The new admin state (0 down, nonzero up).
 * @return 0; 22 for a null or not fully initialised handle; the status of a
 *         failed PHY programming.
 */
SFPDRV_API sfp_rc sfp_port_admin_state(sfp_port_ctx *hdl, uint32_t previous, uint32_t state);

/**
 * Requests a copper PHY speed and auto-negotiation setting.
 *
 * While the port is down the request is only stored (on a port with a PHY)
 * and the next admin-up applies it. While it is up the request is stored and
 * the PHY is programmed, unless it already runs the request with both its
 * copper and its system-side link up. Ports without a PHY ignore it.
 *
 * Blocking: programming the PHY waits 250 ms (500 ms behind an adapter,
 * `bus_mode` 1) before its first register write.
 *
 * @param hdl     The port handle.
 * @param speed   Speed in Mb/s: 10, 100 or 1000 for a forced speed.
 * @param autoneg #SFP_PHY_AN_ON (1) for auto-negotiation (any speed), or
 *                #SFP_PHY_AN_FORCED / #SFP_PHY_AN_OTHER for a forced speed.
 * @return 0; 22 for a null or not fully initialised handle, or a forced
 *         speed the PHY does not have; the status of the failed PHY
 *         programming (the PHY keeps the registers written so far).
 */
SFPDRV_API sfp_rc sfp_port_set_phy_speed(sfp_port_ctx *hdl, uint32_t speed, uint32_t autoneg);

SFPDRV_END_DECLS

#endif /* SFPDRV_CONTROL_H */
