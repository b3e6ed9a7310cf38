// Adapter port creation, the handle check and deletion.
#include <cerrno>
#include <cstring>

#include "qsa_harness.h"

namespace {

using qsatest::adapter_registry;
using qsatest::kBusError;
using qsatest::kPort;
using sfptest::records_of;

class QsaLifecycleTest : public qsatest::QsaTest {};

size_t tx_disable_writes(const sfpsim::Adapter &adapter) {
  size_t n = 0;
  for (const auto &a : adapter.log()) {
    if (a.write && a.offset == sfpsim::Adapter::kTxDisable && a.bytes == std::vector<uint8_t>{1}) {
      ++n;
    }
  }
  return n;
}

TEST_F(QsaLifecycleTest, CreationByWhatTheAdapterHolds) {
  struct Case {
    const char *name;
    uint32_t module_present;
    const char *profile; // the seated SFP, or none
    uint8_t type_code;
    bool presence_unreadable;
    uint8_t kept_type_code;
  };
  const Case cases[] = {
      {"module present, 25G adapter", 1, "10gbase-sr", 0x28, false, 0x28},
      {"module not present", 0, "10gbase-sr", 0x00, false, 0x00},
      {"no SFP seated", 1, nullptr, 0x28, false, 0x28},
      {"unknown type code", 0, nullptr, 0x13, false, 0x00},
      {"presence unreadable", 1, "1000base-t", 0x28, true, 0x28},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    sfpsim::Adapter &adapter = new_adapter(c.profile);
    adapter.set_type_code(c.type_code);
    if (c.presence_unreadable) {
      adapter.fail_at(0, sfpsim::Adapter::kPresence, kBusError);
    }
    qsa_platform_ops ops = adapter.platform_ops(kPort, c.module_present);
    qsa_port_create_result result{};
    ASSERT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
    qsa_port_ctx *port = result.handle;
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(result.status, SFP_RC_OK);
    EXPECT_EQ(result.module_present, c.module_present);
    EXPECT_EQ(port->initialised, 1u);
    EXPECT_EQ(port->port, kPort);
    EXPECT_EQ(port->adapter_type_code, c.kept_type_code);
    EXPECT_EQ(std::memcmp(port->adapter_eeprom, ops.adapter_eeprom, QSA_ADAPTER_EEPROM_LEN), 0);
    EXPECT_EQ(tx_disable_writes(adapter), c.module_present);
    EXPECT_EQ(adapter.lower(sfpsim::Adapter::kTxDisable), c.module_present);

    const bool sfp_expected = c.profile != nullptr && !c.presence_unreadable;
    ASSERT_EQ(port->sfp_port != nullptr, sfp_expected);
    if (sfp_expected) {
      EXPECT_EQ(port->sfp_port->bus_mode, 1u);
      EXPECT_EQ(port->sfp_port->opaque, port);
      EXPECT_EQ(port->sfp_type, port->sfp_port->xcvr_type);
      EXPECT_STREQ(port->sfp_name, port->sfp_port->xcvr_name);
    }
    EXPECT_EQ(records_of("qsa_evt", sfpdrv::msg::kQsaSfpPortCreateDone).size(),
              sfp_expected ? 1u : 0u);
    EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaCreatePresenceFailed).size(),
              c.presence_unreadable ? 1u : 0u);
    const auto done = records_of("qsa_evt", sfpdrv::msg::kQsaInitDone);
    ASSERT_EQ(done.size(), 1u);
    EXPECT_EQ(done[0].text, "Port 3: Init done\n");
    EXPECT_EQ(qsa_port_delete(port), SFP_RC_OK);
    EXPECT_TRUE(sfptest::registry().empty()) << "the SFP port goes with its adapter port";
    sfptest::clear_traces();
    pelog_clear(pelog_find("qsa_evt"));
    pelog_clear(pelog_find("qsa_err"));
  }
}

