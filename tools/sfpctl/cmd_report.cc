// report: the library's full EEPROM text report of the module. A module the
// library refuses still gets its report, made from the memory its refused
// port holds.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
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
  void add_arguments(CLI::App &sub) override {
    sub.footer("The report is what sfp_port_phy_reg_decode gives (with --qsa "
               "qsa_port_phy_reg_decode: the SFP's report, then the adapter's lower page and "
               "upper page 0). Bytes of the module's text fields that are not printable show as "
               "'.'. A module the library does not accept gets its report too, and exit "
               "status 1.");
  }

  int run(Session &session) override {
    qsa_port_ctx *adapter = session.adapter_port();
    if (session.port() == nullptr && adapter == nullptr) {
      return refused(session.failed_port());
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
    sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
    sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
    const std::string pid =
        field_value({reinterpret_cast<const uint8_t *>(sfp_get_pid(context)), SFP_PID_LEN});
    (void)sfp_xcvr_check_supported(context, context->eeprom, &status, &type, pid.c_str());
    print_error(std::string("report: the module is not supported (") +
                sfp_xcvr_supported_to_str(status) + "); the report is of its memory as read");
    std::vector<char> text(SFP_EEPROM_REPORT_SIZE);
    const sfp_rc rc = sfp_drv_sfp_get_eeprom_str(context, text.data(), SFP_EEPROM_REPORT_SIZE);
    if (rc != SFP_RC_OK) {
      print_error("report failed: " + status_text(rc));
      return kExitFailure;
    }
    print_library_text(text.data());
    return kExitFailure;
  }
};

} // namespace

std::unique_ptr<Command> make_report_command() {
  return std::make_unique<ReportCommand>();
}

} // namespace sfpctl
