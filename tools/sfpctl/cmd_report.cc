// report: the library's full EEPROM text report of the module. A module the
// library refuses still gets its report, made from the memory its refused
// port holds, after a line with the verdict.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "module_bytes.h"
#include "session.h"
#include "status_text.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

class ReportCommand : public Command {
public:
  std::string_view name() const override { return "report"; }
  std::string_view summary() const override {
    return "Print the library's EEPROM report: identification, diagnostics, memory dumps";
  }
  PortUse port_use() const override { return PortUse::Optional; }
  bool shows_refused_module() const override { return true; }
  void add_arguments(CLI::App &sub) override {
    sub.footer("The report is what sfp_port_phy_reg_decode gives (with --qsa "
               "qsa_port_phy_reg_decode: the SFP's report, then the adapter's lower page and "
               "upper page 0). Bytes of the module's text fields that are not printable show as "
               "'.'. A module the library refuses gets its report too, after a line with the "
               "library's verdict.");
  }

  int run(Session &session) override {
    qsa_port_ctx *adapter = session.adapter_port();
    if (session.port() == nullptr && adapter == nullptr) {
      return refused(refused_module(session));
    }
    char *text = nullptr;
    uint32_t length = 0;
    if (session.checked("report", [&] {
          return adapter != nullptr ? qsa_port_phy_reg_decode(adapter, &text, &length)
                                    : sfp_port_phy_reg_decode(session.port(), &text, &length);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    print_library_text(text);
    std::free(text);
    return kExitOk;
  }

private:
  // The port was not created: its context is registered but not
  // initialised, which the report does not need.
  static int refused(sfp_port_ctx *context) {
    if (context == nullptr) {
      return kExitFailure;
    }
    std::vector<char> text(SFP_EEPROM_REPORT_SIZE);
    const sfp_rc rc = sfp_drv_sfp_get_eeprom_str(context, text.data(), SFP_EEPROM_REPORT_SIZE);
    if (rc != SFP_RC_OK) {
      print_error("report failed: " + status_text(rc));
      return kExitFailure;
    }
    std::printf("supported: %s; the report is of its memory as read\n",
                refusal_text(refused_verdict(*context)).c_str());
    print_library_text(text.data());
    return kExitOk;
  }
};

} // namespace

std::unique_ptr<Command> make_report_command() {
  return std::make_unique<ReportCommand>();
}

} // namespace sfpctl
