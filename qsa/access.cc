// Paged access to the adapter's memory, the data-ready handshake and the
// callbacks through which the SFP port behind the adapter reaches its module.
#include <array>
#include <cstring>

#include "platform/psleep.h"
#include "qsa/internal.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kPageSize = 256;
constexpr qsa_page_code kFirstUpperCode = QSA_PAGE_UPPER(0);
constexpr qsa_page_code kLastUpperCode = QSA_PAGE_UPPER(0xFF);
constexpr uint32_t kHandshakePolls = 75;
constexpr uint32_t kPollSleepMs = 1;

// The transfer runs past the end of the 256-byte page. Offsets and lengths
// that do not fit a page at all are refused too, so that a wrapping sum
// cannot let them through.
bool crosses_page_end(uint32_t offset, uint32_t length) {
  return offset + length - 1 >= kPageSize || offset >= kPageSize || length > kPageSize;
}

bool valid_page_code(qsa_page_code page) {
  return page == QSA_PAGE_LOWER || (page >= kFirstUpperCode && page <= kLastUpperCode);
}

uint32_t real_page(qsa_page_code page) {
  return page == QSA_PAGE_LOWER ? 0 : page - kFirstUpperCode;
}

// The presence bit and the handshake bytes are polled; tracing every access
// to them would flood the event buffer.
bool is_polled_byte(uint32_t offset) {
  return offset == kQsaPresenceReg || offset == kQsaHandshakeA0Reg ||
         offset == kQsaHandshakeOtherReg;
}

bool select_due(const qsa_port_ctx &port, qsa_page_code page, uint32_t direction) {
  return port.current_page != static_cast<int32_t>(page) && qsa_no_page_select(direction) == 0;
}

// Upper pages 1 and 3 hold no valid data. The lower page needs no select
// write, but becomes the page in force so that the next upper-page access
// selects its page again.
sfp_rc select_page(qsa_port_ctx &port, qsa_page_code page) {
  if (page != QSA_PAGE_LOWER) {
    const uint32_t real = real_page(page);
    if (real == 1 || real == 3) {
      trace<msg::kQsaPageNoValidData>(port.err_trace, port.port, real);
      return SFP_RC_INVALID;
    }
    auto select = static_cast<uint8_t>(real);
    const int rc = port.write_cb(port.opaque, kQsaPageSelectReg, 0, 1, &select);
    if (rc != 0) {
      trace<msg::kQsaCannotSetPage>(port.err_trace, port.port, real, rc);
      return static_cast<sfp_rc>(rc);
    }
  }
  port.current_page = static_cast<int32_t>(page);
  return SFP_RC_OK;
}

// Refuses a request that cannot be served: 0 or 22 after tracing why.
sfp_rc check_request(const qsa_port_ctx &port, uint32_t offset, uint32_t length, qsa_page_code page,
                     const uint8_t *buffer, uint32_t direction) {
  if (port.write_cb == nullptr || buffer == nullptr || port.read_cb == nullptr) {
    trace<msg::kQsaAccessEmptyParams>(port.err_trace, port.port);
    return SFP_RC_INVALID;
  }
  if (direction != SFP_ACCESS_READ && direction != SFP_ACCESS_WRITE) {
    trace<msg::kQsaBadDirection>(port.err_trace, port.port, direction);
    return SFP_RC_INVALID;
  }
  if (crosses_page_end(offset, length)) {
    trace<msg::kQsaCrossBoundary>(port.err_trace, port.port);
    return SFP_RC_INVALID;
  }
  if (!valid_page_code(page)) {
    trace<msg::kQsaBadPageCode>(port.err_trace, port.port, page);
    return SFP_RC_INVALID;
  }
  return SFP_RC_OK;
}

// The adapter page an SFP page is mirrored in, indexed by the SFP page;
// pages beyond the table read the A0h mirror.
constexpr std::array<qsa_page_code, 7> kReadMirror = {
    kQsaPageSfpA0Lower,  // 0 A0h
    kQsaPageSfpA2Lower,  // 1 A2h
    kQsaPageSfpA2Table0, // 2 A2h table 0
    kQsaPageSfpA0Lower,  // 3 A2h table 1: not mirrored
    kQsaPageSfpA0Lower,  // 4 A2h table 2: not mirrored
    kQsaPageSfpA0Lower,  // 5 A2h table 3: not mirrored
    kQsaPageSfpPhy,      // 6
};
static_assert(kReadMirror[SFP_PAGE_A0] == QSA_PAGE_UPPER(0x04) &&
                  kReadMirror[SFP_PAGE_A2] == QSA_PAGE_UPPER(0x06) &&
                  kReadMirror[SFP_PAGE_A2_TABLE0] == QSA_PAGE_UPPER(0x07) &&
                  kReadMirror[6] == QSA_PAGE_UPPER(0xAC),
              "the mirror pages of A0h, A2h, table 0 and the PHY");

