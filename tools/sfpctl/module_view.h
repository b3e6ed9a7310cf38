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

// What the snapshot commands say of an image that holds A0h only, in place
// of its diagnostics.
inline constexpr const char *kNoDiagnosticsInImage = "no diagnostics in this image";

// Whether the module has live diagnostics, as the library decided at
// creation.
bool has_diagnostics(const sfp_port_ctx &context);

// The bytes a view is made from: A0h, the A2h lower half as last read, and
// whether the module has live diagnostics in them.
struct ModuleBytes {
  const uint8_t *a0;
  const uint8_t *a2_lower;
  bool diagnostics;
};

// The view of a module: `context` is a port or the context of a module
// whose creation failed; `status` the status record made from `bytes`, or
// null for none.
ModuleView module_view(sfp_port_ctx &context, const ModuleBytes &bytes,
                       const sfp_hw_status_rec *status);
// The same of a port's image: `status` is the port's status snapshot (its
// A2h lower half is then fresh in the image). `a2_captured` false: the
// module's A2h bytes are not known, and it has no live values.
ModuleView module_view(sfp_port_ctx &port, const sfp_hw_status_rec *status,
                       bool a2_captured = true);

// Adds the view's keys, null for an absent value or an empty text field (a
// default view: every key null).
void add_module_keys(JsonObject &json, const ModuleView &view);

} // namespace sfpctl

#endif // SFPCTL_MODULE_VIEW_H
