// The simulated kernel: each seam call either names something the fake
// kernel serves (its i2c-dev node, EEPROM file, interface, netlink socket
// or one of its file descriptors) or goes to the real system call.
#include "fake_kernel.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>

namespace sfpdrv::fake {

namespace lb = sfpdrv::linux_backend;

struct FakeKernel::Fd {
  enum class Kind : uint8_t { I2c, File, Socket } kind;
  int number;
  uint8_t slave = 0;
};

namespace {

constexpr int kFirstFd = 7000;
constexpr uint16_t kEthtoolFamily = 27;
constexpr uint8_t kA0 = 0x50;
constexpr uint8_t kA2 = 0x51;
constexpr uint8_t kPhy = 0x56;
constexpr uint32_t kWritePage = 8;
constexpr uint32_t kFileSize = 384 + 4 * 128;

FakeKernel *g_current = nullptr;
std::size_t g_nl_sockets = 0;

// A fake netlink socket: the replies waiting to be read, one datagram each,
// oldest first (a reply not read stays queued, as in the kernel).
struct NlSocket {
  std::deque<std::vector<uint8_t>> replies;
};

FakeKernel::Fd *find_fd(int number) {
  if (g_current == nullptr) {
    return nullptr;
  }
  for (FakeKernel::Fd *fd : g_current->fds) {
    if (fd->number == number) {
      return fd;
    }
  }
  return nullptr;
}

int fail(int error) {
  errno = error;
  return -1;
}

const lb::SysCalls &real() {
  return lb::real_sys();
}

// The error a seam call is to fail with, if the fake kernel is in force.
int seam_fault(const char *name, bool can_fail = true) {
  return g_current != nullptr ? g_current->seam(name, can_fail) : 0;
}

const char *ioctl_name(unsigned long request) {
  switch (request) {
  case I2C_FUNCS:
    return "ioctl:funcs";
  case I2C_SLAVE:
  case I2C_SLAVE_FORCE:
    return "ioctl:slave";
  case I2C_RDWR:
    return "ioctl:rdwr";
  case I2C_SMBUS:
    return "ioctl:smbus";
  case SIOCETHTOOL:
    return "ioctl:ethtool";
  default:
    return "ioctl";
  }
}

// --- the module behind the bus --------------------------------------------

// Selects A2h table `table` the way a kernel driver does, through byte 127.
void select_table(sfpsim::Module &module, uint8_t table) {
  if (module.table_select() != table) {
    sfpsim::Module::write_cb(&module, 127, SFP_PAGE_A2, 1, &table);
  }
}

// Bus read of `length` bytes at `offset` of the device at `address`.
int module_read(FakeKernel &k, uint8_t address, uint8_t offset, uint32_t length, uint8_t *out) {
  if (!k.module_present) {
    return k.no_ack_errno;
  }
  sfpsim::Module &module = k.module();
  if (address == kA0 || address == kA2) {
    const uint8_t page = address == kA0 ? SFP_PAGE_A0 : SFP_PAGE_A2;
    return sfpsim::Module::read_cb(&module, offset, page, length, out) == 0 ? 0 : EIO;
  }
  if (address == kPhy && module.phy() != nullptr) {
    uint16_t word = 0;
    const bool word_reg = module.phy()->width() == sfpsim::PhyWidth::Word && offset < 128;
    if (length != (word_reg ? 2u : 1u)) {
      return EIO;
    }
    if (sfpsim::Module::phy_read_cb(&module, sfpsim::Phy::kReadAddress, offset, &word) != 0) {
      return k.no_ack_errno;
    }
    if (word_reg) {
      out[0] = static_cast<uint8_t>(word >> 8);
      out[1] = static_cast<uint8_t>(word & 0xFF);
    } else {
      std::memcpy(out, &word, 1);
    }
    return 0;
  }
  return k.no_ack_errno;
}

// Bus write; an EEPROM takes at most one 8-byte write page at a time.
int module_write(FakeKernel &k, uint8_t address, uint8_t offset, uint32_t length,
                 const uint8_t *bytes) {
  if (!k.module_present) {
    return k.no_ack_errno;
  }
  sfpsim::Module &module = k.module();
  std::vector<uint8_t> copy(bytes, bytes + length);
  if (address == kA0 || address == kA2) {
    if (length == 0 || offset % kWritePage + length > kWritePage) {
      return EIO;
    }
    const uint8_t page = address == kA0 ? SFP_PAGE_A0 : SFP_PAGE_A2;
    return sfpsim::Module::write_cb(&module, offset, page, length, copy.data()) == 0 ? 0 : EIO;
  }
  if (address == kPhy && module.phy() != nullptr) {
    const bool word_reg = module.phy()->width() == sfpsim::PhyWidth::Word && offset < 128;
    if (length != (word_reg ? 2u : 1u)) {
      return EIO;
    }
    uint16_t word = word_reg ? static_cast<uint16_t>(bytes[0] << 8 | bytes[1]) : bytes[0];
    uint8_t byte = bytes[0];
    void *value = word_reg ? static_cast<void *>(&word) : static_cast<void *>(&byte);
    return sfpsim::Module::phy_write_cb(&module, sfpsim::Phy::kWriteAddress, offset, value) == 0
               ? 0
               : k.no_ack_errno;
  }
  return k.no_ack_errno;
}

// Reads module memory at a linear position of the kernel's layout (A0h,
// A2h lower half, tables' upper halves); returns the bytes served.
int linear_read(FakeKernel &k, uint32_t at, uint32_t length, uint8_t *out, uint32_t &served) {
  served = 0;
  if (!k.module_present) {
    return k.no_ack_errno;
  }
  while (served < length && at < kFileSize) {
    uint32_t size = 0;
    int rc = 0;
    sfpsim::Module &module = k.module();
    if (at < 256) {
      size = std::min(length - served, 256 - at);
      rc = sfpsim::Module::read_cb(&module, static_cast<uint8_t>(at), SFP_PAGE_A0, size,
                                   out + served);
    } else if (at < 384) {
      size = std::min(length - served, 384 - at);
      rc = sfpsim::Module::read_cb(&module, static_cast<uint8_t>(at - 256), SFP_PAGE_A2, size,
                                   out + served);
    } else {
      const auto table = static_cast<uint8_t>((at - 384) / 128);
      const uint32_t within = (at - 384) % 128;
      size = std::min(length - served, 128 - within);
      select_table(module, table);
      rc = sfpsim::Module::read_cb(&module, static_cast<uint8_t>(within),
                                   static_cast<uint8_t>(SFP_PAGE_A2_TABLE0 + table), size,
                                   out + served);
    }
    if (rc != 0) {
      return EIO;
    }
    served += size;
    at += size;
  }
  return 0;
}

int linear_write(FakeKernel &k, uint32_t at, uint32_t length, const uint8_t *in) {
  if (!k.module_present) {
    return k.no_ack_errno;
  }
  sfpsim::Module &module = k.module();
  std::vector<uint8_t> copy(in, in + length);
  for (uint32_t done = 0; done < length;) {
    const uint32_t pos = at + done;
    uint32_t size = 0;
    int rc = 0;
    if (pos < 256) {
      size = std::min(length - done, 256 - pos);
      rc = sfpsim::Module::write_cb(&module, static_cast<uint8_t>(pos), SFP_PAGE_A0, size,
                                    copy.data() + done);
    } else if (pos < 384) {
      size = std::min(length - done, 384 - pos);
      rc = sfpsim::Module::write_cb(&module, static_cast<uint8_t>(pos - 256), SFP_PAGE_A2, size,
                                    copy.data() + done);
    } else {
      const auto table = static_cast<uint8_t>((pos - 384) / 128);
      const uint32_t within = (pos - 384) % 128;
      size = std::min(length - done, 128 - within);
      select_table(module, table);
      rc = sfpsim::Module::write_cb(&module, static_cast<uint8_t>(within),
                                    static_cast<uint8_t>(SFP_PAGE_A2_TABLE0 + table), size,
                                    copy.data() + done);
    }
    if (rc != 0) {
      return EIO;
    }
    done += size;
  }
  return 0;
}

// --- seam calls ------------------------------------------------------------

int add_fd(FakeKernel::Fd::Kind kind) {
  static int next = kFirstFd;
  auto *fd = new FakeKernel::Fd{kind, next++};
  g_current->fds.push_back(fd);
  return fd->number;
}

int fake_open(const char *path, int flags) {
  if (const int error = seam_fault("open")) {
    return fail(error);
  }
  FakeKernel *k = g_current;
  if (k != nullptr && path != nullptr) {
    if (k->i2c_device == path) {
      return add_fd(FakeKernel::Fd::Kind::I2c);
    }
    if (k->eeprom_path == path) {
      if ((flags & O_ACCMODE) != O_RDONLY && !k->eeprom_writable) {
        return fail(EACCES);
      }
      return add_fd(FakeKernel::Fd::Kind::File);
    }
  }
  return real().open(path, flags);
}

int fake_close(int number) {
  const int error = seam_fault("close");
  FakeKernel::Fd *fd = find_fd(number);
  if (fd == nullptr) {
    return real().close(number);
  }
  auto &fds = g_current->fds;
  fds.erase(std::find(fds.begin(), fds.end(), fd));
  delete fd;
  return error == 0 ? 0 : fail(error);
}

int i2c_rdwr(FakeKernel &k, i2c_rdwr_ioctl_data *data) {
  if (data->nmsgs == 2 && (data->msgs[0].flags & I2C_M_RD) == 0 && data->msgs[0].len == 1 &&
      (data->msgs[1].flags & I2C_M_RD) != 0 && data->msgs[0].addr == data->msgs[1].addr) {
    const i2c_msg &read = data->msgs[1];
    const uint8_t offset = data->msgs[0].buf[0];
    int rc = k.record({Op::I2cRead, static_cast<uint8_t>(read.addr), 0, offset, read.len, 0}, true);
    if (rc == 0) {
      rc = module_read(k, static_cast<uint8_t>(read.addr), offset, read.len, read.buf);
    }
    return rc == 0 ? 2 : fail(rc);
  }
  if (data->nmsgs == 1 && (data->msgs[0].flags & I2C_M_RD) == 0 && data->msgs[0].len >= 1) {
    const i2c_msg &write = data->msgs[0];
    const uint32_t length = write.len - 1u;
    int rc = k.record({Op::I2cWrite, static_cast<uint8_t>(write.addr), 0, write.buf[0], length, 0},
                      true);
    if (rc == 0) {
      rc = module_write(k, static_cast<uint8_t>(write.addr), write.buf[0], length, write.buf + 1);
    }
    return rc == 0 ? 1 : fail(rc);
  }
  return fail(EINVAL);
}

bool has(unsigned long funcs, unsigned long wanted) {
  return (funcs & wanted) == wanted;
}

int i2c_smbus(FakeKernel &k, FakeKernel::Fd &fd, i2c_smbus_ioctl_data *args) {
  const bool reading = args->read_write == I2C_SMBUS_READ;
  Op op{};
  uint32_t length = 0;
  unsigned long needed = 0;
  switch (args->size) {
  case I2C_SMBUS_I2C_BLOCK_DATA:
    op = reading ? Op::SmbusBlockRead : Op::SmbusBlockWrite;
    length = args->data->block[0];
    needed = reading ? I2C_FUNC_SMBUS_READ_I2C_BLOCK : I2C_FUNC_SMBUS_WRITE_I2C_BLOCK;
    if (length == 0 || length > I2C_SMBUS_BLOCK_MAX) {
      return fail(EINVAL);
    }
    break;
  case I2C_SMBUS_BYTE_DATA:
    op = reading ? Op::SmbusByteRead : Op::SmbusByteWrite;
    length = 1;
    needed = reading ? I2C_FUNC_SMBUS_READ_BYTE_DATA : I2C_FUNC_SMBUS_WRITE_BYTE_DATA;
    break;
  case I2C_SMBUS_WORD_DATA:
    op = reading ? Op::SmbusWordRead : Op::SmbusWordWrite;
    length = 2;
    needed = reading ? I2C_FUNC_SMBUS_READ_WORD_DATA : I2C_FUNC_SMBUS_WRITE_WORD_DATA;
    break;
  default:
    return fail(EINVAL);
  }
  if (!has(k.i2c_funcs, needed) || fd.slave == 0) {
    return fail(EINVAL);
  }
  int rc = k.record({op, fd.slave, 0, args->command, length, 0}, true);
  std::array<uint8_t, I2C_SMBUS_BLOCK_MAX> bytes{};
  if (rc == 0 && !reading) {
    if (args->size == I2C_SMBUS_I2C_BLOCK_DATA) {
      std::memcpy(bytes.data(), args->data->block + 1, length);
    } else if (args->size == I2C_SMBUS_BYTE_DATA) {
      bytes[0] = args->data->byte;
    } else { // SMBus words travel low byte first
      bytes[0] = static_cast<uint8_t>(args->data->word & 0xFF);
      bytes[1] = static_cast<uint8_t>(args->data->word >> 8);
    }
    rc = module_write(k, fd.slave, args->command, length, bytes.data());
  } else if (rc == 0) {
    rc = module_read(k, fd.slave, args->command, length, bytes.data());
    if (rc == 0 && args->size == I2C_SMBUS_I2C_BLOCK_DATA) {
      std::memcpy(args->data->block + 1, bytes.data(), length);
    } else if (rc == 0 && args->size == I2C_SMBUS_BYTE_DATA) {
      args->data->byte = bytes[0];
    } else if (rc == 0) {
      args->data->word = static_cast<uint16_t>(bytes[1] << 8 | bytes[0]);
    }
  }
  return rc == 0 ? 0 : fail(rc);
}

int ethtool_ioctl(FakeKernel &k, ifreq *ifr) {
  if (k.ifname != ifr->ifr_name) {
    return fail(ENODEV);
  }
  if (k.ethtool_eeprom_len == 0) {
    return fail(EOPNOTSUPP);
  }
  uint32_t cmd = 0;
  std::memcpy(&cmd, ifr->ifr_data, sizeof cmd);
  if (cmd == ETHTOOL_GMODULEINFO) {
    auto *info = reinterpret_cast<ethtool_modinfo *>(ifr->ifr_data);
    k.record({Op::EthtoolInfo, 0, 0, 0, 0, 0}, false);
    if (!k.module_present) {
      return fail(k.no_ack_errno);
    }
    info->type = k.ethtool_eeprom_len == 256 ? ETH_MODULE_SFF_8079 : ETH_MODULE_SFF_8472;
    info->eeprom_len = k.ethtool_eeprom_len;
    return 0;
  }
  if (cmd == ETHTOOL_GMODULEEEPROM) {
    auto *request = reinterpret_cast<ethtool_eeprom *>(ifr->ifr_data);
    int rc = k.record({Op::EthtoolEeprom, 0, 0, request->offset, request->len, 0}, true);
    if (rc == 0 && request->offset + static_cast<uint64_t>(request->len) > k.ethtool_eeprom_len) {
      rc = EINVAL;
    }
    if (rc == 0) {
      // The A2h upper half here is the table the module has selected.
      auto *data = reinterpret_cast<uint8_t *>(request + 1);
      for (uint32_t i = 0; i < request->len && rc == 0; ++i) {
        const uint32_t at = request->offset + i;
        rc = at < 256 ? module_read(k, kA0, static_cast<uint8_t>(at), 1, data + i)
                      : module_read(k, kA2, static_cast<uint8_t>(at - 256), 1, data + i);
      }
    }
    return rc == 0 ? 0 : fail(rc);
  }
  return fail(EOPNOTSUPP);
}

int fake_ioctl(int number, unsigned long request, void *arg) {
  if (const int error = seam_fault(ioctl_name(request))) {
    return fail(error);
  }
  FakeKernel::Fd *fd = find_fd(number);
  if (fd == nullptr) {
    return real().ioctl(number, request, arg);
  }
  FakeKernel &k = *g_current;
  if (fd->kind == FakeKernel::Fd::Kind::Socket) {
    return request == SIOCETHTOOL ? ethtool_ioctl(k, static_cast<ifreq *>(arg)) : fail(ENOTTY);
  }
  if (fd->kind != FakeKernel::Fd::Kind::I2c) {
    return fail(ENOTTY);
  }
  switch (request) {
  case I2C_FUNCS:
    *static_cast<unsigned long *>(arg) = k.i2c_funcs;
    return 0;
  case I2C_SLAVE:
  case I2C_SLAVE_FORCE: {
    const auto address = static_cast<uint8_t>(reinterpret_cast<uintptr_t>(arg));
    if (request == I2C_SLAVE && address == kA0 && !k.bound_driver.empty()) {
      return fail(EBUSY);
    }
    fd->slave = address;
    return 0;
  }
  case I2C_RDWR:
    return has(k.i2c_funcs, I2C_FUNC_I2C) ? i2c_rdwr(k, static_cast<i2c_rdwr_ioctl_data *>(arg))
                                          : fail(EOPNOTSUPP);
  case I2C_SMBUS:
    return i2c_smbus(k, *fd, static_cast<i2c_smbus_ioctl_data *>(arg));
  default:
    return fail(ENOTTY);
  }
}

ssize_t fake_pread(int number, void *buffer, size_t count, off_t offset) {
  if (const int error = seam_fault("pread")) {
    return fail(error);
  }
  FakeKernel::Fd *fd = find_fd(number);
  if (fd == nullptr) {
    return real().pread(number, buffer, count, offset);
  }
  FakeKernel &k = *g_current;
  if (fd->kind != FakeKernel::Fd::Kind::File || offset < 0) {
    return fail(EINVAL);
  }
  const auto at = static_cast<uint32_t>(offset);
  const auto length = static_cast<uint32_t>(count);
  int rc = k.record({Op::FileRead, 0, 0, at, length, 0}, true);
  uint32_t served = 0;
  if (rc == 0) {
    rc = linear_read(k, at, length, static_cast<uint8_t *>(buffer), served);
  }
  return rc == 0 ? static_cast<ssize_t>(served) : fail(rc);
}

ssize_t fake_pwrite(int number, const void *buffer, size_t count, off_t offset) {
  if (const int error = seam_fault("pwrite")) {
    return fail(error);
  }
  FakeKernel::Fd *fd = find_fd(number);
  if (fd == nullptr) {
    return real().pwrite(number, buffer, count, offset);
  }
  FakeKernel &k = *g_current;
  if (fd->kind != FakeKernel::Fd::Kind::File || offset < 0 ||
      static_cast<uint64_t>(offset) + count > kFileSize) {
    return fail(EINVAL);
  }
  const auto at = static_cast<uint32_t>(offset);
  const auto length = static_cast<uint32_t>(count);
  int rc = k.record({Op::FileWrite, 0, 0, at, length, 0}, true);
  if (rc == 0) {
    rc = linear_write(k, at, length, static_cast<const uint8_t *>(buffer));
  }
  return rc == 0 ? static_cast<ssize_t>(count) : fail(rc);
}

int fake_socket(int domain, int type, int protocol) {
  if (const int error = seam_fault("socket")) {
    return fail(error);
  }
  if (g_current != nullptr && domain == AF_INET) {
    return add_fd(FakeKernel::Fd::Kind::Socket);
  }
  return real().socket(domain, type, protocol);
}

ssize_t fake_readlink(const char *path, char *buffer, size_t size) {
  if (const int error = seam_fault("readlink")) {
    return fail(error);
  }
  FakeKernel *k = g_current;
  int number = -1;
  if (k != nullptr && std::sscanf(k->i2c_device.c_str(), "/dev/i2c-%d", &number) == 1) {
    const std::string link = "/sys/bus/i2c/devices/" + std::to_string(number) + "-0050/driver";
    if (link == path) {
      if (k->bound_driver.empty()) {
        return fail(ENOENT);
      }
      const std::string target = "../../../../bus/i2c/drivers/" + k->bound_driver;
      // As readlink: the target's bytes, cut to the buffer, no terminator.
      const size_t length = std::min(size, target.size());
      std::copy_n(target.data(), length, buffer);
      return static_cast<ssize_t>(length);
    }
  }
  return real().readlink(path, buffer, size);
}

int fake_stat(const char *path, struct stat *info) {
  if (const int error = seam_fault("stat")) {
    return fail(error);
  }
  return real().stat(path, info);
}

void fake_sleep_us(uint32_t microseconds) {
  seam_fault("sleep", false);
  if (g_current == nullptr) {
    real().sleep_us(microseconds);
    return;
  }
  g_current->record({Op::Wait, 0, 0, 0, microseconds, 0}, false);
}

// --- netlink ---------------------------------------------------------------

void *fake_nl_open() {
  if (const int error = seam_fault("nl_open")) {
    errno = error;
    return nullptr;
  }
  ++g_nl_sockets;
  return new NlSocket;
}

void fake_nl_close(void *socket) {
  seam_fault("nl_close", false);
  --g_nl_sockets;
  delete static_cast<NlSocket *>(socket);
}

uint32_t fake_nl_portid(void *) {
  seam_fault("nl_portid", false);
  return 4242;
}

void put_error(NlSocket &socket, const nlmsghdr *request, int error) {
  std::vector<uint8_t> &out = socket.replies.emplace_back(MNL_SOCKET_BUFFER_SIZE, 0);
  nlmsghdr *reply = mnl_nlmsg_put_header(out.data());
  reply->nlmsg_type = NLMSG_ERROR;
  reply->nlmsg_seq = request->nlmsg_seq;
  auto *payload = static_cast<nlmsgerr *>(mnl_nlmsg_put_extra_header(reply, sizeof(nlmsgerr)));
  payload->error = -error;
  payload->msg = *request;
  out.resize(reply->nlmsg_len);
}

// Starts a reply datagram; the caller cuts it to nlmsg_len when it is done.
nlmsghdr *start_reply(NlSocket &socket, const nlmsghdr *request, uint16_t type, uint8_t cmd) {
  std::vector<uint8_t> &out = socket.replies.emplace_back(MNL_SOCKET_BUFFER_SIZE, 0);
  nlmsghdr *reply = mnl_nlmsg_put_header(out.data());
  reply->nlmsg_type = type;
  reply->nlmsg_seq = request->nlmsg_seq;
  auto *genl = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(reply, sizeof(genlmsghdr)));
  genl->cmd = cmd;
  genl->version = 1;
  return reply;
}

struct EepromRequest {
  std::string dev;
  uint32_t offset = 0;
  uint32_t length = 0;
  uint8_t page = 0;
  uint8_t bank = 0;
  uint8_t address = 0;
  std::string family;
};

int collect_header(const nlattr *attr, void *data) {
  if (mnl_attr_get_type(attr) == ETHTOOL_A_HEADER_DEV_NAME) {
    static_cast<EepromRequest *>(data)->dev = mnl_attr_get_str(attr);
  }
  return MNL_CB_OK;
}

int collect(const nlattr *attr, void *data) {
  auto *request = static_cast<EepromRequest *>(data);
  switch (mnl_attr_get_type(attr)) {
  case ETHTOOL_A_MODULE_EEPROM_HEADER:
    mnl_attr_parse_nested(attr, collect_header, data);
    break;
  case ETHTOOL_A_MODULE_EEPROM_OFFSET:
    request->offset = mnl_attr_get_u32(attr);
    break;
  case ETHTOOL_A_MODULE_EEPROM_LENGTH:
    request->length = mnl_attr_get_u32(attr);
    break;
  case ETHTOOL_A_MODULE_EEPROM_PAGE:
    request->page = mnl_attr_get_u8(attr);
    break;
  case ETHTOOL_A_MODULE_EEPROM_BANK:
    request->bank = mnl_attr_get_u8(attr);
    break;
  case ETHTOOL_A_MODULE_EEPROM_I2C_ADDRESS:
    request->address = mnl_attr_get_u8(attr);
    break;
  default:
    break;
  }
  return MNL_CB_OK;
}

int collect_family(const nlattr *attr, void *data) {
  if (mnl_attr_get_type(attr) == CTRL_ATTR_FAMILY_NAME) {
    static_cast<EepromRequest *>(data)->family = mnl_attr_get_str(attr);
  }
  return MNL_CB_OK;
}

// The checks the kernel makes on a module EEPROM request, then the read.
int serve_eeprom(FakeKernel &k, const EepromRequest &r, uint8_t *out) {
  if (r.dev != k.ifname) {
    return ENODEV;
  }
  if (k.ethtool_eeprom_len == 0 || k.netlink == Netlink::NoModuleRead) {
    return EOPNOTSUPP;
  }
  if (r.length == 0 || r.length > 128 || r.offset + r.length > 256 ||
      (r.offset < 128 && r.offset + r.length > 128) || (r.page > 0 && r.offset < 128) ||
      r.bank != 0) {
    return EINVAL;
  }
  if (r.page > 0 && k.netlink == Netlink::PageZeroOnly) {
    return EOPNOTSUPP;
  }
  if (r.address != kA0 && r.address != kA2) {
    return EINVAL;
  }
  if (r.address == kA2 && r.offset >= 128) {
    if (!k.module_present) {
      return k.no_ack_errno;
    }
    if (r.page > 3) {
      return EINVAL;
    }
    select_table(k.module(), r.page);
  }
  return module_read(k, r.address, static_cast<uint8_t>(r.offset), r.length, out);
}

ssize_t fake_nl_send(void *opaque, const void *message, size_t length) {
  if (const int error = seam_fault("nl_send")) {
    return fail(error);
  }
  auto &socket = *static_cast<NlSocket *>(opaque);
  const auto *request = static_cast<const nlmsghdr *>(message);
  FakeKernel *k = g_current;
  if (k == nullptr || !mnl_nlmsg_ok(request, static_cast<int>(length))) {
    return fail(EINVAL);
  }
  const auto *genl = static_cast<const genlmsghdr *>(mnl_nlmsg_get_payload(request));
  EepromRequest parsed;
  if (request->nlmsg_type == GENL_ID_CTRL && genl->cmd == CTRL_CMD_GETFAMILY) {
    mnl_attr_parse(request, sizeof(genlmsghdr), collect_family, &parsed);
    k->record({Op::NetlinkFamily, 0, 0, 0, 0, 0}, false);
    if (parsed.family != ETHTOOL_GENL_NAME || k->netlink == Netlink::Absent) {
      put_error(socket, request, ENOENT);
    } else {
      nlmsghdr *reply = start_reply(socket, request, GENL_ID_CTRL, CTRL_CMD_NEWFAMILY);
      mnl_attr_put_u16(reply, CTRL_ATTR_FAMILY_ID, kEthtoolFamily);
      socket.replies.back().resize(reply->nlmsg_len);
    }
    return static_cast<ssize_t>(length);
  }
  if (request->nlmsg_type != kEthtoolFamily || k->netlink == Netlink::Absent ||
      genl->cmd != ETHTOOL_MSG_MODULE_EEPROM_GET) {
    put_error(socket, request, EOPNOTSUPP);
    return static_cast<ssize_t>(length);
  }
  mnl_attr_parse(request, sizeof(genlmsghdr), collect, &parsed);
  int rc = k->record(
      {Op::NetlinkEeprom, parsed.address, parsed.page, parsed.offset, parsed.length, 0}, true);
  std::array<uint8_t, 256> data{};
  if (rc == 0) {
    rc = serve_eeprom(*k, parsed, data.data());
  }
  if (rc != 0) {
    put_error(socket, request, rc);
  } else {
    nlmsghdr *reply =
        start_reply(socket, request, kEthtoolFamily, ETHTOOL_MSG_MODULE_EEPROM_GET_REPLY);
    mnl_attr_put(reply, ETHTOOL_A_MODULE_EEPROM_DATA, parsed.length, data.data());
    socket.replies.back().resize(reply->nlmsg_len);
  }
  return static_cast<ssize_t>(length);
}

ssize_t fake_nl_recv(void *opaque, void *buffer, size_t size) {
  if (const int error = seam_fault("nl_recv")) {
    return fail(error);
  }
  auto &socket = *static_cast<NlSocket *>(opaque);
  if (socket.replies.empty()) {
    return fail(EAGAIN);
  }
  const std::vector<uint8_t> &reply = socket.replies.front();
  const size_t length = std::min(size, reply.size());
  std::memcpy(buffer, reply.data(), length);
  socket.replies.pop_front();
  return static_cast<ssize_t>(length);
}

} // namespace

