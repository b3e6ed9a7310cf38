/* The adapter layer: an SFP seated in a QSFP cage behind a QSFP-to-SFP
 * adapter (QSA). The adapter port owns the SFP port behind the adapter and
 * reaches that module through the adapter's mirror pages. */
#ifndef SFPDRV_QSA_H
#define SFPDRV_QSA_H

#include <pthread.h>
#include <stdint.h>

#include "sfpdrv/decode.h"
#include "sfpdrv/port.h"
#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

/* ---- Adapter pages ------------------------------------------------------ */

/* The page of an adapter access: 0xA0 the lower page, 0xA00 + n upper page
 * n (0 to 255). */
typedef uint32_t qsa_page_code;
#define QSA_PAGE_LOWER 0xA0u
#define QSA_PAGE_UPPER(n) (0xA00u + (n))

/* Kinds of adapter, by the type code at upper page 0 byte 221. */
typedef enum qsa_adapter_kind { qsa_adapter_10g = 0x00, qsa_adapter_25g = 0x28 } qsa_adapter_kind;

/* Transceiver types reported for the adapter itself (beyond the type
 * table's rows). */
#define QSA_XCVR_TYPE_10G 855u
#define QSA_XCVR_TYPE_25G 856u

#define QSA_ADAPTER_EEPROM_LEN 512u

/* Insertion notification: called with 0 and then 1 when an insertion, swap
 * or removal of the SFP is found. The result is ignored. */
typedef int (*qsa_oir_notify_cb)(void *opaque, uint32_t phase);

/* ---- Records ---------------------------------------------------------------- */

/* The adapter port context; a pointer to it is the adapter port handle. */
typedef struct qsa_port_ctx {
  pthread_mutex_t lock; /* error-checking: a re-entrant take gets 35 */
  uint32_t initialised;
  void *opaque;
  int32_t controller;
  int32_t port;
  int32_t current_page; /* page code selected last; -1 unknown */
  sfp_trace_hdl err_trace;
  sfp_trace_hdl evt_trace;
  sfp_mem_cb read_cb;
  sfp_mem_cb write_cb;
  qsa_oir_notify_cb oir_notify_cb;
  sfp_xcvr_type sfp_type;
  char sfp_name[64];
  uint8_t adapter_eeprom[QSA_ADAPTER_EEPROM_LEN];
  sfp_port_ctx *sfp_port; /* the SFP port behind the adapter, or null */
  struct qsa_port_ctx *next;
  uint8_t adapter_type_code;
} qsa_port_ctx;

/* The adapter layer's library-wide state. */
typedef struct qsa_port_registry {
  uint32_t initialised;
  qsa_port_ctx *ports;
  pthread_mutex_t lock;
  void *evm;
  sfp_trace_hdl err_trace;
  sfp_trace_hdl evt_trace;
  sfp_trace_hdl port_err_trace;
  sfp_trace_hdl port_evt_trace;
  uint32_t no_write_page_select;
  uint32_t no_read_page_select;
} qsa_port_registry;

/* The caller's creation record; nothing keeps a pointer to it. */
typedef struct qsa_platform_ops {
  void *opaque;
  int32_t controller;
  int32_t port;
  void *evm;
  sfp_mem_cb read_cb;  /* adapter memory read */
  sfp_mem_cb write_cb; /* adapter memory write and page select */
  qsa_oir_notify_cb oir_notify_cb;
  uint32_t module_present;
  uint32_t no_write_page_select;
  uint32_t no_read_page_select;
  uint8_t adapter_eeprom[QSA_ADAPTER_EEPROM_LEN];
} qsa_platform_ops;

/* The caller's result record of a creation. */
typedef struct qsa_port_create_result {
  qsa_port_ctx *handle;
  uint32_t module_present;
  uint32_t status;
} qsa_port_create_result;

/* ---- Lifecycle and locking ------------------------------------------------ */

SFPDRV_API qsa_port_registry *qsa_get_ctx(void);
SFPDRV_API sfp_rc qsa_port_create(const qsa_platform_ops *ops, qsa_port_create_result *result);
SFPDRV_API sfp_rc qsa_port_delete(qsa_port_ctx *hdl);
/* 0 with the port lock held by the caller, or 22, 11 or a threads library
 * code with no lock held. */
SFPDRV_API sfp_rc qsa_check_and_lock_hdl(qsa_port_ctx *hdl, uint32_t site);

/* ---- Access and insertion --------------------------------------------------- */

/* Reads (direction 1) or writes (0) adapter memory, selecting the page first
 * when needed. Takes no lock. */
SFPDRV_API sfp_rc qsa_access(qsa_port_ctx *port, uint32_t offset, uint32_t length,
                             qsa_page_code page, uint8_t *buffer, uint32_t direction);
