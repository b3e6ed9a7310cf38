// The process-wide lists of supported part numbers, the checks of a
// module's part numbers against them, and the texts of the check statuses.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "common/alloc.h"
#include "port/internal.h"
#include "xcvr/catalogue.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

extern "C" {
SFPDRV_API sfp_xcvr_pn_node *sfp_pid_supported_list = nullptr;
SFPDRV_API sfp_xcvr_pn_node *sfp_pid_supported_list_tail = nullptr;
SFPDRV_API sfp_xcvr_pn_node *sfp_vendor_pn_supported_list = nullptr;
SFPDRV_API sfp_xcvr_pn_node *sfp_vendor_pn_supported_list_tail = nullptr;
SFPDRV_API sfp_xcvr_pn_node *sfp_pn_supported_list = nullptr;
SFPDRV_API sfp_xcvr_pn_node *sfp_pn_supported_list_tail = nullptr;
}

namespace sfpdrv {
namespace {

constexpr sfp_xcvr_type kType1000BaseLx = 530;
constexpr sfp_xcvr_type kType100BaseEx = 515;
constexpr sfp_xcvr_type kType100BaseZx = 516;
// A catalogue part number: eight characters of stem, then the revision.
constexpr std::size_t kPnStemLength = 8;
constexpr uint8_t kDiagMonTypeByte = 92;
constexpr uint8_t kDigitalMonitoring = 0x40;

// clang-format off
constexpr std::array<const char *, 12> kSupportedTexts{
    "Supported",                      // 0
    "Failed - EEPROM Data Error",     // 1
    "Not Checked",                    // 2
    "Failed - Not SFP type",          // 3
    "Failed - Not XFP type",          // 4
    "Unknown Status",                 // 5
    "Failed - Not QSFP+ type",        // 6
    "Unknown Status",                 // 7
    "Unknown Status",                 // 8
    "Failed - Extended ID not 0x04",  // 9
    "Failed - Unknown Xcvr type ",    // 10
    "Failed - Unsupported Xcvr type", // 11
};
static_assert(kSupportedTexts.size() == SFP_XCVR_UNSUPPORTED_TYPE + 1);

constexpr std::array<const char *, 5> kPidStatusTexts{
    "Supported",                // SFP_PID_SUPPORTED
    "Failed - PID check error", // SFP_PID_CHECK_ERROR
    "Not Checked",              // SFP_PID_NOT_CHECKED
    "Not supported",            // SFP_PID_NOT_SUPPORTED
    "Not available",            // SFP_PID_NOT_AVAILABLE
};
static_assert(kPidStatusTexts.size() == SFP_PID_NOT_AVAILABLE + 1);
// clang-format on

constexpr const char *kUnknownStatus = "Unknown Status";

// A list: its exported head and tail and its count.
struct PnList {
  const char *name; // for traces
  sfp_xcvr_pn_node *&head;
  sfp_xcvr_pn_node *&tail;
  uint16_t count;
};

PnList g_pid_list{"product ID", sfp_pid_supported_list, sfp_pid_supported_list_tail, 0};
PnList g_vendor_pn_list{"vendor part number", sfp_vendor_pn_supported_list,
                        sfp_vendor_pn_supported_list_tail, 0};
PnList g_pn_list{"catalogue part number", sfp_pn_supported_list, sfp_pn_supported_list_tail, 0};

const char *shown(const char *text) {
  return text != nullptr ? text : "(null)";
}

sfp_rc refuse_append(const PnList &list, const sfp_xcvr_pn_entry &entry) {
  trace<msg::kPnListAppendFailed>(library_err_trace(), list.name, entry.xcvr_type, shown(entry.pn));
  return SFP_RC_NO_MEMORY;
}

sfp_rc append(PnList &list, const sfp_xcvr_pn_entry *entry) {
  if (entry == nullptr) {
    return SFP_RC_INVALID;
  }
  // A count that cannot grow would stop describing the list.
  if (list.count == UINT16_MAX) {
    return refuse_append(list, *entry);
  }
  auto *node = static_cast<sfp_xcvr_pn_node *>(lib_calloc(1, sizeof(sfp_xcvr_pn_node)));
  auto *copy = static_cast<sfp_xcvr_pn_entry *>(lib_calloc(1, sizeof(sfp_xcvr_pn_entry)));
  if (node == nullptr || copy == nullptr) {
    std::free(node);
    std::free(copy);
    return refuse_append(list, *entry);
  }
  *copy = *entry;
  node->entry = copy;
  if (list.tail == nullptr) {
    list.head = node;
  } else {
    list.tail->next = node;
  }
  list.tail = node;
  ++list.count;
  return SFP_RC_OK;
}

sfp_rc entry_at(const PnList &list, uint32_t index, sfp_xcvr_pn_entry *entry) {
  if (entry == nullptr || index >= list.count) {
    return SFP_RC_INVALID;
  }
  const sfp_xcvr_pn_node *node = list.head;
  for (uint32_t i = 0; i < index && node != nullptr; ++i) {
    node = node->next;
  }
  if (node == nullptr || node->entry == nullptr) {
    return SFP_RC_LIST_SHORT;
  }
  *entry = *node->entry;
  return SFP_RC_OK;
}

// Whether `entry` accepts a module of `type` whose part number is `text`.
using EntryMatch = bool (*)(const sfp_xcvr_pn_entry &entry, sfp_xcvr_type type, const char *text);

bool pid_matches(const sfp_xcvr_pn_entry &entry, sfp_xcvr_type type, const char *pid) {
  if (entry.xcvr_type == type && std::strcmp(entry.pn, pid) == 0) {
    return true;
  }
  // A 1000BASE-LX module is accepted wherever the list holds our ZX
  // module, whatever its own PID.
  return type == kType1000BaseLx && std::strcmp(entry.pn, alt_zx_pid) == 0;
}

bool vendor_pn_matches(const sfp_xcvr_pn_entry &entry, sfp_xcvr_type type, const char *pn) {
  return entry.xcvr_type == type && std::strcmp(entry.pn, pn) == 0;
}

// Character `i` of `text`, or 0 past its end.
char char_at(const char *text, std::size_t i) {
  return strnlen(text, i + 1) > i ? text[i] : '\0';
}

// A character's value as a signed 8-bit number, whatever the signedness of
// char: part numbers are compared the same way on every platform.
int signed_value(char c) {
  const int value = static_cast<unsigned char>(c);
  return value > 127 ? value - 256 : value;
}

// The two revision digits after the stem, as a number modulo 65536 (text
// that is no number gives whatever the arithmetic gives).
uint16_t revision(const char *pn) {
  const int tens = signed_value(char_at(pn, kPnStemLength)) - '0';
  const int units = signed_value(char_at(pn, kPnStemLength + 1)) - '0';
  return static_cast<uint16_t>(10 * tens + units);
}

// The listed revision is the lowest one accepted.
bool pn_matches(const sfp_xcvr_pn_entry &entry, sfp_xcvr_type type, const char *pn) {
  return entry.xcvr_type == type && std::strncmp(entry.pn, pn, kPnStemLength) == 0 &&
         revision(entry.pn) <= revision(pn);
}

bool listed(const PnList &list, sfp_xcvr_type type, const char *text, EntryMatch matches) {
  const sfp_xcvr_pn_node *node = list.head;
  for (uint32_t i = 0; i < list.count && node != nullptr; ++i, node = node->next) {
    const sfp_xcvr_pn_entry *entry = node->entry;
    if (entry != nullptr && entry->pn != nullptr && matches(*entry, type, text)) {
      return true;
    }
  }
  return false;
}

// Returns the status of the last append.
sfp_rc append_all(PnList &list, std::span<const sfp_xcvr_pn_entry> entries) {
  sfp_rc rc = SFP_RC_OK;
  for (const sfp_xcvr_pn_entry &entry : entries) {
    rc = append(list, &entry);
  }
  return rc;
}

template <const TraceMsg &M>
sfp_rc check_list(sfp_port_ctx *port, const PnList &list, sfp_xcvr_type type, const char *text,
                  sfp_xcvr_pid_status *status, EntryMatch matches) {
  sfp_rc rc = SFP_RC_INVALID;
  sfp_xcvr_pid_status result = SFP_PID_NOT_CHECKED;
  if (text != nullptr && list.head != nullptr && status != nullptr) {
    result = listed(list, type, text, matches) ? SFP_PID_SUPPORTED : SFP_PID_NOT_SUPPORTED;
    rc = SFP_RC_OK;
  }
  if (status != nullptr) {
    *status = result;
  }
  // A check made without a port reports on the library's buffer.
  sfp_trace_hdl buffer = port != nullptr ? port->err_trace : library_err_trace();
  const int32_t port_number = port != nullptr ? port->port : -1;
  trace<M>(buffer, port_number, sfp_xcvr_get_name_from_type(port, type), type, shown(text),
           sfp_xcvr_pid_supported_to_str(result), rc);
  return rc;
}

} // namespace

sfp_rc fill_part_number_lists() {
  append_all(g_pid_list, kPidEntries);
  append_all(g_pn_list, kCataloguePnEntries);
  return append_all(g_vendor_pn_list, kVendorPnEntries);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_xcvr_set_pid_supported(const sfp_xcvr_pn_entry *entry) {
  return append(g_pid_list, entry);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_set_vendor_pn_supported(const sfp_xcvr_pn_entry *entry) {
  return append(g_vendor_pn_list, entry);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_set_pn_supported(const sfp_xcvr_pn_entry *entry) {
  return append(g_pn_list, entry);
}

extern "C" SFPDRV_API uint16_t sfp_xcvr_get_pid_supported_count(void) {
  return g_pid_list.count;
}

extern "C" SFPDRV_API uint16_t sfp_xcvr_get_vendor_pn_supported_count(void) {
  return g_vendor_pn_list.count;
}

extern "C" SFPDRV_API uint16_t sfp_xcvr_get_pn_supported_count(void) {
  return g_pn_list.count;
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported_data(uint32_t index,
                                                             sfp_xcvr_pn_entry *entry) {
  return entry_at(g_pid_list, index, entry);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported_data(uint32_t index,
                                                                   sfp_xcvr_pn_entry *entry) {
  return entry_at(g_vendor_pn_list, index, entry);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported_data(uint32_t index,
                                                            sfp_xcvr_pn_entry *entry) {
  return entry_at(g_pn_list, index, entry);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_pid_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                        const char *pid,
                                                        sfp_xcvr_pid_status *status) {
  return check_list<msg::kPidSupported>(port, g_pid_list, type, pid, status, pid_matches);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_vendor_pn_supported(sfp_port_ctx *port,
                                                              sfp_xcvr_type type,
                                                              const char *vendor_pn,
                                                              sfp_xcvr_pid_status *status) {
  return check_list<msg::kVendorPnSupported>(port, g_vendor_pn_list, type, vendor_pn, status,
                                             vendor_pn_matches);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_pn_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                       const char *pn,
                                                       sfp_xcvr_pid_status *status) {
  return check_list<msg::kPnSupported>(port, g_pn_list, type, pn, status, pn_matches);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_get_pid_ext_supported(sfp_port_ctx *port, sfp_xcvr_type type,
                                                            const char *pid, const char *pn,
                                                            const char *vendor_pn,
                                                            sfp_xcvr_pid_status *status) {
  sfp_rc rc = sfp_xcvr_get_pid_supported(port, type, pid, status);
  if (rc != SFP_RC_OK || *status != SFP_PID_NOT_SUPPORTED) {
    return rc;
  }
  rc = sfp_xcvr_get_pn_supported(port, type, pn, status);
  if (rc != SFP_RC_OK || *status != SFP_PID_NOT_SUPPORTED) {
    return rc;
  }
  rc = sfp_xcvr_get_vendor_pn_supported(port, type, vendor_pn, status);
  // The 100M long-reach modules carry none of our part numbers.
  if ((type == kType100BaseEx || type == kType100BaseZx) && *status == SFP_PID_NOT_SUPPORTED) {
    *status = SFP_PID_SUPPORTED;
  }
  return rc;
}

extern "C" SFPDRV_API const char *sfp_xcvr_supported_to_str(sfp_xcvr_supported_status status) {
  return status < kSupportedTexts.size() ? kSupportedTexts[status] : kUnknownStatus;
}

extern "C" SFPDRV_API const char *sfp_xcvr_pid_supported_to_str(sfp_xcvr_pid_status status) {
  return status < kPidStatusTexts.size() ? kPidStatusTexts[status] : kUnknownStatus;
}

extern "C" SFPDRV_API char *sfp_eeprom_space_supported_to_string(const sfp_eeprom_space *space,
                                                                 char *text, uint32_t size) {
  if (text == nullptr || size == 0) {
    return text;
  }
  if (space == nullptr) {
    std::snprintf(text, size, "(null)");
    return text;
  }
  std::snprintf(text, size, "{ half_a0=%d, full_a0=%d, a2=%d, dom=%d }",
                static_cast<int>(space->half_a0), static_cast<int>(space->full_a0),
                static_cast<int>(space->a2), static_cast<int>(space->dom));
  return text;
}

extern "C" SFPDRV_API uint32_t sfp_xcvr_check_digital_monitoring(const uint8_t *a0) {
  if (a0 == nullptr) {
    return 0;
  }
  return (a0[kDiagMonTypeByte] & kDigitalMonitoring) != 0 ? 1 : 0;
}
