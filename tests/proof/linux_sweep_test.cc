// Fault sweeps of the Linux backends: every system call a backend makes
// through its seam fails, the k-th once and from the k-th on, under each
// entry point of the backend and each library operation that reaches the
// module through its callbacks, on every kind of source.
#include <linux/i2c.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "backends/fake_kernel.h"
#include "proof/sweep.h"
#include "sfpdrv/linux.h"
#include "support/port_harness.h"

namespace {

using prooftest::Expect;
using prooftest::kInjected;
using prooftest::Mode;
using prooftest::Rule;
using prooftest::Tokens;
using prooftest::Trial;
using sfpdrv::fake::FakeKernel;
using sfpdrv::fake::Netlink;

enum class Backend { I2c, I2cSmbus, I2cSmbusByte, File, EthtoolIoctl, EthtoolNetlink };

struct Config {
  const char *name;
  Backend backend;
  const char *only = nullptr; // the one profile swept, or null for all
};

const std::vector<Config> kConfigs = {{"i2c", Backend::I2c},
                                      {"i2c-smbus", Backend::I2cSmbus},
                                      // One transfer per byte, PHY words as SMBus words.
                                      {"i2c-smbus-byte", Backend::I2cSmbusByte, "1000base-t"},
                                      {"file", Backend::File},
                                      {"ethtool-ioctl", Backend::EthtoolIoctl},
                                      {"ethtool-netlink", Backend::EthtoolNetlink}};
// A 25G optic with diagnostics, a 1G copper module without (its PHY on the
// bus), a tunable DWDM optic (table writes at creation).
const std::vector<std::string> kProfiles = {"25gbase-sr", "1000base-t", "10g-tunable-dwdm"};

// Nothing fails: the operation ends as a clean run does, without a record.
constexpr Expect kUntouched{Expect::Kind::Ignored, 0, false};
// A backend entry point's own status: the injected errno, no library record.
constexpr Expect kReturned{Expect::Kind::Passed, 0, false};

// Seam calls that cannot fail: waits, and the netlink calls without status.
bool can_fail(const std::string &token) {
  const std::string name = token.substr(token.find(':') + 1);
  return name != "sleep" && name != "nl_close" && name != "nl_portid";
}

std::vector<uint32_t> error_numbers() {
  std::vector<uint32_t> out;
  for (const sfptest::TraceRecord &r : sfptest::records("sfp_err")) {
    out.push_back(r.number);
  }
  return out;
}

// --- one source on a fresh module and fake kernel ---

struct Rig;
Rig *g_rig = nullptr; // the rig whose callbacks the library calls

struct Rig {
  Backend backend;
  std::unique_ptr<sfpsim::Module> module;
  std::unique_ptr<FakeKernel> kernel;
  sfp_linux_source *source = nullptr;
  sfp_platform_ops inner{}; // the backend's callbacks
  sfp_platform_ops ops{};   // the same through the rig's counting callbacks
  sfp_port_ctx *port = nullptr;
  std::size_t start = 0; // seam calls before the operation
  // Seam calls [first, last) made inside each library callback, in order.
  std::vector<std::pair<std::size_t, std::size_t>> spans;
  // Reference fault: the callback numbered fail_at (from 1) fails itself
  // without reaching the backend; onward, every seam call after it fails.
  uint64_t fail_at = 0;
  bool onward = false;

  Rig(Backend b, const std::string &profile)
      : backend(b), module(sfptest::module_from(profile)),
        kernel(std::make_unique<FakeKernel>(*module)) {
    kernel->i2c_device = "/dev/i2c-7"; // a name the bound-driver probe reads
    if (b == Backend::I2cSmbus) {
      kernel->i2c_funcs = I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_BYTE_DATA;
    } else if (b == Backend::I2cSmbusByte) {
      kernel->i2c_funcs = I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA;
    }
    kernel->netlink = b == Backend::EthtoolIoctl ? Netlink::Absent : Netlink::Full;
  }
  ~Rig() {
    teardown();
    g_rig = nullptr;
  }
  Rig(const Rig &) = delete;
  Rig &operator=(const Rig &) = delete;

