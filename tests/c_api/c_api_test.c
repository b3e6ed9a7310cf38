/* The exported interface used from a C program: a creation over the caller's
 * callbacks, reads through them (a table read selecting its table first),
 * statuses, and deletion. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "sfpdrv/sfpdrv.h"

_Static_assert(SFP_RC_OK == 0 && SFP_RC_NOT_FOUND == 2 && SFP_RC_INVALID == 22, "status values");
/* The decoded-field tables and the status record keep the layout platforms
 * rely on. */
_Static_assert(sizeof(sfp_decoded_field) == 259 && sizeof(sfp_id_field_table) == 8806 &&
                   sizeof(sfp_status_field_table) == 11137 &&
                   sizeof(sfp_no_ddm_field_table) == 2072 &&
                   sizeof(sfp_user_eeprom_field_table) == 6734,
               "decoded-field table sizes");
_Static_assert(sizeof(sfp_hw_status_rec) == 55 * 4, "status record: 55 slots of 32 bits");

/* A0h at 0..255 and A2h at 256..511; every table page shows the upper half
 * of A2h, and A2h byte 127 is the table select. */
static uint8_t memory[512];
static char calls[256]; /* the callback calls, in order */
static int read_status; /* what the read callback returns */
static int failures;

#define CHECK(cond)                                                                                \
  do {                                                                                             \
    if (!(cond)) {                                                                                 \
      fprintf(stderr, "%s:%d: check failed: %s (calls: %s)\n", __FILE__, __LINE__, #cond, calls);  \
      ++failures;                                                                                  \
    }                                                                                              \
  } while (0)

static uint8_t *locate(void *opaque, uint8_t offset, uint8_t page, uint32_t length) {
  const uint32_t base = page == 0 ? 0u : page == 1 ? 256u : 384u;
  const uint32_t size = page > 1 ? 128u : 256u;
  return opaque == memory && page <= 5 && offset + length <= size ? &memory[base + offset] : NULL;
}

static void note(char kind, uint8_t offset, uint8_t page, uint32_t length, const uint8_t *bytes) {
  const size_t used = strlen(calls);
  snprintf(calls + used, sizeof calls - used, "%c p%u o%u n%u =%02x;", kind, (unsigned)page,
           (unsigned)offset, (unsigned)length, bytes != NULL ? bytes[0] : 0u);
}

static int read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  uint8_t *at = locate(opaque, offset, page, length);
  if (read_status != 0 || at == NULL || buffer == NULL) {
    return read_status != 0 ? read_status : 22;
  }
  memcpy(buffer, at, length);
  note('r', offset, page, length, buffer);
  return 0;
}

static int write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  uint8_t *at = locate(opaque, offset, page, length);
  note('w', offset, page, length, buffer);
  if (at == NULL || buffer == NULL) {
    return 22;
  }
  memcpy(at, buffer, length);
  return 0;
}

int main(void) {
  sfp_platform_ops ops;
  sfp_port_create_result result;
  sfp_port_ctx never_returned;
  uint8_t buffer[16];
  unsigned i;

  for (i = 0; i < 256u; ++i) {
    memory[256 + i] = (uint8_t)(0x80u ^ i); /* A2h and the table */
  }
  memory[256 + 127] = 0;                       /* table select */
  memory[0] = 0x03;                            /* identifier: SFP */
  memory[1] = 0x04;                            /* extended identifier */
  memory[3] = 0x10;                            /* 10GBASE-SR: a module with A2h */
  memory[92] = 0x40;                           /* diagnostics */
  memcpy(&memory[20], "SFPDRV C TEST   ", 16); /* vendor name */

  memset(&ops, 0, sizeof ops);
  memset(&result, 0, sizeof result);
  ops.opaque = memory;
  ops.controller = 1;
  ops.port = 7;
  ops.read_cb = read_cb;
  ops.write_cb = write_cb;
  ops.module_present = 1;
  ops.eeprom_len = (uint32_t)sizeof memory;
  memcpy(ops.eeprom, memory, sizeof memory);
  CHECK(sfp_port_create(&ops, &result) == SFP_RC_OK && result.handle != NULL);
  if (result.handle == NULL) {
    return 1;
  }

  calls[0] = '\0';
  CHECK(sfp_port_read(result.handle, 20, SFP_PAGE_A0, 16, buffer) == SFP_RC_OK);
  CHECK(memcmp(buffer, &memory[20], 16) == 0 && strcmp(calls, "r p0 o20 n16 =53;") == 0);
  CHECK(sfp_port_read(NULL, 0, SFP_PAGE_A0, 1, buffer) == SFP_RC_INVALID);

  calls[0] = '\0';
  CHECK(sfp_port_read(result.handle, 5, SFP_PAGE_A2_TABLE1, 4, buffer) == SFP_RC_OK);
  CHECK(strcmp(calls, "w p1 o127 n1 =01;r p3 o5 n4 =05;") == 0 && memory[256 + 127] == 1);
  CHECK(memcmp(buffer, &memory[384 + 5], 4) == 0);

  read_status = 5;
  CHECK(sfp_port_read(result.handle, 0, SFP_PAGE_A0, 1, buffer) == 5);

  CHECK(sfp_port_delete(result.handle) == SFP_RC_OK);
  memset(&never_returned, 0, sizeof never_returned);
  CHECK(sfp_port_delete(&never_returned) == SFP_RC_NOT_FOUND);
  printf("c_api_test: %d check(s) failed\n", failures);
  return failures != 0;
}
