// Text for a terminal: module bytes and command-line arguments can hold any
// byte, and what sfpctl prints must neither drive the terminal nor break an
// error into several lines.
#ifndef SFPCTL_TERMINAL_TEXT_H
#define SFPCTL_TERMINAL_TEXT_H

#include <string>
#include <string_view>

namespace sfpctl {

// `text` on one line: every byte outside the printable ASCII range is shown
// as '.'.
std::string printable(std::string_view text);

// A text of several lines (the library's report, dumps, trace records):
// like printable(), but line ends and tabs are kept.
std::string printable_lines(std::string_view text);

// Writes printable_lines(text) to standard output.
void print_library_text(std::string_view text);

// `text` with every byte outside the printable ASCII range escaped: "\n",
// "\t", "\r", or "\xNN".
std::string escaped(std::string_view text);

// A command-line argument as an error message echoes it: escaped, and cut
// as a whole to its first 40 characters and "..." when it is longer.
std::string echoed(std::string_view argument);

} // namespace sfpctl

#endif // SFPCTL_TERMINAL_TEXT_H
