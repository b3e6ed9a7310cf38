// Ready-made modules and the check bytes of module memory.
//
// Every module is made by SIMLAB OPTICS: vendor part numbers "SL-" +
// product, serials "SIM" + digits. The modules are sold under our own
// catalogue, so their maker area carries our product ID ("PX-...") and
// catalogue number ("74-" + type + "-" + revision): in A2h table 0 bytes 192
// and 138, or, for copper modules, which have no A2h, the product ID in A0h
// byte 192.
#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>

#include "sfpsim/module.h"

namespace sfpsim {

namespace {

// A0h field offsets.
constexpr std::size_t kIdentifier = 0;
constexpr std::size_t kExtIdentifier = 1;
constexpr std::size_t kConnector = 2;
constexpr std::size_t kTenGigCodes = 3;   // 10G Ethernet and Infiniband codes
constexpr std::size_t kEthernetCodes = 6; // 1G Ethernet codes
constexpr std::size_t kFcLinkLength = 7;
constexpr std::size_t kCableCodes = 8;   // SFP+ cable technology (bits 2 and 3)
constexpr std::size_t kFcTechnology = 8; // FC transmitter technology (the other bits)
constexpr std::size_t kFcMedia = 9;
constexpr std::size_t kFcSpeed = 10;
constexpr std::size_t kEncoding = 11;
constexpr std::size_t kBitRate = 12; // 100 MBd units, 0xff: see kBitRateMax
constexpr std::size_t kLengthSmfKm = 14;
constexpr std::size_t kLengthSmf100m = 15;
constexpr std::size_t kLengthOm2 = 16;         // 10 m units
constexpr std::size_t kLengthOm1 = 17;         // 10 m units
constexpr std::size_t kLengthOm4OrCopper = 18; // 10 m units, or metres of cable
constexpr std::size_t kLengthOm3 = 19;         // 10 m units
constexpr std::size_t kVendorName = 20;
constexpr std::size_t kExtCompliance = 36;
constexpr std::size_t kVendorOui = 37;
constexpr std::size_t kVendorPn = 40;
constexpr std::size_t kVendorRev = 56;
constexpr std::size_t kWavelength = 60; // nm, or the cable compliance bits
constexpr std::size_t kBaseCheck = 63;
constexpr std::size_t kOptions = 64;
constexpr std::size_t kBitRateMax = 66; // 250 MBd units when kBitRate is 0xff
constexpr std::size_t kVendorSn = 68;
constexpr std::size_t kDateCode = 84;
constexpr std::size_t kDiagType = 92;
constexpr std::size_t kEnhancedOptions = 93;
constexpr std::size_t kDiagRevision = 94;
constexpr std::size_t kExtCheck = 95;
constexpr std::size_t kVendorCode = 96; // the transceiver code of the module's vendor
constexpr std::size_t kVendorArea = 98; // free text after the code bytes 96..97
constexpr std::size_t kVendorCrc = 124;
constexpr std::size_t kCopperPid = 192; // copper modules carry their PID in A0h
constexpr std::size_t kPidWidth = 20;
constexpr std::size_t kMultiRate = 253; // 3: the module runs at two rates

// A2h lower-half offsets.
constexpr std::size_t kThresholds = 0;           // 5 quantities x 4 limits x 2 bytes
constexpr std::size_t kRxPowerCoefficients = 56; // R4, R3, R2, R1, R0: big-endian floats
constexpr std::size_t kSlopesOffsets = 76;       // bias, Tx, temperature, Vcc
constexpr std::size_t kDiagCheck = 95;
constexpr std::size_t kLiveValues = 96; // temperature, Vcc, bias, Tx, Rx

constexpr uint8_t kSfp = 0x03;
constexpr uint8_t kDwdmSfp = 0x0B;
constexpr uint8_t kDwdmExtIdentifier = 0x24;
constexpr uint8_t kTwoWireId = 0x04;
constexpr uint8_t kLc = 0x07;
constexpr uint8_t kCopperPigtail = 0x21;
constexpr uint8_t kRj45 = 0x22;
constexpr uint8_t kPassiveCable = 0x04; // byte 8
constexpr uint8_t k8b10b = 0x01;
constexpr uint8_t k64b66b = 0x06;
// Byte 65: TX_DISABLE, TX_FAULT and LOS pins implemented.
constexpr uint8_t kPinOptions = 0x1A;
constexpr uint8_t kTunableOption = 0x40;
// Byte 92: diagnostics implemented, internally calibrated, average Rx power.
constexpr uint8_t kDiagInternal = 0x68;
// Byte 92: diagnostics implemented, externally calibrated, average Rx power.
constexpr uint8_t kDiagExternal = 0x58;
// Byte 93: alarm flags, soft TX_DISABLE, soft TX_FAULT, soft RX_LOS.
constexpr uint8_t kSoftControls = 0xF0;

constexpr std::string_view kVendor = "SIMLAB OPTICS";
constexpr uint8_t kOui[3] = {0x02, 0x5A, 0x11};

// Alarm and warning limits of one monitored quantity.
struct Limits {
  double high_alarm;
  double low_alarm;
  double high_warning;
  double low_warning;
};

// Diagnostics in engineering units: degrees C, volts, milliamps, dBm.
struct Diagnostics {
  Limits temperature;
  Limits vcc;
  Limits bias;
  Limits tx_power;
  Limits rx_power;
  double temperature_now;
  double vcc_now;
  double bias_now;
  double tx_now;
  double rx_now;
};

// The A/D counts of an externally calibrated module and the constants that
// turn them into the units of the monitor words.
struct RawDiagnostics {
  // Temperature, Vcc, bias, Tx and Rx power, each high alarm, low alarm,
  // high warning and low warning, as the page orders them.
  std::array<uint16_t, 20> thresholds;
  std::array<uint16_t, 5> live;  // temperature, Vcc, bias, Tx, Rx
  std::array<float, 5> rx_power; // R4, R3, R2, R1, R0
  // Slope (unsigned 8.8) and offset (signed) of bias, Tx, temperature, Vcc.
  std::array<uint16_t, 8> slopes_offsets;
};

uint16_t clamp_raw(double value) {
  return static_cast<uint16_t>(std::clamp(std::lround(value), 0L, 65535L));
}

// The raw units of the monitor words.
uint16_t raw_temperature(double celsius) {
  const long raw = std::clamp(std::lround(celsius * 256.0), -32768L, 32767L);
  return static_cast<uint16_t>(static_cast<int16_t>(raw)); // two's complement
}
uint16_t raw_vcc(double volts) {
  return clamp_raw(volts * 10000.0);
} // 100 uV
uint16_t raw_bias(double milliamps) {
  return clamp_raw(milliamps * 500.0);
} // 2 uA
uint16_t raw_power(double dbm) { // 0.1 uW
  return clamp_raw(std::pow(10.0, dbm / 10.0) * 10000.0);
}

// Sets module memory field by field.
class Builder {
public:
  Builder &a0(std::size_t offset, uint8_t value) {
    memory_.a0[offset] = value;
    return *this;
  }
  Builder &a0_u16(std::size_t offset, uint16_t value) {
    put_u16(memory_.a0.data() + offset, value);
    return *this;
  }
  Builder &a0_text(std::size_t offset, std::size_t width, std::string_view text) {
    put_text(memory_.a0.data() + offset, width, text);
    return *this;
  }