  // Deletes the port and any context a failed creation left, then closes.
  void teardown() {
    for (sfp_port_ctx *p : sfptest::registry()) {
      if (source != nullptr && p->opaque == source) {
        sfp_port_delete(p);
      }
    }
    port = nullptr;
    sfp_linux_close(source);
    source = nullptr;
  }
};

// Every library callback goes through here, so that each seam call is known
// by the library access it serves. What a library operation must give when a
// seam call fails is what it gives when that access fails at its callback
// (the library's own handling, proven by the module sweeps): the backend
// passes the errno back as the callback's status, and nothing else changes.
template <typename Call> int counted(Call &&call) {
  Rig &rig = *g_rig;
  const std::size_t first = rig.kernel->calls().size();
  int rc = 0;
  if (rig.fail_at == rig.spans.size() + 1) {
    rc = kInjected;
    if (rig.onward) {
      rig.kernel->fail_call(1, kInjected, true);
    }
  } else {
    rc = call();
  }
  rig.spans.emplace_back(first, rig.kernel->calls().size());
  return rc;
}
int counted_read(void *o, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  return counted([&] { return g_rig->inner.read_cb(o, offset, page, length, buffer); });
}
int counted_write(void *o, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  return counted([&] { return g_rig->inner.write_cb(o, offset, page, length, buffer); });
}
int counted_bitbang(void *o, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  return counted([&] { return g_rig->inner.bitbang_read_cb(o, offset, page, length, buffer); });
}
int counted_phy_read(void *o, uint8_t address, uint8_t reg, void *buffer) {
  return counted([&] { return g_rig->inner.phy_read_cb(o, address, reg, buffer); });
}
int counted_phy_write(void *o, uint8_t address, uint8_t reg, void *buffer) {
  return counted([&] { return g_rig->inner.phy_write_cb(o, address, reg, buffer); });
}

// --- the steps: the backend's entry points and the library's operations ---

using Step = sfp_rc (*)(Rig &);

sfp_rc open_source(Rig &rig) {
  FakeKernel &k = *rig.kernel;
  switch (rig.backend) {
  case Backend::I2c:
  case Backend::I2cSmbus:
  case Backend::I2cSmbusByte: {
    sfp_linux_i2c_options options{};
    options.phy_word_access = sfptest::ops_for(*rig.module).phy_word_access;
    return sfp_linux_open_i2c(k.i2c_device.c_str(), &options, &rig.source);
  }
  case Backend::File:
    return sfp_linux_open_eeprom_file(k.eeprom_path.c_str(), &rig.source);
  case Backend::EthtoolIoctl:
  case Backend::EthtoolNetlink:
    break;
  }
  return sfp_linux_open_ethtool(k.ifname.c_str(), &rig.source);
}

sfp_rc fill(Rig &rig) {
  // What a platform sets; the rest is the backend's.
  rig.inner = sfp_platform_ops{};
  rig.inner.evm = sfptest::test_evm();
  rig.inner.bus_mode = sfptest::ops_for(*rig.module).bus_mode;
  rig.inner.rate_code = SFP_RATE_CODE_25G;
  // Seated, so that creation runs the transmitter stage, where it can write.
  rig.inner.module_present = rig.backend < Backend::EthtoolIoctl ? 1 : 0;
  const sfp_rc rc = sfp_linux_fill_ops(rig.source, &rig.inner);
  rig.ops = rig.inner;
  rig.ops.read_cb = counted_read;
  rig.ops.write_cb = counted_write;
  rig.ops.bitbang_read_cb = rig.inner.bitbang_read_cb != nullptr ? counted_bitbang : nullptr;
  rig.ops.phy_read_cb = rig.inner.phy_read_cb != nullptr ? counted_phy_read : nullptr;
  rig.ops.phy_write_cb = rig.inner.phy_write_cb != nullptr ? counted_phy_write : nullptr;
  g_rig = &rig;
  return rc;
}

sfp_rc create(Rig &rig) {
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&rig.ops, &result);
  rig.port = result.handle;
  return rc;
}

