/**
 * @file
 * @brief Records and types shared by every subsystem of sfpdrv: the status
 * code, the logical module pages, the memory spaces of a module, the
 * transceiver type and the callback types a platform supplies.
 */
#ifndef SFPDRV_TYPES_H
#define SFPDRV_TYPES_H

#include <stdint.h>

#include "sfpdrv/export.h"

SFPDRV_BEGIN_DECLS

/**
 * Status code of every operation.
 *
 * The values below are the library's own. Any other value is a callback's
 * own code, or the threads library's, passed back unchanged: the library
 * gives those no meaning of its own.
 */
typedef uint32_t sfp_rc;

#define SFP_RC_OK 0u            /**< Success. */
#define SFP_RC_NOT_FOUND 2u     /**< sfp_port_delete() or qsa_port_delete() of a handle not held. */
#define SFP_RC_LIST_SHORT 6u    /**< A part-number list ended before the index asked for. */
#define SFP_RC_QSA_NOT_INIT 11u /**< An adapter port that is not fully created. */
#define SFP_RC_NO_MEMORY 12u    /**< An allocation failed. */
/** The trace buffers could not be set up, the module's data never became
 * ready at creation, or a PHY speed request could not be passed on to the
 * module behind an adapter. */
#define SFP_RC_FAULT 14u
#define SFP_RC_NO_ADAPTER 19u /**< The adapter did not identify itself. */
/** A null or not fully initialised handle, a bad argument, or an access
 * outside the module's memory. */
#define SFP_RC_INVALID 22u
/** The threads library reported a deadlock; also a thread that already holds
 * an adapter port's lock and calls into that port again. */
#define SFP_RC_DEADLOCK 35u
/** Not a module type the library drives, or an operation that the module
 * type or the layer does not have. */
#define SFP_RC_UNSUPPORTED 95u
/** A module condition (a CDR fault, a power level the operation does not
 * raise), or a report that did not fit its buffer (all 32 bits set, -1). */
#define SFP_RC_MODULE_COND 0xFFFFFFFFu

/**
 * Logical page of a module access, as callers pass it and as the memory
 * callbacks (#sfp_mem_cb) receive it.
 *
 * Before an access to a table page (2 to 5) the library writes the table
 * number (page - 2) to the table select, A2h byte 127 (page 1, offset 127,
 * length 1), through the write callback, unless the process-wide no-select
 * flag of that direction is set (sfp_platform_ops::no_read_page_select,
 * sfp_platform_ops::no_write_page_select). The select is not restored
 * afterwards.
 */
typedef enum sfp_module_page {
  SFP_PAGE_A0 = 0,        /**< Identification memory A0h. */
  SFP_PAGE_A2 = 1,        /**< A2h lower half and the selected upper table. */
  SFP_PAGE_A2_TABLE0 = 2, /**< A2h table 0 (select 0 written first). */
  SFP_PAGE_A2_TABLE1 = 3, /**< A2h table 1 (select 1 written first). */
  SFP_PAGE_A2_TABLE2 = 4, /**< A2h table 2 (select 2 written first). */
  SFP_PAGE_A2_TABLE3 = 5  /**< A2h table 3 (select 3 written first). */
} sfp_module_page;

#define SFP_ACCESS_WRITE 0u /**< Direction argument of the access operations: write. */
#define SFP_ACCESS_READ 1u  /**< Direction argument of the access operations: read. */

/** Which memory spaces a module provides (booleans as 0 or 1). Port
 * creation fills the port's copy (sfp_port_ctx::spaces) from the supported
 * check. */
typedef struct sfp_eeprom_space {
  uint32_t half_a0; /**< A0h offsets 0 to 127 are readable. */
  uint32_t full_a0; /**< All 256 bytes of A0h are readable. */
  uint32_t a2;      /**< The module has the A2h memory; every access to a page other than 0
                         needs it. */
  uint32_t dom;     /**< The module implements digital diagnostic monitoring. */
} sfp_eeprom_space;

/** Transceiver type: 512 is "Unknown", real types run from 513 to 853, and
 * 0 in a port means not yet identified. The adapter layer reports its own
 * adapters as 855 and 856. */
typedef uint32_t sfp_xcvr_type;

#define SFP_XCVR_TYPE_NONE 0u      /**< A port whose module is not yet identified. */
#define SFP_XCVR_TYPE_UNKNOWN 512u /**< The "Unknown" type. */

struct pelog_buffer;
/** A trace buffer of the platform trace service (see platform/pelog.h). */
typedef struct pelog_buffer *sfp_trace_hdl;

/**
 * Module memory callback, for both read and write.
 *
 * Reads or writes @p length bytes at @p offset of the memory that @p page
 * names (an #sfp_module_page: 0 is A0h, 1 to 5 are A2h, the table of pages
 * 2 to 5 already selected by the library's write of A2h byte 127). The
 * library relies on the table select it wrote staying in force for the
 * transfer that follows. A table page names the upper half of A2h only: for
 * pages 2 to 5 an offset below 128 means A2h byte 128 + offset, an offset of
 * 128 or more the byte itself. Port creation uses both forms: it reads table
 * 0 as page 2, offset 0, length 128 (the table's bytes 128 to 255), and the
 * tunable table 2 as page 4, offset 128, length 128. Before a read the
 * library zeroes the buffer.
 *
 * Arguments, in order: the caller's opaque value (sfp_platform_ops::opaque),
 * the offset (0 to 255), the page, the byte count and the buffer.
 * Returns 0 on success; any other value is a failure that the library
 * passes back to its caller unchanged, without retrying.
 */
typedef int (*sfp_mem_cb)(void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                          uint8_t *buffer);

/**
 * Copper PHY register callback, for both read and write.
 *
 * Arguments, in order: the caller's opaque value, the PHY's two-wire device
 * address (0xAC for writes, 0xAD for reads of the 1000BASE-T module's PHY),
 * the register byte, and the buffer. In word mode
 * (sfp_platform_ops::phy_word_access nonzero) the buffer is one uint16_t in
 * host byte order holding the whole register; otherwise it is one byte, and
 * the library moves a register as two calls, high byte first (both at
 * register byte r, or at 2r and 2r + 1 when sfp_platform_ops::bus_mode is
 * 1). Returns 0 on success; any other value is passed back unchanged.
 */
typedef int (*sfp_phy_cb)(void *opaque, uint8_t address, uint8_t reg, void *buffer);

struct sfp_phy_ops;

SFPDRV_END_DECLS

#endif /* SFPDRV_TYPES_H */
