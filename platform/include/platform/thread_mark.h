/* Mutex-block marking: a thread records which mutex it is about to block
 * on, so that a hang can be diagnosed from another thread. */
#ifndef PLATFORM_THREAD_MARK_H
#define PLATFORM_THREAD_MARK_H

#include "platform/api.h"

#include <stddef.h>
#include <stdint.h>

PLATFORM_BEGIN_DECLS

typedef struct thread_mutex_block_info {
  uint64_t thread_id; /* the kernel thread id */
  const void *mutex;
  const char *name; /* the mutex's diagnostic name */
  uint32_t site;    /* the blocking call site */
} thread_mutex_block_info;

/* The calling thread is about to block on `mutex`. */
PLATFORM_API void thread_mark_mutex_block(const void *mutex, const char *name, uint32_t site);

/* The calling thread no longer blocks on `mutex`. */
PLATFORM_API void thread_unmark_mutex_block(const void *mutex);

/* The calling thread's mark: 1 and *out filled when it is marked, else 0. */
PLATFORM_API int thread_mutex_block_get(thread_mutex_block_info *out);

/* Copies up to `max` marks of all threads now marked; returns how many
 * threads are marked. */
PLATFORM_API size_t thread_mutex_block_list(thread_mutex_block_info *out, size_t max);

/* Number of marks made since the process started. */
PLATFORM_API uint64_t thread_mutex_block_total(void);

PLATFORM_END_DECLS

#endif /* PLATFORM_THREAD_MARK_H */
