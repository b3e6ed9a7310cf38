/* Module access: paged memory access, bit-bang access and register dump. */
#ifndef SFPDRV_ACCESS_H
#define SFPDRV_ACCESS_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* Size of the text that the register dump allocates. */
#define SFP_REG_DUMP_SIZE 1500u

/* Reads (direction 1) or writes (direction 0) module memory through the
 * port's callbacks, selecting the A2h table first for pages 2 to 5.
 * The range check refuses (22) a request whose last byte, offset + length - 1
 * in 32-bit arithmetic, is 256 or more (so also a zero length at offset 0),
 * and besides that any offset above 255 or length above 256: otherwise an
 * end address that wraps around 32 bits would let a huge length through. */
SFPDRV_API sfp_rc sfp_access(sfp_port_ctx *port, uint32_t offset, uint32_t length, uint32_t page,
                             uint8_t *buffer, uint32_t direction);

/* Handle check, then a read. Note the argument order: page before length. */
SFPDRV_API sfp_rc sfp_port_read(sfp_port_ctx *hdl, uint32_t offset, uint32_t page, uint32_t length,
                                uint8_t *buffer);

/* Handle check, then a write. */
SFPDRV_API sfp_rc sfp_port_write(sfp_port_ctx *hdl, uint32_t offset, uint32_t page, uint32_t length,
                                 uint8_t *buffer);

/* Reads module memory through the bit-bang callback; the table select is
 * always written for pages 2 to 5, and only direction 1 transfers data. */
SFPDRV_API sfp_rc sfp_special_bitbang_access(sfp_port_ctx *port, uint32_t offset, uint32_t length,
                                             uint32_t page, uint8_t *buffer, uint32_t direction);

/* Reads the fifteen named registers into a newly allocated text of
 * SFP_REG_DUMP_SIZE bytes, which the caller frees with free(). */
SFPDRV_API sfp_rc sfp_reg_access(sfp_port_ctx *port, char **text, uint32_t *size,
                                 uint32_t direction);

/* Handle check, then the register dump. */
SFPDRV_API sfp_rc sfp_port_read_reg(sfp_port_ctx *hdl, char **text, uint32_t *size);

SFPDRV_END_DECLS

#endif /* SFPDRV_ACCESS_H */
