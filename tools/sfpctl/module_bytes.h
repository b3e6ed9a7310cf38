// What a module's own bytes say, decoded with the library's exported decode
// functions: for a module the library refused, which has no port, and for
// the checks the module carries itself.
#ifndef SFPCTL_MODULE_BYTES_H
#define SFPCTL_MODULE_BYTES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sfpdrv/sfpdrv.h"

namespace sfpctl {

class Session;

using CreationImage = std::array<uint8_t, 512>;

// The supported check's verdict on a module and the type it found.
struct Verdict {
  sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;

  bool supported() const { return status == sfp_XCVR_SUPPORTED_OK; }
  // The library's text of the verdict, without trailing blanks.
  std::string text() const;
};

// The context of a module the library refused (creation status 95: no port
// and no adapter port), which the library keeps registered; null otherwise.
sfp_port_ctx *refused_module(const Session &session);

// The verdict in words for a module the library refused: "no (VERDICT; the
// library refused the module: creation status 95)".
std::string refusal_text(const Verdict &verdict);

// The verdict creation reached for a port.
Verdict port_verdict(const sfp_port_ctx &port);
// The check run again on the bytes of a module whose creation failed
// (`context` is the one the library keeps registered for it).
Verdict refused_verdict(sfp_port_ctx &context);

// Whether A0h declares digital diagnostics (byte 92 bit 6).
bool declares_diagnostics(const CreationImage &image);

// The identity record as sfp_port_hw_info fills it for a port, from the
// bytes: the vendor fields of A0h, the maker area (A2h table 0, or the A0h
// upper half for a cable or a module without captured A2h), the verdict's
// type and the identification checksums.
sfp_hw_info_rec identity_from_bytes(sfp_port_ctx &context, const CreationImage &image,
                                    bool a2_captured, const Verdict &verdict);

// The status record from a fresh reading of the A2h lower half, as
// sfp_port_hw_status fills it for a port: values, thresholds and flags
// (decoded by the library), the wavelength and the soft transmitter
// disable. 22 when a high and a low flag of one quantity are both set.
sfp_rc status_from_bytes(sfp_port_ctx &context, const CreationImage &image, const uint8_t *a2_lower,
                         sfp_hw_status_rec &rec);

// A fresh reading of the A2h lower half of a module the library refused,
// through the module as the bus gives it, into `a2_lower` and decoded into
// `rec` (status_from_bytes). 0, or the status of the failed read or decode,
// which is printed as "COMMAND: ..." on standard error.
sfp_rc read_refused_status(Session &session, sfp_port_ctx &context, std::string_view command,
                           std::array<uint8_t, 128> &a2_lower, sfp_hw_status_rec &rec);

// One check byte (or word) of the module: the value it stores and the one
// computed over the bytes it covers.
struct Check {
  uint32_t stored = 0;
  uint32_t computed = 0;
  bool good() const { return stored == computed; }
};

// The module's own check values: the SFF-8472 base and extended checksums
// of A0h, the diagnostics checksum of A2h (absent when the module declares
// no diagnostics or its A2h was not captured), and the CRC over A0h bytes
// 96..123 that only modules of our catalogue carry.
struct Integrity {
  Check base;
  Check extended;
  std::optional<Check> diagnostics;
  Check catalogue_crc;
};

Integrity integrity_of(const CreationImage &image, bool a2_captured);

} // namespace sfpctl

#endif // SFPCTL_MODULE_BYTES_H
