// The system calls of the Linux backends, as one table of function pointers
// so that tests can serve them from a simulated kernel. Every call returns
// what the system call returns and sets errno the same way (-1 and errno on
// failure).
#ifndef SFPDRV_BACKENDS_LINUX_SYS_H
#define SFPDRV_BACKENDS_LINUX_SYS_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace sfpdrv::linux_backend {

struct SysCalls {
  int (*open)(const char *path, int flags);
  int (*close)(int fd);
  int (*ioctl)(int fd, unsigned long request, void *arg);
  ssize_t (*pread)(int fd, void *buffer, size_t count, off_t offset);
  ssize_t (*pwrite)(int fd, const void *buffer, size_t count, off_t offset);
  int (*socket)(int domain, int type, int protocol);
  ssize_t (*readlink)(const char *path, char *buffer, size_t size);
  int (*stat)(const char *path, struct stat *info);
  // The EEPROM write-cycle wait and other waits, in microseconds.
  void (*sleep_us)(uint32_t microseconds);
  // Generic netlink socket: opened and bound, or nullptr with errno set.
  void *(*nl_open)();
  ssize_t (*nl_send)(void *socket, const void *message, size_t length);
  ssize_t (*nl_recv)(void *socket, void *buffer, size_t size);
  uint32_t (*nl_portid)(void *socket);
  void (*nl_close)(void *socket);
};

// The table in force: the real system calls unless a test set its own.
const SysCalls &sys();

// Puts `table` in force (nullptr restores the real calls). The table must
// outlive its use; not synchronised with running backend calls.
void set_sys(const SysCalls *table);

// The real system calls.
const SysCalls &real_sys();

} // namespace sfpdrv::linux_backend

#endif // SFPDRV_BACKENDS_LINUX_SYS_H
