// qsa poll: the adapter's insertion detection (qsa_port_detect_sfp_oir) run
// in a loop while a script seats, swaps and removes modules behind a
// simulated adapter. After each poll it shows the notifications, the
// adapter's messages and the SFP port the adapter port holds. Like a
// platform, it creates the adapter port again after a notification while an
// SFP is seated, since only a new adapter port creates a new SFP port.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "platform/pelog.h"
#include "session.h"
#include "status_text.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

// The adapter's per-access record ("Port %d: access  Reg ..."): one for
// every transfer, left out of the poll's messages.
constexpr uint32_t kAccessRecord = 6204;
constexpr std::size_t kSerialOffset = 68;
constexpr std::size_t kSerialWidth = 16;
constexpr const char *kOtherProfile = "1000base-sx";
constexpr const char *kOtherProfileAlternative = "10gbase-sr";

enum class Action { Insert, Swap, Remove, Poll };

// One step of the script; `profile` empty means the module of --sim or
// --image.
struct Step {
  Action action;
  std::string profile;
};

std::string step_text(const Step &step, const GlobalOptions &options) {
  const std::string chosen = options.image_path.empty() ? options.profile : options.image_path;
  const std::string module = step.profile.empty() ? chosen : step.profile;
  switch (step.action) {
  case Action::Insert:
    return "insert " + module;
  case Action::Swap:
    return "swap for " + module;
  case Action::Remove:
    return "remove";
  case Action::Poll:
    return "poll";
  }
  return "?";
}

// "insert[:PROFILE]", "swap[:PROFILE]", "remove", "poll", separated by
// commas. Prints the first word it cannot take and returns nullopt.
std::optional<std::vector<Step>> parse_script(const std::string &script) {
  std::vector<Step> steps;
  std::size_t start = 0;
  while (start <= script.size()) {
    const std::size_t end = std::min(script.find(',', start), script.size());
    const std::string word = script.substr(start, end - start);
    const std::size_t colon = word.find(':');
    const std::string verb = word.substr(0, colon);
    const std::string profile = colon == std::string::npos ? "" : word.substr(colon + 1);
    const bool takes_profile = verb == "insert" || verb == "swap";
    if ((!takes_profile && verb != "remove" && verb != "poll") ||
        (!takes_profile && colon != std::string::npos) ||
        (colon != std::string::npos && sfpsim::find_profile(profile) == nullptr)) {
      print_error("qsa poll: --script: cannot take '" + echoed(word) +
                  "' (steps: insert[:PROFILE], swap[:PROFILE], remove, poll)");
      return std::nullopt;
    }
    const Action action = verb == "insert"   ? Action::Insert
                          : verb == "swap"   ? Action::Swap
                          : verb == "remove" ? Action::Remove
                                             : Action::Poll;
    steps.push_back({action, profile});
    start = end + 1;
  }
  return steps;
}

// The SFP port the adapter port holds.
std::string sfp_port_text(const qsa_port_ctx *adapter) {
  if (adapter == nullptr || adapter->sfp_port == nullptr) {
    return "none";
  }
  const uint8_t *serial = adapter->sfp_port->eeprom + kSerialOffset;
  return std::to_string(adapter->sfp_type) + " " + printable(adapter->sfp_name) + ", serial " +
         printable(field_value({serial, kSerialWidth}));
}

void clear_adapter_traces() {
  for (const char *name : {kAdapterErrorTrace, kAdapterEventTrace}) {
    if (pelog_hdl buffer = pelog_find(name); buffer != nullptr) {
      pelog_clear(buffer);
    }
  }
}

// The adapter's messages since the traces were cleared, one line each.
void print_adapter_messages() {
  for (const char *name : {kAdapterErrorTrace, kAdapterEventTrace}) {
    pelog_hdl buffer = pelog_find(name);
    if (buffer == nullptr) {
      continue;
    }
    pelog_for_each(
        buffer,
        [](void *ctx, uint32_t number, const char *, const char *text) {
          std::string line = text == nullptr ? "" : text;
          while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) {
            line.pop_back();
          }
          if (number != kAccessRecord) {
            std::printf("  %s: %s\n", static_cast<const char *>(ctx), printable(line).c_str());
          }
        },
        const_cast<char *>(name));
  }
}

