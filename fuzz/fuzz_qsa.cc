// Fuzz target: an adapter port on the simulated QSFP-to-SFP adapter, polled
// for insertion while a script seats, removes and swaps modules, edits
// adapter and module bytes, injects bus failures and runs the adapter
// operations with arbitrary arguments.
//
// Input: an options byte, a byte picking the two modules' profiles (low and
// high nibble), then steps of one operation byte and its arguments. The
// platform's part is played as a platform would: a notification makes it
// delete and recreate the adapter port.
#include <array>
#include <cstdlib>
#include <optional>

#include "fuzz/fuzz_support.h"
#include "platform/psleep.h"
#include "sfpsim/adapter.h"

namespace sfpfuzz {
namespace {

constexpr uint8_t kType25g = 0x01;
constexpr uint8_t kPresentAtCreate = 0x02;
constexpr uint8_t kNoWriteSelect = 0x04;
constexpr uint8_t kNoReadSelect = 0x08;
constexpr uint8_t kReenter = 0x10;
constexpr unsigned kLatencyShift = 5; // bits 5 and 6: the refresh latency
constexpr std::array<uint32_t, 4> kLatencies = {0, 1, 3, sfpsim::kNeverRefresh};

constexpr std::size_t kModules = 2;
constexpr int kMaxSteps = 128;
// Upper pages a step may edit: identity, invalid pages, the SFP mirrors, the
// PHY mirror.
constexpr std::array<uint8_t, 8> kPages = {0, 1, 3, 4, 5, 6, 7, sfpsim::Adapter::kPhyMirror};
constexpr std::array<qsa_page_code, 8> kPageCodes = {
    QSA_PAGE_LOWER,    QSA_PAGE_UPPER(0), QSA_PAGE_UPPER(1), QSA_PAGE_UPPER(3),
    QSA_PAGE_UPPER(4), QSA_PAGE_UPPER(6), QSA_PAGE_UPPER(7), QSA_PAGE_UPPER(0xAC)};
constexpr std::array<uint32_t, 10> kEdges = {0, 1, 56, 57, 127, 128, 200, 255, 256, UINT32_MAX};

class Script {
public:
  Script(const uint8_t *data, std::size_t size) : data_(data), size_(size) {}
  bool done() const { return at_ >= size_; }
  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  uint32_t number() {
    const uint8_t pick = byte();
    return (pick & 0x80) != 0 ? kEdges[pick % kEdges.size()] : pick;
  }

private:
  const uint8_t *data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

// Fixed addresses: the adapter is the port's opaque value.
std::optional<sfpsim::Adapter> g_adapter;
std::array<std::optional<sfpsim::Module>, kModules> g_modules;

struct Run {
  uint8_t options = 0;
  qsa_port_ctx *port = nullptr;
  int seated = -1;               // index of the seated module, -1 for none
  bool faults_armed = false;     // an injected fault may still fire
  bool select_disturbed = false; // a page select or handshake edit since creation
  bool in_detect = false;
  uint32_t phases = 0; // notification calls of the current poll
  bool expect_zero = true;
};
Run g_run;

void check(sfp_rc rc) {
  const bool known = documented(rc) || rc == static_cast<sfp_rc>(sfpsim::kAdapterNak) ||
                     rc == static_cast<sfp_rc>(sfpsim::kInvalidArgument) ||
                     rc == SFP_RC_NO_ADAPTER || rc == SFP_RC_QSA_NOT_INIT;
  if (!known) {
    std::fprintf(stderr, "status %u\n", static_cast<unsigned>(rc));
  }
  FUZZ_REQUIRE(known);
}

// The notification: phase 0 then phase 1, from inside the poll; a call back
// into the same adapter port is refused with 35, never a hang.
int notify(void *, uint32_t phase) {
  FUZZ_REQUIRE(g_run.in_detect);
  FUZZ_REQUIRE(phase == (g_run.expect_zero ? 0u : 1u));
  g_run.expect_zero = !g_run.expect_zero;
  ++g_run.phases;
  if ((g_run.options & kReenter) != 0) {
    sfp_hw_status_rec rec{};
    FUZZ_REQUIRE(qsa_port_hw_status(g_run.port, &rec) == SFP_RC_DEADLOCK);
  }
  return 0;
}

void create_port() {
  qsa_platform_ops ops = g_adapter->platform_ops(1, (g_run.options & kPresentAtCreate) != 0);
  ops.oir_notify_cb = notify;
  ops.no_write_page_select = (g_run.options & kNoWriteSelect) != 0 ? 1 : 0;
  ops.no_read_page_select = (g_run.options & kNoReadSelect) != 0 ? 1 : 0;
  qsa_port_create_result result{};
  const sfp_rc rc = qsa_port_create(&ops, &result);
  check(rc);
  FUZZ_REQUIRE((rc == SFP_RC_OK) == (result.handle != nullptr));
  g_run.port = result.handle;
  g_run.select_disturbed = false; // a new port selects its pages afresh
}

// Deletes the adapter port and any SFP context a refused SFP creation left
// behind it, as a platform's teardown does.
void delete_port() {
  if (g_run.port == nullptr) {
    return;
  }
  qsa_port_ctx *port = g_run.port;
  for (sfp_port_ctx *sfp = sfp_get_ctx()->ports; sfp != nullptr;) {
    sfp_port_ctx *next = sfp->next;
    if (sfp->opaque == port && sfp != port->sfp_port) {
      FUZZ_REQUIRE(sfp_port_delete(sfp) == SFP_RC_OK);
    }
    sfp = next;
  }
  FUZZ_REQUIRE(qsa_port_delete(port) == SFP_RC_OK);
  g_run.port = nullptr;
}

bool adapter_answers() {
  return g_adapter->upper(0, sfpsim::Adapter::kExtId) == sfpsim::Adapter::kAnswering;
}

void detect(Script &script) {
  g_run.phases = 0;
  g_run.expect_zero = true;
  g_run.in_detect = true;
  const sfp_rc rc = qsa_port_detect_sfp_oir(g_run.port);
  g_run.in_detect = false;
  check(rc);
  FUZZ_REQUIRE(g_run.expect_zero); // every phase 0 had its phase 1
  if (g_run.port == nullptr) {
    return;
  }
  const bool clean = rc == SFP_RC_OK && !g_run.faults_armed && !g_run.select_disturbed &&
                     adapter_answers() &&
                     g_adapter->lower(sfpsim::Adapter::kPresence) == (g_run.seated < 0 ? 1 : 0);
  if (clean && g_run.seated < 0) {
    FUZZ_REQUIRE(qsa_is_sfp_instantiated(g_run.port) == 0); // a removal is always found
  }
  if (clean && g_run.seated >= 0 && qsa_is_sfp_instantiated(g_run.port) == 0) {
    FUZZ_REQUIRE(g_run.phases == 2); // an insertion is always reported
  }
  // The platform's answer to a notification, unless the script says no.
  if (g_run.phases != 0 && (script.byte() & 1) == 0) {
    delete_port();
    create_port();
  }
}

void edit(Script &script, uint8_t op) {
  const uint8_t where = script.byte();
  const uint8_t offset = script.byte();
  const uint8_t value = script.byte();
  if (op == 3) {
    g_adapter->set_lower(offset, value);
    // A changed page select or handshake byte misleads the next poll: the
    // library trusts the select it wrote last.
    if (offset == sfpsim::Adapter::kPageSelect || offset == sfpsim::Adapter::kHandshakeA0 ||
        offset == sfpsim::Adapter::kHandshakeOther) {
      g_run.select_disturbed = true;
    }
    return;
  }
  if (op == 4) {
    g_adapter->set_upper(kPages[where % kPages.size()], offset, value);
    return;
  }
  // A module byte: A0h, the A2h lower half or table 0 (a serial number edit
  // looks like a swap).
  sfpsim::Memory &memory = g_modules[where & 1]->memory();
  switch ((where >> 1) % 3) {
  case 0:
    memory.a0[offset] = value;
    break;
  case 1:
    memory.a2_lower[offset % sfpsim::kA2LowerSize] = value;
    break;
  default:
    memory.tables[0][offset % sfpsim::kTableSize] = value;
  }
}

void fault(Script &script) {
  const uint8_t kind = script.byte();
  const uint8_t arg = script.byte();
  switch (kind % 5) {
  case 0:
    g_adapter->fail_nth_access(1 + arg % 16, kInjectedFault);
    break;
  case 1:
    g_adapter->fail_at(arg & 1 ? static_cast<uint8_t>(kPages[arg % kPages.size()]) : 0xA0,
                       script.byte(), kInjectedFault, kind >> 4);
    break;
  case 2:
    g_adapter->fail_all(kInjectedFault);
    break;
  case 3:
    g_modules[arg & 1]->fail_nth_access(1 + (arg >> 1) % 8, kInjectedFault);
    break;
  default:
    g_adapter->clear_faults();
    g_adapter->fail_all(0);
    for (auto &module : g_modules) {
      module->clear_faults();
    }
    g_run.faults_armed = false;
    return;
  }
  g_run.faults_armed = true;
}

// A text, when one is handed out (an adapter with no SFP to forward to
// returns 0 and none).
void check_text(sfp_rc rc, char *text, uint32_t size) {
  check(rc);
  if (rc == SFP_RC_OK && text != nullptr) {
    FUZZ_REQUIRE(size != 0 && terminated(text, size));
  }
  std::free(text);
}

void access(qsa_port_ctx *port, Script &script) {
  const uint8_t kind = script.byte();
  const uint32_t offset = script.number();
  const uint32_t length = script.number();
  const qsa_page_code page = kPageCodes[script.byte() % kPageCodes.size()];
  std::vector<uint8_t> buffer(std::max<uint32_t>(1, std::min(length, 256u)), script.byte());
  uint8_t *data = (kind & 0x10) != 0 ? nullptr : buffer.data();
  switch (kind % 3) {
  case 0:
    check(qsa_port_read(port, offset, page, length, data));
    break;
  case 1:
    check(qsa_port_write(port, offset, page, length, data));
    break;
  default:
    if (port != nullptr) { // takes no lock and no handle check: the platform's own
      check(qsa_access(port, offset, length, page, data, (kind >> 2) & 1u));
    }
  }
}

void operation(qsa_port_ctx *port, Script &script) {
  const uint8_t which = script.byte();
  const uint8_t arg = script.byte();
  switch (which % 16) {
  case 0:
    check((arg & 1) != 0 ? qsa_port_tx_enable(port) : qsa_port_tx_disable(port));
    break;
  case 1:
    check(qsa_port_admin_state(port, arg % 3, (arg >> 2) % 3));
    break;
  case 2: {
    uint32_t rate = 0;
    check(qsa_port_rate(port, &rate));
    break;
  }
  case 3:
  case 4: {
    sfp_xcvr_type type = 0;
    char name[SFP_XCVR_NAME_LEN + 1] = {};
    uint32_t defaulted = 0;
    const uint32_t name_len = (arg & 1) != 0 ? sizeof name : arg % sizeof name;
    const sfp_rc rc = which % 16 == 3 ? qsa_port_type(port, &type, name, name_len, &defaulted)
                                      : qsa_port_get_type(port, &type, name, name_len, &defaulted);
    check(rc);
    FUZZ_REQUIRE(terminated(name));
    break;
  }
  case 5:
    check(qsa_port_set_sfp_phy_speed(port, arg % 2 != 0 ? 1000 : 10u * arg, (arg >> 1) & 1u));
    break;
  case 6: {
    sfp_hw_status_rec rec{};
    if ((arg & 1) != 0) {
      check(qsa_port_hw_status(port, &rec));
    } else {
      FUZZ_REQUIRE(qsa_port_dom_info(port, &rec) == 1); // accepted and ignored
    }
    break;
  }
  case 7: {
    sfp_hw_info_rec sfp_rec{};
    sfp_hw_info_rec adapter_rec{};
    check((arg & 1) != 0 ? qsa_port_hw_info(port, &sfp_rec, &adapter_rec)
                         : qsa_port_copy_hw_info(port, &adapter_rec));
    FUZZ_REQUIRE(terminated(sfp_rec.vendor_name) && terminated(sfp_rec.vendor_sn) &&
                 terminated(adapter_rec.vendor_name) && terminated(adapter_rec.pid));
    break;
  }
  case 8: {
    uint8_t link = 0;
    check(qsa_port_get_state(port, &link));
    break;
  }
  case 9: {
    char *text = nullptr;
    uint32_t size = 0;
    const sfp_rc rc = qsa_port_read_reg(port, &text, &size); // before text is read
    check_text(rc, text, size);
    break;
  }
  case 10: {
    char *text = nullptr;
    uint32_t size = 0;
    const sfp_rc rc = qsa_port_phy_reg_decode(port, &text, &size); // before text is read
    check_text(rc, text, size);
    break;
  }
  case 11:
    check(qsa_port_tx_cdr_enable(port, arg & 1u));
    check(qsa_port_ctle_ena_dis(port, arg & 1u));
    check(qsa_port_high_power_class_ena_dis(port, arg & 1u));
    break;
  case 12:
    (void)qsa_is_sfp_inserted(port);
    (void)is_qsa_inserted(port);
    (void)qsa_is_sfp_instantiated(port);
    break;
  case 13:
    // The SFP port behind the adapter, driven directly as the tool does.
    if (port != nullptr && port->sfp_port != nullptr) {
      sfp_hw_status_rec rec{};
      check(sfp_port_hw_status(port->sfp_port, &rec));
      check((arg & 1) != 0 ? sfp_port_tx_enable(port->sfp_port)
                           : sfp_port_tx_disable(port->sfp_port));
    }
    break;
  case 14:
    access(port, script);
    break;
  default:
    FUZZ_REQUIRE(qsa_port_delete(nullptr) == SFP_RC_INVALID);
    FUZZ_REQUIRE(qsa_port_create(nullptr, nullptr) == SFP_RC_INVALID);
  }
}

void step(Script &script) {
  const uint8_t op_byte = script.byte();
  const std::size_t slot = (op_byte >> 4) & 1u;
  qsa_port_ctx *port = (op_byte & 0x80) != 0 ? nullptr : g_run.port;
  switch ((op_byte & 0x0f) % 11) {
  case 0:
    g_adapter->seat(*g_modules[slot]);
    g_run.seated = static_cast<int>(slot);
    break;
  case 1:
    g_adapter->remove();
    g_run.seated = -1;
    break;
  case 2:
    detect(script);
    break;
  case 3:
  case 4:
  case 5:
    edit(script, op_byte & 0x0f);
    break;
  case 6:
    fault(script);
    break;
  case 7:
    if ((op_byte & 0x20) != 0) {
      g_adapter->set_ext_id((op_byte & 0x40) != 0 ? sfpsim::Adapter::kAnswering : script.byte());
    } else {
      g_adapter->set_type_code((op_byte & 0x40) != 0 ? uint8_t{qsa_adapter_25g} : script.byte());
    }
    break;
  case 8:
    g_adapter->set_refresh_latency(kLatencies[script.byte() % kLatencies.size()]);
    break;
  case 9:
    operation(port, script);
    break;
  default:
    delete_port();
    create_port();
  }
}

} // namespace
} // namespace sfpfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace sfpfuzz;
  platform_clock_set_virtual(1);
  platform_clock_reset();
  Script script(data, size);
  g_run = Run{};
  g_run.options = script.byte();
  const uint8_t profiles = script.byte();
  const auto &all = sfpsim::profiles();
  for (std::size_t i = 0; i < kModules; ++i) {
    g_modules[i].emplace(all[(profiles >> (4 * i) & 0x0f) % all.size()]);
    g_modules[i]->set_logging(false);
  }
  g_adapter.emplace(
      static_cast<uint8_t>((g_run.options & kType25g) != 0 ? qsa_adapter_25g : qsa_adapter_10g));
  g_adapter->set_bus_selects_page((g_run.options & (kNoWriteSelect | kNoReadSelect)) != 0);
  g_adapter->set_refresh_latency(kLatencies[(g_run.options >> kLatencyShift) & 3u]);
  if ((profiles & 0x80) == 0) {
    g_adapter->seat(*g_modules[0]);
    g_run.seated = 0;
  }
  create_port();
  for (int steps = 0; !script.done() && steps < kMaxSteps; ++steps) {
    step(script);
  }
  g_adapter->clear_faults();
  g_adapter->fail_all(0);
  delete_port();
  // The adapter log grows with every call; nothing reads it here.
  g_adapter->clear_log();
  return 0;
}

