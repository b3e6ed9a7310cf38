/**
 * @file
 * @brief EEPROM decode and reports: value formatting and unit conversion,
 * the decoded-field tables of the identification and diagnostic memory, the
 * identification checksums, the EEPROM text report and the snapshots.
 *
 * Text goes into the caller's buffers with an explicit size, except for the
 * two reports that the library allocates (sfp_port_phy_reg_decode() here,
 * sfp_port_read_reg() in access.h), which the caller frees with free().
 *
 * Threading: the decoders and formatters work only on what they are given
 * and may run on any thread. The port snapshots and reports take no lock:
 * the caller serialises them with the other operations on the same port;
 * different ports may run at the same time. The status snapshot
 * (sfp_port_hw_status()) may block for 100 or 200 ms, as it says.
 */
#ifndef SFPDRV_DECODE_H
#define SFPDRV_DECODE_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Decoded fields -------------------------------------------------------- */

#define SFP_FIELD_NAME_LEN 32u   /**< Characters of a field name. */
#define SFP_FIELD_VALUE_LEN 160u /**< Characters of a value text. */
#define SFP_FIELD_RAW_LEN 64u    /**< Characters of the raw hex text. */

/** One named field of a decoded memory area; every text is terminated. */
typedef struct sfp_decoded_field {
  char name[SFP_FIELD_NAME_LEN + 1];   /**< Field name, e.g. "vendorPN". */
  char value[SFP_FIELD_VALUE_LEN + 1]; /**< The decoded value as text. */
  char raw[SFP_FIELD_RAW_LEN + 1];     /**< The field's bytes as hex text. */
} sfp_decoded_field;

#define SFP_ID_FIELDS 34u          /**< Entries of #sfp_id_field_table. */
#define SFP_STATUS_FIELDS 43u      /**< Entries of #sfp_status_field_table. */
#define SFP_NO_DDM_FIELDS 8u       /**< Entries of #sfp_no_ddm_field_table. */
#define SFP_USER_EEPROM_FIELDS 26u /**< Entries of #sfp_user_eeprom_field_table. */

/** The identification page (A0h bytes 0 to 127), decoded. */
typedef struct sfp_id_field_table {
  sfp_decoded_field field[SFP_ID_FIELDS]; /**< The fields, in page order. */
} sfp_id_field_table;

/** The diagnostic page (A2h bytes 0 to 127), decoded. */
typedef struct sfp_status_field_table {
  sfp_decoded_field field[SFP_STATUS_FIELDS]; /**< The fields, in page order. */
} sfp_status_field_table;

/** The maker identification area of a module without diagnostics. */
typedef struct sfp_no_ddm_field_table {
  sfp_decoded_field field[SFP_NO_DDM_FIELDS]; /**< The fields, in area order. */
} sfp_no_ddm_field_table;

/** The maker identification area in the A2h upper half (user EEPROM). */
typedef struct sfp_user_eeprom_field_table {
  sfp_decoded_field field[SFP_USER_EEPROM_FIELDS]; /**< The fields, in area order. */
} sfp_user_eeprom_field_table;

/* ---- Value formatting and unit conversion -------------------------------- */

/** A bit-decode row: applies to a value when (value & mask) == match. */
typedef struct xcvr_bit_decode_entry {
  uint32_t match;    /**< The value the masked bits must have. */
  uint32_t mask;     /**< The bits the row tests. */
  const char *label; /**< The text appended when the row applies. */
} xcvr_bit_decode_entry;

/**
 * Appends an IEEE company identifier as "%02x.%02x.%02x".
 *
 * Like every text function of this header, it appends its piece (at most 79
 * characters) to the terminated text in @p text, never letting text and
 * terminator exceed @p size bytes.
 *
 * @param oui  The three bytes, in order.
 * @param text The caller's terminated text.
 * @param size Size of @p text in bytes.
 */
SFPDRV_API void xcvr_oui_to_string(const uint8_t *oui, char *text, int32_t size);

