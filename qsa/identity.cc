// What the adapter says about itself: its transceiver type and product
// identifier, its identity record from the caller's image of its memory, and
// the QSFP checksums of that image.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "common/text.h"
#include "decode/internal.h"
#include "qsa/internal.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// The adapters of our catalogue, by the type code at upper page 0 byte 221:
// the transceiver type reported for the adapter itself (beyond the type
// table's rows) and its product identifier, the catalogue part number
// reported as the type name (at most 40 characters, so that it fits the
// identity record's type name with its terminator).
struct AdapterKind {
  uint8_t type_code;
  sfp_xcvr_type type;
  std::string_view product_id;
};

constexpr std::array<AdapterKind, 2> kAdapterKinds = {{
    {qsa_adapter_10g, QSA_XCVR_TYPE_10G, "PX-QSA-10G"},
    {qsa_adapter_25g, QSA_XCVR_TYPE_25G, "PX-QSA-25G"},
}};

constexpr std::size_t kProductIdMax = 40;
static_assert(kAdapterKinds[0].product_id.size() <= kProductIdMax &&
                  kAdapterKinds[1].product_id.size() <= kProductIdMax,
              "a product identifier fits the identity record's type name");
static_assert(sizeof(sfp_hw_info_rec{}.type_name) == kProductIdMax + 1);

const AdapterKind *adapter_kind(uint8_t type_code) {
  for (const AdapterKind &kind : kAdapterKinds) {
    if (kind.type_code == type_code) {
      return &kind;
    }
  }
  return nullptr;
}

// Writes the kind's product identifier into `name` of `size` bytes, cut to
// fit and terminated.
void put_product_id(const AdapterKind &kind, char *name, std::size_t size) {
  const std::size_t length = std::min(kind.product_id.size(), size - 1);
  std::memcpy(name, kind.product_id.data(), length);
  name[length] = '\0';
}

// Fields of the identity record copied from the adapter image as they are
// (no trimming): the vendor fields of upper page 00 and the two maker
// identification fields, which lie in the image's second 256 bytes at the
// positions (148 and 192 of the area) that an SFP's maker area has them.
struct ImageField {
  std::size_t record_offset;
  std::size_t record_size;
  std::size_t image_offset;
  std::size_t length;
};

#define SFPDRV_INFO_FIELD(member, image_offset, length)                                            \
  ImageField {                                                                                     \
    offsetof(sfp_hw_info_rec, member), sizeof(sfp_hw_info_rec{}.member), image_offset, length      \
  }

// clang-format off
constexpr std::array<ImageField, 7> kImageFields = {{
    SFPDRV_INFO_FIELD(vendor_name, 148, 16),
    SFPDRV_INFO_FIELD(vendor_rev,  184, 2),
    SFPDRV_INFO_FIELD(vendor_oui,  165, 3),
    SFPDRV_INFO_FIELD(vendor_pn,   168, 16),
    SFPDRV_INFO_FIELD(vendor_sn,   196, 16),
    SFPDRV_INFO_FIELD(version_id,  404, 4),
    SFPDRV_INFO_FIELD(pid,         448, 18),
}};
// clang-format on
#undef SFPDRV_INFO_FIELD

constexpr bool fields_fit() {
  for (const ImageField &field : kImageFields) {
    if (field.length > field.record_size ||
        field.image_offset + field.length > QSA_ADAPTER_EEPROM_LEN) {
      return false;
    }
  }
  return true;
}
static_assert(fields_fit(), "every field fits its record member and lies in the image");

// Copies the fields; a text field is terminated after its bytes (the OUI
// fills its three bytes exactly).
void copy_image_fields(const uint8_t *image, sfp_hw_info_rec &rec) {
  auto *base = reinterpret_cast<unsigned char *>(&rec);
  for (const ImageField &field : kImageFields) {
    std::memcpy(base + field.record_offset, image + field.image_offset, field.length);
    if (field.length < field.record_size) {
      base[field.record_offset + field.length] = '\0';
    }
  }
}

