// Internal interface of port creation: the stages it runs for a new port.
// Creation sits above the port core, identification and control, whose
// operations it runs in order.
#ifndef SFPDRV_CREATE_INTERNAL_H
#define SFPDRV_CREATE_INTERNAL_H

#include "sfpdrv/port.h"

namespace sfpdrv {

// Identification stage: memory spaces and identity of the module in the
// cage. A nonzero status leaves the port uninitialised.
sfp_rc run_identification_stage(sfp_port_ctx *port);

// Initial transmitter stage, for a cage that holds a module: waits for the
// module's data, selects a multi-rate module's rate and leaves the
// transmitter off with CDR, CTLE and power level in their initial state.
// Its status is creation's, with the port initialised all the same.
sfp_rc run_transmitter_stage(sfp_port_ctx *port);

} // namespace sfpdrv

#endif // SFPDRV_CREATE_INTERNAL_H
