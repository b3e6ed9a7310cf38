// What every Linux backend source shares: closing, filling a creation
// record, the counters and the words for the backends' statuses.
#include "backends/linux/source.h"

#include <cerrno>
#include <cstring>

#include "sfpdrv/linux.h"

namespace sfpdrv::linux_backend {

bool locate(uint8_t offset, uint8_t page, uint32_t length, Location &where) {
  if (page > kLastTablePage) {
    return false;
  }
  where.address = page == SFP_PAGE_A0 ? kA0Address : kA2Address;
  where.table = -1;
  where.start = offset;
  if (page >= kFirstTablePage) {
    where.table = page - kFirstTablePage;
    // A table page's offsets 0..127 are its upper half as well.
    if (offset < kHalf) {
      where.start = offset + kHalf;
    }
  }
  return where.start + static_cast<uint64_t>(length) <= kMemorySize;
}

int source_read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  if (opaque == nullptr || (buffer == nullptr && length != 0)) {
    return EINVAL;
  }
  return static_cast<sfp_linux_source *>(opaque)->read(offset, page, length, buffer);
}

int source_write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  if (opaque == nullptr || (buffer == nullptr && length != 0)) {
    return EINVAL;
  }
  return static_cast<sfp_linux_source *>(opaque)->write(offset, page, length, buffer);
}

} // namespace sfpdrv::linux_backend

using namespace sfpdrv::linux_backend;

extern "C" SFPDRV_API void sfp_linux_close(sfp_linux_source *source) {
  delete source;
}

extern "C" SFPDRV_API sfp_rc sfp_linux_fill_ops(sfp_linux_source *source, sfp_platform_ops *ops) {
  if (source == nullptr || ops == nullptr) {
    return EINVAL;
  }
  ops->opaque = source;
  ops->read_cb = source_read_cb;
  ops->write_cb = source_write_cb;
  source->fill(*ops);
  ops->eeprom_len = SFP_EEPROM_CALLER_LEN;
  std::memset(ops->eeprom, 0, sizeof ops->eeprom);
  const int rc = source->read(0, SFP_PAGE_A0, kMemorySize, ops->eeprom);
  if (rc != 0) {
    std::memset(ops->eeprom, 0, kMemorySize);
    return static_cast<sfp_rc>(rc);
  }
  // A module without A2h does not answer there; its half stays zero.
  if (source->read(0, SFP_PAGE_A2, kMemorySize, ops->eeprom + kMemorySize) != 0) {
    std::memset(ops->eeprom + kMemorySize, 0, kMemorySize);
  }
  return SFP_RC_OK;
}

extern "C" SFPDRV_API int sfp_linux_read_only(const sfp_linux_source *source) {
  return source != nullptr && source->read_only() ? 1 : 0;
}

extern "C" SFPDRV_API void sfp_linux_counters(const sfp_linux_source *source, uint64_t *transfers,
                                              uint64_t *bytes) {
  if (transfers != nullptr) {
    *transfers = source != nullptr ? source->transfers : 0;
  }
  if (bytes != nullptr) {
    *bytes = source != nullptr ? source->moved : 0;
  }
}

extern "C" SFPDRV_API const char *sfp_linux_status_text(sfp_rc status) {
  switch (status) {
  case ENXIO:
  case EREMOTEIO:
    return "no module answers (no acknowledge)";
  case EIO:
    return "bus error";
  case EROFS:
    return "read-only source";
  case ENOENT:
    return "no such device, file or interface";
  case ENODEV:
    return "no such device or interface";
  case EOPNOTSUPP:
    return "not supported by this source (no module EEPROM access)";
  case ENODATA:
    return "short read: the source gave fewer bytes than asked";
  case EBUSY:
    return "a kernel driver is bound to the module's address";
  case EACCES:
  case EPERM:
    return "permission denied";
  case EAGAIN:
    return "bus busy, try again";
  case ETIMEDOUT:
    return "bus timeout";
  case EINVAL:
    return "invalid argument";
  default:
    return nullptr;
  }
}
