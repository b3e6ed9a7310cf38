// identify: what the library makes of the module: its type, whether it is
// supported, which memory it has, how it is classified and whether its part
// numbers are ours.
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "json.h"
#include "module_bytes.h"
#include "module_view.h"
#include "session.h"
#include "status_text.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

constexpr sfp_xcvr_type kTunable = 765;
constexpr std::size_t kVendorPnOffset = 40;
constexpr std::size_t kVendorPnWidth = 16;
// The catalogue number in the maker area: A2h table 0 byte 138.
constexpr std::size_t kCataloguePnOffset = SFP_IMAGE_A2_TABLE0 + (138 - 128);
constexpr std::size_t kCataloguePnWidth = 10;
constexpr std::size_t kExtComplianceOffset = 36;

// The keys of the results that follow the type (and the adapter's line),
// in their order: null when there is no SFP port to give them. A module the
// library refuses has only the first two, its verdict.
constexpr const char *kPortKeys[] = {"supported",
                                     "verdict",
                                     "memory_half_a0",
                                     "memory_full_a0",
                                     "memory_a2",
                                     "memory_dom",
                                     "multi_rate",
                                     "multi_rate_base_type",
                                     "multi_rate_base_type_name",
                                     "cable",
                                     "copper",
                                     "dwdm",
                                     "dwdm_grid_ghz",
                                     "dwdm_channel",
                                     "tunable_first_channel",
                                     "tunable_last_channel",
                                     "limiting_receiver",
                                     "defaulted",
                                     "pid",
                                     "pid_supported",
                                     "pid_check",
                                     "catalogue_pn",
                                     "catalogue_supported",
                                     "catalogue_check",
                                     "vendor_pn_supported",
                                     "vendor_pn_check",
                                     "part_supported",
                                     "part_check"};

// Where the results go: "label: value" lines, or, with --json, the keys of
// one object (a result without a key is left out of it).
class Results {
public:
  explicit Results(JsonObject *json) : json_(json) {}

  // The library's texts can end in blanks ("Failed - Unknown Xcvr type ").
  void line(const char *label, const char *key, const std::string &value) {
    const std::string shown = value.substr(0, value.find_last_not_of(' ') + 1);
    if (json_ == nullptr) {
      std::printf("%-17s %s\n", label, printable(shown).c_str());
    } else if (key != nullptr) {
      json_->text(key, shown);
    }
  }
  // A text field of module memory: "-", or with --json null, when empty.
  void field(const char *label, const char *key, const std::string &value) {
    if (json_ == nullptr) {
      line(label, key, value.empty() ? "-" : value);
    } else if (key != nullptr) {
      json_->field(key, value);
    }
  }
  // With --json: null for each of `keys`, which have no value.
  void absent(std::span<const char *const> keys) {
    if (json_ != nullptr) {
      for (const char *key : keys) {
        json_->null(key);
      }
    }
  }
  void flag(const char *label, const char *key, uint32_t flag) {
    if (json_ == nullptr) {
      line(label, key, flag != 0 ? "yes" : "no");
    } else {
      json_->flag(key, flag != 0);
    }
  }
  // The type, or with `prefix` "adapter" the adapter's own type.
  void type(sfp_xcvr_type type, const char *name, const std::string &prefix = "") {
    if (json_ == nullptr) {
      line(prefix.empty() ? "type:" : "adapter:", nullptr, std::to_string(type) + " " + name);
    } else {
      const std::string key = prefix.empty() ? "type" : prefix + "_type";
      json_->integer(key, type).text(key + "_name", name);
    }
  }
  // With --json: the module's vendor fields, wavelength and live values;
  // all null without a module (`context` null).
  void module(sfp_port_ctx *context, const sfp_hw_status_rec *status) {
    if (json_ != nullptr) {
      add_module_keys(*json_, context != nullptr ? module_view(*context, status) : ModuleView{});
    }
  }
  bool json() const { return json_ != nullptr; }
  JsonObject *object() const { return json_; }

private:
  JsonObject *json_;
};

std::string yes_no(uint32_t flag) {
  return flag != 0 ? "yes" : "no";
}

