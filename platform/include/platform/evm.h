/**
 * @file
 * @brief Event manager: a registry of named commands (the trace show
 * commands).
 *
 * A platform that wants the library's trace buffers shown makes a manager
 * and hands it to the first sfp_port_create() (and qsa_port_create()) as
 * `evm`; the library then registers "show pelog sfp_err" and its kin. Every
 * function is safe to call from any thread; a command's handler runs without
 * the manager's lock.
 */
#ifndef PLATFORM_EVM_H
#define PLATFORM_EVM_H

#include "platform/api.h"

#include <stddef.h>
#include <stdio.h>

PLATFORM_BEGIN_DECLS

/** An event manager; opaque. */
typedef struct event_manager event_manager;

/**
 * The event manager for the `evm` handle that a port creation was given.
 *
 * @param evm The handle.
 * @return The manager, or NULL when @p evm is not a live manager made by
 *         event_manager_create().
 */
PLATFORM_API event_manager *event_manager_get(void *evm);

/**
 * Makes a manager; its pointer is also the `evm` handle given to creations.
 *
 * @param name The manager's name (copied), or NULL.
 * @return The manager, owned by the caller until event_manager_destroy();
 *         NULL without memory.
 */
PLATFORM_API event_manager *event_manager_create(const char *name);

/**
 * Destroys a manager and its commands. A pointer that is not a live manager
 * is ignored.
 *
 * @param manager The manager.
 */
PLATFORM_API void event_manager_destroy(event_manager *manager);

/**
 * A command handler.
 *
 * Arguments: the context given at registration, and the stream to write the
 * command's output to. Returns 0 or an error code of its own, which
 * event_manager_run() returns.
 */
typedef int (*event_command_fn)(void *ctx, FILE *out);

/**
 * Registers a command, or replaces the handler of a command of that name.
 *
 * @param manager The manager.
 * @param command The command's name (copied); not empty.
 * @param fn      The handler.
 * @param ctx     The handler's context, passed back unchanged.
 * @return 0; 22 for a null or empty argument or a manager that is not live;
 *         12 without memory.
 */
PLATFORM_API int event_manager_register(event_manager *manager, const char *command,
                                        event_command_fn fn, void *ctx);

/**
 * Runs a command.
 *
 * @param manager The manager.
 * @param command The command's name.
 * @param out     The stream for the command's output.
 * @return The handler's status; 2 for an unknown command; 22 for a null
 *         argument or a manager that is not live.
 */
PLATFORM_API int event_manager_run(event_manager *manager, const char *command, FILE *out);

/**
 * Number of registered commands.
 *
 * @param manager The manager.
 * @return The count; 0 for a manager that is not live.
 */
PLATFORM_API size_t event_manager_command_count(event_manager *manager);

/**
 * Name of a registered command, in registration order.
 *
 * @param manager The manager.
 * @param index   The command's index, from 0.
 * @return The name, owned by the manager; NULL past the end.
 */
PLATFORM_API const char *event_manager_command_name(event_manager *manager, size_t index);

PLATFORM_END_DECLS

#endif /* PLATFORM_EVM_H */
