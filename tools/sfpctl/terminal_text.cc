#include "terminal_text.h"

#include <algorithm>
#include <cstdio>

namespace sfpctl {
namespace {

constexpr std::size_t kLongestEcho = 40;

bool printable_byte(char c) {
  return c >= 0x20 && c <= 0x7e;
}

std::string replaced(std::string_view text, bool keep_layout) {
  std::string out(text);
  std::replace_if(
      out.begin(), out.end(),
      [keep_layout](char c) {
        return !printable_byte(c) && !(keep_layout && (c == '\n' || c == '\t'));
      },
      '.');
  return out;
}

std::string escaped_byte(char c) {
  switch (c) {
  case '\n':
    return "\\n";
  case '\t':
    return "\\t";
  case '\r':
    return "\\r";
  default:
    break;
  }
  if (printable_byte(c)) {
    return std::string(1, c);
  }
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return text;
}

} // namespace

std::string printable(std::string_view text) {
  return replaced(text, false);
}

std::string printable_lines(std::string_view text) {
  return replaced(text, true);
}

void print_library_text(std::string_view text) {
  const std::string shown = printable_lines(text);
  std::fwrite(shown.data(), 1, shown.size(), stdout);
}

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    out += escaped_byte(c);
  }
  return out;
}

std::string echoed(std::string_view argument) {
  std::string out;
  for (const char c : argument) {
    const std::string shown = escaped_byte(c);
    if (out.size() + shown.size() > kLongestEcho) {
      return out + "...";
    }
    out += shown;
  }
  return out;
}

} // namespace sfpctl
