/* Transceiver identification: the type table and its lookups, type
 * detection, the supported-type policy and part-number lists, multi-rate
 * optics, wavelength and channel conversions, cable classification. */
#ifndef SFPDRV_XCVR_H
#define SFPDRV_XCVR_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Type table ---------------------------------------------------------- */

/* Number of slots of the type table (rows and empty slots). */
#define SFP_XCVR_TYPE_SLOTS 854u
/* ITU channel of a row that is not a DWDM row. */
#define SFP_XCVR_NO_ITU_CHAN (-1)
/* Result of sfp_xcvr_get_code_id for a type without a row. */
#define SFP_XCVR_NO_ROW 0xFFFFFFFFu

/* Display name of `type` ("Unknown" for a type without a row). On a port
 * flagged multi-rate the family name is returned for the multi-rate types.
 * `port` may be null. */
SFPDRV_API const char *sfp_xcvr_get_name_from_type(sfp_port_ctx *port, sfp_xcvr_type type);

/* Copies the match fields of the type's row; 0, or SFP_XCVR_NO_ROW when the
 * type has no row (the outputs are then 0). Null outputs are skipped. */
SFPDRV_API uint32_t sfp_xcvr_get_code_id(sfp_xcvr_type type, uint32_t *attr_low,
                                         uint32_t *attr_high, uint16_t *ext_id);

/* Channel of a DWDM type in the 50 GHz kv numbering: 97 - itu_chan for the
 * 50 GHz rows, 123 - 2 x itu_chan for the 100 GHz rows (unsigned 32-bit).
 * 0, or 22 when the type has no row or no ITU channel (`chan` untouched). */
SFPDRV_API sfp_rc sfp_xcvr_get_50Ghz_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan);
SFPDRV_API sfp_rc sfp_xcvr_get_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan);

/* The per-type supported flag (0 for a type without a row), and its setter
 * (a type without a row is ignored). */
SFPDRV_API uint32_t sfp_xcvr_get_attribute_supported(sfp_xcvr_type type);
SFPDRV_API sfp_rc sfp_xcvr_set_attribute_supported(sfp_xcvr_type type, uint32_t value);

/* Nominal speed of a type in Mb/s: 1000, 10000, 50000, else 25000. */
SFPDRV_API uint32_t sfp_get_optics_speed(sfp_xcvr_type type);

/* 1 for the 1G types (513, 521 to 534, 541 to 590), else 0. */
SFPDRV_API uint32_t sfp_xcvr_is_one_ge_sfp(sfp_xcvr_type type);

/* ---- Type identification ------------------------------------------------- */

/* Identifies the port's module when it has no type yet, then reports type,
 * name (snprintf semantics) and the defaulted flag. Null outputs are
 * skipped. Does not check the handle. */
SFPDRV_API sfp_rc sfp_port_get_type(sfp_port_ctx *port, sfp_xcvr_type *type, char *name,
                                    uint32_t name_len, uint32_t *defaulted);

/* sfp_port_get_type for callers: every pointer must be given and the length
 * nonzero, and the handle must be an initialised port (else 22). */
SFPDRV_API sfp_rc sfp_port_type(sfp_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                uint32_t name_len, uint32_t *defaulted);

/* The nominal rate of the port's module in Mb/s (0 for the multi-rate and
 * 50G types). 22 for a null or uninitialised handle. */
SFPDRV_API sfp_rc sfp_port_rate(sfp_port_ctx *hdl, uint32_t *rate);

/* Detects the type of the given identification values and appends its name
 * to `dest` (total length kept below `dest_size`). `pid` may be null (the
 * empty text). Returns the detected type. */
SFPDRV_API sfp_xcvr_type sfp_xcvr_get_name_from_xcvrCode(sfp_port_ctx *port, uint8_t identifier,
                                                         uint32_t code_low, uint32_t code_high,
                                                         uint16_t ext_id, uint8_t length,
                                                         uint8_t options1, char *dest,
                                                         uint32_t dest_size, const char *pid,
                                                         uint8_t ext_code, uint32_t speed);

/* Does nothing; returns 0. */
SFPDRV_API sfp_rc sfp_port_handle_event_irq(void);

/* ---- Supported-type policy and part-number lists ------------------------- */

/* Status of the supported check. */
typedef uint32_t sfp_xcvr_supported_status;
#define sfp_XCVR_SUPPORTED_OK 0u
#define SFP_XCVR_EEPROM_DATA_ERROR 1u
#define SFP_XCVR_NOT_CHECKED 2u
#define SFP_XCVR_NOT_SFP 3u
#define SFP_XCVR_NOT_XFP 4u
#define SFP_XCVR_NOT_QSFP 6u
#define SFP_XCVR_BAD_EXT_ID 9u
#define SFP_XCVR_UNKNOWN_TYPE 10u
#define SFP_XCVR_UNSUPPORTED_TYPE 11u

