// Type detection on synthetic identification images, and the port's type
// operations.
#include <array>
#include <cstring>
#include <string>

#include "port/messages.h"
#include "support/port_harness.h"
#include "xcvr/internal.h"
#include "xcvr/messages.h"

namespace {

using sfptest::records_of;
namespace msg = sfpdrv::msg;

// An A0h image, built field by field.
struct Image {
  std::array<uint8_t, 256> a0{};

  Image set(std::size_t at, uint8_t value) const {
    Image copy = *this;
    copy.a0[at] = value;
    return copy;
  }
  Image word(std::size_t at, uint32_t value) const {
    Image copy = *this;
    for (std::size_t i = 0; i < 4; ++i) {
      copy.a0[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    }
    return copy;
  }
  Image cable(uint8_t metres) const { return set(2, 0x21).set(18, metres); } // copper pigtail
  Image km(uint8_t length) const { return set(14, length); }
  Image ext_code(uint8_t code) const { return set(36, code); }
  Image rate(uint8_t byte66) const { return set(12, 0xff).set(66, byte66); }
  Image options(uint8_t options1) const { return set(65, options1); }
};

// identifier, code low (bytes 3..6), code high (7..10), vendor code (byte
// 96, or 0xff and byte 97 for a code ending in 0xff).
Image module(uint8_t identifier, uint32_t low, uint32_t high, uint16_t ext_id) {
  Image image = Image{}.set(0, identifier).word(3, low).word(7, high);
  image = image.set(96, static_cast<uint8_t>(ext_id & 0xff));
  return image.set(97, static_cast<uint8_t>(ext_id >> 8));
}
Image sfp(uint32_t low, uint32_t high = 0, uint16_t ext_id = 0x77) {
  return module(0x03, low, high, ext_id);
}
Image dwdm(uint32_t low, uint32_t high, uint16_t ext_id) {
  return module(0x0b, low, high, ext_id);
}

// kWasDefaulted: the port's defaulted flag is set before detection; kEvt:
// the deciding record is on the event buffer.
enum Flags : uint32_t {
  kNone = 0,
  kSonet = 1,
  kAllowed = 2,
  kMarker = 4,
  kOm3Csr = 8,
  kWasDefaulted = 16,
  kEvt = 32
};

struct Case {
  const char *what;
  Image image;
  const char *pid;
  uint32_t flags;
  sfp_xcvr_type type;
  uint32_t defaulted;
  const sfpdrv::TraceMsg *msg; // the record that says how it was decided
};

const Image k25g = sfp(0).rate(103);
const Image k50g = sfp(0).rate(224);
const Image kCu = sfp(0, 0x40000, 0x80); // byte 8: passive cable
const Image kAoc = sfp(0, 0x80000, 0);   // byte 8: active cable

// clang-format off
const Case kCases[] = {
    {"50G SR", k50g.ext_code(0x41).options(0x40), "", kNone, 811, 0, &msg::kDetected50g},
    {"50G LR", k50g.ext_code(0x45), "", kNone, 820, 0, &msg::kDetected50g},
    {"50G CU 3 m", k50g.ext_code(0x40).set(18, 3), "", kNone, 816, 0, &msg::kDetected50g},
    {"50G CU 6 m", k50g.ext_code(0x40).set(18, 6), "", kNone, 512, 0, &msg::kDetected50g},
    {"50G loopback", sfp(0x11000000, 0x40000).rate(106), "", kNone, 819, 0, &msg::kDetected50g},
    {"50G ext 0", sfp(0x11000000).rate(106), "", kNone, 512, 0, &msg::kDetected50g},
    {"50G unknown", k50g.ext_code(0x77), "", kNone, 512, 0, &msg::kUnknown50gExtCode},
    {"50G default", k50g.ext_code(0x77), "", kAllowed, 811, 1, &msg::kDefaulted50g},
    {"tunable first", sfp(0x10000000).options(0x40), "", kNone, 765, 0, &msg::kDetectedTunable},
    {"smart T1F", sfp(99, 0, 0), "", kNone, 535, 0, &msg::kDetectedSmartSfp},
    {"smart OC3", sfp(101, 0, 0), "", kNone, 540, 0, &msg::kDetectedSmartSfp},
    {"smart E1U", sfp(105, 0, 0), "", kNone, 538, 0, &msg::kDetectedSmartSfp},
    {"not smart", sfp(103, 0, 0), "", kEvt, 512, 0, &msg::kNotSmartSfp},
    {"vendor-coded LH", sfp(0, 0, 0xd7), "", kNone, 852, 0, &msg::kDetectedVendorCoded1g},
    {"vendor-coded SX", sfp(0, 0, 0xd6), "", kNone, 853, 0, &msg::kDetectedVendorCoded1g},
    {"25G SR", k25g.ext_code(2), "", kNone, 784, 0, &msg::kDetected25g},
    {"25G SR multi-rate", k25g.ext_code(2), "", kMarker, 806, 0, &msg::kMultiRateOptics},
    {"25G CSR multi-rate", k25g.ext_code(2), "", kMarker | kOm3Csr, 805, 0, &msg::kDetected25g},
    {"25G LR multi-rate", k25g.ext_code(3), "", kMarker, 807, 0, &msg::kDetected25g},
    {"25G ER", sfp(0).rate(104).ext_code(4), "", kNone, 787, 0, &msg::kDetected25g},
    {"25G loopback", module(3, 0, 0, 0xffff).rate(103), "", kNone, 810, 0, &msg::kDetected25g},
    {"25G BX-U", sfp(0, 0, 0xf3).rate(103), "", kNone, 808, 0, &msg::kDetected25g},
    {"25G BX-D", sfp(0, 0, 0xf2).rate(103), "", kNone, 809, 0, &msg::kDetected25g},
    {"25G unknown id", k25g, "", kNone, 784, 0, &msg::kUnknown25gExtId},
    {"25G AOC 2 m", k25g.ext_code(1).set(18, 2), "", kNone, 797, 0, &msg::kDetected25g},
    {"25G AOC 3 m", k25g.ext_code(1).set(18, 3), "", kNone, 798, 0, &msg::kDetected25g},
    {"25G AOC 4 m", k25g.ext_code(1).set(18, 4), "", kNone, 799, 0, &msg::kDetected25g},
    {"25G AOC 5 m", k25g.ext_code(1).set(18, 5), "", kNone, 800, 0, &msg::kDetected25g},
    {"25G AOC 7 m", k25g.ext_code(1).set(18, 7), "", kNone, 801, 0, &msg::kDetected25g},
    {"25G AOC 10 m", k25g.ext_code(1).set(18, 10), "", kNone, 802, 0, &msg::kDetected25g},
    {"25G 0x0a", k25g.ext_code(0x0a), "", kNone, 792, 0, &msg::kDetected25g},
    {"25G 0x0b", k25g.ext_code(0x0b), "", kNone, 793, 0, &msg::kDetected25g},
    {"25G AOC 6 m", k25g.ext_code(1).set(18, 6), "", kNone, 796, 0, &msg::kUnknown25gAocLength},
    {"25G CU 0x0c", k25g.ext_code(0x0c), "", kNone, 791, 0, &msg::kDetected25g},
    {"25G CU 2 m", k25g.ext_code(0x0d).set(18, 2), "", kNone, 790, 0, &msg::kDetected25g},
    {"25G CU 3 m", k25g.ext_code(0x0d).set(18, 3), "", kNone, 512, 0, &msg::kDetected25g},
    {"25G unknown", k25g.ext_code(6), "", kNone, 512, 0, &msg::kUnknown25gExtCode},
    {"25G default", k25g.ext_code(0x0e), "", kAllowed, 784, 1, &msg::kDefaulted25g},
    {"CU 1 m plain", kCu.cable(1).set(96, 0), "PX-Q4S-10G-CU1M", kNone, 744, 0, &msg::kDetected10gCopper},
    {"CU 1 m breakout", kCu.cable(1), "PX-Q4S-10G-CU1M  X", kNone, 762, 0, &msg::kDetected10gCopper},
    {"CU 1 m", kCu.cable(1), "PX-SFP-10G-CU1M", kNone, 692, 0, &msg::kDetected10gCopper},
    {"CU 1 m no PID", kCu.cable(1), nullptr, kNone, 762, 0, &msg::kDetected10gCopper},
    {"CU 2 m", kCu.cable(2), "", kNone, 745, 0, &msg::kDetected10gCopper},
    {"CU 3 m breakout", kCu.cable(3), "PX-Q4S-10G-CU3M", kNone, 763, 0, &msg::kDetected10gCopper},
    {"CU 5 m", kCu.cable(5), "PX-Q4S-10G-CU3M", kNone, 747, 0, &msg::kDetected10gCopper},
    {"CU 4 m", kCu.cable(4), "", kNone, 512, 0, &msg::kCopperLengthUnknown},
    {"AOC 2 m breakout", kAoc.cable(2), "PX-Q4S-10G-AOC2M", kNone, 755, 0, &msg::kDetected10gActive},
    {"AOC 3 m by SMF km", kAoc.km(3), "PX-SFP-10G-AOC3M", kNone, 750, 0, &msg::kDetected10gActive},
    {"ACU 7 m breakout", kAoc.cable(7), "PX-Q4S-10G-ACU7M", kNone, 760, 0, &msg::kDetected10gActive},
    {"AOC 10 m breakout", kAoc.cable(10), "PX-Q4S-10G-AOC10M", kNone, 759, 0, &msg::kDetected10gActive},
    {"AOC 10 m", kAoc.cable(10), "PX-SFP-10G-AOC10M", kNone, 753, 0, &msg::kDetected10gActive},
    {"AOC 4 m", kAoc.cable(4), "", kNone, 512, 0, &msg::kActiveLengthUnknown},
    {"OC48 SR", sfp(0x10000), "", kSonet | kEvt, 780, 0, &msg::kSonetOc48Sr},
    {"OC48 LR", sfp(0x40000), "", kSonet | kEvt, 782, 0, &msg::kSonetOc48Lr},
    {"OC192 SR", sfp(0x200000), "", kSonet | kEvt, 783, 0, &msg::kSonetOc192Sr},
    {"OC48 elsewhere", sfp(0x10000), "", kNone, 512, 0, &msg::kDetected},
    {"SONET invalid", sfp(0x800), "", kSonet | kEvt, 512, 0, &msg::kSonetInvalid},
    {"SONET and 10G SR", sfp(0x10010000), "", kSonet | kEvt, 594, 0, &msg::kSonetOtn},
    {"FC GE SW", sfp(0, 0x400001, 0), "", kEvt, 768, 0, &msg::kFcGeSw},
    {"FC GE LW", sfp(0, 0x100001, 0), "", kEvt, 769, 0, &msg::kFcGeLw},
    {"FC 2G, 4G SW", sfp(0, 0x4000014, 0), "", kEvt, 772, 0, &msg::kFc2gSw},
    {"FC 8G LW", sfp(0, 0x2000040, 0), "", kEvt, 775, 0, &msg::kFc8gLw},
    {"FC 16G, 32G SW", sfp(0, 0x200028, 0), "", kEvt, 778, 0, &msg::kFc16gSw},
    {"FC 16G LW", sfp(0, 0x100020, 0), "", kEvt, 777, 0, &msg::kFc16gLw},
    {"FC codes, DWDM id", module(0x0b, 0, 0x400001, 0), "", kNone, 595, 0, &msg::kDwdmScanSlot},
    {"FC no wave", sfp(0, 0x05, 0), "", kNone, 512, 0, &msg::kDetected},
    {"10GBASE-T", sfp(0).ext_code(0x1c), "", kNone, 766, 0, &msg::kDetected10gBaseT},
    {"1G SX", sfp(0x01), "", kNone, 529, 0, &msg::kDetectedCompliance},
    {"1G LX 80 km", sfp(0x02).km(80), "", kNone, 531, 0, &msg::kDetectedCompliance},
    {"1G LX 10 km", sfp(0x02).km(10), "", kNone, 530, 0, &msg::kDetectedCompliance},
    {"1G T", sfp(0x08), "", kNone, 533, 0, &msg::kDetectedCompliance},
    {"1G CX", sfp(0x10), "", kNone, 534, 0, &msg::kDetectedCompliance},
    {"1G LX and BX", sfp(0x42), "", kNone, 531, 0, &msg::kDetectedCompliance},
    {"10G LR", sfp(0x20000000), "", kNone, 596, 0, &msg::kDetectedCompliance},
    {"10G LRM", sfp(0x40000000), "", kNone, 597, 0, &msg::kDetectedCompliance},
    {"100M FX", sfp(0x20), "", kNone, 513, 0, &msg::kDetectedCompliance},
    {"1G BX-U", sfp(0x40, 0, 0x20), "", kNone, 521, 0, &msg::kDetectedCompliance},
    {"1G BX scanned", sfp(0x40), "", kNone, 774, 0, &msg::kScanAttributeMatch},
    {"10G ER", sfp(0x80000000), "", kNone, 598, 0, &msg::kDetectedCompliance},
    {"SR and SX", sfp(0x10000001), "", kNone, 512, 0, &msg::kComplianceAmbiguous},
    {"SR and SX default", sfp(0x10000001), "", kAllowed, 529, 1, &msg::kDefaultedScan},
    {"SR and LR default", sfp(0x30000000), "", kAllowed, 594, 1, &msg::kDefaultedScan},
    {"no codes allowed", sfp(0), "", kAllowed | kWasDefaulted, 512, 0, &msg::kDetected},
    {"ZR by vendor PN", sfp(0), "", kNone, 599, 0, &msg::kVendorPnZr},
    {"DWDM 50 GHz", dwdm(0, 0, 0x5cff), "", kNone, 612, 0, &msg::kDwdmScanSlot},
    {"DWDM 100 GHz", dwdm(0, 0, 0xc7), "", kNone, 704, 0, &msg::kDwdmScanSlot},
    {"DWDM codes", dwdm(0xc0000, 0x82000105, 3), "", kNone, 543, 0, &msg::kDwdmScanSlot},
    {"DWDM no codes", dwdm(0, 0, 3), "", kNone, 512, 0, &msg::kDwdmScanSlot},
    {"CWDM", module(3, 0, 0x82000105, 3), "", kNone, 543, 0, &msg::kScanCodeMatch},
    {"CWDM bare", module(3, 0, 0, 3), "", kNone, 543, 0, &msg::kScanCodeMatch},
    {"FC CWDM", module(3, 0, 0x80100115, 0x98), "", kNone, 825, 0, &msg::kScanFcCwdmMatch},
};
// clang-format on

class Detect : public sfptest::PortTest {
protected:
  void SetUp() override {
    PortTest::SetUp();
    port_ = create_on("25gbase-sr", module_);
    allowed_ = sfp_get_ctx()->unsupported_xcvr_allowed;
  }
  void TearDown() override {
    sfp_get_ctx()->unsupported_xcvr_allowed = allowed_;
    PortTest::TearDown();
  }

