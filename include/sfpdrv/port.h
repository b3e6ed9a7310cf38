/**
 * @file
 * @brief Port core: library state, port contexts, creation and deletion.
 *
 * A platform creates one port per transceiver cage with sfp_port_create(),
 * keyed by an opaque pointer of its own, and gets a handle (a pointer to the
 * port's #sfp_port_ctx) that every other port operation takes.
 *
 * Threading: the SFP layer has one lock, the registry lock in #sfp_lib_ctx,
 * and only sfp_port_create() and sfp_port_delete() take it. Port operations
 * take no lock: the caller serialises all operations on one port, and never
 * deletes a port while an operation on it runs. Operations on different
 * ports may run at the same time.
 */
#ifndef SFPDRV_PORT_H
#define SFPDRV_PORT_H

#include <pthread.h>
#include <stdint.h>

#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

#define SFP_EEPROM_CALLER_LEN 512u /**< A0h followed by A2h, as the caller hands it over. */
#define SFP_EEPROM_IMAGE_LEN 640u  /**< Size of the port's cached image of module memory. */
#define SFP_XCVR_NAME_LEN 64u      /**< Characters of a port's type name (without the NUL). */

#define SFP_IMAGE_A0 0u          /**< Image offset of A0h bytes 0 to 255. */
#define SFP_IMAGE_A2_LOWER 256u  /**< Image offset of A2h bytes 0 to 127. */
#define SFP_IMAGE_A2_TABLE0 384u /**< Image offset of A2h table 0, bytes 128 to 255. */
#define SFP_IMAGE_A2_TABLE2 512u /**< Image offset of A2h table 2, bytes 128 to 255. */

/**
 * The per-port context; a pointer to it is the port handle.
 *
 * The library allocates it (zero-filled) in sfp_port_create() and frees it
 * only in sfp_port_delete(); the caller never frees it and treats it as
 * read-only, with one exception: #adaptive_ctle, which only the platform
 * sets. Creation fills it; the port operations read and update it without a
 * lock, which is why the caller serialises the operations on one port.
 */
