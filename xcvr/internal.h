// Internal interface of transceiver identification, shared by the files of
// xcvr/ and by the port core.
#ifndef SFPDRV_XCVR_INTERNAL_H
#define SFPDRV_XCVR_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "sfpdrv/xcvr.h"

namespace sfpdrv {

// --- type table and multi-rate optics ---

// --- part-number lists, catalogue, wavelength and cable classification ---

// Appends the built-in product IDs, then the catalogue part numbers, then
// the vendor part numbers to the supported lists (part_numbers.cc). Returns
// the status of the last append: 0, or 12 when memory ran out.
sfp_rc fill_part_number_lists();

// Display name of `type` for the list checks' traces (type_name_shim.cc).
const char *xcvr_type_name(sfp_port_ctx *port, sfp_xcvr_type type);

// The module's PID (sfp_get_pid) as a terminated text of at most
// SFP_PID_LEN characters, blank padding included (cable.cc).
void copy_pid(sfp_port_ctx *port, char (&dest)[SFP_PID_LEN + 1]);

// --- end of part-number lists, catalogue, wavelength and cable ---

} // namespace sfpdrv

#endif // SFPDRV_XCVR_INTERNAL_H
