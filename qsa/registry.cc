// The adapter layer's state, its one-time initialisation, its locks, the
// registry of adapter ports and the handle check.
#include <cerrno>
#include <cstdlib>

#include <atomic>

#include "common/alloc.h"
#include "common/layer_state.h"
#include "platform/thread_mark.h"
#include "qsa/internal.h"

namespace sfpdrv {
namespace {

constexpr const char *kRegistryLockName = "qsa_context_lock";
constexpr const char *kCheckLockName = "qsa_check_and_lock_hdl";
constexpr int kLockBusy = EBUSY;

qsa_port_registry g_qsa = {
    .initialised = 0,
    .ports = nullptr,
    .lock = PTHREAD_MUTEX_INITIALIZER,
    .evm = nullptr,
    .err_trace = nullptr,
    .evt_trace = nullptr,
    .port_err_trace = nullptr,
    .port_evt_trace = nullptr,
    .no_write_page_select = 0,
    .no_read_page_select = 0,
};

constexpr MutexOps kPthreadOps{pthread_mutex_trylock, pthread_mutex_lock, pthread_mutex_unlock};
std::atomic<const MutexOps *> g_mutex_ops{&kPthreadOps};

const MutexOps &mutex_ops() {
  return *g_mutex_ops.load(std::memory_order_acquire);
}

constexpr TraceSetupTexts kTraceTexts{
    .err_name = "qsa_err",
    .evt_name = "qsa_evt",
    .err_failed = qsa_stderr_text::kPelogErrFailed,
    .evt_failed = qsa_stderr_text::kPelogEvtFailed,
    .null_evm = qsa_stderr_text::kNullEvm,
    .layer = "qsa",
    .init_failed = qsa_stderr_text::kPelogInitFailed,
};

int take_lock(pthread_mutex_t *lock, const char *name, uint32_t site) {
  const MutexOps &ops = mutex_ops();
  int rc = ops.trylock(lock);
  if (rc == kLockBusy) {
    thread_mark_mutex_block(lock, name, site);
    rc = ops.lock(lock);
    thread_unmark_mutex_block(lock);
  }
  return rc;
}

// A context whose initialisation stopped before it got its buffers reports
// on the layer's.
sfp_trace_hdl port_err_trace(const qsa_port_ctx &port) {
  return port.err_trace != nullptr ? port.err_trace : qsa_layer_err_trace();
}

} // namespace

sfp_trace_hdl qsa_layer_err_trace() {
  return published_trace(g_qsa.err_trace);
}

sfp_trace_hdl qsa_layer_evt_trace() {
  return published_trace(g_qsa.evt_trace);
}

uint32_t qsa_no_page_select(uint32_t direction) {
  return layer_no_page_select(g_qsa, direction);
}

void qsa_set_page_select_flags(uint32_t no_write, uint32_t no_read) {
  store_layer_page_select(g_qsa, no_write, no_read);
}

sfp_rc qsa_init_layer(const qsa_platform_ops &ops) {
  const sfp_rc rc = open_layer_traces(g_qsa, ops.evm, kTraceTexts);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  trace<msg::kQsaDllInitDone>(g_qsa.evt_trace, 0);
  g_qsa.initialised = 1;
  return SFP_RC_OK;
}

sfp_rc qsa_lock_registry(uint32_t site) {
  const int rc = take_lock(&g_qsa.lock, kRegistryLockName, site);
  if (rc != 0) {
    trace<msg::kQsaMutexLockFailed>(qsa_layer_err_trace(), rc, errno);
    if (rc == EDEADLK) {
      trace<msg::kQsaLockDeadlock>(qsa_layer_err_trace());
    }
  }
  return static_cast<sfp_rc>(rc);
}

sfp_rc qsa_unlock_registry(sfp_rc status) {
  const int rc = mutex_ops().unlock(&g_qsa.lock);
  if (rc != 0) {
    trace<msg::kQsaMutexUnlockFailed>(qsa_layer_err_trace(), rc, errno);
    return static_cast<sfp_rc>(rc);
  }
  return status;
}

int qsa_take_port_lock(qsa_port_ctx *port, const char *name, uint32_t site) {
  return take_lock(&port->lock, name, site);
}

sfp_rc qsa_unlock_port(qsa_port_ctx *port, sfp_rc status) {
  const int rc = mutex_ops().unlock(&port->lock);
  if (rc != 0) {
    trace<msg::kQsaPortUnlockFailed>(qsa_layer_err_trace(), rc, errno);
    return static_cast<sfp_rc>(rc);
  }
  return status;
}

void qsa_init_port_lock(qsa_port_ctx &port) {
  pthread_mutex_destroy(&port.lock);
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) {
    pthread_mutex_init(&port.lock, nullptr);
    return;
  }
  if (pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK) == 0) {
    pthread_mutex_init(&port.lock, &attr);
  } else {
    pthread_mutex_init(&port.lock, nullptr);
  }
  pthread_mutexattr_destroy(&attr);
}

