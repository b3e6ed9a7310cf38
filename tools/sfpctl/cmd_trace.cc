// trace: the library's error and event trace buffers. It runs even when the
// port could not be created, since the buffers then tell why.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "platform/pelog.h"
#include "session.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

class TraceCommand : public Command {
public:
  std::string_view name() const override { return "trace"; }
  std::string_view summary() const override {
    return "Show the library's error and event trace buffers";
  }
  PortUse port_use() const override { return PortUse::Optional; }
  void add_arguments(CLI::App &) override {}

  int run(Session &session) override {
    int exit_code = kExitOk;
    std::vector<const char *> buffers{kErrorTrace, kEventTrace};
    if (session.adapter() != nullptr) {
      buffers.insert(buffers.end(), {kAdapterErrorTrace, kAdapterEventTrace});
    }
    for (const char *buffer : buffers) {
      std::printf("== %s ==\n", buffer);
      if (pelog_find(buffer) == nullptr || session.manager() == nullptr) {
        std::printf("(no buffer %s: the library was never initialised)\n", buffer);
        continue;
      }
      const std::string command = std::string("show pelog ") + buffer;
      const std::optional<int> rc = run_captured(session, command);
      // Lost output is reported once, when the run closes standard output.
      if (!rc || !flush_standard_output()) {
        return kExitFailure;
      }
      if (*rc != 0) {
        print_error("'" + command + "' failed: status " + std::to_string(*rc));
        exit_code = kExitFailure;
      }
    }
    return exit_code;
  }

private:
  // Runs an event manager command and prints what it wrote: records can
  // quote module bytes, which are printed as printable text. Nullopt when
  // the output could not be captured.
  static std::optional<int> run_captured(Session &session, const std::string &command) {
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *capture = open_memstream(&text, &size);
    if (capture == nullptr) {
      print_error("trace: cannot capture '" + command + "'");
      return std::nullopt;
    }
    const int rc = event_manager_run(session.manager(), command.c_str(), capture);
    std::fclose(capture);
    print_library_text(std::string_view(text, size));
    std::free(text);
    return rc;
  }
};

} // namespace

std::unique_ptr<Command> make_trace_command() {
  return std::make_unique<TraceCommand>();
}

} // namespace sfpctl
