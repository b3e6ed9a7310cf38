// Numeric command-line arguments (decimal or 0x-prefixed hex, in a range)
// and arguments that take one of a few words.
#ifndef SFPCTL_NUMBER_ARG_H
#define SFPCTL_NUMBER_ARG_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace sfpctl {

// A number argument as read: its value, or why it has none.
struct ParsedNumber {
  enum class Result { Ok, NotANumber, OutOfRange } result;
  uint32_t value;
};

// `text` ("42", "0x2a", "0X2A") as a number; a leading zero does not mean
// octal. A negative number ("-1") and one that does not fit 32 bits are
// numbers, but OutOfRange.
ParsedNumber parse_number(std::string_view text);

// Whether `number` is a number from `min` to `max`.
bool number_within(const ParsedNumber &number, uint32_t min, uint32_t max);

// A CLI11 transform that accepts numbers from `min` to `max` and rewrites
// them in decimal, so that CLI11 converts them without guessing a base.
CLI::Validator number_in(uint32_t min, uint32_t max);

// A CLI11 transform that accepts the numbers of `choices` ("10, 100, 1000").
CLI::Validator number_of(const std::vector<uint32_t> &choices);

// A CLI11 transform that accepts only the words of `words` (the first of each
// pair) and rewrites a word as its value (the second), which CLI11 then
// converts; anything else gets "'X' is not one of A, B or C".
CLI::Validator word_of(const std::vector<std::pair<std::string, std::string>> &words,
                       bool ignore_case = false);

// Declares the required PAGE and OFFSET arguments of a memory command. PAGE
// is a module page (0..255) or an adapter page code (0xA0, 0xA00..0xAFF);
// 0xA0 is always taken as the adapter's code.
void add_page_and_offset(CLI::App &command, uint32_t &page, uint32_t &offset);

// Whether PAGE suits the port: an adapter page code with --qsa (`qsa`), a
// module page without. Prints why not on standard error.
bool page_for_port(bool qsa, uint32_t page, std::string_view command);

} // namespace sfpctl

#endif // SFPCTL_NUMBER_ARG_H
