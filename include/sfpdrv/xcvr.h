/**
 * @file
 * @brief Transceiver identification: the type table and its lookups, type
 * detection, the supported-type policy and part-number lists, multi-rate
 * optics, wavelength and channel conversions, cable classification.
 *
 * Port creation identifies the module; sfp_port_type() and sfp_port_rate()
 * then report it. The type table is constant. The per-type supported flags
 * and the part-number lists are process-wide and read without a lock; the
 * first sfp_port_create() sets the built-in flags (clearing any set before)
 * and appends the built-in part numbers. A platform changes flags after that
 * first creation and may append part numbers before or after it, but never
 * while a creation or a check runs. The table lookups and the conversions
 * take no lock and may run on any thread at any time. The port operations
 * here follow the rule of every port operation: the caller serialises the
 * calls on one port.
 */
#ifndef SFPDRV_XCVR_H
#define SFPDRV_XCVR_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Type table ---------------------------------------------------------- */

/** Number of slots of the type table (rows and empty slots). */
#define SFP_XCVR_TYPE_SLOTS 854u
/** ITU channel of a row that is not a DWDM row. */
#define SFP_XCVR_NO_ITU_CHAN (-1)
/** Result of sfp_xcvr_get_code_id() for a type without a row. */
#define SFP_XCVR_NO_ROW 0xFFFFFFFFu

/**
 * Display name of a transceiver type.
 *
 * On a port flagged multi-rate the family name is returned for the
 * multi-rate types.
 *
 * @param port The port whose multi-rate flag counts, or null.
 * @param type The transceiver type.
 * @return A constant text owned by the library ("Unknown" for a type without
 *         a row); never null.
 */
SFPDRV_API const char *sfp_xcvr_get_name_from_type(sfp_port_ctx *port, sfp_xcvr_type type);

/**
 * Copies the match fields of the type's row. The outputs are zeroed first;
 * null outputs are skipped.
 *
 * @param type      The transceiver type.
 * @param attr_low  Receives the compliance codes of A0h bytes 3 to 6, or null.
 * @param attr_high Receives the compliance codes of A0h bytes 7 to 10, or null.
 * @param ext_id    Receives the vendor code (A0h byte 96), or null.
 * @return 0, or #SFP_XCVR_NO_ROW when the type has no row.
 */
SFPDRV_API uint32_t sfp_xcvr_get_code_id(sfp_xcvr_type type, uint32_t *attr_low,
                                         uint32_t *attr_high, uint16_t *ext_id);

/**
 * Channel of a 50 GHz DWDM type in the kv numbering (1 = 196.10 THz, 50 GHz
 * apart downwards): 97 - ITU channel (unsigned 32-bit).
 *
 * @param type The transceiver type.
 * @param chan Receives the channel; untouched on failure.
 * @return 0; 22 when the type has no row or no ITU channel.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_50Ghz_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan);

/**
 * Channel of a 100 GHz DWDM type in the kv numbering: 123 - 2 x ITU channel
 * (unsigned 32-bit).
 *
 * @param type The transceiver type.
 * @param chan Receives the channel; untouched on failure.
 * @return 0; 22 when the type has no row or no ITU channel.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan);

/**
 * The per-type supported flag.
 *
 * @param type The transceiver type.
 * @return The flag, 0 for a type without a row.
 */
SFPDRV_API uint32_t sfp_xcvr_get_attribute_supported(sfp_xcvr_type type);

/**
 * Sets the per-type supported flag (process-wide, no lock). A type without a
 * row is ignored.
 *
 * @param type  The transceiver type.
 * @param value The flag (nonzero: supported).
 * @return Always 0.
 */
SFPDRV_API sfp_rc sfp_xcvr_set_attribute_supported(sfp_xcvr_type type, uint32_t value);

/**
 * Nominal speed of a type.
 *
 * @param type The transceiver type.
 * @return 1000, 10000 or 50000 Mb/s by type range, else 25000 (also for a
 *         value outside the table).
 */
