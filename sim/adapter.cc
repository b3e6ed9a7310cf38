// The simulated adapter: its pages, the mirror of the seated SFP with the
// handshake that refreshes it, the writes it passes on, its log and faults.
#include "sfpsim/adapter.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string_view>

namespace sfpsim {

namespace {

constexpr uint32_t kPageSize = 256;
constexpr uint32_t kUpperStart = 128;
constexpr uint8_t kNoSfp = 0x01;
constexpr uint8_t kNoValidData = 0xff;
constexpr uint8_t kA0LowerMirror = 4;
constexpr uint8_t kA0UpperMirror = 5;
constexpr uint8_t kA2LowerMirror = 6;
constexpr uint8_t kTable0Mirror = 7;

// Upper page 0 (QSFP identity), by offset.
constexpr std::size_t kIdentifier = 128;
constexpr uint8_t kQsfpPlus = 0x0D;
constexpr std::size_t kVendorName = 148;
constexpr std::size_t kVendorPn = 168;
constexpr std::size_t kVendorRev = 184;
constexpr std::size_t kCcBase = 191;
constexpr std::size_t kVendorSn = 196;
constexpr std::size_t kDateCode = 212;
constexpr std::size_t kCcExt = 223;
// The maker's area (the image's last 256 bytes).
constexpr std::size_t kMakerVersion = 148;
constexpr std::size_t kMakerPid = 192;

// Writes `text` space-padded to `width` bytes at `at` of a page whose first
// byte is offset 128.
void put_text(std::array<uint8_t, 128> &page, std::size_t at, std::size_t width,
              std::string_view text) {
  auto *dest = page.data() + (at - kUpperStart);
  std::fill_n(dest, width, ' ');
  std::copy_n(text.begin(), std::min(width, text.size()), dest);
}

void put_text(std::array<uint8_t, 256> &area, std::size_t at, std::size_t width,
              std::string_view text) {
  std::fill_n(area.data() + at, width, ' ');
  std::copy_n(text.begin(), std::min(width, text.size()), area.data() + at);
}

uint8_t sum_of(const std::array<uint8_t, 128> &page, std::size_t first, std::size_t last) {
  return static_cast<uint8_t>(
      std::accumulate(page.begin() + static_cast<long>(first - kUpperStart),
                      page.begin() + static_cast<long>(last + 1 - kUpperStart), 0u));
}

std::string_view part_number(uint8_t type_code) {
  return type_code == qsa_adapter_25g ? "SL-QSA-25G" : "SL-QSA-10G";
}

std::string_view product_id(uint8_t type_code) {
  return type_code == qsa_adapter_25g ? "PX-QSA-25G" : "PX-QSA-10G";
}

} // namespace

Adapter::Adapter(uint8_t type_code) {
  lower_[kPresence] = kNoSfp;
  upper_[1].fill(kNoValidData);
  upper_[3].fill(kNoValidData);
  Page &id = upper_[0];
  id[kIdentifier - kUpperStart] = kQsfpPlus;
  put_text(id, kVendorName, 16, "SIMLAB OPTICS");
  put_text(id, kVendorRev, 2, "A0");
  put_text(id, kVendorSn, 16, "SIMQ00000001");
  put_text(id, kDateCode, 8, "26010100");
  id[kExtId - kUpperStart] = kAnswering;
  put_text(maker_area_, kMakerVersion, 4, "V01");
  set_type_code(type_code);
}

void Adapter::fix_identity_checksums() {
  Page &id = upper_[0];
  id[kCcBase - kUpperStart] = sum_of(id, kIdentifier, kCcBase - 1);
  id[kCcExt - kUpperStart] = sum_of(id, kCcBase + 1, kCcExt - 1);
}

void Adapter::set_type_code(uint8_t code) {
  std::lock_guard<std::mutex> guard(lock_);
  Page &id = upper_[0];
  id[kTypeCode - kUpperStart] = code;
  put_text(id, kVendorPn, 16, part_number(code));
  put_text(maker_area_, kMakerPid, 18, product_id(code));
  fix_identity_checksums();
}

void Adapter::set_ext_id(uint8_t id) {
  std::lock_guard<std::mutex> guard(lock_);
  upper_[0][kExtId - kUpperStart] = id;
  fix_identity_checksums();
}

void Adapter::seat(Module &sfp) {
  std::lock_guard<std::mutex> guard(lock_);
  sfp_ = &sfp;
  if (Phy *phy = sfp.phy()) {
    phy->set_width(PhyWidth::SplitByte);
  }
  lower_[kPresence] = 0;
  refresh_mirror();
}

void Adapter::remove() {
  std::lock_guard<std::mutex> guard(lock_);
  sfp_ = nullptr;
  lower_[kPresence] = kNoSfp;
}

Module *Adapter::seated() const {
  std::lock_guard<std::mutex> guard(lock_);
  return sfp_;
}

void Adapter::set_refresh_latency(uint32_t polls) {
  std::lock_guard<std::mutex> guard(lock_);
  latency_ = polls;
}

uint64_t Adapter::refresh_count() const {
  std::lock_guard<std::mutex> guard(lock_);
  return refreshes_;
}

void Adapter::set_bus_selects_page(bool on) {
  std::lock_guard<std::mutex> guard(lock_);
  bus_selects_page_ = on;
}

uint8_t Adapter::lower(uint8_t offset) const {
  std::lock_guard<std::mutex> guard(lock_);
  return offset < kUpperStart ? lower_[offset] : 0;
}

void Adapter::set_lower(uint8_t offset, uint8_t value) {
  std::lock_guard<std::mutex> guard(lock_);
  if (offset < kUpperStart) {
    lower_[offset] = value;
  }
}

uint8_t Adapter::upper(uint8_t page, uint8_t offset) const {
  std::lock_guard<std::mutex> guard(lock_);
  return offset >= kUpperStart ? upper_[page][offset - kUpperStart] : 0;
}

void Adapter::set_upper(uint8_t page, uint8_t offset, uint8_t value) {
  std::lock_guard<std::mutex> guard(lock_);
  if (offset >= kUpperStart) {
    upper_[page][offset - kUpperStart] = value;
  }
}

std::array<uint8_t, QSA_ADAPTER_EEPROM_LEN> Adapter::eeprom_image() const {
  std::lock_guard<std::mutex> guard(lock_);
  std::array<uint8_t, QSA_ADAPTER_EEPROM_LEN> image{};
  auto out = std::copy(lower_.begin(), lower_.end(), image.begin());
  out = std::copy(upper_[0].begin(), upper_[0].end(), out);
  std::copy(maker_area_.begin(), maker_area_.end(), out);
  return image;
}

qsa_platform_ops Adapter::platform_ops(int32_t port, uint32_t module_present) const {
  qsa_platform_ops ops;
  std::memset(&ops, 0, sizeof ops);
  // The callbacks change the adapter, so the record carries a mutable
  // pointer although producing the record does not.
  ops.opaque = const_cast<Adapter *>(this);
  ops.port = port;
  ops.read_cb = &Adapter::read_cb;
  ops.write_cb = &Adapter::write_cb;
  ops.module_present = module_present;
  const auto image = eeprom_image();
  std::memcpy(ops.adapter_eeprom, image.data(), image.size());
  return ops;
}

// The seated module's memory as it stands, and its PHY's registers of the
// selected PHY page (registers it does not have read all ones).
void Adapter::refresh_mirror() {
  ++refreshes_;
  if (sfp_ == nullptr) {
    return;
  }
  const Memory &m = sfp_->memory();
  std::copy_n(m.a0.begin(), 128, upper_[kA0LowerMirror].begin());
  std::copy_n(m.a0.begin() + 128, 128, upper_[kA0UpperMirror].begin());
  upper_[kA2LowerMirror] = m.a2_lower;
  upper_[kTable0Mirror] = m.tables[0];
  Page &phy_page = upper_[kPhyMirror];
  phy_page.fill(0xff);
  const Phy *phy = sfp_->phy();
  if (phy == nullptr) {
    return;
  }
  const uint16_t selected = phy->page_select();
  for (uint8_t r = 0; r < Phy::kRegisterCount; ++r) {
    if (selected < Phy::kPageCount || r == Phy::kPageSelect) {
      const uint16_t value = phy->reg(static_cast<uint8_t>(std::min<uint16_t>(selected, 1)), r);
      const std::size_t high = std::size_t{2} * r;
      phy_page[high] = static_cast<uint8_t>(value >> 8);
      phy_page[high + 1] = static_cast<uint8_t>(value);
    }
  }
}

uint8_t Adapter::read_byte(uint32_t offset) {
  if (offset >= kUpperStart) {
    return upper_[lower_[kPageSelect]][offset - kUpperStart];
  }
  if (offset == kHandshakeA0 || offset == kHandshakeOther) {
    Handshake &h = handshakes_[offset - kHandshakeA0];
    if (h.pending && h.polls_left == 0) {
      h.pending = false;
      refresh_mirror();
    } else if (h.pending && h.polls_left != kNeverRefresh) {
      --h.polls_left;
    }
    return h.pending ? 1 : 0;
  }
  return lower_[offset];
}

int Adapter::write_byte(uint32_t offset, uint8_t value) {
  if (offset == kPresence) {
    return 0; // read-only
  }
  if (offset == kHandshakeA0 || offset == kHandshakeOther) {
    if (value == 1) {
      handshakes_[offset - kHandshakeA0] = {true, latency_};
    }
    return 0;
  }
  if (offset < kUpperStart) {
    lower_[offset] = value;
    return 0;
  }
  const uint8_t page = lower_[kPageSelect];
  const auto at = static_cast<uint8_t>(offset - kUpperStart);
  switch (page) {
  case kA0LowerMirror:
  case kA0UpperMirror:
  case kA2LowerMirror:
  case kTable0Mirror:
  case kPhyMirror:
    return forward_to_sfp(page, at, value);
  default:
    upper_[page][at] = value;
    return 0;
  }
}

// A write into a mirror page, as the module's bus sees it.
int Adapter::forward_to_sfp(uint8_t page, uint8_t at, uint8_t value) {
  if (sfp_ == nullptr) {
    return kAdapterNak;
  }
  switch (page) {
  case kA0LowerMirror:
    return Module::write_cb(sfp_, at, SFP_PAGE_A0, 1, &value);
  case kA0UpperMirror:
    return Module::write_cb(sfp_, static_cast<uint8_t>(at + kUpperStart), SFP_PAGE_A0, 1, &value);
  case kA2LowerMirror:
    return Module::write_cb(sfp_, at, SFP_PAGE_A2, 1, &value);
  case kTable0Mirror:
    return Module::write_cb(sfp_, at, SFP_PAGE_A2_TABLE0, 1, &value);
  default:
    return Module::phy_write_cb(sfp_, Phy::kWriteAddress, at, &value);
  }
}

int Adapter::read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Adapter *>(opaque)->transfer(false, offset, page, length, buffer);
}

