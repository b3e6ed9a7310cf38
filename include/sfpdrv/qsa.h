/**
 * @file
 * @brief The adapter layer: an SFP seated in a QSFP cage behind a
 * QSFP-to-SFP adapter (QSA).
 *
 * For such a cage the platform creates an adapter port (qsa_port_create())
 * with callbacks that reach the adapter's own memory. The adapter port owns
 * the SFP port behind the adapter and reaches that module through the
 * adapter's mirror pages; the whole SFP layer works through it unchanged.
 *
 * Adapter page codes: the callbacks and the access operations name an
 * adapter page by a code (#qsa_page_code): 0xA0 the lower page, 0xA00 + n
 * upper page n. The mirror pages are 0xA04 and 0xA05 (the SFP's A0h), 0xA06
 * (its A2h lower half), 0xA07 (its A2h table 0) and 0xAAC (its copper PHY,
 * register r at bytes 128 + 2r and 129 + 2r, high byte first). The adapter
 * callbacks receive the real page number: 0 for the lower page, n for upper
 * page n; before an upper-page transfer the layer writes n to the adapter's
 * page select (lower-page byte 127) through the write callback when the
 * page changes.
 *
 * Waits: every SFP read through the adapter first asks the adapter to
 * refresh its mirror and polls the handshake byte (lower-page byte 116 or
 * 117) up to 75 times, 2 ms apart: at most 150 ms per read. PHY writes skip
 * the handshake.
 *
 * Threading: the layer has its own registry lock and one error-checking lock
 * per adapter port. Every checking operation takes the port's lock through
 * qsa_check_and_lock_hdl() first and holds it to its end, across every call
 * into the SFP port behind the adapter, so the operations on one adapter port
 * are serialised by the library; different adapter ports may be driven at
 * the same time. Lock order: adapter registry lock, adapter port lock, SFP
 * registry lock (taken only when an SFP port is deleted). A thread that
 * calls a checking operation of an adapter port whose lock it already holds
 * (for example from the notification callback) gets 35 instead of hanging.
 * The operations marked "no lock" (qsa_access(), the insertion queries,
 * qsa_port_tx_enable(), qsa_port_tx_disable(), qsa_port_get_type(),
 * qsa_port_copy_hw_info()) rely on the caller's serialisation.
 */
#ifndef SFPDRV_QSA_H
#define SFPDRV_QSA_H

#include <pthread.h>
#include <stdint.h>

#include "sfpdrv/decode.h"
#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Adapter pages ------------------------------------------------------ */

/** The page of an adapter access: 0xA0 the lower page, 0xA00 + n upper page
 * n (0 to 255). */
typedef uint32_t qsa_page_code;
#define QSA_PAGE_LOWER 0xA0u             /**< Page code of the adapter's lower page. */
#define QSA_PAGE_UPPER(n) (0xA00u + (n)) /**< Page code of upper page @p n. */

/** Kinds of adapter, by the type code at upper page 0 byte 221. */
typedef enum qsa_adapter_kind {
  qsa_adapter_10g = 0x00, /**< A 10G adapter (also any unrecognised code). */
  qsa_adapter_25g = 0x28  /**< A 25G adapter. */
} qsa_adapter_kind;

#define QSA_XCVR_TYPE_10G 855u /**< Transceiver type reported for a 10G adapter itself. */
#define QSA_XCVR_TYPE_25G 856u /**< Transceiver type reported for a 25G adapter itself. */

#define QSA_ADAPTER_EEPROM_LEN 512u /**< Size of the caller's adapter memory image. */

/**
 * Insertion notification.
 *
 * qsa_port_detect_sfp_oir() calls it with phase 0 and then phase 1 when it
 * finds an insertion, a swap or a removal of the SFP. Arguments: the
 * caller's opaque value (qsa_platform_ops::opaque) and the phase. It runs on
 * the polling thread with the adapter port's lock held: it must not call a
 * checking operation of the same adapter port (that gets 35). The result is
 * ignored.
 */