  // Vendor name and OUI of the house, then the module's own identity. The
  // vendor transceiver code (byte 96) stays 0 unless vendor_code sets it.
  Builder &vendor(std::string_view part_number, std::string_view revision, std::string_view serial,
                  std::string_view date) {
    a0_text(kVendorName, 16, kVendor);
    std::copy(std::begin(kOui), std::end(kOui), memory_.a0.begin() + kVendorOui);
    a0_text(kVendorPn, 16, part_number);
    a0_text(kVendorRev, 4, revision);
    a0_text(kVendorSn, 16, serial);
    a0_text(kDateCode, 8, date);
    std::string area = "SIMLAB ";
    area += part_number;
    return a0_text(kVendorArea, kVendorCrc - kVendorArea, area);
  }
  Builder &vendor_code(uint8_t code) { return a0(kVendorCode, code); }

  Builder &diagnostics(const Diagnostics &d) {
    diagnostics_ = true;
    uint8_t *out = memory_.a2_lower.data() + kThresholds;
    auto limits = [&out](const Limits &l, uint16_t (*raw)(double)) {
      for (double value : {l.high_alarm, l.low_alarm, l.high_warning, l.low_warning}) {
        put_u16(out, raw(value));
        out += 2;
      }
    };
    limits(d.temperature, raw_temperature);
    limits(d.vcc, raw_vcc);
    limits(d.bias, raw_bias);
    limits(d.tx_power, raw_power);
    limits(d.rx_power, raw_power);
    uint8_t *live = memory_.a2_lower.data() + kLiveValues;
    put_u16(live, raw_temperature(d.temperature_now));
    put_u16(live + 2, raw_vcc(d.vcc_now));
    put_u16(live + 4, raw_bias(d.bias_now));
    put_u16(live + 6, raw_power(d.tx_now));
    put_u16(live + 8, raw_power(d.rx_now));
    return *this;
  }

