/* The one sleep of the library, with a switchable virtual clock.
 *
 * With the virtual clock on, platform_sleep_ms returns at once and only
 * counts the milliseconds a caller would have slept; every wait is logged
 * so that tests can check each one. */
#ifndef PLATFORM_PSLEEP_H
#define PLATFORM_PSLEEP_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>

PLATFORM_BEGIN_DECLS

/* Sleeps `ms` milliseconds, or advances the virtual clock by `ms`. */
PLATFORM_API void platform_sleep_ms(uint32_t ms);

/* Switches the virtual clock on (nonzero) or off. */
PLATFORM_API void platform_clock_set_virtual(int on);
PLATFORM_API int platform_clock_is_virtual(void);

/* Forgets the waits and the virtual time counted so far. */
PLATFORM_API void platform_clock_reset(void);

/* Milliseconds slept (or counted) and number of waits since the last reset. */
PLATFORM_API uint64_t platform_clock_elapsed_ms(void);
PLATFORM_API uint64_t platform_clock_wait_count(void);

/* Copies up to `max` of the waits since the last reset, oldest first; returns
 * how many are logged (the log keeps the first PLATFORM_CLOCK_LOG_MAX). */
#define PLATFORM_CLOCK_LOG_MAX 4096u
PLATFORM_API size_t platform_clock_waits(uint32_t *out, size_t max);

/* Calls `fn` at every wait, with its length, before the wait is made (the
 * wait is already counted): e.g. to let a simulated module change state as
 * time passes, or to tell a user what is being waited for. NULL removes it. */
typedef void (*platform_sleep_hook)(void *ctx, uint32_t ms);
PLATFORM_API void platform_clock_set_hook(platform_sleep_hook fn, void *ctx);

PLATFORM_END_DECLS

#endif /* PLATFORM_PSLEEP_H */