namespace sfpfuzz {

// Seeded scripts: each starts with a poll, then a mix of seats, removals,
// swaps, polls, edits and operations.
void generate_inputs(bool mutated, const Emit &emit) {
  Rng rng(0x05a1);
  const int count = mutated ? 3000 : 40;
  // Steps that exercise the insertion paths in order: poll, remove, poll,
  // seat the other module, poll, swap back, poll, operations.
  const std::vector<uint8_t> story = {0x02, 0x00, 0x01, 0x02, 0x00, 0x10, 0x02, 0x00, 0x00,
                                      0x02, 0x01, 0x09, 0x06, 0x01, 0x09, 0x07, 0x01};
  for (int n = 0; n < count; ++n) {
    // Room for the whole input first: growing a two-byte vector by an
    // insert trips a false array-bounds warning of GCC 12.
    std::vector<uint8_t> input;
    input.reserve(2 + story.size() + 8 + 120);
    input.push_back(rng.byte());
    input.push_back(rng.byte());
    if (n % 2 == 0) {
      input.insert(input.end(), story.begin(), story.end());
    }
    const std::size_t length = input.size() + 8 + rng.next() % 120;
    while (input.size() < length) {
      input.push_back(rng.byte());
    }
    emit(input);
  }
}

} // namespace sfpfuzz