/* Status of the part-number checks. */
typedef uint32_t sfp_xcvr_pid_status;
#define SFP_PID_SUPPORTED 0u
#define SFP_PID_CHECK_ERROR 1u
#define SFP_PID_NOT_CHECKED 2u
#define SFP_PID_NOT_SUPPORTED 3u
#define SFP_PID_NOT_AVAILABLE 4u

/* A supported part number of a type. */
typedef struct sfp_xcvr_pn_entry {
  sfp_xcvr_type xcvr_type;
  const char *pn;
} sfp_xcvr_pn_entry;

/* A node of a part-number list; nodes and entries are never freed. */
typedef struct sfp_xcvr_pn_node {
  sfp_xcvr_pn_entry *entry;
  struct sfp_xcvr_pn_node *next;
} sfp_xcvr_pn_node;

/* The three process-wide lists: product IDs, vendor part numbers (A0h bytes
 * 40 to 55) and catalogue part numbers with their revision. */
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pid_supported_list;
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pid_supported_list_tail;
SFPDRV_API extern sfp_xcvr_pn_node *sfp_vendor_pn_supported_list;
SFPDRV_API extern sfp_xcvr_pn_node *sfp_vendor_pn_supported_list_tail;
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pn_supported_list;
SFPDRV_API extern sfp_xcvr_pn_node *sfp_pn_supported_list_tail;

/* Sets the supported flags and fills the lists with the built-in data.
 * Returns the status of the last append (0, or 12). */
SFPDRV_API sfp_rc sfp_xcvr_lib_init(void);

/* Decides whether the A0h bytes describe an SFP, detects its type and checks
 * that the type is supported. 0, 95 (unknown or unsupported type) or 22 (null
 * port); the verdict is in `status`. */
SFPDRV_API sfp_rc sfp_xcvr_check_supported(sfp_port_ctx *port, const uint8_t *a0,
                                           sfp_xcvr_supported_status *status, sfp_xcvr_type *type,
                                           const char *pid);

SFPDRV_API const char *sfp_xcvr_supported_to_str(sfp_xcvr_supported_status status);
SFPDRV_API const char *sfp_xcvr_pid_supported_to_str(sfp_xcvr_pid_status status);

/* Append a copy of the entry: 0, 22 for a null entry, 12 without memory. */
SFPDRV_API sfp_rc sfp_xcvr_set_pid_supported(const sfp_xcvr_pn_entry *entry);
SFPDRV_API sfp_rc sfp_xcvr_set_vendor_pn_supported(const sfp_xcvr_pn_entry *entry);
SFPDRV_API sfp_rc sfp_xcvr_set_pn_supported(const sfp_xcvr_pn_entry *entry);

SFPDRV_API uint16_t sfp_xcvr_get_pid_supported_count(void);
SFPDRV_API uint16_t sfp_xcvr_get_vendor_pn_supported_count(void);
SFPDRV_API uint16_t sfp_xcvr_get_pn_supported_count(void);

/* Copy of the index-th entry: 0, 22 (null output or index past the count),
 * 6 when the list ends early. */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);
SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);
SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported_data(uint32_t index, sfp_xcvr_pn_entry *entry);

/* List checks of a module's part numbers: 0, or 22 when the text or the list
 * is missing (the status then stays "Not Checked"). */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                             const char *pid, sfp_xcvr_pid_status *status);
SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                   const char *vendor_pn,
                                                   sfp_xcvr_pid_status *status);
SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported(sfp_port_ctx *port, sfp_xcvr_type type, const char *pn,
                                            sfp_xcvr_pid_status *status);

/* Product ID, then catalogue PN, then vendor PN, until one decides. */
SFPDRV_API sfp_rc sfp_xcvr_get_pid_ext_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                 const char *pid, const char *pn,
                                                 const char *vendor_pn,
                                                 sfp_xcvr_pid_status *status);

/* The memory spaces of a module of the given check status and type; a null
   port counts as one whose type was not defaulted. */
SFPDRV_API sfp_rc sfp_xcvr_which_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                 sfp_xcvr_supported_status status,
                                                 sfp_xcvr_type type, sfp_eeprom_space *space);

/* Runs the supported check and fills the memory spaces from its verdict:
 * 0, 95 for an unknown type, 22 for null arguments, or the check's status. */
SFPDRV_API sfp_rc sfp_xcvr_which_space_supported2(sfp_port_ctx *port, const uint8_t *a0,
                                                  sfp_eeprom_space *space, const char *pid);

