/* The exported interface used from a C program: creation, reads through the
 * caller's callbacks, the table select before a table read, handle and
 * argument checks, and deletion. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "sfpdrv/sfpdrv.h"

/* A module's memory as the platform sees it: A0h at 0..255 and A2h at
 * 256..511. A2h byte 127 is the table select; the upper half of A2h shows
 * the selected table (one table in this small model). */
#define MEM_A2 256u
#define TABLE_SELECT (MEM_A2 + 127u)
static uint8_t memory[512];

/* What the callbacks saw, in call order. */
typedef struct call {
  char kind; /* 'r' read, 'w' write */
  void *opaque;
  uint8_t offset;
  uint8_t page;
  uint32_t length;
  uint8_t first; /* first byte written, or first byte read */
} call;
static call calls[64];
static unsigned call_count;
static int read_status; /* what the read callback returns */

static int failures;

#define CHECK(cond, ...)                                                                           \
  do {                                                                                             \
    if (!(cond)) {                                                                                 \
      fprintf(stderr, "%s:%d: check failed: %s: ", __FILE__, __LINE__, #cond);                     \
      fprintf(stderr, __VA_ARGS__);                                                                \
      fputc('\n', stderr);                                                                         \
      ++failures;                                                                                  \
    }                                                                                              \
  } while (0)

static void log_call(char kind, void *opaque, uint8_t offset, uint8_t page, uint32_t length,
                     uint8_t first) {
  if (call_count < sizeof calls / sizeof calls[0]) {
    call *c = &calls[call_count];
    c->kind = kind;
    c->opaque = opaque;
    c->offset = offset;
    c->page = page;
    c->length = length;
    c->first = first;
  }
  ++call_count;
}

/* The byte of `memory` that (page, offset) names, or -1 outside it. */
static long locate(uint8_t page, uint32_t offset, uint32_t length) {
  if (offset + length > 256u) {
    return -1;
  }
  if (page == 0) {
    return (long)offset;
  }
  if (page == 1) {
    return (long)(MEM_A2 + offset);
  }
  if (page <= 5) {
    /* table pages: offsets 0..127 are the upper half of A2h */
    return offset + length > 128u ? -1 : (long)(MEM_A2 + 128u + offset);
  }
  return -1;
}

static int read_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  long at = locate(page, offset, length);
  if (read_status != 0) {
    log_call('r', opaque, offset, page, length, 0);
    return read_status;
  }
  if (opaque != (void *)memory || buffer == NULL || at < 0) {
    log_call('r', opaque, offset, page, length, 0);
    return 22;
  }
  memcpy(buffer, &memory[at], length);
  log_call('r', opaque, offset, page, length, buffer[0]);
  return 0;
}

static int write_cb(void *opaque, uint8_t offset, uint8_t page, uint32_t length, uint8_t *buffer) {
  long at = locate(page, offset, length);
  log_call('w', opaque, offset, page, length, buffer != NULL ? buffer[0] : 0);
  if (opaque != (void *)memory || buffer == NULL || at < 0) {
    return 22;
  }
  memcpy(&memory[at], buffer, length);
  return 0;
}

static void fill_memory(void) {
  unsigned i;
  memset(memory, 0, sizeof memory);
  memory[0] = 0x03;  /* identifier: SFP */
  memory[1] = 0x04;  /* extended identifier */
  memory[92] = 0x40; /* diagnostic monitoring: the module has A2h */
  memcpy(&memory[20], "SFPDRV C TEST   ", 16);
  for (i = 0; i < 128u; ++i) {
    memory[MEM_A2 + i] = (uint8_t)(0x80u + i); /* A2h lower half */
  }
  memory[TABLE_SELECT] = 0;
  for (i = 0; i < 128u; ++i) {
    memory[MEM_A2 + 128u + i] = (uint8_t)(0xF0u ^ i); /* the table */
  }
}

static sfp_port_ctx *create_port(void) {
  sfp_platform_ops ops;
  sfp_port_create_result result;
  sfp_rc rc;

  memset(&ops, 0, sizeof ops);
  memset(&result, 0, sizeof result);
  ops.opaque = memory;
  ops.controller = 1;
  ops.port = 7;
  ops.evm = NULL;
  ops.read_cb = read_cb;
  ops.write_cb = write_cb;
  ops.module_present = 1;
  ops.eeprom_len = (uint32_t)sizeof memory;
  memcpy(ops.eeprom, memory, sizeof memory);

  rc = sfp_port_create(&ops, &result);
  CHECK(rc == SFP_RC_OK, "sfp_port_create returned %u", (unsigned)rc);
  CHECK(result.status == SFP_RC_OK, "result status %u", (unsigned)result.status);
  CHECK(result.handle != NULL, "no handle");
  CHECK(result.module_present == 1, "module_present %u", (unsigned)result.module_present);
  return result.handle;
}

