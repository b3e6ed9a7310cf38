// info: the module's identity as the library's identity snapshot gives it,
// and whether its identification data passes its checksums.
#include <algorithm>
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "json.h"
#include "module_view.h"
#include "session.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

// The verdict of the identification checksums in words; an adapter's are
// the QSFP check bytes of its upper page 0.
const char *compliance_text(sfp_compliance_result result, bool adapter = false) {
  if (adapter && result == SFP_COMPLIANCE_BASE_CHECKSUM) {
    return "base checksum (CC_BASE, byte 191) does not match";
  }
  if (adapter && result == SFP_COMPLIANCE_EXT_CHECKSUM) {
    return "extended checksum (CC_EXT, byte 223) does not match";
  }
  switch (result) {
  case SFP_COMPLIANCE_OK:
    return "checksums pass";
  case SFP_COMPLIANCE_NO_DATA:
    return "no identification data";
  case SFP_COMPLIANCE_NOT_CHECKED:
    return "not checked";
  case SFP_COMPLIANCE_BASE_CHECKSUM:
    return "base checksum (A0h byte 63) does not match";
  case SFP_COMPLIANCE_EXT_CHECKSUM:
    return "extended checksum (A0h byte 95) does not match";
  case SFP_COMPLIANCE_VENDOR_CRC:
    return "vendor CRC (A0h bytes 124..127) does not match";
  default:
    return "unknown verdict";
  }
}

std::string oui_text(const uint8_t (&oui)[3]) {
  char text[16];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x", oui[0], oui[1], oui[2]);
  return text;
}

class InfoCommand : public Command {
public:
  std::string_view name() const override { return "info"; }
  std::string_view summary() const override {
    return "Show the module's identity and whether its identification checksums pass";
  }
  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--json", json_, "Print one JSON object instead of the lines");
    sub.footer("The identity is the library's snapshot (sfp_port_hw_info), whose text fields "
               "are cut at their first blank; vendor name, part number and serial number are "
               "shown whole. Bytes that are not printable show as '.' (in JSON as \\u00XX), an "
               "empty field as '-' (in JSON null). With --qsa (qsa_port_hw_info) the adapter's "
               "own identity follows, copied from its memory as it stands (in JSON without "
               "trailing blanks), with its QSFP checksums; with no SFP port behind the adapter "
               "the SFP's JSON keys are null. A module the library refuses gets one line (in "
               "JSON every key null) and exit status 1.");
  }

  // A module the library refuses still gets a line, or an object of nulls.
  PortUse port_use() const override { return PortUse::Optional; }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    qsa_port_ctx *adapter = session.adapter_port();
    if (port == nullptr && adapter == nullptr) {
      if (json_) {
        return std::max(print_json(session, nullptr, sfp_hw_info_rec{}, nullptr),
                        static_cast<int>(kExitFailure));
      }
      std::printf("%s\n", kRefusedModuleNote);
      return kExitFailure;
    }
    sfp_hw_info_rec info{};
    info.compliance = SFP_COMPLIANCE_NOT_CHECKED;
    sfp_hw_info_rec adapter_info{};
    if (session.checked("info", [&] {
          return adapter != nullptr ? qsa_port_hw_info(adapter, &info, &adapter_info)
                                    : sfp_port_hw_info(port, &info);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    if (json_) {
      return print_json(session, port, info, adapter != nullptr ? &adapter_info : nullptr);
    }
    if (port != nullptr) {
      const ModuleView view = module_view(*port, nullptr);
      print_lines(info, false, &view);
    }
    if (adapter != nullptr) {
      std::printf("%sadapter (its own memory, not trimmed):\n", port != nullptr ? "\n" : "");
      print_lines(adapter_info, true, nullptr);
    }
    return kExitOk;
  }

private:
  // An SFP's vendor name, part number and serial number come whole from its
  // view; the adapter's are its record's as they stand.
  static void print_lines(const sfp_hw_info_rec &info, bool adapter, const ModuleView *view) {
    const std::pair<const char *, std::string> lines[] = {
        {"vendor name:", view != nullptr ? view->vendor_name : std::string(info.vendor_name)},
        {"vendor pn:", view != nullptr ? view->vendor_pn : std::string(info.vendor_pn)},
        {"vendor rev:", info.vendor_rev},
        {"vendor sn:", view != nullptr ? view->vendor_sn : std::string(info.vendor_sn)},
        {"date code:", info.date_code},
        {"vendor oui:", oui_text(info.vendor_oui)},
        {"pid:", info.pid},
        {"clei:", info.clei},
        {"version:", info.version_id},
        {"type:", std::to_string(info.xcvr_type) + " " + info.type_name},
        {"compliance:", compliance_text(info.compliance, adapter)},
    };
    for (const auto &[label, value] : lines) {
      std::printf("%-13s %s\n", label, value.empty() ? "-" : printable(value).c_str());
    }
  }

  // With --qsa the adapter's identity follows as "adapter_" keys; the SFP's
  // keys are null when no SFP port is behind it.
  static int print_json(Session &session, sfp_port_ctx *port, const sfp_hw_info_rec &info,
                        const sfp_hw_info_rec *adapter_info) {
    JsonObject json;
    bool live = true;
    if (port != nullptr) {
      live = add_sfp_keys(session, *port, info, json);
    } else {
      json.absent(true);
      add_module_keys(json, ModuleView{});
      add_identity_keys(info, json);
      json.absent(false);
    }
    if (adapter_info != nullptr) {
      json.field("adapter_vendor_name", field_value(adapter_info->vendor_name))
          .field("adapter_vendor_pn", field_value(adapter_info->vendor_pn))
          .field("adapter_vendor_sn", field_value(adapter_info->vendor_sn))
          .integer("adapter_type", adapter_info->xcvr_type)
          .text("adapter_type_name", adapter_info->type_name)
          .integer("adapter_compliance", adapter_info->compliance);
    }
    std::fputs(json.str().c_str(), stdout);
    return live ? kExitOk : kExitFailure;
  }

  static bool add_sfp_keys(Session &session, sfp_port_ctx &port, const sfp_hw_info_rec &info,
                           JsonObject &json) {
    sfp_hw_status_rec status{};
    const bool live = session.checked("status", [&] {
      return session.adapter_port() != nullptr ? qsa_port_hw_status(session.adapter_port(), &status)
                                               : sfp_port_hw_status(&port, &status);
    }) == SFP_RC_OK;
    add_module_keys(json, module_view(port, live ? &status : nullptr));
    add_identity_keys(info, json);
    return live;
  }

  // The rest of the identity snapshot.
  static void add_identity_keys(const sfp_hw_info_rec &info, JsonObject &json) {
    json.field("vendor_rev", info.vendor_rev)
        .field("date_code", info.date_code)
        .text("vendor_oui", oui_text(info.vendor_oui))
        .field("pid", info.pid)
        .field("clei", info.clei)
        .field("version", info.version_id)
        .integer("type", info.xcvr_type)
        .text("type_name", info.type_name)
        .integer("compliance", info.compliance)
        .text("compliance_text", compliance_text(info.compliance));
  }

  bool json_ = false;
};

} // namespace

std::unique_ptr<Command> make_info_command() {
  return std::make_unique<InfoCommand>();
}

} // namespace sfpctl
