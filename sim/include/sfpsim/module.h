// Simulated SFF-8472 module behind the sfpdrv callbacks.
//
// The module has A0h (256 bytes), the A2h lower half (128 bytes, byte 127 is
// the table select) and four upper tables of A2h (128 bytes each). Its
// callbacks behave like a platform's bus layer in front of a real module:
//   page 0        A0h at the offset;
//   page 1        A2h: offsets 0..127 the lower half, 128..255 the upper half
//                 of the table that the table select names;
//   pages 2 to 5  A2h upper half, offsets 0..127 taken as 128..255 (so table 0
//                 is read as offsets 0 to 127 and table 2 as 128 to 255). The
//                 module serves the table that the table select names, not the
//                 page: the library is expected to select it first.
// A table select beyond the four tables reads 0xff and ignores writes.
//
// The A2h lower half behaves as a module's status and control bytes do:
//   110  status/control: bit 7 the TX_DISABLE pin (read-only), bit 6 soft
//        transmitter disable and bit 3 soft rate select (read/write), bit 2
//        Tx fault and bit 1 LOS (live conditions), bit 0 data not ready;
//   112, 113, 116, 117  alarm and warning flags, and 119 bit 1  CDR fault:
//        latched. A read returns the latched bits and re-arms them from the
//        live condition, so a persisting condition shows again on the next
//        read and a transient one is gone after one read. A module made from
//        a memory (a profile or a captured image) takes the bits that memory
//        holds as persisting conditions: an image shows its flags as
//        captured on every read;
//   114  Tx CTLE peaking (read/write), 118 bit 0  power level select
//        (read/write), 120  Tx CDR and adaptive CTLE enables, rate select
//        (read/write);
//   96..109 (measured values), 115 (Rx CTLE peaking), 122 (adaptive CTLE
//        support) and the bits of 110, 118 and 119 not named above are
//        read-only: a write leaves them as they are.
// Tests set the conditions; the memory holds the bytes as the bus shows them.
// Every callback call is logged; faults can be injected per call.
#ifndef SFPSIM_MODULE_H
#define SFPSIM_MODULE_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sfpdrv/port.h"
#include "sfpsim/phy.h"

namespace sfpsim {

inline constexpr std::size_t kA0Size = 256;
inline constexpr std::size_t kA2LowerSize = 128;
inline constexpr std::size_t kTableSize = 128;
inline constexpr std::size_t kTableCount = 4;
inline constexpr uint8_t kTableSelectOffset = 127;

// Status a callback returns for a transfer that runs past the end of a
// memory (a bus error on a real module).
inline constexpr int kRangeError = 0x5E;

// Status a callback returns for a call it cannot serve at all: a null module
// or buffer, or a page beyond 5.
inline constexpr int kInvalidArgument = 22;

// Reads of A2h byte 110 before its data-not-ready bit clears: never.
inline constexpr uint32_t kNeverReady = UINT32_MAX;

enum class Bus : uint8_t { Read, Write, BitBangRead };

// One callback call as the module saw it. For reads `bytes` holds what the
// module put into the caller's buffer (nothing for a fault, apart from the
// partial data a fault may hand out), for writes what the caller gave.
struct Access {
  Bus bus;
  uint8_t page;
  uint8_t offset;
  uint32_t length;
  std::vector<uint8_t> bytes;
  int status;
  uint8_t table; // table select in force when the call was served
};

// The full memory of a module.
struct Memory {
  std::array<uint8_t, kA0Size> a0{};
  std::array<uint8_t, kA2LowerSize> a2_lower{};
  std::array<std::array<uint8_t, kTableSize>, kTableCount> tables{};
  // False for an image that held A0h only: its A2h bytes are zeros that say
  // nothing about the module.
  bool a2_captured = true;

