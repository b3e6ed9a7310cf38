// sfpctl: drives a pluggable transceiver module through the sfpdrv library.
// The module is simulated: a ready-made profile or an image file. The tool
// creates a port on it through the public interface, as a platform would,
// and runs one command on that port.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "ports.h"
#include "session.h"
#include "sfpctl_version.h"
#include "sfpsim/module.h"
#include "status_text.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

constexpr const char *kDescription =
    "sfpctl drives a pluggable transceiver module (SFP) through the sfpdrv library. By default "
    "the module is an embedded simulated one (profile 10gbase-sr); --sim picks another profile, "
    "--image loads a module image from a file, and --i2c, --eeprom-file and --ethtool reach a "
    "real module. A real module is only read, without creation's transmitter stage (--init "
    "asks for it), and every change to it is confirmed first (--yes in a script).";

constexpr const char *kFooter =
    "Run 'sfpctl COMMAND --help' for the arguments of a command.\n"
    "Exit status: 0 success, 1 the library, the module or a file reported a failure, or output "
    "could not be written, 2 usage error.";

constexpr const char *kToolHelp = "sfpctl --help";
constexpr int kCheckUsage = 3; // check's UNKNOWN

// Commands that change the module or walk through a sequence of their own:
// with several ports they are refused rather than run on each.
constexpr std::string_view kOnePortCommands[] = {"write",     "tune",        "tx",    "cdr",
                                                 "ctle",      "power-class", "admin", "phy",
                                                 "phy-speed", "create",      "qsa"};

bool one_port_only(std::string_view command) {
  return std::find(std::begin(kOnePortCommands), std::end(kOnePortCommands), command) !=
         std::end(kOnePortCommands);
}

// The module options of a port's SOURCE for a command that runs on one
// module; false (with one line printed) for a source it cannot take.
bool take_source(const PortSpec &port, GlobalOptions &options) {
  std::string error;
  const std::optional<SourceSpec> spec = parse_source(port.source, error);
  if (!spec || (spec->kind == SourceKind::Sim && sfpsim::find_profile(spec->target) == nullptr)) {
    print_error("port " + echoed(port.name) + ": unknown source '" + echoed(port.source) +
                "' (sim:PROFILE, image:PATH, i2c:DEV, eeprom:PATH or ethtool:IFNAME)");
    return false;
  }
  options.image_path.clear();
  options.image_a2_path.clear();
  options.i2c_device.clear();
  options.eeprom_file.clear();
  options.ethtool_ifname.clear();
  switch (spec->kind) {
  case SourceKind::Sim:
    options.profile = spec->target;
    break;
  case SourceKind::Image:
    options.image_path = spec->target;
    options.image_a2_path = spec->second_image;
    break;
  case SourceKind::I2c:
    options.i2c_device = spec->target;
    break;
  case SourceKind::EepromFile:
    options.eeprom_file = spec->target;
    break;
  case SourceKind::Ethtool:
    options.ethtool_ifname = spec->target;
    break;
  }
  return true;
}

// The first left-over word that looks like an option ("-x", "--name",
// "--name=value"; not a negative number), or an empty view.
std::string_view unknown_option(const std::vector<std::string> &left) {
  for (const std::string &word : left) {
    if (word.size() > 1 && word[0] == '-' && word != "--" && (word[1] < '0' || word[1] > '9')) {
      return word;
    }
  }
  return {};
}

std::string usage_line(std::string text, const std::string &help) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && (text.back() == ' ' || text.back() == '.')) {
    text.pop_back();
  }
  return "sfpctl: " + escaped(text) + ". Run '" + help + "' for more information.\n";
}

// An option of the command given before the command ("sfpctl --json
// status"), where only the tool's own options go: a hint that says so.
std::string misplaced_option_hint(const std::vector<CLI::App *> &selected,
                                  std::string_view option) {
  const std::string name(option.substr(0, option.find('=')));
  const CLI::App *command = selected.empty() ? nullptr : selected.front();
  for (std::string path = "sfpctl"; command != nullptr;) {
    path += " " + command->get_name();
    if (command->get_option_no_throw(name) != nullptr) {
      return ": it is an option of the command and goes after it ('" + path.append(" ") + name +
             "')";
    }
    const std::vector<CLI::App *> nested = command->get_subcommands();
    command = nested.empty() ? nullptr : nested.front();
  }
  return {};
}