sfp_rc close_source(Rig &rig) {
  sfp_linux_close(rig.source);
  rig.source = nullptr;
  return SFP_RC_OK;
}

uint8_t g_buffer[256];
const uint8_t kBytes[12] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC};

sfp_rc read_a0(Rig &rig) {
  return sfp_port_read(rig.port, 0, SFP_PAGE_A0, 128, g_buffer);
}
sfp_rc read_a2(Rig &rig) {
  return sfp_port_read(rig.port, 96, SFP_PAGE_A2, 32, g_buffer);
}
sfp_rc read_table(Rig &rig) {
  return sfp_port_read(rig.port, 128, SFP_PAGE_A2_TABLE1, 64, g_buffer);
}
// Twelve bytes across an EEPROM write page: two pieces on i2c-dev.
sfp_rc write_at(Rig &rig, uint32_t offset, uint32_t page) {
  std::memcpy(g_buffer, kBytes, sizeof kBytes);
  return sfp_port_write(rig.port, offset, page, sizeof kBytes, g_buffer);
}
sfp_rc write_a0(Rig &rig) {
  return write_at(rig, 0x64, SFP_PAGE_A0);
}
sfp_rc write_a2(Rig &rig) {
  return write_at(rig, 4, SFP_PAGE_A2);
}
sfp_rc write_table(Rig &rig) {
  return write_at(rig, 0x84, SFP_PAGE_A2_TABLE1);
}
sfp_rc hw_status(Rig &rig) {
  sfp_hw_status_rec rec{};
  return sfp_port_hw_status(rig.port, &rec);
}

// A copper module's PHY, over i2c-dev only: a word register read and write.
sfp_rc phy_read(Rig &rig) {
  uint16_t value = 0;
  return qrn_te_phy_rd(rig.port, sfpsim::Phy::kReadAddress, 4, &value);
}
sfp_rc phy_write(Rig &rig) {
  const uint16_t value = 0x0DE1;
  return qrn_te_phy_wr(rig.port, sfpsim::Phy::kWriteAddress, 4, &value);
}

// How far a trial's setup goes before the step runs.
enum class Stage { Nothing, Opened, Filled, Created };

struct Case {
  const char *name;
  Stage stage;
  Step step;
  bool library; // the library's own path: expectations from the reference
  int error = kInjected;
};

const std::vector<Case> kCases = {
    {"open", Stage::Nothing, open_source, false},
    {"open_denied", Stage::Nothing, open_source, false, EACCES},
    {"fill_ops", Stage::Opened, fill, false},
    {"close", Stage::Opened, close_source, false},
    {"create", Stage::Filled, create, true},
    {"read_a0", Stage::Created, read_a0, true},
    {"read_a2", Stage::Created, read_a2, true},
    {"read_table", Stage::Created, read_table, true},
    {"write_a0", Stage::Created, write_a0, true},
    {"write_a2", Stage::Created, write_a2, true},
    {"write_table", Stage::Created, write_table, true},
    {"hw_status", Stage::Created, hw_status, true},
    {"phy_read", Stage::Created, phy_read, true},
    {"phy_write", Stage::Created, phy_write, true},
};

void prepare(Rig &rig, Stage stage) {
  if (stage >= Stage::Opened) {
    ASSERT_EQ(open_source(rig), SFP_RC_OK);
  }
  if (stage >= Stage::Filled) {
    ASSERT_EQ(fill(rig), SFP_RC_OK);
  }
  if (stage >= Stage::Created) {
    create(rig);
  }
}