  friend bool operator==(const Memory &, const Memory &) = default;
};

struct Profile;

// Live values that change from one reading to the next, so that a monitor
// can be watched without hardware. Each read of A2h that covers the first
// measured value (byte 96) first moves the module one step on: temperature
// and receive power become start + step x n (n counts such reads from 0 and
// starts over after `period` steps; 0: never), and the live alarm and
// warning conditions of all five quantities follow the measured values
// against the module's own thresholds. The steps are per read, not per
// second, so that a test sees the same values on every run.
struct Drift {
  double temperature_start_c = 0;
  double temperature_step_c = 0;
  double rx_power_start_dbm = 0;
  double rx_power_step_db = 0;
  uint32_t period = 0;
};

class Module {
public:
  Module() = default;
  explicit Module(const Memory &memory);
  // The profile's memory, with a PHY when the profile has one.
  explicit Module(const Profile &profile);

  Memory &memory() { return memory_; }
  const Memory &memory() const { return memory_; }
  uint8_t table_select() const { return memory_.a2_lower[kTableSelectOffset]; }

  // A0h followed by A2h bytes 0..255 with the upper half of table 0: the copy
  // a platform hands to sfp_port_create.
  std::array<uint8_t, SFP_EEPROM_CALLER_LEN> caller_image() const;

  // A creation record with this module's callbacks (opaque = this module),
  // its caller image and the given numbers; the rest is zero. The PHY
  // callbacks, with the word access and bus mode that match the PHY's
  // width, are set only when the module has a PHY.
  sfp_platform_ops platform_ops(int32_t controller = 0, int32_t port = 0) const;

  // The callbacks; `opaque` must be a Module.
  static int read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
  static int write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
  static int bitbang_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                             uint8_t *buffer);

  // The copper PHY on the module's bus, if it has one. A new module has
  // none; attach_phy gives it one (replacing any earlier one).
  Phy &attach_phy(const Phy &phy = Phy{});
  Phy *phy() { return phy_ ? &*phy_ : nullptr; }
  const Phy *phy() const { return phy_ ? &*phy_ : nullptr; }
  // PHY callbacks that hand the call to the module's PHY; `opaque` must be a
  // Module. Without a PHY nothing answers on the bus (kPhyNak).
  static int phy_read_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);
  static int phy_write_cb(void *opaque, uint8_t address, uint8_t reg, void *buffer);

  // Status and control conditions (A2h offsets 0..127; other offsets and
  // bits without such a condition are ignored).
  // The data-not-ready bit (A2h 110 bit 0) shows on the next `reads` reads of
  // byte 110 and then clears; 0 makes the data ready at once, kNeverReady
  // keeps it not ready.
  void set_data_ready_after(uint32_t reads);
  // Live conditions: the Tx fault and LOS bits of byte 110, and the
  // conditions behind the latched bits of 112, 113, 116, 117 and 119 (which
  // latch at once and re-arm on every read while they persist).
  void set_live_flags(uint8_t a2_offset, uint8_t bits);
  // A transient condition: latched bits that the next read clears.
  void latch_flags(uint8_t a2_offset, uint8_t bits);
  // Makes the measured values drift (see Drift) from the next read on.
  void set_drift(const Drift &drift);
  // Reads of the measured values so far while drifting.
  uint64_t drift_steps() const { return drift_steps_; }

  // The TX_DISABLE pin (A2h 110 bit 7).
  void set_tx_disable_pin(bool asserted);
  // The transmitter is on while neither the pin nor the soft disable is set.
  bool transmitter_on() const;

  // Access log, oldest first.
  const std::vector<Access> &log() const { return log_; }
  void clear_log() { log_.clear(); }
  uint64_t access_count() const { return accesses_; }
  // Logging is on by a new module. Switched off, calls are still counted and
  // faults still apply but nothing is added to the log (for benchmarks).
  void set_logging(bool on) { logging_ = on; }
  bool logging() const { return logging_; }

  // Fault injection. A fault makes the call return `status` without touching
  // the module; a failing read first writes `partial` bytes of real data to
  // the buffer (capped at the length).
  // Fails the n-th callback call from now (1 = the next one), once; n = 0
  // fails nothing.
  void fail_nth_access(uint64_t n, int status, uint32_t partial = 0);
  // Fails the n-th callback call from now and every later one, until
  // cleared; n = 0 fails nothing.
  void fail_from_nth_access(uint64_t n, int status);
  // Fails every call whose page and start offset match, until cleared.
  void fail_at(uint8_t page, uint8_t offset, int status, uint32_t partial = 0);
  void clear_faults();