/**
 * Appends "label, " for every row of a bit-decode table that applies to the
 * low 8 bits of a value, in table order.
 *
 * @param value The value (masked to 8 bits).
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 * @param rows  Number of rows of @p table.
 * @param table The bit-decode table.
 */
SFPDRV_API void xcvr_decode_uint8_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                            const xcvr_bit_decode_entry *table);

/**
 * As xcvr_decode_uint8_to_string() for the low 16 bits of a value.
 *
 * @param value The value (masked to 16 bits).
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 * @param rows  Number of rows of @p table.
 * @param table The bit-decode table.
 */
SFPDRV_API void xcvr_decode_uint16_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                             const xcvr_bit_decode_entry *table);

/**
 * As xcvr_decode_uint8_to_string() for the whole 32-bit value.
 *
 * @param value The value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 * @param rows  Number of rows of @p table.
 * @param table The bit-decode table.
 */
SFPDRV_API void xcvr_decode_uint32_to_string(uint32_t value, char *text, int32_t size, int32_t rows,
                                             const xcvr_bit_decode_entry *table);

/**
 * Appends a temperature in 1/256 degree steps as "25.500 C".
 *
 * @param value The raw 16-bit temperature (two's complement).
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_id_temp_to_string(uint32_t value, char *text, int32_t size);

/**
 * A signed 8.8 fixed-point value as a number.
 *
 * @param value The raw 16-bit value.
 * @param out   Receives the number.
 * @return 1 when the value is exactly 0x0100 (1.0), else 0.
 */
SFPDRV_API uint32_t xcvr_id_signed_fixed_point16_to_float(uint32_t value, float *out);

/**
 * Appends a signed 8.8 fixed-point value as "%0.3f".
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_id_signed_fixed_point16_to_string(uint32_t value, char *text, int32_t size);

/**
 * An unsigned 8.8 fixed-point value as a number.
 *
 * @param value The raw 16-bit value.
 * @param out   Receives the number.
 * @return 1 when the value is exactly 0x0100 (1.0), else 0.
 */
SFPDRV_API uint32_t xcvr_id_unsigned_fixed_point16_to_float(uint32_t value, float *out);

/**
 * Appends an unsigned 8.8 fixed-point value as "%0.3f".
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_id_unsigned_fixed_point16_to_string(uint32_t value, char *text, int32_t size);

/**
 * Appends a bias current in 2 microampere steps as "%3.3f mAmps".
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_curr_bias_uint16_to_string(uint32_t value, char *text, int32_t size);

/**
 * A bias current in 2 microampere steps, in milliamperes.
 *
 * @param value     The raw 16-bit value.
 * @param milliamps Receives the current.
 */
SFPDRV_API void xcvr_curr_bias_uint16_to_value(uint32_t value, float *milliamps);

/**
 * Appends a supply voltage in 100 microvolt steps as "%1.3f Volt".
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_voltage_to_string(uint32_t value, char *text, int32_t size);

/**
 * A supply voltage in 100 microvolt steps, in volts.
 *
 * @param value The raw 16-bit value.
 * @param volts Receives the voltage.
 */
SFPDRV_API void xcvr_voltage_to_value(uint32_t value, float *volts);

/**
 * Appends an optical power in 0.1 microwatt steps as "%u uWatt".
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_id_power_to_string(uint32_t value, char *text, int32_t size);

/**
 * Appends an optical power in 0.1 microwatt steps in dBm.
 *
 * @param value The raw 16-bit value.
 * @param text  The caller's terminated text.
 * @param size  Size of @p text in bytes.
 */
SFPDRV_API void xcvr_pwr_uint16_to_dbm_string(uint32_t value, char *text, int32_t size);

/**
 * An optical power in 0.1 microwatt steps, in dBm.
 *
 * @param value The raw 16-bit value.
 * @param dbm   Receives the power.
 */
SFPDRV_API void xcvr_pwr_uint16_to_dbm_value(uint32_t value, float *dbm);

