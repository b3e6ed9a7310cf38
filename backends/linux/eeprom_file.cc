// Module EEPROM file backend: the kernel driver's `eeprom` file of one cage,
// laid out linearly (A0h, A2h lower half, then each A2h table's upper half).
// The kernel selects the table itself.
#include <fcntl.h>

#include <cerrno>
#include <new>

#include "backends/linux/source.h"
#include "backends/linux/sys.h"

namespace sfpdrv::linux_backend {
namespace {

constexpr uint32_t kA2LowerAt = 256;
constexpr uint32_t kFirstTableAt = 384;

// File offset of a location; the A2h upper half of page 1 is table 0.
uint32_t file_offset(const Location &where) {
  if (where.address == kA0Address) {
    return where.start;
  }
  if (where.start < kHalf) {
    return kA2LowerAt + where.start;
  }
  const uint32_t table = where.table < 0 ? 0 : static_cast<uint32_t>(where.table);
  return kFirstTableAt + kHalf * table + (where.start - kHalf);
}

class EepromFileSource final : public sfp_linux_source {
public:
  EepromFileSource(int fd, bool writable) : fd_(fd), writable_(writable) {}
  ~EepromFileSource() override { sys().close(fd_); }

  int read(uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) override {
    return transfer(offset, page, length,
                    [&](uint32_t at, uint32_t size) { return sys().pread(fd_, buffer, size, at); });
  }

  int write(uint8_t offset, uint8_t page, uint32_t length, const uint8_t *buffer) override {
    // The kernel owns the table select and selects each table itself from
    // the file offset.
    if (is_table_select(offset, page, length)) {
      return 0;
    }
    if (!writable_) {
      return EROFS;
    }
    return transfer(offset, page, length, [&](uint32_t at, uint32_t size) {
      return sys().pwrite(fd_, buffer, size, at);
    });
  }

  void fill(sfp_platform_ops &ops) override {
    ops.no_read_page_select = 1;
    ops.no_write_page_select = 1;
  }

  bool read_only() const override { return !writable_; }

private:
  // One pread/pwrite: every access is one contiguous stretch of the file
  // (page 1's upper half is table 0, right after the lower half).
  template <typename Io> int transfer(uint8_t offset, uint8_t page, uint32_t length, Io &&io) {
    Location where{};
    if (!locate(offset, page, length, where)) {
      return EINVAL;
    }
    if (length == 0) {
      return 0;
    }
    const ssize_t result = io(file_offset(where), length);
    count(result > 0 ? static_cast<uint64_t>(result) : 0);
    if (result < 0) {
      return errno;
    }
    return static_cast<uint32_t>(result) == length ? 0 : ENODATA;
  }

  int fd_;
  bool writable_;
};

} // namespace
} // namespace sfpdrv::linux_backend

using namespace sfpdrv::linux_backend;

extern "C" SFPDRV_API sfp_rc sfp_linux_open_eeprom_file(const char *path, sfp_linux_source **out) {
  if (path == nullptr || out == nullptr) {
    return EINVAL;
  }
  *out = nullptr;
  bool writable = true;
  int fd = sys().open(path, O_RDWR);
  if (fd < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) {
    writable = false;
    fd = sys().open(path, O_RDONLY);
  }
  if (fd < 0) {
    return static_cast<sfp_rc>(errno);
  }
  *out = new (std::nothrow) EepromFileSource(fd, writable);
  if (*out == nullptr) {
    sys().close(fd);
    return ENOMEM;
  }
  return 0;
}