FakeKernel::FakeKernel(sfpsim::Module &module)
    : i2c_funcs(I2C_FUNC_I2C | I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_BYTE_DATA |
                I2C_FUNC_SMBUS_WORD_DATA),
      module_(module) {
  table_ = lb::SysCalls{
      .open = fake_open,
      .close = fake_close,
      .ioctl = fake_ioctl,
      .pread = fake_pread,
      .pwrite = fake_pwrite,
      .socket = fake_socket,
      .readlink = fake_readlink,
      .stat = fake_stat,
      .sleep_us = fake_sleep_us,
      .nl_open = fake_nl_open,
      .nl_send = fake_nl_send,
      .nl_recv = fake_nl_recv,
      .nl_portid = fake_nl_portid,
      .nl_close = fake_nl_close,
  };
  g_current = this;
  lb::set_sys(&table_);
}

FakeKernel::~FakeKernel() {
  lb::set_sys(nullptr);
  g_current = nullptr;
  for (Fd *fd : fds) {
    delete fd;
  }
}

FakeKernel *FakeKernel::current() {
  return g_current;
}

void FakeKernel::fail_next(int error, uint32_t count) {
  fail_error_ = error;
  fail_count_ = count;
}

void FakeKernel::fail_call(uint64_t k, int error, bool onward) {
  call_fail_at_ = k == 0 ? 0 : call_count_ + k;
  call_fail_onward_ = onward;
  call_error_ = error;
}