// The commands a command line chose, outermost first ("ctle", "peaking").
std::vector<const CLI::App *> chosen_commands(const CLI::App *app) {
  std::vector<const CLI::App *> chain;
  for (std::vector<CLI::App *> nested = app->get_subcommands(); !nested.empty();
       nested = nested.front()->get_subcommands()) {
    chain.push_back(nested.front());
  }
  return chain;
}

// "a, b or c": the names of the commands `app` takes.
std::string command_names(const CLI::App *app) {
  const std::vector<const CLI::App *> commands =
      app->get_subcommands([](const CLI::App *) { return true; });
  std::string names;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    names += (i == 0 ? "" : i + 1 == commands.size() ? " or " : ", ") + commands[i]->get_name();
  }
  return names;
}

// How many of the chosen commands the help to name goes into: up to the one
// that owns the option or argument an error starts with ("--bus-mode: ..."
// is phy's, even after "phy read"), none for one of the tool's own options;
// an unknown option before the command is the tool's.
std::size_t help_depth(const CLI::App *app, const std::string &text, std::string_view unknown,
                       const std::vector<std::string> &arguments,
                       const std::vector<const CLI::App *> &chain) {
  if (!unknown.empty()) {
    const auto option = std::find(arguments.begin(), arguments.end(), unknown);
    const auto command =
        chain.empty() ? arguments.end()
                      : std::find(arguments.begin(), arguments.end(), chain.front()->get_name());
    return option < command ? 0 : chain.size();
  }
  const std::string name = text.substr(0, text.find(':'));
  if (name.size() < text.size()) {
    for (std::size_t depth = chain.size(); depth > 0; --depth) {
      if (chain[depth - 1]->get_option_no_throw(name) != nullptr) {
        return depth;
      }
    }
    if (app->get_option_no_throw(name) != nullptr) {
      return 0;
    }
  }
  return chain.size();
}

// CLI11 reports parse errors on several lines, and in words of its own; the
// tool gives one line of its own. Its own messages quote arguments as they
// are: they are echoed as the tool's are. The help named is the one that
// lists what the error is about (see help_depth()).
std::string one_line_failure(const CLI::App *app, const CLI::Error &error,
                             const std::vector<std::string> &arguments) {
  std::string text = error.what();
  for (const std::string &argument : arguments) {
    text = with_echoed(std::move(text), argument);
  }
  const std::vector<CLI::App *> selected = app->get_subcommands();
  const std::vector<const CLI::App *> chain = chosen_commands(app);
  const CLI::App *innermost = chain.empty() ? app : chain.back();
  // CLI11 calls an unknown option an unexpected argument, or only says that
  // a command is missing when the option came first; name it instead. An
  // unknown command word is left over too.
  const std::vector<std::string> left = app->remaining();
  const std::string_view option = unknown_option(left);
  const std::string misplaced = option.empty() ? "" : misplaced_option_hint(selected, option);
  if (!option.empty()) {
    text = "unknown option '" + echoed(option) + "'" + misplaced;
  } else if (selected.empty() && !left.empty() && left.front() == "--") {
    text = "'--' ends the options, so it goes after the command";
  } else if (selected.empty() && !left.empty()) {
    text = "unknown command '" + echoed(left.front()) + "' (commands: " + command_names(app) + ")";
  } else if (!left.empty()) {
    text = "unexpected argument '" + echoed(left.front()) + "'";
  } else if (text.starts_with("A subcommand is required")) {
    text = (chain.empty() ? std::string("a command is needed: ")
                          : innermost->get_name() + " needs one of ") +
           command_names(innermost);
  }
  const std::size_t depth =
      misplaced.empty() ? help_depth(app, text, option, arguments, chain) : chain.size();
  std::string help = "sfpctl";
  for (std::size_t i = 0; i < depth; ++i) {
    help += " " + chain[i]->get_name();
  }
  return usage_line(text, help + " --help");
}

