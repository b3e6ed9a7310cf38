// The transceiver type table: one row per recognised module type with the
// identification pattern that selects it, in the slot order in which type
// detection scans it (the first matching slot wins). Rows are constant; only
// the per-slot "supported" flag changes at run time.
#ifndef SFPDRV_XCVR_TYPE_TABLE_H
#define SFPDRV_XCVR_TYPE_TABLE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sfpdrv/xcvr.h"

namespace sfpdrv {

// One slot of the table. An empty slot is all zero (type 0, no name).
struct XcvrRow {
  sfp_xcvr_type xcvr_type;
  uint32_t attr_low;  // compliance-code low word (A0h bytes 3..6); 0 = any
  uint32_t attr_high; // compliance-code high word (A0h bytes 7..10); 0 = any
  uint16_t ext_id;    // vendor transceiver code (A0h byte 96, 97); 0 = any
  int32_t itu_chan;   // ITU channel of a DWDM row, kNoItuChan otherwise
  // Informational: extended compliance code << 8 | cable metres (0xff = any)
  // for the 25G/50G rows, cable metres for 10G cables, 0 otherwise.
  uint32_t ext_code_length;
  const char *name;
};

inline constexpr std::size_t kTypeSlots = SFP_XCVR_TYPE_SLOTS;
inline constexpr std::size_t kTypeRows = 328;
inline constexpr int32_t kNoItuChan = SFP_XCVR_NO_ITU_CHAN;

inline constexpr sfp_xcvr_type kFirstTableType = SFP_XCVR_TYPE_UNKNOWN;
inline constexpr sfp_xcvr_type kLastTableType = 853;

// All slots, rows first (slots 0 to kTypeRows - 1), then the empty slots.
std::span<const XcvrRow, kTypeSlots> type_slots();

// The first slot whose type equals `type` (type 0 gives the first empty
// slot), or nullopt when no slot has it.
std::optional<std::size_t> first_slot_of(sfp_xcvr_type type);

// The row of `type` (its first slot), or null.
const XcvrRow *row_of(sfp_xcvr_type type);

// The run-time "supported" flag of a slot (`slot` < kTypeSlots).
uint32_t slot_supported(std::size_t slot);
void set_slot_supported(std::size_t slot, uint32_t value);

// The types that the library initialisation marks supported, in ascending
// order, generated from the table at compile time: every type with a row
// except Unknown, the special-purpose 10G optics 697..703 and the dual-rate
// 10/25G base types 805..807; and 767, which has no row (setting its flag
// changes nothing).
inline constexpr std::size_t kDefaultSupportedCount = 312;
std::span<const sfp_xcvr_type, kDefaultSupportedCount> default_supported_types();

} // namespace sfpdrv

#endif // SFPDRV_XCVR_TYPE_TABLE_H
