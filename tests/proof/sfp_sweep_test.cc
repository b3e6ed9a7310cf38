// Fault sweeps of the SFP port layer: every operation that reaches the
// module, on every simulated profile where it makes an access, with the k-th
// module access failing once and from then on.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "proof/seams.h"
#include "proof/sweep.h"
#include "support/port_harness.h"

namespace {

using prooftest::Expect;
using prooftest::kIgnored;
using prooftest::kInjected;
using prooftest::kPassed;
using prooftest::Mode;
using prooftest::Rule;
using prooftest::Tokens;
using prooftest::Trial;
using sfptest::records;

using Operation = sfp_rc (*)(sfp_port_ctx *);

// The message numbers of a trace buffer's records.
std::vector<uint32_t> error_numbers(const char *buffer) {
  std::vector<uint32_t> out;
  for (const sfptest::TraceRecord &r : records(buffer)) {
    out.push_back(r.number);
  }
  return out;
}

// A port on a fresh module; deleting the trial deletes the port and any
// context a failed creation left registered.
struct Rig {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = nullptr;
  ~Rig() {
    for (sfp_port_ctx *p : sfptest::registry()) {
      if (p->opaque == module.get()) {
        sfp_port_delete(p);
      }
    }
  }
};

sfp_platform_ops ops_of(const sfpsim::Module &module, bool bitbang) {
  sfp_platform_ops ops = sfptest::ops_for(module);
  ops.module_present = 1;
  ops.rate_code = SFP_RATE_CODE_25G;
  ops.bitbang_read_cb = bitbang ? sfpsim::Module::bitbang_read_cb : nullptr;
  return ops;
}

// A clean port works: A0h (and A2h where the module has it) read back as the
// module holds them.
void expect_port_works(sfp_port_ctx *port, const sfpsim::Module &module) {
  ASSERT_NE(port, nullptr);
  uint8_t bytes[96] = {};
  ASSERT_EQ(sfp_port_read(port, 0, SFP_PAGE_A0, sizeof bytes, bytes), SFP_RC_OK);
  EXPECT_EQ(std::memcmp(bytes, module.memory().a0.data(), sizeof bytes), 0);
  if (port->spaces.a2 != 0) {
    ASSERT_EQ(sfp_port_read(port, 0, SFP_PAGE_A2, sizeof bytes, bytes), SFP_RC_OK);
    EXPECT_EQ(std::memcmp(bytes, module.memory().a2_lower.data(), sizeof bytes), 0);
  }
}

// The module's accesses as tokens ("r1.110", "w1.127", "b2.128").
Tokens module_tokens(const sfpsim::Module &module) {
  Tokens out;
  for (const sfpsim::Access &a : module.log()) {
    const char kind = a.bus == sfpsim::Bus::Write ? 'w' : a.bus == sfpsim::Bus::Read ? 'r' : 'b';
    out.push_back(kind + std::to_string(a.page) + "." + std::to_string(a.offset));
  }
  return out;
}

void arm_module(sfpsim::Module &module, uint64_t k, Mode mode) {
  if (k == 0) {
    module.clear_faults();
  } else if (mode == Mode::Once) {
    module.fail_nth_access(k, kInjected);
  } else {
    module.fail_from_nth_access(k, kInjected);
  }
}

// A trial of `op` on a port of `profile`, the fault on the module's bus.
Trial module_trial(const std::string &profile, Operation op, bool bitbang) {
  auto rig = std::make_shared<Rig>();
  rig->module = sfptest::module_from(profile);
  const sfp_platform_ops ops = ops_of(*rig->module, bitbang);
  sfp_port_create_result result{};
  sfp_port_create(&ops, &result);
  rig->port = result.handle;
  EXPECT_NE(rig->port, nullptr) << profile;
  rig->module->clear_log();
  sfptest::clear_traces();
  return Trial{
      .arm = [rig](uint64_t k, Mode mode) { arm_module(*rig->module, k, mode); },
      .run = [rig, op] { return op(rig->port); },
      .error_records = [] { return error_numbers("sfp_err"); },
      .verify = [rig] { expect_port_works(rig->port, *rig->module); },
      .tokens = [rig] { return module_tokens(*rig->module); },
  };
}

// A trial of creation itself on a fresh module; afterwards the port is
// created again (a platform's retry) and must work.
Trial creation_trial(const std::string &profile, bool bitbang) {
  auto rig = std::make_shared<Rig>();
  rig->module = sfptest::module_from(profile);
  sfptest::clear_traces();
  return Trial{
      .arm = [rig](uint64_t k, Mode mode) { arm_module(*rig->module, k, mode); },
      .run =
          [rig, bitbang] {
            const sfp_platform_ops ops = ops_of(*rig->module, bitbang);
            sfp_port_create_result result{};
            const sfp_rc rc = sfp_port_create(&ops, &result);
            rig->port = result.handle;
            return rc;
          },
      .error_records = [] { return error_numbers("sfp_err"); },
      .verify =
          [rig, bitbang] {
            if (rig->port != nullptr) {
              ASSERT_EQ(sfp_port_delete(rig->port), SFP_RC_OK);
            }
            const sfp_platform_ops ops = ops_of(*rig->module, bitbang);
            sfp_port_create_result result{};
            EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
            rig->port = result.handle;
            expect_port_works(rig->port, *rig->module);
          },
      .tokens = [rig] { return module_tokens(*rig->module); },
  };
}

// --- the operations ---

uint8_t g_buffer[256];

sfp_rc read_a0(sfp_port_ctx *p) {
  return sfp_port_read(p, 0, SFP_PAGE_A0, 96, g_buffer);
}
sfp_rc read_table2(sfp_port_ctx *p) {
  return sfp_port_read(p, 0, SFP_PAGE_A2_TABLE2, 128, g_buffer);
}
sfp_rc write_table0(sfp_port_ctx *p) {
  uint8_t byte = 0x5A;
  return sfp_port_write(p, 0x20, SFP_PAGE_A2_TABLE0, 1, &byte);
}
sfp_rc write_a2(sfp_port_ctx *p) {
  uint8_t byte = 0x40;
  return sfp_access(p, 110, 1, SFP_PAGE_A2, &byte, SFP_ACCESS_WRITE);
}
sfp_rc bitbang_read(sfp_port_ctx *p) {
  return sfp_special_bitbang_access(p, 0, 16, SFP_PAGE_A2_TABLE2, g_buffer, SFP_ACCESS_READ);
}
sfp_rc read_reg(sfp_port_ctx *p) {
  char *text = nullptr;
  uint32_t size = 0;
  const sfp_rc rc = sfp_port_read_reg(p, &text, &size);
  std::free(text);
  return rc;
}
sfp_rc get_type(sfp_port_ctx *p) {
  sfp_xcvr_type type = 0;
  char name[SFP_XCVR_NAME_LEN + 1];
  uint32_t defaulted = 0;
  return sfp_port_get_type(p, &type, name, sizeof name, &defaulted);
}
sfp_rc port_type(sfp_port_ctx *p) {
  sfp_xcvr_type type = 0;
  char name[SFP_XCVR_NAME_LEN + 1];
  uint32_t defaulted = 0;
  return sfp_port_type(p, &type, name, sizeof name, &defaulted);
}
sfp_rc port_rate(sfp_port_ctx *p) {
  uint32_t rate = 0;
  return sfp_port_rate(p, &rate);
}
sfp_rc tx_enable(sfp_port_ctx *p) {
  return sfp_port_tx_enable(p);
}
sfp_rc tx_disable(sfp_port_ctx *p) {
  return sfp_port_tx_disable(p);
}
sfp_rc tx_cdr_on(sfp_port_ctx *p) {
  return sfp_port_tx_cdr_enable(p, 1);
}
sfp_rc rx_cdr_on(sfp_port_ctx *p) {
  return sfp_port_rx_cdr_enable(p, 1);
}
sfp_rc ctle_on(sfp_port_ctx *p) {
  return sfp_port_ctle_ena_dis(p, 1);
}
sfp_rc ctle_off(sfp_port_ctx *p) {
  return sfp_port_ctle_ena_dis(p, 0);
}
sfp_rc peaking(sfp_port_ctx *p) {
  return sfp_port_configure_peaking_ctle(p, 0x05, 0x0F);
}
sfp_rc power_high(sfp_port_ctx *p) {
  return sfp_port_high_power_class_ena_dis(p, 1);
}
sfp_rc power_low(sfp_port_ctx *p) {
  return sfp_port_high_power_class_ena_dis(p, 0);
}
sfp_rc rx_output_on(sfp_port_ctx *p) {
  return sfp_port_rx_output_ena_dis(p, 1);
}
sfp_rc set_sfp_type(sfp_port_ctx *p) {
  return sfp_port_set_sfp_type(p);
}
sfp_rc admin_up(sfp_port_ctx *p) {
  return sfp_port_admin_state(p, 0, 1);
}
sfp_rc admin_down(sfp_port_ctx *p) {
  return sfp_port_admin_state(p, 1, 0);
}
sfp_rc phy_speed_up(sfp_port_ctx *p) {
  const sfp_rc rc = sfp_port_admin_state(p, 0, 1);
  return rc != SFP_RC_OK ? rc : sfp_port_set_phy_speed(p, 100, 0);
}
sfp_rc tune(sfp_port_ctx *p) {
  return sfp_port_tsfp_wavechannel_set(p, 5);
}
sfp_rc multi_rate(sfp_port_ctx *p) {
  return sfp_multi_rate_sel_oper_rate(p);
}
sfp_rc hw_status(sfp_port_ctx *p) {
  sfp_hw_status_rec rec{};
  return sfp_port_hw_status(p, &rec);
}
sfp_rc dom_info(sfp_port_ctx *p) {
  sfp_hw_status_rec rec{};
  return sfp_port_dom_info(p, &rec);
}
sfp_rc hw_info(sfp_port_ctx *p) {
  sfp_hw_info_rec rec{};
  return sfp_port_hw_info(p, &rec);
}
sfp_rc debug_info(sfp_port_ctx *p) {
  static char text[16384];
  uint32_t length = 0;
  return sfp_port_get_debug_info(p, text, sizeof text, &length);
}
sfp_rc reg_decode(sfp_port_ctx *p) {
  char *text = nullptr;
  uint32_t length = 0;
  const sfp_rc rc = sfp_port_phy_reg_decode(p, &text, &length);
  std::free(text);
  return rc;
}
sfp_rc eeprom_str(sfp_port_ctx *p) {
  static char text[SFP_EEPROM_REPORT_SIZE];
  return sfp_drv_sfp_get_eeprom_str(p, text, sizeof text);
}

// --- what a failed access must give, by operation ---

// The multi-rate probe (A0h byte 253): a failure counts as a single-rate
// module and is only traced.
bool multi_rate_probe(const std::string &token) {
  return token == "r0.253";
}

// Every failure is returned, but the multi-rate probe's.
Expect passed(std::size_t i, const Tokens &clean) {
  return multi_rate_probe(clean[i]) ? kIgnored : kPassed;
}
// Only traced: the control is carried out as far as it goes, status 0.
Expect ignored(std::size_t, const Tokens &) {
  return kIgnored;
}
// Only the last access's failure is returned: the register dump (each row
// goes on with 0, the last read's status is the dump's) and Tx CDR (the
// read-modify-write is traced, the read-back is returned).
Expect last_only(std::size_t i, const Tokens &clean) {
  return i + 1 == clean.size() ? kPassed : kIgnored;
}
// CTLE: the adaptive-support read fails with 22; the read-modify-write of
// byte 120 is only traced; the CDR loss-of-lock reads are returned.
Expect ctle(std::size_t i, const Tokens &clean) {
  if (clean[i] == "r1.122") {
    return prooftest::status_of(SFP_RC_INVALID);
  }
  return clean[i] == "r0.64" || (i > 0 && clean[i] == "r1.119" && clean[i - 1] == "r1.119")
             ? kPassed
             : kIgnored;
}
// Creation: identification failures, the data-ready read and the
// multi-rate selection (the write right after data ready) are returned; the
// multi-rate probe and the initial transmitter settings are only traced.
Expect creation(std::size_t i, const Tokens &clean) {
  if (multi_rate_probe(clean[i])) {
    return kIgnored;
  }
  for (std::size_t j = 0; j < i; ++j) {
    if (clean[j] == "r1.110") {
      const bool rate_select = j + 1 == i && clean[i][0] == 'w';
      return rate_select ? kPassed : kIgnored;
    }
  }
  return kPassed;
}

// A status snapshot's bit-bang re-read of set flags is only traced: the
// snapshot goes on with the flags it read first.
Expect status_rule(std::size_t i, const Tokens &clean) {
  return clean[i][0] == 'b' ? kIgnored : passed(i, clean);
}

struct OpCase {
  const char *name;
  Operation op;
  Rule rule = passed;
  bool bitbang = false;
};

const std::vector<OpCase> &operations() {
  static const std::vector<OpCase> ops = {
      {"read", read_a0},
      {"read_table", read_table2},
      {"write_table", write_table0},
      {"access_write", write_a2},
      {"bitbang_read", bitbang_read, passed, true},
      {"read_reg", read_reg, last_only},
      {"read_reg_bitbang", read_reg, last_only, true},
      {"get_type", get_type},
      {"type", port_type},
      {"rate", port_rate},
      {"tx_enable", tx_enable},
      {"tx_disable", tx_disable},
      {"tx_cdr", tx_cdr_on, last_only},
      {"rx_cdr", rx_cdr_on},
      {"ctle_on", ctle_on, ctle},
      {"ctle_off", ctle_off, ctle},
      {"peaking", peaking, ignored},
      {"power_high", power_high, ignored},
      {"power_low", power_low, ignored},
      {"rx_output", rx_output_on},
      {"set_sfp_type", set_sfp_type, last_only},
      {"admin_up", admin_up, ignored},
      {"admin_down", admin_down, ignored},
      {"phy_speed", phy_speed_up, ignored},
      {"tune", tune},
      {"multi_rate", multi_rate},
      {"hw_status", hw_status},
      {"hw_status_bitbang", hw_status, status_rule, true},
      {"dom_info", dom_info},
      {"hw_info", hw_info},
      {"debug_info", debug_info},
      {"debug_info_bitbang", debug_info, passed, true},
      {"phy_reg_decode", reg_decode},
      {"eeprom_str", eeprom_str},
  };
  return ops;
}

std::vector<std::string> module_profiles() {
  std::vector<std::string> out;
  for (const sfpsim::Profile &p : sfpsim::profiles()) {
    if (p.name != "blank") {
      out.push_back(p.name);
    }
  }
  return out;
}

// The status a clean run of `op` gives on `profile` (some operations do not
// apply to every module and say so without an access).
sfp_rc clean_status(const std::string &profile, Operation op, bool bitbang) {
  Trial trial = module_trial(profile, op, bitbang);
  return trial.run();
}

class SfpFaultSweep : public sfptest::PortTest {};

TEST_F(SfpFaultSweep, ModuleAccessFailures) {
  uint64_t swept = 0;
  for (const std::string &profile : module_profiles()) {
    for (const OpCase &c : operations()) {
      const sfp_rc clean = clean_status(profile, c.op, c.bitbang);
      swept += prooftest::run_sweep(
          profile + " " + c.name, [&] { return module_trial(profile, c.op, c.bitbang); }, c.rule,
          clean);
    }
  }
  EXPECT_GT(swept, 0u);
}

TEST_F(SfpFaultSweep, CreationAccessFailures) {
  for (const std::string &profile : module_profiles()) {
    for (bool bitbang : {false, true}) {
      prooftest::run_sweep(
          profile + (bitbang ? " create_bitbang" : " create"),
          [&] { return creation_trial(profile, bitbang); }, creation);
    }
  }
}

} // namespace

