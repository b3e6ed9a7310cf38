#include "watch_loop.h"

#include <poll.h>
#include <signal.h>

#include <cmath>
#include <csignal>
#include <ctime>

#include <CLI/CLI.hpp>

#include "session.h"
#include "watch.h"

namespace sfpctl {
namespace {

volatile std::sig_atomic_t g_stop = 0;

void on_stop_signal(int) {
  g_stop = 1;
}

sigset_t g_previous_mask;
struct sigaction g_previous_int;
struct sigaction g_previous_term;

} // namespace

std::vector<PortSpec> watched_ports(const GlobalOptions &options) {
  if (!options.ports.empty()) {
    return options.ports;
  }
  if (options.module_given) {
    const SourceSpec spec = source_spec(options);
    // A port's image is one file: that of A0h.
    return {{"module", spec.kind == SourceKind::Image ? "image:" + spec.target : spec.label()}};
  }
  return default_ports();
}

StopSignals::StopSignals() {
  g_stop = 0;
  struct sigaction action {};
  action.sa_handler = &on_stop_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0; // no SA_RESTART: the wait ends
  sigaction(SIGINT, &action, &g_previous_int);
  sigaction(SIGTERM, &action, &g_previous_term);
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGINT);
  sigaddset(&held, SIGTERM);
  sigprocmask(SIG_BLOCK, &held, &g_previous_mask);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &g_previous_int, nullptr);
  sigaction(SIGTERM, &g_previous_term, nullptr);
  sigprocmask(SIG_SETMASK, &g_previous_mask, nullptr);
}

bool StopSignals::wait(double seconds) {
  sigset_t open = g_previous_mask;
  sigdelset(&open, SIGINT);
  sigdelset(&open, SIGTERM);
  const double whole = std::floor(seconds);
  timespec left{static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += left.tv_sec;
  end.tv_nsec += left.tv_nsec;
  if (end.tv_nsec >= 1000000000L) {
    end.tv_sec += 1;
    end.tv_nsec -= 1000000000L;
  }
  // ppoll opens the signals only while it waits, so that a signal that
  // comes just before the wait still ends it.
  while (g_stop == 0) {
    if (ppoll(nullptr, 0, &left, &open) == 0) {
      break;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long ns = (end.tv_sec - now.tv_sec) * 1000000000LL + (end.tv_nsec - now.tv_nsec);
    if (ns <= 0) {
      break;
    }
    left = {static_cast<time_t>(ns / 1000000000LL), static_cast<long>(ns % 1000000000LL)};
  }
  return g_stop == 0;
}

bool StopSignals::stopped() const {
  return g_stop != 0;
}

void Repeat::add_options(CLI::App &sub, const char *what, bool interval_repeats) {
  sub.add_option("--interval", interval,
                 std::string("Seconds between ") + what + " (default 1; 0 allowed)" +
                     (interval_repeats ? "; given, the command repeats until stopped" : ""))
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 86400.0));
  sub.add_option("--count", count, std::string("Stop after N ") + what)
      ->type_name("N")
      ->check(CLI::Range(uint64_t{1}, UINT64_MAX));
}

} // namespace sfpctl
