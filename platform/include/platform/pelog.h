/* Trace service: named ring buffers of trace records.
 *
 * A record holds a message number, an argument signature ("d" a 32-bit
 * integer, "D" a pointer-sized value, "s" a string) and the arguments. The
 * format text is rendered only when a buffer is shown, so writing a record
 * is cheap. A full buffer drops its oldest records. */
#ifndef PLATFORM_PELOG_H
#define PLATFORM_PELOG_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

PLATFORM_BEGIN_DECLS

struct pelog_buffer;
typedef struct pelog_buffer *pelog_hdl;
struct event_manager;

/* Longest string argument kept in a record; longer ones are cut. */
#define PELOG_MAX_STRING 255u

/* Opens (or attaches to) the buffer `name` of `size` bytes. `mode`,
 * `directory` and `catalog_id` identify the buffer to the service; `flags`
 * is reserved (0). Returns 0 or an error code; *out is set on success. */
PLATFORM_API int pelog_open(pelog_hdl *out, const char *name, uint32_t size, uint32_t mode,
                            const char *directory, const char *catalog_id, uint32_t flags);

/* Appends one record. `rec_size` is the byte count of the fixed-size
 * arguments, `has_strings` is nonzero when the signature holds an "s"
 * (a record whose flag is 0 but whose signature holds one is refused).
 * The variadic arguments follow `signature`: int32_t for "d", a pointer or
 * uintptr_t for "D", const char * for "s". `format` must outlive the
 * buffer (a string literal). Returns 0 or an error code. */
PLATFORM_API int pelog_write(pelog_hdl buffer, uint32_t msg_no, uint32_t rec_size,
                             uint32_t has_strings, const char *signature, const char *format, ...);

/* Registers the buffer's show command "show pelog NAME" with the event
 * manager. Returns 0, or 22 for a null buffer or manager. */
PLATFORM_API int pelog_enable(pelog_hdl buffer, struct event_manager *manager);

/* The buffer opened under `name`, or NULL. */
PLATFORM_API pelog_hdl pelog_find(const char *name);

/* The buffer's name. */
PLATFORM_API const char *pelog_name(pelog_hdl buffer);

/* Renders the buffer's records in order, one per line, into `text` with
 * snprintf semantics: returns the length of the whole rendering. */
PLATFORM_API size_t pelog_text(pelog_hdl buffer, char *text, size_t size);

/* Writes the rendering to `out`. Returns 0 or an error code. */
PLATFORM_API int pelog_show(pelog_hdl buffer, FILE *out);

/* Calls `fn` for every record in order with its message number, signature
 * and formatted text. Returns the number of records visited. */
typedef void (*pelog_record_fn)(void *ctx, uint32_t msg_no, const char *signature,
                                const char *text);
PLATFORM_API size_t pelog_for_each(pelog_hdl buffer, pelog_record_fn fn, void *ctx);

/* Number of records held, and of records dropped because the buffer was full. */
PLATFORM_API size_t pelog_count(pelog_hdl buffer);
PLATFORM_API uint64_t pelog_dropped(pelog_hdl buffer);

/* Empties the buffer. */
PLATFORM_API void pelog_clear(pelog_hdl buffer);

/* Test control: makes every later pelog_open of `name` fail with `rc`
 * (0 lifts it). */
PLATFORM_API void pelog_fail_open(const char *name, int rc);

PLATFORM_END_DECLS

#endif /* PLATFORM_PELOG_H */