// A port reads the module as it is.
void expect_port_reads(Rig &rig) {
  ASSERT_EQ(sfp_port_read(rig.port, 0, SFP_PAGE_A0, 96, g_buffer), SFP_RC_OK);
  EXPECT_EQ(std::memcmp(g_buffer, rig.module->memory().a0.data(), 96), 0);
}

// The port, or the source an entry point left open, works once the faults
// are lifted; nothing stays open once the source is closed; and a source
// opened anew works.
void expect_closed_and_reusable(Rig &rig) {
  if (rig.port != nullptr) {
    expect_port_reads(rig);
  } else if (rig.source != nullptr) {
    ASSERT_EQ(fill(rig), SFP_RC_OK);
    if (create(rig) == SFP_RC_OK) {
      expect_port_reads(rig);
    }
  }
  rig.teardown();
  EXPECT_EQ(rig.kernel->open_fds(), 0u) << "descriptor left open";
  EXPECT_EQ(FakeKernel::open_netlink_sockets(), 0u) << "netlink socket left open";
  ASSERT_EQ(open_source(rig), SFP_RC_OK);
  ASSERT_EQ(fill(rig), SFP_RC_OK);
  const sfp_rc created = create(rig);
  if (rig.port != nullptr) {
    EXPECT_EQ(created, SFP_RC_OK);
    expect_port_reads(rig);
  }
  rig.teardown();
  EXPECT_EQ(rig.kernel->open_fds() + FakeKernel::open_netlink_sockets(), 0u);
}

// A trial of `c`: the fault on the k-th seam call, or (`reference`) on the
// k-th library callback itself.
Trial make_trial(const Config &config, const std::string &profile, const Case &c, bool reference) {
  auto rig = std::make_shared<Rig>(config.backend, profile);
  prepare(*rig, c.stage);
  rig->start = rig->kernel->calls().size();
  rig->spans.clear();
  sfptest::clear_traces();
  return Trial{
      .arm =
          [rig, reference, c](uint64_t k, Mode mode) {
            rig->kernel->fail_call(reference ? 0 : k, c.error, mode == Mode::Onward);
            rig->fail_at = reference ? k : 0;
            rig->onward = mode == Mode::Onward;
          },
      .run = [rig, c] { return c.step(*rig); },
      .error_records = error_numbers,
      .verify = [rig] { expect_closed_and_reusable(*rig); },
      // Each seam call, prefixed "cN:" inside the N-th library callback.
      .tokens =
          [rig] {
            const std::vector<std::string> &calls = rig->kernel->calls();
            Tokens out;
            for (std::size_t i = rig->start; i < calls.size(); ++i) {
              std::string token;
              for (std::size_t n = 0; n < rig->spans.size(); ++n) {
                if (i >= rig->spans[n].first && i < rig->spans[n].second) {
                  token = 'c';
                  token += std::to_string(n + 1);
                  token += ':';
                }
              }
              out.push_back(token + calls[i]);
            }
            return out;
          },
  };
}

// The library callback a seam call was made in (from 1), or 0.
std::size_t callback_of(const std::string &token) {
  return token[0] == 'c' ? std::stoul(token.substr(1)) : 0;
}

// What the same library access gives when its callback fails: for every
// callback of a clean run, once and onward.
struct Reference {
  std::vector<Expect> once, onward;
};

Reference reference_of(const Config &config, const std::string &profile, const Case &c,
                       std::size_t callbacks, const std::vector<uint32_t> &clean_records) {
  Reference out;
  for (Mode mode : {Mode::Once, Mode::Onward}) {
    for (std::size_t n = 1; n <= callbacks; ++n) {
      Trial trial = make_trial(config, profile, c, true);
      trial.arm(n, mode);
      const sfp_rc rc = trial.run();
      bool record = false;
      for (uint32_t number : trial.error_records()) {
        record = record || std::find(clean_records.begin(), clean_records.end(), number) ==
                               clean_records.end();
      }
      (mode == Mode::Once ? out.once : out.onward)
          .push_back(Expect{Expect::Kind::Status, rc, record});
    }
  }
  return out;
}

