#include "control_call.h"

#include <array>
#include <cstdio>

#include "command.h"
#include "module_changes.h"
#include "number_arg.h"
#include "status_text.h"

namespace sfpctl {
namespace {

using AdapterLowerPage = std::array<uint8_t, 128>;

AdapterLowerPage adapter_lower_page(const Session &session) {
  AdapterLowerPage bytes{};
  if (const sfpsim::Adapter *adapter = session.adapter(); adapter != nullptr) {
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
      bytes[offset] = adapter->lower(static_cast<uint8_t>(offset));
    }
  }
  return bytes;
}

// "adapter byte 86: 0x00 -> 0x01" for every lower-page byte that changed.
std::vector<std::string> adapter_changes(const AdapterLowerPage &before,
                                         const AdapterLowerPage &after) {
  std::vector<std::string> lines;
  for (std::size_t offset = 0; offset < before.size(); ++offset) {
    if (before[offset] != after[offset]) {
      char line[48];
      std::snprintf(line, sizeof line, "adapter byte %zu: 0x%02x -> 0x%02x", offset,
                    static_cast<unsigned>(before[offset]), static_cast<unsigned>(after[offset]));
      lines.emplace_back(line);
    }
  }
  return lines;
}

// The module's memory now: the simulated module's, or A0h and the A2h lower
// half read from a real one (a failed read compares as zeros).
ModuleSnapshot module_snapshot(const Session &session) {
  if (const sfpsim::Module *module = session.module(); module != nullptr) {
    return ModuleSnapshot(*module);
  }
  Capture capture;
  std::string error;
  (void)session.source()->capture(false, capture, error);
  return ModuleSnapshot(capture.memory);
}

} // namespace

int run_control(Session &session, std::string_view what, const std::function<sfp_rc()> &call,
                const std::function<void()> &report) {
  const ModuleSnapshot before = module_snapshot(session);
  const AdapterLowerPage adapter_before = adapter_lower_page(session);
  const sfp_rc rc = session.checked(what, call);
  const ModuleSnapshot after = module_snapshot(session);
  std::vector<std::string> changes = adapter_changes(adapter_before, adapter_lower_page(session));
  std::printf("%.*s: %s\n", static_cast<int>(what.size()), what.data(), status_text(rc).c_str());
  if (report) {
    report();
  }
  for (std::string &line : before.changes_to(after)) {
    changes.push_back(std::move(line));
  }
  if (changes.empty()) {
    std::puts("no module byte changed");
  }
  for (const std::string &line : changes) {
    std::puts(line.c_str());
  }
  return rc == SFP_RC_OK ? kExitOk : kExitFailure;
}

void add_switch(CLI::App &command, const std::string &name, bool &value, const std::string &off,
                const std::string &on, const std::string &description) {
  command.add_option(name, value, description)
      ->required()
      ->type_name(off + "|" + on)
      ->transform(word_of({{off, "0"}, {on, "1"}}));
}

} // namespace sfpctl
