/* EEPROM decode and reports: value formatting and unit conversion, the
 * decoded-field tables of the identification and diagnostic memory, the
 * identification checksums, the EEPROM text report and the snapshots. */
#ifndef SFPDRV_DECODE_H
#define SFPDRV_DECODE_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Decoded fields -------------------------------------------------------- */

#define SFP_FIELD_NAME_LEN 32u   /* characters of a field name */
#define SFP_FIELD_VALUE_LEN 160u /* characters of a value text */
#define SFP_FIELD_RAW_LEN 64u    /* characters of the raw hex text */

/* One named field of a decoded memory area; every text is terminated. */
typedef struct sfp_decoded_field {
  char name[SFP_FIELD_NAME_LEN + 1];
  char value[SFP_FIELD_VALUE_LEN + 1];
  char raw[SFP_FIELD_RAW_LEN + 1];
} sfp_decoded_field;

#define SFP_ID_FIELDS 34u
#define SFP_STATUS_FIELDS 43u
#define SFP_NO_DDM_FIELDS 8u
#define SFP_USER_EEPROM_FIELDS 26u

/* The identification page (A0h bytes 0 to 127), decoded. */
typedef struct sfp_id_field_table {
  sfp_decoded_field field[SFP_ID_FIELDS];
} sfp_id_field_table;

/* The diagnostic page (A2h bytes 0 to 127), decoded. */
typedef struct sfp_status_field_table {
  sfp_decoded_field field[SFP_STATUS_FIELDS];
} sfp_status_field_table;

/* The maker identification area of a module without diagnostics. */
typedef struct sfp_no_ddm_field_table {
  sfp_decoded_field field[SFP_NO_DDM_FIELDS];
} sfp_no_ddm_field_table;

/* The maker identification area in the A2h upper half (user EEPROM). */
typedef struct sfp_user_eeprom_field_table {
  sfp_decoded_field field[SFP_USER_EEPROM_FIELDS];
} sfp_user_eeprom_field_table;

/* ---- Value formatting and unit conversion -------------------------------- */

/* A bit-decode row: applies to a value when value & mask == match. */
typedef struct xcvr_bit_decode_entry {
  uint32_t match;
  uint32_t mask;
  const char *label;
} xcvr_bit_decode_entry;

/* Every text function appends its piece (at most 79 characters) to the text
 * in `text`, never letting text and terminator exceed `size` bytes. */
SFPDRV_API void xcvr_oui_to_string(const uint8_t *oui, char *text, int32_t size);
SFPDRV_API void xcvr_decode_uint8_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                            const xcvr_bit_decode_entry *table);
SFPDRV_API void xcvr_decode_uint16_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                             const xcvr_bit_decode_entry *table);
SFPDRV_API void xcvr_decode_uint32_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                             const xcvr_bit_decode_entry *table);
SFPDRV_API void xcvr_id_temp_to_string(uint32_t value, char *text, int32_t size);
/* Signed and unsigned 8.8 fixed point; 1 when the value is exactly 0x0100. */
SFPDRV_API uint32_t xcvr_id_signed_fixed_point16_to_float(uint32_t value, float *out);
SFPDRV_API void xcvr_id_signed_fixed_point16_to_string(uint32_t value, char *text, int32_t size);
SFPDRV_API uint32_t xcvr_id_unsigned_fixed_point16_to_float(uint32_t value, float *out);
SFPDRV_API void xcvr_id_unsigned_fixed_point16_to_string(uint32_t value, char *text, int32_t size);
SFPDRV_API void xcvr_curr_bias_uint16_to_string(uint32_t value, char *text, int32_t size);
SFPDRV_API void xcvr_curr_bias_uint16_to_value(uint32_t value, float *milliamps);
SFPDRV_API void xcvr_voltage_to_string(uint32_t value, char *text, int32_t size);
SFPDRV_API void xcvr_voltage_to_value(uint32_t value, float *volts);
SFPDRV_API void xcvr_id_power_to_string(uint32_t value, char *text, int32_t size);
SFPDRV_API void xcvr_pwr_uint16_to_dbm_string(uint32_t value, char *text, int32_t size);
SFPDRV_API void xcvr_pwr_uint16_to_dbm_value(uint32_t value, float *dbm);

