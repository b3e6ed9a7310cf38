// The adapter forms of the port operations. Each works on the adapter's own
// registers where the operation concerns the adapter, and forwards to the
// SFP port behind it only while the adapter reports that SFP seated. The
// operations that check the handle hold the port lock from the check to
// their return, across every call into the SFP layer.
#include <array>
#include <cstdio>
#include <cstring>

#include "common/alloc.h"
#include "common/text.h"
#include "qsa/internal.h"
#include "sfpdrv/access.h"
#include "sfpdrv/control.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// The rate value of the SFP behind the adapter, by the rate code the adapter
// reports at lower-page byte 21. The values are the platform's, not Mb/s.
struct RateRow {
  uint8_t code;
  uint32_t rate;
};

// clang-format off
constexpr std::array<RateRow, 9> kRateTable = {{
    {32, 25}, {33, 25}, {34, 25}, {35, 25},
    {1, 10},  {2, 10},  {3, 10},
    {5, 1},   {7, 1},
}};
// clang-format on
constexpr uint32_t kUnknownRate = 26;

constexpr uint32_t rate_of(uint8_t code) {
  for (const RateRow &row : kRateTable) {
    if (row.code == code) {
      return row.rate;
    }
  }
  return kUnknownRate;
}

static_assert(rate_of(32) == 25 && rate_of(35) == 25 && rate_of(1) == 10 && rate_of(3) == 10 &&
                  rate_of(5) == 1 && rate_of(7) == 1,
              "the known rate codes");
static_assert(rate_of(0) == 26 && rate_of(4) == 26 && rate_of(6) == 26 && rate_of(36) == 26,
              "every other code is unknown");

// The copper SFP whose PHY the link state is read from.
constexpr sfp_xcvr_type kXcvr1000BaseT = 533;
// PHY register 17 (copper status) in the PHY mirror: high byte at 128 + 2r.
constexpr uint32_t kPhyStatusReg = 17;
constexpr uint32_t kPhyStatusMirror = kQsaMirrorBase + 2 * kPhyStatusReg;
static_assert(kPhyStatusMirror == 162);
// Bit 10 of register 17, in its high byte.
constexpr uint8_t kCopperLinkUp = 0x04;
// Any mirrored page but A0h: the handshake on register 117.
constexpr uint8_t kPhyMirrorSelector = 6;

constexpr const char *kSfpNotInserted = "\n SFP NOT INSERTED \n";
constexpr const char *kLowerPageTitle = "\nMSA Data LOWER PAGE (QSA)\n";
constexpr const char *kUpperPageTitle = "\nMSA Data UPPER PAGE (QSA)\n";
constexpr uint32_t kPageDumpBytes = 128;
constexpr uint32_t kPageDumpTextSize = 1936;

// Runs `operation` on the port under the lock that the handle check takes
// (`site`: the caller's line) and releases the lock on every path. A failed
// check prints `check_failed`, when there is one, and returns its status.
template <typename Operation>
sfp_rc with_port_lock(qsa_port_ctx *hdl, uint32_t site, const char *check_failed,
                      Operation operation) {
  const sfp_rc rc = qsa_check_and_lock_hdl(hdl, site);
  if (rc != SFP_RC_OK) {
    if (check_failed != nullptr) {
      std::fputs(check_failed, stderr);
    }
    return rc;
  }
  return qsa_unlock_port(hdl, operation(*hdl));
}

// A lower-page byte, 0 when the read fails.
uint8_t read_lower(qsa_port_ctx &port, uint32_t offset) {
  uint8_t byte = 0;
  qsa_access(&port, offset, 1, QSA_PAGE_LOWER, &byte, SFP_ACCESS_READ);
  return byte;
}

sfp_rc write_tx_disable(qsa_port_ctx *port, uint8_t disable) {
  return qsa_access(port, kQsaTxDisableReg, 1, QSA_PAGE_LOWER, &disable, SFP_ACCESS_WRITE);
}

// Writes the adapter's transmitter disable; a failure is traced with the
// caller's message.
template <const TraceMsg &WriteFailed> sfp_rc set_tx_disable(qsa_port_ctx *port, uint8_t disable) {
  const sfp_rc rc = write_tx_disable(port, disable);
  if (rc != SFP_RC_OK && port != nullptr) {
    trace<WriteFailed>(port->err_trace, port->port);
  }
  return rc;
}

sfp_rc admin_state(qsa_port_ctx &port, uint32_t pre_admin, uint32_t state) {
  const uint8_t disable = state == 0 ? 1 : 0;
  write_tx_disable(&port, disable);
  if (!qsa_forwarding<msg::kOpAdminPresenceFailed>(port)) {
    return SFP_RC_OK;
  }
  set_tx_disable<msg::kOpAdminTxWriteFailed>(&port, disable);
  const sfp_rc rc = sfp_port_admin_state(port.sfp_port, pre_admin, state);
  if (rc != SFP_RC_OK) {
    trace<msg::kOpAdminSfpFailed>(port.err_trace, port.port, rc);
  }
  return rc;
}

