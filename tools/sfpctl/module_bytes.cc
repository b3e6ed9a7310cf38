#include "module_bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "session.h"
#include "status_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

// A0h bytes.
constexpr std::size_t kVendorName = 20;
constexpr std::size_t kVendorOui = 37;
constexpr std::size_t kVendorPn = 40;
constexpr std::size_t kVendorRev = 56;
constexpr std::size_t kWavelength = 60; // 60, 61 in nm, 62 in 0.01 nm
constexpr std::size_t kVendorSn = 68;
constexpr std::size_t kDateCode = 84;
constexpr std::size_t kDiagMonType = 92;
constexpr std::size_t kEnhancedOptions = 93;
constexpr uint8_t kSoftTxDisableImplemented = 0x40;
constexpr std::size_t kA0Upper = 128;

// A2h lower-half bytes.
constexpr std::size_t kDiagChecksum = 95;
constexpr std::size_t kStatusControl = 110;
constexpr uint8_t kSoftTxDisable = 0x40;

// The maker area's fields.
constexpr std::size_t kClei = 0;
constexpr std::size_t kVersion = 20;
constexpr std::size_t kPid = 64;

template <std::size_t N> void trimmed(char (&dest)[N], const uint8_t *source, uint16_t length) {
  static_assert(N > 1);
  (void)sfp_eeprom_get_n_trim_str(dest, source, std::min<uint16_t>(length, N - 1));
}

} // namespace

sfp_port_ctx *refused_module(const Session &session) {
  if (session.port() != nullptr || session.adapter_port() != nullptr ||
      session.creation_status() != SFP_RC_UNSUPPORTED) {
    return nullptr;
  }
  return session.failed_port();
}

std::string refusal_text(const Verdict &verdict) {
  return "no (" + verdict.text() + "; the library refused the module: creation " +
         status_text(SFP_RC_UNSUPPORTED) + ")";
}

std::string Verdict::text() const {
  return field_value(std::string_view(sfp_xcvr_supported_to_str(status)));
}

Verdict port_verdict(const sfp_port_ctx &port) {
  return {port.supported, port.xcvr_type};
}

Verdict refused_verdict(sfp_port_ctx &context) {
  Verdict verdict;
  const auto *pid = reinterpret_cast<const uint8_t *>(sfp_get_pid(&context));
  const std::string pid_text = pid == nullptr ? "" : field_value({pid, SFP_PID_LEN});
  (void)sfp_xcvr_check_supported(&context, context.eeprom + SFP_IMAGE_A0, &verdict.status,
                                 &verdict.type, pid_text.c_str());
  return verdict;
}

bool declares_diagnostics(const CreationImage &image) {
  return sfp_xcvr_check_digital_monitoring(image.data() + SFP_IMAGE_A0) != 0;
}

sfp_hw_info_rec identity_from_bytes(sfp_port_ctx &context, const CreationImage &image,
                                    bool a2_captured, const Verdict &verdict) {
  sfp_hw_info_rec rec{};
  const uint8_t *a0 = image.data() + SFP_IMAGE_A0;
  trimmed(rec.vendor_name, a0 + kVendorName, 16);
  trimmed(rec.vendor_rev, a0 + kVendorRev, 4);
  trimmed(rec.vendor_pn, a0 + kVendorPn, 16);
  trimmed(rec.vendor_sn, a0 + kVendorSn, 16);
  trimmed(rec.date_code, a0 + kDateCode, 8);
  std::memcpy(rec.vendor_oui, a0 + kVendorOui, sizeof rec.vendor_oui);
  std::memcpy(rec.vendor_rev_raw, a0 + kVendorRev, sizeof rec.vendor_rev_raw);
  uint32_t cable = 0;
  (void)sfp_is_cable(&context, &cable);
  const uint8_t *area =
      a2_captured && cable == 0 ? image.data() + SFP_IMAGE_A2_TABLE0 : a0 + kA0Upper;
  trimmed(rec.pid, area + kPid, SFP_PID_LEN);
  trimmed(rec.clei, area + kClei, 10);
  trimmed(rec.version_id, area + kVersion, 4);
  rec.xcvr_type = verdict.type;
  std::snprintf(rec.type_name, sizeof rec.type_name, "%s",
                sfp_xcvr_get_name_from_type(&context, verdict.type));
  (void)sfp_xcvr_check_compliance(a0, &rec.compliance);
  return rec;
}

sfp_rc status_from_bytes(sfp_port_ctx &context, const CreationImage &image, const uint8_t *a2_lower,
                         sfp_hw_status_rec &rec) {
  const uint8_t *a0 = image.data() + SFP_IMAGE_A0;
  const sfp_rc rc = sfp_xcvr_decode_sfp_status(&context, a2_lower, &rec,
                                               sfp_id_diagMonType_ext_cal(a0[kDiagMonType]));
  if (rc != SFP_RC_OK) {
    return rc;
  }
  rec.wavelength =
      static_cast<float>((a0[kWavelength] << 8 | a0[kWavelength + 1]) + a0[kWavelength + 2] * 0.01);
  rec.tx_disabled = (a0[kEnhancedOptions] & kSoftTxDisableImplemented) != 0 &&
                            (a2_lower[kStatusControl] & kSoftTxDisable) != 0
                        ? 1
                        : 0;
  rec.filled = 1;
  return SFP_RC_OK;
}

sfp_rc read_refused_status(Session &session, sfp_port_ctx &context, std::string_view command,
                           std::array<uint8_t, 128> &a2_lower, sfp_hw_status_rec &rec) {
  const int read =
      session.read_module(SFP_PAGE_A2, 0, static_cast<uint32_t>(a2_lower.size()), a2_lower.data());
  if (read != 0) {
    const auto rc = static_cast<sfp_rc>(read);
    print_error(std::string(command) + ": reading A2h failed: " + status_text(rc));
    return rc;
  }
  const sfp_rc rc = status_from_bytes(context, session.creation_image(), a2_lower.data(), rec);
  if (rc != SFP_RC_OK) {
    print_error(
        std::string(command) +
        ": the module's flags say high and low of one quantity at once: " + status_text(rc));
  }
  return rc;
}

Integrity integrity_of(const CreationImage &image, bool a2_captured) {
  Integrity integrity;
  const uint8_t *a0 = image.data() + SFP_IMAGE_A0;
  uint8_t stored = 0;
  uint8_t computed = 0;
  (void)sfp_xcvr_check_compliance_base_chksum(a0, &stored, &computed);
  integrity.base = {stored, computed};
  (void)sfp_xcvr_check_compliance_ext_chksum(a0, &stored, &computed);
  integrity.extended = {stored, computed};
  (void)sfp_xcvr_check_compliance_vendor_chksum(a0, &integrity.catalogue_crc.stored,
                                                &integrity.catalogue_crc.computed);
  if (a2_captured && declares_diagnostics(image)) {
    const uint8_t *a2 = image.data() + SFP_IMAGE_A2_LOWER;
    uint32_t sum = 0;
    for (std::size_t i = 0; i < kDiagChecksum; ++i) {
      sum += a2[i];
    }
    integrity.diagnostics = Check{a2[kDiagChecksum], sum & 0xffu};
  }
  return integrity;
}

} // namespace sfpctl