// "--image=" and "--image ''" name no file. CLI11 would take the word after
// "--image=" as the path, and an empty path would mean the default module.
bool names_empty_image(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--image=" || (arg == "--image" && i + 1 < argc && argv[i + 1][0] == '\0')) {
      return true;
    }
  }
  return false;
}

CLI::Validator known_profile() {
  return CLI::Validator(
      [](std::string &name) -> std::string {
        if (sfpsim::find_profile(name) == nullptr) {
          return "unknown profile '" + echoed(name) + "' ('sfpctl profiles' lists them)";
        }
        return {};
      },
      "", "PROFILE");
}

constexpr uint32_t kLastPage = SFP_PAGE_A2_TABLE3;

// "PAGE:OFFSET" as a failing transfer (once fail_at_error() accepted it).
FailAt parse_fail_at(std::string_view text) {
  const std::size_t colon = text.find(':');
  return FailAt{static_cast<uint8_t>(parse_number(text.substr(0, colon)).value),
                static_cast<uint8_t>(parse_number(text.substr(colon + 1)).value)};
}

// Why `text` is not a failing transfer's PAGE:OFFSET, naming the part out
// of range; empty when it is one.
std::string fail_at_error(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) {
    const std::string_view page = text.substr(0, colon);
    const std::string_view offset = text.substr(colon + 1);
    const ParsedNumber page_number = parse_number(page);
    const ParsedNumber offset_number = parse_number(offset);
    const std::string in = " in '" + echoed(text) + "' is out of range ";
    if (page_number.result != ParsedNumber::Result::NotANumber &&
        offset_number.result != ParsedNumber::Result::NotANumber) {
      if (!number_within(page_number, 0, kLastPage)) {
        return "PAGE " + echoed(page) + in + "0.." + std::to_string(kLastPage);
      }
      if (!number_within(offset_number, 0, UINT8_MAX)) {
        return "OFFSET " + echoed(offset) + in + "0.." + std::to_string(UINT8_MAX);
      }
      return {};
    }
  }
  return "'" + echoed(text) + "' is not PAGE:OFFSET (page 0..5, offset 0..255)";
}

CLI::Validator page_and_offset() {
  return CLI::Validator([](std::string &text) { return fail_at_error(text); }, "", "PAGE:OFFSET");
}

// Why an option of the simulator does not apply to a real module; empty
// when none of them is given.
std::string simulator_option_error(const GlobalOptions &options) {
  if (options.fast) {
    return "--fast: the library's waits are real on a real module, they cannot be skipped";
  }
  if (options.fail_at) {
    return "--fail-at: only a simulated module fails transfers on purpose";
  }
  if (options.phy_link_speed != 0) {
    return "--sim-link: only a simulated PHY reports a link it is told to";
  }
  if (options.data_ready_after) {
    return "--data-ready-after: only a simulated module delays its data on purpose";
  }
  if (options.qsa) {
    return "--qsa: the adapter is simulated and holds only a simulated module";
  }
  return {};
}

// Says what the command will change in a real module and asks on the
// terminal; a run without one needs --yes. True to go ahead.
bool confirm_change(const Command &command, const Session &session) {
  const std::string change = command.planned_change();
  if (change.empty() || !session.real_source()) {
    return true;
  }
  const std::string what =
      std::string(command.name()) + ": " + change + " on " + echoed(session.source_label());
  if (session.source()->read_only()) {
    print_error(what + ": refused, read-only source");
    return false;
  }
  if (session.options().yes) {
    print_error(what + " (--yes)");
    return true;
  }
  if (::isatty(STDIN_FILENO) == 0) {
    print_error(what + ": a real module is changed only when confirmed; add --yes to go ahead "
                       "without a terminal");
    return false;
  }
  std::fprintf(stderr, "sfpctl: %s. Go ahead? [y/N] ", escaped(what).c_str());
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") {
    return true;
  }
  print_error("nothing changed");
  return false;
}