typedef int (*qsa_oir_notify_cb)(void *opaque, uint32_t phase);

/* ---- Records ---------------------------------------------------------------- */

/**
 * The adapter port context; a pointer to it is the adapter port handle. The
 * layer allocates and frees it (qsa_port_delete()); the caller never frees it
 * and treats it as read-only.
 */
typedef struct qsa_port_ctx {
  pthread_mutex_t lock;    /**< The port lock; error-checking: a re-entrant take gets 35. */
  uint32_t initialised;    /**< 1 once creation has run to its end. */
  void *opaque;            /**< The caller's key for the cage; first argument of every callback. */
  int32_t controller;      /**< Controller number. */
  int32_t port;            /**< Port number, printed as "Port %d" in messages. */
  int32_t current_page;    /**< Page code selected last; -1 unknown. */
  sfp_trace_hdl err_trace; /**< The error trace buffer "qsa_err". */
  sfp_trace_hdl evt_trace; /**< The event trace buffer "qsa_evt". */
  sfp_mem_cb read_cb;      /**< Adapter memory read. */
  sfp_mem_cb write_cb;     /**< Adapter memory write and page select. */
  qsa_oir_notify_cb oir_notify_cb; /**< Insertion notification. */
  sfp_xcvr_type sfp_type; /**< Type of the SFP behind the adapter at creation; 0 if none. */
  char sfp_name[64];      /**< Name of #sfp_type, terminated. */
  /** The caller's image of the adapter memory, copied at creation and never
   * refreshed. */
  uint8_t adapter_eeprom[QSA_ADAPTER_EEPROM_LEN];
  /** The SFP port behind the adapter, or null (no SFP at creation, its
   * creation failed, or a removal was found). */
  sfp_port_ctx *sfp_port;
  struct qsa_port_ctx *next; /**< Registry link; for the layer only. */
  uint8_t adapter_type_code; /**< A #qsa_adapter_kind, read at creation. */
} qsa_port_ctx;

/** The adapter layer's library-wide state (qsa_get_ctx()); read-only to
 * callers and never torn down. */
typedef struct qsa_port_registry {
  uint32_t initialised;         /**< 1 once the layer's one-time initialisation succeeded. */
  qsa_port_ctx *ports;          /**< The registry: every adapter port, newest first. */
  pthread_mutex_t lock;         /**< The adapter registry lock ("qsa_context_lock"). */
  void *evm;                    /**< The event manager of the creations. */
  sfp_trace_hdl err_trace;      /**< The error buffer "qsa_err". */
  sfp_trace_hdl evt_trace;      /**< The event buffer "qsa_evt". */
  sfp_trace_hdl port_err_trace; /**< Error buffer handle given to every adapter port. */
  sfp_trace_hdl port_evt_trace; /**< Event buffer handle given to every adapter port. */
  /** Process-wide: upper-page writes skip the page select. Overwritten by
   * every adapter port creation and handed on to the SFP port it creates. */
  uint32_t no_write_page_select;
  /** Process-wide: the same for reads. */
  uint32_t no_read_page_select;
} qsa_port_registry;

/** The caller's creation record for qsa_port_create(); nothing keeps a
 * pointer to it. */
