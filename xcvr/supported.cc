// The supported-type policy: whether a module's identification bytes
// describe an SFP, which type the module is and whether that type is
// supported here; which memory spaces such a module provides and the
// blanking of the rest in a cached image; and the one-time setup of the
// supported flags and part-number lists.
#include <array>
#include <cstring>
#include <optional>
#include <span>

#include "port/internal.h"
#include "sfpdrv/phy.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace sfpdrv {
namespace {

// A0h bytes.
constexpr std::size_t kIdentifierByte = 0;
constexpr std::size_t kExtIdentifierByte = 1;

// Identifiers and the extended identifier each one requires.
constexpr uint8_t kIdSfp = 0x03;
constexpr uint8_t kExtIdSfp = 0x04;
constexpr uint8_t kIdDwdmSfp = 0x0b;
constexpr uint8_t kExtIdDwdmSfp = 0x24;
constexpr uint8_t kIdTunableSfp = 0x8d; // taken whatever byte 1 holds

// Areas of a 512-byte image (A0h, then A2h).
constexpr std::size_t kA0UpperHalf = 128;
constexpr std::size_t kA2Lower = 256;
constexpr std::size_t kA2Upper = 384;
constexpr std::size_t kHalf = 128;

struct TypeRange {
  sfp_xcvr_type first;
  sfp_xcvr_type last;
};

// Types whose modules have no A2h memory.
constexpr std::array<TypeRange, 13> kTypesWithoutA2{{
    {513, 513}, // 100BASE-FX
    {515, 516}, // 100BASE-EX, 100BASE-ZX
    {533, 533}, // 1000BASE-T
    {535, 536}, // smart T1 and E1 framed
    {538, 538}, // smart E1 unframed
    {692, 696}, // 10G copper cables
    {744, 764}, // 10G copper and active cables, breakouts included
    {766, 766}, // 10GBASE-T
    {789, 795}, // 25G copper cables
    {810, 810}, // 25G passive loopback
    {812, 812}, // 50G copper cables
    {814, 814},
    {816, 818},
}};

constexpr std::size_t count_types(std::span<const TypeRange> ranges) {
  std::size_t n = 0;
  for (const TypeRange &r : ranges) {
    n += r.last - r.first + 1;
  }
  return n;
}
static_assert(count_types(kTypesWithoutA2) == 47);

constexpr bool has_a2(sfp_xcvr_type type) {
  for (const TypeRange &r : kTypesWithoutA2) {
    if (type >= r.first && type <= r.last) {
      return false;
    }
  }
  return true;
}
static_assert(!has_a2(533) && !has_a2(764) && !has_a2(818) && has_a2(594) && has_a2(765) &&
              has_a2(811) && has_a2(819));

// Whether byte 1 is the extended identifier that byte 0 requires; nullopt
// for an identifier that is no SFP at all.
std::optional<bool> ext_identifier_fits(const uint8_t *a0) {
  switch (a0[kIdentifierByte]) {
  case kIdSfp:
    return a0[kExtIdentifierByte] == kExtIdSfp;
  case kIdDwdmSfp:
    return a0[kExtIdentifierByte] == kExtIdDwdmSfp;
  case kIdTunableSfp:
    return true;
  default:
    return std::nullopt;
  }
}

bool unsupported_allowed() {
  return sfp_get_ctx()->unsupported_xcvr_allowed != 0;
}

sfp_xcvr_type detect(sfp_port_ctx *port, const uint8_t *a0, const char *pid) {
  const DetectInputs in = detect_inputs(a0);
  return sfp_xcvr_detect_type(port, in.identifier, in.code_low, in.code_high, in.ext_id, in.length,
                              in.options1, pid, in.ext_code, in.speed);
}

// The verdict of the supported check: its result, status and type.
struct Verdict {
  sfp_rc rc;
  sfp_xcvr_supported_status status;
  sfp_xcvr_type type;
};

Verdict judge(sfp_port_ctx *port, const uint8_t *a0, const char *pid) {
  if (a0 == nullptr) {
    return {SFP_RC_OK, SFP_XCVR_EEPROM_DATA_ERROR, SFP_XCVR_TYPE_UNKNOWN};
  }
  const std::optional<bool> fits = ext_identifier_fits(a0);
  if (!fits) {
    return {SFP_RC_OK, SFP_XCVR_NOT_SFP, SFP_XCVR_TYPE_UNKNOWN};
  }
  if (!*fits && !unsupported_allowed()) {
    return {SFP_RC_OK, SFP_XCVR_BAD_EXT_ID, SFP_XCVR_TYPE_UNKNOWN};
  }
  sfp_xcvr_type type = detect(port, a0, pid);
  if (port->multi_rate != 0) {
    type = multi_rate_sub_type(type, port->rate_code);
  }
  if (type == SFP_XCVR_TYPE_UNKNOWN) {
    return {SFP_RC_UNSUPPORTED, SFP_XCVR_UNKNOWN_TYPE, type};
  }
  if (sfp_xcvr_get_attribute_supported(type) == 0 && !unsupported_allowed()) {
    return {SFP_RC_UNSUPPORTED, SFP_XCVR_UNSUPPORTED_TYPE, type};
  }
  return {SFP_RC_OK, sfp_XCVR_SUPPORTED_OK, type};
}

constexpr const char *kAdjustName = "adjust_eeprom_inline";

// Blanks what a module of this verdict does not provide in a 512-byte image.
void adjust_eeprom_inline(const sfp_port_ctx *port, uint8_t *image,
                          sfp_xcvr_supported_status status, sfp_xcvr_type type) {
  const auto port_number = static_cast<uint32_t>(port->port);
  if (status != sfp_XCVR_SUPPORTED_OK) {
    trace<msg::kAdjustNotSupported>(port->evt_trace, kAdjustName, port_number);
    return;
  }
  const sfp_eeprom_space spaces = sfp_xcvr_spaces_from_type(port, image, status, type);
  if (spaces.a2 == 0 || spaces.dom == 0) {
    trace<msg::kAdjustStatusInfo>(port->evt_trace, kAdjustName, port_number);
    std::memset(image + kA2Lower, 0, kHalf);
  }
  if (spaces.a2 == 0) {
    trace<msg::kAdjustUserEeprom>(port->evt_trace, kAdjustName, port_number);
    std::memset(image + kA2Upper, 0, kHalf);
  }
  if (spaces.full_a0 == 0) {
    trace<msg::kAdjustA0Page1>(port->evt_trace, kAdjustName, port_number);
    std::memset(image + kA0UpperHalf, 0, kHalf);
  }
}

// 1 when the supported check passes.
bool check_passes(sfp_port_ctx *port, const uint8_t *a0, const char *pid) {
  sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  return sfp_xcvr_check_supported(port, a0, &status, &type, pid) == SFP_RC_OK &&
         status == sfp_XCVR_SUPPORTED_OK;
}

} // namespace

