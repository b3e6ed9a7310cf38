// Named ports: the modules a command watches, each given as NAME=SOURCE on
// the command line (--port) or as "NAME SOURCE" lines of a file (--ports).
#ifndef SFPCTL_PORTS_H
#define SFPCTL_PORTS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sfpctl {

struct PortSpec {
  std::string name;
  std::string source; // e.g. "sim:25gbase-sr", "image:module.bin"
};

// "NAME=SOURCE" as a port; nullopt and `error` set when it is not one (no
// '=', an empty name or source, or a name with a blank or a character that
// is not printable ASCII).
std::optional<PortSpec> parse_port(std::string_view text, std::string &error);

// The ports of a file: one "NAME SOURCE" per line, '#' starts a comment,
// blank lines are skipped. On a malformed line or an unreadable file returns
// false and sets `error` to one line naming the file (and the line).
bool read_ports_file(const std::string &path, std::vector<PortSpec> &ports, std::string &error);

// Why `ports` cannot be watched together (a name given twice), or empty.
std::string duplicate_port_error(const std::vector<PortSpec> &ports);

} // namespace sfpctl

#endif // SFPCTL_PORTS_H