// The SFP's record, with slot 3 the adapter's own transmitter disable: the
// adapter, not the SFP, switches the light behind it.
sfp_rc hw_status(qsa_port_ctx &port, sfp_hw_status_rec *rec) {
  if (rec == nullptr) {
    return SFP_RC_OK;
  }
  std::memset(rec, 0, sizeof *rec);
  if (qsa_forwarding<msg::kOpHwStatusPresenceFailed>(port)) {
    const sfp_rc rc = sfp_port_hw_status(port.sfp_port, rec);
    if (rc != SFP_RC_OK) {
      trace<msg::kOpHwStatusSfpFailed>(qsa_layer_err_trace());
      return rc;
    }
  }
  rec->tx_disabled = read_lower(port, kQsaTxDisableReg) & 0x01;
  return SFP_RC_OK;
}

// Copper link state of a 1000BASE-T SFP: one handshake and one read of the
// mirrored register 17. Any other SFP leaves `link` as it was.
void copper_link(qsa_port_ctx &port, uint8_t &link) {
  // The presence read comes first, whatever the type, so a failing adapter
  // is reported on every state query.
  if (!qsa_forwarding<msg::kOpGetStatePresenceFailed>(port) || port.sfp_type != kXcvr1000BaseT) {
    return;
  }
  qsa_wait_page_data_ready(&port, kPhyMirrorSelector);
  uint8_t status[2] = {};
  qsa_access(&port, kPhyStatusMirror, sizeof status, kQsaPageSfpPhy, status, SFP_ACCESS_READ);
  link = (status[0] & kCopperLinkUp) != 0 ? 1 : 0;
}

// Appends the hex dump of 128 bytes of the adapter image from `start`.
sfp_rc append_page_dump(char *text, const qsa_port_ctx &port, uint32_t start) {
  char dump[kPageDumpTextSize];
  const sfp_rc rc =
      plug_eeprom_page_to_ascii(port.adapter_eeprom, start, dump, sizeof dump, kPageDumpBytes);
  append_bounded(text, SFP_EEPROM_REPORT_SIZE, dump);
  return rc;
}

// The SFP's report (or the note that there is none) followed by the
// adapter's lower page and upper page 0, in a text the caller frees.
sfp_rc report(qsa_port_ctx &port, char **text, uint32_t *size) {
  if (text == nullptr || size == nullptr) {
    return SFP_RC_INVALID;
  }
  auto *buffer = static_cast<char *>(lib_calloc(SFP_EEPROM_REPORT_SIZE, 1));
  if (buffer == nullptr) {
    trace<msg::kOpDecodeNoMemory>(port.err_trace, port.port);
    return SFP_RC_NO_MEMORY;
  }
  if (qsa_forwarding<msg::kOpDecodePresenceFailed>(port)) {
    // A report that fails leaves the text empty; the adapter's pages follow
    // all the same.
    sfp_drv_sfp_get_eeprom_str(port.sfp_port, buffer, SFP_EEPROM_REPORT_SIZE);
  } else {
    copy_bounded(buffer, SFP_EEPROM_REPORT_SIZE, kSfpNotInserted);
  }
  append_bounded(buffer, SFP_EEPROM_REPORT_SIZE, kLowerPageTitle);
  append_page_dump(buffer, port, 0);
  append_bounded(buffer, SFP_EEPROM_REPORT_SIZE, kUpperPageTitle);
  const sfp_rc rc = append_page_dump(buffer, port, kQsaMirrorBase);
  *text = buffer;
  *size = static_cast<uint32_t>(std::strlen(buffer) + 1);
  return rc;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc qsa_port_read(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                           uint32_t length, uint8_t *buffer) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kReadCheckHdlFailed,
                        [&](qsa_port_ctx &port) {
                          return qsa_access(&port, offset, length, page, buffer, SFP_ACCESS_READ);
                        });
}

extern "C" SFPDRV_API sfp_rc qsa_port_write(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                            uint32_t length, uint8_t *buffer) {
  return with_port_lock(hdl, __LINE__, nullptr, [&](qsa_port_ctx &port) {
    return qsa_access(&port, offset, length, page, buffer, SFP_ACCESS_WRITE);
  });
}

// The adapter's transmitter only; the SFP's own stays as it is.
extern "C" SFPDRV_API sfp_rc qsa_port_tx_enable(qsa_port_ctx *port) {
  return set_tx_disable<msg::kOpTxEnableWriteFailed>(port, 0);
}

extern "C" SFPDRV_API sfp_rc qsa_port_tx_disable(qsa_port_ctx *port) {
  return set_tx_disable<msg::kOpTxDisableWriteFailed>(port, 1);
}

extern "C" SFPDRV_API sfp_rc qsa_port_read_reg(qsa_port_ctx *hdl, char **text, uint32_t *size) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kReadRegCheckHdlFailed,
                        [&](qsa_port_ctx &port) {
                          if (!qsa_forwarding<msg::kOpReadRegPresenceFailed>(port)) {
                            return SFP_RC_OK;
                          }
                          return sfp_reg_access(port.sfp_port, text, size, SFP_ACCESS_READ);
                        });
}