private:
  struct Fault {
    std::optional<uint64_t> nth; // absolute call number
    bool onward = false;         // also every call after nth
    uint8_t page = 0;
    uint8_t offset = 0;
    int status = 0;
    uint32_t partial = 0;
  };

  int transfer(Bus bus, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
  const Fault *fault_for(uint64_t call, uint8_t page, uint8_t offset) const;
  uint8_t *byte_at(uint8_t page, uint32_t offset);
  // Bus effects on the A2h lower half: a write changes writable bits only,
  // a read re-arms latches and counts towards data ready.
  void write_a2_lower(uint32_t start, const uint8_t *bytes, uint32_t count);
  void after_a2_lower_read(uint32_t start, uint32_t count);
  // One drift step: the measured values and the live flags that follow them.
  void drift_step();
  // The latched bits the memory holds become persisting conditions.
  void hold_memory_flags();

  Memory memory_{};
  std::optional<Phy> phy_;
  std::vector<Access> log_;
  std::vector<Fault> faults_;
  std::array<uint8_t, kA2LowerSize> live_{}; // conditions behind latched bits
  uint32_t reads_until_ready_ = 0;
  uint64_t accesses_ = 0;
  bool logging_ = true;
  std::optional<Drift> drift_;
  uint64_t drift_steps_ = 0;
};

// A ready-made module.
struct Profile {
  std::string name;
  std::string description;
  Memory memory;
  bool has_phy = false;       // a copper module with a PHY on its bus
  std::optional<Drift> drift; // measured values that change per reading
};

// All ready-made profiles, in a stable order.
const std::vector<Profile> &profiles();

// The profile of that name, or nullptr.
const Profile *find_profile(const std::string &name);

// Files larger than this are refused without being read in full.
inline constexpr std::size_t kMaxImageFileSize = std::size_t{1} << 20;

// Module memory from an image file: raw binary of 256 or 512 bytes, plain hex
// text (whitespace-separated bytes, optionally "0x"), the hex dump that
// `ethtool -m IFNAME hex on` prints (or `sfpctl read`, with its text column;
// a second dump starting at 0 again holds A2h), the output of `i2cdump -y
// BUS 0x50` (a second address after it holds A2h; XX, a byte it could not
// read, is 0), or sfpctl's dump (comment lines, then sections "A0h:",
// "A2h:", "A2h table N:" of lines "0xOO: 16 bytes"). 256 bytes fill A0h;
// 512 fill A0h, the A2h lower half and, with the upper half, table 0. On
// failure returns nullopt and sets `error` to one line: what is wrong, or
// for a file of no known form, why each form did not fit.
std::optional<Memory> load_image_file(const std::string &path, std::string &error);
std::optional<Memory> parse_image(std::span<const uint8_t> contents, std::string &error);

// Fills bytes 63 (base), 95 (extended) and the vendor CRC at 124..127 of A0h.
void fix_checksums(Memory &memory);

// Fills A2h byte 95 with the sum of A2h bytes 0..94 (modulo 256), the check
// byte of the diagnostics thresholds and calibration.
void fix_diag_checksum(Memory &memory);

// CRC-32 as zlib computes it (reflected polynomial 0xEDB88320, initial value
// and final xor all ones).
uint32_t crc32(std::span<const uint8_t> bytes);

} // namespace sfpsim

#endif // SFPSIM_MODULE_H