/* Zero the parts of a 512-byte image (A0h then A2h) that the module does not
 * provide. The second form runs the supported check first. */
SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom(sfp_port_ctx *port, uint8_t *image,
                                         sfp_xcvr_supported_status status, sfp_xcvr_type type);
SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom2(sfp_port_ctx *port, uint8_t *image, const char *pid);

SFPDRV_API uint32_t sfp_xcvr_check_a0_full_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                           const char *pid);
SFPDRV_API uint32_t sfp_xcvr_check_a2_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                      const char *pid);
/* A0h byte 92 bit 6 as 0 or 1; 0 for a null image. */
SFPDRV_API uint32_t sfp_xcvr_check_digital_monitoring(const uint8_t *a0);

/* "{ half_a0=%d, full_a0=%d, a2=%d, dom=%d }" (or "(null)") into `text`. */
SFPDRV_API char *sfp_eeprom_space_supported_to_string(const sfp_eeprom_space *space, char *text,
                                                      uint32_t size);

/* ---- Multi-rate optics ---------------------------------------------------- */

#define SFP_RATE_CODE_25G 1u
#define SFP_RATE_CODE_10G 2u
#define SFP_RATE_CODE_50G 3u

/* 1 when A0h byte 253 of the module reads 3 (a multi-rate optic), else 0. */
SFPDRV_API uint32_t is_multi_rate_sfp(sfp_port_ctx *port);

/* The base type of the multi-rate family of a detected sub type. */
SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_frm_sub_xcvr_type(sfp_port_ctx *port,
                                                                  uint8_t ext_code,
                                                                  sfp_xcvr_type sub_type);

/* The base type of a 10/25G SR module by its OM3 length (A0h byte 19). */
SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_from_reg(sfp_port_ctx *port);

/* Programs the rate select of a multi-rate module for the port's speed. */
SFPDRV_API sfp_rc sfp_multi_rate_sel_oper_rate(sfp_port_ctx *port);

/* ---- Wavelength, frequency and ITU channels ------------------------------- */

/* Wavelengths in picometres, frequencies in GHz; unsigned integer arithmetic.
 * A zero divisor gives 0. */
SFPDRV_API uint32_t sfp_xcvr_wavelength_setpoint_from_wl(uint32_t wl);
SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_setpoint(uint32_t setpoint);
SFPDRV_API uint32_t sfp_xcvr_waveLength_to_wl(uint32_t wavelength);
SFPDRV_API uint32_t sfp_xcvr_wl_from_wavelength_error(uint32_t error);
SFPDRV_API uint32_t sfp_xcvr_wavelengthTolerance_to_wl(uint32_t tolerance);
SFPDRV_API uint32_t sfp_xcvr_wl_to_freq(uint32_t wl);
SFPDRV_API uint32_t sfp_xcvr_freq_to_wl(uint32_t freq);
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_freq(uint32_t channel);
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_wavelength(uint32_t channel);
SFPDRV_API uint32_t sfp_xcvr_kv_channel_2_optic_pm(uint32_t channel);
SFPDRV_API uint32_t sfp_xcvr_get_chan_from_freq(uint32_t freq, uint32_t first, uint32_t spacing);

/* Tunes a tunable module to `channel` of the 50 GHz numbering from 191.35
 * THz: 0, 22 (bad handle or channel out of the module's range) or the access
 * status. */
SFPDRV_API sfp_rc sfp_port_tsfp_wavechannel_set(sfp_port_ctx *hdl, uint32_t channel);

/* ---- Cable and copper classification -------------------------------------- */

/* 1 in `flag` for a passive or active cable (A0h byte 8 is 4 or 8). */
SFPDRV_API sfp_rc sfp_is_cable(sfp_port_ctx *port, uint32_t *flag);

/* 1 in `flag` for a copper module or cable (connector 0x21 or 0x22, or A0h
 * byte 8 is 4 or 8). 22 for a null port or image. */
SFPDRV_API sfp_rc sfp_is_zando_copper_optics(sfp_port_ctx *port, const uint8_t *a0, uint32_t *flag);

/* The module's product-ID text in the port's image (A0h byte 192 for copper,
 * A2h byte 192 otherwise; "" when undecidable). At most
 * SFP_PID_LEN characters of it belong to the PID; it is not terminated. */
#define SFP_PID_LEN 18u
SFPDRV_API const char *sfp_get_pid(sfp_port_ctx *port);

/* 1 for a 10G DWDM module with a limiting receiver, 0 for a linear one. */
SFPDRV_API uint32_t is_sfp_10g_dwdm_limiting_module(sfp_port_ctx *port);

SFPDRV_END_DECLS

#endif /* SFPDRV_XCVR_H */
