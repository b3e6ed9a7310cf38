// The simulated module's callbacks: page mapping, table select, range checks,
// the access log and injected faults.
#include "sfpsim/module.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sfpsim {

namespace {

constexpr uint8_t kLastPage = 5;
constexpr uint32_t kMemorySize = 256; // A0h, or A2h lower half plus one table
constexpr uint8_t kAbsentTable = 0xff;

// How the bus treats a byte of the A2h lower half: which bits a write
// changes, which bits follow a live condition, and whether those are latched.
struct A2ByteRule {
  uint8_t first;
  uint8_t last;
  uint8_t writable;
  uint8_t live;
  bool latched;
};

// clang-format off
constexpr std::array<A2ByteRule, 8> kA2Rules = {{
  // first last writable live  latched
  {96,   109, 0x00,    0x00, false}, // measured values
  {110,  110, 0x48,    0x06, false}, // status/control: soft Tx disable and rate select; Tx fault, LOS
  {112,  113, 0x00,    0xFF, true},  // alarm flags
  {115,  115, 0x00,    0x00, false}, // Rx CTLE peaking
  {116,  117, 0x00,    0xFF, true},  // warning flags
  {118,  118, 0x01,    0x00, false}, // power level select
  {119,  119, 0x00,    0x02, true},  // CDR fault
  {122,  122, 0x00,    0x00, false}, // adaptive CTLE support
}};
// clang-format on
constexpr A2ByteRule kPlainByte{0, 0, 0xFF, 0x00, false};

constexpr bool rules_ordered_and_in_lower_half() {
  for (std::size_t i = 0; i < kA2Rules.size(); ++i) {
    const A2ByteRule &r = kA2Rules[i];
    if (r.first > r.last || r.last >= kA2LowerSize || (r.latched && r.writable != 0) ||
        (i > 0 && kA2Rules[i - 1].last >= r.first)) {
      return false;
    }
  }
  return true;
}
static_assert(rules_ordered_and_in_lower_half(),
              "rules are ordered, disjoint, inside the lower half, and latches are read-only");

constexpr uint8_t kStatusControl = 110;
constexpr uint8_t kTxDisablePin = 0x80;
constexpr uint8_t kSoftTxDisable = 0x40;
constexpr uint8_t kDataNotReady = 0x01;

const A2ByteRule &rule_for(uint32_t offset) {
  for (const A2ByteRule &rule : kA2Rules) {
    if (offset >= rule.first && offset <= rule.last) {
      return rule;
    }
  }
  return kPlainByte;
}

uint8_t with_bits(uint8_t byte, uint8_t mask, uint8_t bits) {
  return static_cast<uint8_t>((byte & ~mask) | (bits & mask));
}

// Where a call starts in the 256 bytes of the memory its page addresses.
// Pages 2 to 5 name the upper half only, so offsets below 128 move up.
uint32_t start_of(uint8_t page, uint8_t offset) {
  if (page >= 2 && offset < kA2LowerSize) {
    return offset + static_cast<uint32_t>(kA2LowerSize);
  }
  return offset;
}

} // namespace

Module::Module(const Memory &memory) : memory_(memory) {
  hold_memory_flags();
}

Module::Module(const Profile &profile) : memory_(profile.memory), drift_(profile.drift) {
  hold_memory_flags();
  if (profile.has_phy) {
    attach_phy();
  }
}

void Module::set_drift(const Drift &drift) {
  drift_ = drift;
  drift_steps_ = 0;
}

namespace {

constexpr uint32_t kThresholds =
    0; // 5 quantities x (high alarm, low alarm, high warning, low warning)
constexpr uint32_t kMeasured = 96; // temperature, Vcc, bias, Tx power, Rx power
constexpr uint32_t kQuantities = 5;
constexpr uint8_t kAlarmFlags = 112;
constexpr uint8_t kWarningFlags = 116;

uint16_t word_at(const uint8_t *bytes) {
  return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}

void put_word(uint8_t *bytes, uint16_t value) {
  bytes[0] = static_cast<uint8_t>(value >> 8);
  bytes[1] = static_cast<uint8_t>(value & 0xff);
}

// A monitor word as a number that orders like the value: the temperature is
// signed, the others are not.
int32_t ordered(uint32_t quantity, uint16_t word) {
  return quantity == 0 ? static_cast<int16_t>(word) : word;
}

// Flags of a byte pair (112, 113 or 116, 117): quantity q's high flag is
// bit 2q of the pair counted from the top bit of the first byte, its low
// flag the bit after it.
void set_flag(std::array<uint8_t, 2> &pair, uint32_t bit) {
  pair[bit / 8] = static_cast<uint8_t>(pair[bit / 8] | (0x80u >> (bit % 8)));
}

} // namespace

