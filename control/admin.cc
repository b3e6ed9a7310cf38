// The port's admin state and the copper PHY's speed. Bringing a port up
// switches on the transmitter and the 25G signal conditioning and clears
// stale fault flags; bringing it down switches them off. A PHY speed request
// is stored while the port is down and applied whenever the port is up.
#include <array>
#include <cstdint>

#include "control/internal.h"
#include "control/messages.h"
#include "port/internal.h"
#include "sfpdrv/control.h"
#include "sfpdrv/phy.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kStatusControl = 110; // A2h
constexpr uint8_t kTxFault = 0x04;
// A2h bytes read after admin-up to clear the latched alarm and warning flags
// (the peaking bytes between them are read along), in this order.
constexpr std::array<uint32_t, 6> kLatchedFlagBytes = {112, 113, 114, 115, 116, 117};

constexpr uint32_t kLinkUp = 1;

bool read_a2(sfp_port_ctx *port, uint32_t offset, uint8_t &value) {
  return sfp_access(port, offset, 1, SFP_PAGE_A2, &value, SFP_ACCESS_READ) == SFP_RC_OK;
}

// Clears a 25G optic's stale latched state after it comes up, unless it
// reports a Tx fault. Failures are only traced.
void clear_fault_flags(sfp_port_ctx *port) {
  port_event<msg::kAdminClearFlags>(port);
  uint8_t status = 0;
  const bool first = read_a2(port, kStatusControl, status); // clears latched state
  const bool second = read_a2(port, kStatusControl, status);
  if (!first || !second) {
    port_error<msg::kAdminTxFaultReadError>(port);
  }
  if ((status & kTxFault) != 0) {
    port_event<msg::kAdminOpticalTxFault>(port);
    return;
  }
  bool all_read = true;
  for (const uint32_t offset : kLatchedFlagBytes) {
    uint8_t flags = 0;
    all_read = read_a2(port, offset, flags) && all_read;
  }
  if (!all_read) {
    port_error<msg::kAdminFlagClearReadError>(port);
  }
}

// The results of the control operations are not looked at: a module that
// cannot do one still goes up or down.
void bring_up(sfp_port_ctx *port) {
  (void)sfp_port_tx_cdr_ena_dis(port, 1);
  (void)sfp_port_ctle_ena_dis(port, 1);
  (void)sfp_port_tx_ena_dis(port, 1);
  if (type_in(sfp_25g_optics, port->xcvr_type) && port->spaces.a2 != 0) {
    clear_fault_flags(port);
  }
}

void bring_down(sfp_port_ctx *port) {
  (void)sfp_port_tx_ena_dis(port, 0);
  (void)sfp_port_tx_cdr_ena_dis(port, 0);
  (void)sfp_port_ctle_ena_dis(port, 0);
}

// Programs the stored PHY speed of a port that is up, if it has one.
sfp_rc apply_stored_phy_speed(sfp_port_ctx *port, uint32_t previous, uint32_t state) {
  if (port->phy_access == nullptr || port->phy_speed == 0) {
    return SFP_RC_OK;
  }
  const sfp_rc rc = sfp_port_set_phy_speed(port, port->phy_speed, port->phy_autoneg);
  if (rc != SFP_RC_OK) {
    port_error<msg::kAdminPhySpeedFailed>(port, previous, state, rc);
  }
  return rc;
}

bool autoneg_agrees(uint32_t requested, uint32_t current) {
  if (current == SFP_PHY_AN_ON) {
    return requested == SFP_PHY_AN_ON;
  }
  return current == SFP_PHY_AN_OTHER &&
         (requested == SFP_PHY_AN_FORCED || requested == SFP_PHY_AN_OTHER);
}

// Whether the PHY already runs the request with its copper and system-side
// links up. A failed (or missing) query leaves its outputs at 0, which never
// matches, so the PHY is then programmed.
bool phy_runs(sfp_port_ctx *port, const sfp_phy_ops &ops, uint32_t speed, uint32_t autoneg) {
  uint32_t link = 0;
  uint32_t current_speed = 0;
  uint32_t system_link = 0;
  if (ops.get_link_state_speed != nullptr) {
    const sfp_rc rc = ops.get_link_state_speed(port, &link, &current_speed, &system_link);
    if (rc != SFP_RC_OK) {
      port_error<msg::kPhyLinkStateFailed>(port, rc);
    }
  }
  uint32_t capability = 0;
  if (ops.get_an_capability != nullptr) {
    const sfp_rc rc = ops.get_an_capability(port, &capability);
    if (rc != SFP_RC_OK) {
      port_error<msg::kPhyAnCapabilityFailed>(port, rc);
    }
  }
  return autoneg_agrees(autoneg, capability) && current_speed == speed && link == kLinkUp &&
         system_link == kLinkUp;
}

} // namespace
} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API sfp_rc sfp_port_admin_state(sfp_port_ctx *hdl, uint32_t previous,
                                                  uint32_t state) {
  const sfp_rc rc = sfp_check_hdl(hdl, kSiteAdminState);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  port_event<msg::kAdminState>(hdl, previous, state, hdl->phy_speed);
  if (state == 0) {
    if (previous != 0) {
      bring_down(hdl);
    }
    hdl->admin_state = 0;
    return SFP_RC_OK;
  }
  if (previous == 0) {
    bring_up(hdl);
  }
  hdl->admin_state = state;
  return apply_stored_phy_speed(hdl, previous, state);
}

extern "C" SFPDRV_API sfp_rc sfp_port_set_phy_speed(sfp_port_ctx *hdl, uint32_t speed,
                                                    uint32_t autoneg) {
  sfp_rc rc = sfp_check_hdl(hdl, kSiteSetPhySpeed);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  port_event<msg::kPhySpeedRequest>(hdl, speed, autoneg);
  const sfp_phy_ops *ops = hdl->phy_access;
  if (hdl->admin_state == 0) {
    if (ops != nullptr) {
      hdl->phy_speed = speed;
      hdl->phy_autoneg = autoneg;
      port_event<msg::kPhySpeedDeferred>(hdl, speed, autoneg);
    }
    return SFP_RC_OK;
  }
  if (ops == nullptr || ops->set_link_speed == nullptr) {
    return SFP_RC_OK;
  }
  hdl->phy_speed = speed;
  hdl->phy_autoneg = autoneg;
  if (phy_runs(hdl, *ops, speed, autoneg)) {
    return SFP_RC_OK;
  }
  rc = ops->set_link_speed(hdl, speed, autoneg);
  port_event<msg::kPhySpeedProgrammed>(hdl, speed, autoneg);
  if (rc != SFP_RC_OK) {
    port_error<msg::kPhySpeedFailed>(hdl, speed, autoneg, rc);
  }
  return rc;
}
