// The simulated copper PHY: paged registers, the three ways a call carries a
// register, the 10G byte registers, the access log and injected faults.
#include "sfpsim/phy.h"

#include <cstring>
#include <type_traits>
#include <utility>

#include "sfpdrv/types.h"
#include "sfpsim/module.h"

namespace sfpsim {

// The PHY's callbacks go straight into a creation record.
static_assert(std::is_same_v<decltype(&Phy::read_cb), sfp_phy_cb>);
static_assert(std::is_same_v<decltype(&Phy::write_cb), sfp_phy_cb>);

namespace {

constexpr uint16_t kStatusLinkUp = 1u << 10;
constexpr unsigned kSpeedShift = 14;
constexpr uint16_t kSpeedMask = 0x3u << kSpeedShift;

} // namespace

uint16_t Phy::reg(uint8_t page, uint8_t r) const {
  return regs_.at(r == kPageSelect ? 0 : page).at(r);
}

void Phy::set_reg(uint8_t page, uint8_t r, uint16_t value) {
  regs_.at(r == kPageSelect ? 0 : page).at(r) = value;
}

void Phy::set_link(uint8_t page, bool up, uint8_t speed_code) {
  uint16_t status = reg(page, kStatus) & static_cast<uint16_t>(~(kSpeedMask | kStatusLinkUp));
  status |= static_cast<uint16_t>((speed_code & 0x3u) << kSpeedShift);
  status |= up ? kStatusLinkUp : 0;
  set_reg(page, kStatus, status);
}

uint8_t Phy::byte_reg(uint8_t reg_byte) const {
  return byte_regs_.at(static_cast<std::size_t>(reg_byte - kFirstByteRegister));
}

int Phy::read_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Phy *>(opaque)->read(address, reg, buffer);
}

int Phy::write_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer) {
  if (opaque == nullptr) {
    return kInvalidArgument;
  }
  return static_cast<Phy *>(opaque)->write(address, reg, buffer);
}

int Phy::read(uint8_t address, uint8_t reg, void *buffer) {
  return transfer(false, address, reg, buffer);
}

int Phy::write(uint8_t address, uint8_t reg, void *buffer) {
  return transfer(true, address, reg, buffer);
}

void Phy::fail_nth_call(uint64_t n, int status) {
  if (n != 0) {
    faults_.push_back(Fault{calls_ + n, 0, status});
  }
}

void Phy::fail_from_nth_call(uint64_t n, int status) {
  if (n != 0) {
    faults_.push_back(Fault{calls_ + n, 0, status, true});
  }
}

void Phy::fail_at(uint8_t reg_byte, int status) {
  faults_.push_back(Fault{std::nullopt, reg_byte, status});
}

// A one-shot fault for this call wins over a standing one; it is used up.
int Phy::take_fault(uint8_t reg) {
  const Fault *standing = nullptr;
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (it->nth.has_value()) {
      if (it->onward && *it->nth <= calls_) {
        return it->status;
      }
      if (*it->nth == calls_) {
        const int status = it->status;
        faults_.erase(it);
        return status;
      }
    } else if (standing == nullptr && it->reg == reg) {
      standing = &*it;
    }
  }
  return standing != nullptr ? standing->status : 0;
}

// The word or byte a call's buffer holds.
uint16_t Phy::buffer_value(uint8_t reg, const void *buffer) const {
  if (width_ == PhyWidth::Word && reg < kFirstByteRegister) {
    uint16_t word = 0;
    std::memcpy(&word, buffer, sizeof word);
    return word;
  }
  return *static_cast<const uint8_t *>(buffer);
}

