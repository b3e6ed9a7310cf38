// The common part of every Linux backend source: where a library access
// lands in a module's memory, and the operations each backend provides.
#ifndef SFPDRV_BACKENDS_LINUX_SOURCE_H
#define SFPDRV_BACKENDS_LINUX_SOURCE_H

#include <cerrno>
#include <cstdint>

#include "sfpdrv/linux.h"

namespace sfpdrv::linux_backend {

inline constexpr uint8_t kA0Address = 0x50;
inline constexpr uint8_t kA2Address = 0x51;
inline constexpr uint32_t kMemorySize = 256;
inline constexpr uint32_t kHalf = 128;
inline constexpr uint8_t kFirstTablePage = SFP_PAGE_A2_TABLE0;
inline constexpr uint8_t kLastTablePage = SFP_PAGE_A2_TABLE3;

// Where a library access lands: the memory (A0h or A2h), the byte offset in
// it (0..255) and, for an A2h table page, the table (-1: the memory as the
// bus shows it, with whatever table is selected).
struct Location {
  uint8_t address;
  uint32_t start;
  int table;
};

// Maps the library's (offset, page, length); false for a page beyond the
// tables or a transfer that runs past the memory.
bool locate(uint8_t offset, uint8_t page, uint32_t length, Location &where);

// Whether a write is the table select (A2h byte 127) alone. On a source that
// names the table in each request (the kernel's EEPROM file, ethtool page
// reads) there is nothing to select: such a write, which the library makes
// of its own when it identifies a tunable module whatever the page-select
// flags say, is taken as done and never reaches the module.
constexpr bool is_table_select(uint8_t offset, uint8_t page, uint32_t length) {
  return page == SFP_PAGE_A2 && offset == 127 && length == 1;
}

// Runs `call` (returning 0 or an errno) again while it fails with a
// transient error, at most `retries` more times.
template <typename Call> int with_retries(uint32_t retries, Call &&call) {
  int rc = call();
  for (uint32_t attempt = 0; attempt < retries && (rc == EAGAIN || rc == ETIMEDOUT); ++attempt) {
    rc = call();
  }
  return rc;
}

} // namespace sfpdrv::linux_backend

// One open module source. Each backend derives from it.
struct sfp_linux_source {
  sfp_linux_source() = default;
  virtual ~sfp_linux_source() = default;
  sfp_linux_source(const sfp_linux_source &) = delete;
  sfp_linux_source &operator=(const sfp_linux_source &) = delete;

  // Module memory at a library (offset, page); 0 or an errno.
  virtual int read(uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) = 0;
  virtual int write(uint8_t offset, uint8_t page, uint32_t length, const uint8_t *buffer) = 0;
  // Fills the callbacks and flags that are the backend's own.
  virtual void fill(sfp_platform_ops &ops) = 0;
  virtual bool read_only() const { return false; }

  // Counts one transfer of `bytes` bytes.
  void count(uint64_t bytes) {
    ++transfers;
    moved += bytes;
  }

  uint64_t transfers = 0;
  uint64_t moved = 0;
};

namespace sfpdrv::linux_backend {
// The generic callbacks over a source's read and write.
int source_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
int source_write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer);
} // namespace sfpdrv::linux_backend

#endif // SFPDRV_BACKENDS_LINUX_SOURCE_H