class QsaCommand : public Command {
public:
  std::string_view name() const override { return "qsa"; }
  std::string_view summary() const override {
    return "Adapter commands: poll runs the insertion detection while a script changes the SFP";
  }
  void configure(GlobalOptions &options) const override {
    options.qsa = true;
    options.qsa_empty = true;
  }
  void add_arguments(CLI::App &sub) override {
    sub.require_subcommand(1);
    CLI::App *poll = sub.add_subcommand(
        "poll", "Poll the adapter for insertion, swap and removal while a script plays");
    poll->set_help_flag("-h,--help", "Print this help and exit");
    poll->add_option("--script", script_,
                     "Comma-separated steps: insert[:PROFILE], swap[:PROFILE], remove, poll "
                     "(e.g. insert:10gbase-sr,poll,swap:1000base-sx,poll,remove,poll)")
        ->type_name("STEPS")
        ->check(CLI::Validator(
            [](const std::string &steps) {
              return steps.empty() ? std::string("no steps given") : std::string();
            },
            "", "STEPS"));
    sub.footer("The adapter starts empty. Without --script: insert the module of --sim or "
               "--image, poll, poll (unchanged), swap for another profile, poll, remove, poll. "
               "After a notification with an SFP seated the adapter port is created again, as "
               "a platform does, so that it gets an SFP port for the new module.");
  }

  int run(Session &session) override {
    const std::string other =
        session.options().profile == kOtherProfile ? kOtherProfileAlternative : kOtherProfile;
    const std::optional<std::vector<Step>> steps = parse_script(
        script_.empty() ? "insert,poll,poll,swap:" + other + ",poll,remove,poll" : script_);
    if (!steps) {
      return kExitUsage;
    }
    int exit_code = kExitOk;
    for (const Step &step : *steps) {
      std::printf("%s\n", step_text(step, session.options()).c_str());
      if (step.action == Action::Poll) {
        exit_code = std::max(exit_code, poll(session));
      } else if (step.action == Action::Remove) {
        session.adapter()->remove();
      } else {
        session.adapter()->seat(module_for(session, step.profile));
      }
    }
    return exit_code;
  }

private:
  sfpsim::Module &module_for(Session &session, const std::string &profile) {
    if (profile.empty()) {
      return *session.module();
    }
    modules_.push_back(std::make_unique<sfpsim::Module>(*sfpsim::find_profile(profile)));
    return *modules_.back();
  }

  static int poll(Session &session) {
    clear_adapter_traces();
    const sfp_rc rc = qsa_port_detect_sfp_oir(session.adapter_port());
    std::printf("  %s\n", status_text(rc).c_str());
    print_adapter_messages();
    const std::vector<uint32_t> phases = session.take_notifications();
    for (const uint32_t phase : phases) {
      std::printf("  notification: phase %u\n", phase);
    }
    std::printf("  sfp port: %s\n", sfp_port_text(session.adapter_port()).c_str());
    if (phases.empty() || session.adapter()->seated() == nullptr) {
      return rc == SFP_RC_OK ? kExitOk : kExitFailure;
    }
    const sfp_rc created = session.recreate_adapter_port();
    std::printf("  platform: adapter port created again: %s\n", status_text(created).c_str());
    std::printf("  sfp port: %s\n", sfp_port_text(session.adapter_port()).c_str());
    return rc == SFP_RC_OK && created == SFP_RC_OK ? kExitOk : kExitFailure;
  }

  std::string script_;
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

} // namespace

std::unique_ptr<Command> make_qsa_command() {
  return std::make_unique<QsaCommand>();
}

} // namespace sfpctl
