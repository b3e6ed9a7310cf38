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

} // namespace sfpdrv

#endif // SFPDRV_XCVR_INTERNAL_H
