/* Copper PHY access: the PHY operations record of 1000BASE-T modules, PHY
 * register access on the module's bus, and the 10G copper PHY sequence. */
#ifndef SFPDRV_PHY_H
#define SFPDRV_PHY_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* Auto-negotiation values: in a request 1 = auto-negotiation, 0 or 2 =
 * forced speed; as a capability 1 = full advertisement, 2 = anything else. */
#define SFP_PHY_AN_FORCED 0u
#define SFP_PHY_AN_ON 1u
#define SFP_PHY_AN_OTHER 2u

/* The copper PHY operations record attached to a port (`phy_access`). */
typedef struct sfp_phy_ops {
  uint8_t wr_addr; /* device address of register writes */
  uint8_t rd_addr; /* device address of register reads */
  sfp_rc (*set_link_speed)(sfp_port_ctx *port, uint32_t speed, uint32_t autoneg);
  sfp_rc (*get_link_state_speed)(sfp_port_ctx *port, uint32_t *link, uint32_t *speed,
                                 uint32_t *fiber_link);
  sfp_rc (*get_an_capability)(sfp_port_ctx *port, uint32_t *capability);
} sfp_phy_ops;

/* The record of the 1000BASE-T module's PHY (write address 0xAC, read
 * address 0xAD). */
SFPDRV_API extern const sfp_phy_ops qrn_te_phy_access;

/* One 16-bit PHY register, as one word or as two bytes (high byte first). */
SFPDRV_API sfp_rc qrn_te_phy_rd(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                uint16_t *value);
SFPDRV_API sfp_rc qrn_te_phy_wr(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                const uint16_t *value);

/* The operations of qrn_te_phy_access; they expect `phy_access` to be set. */
SFPDRV_API sfp_rc qrn_te_set_link_speed(sfp_port_ctx *port, uint32_t speed, uint32_t autoneg);
SFPDRV_API sfp_rc qrn_te_get_link_state_speed(sfp_port_ctx *port, uint32_t *link, uint32_t *speed,
                                              uint32_t *fiber_link);
SFPDRV_API sfp_rc qrn_te_get_an_capability(sfp_port_ctx *port, uint32_t *capability);

/* Reads (direction 1) or writes (any other direction) a PHY register of the
 * port's PHY. 22 for a null port or a port without a PHY. */
SFPDRV_API sfp_rc sfp_port_qrn_te_access(sfp_port_ctx *port, uint32_t reg, uint16_t *value,
                                         uint32_t direction);

/* Attaches qrn_te_phy_access to a port of type 533 (1000BASE-T). */
SFPDRV_API sfp_rc sfp_xcvr_set_phy_access(sfp_port_ctx *port, sfp_xcvr_type type);

/* Resets and configures the PHY of a 10G copper module (A0h byte 36 with one
 * of the bits 0x1C); does nothing for other modules. */
SFPDRV_API sfp_rc sfp_10G_copper_phy_configure(sfp_port_ctx *port);

SFPDRV_END_DECLS

#endif /* SFPDRV_PHY_H */