/**
 * Optical power for environment monitoring.
 *
 * @param value Raw power in 0.1 microwatt steps.
 * @return Microwatts (integer division).
 */
SFPDRV_API uint32_t sfp_convert_pwr_to_envmon(uint32_t value);

/**
 * Bias current for environment monitoring.
 *
 * @param value Raw current in 2 microampere steps.
 * @return Whole milliamperes (integer division).
 */
SFPDRV_API uint32_t sfp_convert_bias_to_envmon(uint32_t value);

/**
 * Supply voltage for environment monitoring.
 *
 * @param value Raw voltage in 100 microvolt steps.
 * @return Millivolts (integer division).
 */
SFPDRV_API uint32_t sfp_convert_vcc_to_envmon(uint32_t value);

/**
 * Temperature for environment monitoring.
 *
 * @param value Raw temperature in 1/256 degree steps (two's complement).
 * @return Tenths of a degree Celsius (0xFF80 gives -5).
 */
SFPDRV_API int32_t sfp_convert_temp_to_envmon(uint32_t value);

/**
 * Name of a common string (see sfp_xcvr_get_string()).
 *
 * @param index 0 to 6.
 * @return A constant text; "Unknown" above 6.
 */
SFPDRV_API const char *sfp_eeprom_get_cmn_str_name(uint32_t index);

/**
 * Copies a blank-padded text field, cut at its first blank; empty when its
 * first byte is not printable.
 *
 * @param dest   Receives the terminated text; room for @p length + 1 bytes.
 * @param source The field's bytes.
 * @param length The field's width.
 * @return 0; 22 for a missing pointer or a zero length.
 */
SFPDRV_API sfp_rc sfp_eeprom_get_n_trim_str(char *dest, const uint8_t *source, uint16_t length);

/* ---- Identification page decode ----------------------------------------- */

/**
 * Decodes A0h bytes 0 to 127 into a table of named fields.
 *
 * @param port  The port whose flags the type lookup consults, or null.
 * @param id    A0h bytes 0 to 127 (the vendor area up to 255 when present).
 * @param table Receives the fields.
 * @param pid   The module's product ID for the type lookup, or null.
 * @return 0; 22 for a missing image or table (nothing written).
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_id(sfp_port_ctx *port, const uint8_t *id,
                                         sfp_id_field_table *table, const char *pid);

/* ---- Diagnostic monitoring decode ----------------------------------------- */

/**
 * Live diagnostics, thresholds and flags of a module (55 slots of 32 bits,
 * numbered below). Powers in dBm, bias in mA, supply in V, temperatures in
 * degrees Celsius (thresholds in whole degrees). Flags are 0 or 1.
 */
