// check: a health check of the ports with the conventions of a monitoring
// plugin: one summary line, one line per problem, and exit status 0 OK,
// 1 WARNING, 2 CRITICAL, 3 UNKNOWN.
#include <cstdio>

#include <CLI/CLI.hpp>

#include "command.h"
#include "health.h"
#include "session.h"
#include "watch.h"
#include "watch_loop.h"

namespace sfpctl {
namespace {

class CheckCommand : public Command {
public:
  std::string_view name() const override { return "check"; }
  std::string_view summary() const override {
    return "Health check of the ports for a monitoring system (exit 0 OK, 1 WARNING, "
           "2 CRITICAL, 3 UNKNOWN)";
  }
  PortUse port_use() const override { return PortUse::None; }
  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--absent-ok", absent_ok_, "An empty port is OK rather than UNKNOWN");
    sub.footer(
        "Reads every port once (--port NAME=SOURCE, --ports FILE; without them three "
        "embedded simulated ports) and prints 'SFP STATE - ' and the worst problem, then "
        "one line per problem. An alarm flag or a value beyond an alarm threshold is "
        "CRITICAL, a warning flag or a value beyond a warning threshold WARNING, an absent, "
        "refused or unreadable module UNKNOWN (an absent one OK with --absent-ok). The worst "
        "decides: CRITICAL, then WARNING, then UNKNOWN.\n"
        "Exit status (this command's own): 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN.");
  }

  int run(Session &session) override {
    const std::vector<PortSpec> specs = watched_ports(session.options());
    PortSet ports(specs, &open_source_backend);
    const HealthReport report = assess(ports.read_all(), absent_ok_);
    std::printf("%s\n", summary_line(report, specs.size()).c_str());
    for (const Problem &problem : report.problems) {
      std::printf("%s: %s\n", health_name(problem.health), problem.text.c_str());
    }
    return static_cast<int>(report.worst);
  }

private:
  bool absent_ok_ = false;
};

} // namespace

std::unique_ptr<Command> make_check_command() {
  return std::make_unique<CheckCommand>();
}

} // namespace sfpctl