  // Runs detection on the case's image, held by the port's cache and by the
  // simulated module alike.
  sfp_xcvr_type detect(const Case &c) {
    module_->memory().a0 = c.image.a0;
    module_->memory().a0[253] = (c.flags & kMarker) != 0 ? 3 : 0;
    module_->memory().a0[19] = (c.flags & kOm3Csr) != 0 ? 30 : 7;
    if (std::strcmp(c.what, "ZR by vendor PN") == 0) {
      std::memcpy(module_->memory().a0.data() + 40, "SPP5110ZR-GL    ", 16);
    }
    std::memcpy(port_->eeprom, module_->memory().a0.data(), 256);
    port_->sonet_capable = (c.flags & kSonet) != 0 ? 1 : 0;
    port_->multi_rate = 0;
    port_->defaulted = (c.flags & kWasDefaulted) != 0 ? 1 : 0;
    sfp_get_ctx()->unsupported_xcvr_allowed = (c.flags & kAllowed) != 0 ? 1 : 0;
    sfptest::clear_traces();
    const sfpdrv::DetectInputs in = sfpdrv::detect_inputs(port_->eeprom);
    return sfpdrv::sfp_xcvr_detect_type(port_, in.identifier, in.code_low, in.code_high, in.ext_id,
                                        in.length, in.options1, c.pid, in.ext_code, in.speed);
  }

