// Simulated QSFP-to-SFP adapter (QSA) behind the adapter layer's callbacks.
//
// The adapter answers like a QSFP module: offsets 0..127 are its lower page,
// 128..255 the upper page that the page select (lower byte 127) names. The
// page a callback is given does not choose the bytes, the select does: the
// library writes the select first. A bus layer that selects the page itself
// (set_bus_selects_page, for a platform with the no-page-select flags) writes
// the callback's page to the select before each transfer.
//
// Lower page: byte 1 bit 0 set while no SFP is seated (read-only); 21 the
// SFP's rate code; 86 transmitter disable (bit 0 reads back); 116 and 117 the
// data-ready handshakes; 127 the page select.
// Upper page 0: a QSFP-style identity with valid CC_BASE (191) and CC_EXT
// (223) check bytes, the type code at 221 and the extended identifier at
// 222 (0xF2: an adapter answers).
// Upper pages 1 and 3 hold no valid data (0xff).
// Mirror pages of the seated SFP, at offsets 128..255: 4 A0h 0..127, 5 A0h
// 128..255, 6 A2h 0..127, 7 A2h table 0, 0xAC the copper PHY (register r of
// the PHY's selected page at 128 + 2r, high byte, and 129 + 2r, low byte).
//
// The mirror is copied from the module when it is seated and afterwards only
// on a handshake: writing 1 to byte 116 or 117 starts a refresh that
// completes on the read of that byte that follows `latency` reads still
// showing 1; the byte then reads 0. With kNeverRefresh it keeps reading 1.
// A refresh copies the module's memory as it stands, without bus effects.
// Writes to the mirror pages go to the seated module over its bus (A0h, the
// A2h lower half with its table select at page 6 byte 255, the table the
// module's select names through page 7, PHY register bytes); the mirror
// shows them after the next refresh. With no SFP seated they are not
// acknowledged.
//
// The adapter is thread-safe: its callbacks and the test's changes (seating,
// removing, faults) may come from different threads. A seated module must
// not be touched directly while callbacks run.
#ifndef SFPSIM_ADAPTER_H
#define SFPSIM_ADAPTER_H

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "sfpdrv/qsa.h"
#include "sfpsim/module.h"

namespace sfpsim {

inline constexpr uint32_t kNeverRefresh = UINT32_MAX;

// Status of an adapter call that nothing answers: a write to a mirror page
// with no SFP seated.
inline constexpr int kAdapterNak = 0x4E;

// One adapter callback call. `page` is the callback's page argument and
// `selected` the page select in force when the call was served; `bytes` as
// in Access.
struct AdapterAccess {
  bool write;
  uint8_t page;
  uint8_t offset;
  uint32_t length;
  std::vector<uint8_t> bytes;
  int status;
  uint8_t selected;
};

class Adapter {
public:
  static constexpr uint8_t kPresence = 1;
  static constexpr uint8_t kRateCode = 21;
  static constexpr uint8_t kTxDisable = 86;
  static constexpr uint8_t kHandshakeA0 = 116;
  static constexpr uint8_t kHandshakeOther = 117;
  static constexpr uint8_t kPageSelect = 127;
  static constexpr uint8_t kTypeCode = 221;
  static constexpr uint8_t kExtId = 222;
  static constexpr uint8_t kAnswering = 0xF2;
  static constexpr uint8_t kPhyMirror = 0xAC;

  // An adapter of the given type code (0x00 10G, 0x28 25G) with no SFP.
  explicit Adapter(uint8_t type_code = qsa_adapter_10g);

  // Seats `sfp` (swapping out any other), which must outlive its seating.
  // Its PHY, if any, is switched to SplitByte: the adapter reaches PHY
  // registers as bytes 2r and 2r + 1.
  void seat(Module &sfp);
  void remove();
  Module *seated() const;

  // Polls of a handshake byte that still read 1 before a refresh completes.
  void set_refresh_latency(uint32_t polls);
  uint64_t refresh_count() const;

  void set_type_code(uint8_t code); // keeps CC_EXT valid
  void set_ext_id(uint8_t id);      // anything but 0xF2: not an adapter
  void set_bus_selects_page(bool on);

  // Bytes as the bus shows them: lower page offsets 0..127; upper pages at
  // 128..255.
  uint8_t lower(uint8_t offset) const;
  void set_lower(uint8_t offset, uint8_t value);
  uint8_t upper(uint8_t page, uint8_t offset) const;
  // Changes an upper-page byte (offsets 128..255) as the adapter holds it,
  // checksums included as given; a mirror page keeps it until its next
  // refresh.
  void set_upper(uint8_t page, uint8_t offset, uint8_t value);

  // The 512 bytes a platform hands to qsa_port_create: the lower page, upper
  // page 0 and the adapter maker's area (version identifier at 148, product
  // identifier at 192 of the last 256 bytes).
  std::array<uint8_t, QSA_ADAPTER_EEPROM_LEN> eeprom_image() const;

  // A creation record with this adapter's callbacks (opaque = this adapter)
  // and image; no notification callback.
  qsa_platform_ops platform_ops(int32_t port, uint32_t module_present) const;

  static int read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
  static int write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);

  // Access log, oldest first (a copy: callbacks may be running).
  std::vector<AdapterAccess> log() const;
  void clear_log();
  uint64_t access_count() const;

  // Fault injection, as for Module: a fault makes the call return `status`
  // without touching the adapter. fail_at matches the callback's page
  // argument and start offset, and spares the first `spared` matching calls;
  // fail_all fails every call (0 lifts it).
  void fail_nth_access(uint64_t n, int status);
  // Fails the n-th call from now and every later one, until cleared.
  void fail_from_nth_access(uint64_t n, int status);
  void fail_at(uint8_t page, uint8_t offset, int status, uint32_t spared = 0);
  void fail_all(int status);
  void clear_faults();

private:
  using Page = std::array<uint8_t, 128>;
  struct Fault {
    std::optional<uint64_t> nth;
    uint8_t page = 0;
    uint8_t offset = 0;
    int status = 0;
    uint32_t spared = 0;
    bool onward = false; // also every call after nth
  };
  struct Handshake {
    bool pending = false;
    uint32_t polls_left = 0;
  };

  int transfer(bool write, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
  int take_fault(uint64_t call, uint8_t page, uint8_t offset);
  uint8_t read_byte(uint32_t offset);
  int write_byte(uint32_t offset, uint8_t value);
  int forward_to_sfp(uint8_t page, uint8_t offset, uint8_t value);
  void refresh_mirror();
  void fix_identity_checksums();

  mutable std::mutex lock_;
  Page lower_{};
  std::array<Page, 256> upper_{};
  std::array<uint8_t, 256> maker_area_{};
  Module *sfp_ = nullptr;
  std::array<Handshake, 2> handshakes_{};
  uint32_t latency_ = 0;
  uint64_t refreshes_ = 0;
  bool bus_selects_page_ = false;
  std::vector<AdapterAccess> log_;
  std::vector<Fault> faults_;
  int fail_all_ = 0;
  uint64_t accesses_ = 0;
};

} // namespace sfpsim

#endif // SFPSIM_ADAPTER_H
