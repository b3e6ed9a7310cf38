// A simulated kernel behind the Linux backends' system-call seam, serving a
// sfpsim::Module as an i2c-dev adapter, a module EEPROM file and a network
// interface (SIOCETHTOOL and the ethtool netlink module EEPROM request), and
// logging every transfer and wait it sees.
#ifndef SFPDRV_TESTS_BACKENDS_FAKE_KERNEL_H
#define SFPDRV_TESTS_BACKENDS_FAKE_KERNEL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "backends/linux/sys.h"
#include "sfpsim/module.h"

namespace sfpdrv::fake {

// What kind of operation a logged transfer was.
enum class Op : uint8_t {
  I2cRead,        // I2C_RDWR: offset write then read
  I2cWrite,       // I2C_RDWR: one write message (offset then data)
  SmbusBlockRead, // I2C_SMBUS, I2C block data
  SmbusByteRead,  // I2C_SMBUS, byte data
  SmbusWordRead,  // I2C_SMBUS, word data
  SmbusBlockWrite,
  SmbusByteWrite,
  SmbusWordWrite,
  FileRead,      // pread of the EEPROM file (offset is the file offset)
  FileWrite,     // pwrite of the EEPROM file
  EthtoolInfo,   // SIOCETHTOOL ETHTOOL_GMODULEINFO
  EthtoolEeprom, // SIOCETHTOOL ETHTOOL_GMODULEEEPROM (offset linear)
  NetlinkFamily, // generic netlink family lookup
  NetlinkEeprom, // ETHTOOL_MSG_MODULE_EEPROM_GET
  Wait,          // the write-cycle wait; length holds the microseconds
};

struct Transfer {
  Op op;
  uint8_t address; // 7-bit bus address (i2c, netlink), 0 otherwise
  uint8_t page;    // netlink page, 0 otherwise
  uint32_t offset;
  uint32_t length;
  int error; // errno the call returned, 0 on success
};

// How much of the ethtool netlink interface the kernel has.
enum class Netlink : uint8_t {
  Absent,       // no "ethtool" generic netlink family
  NoModuleRead, // the family exists; the driver cannot read by page
  PageZeroOnly, // pages above 0 are refused
  Full,
};

class FakeKernel {
public:
  // Serves `module` (which must outlive the kernel) and puts the kernel in
  // force behind the seam; the destructor restores the real calls.
  explicit FakeKernel(sfpsim::Module &module);
  ~FakeKernel();
  FakeKernel(const FakeKernel &) = delete;
  FakeKernel &operator=(const FakeKernel &) = delete;

  // Names the kernel knows.
  std::string i2c_device = "/dev/i2c-fake";
  std::string eeprom_path = "/sys/fake/sfp0/eeprom";
  std::string ifname = "fake0";
  // I2C_FUNCS of the adapter (full I2C with SMBus by default).
  unsigned long i2c_funcs;
  // Driver bound at 0x50 (readlink of .../N-0050/driver), "" for none.
  std::string bound_driver;
  // No module plugged: every transfer fails with `no_ack_errno`.
  bool module_present = true;
  int no_ack_errno = 6; // ENXIO
  // The EEPROM file may be opened for writing.
  bool eeprom_writable = true;
  // ethtool: 0 = the interface has no module EEPROM (EOPNOTSUPP), else 256
  // (SFF-8079) or 512 (SFF-8472).
  uint32_t ethtool_eeprom_len = 512;
  Netlink netlink = Netlink::Full;

  // The next `count` data transfers (not waits, not lookups) fail with
  // `error` without reaching the module.
  void fail_next(int error, uint32_t count = 1);

  // Every seam call is counted, one token each ("open", "ioctl:rdwr",
  // "pread", "nl_send", "sleep", ...). Counting from now, the k-th call fails
  // with `error` (k = 0 disarms), and with `onward` every call after it too.
  // Waits, nl_portid and nl_close cannot fail; a failed close still releases
  // the descriptor, as the kernel's does.
  void fail_call(uint64_t k, int error, bool onward);
  const std::vector<std::string> &calls() const { return calls_; } // while logging
  // Descriptors and netlink sockets open now.
  std::size_t open_fds() const { return fds.size(); }
  static std::size_t open_netlink_sockets();

  const std::vector<Transfer> &log() const { return log_; }
  void clear_log() { log_.clear(); }
  // Logging off keeps only the counts (for benchmarks).
  void set_logging(bool on) { logging_ = on; }
  uint64_t transfer_count() const { return transfers_; }
  uint64_t transfer_bytes() const { return bytes_; }

  sfpsim::Module &module() { return module_; }

  // Internal: the kernel in force.
  static FakeKernel *current();
  // Logs a transfer and counts it; returns the injected error, if any, for
  // a data transfer.
  int record(Transfer transfer, bool data_transfer);
  // Counts a seam call; returns the errno it is to fail with, or 0.
  int seam(const char *name, bool can_fail = true);
  struct Fd;
  std::vector<Fd *> fds;

private:
  sfpsim::Module &module_;
  std::vector<Transfer> log_;
  bool logging_ = true;
  uint64_t transfers_ = 0;
  uint64_t bytes_ = 0;
  int fail_error_ = 0;
  uint32_t fail_count_ = 0;
  std::vector<std::string> calls_;
  uint64_t call_count_ = 0;
  uint64_t call_fail_at_ = 0;
  bool call_fail_onward_ = false;
  int call_error_ = 0;
  linux_backend::SysCalls table_{};
};

// For a test-only build of a tool: serves a module of the profile named by
// SFPDRV_FAKE_PROFILE (default the first profile) as /dev/i2c-fake,
// /sys/fake/sfp0/eeprom and interface fake0 for the life of the process.
// SFPDRV_FAKE_ADAPTER=smbus makes the adapter SMBus-only; SFPDRV_FAKE_ABSENT=1
// unplugs the module. Returns false and sets `error` for an unknown profile.
bool install_fake_kernel_from_environment(std::string &error);

} // namespace sfpdrv::fake

#endif // SFPDRV_TESTS_BACKENDS_FAKE_KERNEL_H
