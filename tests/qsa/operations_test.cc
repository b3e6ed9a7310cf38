// The adapter operations on the adapter itself: the handle check and lock of
// every checking operation, its registers, its type, identity and checksums.
#include <cstring>
#include <functional>

#include "qsa_harness.h"

namespace {

using namespace qsatest;
using namespace sfpdrv::msg;
using Strings = std::vector<std::string>;
using sfpsim::Adapter;

class QsaOperationsTest : public QsaTest {};

// A null handle gives 22 and an uninitialised port 11, both before any bus
// access and with the listed line on standard error; a successful check
// leaves the port lock free again.
TEST_F(QsaOperationsTest, EveryCheckingOperationChecksAndUnlocks) {
  uint8_t byte = 0;
  uint32_t value = 0;
  sfp_xcvr_type type = 0;
  char name[64];
  char *text = nullptr;
  sfp_hw_status_rec status{};
  sfp_hw_info_rec info{};
  const struct {
    const char *what;
    std::function<sfp_rc(qsa_port_ctx *)> call;
    const char *printed;
  } cases[] = {
      {"read", [&](auto *p) { return qsa_port_read(p, 222, 0xA00, 1, &byte); },
       "qsa port read check hdl failed \n"},
      {"write", [&](auto *p) { return qsa_port_write(p, 86, 0xA0, 1, &byte); }, ""},
      {"read_reg", [&](auto *p) { return qsa_port_read_reg(p, &text, &value); },
       "qsa port read reg check hdl failed \n"},
      {"rate", [&](auto *p) { return qsa_port_rate(p, &value); },
       "qsa port write check hdl failed \n"},
      {"type", [&](auto *p) { return qsa_port_type(p, &type, name, 64, &value); }, ""},
      {"admin", [&](auto *p) { return qsa_port_admin_state(p, 0, 1); }, ""},
      {"phy speed", [&](auto *p) { return qsa_port_set_sfp_phy_speed(p, 1000, 0); }, ""},
      {"hw_status", [&](auto *p) { return qsa_port_hw_status(p, &status); },
       "qsa port qsa type check hdl failed \n"},
      {"hw_info", [&](auto *p) { return qsa_port_hw_info(p, &info, &info); },
       "qsa port qsa type check hdl failed \n"},
      {"get_state", [&](auto *p) { return qsa_port_get_state(p, &byte); }, ""},
      {"decode", [&](auto *p) { return qsa_port_phy_reg_decode(p, &text, &value); },
       "qsa port qsa type check hdl failed \n"},
  };
  Adapter &broken = new_adapter("10gbase-sr");
  broken.fail_at(0, Adapter::kTypeCode, kBusError);
  create_adapter(broken.platform_ops(kPort + 1, 1));
  qsa_port_ctx *uninitialised = adapter_registry().front();
  qsa_port_ctx *port = create_adapter(new_adapter());
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const uint64_t accesses = broken.access_count();
    testing::internal::CaptureStderr();
    EXPECT_EQ(c.call(nullptr), SFP_RC_INVALID);
    EXPECT_EQ(c.call(uninitialised), SFP_RC_QSA_NOT_INIT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(c.printed) + c.printed);
    EXPECT_EQ(broken.access_count(), accesses);
    c.call(port);
    EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0);
    pthread_mutex_unlock(&port->lock);
    std::free(text);
    text = nullptr;
  }
}

TEST_F(QsaOperationsTest, AdapterRegistersWithoutAnSfp) {
  Adapter &adapter = new_adapter();
  qsa_port_ctx *port = create_adapter(adapter);
  const struct {
    uint8_t code;
    uint32_t rate;
  } rates[] = {{4, 26}, {6, 26}, {7, 1}, {5, 1}, {36, 26}, {33, 25}, {2, 10}};
  for (const auto &r : rates) {
    adapter.set_lower(Adapter::kRateCode, r.code);
    uint32_t rate = 0;
    EXPECT_EQ(qsa_port_rate(port, &rate), SFP_RC_OK);
    EXPECT_EQ(rate, r.rate) << "code " << int{r.code};
  }

  for (const uint32_t state : {0u, 1u, 0u}) {
    EXPECT_EQ(qsa_port_admin_state(port, 1, state), SFP_RC_OK);
    EXPECT_EQ(adapter.lower(Adapter::kTxDisable), state == 0 ? 1 : 0);
  }
  EXPECT_EQ(qsa_port_tx_enable(port), SFP_RC_OK);
  EXPECT_EQ(adapter.lower(Adapter::kTxDisable), 0);
  adapter.fail_at(0, Adapter::kTxDisable, kBusError);
  EXPECT_EQ(qsa_port_tx_disable(port), static_cast<sfp_rc>(kBusError));
  EXPECT_EQ(texts_of(kOpTxDisableWriteFailed),
            Strings{"Port 3: Error: Failed in QSA TX Diable register write\n"});
  adapter.clear_faults();

  EXPECT_EQ(qsa_port_set_sfp_phy_speed(port, 1000, 1), SFP_RC_FAULT);
  EXPECT_EQ(texts_of(kOpPhySpeedFailed), Strings{"Port 3: Failed to set PHY speed\n"});
  uint8_t link = 0xAB;
  EXPECT_EQ(qsa_port_get_state(port, &link), SFP_RC_OK);
  EXPECT_EQ(link, 0xAB);
}

