// Fault sweeps of the adapter layer: every adapter operation, and the SFP
// port operations behind an adapter, with the k-th adapter access failing
// once and from then on; creation and insertion detection included.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "proof/seams.h"
#include "proof/sweep.h"
#include "qsa/qsa_harness.h"

namespace {

using prooftest::Expect;
using prooftest::kIgnored;
using prooftest::kInjected;
using prooftest::kPassed;
using prooftest::Mode;
using prooftest::Rule;
using prooftest::Tokens;
using prooftest::Trial;

using AdapterOperation = sfp_rc (*)(qsa_port_ctx *);

// Message numbers of both layers' error buffers.
std::vector<uint32_t> error_numbers() {
  std::vector<uint32_t> out;
  for (const char *buffer : {"qsa_err", "sfp_err"}) {
    for (const sfptest::TraceRecord &r : sfptest::records(buffer)) {
      out.push_back(r.number);
    }
  }
  return out;
}

void clear_all_traces() {
  sfptest::clear_traces();
  qsatest::clear_qsa_traces();
}

// An adapter with a module seated and an adapter port on it; deleting the
// rig deletes the adapter port and any SFP context it left.
struct AdapterRig {
  std::unique_ptr<sfpsim::Module> module;
  std::unique_ptr<sfpsim::Module> spare; // swapped in by the insertion cases
  std::unique_ptr<sfpsim::Adapter> adapter;
  qsa_port_ctx *port = nullptr;
  // Every adapter port the rig had: an SFP context whose creation failed
  // past its registration is keyed by one and outlives it (the adapter port
  // does not hold it); the rig deletes those too.
  std::vector<qsa_port_ctx *> had;
  ~AdapterRig() {
    had.push_back(port);
    for (qsa_port_ctx *p : qsatest::adapter_registry()) {
      if (p->opaque == adapter.get()) {
        had.push_back(p);
        qsa_port_delete(p);
      }
    }
    for (sfp_port_ctx *p : sfptest::registry()) {
      if (std::find(had.begin(), had.end(), p->opaque) != had.end()) {
        sfp_port_delete(p);
      }
    }
  }
};

qsa_platform_ops adapter_ops(const sfpsim::Adapter &adapter) {
  qsa_platform_ops ops = adapter.platform_ops(qsatest::kPort, 1);
  ops.evm = sfptest::test_evm();
  return ops;
}

Tokens adapter_tokens(const sfpsim::Adapter &adapter) {
  Tokens out;
  for (const sfpsim::AdapterAccess &a : adapter.log()) {
    std::string token(1, a.write ? 'w' : 'r');
    token += std::to_string(a.page);
    token += ':';
    token += std::to_string(a.offset);
    out.push_back(std::move(token));
  }
  return out;
}

void arm_adapter(sfpsim::Adapter &adapter, uint64_t k, Mode mode) {
  if (k == 0) {
    adapter.clear_faults();
  } else if (mode == Mode::Once) {
    adapter.fail_nth_access(k, kInjected);
  } else {
    adapter.fail_from_nth_access(k, kInjected);
  }
}

// After the faults: the adapter port works, and so does the SFP port behind
// it (made anew by a creation when the fault cost it), with correct data.
void expect_adapter_works(AdapterRig &rig) {
  prooftest::expect_registry_locks_free();
  if (rig.port == nullptr || rig.port->sfp_port == nullptr) {
    for (qsa_port_ctx *p : qsatest::adapter_registry()) {
      if (p->opaque == rig.adapter.get()) {
        rig.had.push_back(p);
        for (sfp_port_ctx *s : sfptest::registry()) {
          if (s->opaque == p && s != p->sfp_port) {
            sfp_port_delete(s);
          }
        }
        ASSERT_EQ(qsa_port_delete(p), SFP_RC_OK);
      }
    }
    qsa_port_create_result result{};
    const qsa_platform_ops ops = adapter_ops(*rig.adapter);
    ASSERT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
    rig.had.push_back(rig.port);
    rig.port = result.handle;
  }
  ASSERT_NE(rig.port, nullptr);
  uint8_t byte = 0;
  ASSERT_EQ(qsa_port_read(rig.port, sfpdrv::kQsaExtIdReg, QSA_PAGE_UPPER(0), 1, &byte), SFP_RC_OK);
  EXPECT_EQ(byte, sfpsim::Adapter::kAnswering);
  ASSERT_NE(rig.port->sfp_port, nullptr);
  uint8_t bytes[64] = {};
  ASSERT_EQ(sfp_port_read(rig.port->sfp_port, 0, SFP_PAGE_A0, sizeof bytes, bytes), SFP_RC_OK);
  const sfpsim::Module *seated = rig.adapter->seated();
  ASSERT_NE(seated, nullptr);
  EXPECT_EQ(std::memcmp(bytes, seated->memory().a0.data(), sizeof bytes), 0);
}

enum class Subject { Call, Creation };

Trial adapter_trial(const std::string &profile, Subject subject, AdapterOperation op) {
  auto rig = std::make_shared<AdapterRig>();
  rig->module = sfptest::module_from(profile);
  rig->spare = sfptest::module_from("1000base-sx");
  rig->adapter = std::make_unique<sfpsim::Adapter>();
  rig->adapter->seat(*rig->module);
  if (subject == Subject::Call) {
    qsa_port_create_result result{};
    const qsa_platform_ops ops = adapter_ops(*rig->adapter);
    EXPECT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
    rig->had.push_back(rig->port);
    rig->port = result.handle;
  }
  rig->adapter->clear_log();
  clear_all_traces();
  return Trial{
      .arm = [rig](uint64_t k, Mode mode) { arm_adapter(*rig->adapter, k, mode); },
      .run =
          [rig, subject, op] {
            if (subject == Subject::Creation) {
              qsa_port_create_result result{};
              const qsa_platform_ops ops = adapter_ops(*rig->adapter);
              const sfp_rc rc = qsa_port_create(&ops, &result);
              rig->had.push_back(rig->port);
              rig->port = result.handle;
              return rc;
            }
            return op(rig->port);
          },
      .error_records = [] { return error_numbers(); },
      .verify = [rig] { expect_adapter_works(*rig); },
      .tokens = [rig] { return adapter_tokens(*rig->adapter); },
  };
}

// --- the operations ---

uint8_t g_bytes[128];

sfp_rc read_lower(qsa_port_ctx *p) {
  return qsa_port_read(p, 0, QSA_PAGE_LOWER, 32, g_bytes);
}
sfp_rc read_upper(qsa_port_ctx *p) {
  return qsa_port_read(p, 128, QSA_PAGE_UPPER(0), 64, g_bytes);
}
sfp_rc write_lower(qsa_port_ctx *p) {
  uint8_t byte = 1;
  return qsa_port_write(p, sfpdrv::kQsaTxDisableReg, QSA_PAGE_LOWER, 1, &byte);
}
sfp_rc access_mirror(qsa_port_ctx *p) {
  return qsa_access(p, 128, 16, QSA_PAGE_UPPER(4), g_bytes, SFP_ACCESS_READ);
}
sfp_rc tx_enable(qsa_port_ctx *p) {
  return qsa_port_tx_enable(p);
}
sfp_rc tx_disable(qsa_port_ctx *p) {
  return qsa_port_tx_disable(p);
}
sfp_rc read_reg(qsa_port_ctx *p) {
  char *text = nullptr;
  uint32_t size = 0;
  const sfp_rc rc = qsa_port_read_reg(p, &text, &size);
  std::free(text);
  return rc;
}
sfp_rc rate(qsa_port_ctx *p) {
  uint32_t value = 0;
  return qsa_port_rate(p, &value);
}
sfp_rc type(qsa_port_ctx *p) {
  sfp_xcvr_type t = 0;
  char name[65];
  uint32_t defaulted = 0;
  return qsa_port_type(p, &t, name, sizeof name, &defaulted);
}
sfp_rc get_type(qsa_port_ctx *p) {
  sfp_xcvr_type t = 0;
  char name[65];
  uint32_t defaulted = 0;
  return qsa_port_get_type(p, &t, name, sizeof name, &defaulted);
}
sfp_rc admin_up(qsa_port_ctx *p) {
  return qsa_port_admin_state(p, 0, 1);
}
sfp_rc admin_down(qsa_port_ctx *p) {
  return qsa_port_admin_state(p, 1, 0);
}
sfp_rc phy_speed(qsa_port_ctx *p) {
  return qsa_port_set_sfp_phy_speed(p, 1000, 1);
}
sfp_rc hw_status(qsa_port_ctx *p) {
  sfp_hw_status_rec rec{};
  return qsa_port_hw_status(p, &rec);
}
sfp_rc dom_info(qsa_port_ctx *p) {
  sfp_hw_status_rec rec{};
  return qsa_port_dom_info(p, &rec);
}
sfp_rc hw_info(qsa_port_ctx *p) {
  sfp_hw_info_rec sfp{};
  sfp_hw_info_rec adapter{};
  return qsa_port_hw_info(p, &sfp, &adapter);
}
sfp_rc copy_hw_info(qsa_port_ctx *p) {
  sfp_hw_info_rec adapter{};
  return qsa_port_copy_hw_info(p, &adapter);
}
sfp_rc get_state(qsa_port_ctx *p) {
  uint8_t link = 0;
  return qsa_port_get_state(p, &link);
}
sfp_rc reg_decode(qsa_port_ctx *p) {
  char *text = nullptr;
  uint32_t length = 0;
  const sfp_rc rc = qsa_port_phy_reg_decode(p, &text, &length);
  std::free(text);
  return rc;
}
sfp_rc tx_cdr(qsa_port_ctx *p) {
  return qsa_port_tx_cdr_enable(p, 1);
}
sfp_rc ctle(qsa_port_ctx *p) {
  return qsa_port_ctle_ena_dis(p, 1);
}
sfp_rc power_class(qsa_port_ctx *p) {
  return qsa_port_high_power_class_ena_dis(p, 1);
}
sfp_rc detect(qsa_port_ctx *p) {
  return qsa_port_detect_sfp_oir(p);
}
sfp_rc inserted(qsa_port_ctx *p) {
  return qsa_is_sfp_inserted(p) != 0 ? SFP_RC_OK : SFP_RC_FAULT;
}
// The SFP port behind the adapter.
sfp_rc sfp_read(qsa_port_ctx *p) {
  return sfp_port_read(p->sfp_port, 0, SFP_PAGE_A0, 96, g_bytes);
}
sfp_rc sfp_read_a2(qsa_port_ctx *p) {
  return sfp_port_read(p->sfp_port, 0, SFP_PAGE_A2, 96, g_bytes);
}
sfp_rc sfp_write_table0(qsa_port_ctx *p) {
  uint8_t byte = 0x5A;
  return sfp_port_write(p->sfp_port, 0x20, SFP_PAGE_A2_TABLE0, 1, &byte);
}
sfp_rc sfp_read_reg(qsa_port_ctx *p) {
  char *text = nullptr;
  uint32_t size = 0;
  const sfp_rc rc = sfp_port_read_reg(p->sfp_port, &text, &size);
  std::free(text);
  return rc;
}
sfp_rc sfp_hw_status(qsa_port_ctx *p) {
  sfp_hw_status_rec rec{};
  return sfp_port_hw_status(p->sfp_port, &rec);
}
sfp_rc sfp_debug_info(qsa_port_ctx *p) {
  static char text[16384];
  uint32_t length = 0;
  return sfp_port_get_debug_info(p->sfp_port, text, sizeof text, &length);
}
sfp_rc sfp_tx_disable(qsa_port_ctx *p) {
  return sfp_port_tx_disable(p->sfp_port);
}
sfp_rc sfp_phy_read(qsa_port_ctx *p) {
  uint16_t value = 0;
  return qrn_te_phy_rd(p->sfp_port, sfpsim::Phy::kReadAddress, 4, &value);
}
sfp_rc sfp_phy_write(qsa_port_ctx *p) {
  const uint16_t value = 0x0DE1;
  return qrn_te_phy_wr(p->sfp_port, sfpsim::Phy::kWriteAddress, 4, &value);
}

// --- what a failed adapter access must give ---

bool handshake(const std::string &t) {
  return t == "w0:116" || t == "r0:116" || t == "w0:117" || t == "r0:117";
}
bool presence(const std::string &t) {
  return t == "r0:1";
}

// The data-ready handshake's statuses are not used (a failed poll ends the
// wait); every other failure is returned.
Expect passed(std::size_t i, const Tokens &clean) {
  return handshake(clean[i]) ? kIgnored : kPassed;
}
// Only traced: the operation does not use the statuses.
Expect ignored(std::size_t, const Tokens &) {
  return kIgnored;
}
// A failed presence read counts as no SFP seated: the operation ends as it
// does without one, with `absent`.
template <sfp_rc Absent> Expect absent_or_passed(std::size_t i, const Tokens &clean) {
  return presence(clean[i]) ? prooftest::status_of(Absent) : passed(i, clean);
}
template <sfp_rc Absent> Expect absent_or_ignored(std::size_t i, const Tokens &clean) {
  return presence(clean[i]) ? prooftest::status_of(Absent) : kIgnored;
}
// The register dump: every row goes on, the last row's status is returned
// (its page select and read are the last two accesses).
Expect last_row(std::size_t i, const Tokens &clean) {
  if (presence(clean[i])) {
    return prooftest::status_of(SFP_RC_OK);
  }
  return handshake(clean[i]) || i + 2 < clean.size() ? kIgnored : kPassed;
}
// The adapter's own type: without an SFP its identity is read, and fails
// with 19 when that read fails too.
Expect type_onward(std::size_t i, const Tokens &clean) {
  return presence(clean[i]) ? prooftest::status_of(SFP_RC_NO_ADAPTER) : kIgnored;
}
// Creation: the adapter-type read and the page select before it are
// returned; everything after (the transmitter, presence, the SFP port's
// creation) leaves an adapter port created with status 0.
Expect creation(std::size_t i, const Tokens &clean) {
  for (std::size_t j = 0; j < i; ++j) {
    if (clean[j].ends_with(":221")) {
      return kIgnored;
    }
  }
  return kPassed;
}

struct Case {
  const char *name;
  AdapterOperation op;
  Rule rule;
  Rule onward = nullptr;
};

const std::vector<Case> &cases() {
  static const std::vector<Case> all = {
      {"read_lower", read_lower, passed},
      {"read_upper", read_upper, passed},
      {"write_lower", write_lower, passed},
      {"access_mirror", access_mirror, passed},
      {"tx_enable", tx_enable, passed},
      {"tx_disable", tx_disable, passed},
      {"read_reg", read_reg, last_row},
      {"rate", rate, ignored},
      {"type", type, absent_or_ignored<SFP_RC_OK>, type_onward},
      {"get_type", get_type, absent_or_ignored<SFP_RC_OK>, type_onward},
      {"admin_up", admin_up, ignored},
      {"admin_down", admin_down, ignored},
      {"phy_speed", phy_speed, absent_or_passed<SFP_RC_FAULT>},
      {"hw_status", hw_status,
       [](std::size_t i, const Tokens &clean) {
         return clean[i] == "r0:86" ? kIgnored : absent_or_passed<SFP_RC_OK>(i, clean);
       }},
      {"dom_info", dom_info, passed},
      {"hw_info", hw_info, absent_or_ignored<SFP_RC_OK>},
      {"copy_hw_info", copy_hw_info, passed},
      {"get_state", get_state, ignored},
      {"phy_reg_decode", reg_decode, absent_or_passed<SFP_RC_OK>},
      {"tx_cdr", tx_cdr, passed},
      {"ctle", ctle, passed},
      {"power_class", power_class, passed},
      {"detect", detect, ignored},
      {"inserted", inserted, absent_or_passed<SFP_RC_FAULT>},
      {"sfp_read", sfp_read, passed},
      {"sfp_read_a2", sfp_read_a2, passed},
      {"sfp_write_table0", sfp_write_table0, passed},
      {"sfp_read_reg", sfp_read_reg, last_row},
      {"sfp_hw_status", sfp_hw_status, passed},
      {"sfp_debug_info", sfp_debug_info, passed},
      {"sfp_tx_disable", sfp_tx_disable, passed},
      {"sfp_phy_read", sfp_phy_read, passed},
      {"sfp_phy_write", sfp_phy_write, passed},
  };
  return all;
}

const std::vector<std::string> kProfiles = {"10gbase-sr", "25gbase-sr", "1000base-t", "10g-dac-1m"};

sfp_rc clean_status(const std::string &profile, AdapterOperation op) {
  Trial trial = adapter_trial(profile, Subject::Call, op);
  return trial.run();
}

class QsaFaultSweep : public qsatest::QsaTest {};

TEST_F(QsaFaultSweep, AdapterAccessFailures) {
  std::size_t swept = 0;
  for (const std::string &profile : kProfiles) {
    for (const Case &c : cases()) {
      const sfp_rc clean = clean_status(profile, c.op);
      swept += prooftest::run_sweep(
          profile + " " + c.name, [&] { return adapter_trial(profile, Subject::Call, c.op); },
          c.rule, clean, static_cast<sfp_rc>(kInjected), c.onward);
    }
  }
  EXPECT_GT(swept, 0u);
}

TEST_F(QsaFaultSweep, CreationAccessFailures) {
  for (const std::string &profile : kProfiles) {
    prooftest::run_sweep(
        profile + " qsa_create", [&] { return adapter_trial(profile, Subject::Creation, nullptr); },
        creation);
  }
}

} // namespace