SFPDRV_API uint32_t sfp_get_optics_speed(sfp_xcvr_type type);

/**
 * Whether a type is a 1G module.
 *
 * @param type The transceiver type.
 * @return 1 for the 1G types (513, 521 to 534, 541 to 590), else 0.
 */
SFPDRV_API uint32_t sfp_xcvr_is_one_ge_sfp(sfp_xcvr_type type);

/* ---- Type identification ------------------------------------------------- */

/**
 * Identifies the port's module when it has no type yet, then reports its
 * type, name and defaulted flag. Does not check the handle; no wait.
 *
 * @param port      The port.
 * @param type      Receives the type, or null.
 * @param name      Receives the name with snprintf semantics, or null.
 * @param name_len  Size of @p name in bytes.
 * @param defaulted Receives 1 when the module got a default type, or null.
 * @return 0; 22 for a null port.
 */
SFPDRV_API sfp_rc sfp_port_get_type(sfp_port_ctx *port, sfp_xcvr_type *type, char *name,
                                    uint32_t name_len, uint32_t *defaulted);

/**
 * The type, name and defaulted flag of an initialised port's module
 * (sfp_port_get_type() after the handle check).
 *
 * @param hdl       The port handle.
 * @param type      Receives the type.
 * @param name      Receives the name with snprintf semantics.
 * @param name_len  Size of @p name in bytes; nonzero.
 * @param defaulted Receives 1 when the module got a default type.
 * @return 0; 22 for a null pointer, a zero length, or a null or not fully
 *         initialised handle.
 */
SFPDRV_API sfp_rc sfp_port_type(sfp_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                uint32_t name_len, uint32_t *defaulted);

/**
 * The nominal rate of the port's module.
 *
 * @param hdl  The port handle.
 * @param rate Receives the rate in Mb/s: 1000, 10000 or 25000, and 0 for the
 *             multi-rate families and the 50G types.
 * @return 0; 22 for a null or not fully initialised handle or a null output.
 */
SFPDRV_API sfp_rc sfp_port_rate(sfp_port_ctx *hdl, uint32_t *rate);

/**
 * Detects the type that the given identification values describe and
 * appends its name to a text.
 *
 * @param port       The port whose flags detection may consult and set
 *                   (multi-rate, defaulted), or null.
 * @param identifier A0h byte 0.
 * @param code_low   Compliance codes of A0h bytes 3 to 6.
 * @param code_high  Compliance codes of A0h bytes 7 to 10.
 * @param ext_id     The vendor code (A0h byte 96, or byte 97 with 0xFF).
 * @param length     The link length byte: A0h byte 18 for a cable or a
 *                   module with an extended compliance code, else byte 14.
 * @param options1   A0h byte 64.
 * @param dest       Text to append the name to; owned by the caller.
 * @param dest_size  Size of @p dest; the total length is kept below it.
 * @param pid        The module's product ID, or null for the empty text.
 * @param ext_code   The extended compliance code (A0h byte 36), or 0.
 * @param speed      25000 or 50000 for a module whose signalling rate bytes
 *                   say 25G or 50G, else 0.
 * @return The detected type (512 when nothing fits).
 */
SFPDRV_API sfp_xcvr_type sfp_xcvr_get_name_from_xcvrCode(sfp_port_ctx *port, uint8_t identifier,
                                                         uint32_t code_low, uint32_t code_high,
                                                         uint16_t ext_id, uint8_t length,
                                                         uint8_t options1, char *dest,
                                                         uint32_t dest_size, const char *pid,
                                                         uint8_t ext_code, uint32_t speed);

/**
 * Module event interrupt hook; does nothing.
 *
 * @return Always 0.
 */
SFPDRV_API sfp_rc sfp_port_handle_event_irq(void);

/* ---- Supported-type policy and part-number lists ------------------------- */