typedef struct sfp_port_ctx {
  /** 1 once creation has run to its end; 0 while the context is registered
   * but not (or not completely) initialised. Checking operations refuse a
   * context with 0 with status 22. */
  uint32_t initialised;
  void *opaque;            /**< The caller's key for the cage; first argument of every callback. */
  int32_t controller;      /**< Controller number, printed as "Controller %d" in port messages. */
  int32_t port;            /**< Port number, printed as "Port %d" in port messages. */
  sfp_trace_hdl err_trace; /**< The error trace buffer "sfp_err". */
  sfp_trace_hdl evt_trace; /**< The event trace buffer "sfp_evt". */
  sfp_mem_cb read_cb;      /**< Module memory read (sfp_platform_ops::read_cb). */
  sfp_mem_cb write_cb;     /**< Module memory write and table select. */
  sfp_mem_cb bitbang_read_cb;            /**< Bit-bang module memory read, or null. */
  sfp_phy_cb phy_read_cb;                /**< Copper PHY register read, or null. */
  sfp_phy_cb phy_write_cb;               /**< Copper PHY register write, or null. */
  sfp_xcvr_type xcvr_type;               /**< The module's type; 0 until identified. */
  char xcvr_name[SFP_XCVR_NAME_LEN + 1]; /**< Display name of #xcvr_type, terminated. */
  uint32_t admin_state;    /**< Last admin state given to sfp_port_admin_state() (0 down). */
  uint32_t supported;      /**< Verdict of the supported check (an #sfp_xcvr_supported_status). */
  sfp_eeprom_space spaces; /**< The memory spaces the module provides. */
  /** Cached image of module memory: A0h bytes 0 to 255, A2h bytes 0 to 127,
   * A2h table 0 bytes 128 to 255, A2h table 2 bytes 128 to 255 (see
   * #SFP_IMAGE_A0 and its kin). The first 512 bytes come from the caller's
   * copy at creation; creation and the status snapshot refresh parts of it. */
  uint8_t eeprom[SFP_EEPROM_IMAGE_LEN];
  uint32_t rate_code; /**< The cage's rate: 1 = 25G, 2 = 10G, 3 = 50G (#SFP_RATE_CODE_25G). */
  /** Copper PHY operations: points to #qrn_te_phy_access for a 1000BASE-T
   * module, null for a module without a PHY. Set by identification. */
  const struct sfp_phy_ops *phy_access;
  uint32_t phy_speed;   /**< Last requested PHY speed in Mb/s; 0 = none requested. */
  uint32_t phy_autoneg; /**< Last requested PHY auto-negotiation value (#SFP_PHY_AN_ON ...). */
  /** Platform access mode: 1 for a port behind an adapter (PHY register r
   * at register bytes 2r and 2r + 1, 500 ms before a PHY speed change). A
   * nonzero value also makes the status snapshot re-read flagged alarms
   * through the memory callbacks instead of the bit-bang read. */
  uint32_t bus_mode;
  uint32_t skip_soft_tx; /**< 1: the library never writes the soft transmitter disable bit. */
  /** Nonzero lets sfp_port_ctle_ena_dis() enable adaptive CTLE. The library
   * never sets it: a platform that wants adaptive CTLE sets it on its handle
   * (`hdl->adaptive_ctle = 1;`) after creation, serialised with the other
   * operations on the port. */
  uint32_t adaptive_ctle;
  uint32_t multi_rate;      /**< Set by identification for a multi-rate optic. */
  uint32_t oper_speed;      /**< Requested speed in Mb/s of a multi-rate module; 0 = its own. */
  uint32_t phy_word_access; /**< Nonzero: PHY registers move as one 16-bit word. */
  /** Tunable module: first laser frequency as a channel offset from 191.35 THz
   * in 50 GHz steps; the usable channels are #tunable_lower_offset + 1 to
   * #tunable_upper_offset + 1. */
  int32_t tunable_lower_offset;
  int32_t tunable_upper_offset; /**< Tunable module: last laser frequency, as above. */
  /** Set when the module was not recognised and got a default type (only
   * with sfp_platform_ops::unsupported_xcvr_allowed). */
  uint32_t defaulted;
  struct sfp_port_ctx *next; /**< Registry link (newest first); for the library only. */
  uint32_t sonet_capable;    /**< The port accepts SONET optics (consulted by identification). */
} sfp_port_ctx;

/**
 * The library-wide state; one instance for the life of the process
 * (sfp_get_ctx()). Nothing in it is ever torn down. Callers read it only;
 * the registry and the one-time initialisation are written under #lock.
 */
typedef struct sfp_lib_ctx {
  uint32_t initialised; /**< 1 once the one-time initialisation has succeeded; never reset. */
  sfp_port_ctx *ports;  /**< The registry: every port context, newest first. */
  /** The registry lock ("sfp_context_lock"), taken only by sfp_port_create()
   * and sfp_port_delete(); not recursive. */
  pthread_mutex_t lock;
  void *evm;               /**< The event manager of the creation that initialised the library. */
  sfp_trace_hdl err_trace; /**< The error buffer "sfp_err" (library-level messages). */
  sfp_trace_hdl evt_trace; /**< The event buffer "sfp_evt". */
  sfp_trace_hdl port_err_trace; /**< Error buffer handle given to every port. */
  sfp_trace_hdl port_evt_trace; /**< Event buffer handle given to every port. */
  /** Process-wide: writes to pages 2 to 5 skip the table select. Overwritten
   * by every port creation from its sfp_platform_ops::no_write_page_select. */
  uint32_t no_write_page_select;
  /** Process-wide: reads of pages 2 to 5 skip the table select. Overwritten
   * by every port creation. */
  uint32_t no_read_page_select;
  /** Process-wide: unknown or unsupported modules get a default type and are
   * accepted. Taken once, from the creation that initialises the library. */
  uint32_t unsupported_xcvr_allowed;
} sfp_lib_ctx;