int Adapter::write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                      uint8_t *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Adapter *>(opaque)->transfer(true, offset, page, length, buffer);
}

int Adapter::take_fault(uint64_t call, uint8_t page, uint8_t offset) {
  if (fail_all_ != 0) {
    return fail_all_;
  }
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (it->nth.has_value() && it->onward && *it->nth <= call) {
      return it->status;
    }
    if (it->nth.has_value() && *it->nth == call) {
      const int status = it->status;
      faults_.erase(it);
      return status;
    }
  }
  for (Fault &fault : faults_) {
    if (!fault.nth.has_value() && fault.page == page && fault.offset == offset) {
      if (fault.spared == 0) {
        return fault.status;
      }
      --fault.spared;
    }
  }
  return 0;
}

int Adapter::transfer(bool write, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  std::lock_guard<std::mutex> guard(lock_);
  const uint64_t call = ++accesses_;
  const bool in_range = static_cast<uint32_t>(offset) + length <= kPageSize;
  int status = take_fault(call, page, offset);
  if (status == 0 && (buffer == nullptr || !in_range)) {
    status = buffer == nullptr ? kInvalidArgument : kRangeError;
  }
  if (status == 0 && bus_selects_page_ && offset + length > kUpperStart) {
    lower_[kPageSelect] = page;
  }
  AdapterAccess entry{write, page, offset, length, {}, 0, lower_[kPageSelect]};
  if (write && buffer != nullptr && length <= kPageSize) {
    entry.bytes.assign(buffer, buffer + length);
  }
  for (uint32_t i = 0; status == 0 && i < length; ++i) {
    if (write) {
      status = write_byte(offset + i, buffer[i]);
    } else {
      buffer[i] = read_byte(offset + i);
    }
  }
  if (!write && status == 0) {
    entry.bytes.assign(buffer, buffer + length);
  }
  entry.status = status;
  log_.push_back(std::move(entry));
  return status;
}

