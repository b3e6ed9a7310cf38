// The stages of port initialisation that creation runs for a new port.
#include "port/internal.h"
#include "port/messages.h"

namespace sfpdrv {
namespace {

constexpr uint8_t kIdSfp = 0x03;
constexpr uint8_t kIdDwdmSfp = 0x0b;
constexpr uint8_t kIdTunableSfp = 0x8d;
constexpr uint8_t kExtIdSfp = 0x04;
constexpr uint8_t kExtIdDwdmSfp = 0x24;
constexpr uint8_t kDiagMonTypeByte = 92;
constexpr uint8_t kDigitalMonitoring = 0x40;

// Whether the identification bytes describe an SFP the library can drive.
bool is_sfp_identity(const uint8_t *a0) {
  switch (a0[0]) {
  case kIdSfp:
    return a0[1] == kExtIdSfp;
  case kIdDwdmSfp:
    return a0[1] == kExtIdDwdmSfp;
  case kIdTunableSfp:
    return true;
  default:
    return false;
  }
}

// The memory spaces of a recognised module: all of A0h, and the diagnostic
// memory A2h when the module says it implements diagnostic monitoring.
sfp_eeprom_space spaces_of(const uint8_t *a0) {
  const uint32_t dom = (a0[kDiagMonTypeByte] & kDigitalMonitoring) != 0 ? 1 : 0;
  return sfp_eeprom_space{.half_a0 = 1, .full_a0 = 1, .a2 = dom, .dom = dom};
}

} // namespace

sfp_rc run_identification_stage(sfp_port_ctx *port) {
  trace<msg::kIdentifyTp1>(port->evt_trace, port->controller, port->port);
  const uint8_t *a0 = port->eeprom + SFP_IMAGE_A0;
  if (!is_sfp_identity(a0)) {
    trace<msg::kInvalidDeviceType>(port->evt_trace, port->controller, port->port);
    return SFP_RC_UNSUPPORTED;
  }
  port->spaces = spaces_of(a0);
  const sfp_eeprom_space &s = port->spaces;
  trace<msg::kSpacesSupported>(port->evt_trace, port->controller, port->port, s.half_a0, s.full_a0,
                               s.a2, s.dom);
  return SFP_RC_OK;
}

} // namespace sfpdrv
