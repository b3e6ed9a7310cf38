#ifndef SFPDRV_LINUX_H
#define SFPDRV_LINUX_H

#include <stddef.h>
#include <stdint.h>

#include "sfpdrv/port.h"

SFPDRV_BEGIN_DECLS

/**
 * @file
 * @brief Linux backends: module access callbacks for i2c-dev, the kernel's
 * module EEPROM file and ethtool.
 *
 * Library libsfpdrv-linux, beside the core library, which never uses it.
 *
 * Statuses are errno values as positive numbers, passed through unchanged by
 * the core library: ENXIO or EREMOTEIO, no module answers (no acknowledge);
 * EIO, bus error; EROFS, read-only source; ENOENT, no such device, file or
 * interface; EOPNOTSUPP, the interface offers no module EEPROM; ENODATA, the
 * source gave fewer bytes than asked (a short read). sfp_linux_status_text()
 * words them.
 *
 * Threading: a source is used by one thread at a time (the caller serialises
 * the operations of one port, and so its callbacks). Different sources may be
 * used from different threads at once. sfp_linux_status_text() and
 * sfp_linux_i2c_bound_driver() are safe from any thread.
 */

/** An open module source (one module, one cage). Opaque; owned by the caller
 * from a successful open until sfp_linux_close(). */
typedef struct sfp_linux_source sfp_linux_source;

/** Options of an i2c-dev source. All-zero is the default. */
typedef struct sfp_linux_i2c_options {
  /** Largest read transfer in bytes, 1 to 128; 0 means the default, 16. */
  uint32_t block_limit;
  /** Retries of a transient error (EAGAIN, ETIMEDOUT) per transfer, 0 to 5;
   * 0, the default, retries nothing. */
  uint32_t retries;
  /** Nonzero: open even when a kernel driver is bound at address 0x50. */
  uint32_t force;
  /** Nonzero: a copper PHY register travels as one 16-bit word per transfer
   * (register byte, then the word high byte first); 0: one byte per transfer.
   * sfp_linux_fill_ops() copies it to ops->phy_word_access so that the
   * library hands the callbacks the matching buffer. */
  uint32_t phy_word_access;
} sfp_linux_i2c_options;

/** Largest retries value sfp_linux_open_i2c() accepts. */
#define SFP_LINUX_MAX_RETRIES 5u
/** Default largest read transfer of an i2c-dev source, in bytes. */
#define SFP_LINUX_DEFAULT_BLOCK 16u
/** Wait after each EEPROM write piece, in microseconds (the module's write
 * cycle). */
#define SFP_LINUX_WRITE_CYCLE_US 10000u

/**
 * Opens an i2c-dev adapter whose bus carries one module: A0h at 7-bit address
 * 0x50, A2h at 0x51, a copper PHY at 0x56. Probes the adapter's functions
 * (full I2C or SMBus only) and does not touch the module. Blocks only for the
 * open and one ioctl.
 *
 * @param device  The adapter's device file, e.g. "/dev/i2c-3".
 * @param options The options, or NULL for the defaults.
 * @param out     Receives the new source, which the caller closes.
 * @return 0; ENOENT for a missing device, EINVAL for a bad option or
 *         argument, EBUSY when a kernel driver is bound at 0x50 and `force`
 *         is 0, EOPNOTSUPP for an adapter that can neither combined-transfer
 *         nor SMBus-read, or the open's errno.
 */
SFPDRV_API sfp_rc sfp_linux_open_i2c(const char *device, const sfp_linux_i2c_options *options,
                                     sfp_linux_source **out);

/**
 * Opens the kernel's module EEPROM file of one cage (linear layout: A0h at
 * 0..255, A2h lower half at 256..383, A2h table n's upper half at
 * 384 + 128 n). Read-write if the file permits, else read-only.
 *
 * @param path The file, e.g. "/sys/bus/i2c/devices/3-0050/eeprom".
 * @param out  Receives the new source, which the caller closes.
 * @return 0, or the open's errno (ENOENT, EACCES, ...).
 */
SFPDRV_API sfp_rc sfp_linux_open_eeprom_file(const char *path, sfp_linux_source **out);

