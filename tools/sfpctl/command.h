// The command registry of sfpctl. Every command lives in its own source file
// as a Command subclass with a factory; registry.cc lists the factories in
// the order the help shows them.
#ifndef SFPCTL_COMMAND_H
#define SFPCTL_COMMAND_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace sfpctl {

class Session;
struct GlobalOptions;

// Exit codes of the tool.
enum ExitCode : int {
  kExitOk = 0,      // the command did what was asked
  kExitFailure = 1, // the library, the module or a file reported a failure
  kExitUsage = 2,   // the command line is wrong
};

// What a command needs before it runs.
enum class PortUse {
  None,     // no module and no port (e.g. listing the profiles)
  Required, // a created port; a failed creation ends the run before the command
  Optional, // creation is tried; the command runs even when it failed
};

class Command {
public:
  virtual ~Command() = default;
  virtual std::string_view name() const = 0;
  virtual std::string_view summary() const = 0;
  virtual PortUse port_use() const { return PortUse::Required; }
  // Whether the command makes sense for a module behind an adapter (--qsa).
  virtual bool behind_adapter() const { return true; }
  // Why a command that does not make sense there is refused behind an adapter.
  virtual std::string_view why_not_behind_adapter() const {
    return "the adapter does not pass it on to the SFP";
  }
  // Whether the command shows a module the library refuses (creation status
  // 95) from its bytes, with the verdict: the refusal is then a fact it
  // reports, not a failure of the run.
  virtual bool shows_refused_module() const { return false; }
  // What the command will change in the module, for the question asked
  // before a change to a real module ("switch the transmitter off (A2h
  // byte 110)"); empty for a command that only reads.
  virtual std::string planned_change() const { return {}; }
  // Adds what the command's own options say about the module and the port
  // to the global options, before either is made.
  virtual void configure(GlobalOptions &) const {}
  // Declares the command's own arguments and options on its subcommand.
  virtual void add_arguments(CLI::App &subcommand) = 0;
  // Runs the command after a successful parse; returns an ExitCode.
  virtual int run(Session &session) = 0;
};

std::unique_ptr<Command> make_profiles_command();
std::unique_ptr<Command> make_read_command();
std::unique_ptr<Command> make_write_command();
std::unique_ptr<Command> make_regs_command();
std::unique_ptr<Command> make_trace_command();
std::unique_ptr<Command> make_identify_command();
std::unique_ptr<Command> make_types_command();
std::unique_ptr<Command> make_convert_command();
std::unique_ptr<Command> make_tune_command();
std::unique_ptr<Command> make_phy_command();
std::unique_ptr<Command> make_create_command();
std::unique_ptr<Command> make_tx_command();
std::unique_ptr<Command> make_cdr_command();
std::unique_ptr<Command> make_ctle_command();
std::unique_ptr<Command> make_power_class_command();
std::unique_ptr<Command> make_admin_command();
std::unique_ptr<Command> make_phy_speed_command();
std::unique_ptr<Command> make_qsa_command();
std::unique_ptr<Command> make_report_command();
std::unique_ptr<Command> make_status_command();
std::unique_ptr<Command> make_info_command();
std::unique_ptr<Command> make_debug_command();
std::unique_ptr<Command> make_monitor_command();
std::unique_ptr<Command> make_metrics_command();
std::unique_ptr<Command> make_check_command();
std::unique_ptr<Command> make_dump_command();

// One instance of every command, in help order.
std::vector<std::unique_ptr<Command>> make_commands();

} // namespace sfpctl

#endif // SFPCTL_COMMAND_H
