// trace: the library's error and event trace buffers. It runs even when the
// port could not be created, since the buffers then tell why.
#include <cstdio>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "platform/pelog.h"
#include "session.h"

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
      // Lost output is reported once, when the run closes standard output.
      if (!flush_standard_output()) {
        return kExitFailure;
      }
      const std::string command = std::string("show pelog ") + buffer;
      const int rc = event_manager_run(session.manager(), command.c_str(), stdout);
      if (!flush_standard_output()) {
        return kExitFailure;
      }
      if (rc != 0) {
        print_error("'" + command + "' failed: status " + std::to_string(rc));
        exit_code = kExitFailure;
      }
    }
    return exit_code;
  }
};

} // namespace

std::unique_ptr<Command> make_trace_command() {
  return std::make_unique<TraceCommand>();
}

} // namespace sfpctl
