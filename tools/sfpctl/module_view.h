// What the status, info and identify commands report of every module: its
// vendor fields, wavelength and live diagnostics, each absent when the
// module has no such value.
#ifndef SFPCTL_MODULE_VIEW_H
#define SFPCTL_MODULE_VIEW_H

#include <optional>
#include <string>

#include "json.h"
#include "sfpdrv/sfpdrv.h"

namespace sfpctl {

struct ModuleView {
  // The A0h text fields, trailing blanks removed (bytes that are not text
  // are kept; the JSON writer escapes them).
  std::string vendor_name;
  std::string vendor_pn;
  std::string vendor_sn;
  std::optional<double> wavelength_nm;
  std::optional<double> temperature_c;
  std::optional<double> vcc_v;
  std::optional<double> tx_bias_ma;
  std::optional<double> tx_power_mw;
  std::optional<double> tx_power_dbm; // absent for a power of zero
  std::optional<double> rx_power_mw;
  std::optional<double> rx_power_dbm;
};

// What the snapshot commands print, before their JSON object of nulls, for a
// module the library refused (no port and no adapter port).
inline constexpr const char *kRefusedModuleNote =
    "no port: the library refused the module ('sfpctl identify' shows its type and verdict)";

// Whether the module has live diagnostics, as the library decided at
// creation.
bool has_diagnostics(const sfp_port_ctx &context);

// The view of a module: `context` is a port or the context of a module
// whose creation failed; `status` the port's status snapshot (its A2h
// lower half is then fresh in the context's image), or null for none.
ModuleView module_view(sfp_port_ctx &context, const sfp_hw_status_rec *status);

// Adds the view's keys, null for an absent value or an empty text field (a
// default view: every key null).
void add_module_keys(JsonObject &json, const ModuleView &view);

} // namespace sfpctl

#endif // SFPCTL_MODULE_VIEW_H
