// Copper PHY access over the module's two-wire bus: PHY registers as one
// word or as two bytes, the operations of the 1000BASE-T module's PHY, and
// the reset and configuration of a 10G copper module's PHY.
#include <array>
#include <cstddef>
#include <cstdint>

#include "control/messages.h"
#include "platform/psleep.h"
#include "sfpdrv/phy.h"

namespace sfpdrv {
namespace {

constexpr sfp_xcvr_type kType1000BaseT = 533;

// Clause 22 registers of the 1000BASE-T PHY and the fields read from them.
constexpr uint32_t kRegAdvertisement = 4;
constexpr uint32_t kRegStatus = 17;
constexpr uint32_t kRegPageSelect = 22;
constexpr uint16_t kPageCopper = 0;
constexpr uint16_t kPageFiber = 1;
constexpr unsigned kStatusSpeedShift = 14;
constexpr uint16_t kStatusLinkUp = 1u << 10;
constexpr uint32_t kSpeedCodeBad = 3;
constexpr std::array<uint32_t, 3> kSpeedOfCode = {10, 100, 1000}; // Mb/s by speed code
constexpr uint16_t kFullAdvertisement = 0x0DE1;

// The bus mode of an SFP behind an adapter: bytes of register r at 2r and
// 2r + 1, and a longer wait before a speed change.
constexpr uint32_t kBusModeAdapter = 1;
constexpr uint32_t kSpeedChangeWaitMs = 250;
constexpr uint32_t kSpeedChangeWaitAdapterMs = 500;

// The 10G copper PHY: byte registers at one device address.
constexpr uint8_t kTenGigAddress = 0xAC;
constexpr uint8_t kTenGigReset = 128;
constexpr uint8_t kTenGigPowerLevel = 129;
constexpr uint8_t kTenGigSystemSide = 130;
constexpr uint8_t kTenGigAnEnable = 131;
constexpr uint8_t kTenGigAnAdvertise = 132;
constexpr uint8_t kTenGigFullPower = 3;
constexpr uint8_t kTenGigAdvertisement = 25;
constexpr std::size_t kA0ExtCompliance = SFP_IMAGE_A0 + 36;
constexpr uint8_t kTenGigCopperCodes = 0x1C;
constexpr uint32_t kTenGigResetSettleMs = 400;
constexpr uint32_t kTenGigResetHoldMs = 100;

// The register writes of each speed request, in order; each list ends with
// register kSequenceEnd, which is not written.
struct PhyRegisterWrite {
  uint16_t reg;
  uint16_t value;
};
constexpr uint16_t kSequenceEnd = 0xFFFF;
enum PhySpeedRequest : std::size_t { kForced10, kForced100, kForced1000, kAutoneg, kRequestCount };
constexpr std::size_t kMaxSequence = 10; // the longest list and its end
using PhySequence = std::array<PhyRegisterWrite, kMaxSequence>;

// clang-format off
constexpr std::array<PhySequence, kRequestCount> qrn_phy_speed_sequence = {{
  /* 10 Mb/s forced */
  {{{22, 0x0001}, {0, 0x9140}, {22, 0x0000}, {27, 0x9084}, {0, 0x9140}, {0, 0x9100},
    {4, 0x0C61}, {9, 0x0C00}, {16, 0x0370}, {kSequenceEnd, 0}}},
  /* 100 Mb/s forced */
  {{{22, 0x0001}, {0, 0x9140}, {22, 0x0000}, {27, 0x9084}, {0, 0x9140}, {4, 0x0D81},
    {9, 0x0C00}, {16, 0x0370}, {0, 0xB100}, {kSequenceEnd, 0}}},
  /* 1000 Mb/s forced */
  {{{22, 0x0001}, {0, 0x9140}, {22, 0x0000}, {27, 0x9084}, {4, 0x0C01}, {9, 0x0E00},
    {16, 0x0370}, {0, 0x9140}, {kSequenceEnd, 0}}},
  /* auto-negotiation with the full advertisement */
  {{{22, 0x0001}, {0, 0x9140}, {22, 0x0000}, {27, 0x9084}, {0, 0x9140}, {4, kFullAdvertisement},
    {9, 0x0E00}, {16, 0x0370}, {0, 0x9140}, {kSequenceEnd, 0}}},
}};
// clang-format on

constexpr std::size_t sequence_length(const PhySequence &sequence) {
  std::size_t n = 0;
  while (n < sequence.size() && sequence[n].reg != kSequenceEnd) {
    ++n;
  }
  return n;
}

constexpr bool every_sequence_ends_and_selects_pages_first() {
  for (const PhySequence &sequence : qrn_phy_speed_sequence) {
    const std::size_t n = sequence_length(sequence);
    if (n == sequence.size() || sequence[0].reg != kRegPageSelect ||
        sequence[2].reg != kRegPageSelect || sequence[2].value != kPageCopper) {
      return false;
    }
  }
  return true;
}
static_assert(
    every_sequence_ends_and_selects_pages_first(),
    "each speed sequence ends with its marker and selects the system side, then the copper side");
static_assert(sequence_length(qrn_phy_speed_sequence[kForced10]) == 9 &&
              sequence_length(qrn_phy_speed_sequence[kForced100]) == 9 &&
              sequence_length(qrn_phy_speed_sequence[kForced1000]) == 8 &&
              sequence_length(qrn_phy_speed_sequence[kAutoneg]) == 9);

bool behind_adapter(const sfp_port_ctx *port) {
  return port->bus_mode == kBusModeAdapter;
}

// Register byte of the high byte of `reg`, and of its low byte.
uint8_t high_byte_at(const sfp_port_ctx *port, uint32_t reg) {
  return static_cast<uint8_t>(behind_adapter(port) ? reg << 1 : reg);
}
uint8_t low_byte_at(const sfp_port_ctx *port, uint8_t high_at) {
  return behind_adapter(port) ? static_cast<uint8_t>(high_at + 1) : high_at;
}

// A PHY callback always gets a buffer of a whole 16-bit register, even when
// only one byte moves: a platform whose callback works in words reads and
// writes two bytes of whatever it is handed. The byte sits where a byte-wide
// callback looks for it, first, and the rest stays zero.
class PhyByte {
public:
  explicit PhyByte(uint8_t value = 0) : bytes_{value, 0} {}
  void *buffer() { return bytes_.data(); }
  uint8_t value() const { return bytes_[0]; }

private:
  alignas(uint16_t) std::array<uint8_t, sizeof(uint16_t)> bytes_;
};

sfp_rc read_bytes(sfp_port_ctx *port, uint8_t address, uint32_t reg, uint16_t *value) {
  const uint8_t high_at = high_byte_at(port, reg);
  PhyByte high;
  int rc = port->phy_read_cb(port->opaque, address, high_at, high.buffer());
  if (rc != 0) {
    trace<msg::kPhyReadMsbError>(port->err_trace, port->controller, port->port, address, high_at);
    return static_cast<sfp_rc>(rc);
  }
  const uint8_t low_at = low_byte_at(port, high_at);
  PhyByte low;
  rc = port->phy_read_cb(port->opaque, address, low_at, low.buffer());
  if (rc != 0) {
    trace<msg::kPhyReadLsbError>(port->err_trace, port->controller, port->port, address, low_at);
    return static_cast<sfp_rc>(rc);
  }
  *value = static_cast<uint16_t>(high.value() << 8 | low.value());
  return SFP_RC_OK;
}

sfp_rc write_bytes(sfp_port_ctx *port, uint8_t address, uint32_t reg, uint16_t value) {
  const uint8_t high_at = high_byte_at(port, reg);
  PhyByte high(static_cast<uint8_t>(value >> 8));
  int rc = port->phy_write_cb(port->opaque, address, high_at, high.buffer());
  if (rc != 0) {
    trace<msg::kPhyWriteMsbError>(port->err_trace, port->controller, port->port, high.value(),
                                  address, high_at);
    return static_cast<sfp_rc>(rc);
  }
  const uint8_t low_at = low_byte_at(port, high_at);
  PhyByte low(static_cast<uint8_t>(value & 0xFF));
  rc = port->phy_write_cb(port->opaque, address, low_at, low.buffer());
  if (rc != 0) {
    trace<msg::kPhyWriteLsbError>(port->err_trace, port->controller, port->port, low.value(),
                                  address, low_at);
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}

sfp_rc select_page(sfp_port_ctx *port, uint16_t page) {
  return qrn_te_phy_wr(port, port->phy_access->wr_addr, kRegPageSelect, &page);
}

// Reads the status register of the selected page into `status`, which keeps
// its value when the read fails.
void read_status(sfp_port_ctx *port, uint16_t &status) {
  (void)qrn_te_phy_rd(port, port->phy_access->rd_addr, kRegStatus, &status);
}

uint32_t link_up(uint16_t status) {
  return (status & kStatusLinkUp) != 0 ? 1 : 0;
}

// The sequence for a request, or null (after tracing why) when there is none.
const PhySequence *sequence_for(sfp_port_ctx *port, uint32_t speed, uint32_t autoneg) {
  if (autoneg == SFP_PHY_AN_ON) {
    return &qrn_phy_speed_sequence[kAutoneg];
  }
  if (autoneg != SFP_PHY_AN_FORCED && autoneg != SFP_PHY_AN_OTHER) {
    trace<msg::kPhyAutonegNotSupported>(port->err_trace, port->controller, port->port, autoneg);
    return nullptr;
  }
  switch (speed) {
  case 10:
    return &qrn_phy_speed_sequence[kForced10];
  case 100:
    return &qrn_phy_speed_sequence[kForced100];
  case 1000:
    return &qrn_phy_speed_sequence[kForced1000];
  default:
    trace<msg::kPhySpeedNotSupported>(port->err_trace, port->controller, port->port, speed);
    return nullptr;
  }
}

// One byte to a 10G PHY register; a failure is traced with message Fail.
template <const TraceMsg &Fail>
sfp_rc write_ten_gig(sfp_port_ctx *port, uint8_t reg, uint8_t value) {
  PhyByte byte(value);
  const int rc = port->phy_write_cb(port->opaque, kTenGigAddress, reg, byte.buffer());
  if (rc != 0) {
    trace<Fail>(port->err_trace, port->controller, port->port, rc);
  }
  return static_cast<sfp_rc>(rc);
}

// Holds the PHY in reset and lets it go, with the settle times it needs.
sfp_rc reset_ten_gig(sfp_port_ctx *port) {
  platform_sleep_ms(kTenGigResetSettleMs);
  sfp_rc rc = write_ten_gig<msg::kTenGigAssertResetFail>(port, kTenGigReset, 1);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  platform_sleep_ms(kTenGigResetHoldMs);
  rc = write_ten_gig<msg::kTenGigReleaseResetFail>(port, kTenGigReset, 0);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  platform_sleep_ms(kTenGigResetSettleMs);
  trace<msg::kTenGigWriteSuccess>(port->evt_trace, port->controller, port->port);
  return SFP_RC_OK;
}

// Reads the reset register back; only traced, the sequence goes on either way.
void report_ten_gig_reset(sfp_port_ctx *port) {
  PhyByte value;
  const int rc = port->phy_read_cb(port->opaque, kTenGigAddress, kTenGigReset, value.buffer());
  if (rc != 0) {
    trace<msg::kTenGigReadFail>(port->err_trace, port->controller, port->port, rc);
  } else {
    trace<msg::kTenGigReadSuccess>(port->evt_trace, port->controller, port->port, value.value());
  }
}

sfp_rc configure_ten_gig(sfp_port_ctx *port) {
  sfp_rc rc = write_ten_gig<msg::kTenGigPowerLevelFail>(port, kTenGigPowerLevel, kTenGigFullPower);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  rc = write_ten_gig<msg::kTenGigSystemSideFail>(port, kTenGigSystemSide, 0);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  trace<msg::kTenGigSystemSideDone>(port->evt_trace, port->controller, port->port, 0);
  rc = write_ten_gig<msg::kTenGigAdvertiseFail>(port, kTenGigAnAdvertise, kTenGigAdvertisement);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  trace<msg::kTenGigAdvertiseDone>(port->evt_trace, port->controller, port->port,
                                   kTenGigAdvertisement);
  rc = write_ten_gig<msg::kTenGigAnEnableFail>(port, kTenGigAnEnable, 1);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  trace<msg::kTenGigAnEnableDone>(port->evt_trace, port->controller, port->port, 1);
  return SFP_RC_OK;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API const sfp_phy_ops qrn_te_phy_access = {
    0xAC, 0xAD, &qrn_te_set_link_speed, &qrn_te_get_link_state_speed, &qrn_te_get_an_capability};

extern "C" SFPDRV_API sfp_rc qrn_te_phy_rd(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                           uint16_t *value) {
  if (port == nullptr || value == nullptr || port->phy_access == nullptr ||
      port->phy_read_cb == nullptr) {
    return SFP_RC_INVALID;
  }
  const auto address8 = static_cast<uint8_t>(address);
  if (port->phy_word_access == 0) {
    return read_bytes(port, address8, reg, value);
  }
  const auto reg8 = static_cast<uint8_t>(reg);
  uint16_t word = 0;
  const int rc = port->phy_read_cb(port->opaque, address8, reg8, &word);
  if (rc != 0) {
    trace<msg::kPhyReadError>(port->err_trace, port->controller, port->port, address8, reg8);
    return static_cast<sfp_rc>(rc);
  }
  *value = word;
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qrn_te_phy_wr(sfp_port_ctx *port, uint32_t address, uint32_t reg,
                                           const uint16_t *value) {
  if (port == nullptr || value == nullptr || port->phy_access == nullptr ||
      port->phy_write_cb == nullptr) {
    return SFP_RC_INVALID;
  }
  const auto address8 = static_cast<uint8_t>(address);
  if (port->phy_word_access == 0) {
    return write_bytes(port, address8, reg, *value);
  }
  const auto reg8 = static_cast<uint8_t>(reg);
  uint16_t word = *value;
  const int rc = port->phy_write_cb(port->opaque, address8, reg8, &word);
  if (rc != 0) {
    trace<msg::kPhyWriteError>(port->err_trace, port->controller, port->port, *value, address8,
                               reg8);
    return static_cast<sfp_rc>(rc);
  }
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qrn_te_get_link_state_speed(sfp_port_ctx *port, uint32_t *link,
                                                         uint32_t *speed, uint32_t *fiber_link) {
  if (port == nullptr || port->phy_access == nullptr) {
    return SFP_RC_INVALID;
  }
  (void)select_page(port, kPageCopper);
  uint16_t status = 0; // a failed read reads as 10 Mb/s, link down
  read_status(port, status);
  const uint32_t code = status >> kStatusSpeedShift;
  uint32_t mbps = 0;
  if (code == kSpeedCodeBad) {
    trace<msg::kPhyBadLinkStatus>(port->err_trace, port->controller, port->port, kRegStatus, status,
                                  code);
  } else {
    mbps = kSpeedOfCode[code];
  }
  const uint32_t copper_up = link_up(status);
  if (speed != nullptr) {
    *speed = mbps;
  }
  if (link != nullptr) {
    *link = copper_up;
  }
  (void)select_page(port, kPageFiber);
  uint16_t fiber_status = 1; // a failed read reads as link down
  read_status(port, fiber_status);
  const uint32_t fiber_up = link_up(fiber_status);
  if (fiber_link != nullptr) {
    *fiber_link = fiber_up;
  }
  trace<msg::kPhyLinkStatus>(port->evt_trace, port->controller, port->port, kRegStatus, status,
                             copper_up, mbps, fiber_status, fiber_up);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qrn_te_get_an_capability(sfp_port_ctx *port, uint32_t *capability) {
  if (port == nullptr || capability == nullptr || port->phy_access == nullptr) {
    return SFP_RC_INVALID;
  }
  sfp_rc rc = select_page(port, kPageCopper);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  uint16_t value = 0;
  rc = qrn_te_phy_rd(port, port->phy_access->rd_addr, kRegAdvertisement, &value);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  const uint32_t advertised = value == kFullAdvertisement ? SFP_PHY_AN_ON : SFP_PHY_AN_OTHER;
  *capability = advertised;
  trace<msg::kPhyAnCapability>(port->evt_trace, port->controller, port->port, kRegAdvertisement,
                               value, advertised);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc qrn_te_set_link_speed(sfp_port_ctx *port, uint32_t speed,
                                                   uint32_t autoneg) {
  if (port == nullptr || port->phy_access == nullptr) {
    return SFP_RC_INVALID;
  }
  trace<msg::kPhySetSpeed>(port->evt_trace, port->controller, port->port, speed, autoneg);
  const PhySequence *sequence = sequence_for(port, speed, autoneg);
  if (sequence == nullptr) {
    return SFP_RC_INVALID;
  }
  platform_sleep_ms(behind_adapter(port) ? kSpeedChangeWaitAdapterMs : kSpeedChangeWaitMs);
  for (const PhyRegisterWrite &write : *sequence) {
    if (write.reg == kSequenceEnd) {
      break;
    }
    const sfp_rc rc = qrn_te_phy_wr(port, port->phy_access->wr_addr, write.reg, &write.value);
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_port_qrn_te_access(sfp_port_ctx *port, uint32_t reg,
                                                    uint16_t *value, uint32_t direction) {
  if (port == nullptr || port->phy_access == nullptr) {
    return SFP_RC_INVALID;
  }
  if (direction == SFP_ACCESS_READ) {
    return qrn_te_phy_rd(port, port->phy_access->rd_addr, reg, value);
  }
  return qrn_te_phy_wr(port, port->phy_access->wr_addr, reg, value);
}

extern "C" SFPDRV_API sfp_rc sfp_xcvr_set_phy_access(sfp_port_ctx *port, sfp_xcvr_type type) {
  if (port == nullptr) {
    return SFP_RC_INVALID;
  }
  if (type != kType1000BaseT) {
    return SFP_RC_OK;
  }
  port->phy_access = &qrn_te_phy_access;
  trace<msg::kSetPhyAccess>(port->evt_trace, port->controller, port->port, &qrn_te_phy_access);
  return SFP_RC_OK;
}

extern "C" SFPDRV_API sfp_rc sfp_10G_copper_phy_configure(sfp_port_ctx *port) {
  if (port == nullptr) {
    return SFP_RC_INVALID;
  }
  if ((port->eeprom[kA0ExtCompliance] & kTenGigCopperCodes) == 0) {
    return SFP_RC_OK;
  }
  if (port->phy_read_cb == nullptr || port->phy_write_cb == nullptr) {
    trace<msg::kTenGigNoPhyCallbacks>(port->err_trace, port->controller, port->port);
    return SFP_RC_INVALID;
  }
  const sfp_rc rc = reset_ten_gig(port);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  report_ten_gig_reset(port);
  return configure_ten_gig(port);
}
