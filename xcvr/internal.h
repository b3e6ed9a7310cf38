// Internal interface of transceiver identification, shared by the files of
// xcvr/ and by the port core.
#ifndef SFPDRV_XCVR_INTERNAL_H
#define SFPDRV_XCVR_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "sfpdrv/xcvr.h"

namespace sfpdrv {

// --- type table and multi-rate optics ---
// The rows, slots and supported flags of the type table are in
// xcvr/type_table.h.

// The family name of a multi-rate type (a sub or base type of the multi-rate
// table), or null for a type that is in no family.
const char *multi_rate_family_name(sfp_xcvr_type type);

// The type a multi-rate module runs as in a cage of `rate_code`
// (SFP_RATE_CODE_*): the sub type of the base type `type` for that rate.
// A type without a row for the rate is returned unchanged.
sfp_xcvr_type multi_rate_sub_type(sfp_xcvr_type type, uint32_t rate_code);

// --- type detection and the port's type (detect.cc, port_type.cc) ---

// The identification values that type detection decides on, as a module's
// A0h bytes give them.
struct DetectInputs {
  uint8_t identifier; // byte 0
  uint32_t code_low;  // bytes 3..6, big-endian
  uint32_t code_high; // bytes 7..10, big-endian
  uint16_t ext_id;    // byte 96, or 0xff | byte 97 << 8 when byte 96 is 0xff
  uint8_t length;     // byte 18 for cables (byte 36 set or connector 0x21), else 14
  uint8_t options1;   // byte 65
  uint8_t ext_code;   // byte 36, extended compliance code
  uint32_t speed;     // 25000 or 50000 from byte 66 when byte 12 is 0xff, else 0
};

// Derives the detection inputs from the first 128 bytes of an A0h image.
DetectInputs detect_inputs(const uint8_t *a0);

// The type of a module with these identification values (512 when nothing
// fits). May set the port's multi_rate and defaulted flags; `pid` may be
// null (the empty text).
sfp_xcvr_type sfp_xcvr_detect_type(sfp_port_ctx *port, uint8_t identifier, uint32_t code_low,
                                   uint32_t code_high, uint16_t ext_id, uint8_t length,
                                   uint8_t options1, const char *pid, uint8_t ext_code,
                                   uint32_t speed);

// Identifies the port's module (type, supported status and name) unless the
// port already has a type.
void sfp_port_identify(sfp_port_ctx *port);

// --- supported policy (supported.cc) ---

// The memory spaces of a module whose supported check gave `status` and
// `type`: only the lower half of A0h unless the check passed and the module
// was recognised (not defaulted); then all of A0h, A2h unless the type has
// none, and diagnostics as A0h byte 92 says. `port` and `a0` must be given.
sfp_eeprom_space sfp_xcvr_spaces_from_type(const sfp_port_ctx *port, const uint8_t *a0,
                                           sfp_xcvr_supported_status status, sfp_xcvr_type type);

// --- part-number lists, catalogue, wavelength and cable classification ---

// Appends the built-in product IDs, then the catalogue part numbers, then
// the vendor part numbers to the supported lists (part_numbers.cc). Returns
// the status of the last append: 0, or 12 when memory ran out.
sfp_rc fill_part_number_lists();

// The module's PID (sfp_get_pid) as a terminated text of at most
// SFP_PID_LEN characters, blank padding included (cable.cc).
void copy_pid(sfp_port_ctx *port, char (&dest)[SFP_PID_LEN + 1]);

} // namespace sfpdrv

#endif // SFPDRV_XCVR_INTERNAL_H
