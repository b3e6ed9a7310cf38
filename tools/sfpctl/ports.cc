#include "ports.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "terminal_text.h"

namespace sfpctl {
namespace {

// Any printable character but a blank and '=' (a name is one word of a
// ports file and ends at '=' on the command line).
bool name_character(char c) {
  return c > ' ' && c < 0x7f && c != '=';
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// 'TEXT', echoed.
std::string quoted(std::string_view text) {
  std::string out(1, '\'');
  out += echoed(text);
  out += '\'';
  return out;
}

std::optional<PortSpec> make_port(std::string_view name, std::string_view source,
                                  std::string_view whole, std::string &error) {
  if (name.empty() || source.empty()) {
    error = quoted(whole) + " is not NAME=SOURCE (e.g. p1=sim:25gbase-sr)";
    return std::nullopt;
  }
  if (!std::all_of(name.begin(), name.end(), name_character)) {
    error = "port name '" + echoed(name) + "' may hold printable characters only, no blank";
    return std::nullopt;
  }
  return PortSpec{std::string(name), std::string(source)};
}

} // namespace

std::optional<PortSpec> parse_port(std::string_view text, std::string &error) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    return make_port({}, {}, text, error);
  }
  return make_port(text.substr(0, equals), text.substr(equals + 1), text, error);
}

bool read_ports_file(const std::string &path, std::vector<PortSpec> &ports, std::string &error) {
  std::ifstream in(path);
  if (!in) {
    error = "cannot read ports file '" + echoed(path) + "'";
    return false;
  }
  std::string line;
  for (unsigned number = 1; std::getline(in, line); ++number) {
    std::string_view text = line;
    text = trimmed(text.substr(0, text.find('#')));
    if (text.empty()) {
      continue;
    }
    const std::size_t gap = text.find_first_of(" \t");
    const std::string_view name = text.substr(0, gap);
    const std::string_view source =
        gap == std::string_view::npos ? std::string_view{} : trimmed(text.substr(gap));
    std::string why;
    std::optional<PortSpec> port;
    if (source.find_first_of(" \t") != std::string_view::npos) {
      why = quoted(text) + " has more than NAME SOURCE";
    } else if (name.empty() || source.empty()) {
      why = quoted(text) + " is not NAME SOURCE";
    } else {
      port = make_port(name, source, text, why);
    }
    if (!port) {
      error = echoed(path) + ":" + std::to_string(number) + ": " + why;
      return false;
    }
    ports.push_back(std::move(*port));
  }
  if (in.bad()) {
    error = "cannot read ports file '" + echoed(path) + "'";
    return false;
  }
  return true;
}

std::string duplicate_port_error(const std::vector<PortSpec> &ports) {
  std::set<std::string_view> seen;
  for (const PortSpec &port : ports) {
    if (!seen.insert(port.name).second) {
      return "port '" + echoed(port.name) + "' is given twice";
    }
  }
  return {};
}

} // namespace sfpctl
