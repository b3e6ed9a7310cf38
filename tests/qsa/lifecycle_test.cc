// Adapter port creation, the handle check and deletion.
#include <cerrno>
#include <cstring>

#include "common/alloc.h"
#include "qsa_harness.h"

namespace {

using namespace qsatest;
using namespace sfpdrv::msg;
using Strings = std::vector<std::string>;

class QsaLifecycleTest : public QsaTest {};

TEST_F(QsaLifecycleTest, CreationByWhatTheAdapterHolds) {
  struct Case {
    const char *profile; // the seated SFP, or none
    uint32_t module_present;
    uint8_t type_code, kept_type_code;
    bool presence_unreadable;
  };
  const Case cases[] = {
      {"10gbase-sr", 1, 0x28, 0x28, false}, {"10gbase-sr", 0, 0x00, 0x00, false},
      {nullptr, 1, 0x28, 0x28, false},      {nullptr, 0, 0x13, 0x00, false}, // unknown type code
      {"1000base-t", 1, 0x28, 0x28, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << (c.profile ? c.profile : "none") << c.module_present);
    sfpsim::Adapter &adapter = new_adapter(c.profile);
    adapter.set_type_code(c.type_code);
    if (c.presence_unreadable) {
      adapter.fail_at(0, sfpsim::Adapter::kPresence, kBusError);
    }
    const qsa_platform_ops ops = adapter.platform_ops(kPort, c.module_present);
    qsa_port_create_result result{};
    ASSERT_EQ(qsa_port_create(&ops, &result), SFP_RC_OK);
    qsa_port_ctx *port = result.handle;
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(result.module_present, c.module_present);
    EXPECT_EQ(port->adapter_type_code, c.kept_type_code);
    EXPECT_EQ(std::memcmp(port->adapter_eeprom, ops.adapter_eeprom, QSA_ADAPTER_EEPROM_LEN), 0);
    uint32_t tx_disables = 0;
    for (const auto &a : adapter.log()) {
      tx_disables += a.write && a.offset == sfpsim::Adapter::kTxDisable ? 1 : 0;
    }
    EXPECT_EQ(tx_disables, c.module_present);
    const bool sfp_expected = c.profile != nullptr && !c.presence_unreadable;
    ASSERT_EQ(port->sfp_port != nullptr, sfp_expected);
    if (sfp_expected) {
      EXPECT_EQ(port->sfp_port->bus_mode, 1u);
      EXPECT_EQ(port->sfp_type, port->sfp_port->xcvr_type);
    }
    EXPECT_EQ(texts_of(kQsaCreatePresenceFailed).size(), c.presence_unreadable ? 1u : 0u);
    EXPECT_EQ(texts_of(kQsaInitDone), Strings{"Port 3: Init done\n"});
    EXPECT_EQ(qsa_port_delete(port), SFP_RC_OK);
    clear_qsa_traces();
  }
}

// The SFP port runs its own initial transmitter sequence only when the
// adapter's transmitter is not disabled instead.
TEST_F(QsaLifecycleTest, SfpCreationRecord) {
  qsa_port_ctx port{};
  uint8_t image[SFP_EEPROM_CALLER_LEN] = {0x03};
  sfpdrv::qsa_set_page_select_flags(1, 0);
  for (const uint32_t present : {0u, 1u}) {
    const sfp_platform_ops ops = sfpdrv::qsa_sfp_platform_ops(port, present, image);
    EXPECT_EQ(ops.module_present, 1 - present);
    EXPECT_EQ(ops.no_write_page_select + ops.no_read_page_select * 2, 1u);
  }
  sfpdrv::qsa_set_page_select_flags(0, 0);
}

// A failed adapter-type read leaves a registered context that the next
// creation initialises; a creation after that reads nothing.
TEST_F(QsaLifecycleTest, CreationAgainWithTheSameOpaque) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  adapter.fail_at(0, sfpsim::Adapter::kTypeCode, kBusError);
  sfp_rc rc = 0;
  EXPECT_EQ(create_adapter(adapter.platform_ops(kPort, 1), &rc), nullptr);
  EXPECT_EQ(rc, static_cast<sfp_rc>(kBusError));
  ASSERT_EQ(adapter_registry().size(), 1u);
  qsa_port_ctx *port = adapter_registry().front();
  EXPECT_EQ(texts_of(kQsaTypeReadFailed).size(), 1u);

