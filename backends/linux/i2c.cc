// i2c-dev backend: the module on an I2C adapter, A0h at 0x50, A2h at 0x51,
// a copper PHY at 0x56.
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "backends/linux/source.h"
#include "backends/linux/sys.h"

namespace sfpdrv::linux_backend {
namespace {

constexpr uint8_t kPhyAddress = 0x56;
constexpr uint8_t kFirstPhyByteRegister = 128; // 10G PHY byte registers
// The module's EEPROM takes at most one write page per write cycle.
constexpr uint32_t kWritePage = 8;
constexpr uint32_t kSmbusBlockMax = I2C_SMBUS_BLOCK_MAX;

enum class Mode : uint8_t { Combined, SmbusBlock, SmbusByte };

int error_of(int result) {
  return result < 0 ? errno : 0;
}

class I2cSource final : public sfp_linux_source {
public:
  I2cSource(int fd, Mode mode, const sfp_linux_i2c_options &options)
      : fd_(fd), mode_(mode), options_(options) {}
  ~I2cSource() override { sys().close(fd_); }

  int read(uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) override {
    Location where{};
    if (!locate(offset, page, length, where)) {
      return EINVAL;
    }
    return read_memory(where.address, where.start, length, buffer);
  }

  int write(uint8_t offset, uint8_t page, uint32_t length, const uint8_t *buffer) override {
    Location where{};
    if (!locate(offset, page, length, where)) {
      return EINVAL;
    }
    uint32_t done = 0;
    while (done < length) {
      const uint32_t at = where.start + done;
      const uint32_t piece = std::min(length - done, kWritePage - at % kWritePage);
      const int rc = with_retries(options_.retries, [&] {
        return write_piece(where.address, static_cast<uint8_t>(at), piece, buffer + done);
      });
      if (rc != 0) {
        return rc;
      }
      sys().sleep_us(SFP_LINUX_WRITE_CYCLE_US);
      done += piece;
    }
    return 0;
  }

  void fill(sfp_platform_ops &ops) override {
    ops.bitbang_read_cb = source_read_cb;
    ops.phy_read_cb = phy_read_cb;
    ops.phy_write_cb = phy_write_cb;
    ops.phy_word_access = options_.phy_word_access != 0 ? 1 : 0;
    ops.no_read_page_select = 0;
    ops.no_write_page_select = 0;
  }

private:
  static int phy_read_cb(void *opaque, uint8_t /*address*/, uint8_t reg, void *buffer) {
    if (opaque == nullptr || buffer == nullptr) {
      return EINVAL;
    }
    return static_cast<I2cSource *>(opaque)->phy_read(reg, buffer);
  }
  static int phy_write_cb(void *opaque, uint8_t /*address*/, uint8_t reg, void *buffer) {
    if (opaque == nullptr || buffer == nullptr) {
      return EINVAL;
    }
    return static_cast<I2cSource *>(opaque)->phy_write(reg, buffer);
  }

  // A word register travels high byte first; the 10G registers are bytes.
  bool word_register(uint8_t reg) const {
    return options_.phy_word_access != 0 && reg < kFirstPhyByteRegister;
  }

  int phy_read(uint8_t reg, void *buffer) {
    std::array<uint8_t, 2> bytes{};
    const uint32_t size = word_register(reg) ? 2 : 1;
    const int rc = with_retries(options_.retries, [&] {
      return size == 2 && mode_ == Mode::SmbusByte
                 ? smbus_word(I2C_SMBUS_READ, reg, bytes.data())
                 : read_block(kPhyAddress, reg, size, bytes.data());
    });
    if (rc != 0) {
      return rc;
    }
    if (size == 2) {
      const auto word = static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
      std::memcpy(buffer, &word, sizeof word);
    } else {
      std::memcpy(buffer, bytes.data(), 1);
    }
    return 0;
  }

  int phy_write(uint8_t reg, const void *buffer) {
    std::array<uint8_t, 2> bytes{};
    uint32_t size = 1;
    if (word_register(reg)) {
      uint16_t word = 0;
      std::memcpy(&word, buffer, sizeof word);
      bytes = {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word & 0xFF)};
      size = 2;
    } else {
      std::memcpy(bytes.data(), buffer, 1);
    }
    return with_retries(options_.retries, [&] {
      return size == 2 && mode_ == Mode::SmbusByte
                 ? smbus_word(I2C_SMBUS_WRITE, reg, bytes.data())
                 : write_piece(kPhyAddress, reg, size, bytes.data());
    });
  }

