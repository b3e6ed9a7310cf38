// How sfpctl shows identification data: the text fields of module memory and
// the rows of the library's type table.
#ifndef SFPCTL_XCVR_TEXT_H
#define SFPCTL_XCVR_TEXT_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sfpdrv/sfpdrv.h"

namespace sfpctl {

// A blank-padded text field of module memory as the library compares it: up
// to the first NUL, trailing blanks and erased bytes (0xff) removed. Any
// other byte is kept.
std::string field_value(std::span<const uint8_t> field);
// The same of a field the library copied into a record's text.
std::string field_value(std::string_view field);

// The match fields and name of a type's row in the library's table.
struct TypeRow {
  sfp_xcvr_type type;
  const char *name;
  uint32_t attr_low;
  uint32_t attr_high;
  uint16_t ext_id;
};

// The row of `type`, or nullopt when the table has none.
std::optional<TypeRow> type_row(sfp_xcvr_type type);

// The channel of a DWDM row: the ITU channel of the 100 GHz grid, or the
// index of the 50 GHz grid (191.3 THz + index x 50 GHz).
struct GridChannel {
  uint32_t spacing_ghz; // 100 or 50
  uint32_t number;
};

// The channel of the type's row, or nullopt for a row without one.
std::optional<GridChannel> grid_channel(sfp_xcvr_type type);

// "44 (100 GHz)", "92 (50 GHz)".
std::string grid_channel_text(const GridChannel &channel);

} // namespace sfpctl

#endif // SFPCTL_XCVR_TEXT_H