namespace {

// --- the library's own resources behind an adapter ---

template <typename Faults>
Trial adapter_seam_trial(const std::string &profile, Subject subject, AdapterOperation op,
                         std::shared_ptr<Faults> faults, bool deletion = false) {
  auto rig = std::make_shared<AdapterRig>();
  rig->module = sfptest::module_from(profile);
  rig->adapter = std::make_unique<sfpsim::Adapter>();
  rig->adapter->seat(*rig->module);
  if (subject == Subject::Call) {
    qsa_port_create_result result{};
    const qsa_platform_ops ops = adapter_ops(*rig->adapter);
    EXPECT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
    rig->had.push_back(rig->port);
    rig->port = result.handle;
  }
  clear_all_traces();
  const std::size_t before = faults->tokens().size();
  return Trial{
      .arm = [faults](uint64_t k, Mode mode) { faults->arm(k, mode); },
      .run =
          [rig, subject, op, deletion] {
            if (subject == Subject::Creation) {
              qsa_port_create_result result{};
              const qsa_platform_ops ops = adapter_ops(*rig->adapter);
              const sfp_rc rc = qsa_port_create(&ops, &result);
              rig->had.push_back(rig->port);
              rig->port = result.handle;
              return rc;
            }
            if (deletion) {
              qsa_port_ctx *port = rig->port;
              const sfp_rc rc = qsa_port_delete(port);
              // Gone unless the deletion stopped before it unlinked the port.
              bool held = false;
              for (qsa_port_ctx *p : qsatest::adapter_registry()) {
                held = held || p == port;
              }
              rig->had.push_back(port);
              rig->port = held ? port : nullptr;
              return rc;
            }
            return op(rig->port);
          },
      .error_records = [] { return error_numbers(); },
      .verify = [rig] { expect_adapter_works(*rig); },
      .tokens =
          [faults, before] {
            Tokens all = faults->tokens();
            return Tokens(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
          },
  };
}

Expect out_of_memory(std::size_t, const Tokens &) {
  return prooftest::status_of(SFP_RC_NO_MEMORY);
}
// The register dump fails with 12 and no record.
Expect dump_out_of_memory(std::size_t, const Tokens &) {
  Expect e = prooftest::status_of(SFP_RC_NO_MEMORY);
  e.record = false;
  return e;
}
// Past the adapter port's own allocation, creation ends with status 0 and
// an adapter port without (or with a failed) SFP port.
Expect creation_out_of_memory(std::size_t i, const Tokens &) {
  return i == 0 ? prooftest::status_of(SFP_RC_NO_MEMORY) : kIgnored;
}
// The adapter's report: only its own buffer's failure is returned; a failed
// SFP report leaves its part of the text empty.
Expect report_out_of_memory(std::size_t i, const Tokens &) {
  return i == 0 ? prooftest::status_of(SFP_RC_NO_MEMORY) : kIgnored;
}
// Creation's locks: the adapter registry's are returned; the SFP layer's
// (inside the SFP port's creation) leave the adapter port created.
Expect creation_locks(std::size_t i, const Tokens &) {
  return i < 2 ? kPassed : kIgnored;
}
// Deletion: the registry lock's failures are returned; the port lock's and
// the SFP port's deletion are only traced.
Expect deletion_locks(std::size_t i, const Tokens &clean) {
  return i == 0 || i + 1 == clean.size() ? kPassed : kIgnored;
}

TEST_F(QsaFaultSweep, AllocationFailures) {
  const std::vector<std::tuple<const char *, AdapterOperation, Rule>> calls = {
      {"read_reg", read_reg, dump_out_of_memory},
      {"hw_status", hw_status, out_of_memory},
      {"hw_info", hw_info, ignored},
      {"phy_reg_decode", reg_decode, report_out_of_memory},
      {"sfp_read_reg", sfp_read_reg, dump_out_of_memory}};
  for (const std::string &profile : kProfiles) {
    {
      auto faults = std::make_shared<prooftest::AllocationFaults>();
      prooftest::run_sweep(
          profile + " qsa_create",
          [&] { return adapter_seam_trial(profile, Subject::Creation, nullptr, faults); },
          creation_out_of_memory);
    }
    for (const auto &[name, op, rule] : calls) {
      auto faults = std::make_shared<prooftest::AllocationFaults>();
      prooftest::run_sweep(
          profile + " " + name,
          [&, op = op] { return adapter_seam_trial(profile, Subject::Call, op, faults); }, rule);
    }
  }
}

TEST_F(QsaFaultSweep, LockFailures) {
  const std::vector<std::pair<const char *, AdapterOperation>> calls = {
      {"read", read_lower},
      {"write", write_lower},
      {"read_reg", read_reg},
      {"rate", rate},
      {"type", type},
      {"admin_up", admin_up},
      {"phy_speed", phy_speed},
      {"hw_status", hw_status},
      {"hw_info", hw_info},
      {"get_state", get_state},
      {"phy_reg_decode", reg_decode},
      {"detect", detect}};
  for (int code : {EINVAL, EDEADLK}) {
    const std::string suffix = " code " + std::to_string(code);
    {
      auto faults = std::make_shared<prooftest::LockFaults>(code);
      prooftest::run_sweep(
          "qsa_create" + suffix,
          [&] { return adapter_seam_trial("10gbase-sr", Subject::Creation, nullptr, faults); },
          creation_locks, SFP_RC_OK, static_cast<sfp_rc>(code));
    }
    {
      auto faults = std::make_shared<prooftest::LockFaults>(code);
      prooftest::run_sweep(
          "qsa_delete" + suffix,
          [&] { return adapter_seam_trial("10gbase-sr", Subject::Call, nullptr, faults, true); },
          deletion_locks, SFP_RC_OK, static_cast<sfp_rc>(code));
    }
    for (const auto &[name, op] : calls) {
      auto faults = std::make_shared<prooftest::LockFaults>(code);
      prooftest::run_sweep(
          std::string(name) + suffix,
          [&, op = op] { return adapter_seam_trial("10gbase-sr", Subject::Call, op, faults); },
          passed, clean_status("10gbase-sr", op), static_cast<sfp_rc>(code));
    }
  }
}

} // namespace