namespace {

// --- the copper PHY ---

// The PHY's calls as tokens: "pr17" a read at register byte 17, "pw22" a
// write.
Tokens phy_tokens(const sfpsim::Module &module) {
  Tokens out;
  for (const sfpsim::PhyAccess &a : module.phy()->log()) {
    out.push_back(std::string(a.write ? "pw" : "pr") + std::to_string(a.reg));
  }
  return out;
}

void arm_phy(sfpsim::Phy &phy, uint64_t k, Mode mode) {
  if (k == 0) {
    phy.clear_faults();
  } else if (mode == Mode::Once) {
    phy.fail_nth_call(k, kInjected);
  } else {
    phy.fail_from_nth_call(k, kInjected);
  }
}

// A trial of `op` on a copper port brought up (admin up), the fault on the
// PHY's bus; afterwards a PHY register must read back as the PHY holds it.
Trial phy_trial(Operation op, bool word) {
  auto rig = std::make_shared<Rig>();
  rig->module = sfptest::module_from("1000base-t");
  sfpsim::Phy &phy = *rig->module->phy();
  phy.set_width(word ? sfpsim::PhyWidth::Word : sfpsim::PhyWidth::SameByte);
  phy.set_reg(0, 4, 0x01E1);
  sfp_platform_ops ops = ops_of(*rig->module, false);
  ops.phy_word_access = word ? 1 : 0;
  ops.bus_mode = 0;
  sfp_port_create_result result{};
  sfp_port_create(&ops, &result);
  rig->port = result.handle;
  EXPECT_NE(rig->port, nullptr);
  if (rig->port != nullptr) {
    EXPECT_EQ(sfp_port_admin_state(rig->port, 0, 1), SFP_RC_OK);
  }
  phy.clear_log();
  sfptest::clear_traces();
  return Trial{
      .arm = [rig](uint64_t k, Mode mode) { arm_phy(*rig->module->phy(), k, mode); },
      .run = [rig, op] { return op(rig->port); },
      .error_records = [] { return error_numbers("sfp_err"); },
      .verify =
          [rig] {
            expect_port_works(rig->port, *rig->module);
            const sfpsim::Phy &held = *rig->module->phy();
            uint16_t value = 0;
            ASSERT_EQ(qrn_te_phy_wr(rig->port, sfpsim::Phy::kWriteAddress, 22, &value), SFP_RC_OK);
            ASSERT_EQ(qrn_te_phy_rd(rig->port, sfpsim::Phy::kReadAddress, 4, &value), SFP_RC_OK);
            EXPECT_EQ(value, held.reg(0, 4));
          },
      .tokens = [rig] { return phy_tokens(*rig->module); },
  };
}

sfp_rc phy_read(sfp_port_ctx *p) {
  uint16_t value = 0;
  return qrn_te_phy_rd(p, sfpsim::Phy::kReadAddress, 4, &value);
}
sfp_rc phy_write(sfp_port_ctx *p) {
  const uint16_t value = 0x0DE1;
  return qrn_te_phy_wr(p, sfpsim::Phy::kWriteAddress, 4, &value);
}
sfp_rc phy_access_read(sfp_port_ctx *p) {
  uint16_t value = 0;
  return sfp_port_qrn_te_access(p, 4, &value, SFP_ACCESS_READ);
}
sfp_rc phy_access_write(sfp_port_ctx *p) {
  uint16_t value = 0x0DE1;
  return sfp_port_qrn_te_access(p, 4, &value, SFP_ACCESS_WRITE);
}
sfp_rc link_state(sfp_port_ctx *p) {
  uint32_t link = 0;
  uint32_t speed = 0;
  uint32_t fiber = 0;
  return qrn_te_get_link_state_speed(p, &link, &speed, &fiber);
}
sfp_rc an_capability(sfp_port_ctx *p) {
  uint32_t capability = 0;
  return qrn_te_get_an_capability(p, &capability);
}
sfp_rc link_speed_100(sfp_port_ctx *p) {
  return qrn_te_set_link_speed(p, 100, 0);
}
sfp_rc link_speed_an(sfp_port_ctx *p) {
  return qrn_te_set_link_speed(p, 1000, 1);
}
sfp_rc phy_speed_now(sfp_port_ctx *p) {
  return sfp_port_set_phy_speed(p, 100, 0);
}
sfp_rc admin_up_with_speed(sfp_port_ctx *p) {
  p->phy_speed = 100;
  p->phy_autoneg = 0;
  return sfp_port_admin_state(p, 1, 1);
}

// The link-state query never fails.
Expect link_state_rule(std::size_t, const Tokens &) {
  return kIgnored;
}
// A speed change: the link-state and capability queries (every call up to
// the last read) are only traced; the programming writes are returned.
Expect speed_change_rule(std::size_t i, const Tokens &clean) {
  std::size_t last_read = 0;
  for (std::size_t j = 0; j < clean.size(); ++j) {
    if (clean[j][1] == 'r') {
      last_read = j;
    }
  }
  return i <= last_read ? kIgnored : kPassed;
}

TEST_F(SfpFaultSweep, PhyAccessFailures) {
  struct PhyCase {
    const char *name;
    Operation op;
    Rule rule = passed;
  };
  const std::vector<PhyCase> cases = {
      {"phy_rd", phy_read},
      {"phy_wr", phy_write},
      {"qrn_te_access_read", phy_access_read},
      {"qrn_te_access_write", phy_access_write},
      {"link_state", link_state, link_state_rule},
      {"an_capability", an_capability},
      {"set_link_speed_forced", link_speed_100},
      {"set_link_speed_an", link_speed_an},
      {"set_phy_speed", phy_speed_now, speed_change_rule},
      {"admin_up_speed", admin_up_with_speed, speed_change_rule},
  };
  std::size_t swept = 0;
  for (bool word : {false, true}) {
    for (const PhyCase &c : cases) {
      swept += prooftest::run_sweep(
          std::string(word ? "word " : "bytes ") + c.name, [&] { return phy_trial(c.op, word); },
          c.rule);
    }
  }
  EXPECT_GT(swept, 0u);
}

} // namespace

