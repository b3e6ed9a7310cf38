// info: the module's identity as the library's identity snapshot gives it,
// and whether its identification data passes its checksums.
#include <array>
#include <cstdio>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "command.h"
#include "json.h"
#include "module_bytes.h"
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

std::string hex_value(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

// "good (stored 0x5e, computed 0x5e)".
std::string check_text(const Check &check, int digits) {
  return std::string(check.good() ? "good" : "bad") + " (stored " +
         hex_value(check.stored, digits) + ", computed " + hex_value(check.computed, digits) + ")";
}

// What is known of an SFP module besides its identity record: the
// library's verdict and the module's own check values.
struct Judged {
  Verdict verdict;
  bool refused = false;
  Integrity integrity;
  bool a2_captured = true;
};

// The module's own SFF-8472 check bytes, then the catalogue CRC the library
// checks, which only modules of our catalogue carry.
void print_integrity(const Judged &judged) {
  const Integrity &i = judged.integrity;
  std::string diagnostics = "- (the module declares no diagnostics)";
  if (i.diagnostics) {
    diagnostics = check_text(*i.diagnostics, 2) + ", A2h byte 95 over A2h bytes 0..94";
  } else if (!judged.a2_captured) {
    diagnostics = std::string("- (") + kNoDiagnosticsInImage + ")";
  }
  const std::pair<const char *, std::string> lines[] = {
      {"integrity:", "the module's own check bytes (SFF-8472)"},
      {"  base checksum:", check_text(i.base, 2) + ", A0h byte 63 over bytes 0..62"},
      {"  ext checksum:", check_text(i.extended, 2) + ", A0h byte 95 over bytes 64..94"},
      {"  diag checksum:", diagnostics},
      {"catalogue crc:", check_text(i.catalogue_crc, 8) +
                             ", A0h bytes 124..127 over bytes 96..123: a catalogue check, "
                             "which third-party modules do not carry"},
  };
  for (const auto &[label, value] : lines) {
    std::printf("%-17s %s\n", label, value.c_str());
  }
}

void add_check_keys(JsonObject &json, const std::string &name, const std::optional<Check> &check) {
  json.absent(!check);
  const Check shown = check.value_or(Check{});
  json.flag(name + "_good", shown.good())
      .integer(name + "_stored", shown.stored)
      .integer(name + "_computed", shown.computed);
  json.absent(false);
}

// The verdict and the check values; all null for no SFP (`judged` null).
void add_judged_keys(JsonObject &json, const Judged *judged) {
  json.absent(judged == nullptr);
  const Judged none;
  const Judged &j = judged != nullptr ? *judged : none;
  json.flag("supported", j.verdict.supported()).text("verdict", j.verdict.text());
  json.absent(false);
  const auto present = [&](const Check &check) {
    return judged != nullptr ? std::optional<Check>(check) : std::nullopt;
  };
  add_check_keys(json, "base_checksum", present(j.integrity.base));
  add_check_keys(json, "ext_checksum", present(j.integrity.extended));
  add_check_keys(json, "diag_checksum", j.integrity.diagnostics);
  add_check_keys(json, "catalogue_crc", present(j.integrity.catalogue_crc));
}

class InfoCommand : public Command {
public:
  std::string_view name() const override { return "info"; }
  std::string_view summary() const override {
    return "Show the module's identity, the library's verdict and the module's check bytes";
  }
  void add_arguments(CLI::App &sub) override {
    sub.add_flag("--json", json_, "Print one JSON object instead of the lines");
    sub.footer("The identity is the library's snapshot (sfp_port_hw_info), whose text fields "
               "are cut at their first blank; vendor name, part number and serial number are "
               "shown whole. Bytes that are not printable show as '.' (in JSON as \\u00XX), an "
               "empty field as '-' (in JSON null). The module's own check bytes follow: the "
               "base, extended and diagnostics checksums, and the catalogue CRC that only our "
               "catalogue's modules carry. A module the library refuses is decoded from its "
               "bytes, with the verdict. With --qsa (qsa_port_hw_info) the adapter's own "
               "identity follows, copied from its memory as it stands (in JSON without "
               "trailing blanks), with its QSFP checksums; with no SFP port behind the adapter "
               "the SFP's JSON keys are null.");
  }

  PortUse port_use() const override { return PortUse::Optional; }
  bool shows_refused_module() const override { return true; }

  int run(Session &session) override {
    sfp_port_ctx *port = session.port();
    qsa_port_ctx *adapter = session.adapter_port();
    if (port == nullptr && adapter == nullptr) {
      return refused(session);
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
    const Judged judged{port != nullptr ? port_verdict(*port) : Verdict{}, false,
                        integrity_of(session.creation_image(), session.a2_captured()),
                        session.a2_captured()};
    if (json_) {
      JsonObject json;
      bool live = true;
      if (port != nullptr) {
        live = add_port_keys(session, *port, json);
        add_identity_keys(info, json);
        add_judged_keys(json, &judged);
      } else {
        add_absent_keys(json);
      }
      if (adapter != nullptr) {
        add_adapter_keys(adapter_info, json);
      }
      std::fputs(json.str().c_str(), stdout);
      return live ? kExitOk : kExitFailure;
    }
    if (port != nullptr) {
      const ModuleView view = module_view(*port, nullptr);
      print_lines(info, false, &view);
      print_judged(judged);
    }
    if (adapter != nullptr) {
      std::printf("%sadapter (its own memory, not trimmed):\n", port != nullptr ? "\n" : "");
      print_lines(adapter_info, true, nullptr);
    }
    return kExitOk;
  }

private:
  // A module the library refused: its identity, values and check bytes
  // decoded from its bytes, beside the verdict.
  int refused(Session &session) const {
    sfp_port_ctx *context = refused_module(session);
    if (context == nullptr) {
      return kExitFailure;
    }
    const CreationImage &image = session.creation_image();
    const Judged judged{refused_verdict(*context), true, integrity_of(image, session.a2_captured()),
                        session.a2_captured()};
    const sfp_hw_info_rec info =
        identity_from_bytes(*context, image, session.a2_captured(), judged.verdict);
    std::array<uint8_t, 128> a2{};
    sfp_hw_status_rec status{};
    const bool live = json_ && session.a2_captured() && declares_diagnostics(image);
    if (live && read_refused_status(session, *context, "info", a2, status) != SFP_RC_OK) {
      return kExitFailure;
    }
    const ModuleView view =
        module_view(*context, ModuleBytes{image.data() + SFP_IMAGE_A0, a2.data(), live},
                    live ? &status : nullptr);
    if (json_) {
      JsonObject json;
      add_module_keys(json, view);
      add_identity_keys(info, json);
      add_judged_keys(json, &judged);
      std::fputs(json.str().c_str(), stdout);
    } else {
      print_lines(info, false, &view);
      print_judged(judged);
    }
    return kExitOk;
  }

  static void print_judged(const Judged &judged) {
    std::string supported = "yes";
    if (judged.refused) {
      supported = refusal_text(judged.verdict);
    } else if (!judged.verdict.supported()) {
      supported = "no (" + judged.verdict.text() + ")";
    }
    std::printf("%-17s %s\n", "supported:", supported.c_str());
    print_integrity(judged);
  }

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
      std::printf("%-17s %s\n", label, value.empty() ? "-" : printable(value).c_str());
    }
  }

  static bool add_port_keys(Session &session, sfp_port_ctx &port, JsonObject &json) {
    if (!session.a2_captured() && has_diagnostics(port)) {
      add_module_keys(json, module_view(port, nullptr, false));
      return true;
    }
    sfp_hw_status_rec status{};
    const bool live = session.checked("status", [&] {
      return session.adapter_port() != nullptr ? qsa_port_hw_status(session.adapter_port(), &status)
                                               : sfp_port_hw_status(&port, &status);
    }) == SFP_RC_OK;
    add_module_keys(json, module_view(port, live ? &status : nullptr));
    return live;
  }

  // No SFP port behind the adapter: the SFP's keys, all null.
  static void add_absent_keys(JsonObject &json) {
    json.absent(true);
    add_module_keys(json, ModuleView{});
    add_identity_keys(sfp_hw_info_rec{}, json);
    json.absent(false);
    add_judged_keys(json, nullptr);
  }

  // With --qsa the adapter's identity follows as "adapter_" keys.
  static void add_adapter_keys(const sfp_hw_info_rec &adapter_info, JsonObject &json) {
    json.field("adapter_vendor_name", field_value(adapter_info.vendor_name))
        .field("adapter_vendor_pn", field_value(adapter_info.vendor_pn))
        .field("adapter_vendor_sn", field_value(adapter_info.vendor_sn))
        .integer("adapter_type", adapter_info.xcvr_type)
        .text("adapter_type_name", adapter_info.type_name)
        .integer("adapter_compliance", adapter_info.compliance);
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