void Module::drift_step() {
  const Drift &drift = *drift_;
  const uint64_t n = drift.period != 0 ? drift_steps_ % drift.period : drift_steps_;
  ++drift_steps_;
  uint8_t *a2 = memory_.a2_lower.data();
  const double celsius =
      drift.temperature_start_c + drift.temperature_step_c * static_cast<double>(n);
  const long temperature = std::clamp(std::lround(celsius * 256.0), -32768L, 32767L);
  put_word(a2 + kMeasured, static_cast<uint16_t>(static_cast<int16_t>(temperature)));
  const double dbm = drift.rx_power_start_dbm + drift.rx_power_step_db * static_cast<double>(n);
  const long rx = std::clamp(std::lround(std::pow(10.0, dbm / 10.0) * 10000.0), 0L, 65535L);
  put_word(a2 + kMeasured + 8, static_cast<uint16_t>(rx));

  std::array<uint8_t, 2> alarms{};
  std::array<uint8_t, 2> warnings{};
  for (uint32_t q = 0; q < kQuantities; ++q) {
    const uint8_t *limits = a2 + kThresholds + 8 * q;
    const int32_t value = ordered(q, word_at(a2 + kMeasured + 2 * q));
    if (value > ordered(q, word_at(limits))) {
      set_flag(alarms, 2 * q);
    } else if (value < ordered(q, word_at(limits + 2))) {
      set_flag(alarms, 2 * q + 1);
    }
    if (value > ordered(q, word_at(limits + 4))) {
      set_flag(warnings, 2 * q);
    } else if (value < ordered(q, word_at(limits + 6))) {
      set_flag(warnings, 2 * q + 1);
    }
  }
  for (uint8_t i = 0; i < 2; ++i) {
    set_live_flags(static_cast<uint8_t>(kAlarmFlags + i), alarms[i]);
    set_live_flags(static_cast<uint8_t>(kWarningFlags + i), warnings[i]);
  }
}

void Module::hold_memory_flags() {
  for (const A2ByteRule &rule : kA2Rules) {
    if (rule.latched) {
      for (uint32_t offset = rule.first; offset <= rule.last; ++offset) {
        live_[offset] = static_cast<uint8_t>(memory_.a2_lower[offset] & rule.live);
      }
    }
  }
}

Phy &Module::attach_phy(const Phy &phy) {
  return phy_.emplace(phy);
}

int Module::phy_read_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  Phy *phy = static_cast<Module *>(opaque)->phy();
  return phy != nullptr ? phy->read(address, reg, buffer) : kPhyNak;
}

int Module::phy_write_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  Phy *phy = static_cast<Module *>(opaque)->phy();
  return phy != nullptr ? phy->write(address, reg, buffer) : kPhyNak;
}

std::array<uint8_t, SFP_EEPROM_CALLER_LEN> Module::caller_image() const {
  std::array<uint8_t, SFP_EEPROM_CALLER_LEN> image{};
  auto out = std::copy(memory_.a0.begin(), memory_.a0.end(), image.begin());
  out = std::copy(memory_.a2_lower.begin(), memory_.a2_lower.end(), out);
  std::copy(memory_.tables[0].begin(), memory_.tables[0].end(), out);
  return image;
}