std::string type_text(sfp_xcvr_type type, const char *name) {
  return std::to_string(type) + " " + name;
}

std::string pid_of(sfp_port_ctx *port) {
  const auto *pid = reinterpret_cast<const uint8_t *>(sfp_get_pid(port));
  return pid == nullptr ? "" : field_value({pid, SFP_PID_LEN});
}

// The verdict of a part-number check, with the status of a check that could
// not run.
std::string check_text(sfp_rc rc, sfp_xcvr_pid_status status) {
  std::string text = sfp_xcvr_pid_supported_to_str(status);
  return rc == SFP_RC_OK ? text : text + " (" + status_text(rc) + ")";
}

class IdentifyCommand : public Command {
public:
  std::string_view name() const override { return "identify"; }
  std::string_view summary() const override {
    return "Identify the module: type, support, memory spaces, classification, part numbers";
  }
  // A module the library refuses is still worth a verdict.
  PortUse port_use() const override { return PortUse::Optional; }
  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--json", json_,
                 "Print one JSON object: these results and the module's vendor fields, "
                 "wavelength and live diagnostics");
    sub.footer("A module the library does not accept gets its type and verdict, and exit status "
               "1. --rate picks the rate of a multi-rate module. With --qsa the type is the "
               "adapter port's (qsa_port_type: the SFP's, or the adapter's own when no SFP is "
               "seated) and an adapter line names the adapter itself. With --json a number the "
               "module does not carry is null, and so is every result of the SFP when the "
               "adapter holds no SFP port.");
  }

  int run(Session &session) override {
    JsonObject json;
    Results out(json_ ? &json : nullptr);
    const int exit_code = identify(session, out);
    if (out.json()) {
      std::fputs(json.str().c_str(), stdout);
    }
    return exit_code;
  }