// Says what a whole creation does to a real module or an image before it.
void announce_init(const Session &session) {
  if (session.options().init && session.source()->spec().kind != SourceKind::Sim) {
    print_error("--init: creating the port as for a newly inserted module on " +
                echoed(session.source_label()) +
                ": soft-disable the transmitter, set rate, CDR, CTLE and power class, and wait "
                "for the module's data");
  }
}

struct Selected {
  CLI::App *subcommand;
  Command *command;
};

// Makes the module and the port the command needs, runs it and cleans up.
int run_command(Command &command, GlobalOptions options) {
  command.configure(options);
  if (options.qsa && command.port_use() != PortUse::None && !command.behind_adapter()) {
    print_error(std::string(command.name()) + ": not available behind an adapter (--qsa): " +
                std::string(command.why_not_behind_adapter()));
    return kExitUsage;
  }
  if (source_spec(options).real() && command.port_use() != PortUse::None) {
    if (const std::string error = simulator_option_error(options); !error.empty()) {
      std::fputs(usage_line(error, kToolHelp).c_str(), stderr);
      return kExitUsage;
    }
  }
  Session session(options);
  if (command.port_use() == PortUse::None) {
    return command.run(session);
  }
  if (!session.load_module()) {
    return kExitFailure;
  }
  if (!confirm_change(command, session)) {
    return kExitFailure;
  }
  announce_init(session);
  int exit_code = kExitOk;
  const sfp_rc created = session.create_port();
  const bool refusal_shown = created == SFP_RC_UNSUPPORTED && session.port() == nullptr &&
                             !options.qsa && command.shows_refused_module();
  if (created != SFP_RC_OK && session.creation_reported()) {
    exit_code = kExitFailure;
  } else if (created != SFP_RC_OK && !refusal_shown) {
    // Some failures of the module's start-up still hand out a usable port.
    print_error(
        std::string(session.port() != nullptr ? "port created, with " : "cannot create port: ") +
        status_text(created));
    exit_code = kExitFailure;
  } else if (session.sfp_missing_behind_adapter()) {
    // The adapter port is fine, but the library refused the module in it:
    // say so, as for a module refused without the adapter.
    print_error("no SFP port behind the adapter: the module's creation failed "
                "(its status is in 'sfpctl --qsa trace')");
    exit_code = kExitFailure;
  }
  if (created == SFP_RC_OK || command.port_use() == PortUse::Optional) {
    exit_code = std::max(exit_code, command.run(session));
  }
  flush_standard_output(); // before the access log on standard error
  if (!session.close_port()) {
    exit_code = std::max(exit_code, static_cast<int>(kExitFailure));
  }
  if (options.show_log) {
    session.print_access_log(stderr);
  }
  return exit_code;
}

// Runs a command that works on one module once per port, each after a
// "== NAME ==" line; the exit status is the worst of the runs.
int run_per_port(Command &command, const GlobalOptions &options) {
  if (options.ports.size() > 1 && one_port_only(command.name())) {
    print_error(std::string(command.name()) +
                " works on one module: give one --port (monitor, metrics and check watch "
                "several). Run 'sfpctl --help' for more information.");
    return kExitUsage;
  }
  int exit_code = kExitOk;
  for (const PortSpec &port : options.ports) {
    GlobalOptions one = options;
    if (options.ports.size() > 1) {
      std::printf("== %s ==\n", printable(port.name).c_str());
      flush_standard_output();
    }
    const int code = take_source(port, one) ? run_command(command, one) : kExitFailure;
    exit_code = std::max(exit_code, code);
  }
  return exit_code;
}

// The ports of --port and --ports, in that order; false (with one usage
// line printed) for a malformed one.
bool collect_ports(const std::vector<std::string> &given, const std::string &file,
                   GlobalOptions &options) {
  std::string error;
  for (const std::string &text : given) {
    std::optional<PortSpec> port = parse_port(text, error);
    if (!port) {
      std::fputs(usage_line("--port: " + error, kToolHelp).c_str(), stderr);
      return false;
    }
    options.ports.push_back(std::move(*port));
  }
  if (!file.empty() && !read_ports_file(file, options.ports, error)) {
    std::fputs(usage_line("--ports: " + error, kToolHelp).c_str(), stderr);
    return false;
  }
  error = duplicate_port_error(options.ports);
  if (!error.empty()) {
    std::fputs(usage_line(error, kToolHelp).c_str(), stderr);
    return false;
  }
  return true;
}