sfp_platform_ops Module::platform_ops(int32_t controller, int32_t port) const {
  sfp_platform_ops ops;
  std::memset(&ops, 0, sizeof ops);
  // The callbacks change the module, so the record carries a mutable pointer
  // although producing the record does not.
  ops.opaque = const_cast<Module *>(this);
  ops.controller = controller;
  ops.port = port;
  ops.read_cb = &Module::read_cb;
  ops.write_cb = &Module::write_cb;
  ops.bitbang_read_cb = &Module::bitbang_read_cb;
  if (phy_) {
    ops.phy_read_cb = &Module::phy_read_cb;
    ops.phy_write_cb = &Module::phy_write_cb;
    // The record says how the PHY moves a register, so that the library
    // never hands a one-byte buffer to a PHY that moves words.
    ops.phy_word_access = phy_->width() == PhyWidth::Word ? 1 : 0;
    ops.bus_mode = phy_->width() == PhyWidth::SplitByte ? 1 : 0;
  }
  const auto image = caller_image();
  std::memcpy(ops.eeprom, image.data(), image.size());
  ops.eeprom_len = SFP_EEPROM_CALLER_LEN;
  return ops;
}

int Module::read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Module *>(opaque)->transfer(Bus::Read, offset, page, length, buffer);
}

int Module::write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Module *>(opaque)->transfer(Bus::Write, offset, page, length, buffer);
}

int Module::bitbang_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                            uint8_t *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Module *>(opaque)->transfer(Bus::BitBangRead, offset, page, length, buffer);
}

void Module::fail_nth_access(uint64_t n, int status, uint32_t partial) {
  if (n == 0) {
    return;
  }
  Fault fault;
  fault.nth = accesses_ + n;
  fault.status = status;
  fault.partial = partial;
  faults_.push_back(fault);
}

void Module::fail_from_nth_access(uint64_t n, int status) {
  if (n == 0) {
    return;
  }
  Fault fault;
  fault.nth = accesses_ + n;
  fault.onward = true;
  fault.status = status;
  faults_.push_back(fault);
}

void Module::fail_at(uint8_t page, uint8_t offset, int status, uint32_t partial) {
  Fault fault;
  fault.page = page;
  fault.offset = offset;
  fault.status = status;
  fault.partial = partial;
  faults_.push_back(fault);
}

void Module::clear_faults() {
  faults_.clear();
}

void Module::set_data_ready_after(uint32_t reads) {
  reads_until_ready_ = reads;
  uint8_t &status = memory_.a2_lower[kStatusControl];
  status = with_bits(status, kDataNotReady, reads != 0 ? kDataNotReady : 0);
}

void Module::set_live_flags(uint8_t a2_offset, uint8_t bits) {
  if (a2_offset >= kA2LowerSize) {
    return;
  }
  const A2ByteRule &rule = rule_for(a2_offset);
  uint8_t &byte = memory_.a2_lower[a2_offset];
  if (rule.latched) {
    live_[a2_offset] = with_bits(live_[a2_offset], rule.live, bits);
    byte = static_cast<uint8_t>(byte | (bits & rule.live));
  } else {
    byte = with_bits(byte, rule.live, bits);
  }
}

void Module::latch_flags(uint8_t a2_offset, uint8_t bits) {
  if (a2_offset >= kA2LowerSize || !rule_for(a2_offset).latched) {
    return;
  }
  uint8_t &byte = memory_.a2_lower[a2_offset];
  byte = static_cast<uint8_t>(byte | (bits & rule_for(a2_offset).live));
}

void Module::set_tx_disable_pin(bool asserted) {
  uint8_t &status = memory_.a2_lower[kStatusControl];
  status = with_bits(status, kTxDisablePin, asserted ? kTxDisablePin : 0);
}

bool Module::transmitter_on() const {
  return (memory_.a2_lower[kStatusControl] & (kTxDisablePin | kSoftTxDisable)) == 0;
}

void Module::write_a2_lower(uint32_t start, const uint8_t *bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    uint8_t &byte = memory_.a2_lower[start + i];
    byte = with_bits(byte, rule_for(start + i).writable, bytes[i]);
  }
}

void Module::after_a2_lower_read(uint32_t start, uint32_t count) {
  for (uint32_t offset = start; offset < start + count; ++offset) {
    const A2ByteRule &rule = rule_for(offset);
    uint8_t &byte = memory_.a2_lower[offset];
    if (rule.latched) {
      byte = with_bits(byte, rule.live, live_[offset]);
    }
    if (offset == kStatusControl && reads_until_ready_ != 0 && reads_until_ready_ != kNeverReady &&
        --reads_until_ready_ == 0) {
      byte = with_bits(byte, kDataNotReady, 0);
    }
  }
}