extern "C" SFPDRV_API sfp_rc qsa_port_rate(qsa_port_ctx *hdl, uint32_t *rate) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kWriteCheckHdlFailed,
                        [&](qsa_port_ctx &port) {
                          if (rate == nullptr) {
                            return SFP_RC_INVALID;
                          }
                          *rate = rate_of(read_lower(port, kQsaRateReg));
                          return SFP_RC_OK;
                        });
}

extern "C" SFPDRV_API sfp_rc qsa_port_type(qsa_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                           uint32_t name_len, uint32_t *defaulted) {
  return with_port_lock(hdl, __LINE__, nullptr, [&](qsa_port_ctx &port) {
    return qsa_port_get_type(&port, type, name, name_len, defaulted);
  });
}

extern "C" SFPDRV_API sfp_rc qsa_port_admin_state(qsa_port_ctx *hdl, uint32_t pre_admin,
                                                  uint32_t state) {
  return with_port_lock(hdl, __LINE__, nullptr,
                        [&](qsa_port_ctx &port) { return admin_state(port, pre_admin, state); });
}

extern "C" SFPDRV_API sfp_rc qsa_port_set_sfp_phy_speed(qsa_port_ctx *hdl, uint32_t speed,
                                                        uint32_t autoneg) {
  return with_port_lock(hdl, __LINE__, nullptr, [&](qsa_port_ctx &port) {
    if (!qsa_forwarding<msg::kOpPhySpeedPresenceFailed>(port)) {
      trace<msg::kOpPhySpeedFailed>(port.err_trace, port.port);
      return SFP_RC_FAULT;
    }
    return sfp_port_set_phy_speed(port.sfp_port, speed, autoneg);
  });
}

extern "C" SFPDRV_API sfp_rc qsa_port_hw_status(qsa_port_ctx *hdl, sfp_hw_status_rec *rec) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kTypeCheckHdlFailed,
                        [&](qsa_port_ctx &port) { return hw_status(port, rec); });
}

// The adapter's record comes from its image; the SFP's from the SFP port.
// Neither one's status is the operation's.
extern "C" SFPDRV_API sfp_rc qsa_port_hw_info(qsa_port_ctx *hdl, sfp_hw_info_rec *sfp_rec,
                                              sfp_hw_info_rec *adapter_rec) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kTypeCheckHdlFailed,
                        [&](qsa_port_ctx &port) {
                          if (adapter_rec != nullptr) {
                            qsa_port_copy_hw_info(&port, adapter_rec);
                          }
                          if (qsa_forwarding<msg::kOpHwInfoPresenceFailed>(port)) {
                            sfp_port_hw_info(port.sfp_port, sfp_rec);
                          }
                          return SFP_RC_OK;
                        });
}

extern "C" SFPDRV_API sfp_rc qsa_port_get_state(qsa_port_ctx *hdl, uint8_t *link) {
  return with_port_lock(hdl, __LINE__, nullptr, [&](qsa_port_ctx &port) {
    if (link == nullptr) {
      return SFP_RC_INVALID;
    }
    copper_link(port, *link);
    return SFP_RC_OK;
  });
}

extern "C" SFPDRV_API sfp_rc qsa_port_phy_reg_decode(qsa_port_ctx *hdl, char **text,
                                                     uint32_t *size) {
  return with_port_lock(hdl, __LINE__, qsa_stderr_text::kTypeCheckHdlFailed,
                        [&](qsa_port_ctx &port) { return report(port, text, size); });
}

// Features an SFP behind an adapter does not have: accepted and ignored.

extern "C" SFPDRV_API sfp_rc qsa_port_tx_cdr_enable(qsa_port_ctx * /*hdl*/, uint32_t /*enable*/) {
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qsa_port_rx_cdr_enable(qsa_port_ctx * /*hdl*/, uint32_t /*enable*/) {
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qsa_port_handle_event_irq(void) {
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qsa_port_ctle_ena_dis(qsa_port_ctx * /*hdl*/, uint32_t /*enable*/) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc qsa_port_high_power_class_ena_dis(qsa_port_ctx * /*hdl*/,
                                                               uint32_t /*enable*/) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc qsa_port_rx_output_ena_dis(qsa_port_ctx * /*hdl*/,
                                                        uint32_t /*enable*/) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc qsa_modify_eq(qsa_port_ctx * /*hdl*/, uint32_t /*value*/) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc qsa_modify_deemphasis(qsa_port_ctx * /*hdl*/, uint32_t /*value*/) {
  return SFP_RC_UNSUPPORTED;
}

extern "C" SFPDRV_API sfp_rc qsa_modify_amp(qsa_port_ctx * /*hdl*/, uint32_t /*value*/) {
  return SFP_RC_UNSUPPORTED;
}

// The diagnostics come with qsa_port_hw_status; this one answers 1.
extern "C" SFPDRV_API sfp_rc qsa_port_dom_info(qsa_port_ctx * /*hdl*/,
                                               sfp_hw_status_rec * /*rec*/) {
  return 1;
}
