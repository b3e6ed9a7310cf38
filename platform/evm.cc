// Event manager: a registry of named commands.
//
// Every live manager is recorded in a process-wide set, so that a handle
// can be checked before it is used: event_manager_get and every other call
// look the pointer up there and never dereference one that is not a live
// manager. One lock guards the set and all managers' commands; commands are
// registered and run rarely, and a handler runs without the lock so that it
// may call back into the manager.
#include "platform/evm.h"

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

constexpr int kErrNotFound = 2;
constexpr int kErrNoMemory = 12;
constexpr int kErrInvalid = 22;

struct Command {
  std::string name;
  event_command_fn fn;
  void *ctx;
};

} // namespace

struct event_manager {
  std::string name;
  // Held by pointer so that a name handed out by event_manager_command_name
  // stays put while more commands are added.
  std::vector<std::unique_ptr<Command>> commands;
};

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_set<const void *> live;
};

// Leaked on purpose, so that it outlives any manager used while exiting.
Registry &registry() {
  static Registry *instance = new Registry;
  return *instance;
}

// Whether `manager` is live; the caller holds the registry's lock.
bool is_live(const Registry &reg, const void *manager) {
  return manager != nullptr && reg.live.count(manager) != 0;
}

Command *find_command(event_manager *manager, const char *name) {
  for (const auto &command : manager->commands) {
    if (command->name == name) {
      return command.get();
    }
  }
  return nullptr;
}

} // namespace

extern "C" {

event_manager *event_manager_get(void *evm) {
  Registry &reg = registry();
  std::lock_guard<std::mutex> lock(reg.mutex);
  return is_live(reg, evm) ? static_cast<event_manager *>(evm) : nullptr;
}

event_manager *event_manager_create(const char *name) {
  Registry &reg = registry();
  try {
    auto manager = std::make_unique<event_manager>();
    manager->name = name != nullptr ? name : "";
    std::lock_guard<std::mutex> lock(reg.mutex);
    reg.live.insert(manager.get());
    return manager.release();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

void event_manager_destroy(event_manager *manager) {
  Registry &reg = registry();
  std::unique_ptr<event_manager> doomed;
  {
    std::lock_guard<std::mutex> lock(reg.mutex);
    if (reg.live.erase(manager) != 0) {
      doomed.reset(manager);
    }
  }
}

int event_manager_register(event_manager *manager, const char *command, event_command_fn fn,
                           void *ctx) {
  if (manager == nullptr || command == nullptr || *command == '\0' || fn == nullptr) {
    return kErrInvalid;
  }
  Registry &reg = registry();
  try {
    std::lock_guard<std::mutex> lock(reg.mutex);
    if (!is_live(reg, manager)) {
      return kErrInvalid;
    }
    if (Command *existing = find_command(manager, command)) {
      existing->fn = fn;
      existing->ctx = ctx;
      return 0;
    }
    manager->commands.push_back(std::make_unique<Command>(Command{command, fn, ctx}));
    return 0;
  } catch (const std::bad_alloc &) {
    return kErrNoMemory;
  }
}

int event_manager_run(event_manager *manager, const char *command, FILE *out) {
  if (manager == nullptr || command == nullptr || out == nullptr) {
    return kErrInvalid;
  }
  event_command_fn fn = nullptr;
  void *ctx = nullptr;
  {
    Registry &reg = registry();
    std::lock_guard<std::mutex> lock(reg.mutex);
    if (!is_live(reg, manager)) {
      return kErrInvalid;
    }
    const Command *found = find_command(manager, command);
    if (found == nullptr) {
      return kErrNotFound;
    }
    fn = found->fn;
    ctx = found->ctx;
  }
  return fn(ctx, out);
}

size_t event_manager_command_count(event_manager *manager) {
  Registry &reg = registry();
  std::lock_guard<std::mutex> lock(reg.mutex);
  return is_live(reg, manager) ? manager->commands.size() : 0;
}

const char *event_manager_command_name(event_manager *manager, size_t index) {
  Registry &reg = registry();
  std::lock_guard<std::mutex> lock(reg.mutex);
  if (!is_live(reg, manager) || index >= manager->commands.size()) {
    return nullptr;
  }
  return manager->commands[index]->name.c_str();
}

} // extern "C"
