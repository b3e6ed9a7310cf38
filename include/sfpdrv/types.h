/* Records and types shared by every subsystem of sfpdrv. */
#ifndef SFPDRV_TYPES_H
#define SFPDRV_TYPES_H

#include <stdint.h>

#include "sfpdrv/export.h"

SFPDRV_BEGIN_DECLS

/* Status code of every operation. Values other than the ones below are a
 * callback's or the threads library's own code, passed through unchanged. */
typedef uint32_t sfp_rc;

#define SFP_RC_OK 0u
#define SFP_RC_NOT_FOUND 2u            /* context not found on deletion */
#define SFP_RC_LIST_SHORT 6u           /* a part-number list ended early */
#define SFP_RC_QSA_NOT_INIT 11u        /* adapter port not fully initialised */
#define SFP_RC_NO_MEMORY 12u           /* allocation failed */
#define SFP_RC_FAULT 14u               /* trace setup, data ready or PHY forward failed */
#define SFP_RC_NO_ADAPTER 19u          /* the adapter did not identify itself */
#define SFP_RC_INVALID 22u             /* invalid argument, handle or access */
#define SFP_RC_DEADLOCK 35u            /* deadlock reported by the threads library */
#define SFP_RC_UNSUPPORTED 95u         /* unknown module type or unsupported operation */
#define SFP_RC_MODULE_COND 0xFFFFFFFFu /* module condition, or a report that did not fit */

/* Logical page of a module access. */
typedef enum sfp_module_page {
  SFP_PAGE_A0 = 0,        /* identification memory A0h */
  SFP_PAGE_A2 = 1,        /* A2h lower half and the selected upper table */
  SFP_PAGE_A2_TABLE0 = 2, /* A2h table 0 */
  SFP_PAGE_A2_TABLE1 = 3, /* A2h table 1 */
  SFP_PAGE_A2_TABLE2 = 4, /* A2h table 2 */
  SFP_PAGE_A2_TABLE3 = 5  /* A2h table 3 */
} sfp_module_page;

/* Direction argument of the access operations. */
#define SFP_ACCESS_WRITE 0u
#define SFP_ACCESS_READ 1u

/* Which memory spaces a module provides (booleans as 0 or 1). */
typedef struct sfp_eeprom_space {
  uint32_t half_a0; /* A0h offsets 0 to 127 are readable */
  uint32_t full_a0; /* all 256 bytes of A0h are readable */
  uint32_t a2;      /* the module has the A2h memory */
  uint32_t dom;     /* the module implements digital diagnostic monitoring */
} sfp_eeprom_space;

/* Transceiver type: 512 is "Unknown", real types run from 513 to 853 and 0
 * in a port means not yet identified. */
typedef uint32_t sfp_xcvr_type;

#define SFP_XCVR_TYPE_NONE 0u
#define SFP_XCVR_TYPE_UNKNOWN 512u

/* A trace buffer of the platform trace service. */
struct pelog_buffer;
typedef struct pelog_buffer *sfp_trace_hdl;

/* Module memory callback: read or write `length` bytes at `offset` of the
 * memory that `page` names (0: A0h, 1 to 5: A2h). Returns 0 on success; any
 * other value is passed back to the caller unchanged. */
typedef int (*sfp_mem_cb)(void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                          uint8_t *buffer);

/* Copper PHY register callback: `buffer` is a uint16_t in host order in
 * word mode and a single byte otherwise. */
typedef int (*sfp_phy_cb)(void *opaque, uint8_t address, uint8_t reg, void *buffer);

/* Copper PHY operations record; its contents belong to the PHY subsystem. */
struct sfp_phy_ops;

SFPDRV_END_DECLS

#endif /* SFPDRV_TYPES_H */