/** Verdict of the supported check (texts: sfp_xcvr_supported_to_str()). */
typedef uint32_t sfp_xcvr_supported_status;
#define sfp_XCVR_SUPPORTED_OK 0u      /**< "Supported". */
#define SFP_XCVR_EEPROM_DATA_ERROR 1u /**< No identification data. */
#define SFP_XCVR_NOT_CHECKED 2u       /**< Not checked. */
#define SFP_XCVR_NOT_SFP 3u           /**< The identifier is not an SFP's. */
#define SFP_XCVR_NOT_XFP 4u           /**< Not an XFP (not produced for SFPs). */
#define SFP_XCVR_NOT_QSFP 6u          /**< Not a QSFP+ (not produced for SFPs). */
#define SFP_XCVR_BAD_EXT_ID 9u        /**< The extended identifier is wrong. */
#define SFP_XCVR_UNKNOWN_TYPE 10u     /**< No type fits the module. */
#define SFP_XCVR_UNSUPPORTED_TYPE 11u /**< A known type that is not supported. */

/** Verdict of a part-number check (texts: sfp_xcvr_pid_supported_to_str()). */
typedef uint32_t sfp_xcvr_pid_status;
#define SFP_PID_SUPPORTED 0u     /**< "Supported": the list holds the part number. */
#define SFP_PID_CHECK_ERROR 1u   /**< "Failed - PID check error". */
#define SFP_PID_NOT_CHECKED 2u   /**< "Not Checked". */
#define SFP_PID_NOT_SUPPORTED 3u /**< "Not supported": no entry matches. */
#define SFP_PID_NOT_AVAILABLE 4u /**< "Not available". */

/** A supported part number of a type. */
typedef struct sfp_xcvr_pn_entry {
  sfp_xcvr_type xcvr_type; /**< The type the part number belongs to. */
  /** The part number. The lists keep this pointer, not a copy of the text:
   * it must stay valid for the life of the process (a string literal). */
  const char *pn;
} sfp_xcvr_pn_entry;

/** A node of a part-number list; nodes and entries are never freed. */
typedef struct sfp_xcvr_pn_node {
  sfp_xcvr_pn_entry *entry;      /**< The library's copy of the entry. */
  struct sfp_xcvr_pn_node *next; /**< The next node, or null. */
} sfp_xcvr_pn_node;

/** Head of the product-ID list (read-only for callers). */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pid_supported_list;
/** Tail of the product-ID list. */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pid_supported_list_tail;
/** Head of the vendor part-number list (A0h bytes 40 to 55). */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_vendor_pn_supported_list;
/** Tail of the vendor part-number list. */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_vendor_pn_supported_list_tail;
/** Head of the catalogue part-number list (number with its revision). */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pn_supported_list;
/** Tail of the catalogue part-number list. */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pn_supported_list_tail;

/**
 * Clears every supported flag, sets those of the built-in supported types
 * and appends the built-in part numbers to the lists. The first
 * sfp_port_create() calls it under the SFP registry lock; a second call
 * resets the flags again and appends the built-in entries a second time.
 *
 * @return The status of the last append: 0, or 12 when memory ran out.
 */
SFPDRV_API sfp_rc sfp_xcvr_lib_init(void);

/**
 * Decides whether A0h bytes describe an SFP, detects its type and checks
 * that the type is supported (a 1000BASE-T module also gets its PHY
 * operations).
 *
 * @param port   The port (its multi-rate flag and rate code count).
 * @param a0     A0h bytes 0 to 255.
 * @param status Receives the verdict.
 * @param type   Receives the detected type (512 when none).
 * @param pid    The module's product ID, or null.
 * @return 0 (also for "Not SFP", "EEPROM Data Error" and a wrong extended
 *         identifier, reported in @p status); 95 for an unknown or
 *         unsupported type; 22 for a null port.
 */
SFPDRV_API sfp_rc sfp_xcvr_check_supported(sfp_port_ctx *port, const uint8_t *a0,
                                           sfp_xcvr_supported_status *status, sfp_xcvr_type *type,
                                           const char *pid);

/**
 * Text of a supported-check verdict.
 *
 * @param status The verdict.
 * @return A constant text ("Unknown Status" above 11); never null.
 */
