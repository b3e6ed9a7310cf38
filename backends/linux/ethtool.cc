// ethtool backend, read-only: the module of a network interface through the
// ethtool netlink module EEPROM request (one page at a time) where the
// kernel answers it, else through the SIOCETHTOOL ioctl.
#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "backends/linux/source.h"
#include "backends/linux/sys.h"

namespace sfpdrv::linux_backend {
namespace {

constexpr uint32_t kA2LinearAt = 256;
constexpr uint32_t kLargestImage = 512;
constexpr size_t kNetlinkBuffer = 8192;
// Replies to earlier requests one exchange drops at most before it gives up.
constexpr uint32_t kStaleReplies = 8;

int error_of(long result) {
  return result < 0 ? errno : 0;
}

// Walks a netlink reply: an error message gives its errno, a message of
// `type` has its attributes handed to `on_attr`. ENODATA when neither came.
int parse_reply(const uint8_t *reply, size_t length, uint16_t type, mnl_attr_cb_t on_attr,
                void *data) {
  const auto *message = reinterpret_cast<const nlmsghdr *>(reply);
  int left = static_cast<int>(length);
  while (mnl_nlmsg_ok(message, left)) {
    if (message->nlmsg_type == NLMSG_ERROR) {
      const auto *error = static_cast<const nlmsgerr *>(mnl_nlmsg_get_payload(message));
      if (error->error != 0) {
        return -error->error;
      }
    } else if (message->nlmsg_type == type) {
      if (mnl_attr_parse(message, sizeof(genlmsghdr), on_attr, data) < 0) {
        return EPROTO;
      }
      return 0;
    }
    message = mnl_nlmsg_next(message, &left);
  }
  return ENODATA;
}

struct Found {
  const void *payload = nullptr;
  uint16_t length = 0;
  uint16_t wanted = 0;
};

int find_attr(const nlattr *attr, void *data) {
  auto *found = static_cast<Found *>(data);
  if (mnl_attr_get_type(attr) == found->wanted) {
    found->payload = mnl_attr_get_payload(attr);
    found->length = mnl_attr_get_payload_len(attr);
  }
  return MNL_CB_OK;
}

class EthtoolSource final : public sfp_linux_source {
public:
  EthtoolSource(std::string ifname, int sock, uint32_t image_len)
      : ifname_(std::move(ifname)), sock_(sock), image_len_(image_len) {}
  ~EthtoolSource() override {
    if (nl_ != nullptr) {
      sys().nl_close(nl_);
    }
    sys().close(sock_);
  }

  // Opens the generic netlink socket and looks up the ethtool family; a
  // kernel without it leaves the source on the ioctl.
  void open_netlink() {
    nl_ = sys().nl_open();
    if (nl_ == nullptr) {
      return;
    }
    nlmsghdr *request = start(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
    mnl_attr_put_strz(request, CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
    Found found{.wanted = CTRL_ATTR_FAMILY_ID};
    if (exchange(request, GENL_ID_CTRL, found) == 0 && found.length == sizeof(uint16_t)) {
      std::memcpy(&family_, found.payload, sizeof family_);
      return;
    }
    sys().nl_close(nl_);
    nl_ = nullptr;
  }

  int read(uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) override {
    Location where{};
    if (!locate(offset, page, length, where)) {
      return EINVAL;
    }
    if (where.address == kA2Address && image_len_ < kLargestImage) {
      return EOPNOTSUPP; // an SFF-8079 module has no A2h
    }
    uint32_t done = 0;
    while (done < length) {
      const uint32_t at = where.start + done;
      const uint32_t size = std::min(length - done, kHalf - at % kHalf);
      const int rc = read_piece(where.address, at, where.table, size, buffer + done);
      if (rc != 0) {
        return rc;
      }
      done += size;
    }
    return 0;
  }

  // Read-only; the table is a page number of each read request.
  int write(uint8_t offset, uint8_t page, uint32_t length, const uint8_t *) override {
    return is_table_select(offset, page, length) ? 0 : EROFS;
  }

  void fill(sfp_platform_ops &ops) override {
    // The table is a page number of the request; nothing can be written.
    ops.no_read_page_select = 1;
    ops.no_write_page_select = 1;
  }

  bool read_only() const override { return true; }

private:
  // One piece within a half: netlink first, the ioctl when the kernel or
  // driver cannot serve the netlink request.
  int read_piece(uint8_t address, uint32_t start, int table, uint32_t size, uint8_t *out) {
    const uint8_t page = start >= kHalf && table > 0 ? static_cast<uint8_t>(table) : 0;
    if (nl_ != nullptr) {
      const int rc = netlink_read(address, start, page, size, out);
      if (rc != EOPNOTSUPP && rc != EINVAL) {
        return rc;
      }
      if (page == 0) {
        sys().nl_close(nl_); // the driver has no page reads at all
        nl_ = nullptr;
      }
    }
    if (page != 0) {
      return EOPNOTSUPP; // the ioctl shows only the selected table
    }
    const uint32_t linear = (address == kA0Address ? 0 : kA2LinearAt) + start;
    return ioctl_read(linear, size, out);
  }

  int ioctl_read(uint32_t linear, uint32_t size, uint8_t *out) {
    if (linear + size > image_len_) {
      return EOPNOTSUPP;
    }
    alignas(ethtool_eeprom) std::array<uint8_t, sizeof(ethtool_eeprom) + kLargestImage> raw{};
    auto *request = reinterpret_cast<ethtool_eeprom *>(raw.data());
    request->cmd = ETHTOOL_GMODULEEEPROM;
    request->offset = linear;
    request->len = size;
    ifreq ifr{};
    std::memcpy(ifr.ifr_name, ifname_.c_str(), ifname_.size());
    ifr.ifr_data = reinterpret_cast<char *>(request);
    count(size);
    const int rc = error_of(sys().ioctl(sock_, SIOCETHTOOL, &ifr));
    if (rc == 0) {
      std::memcpy(out, raw.data() + sizeof(ethtool_eeprom), size);
    }
    return rc;
  }

  int netlink_read(uint8_t address, uint32_t start, uint8_t page, uint32_t size, uint8_t *out) {
    nlmsghdr *request = start_request(ETHTOOL_MSG_MODULE_EEPROM_GET);
    nlattr *header = mnl_attr_nest_start(request, ETHTOOL_A_MODULE_EEPROM_HEADER);
    mnl_attr_put_strz(request, ETHTOOL_A_HEADER_DEV_NAME, ifname_.c_str());
    mnl_attr_nest_end(request, header);
    mnl_attr_put_u32(request, ETHTOOL_A_MODULE_EEPROM_OFFSET, start);
    mnl_attr_put_u32(request, ETHTOOL_A_MODULE_EEPROM_LENGTH, size);
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_PAGE, page);
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_BANK, 0);
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_I2C_ADDRESS, address);
    Found found{.wanted = ETHTOOL_A_MODULE_EEPROM_DATA};
    count(size);
    const int rc = exchange(request, family_, found);
    if (rc != 0) {
      return rc;
    }
    if (found.length < size) {
      return ENODATA;
    }
    std::memcpy(out, found.payload, size);
    return 0;
  }

