#include "number_arg.h"

#include <charconv>

namespace sfpctl {

ParsedNumber parse_number(std::string_view text) {
  using Result = ParsedNumber::Result;
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (text.empty() || stop != end ||
      (error != std::errc{} && error != std::errc::result_out_of_range)) {
    return {Result::NotANumber, 0};
  }
  return {error == std::errc{} ? Result::Ok : Result::TooLarge, value};
}

CLI::Validator number_in(uint32_t min, uint32_t max) {
  const std::string range = std::to_string(min) + ".." + std::to_string(max);
  return CLI::Validator(
      [min, max, range](std::string &text) -> std::string {
        const ParsedNumber number = parse_number(text);
        if (number.result == ParsedNumber::Result::NotANumber) {
          return "'" + text + "' is not a number (decimal, or hex with 0x)";
        }
        if (number.result == ParsedNumber::Result::TooLarge || number.value < min ||
            number.value > max) {
          return text + " is out of range " + range;
        }
        text = std::to_string(number.value);
        return {};
      },
      range, "NUMBER " + range);
}

void add_page_and_offset(CLI::App &command, uint32_t &page, uint32_t &offset) {
  command.add_option("PAGE", page, "Page: 0 A0h, 1 A2h, 2..5 A2h tables 0..3")
      ->required()
      ->type_name("NUM")
      ->transform(number_in(0, 255));
  command.add_option("OFFSET", offset, "Offset of the first byte in the page")
      ->required()
      ->type_name("NUM")
      ->transform(number_in(0, 255));
  command.footer("Numbers are decimal or hex with 0x.");
}

} // namespace sfpctl