std::vector<AdapterAccess> Adapter::log() const {
  std::lock_guard<std::mutex> guard(lock_);
  return log_;
}

void Adapter::clear_log() {
  std::lock_guard<std::mutex> guard(lock_);
  log_.clear();
}

uint64_t Adapter::access_count() const {
  std::lock_guard<std::mutex> guard(lock_);
  return accesses_;
}

void Adapter::fail_nth_access(uint64_t n, int status) {
  std::lock_guard<std::mutex> guard(lock_);
  if (n != 0) {
    faults_.push_back({accesses_ + n, 0, 0, status, 0});
  }
}

void Adapter::fail_from_nth_access(uint64_t n, int status) {
  std::lock_guard<std::mutex> guard(lock_);
  if (n != 0) {
    faults_.push_back({accesses_ + n, 0, 0, status, 0, true});
  }
}

void Adapter::fail_at(uint8_t page, uint8_t offset, int status, uint32_t spared) {
  std::lock_guard<std::mutex> guard(lock_);
  faults_.push_back({std::nullopt, page, offset, status, spared});
}

void Adapter::fail_all(int status) {
  std::lock_guard<std::mutex> guard(lock_);
  fail_all_ = status;
}

void Adapter::clear_faults() {
  std::lock_guard<std::mutex> guard(lock_);
  faults_.clear();
  fail_all_ = 0;
}

} // namespace sfpsim