  nlmsghdr *start(uint16_t type, uint8_t command) {
    buffer_.fill(0);
    nlmsghdr *message = mnl_nlmsg_put_header(buffer_.data());
    message->nlmsg_type = type;
    message->nlmsg_flags = NLM_F_REQUEST;
    message->nlmsg_seq = ++sequence_;
    auto *genl = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(message, sizeof(genlmsghdr)));
    genl->cmd = command;
    genl->version = 1;
    return message;
  }
  nlmsghdr *start_request(uint8_t command) { return start(family_, command); }

  // Sends the request and reads its reply. The reply to an earlier request
  // whose receive failed may still be queued before it: such a reply (an
  // older sequence number) is dropped, never taken for this one's.
  int exchange(nlmsghdr *request, uint16_t reply_type, Found &found) {
    const uint32_t sequence = request->nlmsg_seq;
    if (sys().nl_send(nl_, request, request->nlmsg_len) < 0) {
      return errno;
    }
    for (uint32_t dropped = 0; dropped <= kStaleReplies; ++dropped) {
      const ssize_t length = sys().nl_recv(nl_, buffer_.data(), buffer_.size());
      if (length < 0) {
        return errno;
      }
      const auto *reply = reinterpret_cast<const nlmsghdr *>(buffer_.data());
      if (!mnl_nlmsg_ok(reply, static_cast<int>(length)) || reply->nlmsg_seq == sequence) {
        return parse_reply(buffer_.data(), static_cast<size_t>(length), reply_type, find_attr,
                           &found);
      }
    }
    return EPROTO;
  }

  std::string ifname_;
  int sock_;
  uint32_t image_len_;
  void *nl_ = nullptr;
  uint16_t family_ = 0;
  uint32_t sequence_ = 0;
  alignas(nlmsghdr) std::array<uint8_t, kNetlinkBuffer> buffer_{};
};

// The module's EEPROM size the driver reports: 256 or 512, or an errno.
int module_image_len(int sock, const std::string &ifname, uint32_t &len) {
  ethtool_modinfo info{};
  info.cmd = ETHTOOL_GMODULEINFO;
  ifreq ifr{};
  std::memcpy(ifr.ifr_name, ifname.c_str(), ifname.size());
  ifr.ifr_data = reinterpret_cast<char *>(&info);
  if (sys().ioctl(sock, SIOCETHTOOL, &ifr) < 0) {
    return errno;
  }
  if (info.type == ETH_MODULE_SFF_8079) {
    len = ETH_MODULE_SFF_8079_LEN;
  } else if (info.type == ETH_MODULE_SFF_8472) {
    len = ETH_MODULE_SFF_8472_LEN;
  } else {
    return EOPNOTSUPP; // not a module of the SFP family
  }
  len = std::min(len, info.eeprom_len);
  return len >= kMemorySize ? 0 : ENODATA;
}

} // namespace
} // namespace sfpdrv::linux_backend

using namespace sfpdrv::linux_backend;

extern "C" SFPDRV_API sfp_rc sfp_linux_open_ethtool(const char *ifname, sfp_linux_source **out) {
  if (ifname == nullptr || out == nullptr) {
    return EINVAL;
  }
  *out = nullptr;
  const std::string name(ifname);
  if (name.empty() || name.size() >= IFNAMSIZ) {
    return ENODEV;
  }
  const int sock = sys().socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (sock < 0) {
    return static_cast<sfp_rc>(errno);
  }
  uint32_t len = 0;
  const int rc = module_image_len(sock, name, len);
  if (rc != 0) {
    sys().close(sock);
    return static_cast<sfp_rc>(rc);
  }
  auto *source = new (std::nothrow) EthtoolSource(name, sock, len);
  if (source == nullptr) {
    sys().close(sock);
    return ENOMEM;
  }
  source->open_netlink();
  *out = source;
  return 0;
}
