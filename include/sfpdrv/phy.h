/**
 * @file
 * @brief Copper PHY access: the PHY operations record of 1000BASE-T modules,
 * PHY register access on the module's bus, and the 10G copper PHY sequence.
 *
 * Every PHY transfer goes through the port's PHY callbacks (#sfp_phy_cb).
 * PHY registers are 16 bits wide. In word mode (`phy_word_access` nonzero)
 * a register moves in one callback call as a uint16_t in host byte order; in
 * byte mode it moves as two one-byte calls, high byte first, both at
 * register byte r, or at 2r (high) and 2r + 1 (low) when `bus_mode` is 1 (a
 * module behind an adapter).
 *
 * Threading: nothing here takes a lock. These calls run inside port
 * operations that the caller serialises, or behind an adapter under the
 * adapter port's lock. The PHY's page select (register 22) is shared state
 * of the PHY: the link-state query leaves page 1 selected, and every
 * sequence and query selects the page it needs first.
 */
#ifndef SFPDRV_PHY_H
#define SFPDRV_PHY_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/** Auto-negotiation value: a forced speed (in a request). */
#define SFP_PHY_AN_FORCED 0u
/** Auto-negotiation value: in a request, auto-negotiation; as a capability,
 * the PHY advertises every speed. */
#define SFP_PHY_AN_ON 1u
/** Auto-negotiation value: in a request, a forced speed; as a capability,
 * any advertisement other than the full one. */
#define SFP_PHY_AN_OTHER 2u

/** The copper PHY operations record attached to a port (`phy_access`). */
typedef struct sfp_phy_ops {
  uint8_t wr_addr; /**< Two-wire device address of register writes. */
  uint8_t rd_addr; /**< Two-wire device address of register reads. */
  /** Programs the PHY: (port, speed in Mb/s, auto-negotiation value). */
  sfp_rc (*set_link_speed)(sfp_port_ctx *port, uint32_t speed, uint32_t autoneg);
  /** Reads the PHY's state: (port, copper link out (1 up), speed out in Mb/s,
   * system-side link out (1 up)); each output may be null. */
  sfp_rc (*get_link_state_speed)(sfp_port_ctx *port, uint32_t *link, uint32_t *speed,
                                 uint32_t *fiber_link);
  /** Reads the PHY's advertisement: (port, capability out, #SFP_PHY_AN_ON or
   * #SFP_PHY_AN_OTHER). */
  sfp_rc (*get_an_capability)(sfp_port_ctx *port, uint32_t *capability);
} sfp_phy_ops;

/** The record of the 1000BASE-T module's PHY (type 533): write address
 * 0xAC, read address 0xAD, and the qrn_te_ operations below. */
SFPDRV_API extern const sfp_phy_ops qrn_te_phy_access;

/**
 * Reads one 16-bit PHY register through the port's PHY read callback, as one
 * word or as two bytes (high byte first). The value is written only on
 * success.
 *
 * @param port    The port.
 * @param address Two-wire device address (cut to 8 bits).
 * @param reg     Register number (cut to 8 bits).
 * @param value   Receives the register, in host byte order.
 * @return 0; 22 for a null port or value, a port without PHY operations or
 *         without a PHY read callback; otherwise the callback's status.
 */
SFPDRV_API sfp_rc qrn_te_phy_rd(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                uint16_t *value);

/**
 * Writes one 16-bit PHY register through the port's PHY write callback, as
 * one word or as two bytes (high byte first).
 *
 * @param port    The port.
 * @param address Two-wire device address (cut to 8 bits).
 * @param reg     Register number (cut to 8 bits).
 * @param value   The register value, in host byte order.
 * @return 0; 22 for a null port or value, a port without PHY operations or
 *         without a PHY write callback; otherwise the status of the first
 *         failing callback call.
 */
SFPDRV_API sfp_rc qrn_te_phy_wr(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                const uint16_t *value);

