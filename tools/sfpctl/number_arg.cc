#include "number_arg.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

#include "session.h"
#include "sfpdrv/qsa.h"
#include "terminal_text.h"

namespace sfpctl {

namespace {

using Result = ParsedNumber::Result;

constexpr const char *kNotANumber = "' is not a number (decimal, or hex with 0x)";

ParsedNumber parse_unsigned(std::string_view text) {
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
  return {error == std::errc{} ? Result::Ok : Result::OutOfRange, value};
}

} // namespace

ParsedNumber parse_number(std::string_view text) {
  if (!text.starts_with('-') || text.substr(1).starts_with('-')) {
    return parse_unsigned(text);
  }
  const ParsedNumber magnitude = parse_unsigned(text.substr(1));
  if (magnitude.result == Result::NotANumber ||
      (magnitude.result == Result::Ok && magnitude.value == 0)) {
    return magnitude;
  }
  return {Result::OutOfRange, 0};
}

bool number_within(const ParsedNumber &number, uint32_t min, uint32_t max) {
  return number.result == Result::Ok && number.value >= min && number.value <= max;
}

CLI::Validator number_in(uint32_t min, uint32_t max) {
  const std::string range = std::to_string(min) + ".." + std::to_string(max);
  return CLI::Validator(
      [min, max, range](std::string &text) -> std::string {
        const ParsedNumber number = parse_number(text);
        if (number.result == Result::NotANumber) {
          return "'" + echoed(text) + kNotANumber;
        }
        if (!number_within(number, min, max)) {
          return echoed(text) + " is out of range " + range;
        }
        text = std::to_string(number.value);
        return {};
      },
      range, "NUMBER " + range);
}

CLI::Validator number_of(const std::vector<uint32_t> &choices) {
  std::string listed;
  for (const uint32_t choice : choices) {
    listed += (listed.empty() ? "" : ", ") + std::to_string(choice);
  }
  return CLI::Validator(
      [choices, listed](std::string &text) -> std::string {
        const ParsedNumber number = parse_number(text);
        if (number.result == Result::NotANumber) {
          return "'" + echoed(text) + kNotANumber;
        }
        if (number.result != Result::Ok ||
            std::find(choices.begin(), choices.end(), number.value) == choices.end()) {
          return echoed(text) + " is out of range (one of " + listed + ")";
        }
        text = std::to_string(number.value);
        return {};
      },
      "", "NUMBER " + listed);
}

CLI::Validator word_of(const std::vector<std::pair<std::string, std::string>> &words,
                       bool ignore_case) {
  std::string listed;
  for (std::size_t i = 0; i < words.size(); ++i) {
    listed += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i].first;
  }
  const auto lower = [](std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
  };
  return CLI::Validator(
      [words, listed, ignore_case, lower](std::string &text) -> std::string {
        const std::string given = ignore_case ? lower(text) : text;
        for (const auto &[word, value] : words) {
          if (given == word) {
            text = value;
            return {};
          }
        }
        return "'" + echoed(text) + "' is not one of " + listed;
      },
      "", "");
}

namespace {

constexpr uint32_t kLastModulePage = 255;
constexpr uint32_t kAdapterLower = QSA_PAGE_LOWER;
constexpr uint32_t kFirstAdapterUpper = QSA_PAGE_UPPER(0);
constexpr uint32_t kLastAdapterUpper = QSA_PAGE_UPPER(0xff);

bool adapter_page(uint32_t page) {
  return page == kAdapterLower || (page >= kFirstAdapterUpper && page <= kLastAdapterUpper);
}

// A module page or an adapter page code; which of them the port takes is
// known only once the global options are in.
CLI::Validator page_number() {
  return CLI::Validator(
      [](std::string &text) -> std::string {
        const ParsedNumber number = parse_number(text);
        if (number.result == Result::NotANumber) {
          return "'" + echoed(text) + kNotANumber;
        }
        if (number.result != Result::Ok ||
            (number.value > kLastModulePage && !adapter_page(number.value))) {
          return echoed(text) +
                 " is out of range 0..255 (or an adapter page 0xA00..0xAFF with --qsa)";
        }
        text = std::to_string(number.value);
        return {};
      },
      "0..255|0xA0|0xA00..0xAFF", "NUMBER 0..255|0xA0|0xA00..0xAFF");
}

} // namespace

void add_page_and_offset(CLI::App &command, uint32_t &page, uint32_t &offset) {
  command
      .add_option("PAGE", page,
                  "Page: 0 A0h, 1 A2h, 2..5 A2h tables 0..3; with --qsa an adapter page "
                  "code: 0xA0 the lower page, 0xA00 + n upper page n (0xA04 the SFP's A0h "
                  "mirror, 0xA06 its A2h)")
      ->required()
      ->type_name("NUM")
      ->transform(page_number());
  command.add_option("OFFSET", offset, "Offset of the first byte in the page")
      ->required()
      ->type_name("NUM")
      ->transform(number_in(0, 255));
  command.footer("Numbers are decimal or hex with 0x.");
}

// Without --qsa, 0xA0 is the adapter's lower page: a usage error, not a
// module page for the library to refuse.
bool page_for_port(bool qsa, uint32_t page, std::string_view command) {
  if (qsa ? adapter_page(page) : page <= kLastModulePage && !adapter_page(page)) {
    return true;
  }
  char text[160];
  std::snprintf(text, sizeof text,
                qsa ? "%.*s: with --qsa PAGE is an adapter page code (0xA0, 0xA00..0xAFF), not %u"
                    : "%.*s: page 0x%X is an adapter page code; it needs --qsa",
                static_cast<int>(command.size()), command.data(), page);
  print_error(text);
  return false;
}

} // namespace sfpctl