// Without a seated SFP the adapter reports itself, once it answers as one.
TEST_F(QsaOperationsTest, TypeOfTheAdapterItself) {
  const struct {
    uint8_t type_code, ext_id;
    bool sfp_unreadable;
    uint32_t name_len;
    sfp_rc rc;
    sfp_xcvr_type type;
    const char *name;
  } cases[] = {
      {0x28, 0xF2, false, 64, SFP_RC_OK, 856, "PX-QSA-25G"},
      {0x00, 0xF2, true, 64, SFP_RC_OK, 855, "PX-QSA-10G"},
      {0x00, 0xF2, false, 4, SFP_RC_OK, 855, "PX-"},
      {0x28, 0x00, false, 64, SFP_RC_NO_ADAPTER, 1, "old"},
  };
  for (const auto &c : cases) {
    Adapter &adapter = new_adapter(c.sfp_unreadable ? "10gbase-sr" : nullptr);
    adapter.set_type_code(c.type_code);
    qsa_port_ctx *port = create_adapter(adapter);
    adapter.set_ext_id(c.ext_id);
    if (c.sfp_unreadable) {
      adapter.fail_at(0, Adapter::kPresence, kBusError);
    }
    sfp_xcvr_type type = 1;
    char name[64] = "old";
    uint32_t defaulted = 7;
    EXPECT_EQ(qsa_port_type(port, &type, name, c.name_len, &defaulted), c.rc);
    EXPECT_EQ(type, c.type);
    EXPECT_STREQ(name, c.name);
    EXPECT_EQ(defaulted, c.rc == SFP_RC_OK ? 0u : 7u);
    EXPECT_EQ(qsa_port_get_type(port, &type, name, 0, &defaulted), SFP_RC_INVALID);
    // The state query reads presence for a fiber SFP too, though only a
    // copper one has a link to report.
    uint8_t link = 7;
    EXPECT_EQ(qsa_port_get_state(port, &link), SFP_RC_OK);
    EXPECT_EQ(link, 7);
    EXPECT_EQ(qsa_port_delete(port), SFP_RC_OK);
  }
  EXPECT_EQ(texts_of(kOpGetStatePresenceFailed),
            Strings{"Port 3: QSA sfp present read failed : Read error\n"});
  EXPECT_EQ(texts_of(kOpGetTypeNotPresent),
            Strings{"Port 3: Error: QSA is not present, Ext id :0\n"});
  EXPECT_EQ(texts_of(kOpGetTypePresenceFailed).size(), 1u);
  EXPECT_EQ(texts_of(kOpGetTypeNullParams).size(), 4u);
}

