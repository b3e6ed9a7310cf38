// Internal interface of port control, shared by the files of control/ and by
// the port core's initialisation.
#ifndef SFPDRV_CONTROL_INTERNAL_H
#define SFPDRV_CONTROL_INTERNAL_H

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/trace.h"
#include "sfpdrv/port.h"

namespace sfpdrv {

// The 25G optics whose Tx CDR, CTLE peaking and latched flags the library
// drives: SFP28 25G SR, LR, ER and CSR, and the two 10/25G bidirectional
// optics.
inline constexpr std::array<sfp_xcvr_type, 6> sfp_25g_optics = {784, 786, 787, 788, 808, 809};

// The optics with adaptive CTLE and a power level select: the 25G optics and
// the two 25G/50G dual-rate optics.
inline constexpr std::array<sfp_xcvr_type, 8> sfp_25g_50g_optics = {784, 786, 787, 788,
                                                                    808, 809, 811, 820};

// The dual-rate optics, whose CTLE is handled apart.
inline constexpr std::array<sfp_xcvr_type, 2> sfp_dual_rate_50g_optics = {811, 820};

template <std::size_t N>
constexpr bool type_in(const std::array<sfp_xcvr_type, N> &set, sfp_xcvr_type type) {
  return std::find(set.begin(), set.end(), type) != set.end();
}

static_assert(std::all_of(sfp_25g_optics.begin(), sfp_25g_optics.end(),
                          [](sfp_xcvr_type t) { return type_in(sfp_25g_50g_optics, t); }) &&
                  std::all_of(sfp_dual_rate_50g_optics.begin(), sfp_dual_rate_50g_optics.end(),
                              [](sfp_xcvr_type t) {
                                return type_in(sfp_25g_50g_optics, t) &&
                                       !type_in(sfp_25g_optics, t);
                              }) &&
                  sfp_25g_50g_optics.size() ==
                      sfp_25g_optics.size() + sfp_dual_rate_50g_optics.size(),
              "the 25G/50G set is the 25G optics and the dual-rate optics");

// Writes message M, which begins with the port's controller and port
// numbers, to the port's error or event buffer.
template <const TraceMsg &M, typename... Args>
void port_error(const sfp_port_ctx *port, Args... args) {
  trace<M>(port->err_trace, port->controller, port->port, args...);
}
template <const TraceMsg &M, typename... Args>
void port_event(const sfp_port_ctx *port, Args... args) {
  trace<M>(port->evt_trace, port->controller, port->port, args...);
}

// Read-modify-write of one A2h byte (page 1): clears the `mask` bits when
// `clear` is nonzero, sets them otherwise, and writes the byte back only when
// it changes. Returns 0 or the failed access's status (traced).
sfp_rc sfp_set_clear_bits(sfp_port_ctx *port, uint32_t offset, uint32_t clear, uint8_t mask);

// The transmitter on (enable 1) or off (any other value) through the soft
// transmitter disable. 22 for a null port.
sfp_rc sfp_port_tx_ena_dis(sfp_port_ctx *port, uint32_t enable);

// Tx CDR on (enable 1) or off of a 25G optic. 22 for a null port.
sfp_rc sfp_port_tx_cdr_ena_dis(sfp_port_ctx *port, uint32_t enable);

} // namespace sfpdrv

#endif // SFPDRV_CONTROL_INTERNAL_H
