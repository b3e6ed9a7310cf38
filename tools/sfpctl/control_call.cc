#include "control_call.h"

#include <cstdio>
#include <map>

#include "command.h"
#include "module_changes.h"
#include "status_text.h"

namespace sfpctl {

int run_control(Session &session, std::string_view what, const std::function<sfp_rc()> &call,
                const std::function<void()> &report) {
  const ModuleSnapshot before(*session.module());
  const sfp_rc rc = session.checked(what, call);
  const ModuleSnapshot after(*session.module());
  std::printf("%.*s: %s\n", static_cast<int>(what.size()), what.data(), status_text(rc).c_str());
  if (report) {
    report();
  }
  const std::vector<std::string> changes = before.changes_to(after);
  if (changes.empty()) {
    std::puts("no module byte changed");
  }
  for (const std::string &line : changes) {
    std::puts(line.c_str());
  }
  return rc == SFP_RC_OK ? kExitOk : kExitFailure;
}

void add_switch(CLI::App &command, const std::string &name, bool &value, const std::string &off,
                const std::string &on, const std::string &description) {
  const std::map<std::string, bool> words{{off, false}, {on, true}};
  command.add_option(name, value, description)
      ->required()
      ->type_name(off + "|" + on)
      ->transform(CLI::CheckedTransformer(words).description(""));
}

} // namespace sfpctl
