// sfpctl: drives a pluggable transceiver module through the sfpdrv library.
// The module is simulated: a ready-made profile or an image file. The tool
// creates a port on it through the public interface, as a platform would,
// and runs one command on that port.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "session.h"
#include "sfpsim/module.h"
#include "status_text.h"

namespace sfpctl {
namespace {

constexpr const char *kDescription =
    "sfpctl drives a pluggable transceiver module (SFP) through the sfpdrv library. By default "
    "the module is an embedded simulated one (profile 10gbase-sr); --sim picks another profile "
    "and --image loads a module image from a file.";

constexpr const char *kFooter =
    "Run 'sfpctl COMMAND --help' for the arguments of a command.\n"
    "Exit status: 0 success, 1 the library, the module or a file reported a failure, "
    "2 usage error.";

// CLI11 reports parse errors on several lines; the tool gives one.
std::string one_line_failure(const CLI::App *app, const CLI::Error &error) {
  std::string text = error.what();
  const std::vector<CLI::App *> selected = app->get_subcommands();
  // An unknown command word is left over, and CLI11 only says that a command
  // is missing; name the word instead.
  const std::vector<std::string> left = app->remaining();
  if (selected.empty() && !left.empty() && !left.front().starts_with('-')) {
    text = "unknown command '" + left.front() + "'";
  }
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && (text.back() == ' ' || text.back() == '.')) {
    text.pop_back();
  }
  std::string help = "sfpctl --help";
  if (!selected.empty()) {
    help = "sfpctl " + selected.front()->get_name() + " --help";
  }
  return "sfpctl: " + text + ". Run '" + help + "' for more information.\n";
}

CLI::Validator known_profile() {
  return CLI::Validator(
      [](std::string &name) -> std::string {
        if (sfpsim::find_profile(name) == nullptr) {
          return "unknown profile '" + name + "' ('sfpctl profiles' lists them)";
        }
        return {};
      },
      "", "PROFILE");
}

struct Selected {
  CLI::App *subcommand;
  Command *command;
};

// Makes the module and the port the command needs, runs it and cleans up.
int run_command(Command &command, const GlobalOptions &options) {
  Session session(options);
  if (command.port_use() == PortUse::None) {
    return command.run(session);
  }
  if (!session.load_module()) {
    return kExitFailure;
  }
  int exit_code = kExitOk;
  const sfp_rc created = session.create_port();
  if (created != SFP_RC_OK) {
    print_error("cannot create port: " + status_text(created));
    exit_code = kExitFailure;
  }
  if (created == SFP_RC_OK || command.port_use() == PortUse::Optional) {
    exit_code = std::max(exit_code, command.run(session));
  }
  std::fflush(stdout);
  if (!session.close_port()) {
    exit_code = std::max(exit_code, static_cast<int>(kExitFailure));
  }
  if (options.show_log) {
    session.print_access_log(stderr);
  }
  return exit_code;
}

int run(int argc, char **argv) {
  CLI::App app{kDescription, "sfpctl"};
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  app.failure_message(one_line_failure);

  GlobalOptions options;
  CLI::Option *sim =
      app.add_option("--sim", options.profile,
                     "Simulated module profile (default " + std::string(kDefaultProfile) + ")")
          ->type_name("PROFILE")
          ->check(known_profile());
  CLI::Option *image =
      app.add_option("--image", options.image_path,
                     "Module image file: raw 256 or 512 bytes, plain hex text, or an "
                     "'ethtool -m IFNAME hex on' dump")
          ->type_name("FILE");
  sim->excludes(image);
  app.add_flag("--log", options.show_log,
               "Print every bus transfer of the module to standard error after the command");
  app.add_flag("--no-read-select", options.no_read_select,
               "Create the port without the A2h table select before reads of pages 2..5");
  app.add_flag("--no-write-select", options.no_write_select,
               "Create the port without the A2h table select before writes of pages 2..5");

  std::vector<std::unique_ptr<Command>> commands = make_commands();
  std::vector<Selected> subcommands;
  for (const std::unique_ptr<Command> &command : commands) {
    CLI::App *sub =
        app.add_subcommand(std::string(command->name()), std::string(command->summary()));
    sub->set_help_flag("-h,--help", "Print this help and exit");
    command->add_arguments(*sub);
    subcommands.push_back({sub, command.get()});
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  for (const Selected &selected : subcommands) {
    if (selected.subcommand->parsed()) {
      return run_command(*selected.command, options);
    }
  }
  print_error("no command given. Run 'sfpctl --help' for more information.");
  return kExitUsage;
}

} // namespace
} // namespace sfpctl

int main(int argc, char **argv) {
  try {
    return sfpctl::run(argc, argv);
  } catch (const std::exception &error) {
    sfpctl::print_error(std::string("internal error: ") + error.what());
    return sfpctl::kExitFailure;
  }
}