  Builder &raw_diagnostics(const RawDiagnostics &d) {
    diagnostics_ = true;
    uint8_t *a2 = memory_.a2_lower.data();
    for (std::size_t i = 0; i < d.thresholds.size(); ++i) {
      put_u16(a2 + kThresholds + 2 * i, d.thresholds[i]);
    }
    for (std::size_t i = 0; i < d.live.size(); ++i) {
      put_u16(a2 + kLiveValues + 2 * i, d.live[i]);
    }
    for (std::size_t i = 0; i < d.rx_power.size(); ++i) {
      const auto bits = std::bit_cast<uint32_t>(d.rx_power[i]);
      put_u16(a2 + kRxPowerCoefficients + 4 * i, static_cast<uint16_t>(bits >> 16));
      put_u16(a2 + kRxPowerCoefficients + 4 * i + 2, static_cast<uint16_t>(bits & 0xffff));
    }
    for (std::size_t i = 0; i < d.slopes_offsets.size(); ++i) {
      put_u16(a2 + kSlopesOffsets + 2 * i, d.slopes_offsets[i]);
    }
    return *this;
  }

  // Alarm and warning flags (A2h bytes 112, 113, 116, 117) that the module
  // raises for as long as it runs.
  Builder &a2_flags(std::size_t offset, uint8_t bits) {
    memory_.a2_lower[offset] = bits;
    return *this;
  }

  // The maker area of table 0: a CLEI-like code, catalogue number, version
  // and product id.
  Builder &maker_area(std::string_view code, std::string_view catalogue, std::string_view product) {
    table_text(0, 128, 10, code);
    table_text(0, 138, 10, catalogue);
    table_text(0, 148, 4, "V01");
    return table_text(0, 192, kPidWidth, product);
  }

  // The product ID of a copper module, which has no A2h to carry it.
  Builder &copper_pid(std::string_view product) { return a0_text(kCopperPid, kPidWidth, product); }

  // `offset` is the A2h offset, 128..255.
  Builder &table_u16(std::size_t table, std::size_t offset, uint16_t value) {
    put_u16(memory_.tables[table].data() + (offset - kA2LowerSize), value);
    return *this;
  }
  Builder &table_text(std::size_t table, std::size_t offset, std::size_t width,
                      std::string_view text) {
    put_text(memory_.tables[table].data() + (offset - kA2LowerSize), width, text);
    return *this;
  }

  Memory finish() {
    fix_checksums(memory_);
    if (diagnostics_) {
      fix_diag_checksum(memory_);
    }
    return memory_;
  }

private:
  static void put_u16(uint8_t *at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value & 0xff);
  }
  static void put_text(uint8_t *at, std::size_t width, std::string_view text) {
    std::fill_n(at, width, static_cast<uint8_t>(' '));
    std::copy_n(text.begin(), std::min(width, text.size()), at);
  }