/* 1 when an SFP is seated behind the adapter. */
SFPDRV_API uint8_t qsa_is_sfp_inserted(qsa_port_ctx *port);
/* 1 when an adapter answers with extended identifier 0xF2. */
SFPDRV_API uint32_t is_qsa_inserted(qsa_port_ctx *port);
/* 1 when the adapter port holds an SFP port. */
SFPDRV_API uint32_t qsa_is_sfp_instantiated(qsa_port_ctx *port);
/* Finds insertion, swap and removal of the SFP behind the adapter. */
SFPDRV_API sfp_rc qsa_port_detect_sfp_oir(qsa_port_ctx *hdl);

/* 1 when the SFP port's stored serial number (A0h bytes 68 on) equals the
 * `length` bytes given, 0 otherwise or for a null port. */
SFPDRV_API uint32_t sfp_vendor_sn_match(sfp_port_ctx *port, const uint8_t *serial, uint32_t length);

/* ---- Adapter operations ----------------------------------------------------- */

SFPDRV_API sfp_rc qsa_port_read(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                uint32_t length, uint8_t *buffer);
SFPDRV_API sfp_rc qsa_port_write(qsa_port_ctx *hdl, uint32_t offset, qsa_page_code page,
                                 uint32_t length, uint8_t *buffer);
SFPDRV_API sfp_rc qsa_port_tx_enable(qsa_port_ctx *port);
SFPDRV_API sfp_rc qsa_port_tx_disable(qsa_port_ctx *port);
SFPDRV_API sfp_rc qsa_port_read_reg(qsa_port_ctx *hdl, char **text, uint32_t *size);
/* Rate value of the SFP behind the adapter: 25, 10, 1 or 26 (unknown). */
SFPDRV_API sfp_rc qsa_port_rate(qsa_port_ctx *hdl, uint32_t *rate);
SFPDRV_API sfp_rc qsa_port_type(qsa_port_ctx *hdl, sfp_xcvr_type *type, char *name,
                                uint32_t name_len, uint32_t *defaulted);
SFPDRV_API sfp_rc qsa_port_get_type(qsa_port_ctx *port, sfp_xcvr_type *type, char *name,
                                    uint32_t name_len, uint32_t *defaulted);
SFPDRV_API sfp_rc qsa_port_admin_state(qsa_port_ctx *hdl, uint32_t pre_admin, uint32_t state);
SFPDRV_API sfp_rc qsa_port_set_sfp_phy_speed(qsa_port_ctx *hdl, uint32_t speed, uint32_t autoneg);
SFPDRV_API sfp_rc qsa_port_hw_status(qsa_port_ctx *hdl, sfp_hw_status_rec *rec);
SFPDRV_API sfp_rc qsa_port_hw_info(qsa_port_ctx *hdl, sfp_hw_info_rec *sfp_rec,
                                   sfp_hw_info_rec *adapter_rec);
SFPDRV_API sfp_rc qsa_port_copy_hw_info(qsa_port_ctx *port, sfp_hw_info_rec *adapter_rec);
SFPDRV_API sfp_rc qsa_port_get_state(qsa_port_ctx *hdl, uint8_t *link);
/* The report in a newly allocated text of SFP_EEPROM_REPORT_SIZE bytes,
 * which the caller frees with free(); `size` includes the NUL. */
SFPDRV_API sfp_rc qsa_port_phy_reg_decode(qsa_port_ctx *hdl, char **text, uint32_t *size);

/* Accepted and ignored: 0 for the first three, 95 for the next six, 1 for
 * the last. */
SFPDRV_API sfp_rc qsa_port_tx_cdr_enable(qsa_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc qsa_port_rx_cdr_enable(qsa_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc qsa_port_handle_event_irq(void);
SFPDRV_API sfp_rc qsa_port_ctle_ena_dis(qsa_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc qsa_port_high_power_class_ena_dis(qsa_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc qsa_port_rx_output_ena_dis(qsa_port_ctx *hdl, uint32_t enable);
SFPDRV_API sfp_rc qsa_modify_eq(qsa_port_ctx *hdl, uint32_t value);
SFPDRV_API sfp_rc qsa_modify_deemphasis(qsa_port_ctx *hdl, uint32_t value);
SFPDRV_API sfp_rc qsa_modify_amp(qsa_port_ctx *hdl, uint32_t value);
SFPDRV_API sfp_rc qsa_port_dom_info(qsa_port_ctx *hdl, sfp_hw_status_rec *rec);

/* QSFP checksums of a 256-byte image of the adapter's lower page and upper
 * page 00: base (bytes 128 to 190 against 191) and extended (192 to 222
 * against 223). */
SFPDRV_API sfp_rc qsa_xcvr_check_compliance_base_chksum(const uint8_t *image, uint8_t *stored,
                                                        uint8_t *computed);
SFPDRV_API sfp_rc qsa_xcvr_check_compliance_ext_chksum(const uint8_t *image, uint8_t *stored,
                                                       uint8_t *computed);
/* Always 0; the verdict (0, 1, 3 or 4) is in `result`. */
SFPDRV_API sfp_rc qsa_xcvr_check_compliance(const uint8_t *image, sfp_compliance_result *result);

SFPDRV_END_DECLS

#endif /* SFPDRV_QSA_H */
