// The named-register dump.
#include <cstdio>

#include "common/alloc.h"
#include "common/text.h"
#include "port/internal.h"
#include "port/messages.h"

namespace sfpdrv {
namespace {

struct NamedRegister {
  const char *name;
  uint32_t offset; // in A0h
};

// clang-format off
constexpr NamedRegister kRegisters[] = {
    {"SFP_Ident",                      0},
    {"TX CDR LOL STATUS",             64},
    {"Extended Identifer",             1},
    {"Ether compliance",               6},
    {"Ext Ether compliance",           3},
    {"TX12 Input Eq control",        108},
    {"TX34 Input Eq control",        109},
    {"RX12 Output Emphasis control", 110},
    {"RX34 Output Emphasis control", 111},
    {"RX12 Output Amp control",      112},
    {"RX34 Output Amp control",      113},
    {"TXRX Output Disable",          114},
    {"TX_CDR_LATCH_REG",             119},
    {"CDR_CNTRL_REG",                120},
    {"ADP_CTLE_REG",                 121},
};
// clang-format on

constexpr std::size_t kLineSize = 80;
constexpr const char *kHeading = "\nOPTICS registers:\n";

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_reg_access(sfp_port_ctx *port, char **text, uint32_t *size,
                                            uint32_t direction) {
  if (port == nullptr) {
    trace<msg::kRegNullSfpPort>(library_err_trace());
    return SFP_RC_INVALID;
  }
  if (port->write_cb == nullptr || text == nullptr || size == nullptr || port->read_cb == nullptr) {
    trace<msg::kRegEmptyParams>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  auto *dump = static_cast<char *>(lib_calloc(SFP_REG_DUMP_SIZE, 1));
  if (dump == nullptr) {
    return SFP_RC_NO_MEMORY;
  }
  copy_bounded(dump, SFP_REG_DUMP_SIZE, kHeading);
  int rc = 0;
  for (const NamedRegister &reg : kRegisters) {
    uint8_t value = 0;
    rc = port->read_cb(port->opaque, static_cast<uint8_t>(reg.offset), SFP_PAGE_A0, 1, &value);
    if (rc != 0) {
      trace<msg::kRegReadError>(port->err_trace, port->controller, port->port, reg.offset, 1u, 0u,
                                direction, rc);
      value = 0;
    }
    char line[kLineSize];
    std::snprintf(line, sizeof line, "0x%04X \t  %-30s \t : 0x%08X\n", reg.offset, reg.name,
                  static_cast<unsigned>(value));
    append_bounded(dump, SFP_REG_DUMP_SIZE, line);
  }
  *text = dump;
  *size = SFP_REG_DUMP_SIZE;
  return static_cast<sfp_rc>(rc);
}

extern "C" SFPDRV_API sfp_rc sfp_port_read_reg(sfp_port_ctx *hdl, char **text, uint32_t *size) {
  const sfp_rc rc = sfp_check_hdl(hdl, kSitePortReadReg);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  return sfp_reg_access(hdl, text, size, SFP_ACCESS_READ);
}
