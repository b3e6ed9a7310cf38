/**
 * @file
 * @brief Trace service: named ring buffers of trace records.
 *
 * A record holds a message number, an argument signature ("d" a 32-bit
 * integer, "D" a pointer-sized value, "s" a string) and the arguments. The
 * format text is rendered only when a buffer is shown, so writing a record
 * is cheap. A full buffer drops its oldest records. The library opens
 * "sfp_err" and "sfp_evt" (and the adapter layer "qsa_err" and "qsa_evt"),
 * 64 KiB each, at its first creation and never closes them.
 *
 * Every function is safe to call from any thread; a buffer is shown from a
 * snapshot, so writers are held up only for the copy of their record.
 * Error codes: 22 for a bad argument, 12 without memory, 5 when output
 * cannot be written, 90 for a record larger than the whole buffer.
 */
#ifndef PLATFORM_PELOG_H
#define PLATFORM_PELOG_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

PLATFORM_BEGIN_DECLS

struct pelog_buffer;
/** A trace buffer; the service owns it and never frees it. */
typedef struct pelog_buffer *pelog_hdl;
struct event_manager;

/** Longest string argument kept in a record; longer ones are cut. */
#define PELOG_MAX_STRING 255u

/**
 * Opens a buffer, or attaches to the one already opened under that name.
 *
 * @param out        Receives the buffer on success.
 * @param name       The buffer's name; not empty.
 * @param size       Size in bytes, 256 to 2^28.
 * @param mode       Identifies the buffer to a persistent trace service.
 * @param directory  Identifies the buffer to a persistent trace service.
 * @param catalog_id Names the caller's message catalogue.
 * @param flags      Reserved (0).
 * @return 0; 22 for a bad argument; 12 without memory; or the code that
 *         pelog_fail_open() set for the name.
 */
PLATFORM_API int pelog_open(pelog_hdl *out, const char *name, uint32_t size, uint32_t mode,
                            const char *directory, const char *catalog_id, uint32_t flags);

/**
 * Appends one record.
 *
 * The variadic arguments follow @p signature: int32_t for "d", a pointer or
 * uintptr_t for "D", const char * for "s" (copied, cut to
 * #PELOG_MAX_STRING).
 *
 * @param buffer      The buffer.
 * @param msg_no      The message number.
 * @param rec_size    Byte count of the fixed-size arguments.
 * @param has_strings Nonzero when the signature holds an "s" (a record whose
 *                    flag is 0 but whose signature holds one is refused).
 * @param signature   The argument signature.
 * @param format      The printf format of the record; must outlive the
 *                    buffer (a string literal).
 * @return 0; 22 for a bad argument or signature; 90 for a record larger than
 *         the buffer.
 */
PLATFORM_API int pelog_write(pelog_hdl buffer, uint32_t msg_no, uint32_t rec_size,
                             uint32_t has_strings, const char *signature, const char *format, ...);

/**
 * Registers the buffer's show command "show pelog NAME" with an event
 * manager.
 *
 * @param buffer  The buffer.
 * @param manager The event manager.
 * @return 0; 22 for a null buffer or manager; the registration's error.
 */
PLATFORM_API int pelog_enable(pelog_hdl buffer, struct event_manager *manager);

/**
 * The buffer opened under a name.
 *
 * @param name The name.
 * @return The buffer, or NULL.
 */
PLATFORM_API pelog_hdl pelog_find(const char *name);

/**
 * The buffer's name.
 *
 * @param buffer The buffer.
 * @return The name, owned by the buffer.
 */
PLATFORM_API const char *pelog_name(pelog_hdl buffer);

/**
 * Renders the buffer's records in order, one per line, with snprintf
 * semantics.
 *
 * @param buffer The buffer.
 * @param text   Receives the terminated rendering, cut to fit.
 * @param size   Size of @p text.
 * @return The length of the whole rendering.
 */
PLATFORM_API size_t pelog_text(pelog_hdl buffer, char *text, size_t size);

/**
 * Writes the rendering to a stream.
 *
 * @param buffer The buffer.
 * @param out    The stream.
 * @return 0; 22 for a null argument; 5 when the stream fails; 12 without
 *         memory.
 */
PLATFORM_API int pelog_show(pelog_hdl buffer, FILE *out);

/**
 * A record visitor. Arguments: the context given to pelog_for_each(), the
 * record's message number, its signature and its formatted text (valid
 * during the call).
 */
typedef void (*pelog_record_fn)(void *ctx, uint32_t msg_no, const char *signature,
                                const char *text);

/**
 * Calls a visitor for every record, oldest first.
 *
 * @param buffer The buffer.
 * @param fn     The visitor.
 * @param ctx    Its context, passed back unchanged.
 * @return The number of records visited.
 */
PLATFORM_API size_t pelog_for_each(pelog_hdl buffer, pelog_record_fn fn, void *ctx);

/**
 * Number of records held.
 *
 * @param buffer The buffer.
 * @return The count.
 */
PLATFORM_API size_t pelog_count(pelog_hdl buffer);

/**
 * Number of records dropped because the buffer was full.
 *
 * @param buffer The buffer.
 * @return The count.
 */
PLATFORM_API uint64_t pelog_dropped(pelog_hdl buffer);

/**
 * Empties the buffer.
 *
 * @param buffer The buffer.
 */
PLATFORM_API void pelog_clear(pelog_hdl buffer);

/**
 * Test control: makes every later pelog_open() of a name fail.
 *
 * @param name The name.
 * @param rc   The code to fail with; 0 lifts it.
 */
PLATFORM_API void pelog_fail_open(const char *name, int rc);

PLATFORM_END_DECLS

#endif /* PLATFORM_PELOG_H */
