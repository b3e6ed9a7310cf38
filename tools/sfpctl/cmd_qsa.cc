// qsa poll: the adapter's insertion detection (qsa_port_detect_sfp_oir) run
// in a loop while a script seats, swaps and removes modules behind a
// simulated adapter. After each poll it shows the notifications, the
// adapter's messages and the SFP port the adapter port holds. Like a
// platform, it creates the adapter port again after a notification while an
// SFP is seated, since only a new adapter port creates a new SFP port.
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
// The adapter's record of an SFP port it could not create ("... rc 0x%x").
constexpr uint32_t kSfpCreateFailedRecord = 6120;
constexpr std::size_t kSerialOffset = 68;
constexpr std::size_t kSerialWidth = 16;
constexpr const char *kOtherProfile = "1000base-sx";
constexpr const char *kOtherProfileAlternative = "10gbase-sr";

constexpr const char *kPollFooter =
    "The adapter starts empty. Without --script: insert the module of --sim or "
    "--image, poll, poll (unchanged), swap for 1000base-sx (10gbase-sr when that is the "
    "module), poll, remove, poll. "
    "After a notification with an SFP seated the adapter port is created again, as "
    "a platform does, so that it gets an SFP port for the new module; a module the "
    "SFP layer refuses is shown with its status, and makes the exit status 1. A step "
    "that does not fit the adapter's state still plays, with a note: insert on an "
    "occupied adapter swaps the module out, swap on an empty one inserts, remove on "
    "an empty one does nothing.";

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

// The status in the adapter's record of a failed SFP port creation, if it
// wrote one since its traces were cleared.
std::optional<uint32_t> refused_sfp_status() {
  std::optional<uint32_t> status;
  pelog_for_each(
      pelog_find(kAdapterEventTrace),
      [](void *ctx, uint32_t number, const char *, const char *text) {
        const char *rc = text == nullptr ? nullptr : std::strstr(text, "rc 0x");
        if (number == kSfpCreateFailedRecord && rc != nullptr) {
          *static_cast<std::optional<uint32_t> *>(ctx) =
              static_cast<uint32_t>(std::strtoul(rc + 5, nullptr, 16));
        }
      },
      &status);
  return status;
}

// What a step changes that its name does not say: an insertion into an
// occupied adapter swaps the module out, a swap into an empty one is an
// insertion, a removal from an empty one does nothing. Empty when it fits.
std::string misfit_note(Action action, bool seated) {
  if (action == Action::Insert && seated) {
    return "the adapter already holds a module: inserting swaps it out";
  }
  if (action == Action::Swap && !seated) {
    return "the adapter is empty: swapping in is an insertion";
  }
  if (action == Action::Remove && !seated) {
    return "the adapter is empty: nothing to remove";
  }
  return {};
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
    // The script and its steps are poll's; qsa's help names them too.
    for (CLI::App *help : {&sub, poll}) {
      help->footer(kPollFooter);
    }
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
      if (const std::string note = misfit_note(step.action, session.adapter()->seated() != nullptr);
          !note.empty()) {
        std::printf("  note: %s\n", note.c_str());
      }
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
    clear_adapter_traces();
    const sfp_rc created = session.recreate_adapter_port();
    std::printf("  platform: adapter port created again: %s\n", status_text(created).c_str());
    // The adapter port is made even when the SFP layer refuses the module.
    const std::optional<uint32_t> refused = refused_sfp_status();
    std::printf("  sfp port: %s", sfp_port_text(session.adapter_port()).c_str());
    if (refused) {
      std::printf(" (the SFP layer refused the module: %s)", status_text(*refused).c_str());
    }
    std::printf("\n");
    return rc == SFP_RC_OK && created == SFP_RC_OK && !refused ? kExitOk : kExitFailure;
  }

  std::string script_;
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
};

} // namespace

std::unique_ptr<Command> make_qsa_command() {
  return std::make_unique<QsaCommand>();
}

} // namespace sfpctl
