#include "module_view.h"

#include "xcvr_text.h"

#include <cstddef>
#include <cstdint>

namespace sfpctl {
namespace {

// A0h bytes.
constexpr std::size_t kVendorName = 20;
constexpr std::size_t kVendorPn = 40;
constexpr std::size_t kVendorSn = 68;
constexpr std::size_t kWavelength = 60; // 60, 61 in nm, 62 in 0.01 nm
constexpr std::size_t kDiagMonType = 92;

// A2h bytes.
constexpr std::size_t kRxPowerCoefficients = 56; // R4, R3, R2, R1, R0
constexpr std::size_t kBiasSlope = 76;           // then Tx power, temperature, Vcc
constexpr std::size_t kTxSlope = 80;
constexpr std::size_t kTemperatureSlope = 84;
constexpr std::size_t kVccSlope = 88;
constexpr std::size_t kTemperature = 96; // then Vcc, bias, Tx and Rx power

uint16_t word(const uint8_t *bytes) {
  return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}

// A 16-byte vendor text field of A0h, whole: a name such as "ACME CORP"
// keeps its blank, where the library's common strings stop at the first one.
std::string vendor_field(const uint8_t *a0, std::size_t offset) {
  constexpr std::size_t kWidth = 16;
  return field_value({a0 + offset, kWidth});
}

// The live monitor words in their units, calibrated by the library's
// functions when the module is externally calibrated.
class LiveWords {
public:
  explicit LiveWords(const ModuleBytes &bytes)
      : diag_(bytes.a2_lower), external_(sfp_id_diagMonType_ext_cal(bytes.a0[kDiagMonType]) != 0) {}

  uint16_t temperature() const { return by_slope(0, kTemperatureSlope, &sfp_get_ext_cal_temp); }
  uint16_t vcc() const { return by_slope(1, kVccSlope, &sfp_get_ext_cal_dom); }
  uint16_t bias() const { return by_slope(2, kBiasSlope, &sfp_get_ext_cal_dom); }
  uint16_t tx_power() const { return by_slope(3, kTxSlope, &sfp_get_ext_cal_dom); }
  uint16_t rx_power() const {
    uint16_t value = raw(4);
    if (external_) {
      const uint8_t *r = diag_ + kRxPowerCoefficients;
      (void)sfp_get_ext_cal_rx_power(value, &value, r, r + 4, r + 8, r + 12, r + 16);
    }
    return value;
  }

private:
  using Calibrate = sfp_rc (*)(uint16_t, uint16_t *, uint16_t, int16_t);

  uint16_t raw(std::size_t index) const { return word(diag_ + kTemperature + 2 * index); }
  uint16_t by_slope(std::size_t index, std::size_t slope, Calibrate calibrate) const {
    uint16_t value = raw(index);
    if (external_) {
      (void)calibrate(value, &value, word(diag_ + slope),
                      static_cast<int16_t>(word(diag_ + slope + 2)));
    }
    return value;
  }

  const uint8_t *diag_;
  bool external_;
};

// A power's milliwatts and the library's dBm for it, which a power of zero
// does not have.
void set_power(uint16_t tenths_uw, float dbm, std::optional<double> &mw,
               std::optional<double> &dbm_out) {
  mw = tenths_uw * 1e-4;
  if (tenths_uw != 0) {
    dbm_out = dbm;
  }
}

// The wavelength of A0h, which copper modules and cables do not have: their
// bytes 60 and 61 hold other things.
std::optional<double> stated_wavelength(sfp_port_ctx &context, const uint8_t *a0,
                                        const sfp_hw_status_rec *status) {
  uint32_t copper = 0;
  const uint16_t nm = word(a0 + kWavelength);
  if (sfp_is_zando_copper_optics(&context, a0, &copper) != SFP_RC_OK || copper != 0 || nm == 0 ||
      (status != nullptr && status->no_diagnostics != 0)) {
    return std::nullopt;
  }
  return nm + a0[kWavelength + 2] * 0.01;
}

} // namespace

bool has_diagnostics(const sfp_port_ctx &context) {
  return context.spaces.a2 != 0 && context.spaces.dom != 0;
}

ModuleView module_view(sfp_port_ctx &port, const sfp_hw_status_rec *status, bool a2_captured) {
  const ModuleBytes bytes{port.eeprom + SFP_IMAGE_A0, port.eeprom + SFP_IMAGE_A2_LOWER,
                          a2_captured && has_diagnostics(port)};
  return module_view(port, bytes, status);
}

ModuleView module_view(sfp_port_ctx &context, const ModuleBytes &bytes,
                       const sfp_hw_status_rec *status) {
  ModuleView view;
  view.vendor_name = vendor_field(bytes.a0, kVendorName);
  view.vendor_pn = vendor_field(bytes.a0, kVendorPn);
  view.vendor_sn = vendor_field(bytes.a0, kVendorSn);
  if (status == nullptr || !bytes.diagnostics) {
    view.wavelength_nm = stated_wavelength(context, bytes.a0, status);
    return view;
  }
  // A tunable module's wavelength is its channel's.
  view.wavelength_nm = status->wavelength;
  const LiveWords live(bytes);
  view.temperature_c = static_cast<int16_t>(live.temperature()) / 256.0;
  view.vcc_v = live.vcc() * 1e-4;
  view.tx_bias_ma = live.bias() * 2e-3;
  set_power(live.tx_power(), status->tx_power, view.tx_power_mw, view.tx_power_dbm);
  set_power(live.rx_power(), status->rx_power, view.rx_power_mw, view.rx_power_dbm);
  return view;
}

void add_module_keys(JsonObject &json, const ModuleView &view) {
  json.field("vendor_name", view.vendor_name)
      .field("vendor_pn", view.vendor_pn)
      .field("vendor_sn", view.vendor_sn)
      .number("wavelength_nm", view.wavelength_nm)
      .number("temperature_c", view.temperature_c)
      .number("vcc_v", view.vcc_v)
      .number("tx_bias_ma", view.tx_bias_ma)
      .number("tx_power_mw", view.tx_power_mw)
      .number("tx_power_dbm", view.tx_power_dbm)
      .number("rx_power_mw", view.rx_power_mw)
      .number("rx_power_dbm", view.rx_power_dbm);
}

} // namespace sfpctl
