// Multi-rate optics: modules that run at two rates under one identity. They
// are identified as the base type of their family, run as the family's sub
// type for the cage's rate, carry the family's name, and have their
// rate-select register programmed for the port's operating speed.
#include <array>

#include "port/internal.h"
#include "sfpdrv/access.h"
#include "xcvr/catalogue.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace sfpdrv {
namespace {

struct MultiRateRow {
  sfp_xcvr_type sub_type;
  sfp_xcvr_type base_type;
  const char *family;
  uint32_t rate_code;
};

namespace name = catalogue_name;

// Searched in this order.
constexpr std::array<MultiRateRow, 12> kMultiRateTable = {{
    {596, 807, name::kDual25g10gLr, SFP_RATE_CODE_10G},
    {786, 807, name::kDual25g10gLr, SFP_RATE_CODE_25G},
    {594, 806, name::kDual25g10gSr, SFP_RATE_CODE_10G},
    {784, 806, name::kDual25g10gSr, SFP_RATE_CODE_25G},
    {595, 805, name::kDual25g10gCsr, SFP_RATE_CODE_10G},
    {788, 805, name::kDual25g10gCsr, SFP_RATE_CODE_25G},
    {600, 809, name::kDual25g10gBxd, SFP_RATE_CODE_10G},
    {809, 809, name::kDual25g10gBxd, SFP_RATE_CODE_25G},
    {601, 808, name::kDual25g10gBxu, SFP_RATE_CODE_10G},
    {808, 808, name::kDual25g10gBxu, SFP_RATE_CODE_25G},
    {785, 811, name::kDual50g25gSr, SFP_RATE_CODE_25G},
    {811, 811, name::kDual50g25gSr, SFP_RATE_CODE_50G},
}};

// A0h byte 253 holds this value on a multi-rate module.
constexpr uint8_t kMultiRateMarkerOffset = 253;
constexpr uint8_t kMultiRateMarker = 3;

// A 10/25G SR module with this OM3 length (A0h byte 19, in 10 m) is the CSR
// variant.
constexpr uint32_t kOm3LengthOffset = 19;
constexpr uint8_t kCsrOm3Length = 30;
constexpr uint8_t kExtCode25gSr = 2;

// Rate select: the vendor byte A2h 120, or the soft rate-select bit of the
// status/control byte A2h 110 for the 25/50G modules.
constexpr uint8_t kVendorRateSelect = 120;
constexpr uint8_t kStatusControl = 110;
constexpr uint8_t kSoftRateSelect = 0x08;

constexpr uint32_t kSpeed10G = 10000;
constexpr uint32_t kSpeed25G = 25000;
constexpr uint32_t kSpeed50G = 50000;
constexpr sfp_xcvr_type kDual25g10gCsr = 805;
constexpr sfp_xcvr_type kDual25g10gSr = 806;
constexpr sfp_xcvr_type kDual50g25gSr = 811;
constexpr sfp_xcvr_type kDual50g25gSrAt25g = 785;

struct RateSelect {
  uint8_t reg;
  uint8_t value;
};

// The register and value that select `speed` on the port's module, with the
// trace of the selection.
RateSelect rate_select_for(const sfp_port_ctx &port, uint32_t speed) {
  const sfp_xcvr_type type = port.xcvr_type;
  switch (speed) {
  case kSpeed50G:
    trace<msg::kRateSelect50G>(port.err_trace, port.controller, port.port, port.port);
    return type == kDual50g25gSr ? RateSelect{kStatusControl, kSoftRateSelect}
                                 : RateSelect{kVendorRateSelect, 0};
  case kSpeed25G:
    trace<msg::kRateSelect25G>(port.err_trace, port.controller, port.port);
    return type == kDual50g25gSr || type == kDual50g25gSrAt25g
               ? RateSelect{kStatusControl, 0}
               : RateSelect{kVendorRateSelect, kSoftRateSelect};
  case kSpeed10G:
    trace<msg::kRateSelect10G>(port.err_trace, port.controller, port.port);
    return RateSelect{kVendorRateSelect, 0};
  default:
    return RateSelect{kVendorRateSelect, 0};
  }
}

} // namespace

const char *multi_rate_family_name(sfp_xcvr_type type) {
  for (const MultiRateRow &row : kMultiRateTable) {
    if (row.sub_type == type || row.base_type == type) {
      return row.family;
    }
  }
  return nullptr;
}

sfp_xcvr_type multi_rate_sub_type(sfp_xcvr_type type, uint32_t rate_code) {
  for (const MultiRateRow &row : kMultiRateTable) {
    if (row.base_type == type && row.rate_code == rate_code) {
      type = row.sub_type;
    }
  }
  return type;
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API uint32_t is_multi_rate_sfp(sfp_port_ctx *port) {
  if (port == nullptr) {
    trace<msg::kMultiRateNullPort>(library_err_trace(), __func__);
    return 0;
  }
  uint8_t marker = 0;
  if (sfp_access(port, kMultiRateMarkerOffset, 1, SFP_PAGE_A0, &marker, SFP_ACCESS_READ) !=
      SFP_RC_OK) {
    trace<msg::kMultiRateReadError>(port->err_trace, port->controller, port->port);
    return 0;
  }
  if (marker != kMultiRateMarker) {
    return 0;
  }
  trace<msg::kMultiRateOptics>(port->err_trace, port->controller, port->port, port->port);
  return 1;
}

extern "C" SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_from_reg(sfp_port_ctx *port) {
  if (port == nullptr) {
    trace<msg::kMultiRateNullPort>(library_err_trace(), __func__);
    return SFP_XCVR_TYPE_UNKNOWN;
  }
  const sfp_xcvr_type base = port->eeprom[SFP_IMAGE_A0 + kOm3LengthOffset] == kCsrOm3Length
                                 ? kDual25g10gCsr
                                 : kDual25g10gSr;
  trace<msg::kMultiRateBaseChosen>(port->err_trace, port->controller, port->port, base, port->port);
  return base;
}

extern "C" SFPDRV_API sfp_xcvr_type sfp_get_base_xcvr_type_frm_sub_xcvr_type(
    sfp_port_ctx *port, uint8_t ext_code, sfp_xcvr_type sub_type) {
  if (port == nullptr) {
    trace<msg::kMultiRateNullPort>(library_err_trace(), __func__);
    return sub_type;
  }
  if (ext_code == kExtCode25gSr) {
    return sfp_get_base_xcvr_type_from_reg(port);
  }
  for (const MultiRateRow &row : kMultiRateTable) {
    if (row.sub_type == sub_type) {
      return row.base_type;
    }
  }
  trace<msg::kMultiRateSubMissing>(port->err_trace, port->controller, port->port, sub_type);
  return sub_type;
}

extern "C" SFPDRV_API sfp_rc sfp_multi_rate_sel_oper_rate(sfp_port_ctx *port) {
  if (port == nullptr) {
    trace<msg::kMultiRateNullPort>(library_err_trace(), __func__);
    return SFP_RC_INVALID;
  }
  const uint32_t speed =
      port->oper_speed != 0 ? port->oper_speed : sfp_get_optics_speed(port->xcvr_type);
  RateSelect select = rate_select_for(*port, speed);
  const sfp_rc rc = sfp_access(port, select.reg, 1, SFP_PAGE_A2, &select.value, SFP_ACCESS_WRITE);
  if (rc != SFP_RC_OK) {
    trace<msg::kRateSelectWriteError>(port->err_trace, port->controller, port->port, select.value,
                                      rc);
  }
  return rc;
}
