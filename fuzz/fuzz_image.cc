// Fuzz target: any module image, seated in the simulated module (or behind
// the simulated adapter), read by everything that decodes it.
//
// Input: one options byte, then the image (A0h, the A2h lower half, A2h
// table 0; up to 512 bytes, the rest zero), then a schedule of callback
// failures: each byte fails one callback call, 1 + (byte & 0x3f) calls after
// the previous failure (the first counted from creation's first call), a
// failing read handing out byte >> 6 bytes of real data first.
#include <cstdlib>
#include <memory>
#include <optional>

#include "fuzz/fuzz_support.h"
#include "platform/psleep.h"
#include "sfpsim/adapter.h"

namespace sfpfuzz {
namespace {

constexpr uint8_t kModulePresent = 0x01;
constexpr uint8_t kBitBang = 0x02;
constexpr uint8_t kUnsupportedAllowed = 0x04;
constexpr uint8_t kBehindAdapter = 0x08;
constexpr uint8_t kWithPhy = 0x10;
constexpr unsigned kRateShift = 5; // bits 5 and 6: the port's rate code

constexpr std::size_t kImageEnd = 1 + SFP_EEPROM_CALLER_LEN; // options byte and image
constexpr uint8_t kGapMask = 0x3f;
constexpr unsigned kPartialShift = 6;

constexpr uint32_t kSmallReport = 200;
constexpr std::size_t kCanary = 32;
constexpr uint8_t kCanaryByte = 0xA5;

// The modules live at fixed addresses (their opaque values): a creation that
// fails leaves its context registered, and the next input reuses it.
std::optional<sfpsim::Module> g_module;
std::optional<sfpsim::Adapter> g_adapter;

// The report into a buffer of `size` bytes: written whole or not at all.
void check_report_into(sfp_port_ctx *port, uint32_t size) {
  std::vector<char> buffer(size + kCanary, static_cast<char>(kCanaryByte));
  const sfp_rc rc = sfp_drv_sfp_get_eeprom_str(port, buffer.data(), size);
  FUZZ_REQUIRE(documented(rc));
  if (rc == SFP_RC_OK) {
    FUZZ_REQUIRE(terminated(buffer.data(), size));
  }
  const std::size_t untouched_from = rc == SFP_RC_OK ? size : 0;
  for (std::size_t i = untouched_from; i < buffer.size(); ++i) {
    FUZZ_REQUIRE(static_cast<uint8_t>(buffer[i]) == kCanaryByte);
  }
  if (size == SFP_EEPROM_REPORT_SIZE) {
    FUZZ_REQUIRE(rc != SFP_RC_MODULE_COND); // the largest report always fits
  }
}

void check_debug_info(sfp_port_ctx *port) {
  for (uint32_t size : {0u, 1u, 100u, 4096u}) {
    std::vector<char> buffer(size + kCanary, static_cast<char>(kCanaryByte));
    uint32_t length = UINT32_MAX;
    FUZZ_REQUIRE(documented(sfp_port_get_debug_info(port, buffer.data(), size, &length)));
    FUZZ_REQUIRE(size == 0 || (length < size && buffer[length] == '\0'));
    for (std::size_t i = size; i < buffer.size(); ++i) {
      FUZZ_REQUIRE(static_cast<uint8_t>(buffer[i]) == kCanaryByte);
    }
  }
}

void check_identity(sfp_port_ctx *port) {
  sfp_xcvr_type type = 0;
  char name[SFP_XCVR_NAME_LEN + 1];
  uint32_t defaulted = 0;
  uint32_t rate = 0;
  uint32_t cable = 0;
  FUZZ_REQUIRE(sfp_port_type(port, &type, name, sizeof name, &defaulted) == SFP_RC_OK);
  FUZZ_REQUIRE(terminated(name, sizeof name));
  FUZZ_REQUIRE(sfp_port_rate(port, &rate) == SFP_RC_OK);
  FUZZ_REQUIRE(documented(sfp_is_cable(port, &cable)));
  (void)is_multi_rate_sfp(port);
  FUZZ_REQUIRE(sfp_get_pid(port) != nullptr); // SFP_PID_LEN characters, not terminated

  sfp_hw_info_rec info{};
  FUZZ_REQUIRE(documented(sfp_port_hw_info(port, &info)));
  FUZZ_REQUIRE(terminated(info.vendor_name) && terminated(info.vendor_rev) &&
               terminated(info.version_id) && terminated(info.pid) && terminated(info.clei) &&
               terminated(info.type_name) && terminated(info.vendor_pn) &&
               terminated(info.vendor_sn) && terminated(info.date_code));
  FUZZ_REQUIRE(info.compliance <= SFP_COMPLIANCE_VENDOR_CRC);
  sfp_hw_status_rec status{};
  FUZZ_REQUIRE(documented(sfp_port_hw_status(port, &status)));
}

void check_port(sfp_port_ctx *port) {
  check_identity(port);
  char *text = nullptr;
  uint32_t length = 0;
  const sfp_rc rc = sfp_port_phy_reg_decode(port, &text, &length);
  FUZZ_REQUIRE(documented(rc));
  if (rc == SFP_RC_OK) {
    FUZZ_REQUIRE(text != nullptr && length <= SFP_EEPROM_REPORT_SIZE);
    FUZZ_REQUIRE(terminated(text, length) && std::strlen(text) + 1 == length);
  }
  std::free(text);
  check_report_into(port, kSmallReport);
  check_report_into(port, SFP_EEPROM_REPORT_SIZE);
  check_debug_info(port);
}

// The decoders that need no port, on the raw bytes.
void check_decoders(const sfpsim::Memory &memory) {
  const std::array<uint8_t, SFP_EEPROM_CALLER_LEN> image = sfpsim::Module(memory).caller_image();
  auto id = std::make_unique<sfp_id_field_table>();
  FUZZ_REQUIRE(sfp_xcvr_decode_sfp_id(nullptr, image.data(), id.get(), "") == SFP_RC_OK);
  for (const sfp_decoded_field &field : id->field) {
    FUZZ_REQUIRE(terminated(field.name) && terminated(field.value) && terminated(field.raw));
  }
  for (uint32_t ext_cal : {0u, 1u}) {
    sfp_hw_status_rec rec{};
    const sfp_rc rc =
        sfp_xcvr_decode_sfp_status(nullptr, image.data() + sfpsim::kA0Size, &rec, ext_cal);
    FUZZ_REQUIRE(rc == SFP_RC_OK || rc == SFP_RC_INVALID);
  }
  sfp_compliance_result verdict = UINT32_MAX;
  FUZZ_REQUIRE(sfp_xcvr_check_compliance(image.data(), &verdict) == SFP_RC_OK);
  FUZZ_REQUIRE(verdict <= SFP_COMPLIANCE_VENDOR_CRC);
}

// Arms the failures of the schedule on the bus the port uses: the module's,
// or the adapter's when the module sits behind one.
void schedule_failures(const uint8_t *data, std::size_t size, bool behind_adapter) {
  uint64_t at = 0;
  for (std::size_t i = kImageEnd; i < size; ++i) {
    at += 1 + (data[i] & kGapMask);
    if (behind_adapter) {
      g_adapter->fail_nth_access(at, kInjectedFault);
    } else {
      g_module->fail_nth_access(at, kInjectedFault, data[i] >> kPartialShift);
    }
  }
}

sfp_platform_ops sfp_ops(uint8_t options) {
  sfp_platform_ops ops = g_module->platform_ops(0, 1);
  ops.module_present = (options & kModulePresent) != 0 ? 1 : 0;
  ops.bitbang_read_cb = (options & kBitBang) != 0 ? sfpsim::Module::bitbang_read_cb : nullptr;
  ops.rate_code = (options >> kRateShift) & 3u;
  ops.unsupported_xcvr_allowed = (options & kUnsupportedAllowed) != 0 ? 1 : 0;
  ops.phy_word_access = 1; // the simulated PHY moves words by default
  return ops;
}

void run_direct(uint8_t options, const uint8_t *data, std::size_t size) {
  schedule_failures(data, size, false);
  const sfp_platform_ops ops = sfp_ops(options);
  sfp_port_create_result result{};
  const sfp_rc rc = sfp_port_create(&ops, &result);
  FUZZ_REQUIRE(documented(rc) && result.status == rc);
  if (result.handle == nullptr) {
    FUZZ_REQUIRE(rc != SFP_RC_OK);
    return;
  }
  check_port(result.handle);
  FUZZ_REQUIRE(sfp_port_delete(result.handle) == SFP_RC_OK);
}

void run_behind_adapter(uint8_t options, const uint8_t *data, std::size_t size) {
  g_adapter.emplace();
  g_adapter->seat(*g_module);
  schedule_failures(data, size, true);
  const qsa_platform_ops ops = g_adapter->platform_ops(1, options & kModulePresent);
  qsa_port_create_result result{};
  const sfp_rc rc = qsa_port_create(&ops, &result);
  FUZZ_REQUIRE(documented(rc));
  if (result.handle == nullptr) {
    return;
  }
  qsa_port_ctx *adapter = result.handle;
  sfp_hw_status_rec status{};
  FUZZ_REQUIRE(documented(qsa_port_hw_status(adapter, &status)));
  sfp_hw_info_rec sfp_info{};
  sfp_hw_info_rec adapter_info{};
  FUZZ_REQUIRE(documented(qsa_port_hw_info(adapter, &sfp_info, &adapter_info)));
  char *text = nullptr;
  uint32_t length = 0;
  if (qsa_port_phy_reg_decode(adapter, &text, &length) == SFP_RC_OK) {
    FUZZ_REQUIRE(text != nullptr && terminated(text, length));
  }
  std::free(text);
  if (adapter->sfp_port != nullptr) {
    check_port(adapter->sfp_port);
  }
  FUZZ_REQUIRE(qsa_port_delete(adapter) == SFP_RC_OK);
}

} // namespace
} // namespace sfpfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace sfpfuzz;
  platform_clock_set_virtual(1);
  platform_clock_reset();
  const uint8_t options = size != 0 ? data[0] : 0;
  const sfpsim::Memory memory = size != 0 ? memory_from(data + 1, size - 1) : sfpsim::Memory{};
  g_module.emplace(memory);
  g_module->set_logging(false);
  if ((options & kWithPhy) != 0) {
    g_module->attach_phy();
  }
  // Taken at the first creation only; later inputs set it on the library.
  sfp_get_ctx()->unsupported_xcvr_allowed = (options & kUnsupportedAllowed) != 0 ? 1 : 0;
  check_decoders(memory);
  if ((options & kBehindAdapter) != 0) {
    run_behind_adapter(options, data, size);
  } else {
    run_direct(options, data, size);
  }
  return 0;
}