// The backend's entry points: which seam failures they pass through. A
// failed bound-driver probe counts as no driver; a netlink failure at open
// leaves the source on the ioctl; fill_ops returns the A0h read's status and
// takes an A2h it cannot read as absent (the seam calls from `a2_from` on).
Expect entry_rule(const Case &c, const std::string &token, std::size_t index, std::size_t a2_from) {
  if (!can_fail(token) || c.step == close_source) {
    return kUntouched;
  }
  if (c.step == fill) {
    return index < a2_from ? kReturned : kUntouched;
  }
  return token == "readlink" || token.rfind("nl_", 0) == 0 ? kUntouched : kReturned;
}

// The seam calls fill_ops makes for A0h: those of a fresh source's first read.
std::size_t a0_calls(const Config &config, const std::string &profile) {
  Rig rig(config.backend, profile);
  prepare(rig, Stage::Filled);
  const std::size_t before = rig.kernel->calls().size();
  rig.inner.read_cb(rig.source, 0, SFP_PAGE_A0, 256, g_buffer);
  return rig.kernel->calls().size() - before;
}

// From the k-th seam call on, the first call whose failure counts decides.
Rule onward_of(Rule each) {
  return [each](std::size_t i, const Tokens &run) {
    for (; i < run.size(); ++i) {
      const Expect e = each(i, run);
      if (e.kind != Expect::Kind::Ignored) {
        return e;
      }
    }
    return kUntouched;
  };
}

// A seam call fails as its library callback failing would.
Rule by_callback(const std::shared_ptr<Reference> &ref, Mode mode) {
  Rule each = [ref, mode](std::size_t i, const Tokens &run) {
    const std::size_t n = callback_of(run[i]);
    return n == 0 || !can_fail(run[i]) ? kUntouched
                                       : (mode == Mode::Once ? ref->once : ref->onward)[n - 1];
  };
  return mode == Mode::Once ? each : onward_of(each);
}

class LinuxFaultSweep : public sfptest::PortTest {};

TEST_F(LinuxFaultSweep, EverySeamCallOfEveryBackend) {
  std::size_t swept = 0;
  for (const Config &config : kConfigs) {
    for (const std::string &profile : kProfiles) {
      if (config.only != nullptr && profile != config.only) {
        continue;
      }
      for (const Case &c : kCases) {
        const std::string name = std::string(config.name) + " " + profile + " " + c.name;
        sfp_rc clean = 0;
        Tokens tokens;
        std::vector<uint32_t> clean_records;
        {
          Trial trial = make_trial(config, profile, c, false);
          clean = trial.run();
          tokens = trial.tokens();
          clean_records = trial.error_records();
        }
        Rule once;
        Rule onward;
        if (c.library) {
          std::size_t callbacks = 0;
          for (const std::string &token : tokens) {
            callbacks = std::max(callbacks, callback_of(token));
          }
          auto ref = std::make_shared<Reference>(
              reference_of(config, profile, c, callbacks, clean_records));
          once = by_callback(ref, Mode::Once);
          onward = by_callback(ref, Mode::Onward);
        } else if (config.backend == Backend::File && c.error == EACCES) {
          // Write access refused: the file opens read-only instead.
          once = [](std::size_t, const Tokens &) { return kUntouched; };
          onward = [](std::size_t, const Tokens &) { return kReturned; };
        } else {
          const std::size_t a2_from = c.step == fill ? a0_calls(config, profile) : 0;
          once = [c, a2_from](std::size_t i, const Tokens &run) {
            return entry_rule(c, run[i], i, a2_from);
          };
          onward = onward_of(once);
        }
        swept += prooftest::run_sweep(
            name, [&] { return make_trial(config, profile, c, false); }, once, clean, c.error,
            onward);
      }
    }
  }
  EXPECT_GT(swept, 0u);
}

} // namespace