  EXPECT_EQ(qsa_check_and_lock_hdl(port, 77), SFP_RC_QSA_NOT_INIT);
  const Strings refused = texts_of(kQsaNotInitialised);
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_TRUE(refused[0].starts_with("Port 3: QSA instance not fully initialized. Hdl 0x"));
  EXPECT_TRUE(refused[0].ends_with(" at line 77\n"));
  EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0) << "a refused check holds no lock";
  pthread_mutex_unlock(&port->lock);

  adapter.clear_faults();
  EXPECT_EQ(create_adapter(adapter), port);
  sfp_port_ctx *sfp = port->sfp_port;
  const uint64_t accesses = adapter.access_count();
  EXPECT_EQ(create_adapter(adapter, 0), port);
  EXPECT_EQ(adapter.access_count(), accesses);
  EXPECT_EQ(port->sfp_port, sfp);
  EXPECT_NE(sfp, nullptr);
}

TEST_F(QsaLifecycleTest, DeletionAndItsRefusals) {
  qsa_port_ctx *first = create_adapter(new_adapter("10gbase-sr"));
  qsa_port_ctx *second = create_adapter(new_adapter());
  EXPECT_EQ(qsa_port_delete(first), SFP_RC_OK);
  EXPECT_EQ(adapter_registry(), std::vector<qsa_port_ctx *>{second});
  EXPECT_TRUE(sfptest::registry().empty()) << "the SFP port goes with its adapter port";
  EXPECT_EQ(qsa_port_delete(first), SFP_RC_NOT_FOUND) << "a freed handle is only compared";
  EXPECT_EQ(qsa_port_delete(nullptr), SFP_RC_INVALID);
  EXPECT_EQ(qsa_check_and_lock_hdl(nullptr, 1), SFP_RC_INVALID);
  EXPECT_EQ(texts_of(kQsaNullHdl), Strings{"NULL Hdl passed in\n"});
}

// An SFP the SFP layer refuses leaves an uninitialised context registered
// under the adapter port; deleting the adapter port takes it along, so that
// creating and deleting over and over leaves the SFP registry as it was.
TEST_F(QsaLifecycleTest, DeletionTakesARefusedSfpsContextAlong) {
  sfpsim::Module refused; // blank: no type the SFP layer knows
  sfpsim::Adapter &adapter = new_adapter();
  adapter.seat(refused);
  const std::vector<sfp_port_ctx *> before = sfptest::registry();
  for (int cycle = 0; cycle < 1000; ++cycle) {
    qsa_port_ctx *port = create_adapter(adapter);
    ASSERT_NE(port, nullptr);
    ASSERT_EQ(port->sfp_port, nullptr) << "the module is refused";
    ASSERT_EQ(sfptest::registry().size(), before.size() + 1) << cycle;
    ASSERT_EQ(qsa_port_delete(port), SFP_RC_OK);
    ASSERT_EQ(sfptest::registry(), before) << cycle;
  }
}

int failing_registry_unlock(pthread_mutex_t *m) {
  const int rc = pthread_mutex_unlock(m);
  return m == &qsa_get_ctx()->lock ? ENOTRECOVERABLE : rc;
}

// A check whose registry unlock fails returns that code holding no lock.
// A context that cannot be allocated: 12 in the status and the result,
// nothing registered, the one line on standard error, and the next
// creation succeeds.
TEST_F(QsaLifecycleTest, CreationWithoutMemoryRegistersNothing) {
  sfpsim::Adapter &adapter = new_adapter("10gbase-sr");
  qsa_platform_ops ops = adapter.platform_ops(kPort, 1);
  ops.evm = sfptest::test_evm();
  qsa_port_create_result result{};
  sfpdrv::testing::fail_allocation(1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(qsa_port_create(&ops, &result), SFP_RC_NO_MEMORY);
  sfpdrv::testing::fail_allocation(0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qsa port init : port context find/add error \n");
  EXPECT_EQ(result.status, SFP_RC_NO_MEMORY);
  EXPECT_EQ(result.handle, nullptr);
  EXPECT_TRUE(adapter_registry().empty());
  EXPECT_EQ(adapter.access_count(), 0u);
  EXPECT_NE(create_adapter(adapter), nullptr);
}

TEST_F(QsaLifecycleTest, RegistryUnlockFailureLeavesNoLockHeld) {
  static constexpr sfpdrv::MutexOps kOps{pthread_mutex_trylock, pthread_mutex_lock,
                                         failing_registry_unlock};
  qsa_port_ctx *port = create_adapter(new_adapter());
  sfpdrv::testing::set_qsa_mutex_ops(&kOps);
  EXPECT_EQ(qsa_port_detect_sfp_oir(port), static_cast<sfp_rc>(ENOTRECOVERABLE));
  sfpdrv::testing::set_qsa_mutex_ops(nullptr);
  EXPECT_TRUE(texts_of(kQsaMutexUnlockFailed).at(0).starts_with("mutex_unlock(3) failed, rc: 131"));
  EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0);
  pthread_mutex_unlock(&port->lock);
}

} // namespace