typedef struct qsa_platform_ops {
  void *opaque;       /**< The caller's key for the cage: one adapter port per value. */
  int32_t controller; /**< Controller number. */
  int32_t port;       /**< Port number, for messages. */
  void *evm;          /**< Event manager for the trace show commands, or null. */
  /** Adapter memory read: (opaque, offset, real page: 0 lower, n upper page
   * n, length, buffer); 0 on success, any other value passed back. */
  sfp_mem_cb read_cb;
  /** Adapter memory write, same arguments; also writes the page select
   * (offset 127, page 0, length 1). */
  sfp_mem_cb write_cb;
  qsa_oir_notify_cb oir_notify_cb; /**< Insertion notification; required once an SFP changes. */
  /**
   * Nonzero: creation disables the adapter's transmitter (lower-page byte 86)
   * and creates the SFP port with `module_present` 0 (no transmitter stage in
   * the SFP layer). Zero: the adapter's transmitter is left alone and the SFP
   * port is created with `module_present` 1 (data-ready wait, soft transmitter
   * disable, CDR, CTLE and power class, through the adapter). Returned
   * unchanged in the result.
   */
  uint32_t module_present;
  uint32_t no_write_page_select; /**< Nonzero: upper-page writes skip the page select. */
  uint32_t no_read_page_select;  /**< Nonzero: upper-page reads skip the page select. */
  /** The caller's image of the adapter memory: the lower page, upper page 0,
   * then 256 further bytes (the adapter's maker fields). */
  uint8_t adapter_eeprom[QSA_ADAPTER_EEPROM_LEN];
} qsa_platform_ops;

/** The caller's result record of qsa_port_create(). */
typedef struct qsa_port_create_result {
  qsa_port_ctx *handle;    /**< The adapter port handle; written when it ends initialised. */
  uint32_t module_present; /**< Copy of the parameter, written with the handle. */
  uint32_t status;         /**< The status the operation returns. */
} qsa_port_create_result;

/* ---- Lifecycle and locking ------------------------------------------------ */

/**
 * The adapter layer's library-wide state record. Takes no lock.
 *
 * @return The one #qsa_port_registry of the process (never null).
 */
SFPDRV_API qsa_port_registry *qsa_get_ctx(void);

/**
 * Creates the adapter port of a cage, or finds it again, and creates the SFP
 * port behind the adapter.
 *
 * The first creation opens the trace buffers "qsa_err" and "qsa_evt". An
 * adapter port that is already initialised is returned at once, nothing
 * read. Otherwise creation reads the adapter's type (upper page 0 byte 221),
 * copies the adapter image, disables the adapter's transmitter when
 * `module_present` is nonzero, and, when an SFP is seated (lower-page byte 1
 * bit 0 clear), reads the SFP's A0h from pages 0xA04 and 0xA05 and creates
 * its SFP port with sfp_port_create() (`bus_mode` 1, the layer's own
 * callbacks). A failed SFP port creation does not fail the adapter port.
 *
 * Blocking: the SFP port's creation runs through the adapter, each SFP read
 * with a handshake of up to 150 ms, plus the waits of the SFP layer's
 * transmitter stage when `module_present` is 0.
 *
 * Threading: the adapter registry lock is held only for the one-time
 * initialisation and the find-or-add. The caller must not create the same
 * cage from two threads at once nor use the handle before creation returns.
 *
 * @param ops    The creation record; read during the call only.
 * @param result Receives the handle, `module_present` and the status.
 * @return 0 with the handle (the adapter port may hold no SFP port); 22 when
 *         @p ops or @p result is null; 12 without memory; 14 (or the trace
 *         service's enable code) when the trace buffers cannot be set up; the
 *         status of a failed adapter type read (the context stays registered
 *         but not initialised); a threads library code when the registry lock
 *         fails.
 */
SFPDRV_API sfp_rc qsa_port_create(const qsa_platform_ops *ops, qsa_port_create_result *result);

/**
 * Removes the adapter port from the registry, deletes the SFP port behind it
 * (sfp_port_delete()) and frees the context. Takes the adapter registry lock
 * and the port's lock, then the SFP registry lock. The adapter is not
 * touched. The handle is dangling afterwards.
 *
 * @param hdl The adapter port handle.
 * @return 0; 22 for a null handle; 2 for a handle the registry does not hold;
 *         a threads library code when the registry lock fails.
 */
SFPDRV_API sfp_rc qsa_port_delete(qsa_port_ctx *hdl);

