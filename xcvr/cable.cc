// Cable and copper classification of the port's cached module image, and
// where the module's product ID is found in it.
#include <array>
#include <cstring>

#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace sfpdrv {
namespace {

// A0h bytes.
constexpr std::size_t kConnectorByte = 2;
constexpr std::size_t kCableTechByte = 8;
constexpr std::size_t kOptionsByte = 64;
constexpr std::size_t kPidOffset = 192; // in A0h for copper, else in A2h

constexpr uint8_t kConnectorCopperPigtail = 0x21;
constexpr uint8_t kConnectorRj45 = 0x22;
// Whole values of the cable-technology byte, not bits: a byte with both set
// is neither.
constexpr uint8_t kPassiveCable = 4;
constexpr uint8_t kActiveCable = 8;
constexpr uint8_t kLinearReceiverOutput = 0x01;

// Receiver of the 10G DWDM and tunable types 704..765: 1 limiting, 0 linear.
constexpr sfp_xcvr_type kFirstDwdmType = 704;
// clang-format off
constexpr std::array<uint8_t, 62> kDwdmLimiting{
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1,    // 704..713  10G DWDM, 100 GHz grid
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1,    // 714..723
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1,    // 724..733
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1,    // 734..743
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    // 744..753  cables
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    // 754..763
    0,                               // 764
    1,                               // 765      tunable
};
// clang-format on
static_assert(kDwdmLimiting[743 - kFirstDwdmType] == 1 &&
              kDwdmLimiting[744 - kFirstDwdmType] == 0 &&
              kDwdmLimiting[764 - kFirstDwdmType] == 0 && kDwdmLimiting.back() == 1);

bool is_cable_code(uint8_t cable_tech) {
  return cable_tech == kPassiveCable || cable_tech == kActiveCable;
}

const char *true_false(uint32_t flag) {
  return flag != 0 ? "True" : "False";
}

} // namespace

void copy_pid(sfp_port_ctx *port, char (&dest)[SFP_PID_LEN + 1]) {
  const char *pid = sfp_get_pid(port);
  const std::size_t length = strnlen(pid, SFP_PID_LEN);
  std::memcpy(dest, pid, length);
  dest[length] = '\0';
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_is_cable(sfp_port_ctx *port, uint32_t *flag) {
  if (port == nullptr || flag == nullptr) {
    return SFP_RC_INVALID;
  }
  *flag = is_cable_code(port->eeprom[SFP_IMAGE_A0 + kCableTechByte]) ? 1 : 0;
  trace<msg::kIsCable>(port->err_trace, port->controller, port->port, true_false(*flag));
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_is_zando_copper_optics(sfp_port_ctx *port, const uint8_t *a0,
                                                        uint32_t *flag) {
  if (port == nullptr) {
    return SFP_RC_INVALID;
  }
  if (a0 == nullptr || flag == nullptr) {
    trace<msg::kCx1NullParams>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  const uint8_t connector = a0[kConnectorByte];
  const bool copper = connector == kConnectorCopperPigtail || connector == kConnectorRj45 ||
                      is_cable_code(a0[kCableTechByte]);
  *flag = copper ? 1 : 0;
  trace<msg::kCx1Compliant>(port->err_trace, port->controller, port->port, copper ? "" : " not");
  return SFP_RC_OK;
}

extern "C" SFPDRV_API const char *sfp_get_pid(sfp_port_ctx *port) {
  uint32_t copper = 0;
  const uint8_t *a0 = port != nullptr ? port->eeprom + SFP_IMAGE_A0 : nullptr;
  if (sfp_is_zando_copper_optics(port, a0, &copper) != SFP_RC_OK) {
    return "";
  }
  const std::size_t area = copper != 0 ? SFP_IMAGE_A0 : SFP_IMAGE_A2_LOWER;
  return reinterpret_cast<const char *>(port->eeprom + area + kPidOffset);
}

extern "C" SFPDRV_API uint32_t is_sfp_10g_dwdm_limiting_module(sfp_port_ctx *port) {
  if (port == nullptr) {
    return 0;
  }
  uint32_t limiting = 0;
  const sfp_xcvr_type type = port->xcvr_type;
  const bool linear_output =
      (port->eeprom[SFP_IMAGE_A0 + kOptionsByte] & kLinearReceiverOutput) != 0;
  if (!linear_output && type >= kFirstDwdmType && type - kFirstDwdmType < kDwdmLimiting.size()) {
    limiting = kDwdmLimiting[type - kFirstDwdmType];
  }
  trace<msg::kDwdmReceiver>(port->err_trace, port->controller, port->port,
                            limiting != 0 ? "limiting" : "linear");
  return limiting;
}