private:
  bool json_ = false;

  static int identify(Session &session, Results &out) {
    sfp_port_ctx *port = session.port();
    qsa_port_ctx *adapter = session.adapter_port();
    if (port == nullptr && adapter == nullptr) {
      return refused(session.failed_port(), out);
    }
    sfp_xcvr_type type = 0;
    char name[SFP_XCVR_NAME_LEN + 1] = {};
    uint32_t defaulted = 0;
    if (session.checked("identify", [&] {
          return adapter != nullptr ? qsa_port_type(adapter, &type, name, sizeof name, &defaulted)
                                    : sfp_port_type(port, &type, name, sizeof name, &defaulted);
        }) != SFP_RC_OK) {
      return kExitFailure;
    }
    out.type(type, name);
    if (adapter != nullptr) {
      // The adapter's own type and product identifier, whatever sits in it.
      sfp_hw_info_rec own{};
      qsa_port_copy_hw_info(adapter, &own);
      out.type(own.xcvr_type, own.type_name, "adapter");
      if (port == nullptr) {
        out.absent(kPortKeys);
        out.module(nullptr, nullptr);
        return kExitOk;
      }
    }
    if (out.json()) {
      structured(port, type, defaulted, *out.object());
    } else {
      char spaces[64];
      sfp_eeprom_space_supported_to_string(&port->spaces, spaces, sizeof spaces);
      out.line("supported:", nullptr, sfp_xcvr_supported_to_str(port->supported));
      out.line("memory:", nullptr, spaces);
      out.line("multi-rate:", nullptr, multi_rate(port, type));
      out.line("cable:", nullptr, classified(port, false));
      out.line("copper:", nullptr, classified(port, true));
      out.line("dwdm:", nullptr, dwdm(port, type));
      out.flag("defaulted:", "defaulted", defaulted);
      for (const PartCheck &check : part_checks(port, type)) {
        if (check.label != nullptr) {
          out.field(check.label, nullptr, check.text);
        }
        out.line(check.check_label, nullptr, check_text(check.rc, check.status));
      }
    }
    if (!out.json()) {
      return kExitOk;
    }
    sfp_hw_status_rec status{};
    const bool live = session.checked("status", [&] {
      return adapter != nullptr ? qsa_port_hw_status(adapter, &status)
                                : sfp_port_hw_status(port, &status);
    }) == SFP_RC_OK;
    out.module(port, live ? &status : nullptr);
    return live ? kExitOk : kExitFailure;
  }

  // The creation failed: the library keeps the module's context registered,
  // which still lets the check say what the module is not.
  static int refused(sfp_port_ctx *context, Results &out) {
    if (context == nullptr) {
      return kExitFailure;
    }
    sfp_xcvr_supported_status status = SFP_XCVR_NOT_CHECKED;
    sfp_xcvr_type type = SFP_XCVR_TYPE_UNKNOWN;
    const std::string pid = pid_of(context);
    (void)sfp_xcvr_check_supported(context, context->eeprom, &status, &type, pid.c_str());
    out.type(type, sfp_xcvr_get_name_from_type(context, type));
    if (out.json()) {
      out.object()->flag("supported", false).text("verdict", Verdict{status, type}.text());
    } else {
      out.line("supported:", nullptr, sfp_xcvr_supported_to_str(status));
    }
    out.absent(std::span(kPortKeys).subspan(2));
    out.module(context, nullptr);
    return kExitFailure;
  }

  static std::string multi_rate(sfp_port_ctx *port, sfp_xcvr_type type) {
    if (port->multi_rate == 0) {
      return "no";
    }
    const sfp_xcvr_type base =
        sfp_get_base_xcvr_type_frm_sub_xcvr_type(port, port->eeprom[kExtComplianceOffset], type);
    return "yes, base type " + type_text(base, sfp_xcvr_get_name_from_type(nullptr, base)) +
           ", sub type " + type_text(type, sfp_xcvr_get_name_from_type(nullptr, type));
  }

  static std::string classified(sfp_port_ctx *port, bool copper) {
    uint32_t flag = 0;
    const sfp_rc rc =
        copper ? sfp_is_zando_copper_optics(port, port->eeprom, &flag) : sfp_is_cable(port, &flag);
    return rc == SFP_RC_OK ? yes_no(flag) : status_text(rc);
  }

  static std::string dwdm(sfp_port_ctx *port, sfp_xcvr_type type) {
    std::string text;
    if (type == kTunable) {
      text = "tunable, channels " + std::to_string(port->tunable_lower_offset + 1) + " to " +
             std::to_string(port->tunable_upper_offset + 1);
    } else if (const std::optional<GridChannel> channel = grid_channel(type); channel) {
      text = channel->spacing_ghz == 100 ? "ITU channel " : "50 GHz index ";
      text += grid_channel_text(*channel);
    } else {
      return "no";
    }
    if (sfp_get_optics_speed(type) == 10000) {
      text +=
          is_sfp_10g_dwdm_limiting_module(port) != 0 ? ", limiting receiver" : ", linear receiver";
    }
    return text;
  }

  // One part-number check: the number (none for the combined check) and the
  // verdict of its list.
  struct PartCheck {
    const char *label;
    const char *key;
    const char *check_label;
    const char *check_key;
    std::string text;
    sfp_xcvr_pid_status status;
    sfp_rc rc;
  };

  // Each part number against its list, then the check that takes the first
  // that decides. A number the module does not carry is not available.
  static std::vector<PartCheck> part_checks(sfp_port_ctx *port, sfp_xcvr_type type) {
    const std::string pid = pid_of(port);
    const std::string catalogue_pn =
        port->spaces.a2 != 0 ? field_value({port->eeprom + kCataloguePnOffset, kCataloguePnWidth})
                             : std::string();
    const std::string vendor_pn = field_value({port->eeprom + kVendorPnOffset, kVendorPnWidth});
    using Check = sfp_rc (*)(sfp_port_ctx *, sfp_xcvr_type, const char *, sfp_xcvr_pid_status *);
    // The vendor PN is among the module's keys of --json.
    std::vector<PartCheck> checks = {
        {"pid:", "pid", "pid check:", "pid", pid, SFP_PID_NOT_AVAILABLE, SFP_RC_OK},
        {"catalogue pn:", "catalogue_pn", "catalogue check:", "catalogue", catalogue_pn,
         SFP_PID_NOT_AVAILABLE, SFP_RC_OK},
        {"vendor pn:", nullptr, "vendor pn check:", "vendor_pn", vendor_pn, SFP_PID_NOT_AVAILABLE,
         SFP_RC_OK},
    };
    const Check lists[] = {&sfp_xcvr_get_pid_supported, &sfp_xcvr_get_pn_supported,
                           &sfp_xcvr_get_vendor_pn_supported};
    for (std::size_t i = 0; i < checks.size(); ++i) {
      if (!checks[i].text.empty()) {
        checks[i].rc = lists[i](port, type, checks[i].text.c_str(), &checks[i].status);
      }
    }
    PartCheck &part = checks.emplace_back(
        PartCheck{nullptr, nullptr, "part check:", "part", "", SFP_PID_NOT_CHECKED, SFP_RC_OK});
    part.rc = sfp_xcvr_get_pid_ext_supported(port, type, pid.c_str(), catalogue_pn.c_str(),
                                             vendor_pn.c_str(), &part.status);
    return checks;
  }

  // With --json: the results as values, numbers and booleans; null for what
  // the module does not have.
  static void structured(sfp_port_ctx *port, sfp_xcvr_type type, uint32_t defaulted,
                         JsonObject &json) {
    const Verdict verdict = port_verdict(*port);
    json.flag("supported", verdict.supported()).text("verdict", verdict.text());
    json.flag("memory_half_a0", port->spaces.half_a0 != 0)
        .flag("memory_full_a0", port->spaces.full_a0 != 0)
        .flag("memory_a2", port->spaces.a2 != 0)
        .flag("memory_dom", port->spaces.dom != 0);
    const bool multi = port->multi_rate != 0;
    const sfp_xcvr_type base = multi ? sfp_get_base_xcvr_type_frm_sub_xcvr_type(
                                           port, port->eeprom[kExtComplianceOffset], type)
                                     : 0;
    json.flag("multi_rate", multi).absent(!multi);
    json.integer("multi_rate_base_type", base)
        .text("multi_rate_base_type_name", sfp_xcvr_get_name_from_type(nullptr, base));
    json.absent(false);
    for (const bool copper : {false, true}) {
      uint32_t flag = 0;
      const sfp_rc rc = copper ? sfp_is_zando_copper_optics(port, port->eeprom, &flag)
                               : sfp_is_cable(port, &flag);
      json.absent(rc != SFP_RC_OK).flag(copper ? "copper" : "cable", flag != 0).absent(false);
    }
    const bool tunable = type == kTunable;
    const std::optional<GridChannel> channel = grid_channel(type);
    json.flag("dwdm", tunable || channel.has_value());
    json.absent(!channel).integer("dwdm_grid_ghz", channel ? channel->spacing_ghz : 0);
    json.integer("dwdm_channel", channel ? channel->number : 0).absent(!tunable);
    json.integer("tunable_first_channel", port->tunable_lower_offset + 1)
        .integer("tunable_last_channel", port->tunable_upper_offset + 1);
    json.absent(!(tunable || channel) || sfp_get_optics_speed(type) != 10000)
        .flag("limiting_receiver", is_sfp_10g_dwdm_limiting_module(port) != 0)
        .absent(false);
    json.flag("defaulted", defaulted != 0);
    for (const PartCheck &check : part_checks(port, type)) {
      if (check.key != nullptr) {
        json.field(check.key, check.text);
      }
      const bool known = check.rc == SFP_RC_OK && (check.status == SFP_PID_SUPPORTED ||
                                                   check.status == SFP_PID_NOT_SUPPORTED);
      json.absent(!known)
          .flag(std::string(check.check_key) + "_supported", check.status == SFP_PID_SUPPORTED)
          .absent(false);
      json.integer(std::string(check.check_key) + "_check", check.status);
    }
  }
};

} // namespace

std::unique_ptr<Command> make_identify_command() {
  return std::make_unique<IdentifyCommand>();
}

} // namespace sfpctl