namespace {

// --- the library's own resources: allocations and locks ---

// `op` on a port of `profile` (run = null: creation itself; delete: the
// deletion), with the fault on the seam `Faults` (AllocationFaults or
// LockFaults).
enum class Subject { Call, Creation, Deletion };

template <typename Faults>
Trial seam_trial(const std::string &profile, Subject subject, Operation op,
                 std::shared_ptr<Faults> faults) {
  auto rig = std::make_shared<Rig>();
  rig->module = sfptest::module_from(profile);
  const sfp_platform_ops ops = ops_of(*rig->module, false);
  if (subject != Subject::Creation) {
    sfp_port_create_result result{};
    EXPECT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
    rig->port = result.handle;
  }
  sfptest::clear_traces();
  const std::size_t before = faults->tokens().size();
  return Trial{
      .arm = [faults](uint64_t k, Mode mode) { faults->arm(k, mode); },
      .run =
          [rig, subject, op, ops] {
            switch (subject) {
            case Subject::Creation: {
              sfp_port_create_result result{};
              const sfp_rc rc = sfp_port_create(&ops, &result);
              rig->port = result.handle;
              return rc;
            }
            case Subject::Deletion: {
              const sfp_rc rc = sfp_port_delete(rig->port);
              rig->port = nullptr;
              return rc;
            }
            case Subject::Call:
              break;
            }
            return op(rig->port);
          },
      .error_records = [] { return error_numbers("sfp_err"); },
      .verify =
          [rig, ops] {
            prooftest::expect_registry_locks_free();
            // Whatever the fault left, the port can be created and used.
            sfp_port_create_result result{};
            ASSERT_EQ(sfp_port_create(&ops, &result), SFP_RC_OK);
            rig->port = result.handle;
            expect_port_works(rig->port, *rig->module);
          },
      .tokens =
          [faults, before] {
            Tokens all = faults->tokens();
            return Tokens(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
          },
  };
}

} // namespace

namespace {

Expect out_of_memory(std::size_t, const Tokens &) {
  return prooftest::status_of(SFP_RC_NO_MEMORY);
}
// The report: a piece whose scratch cannot be allocated counts as empty, a
// hex dump without its scratch fails with 22, every other area gives 12.
Expect report_out_of_memory(std::size_t i, const Tokens &clean) {
  if (clean[i] == "a1001") {
    return kIgnored;
  }
  return prooftest::status_of(clean[i] == "a1936" ? SFP_RC_INVALID : SFP_RC_NO_MEMORY);
}
// The register dump fails without a record.
Expect out_of_memory_silent(std::size_t, const Tokens &) {
  Expect e = prooftest::status_of(SFP_RC_NO_MEMORY);
  e.record = false;
  return e;
}

TEST_F(SfpFaultSweep, AllocationFailures) {
  struct AllocCase {
    const char *name;
    Subject subject;
    Operation op;
    prooftest::Rule rule = out_of_memory;
  };
  const std::vector<AllocCase> cases = {
      {"create", Subject::Creation, nullptr},
      {"read_reg", Subject::Call, read_reg, out_of_memory_silent},
      {"hw_status", Subject::Call, hw_status},
      {"hw_info", Subject::Call, hw_info},
      {"debug_info", Subject::Call, debug_info},
      {"phy_reg_decode", Subject::Call, reg_decode, report_out_of_memory},
      {"eeprom_str", Subject::Call, eeprom_str, report_out_of_memory},
  };
  std::size_t swept = 0;
  for (const std::string &profile : module_profiles()) {
    for (const AllocCase &c : cases) {
      auto faults = std::make_shared<prooftest::AllocationFaults>();
      swept += prooftest::run_sweep(
          profile + " " + c.name, [&] { return seam_trial(profile, c.subject, c.op, faults); },
          c.rule);
    }
  }
  EXPECT_GT(swept, 0u);
}

TEST_F(SfpFaultSweep, LockFailures) {
  for (int code : {EINVAL, EDEADLK}) {
    for (Subject subject : {Subject::Creation, Subject::Deletion}) {
      auto faults = std::make_shared<prooftest::LockFaults>(code);
      const std::size_t swept = prooftest::run_sweep(
          std::string(subject == Subject::Creation ? "create" : "delete") + " code " +
              std::to_string(code),
          [&] { return seam_trial("10gbase-sr", subject, nullptr, faults); }, passed, SFP_RC_OK,
          static_cast<sfp_rc>(code));
      EXPECT_GT(swept, 0u);
    }
  }
}

} // namespace