  Memory memory_{};
  bool diagnostics_ = false;
};

// Short-reach multimode optics share their limits.
constexpr Limits kCommercialTemperature{80.0, -10.0, 75.0, -5.0};
constexpr Limits kVcc{3.63, 2.97, 3.465, 3.135};

Profile sx_1g() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {12.0, 2.0, 10.0, 3.0},
                        {0.0, -11.0, -1.0, -10.0},
                        {1.0, -20.0, 0.0, -18.0},
                        35.5,
                        3.30,
                        6.0,
                        -2.5,
                        -3.0};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEthernetCodes, 0x01).a0(kEncoding, k8b10b).a0(kBitRate, 0x0D);
  b.a0(kLengthOm2, 55).a0(kLengthOm1, 27);
  b.vendor("SL-1GSX-DM", "A1", "SIM26030101", "260315");
  b.a0_u16(kWavelength, 850).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x01);
  b.diagnostics(dom).maker_area("SIMLABCLE1", "74-0529-01", "PX-SFP-1G-SX");
  return {
      "1000base-sx", "1000BASE-SX, 850 nm multimode, LC, with diagnostics", b.finish(), false, {}};
}

Profile sr_10g() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {13.0, 2.0, 11.0, 3.0},
                        {1.5, -9.5, 0.5, -8.5},
                        {1.5, -15.0, 0.5, -13.0},
                        33.0,
                        3.28,
                        7.2,
                        -2.1,
                        -3.4};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kTenGigCodes, 0x10).a0(kEncoding, k64b66b).a0(kBitRate, 0x67);
  b.a0(kLengthOm2, 8).a0(kLengthOm1, 3).a0(kLengthOm4OrCopper, 40).a0(kLengthOm3, 30);
  b.vendor("SL-10GSR-DM", "A1", "SIM26030202", "260316");
  b.a0_u16(kWavelength, 850).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x05);
  b.diagnostics(dom).maker_area("SIMLABCLE2", "74-0594-02", "PX-SFP-10G-SR");
  return {
      "10gbase-sr", "10GBASE-SR, 850 nm multimode, LC, with diagnostics", b.finish(), false, {}};
}

Profile dac_10g() {
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kCopperPigtail);
  b.a0(kCableCodes, 0x04).a0(kEncoding, k64b66b).a0(kBitRate, 0x67);
  b.a0(kLengthOm4OrCopper, 1);
  b.vendor("SL-10GCU-1M", "A1", "SIM26030303", "260317");
  // Passive cable: bytes 60..61 carry the cable compliance bits.
  b.a0(kWavelength, 0x01).a0(kWavelength + 1, 0x00);
  // Vendor code 0x80: the 1 m cable of the SFP+ copper family.
  b.vendor_code(0x80).copper_pid("PX-SFP-10G-CU1M");
  return {
      "10g-dac-1m", "10G passive copper cable, 1 m, no diagnostics memory", b.finish(), false, {}};
}

Profile sr_25g() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {13.0, 3.0, 12.0, 4.0},
                        {3.0, -10.4, 2.0, -8.4},
                        {3.0, -12.4, 2.0, -10.3},
                        41.2,
                        3.31,
                        7.5,
                        -1.2,
                        -2.0};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEncoding, k64b66b).a0(kBitRate, 0xFF).a0(kBitRateMax, 103);
  b.a0(kExtCompliance, 0x02);
  b.a0(kLengthOm4OrCopper, 10).a0(kLengthOm3, 7);
  b.vendor("SL-25GSR", "A1", "SIM26030404", "260318");
  b.a0_u16(kWavelength, 850).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x08);
  b.diagnostics(dom).maker_area("SIMLABCLE4", "74-0784-01", "PX-SFP28-25G-SR");
  return {
      "25gbase-sr", "25GBASE-SR, 850 nm multimode, LC, with diagnostics", b.finish(), false, {}};
}

// The memory of a drifting profile holds the values of its first step, so
// that the first reading shows what the memory says.
void hold_first_step(Profile &profile) {
  uint8_t *live = profile.memory.a2_lower.data() + kLiveValues;
  const uint16_t temperature = raw_temperature(profile.drift->temperature_start_c);
  const uint16_t rx = raw_power(profile.drift->rx_power_start_dbm);
  live[0] = static_cast<uint8_t>(temperature >> 8);
  live[1] = static_cast<uint8_t>(temperature & 0xff);
  live[8] = static_cast<uint8_t>(rx >> 8);
  live[9] = static_cast<uint8_t>(rx & 0xff);
}

