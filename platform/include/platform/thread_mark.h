/**
 * @file
 * @brief Mutex-block marking: a thread records which mutex it is about to
 * block on, so that a hang can be diagnosed from another thread.
 *
 * The library marks a thread before it blocks on a busy registry or adapter
 * port lock ("sfp_context_lock", "qsa_context_lock",
 * "qsa_check_and_lock_hdl") and unmarks it once it holds the lock. Every
 * function is safe to call from any thread.
 */
#ifndef PLATFORM_THREAD_MARK_H
#define PLATFORM_THREAD_MARK_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>

PLATFORM_BEGIN_DECLS

/** One thread's mark. */
typedef struct thread_mutex_block_info {
  uint64_t thread_id; /**< The kernel thread id. */
  const void *mutex;  /**< The mutex the thread blocks on. */
  const char *name;   /**< The mutex's diagnostic name. */
  uint32_t site;      /**< The blocking call site. */
} thread_mutex_block_info;

/**
 * The calling thread is about to block on a mutex.
 *
 * @param mutex The mutex.
 * @param name  Its diagnostic name; must outlive the mark (a literal).
 * @param site  A number identifying the call site.
 */
PLATFORM_API void thread_mark_mutex_block(const void *mutex, const char *name, uint32_t site);

/**
 * The calling thread no longer blocks on a mutex.
 *
 * @param mutex The mutex of the mark.
 */
PLATFORM_API void thread_unmark_mutex_block(const void *mutex);

/**
 * The calling thread's mark.
 *
 * @param out Receives the mark when there is one.
 * @return 1 when the thread is marked, else 0.
 */
PLATFORM_API int thread_mutex_block_get(thread_mutex_block_info *out);

/**
 * Copies the marks of all threads now marked.
 *
 * @param out Receives up to @p max marks.
 * @param max Room in @p out.
 * @return How many threads are marked.
 */
PLATFORM_API size_t thread_mutex_block_list(thread_mutex_block_info *out, size_t max);

/**
 * Number of marks made since the process started.
 *
 * @return The count.
 */
PLATFORM_API uint64_t thread_mutex_block_total(void);

PLATFORM_END_DECLS

#endif /* PLATFORM_THREAD_MARK_H */
