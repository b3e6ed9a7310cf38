// dump: the module's whole memory (A0h, A2h and the A2h tables it has) in a
// text form that --image reads back byte for byte.
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

#include "command.h"
#include "session.h"
#include "sfpctl_version.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

constexpr std::size_t kBytesPerLine = 16;

// Now as ISO 8601 in UTC, "2026-01-31T12:00:00Z".
std::string utc_now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = "unknown";
  if (gmtime_r(&now, &parts) != nullptr) {
    (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  }
  return text;
}

// "NAME:" and the bytes in lines "0xOO: hh hh ...", offsets from `first`.
std::string section(const char *name, std::span<const uint8_t> bytes, std::size_t first) {
  std::string out = std::string(name) + ":\n";
  for (std::size_t at = 0; at < bytes.size(); at += kBytesPerLine) {
    char field[16];
    std::snprintf(field, sizeof field, "0x%02zx:", first + at);
    out += field;
    for (std::size_t i = at; i < at + kBytesPerLine; ++i) {
      std::snprintf(field, sizeof field, " %02x", static_cast<unsigned>(bytes[i]));
      out += field;
    }
    out += '\n';
  }
  return out;
}

std::string dump_text(const Capture &capture, const std::string &label) {
  std::string out = "# sfpctl dump of a module's memory (sfpctl --image FILE reads it back)\n";
  // A label is a path or a name given on the command line: one line, always.
  out += "# source: " + escaped(label) + "\n";
  out += "# time: " + utc_now() + "\n";
  out += "# tool: sfpctl " SFPCTL_VERSION "\n";
  out += section("A0h", capture.memory.a0, 0);
  if (capture.has_a2) {
    out += section("A2h", capture.memory.a2_lower, 0);
  }
  for (std::size_t table = 0; table < sfpsim::kTableCount; ++table) {
    if (capture.tables[table]) {
      const std::string name = "A2h table " + std::to_string(table);
      out += section(name.c_str(), capture.memory.tables[table], sfpsim::kA2LowerSize);
    }
  }
  return out;
}

bool write_file(const std::string &path, const std::string &text) {
  std::FILE *file = std::fopen(path.c_str(), "w");
  if (file == nullptr) {
    print_error("dump: cannot write " + echoed(path) + ": " +
                std::error_code(errno, std::generic_category()).message());
    return false;
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const int error = errno;
  if (std::fclose(file) != 0 || !written) {
    print_error("dump: cannot write " + echoed(path) + ": " +
                std::error_code(written ? errno : error, std::generic_category()).message());
    return false;
  }
  return true;
}

class DumpCommand : public Command {
public:
  std::string_view name() const override { return "dump"; }
  std::string_view summary() const override {
    return "Capture the module's whole memory in a file that --image reads back";
  }
  // Also a module the library refuses is captured.
  PortUse port_use() const override { return PortUse::Optional; }
  bool behind_adapter() const override { return false; }
  std::string_view why_not_behind_adapter() const override {
    return "it captures the module itself; run it without --qsa";
  }

  void add_arguments(CLI::App &sub) override {
    sub.add_option("--output,-o", output_, "Write the dump to this file (default: standard output)")
        ->type_name("FILE");
    sub.footer("The dump holds A0h, the A2h lower half and each A2h table the module has (a "
               "real module: table 0, and tables 1 to 3 when its A0h says it pages them or is "
               "tunable), in lines of 16 bytes, after comment lines naming the source, the time "
               "(UTC) and the tool's version. Reading a table selects it (A2h byte 127) where the "
               "source needs that; the select is put back afterwards.");
  }

  int run(Session &session) override {
    Capture capture;
    std::string error;
    if (session.source()->capture(true, capture, error) != SFP_RC_OK) {
      print_error("dump: " + error);
      return kExitFailure;
    }
    const std::string text = dump_text(capture, session.source_label());
    if (output_.empty()) {
      std::fputs(text.c_str(), stdout);
      return kExitOk;
    }
    return write_file(output_, text) ? kExitOk : kExitFailure;
  }

private:
  std::string output_;
};

} // namespace

std::unique_ptr<Command> make_dump_command() {
  return std::make_unique<DumpCommand>();
}

} // namespace sfpctl