// The 25G SR optic running warm and losing light: its temperature climbs 2 C
// per reading from 66 C (high warning 75 C from the 5th reading on, high
// alarm 80 C from the 8th) while its receive power fades 0.5 dB per reading
// from -2.0 dBm; after 24 readings it starts over.
Profile sr_25g_drift() {
  Profile profile = sr_25g();
  profile.name = "25gbase-sr-drift";
  profile.description = "25GBASE-SR whose temperature climbs into its warning and alarm and whose "
                        "Rx power fades, one step per reading";
  profile.memory.a0[kVendorSn + 11] = '1'; // its own serial, SIM260304041
  fix_checksums(profile.memory);
  profile.drift = Drift{66.0, 2.0, -2.0, -0.5, 24};
  hold_first_step(profile);
  return profile;
}

// The 25G SR optic with almost no light: Rx power -14.0 dBm, below its low
// alarm (-12.4 dBm) and low warning (-10.3 dBm), both flags raised.
Profile sr_25g_rx_alarm() {
  Profile profile = sr_25g();
  profile.name = "25gbase-sr-rx-alarm";
  profile.description = "25GBASE-SR with Rx power below its low alarm, its alarm and warning flags "
                        "raised";
  profile.memory.a0[kVendorSn + 11] = '2'; // its own serial, SIM260304042
  fix_checksums(profile.memory);
  profile.drift = Drift{41.2, 0.0, -14.0, 0.0, 0};
  hold_first_step(profile);
  // Rx power low alarm (byte 113 bit 6) and low warning (byte 117 bit 6).
  profile.memory.a2_lower[113] = 0x40;
  profile.memory.a2_lower[117] = 0x40;
  return profile;
}

Profile tunable_dwdm() {
  const Diagnostics dom{{75.0, -5.0, 70.0, 0.0},
                        kVcc,
                        {100.0, 10.0, 90.0, 20.0},
                        {5.0, -3.0, 4.0, -2.0},
                        {-5.0, -26.0, -7.0, -24.0},
                        45.0,
                        3.29,
                        55.0,
                        1.5,
                        -12.0};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEncoding, k64b66b).a0(kBitRate, 0x67);
  b.a0(kLengthSmfKm, 80).a0(kLengthSmf100m, 0xFF);
  b.vendor("SL-10GT-DWDM", "A1", "SIM26030505", "260319");
  // 1566 nm: channel 1 at 191.35 THz.
  b.a0_u16(kWavelength, 1566).a0(kOptions + 1, kPinOptions | kTunableOption);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x05);
  b.diagnostics(dom).maker_area("SIMLABCLE5", "74-0765-01", "PX-SFP-10G-TUN");
  // Tuning range in table 2: whole THz then 0.1 GHz, first and last
  // frequency, the grid spacing, and the channel in use.
  b.table_u16(2, 132, 191).table_u16(2, 134, 3500);
  b.table_u16(2, 136, 196).table_u16(2, 138, 1000);
  b.table_u16(2, 140, 500); // 50 GHz grid
  b.table_u16(2, 144, 1);
  return {"10g-tunable-dwdm",
          "10G tunable DWDM, 191.35 to 196.10 THz on a 50 GHz grid, 80 km",
          b.finish(),
          false,
          {}};
}

// A copper module: no diagnostics, its PID in A0h, and a PHY on its bus.
Profile base_t_1g() {
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kRj45);
  b.a0(kEthernetCodes, 0x08).a0(kEncoding, k8b10b).a0(kBitRate, 0x0D);
  b.a0(kLengthOm4OrCopper, 100);
  b.vendor("SL-1GT", "A1", "SIM26030606", "260320");
  b.copper_pid("PX-SFP-1G-T");
  return {
      "1000base-t", "1000BASE-T copper, RJ45, with a PHY, no diagnostics", b.finish(), true, {}};
}