/* Integer converters for environment monitoring: microwatts, whole
 * milliamperes, millivolts, tenths of a degree Celsius. */
SFPDRV_API uint32_t sfp_convert_pwr_to_envmon(uint32_t value);
SFPDRV_API uint32_t sfp_convert_bias_to_envmon(uint32_t value);
SFPDRV_API uint32_t sfp_convert_vcc_to_envmon(uint32_t value);
SFPDRV_API int32_t sfp_convert_temp_to_envmon(uint32_t value);

/* Names of the common strings, index 0 to 6 ("Unknown" above). */
SFPDRV_API const char *sfp_eeprom_get_cmn_str_name(uint32_t index);

/* Copies a blank-padded text field of `length` bytes into `dest` (room for
 * length + 1), cut at its first blank; empty when its first byte is not
 * printable. 22 for missing pointers or a zero length. */
SFPDRV_API sfp_rc sfp_eeprom_get_n_trim_str(char *dest, const uint8_t *source, uint16_t length);

/* ---- Identification page decode ----------------------------------------- */

/* Decodes A0h bytes 0 to 127 into `table`; `pid` names the module for the
 * type lookup. 22 for missing pointers. */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_id(sfp_port_ctx *port, const uint8_t *id,
                                         sfp_id_field_table *table, const char *pid);

/* ---- Diagnostic monitoring decode ----------------------------------------- */

/* Live diagnostics, thresholds and flags (55 slots of 32 bits). Powers in
 * dBm, bias in mA, supply in V, temperatures in whole degrees Celsius. */
typedef struct sfp_hw_status_rec {
  float rx_power;       /* 0 */
  float tx_power;       /* 1 */
  float bias;           /* 2 */
  uint32_t tx_disabled; /* 3: transmitter soft-disabled */
  float vcc;            /* 4 */
  float temperature;    /* 5 */
  float wavelength;     /* 6: nm */
  uint8_t channel;      /* 7: tunable channel number */
  uint8_t channel_pad[3];
  float rx_power_alarm_high;    /* 8 */
  float rx_power_alarm_low;     /* 9 */
  float tx_power_alarm_high;    /* 10 */
  float tx_power_alarm_low;     /* 11 */
  float bias_alarm_high;        /* 12 */
  float bias_alarm_low;         /* 13 */
  float vcc_alarm_high;         /* 14 */
  float vcc_alarm_low;          /* 15 */
  float temperature_alarm_high; /* 16 */
  float temperature_alarm_low;  /* 17 */
  float rx_power_warn_high;     /* 18 */
  float rx_power_warn_low;      /* 19 */
  float tx_power_warn_high;     /* 20 */
  float tx_power_warn_low;      /* 21 */
  float bias_warn_high;         /* 22 */
  float bias_warn_low;          /* 23 */
  float vcc_warn_high;          /* 24 */
  float vcc_warn_low;           /* 25 */
  float temperature_warn_high;  /* 26 */
  float temperature_warn_low;   /* 27 */
  uint32_t los;                 /* 28: loss of signal */
  uint32_t reserved29;          /* 29: always 0 */
  uint32_t tx_fault;            /* 30 */
  uint32_t reserved31;          /* 31: always 0 */
  uint32_t reserved32;          /* 32: always 0 */
  /* Flags 33 to 52, each group: high alarm, low alarm, high warning, low
   * warning. */
  uint32_t tx_power_flags[4];    /* 33 to 36 */
  uint32_t rx_power_flags[4];    /* 37 to 40 */
  uint32_t bias_flags[4];        /* 41 to 44 */
  uint32_t temperature_flags[4]; /* 45 to 48 */
  uint32_t vcc_flags[4];         /* 49 to 52 */
  uint8_t filled;                /* 53: the snapshot was taken */
  uint8_t filled_pad[3];
  uint32_t no_diagnostics; /* 54: a module type without diagnostics */
} sfp_hw_status_rec;

