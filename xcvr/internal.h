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