// A dual-rate optic: it identifies as 25GBASE-SR (and also sets the 10G SR
// bit) and marks itself multi-rate; the port's rate code picks 10G or 25G.
Profile sr_10g_25g_multirate() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {13.0, 3.0, 12.0, 4.0},
                        {3.0, -10.4, 2.0, -8.4},
                        {3.0, -12.4, 2.0, -10.3},
                        39.8,
                        3.30,
                        7.1,
                        -1.0,
                        -2.2};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kTenGigCodes, 0x10).a0(kEncoding, k64b66b).a0(kBitRate, 0xFF).a0(kBitRateMax, 103);
  b.a0(kExtCompliance, 0x02);
  // OM3 70 m (not 300 m): the SR family rather than the CSR one.
  b.a0(kLengthOm4OrCopper, 10).a0(kLengthOm3, 7);
  b.vendor("SL-25G10GSR", "A1", "SIM26030707", "260321");
  b.a0_u16(kWavelength, 850).a0(kOptions + 1, kPinOptions).a0(kMultiRate, 3);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x08);
  b.diagnostics(dom).maker_area("SIMLABCLE7", "74-0806-01", "PX-SFP-25G10G-SR");
  return {"10-25g-sr-multirate",
          "10/25G dual-rate SR, 850 nm multimode, LC, with diagnostics",
          b.finish(),
          false,
          {}};
}

Profile dac_25g() {
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kCopperPigtail);
  b.a0(kCableCodes, kPassiveCable).a0(kEncoding, k64b66b).a0(kBitRate, 0xFF).a0(kBitRateMax, 103);
  b.a0(kExtCompliance, 0x0D); // 25GBASE-CR CA-25G-N
  b.a0(kLengthOm4OrCopper, 1);
  b.vendor("SL-25GCU-1M", "A1", "SIM26030808", "260322");
  b.a0(kWavelength, 0x01).a0(kWavelength + 1, 0x00);
  b.vendor_code(0x80).copper_pid("PX-SFP28-25G-CU1M");
  return {
      "25g-dac-1m", "25G passive copper cable, 1 m, no diagnostics memory", b.finish(), false, {}};
}

// A fixed-wavelength DWDM optic: DWDM identifier, no compliance bits; the
// vendor code names ITU channel 44 (194.4 THz, 1542.14 nm).
Profile dwdm_10g_ch44() {
  const Diagnostics dom{{75.0, -5.0, 70.0, 0.0},
                        kVcc,
                        {90.0, 10.0, 80.0, 20.0},
                        {4.0, -4.0, 3.0, -3.0},
                        {-7.0, -24.0, -8.0, -23.0},
                        42.0,
                        3.31,
                        48.0,
                        1.1,
                        -14.5};
  Builder b;
  b.a0(kIdentifier, kDwdmSfp).a0(kExtIdentifier, kDwdmExtIdentifier).a0(kConnector, kLc);
  b.a0(kEncoding, k64b66b).a0(kBitRate, 0x67);
  b.a0(kLengthSmfKm, 80).a0(kLengthSmf100m, 0xFF);
  b.vendor("SL-10GDW44", "A1", "SIM26030909", "260323");
  b.vendor_code(0xB8);
  b.a0_u16(kWavelength, 1542).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x05);
  b.diagnostics(dom).maker_area("SIMLABCLE9", "74-0719-01", "PX-SFP-10G-DW44");
  return {"10g-dwdm-ch44",
          "10G DWDM, ITU channel 44 (1542.14 nm, 100 GHz grid), 80 km",
          b.finish(),
          false,
          {}};
}