/**
 * The caller's creation record for sfp_port_create(). The library reads it
 * during the call and keeps no pointer to it. Clear it (memset) and set the
 * fields the platform needs; every flag defaults to 0.
 */
typedef struct sfp_platform_ops {
  /** The caller's key for the cage: one port context per opaque value, and
   * the first argument of every callback. */
  void *opaque;
  int32_t controller; /**< Controller number, for messages. */
  int32_t port;       /**< Port number, for messages. */
  /** An event manager (event_manager_create()) to register the trace show
   * commands with; used only by the creation that initialises the library;
   * may be null. */
  void *evm;
  sfp_mem_cb read_cb;  /**< Module memory read; required for every access. */
  sfp_mem_cb write_cb; /**< Module memory write and table select; required for every access. */
  /** Bit-bang read, or null. When given, creation reads the A2h vendor area
   * with it, and the status snapshot re-reads flagged alarms with it. */
  sfp_mem_cb bitbang_read_cb;
  sfp_phy_cb phy_read_cb;  /**< Copper PHY register read, or null. */
  sfp_phy_cb phy_write_cb; /**< Copper PHY register write, or null. */
  /**
   * Nonzero: the platform says a module is seated and wants the transmitter
   * stage. After identification creation then waits for the module's data
   * to be ready (on a module with A2h and diagnostics: up to 20 reads of A2h
   * byte 110, 100 ms apart, status 14 when bit 0 never clears), selects a
   * multi-rate module's rate, and brings the module to its initial state:
   * power level 1, soft transmitter disable, a 100 ms wait, Tx CDR off, the
   * higher power level requested, CTLE off. Zero skips all of that. Returned
   * unchanged in sfp_port_create_result::module_present.
   */
  uint32_t module_present;
  /** Nonzero: writes to pages 2 to 5 do not write the table select first.
   * Process-wide: every creation overwrites the library's flag, so give all
   * ports the same value. */
  uint32_t no_write_page_select;
  /** The same for reads of pages 2 to 5. */
  uint32_t no_read_page_select;
  uint32_t eeprom_len; /**< Valid bytes in #eeprom; at most 512 are copied, 0 copies none. */
  /**
   * The cage's operating rate: 1 = 25G, 2 = 10G, 3 = 50G (#SFP_RATE_CODE_25G,
   * #SFP_RATE_CODE_10G, #SFP_RATE_CODE_50G). It decides the rate, and so the
   * type, that a multi-rate module runs as, and a multi-rate module in a 10G
   * cage gets the power-level handling of a 25G optic.
   */
  uint32_t rate_code;
  /** The caller's copy of module memory: A0h bytes 0 to 255, then A2h bytes 0
   * to 255, as read from the module. Identification works on it. */
  uint8_t eeprom[SFP_EEPROM_CALLER_LEN];
  /** Access mode: 1 for a module behind an adapter (see
   * sfp_port_ctx::bus_mode); 0 for a directly attached module. */
  uint32_t bus_mode;
  uint32_t skip_soft_tx;    /**< 1: never write the module's soft transmitter disable bit. */
  uint32_t oper_speed;      /**< Operating speed in Mb/s for a multi-rate module; 0 = its own. */
  uint32_t phy_word_access; /**< Nonzero: PHY registers move as one 16-bit word (#sfp_phy_cb). */
  /** Accept unknown or unsupported modules under a default type. Taken only
   * by the creation that initialises the library. */
  uint32_t unsupported_xcvr_allowed;
  uint32_t sonet_capable; /**< The port accepts SONET optics. */
} sfp_platform_ops;

/** The caller's result record of sfp_port_create(). */
typedef struct sfp_port_create_result {
  sfp_port_ctx *handle;    /**< The port handle; written only when the context ends initialised. */
  uint32_t module_present; /**< Copy of the parameter, written with the handle. */
  uint32_t status;         /**< The status the operation returns. */
} sfp_port_create_result;

