#include "number_arg.h"

#include <charconv>

namespace sfpctl {

std::optional<uint32_t> parse_number(std::string_view text) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty()) {
    return std::nullopt;
  }
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc{} || stop != end) {
    return std::nullopt;
  }
  return value;
}

CLI::Validator number_in(uint32_t min, uint32_t max) {
  const std::string range = std::to_string(min) + ".." + std::to_string(max);
  return CLI::Validator(
      [min, max, range](std::string &text) -> std::string {
        const std::optional<uint32_t> value = parse_number(text);
        if (!value) {
          return "'" + text + "' is not a number (decimal, or hex with 0x)";
        }
        if (*value < min || *value > max) {
          return text + " is out of range " + range;
        }
        text = std::to_string(*value);
        return {};
      },
      range, "NUMBER " + range);
}

} // namespace sfpctl