// QSFP upper page 00: CC_BASE covers bytes 128 to 190, CC_EXT 192 to 222.
constexpr std::size_t kBaseFirst = 128;
constexpr std::size_t kBaseCheck = 191;
constexpr std::size_t kExtFirst = 192;
constexpr std::size_t kExtCheck = 223;

// The adapter itself, once it has answered as one: its type and product
// identifier by its type code.
void report_adapter(const qsa_port_ctx &port, sfp_xcvr_type *type, char *name, uint32_t name_len) {
  if (const AdapterKind *kind = adapter_kind(port.adapter_type_code)) {
    *type = kind->type;
    put_product_id(*kind, name, name_len);
  }
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc qsa_port_get_type(qsa_port_ctx *port, sfp_xcvr_type *type, char *name,
                                               uint32_t name_len, uint32_t *defaulted) {
  if (port == nullptr || type == nullptr || name == nullptr || name_len == 0 ||
      defaulted == nullptr) {
    if (port != nullptr) {
      trace<msg::kOpGetTypeNullParams>(port->err_trace, port->port);
    }
    return SFP_RC_INVALID;
  }
  if (qsa_forwarding<msg::kOpGetTypePresenceFailed>(*port)) {
    sfp_port_type(port->sfp_port, type, name, name_len, defaulted);
    // The adapter keeps no defaulted flag of its own: callers get 0.
    *defaulted = 0;
    return SFP_RC_OK;
  }
  if (!qsa_adapter_answers<msg::kOpGetTypeExtIdReadFailed, msg::kOpGetTypeNotPresent>(port)) {
    return SFP_RC_NO_ADAPTER;
  }
  report_adapter(*port, type, name, name_len);
  *defaulted = 0;
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qsa_port_copy_hw_info(qsa_port_ctx *port,
                                                   sfp_hw_info_rec *adapter_rec) {
  if (port == nullptr || adapter_rec == nullptr) {
    return SFP_RC_INVALID;
  }
  if (const AdapterKind *kind = adapter_kind(port->adapter_type_code)) {
    adapter_rec->xcvr_type = kind->type;
    put_product_id(*kind, adapter_rec->type_name, sizeof adapter_rec->type_name);
  }
  copy_image_fields(port->adapter_eeprom, *adapter_rec);
  return qsa_xcvr_check_compliance(port->adapter_eeprom, &adapter_rec->compliance);
}

extern "C" SFPDRV_API sfp_rc qsa_xcvr_check_compliance_base_chksum(const uint8_t *image,
                                                                   uint8_t *stored,
                                                                   uint8_t *computed) {
  return check_byte_sum(image, kBaseFirst, kBaseCheck, stored, computed,
                        SFP_COMPLIANCE_BASE_CHECKSUM);
}

extern "C" SFPDRV_API sfp_rc qsa_xcvr_check_compliance_ext_chksum(const uint8_t *image,
                                                                  uint8_t *stored,
                                                                  uint8_t *computed) {
  return check_byte_sum(image, kExtFirst, kExtCheck, stored, computed, SFP_COMPLIANCE_EXT_CHECKSUM);
}

// The base checksum first; the extended one only when the base matches.
extern "C" SFPDRV_API sfp_rc qsa_xcvr_check_compliance(const uint8_t *image,
                                                       sfp_compliance_result *result) {
  if (result == nullptr) {
    return SFP_RC_OK;
  }
  if (image == nullptr) {
    *result = SFP_COMPLIANCE_NO_DATA;
    return SFP_RC_OK;
  }
  uint8_t stored = 0;
  uint8_t computed = 0;
  sfp_compliance_result verdict = qsa_xcvr_check_compliance_base_chksum(image, &stored, &computed);
  if (verdict == SFP_COMPLIANCE_OK) {
    verdict = qsa_xcvr_check_compliance_ext_chksum(image, &stored, &computed);
  }
  *result = verdict;
  return SFP_RC_OK;
}