qsa_port_ctx *qsa_registry_find(const void *opaque) {
  for (qsa_port_ctx *port = g_qsa.ports; port != nullptr; port = port->next) {
    if (port->opaque == opaque) {
      return port;
    }
    trace<msg::kQsaFindPassOver>(qsa_layer_evt_trace(), opaque, port->opaque);
  }
  return nullptr;
}

qsa_port_ctx *qsa_registry_add(void *opaque) {
  auto *port = static_cast<qsa_port_ctx *>(lib_calloc(1, sizeof(qsa_port_ctx)));
  if (port == nullptr) {
    return nullptr;
  }
  port->opaque = opaque;
  port->current_page = -1;
  port->next = g_qsa.ports;
  g_qsa.ports = port;
  return port;
}

bool qsa_registry_unlink(const qsa_port_ctx *port) {
  for (qsa_port_ctx **link = &g_qsa.ports; *link != nullptr; link = &(*link)->next) {
    if (*link == port) {
      *link = port->next;
      return true;
    }
  }
  return false;
}

namespace testing {
void set_qsa_mutex_ops(const MutexOps *ops) {
  g_mutex_ops.store(ops != nullptr ? ops : &kPthreadOps, std::memory_order_release);
}
} // namespace testing

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API qsa_port_registry *qsa_get_ctx(void) {
  return &g_qsa;
}

// Registry lock, then port lock, then the registry lock is let go: the port
// stays locked for the caller's whole operation.
extern "C" SFPDRV_API sfp_rc qsa_check_and_lock_hdl(qsa_port_ctx *hdl, uint32_t site) {
  if (hdl == nullptr) {
    trace<msg::kQsaNullHdl>(qsa_layer_err_trace());
    return SFP_RC_INVALID;
  }
  const sfp_rc rc = qsa_lock_registry(site);
  if (rc != SFP_RC_OK) {
    return rc;
  }
  const int port_rc = qsa_take_port_lock(hdl, kCheckLockName, site);
  if (port_rc != 0) {
    trace<msg::kQsaPortLockFailed>(qsa_layer_err_trace(), port_rc, errno);
    if (port_rc == EDEADLK) {
      trace<msg::kQsaPortLockDeadlock>(qsa_layer_err_trace());
    }
    return qsa_unlock_registry(static_cast<sfp_rc>(port_rc));
  }
  if (hdl->initialised == 0) {
    trace<msg::kQsaNotInitialised>(port_err_trace(*hdl), hdl->port, hdl, hdl->opaque, site);
    return qsa_unlock_registry(qsa_unlock_port(hdl, SFP_RC_QSA_NOT_INIT));
  }
  const sfp_rc unlock_rc = qsa_unlock_registry(SFP_RC_OK);
  if (unlock_rc != SFP_RC_OK) {
    // Any status but 0 leaves no lock held.
    qsa_unlock_port(hdl, unlock_rc);
  }
  return unlock_rc;
}
