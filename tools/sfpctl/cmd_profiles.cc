// profiles: the ready-made simulated modules that --sim can pick.
#include <algorithm>
#include <cstdio>

#include <CLI/CLI.hpp>

#include "command.h"
#include "sfpsim/module.h"

namespace sfpctl {
namespace {

class ProfilesCommand : public Command {
public:
  std::string_view name() const override { return "profiles"; }
  std::string_view summary() const override {
    return "List the simulated module profiles that --sim can pick";
  }
  PortUse port_use() const override { return PortUse::None; }
  void add_arguments(CLI::App &) override {}

  int run(Session &) override {
    const std::vector<sfpsim::Profile> &profiles = sfpsim::profiles();
    std::size_t width = 0;
    for (const sfpsim::Profile &profile : profiles) {
      width = std::max(width, profile.name.size());
    }
    for (const sfpsim::Profile &profile : profiles) {
      std::printf("%-*s  %s\n", static_cast<int>(width), profile.name.c_str(),
                  profile.description.c_str());
    }
    return kExitOk;
  }
};

} // namespace

std::unique_ptr<Command> make_profiles_command() {
  return std::make_unique<ProfilesCommand>();
}

} // namespace sfpctl
