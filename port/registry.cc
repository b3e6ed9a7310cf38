// The port registry and its lock.
#include <cerrno>
#include <cstdlib>

#include <atomic>

#include "common/alloc.h"
#include "platform/thread_mark.h"
#include "port/internal.h"
#include "port/messages.h"

namespace sfpdrv {
namespace {

constexpr const char *kLockName = "sfp_context_lock";
constexpr int kLockBusy = EBUSY;

constexpr MutexOps kPthreadOps{pthread_mutex_trylock, pthread_mutex_lock, pthread_mutex_unlock};
std::atomic<const MutexOps *> g_mutex_ops{&kPthreadOps};

const MutexOps &mutex_ops() {
  return *g_mutex_ops.load(std::memory_order_acquire);
}

} // namespace

sfp_rc lock_registry(uint32_t site) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  const MutexOps &ops = mutex_ops();
  int rc = ops.trylock(&lib.lock);
  if (rc == kLockBusy) {
    thread_mark_mutex_block(&lib.lock, kLockName, site);
    rc = ops.lock(&lib.lock);
    thread_unmark_mutex_block(&lib.lock);
  }
  if (rc != 0) {
    trace<msg::kMutexLockFailed>(library_err_trace(), rc, errno);
    if (rc == EDEADLK) {
      trace<msg::kLockDeadlock>(library_err_trace());
    }
  }
  return static_cast<sfp_rc>(rc);
}

sfp_rc unlock_registry(sfp_rc status) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  const int rc = mutex_ops().unlock(&lib.lock);
  if (rc != 0) {
    trace<msg::kMutexUnlockFailed>(library_err_trace(), rc, errno);
    return static_cast<sfp_rc>(rc);
  }
  return status;
}

sfp_port_ctx *registry_find(const void *opaque) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  for (sfp_port_ctx *port = lib.ports; port != nullptr; port = port->next) {
    if (port->opaque == opaque) {
      return port;
    }
    trace<msg::kFindPassOver>(library_evt_trace(), opaque, port->opaque);
  }
  return nullptr;
}

sfp_port_ctx *registry_add(void *opaque) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  auto *port = static_cast<sfp_port_ctx *>(lib_calloc(1, sizeof(sfp_port_ctx)));
  if (port == nullptr) {
    return nullptr;
  }
  port->opaque = opaque;
  port->next = lib.ports;
  lib.ports = port;
  return port;
}

bool registry_remove(const sfp_port_ctx *port) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  for (sfp_port_ctx **link = &lib.ports; *link != nullptr; link = &(*link)->next) {
    if (*link == port) {
      sfp_port_ctx *found = *link;
      *link = found->next;
      std::free(found);
      return true;
    }
  }
  return false;
}

void registry_remove_opaque(const void *opaque) {
  sfp_lib_ctx &lib = *sfp_get_ctx();
  for (sfp_port_ctx **link = &lib.ports; *link != nullptr; link = &(*link)->next) {
    if ((*link)->opaque == opaque) {
      sfp_port_ctx *found = *link;
      *link = found->next;
      std::free(found);
      return;
    }
  }
}

namespace testing {
void set_mutex_ops(const MutexOps *ops) {
  g_mutex_ops.store(ops != nullptr ? ops : &kPthreadOps, std::memory_order_release);
}
} // namespace testing

} // namespace sfpdrv