typedef struct sfp_hw_status_rec {
  float rx_power;               /**< Slot 0: receive power, dBm. */
  float tx_power;               /**< Slot 1: transmit power, dBm. */
  float bias;                   /**< Slot 2: laser bias current, mA. */
  uint32_t tx_disabled;         /**< Slot 3: transmitter soft-disabled (A2h byte 110 bit 6). */
  float vcc;                    /**< Slot 4: supply voltage, V. */
  float temperature;            /**< Slot 5: module temperature, degrees Celsius. */
  float wavelength;             /**< Slot 6: laser wavelength, nm (a tunable module's channel's). */
  uint8_t channel;              /**< Slot 7: a tunable module's channel (50 GHz grid). */
  uint8_t channel_pad[3];       /**< Padding of slot 7; 0. */
  float rx_power_alarm_high;    /**< Slot 8: receive power high alarm threshold, dBm. */
  float rx_power_alarm_low;     /**< Slot 9: receive power low alarm threshold, dBm. */
  float tx_power_alarm_high;    /**< Slot 10: transmit power high alarm threshold, dBm. */
  float tx_power_alarm_low;     /**< Slot 11: transmit power low alarm threshold, dBm. */
  float bias_alarm_high;        /**< Slot 12: bias high alarm threshold, mA. */
  float bias_alarm_low;         /**< Slot 13: bias low alarm threshold, mA. */
  float vcc_alarm_high;         /**< Slot 14: supply high alarm threshold, V. */
  float vcc_alarm_low;          /**< Slot 15: supply low alarm threshold, V. */
  float temperature_alarm_high; /**< Slot 16: temperature high alarm threshold. */
  float temperature_alarm_low;  /**< Slot 17: temperature low alarm threshold. */
  float rx_power_warn_high;     /**< Slot 18: receive power high warning threshold, dBm. */
  float rx_power_warn_low;      /**< Slot 19: receive power low warning threshold, dBm. */
  float tx_power_warn_high;     /**< Slot 20: transmit power high warning threshold, dBm. */
  float tx_power_warn_low;      /**< Slot 21: transmit power low warning threshold, dBm. */
  float bias_warn_high;         /**< Slot 22: bias high warning threshold, mA. */
  float bias_warn_low;          /**< Slot 23: bias low warning threshold, mA. */
  float vcc_warn_high;          /**< Slot 24: supply high warning threshold, V. */
  float vcc_warn_low;           /**< Slot 25: supply low warning threshold, V. */
  float temperature_warn_high;  /**< Slot 26: temperature high warning threshold. */
  float temperature_warn_low;   /**< Slot 27: temperature low warning threshold. */
  uint32_t los;                 /**< Slot 28: loss of signal. */
  uint32_t reserved29;          /**< Slot 29: always 0. */
  uint32_t tx_fault;            /**< Slot 30: transmitter fault. */
  uint32_t reserved31;          /**< Slot 31: always 0. */
  uint32_t reserved32;          /**< Slot 32: always 0. */
  /** Slots 33 to 36: transmit power flags, indexed by #SFP_FLAG_ALARM_HIGH,
   * #SFP_FLAG_ALARM_LOW, #SFP_FLAG_WARN_HIGH, #SFP_FLAG_WARN_LOW. */
  uint32_t tx_power_flags[4];
  uint32_t rx_power_flags[4];    /**< Slots 37 to 40: receive power flags, indexed likewise. */
  uint32_t bias_flags[4];        /**< Slots 41 to 44: bias flags. */
  uint32_t temperature_flags[4]; /**< Slots 45 to 48: temperature flags. */
  uint32_t vcc_flags[4];         /**< Slots 49 to 52: supply flags. */
  uint8_t filled;                /**< Slot 53: the snapshot was taken. */
  uint8_t filled_pad[3];         /**< Padding of slot 53; 0. */
  uint32_t no_diagnostics;       /**< Slot 54: a copper or loopback type without diagnostics. */
} sfp_hw_status_rec;

#define SFP_FLAG_ALARM_HIGH 0u /**< Index of the high alarm in a flag group. */
#define SFP_FLAG_ALARM_LOW 1u  /**< Index of the low alarm in a flag group. */
#define SFP_FLAG_WARN_HIGH 2u  /**< Index of the high warning in a flag group. */
#define SFP_FLAG_WARN_LOW 3u   /**< Index of the low warning in a flag group. */

/**
 * Decodes A2h bytes 0 to 127 into a status record (the live values,
 * thresholds and flags; slots 3, 6, 7, 53 and 54 are the snapshot's).
 *
 * @param port    The port whose type counts, or null.
 * @param diag    A2h bytes 0 to 127; not modified.
 * @param rec     Receives the values.
 * @param ext_cal Nonzero: the module is externally calibrated (A0h byte 92
 *                bit 4) and @p diag holds its calibration constants.
 * @return 0; 22 for a missing pointer, and 22 when a high and a low flag of
 *         one quantity are both set (the record is then partly filled).
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status(sfp_port_ctx *port, const uint8_t *diag,
                                             sfp_hw_status_rec *rec, uint32_t ext_cal);

/**
 * Decodes A2h bytes 0 to 127 into a table of named fields. The table is not
 * cleared first: pass a cleared one.
 *
 * @param diag    A2h bytes 0 to 127.
 * @param table   Receives the fields.
 * @param ext_cal Nonzero: externally calibrated.
 * @return 0; 22 for a missing pointer.
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_sfp_status_str(const uint8_t *diag, sfp_status_field_table *table,
                                                 uint32_t ext_cal);

/**
 * External calibration bit (0x10) of the monitoring-type byte.
 *
 * @param type A0h byte 92.
 * @return 1 when set, else 0.
 */
