/* Event manager: a registry of named commands (the trace show commands). */
#ifndef PLATFORM_EVM_H
#define PLATFORM_EVM_H

#include "platform/api.h"

#include <stddef.h>
#include <stdio.h>

PLATFORM_BEGIN_DECLS

typedef struct event_manager event_manager;

/* The event manager for the handle `evm` that a port creation was given, or
 * NULL when `evm` is not a live manager made by event_manager_create. */
PLATFORM_API event_manager *event_manager_get(void *evm);

/* Makes a manager; its pointer is also the `evm` handle given to creations. */
PLATFORM_API event_manager *event_manager_create(const char *name);
PLATFORM_API void event_manager_destroy(event_manager *manager);

/* A command handler writes its output to `out` and returns 0 or an error. */
typedef int (*event_command_fn)(void *ctx, FILE *out);

/* Registers (or replaces) `command`. Returns 0, or 22 for null arguments. */
PLATFORM_API int event_manager_register(event_manager *manager, const char *command,
                                        event_command_fn fn, void *ctx);

/* Runs `command`. Returns the handler's status, or 2 when it is unknown. */
PLATFORM_API int event_manager_run(event_manager *manager, const char *command, FILE *out);

/* Number of registered commands; the name of the index-th (in registration
 * order), or NULL past the end. */
PLATFORM_API size_t event_manager_command_count(event_manager *manager);
PLATFORM_API const char *event_manager_command_name(event_manager *manager, size_t index);

PLATFORM_END_DECLS

#endif /* PLATFORM_EVM_H */
