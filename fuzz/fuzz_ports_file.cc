// Fuzz target: the ports file of `sfpctl --ports`, read by the tool's own
// reader from a file in memory, and the same bytes as one `--port
// NAME=SOURCE` argument.
//
// Input: the file's contents.
#include <sys/mman.h>
#include <unistd.h>

#include <set>
#include <string>

#include "fuzz/fuzz_support.h"
#include "ports.h"

namespace sfpfuzz {
namespace {

bool one_printable_line(const std::string &text) {
  for (const char c : text) {
    if (c < 0x20 || c > 0x7e) {
      return false;
    }
  }
  return !text.empty();
}

bool blank(char c) {
  return c == ' ' || c == '\t';
}

// A port as the reader may hand it out: a name of printable characters
// without a blank or '=', a source without a blank, a tab or a comment.
bool well_formed(const sfpctl::PortSpec &port) {
  for (const char c : port.name) {
    if (c <= ' ' || c > 0x7e || c == '=') {
      return false;
    }
  }
  for (const char c : port.source) {
    if (blank(c) || c == '#' || c == '\n') {
      return false;
    }
  }
  return !port.name.empty() && !port.source.empty() && port.source.back() != '\r';
}

// Reads `text` as a ports file through a file that lives in memory only.
bool read_as_file(const std::string &text, std::vector<sfpctl::PortSpec> &ports,
                  std::string &error) {
  const int fd = memfd_create("ports", 0);
  FUZZ_REQUIRE(fd >= 0);
  FUZZ_REQUIRE(write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  const bool ok = sfpctl::read_ports_file("/proc/self/fd/" + std::to_string(fd), ports, error);
  close(fd);
  return ok;
}

} // namespace
} // namespace sfpfuzz

// What must hold: a file is read or refused with one printable line; every
// port read is well formed, reads back the same from "NAME SOURCE" lines
// and as NAME=SOURCE; a name given twice is what the duplicate check finds.
// As one argument, the bytes are a port exactly when they are NAME=SOURCE.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace sfpfuzz;
  const std::string text(reinterpret_cast<const char *>(data), size);
  std::vector<sfpctl::PortSpec> ports;
  std::string error;
  if (!read_as_file(text, ports, error)) {
    FUZZ_REQUIRE(one_printable_line(error));
  } else {
    std::string again_text;
    std::set<std::string> names;
    for (const sfpctl::PortSpec &port : ports) {
      FUZZ_REQUIRE(well_formed(port));
      again_text += port.name + "\t" + port.source + "\n";
      std::string why;
      const auto argument = sfpctl::parse_port(port.name + "=" + port.source, why);
      FUZZ_REQUIRE(argument && argument->name == port.name && argument->source == port.source);
      names.insert(port.name);
    }
    FUZZ_REQUIRE(sfpctl::duplicate_port_error(ports).empty() == (names.size() == ports.size()));
    std::vector<sfpctl::PortSpec> again;
    FUZZ_REQUIRE(read_as_file(again_text, again, error) && again.size() == ports.size());
    for (std::size_t i = 0; i < ports.size(); ++i) {
      FUZZ_REQUIRE(again[i].name == ports[i].name && again[i].source == ports[i].source);
    }
  }
  std::string why;
  const auto port = sfpctl::parse_port(text, why);
  if (port) {
    FUZZ_REQUIRE(port->name + "=" + port->source == text && !port->source.empty());
  } else {
    FUZZ_REQUIRE(one_printable_line(why));
  }
  return 0;
}

namespace sfpfuzz {

// Seeds: ports files as people write them (comments, blank lines, tabs,
// CRLF line ends) and each way a line can be refused. Mutated: each seed
// with each byte replaced by a few that the reader treats specially.
void generate_inputs(bool mutated, const Emit &emit) {
  const std::vector<std::string> seeds = {
      "p1 sim:25gbase-sr\np2 sim:1000base-t\n",
      "# rack 4\n\ncage-1\tsim:10g-tunable-dwdm   # top\n  cage-2  image:module.bin\n",
      "p1 sim:25gbase-sr\r\np2 i2c:/dev/i2c-3\r\n",
      "p1 eeprom:/sys/bus/i2c/devices/3-0050/eeprom\np1 ethtool:eth0\n",
      "p1\n",
      "p1 sim:25gbase-sr extra\n",
      "p=1 sim:25gbase-sr\n",
      std::string("p\x01 sim:a\n"),
      std::string("p1 sim:a\0b\n", 11),
      "p1=sim:25gbase-sr",
      "=sim:a",
      "p1=",
      "\xff\xfe sim:a\n",
      std::string(300, 'n') + " " + std::string(300, 's') + "\n",
      "#\n#\n\t\n",
      "",
  };
  for (const std::string &seed : seeds) {
    std::vector<uint8_t> input(seed.begin(), seed.end());
    emit(input);
    if (!mutated || input.size() > 96) {
      continue;
    }
    for (uint8_t &byte : input) {
      const uint8_t original = byte;
      for (const uint8_t other : {uint8_t{' '}, uint8_t{'\t'}, uint8_t{'\r'}, uint8_t{'\n'},
                                  uint8_t{'#'}, uint8_t{'='}, uint8_t{0}, uint8_t{0x80}}) {
        byte = other;
        emit(input);
      }
      byte = original;
    }
  }
}

} // namespace sfpfuzz