  // A PHY word over a byte-only SMBus adapter: SMBus word data, which
  // carries the low byte first; `bytes` holds the high byte first.
  int smbus_word(uint8_t direction, uint8_t reg, uint8_t *bytes) {
    int rc = select(kPhyAddress);
    if (rc != 0) {
      return rc;
    }
    i2c_smbus_data data{};
    data.word = static_cast<uint16_t>(bytes[1] << 8 | bytes[0]);
    i2c_smbus_ioctl_data args{direction, reg, I2C_SMBUS_WORD_DATA, &data};
    count(2);
    rc = error_of(sys().ioctl(fd_, I2C_SMBUS, &args));
    if (rc == 0 && direction == I2C_SMBUS_READ) {
      bytes[0] = static_cast<uint8_t>(data.word & 0xFF);
      bytes[1] = static_cast<uint8_t>(data.word >> 8);
    }
    return rc;
  }

  // Reads in blocks of at most the limit that never cross a half.
  int read_memory(uint8_t address, uint32_t start, uint32_t length, uint8_t *buffer) {
    uint32_t done = 0;
    while (done < length) {
      const uint32_t at = start + done;
      const uint32_t block = std::min({length - done, limit(), kHalf - at % kHalf});
      const int rc = with_retries(options_.retries, [&] {
        return read_block(address, static_cast<uint8_t>(at), block, buffer + done);
      });
      if (rc != 0) {
        return rc;
      }
      done += block;
    }
    return 0;
  }

  uint32_t limit() const {
    switch (mode_) {
    case Mode::Combined:
      return options_.block_limit;
    case Mode::SmbusBlock:
      return std::min(options_.block_limit, kSmbusBlockMax);
    case Mode::SmbusByte:
      return 1;
    }
    return 1;
  }

  // One bus transfer reading `size` bytes at `offset`: a combined transfer,
  // an SMBus block read, or (SMBus byte mode) one byte per transfer.
  int read_block(uint8_t address, uint8_t offset, uint32_t size, uint8_t *out) {
    if (mode_ == Mode::Combined) {
      uint8_t at = offset;
      std::array<i2c_msg, 2> msgs{
          {{address, 0, 1, &at}, {address, I2C_M_RD, static_cast<uint16_t>(size), out}}};
      i2c_rdwr_ioctl_data data{msgs.data(), 2};
      count(size);
      return error_of(sys().ioctl(fd_, I2C_RDWR, &data));
    }
    for (uint32_t i = 0; i < size; i += smbus_piece(size - i)) {
      const uint32_t piece = smbus_piece(size - i);
      const int rc =
          smbus(address, I2C_SMBUS_READ, static_cast<uint8_t>(offset + i), piece, out + i);
      if (rc != 0) {
        return rc;
      }
    }
    return 0;
  }

  int write_piece(uint8_t address, uint8_t offset, uint32_t size, const uint8_t *bytes) {
    if (mode_ == Mode::Combined) {
      std::array<uint8_t, 1 + kWritePage> message{};
      message[0] = offset;
      std::memcpy(message.data() + 1, bytes, size);
      i2c_msg msg{address, 0, static_cast<uint16_t>(size + 1), message.data()};
      i2c_rdwr_ioctl_data data{&msg, 1};
      count(size);
      return error_of(sys().ioctl(fd_, I2C_RDWR, &data));
    }
    for (uint32_t i = 0; i < size; i += smbus_piece(size - i)) {
      std::array<uint8_t, kWritePage> copy{};
      const uint32_t piece = smbus_piece(size - i);
      std::memcpy(copy.data(), bytes + i, piece);
      const int rc =
          smbus(address, I2C_SMBUS_WRITE, static_cast<uint8_t>(offset + i), piece, copy.data());
      if (rc != 0) {
        return rc;
      }
    }
    return 0;
  }

  uint32_t smbus_piece(uint32_t left) const { return mode_ == Mode::SmbusBlock ? left : 1; }

  int select(uint8_t address) {
    if (address == selected_) {
      return 0;
    }
    const unsigned long request = options_.force != 0 ? I2C_SLAVE_FORCE : I2C_SLAVE;
    if (sys().ioctl(fd_, request, reinterpret_cast<void *>(static_cast<uintptr_t>(address))) < 0) {
      return errno;
    }
    selected_ = address;
    return 0;
  }

