// Module reads through the caller's bit-bang callback.
#include <cstring>

#include "port/internal.h"
#include "port/messages.h"

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_special_bitbang_access(sfp_port_ctx *port, uint32_t offset,
                                                        uint32_t length, uint32_t page,
                                                        uint8_t *buffer, uint32_t direction) {
  if (port == nullptr) {
    trace<msg::kBbNullSfpPort>(library_err_trace());
    return SFP_RC_INVALID;
  }
  const bool selects_table = page >= SFP_PAGE_A2_TABLE0;
  if (buffer == nullptr || port->bitbang_read_cb == nullptr ||
      (selects_table && port->write_cb == nullptr)) {
    trace<msg::kBbEmptyParams>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  const sfp_rc refused = check_request<AccessPath::BitBang>(port, offset, length, page);
  if (refused != SFP_RC_OK) {
    return refused;
  }
  // The bit-bang path always selects the table: the process-wide no-select
  // flags describe the regular bus only.
  if (selects_table) {
    const int rc = write_table_select(port, page);
    if (rc != 0) {
      trace<msg::kBbCannotSetPage>(port->err_trace, port->controller, port->port, rc);
      return static_cast<sfp_rc>(rc);
    }
  }
  if (direction != SFP_ACCESS_READ) {
    return SFP_RC_OK;
  }
  std::memset(buffer, 0, length);
  const int rc = port->bitbang_read_cb(port->opaque, static_cast<uint8_t>(offset),
                                       static_cast<uint8_t>(page), length, buffer);
  if (rc != 0) {
    trace<msg::kBbAccessError>(port->err_trace, port->controller, port->port, offset, length, page,
                               SFP_ACCESS_READ, rc);
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}