// A one-shot fault for this call number wins over a standing one.
const Module::Fault *Module::fault_for(uint64_t call, uint8_t page, uint8_t offset) const {
  const Fault *standing = nullptr;
  for (const Fault &fault : faults_) {
    if (fault.nth.has_value()) {
      if (*fault.nth == call || (fault.onward && *fault.nth < call)) {
        return &fault;
      }
    } else if (standing == nullptr && fault.page == page && fault.offset == offset) {
      standing = &fault;
    }
  }
  return standing;
}

// The byte at `offset` (0..255, after the shift of pages 2 to 5) of the memory
// `page` addresses; nullptr for an upper half whose table does not exist.
uint8_t *Module::byte_at(uint8_t page, uint32_t offset) {
  if (page == 0) {
    return &memory_.a0[offset];
  }
  if (offset < kA2LowerSize) {
    return &memory_.a2_lower[offset];
  }
  const uint8_t table = table_select();
  if (table >= kTableCount) {
    return nullptr;
  }
  return &memory_.tables[table][offset - kA2LowerSize];
}

int Module::transfer(Bus bus, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  const uint64_t call = ++accesses_;
  const uint8_t table = table_select();
  const bool reading = bus != Bus::Write;
  const bool valid = page <= kLastPage && (buffer != nullptr || length == 0);
  const uint32_t start = start_of(page, offset);
  const bool in_range = static_cast<uint64_t>(start) + length <= kMemorySize;

  Access *entry = nullptr;
  if (logging_) {
    entry = &log_.emplace_back(Access{bus, page, offset, length, {}, 0, table});
    // A write's data is logged even when the call fails, as long as the
    // length is one a transfer could have (a runaway length is not copied).
    if (!reading && buffer != nullptr && length <= kMemorySize) {
      entry->bytes.assign(buffer, buffer + length);
    }
  }

  // Copies `count` bytes between the caller's buffer and the module; the
  // upper half is the table in force when the call started, even if a write
  // through byte 127 changes the select on the way.
  auto serve = [&](uint32_t count, bool bus_effects) {
    const uint32_t split = page == 0 ? kMemorySize : static_cast<uint32_t>(kA2LowerSize);
    const uint32_t end = start + count;
    const uint32_t low_count = start < split ? std::min(end, split) - start : 0;
    const uint32_t high_count = count - low_count;
    uint8_t *low = low_count > 0 ? byte_at(page, start) : nullptr;
    uint8_t *high = high_count > 0 ? byte_at(page, std::max(start, split)) : nullptr;
    if (reading) {
      if (low_count > 0) {
        std::memmove(buffer, low, low_count);
      }
      if (high_count > 0) {
        if (high != nullptr) {
          std::memmove(buffer + low_count, high, high_count);
        } else {
          std::memset(buffer + low_count, kAbsentTable, high_count);
        }
      }
      if (entry != nullptr) {
        entry->bytes.assign(buffer, buffer + count);
      }
      if (bus_effects && page != 0 && low_count > 0) {
        after_a2_lower_read(start, low_count);
      }
    } else {
      if (low_count > 0 && page == 0) {
        std::memmove(low, buffer, low_count);
      } else if (low_count > 0) {
        write_a2_lower(start, buffer, low_count);
      }
      if (high_count > 0 && high != nullptr) {
        std::memmove(high, buffer + low_count, high_count);
      }
    }
  };

  int status = 0;
  const Fault *fault = faults_.empty() ? nullptr : fault_for(call, page, offset);
  if (fault != nullptr) {
    status = fault->status;
    if (reading && valid && fault->partial > 0) {
      const uint32_t room = start < kMemorySize ? kMemorySize - start : 0;
      const uint32_t count = std::min({fault->partial, length, room});
      if (count > 0) {
        serve(count, false); // a failed call has no effect on the module
      }
    }
    if (fault->nth.has_value() && !fault->onward) {
      faults_.erase(faults_.begin() + (fault - faults_.data()));
    }
  } else if (!valid) {
    status = kInvalidArgument;
  } else if (!in_range) {
    status = kRangeError;
  } else if (length > 0) {
    if (drift_ && page == 1 && start <= kMeasured && start + length > kMeasured) {
      drift_step();
    }
    serve(length, true);
  }

  if (entry != nullptr) {
    entry->status = status;
  }
  return status;
}

} // namespace sfpsim