  // One SMBus transfer of 1 byte (byte data) or up to 32 (I2C block data).
  int smbus(uint8_t address, uint8_t direction, uint8_t command, uint32_t size, uint8_t *bytes) {
    int rc = select(address);
    if (rc != 0) {
      return rc;
    }
    i2c_smbus_data data{};
    const uint32_t kind =
        mode_ == Mode::SmbusBlock ? I2C_SMBUS_I2C_BLOCK_DATA : I2C_SMBUS_BYTE_DATA;
    i2c_smbus_ioctl_data args{direction, command, kind, &data};
    if (mode_ == Mode::SmbusBlock) {
      data.block[0] = static_cast<uint8_t>(size);
      if (direction == I2C_SMBUS_WRITE) {
        std::memcpy(data.block + 1, bytes, size);
      }
    } else if (direction == I2C_SMBUS_WRITE) {
      data.byte = bytes[0];
    }
    count(size);
    rc = error_of(sys().ioctl(fd_, I2C_SMBUS, &args));
    if (rc != 0 || direction == I2C_SMBUS_WRITE) {
      return rc;
    }
    if (mode_ == Mode::SmbusBlock) {
      if (data.block[0] < size) {
        return ENODATA;
      }
      std::memcpy(bytes, data.block + 1, size);
    } else {
      bytes[0] = data.byte;
    }
    return 0;
  }

  int fd_;
  Mode mode_;
  sfp_linux_i2c_options options_;
  int selected_ = -1;
};

// The adapter number of "/dev/i2c-N", or -1.
int adapter_number(const char *device) {
  int number = -1;
  int consumed = 0;
  if (std::sscanf(device, "/dev/i2c-%d%n", &number, &consumed) != 1 || device[consumed] != '\0' ||
      number < 0) {
    return -1;
  }
  return number;
}

int probe_mode(int fd, Mode &mode) {
  unsigned long funcs = 0;
  if (sys().ioctl(fd, I2C_FUNCS, &funcs) < 0) {
    return errno;
  }
  if ((funcs & I2C_FUNC_I2C) != 0) {
    mode = Mode::Combined;
  } else if ((funcs & I2C_FUNC_SMBUS_I2C_BLOCK) == I2C_FUNC_SMBUS_I2C_BLOCK) {
    mode = Mode::SmbusBlock;
  } else if ((funcs & I2C_FUNC_SMBUS_BYTE_DATA) == I2C_FUNC_SMBUS_BYTE_DATA) {
    mode = Mode::SmbusByte;
  } else {
    return EOPNOTSUPP;
  }
  return 0;
}

} // namespace
} // namespace sfpdrv::linux_backend

using namespace sfpdrv::linux_backend;

extern "C" SFPDRV_API sfp_rc sfp_linux_i2c_bound_driver(const char *device, char *name,
                                                        size_t size) {
  if (device == nullptr || name == nullptr || size == 0) {
    return EINVAL;
  }
  name[0] = '\0';
  const int number = adapter_number(device);
  if (number < 0) {
    return EINVAL;
  }
  const std::string link = "/sys/bus/i2c/devices/" + std::to_string(number) + "-0050/driver";
  std::array<char, 256> target{};
  const ssize_t length = sys().readlink(link.c_str(), target.data(), target.size() - 1);
  if (length <= 0) {
    return 0;
  }
  const std::string path(target.data(), static_cast<size_t>(length));
  const std::string driver = path.substr(path.find_last_of('/') + 1);
  std::snprintf(name, size, "%s", driver.c_str());
  return 0;
}

extern "C" SFPDRV_API sfp_rc sfp_linux_open_i2c(const char *device,
                                                const sfp_linux_i2c_options *options,
                                                sfp_linux_source **out) {
  if (device == nullptr || out == nullptr) {
    return EINVAL;
  }
  *out = nullptr;
  sfp_linux_i2c_options chosen = options != nullptr ? *options : sfp_linux_i2c_options{};
  if (chosen.block_limit == 0) {
    chosen.block_limit = SFP_LINUX_DEFAULT_BLOCK;
  }
  if (chosen.block_limit > kHalf || chosen.retries > SFP_LINUX_MAX_RETRIES) {
    return EINVAL;
  }
  if (chosen.force == 0) {
    std::array<char, 64> driver{};
    if (adapter_number(device) >= 0 &&
        sfp_linux_i2c_bound_driver(device, driver.data(), driver.size()) == 0 &&
        driver[0] != '\0') {
      return EBUSY;
    }
  }
  const int fd = sys().open(device, O_RDWR);
  if (fd < 0) {
    return static_cast<sfp_rc>(errno);
  }
  Mode mode = Mode::Combined;
  const int rc = probe_mode(fd, mode);
  if (rc != 0) {
    sys().close(fd);
    return static_cast<sfp_rc>(rc);
  }
  *out = new (std::nothrow) I2cSource(fd, mode, chosen);
  if (*out == nullptr) {
    sys().close(fd);
    return ENOMEM;
  }
  return 0;
}