/**
 * Opens a network interface's module through ethtool, read-only, and asks
 * the driver for the module's EEPROM size. Blocks for one ioctl and one
 * netlink socket setup.
 *
 * @param ifname The interface name, e.g. "eth0".
 * @param out    Receives the new source, which the caller closes.
 * @return 0; ENOENT (or ENODEV) for no such interface, EOPNOTSUPP when the
 *         interface offers no module EEPROM (lo, veth), ENXIO when no module
 *         is plugged.
 */
SFPDRV_API sfp_rc sfp_linux_open_ethtool(const char *ifname, sfp_linux_source **out);

/**
 * Closes the source and frees it. The source must not be used afterwards, nor
 * any ops filled from it: delete the port first.
 *
 * @param source The source, or NULL (nothing happens).
 */
SFPDRV_API void sfp_linux_close(sfp_linux_source *source);

/**
 * Fills a creation record for a port on this source, reading the module's
 * memory that creation needs now (about 512 bytes on the bus).
 *
 * Sets opaque, read_cb, write_cb and, for i2c-dev, bitbang_read_cb,
 * phy_read_cb, phy_write_cb and phy_word_access (from the open's options);
 * no_read_page_select and no_write_page_select (0 for i2c-dev, where the
 * library writes the table select to A2h byte 127 itself; 1 for the EEPROM
 * file, whose kernel driver selects the table, and for ethtool, which takes
 * the table as a page number and cannot write); eeprom_len = 512 and eeprom[]
 * with A0h then A2h as read from the module (A2h zero when the module has none
 * or the source cannot give it). Every other field stays as the caller set
 * it. The library keeps the two page-select flags process-wide: ports on
 * different kinds of source in one process take them from the last creation.
 *
 * @param source The source.
 * @param ops    The creation record to fill.
 * @return The status of the read of A0h (the callbacks are filled even when
 *         it fails); EINVAL for a null argument.
 */
SFPDRV_API sfp_rc sfp_linux_fill_ops(sfp_linux_source *source, sfp_platform_ops *ops);

/**
 * Whether the source refuses every write (with EROFS).
 *
 * On such a source (and on every EEPROM file) the one write that is taken as
 * done instead is a write of A2h byte 127 alone, the table select: the table
 * is part of each read there, and the library writes the select itself when
 * it identifies a tunable module.
 *
 * @param source The source, or NULL.
 * @return 1 for ethtool and an EEPROM file opened read-only, else 0 (also for
 *         NULL).
 */
SFPDRV_API int sfp_linux_read_only(const sfp_linux_source *source);

/**
 * Words a status a backend returned, e.g. "no module answers (no
 * acknowledge)", "bus error", "read-only source".
 *
 * @param status A status from a backend or a callback it filled.
 * @return A static one-line text the caller does not free, or NULL for a
 *         status that is not a backend's.
 */
SFPDRV_API const char *sfp_linux_status_text(sfp_rc status);

/**
 * The kernel driver bound to the module's address 0x50 on an i2c-dev
 * adapter (/sys/bus/i2c/devices/N-0050/driver), which would race the library
 * on the module's table select.
 *
 * @param device The adapter's device file, /dev/i2c-N.
 * @param name   Receives the driver's name, NUL-terminated and cut to fit;
 *               empty when none is bound.
 * @param size   Size of @p name in bytes.
 * @return 0; EINVAL for a bad argument or a device name that is not
 *         /dev/i2c-N.
 */
SFPDRV_API sfp_rc sfp_linux_i2c_bound_driver(const char *device, char *name, size_t size);

/**
 * Transfers made and bytes moved on the bus (or through the file or ioctl)
 * since the open, failed ones included.
 *
 * @param source    The source; NULL gives 0 for both.
 * @param transfers Receives the transfers, or NULL.
 * @param bytes     Receives the bytes, or NULL.
 */
SFPDRV_API void sfp_linux_counters(const sfp_linux_source *source, uint64_t *transfers,
                                   uint64_t *bytes);

SFPDRV_END_DECLS

#endif /* SFPDRV_LINUX_H */