int FakeKernel::seam(const char *name, bool can_fail) {
  const uint64_t n = ++call_count_;
  if (logging_) {
    calls_.emplace_back(name);
  }
  const bool armed =
      call_fail_at_ != 0 && (n == call_fail_at_ || (call_fail_onward_ && n > call_fail_at_));
  return can_fail && armed ? call_error_ : 0;
}

std::size_t FakeKernel::open_netlink_sockets() {
  return g_nl_sockets;
}

int FakeKernel::record(Transfer transfer, bool data_transfer) {
  int error = 0;
  if (data_transfer) {
    ++transfers_;
    bytes_ += transfer.length;
    if (fail_count_ > 0) {
      --fail_count_;
      error = fail_error_;
    }
  }
  transfer.error = error;
  if (logging_) {
    log_.push_back(transfer);
  }
  return error;
}

bool install_fake_kernel_from_environment(std::string &error) {
  const char *name = std::getenv("SFPDRV_FAKE_PROFILE");
  const sfpsim::Profile *profile =
      name != nullptr ? sfpsim::find_profile(name) : &sfpsim::profiles().front();
  if (profile == nullptr) {
    error = std::string("unknown simulated profile '") + name + "'";
    return false;
  }
  // Both live until the process ends, so the seam stays valid for the tool.
  static auto *module = new sfpsim::Module(*profile);
  static auto *kernel = new FakeKernel(*module);
  const char *adapter = std::getenv("SFPDRV_FAKE_ADAPTER");
  if (adapter != nullptr && std::string(adapter) == "smbus") {
    kernel->i2c_funcs =
        I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA;
  }
  const char *absent = std::getenv("SFPDRV_FAKE_ABSENT");
  kernel->module_present = absent == nullptr || std::string(absent) != "1";
  kernel->set_logging(false);
  return true;
}

} // namespace sfpdrv::fake