sfp_eeprom_space sfp_xcvr_spaces_from_type(const sfp_port_ctx *port, const uint8_t *a0,
                                           sfp_xcvr_supported_status status, sfp_xcvr_type type) {
  sfp_eeprom_space spaces{.half_a0 = 1, .full_a0 = 0, .a2 = 0, .dom = 0};
  // Without a port there is no defaulted type to distrust.
  const bool defaulted = port != nullptr && port->defaulted != 0;
  if (status == sfp_XCVR_SUPPORTED_OK && !defaulted) {
    spaces.dom = sfp_xcvr_check_digital_monitoring(a0);
    spaces.full_a0 = 1;
    spaces.a2 = has_a2(type) ? 1 : 0;
  }
  return spaces;
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_xcvr_lib_init(void) {
  for (sfp_xcvr_type type = 0; type <= kLastTableType; ++type) {
    sfp_xcvr_set_attribute_supported(type, 0);
  }
  for (const sfp_xcvr_type type : default_supported_types()) {
    sfp_xcvr_set_attribute_supported(type, 1);
  }
  return fill_part_number_lists();
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_check_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                      sfp_xcvr_supported_status *status,
                                                      sfp_xcvr_type *type, const char *pid) {
  if (port == nullptr || status == nullptr || type == nullptr) {
    trace<msg::kCheckSupportedNullPort>(library_err_trace());
    return SFP_RC_INVALID;
  }
  const Verdict verdict = judge(port, a0, pid);
  *status = verdict.status;
  *type = verdict.type;
  if (verdict.rc == SFP_RC_OK && verdict.status == sfp_XCVR_SUPPORTED_OK) {
    sfp_xcvr_set_phy_access(port, verdict.type); // attaches the PHY of a 1000BASE-T module
  }
  trace<msg::kCheckSupported>(port->err_trace, port->port,
                              sfp_xcvr_get_name_from_type(port, verdict.type), verdict.type,
                              sfp_xcvr_supported_to_str(verdict.status));
  return verdict.rc;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_which_space_supported(sfp_port_ctx *port, const uint8_t *a0,
                                                            sfp_xcvr_supported_status status,
                                                            sfp_xcvr_type type,
                                                            sfp_eeprom_space *space) {
  if (a0 == nullptr || space == nullptr) {
    return SFP_RC_INVALID;
  }
  *space = sfp_xcvr_spaces_from_type(port, a0, status, type);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_which_space_supported2(sfp_port_ctx *port, const uint8_t *a0,
                                                             sfp_eeprom_space *space,
                                                             const char *pid) {
  if (a0 == nullptr || space == nullptr) {
    return SFP_RC_INVALID;
  }
  sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  const sfp_rc rc = sfp_xcvr_check_supported(port, a0, &status, &type, pid);
  if (rc == SFP_RC_OK && type == SFP_XCVR_TYPE_UNKNOWN) {
    return SFP_RC_UNSUPPORTED;
  }
  if (rc != SFP_RC_OK) {
    return rc;
  }
  *space = sfp_xcvr_spaces_from_type(port, a0, status, type);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom(sfp_port_ctx *port, uint8_t *image,
                                                    sfp_xcvr_supported_status status,
                                                    sfp_xcvr_type type) {
  if (port == nullptr || image == nullptr) {
    return SFP_RC_INVALID;
  }
  adjust_eeprom_inline(port, image, status, type);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_adjust_eeprom2(sfp_port_ctx *port, uint8_t *image,
                                                     const char *pid) {
  if (port == nullptr || image == nullptr) {
    return SFP_RC_INVALID;
  }
  sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
  sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
  const sfp_rc rc = sfp_xcvr_check_supported(port, image, &status, &type, pid);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  adjust_eeprom_inline(port, image, status, type);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_check_a0_full_space_supported(sfp_port_ctx *port,
                                                                      const uint8_t *a0,
                                                                      const char *pid) {
  return check_passes(port, a0, pid) ? 1 : 0;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_check_a2_space_supported(sfp_port_ctx *port,
                                                                 const uint8_t *a0,
                                                                 const char *pid) {
  if (a0 == nullptr) {
    return 0;
  }
  return check_passes(port, a0, pid) && sfp_xcvr_check_digital_monitoring(a0) != 0 ? 1 : 0;
}