SFPDRV_API uint32_t sfp_id_diagMonType_ext_cal(uint8_t type);

/**
 * Internal calibration bit (0x20) of the monitoring-type byte.
 *
 * @param type A0h byte 92.
 * @return 1 when set, else 0.
 */
SFPDRV_API uint32_t sfp_id_diagMonType_int_cal(uint8_t type);

/**
 * Digital monitoring bit (0x40) of the monitoring-type byte.
 *
 * @param type A0h byte 92.
 * @return 1 when set, else 0.
 */
SFPDRV_API uint32_t sfp_id_diagMonType_digital_mon(uint8_t type);

/**
 * Analog monitoring bit (0x80) of the monitoring-type byte.
 *
 * @param type A0h byte 92.
 * @return 1 when set, else 0.
 */
SFPDRV_API uint32_t sfp_id_diagMonType_analog_mon(uint8_t type);

/**
 * External calibration of a raw temperature.
 *
 * @param raw    The raw value.
 * @param out    Receives the calibrated value.
 * @param slope  Slope, unsigned 8.8, in host order.
 * @param offset Offset, signed, in host order.
 * @return 0; 22 when @p out is missing.
 */
SFPDRV_API sfp_rc sfp_get_ext_cal_temp(uint16_t raw, uint16_t *out, uint16_t slope, int16_t offset);

/**
 * External calibration of a raw supply, bias or transmit power value.
 *
 * @param raw    The raw value.
 * @param out    Receives the calibrated value.
 * @param slope  Slope, unsigned 8.8, in host order.
 * @param offset Offset, signed, in host order.
 * @return 0; 22 when @p out is missing.
 */
SFPDRV_API sfp_rc sfp_get_ext_cal_dom(uint16_t raw, uint16_t *out, uint16_t slope, int16_t offset);

/**
 * External calibration of a raw receive power by the polynomial
 * R4 x^4 + R3 x^3 + R2 x^2 + R1 x + R0. Each coefficient points at its
 * big-endian single-precision bytes in the page.
 *
 * @param raw The raw value.
 * @param out Receives the calibrated value.
 * @param r4  Coefficient R4; required.
 * @param r3  Coefficient R3, or null to leave its term out.
 * @param r2  Coefficient R2, or null to leave its term out.
 * @param r1  Coefficient R1, or null to leave its term out.
 * @param r0  Coefficient R0; required.
 * @return 0; 22 when @p out is missing.
 */
SFPDRV_API sfp_rc sfp_get_ext_cal_rx_power(uint16_t raw, uint16_t *out, const uint8_t *r4,
                                           const uint8_t *r3, const uint8_t *r2, const uint8_t *r1,
                                           const uint8_t *r0);

/**
 * Appends seven "Name: Set/Clear" lines describing the status/control word.
 *
 * @param word The word, A2h byte 110 in the high byte.
 * @param text The caller's terminated text.
 * @param size Size of @p text in bytes.
 */
SFPDRV_API void sfp_id_operationStatusControl_to_long_string(uint16_t word, char *text,
                                                             int32_t size);

/* ---- Identification data checksums ---------------------------------------- */

/** Verdict of the identification data checksums. */
typedef uint32_t sfp_compliance_result;
#define SFP_COMPLIANCE_OK 0u          /**< Every checksum matches. */
#define SFP_COMPLIANCE_NO_DATA 1u     /**< No identification data. */
#define SFP_COMPLIANCE_NOT_CHECKED 2u /**< Not checked. */
#define SFP_COMPLIANCE_BASE_CHECKSUM                                                               \
  3u /**< The base checksum (bytes 0 to 62 against 63) differs. */
