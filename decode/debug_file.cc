// The snapshot debug files under /tmp. The library usually runs as root in
// the process that manages every port, and /tmp is writable by everyone, so
// a file is only ever replaced, never opened for writing: the content goes
// to a new temporary file beside it, which then takes the name with
// rename(). A rename replaces a planted link instead of following it, and a
// reader sees the old file or the whole new one, never a part.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "decode/internal.h"

namespace sfpdrv {
namespace {

constexpr mode_t kDebugFileMode = 0644;
constexpr std::size_t kPathSize = 96;

// Whether the name may be replaced: nothing there yet, or a regular file of
// this process's user with no other link to its content. Anything else (a
// symbolic link, a directory, someone else's file, a hard link to another
// file) is left alone.
bool replaceable(const char *path) {
  struct stat status {};
  if (lstat(path, &status) != 0) {
    return errno == ENOENT;
  }
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
}

bool write_all(int fd, const char *text, std::size_t length) {
  while (length > 0) {
    const ssize_t written = write(fd, text, length);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    text += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

template <std::size_t N> int bounded(const char (&text)[N]) {
  return static_cast<int>(strnlen(text, N));
}

// Lines gathered into a page and written a page at a time: a file is a
// handful of system calls, not one per line.
class PageWriter {
public:
  explicit PageWriter(int fd) : fd_(fd) {}
  bool append(const char *text, std::size_t length) {
    if (used_ + length > sizeof page_ && !flush()) {
      return false;
    }
    std::memcpy(page_ + used_, text, length);
    used_ += length;
    return true;
  }
  bool flush() {
    const bool written = write_all(fd_, page_, used_);
    used_ = 0;
    return written;
  }

private:
  int fd_;
  std::size_t used_ = 0;
  char page_[4096];
};

// One "name:raw:value" line per field.
bool write_fields(int fd, const sfp_decoded_field *fields, std::size_t count) {
  PageWriter out(fd);
  for (std::size_t i = 0; i < count; ++i) {
    char line[sizeof fields[i].name + sizeof fields[i].raw + sizeof fields[i].value + 4];
    // Each text is bounded by its field, so the line always fits.
    const int length = std::snprintf(line, sizeof line, "%.*s:%.*s:%.*s\n", bounded(fields[i].name),
                                     fields[i].name, bounded(fields[i].raw), fields[i].raw,
                                     bounded(fields[i].value), fields[i].value);
    if (length < 0 || !out.append(line, static_cast<std::size_t>(length))) {
      return false;
    }
  }
  return out.flush();
}

} // namespace

bool replace_debug_file(const char *path, const sfp_decoded_field *fields, std::size_t count) {
  if (!replaceable(path)) {
    return false;
  }
  char temporary[kPathSize];
  if (std::snprintf(temporary, sizeof temporary, "%s.XXXXXX", path) >=
      static_cast<int>(sizeof temporary)) {
    return false;
  }
  // mkstemp creates the file exclusively (never through a link), mode 0600.
  const int fd = mkstemp(temporary);
  if (fd < 0) {
    return false;
  }
  bool written = fchmod(fd, kDebugFileMode) == 0 && write_fields(fd, fields, count);
  written = close(fd) == 0 && written;
  // Checked again just before the rename: the name may have changed while
  // the content was written.
  if (written && replaceable(path) && rename(temporary, path) == 0) {
    return true;
  }
  unlink(temporary);
  return false;
}

} // namespace sfpdrv
