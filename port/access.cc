// Paged access to module memory through the caller's callbacks.
#include <cstring>

#include "port/internal.h"
#include "port/messages.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kPageSize = 256;
constexpr uint32_t kUpperHalf = 128;
constexpr uint32_t kFirstTablePage = SFP_PAGE_A2_TABLE0;
constexpr uint32_t kPastLastPage = SFP_PAGE_A2_TABLE3 + 1;
constexpr uint8_t kTableSelectOffset = 127;

uint32_t flag(uint32_t value) {
  return value != 0 ? 1 : 0;
}

// The transfer runs past the end of the 256-byte memory. Besides the
// wrapping end address (a zero length at offset 0 is refused), offsets and
// lengths that do not fit a memory at all are refused so that a wrapped sum
// cannot let them through.
bool crosses_page_end(uint32_t offset, uint32_t length) {
  return offset + length - 1 >= kPageSize || offset >= kPageSize || length > kPageSize;
}

// The refusal messages of each access path.
template <AccessPath Path> struct Refusals;
template <> struct Refusals<AccessPath::Paged> {
  static constexpr const TraceMsg &kBoundary = msg::kCrossBoundary;
  static constexpr const TraceMsg &kBeyondTables = msg::kPageBeyondTables;
  static constexpr const TraceMsg &kNotProvided = msg::kPageNotProvided;
};
template <> struct Refusals<AccessPath::BitBang> {
  static constexpr const TraceMsg &kBoundary = msg::kBbCrossBoundary;
  static constexpr const TraceMsg &kBeyondTables = msg::kBbPageBeyondTables;
  static constexpr const TraceMsg &kNotProvided = msg::kBbPageNotProvided;
};

} // namespace

template <AccessPath Path>
sfp_rc check_request(const sfp_port_ctx *port, uint32_t offset, uint32_t length, uint32_t page) {
  using Msg = Refusals<Path>;
  if (crosses_page_end(offset, length)) {
    trace<Msg::kBoundary>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  if (offset >= kUpperHalf && page >= kPastLastPage) {
    trace<Msg::kBeyondTables>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  if (page != SFP_PAGE_A0 && port->spaces.a2 == 0) {
    const sfp_eeprom_space &s = port->spaces;
    trace<Msg::kNotProvided>(port->err_trace, port->controller, port->port, page, flag(s.half_a0),
                             flag(s.full_a0), 0u, flag(s.dom));
    return SFP_RC_INVALID;
  }
  return SFP_RC_OK;
}

template sfp_rc check_request<AccessPath::Paged>(const sfp_port_ctx *, uint32_t, uint32_t,
                                                 uint32_t);
template sfp_rc check_request<AccessPath::BitBang>(const sfp_port_ctx *, uint32_t, uint32_t,
                                                   uint32_t);

int write_table_select(const sfp_port_ctx *port, uint32_t page) {
  uint8_t table = static_cast<uint8_t>(page - kFirstTablePage);
  return port->write_cb(port->opaque, kTableSelectOffset, SFP_PAGE_A2, 1, &table);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_access(sfp_port_ctx *port, uint32_t offset, uint32_t length,
                                        uint32_t page, uint8_t *buffer, uint32_t direction) {
  if (port == nullptr) {
    trace<msg::kNullSfpPort>(library_err_trace());
    return SFP_RC_INVALID;
  }
  if (port->write_cb == nullptr || buffer == nullptr || port->read_cb == nullptr) {
    trace<msg::kAccessEmptyParams>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  if (direction != SFP_ACCESS_READ && direction != SFP_ACCESS_WRITE) {
    trace<msg::kBadDirection>(port->err_trace, port->controller, port->port, direction);
    return SFP_RC_INVALID;
  }
  const sfp_rc refused = check_request<AccessPath::Paged>(port, offset, length, page);
  if (refused != SFP_RC_OK) {
    return refused;
  }
  if (page >= kFirstTablePage && no_page_select(direction) == 0) {
    const int rc = write_table_select(port, page);
    if (rc != 0) {
      trace<msg::kCannotSetPage>(port->err_trace, port->controller, port->port, rc);
      return static_cast<sfp_rc>(rc);
    }
  }
  const auto offset8 = static_cast<uint8_t>(offset);
  const auto page8 = static_cast<uint8_t>(page);
  int rc = 0;
  if (direction == SFP_ACCESS_READ) {
    std::memset(buffer, 0, length);
    rc = port->read_cb(port->opaque, offset8, page8, length, buffer);
  } else {
    rc = port->write_cb(port->opaque, offset8, page8, length, buffer);
  }
  if (rc != 0) {
    trace<msg::kAccessError>(port->err_trace, port->controller, port->port, offset, length, page,
                             direction, rc);
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}

namespace {
// The exported forms: the handle check, then the access.
sfp_rc checked_access(sfp_port_ctx *hdl, uint32_t site, uint32_t offset, uint32_t page,
                      uint32_t length, uint8_t *buffer, uint32_t direction) {
  const sfp_rc rc = sfp_check_hdl(hdl, site);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  return sfp_access(hdl, offset, length, page, buffer, direction);
}
} // namespace

extern "C" SFPDRV_API sfp_rc sfp_port_read(sfp_port_ctx *hdl, uint32_t offset, uint32_t page,
                                           uint32_t length, uint8_t *buffer) {
  return checked_access(hdl, kSitePortRead, offset, page, length, buffer, SFP_ACCESS_READ);
}

extern "C" SFPDRV_API sfp_rc sfp_port_write(sfp_port_ctx *hdl, uint32_t offset, uint32_t page,
                                            uint32_t length, uint8_t *buffer) {
  return checked_access(hdl, kSitePortWrite, offset, page, length, buffer, SFP_ACCESS_WRITE);
}