  std::unique_ptr<sfpsim::Module> module_;
  sfp_port_ctx *port_ = nullptr;
  uint32_t allowed_ = 0;
};

TEST_F(Detect, CascadeDecidesEachFamilyAtItsStep) {
  for (const Case &c : kCases) {
    EXPECT_EQ(detect(c), c.type) << c.what;
    EXPECT_EQ(port_->defaulted, c.defaulted) << c.what;
    EXPECT_EQ(port_->multi_rate, (c.flags & kMarker) != 0 ? 1u : 0u) << c.what;
    const char *buffer = (c.flags & kEvt) != 0 ? "sfp_evt" : "sfp_err";
    EXPECT_FALSE(records_of(buffer, *c.msg).empty()) << c.what << ": no " << c.msg->format;
  }
}

// Each FC hit is its own record; a later speed bit replaces an earlier.
TEST_F(Detect, FibreChannelHitsAreTracedOneByOne) {
  ASSERT_EQ(detect({"FC", sfp(0, 0x4000014, 0), "", kNone, 0, 0, nullptr}), 772u);
  const auto hits = sfptest::records("sfp_evt");
  ASSERT_EQ(hits.size(), 3u); // not a smart SFP, 2G SW, 4G SW
  EXPECT_EQ(hits[2].text, "Controller 0 Port 0: Port: 0, SFP_FC_4G_SW (772) \n");
}

TEST_F(Detect, DwdmScanTracesEverySlotItExamines) {
  ASSERT_EQ(detect({"DWDM none", dwdm(0, 0, 0x77), "", kNone, 0, 0, nullptr}), 512u);
  EXPECT_EQ(records_of("sfp_err", msg::kDwdmScanSlot).size(), SFP_XCVR_TYPE_SLOTS - 1)
      << "every slot but the tunable one";
}

class PortType : public sfptest::PortTest {};

TEST_F(PortType, ArgumentChecksIdentificationAndRates) {
  std::unique_ptr<sfpsim::Module> module;
  sfp_port_ctx *port = create_on("10gbase-sr", module);
  sfp_xcvr_type type = 0;
  char name[8];
  uint32_t defaulted = 9;
  EXPECT_EQ(sfp_port_type(port, nullptr, name, 8, &defaulted), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_type(port, &type, nullptr, 8, &defaulted), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_type(port, &type, name, 0, &defaulted), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_type(port, &type, name, 8, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", msg::kGetTypeNullParams).size(), 4u);
  EXPECT_EQ(sfp_port_type(nullptr, &type, name, 8, &defaulted), SFP_RC_INVALID);
  uint32_t rate = 7;
  EXPECT_EQ(sfp_port_rate(nullptr, &rate), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_rate(port, nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_get_type(nullptr, &type, name, 8, &defaulted), SFP_RC_INVALID);
  port->initialised = 0;
  EXPECT_EQ(sfp_port_type(port, &type, name, 8, &defaulted), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_rate(port, &rate), SFP_RC_INVALID);
  EXPECT_EQ(records_of("sfp_err", sfpdrv::msg::kNotInitialised).size(), 2u);
  port->initialised = 1;
  EXPECT_EQ(type, 0u);
  EXPECT_EQ(rate, 7u);

  // A port without a type is identified on first use, once.
  port->xcvr_type = 0;
  sfptest::clear_traces();
  ASSERT_EQ(sfp_port_type(port, &type, name, sizeof name, &defaulted), SFP_RC_OK);
  EXPECT_EQ(type, 594u);
  EXPECT_STREQ(name, "SFP+ 10");
  EXPECT_STREQ(port->xcvr_name, "SFP+ 10G SR");
  EXPECT_EQ(defaulted, 0u);
  ASSERT_EQ(sfp_port_rate(port, &rate), SFP_RC_OK);
  EXPECT_EQ(rate, 10000u);
  EXPECT_EQ(records_of("sfp_evt", msg::kIdentifyTp3).size(), 1u);
  port->defaulted = 1; // null outputs are skipped
  ASSERT_EQ(sfp_port_get_type(port, nullptr, nullptr, 0, &defaulted), SFP_RC_OK);
  EXPECT_EQ(defaulted, 1u);
  EXPECT_EQ(records_of("sfp_err", msg::kGetType).back().text,
            "Controller 0 Port 0: SFP Get type 594: SFP+ 10G SR\n");

  const std::pair<sfp_xcvr_type, uint32_t> rates[] = {
      {512, 0}, {513, 1000},  {514, 0},     {516, 1000},  {520, 0},     {590, 1000},
      {591, 0}, {594, 10000}, {766, 10000}, {767, 0},     {784, 25000}, {802, 25000},
      {805, 0}, {807, 0},     {808, 25000}, {810, 25000}, {811, 0},     {820, 0},
      {851, 0}, {852, 1000},  {853, 1000},  {854, 0}};
  for (const auto &[t, mbps] : rates) {
    port->xcvr_type = t;
    ASSERT_EQ(sfp_port_rate(port, &rate), SFP_RC_OK);
    EXPECT_EQ(rate, mbps) << t;
  }

  // The name of detected codes is appended within the destination's size,
  // with or without a port.
  char text[12] = "id: ";
  EXPECT_EQ(sfp_xcvr_get_name_from_xcvrCode(nullptr, 3, 0x10000000, 0, 0, 0, 0, text, sizeof text,
                                            nullptr, 0, 0),
            594u);
  EXPECT_STREQ(text, "id: SFP+ 10");
  EXPECT_EQ(sfp_port_handle_event_irq(), SFP_RC_OK);
}

} // namespace