SFPDRV_API const char *sfp_xcvr_supported_to_str(sfp_xcvr_supported_status status);

/**
 * Text of a part-number check verdict.
 *
 * @param status The verdict.
 * @return A constant text ("Unknown Status" above 4); never null.
 */
SFPDRV_API const char *sfp_xcvr_pid_supported_to_str(sfp_xcvr_pid_status status);

/**
 * Appends a copy of the entry to the product-ID list (process-wide, no
 * lock). The entry's text is not copied.
 *
 * @param entry The entry.
 * @return 0; 22 for a null entry; 12 without memory (nothing appended).
 */
SFPDRV_API sfp_rc sfp_xcvr_set_pid_supported(const sfp_xcvr_pn_entry *entry);

/**
 * Appends a copy of the entry to the vendor part-number list, as
 * sfp_xcvr_set_pid_supported().
 *
 * @param entry The entry.
 * @return 0; 22 for a null entry; 12 without memory.
 */
SFPDRV_API sfp_rc sfp_xcvr_set_vendor_pn_supported(const sfp_xcvr_pn_entry *entry);

/**
 * Appends a copy of the entry to the catalogue part-number list, as
 * sfp_xcvr_set_pid_supported().
 *
 * @param entry The entry.
 * @return 0; 22 for a null entry; 12 without memory.
 */
SFPDRV_API sfp_rc sfp_xcvr_set_pn_supported(const sfp_xcvr_pn_entry *entry);

/**
 * Number of entries of the product-ID list.
 *
 * @return The count.
 */
SFPDRV_API uint16_t sfp_xcvr_get_pid_supported_count(void);

/**
 * Number of entries of the vendor part-number list.
 *
 * @return The count.
 */
SFPDRV_API uint16_t sfp_xcvr_get_vendor_pn_supported_count(void);

/**
 * Number of entries of the catalogue part-number list.
 *
 * @return The count.
 */
SFPDRV_API uint16_t sfp_xcvr_get_pn_supported_count(void);

/**
 * Copy of the index-th entry (from 0) of the product-ID list.
 *
 * @param index The entry's index.
 * @param entry Receives the copy.
 * @return 0; 22 for a null output or an index not below the count; 6 when
 *         the list ends early.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);

/**
 * Copy of the index-th entry of the vendor part-number list.
 *
 * @param index The entry's index.
 * @param entry Receives the copy.
 * @return 0; 22 for a null output or an index not below the count; 6 when
 *         the list ends early.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);

/**
 * Copy of the index-th entry of the catalogue part-number list.
 *
 * @param index The entry's index.
 * @param entry Receives the copy.
 * @return 0; 22 for a null output or an index not below the count; 6 when
 *         the list ends early.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);

/**
 * Checks a product ID against the list: an entry of the same type with the
 * same text.
 *
 * @param port   The port, for the messages (may be null).
 * @param type   The module's type.
 * @param pid    The product ID.
 * @param status Receives #SFP_PID_SUPPORTED or #SFP_PID_NOT_SUPPORTED.
 * @return 0; 22 when the text or the list is missing (the status then stays
 *         "Not Checked").
 */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                             const char *pid, sfp_xcvr_pid_status *status);