// The SFP port behind the adapter runs its own initial transmitter sequence
// only when the adapter's is not disabled instead.
TEST_F(QsaLifecycleTest, SfpCreationRecordInvertsModulePresent) {
  qsa_port_ctx port{};
  port.port = 9;
  uint8_t image[SFP_EEPROM_CALLER_LEN] = {};
  image[0] = 0x03;
  image[SFP_EEPROM_CALLER_LEN - 1] = 0x5A;
  sfpdrv::qsa_set_page_select_flags(1, 0);
  for (const uint32_t present : {0u, 1u}) {
    const sfp_platform_ops ops = sfpdrv::qsa_sfp_platform_ops(port, present, image);
    EXPECT_EQ(ops.module_present, present == 0 ? 1u : 0u);
    EXPECT_EQ(ops.opaque, &port);
    EXPECT_EQ(ops.port, 9);
    EXPECT_EQ(ops.bus_mode, 1u);
    EXPECT_EQ(ops.no_write_page_select, 1u);
    EXPECT_EQ(ops.no_read_page_select, 0u);
    EXPECT_EQ(ops.bitbang_read_cb, nullptr);
    EXPECT_EQ(ops.eeprom_len, SFP_EEPROM_CALLER_LEN);
    EXPECT_EQ(std::memcmp(ops.eeprom, image, sizeof image), 0);
  }
  sfpdrv::qsa_set_page_select_flags(0, 0);
}

TEST_F(QsaLifecycleTest, FailedTypeReadLeavesAContextThatTheNextCreationInitialises) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  adapter.fail_at(0, sfpsim::Adapter::kTypeCode, kBusError);
  qsa_platform_ops ops = adapter.platform_ops(kPort, 1);
  qsa_port_create_result result{};
  EXPECT_EQ(qsa_port_create(&ops, &result), static_cast<sfp_rc>(kBusError));
  EXPECT_EQ(result.status, static_cast<sfp_rc>(kBusError));
  EXPECT_EQ(result.handle, nullptr);
  ASSERT_EQ(adapter_registry().size(), 1u);
  qsa_port_ctx *port = adapter_registry().front();
  EXPECT_EQ(port->initialised, 0u);
  EXPECT_EQ(port->sfp_port, nullptr);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaTypeReadFailed).size(), 1u);

  EXPECT_EQ(qsa_check_and_lock_hdl(port, 77), SFP_RC_QSA_NOT_INIT);
  const auto refused = records_of("qsa_err", sfpdrv::msg::kQsaNotInitialised);
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0].text.rfind("Port 3: QSA instance not fully initialized. Hdl 0x", 0), 0u);
  EXPECT_TRUE(refused[0].text.ends_with(" at line 77\n"));
  EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0) << "a refused check holds no lock";
  pthread_mutex_unlock(&port->lock);

  adapter.clear_faults();
  EXPECT_EQ(create_adapter(adapter), port);
  EXPECT_EQ(port->initialised, 1u);
  EXPECT_NE(port->sfp_port, nullptr);
}

TEST_F(QsaLifecycleTest, SecondCreationReturnsTheSameHandleWithoutReading) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter, 1);
  sfp_port_ctx *sfp = port->sfp_port;
  const uint64_t accesses = adapter.access_count();
  qsa_platform_ops ops = adapter.platform_ops(kPort + 1, 0);
  qsa_port_create_result result{};
  EXPECT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
  EXPECT_EQ(result.handle, port);
  EXPECT_EQ(result.module_present, 0u);
  EXPECT_EQ(adapter.access_count(), accesses);
  EXPECT_EQ(port->sfp_port, sfp);
  EXPECT_EQ(port->port, kPort);
  EXPECT_EQ(adapter_registry().size(), 1u);
}