/**
 * The handle check of the adapter operations: takes the adapter registry
 * lock, then the port's lock, and releases the registry lock.
 *
 * @param hdl  The adapter port handle.
 * @param site A number identifying the caller, only printed.
 * @return 0 with the port's lock held by the calling thread (the caller
 *         unlocks `hdl->lock` when its operation ends); 22 for a null handle,
 *         11 (#SFP_RC_QSA_NOT_INIT) for a port that is not fully created, 35
 *         when the calling thread already holds the port's lock, or another
 *         threads library code, each with no lock held.
 */
SFPDRV_API sfp_rc qsa_check_and_lock_hdl(qsa_port_ctx *hdl, uint32_t site);

/* ---- Access and insertion --------------------------------------------------- */

/**
 * Reads or writes adapter memory through the adapter callbacks, writing the
 * page select first when the page changes (upper pages 1 and 3 are refused
 * then). A read zeroes the buffer first. No lock, no wait, no retry.
 *
 * @param port      The adapter port.
 * @param offset    First byte within the page.
 * @param length    Number of bytes; offset + length - 1 must stay below 256.
 * @param page      The page code.
 * @param buffer    Source or destination; owned by the caller.
 * @param direction #SFP_ACCESS_READ (1) or #SFP_ACCESS_WRITE (0).
 * @return 0; 22 for a null port or buffer, missing callbacks, a range past
 *         byte 255 or a select of page 1 or 3; otherwise the callback's
 *         status.
 */
SFPDRV_API sfp_rc qsa_access(qsa_port_ctx *port, uint32_t offset, uint32_t length,
                             qsa_page_code page, uint8_t *buffer, uint32_t direction);

/**
 * Whether an SFP is seated behind the adapter (lower-page byte 1 bit 0
 * clear). No lock.
 *
 * @param port The adapter port.
 * @return 1 when seated; 0 when not, or when the read fails.
 */
SFPDRV_API uint8_t qsa_is_sfp_inserted(qsa_port_ctx *port);

/**
 * Whether an adapter answers (upper page 0 byte 222 reads 0xF2). No lock.
 *
 * @param port The adapter port.
 * @return 1 when it answers; 0 otherwise or when the read fails.
 */
SFPDRV_API uint32_t is_qsa_inserted(qsa_port_ctx *port);

/**
 * Whether the adapter port holds an SFP port. No lock, no access.
 *
 * @param port The adapter port.
 * @return 1 when it does; 0 otherwise or for a null port.
 */
SFPDRV_API uint32_t qsa_is_sfp_instantiated(qsa_port_ctx *port);

/**
 * Finds insertion, swap and removal of the SFP behind the adapter; the
 * platform calls it from its poll.
 *
 * An SFP seated where the adapter port holds none, or one whose serial
 * number differs from the SFP port's, is reported through the notification
 * callback (phase 0, then 1); the adapter port keeps its SFP port, and only a
 * new adapter port (qsa_port_delete() and qsa_port_create()) creates one for
 * the new module. An SFP that is gone gets its SFP port deleted, the
 * adapter's transmitter disabled, and the notification. Holds the port's lock
 * throughout, including while the callback runs.
 *
 * Blocking: one handshake (up to 150 ms) when the adapter port holds an SFP
 * port.
 *
 * @param hdl The adapter port handle.
 * @return 0 after the handle check, whatever the reads gave; otherwise the
 *         check's status (22, 11, 35 or a threads library code).
 */
SFPDRV_API sfp_rc qsa_port_detect_sfp_oir(qsa_port_ctx *hdl);

/**
 * Whether an SFP port's stored serial number (A0h bytes 68 on) equals the
 * given bytes.
 *
 * @param port   The SFP port, or null.
 * @param serial The serial number bytes.
 * @param length Number of bytes to compare (16, the field's width).
 * @return 1 when they are equal; 0 otherwise or for a null port.
 */
SFPDRV_API uint32_t sfp_vendor_sn_match(sfp_port_ctx *port, const uint8_t *serial, uint32_t length);