/**
 * Checks a vendor part number (A0h bytes 40 to 55) against the list: an entry
 * of the same type with the same text.
 *
 * @param port      The port, for the messages (may be null).
 * @param type      The module's type.
 * @param vendor_pn The vendor part number.
 * @param status    Receives #SFP_PID_SUPPORTED or #SFP_PID_NOT_SUPPORTED.
 * @return 0; 22 when the text or the list is missing.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                   const char *vendor_pn,
                                                   sfp_xcvr_pid_status *status);

/**
 * Checks a catalogue part number against the list: an entry of the same type
 * with the same first 8 characters and a revision not above the number's.
 *
 * @param port   The port, for the messages (may be null).
 * @param type   The module's type.
 * @param pn     The catalogue part number with its two-digit revision.
 * @param status Receives #SFP_PID_SUPPORTED or #SFP_PID_NOT_SUPPORTED.
 * @return 0; 22 when the text or the list is missing.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported(sfp_port_ctx *port, sfp_xcvr_type type, const char *pn,
                                            sfp_xcvr_pid_status *status);

/**
 * The combined part-number check: product ID, then catalogue part number,
 * then vendor part number, until one decides.
 *
 * @param port      The port, for the messages (may be null).
 * @param type      The module's type.
 * @param pid       The product ID.
 * @param pn        The catalogue part number.
 * @param vendor_pn The vendor part number.
 * @param status    Receives the deciding verdict.
 * @return 0, or the first check's nonzero status.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_ext_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                 const char *pid, const char *pn,
                                                 const char *vendor_pn,
                                                 sfp_xcvr_pid_status *status);

/**
 * The memory spaces of a module of the given check verdict and type.
 *
 * @param port   The port (its defaulted flag counts); null counts as a port
 *               whose type was not defaulted.
 * @param a0     A0h bytes 0 to 255.
 * @param status The supported-check verdict.
 * @param type   The module's type.
 * @param space  Receives the spaces.
 * @return 0; 22 for a null image or output.
 */
SFPDRV_API sfp_rc sfp_xcvr_which_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                 sfp_xcvr_supported_status status,
                                                 sfp_xcvr_type type, sfp_eeprom_space *space);

/**
 * Runs the supported check and fills the memory spaces from its verdict.
 *
 * @param port  The port.
 * @param a0    A0h bytes 0 to 255.
 * @param space Receives the spaces.
 * @param pid   The module's product ID, or null.
 * @return 0; 95 for an unknown type; 22 for null arguments; otherwise the
 *         check's status.
 */
SFPDRV_API sfp_rc sfp_xcvr_which_space_supported2(sfp_port_ctx *port, const uint8_t *a0,
                                                  sfp_eeprom_space *space, const char *pid);

/**
 * Zeroes the parts of a 512-byte image (A0h then A2h) that a module of the
 * given verdict and type does not provide; nothing when the verdict is not
 * "Supported".
 *
 * @param port   The port.
 * @param image  The image, changed in place.
 * @param status The supported-check verdict.
 * @param type   The module's type.
 * @return 0; 22 for a null image.
 */
SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom(sfp_port_ctx *port, uint8_t *image,
                                         sfp_xcvr_supported_status status, sfp_xcvr_type type);

/**
 * Runs the supported check on the image's A0h bytes, then zeroes what the
 * module does not provide, as sfp_xcvr_adjust_eeprom().
 *
 * @param port  The port.
 * @param image The 512-byte image, changed in place.
 * @param pid   The module's product ID, or null.
 * @return 0; 22 for a null image; the check's nonzero status (nothing
 *         zeroed).
 */
SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom2(sfp_port_ctx *port, uint8_t *image, const char *pid);

/**
 * Whether all 256 bytes of A0h are readable: the supported check passes.
 *
 * @param port The port.
 * @param a0   A0h bytes 0 to 255.
 * @param pid  The module's product ID, or null.
 * @return 1 or 0.
 */
SFPDRV_API uint32_t sfp_xcvr_check_a0_full_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                           const char *pid);

/**
 * Whether the module has diagnostics in A2h: the supported check passes and
 * A0h byte 92 bit 6 is set.
 *
 * @param port The port.
 * @param a0   A0h bytes 0 to 255.
 * @param pid  The module's product ID, or null.
 * @return 1 or 0 (0 for a null image).
 */
SFPDRV_API uint32_t sfp_xcvr_check_a2_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                      const char *pid);

/**
 * Whether the module implements digital diagnostic monitoring.
 *
 * @param a0 A0h bytes 0 to 255.
 * @return A0h byte 92 bit 6 as 0 or 1; 0 for a null image.
 */
SFPDRV_API uint32_t sfp_xcvr_check_digital_monitoring(const uint8_t *a0);

