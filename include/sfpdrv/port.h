/* Port core: library state, port contexts, creation and deletion. */
#ifndef SFPDRV_PORT_H
#define SFPDRV_PORT_H

#include <pthread.h>
#include <stdint.h>

#include "sfpdrv/types.h"

SFPDRV_BEGIN_DECLS

#define SFP_EEPROM_CALLER_LEN 512u /* A0h followed by A2h, as the caller hands it over */
#define SFP_EEPROM_IMAGE_LEN 640u  /* the port's cached image of module memory */
#define SFP_XCVR_NAME_LEN 64u

/* Offsets of the areas of the port's cached image. */
#define SFP_IMAGE_A0 0u
#define SFP_IMAGE_A2_LOWER 256u
#define SFP_IMAGE_A2_TABLE0 384u
#define SFP_IMAGE_A2_TABLE2 512u

/* The per-port context; a pointer to it is the port handle. The library
 * allocates and frees it; the caller never frees it. */
typedef struct sfp_port_ctx {
  uint32_t initialised;
  void *opaque;
  int32_t controller;
  int32_t port;
  sfp_trace_hdl err_trace;
  sfp_trace_hdl evt_trace;
  sfp_mem_cb read_cb;
  sfp_mem_cb write_cb;
  sfp_mem_cb bitbang_read_cb;
  sfp_phy_cb phy_read_cb;
  sfp_phy_cb phy_write_cb;
  sfp_xcvr_type xcvr_type;
  char xcvr_name[SFP_XCVR_NAME_LEN + 1];
  uint32_t admin_state;
  uint32_t supported;
  sfp_eeprom_space spaces;
  uint8_t eeprom[SFP_EEPROM_IMAGE_LEN];
  uint32_t rate_code;
  const struct sfp_phy_ops *phy_access;
  uint32_t phy_speed;
  uint32_t phy_autoneg;
  uint32_t bus_mode;
  uint32_t skip_soft_tx;
  /* Nonzero lets sfp_port_ctle_ena_dis enable adaptive CTLE. The library never
   * sets it: a platform that wants adaptive CTLE sets it on its handle
   * (`hdl->adaptive_ctle = 1;`). */
  uint32_t adaptive_ctle;
  uint32_t multi_rate;
  uint32_t oper_speed;
  uint32_t phy_word_access;
  int32_t tunable_lower_offset;
  int32_t tunable_upper_offset;
  uint32_t defaulted;
  struct sfp_port_ctx *next;
  uint32_t sonet_capable;
} sfp_port_ctx;

/* The library-wide state; one instance for the life of the process. */
typedef struct sfp_lib_ctx {
  uint32_t initialised;
  sfp_port_ctx *ports;
  pthread_mutex_t lock;
  void *evm;
  sfp_trace_hdl err_trace;
  sfp_trace_hdl evt_trace;
  sfp_trace_hdl port_err_trace;
  sfp_trace_hdl port_evt_trace;
  uint32_t no_write_page_select;
  uint32_t no_read_page_select;
  uint32_t unsupported_xcvr_allowed;
} sfp_lib_ctx;

/* The caller's creation record; the library keeps no pointer to it. */
typedef struct sfp_platform_ops {
  void *opaque;
  int32_t controller;
  int32_t port;
  void *evm;
  sfp_mem_cb read_cb;
  sfp_mem_cb write_cb;
  sfp_mem_cb bitbang_read_cb;
  sfp_phy_cb phy_read_cb;
  sfp_phy_cb phy_write_cb;
  uint32_t module_present;
  uint32_t no_write_page_select;
  uint32_t no_read_page_select;
  uint32_t eeprom_len;
  uint32_t rate_code;
  uint8_t eeprom[SFP_EEPROM_CALLER_LEN];
  uint32_t bus_mode;
  uint32_t skip_soft_tx;
  uint32_t oper_speed;
  uint32_t phy_word_access;
  uint32_t unsupported_xcvr_allowed;
  uint32_t sonet_capable;
} sfp_platform_ops;

/* The caller's result record of a creation. */
typedef struct sfp_port_create_result {
  sfp_port_ctx *handle;    /* written only when the context ends initialised */
  uint32_t module_present; /* copy of the parameter, written with the handle */
  uint32_t status;         /* the status the operation returns */
} sfp_port_create_result;

/* The library-wide state record. Takes no lock. */
SFPDRV_API sfp_lib_ctx *sfp_get_ctx(void);

/* 22 for a null or not fully initialised handle, else 0. `site` identifies
 * the caller's check in the message. */
SFPDRV_API sfp_rc sfp_check_hdl(sfp_port_ctx *hdl, uint32_t site);

/* Finds or registers the port of `ops->opaque`, initialises it if needed and
 * returns its handle in `result`. */
SFPDRV_API sfp_rc sfp_port_create(const sfp_platform_ops *ops, sfp_port_create_result *result);

/* Removes the port from the registry and frees it. */
SFPDRV_API sfp_rc sfp_port_delete(sfp_port_ctx *hdl);

SFPDRV_END_DECLS

#endif /* SFPDRV_PORT_H */
