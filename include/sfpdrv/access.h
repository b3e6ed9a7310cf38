/**
 * @file
 * @brief Module access: paged memory access, bit-bang access and the
 * register dump.
 *
 * Every transfer goes through the port's callbacks; the library never drives
 * a bus itself. None of these operations takes a lock or waits: the caller
 * serialises the operations on one port (the A2h table select is shared
 * state of the module), and operations on different ports may run at once.
 */
#ifndef SFPDRV_ACCESS_H
#define SFPDRV_ACCESS_H

#include <stdint.h>

#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/** Size of the text that the register dump allocates. */
#define SFP_REG_DUMP_SIZE 1500u

/**
 * Reads or writes module memory through the port's callbacks.
 *
 * For pages 2 to 5 the table number (page - 2) is written to A2h byte 127
 * first, unless the process-wide no-select flag of the direction is set; a
 * failed select ends the call with its status and no data moves. A read
 * zeroes the buffer before the callback runs. No handle check (creation
 * calls it on a port that is not yet initialised), no retry, no wait, no
 * lock.
 *
 * The range check refuses a request whose last byte, offset + length - 1 in
 * 32-bit arithmetic, is 256 or more (so also a zero length at offset 0), and
 * any offset above 255 or length above 256: otherwise an end address that
 * wraps around 32 bits would let a huge length through.
 *
 * @param port      The port.
 * @param offset    First byte, 0 to 255; passed to the callback unchanged.
 * @param length    Number of bytes.
 * @param page      An #sfp_module_page (0 to 5).
 * @param buffer    Source or destination of @p length bytes, owned by the caller.
 * @param direction #SFP_ACCESS_READ (1) or #SFP_ACCESS_WRITE (0).
 * @return 0; 22 for a null port or buffer, a port without callbacks, a range
 *         past byte 255, an upper-half access to a page beyond 5, or a page
 *         other than 0 on a module without A2h (the module and the buffer are
 *         untouched); otherwise the callback's own status, unchanged (a
 *         failed read leaves zeros where the callback wrote nothing).
 */
SFPDRV_API sfp_rc sfp_access(sfp_port_ctx *port, uint32_t offset, uint32_t length, uint32_t page,
                             uint8_t *buffer, uint32_t direction);

/**
 * Reads module memory of an initialised port: the handle check, then
 * sfp_access() with direction 1.
 *
 * Note the argument order: page before length, unlike sfp_access().
 *
 * @param hdl    The port handle.
 * @param offset First byte, 0 to 255.
 * @param page   An #sfp_module_page (0 to 5).
 * @param length Number of bytes.
 * @param buffer Receives @p length bytes; owned by the caller.
 * @return 0; 22 for a null or not fully initialised handle or a refused
 *         request (see sfp_access()); otherwise the read callback's status.
 */
SFPDRV_API sfp_rc sfp_port_read(sfp_port_ctx *hdl, uint32_t offset, uint32_t page, uint32_t length,
                                uint8_t *buffer);

/**
 * Writes module memory of an initialised port: the handle check, then
 * sfp_access() with direction 0.
 *
 * @param hdl    The port handle.
 * @param offset First byte, 0 to 255.
 * @param page   An #sfp_module_page (0 to 5).
 * @param length Number of bytes.
 * @param buffer The @p length bytes to write; owned by the caller.
 * @return 0; 22 for a null or not fully initialised handle or a refused
 *         request (see sfp_access()); otherwise the write callback's status.
 */
SFPDRV_API sfp_rc sfp_port_write(sfp_port_ctx *hdl, uint32_t offset, uint32_t page, uint32_t length,
                                 uint8_t *buffer);

/**
 * Reads module memory through the port's bit-bang callback.
 *
 * For pages 2 to 5 the table select is always written through the write
 * callback, whatever the no-select flags say. Only direction 1 transfers
 * data: any other direction writes the table select and returns 0. The range
 * and page checks are those of sfp_access(). No handle check, no lock.
 *
 * @param port      The port.
 * @param offset    First byte, 0 to 255 (upper-table bytes as 128 to 255).
 * @param length    Number of bytes.
 * @param page      An #sfp_module_page (0 to 5).
 * @param buffer    Receives @p length bytes; owned by the caller.
 * @param direction #SFP_ACCESS_READ (1) to read; anything else reads nothing.
 * @return 0; 22 for a null port or buffer, a missing bit-bang callback (or
 *         write callback for pages 2 to 5) or a refused range; otherwise the
 *         failing callback's status.
 */
SFPDRV_API sfp_rc sfp_special_bitbang_access(sfp_port_ctx *port, uint32_t offset, uint32_t length,
                                             uint32_t page, uint8_t *buffer, uint32_t direction);

/**
 * Dumps fifteen named module registers (one byte each from A0h, read with the
 * read callback directly) as text.
 *
 * Ownership: on success `*text` is a newly allocated, terminated text of
 * #SFP_REG_DUMP_SIZE bytes that the caller frees with free(). A row whose
 * read fails shows the value 0 and the dump goes on. No handle check, no
 * lock.
 *
 * @param port      The port.
 * @param text      Receives the text.
 * @param size      Receives #SFP_REG_DUMP_SIZE (the buffer's size, not the
 *                  text's length).
 * @param direction Only printed in the failure messages (1 by convention).
 * @return The status of the last row's read (0 when it succeeded, whatever
 *         earlier rows did); 22 for a null port, @p text or @p size or a port
 *         without callbacks; 12 when the text cannot be allocated (nothing is
 *         handed over).
 */
SFPDRV_API sfp_rc sfp_reg_access(sfp_port_ctx *port, char **text, uint32_t *size,
                                 uint32_t direction);

/**
 * The register dump of an initialised port: the handle check, then
 * sfp_reg_access() with direction 1.
 *
 * Ownership: the caller frees `*text` with free().
 *
 * @param hdl  The port handle.
 * @param text Receives the newly allocated text.
 * @param size Receives #SFP_REG_DUMP_SIZE.
 * @return As sfp_reg_access(); 22 also for a null or not fully initialised
 *         handle.
 */
SFPDRV_API sfp_rc sfp_port_read_reg(sfp_port_ctx *hdl, char **text, uint32_t *size);

SFPDRV_END_DECLS

#endif /* SFPDRV_ACCESS_H */