// Fibre Channel: no Ethernet codes and no vendor code; bytes 7..10 say short
// distance, shortwave laser without OFC, multimode M5 and M6, 800, 400 and
// 200 MB/s.
Profile fc_8g_sw() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {12.0, 2.0, 11.0, 3.0},
                        {1.0, -9.0, 0.0, -8.0},
                        {1.0, -13.0, 0.0, -12.0},
                        37.0,
                        3.29,
                        6.8,
                        -2.8,
                        -4.1};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kFcLinkLength, 0x40).a0(kFcTechnology, 0x40).a0(kFcMedia, 0x0C).a0(kFcSpeed, 0x54);
  b.a0(kEncoding, k8b10b).a0(kBitRate, 85);
  b.a0(kLengthOm2, 5).a0(kLengthOm1, 2).a0(kLengthOm3, 15);
  b.vendor("SL-8GFC-SW", "A1", "SIM26031010", "260324");
  b.a0_u16(kWavelength, 850).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x05);
  b.diagnostics(dom).maker_area("SIMLABCLE0", "74-0774-01", "PX-SFP-FC8G-SW");
  return {"8gfc-sw",
          "8G Fibre Channel shortwave, 850 nm multimode, LC, with diagnostics",
          b.finish(),
          false,
          {}};
}

// A BiDi optic, upstream side: it sends at 1310 nm and receives at 1490 nm
// over one fibre; the vendor code 0x2d tells the upstream BX10.
Profile bx_u_1g() {
  const Diagnostics dom{kCommercialTemperature,
                        kVcc,
                        {60.0, 2.0, 50.0, 4.0},
                        {-3.0, -14.0, -4.0, -13.0},
                        {-1.0, -23.0, -2.0, -21.0},
                        36.0,
                        3.30,
                        15.0,
                        -7.5,
                        -9.0};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEthernetCodes, 0x40).a0(kEncoding, k8b10b).a0(kBitRate, 0x0D);
  b.a0(kLengthSmfKm, 10).a0(kLengthSmf100m, 100);
  b.vendor("SL-1GBX10-U", "A1", "SIM26031111", "260325");
  b.vendor_code(0x2D);
  b.a0_u16(kWavelength, 1310).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x05);
  b.diagnostics(dom).maker_area("SIMLABCLE8", "74-0521-01", "PX-SFP-1G-BX10U");
  return {"1000base-bx-u",
          "1000BASE-BX10 upstream BiDi, 1310 nm out, 1490 nm in, 10 km",
          b.finish(),
          false,
          {}};
}

// An externally calibrated optic: its monitor words are A/D counts, which
// the slopes and offsets (temperature, Vcc, bias, Tx power) and the receive
// power polynomial turn into the usual units. Calibrated, the limits are
// 85/-5/80/0 C, 3.6/3.0/3.5/3.1 V, 10/2.2/8.8/2.8 mA, Tx 1.0/0.1/0.7/0.13 mW
// and Rx 0.6672/0.0112/0.4912/0.0208 mW; the module runs at 32.125 C,
// 3.29 V, 6.4 mA, Tx 0.4 mW and Rx 0.2334 mW.
Profile lx_1g_extcal() {
  constexpr RawDiagnostics kCounts{
      {0x3480, 0x0780, 0x3200, 0x0A00,  // temperature: x 2.0 - 20 C
       0x4682, 0x3ACA, 0x448E, 0x3CBE,  // Vcc: x 2.0 - 10 mV
       0x0C80, 0x0258, 0x0AF0, 0x0320,  // bias: x 1.5 + 0.4 mA
       0x3390, 0x04B0, 0x23F0, 0x0640,  // Tx: x 0.75 + 10 uW
       0x2000, 0x0080, 0x1800, 0x0100}, // Rx: x^2 / 2^17 + 0.75 x + 1.6 uW
      {0x1A10, 0x4074, 0x07D0, 0x1450, 0x0BB8},
      {0.0F, 0.0F, 0x1p-17F, 0.75F, 16.0F},
      {0x0180, 200, 0x00C0, 100, 0x0200, 0xEC00, 0x0200, 0xFF9C}};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEthernetCodes, 0x02).a0(kEncoding, k8b10b).a0(kBitRate, 0x0D);
  b.a0(kLengthSmfKm, 10).a0(kLengthSmf100m, 100).a0(kLengthOm2, 55).a0(kLengthOm1, 55);
  b.vendor("SL-1GLX-XC", "A1", "SIM26031212", "260326");
  b.a0_u16(kWavelength, 1310).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagExternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x01);
  b.raw_diagnostics(kCounts).maker_area("SIMLABCLE3", "74-0530-01", "PX-SFP-1G-LX");
  // Maker flags: commercial range, temperature compensated, 1 W; -5 to 70 C.
  b.table_u16(0, 152, 0x5AFB).table_u16(0, 154, 0x4600);
  return {"1000base-lx-extcal",
          "1000BASE-LX, 1310 nm single-mode, LC, externally calibrated diagnostics",
          b.finish(),
          false,
          {}};
}

