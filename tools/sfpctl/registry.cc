// The list of sfpctl's commands. A new command adds its factory here.
#include "command.h"

namespace sfpctl {
namespace {

using Factory = std::unique_ptr<Command> (*)();

constexpr Factory kFactories[] = {
    &make_profiles_command,    &make_create_command,  &make_identify_command,
    &make_types_command,       &make_convert_command, &make_read_command,
    &make_write_command,       &make_regs_command,    &make_tune_command,
    &make_tx_command,          &make_cdr_command,     &make_ctle_command,
    &make_power_class_command, &make_admin_command,   &make_phy_command,
    &make_phy_speed_command,   &make_report_command,  &make_status_command,
    &make_info_command,        &make_debug_command,   &make_dump_command,
    &make_trace_command,       &make_qsa_command,     &make_monitor_command,
    &make_metrics_command,     &make_check_command,
};

} // namespace

std::vector<std::unique_ptr<Command>> make_commands() {
  std::vector<std::unique_ptr<Command>> commands;
  for (Factory factory : kFactories) {
    commands.push_back(factory());
  }
  return commands;
}

} // namespace sfpctl