// A usage error's exit status: check's own UNKNOWN (3) for check, whose 2
// means CRITICAL to a monitoring system.
int usage_exit(const CLI::App &app) {
  const std::vector<const CLI::App *> chosen = chosen_commands(&app);
  return !chosen.empty() && chosen.front()->get_name() == "check" ? kCheckUsage : kExitUsage;
}

int run(int argc, char **argv) {
  CLI::App app{kDescription, "sfpctl"};
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version",
                       "sfpctl " SFPDRV_VERSION_TEXT " (sfpdrv library " SFPDRV_VERSION_TEXT ")",
                       "Print the version of sfpctl and of the sfpdrv library and exit");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  app.failure_message([&arguments](const CLI::App *failed, const CLI::Error &error) {
    return one_line_failure(failed, error, arguments);
  });

  GlobalOptions options;
  CLI::Option *sim =
      app.add_option("--sim", options.profile,
                     "Simulated module profile (default " + std::string(kDefaultProfile) + ")")
          ->type_name("PROFILE")
          ->check(known_profile());
  std::vector<std::string> images;
  CLI::Option *image =
      app.add_option("--image", images,
                     "Module image file: raw 256 or 512 bytes, plain hex text, an 'ethtool -m "
                     "IFNAME hex on' dump, 'i2cdump -y BUS 0x50' output (A0h, then A2h), "
                     "'sfpctl read' output or an 'sfpctl dump' file; given twice, the first file "
                     "holds A0h and the second A2h")
          ->type_name("FILE")
          ->allow_extra_args(false);
  CLI::Option *i2c = app.add_option("--i2c", options.i2c_device,
                                    "A real module on an i2c-dev adapter (A0h at 0x50, A2h at "
                                    "0x51), e.g. /dev/i2c-1")
                         ->type_name("DEV");
  CLI::Option *eeprom = app.add_option("--eeprom-file", options.eeprom_file,
                                       "A real module through the kernel's module EEPROM file, "
                                       "e.g. /sys/bus/i2c/devices/1-0050/eeprom")
                            ->type_name("PATH");
  CLI::Option *ethtool = app.add_option("--ethtool", options.ethtool_ifname,
                                        "A real module of a network interface, through ethtool "
                                        "(read-only)")
                             ->type_name("IFNAME");
  const std::vector<CLI::Option *> sources = {sim, image, i2c, eeprom, ethtool};
  for (std::size_t i = 0; i < sources.size(); ++i) {
    for (std::size_t j = i + 1; j < sources.size(); ++j) {
      sources[i]->excludes(sources[j]);
    }
  }
  std::vector<std::string> port_texts;
  CLI::Option *port =
      app.add_option("--port", port_texts,
                     "A named port: NAME=SOURCE, SOURCE sim:PROFILE, image:PATH, i2c:DEV, "
                     "eeprom:PATH or ethtool:IFNAME (repeatable). monitor, metrics and check "
                     "watch all ports; other commands run once per port under a '== NAME ==' "
                     "line, and those that change the module take one port only")
          ->type_name("NAME=SOURCE")
          ->allow_extra_args(false);
  std::string ports_file;
  CLI::Option *ports =
      app.add_option("--ports", ports_file,
                     "Named ports from a file: one 'NAME SOURCE' per line, '#' comments")
          ->type_name("FILE");
  for (CLI::Option *module : sources) {
    module->excludes(port);
    module->excludes(ports);
  }
  app.add_flag("--force", options.force,
               "With --i2c: open the bus even when a kernel driver is bound to the module");
  app.add_flag("--init", options.init,
               "On a real module or an image: the whole creation, as for a newly inserted module "
               "(soft-disables the transmitter, sets rate, CDR, CTLE and power class, waits)");
  app.add_flag("--yes", options.yes,
               "Change a real module without asking (needed when there is no terminal)");
  app.add_option("--rate", options.rate_code,
                 "Operating rate of the port, which picks the rate of a multi-rate module: "
                 "10g, 25g (default) or 50g")
      ->type_name("RATE")
      ->transform(word_of({{"10g", "2"}, {"25g", "1"}, {"50g", "3"}}, true));
  app.add_flag("--fast", options.fast,
               "Let the library's waits pass at once on a virtual clock (by default it really "
               "sleeps, e.g. 100 ms to 2 s while creating the port)");
  std::string fail_at;
  app.add_option("--fail-at", fail_at,
                 "After the port's creation, the simulated module fails every transfer that "
                 "starts at this page and offset (status " +
                     std::to_string(kInjectedFault) + ", an I/O error)")
      ->type_name("PAGE:OFFSET")
      ->check(page_and_offset());
  app.add_flag("--log", options.show_log,
               "Print the command's bus transfers (those after the port's creation; create also "
               "shows creation's) to standard error");
  app.add_flag("--no-read-select", options.no_read_select,
               "Create the port without the A2h table select before reads of pages 2..5");
  app.add_flag("--no-write-select", options.no_write_select,
               "Create the port without the A2h table select before writes of pages 2..5");
  app.add_flag("--qsa", options.qsa,
               "Seat the module in a simulated QSFP-to-SFP adapter and work through the adapter "
               "port: the adapter's own operations where it has them, else the SFP port behind "
               "it; read and write then take adapter page codes (0xA0 lower page, 0xA00 + n "
               "upper page n, e.g. 'read 0xA04 128 16')");

  std::vector<std::unique_ptr<Command>> commands = make_commands();
  std::vector<Selected> subcommands;
  for (const std::unique_ptr<Command> &command : commands) {
    CLI::App *sub =
        app.add_subcommand(std::string(command->name()), std::string(command->summary()));
    sub->set_help_flag("-h,--help", "Print this help and exit");
    // Only the tool's own help ends with the tool's footer; a command's is
    // its own, and so is that of a command within it.
    sub->footer("");
    command->add_arguments(*sub);
    subcommands.push_back({sub, command.get()});
  }

  if (names_empty_image(argc, argv)) {
    std::fputs(usage_line("--image: a file path is needed", kToolHelp).c_str(), stderr);
    return kExitUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kExitOk : usage_exit(app);
  }
  if (images.size() > 2) {
    std::fputs(usage_line("--image: at most two files (A0h, then A2h)", kToolHelp).c_str(), stderr);
    return kExitUsage;
  }
  if (!images.empty()) {
    options.image_path = images.front();
    options.image_a2_path = images.size() == 2 ? images.back() : "";
  }
  if (!fail_at.empty()) {
    options.fail_at = parse_fail_at(fail_at);
  }
  options.module_given = std::any_of(sources.begin(), sources.end(),
                                     [](const CLI::Option *source) { return source->count() > 0; });
  if (!collect_ports(port_texts, ports_file, options)) {
    return usage_exit(app);
  }
  for (const Selected &selected : subcommands) {
    if (!selected.subcommand->parsed()) {
      continue;
    }
    if (options.ports.empty() || selected.command->port_use() == PortUse::None) {
      return run_command(*selected.command, options);
    }
    return run_per_port(*selected.command, options);
  }
  print_error("no command given. Run 'sfpctl --help' for more information.");
  return kExitUsage;
}

} // namespace
} // namespace sfpctl

int main(int argc, char **argv) {
  int exit_code = sfpctl::kExitFailure;
  try {
    exit_code = sfpctl::run(argc, argv);
  } catch (const std::exception &error) {
    sfpctl::print_error(std::string("internal error: ") + error.what());
  }
  if (!sfpctl::close_standard_output()) {
    exit_code = std::max(exit_code, static_cast<int>(sfpctl::kExitFailure));
  }
  return exit_code;
}