/* ---- Adapter operations ----------------------------------------------------- */

/**
 * Reads adapter memory under the port's lock (qsa_access() after the check).
 *
 * @param hdl    The adapter port handle.
 * @param offset First byte within the page.
 * @param page   The page code.
 * @param length Number of bytes.
 * @param buffer Receives the bytes; owned by the caller.
 * @return The check's status (22, 11, 35, ...), else qsa_access()'s.
 */
SFPDRV_API sfp_rc qsa_port_read(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                uint32_t length, uint8_t *buffer);

/**
 * Writes adapter memory under the port's lock (qsa_access() after the
 * check).
 *
 * @param hdl    The adapter port handle.
 * @param offset First byte within the page.
 * @param page   The page code.
 * @param length Number of bytes.
 * @param buffer The bytes to write; owned by the caller.
 * @return The check's status, else qsa_access()'s.
 */
SFPDRV_API sfp_rc qsa_port_write(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                 uint32_t length, uint8_t *buffer);

/**
 * Switches the adapter's transmitter on (writes 0 to lower-page byte 86).
 * The SFP's own transmitter is not touched. No check, no lock, no wait.
 *
 * @param port The adapter port.
 * @return 0; 22 for a null port; the write's status.
 */
SFPDRV_API sfp_rc qsa_port_tx_enable(qsa_port_ctx *port);

/**
 * Switches the adapter's transmitter off (writes 1 to lower-page byte 86).
 * No check, no lock, no wait.
 *
 * @param port The adapter port.
 * @return 0; 22 for a null port; the write's status.
 */
SFPDRV_API sfp_rc qsa_port_tx_disable(qsa_port_ctx *port);

/**
 * The register dump of the SFP behind the adapter (sfp_reg_access()), under
 * the port's lock; nothing when no SFP is seated or no SFP port exists.
 *
 * Ownership: the caller frees `*text` with free().
 *
 * @param hdl  The adapter port handle.
 * @param text Receives the newly allocated text.
 * @param size Receives its size.
 * @return The check's status; the dump's status; 0 when nothing was dumped
 *         (@p text then untouched).
 */
SFPDRV_API sfp_rc qsa_port_read_reg(qsa_port_ctx *hdl, char **text, uint32_t *size);

/**
 * Rate value of the SFP behind the adapter, from the adapter's rate code
 * (lower-page byte 21).
 *
 * @param hdl  The adapter port handle.
 * @param rate Receives 25, 10, 1, or 26 for an unknown code or a failed read
 *             (not Mb/s).
 * @return 0; the check's status; 22 for a null output.
 */
SFPDRV_API sfp_rc qsa_port_rate(qsa_port_ctx *hdl, uint32_t *rate);

/**
 * qsa_port_get_type() under the port's lock.
 *
 * @param hdl       The adapter port handle.
 * @param type      Receives the type.
 * @param name      Receives the name, terminated.
 * @param name_len  Size of @p name; nonzero.
 * @param defaulted Receives 0.
 * @return The check's status, else as qsa_port_get_type().
 */
SFPDRV_API sfp_rc qsa_port_type(qsa_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                uint32_t name_len, uint32_t *defaulted);

/**
 * Type and name of the SFP behind the adapter (sfp_port_type()) or, with no
 * SFP, of the adapter itself (#QSA_XCVR_TYPE_10G or #QSA_XCVR_TYPE_25G with
 * the adapter's product ID). No check, no lock.
 *
 * @param port      The adapter port.
 * @param type      Receives the type.
 * @param name      Receives the name, terminated.
 * @param name_len  Size of @p name; nonzero.
 * @param defaulted Receives 0.
 * @return 0; 22 for a null pointer or a zero length; 19
 *         (#SFP_RC_NO_ADAPTER) when, with no SFP, the adapter does not
 *         answer.
 */
SFPDRV_API sfp_rc qsa_port_get_type(qsa_port_ctx *port, sfp_xcvr_type *type, char *name,
                                    uint32_t name_len, uint32_t *defaulted);