qsa_page_code read_mirror(uint8_t sfp_page) {
  return sfp_page < kReadMirror.size() ? kReadMirror[sfp_page] : kQsaPageSfpA0Lower;
}

qsa_page_code write_mirror(uint8_t sfp_page) {
  switch (sfp_page) {
  case SFP_PAGE_A2:
    return kQsaPageSfpA2Lower;
  case SFP_PAGE_A2_TABLE0:
    return kQsaPageSfpA2Table0;
  default:
    return kQsaPageSfpA0Lower;
  }
}

int as_status(sfp_rc rc) {
  return static_cast<int>(rc);
}

} // namespace

void qsa_wait_page_data_ready(qsa_port_ctx *port, uint8_t selector) {
  if (port == nullptr) {
    return;
  }
  const uint32_t reg = selector == 0 ? kQsaHandshakeA0Reg : kQsaHandshakeOtherReg;
  uint8_t byte = 1;
  qsa_access(port, reg, 1, QSA_PAGE_LOWER, &byte, SFP_ACCESS_WRITE);
  for (uint32_t poll = 0; poll < kHandshakePolls; ++poll) {
    platform_sleep_ms(kPollSleepMs);
    // A failed read leaves the byte zeroed, which ends the wait.
    qsa_access(port, reg, 1, QSA_PAGE_LOWER, &byte, SFP_ACCESS_READ);
    if (byte == 0) {
      return;
    }
    platform_sleep_ms(kPollSleepMs);
  }
  trace<msg::kQsaDataNotReady>(port->err_trace, port->port, reg);
}

// Only SFP offsets below 128 - length fit the mirror's upper half; the
// access refuses the rest as crossing the page end.
int qsa_sfp_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  auto *port = static_cast<qsa_port_ctx *>(opaque);
  qsa_wait_page_data_ready(port, page);
  return as_status(qsa_access(port, offset + kQsaMirrorBase, length, read_mirror(page), buffer,
                              SFP_ACCESS_READ));
}

int qsa_sfp_write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  auto *port = static_cast<qsa_port_ctx *>(opaque);
  const qsa_page_code mirror = write_mirror(page);
  if (port != nullptr) {
    trace<msg::kQsaWritingSfpEeprom>(port->evt_trace, port->port, mirror);
  }
  qsa_wait_page_data_ready(port, page);
  return as_status(
      qsa_access(port, offset + kQsaMirrorBase, length, mirror, buffer, SFP_ACCESS_WRITE));
}

// The PHY's bus address is the adapter's business: the register byte alone
// names the byte of the PHY mirror.
int qsa_sfp_phy_read_cb(void *opaque, uint8_t /*address*/, uint8_t reg, void *buffer) {
  auto *port = static_cast<qsa_port_ctx *>(opaque);
  qsa_wait_page_data_ready(port, 0);
  return as_status(qsa_access(port, reg + kQsaMirrorBase, 1, kQsaPageSfpPhy,
                              static_cast<uint8_t *>(buffer), SFP_ACCESS_READ));
}

// Writes need no fresh mirror, so they skip the handshake.
int qsa_sfp_phy_write_cb(void *opaque, uint8_t /*address*/, uint8_t reg, void *buffer) {
  auto *port = static_cast<qsa_port_ctx *>(opaque);
  return as_status(qsa_access(port, reg + kQsaMirrorBase, 1, kQsaPageSfpPhy,
                              static_cast<uint8_t *>(buffer), SFP_ACCESS_WRITE));
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc qsa_access(qsa_port_ctx *port, uint32_t offset, uint32_t length,
                                        qsa_page_code page, uint8_t *buffer, uint32_t direction) {
  if (port == nullptr) {
    trace<msg::kQsaNullPort>(qsa_layer_err_trace());
    return SFP_RC_INVALID;
  }
  const sfp_rc refused = check_request(*port, offset, length, page, buffer, direction);
  if (refused != SFP_RC_OK) {
    return refused;
  }
  if (!is_polled_byte(offset)) {
    trace<msg::kQsaAccess>(port->evt_trace, port->port, offset, length, page, direction,
                           port->current_page, real_page(page));
  }
  if (select_due(*port, page, direction)) {
    const sfp_rc rc = select_page(*port, page);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  const auto offset8 = static_cast<uint8_t>(offset);
  const auto page8 = static_cast<uint8_t>(real_page(page));
  int rc = 0;
  if (direction == SFP_ACCESS_READ) {
    std::memset(buffer, 0, length);
    rc = port->read_cb(port->opaque, offset8, page8, length, buffer);
  } else {
    rc = port->write_cb(port->opaque, offset8, page8, length, buffer);
  }
  if (rc != 0) {
    trace<msg::kQsaAccessError>(port->err_trace, port->port, offset, length, page, direction, rc);
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}
