// metrics: the ports' state in the Prometheus text exposition format, on
// standard output or as a textfile for the node exporter, once or at an
// interval.
#include <cstdio>

#include <CLI/CLI.hpp>

#include "command.h"
#include "metrics_text.h"
#include "session.h"
#include "watch.h"
#include "watch_loop.h"

namespace sfpctl {
namespace {

class MetricsCommand : public Command {
public:
  std::string_view name() const override { return "metrics"; }
  std::string_view summary() const override {
    return "The ports' diagnostics in the Prometheus text format (stdout or a textfile)";
  }
  PortUse port_use() const override { return PortUse::None; }
  void add_arguments(CLI::App &sub) override {
    sub.add_option("--textfile", textfile_,
                   "Write the metrics to this file instead (atomically: a temporary file in the "
                   "same directory, synced and renamed), for the node exporter's textfile "
                   "collector (name it *.prom)")
        ->type_name("PATH");
    repeat_.add_options(sub, "scrapes", true);
    interval_ = sub.get_option("--interval");
    sub.footer("Reads every port once per scrape with the library's status snapshot; a module "
               "is identified once when it is inserted. Ports: --port NAME=SOURCE, --ports "
               "FILE; without them three embedded simulated ports. A port that is absent, "
               "refused or failing has sfp_up 0 and no value series. Ctrl-C or SIGTERM end a "
               "repeating run after the file in progress is complete.");
  }

  int run(Session &session) override {
    PortSet ports(watched_ports(session.options()), &open_source_backend);
    const bool repeating = interval_->count() > 0 || repeat_.count.has_value();
    StopSignals signals;
    std::string text;
    for (uint64_t scrape = 1;; ++scrape) {
      text.clear();
      render_metrics(ports.read_all(), text);
      if (!emit(text)) {
        return kExitFailure;
      }
      if (!repeating || (repeat_.count && scrape >= *repeat_.count) ||
          !signals.wait(repeat_.interval)) {
        return kExitOk;
      }
    }
  }

private:
  bool emit(const std::string &text) const {
    if (textfile_.empty()) {
      std::fwrite(text.data(), 1, text.size(), stdout);
      return flush_standard_output();
    }
    std::string error;
    if (!write_file_atomically(textfile_, text, error)) {
      print_error(error);
      return false;
    }
    return true;
  }

  std::string textfile_;
  Repeat repeat_;
  const CLI::Option *interval_ = nullptr;
};

} // namespace

std::unique_ptr<Command> make_metrics_command() {
  return std::make_unique<MetricsCommand>();
}

} // namespace sfpctl
