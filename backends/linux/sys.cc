// The real system calls behind the backends' seam.
#include "backends/linux/sys.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

namespace sfpdrv::linux_backend {
namespace {

int real_open(const char *path, int flags) {
  return ::open(path, flags | O_CLOEXEC);
}

int real_ioctl(int fd, unsigned long request, void *arg) {
  return ::ioctl(fd, request, arg);
}

int real_stat(const char *path, struct stat *info) {
  return ::stat(path, info);
}

void real_sleep_us(uint32_t microseconds) {
  timespec wait{static_cast<time_t>(microseconds / 1000000),
                static_cast<long>(microseconds % 1000000) * 1000};
  while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
  }
}

void *real_nl_open() {
  mnl_socket *nl = mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC);
  if (nl == nullptr) {
    return nullptr;
  }
  if (mnl_socket_bind(nl, 0, MNL_SOCKET_AUTOPID) < 0) {
    const int error = errno;
    mnl_socket_close(nl);
    errno = error;
    return nullptr;
  }
  return nl;
}

ssize_t real_nl_send(void *socket, const void *message, size_t length) {
  return mnl_socket_sendto(static_cast<mnl_socket *>(socket), message, length);
}

ssize_t real_nl_recv(void *socket, void *buffer, size_t size) {
  return mnl_socket_recvfrom(static_cast<mnl_socket *>(socket), buffer, size);
}

uint32_t real_nl_portid(void *socket) {
  return mnl_socket_get_portid(static_cast<mnl_socket *>(socket));
}

void real_nl_close(void *socket) {
  mnl_socket_close(static_cast<mnl_socket *>(socket));
}

const SysCalls kReal{
    .open = real_open,
    .close = ::close,
    .ioctl = real_ioctl,
    .pread = ::pread,
    .pwrite = ::pwrite,
    .socket = ::socket,
    .readlink = ::readlink,
    .stat = real_stat,
    .sleep_us = real_sleep_us,
    .nl_open = real_nl_open,
    .nl_send = real_nl_send,
    .nl_recv = real_nl_recv,
    .nl_portid = real_nl_portid,
    .nl_close = real_nl_close,
};

std::atomic<const SysCalls *> g_table{&kReal};

} // namespace

const SysCalls &sys() {
  return *g_table.load(std::memory_order_acquire);
}

void set_sys(const SysCalls *table) {
  g_table.store(table != nullptr ? table : &kReal, std::memory_order_release);
}

const SysCalls &real_sys() {
  return kReal;
}

} // namespace sfpdrv::linux_backend