namespace sfpfuzz {

// Every profile under a few option sets; mutated: each image also with one
// mutation at every offset, and seeded random images.
void generate_inputs(bool mutated, const Emit &emit) {
  constexpr uint8_t kOptionSets[] = {kModulePresent, kBitBang | kUnsupportedAllowed,
                                     kBehindAdapter | kModulePresent};
  for (const sfpsim::Profile &profile : sfpsim::profiles()) {
    const sfpsim::Module module(profile);
    const auto image = module.caller_image();
    std::vector<uint8_t> input(image.size() + 1);
    std::memcpy(input.data() + 1, image.data(), image.size());
    for (uint8_t options : kOptionSets) {
      input[0] = static_cast<uint8_t>(options | (profile.has_phy ? kWithPhy : 0));
      emit(input);
    }
    if (!mutated) {
      continue;
    }
    input[0] = kModulePresent;
    for (std::size_t at = 1; at < input.size(); ++at) {
      const uint8_t original = input[at];
      // One mutation per offset keeps the run short: a bit flip at odd
      // offsets, the whole byte inverted at even ones.
      input[at] = static_cast<uint8_t>(at % 2 != 0 ? original ^ (1u << (at / 2 % 8)) : ~original);
      emit(input);
      input[at] = original;
    }
  }
  // Failure schedules: on a few profiles, one failure at each of the first
  // calls (seeds: a handful), and two failures close together.
  const std::size_t sweep = mutated ? 48 : 4;
  for (const char *name : {"10gbase-sr", "1000base-lx-extcal", "10g-tunable-dwdm"}) {
    const sfpsim::Profile *profile = sfpsim::find_profile(name);
    if (profile == nullptr) {
      continue;
    }
    const auto image = sfpsim::Module(*profile).caller_image();
    std::vector<uint8_t> input(kImageEnd);
    std::memcpy(input.data() + 1, image.data(), image.size());
    for (uint8_t options : {kModulePresent, uint8_t{kBehindAdapter | kModulePresent}}) {
      input[0] = options;
      for (std::size_t first = 0; first < sweep; ++first) {
        input.resize(kImageEnd);
        input.push_back(static_cast<uint8_t>(first | (first % 4) << kPartialShift));
        emit(input);
        input.push_back(0x01);
        emit(input);
      }
    }
  }
  if (mutated) {
    Rng rng(0x5eed);
    for (int n = 0; n < 200; ++n) {
      std::vector<uint8_t> input(1 + rng.next() % SFP_EEPROM_CALLER_LEN);
      for (uint8_t &byte : input) {
        byte = rng.byte();
      }
      emit(input);
    }
  }
}

} // namespace sfpfuzz