TEST_F(QsaOperationsTest, IdentityRecordAndChecksumsOfTheAdapterImage) {
  Adapter &adapter = new_adapter();
  adapter.set_type_code(qsa_adapter_25g);
  qsa_port_ctx *port = create_adapter(adapter);
  sfp_hw_info_rec rec{};
  EXPECT_EQ(qsa_port_hw_info(port, nullptr, &rec), SFP_RC_OK);
  const uint8_t *image = port->adapter_eeprom;
  EXPECT_EQ(rec.xcvr_type, QSA_XCVR_TYPE_25G);
  EXPECT_STREQ(rec.type_name, "PX-QSA-25G");
  EXPECT_EQ(std::string(rec.vendor_name), std::string(image + 148, image + 164)) << "not trimmed";
  EXPECT_EQ(std::string(rec.vendor_rev), std::string(image + 184, image + 186));
  EXPECT_EQ(std::memcmp(rec.vendor_oui, image + 165, 3), 0);
  EXPECT_EQ(std::string(rec.vendor_pn), std::string(image + 168, image + 184));
  EXPECT_EQ(std::string(rec.vendor_sn), std::string(image + 196, image + 212));
  EXPECT_EQ(std::string(rec.version_id), std::string(image + 404, image + 408));
  EXPECT_EQ(std::string(rec.pid), std::string(image + 448, image + 466));
  EXPECT_EQ(rec.compliance, SFP_COMPLIANCE_OK);
  EXPECT_EQ(qsa_port_copy_hw_info(nullptr, &rec), SFP_RC_INVALID);

  // A changed byte fails the checksum that covers it. Where the base one
  // fails, byte 200 breaks the extended one too, which must not be looked at.
  const struct {
    int changed;
    sfp_compliance_result result;
  } cases[] = {{-1, 0}, {128, 3}, {190, 3}, {192, 4}, {222, 4}, {223, 4}, {224, 0}};
  for (const auto &c : cases) {
    auto copy = adapter.eeprom_image();
    if (c.changed >= 0) {
      copy.at(static_cast<std::size_t>(c.changed)) ^= 0x01;
    }
    copy[200] ^= c.result == 3 ? 0x10 : 0;
    sfp_compliance_result result = 9;
    EXPECT_EQ(qsa_xcvr_check_compliance(copy.data(), &result), SFP_RC_OK);
    EXPECT_EQ(result, c.result) << "byte " << c.changed;
  }
  sfp_compliance_result result = 9;
  EXPECT_EQ(qsa_xcvr_check_compliance(nullptr, &result), SFP_RC_OK);
  EXPECT_EQ(result, SFP_COMPLIANCE_NO_DATA);
}

} // namespace

// A null out-argument of a checked operation is refused with 22, with no
// bus access, and the port lock is free again; an access with a direction
// that is neither read nor write is refused the same way.
TEST_F(QsaOperationsTest, NullOutArgumentsAndBadDirectionAreRefused) {
  Adapter &adapter = new_adapter("10gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  uint32_t size = 0;
  uint8_t byte = 0;
  const std::function<sfp_rc()> calls[] = {
      [&] { return qsa_port_rate(port, nullptr); },
      [&] { return qsa_port_get_state(port, nullptr); },
      [&] { return qsa_port_phy_reg_decode(port, nullptr, &size); },
      [&] { return qsa_access(port, 1, 1, QSA_PAGE_LOWER, &byte, 2); },
  };
  for (const auto &call : calls) {
    const uint64_t accesses = adapter.access_count();
    EXPECT_EQ(call(), SFP_RC_INVALID);
    EXPECT_EQ(adapter.access_count(), accesses);
    EXPECT_EQ(pthread_mutex_trylock(&port->lock), 0);
    pthread_mutex_unlock(&port->lock);
  }
}

// The features an SFP behind an adapter does not have answer with their
// fixed statuses and touch nothing, whatever the handle.
TEST_F(QsaOperationsTest, FeaturesWithoutAdapterSupportAnswerFixedStatuses) {
  Adapter &adapter = new_adapter("25gbase-sr");
  qsa_port_ctx *port = create_adapter(adapter);
  const uint64_t accesses = adapter.access_count();
  for (qsa_port_ctx *hdl : {port, static_cast<qsa_port_ctx *>(nullptr)}) {
    EXPECT_EQ(qsa_port_tx_cdr_enable(hdl, 1), SFP_RC_OK);
    EXPECT_EQ(qsa_port_rx_cdr_enable(hdl, 1), SFP_RC_OK);
    EXPECT_EQ(qsa_port_handle_event_irq(), SFP_RC_OK);
    EXPECT_EQ(qsa_port_ctle_ena_dis(hdl, 1), SFP_RC_UNSUPPORTED);
    EXPECT_EQ(qsa_port_high_power_class_ena_dis(hdl, 1), SFP_RC_UNSUPPORTED);
    EXPECT_EQ(qsa_port_rx_output_ena_dis(hdl, 1), SFP_RC_UNSUPPORTED);
    EXPECT_EQ(qsa_modify_eq(hdl, 3), SFP_RC_UNSUPPORTED);
    EXPECT_EQ(qsa_modify_deemphasis(hdl, 3), SFP_RC_UNSUPPORTED);
    EXPECT_EQ(qsa_modify_amp(hdl, 3), SFP_RC_UNSUPPORTED);
    sfp_hw_status_rec rec{};
    EXPECT_EQ(qsa_port_dom_info(hdl, &rec), 1u);
  }
  EXPECT_EQ(adapter.access_count(), accesses);
}