TEST_F(QsaLifecycleTest, DeletionAndItsRefusals) {
  qsa_port_ctx *first = create_adapter(new_adapter("10gbase-sr"));
  qsa_port_ctx *second = create_adapter(new_adapter());
  EXPECT_EQ(qsa_port_delete(first), SFP_RC_OK);
  EXPECT_EQ(adapter_registry(), std::vector<qsa_port_ctx *>{second});
  EXPECT_TRUE(sfptest::registry().empty());
  EXPECT_EQ(qsa_port_delete(first), SFP_RC_NOT_FOUND) << "a freed handle is only compared";
  EXPECT_EQ(qsa_port_delete(nullptr), SFP_RC_INVALID);
  EXPECT_EQ(qsa_check_and_lock_hdl(nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(records_of("qsa_err", sfpdrv::msg::kQsaNullHdl).size(), 1u);
  EXPECT_EQ(adapter_registry().size(), 1u);
}

// Mutex functions that fail for one chosen mutex.
struct ScriptedMutex {
  static inline pthread_mutex_t *target = nullptr;
  static inline int trylock_rc = 0;
  static inline int unlock_rc = 0;
  static int trylock(pthread_mutex_t *m) {
    return m == target && trylock_rc != 0 ? trylock_rc : pthread_mutex_trylock(m);
  }
  static int unlock(pthread_mutex_t *m) {
    const int rc = pthread_mutex_unlock(m);
    return m == target && unlock_rc != 0 ? unlock_rc : rc;
  }
};

TEST_F(QsaLifecycleTest, LockFailuresAreReportedAndLeaveNoLockHeld) {
  static constexpr sfpdrv::MutexOps kOps{ScriptedMutex::trylock, pthread_mutex_lock,
                                         ScriptedMutex::unlock};
  sfpsim::Adapter &adapter = new_adapter();
  qsa_port_ctx *port = create_adapter(adapter);
  pthread_mutex_t *registry_lock = &qsa_get_ctx()->lock;
  struct Case {
    const char *name;
    pthread_mutex_t *target;
    int trylock_rc;
    int unlock_rc;
    const sfpdrv::TraceMsg &message;
  };
  const Case cases[] = {
      {"registry lock", registry_lock, ENOTRECOVERABLE, 0, sfpdrv::msg::kQsaMutexLockFailed},
      {"port lock", &port->lock, ENOTRECOVERABLE, 0, sfpdrv::msg::kQsaPortLockFailed},
      {"registry unlock", registry_lock, 0, ENOTRECOVERABLE, sfpdrv::msg::kQsaMutexUnlockFailed},
  };
  sfpdrv::testing::set_qsa_mutex_ops(&kOps);
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedMutex::target = c.target;
    ScriptedMutex::trylock_rc = c.trylock_rc;
    ScriptedMutex::unlock_rc = c.unlock_rc;
    EXPECT_EQ(qsa_check_and_lock_hdl(port, 5), static_cast<sfp_rc>(ENOTRECOVERABLE));
    EXPECT_EQ(qsa_port_detect_sfp_oir(port), static_cast<sfp_rc>(ENOTRECOVERABLE));
    EXPECT_EQ(records_of("qsa_err", c.message).size(), 2u);
    ScriptedMutex::target = nullptr;
    EXPECT_EQ(pthread_mutex_trylock(registry_lock), 0);
    EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0);
    pthread_mutex_unlock(&port->lock);
    pthread_mutex_unlock(registry_lock);
    pelog_clear(pelog_find("qsa_err"));
  }
  // A creation that cannot take the registry lock leaves its result alone.
  ScriptedMutex::target = registry_lock;
  ScriptedMutex::trylock_rc = ENOTRECOVERABLE;
  qsa_platform_ops ops = new_adapter().platform_ops(kPort, 1);
  qsa_port_create_result result{nullptr, 7, 7};
  EXPECT_EQ(qsa_port_create(&ops, &result), static_cast<sfp_rc>(ENOTRECOVERABLE));
  EXPECT_EQ(result.status, 7u);
  sfpdrv::testing::set_qsa_mutex_ops(nullptr);
  EXPECT_EQ(adapter_registry().size(), 1u);
}

} // namespace