static void test_reads(sfp_port_ctx *port) {
  uint8_t buffer[16];
  sfp_rc rc;

  call_count = 0;
  memset(buffer, 0xAA, sizeof buffer);
  rc = sfp_port_read(port, 0, SFP_PAGE_A0, 2, buffer);
  CHECK(rc == SFP_RC_OK, "read of A0h 0..1 returned %u", (unsigned)rc);
  CHECK(buffer[0] == 0x03 && buffer[1] == 0x04, "identity read as %02x %02x", buffer[0], buffer[1]);
  CHECK(buffer[2] == 0xAA, "the read wrote past its length");
  CHECK(call_count == 1, "%u callback calls for one read", call_count);
  CHECK(calls[0].kind == 'r' && calls[0].opaque == (void *)memory && calls[0].offset == 0 &&
            calls[0].page == 0 && calls[0].length == 2,
        "read callback got kind %c offset %u page %u length %u", calls[0].kind,
        (unsigned)calls[0].offset, (unsigned)calls[0].page, (unsigned)calls[0].length);

  rc = sfp_port_read(port, 92, SFP_PAGE_A0, 1, buffer);
  CHECK(rc == SFP_RC_OK && buffer[0] == 0x40, "byte 92 read as %02x (rc %u)", buffer[0],
        (unsigned)rc);

  rc = sfp_port_read(port, 20, SFP_PAGE_A0, 16, buffer);
  CHECK(rc == SFP_RC_OK && memcmp(buffer, "SFPDRV C TEST   ", 16) == 0,
        "vendor name read wrong (rc %u)", (unsigned)rc);

  rc = sfp_port_read(port, 10, SFP_PAGE_A2, 4, buffer);
  CHECK(rc == SFP_RC_OK, "read of A2h returned %u", (unsigned)rc);
  CHECK(buffer[0] == 0x8A && buffer[3] == 0x8D, "A2h bytes 10..13 read as %02x..%02x", buffer[0],
        buffer[3]);
}

static void test_table_select(sfp_port_ctx *port) {
  uint8_t buffer[4];
  sfp_rc rc;

  memory[TABLE_SELECT] = 0;
  call_count = 0;
  memset(buffer, 0, sizeof buffer);
  rc = sfp_port_read(port, 5, SFP_PAGE_A2_TABLE1, 4, buffer);
  CHECK(rc == SFP_RC_OK, "read of table 1 returned %u", (unsigned)rc);
  CHECK(call_count == 2, "%u callback calls for a table read, expected 2", call_count);
  CHECK(calls[0].kind == 'w' && calls[0].offset == 127 && calls[0].page == SFP_PAGE_A2 &&
            calls[0].length == 1 && calls[0].first == 1,
        "first call: kind %c offset %u page %u length %u value %u, expected the table select "
        "write of 1 to A2h byte 127",
        calls[0].kind, (unsigned)calls[0].offset, (unsigned)calls[0].page,
        (unsigned)calls[0].length, (unsigned)calls[0].first);
  CHECK(calls[1].kind == 'r' && calls[1].offset == 5 && calls[1].page == SFP_PAGE_A2_TABLE1 &&
            calls[1].length == 4,
        "second call: kind %c offset %u page %u length %u, expected the table read", calls[1].kind,
        (unsigned)calls[1].offset, (unsigned)calls[1].page, (unsigned)calls[1].length);
  CHECK(memory[TABLE_SELECT] == 1, "table select is %u after the read", memory[TABLE_SELECT]);
  CHECK(buffer[0] == (0xF0u ^ 5u), "table byte 5 read as %02x", buffer[0]);
}

static void test_refusals(sfp_port_ctx *port) {
  uint8_t buffer[4] = {0, 0, 0, 0};
  sfp_rc rc;

  rc = sfp_port_read(NULL, 0, SFP_PAGE_A0, 1, buffer);
  CHECK(rc == SFP_RC_INVALID, "read with a null handle returned %u", (unsigned)rc);

  call_count = 0;
  rc = sfp_port_read(port, 255, SFP_PAGE_A0, 2, buffer);
  CHECK(rc == SFP_RC_INVALID, "read across the end of A0h returned %u", (unsigned)rc);
  CHECK(call_count == 0, "a refused read called back %u times", call_count);

  read_status = 5;
  rc = sfp_port_read(port, 0, SFP_PAGE_A0, 1, buffer);
  read_status = 0;
  CHECK(rc == 5, "a failing callback's status came back as %u", (unsigned)rc);
  CHECK(call_count == 1, "%u callback calls for a failing read", call_count);
}

static void test_write(sfp_port_ctx *port) {
  uint8_t bytes[2] = {0x12, 0x34};
  sfp_rc rc = sfp_port_write(port, 110, SFP_PAGE_A2, 2, bytes);
  CHECK(rc == SFP_RC_OK, "write to A2h returned %u", (unsigned)rc);
  CHECK(memory[MEM_A2 + 110] == 0x12 && memory[MEM_A2 + 111] == 0x34,
        "A2h bytes 110..111 are %02x %02x after the write", memory[MEM_A2 + 110],
        memory[MEM_A2 + 111]);
}

int main(void) {
  sfp_port_ctx *port;
  sfp_port_ctx never_returned;
  sfp_rc rc;

  CHECK(sfp_get_ctx() != NULL, "no library state");
  fill_memory();
  port = create_port();
  if (port == NULL) {
    fprintf(stderr, "c_api_test: no port, stopping\n");
    return 1;
  }
  CHECK(sfp_check_hdl(port, 1) == SFP_RC_OK, "the new handle does not check");
  CHECK(sfp_get_ctx()->initialised == 1, "library not initialised after a creation");

  test_reads(port);
  test_table_select(port);
  test_refusals(port);
  test_write(port);

  rc = sfp_port_delete(port);
  CHECK(rc == SFP_RC_OK, "deletion returned %u", (unsigned)rc);
  memset(&never_returned, 0, sizeof never_returned);
  rc = sfp_port_delete(&never_returned);
  CHECK(rc == SFP_RC_NOT_FOUND, "deletion of a never-returned pointer returned %u", (unsigned)rc);
  rc = sfp_port_delete(NULL);
  CHECK(rc == SFP_RC_INVALID, "deletion of NULL returned %u", (unsigned)rc);

  if (failures != 0) {
    fprintf(stderr, "c_api_test: %d check(s) failed\n", failures);
    return 1;
  }
  printf("c_api_test: all checks passed\n");
  return 0;
}