/**
 * Formats a space record as "{ half_a0=%d, full_a0=%d, a2=%d, dom=%d }", or
 * "(null)" for a null record, with snprintf semantics.
 *
 * @param space The record, or null.
 * @param text  The caller's buffer; nothing is written when it is null.
 * @param size  Size of @p text; nothing is written when it is 0.
 * @return @p text.
 */
SFPDRV_API char *sfp_eeprom_space_supported_to_string(const sfp_eeprom_space *space, char *text,
                                                      uint32_t size);

/* ---- Multi-rate optics ---------------------------------------------------- */

#define SFP_RATE_CODE_25G 1u /**< Rate code of a 25G cage (sfp_platform_ops::rate_code). */
#define SFP_RATE_CODE_10G 2u /**< Rate code of a 10G cage. */
#define SFP_RATE_CODE_50G 3u /**< Rate code of a 50G cage. */

/**
 * Whether the module is a multi-rate optic: reads A0h byte 253 through the
 * port's read callback.
 *
 * @param port The port.
 * @return 1 when the byte reads 3, else 0 (also when the read fails).
 */
SFPDRV_API uint32_t is_multi_rate_sfp(sfp_port_ctx *port);

/**
 * The base type of the multi-rate family of a detected sub type.
 *
 * @param port     The port (its image's A0h byte 19 decides the 10/25G SR
 *                 families).
 * @param ext_code A0h byte 36; 2 (25GBASE-SR) chooses by the OM3 length.
 * @param sub_type The detected type.
 * @return The family's base type, or @p sub_type when no family has it.
 */
SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_frm_sub_xcvr_type(sfp_port_ctx *port,
                                                                  uint8_t ext_code,
                                                                  sfp_xcvr_type sub_type);

/**
 * The base type of a 10/25G SR module by its OM3 length (A0h byte 19 of the
 * port's image).
 *
 * @param port The port.
 * @return 805 when the byte is 30, else 806.
 */
SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_from_reg(sfp_port_ctx *port);

/**
 * Programs the rate select of a multi-rate module for the port's speed
 * (`oper_speed`, or the type's own speed when 0). Creation calls it for a
 * multi-rate module when a module is present. No wait.
 *
 * @param port The port.
 * @return 0; 22 for a null port; the status of the failed write.
 */
SFPDRV_API sfp_rc sfp_multi_rate_sel_oper_rate(sfp_port_ctx *port);

/* ---- Wavelength, frequency and ITU channels ------------------------------- */

/**
 * Wavelength setpoint (units of 50 pm) of a wavelength.
 *
 * @param wl Wavelength in picometres.
 * @return @p wl / 50.
 */
SFPDRV_API uint32_t sfp_xcvr_wavelength_setpoint_from_wl(uint32_t wl);

/**
 * Wavelength of a setpoint (units of 50 pm).
 *
 * @param setpoint The setpoint.
 * @return Picometres, @p setpoint x 50 (32-bit).
 */
SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_setpoint(uint32_t setpoint);

/**
 * Wavelength of an A0h wavelength value (units of 50 pm).
 *
 * @param wavelength The value.
 * @return Picometres, @p wavelength x 50 (32-bit).
 */
SFPDRV_API uint32_t sfp_xcvr_waveLength_to_wl(uint32_t wavelength);

/**
 * Wavelength of a wavelength error value (units of 5 pm).
 *
 * @param error The value.
 * @return Picometres, @p error x 5 (32-bit).
 */
SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_error(uint32_t error);

/**
 * Wavelength of a wavelength tolerance value (units of 5 pm).
 *
 * @param tolerance The value.
 * @return Picometres, @p tolerance x 5 (32-bit).
 */
SFPDRV_API uint32_t sfp_xcvr_wavelengthTolerance_to_wl(uint32_t tolerance);

/**
 * Frequency of a wavelength.
 *
 * @param wl Wavelength in picometres.
 * @return Frequency in GHz, rounded (1550120 gives 193400); 0 for 0.
 */
SFPDRV_API uint32_t sfp_xcvr_wl_to_freq(uint32_t wl);