/* Indexes of a flag group. */
#define SFP_FLAG_ALARM_HIGH 0u
#define SFP_FLAG_ALARM_LOW 1u
#define SFP_FLAG_WARN_HIGH 2u
#define SFP_FLAG_WARN_LOW 3u

/* Decodes A2h bytes 0 to 127 into the record, externally calibrated when
 * `ext_cal` is nonzero. 22 for missing pointers, and 22 when a high and a low
 * flag of one quantity are both set (the record is then partly filled). */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status(sfp_port_ctx *port, const uint8_t *diag,
                                             sfp_hw_status_rec *rec, uint32_t ext_cal);

/* Decodes A2h bytes 0 to 127 into a cleared text table. */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status_str(const uint8_t *diag, sfp_status_field_table *table,
                                                 uint32_t ext_cal);

/* Bits of the monitoring-type byte (A0h 92): external calibration (0x10),
 * internal calibration (0x20), digital (0x40), analog (0x80). */
SFPDRV_API uint32_t sfp_id_diagMonType_ext_cal(uint8_t type);
SFPDRV_API uint32_t sfp_id_diagMonType_int_cal(uint8_t type);
SFPDRV_API uint32_t sfp_id_diagMonType_digital_mon(uint8_t type);
SFPDRV_API uint32_t sfp_id_diagMonType_analog_mon(uint8_t type);

/* External calibration of one raw value with a host-order slope (unsigned
 * 8.8) and offset (signed). 22 when `out` is missing. */
SFPDRV_API sfp_rc sfp_get_ext_cal_temp(uint16_t raw, uint16_t *out, uint16_t slope, int16_t offset);
SFPDRV_API sfp_rc sfp_get_ext_cal_dom(uint16_t raw, uint16_t *out, uint16_t slope, int16_t offset);
/* Receive power by the polynomial R4 x^4 + ... + R0; the coefficients point
 * at their big-endian single-precision bytes in the page. R4 and R0 must be
 * given; a missing R3, R2 or R1 leaves its term out. */
SFPDRV_API sfp_rc sfp_get_ext_cal_rx_power(uint16_t raw, uint16_t *out, const uint8_t *r4,
                                           const uint8_t *r3, const uint8_t *r2, const uint8_t *r1,
                                           const uint8_t *r0);

/* Seven "Name: Set/Clear" lines of the status/control word (A2h byte 110
 * in the high byte). */
SFPDRV_API void sfp_id_operationStatusControl_to_long_string(uint16_t word, char *text,
                                                             int32_t size);

/* ---- Identification data checksums ---------------------------------------- */

typedef uint32_t sfp_compliance_result;
#define SFP_COMPLIANCE_OK 0u
#define SFP_COMPLIANCE_NO_DATA 1u
#define SFP_COMPLIANCE_NOT_CHECKED 2u
#define SFP_COMPLIANCE_BASE_CHECKSUM 3u
#define SFP_COMPLIANCE_EXT_CHECKSUM 4u
#define SFP_COMPLIANCE_VENDOR_CRC 5u

SFPDRV_API sfp_rc sfp_xcvr_check_compliance_base_chksum(const uint8_t *id, uint8_t *stored,
                                                        uint8_t *computed);
SFPDRV_API sfp_rc sfp_xcvr_check_compliance_ext_chksum(const uint8_t *id, uint8_t *stored,
                                                       uint8_t *computed);
SFPDRV_API sfp_rc sfp_xcvr_check_compliance_vendor_chksum(const uint8_t *id, uint32_t *stored,
                                                          uint32_t *computed);
