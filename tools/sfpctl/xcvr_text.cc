#include "xcvr_text.h"

#include <algorithm>

namespace sfpctl {

std::string field_value(std::span<const uint8_t> field) {
  const auto end = std::find(field.begin(), field.end(), uint8_t{0});
  std::string text(field.begin(), end);
  // Erased memory reads 0xff: such bytes pad a field like blanks.
  text.erase(text.find_last_not_of(" \xff") + 1);
  return text;
}

std::string field_value(std::string_view field) {
  return field_value(std::span(reinterpret_cast<const uint8_t *>(field.data()), field.size()));
}

std::optional<TypeRow> type_row(sfp_xcvr_type type) {
  TypeRow row{type, sfp_xcvr_get_name_from_type(nullptr, type), 0, 0, 0};
  if (sfp_xcvr_get_code_id(type, &row.attr_low, &row.attr_high, &row.ext_id) == SFP_XCVR_NO_ROW) {
    return std::nullopt;
  }
  return row;
}

std::optional<GridChannel> grid_channel(sfp_xcvr_type type) {
  // The lookup gives 97 - the row's channel, whichever grid the row is on.
  uint32_t from_97 = 0;
  const std::optional<TypeRow> row = type_row(type);
  if (!row || sfp_xcvr_get_50Ghz_kv_itu_chan(type, &from_97) != SFP_RC_OK) {
    return std::nullopt;
  }
  // The rows of the 50 GHz grid carry their index in a vendor code ending
  // in 0xff; those of the 100 GHz grid have plain codes.
  const bool fifty = (row->ext_id & 0xff) == 0xff;
  return GridChannel{fifty ? 50u : 100u, 97u - from_97};
}

std::string grid_channel_text(const GridChannel &channel) {
  return std::to_string(channel.number) + " (" + std::to_string(channel.spacing_ghz) + " GHz)";
}

} // namespace sfpctl
