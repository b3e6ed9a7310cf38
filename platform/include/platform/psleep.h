/**
 * @file
 * @brief The one sleep of the library, with a switchable virtual clock.
 *
 * Every wait of the library (data-ready polls, settling times, the adapter
 * handshake, PHY speed changes) goes through platform_sleep_ms() on the
 * calling thread. With the virtual clock on, platform_sleep_ms() returns at
 * once and only counts the milliseconds a caller would have slept; every
 * wait is logged so that tests can check each one. The clock is
 * process-wide; every function is safe to call from any thread.
 */
#ifndef PLATFORM_PSLEEP_H
#define PLATFORM_PSLEEP_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>

PLATFORM_BEGIN_DECLS

/**
 * Sleeps, or advances the virtual clock. The wait is counted and logged and
 * the hook (platform_clock_set_hook()) hears of it before it is made.
 *
 * @param ms Milliseconds.
 */
PLATFORM_API void platform_sleep_ms(uint32_t ms);

/**
 * Switches the virtual clock on or off.
 *
 * @param on Nonzero: sleeps return at once; 0: sleeps really sleep.
 */
PLATFORM_API void platform_clock_set_virtual(int on);

/**
 * Whether the virtual clock is on.
 *
 * @return 1 or 0.
 */
PLATFORM_API int platform_clock_is_virtual(void);

/** Forgets the waits and the time counted so far. */
PLATFORM_API void platform_clock_reset(void);

/**
 * Milliseconds slept (or counted) since the last reset.
 *
 * @return The total.
 */
PLATFORM_API uint64_t platform_clock_elapsed_ms(void);

/**
 * Number of waits since the last reset.
 *
 * @return The count.
 */
PLATFORM_API uint64_t platform_clock_wait_count(void);

/** How many waits the log keeps after a reset. */
#define PLATFORM_CLOCK_LOG_MAX 4096u

/**
 * Copies the logged waits since the last reset, oldest first.
 *
 * @param out Receives up to @p max wait lengths in ms, or NULL.
 * @param max Room in @p out.
 * @return How many waits are logged (at most #PLATFORM_CLOCK_LOG_MAX).
 */
PLATFORM_API size_t platform_clock_waits(uint32_t *out, size_t max);

/**
 * A sleep hook. Arguments: the context given to platform_clock_set_hook()
 * and the wait's length in ms. It runs on the waiting thread, before the
 * wait is made (the wait is already counted).
 */
typedef void (*platform_sleep_hook)(void *ctx, uint32_t ms);

/**
 * Installs the hook that hears of every wait: e.g. to let a simulated module
 * change state as time passes, or to tell a user what is being waited for.
 *
 * @param fn  The hook, or NULL to remove it.
 * @param ctx Its context, passed back unchanged.
 */
PLATFORM_API void platform_clock_set_hook(platform_sleep_hook fn, void *ctx);

PLATFORM_END_DECLS

#endif /* PLATFORM_PSLEEP_H */