/* Always 0; the verdict is in `result`. */
SFPDRV_API sfp_rc sfp_xcvr_check_compliance(const uint8_t *id, sfp_compliance_result *result);

/* ---- EEPROM text report ----------------------------------------------------- */

/* Largest report size. */
#define SFP_EEPROM_REPORT_SIZE 9000u

/* The full report of the port's module into `text` of `size` bytes (at most
 * SFP_EEPROM_REPORT_SIZE): 0, 12, -1 (does not fit) or a decode's status.
 * `text` is written only on success. */
SFPDRV_API sfp_rc sfp_drv_sfp_get_eeprom_str(sfp_port_ctx *port, char *text, uint32_t size);

/* Decoders of the maker identification area (128 bytes). */
SFPDRV_API sfp_rc sfp_xcvr_decode_a0_no_ddm(const uint8_t *area, sfp_no_ddm_field_table *table);
SFPDRV_API sfp_rc sfp_xcvr_decode_user_eeprom(const uint8_t *area,
                                              sfp_user_eeprom_field_table *table);
/* Copies the tunable values of A2h table 2 (its upper half, 128 bytes) into
 * the maker area buffer and decodes them into the table. */
SFPDRV_API sfp_rc sfp_xcvr_decode_a2_02_eeprom(const uint8_t *page02, uint8_t *area,
                                               sfp_user_eeprom_field_table *table);

/* Hex dump of up to 128 bytes of `image` from `start`, 16 a line. */
SFPDRV_API sfp_rc plug_eeprom_page_to_ascii(const uint8_t *image, uint32_t start, char *text,
                                            uint32_t size, uint32_t count);
SFPDRV_API sfp_rc sfp_eeprom_page_to_ascii(const uint8_t *image, uint32_t start, char *text,
                                           uint32_t size, uint32_t count);

/* Common string `index` (0 to 6) of a 512-byte image (A0h then A2h). */
SFPDRV_API sfp_rc sfp_xcvr_get_string(const uint8_t *image, uint32_t index, char *text,
                                      uint32_t size);

/* ---- Snapshots -------------------------------------------------------------- */

/* The identity of a port's module; texts are terminated. */
typedef struct sfp_hw_info_rec {
  char vendor_name[17];
  char vendor_rev[5];
  char version_id[5];
  char pid[19];
  char clei[11];
  sfp_xcvr_type xcvr_type;
  char type_name[41];
  char vendor_pn[17];
  char vendor_sn[17];
  uint8_t vendor_oui[3];
  uint8_t vendor_rev_raw[4];
  char date_code[9];
  sfp_compliance_result compliance;
} sfp_hw_info_rec;

/* Live diagnostics of the port's module. */
SFPDRV_API sfp_rc sfp_port_hw_status(sfp_port_ctx *hdl, sfp_hw_status_rec *rec);
/* Identity of the port's module; the caller passes a cleared record. */
SFPDRV_API sfp_rc sfp_port_hw_info(sfp_port_ctx *hdl, sfp_hw_info_rec *rec);
/* Does nothing; returns 0. */
SFPDRV_API sfp_rc sfp_port_dom_info(sfp_port_ctx *hdl, sfp_hw_status_rec *rec);
/* Hex dump of the diagnostic pages into `text`; `length` gets the characters
 * written. */
SFPDRV_API sfp_rc sfp_port_get_debug_info(sfp_port_ctx *hdl, char *text, uint32_t size,
                                          uint32_t *length);
/* The EEPROM report in a newly allocated text of SFP_EEPROM_REPORT_SIZE
 * bytes, which the caller frees with free(); `length` includes the NUL. */
SFPDRV_API sfp_rc sfp_port_phy_reg_decode(sfp_port_ctx *hdl, char **text, uint32_t *length);

SFPDRV_END_DECLS

#endif /* SFPDRV_DECODE_H */
