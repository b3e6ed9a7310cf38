// Lookups by transceiver type: name, match codes, ITU channel, supported
// flag, nominal speed. Each finds the type's first slot through the
// compile-time index of the type table.
#include "xcvr/internal.h"
#include "xcvr/messages.h"
#include "xcvr/type_table.h"

namespace sfpdrv {
namespace {

// Channel numbering of the tunable optics (50 GHz grid from 191.35 THz):
// a 50 GHz-grid row with index m is channel 97 - m, a 100 GHz-grid row with
// ITU channel c is channel 123 - 2c. Unsigned, so a row of the other grid
// wraps and is returned as it comes.
constexpr uint32_t kKv50GhzBase = 97;
constexpr uint32_t kKv100GhzBase = 123;

const char *table_name(sfp_xcvr_type type) {
  const XcvrRow *row = row_of(type);
  if (row == nullptr) {
    return row_of(SFP_XCVR_TYPE_UNKNOWN)->name;
  }
  return row->name != nullptr ? row->name : ""; // an empty slot has no name
}

// The row's ITU channel, or null when the type has none.
const XcvrRow *dwdm_row_of(sfp_xcvr_type type) {
  const XcvrRow *row = row_of(type);
  return row != nullptr && row->itu_chan != kNoItuChan ? row : nullptr;
}

constexpr bool in_range(sfp_xcvr_type type, sfp_xcvr_type first, sfp_xcvr_type last) {
  return type >= first && type <= last;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API const char *sfp_xcvr_get_name_from_type(sfp_port_ctx *port,
                                                              sfp_xcvr_type type) {
  if (port != nullptr && port->multi_rate != 0) {
    if (const char *family = multi_rate_family_name(type)) {
      return family;
    }
    trace<msg::kMultiRateNameMissing>(port->err_trace, port->controller, port->port, type);
  }
  return table_name(type);
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_get_code_id(sfp_xcvr_type type, uint32_t *attr_low,
                                                    uint32_t *attr_high, uint16_t *ext_id) {
  const XcvrRow *row = row_of(type);
  if (attr_low != nullptr) {
    *attr_low = row != nullptr ? row->attr_low : 0;
  }
  if (attr_high != nullptr) {
    *attr_high = row != nullptr ? row->attr_high : 0;
  }
  if (ext_id != nullptr) {
    *ext_id = row != nullptr ? row->ext_id : 0;
  }
  return row != nullptr ? SFP_RC_OK : SFP_XCVR_NO_ROW;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_50Ghz_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan) {
  const XcvrRow *row = dwdm_row_of(type);
  if (row == nullptr || chan == nullptr) {
    return SFP_RC_INVALID;
  }
  *chan = kKv50GhzBase - static_cast<uint32_t>(row->itu_chan);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_kv_itu_chan(sfp_xcvr_type type, uint32_t *chan) {
  const XcvrRow *row = dwdm_row_of(type);
  if (row == nullptr || chan == nullptr) {
    return SFP_RC_INVALID;
  }
  *chan = kKv100GhzBase - 2 * static_cast<uint32_t>(row->itu_chan);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_get_attribute_supported(sfp_xcvr_type type) {
  const std::optional<std::size_t> slot = first_slot_of(type);
  return slot ? slot_supported(*slot) : 0;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_set_attribute_supported(sfp_xcvr_type type, uint32_t value) {
  if (const std::optional<std::size_t> slot = first_slot_of(type)) {
    set_slot_supported(*slot, value);
  }
  return SFP_RC_OK;
}

extern "C" SFPDRV_API uint32_t sfp_get_optics_speed(sfp_xcvr_type type) {
  if (type == 513 || type == 515 || type == 516 || in_range(type, 521, 590) || type == 852 ||
      type == 853) {
    return 1000;
  }
  if (in_range(type, 594, 766)) {
    return 10000;
  }
  if (in_range(type, 811, 820)) {
    return 50000;
  }
  return 25000; // the 25G types, the gaps, and every value outside the table
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_is_one_ge_sfp(sfp_xcvr_type type) {
  return type == 513 || in_range(type, 521, 534) || in_range(type, 541, 590) ? 1 : 0;
}
