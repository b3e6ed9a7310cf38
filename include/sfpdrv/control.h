/* Port control: the transmitter, the signal conditioning of 25G and 50G
 * optics (Tx CDR, CTLE and its peaking, power level), the port's admin state
 * and the copper PHY's speed.
 *
 * The transmitter and signal-conditioning operations take no lock and do not
 * require a fully initialised port, only a non-null handle: port creation
 * calls them while it brings a module up. Each is a read-modify-write of one
 * byte of the module's A2h memory, guarded by what the module declares and by
 * its transceiver type; operations that do not apply to the module return 0
 * without touching it.
 *
 * Adaptive CTLE: sfp_port_ctle_ena_dis enables the module's adaptive CTLE
 * only on a port whose `adaptive_ctle` field is nonzero. No operation of the
 * library sets it; a platform that wants adaptive CTLE sets it on its handle
 * (the port context is a public record), e.g. `hdl->adaptive_ctle = 1;`,
 * after creation and before the CTLE operation runs. */
#ifndef SFPDRV_CONTROL_H
#define SFPDRV_CONTROL_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* Switch the transmitter on or off through the module's soft transmitter
 * disable (A2h byte 110 bit 6), when the module implements it (A0h byte 93
 * bit 6) and the port may write it (`skip_soft_tx` 0). 0 also when the module
 * cannot do it; 22 for a null handle; a module access failure's status. */
SFPDRV_API sfp_rc sfp_port_tx_enable(sfp_port_ctx *hdl);
SFPDRV_API sfp_rc sfp_port_tx_disable(sfp_port_ctx *hdl);

/* Tx CDR on (enable 1) or off (any other value) on a 25G optic (A2h byte 120
 * bits 1 and 2). 22 for a null handle, else 0 or the status of reading the
 * byte back. */
SFPDRV_API sfp_rc sfp_port_tx_cdr_enable(sfp_port_ctx *hdl, uint32_t enable);

/* Marks the port as holding a 25G LR optic (type 786) with A2h memory, then
 * switches its Tx CDR on. 22 for a null handle. */
SFPDRV_API sfp_rc sfp_port_set_sfp_type(sfp_port_ctx *hdl);

/* Adaptive CTLE on (enable 1) or off (any other value) on a 25G or 50G optic,
 * with a wait of 500 ms after the change. An enable request also checks the
 * CDR fault latch when the module implements CDR loss of lock: the status is
 * then SFP_RC_MODULE_COND for a CDR fault. 22 for a null handle or when the
 * module's adaptive support cannot be read. */
SFPDRV_API sfp_rc sfp_port_ctle_ena_dis(sfp_port_ctx *hdl, uint32_t enable);

/* Sets the Tx CTLE peaking value of a 25G optic (A2h byte 114) to
 * (old AND NOT mask) OR value, using the low 8 bits of each, and reports the
 * Tx and Rx peaking values on the event buffer. Always 0 (also for a null
 * handle); failures are only traced. */
SFPDRV_API sfp_rc sfp_port_configure_peaking_ctle(sfp_port_ctx *hdl, uint32_t value, uint32_t mask);

/* Power level 2/3 (enable nonzero) or 1 (0) on a 25G or 50G optic, or on a
 * multi-rate module in a 10G cage (`rate_code` 2), with a wait of 300 ms after
 * the change. SFP_RC_MODULE_COND when the module asks for power level 2
 * (A0h byte 64 bit 5) and nothing is written; otherwise 0, also for a null
 * handle and when the write failed (traced). */
SFPDRV_API sfp_rc sfp_port_high_power_class_ena_dis(sfp_port_ctx *hdl, uint32_t enable);

/* Operations that no module driven by this library supports: the arguments
 * are accepted and ignored, nothing is touched, and the status is always
 * SFP_RC_UNSUPPORTED (95). */
SFPDRV_API sfp_rc sfp_port_rx_cdr_enable(sfp_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc sfp_port_rx_output_ena_dis(sfp_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc sfp_modify_eq(sfp_port_ctx *hdl, uint32_t value);
SFPDRV_API sfp_rc sfp_modify_deemphasis(sfp_port_ctx *hdl, uint32_t value);
SFPDRV_API sfp_rc sfp_modify_amp(sfp_port_ctx *hdl, uint32_t value);

/* Follows the port's admin state (0 down, nonzero up). Coming up switches on
 * Tx CDR, CTLE and the transmitter and, on a 25G optic, clears the latched
 * fault flags; going down switches them off. Up and up-to-up re-apply a
 * stored PHY speed. 22 for a null or not fully initialised handle, else 0 or
 * the status of the failed PHY programming. */
SFPDRV_API sfp_rc sfp_port_admin_state(sfp_port_ctx *hdl, uint32_t previous, uint32_t state);

/* Requests a copper PHY speed in Mb/s and an auto-negotiation value
 * (SFP_PHY_AN_* of phy.h). While the port is down the request is only stored
 * and applied by the next admin-up; while it is up the PHY is programmed
 * unless it already runs the request with both links up. Ports without a PHY
 * ignore it. 22 for a null or not fully initialised handle, else 0 or the
 * status of the failed PHY programming. */
SFPDRV_API sfp_rc sfp_port_set_phy_speed(sfp_port_ctx *hdl, uint32_t speed, uint32_t autoneg);

SFPDRV_END_DECLS

#endif /* SFPDRV_CONTROL_H */