#define SFP_COMPLIANCE_EXT_CHECKSUM                                                                \
  4u                                 /**< The extended checksum (64 to 94 against 95) differs.     \
                                      */
#define SFP_COMPLIANCE_VENDOR_CRC 5u /**< The vendor area's CRC differs. */

/**
 * The base checksum of A0h: the sum of bytes 0 to 62 modulo 256 against
 * byte 63.
 *
 * @param id       A0h bytes 0 to 127.
 * @param stored   Receives byte 63.
 * @param computed Receives the sum.
 * @return 0 when they are equal, else #SFP_COMPLIANCE_BASE_CHECKSUM (3).
 */
SFPDRV_API sfp_rc sfp_xcvr_check_compliance_base_chksum(const uint8_t *id, uint8_t *stored,
                                                        uint8_t *computed);

/**
 * The extended checksum of A0h: the sum of bytes 64 to 94 modulo 256 against
 * byte 95.
 *
 * @param id       A0h bytes 0 to 127.
 * @param stored   Receives byte 95.
 * @param computed Receives the sum.
 * @return 0 when they are equal, else #SFP_COMPLIANCE_EXT_CHECKSUM (4).
 */
SFPDRV_API sfp_rc sfp_xcvr_check_compliance_ext_chksum(const uint8_t *id, uint8_t *stored,
                                                       uint8_t *computed);

/**
 * The CRC-32 (as zlib computes it) of A0h bytes 96 to 123 against bytes
 * 124 to 127 (least significant byte first).
 *
 * @param id       A0h bytes 0 to 127.
 * @param stored   Receives the stored value.
 * @param computed Receives the computed CRC.
 * @return 0 when they are equal, else #SFP_COMPLIANCE_VENDOR_CRC (5).
 */
SFPDRV_API sfp_rc sfp_xcvr_check_compliance_vendor_chksum(const uint8_t *id, uint32_t *stored,
                                                          uint32_t *computed);

/**
 * All identification checksums, in order, until one fails.
 *
 * @param id     A0h bytes 0 to 127, or null.
 * @param result Receives the verdict (#SFP_COMPLIANCE_NO_DATA for a null image).
 * @return Always 0; the verdict is in @p result.
 */
SFPDRV_API sfp_rc sfp_xcvr_check_compliance(const uint8_t *id, sfp_compliance_result *result);

/* ---- EEPROM text report ----------------------------------------------------- */

/** Largest report size, and the size of the report text that
 * sfp_port_phy_reg_decode() allocates. */
#define SFP_EEPROM_REPORT_SIZE 9000u

/**
 * The full EEPROM text report of the port's module (identification fields,
 * a hex dump of A0h, the diagnostics or the maker fields, the maker fields
 * of the A2h upper half), made from the port's cached image; no module
 * access, no wait. Preparing it zeroes the parts of the cached image that
 * the module does not provide.
 *
 * @param port The port (no handle check).
 * @param text The caller's buffer; written only on success, with the whole
 *             terminated report.
 * @param size Size of @p text, at most #SFP_EEPROM_REPORT_SIZE.
 * @return 0; #SFP_RC_MODULE_COND (-1) when the report does not fit; 12 when a
 *         working area cannot be allocated; 22 for a null port or text or a
 *         size above #SFP_EEPROM_REPORT_SIZE; a decode's status.
 */
SFPDRV_API sfp_rc sfp_drv_sfp_get_eeprom_str(sfp_port_ctx *port, char *text, uint32_t size);