/**
 * Follows the admin state: writes the adapter's transmitter disable (byte
 * 86: 1 for down, 0 for up) and, with an SFP seated, passes the change on to
 * sfp_port_admin_state() under the port's lock (with its waits).
 *
 * @param hdl       The adapter port handle.
 * @param pre_admin The previous admin state (0 down).
 * @param state     The new admin state (0 down).
 * @return 0; the check's status; the SFP port's status.
 */
SFPDRV_API sfp_rc qsa_port_admin_state(qsa_port_ctx *hdl, uint32_t pre_admin, uint32_t state);

/**
 * Passes a PHY speed request to the SFP behind the adapter
 * (sfp_port_set_phy_speed(), with its 500 ms wait when it programs the PHY),
 * under the port's lock.
 *
 * @param hdl     The adapter port handle.
 * @param speed   Speed in Mb/s.
 * @param autoneg Auto-negotiation value (#SFP_PHY_AN_ON ...).
 * @return The SFP port's status; 14 (#SFP_RC_FAULT) when no SFP is seated or
 *         no SFP port exists; the check's status.
 */
SFPDRV_API sfp_rc qsa_port_set_sfp_phy_speed(qsa_port_ctx *hdl, uint32_t speed, uint32_t autoneg);

/**
 * Live diagnostics of the SFP behind the adapter (sfp_port_hw_status(),
 * with its waits and handshakes), with `tx_disabled` taken from the
 * adapter's transmitter (byte 86 bit 0). The record is cleared first; with
 * no SFP it holds only `tx_disabled`.
 *
 * @param hdl The adapter port handle.
 * @param rec Receives the snapshot, or null (then nothing happens).
 * @return 0; the check's status; the SFP port's status.
 */
SFPDRV_API sfp_rc qsa_port_hw_status(qsa_port_ctx *hdl, sfp_hw_status_rec *rec);

/**
 * Identity of the SFP behind the adapter (sfp_port_hw_info()) and of the
 * adapter itself (qsa_port_copy_hw_info()), under the port's lock.
 *
 * @param hdl         The adapter port handle.
 * @param sfp_rec     Receives the SFP's identity (pass a cleared record).
 * @param adapter_rec Receives the adapter's identity, or null.
 * @return 0; the check's status.
 */
SFPDRV_API sfp_rc qsa_port_hw_info(qsa_port_ctx *hdl, sfp_hw_info_rec *sfp_rec,
                                   sfp_hw_info_rec *adapter_rec);

/**
 * The adapter's own identity, from the adapter image given at creation
 * (fields copied untrimmed), with the adapter's type and the verdict of its
 * QSFP checksums. No check, no lock, no access.
 *
 * @param port        The adapter port.
 * @param adapter_rec Receives the identity.
 * @return 0; 22 for a null pointer.
 */
SFPDRV_API sfp_rc qsa_port_copy_hw_info(qsa_port_ctx *port, sfp_hw_info_rec *adapter_rec);

/**
 * Copper link state of a 1000BASE-T SFP behind the adapter (PHY register 17
 * through page 0xAAC, after one handshake of up to 150 ms). For any other SFP
 * the output is left untouched.
 *
 * @param hdl  The adapter port handle.
 * @param link Receives 1 for link up, 0 for down.
 * @return 0; the check's status; 22 for a null output.
 */
SFPDRV_API sfp_rc qsa_port_get_state(qsa_port_ctx *hdl, uint8_t *link);

/**
 * The EEPROM report of the SFP behind the adapter (or "SFP NOT INSERTED"),
 * followed by dumps of the adapter's lower page and upper page 0, in a text
 * the library allocates.
 *
 * Ownership: on success `*text` is a newly allocated text of
 * #SFP_EEPROM_REPORT_SIZE bytes that the caller frees with free().
 *
 * @param hdl  The adapter port handle.
 * @param text Receives the text.
 * @param size Receives the text's length including the NUL.
 * @return 0; the check's status; 22 for a null output; 12 without memory.
 */