/**
 * Programs the 1000BASE-T PHY for a speed: waits 250 ms (500 ms when
 * `bus_mode` is 1), then writes the speed's register sequence in order. A
 * failing write ends it, leaving the registers written so far.
 *
 * @param port    The port; its `phy_access` must be set.
 * @param speed   10, 100 or 1000 Mb/s for a forced speed; any value with
 *                auto-negotiation.
 * @param autoneg #SFP_PHY_AN_ON for auto-negotiation; #SFP_PHY_AN_FORCED or
 *                #SFP_PHY_AN_OTHER for a forced speed.
 * @return 0; 22 for a null port, a port without PHY operations or a forced
 *         speed the PHY does not have (nothing written, no wait); the status
 *         of the first failing register write.
 */
SFPDRV_API sfp_rc qrn_te_set_link_speed(sfp_port_ctx *port, uint32_t speed, uint32_t autoneg);

/**
 * Reads the PHY's copper link state and speed (register 17 of page 0) and
 * its system-side link state (register 17 of page 1). Transfer failures are
 * not reported: they read as 10 Mb/s with the link down. Leaves page 1
 * selected. No wait.
 *
 * @param port       The port; its `phy_access` must be set.
 * @param link       Receives the copper link state (1 up), or null.
 * @param speed      Receives the speed in Mb/s (10, 100, 1000, or 0 for a
 *                   bad speed code), or null.
 * @param fiber_link Receives the system-side link state (1 up), or null.
 * @return 0; 22 for a null port or a port without PHY operations.
 */
SFPDRV_API sfp_rc qrn_te_get_link_state_speed(sfp_port_ctx *port, uint32_t *link, uint32_t *speed,
                                              uint32_t *fiber_link);

/**
 * Reads the PHY's auto-negotiation advertisement (register 4 of page 0).
 *
 * @param port       The port; its `phy_access` must be set.
 * @param capability Receives #SFP_PHY_AN_ON when the PHY advertises every
 *                   speed, else #SFP_PHY_AN_OTHER; untouched on failure.
 * @return 0; 22 for a null port or output or a port without PHY operations;
 *         the status of the first failing transfer.
 */
SFPDRV_API sfp_rc qrn_te_get_an_capability(sfp_port_ctx *port, uint32_t *capability);

/**
 * Reads or writes a register of the port's PHY, at the PHY record's read or
 * write address. No handle check, no lock, no wait.
 *
 * @param port      The port.
 * @param reg       Register number.
 * @param value     The register value, read into or written from (host order).
 * @param direction #SFP_ACCESS_READ (1) reads; any other value writes.
 * @return 0; 22 for a null port or a port without a PHY; otherwise as
 *         qrn_te_phy_rd() or qrn_te_phy_wr().
 */
SFPDRV_API sfp_rc sfp_port_qrn_te_access(sfp_port_ctx *port, uint32_t reg, uint16_t *value,
                                         uint32_t direction);

/**
 * Attaches #qrn_te_phy_access to a port of type 533 (1000BASE-T); any other
 * type leaves the port unchanged. Identification does this itself.
 *
 * @param port The port.
 * @param type The module's transceiver type.
 * @return 0; 22 for a null port.
 */
SFPDRV_API sfp_rc sfp_xcvr_set_phy_access(sfp_port_ctx *port, sfp_xcvr_type type);

/**
 * Resets and configures the PHY of a 10G copper module (A0h byte 36 with one
 * of the bits 0x1C set); does nothing for other modules. All transfers are
 * single bytes at device address 0xAC through the PHY callbacks.
 *
 * Blocking: 900 ms in all (400 ms, 100 ms with the reset asserted, 400 ms).
 *
 * @param port The port.
 * @return 0; 22 for a null port or a 10G copper port without both PHY
 *         callbacks; otherwise the status of the failing write.
 */
SFPDRV_API sfp_rc sfp_10G_copper_phy_configure(sfp_port_ctx *port);

SFPDRV_END_DECLS

#endif /* SFPDRV_PHY_H */