/**
 * Decodes the maker identification area of a module without diagnostics
 * (the A0h upper half). The table is cleared first.
 *
 * @param area  The area's 128 bytes.
 * @param table Receives the fields.
 * @return 0; 22 for a missing pointer.
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_a0_no_ddm(const uint8_t *area, sfp_no_ddm_field_table *table);

/**
 * Decodes the maker identification area in the A2h upper half (user
 * EEPROM). The table is cleared first.
 *
 * @param area  The area's 128 bytes.
 * @param table Receives the fields.
 * @return 0; 22 for a missing pointer.
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_user_eeprom(const uint8_t *area,
                                              sfp_user_eeprom_field_table *table);

/**
 * Copies the tunable values of A2h table 2 into a maker area buffer and
 * decodes them into the table's tunable entries.
 *
 * @param page02 A2h table 2, bytes 128 to 255.
 * @param area   A 128-byte maker area buffer, changed in place.
 * @param table  Receives the tunable fields.
 * @return 0; 22 for a missing pointer.
 */
SFPDRV_API sfp_rc sfp_xcvr_decode_a2_02_eeprom(const uint8_t *page02, uint8_t *area,
                                               sfp_user_eeprom_field_table *table);

/**
 * Hex dump of up to 128 bytes of an image, 16 a line, bounded by the text's
 * size.
 *
 * @param image The image.
 * @param start First offset of the image to dump.
 * @param text  Receives the dump.
 * @param size  Size of @p text in bytes.
 * @param count Number of bytes to dump (at most 128).
 * @return 0; 22 when @p text is missing.
 */
SFPDRV_API sfp_rc plug_eeprom_page_to_ascii(const uint8_t *image, uint32_t start, char *text,
                                            uint32_t size, uint32_t count);

/**
 * The same hex dump as plug_eeprom_page_to_ascii().
 *
 * @param image The image.
 * @param start First offset of the image to dump.
 * @param text  Receives the dump.
 * @param size  Size of @p text in bytes.
 * @param count Number of bytes to dump (at most 128).
 * @return 0; 22 when @p text is missing.
 */
SFPDRV_API sfp_rc sfp_eeprom_page_to_ascii(const uint8_t *image, uint32_t start, char *text,
                                           uint32_t size, uint32_t count);

/**
 * A common string of a 512-byte image (A0h then A2h), trimmed as
 * sfp_eeprom_get_n_trim_str() does: 0 vendor name, 1 vendor part number, 2
 * vendor serial number (16 characters each, from A0h), 3 CLEI (10), 4 PID
 * (20), 5 part number (10), 6 version (4), from the maker area (the A2h upper
 * half of a module with digital monitoring, else the A0h upper half).
 *
 * @param image The image.
 * @param index 0 to 6 (names: sfp_eeprom_get_cmn_str_name()).
 * @param text  Receives the terminated text; cleared first.
 * @param size  Size of @p text: at least the field's width + 1.
 * @return 0; 22 for an index above 6, a missing pointer or a size too small.
 */
SFPDRV_API sfp_rc sfp_xcvr_get_string(const uint8_t *image, uint32_t index, char *text,
                                      uint32_t size);

/* ---- Snapshots -------------------------------------------------------------- */

/**
 * The identity of a port's module. Texts are terminated and cut at their
 * first blank; the maker fields (PID, CLEI, version) come from the A2h upper
 * half of a module with A2h that is not a cable, else from the A0h upper
 * half.
 */
typedef struct sfp_hw_info_rec {
  char vendor_name[17];             /**< Vendor name, A0h bytes 20 to 35. */
  char vendor_rev[5];               /**< Vendor revision, A0h bytes 56 to 59. */
  char version_id[5];               /**< Version identifier of the maker area. */
  char pid[19];                     /**< Product ID of the maker area. */
  char clei[11];                    /**< CLEI code of the maker area. */
  sfp_xcvr_type xcvr_type;          /**< The port's transceiver type. */
  char type_name[41];               /**< The type's name. */
  char vendor_pn[17];               /**< Vendor part number, A0h bytes 40 to 55. */
  char vendor_sn[17];               /**< Vendor serial number, A0h bytes 68 to 83. */
  uint8_t vendor_oui[3];            /**< Vendor OUI, A0h bytes 37 to 39. */
  uint8_t vendor_rev_raw[4];        /**< Vendor revision as stored, A0h bytes 56 to 59. */
  char date_code[9];                /**< Date code, A0h bytes 84 to 91. */
  sfp_compliance_result compliance; /**< Verdict of the identification checksums. */
} sfp_hw_info_rec;