int Phy::transfer(bool write, uint8_t address, uint8_t reg, void *buffer) {
  ++calls_;
  const auto page = static_cast<uint8_t>(page_select());
  uint16_t value = write && buffer != nullptr ? buffer_value(reg, buffer) : 0;
  int status = take_fault(reg);
  if (status != 0) {
    // An injected fault: the PHY never saw the call.
  } else if (buffer == nullptr) {
    status = kInvalidArgument;
  } else if (address != kWriteAddress && address != kReadAddress) {
    status = kPhyNak;
  } else {
    status = serve(write, reg, buffer);
    if (status == 0 && !write) {
      value = buffer_value(reg, buffer);
    }
  }
  log_.push_back(PhyAccess{write, address, reg, value, status, page});
  return status;
}

// Any call the PHY serves ends a SameByte pair, unless it is that pair's
// second byte.
int Phy::serve(bool write, uint8_t reg, void *buffer) {
  const std::optional<PendingHalf> pending = std::exchange(pending_, std::nullopt);
  if (reg >= kFirstByteRegister) {
    return serve_byte_register(write, reg, buffer);
  }
  switch (width_) {
  case PhyWidth::Word:
    return reg < kRegisterCount ? serve_word(write, reg, buffer) : kPhyNak;
  case PhyWidth::SplitByte:
    return reg < 2 * kRegisterCount ? serve_split_byte(write, reg, buffer) : kPhyNak;
  case PhyWidth::SameByte:
    return reg < kRegisterCount ? serve_same_byte(write, reg, buffer, pending) : kPhyNak;
  }
  return kPhyNak;
}

void Phy::store(uint8_t r, uint16_t value) {
  if (r != kStatus) {
    set_reg(static_cast<uint8_t>(page_select()), r, value);
  }
}

int Phy::serve_word(bool write, uint8_t r, void *buffer) {
  if (!reachable(r)) {
    return kPhyNak;
  }
  if (write) {
    store(r, buffer_value(r, buffer));
  } else {
    const uint16_t word = current(r);
    std::memcpy(buffer, &word, sizeof word);
  }
  return 0;
}

// Register byte 2r is the high half of register r, 2r + 1 the low half.
int Phy::serve_split_byte(bool write, uint8_t reg, void *buffer) {
  const auto r = static_cast<uint8_t>(reg / 2);
  if (!reachable(r)) {
    return kPhyNak;
  }
  const unsigned shift = reg % 2 == 0 ? 8 : 0;
  auto *byte = static_cast<uint8_t *>(buffer);
  if (write) {
    const auto kept = static_cast<uint16_t>(current(r) & ~(0xFFu << shift));
    store(r, static_cast<uint16_t>(kept | (*byte << shift)));
  } else {
    *byte = static_cast<uint8_t>(current(r) >> shift);
  }
  return 0;
}

// The first byte of a pair is the high half: a read takes the whole word then
// (so the pair reads one consistent value), a write holds its byte until the
// low half completes the word.
int Phy::serve_same_byte(bool write, uint8_t r, void *buffer,
                         const std::optional<PendingHalf> &pending) {
  if (!reachable(r)) {
    return kPhyNak;
  }
  auto *byte = static_cast<uint8_t *>(buffer);
  const bool second = pending.has_value() && pending->reg == r && pending->write == write;
  if (!second) {
    const uint16_t word = write ? static_cast<uint16_t>(*byte << 8) : current(r);
    if (!write) {
      *byte = static_cast<uint8_t>(word >> 8);
    }
    pending_ = PendingHalf{write, r, word};
  } else if (write) {
    store(r, static_cast<uint16_t>(pending->word | *byte));
  } else {
    *byte = static_cast<uint8_t>(pending->word & 0xFF);
  }
  return 0;
}

int Phy::serve_byte_register(bool write, uint8_t reg, void *buffer) {
  const std::size_t index = reg - kFirstByteRegister;
  if (index >= kByteRegisterCount) {
    return kPhyNak;
  }
  auto *byte = static_cast<uint8_t *>(buffer);
  if (write) {
    byte_regs_[index] = *byte;
  } else {
    *byte = byte_regs_[index];
  }
  return 0;
}

} // namespace sfpsim