/**
 * Wavelength of a frequency.
 *
 * @param freq Frequency in GHz.
 * @return Wavelength in picometres rounded to 10 pm (193400 gives 1550120);
 *         0 for 0.
 */
SFPDRV_API uint32_t sfp_xcvr_freq_to_wl(uint32_t freq);

/**
 * Frequency of a kv channel (1 = 196.10 THz, 50 GHz apart downwards).
 *
 * @param channel The kv channel.
 * @return 196150 - 50 x @p channel GHz; 0 for channel 0.
 */
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_freq(uint32_t channel);

/**
 * Wavelength of a kv channel.
 *
 * @param channel The kv channel.
 * @return Picometres (channel 5 gives 1530334); 0 where the frequency is 0.
 */
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_wavelength(uint32_t channel);

/**
 * Wavelength of a kv channel rounded to 10 pm.
 *
 * @param channel The kv channel.
 * @return Picometres (channel 5 gives 1530330).
 */
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_optic_pm(uint32_t channel);

/**
 * Channel number of a frequency on a grid.
 *
 * @param freq    Frequency in GHz.
 * @param first   Frequency of channel 1 in GHz.
 * @param spacing Channel spacing in GHz.
 * @return 0 when @p freq is below @p first (or @p spacing is 0), else
 *         (freq - first) / spacing + 1.
 */
SFPDRV_API uint32_t sfp_xcvr_get_chan_from_freq(uint32_t freq, uint32_t first, uint32_t spacing);

/**
 * Tunes a tunable module to a channel of the 50 GHz grid (191.3 THz +
 * channel x 50 GHz): writes channel - `tunable_lower_offset` to A2h table 2
 * byte 145 (modulo 256). The usable channels are `tunable_lower_offset` + 1
 * to `tunable_upper_offset` + 1; when the lower offset is 0, channel 0 is
 * taken too. No wait.
 *
 * @param hdl     The port handle.
 * @param channel The channel.
 * @return 0; 22 for a null or not fully initialised handle or a channel out
 *         of the module's range; the status of the failed write.
 */
SFPDRV_API sfp_rc sfp_port_tsfp_wavechannel_set(sfp_port_ctx *hdl, uint32_t channel);

/* ---- Cable and copper classification -------------------------------------- */

/**
 * Whether the module is a passive or active cable (A0h byte 8 is 4 or 8).
 *
 * @param port The port.
 * @param flag Receives 1 for a cable, else 0.
 * @return 0; 22 for a null port or output.
 */
SFPDRV_API sfp_rc sfp_is_cable(sfp_port_ctx *port, uint32_t *flag);

/**
 * Whether the module is a copper module or cable (connector 0x21 or 0x22, or
 * A0h byte 8 is 4 or 8).
 *
 * @param port The port.
 * @param a0   A0h bytes 0 to 255.
 * @param flag Receives 1 for copper, else 0.
 * @return 0; 22 for a null port, image or output.
 */
SFPDRV_API sfp_rc sfp_is_zando_copper_optics(sfp_port_ctx *port, const uint8_t *a0, uint32_t *flag);

/** Characters of a product ID (the text sfp_get_pid() points to). */
#define SFP_PID_LEN 18u

/**
 * The module's product-ID text in the port's image (A0h byte 192 for copper,
 * A2h table 0 byte 192 otherwise).
 *
 * @param port The port.
 * @return A pointer into the port's image, valid while the port lives, of
 *         which at most #SFP_PID_LEN characters belong to the product ID (it
 *         is not terminated there); "" when undecidable.
 */
SFPDRV_API const char *sfp_get_pid(sfp_port_ctx *port);

/**
 * Whether a 10G DWDM module has a limiting receiver.
 *
 * @param port The port.
 * @return 1 for a limiting receiver, 0 for a linear one, another module or
 *         a null port.
 */
SFPDRV_API uint32_t is_sfp_10g_dwdm_limiting_module(sfp_port_ctx *port);

SFPDRV_END_DECLS

#endif /* SFPDRV_XCVR_H */
