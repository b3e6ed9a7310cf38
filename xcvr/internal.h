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

} // namespace sfpdrv

#endif // SFPDRV_XCVR_INTERNAL_H