/**
 * Live diagnostics of the port's module: reads A2h bytes 0 to 127 into the
 * port's image, decodes values, thresholds and flags, adds the wavelength (a
 * tunable module's channel from A2h table 2 byte 145) and the soft
 * transmitter disable state, and writes the decoded fields to the debug file
 * "/tmp/hw_status_file_C_P" (controller, port). A module without A2h
 * diagnostics gets only `filled` and, for the copper and loopback types,
 * `no_diagnostics`.
 *
 * Blocking: when an alarm or warning flag (A2h bytes 112, 113, 116, 117) is
 * set, the snapshot waits 100 ms and reads the flags again (bit-bang), or,
 * without a bit-bang read or with `bus_mode` nonzero, waits 200 ms in all and
 * reads them through the memory callbacks.
 *
 * @param hdl The port handle.
 * @param rec Receives the snapshot; owned by the caller.
 * @return 0; 22 for a null or not fully initialised handle (a line on
 *         standard error too), a null record, an unwritable debug file, or a
 *         high and a low flag of one quantity both set; 12 without memory;
 *         the status of a failed module read.
 */
SFPDRV_API sfp_rc sfp_port_hw_status(sfp_port_ctx *hdl, sfp_hw_status_rec *rec);

/**
 * Identity of the port's module, from the port's cached image (no module
 * access, no wait). Also writes the decoded identification fields to the
 * debug file "/tmp/hw_id_file_C_P" (controller, port).
 *
 * @param hdl The port handle.
 * @param rec Receives the identity; pass a cleared record (its texts are
 *            appended to).
 * @return 0; 22 for a null or not fully initialised handle (a line on
 *         standard error too) or a null record; the status of a failed type
 *         query (the record then stays unfilled).
 */
SFPDRV_API sfp_rc sfp_port_hw_info(sfp_port_ctx *hdl, sfp_hw_info_rec *rec);

/**
 * Diagnostic monitoring information hook; does nothing.
 *
 * @param hdl Ignored.
 * @param rec Ignored.
 * @return Always 0.
 */
SFPDRV_API sfp_rc sfp_port_dom_info(sfp_port_ctx *hdl, sfp_hw_status_rec *rec);

/**
 * Hex dump of the diagnostic pages (A2h bytes 0 to 127, table 0 and, for a
 * tunable module, table 2 with its tuning range) into the caller's buffer.
 * Reads the module (a tunable module also gets table-select writes); no
 * wait. When the buffer is full the dump stops with status 0.
 *
 * @param hdl    The port handle.
 * @param text   The caller's buffer.
 * @param size   Size of @p text in bytes.
 * @param length Receives the number of characters written.
 * @return 0; 22 for a null or not fully initialised handle or a null
 *         pointer; the status of a failed module access.
 */
SFPDRV_API sfp_rc sfp_port_get_debug_info(sfp_port_ctx *hdl, char *text, uint32_t size,
                                          uint32_t *length);

/**
 * The EEPROM text report of sfp_drv_sfp_get_eeprom_str() in a text the
 * library allocates.
 *
 * Ownership: on success `*text` is a newly allocated text of
 * #SFP_EEPROM_REPORT_SIZE bytes that the caller frees with free(). No module
 * access, no wait.
 *
 * @param hdl    The port handle.
 * @param text   Receives the text.
 * @param length Receives the report's length including the NUL.
 * @return 0; 22 for a null or not fully initialised handle or a null
 *         pointer; 12 without memory; otherwise the report's status (nothing
 *         handed over).
 */
SFPDRV_API sfp_rc sfp_port_phy_reg_decode(sfp_port_ctx *hdl, char **text, uint32_t *length);

SFPDRV_END_DECLS

#endif /* SFPDRV_DECODE_H */
