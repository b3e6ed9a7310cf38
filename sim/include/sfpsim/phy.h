// Simulated copper PHY on a module's two-wire bus, behind the sfpdrv PHY
// callbacks.
//
// The PHY answers at device address 0xAC and 0xAD (the write and the read
// form of its bus address); a call to any other address is not acknowledged.
// It has 32 16-bit registers on each of two pages, 0 (copper side) and 1
// (fiber/system side), selected by register 22, which both pages share.
// Register 17 is the status register (speed code in bits 15..14, link up in
// bit 10): the bus cannot write it, tests set it. While a page beyond 1 is
// selected only register 22 answers.
//
// How one call carries a register is fixed by the board, so it is a setting:
//   Word       the buffer is a uint16_t in host order and the register byte
//              is the register number;
//   SameByte   the buffer is one byte and both bytes of register r go through
//              register byte r, high byte first: the PHY remembers that the
//              next access to r in the same direction is the low byte;
//   SplitByte  the buffer is one byte; register byte 2r is the high byte of
//              register r and 2r + 1 the low byte.
// Register bytes 128 to 132 are the byte registers of a 10G copper PHY
// (reset, power level, system side, line side auto-negotiation enable and
// advertisement), always one byte a call.
//
// Every call is logged; faults can be injected per call.
#ifndef SFPSIM_PHY_H
#define SFPSIM_PHY_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace sfpsim {

// Status of a call the PHY does not acknowledge: another device address, a
// register byte it does not have, or a register of a page it does not have.
inline constexpr int kPhyNak = 0x4E;

enum class PhyWidth : uint8_t { Word, SameByte, SplitByte };

// One PHY callback call as the PHY saw it. `value` is the word or byte
// written, or the one handed out by a read (0 for a failed read).
struct PhyAccess {
  bool write;
  uint8_t address;
  uint8_t reg; // register byte as given
  uint16_t value;
  int status;
  uint8_t page; // page select in force when the call was served

  friend bool operator==(const PhyAccess &, const PhyAccess &) = default;
};

class Phy {
public:
  static constexpr uint8_t kWriteAddress = 0xAC;
  static constexpr uint8_t kReadAddress = 0xAD;
  static constexpr uint8_t kRegisterCount = 32;
  static constexpr uint8_t kPageCount = 2;
  static constexpr uint8_t kPageSelect = 22;
  static constexpr uint8_t kStatus = 17;
  static constexpr uint8_t kFirstByteRegister = 128;
  static constexpr uint8_t kByteRegisterCount = 5;

  explicit Phy(PhyWidth width = PhyWidth::Word) : width_(width) {}

  PhyWidth width() const { return width_; }
  void set_width(PhyWidth width) { width_ = width; }

  // Register r (0..31) of `page` (0 or 1); register 22 is the same on both.
  uint16_t reg(uint8_t page, uint8_t r) const;
  void set_reg(uint8_t page, uint8_t r, uint16_t value);
  uint16_t page_select() const { return regs_[0][kPageSelect]; }

  // Sets the link bit and the speed code (0 10, 1 100, 2 1000 Mb/s) of the
  // status register of `page`, keeping its other bits.
  void set_link(uint8_t page, bool up, uint8_t speed_code);

  // The 10G byte registers, by register byte (128..132).
  uint8_t byte_reg(uint8_t reg_byte) const;

  // The callbacks; `opaque` must be a Phy.
  static int read_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);
  static int write_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);

  int read(uint8_t address, uint8_t reg, void *buffer);
  int write(uint8_t address, uint8_t reg, void *buffer);

  // Access log, oldest first, and the number of calls.
  const std::vector<PhyAccess> &log() const { return log_; }
  void clear_log() { log_.clear(); }
  uint64_t call_count() const { return calls_; }

  // Fault injection: a fault makes the call return `status` without any
  // effect on the PHY.
  // Fails the n-th call from now (1 = the next one), once; 0 fails nothing.
  void fail_nth_call(uint64_t n, int status);
  // Fails the n-th call from now and every later one, until cleared.
  void fail_from_nth_call(uint64_t n, int status);
  // Fails every call at register byte `reg_byte`, until cleared.
  void fail_at(uint8_t reg_byte, int status);
  void clear_faults() { faults_.clear(); }

private:
  struct Fault {
    std::optional<uint64_t> nth; // absolute call number
    uint8_t reg = 0;
    int status = 0;
    bool onward = false; // also every call after nth
  };
  // The first byte of a register in SameByte mode, waiting for its second.
  struct PendingHalf {
    bool write;
    uint8_t reg;
    uint16_t word; // the word read, or the high byte written
  };

  int transfer(bool write, uint8_t address, uint8_t reg, void *buffer);
  int serve(bool write, uint8_t reg, void *buffer);
  int serve_word(bool write, uint8_t r, void *buffer);
  int serve_split_byte(bool write, uint8_t reg, void *buffer);
  int serve_same_byte(bool write, uint8_t r, void *buffer,
                      const std::optional<PendingHalf> &pending);
  int serve_byte_register(bool write, uint8_t reg, void *buffer);
  uint16_t buffer_value(uint8_t reg, const void *buffer) const;
  int take_fault(uint8_t reg);
  bool reachable(uint8_t r) const { return r == kPageSelect || page_select() < kPageCount; }
  // The register r of the selected page (r below 32, reachable).
  uint16_t current(uint8_t r) const { return reg(static_cast<uint8_t>(page_select()), r); }
  // A bus write of register r to the selected page; the status register
  // ignores it.
  void store(uint8_t r, uint16_t value);

  PhyWidth width_;
  std::array<std::array<uint16_t, kRegisterCount>, kPageCount> regs_{};
  std::array<uint8_t, kByteRegisterCount> byte_regs_{};
  std::optional<PendingHalf> pending_;
  std::vector<PhyAccess> log_;
  std::vector<Fault> faults_;
  uint64_t calls_ = 0;
};

} // namespace sfpsim

#endif // SFPSIM_PHY_H