/**
 * The library-wide state record.
 *
 * Takes no lock and has no other effect; the record is read-only to the
 * caller.
 *
 * @return The one #sfp_lib_ctx of the process (never null).
 */
SFPDRV_API sfp_lib_ctx *sfp_get_ctx(void);

/**
 * The handle check that the port operations run first.
 *
 * Takes no lock. A refusal is written to the trace buffers.
 *
 * @param hdl  The port handle to check.
 * @param site A number identifying the caller's check, only printed in the
 *             message.
 * @return 0 for an initialised port; 22 (#SFP_RC_INVALID) for a null handle
 *         or a context that is not fully initialised.
 */
SFPDRV_API sfp_rc sfp_check_hdl(sfp_port_ctx *hdl, uint32_t site);

/**
 * Creates the port of a cage, or finds it again, and returns its handle.
 *
 * The first creation in the process initialises the library: it opens the
 * trace buffers "sfp_err" and "sfp_evt" (64 KiB each), registers their show
 * commands with the event manager of `ops->evm`, fills the supported
 * part-number lists and takes `ops->unsupported_xcvr_allowed`. Then the port
 * context of `ops->opaque` is found or registered. A context that is already
 * initialised is returned at once: nothing is read from the module and the
 * new record (callbacks included) is ignored. Otherwise creation copies the
 * callbacks, the flags and min(`eeprom_len`, 512) bytes of the module
 * memory copy into the context, works out the memory spaces, reads A2h
 * bytes 0 to 127 and the A2h tables it needs, identifies the module and,
 * when `ops->module_present` is nonzero, runs the transmitter stage (see
 * sfp_platform_ops::module_present).
 *
 * Blocking: the data-ready wait takes up to 20 x 100 ms (2 s); the
 * transmitter stage waits 100 ms after the transmitter disable and, on a
 * 25G or 50G optic, 300 ms per power-level change and 500 ms after the CTLE
 * change (about 1.2 s in all). Every wait goes through platform_sleep_ms().
 *
 * Threading: the SFP registry lock is held only for the one-time
 * initialisation and the find-or-add, not while the module is read. The
 * caller must not create the same cage from two threads at once, nor use the
 * handle before creation returns; creations of different cages may run at
 * the same time.
 *
 * @param ops    The creation record; read during the call only.
 * @param result Receives the handle, `module_present` and the status.
 * @return 0 with the handle in @p result;
 *         22 when @p ops or @p result is null (nothing written);
 *         12 when the context cannot be allocated;
 *         14 (or the trace service's enable code) when the trace buffers
 *         cannot be set up (the next creation tries again);
 *         95 when the module is not a type the library drives, or the
 *         status of a failed read of the module's A2h memory: the context
 *         stays registered but not initialised, no handle is written, and a
 *         later creation with the same `opaque` initialises it again;
 *         14 when the module's data never became ready, or the status of a
 *         failed multi-rate selection: the port is initialised and its
 *         handle returned with that status;
 *         a threads library code when the registry lock fails (35 for a
 *         deadlock).
 */
SFPDRV_API sfp_rc sfp_port_create(const sfp_platform_ops *ops, sfp_port_create_result *result);

/**
 * Removes the port from the registry and frees its context.
 *
 * Deletion does not touch the module: the transmitter and every module
 * setting stay as they are. It accepts a context in any registered state.
 * Afterwards the handle is dangling; a later sfp_port_create() with the same
 * `opaque` makes a new context and reads the module again.
 *
 * Threading: takes the SFP registry lock for the search, unlink and free.
 * The caller makes sure that no operation on the port is running or starts
 * once deletion has begun.
 *
 * @param hdl The port handle.
 * @return 0; 22 for a null handle; 2 (#SFP_RC_NOT_FOUND) for a handle the
 *         registry does not hold (nothing is freed); a threads library code
 *         when the registry lock fails.
 */
SFPDRV_API sfp_rc sfp_port_delete(sfp_port_ctx *hdl);

SFPDRV_END_DECLS

#endif /* SFPDRV_PORT_H */