SFPDRV_API sfp_rc qsa_port_phy_reg_decode(qsa_port_ctx *hdl, char **text, uint32_t *size);

/**
 * Accepted and ignored: the adapter passes no Tx CDR control on.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always 0.
 */
SFPDRV_API sfp_rc qsa_port_tx_cdr_enable(qsa_port_ctx *hdl, uint32_t enable);

/**
 * Accepted and ignored: the adapter passes no Rx CDR control on.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always 0.
 */
SFPDRV_API sfp_rc qsa_port_rx_cdr_enable(qsa_port_ctx *hdl, uint32_t enable);

/**
 * Adapter event interrupt hook; does nothing.
 *
 * @return Always 0.
 */
SFPDRV_API sfp_rc qsa_port_handle_event_irq(void);

/**
 * CTLE control, which the adapter does not pass on.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_port_ctle_ena_dis(qsa_port_ctx *hdl, uint32_t enable);

/**
 * Power class control, which the adapter does not pass on.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_port_high_power_class_ena_dis(qsa_port_ctx *hdl, uint32_t enable);

/**
 * Rx output control, which the adapter does not pass on.
 *
 * @param hdl    Ignored.
 * @param enable Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_port_rx_output_ena_dis(qsa_port_ctx *hdl, uint32_t enable);

/**
 * Input equalisation, which the adapter does not pass on.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_modify_eq(qsa_port_ctx *hdl, uint32_t value);

/**
 * Output de-emphasis, which the adapter does not pass on.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_modify_deemphasis(qsa_port_ctx *hdl, uint32_t value);

/**
 * Output amplitude, which the adapter does not pass on.
 *
 * @param hdl   Ignored.
 * @param value Ignored.
 * @return Always #SFP_RC_UNSUPPORTED (95).
 */
SFPDRV_API sfp_rc qsa_modify_amp(qsa_port_ctx *hdl, uint32_t value);

/**
 * Diagnostic monitoring information hook; does nothing.
 *
 * @param hdl Ignored.
 * @param rec Ignored.
 * @return Always 1.
 */
SFPDRV_API sfp_rc qsa_port_dom_info(qsa_port_ctx *hdl, sfp_hw_status_rec *rec);

/**
 * The QSFP base checksum of the adapter: the sum of bytes 128 to 190 modulo
 * 256 against byte 191.
 *
 * @param image    256 bytes: the lower page and upper page 0.
 * @param stored   Receives byte 191.
 * @param computed Receives the sum.
 * @return 0 when they are equal, else #SFP_COMPLIANCE_BASE_CHECKSUM (3).
 */
SFPDRV_API sfp_rc qsa_xcvr_check_compliance_base_chksum(const uint8_t *image, uint8_t *stored,
                                                        uint8_t *computed);

/**
 * The QSFP extended checksum of the adapter: the sum of bytes 192 to 222
 * modulo 256 against byte 223.
 *
 * @param image    256 bytes: the lower page and upper page 0.
 * @param stored   Receives byte 223.
 * @param computed Receives the sum.
 * @return 0 when they are equal, else #SFP_COMPLIANCE_EXT_CHECKSUM (4).
 */
SFPDRV_API sfp_rc qsa_xcvr_check_compliance_ext_chksum(const uint8_t *image, uint8_t *stored,
                                                       uint8_t *computed);

/**
 * Both QSFP checksums of the adapter, base first.
 *
 * @param image  256 bytes: the lower page and upper page 0, or null.
 * @param result Receives 0, 1 (null image), 3 or 4.
 * @return Always 0; the verdict is in @p result.
 */
SFPDRV_API sfp_rc qsa_xcvr_check_compliance(const uint8_t *image, sfp_compliance_result *result);

SFPDRV_END_DECLS

#endif /* SFPDRV_QSA_H */