// A 25G single-mode optic that runs too hot and receives too little light:
// its temperature is above the high alarm, its receive power below the low
// warning but above the low alarm, and its flags say so.
Profile lr_25g_alarm() {
  const Diagnostics dom{{75.0, -5.0, 70.0, 0.0},
                        kVcc,
                        {15.0, 3.0, 13.0, 4.0},
                        {3.0, -9.0, 2.0, -8.0},
                        {3.0, -16.0, 2.0, -14.0},
                        78.5,
                        3.30,
                        9.0,
                        -1.5,
                        -15.0};
  Builder b;
  b.a0(kIdentifier, kSfp).a0(kExtIdentifier, kTwoWireId).a0(kConnector, kLc);
  b.a0(kEncoding, k64b66b).a0(kBitRate, 0xFF).a0(kBitRateMax, 103);
  b.a0(kExtCompliance, 0x03); // 25GBASE-LR
  b.a0(kLengthSmfKm, 10).a0(kLengthSmf100m, 100);
  b.vendor("SL-25GLR", "A1", "SIM26031313", "260327");
  b.a0_u16(kWavelength, 1310).a0(kOptions + 1, kPinOptions);
  b.a0(kDiagType, kDiagInternal).a0(kEnhancedOptions, kSoftControls).a0(kDiagRevision, 0x08);
  b.diagnostics(dom).maker_area("SIMLABCLEA", "74-0786-01", "PX-SFP28-25G-LR");
  // Temperature high alarm and high warning; receive power low warning.
  b.a2_flags(112, 0x80).a2_flags(116, 0x80).a2_flags(117, 0x40);
  return {"25gbase-lr-alarm",
          "25GBASE-LR, 1310 nm single-mode, 10 km, running hot with low receive power: in alarm",
          b.finish(),
          false,
          {}};
}

Profile blank() {
  return {
      "blank", "unprogrammed module: every byte zero, no valid check bytes", Memory{}, false, {}};
}

uint8_t sum(const uint8_t *first, const uint8_t *last) {
  unsigned total = 0;
  for (const uint8_t *p = first; p != last; ++p) {
    total += *p;
  }
  return static_cast<uint8_t>(total & 0xff);
}

} // namespace

uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = 0xFFFFFFFFu;
  for (uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
  }
  return crc ^ 0xFFFFFFFFu;
}

void fix_checksums(Memory &memory) {
  uint8_t *a0 = memory.a0.data();
  a0[kBaseCheck] = sum(a0, a0 + kBaseCheck);
  a0[kExtCheck] = sum(a0 + kOptions, a0 + kExtCheck);
  const uint32_t crc = crc32(std::span<const uint8_t>(a0 + kVendorCode, a0 + kVendorCrc));
  for (std::size_t i = 0; i < 4; ++i) {
    a0[kVendorCrc + i] = static_cast<uint8_t>((crc >> (8 * i)) & 0xff);
  }
}

void fix_diag_checksum(Memory &memory) {
  uint8_t *a2 = memory.a2_lower.data();
  a2[kDiagCheck] = sum(a2, a2 + kDiagCheck);
}

const std::vector<Profile> &profiles() {
  static const std::vector<Profile> all{
      sx_1g(),        sr_10g(),        dac_10g(),      sr_25g(),
      tunable_dwdm(), base_t_1g(),     bx_u_1g(),      sr_10g_25g_multirate(),
      dac_25g(),      dwdm_10g_ch44(), fc_8g_sw(),     lx_1g_extcal(),
      lr_25g_alarm(), blank(),         sr_25g_drift(), sr_25g_rx_alarm()};
  return all;
}

const Profile *find_profile(const std::string &name) {
  for (const Profile &profile : profiles()) {
    if (profile.name == name) {
      return &profile;
    }
  }
  return nullptr;
}

} // namespace sfpsim
