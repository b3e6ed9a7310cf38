// The transceiver type table, built at compile time in slot order. Rows
// that are individual are written out as they are; the CWDM and DWDM
// families are generated from their rules (type, vendor code, channel and
// wavelength name run with the family index).
#include "xcvr/type_table.h"
#include "xcvr/catalogue.h"

#include <array>
#include <atomic>

namespace sfpdrv {
namespace {

constexpr int32_t N = kNoItuChan; // short for the row lists

// --- individual rows ------------------------------------------------------

constexpr XcvrRow kUnknownRows[] = {
    {512, 0xffffffff, 0xffffffff, 0, N, 0, "Unknown"},
};

// Optical supervisory channel SFPs, 160 km.
constexpr XcvrRow kSupervisoryRows[] = {
    {589, 0, 0, 0x6a, N, 0, catalogue_name::kOsc1510},
    {590, 0, 0, 0x6b, N, 0, catalogue_name::kOsc1514},
};

constexpr XcvrRow k100MRows[] = {
    {513, 0, 0, 0x2a, N, 0, "SFP 100M 100BASE-FX"},
    {515, 0, 0, 0x32, N, 0, "SFP 100M 100BASE-EX"},
    {516, 0, 0, 0x33, N, 0, "SFP 100M 100BASE-ZX"},
};

// The first row of 521 is here; its second row follows the smart SFPs.
constexpr XcvrRow k1gEthernetRows[] = {
    {534, 0, 0, 0x5a, N, 0, "SFP 1G 100/1000BASE-LX"},
    {521, 0, 0, 0x2d, N, 0, "SFP 1G 1000BX-10-U"},
    {522, 0, 0, 0x2e, N, 0, "SFP 1G 1000BX-10-D"},
    {523, 0, 0, 0x3f, N, 0, "SFP 1G 1000BASE 2BX-D"},
    {527, 0, 0, 0x50, N, 0, "SFP 1G 1000BX-40-U"},
    {526, 0, 0, 0x51, N, 0, "SFP 1G 1000BX-40-D"},
    {525, 0, 0, 0x52, N, 0, "SFP 1G 1000BX-80-U"},
    {524, 0, 0, 0x53, N, 0, "SFP 1G 1000BX-80-D"},
    {528, 0, 0, 0x54, N, 0, "SFP 1G 1000BX-40-DA"},
    {529, 0x01, 0, 0, N, 0, "SFP 1G 1000BASE-SX"},
    {530, 0x02, 0, 0, N, 0, "SFP 1G 1000BASE-LX"},
    {531, 0x42, 0, 0, N, 0, "SFP 1G 1000BASE-ZX"},
    {533, 0x08, 0, 0, N, 0, "SFP 1G 1000BASE-T"},
    {532, 0, 0, 0x3a, N, 0, "SFP 1G 1000BASE-EX"},
};

// Smart SFPs (circuit emulation).
constexpr XcvrRow kSmartRows[] = {
    {535, 0, 0, 0x63, N, 0, "SFP T1F SATOP1"}, {536, 0, 0, 0x64, N, 0, "SFP E1F SATOP1"},
    {538, 0, 0, 0x69, N, 0, "SFP E1U SATOP1"}, {537, 0, 0, 0x66, N, 0, "SFP T3F SATOP1"},
    {539, 0, 0, 0x68, N, 0, "SFP CH STM1"},    {540, 0, 0, 0x65, N, 0, "SFP CH OC3 STM1"},
};

constexpr XcvrRow k1gBxUpperRows[] = {
    {521, 0x40, 0x12000101, 0x20, N, 0, "SFP 1G 1000BASE-BX-U"},
};

constexpr XcvrRow k10gRows[] = {
    {594, 0x10000000, 0, 0, N, 0, "SFP+ 10G SR"},  {596, 0x20000000, 0, 0, N, 0, "SFP+ 10G LR"},
    {597, 0x40000000, 0, 0, N, 0, "SFP+ 10G LRM"}, {598, 0x80000000, 0, 0, N, 0, "SFP+ 10G ER"},
    {599, 0, 0, 0x9f, N, 0, "SFP+ 10G ZR"},        {595, 0, 0, 0, N, 0, "SFP+ 10G CSR"},
    {600, 0, 0, 0xc8, N, 0, "SFP+ 10G BX-D"},      {601, 0, 0, 0xc9, N, 0, "SFP+ 10G BX-U"},
    {602, 0, 0, 0xca, N, 0, "SFP+ 10G BX40-D"},    {603, 0, 0, 0xcb, N, 0, "SFP+ 10G BX40-U"},
};

// 10G passive copper (high word 0x40000) and active (0x80000) cables,
// breakouts included; the length column is the cable's whole metres.
constexpr XcvrRow k10gCableRows[] = {
    {692, 0, 0x40000, 0x80, N, 1, "SFP+ 10G CU1M"}, {744, 0, 0x40000, 0, N, 1, "SFP+ 10G CU1.5M"},
    {745, 0, 0x40000, 0, N, 2, "SFP+ 10G CU2M"},    {746, 0, 0x40000, 0, N, 2, "SFP+ 10G CU2.5M"},
    {693, 0, 0x40000, 0x81, N, 3, "SFP+ 10G CU3M"}, {694, 0, 0x40000, 0, N, 3, "SFP+ 10G CU3M"},
    {747, 0, 0x40000, 0x82, N, 5, "SFP+ 10G CU5M"}, {748, 0, 0x80000, 0, N, 1, "SFP+ 10G AOC1M"},
    {749, 0, 0x80000, 0, N, 2, "SFP+ 10G AOC2M"},   {750, 0, 0x80000, 0, N, 3, "SFP+ 10G AOC3M"},
    {751, 0, 0x80000, 0, N, 5, "SFP+ 10G AOC5M"},   {752, 0, 0x80000, 0, N, 7, "SFP+ 10G AOC7M"},
    {753, 0, 0x80000, 0, N, 10, "SFP+ 10G AOC10M"}, {695, 0, 0x80000, 0, N, 7, "SFP+ 10G ACU7M"},
    {696, 0, 0x80000, 0, N, 10, "SFP+ 10G ACU10M"}, {754, 0, 0x80000, 0, N, 1, "4x10G AOC1M"},
    {755, 0, 0x80000, 0, N, 2, "4x10G AOC2M"},      {756, 0, 0x80000, 0, N, 3, "4x10G AOC3M"},
    {757, 0, 0x80000, 0, N, 5, "4x10G AOC5M"},      {758, 0, 0x80000, 0, N, 7, "4x10G AOC7M"},
    {759, 0, 0x80000, 0, N, 10, "4x10G AOC10M"},    {760, 0, 0x80000, 0, N, 7, "4x10G AC7M"},
    {761, 0, 0x80000, 0, N, 10, "4x10G AC10M"},     {762, 0, 0x40000, 0x80, N, 1, "4x10G CU1M"},
    {763, 0, 0x40000, 0x81, N, 3, "4x10G CU3M"},    {764, 0, 0x40000, 0x82, N, 5, "4x10G CU5M"},
};

constexpr XcvrRow kTunableRows[] = {
    {765, 0, 0, 0, N, 0, "SFP+ 10G DWDM Tunable"},
    {766, 0, 0, 0, N, 0, "SFP+ 10G COPPER"},
};

constexpr XcvrRow k10gSpecialRows[] = {
    {697, 0, 0, 0x84, N, 0, "SFP+ 10G CX1-15"},    {698, 0, 0, 0x85, N, 0, "SFP+ 10G LBX1"},
    {699, 0, 0, 0x86, N, 0, "SFP+ 10G USR"},       {700, 0, 0, 0x87, N, 0, "SFP+ 10G LRM-SM"},
    {701, 0, 0, 0x88, N, 0, "SFP+ 10G ELPBK"},     {702, 0, 0, 0x89, N, 0, "SFP+ 10G ELPBK-CR"},
    {703, 0, 0, 0x8a, N, 0, "SFP+ 10G ELPBK-BER"},
};

// Fibre Channel by speed bit of the low word, then SONET.
constexpr XcvrRow kFcSonetRows[] = {
    {768, 0x01, 0, 0, N, 0, "SFP FC GE SW"},       {769, 0x01, 0, 0, N, 0, "SFP FC GE LW"},
    {770, 0x04, 0, 0, N, 0, "SFP FC 2G SW"},       {771, 0x04, 0, 0, N, 0, "SFP FC 2G LW"},
    {772, 0x10, 0, 0, N, 0, "SFP FC 4G SW"},       {773, 0x10, 0, 0, N, 0, "SFP FC 4G LW"},
    {774, 0x40, 0, 0, N, 0, "SFP FC 8G SW"},       {775, 0x40, 0, 0, N, 0, "SFP FC 8G LW"},
    {776, 0x20, 0, 0, N, 0, "SFP FC 16G SW"},      {777, 0x20, 0, 0, N, 0, "SFP FC 16G LW"},
    {778, 0x08, 0, 0, N, 0, "SFP FC 32G SW"},      {779, 0x08, 0, 0, N, 0, "SFP FC 32G LW"},
    {780, 0x10000, 0, 0, N, 0, "SFP 10G OC48 SR"}, {781, 0x20000, 0, 0, N, 0, "SFP 10G OC48 IR1"},
    {782, 0x40000, 0, 0, N, 0, "SFP 10G OC48 LR"}, {783, 0x200000, 0, 0, N, 0, "SFP 10G OC192 SR"},
};

// 25G and 50G: the length column is ext code << 8 | cable metres (0xff any).
// 789 to 793 have a second row for modules with vendor code 0xe0.
constexpr XcvrRow k25g50gRows[] = {
    {784, 0, 0, 0, N, 0x2ff, "SFP28 25G SR"},
    {786, 0, 0, 0, N, 0x3ff, "SFP28 25G LR for SMF"},
    {787, 0, 0, 0, N, 0x4ff, "SFP28 25G ER"},
    {788, 0, 0, 0, N, 0x2ff, "SFP28 25G CSR for MMF"},
    {789, 0, 0x40000, 0x80, N, 0xd01, "SFP28 25G CU1M"},
    {789, 0, 0x40000, 0xe0, N, 0xd01, "SFP28 25G CU1M"},
    {790, 0, 0x40000, 0, N, 0xd02, "SFP28 25G CU2M"},
    {790, 0, 0x40000, 0xe0, N, 0xd02, "SFP28 25G CU2M"},
    {791, 0, 0x40000, 0, N, 0xc03, "SFP28 25G CU3M"},
    {791, 0, 0x40000, 0xe0, N, 0xc03, "SFP28 25G CU3M"},
    {792, 0, 0x40000, 0, N, 0xa04, "SFP28 25G CU4M"},
    {792, 0, 0x40000, 0xe0, N, 0xa04, "SFP28 25G CU4M"},
    {793, 0, 0x40000, 0, N, 0xb05, "SFP28 25G CU5M"},
    {793, 0, 0x40000, 0xe0, N, 0xb05, "SFP28 25G CU5M"},
    {794, 0, 0x40000, 0, N, 0xd01, "SFP28 25G CU1.5M"},
    {795, 0, 0x40000, 0, N, 0xc02, "SFP28 25G CU2.5M"},
    {796, 0, 0x80000, 0, N, 0x101, "SFP28 25G AOC1M"},
    {797, 0, 0x80000, 0, N, 0x102, "SFP28 25G AOC2M"},
    {798, 0, 0x80000, 0, N, 0x103, "SFP28 25G AOC3M"},
    {799, 0, 0x80000, 0, N, 0x104, "SFP28 25G AOC4M"},
    {800, 0, 0x80000, 0, N, 0x105, "SFP28 25G AOC5M"},
    {801, 0, 0x80000, 0, N, 0x107, "SFP28 25G AOC7M"},
    {802, 0, 0x80000, 0, N, 0x10a, "SFP28 25G AOC10M"},
    {807, 0, 0, 0, N, 0x3ff, catalogue_name::kDual25g10gLr},
    {806, 0, 0, 0, N, 0x2ff, catalogue_name::kDual25g10gSr},
    {805, 0, 0, 0, N, 0x2ff, catalogue_name::kDual25g10gCsr},
    {808, 0, 0, 0xf3, N, 0, catalogue_name::kDual25g10gBxu},
    {809, 0, 0, 0xf2, N, 0, catalogue_name::kDual25g10gBxd},
    {810, 0, 0x40000, 0xffff, N, 0, "SFP 25G PASSIVE LOOPBACK"},
    {785, 0, 0, 0, N, 0xff, catalogue_name::kDual50g25gSr},
    {811, 0, 0, 0, N, 0x41ff, catalogue_name::kDual50g25gSr},
    {812, 0, 0x40000, 0, N, 0x4001, "SFP 50G CU1M"},
    {814, 0, 0x40000, 0, N, 0x4002, "SFP 50G CU2M"},
    {816, 0, 0x40000, 0, N, 0x4003, "SFP 50G CU3M"},
    {817, 0, 0x40000, 0, N, 0x4004, "SFP 50G CU4M"},
    {818, 0, 0x40000, 0, N, 0x4005, "SFP 50G CU5M"},
    {819, 0x11000000, 0x40000, 0, N, 0, "SFP 50G PASSIVE LOOPBACK"},
    {820, 0, 0, 0, N, 0x45ff, catalogue_name::kDual50g25gLr},
};

// 1G optics identified by their vendor code alone.
constexpr XcvrRow kVendorCoded1gRows[] = {
    {852, 0, 0, 0xd7, N, 0, "SFP 1G 1000BASE-LH"},
    {853, 0, 0, 0xd6, N, 0, "SFP 1G 1000BASE-SX"},
};

// --- generated names --------------------------------------------------------

// A name composed at compile time; the generated names are short.
struct NameText {
  std::array<char, 32> text{};
  std::size_t length = 0;

  constexpr NameText &operator<<(const char *piece) {
    for (std::size_t i = 0; piece[i] != '\0'; ++i) {
      text.at(length++) = piece[i];
    }
    return *this;
  }
  // Decimal digits of `value`, at least `min_digits` of them.
  constexpr NameText &digits(uint64_t value, std::size_t min_digits = 1) {
    std::array<char, 20> reversed{};
    std::size_t n = 0;
    do {
      reversed.at(n++) = static_cast<char>('0' + value % 10);
      value /= 10;
    } while (value != 0 || n < min_digits);
    while (n > 0) {
      text.at(length++) = reversed.at(--n);
    }
    return *this;
  }
  constexpr const char *c_str() const { return text.data(); }
};

constexpr bool same_text(const char *a, const char *b) {
  std::size_t i = 0;
  for (; a[i] != '\0' && a[i] == b[i]; ++i) {
  }
  return a[i] == b[i];
}

// Wavelength in hundredths of a nanometre of a frequency in GHz, rounded to
// the nearest (c = 299792458 m/s, so nm = 299792458 / GHz).
constexpr uint64_t hundredths_nm_of_ghz(uint64_t ghz) {
  constexpr uint64_t kLightSpeedHundredths = 29979245800;
  return (2 * kLightSpeedHundredths + ghz) / (2 * ghz);
}

// prefix + "1530.33" + "nm"
constexpr NameText wavelength_name(const char *prefix, uint64_t hundredths) {
  NameText name;
  name << prefix;
  name.digits(hundredths / 100) << ".";
  name.digits(hundredths % 100, 2) << "nm";
  return name;
}

// --- CWDM families: 8 wavelengths from 1470 nm, 20 nm apart -----------------

constexpr std::size_t kCwdmCount = 8;
constexpr uint32_t kCwdmFirstNm = 1470;
constexpr uint32_t kCwdmStepNm = 20;

constexpr std::array<NameText, kCwdmCount> cwdm_names(const char *prefix) {
  std::array<NameText, kCwdmCount> names{};
  for (std::size_t i = 0; i < kCwdmCount; ++i) {
    names.at(i) << prefix;
    names.at(i).digits(kCwdmFirstNm + kCwdmStepNm * i) << "nm";
  }
  return names;
}

// Type and vendor code run up with the wavelength.
constexpr std::array<XcvrRow, kCwdmCount> cwdm_rows(sfp_xcvr_type first_type, uint32_t attr_high,
                                                    uint16_t first_ext_id,
                                                    const std::array<NameText, kCwdmCount> &names) {
  std::array<XcvrRow, kCwdmCount> rows{};
  for (std::size_t i = 0; i < kCwdmCount; ++i) {
    rows.at(i) = {static_cast<sfp_xcvr_type>(first_type + i),
                  0,
                  attr_high,
                  static_cast<uint16_t>(first_ext_id + i),
                  N,
                  0,
                  names.at(i).c_str()};
  }
  return rows;
}

constexpr auto kCwdm1gNames = cwdm_names("SFP 1G CWDM ");
constexpr auto kCwdm10gNames = cwdm_names("SFP+ 10G CWDM ");
constexpr auto kCwdmFc2gNames = cwdm_names("SFP 2G CWDM FC ");
constexpr auto kCwdmFc4gNames = cwdm_names("SFP 4G CWDM FC ");
constexpr auto kCwdmFc8gNames = cwdm_names("SFP 8G CWDM FC ");

constexpr auto kCwdm1gRows = cwdm_rows(541, 0x82000105, 1, kCwdm1gNames);
constexpr auto kCwdm10gRows = cwdm_rows(604, 0, 0xcc, kCwdm10gNames);
constexpr auto kCwdmFc2gRows = cwdm_rows(824, 0x80100105, 0x97, kCwdmFc2gNames);
constexpr auto kCwdmFc4gRows = cwdm_rows(832, 0x80100115, 0x97, kCwdmFc4gNames);
constexpr auto kCwdmFc8gRows = cwdm_rows(840, 0x80100154, 0x97, kCwdmFc8gNames);

static_assert(same_text(kCwdm1gNames.front().c_str(), "SFP 1G CWDM 1470nm"));
static_assert(same_text(kCwdmFc8gNames.back().c_str(), "SFP 8G CWDM FC 1610nm"));

// --- DWDM on the 100 GHz grid: ITU channel c = 59 down to 20 ----------------
// Type and 10G vendor code run down with the channel; the 1G vendor codes
// have no rule. Frequency 190 THz + c x 100 GHz.

constexpr int32_t kItuFirst = 59;
constexpr std::size_t kDwdm100Count = 40;

constexpr int32_t itu_channel_at(std::size_t i) {
  return kItuFirst - static_cast<int32_t>(i);
}

constexpr std::array<uint16_t, kDwdm100Count> kDwdm1gExtIds = {
    0x28, 0x27, 0x26, 0x25, 0x4a, 0x24, 0x23, 0x22, 0x21, 0x40, // channels 59..50
    0x20, 0x1f, 0x1e, 0x1d, 0x39, 0x1c, 0x1b, 0x1a, 0x19, 0x38, // 49..40
    0x18, 0x17, 0x16, 0x15, 0x37, 0x14, 0x13, 0x12, 0x11, 0x36, // 39..30
    0x10, 0x0f, 0x0e, 0x0d, 0x35, 0x0c, 0x0b, 0x0a, 0x09, 0x34, // 29..20
};

constexpr std::array<uint16_t, kDwdm100Count> dwdm10g_ext_ids() {
  std::array<uint16_t, kDwdm100Count> ids{};
  for (std::size_t i = 0; i < kDwdm100Count; ++i) {
    ids.at(i) = static_cast<uint16_t>(0xc7 - i);
  }
  return ids;
}

// Names whose wavelength is not the rounded grid wavelength: these products
// were named with the last digit cut instead of rounded.
struct NamedWavelength {
  int32_t itu_chan;
  uint64_t hundredths;
};
constexpr NamedWavelength kDwdm1gNameExceptions[] = {
    {55, 153346}, {50, 153739}, {45, 154134}, {35, 154931}, {30, 155332}, {20, 156141},
};
constexpr NamedWavelength kDwdm10gNameExceptions[] = {
    {20, 156141},
};

template <std::size_t E>
constexpr std::array<NameText, kDwdm100Count>
dwdm100_names(const char *prefix, const NamedWavelength (&exceptions)[E]) {
  std::array<NameText, kDwdm100Count> names{};
  for (std::size_t i = 0; i < kDwdm100Count; ++i) {
    const int32_t chan = itu_channel_at(i);
    uint64_t hundredths = hundredths_nm_of_ghz(190000 + 100 * static_cast<uint64_t>(chan));
    for (const NamedWavelength &e : exceptions) {
      hundredths = e.itu_chan == chan ? e.hundredths : hundredths;
    }
    names.at(i) = wavelength_name(prefix, hundredths);
  }
  return names;
}

constexpr std::array<XcvrRow, kDwdm100Count>
dwdm100_rows(sfp_xcvr_type first_type, const std::array<uint16_t, kDwdm100Count> &ext_ids,
             const std::array<NameText, kDwdm100Count> &names) {
  std::array<XcvrRow, kDwdm100Count> rows{};
  for (std::size_t i = 0; i < kDwdm100Count; ++i) {
    rows.at(i) = {static_cast<sfp_xcvr_type>(first_type + i),
                  0,
                  0,
                  ext_ids.at(i),
                  itu_channel_at(i),
                  0,
                  names.at(i).c_str()};
  }
  return rows;
}

constexpr auto kDwdm1gNames = dwdm100_names("SFP 1G DWDM ", kDwdm1gNameExceptions);
constexpr auto kDwdm10gNames = dwdm100_names("SFP+ 10G DWDM ", kDwdm10gNameExceptions);
constexpr auto kDwdm10gExtIds = dwdm10g_ext_ids();
constexpr auto kDwdm1gRows = dwdm100_rows(549, kDwdm1gExtIds, kDwdm1gNames);
constexpr auto kDwdm10gRows = dwdm100_rows(704, kDwdm10gExtIds, kDwdm10gNames);

static_assert(same_text(kDwdm1gNames.at(4).c_str(), "SFP 1G DWDM 1533.46nm"));
static_assert(same_text(kDwdm10gNames.at(4).c_str(), "SFP+ 10G DWDM 1533.47nm"));
static_assert(kDwdm10gExtIds.back() == 0xa0);

// --- DWDM on the 50 GHz grid: index m = 92 down to 13 -----------------------
// Frequency 191.3 THz + m x 50 GHz; the module's vendor code is byte 96 =
// 0xff with m in byte 97.

constexpr int32_t kDwdm50FirstIndex = 92;
constexpr std::size_t kDwdm50Count = 80;

constexpr int32_t dwdm50_index_at(std::size_t i) {
  return kDwdm50FirstIndex - static_cast<int32_t>(i);
}

constexpr std::array<NameText, kDwdm50Count> dwdm50_names() {
  std::array<NameText, kDwdm50Count> names{};
  for (std::size_t i = 0; i < kDwdm50Count; ++i) {
    const auto m = static_cast<uint64_t>(dwdm50_index_at(i));
    names.at(i) = wavelength_name("SFP+ 10G DWDM ", hundredths_nm_of_ghz(191300 + 50 * m));
  }
  return names;
}

constexpr std::array<XcvrRow, kDwdm50Count>
dwdm50_rows(const std::array<NameText, kDwdm50Count> &names) {
  std::array<XcvrRow, kDwdm50Count> rows{};
  for (std::size_t i = 0; i < kDwdm50Count; ++i) {
    const int32_t m = dwdm50_index_at(i);
    rows.at(i) = {static_cast<sfp_xcvr_type>(612 + i),
                  0,
                  0,
                  static_cast<uint16_t>((m << 8) | 0xff),
                  m,
                  0,
                  names.at(i).c_str()};
  }
  return rows;
}

constexpr auto kDwdm50Names = dwdm50_names();
constexpr auto kDwdm50Rows = dwdm50_rows(kDwdm50Names);

static_assert(same_text(kDwdm50Names.at(0).c_str(), "SFP+ 10G DWDM 1530.33nm"));
static_assert(same_text(kDwdm50Names.at(1).c_str(), "SFP+ 10G DWDM 1530.72nm"));
static_assert(same_text(kDwdm50Names.back().c_str(), "SFP+ 10G DWDM 1561.83nm"));

// --- the table in slot order ------------------------------------------------

struct SlotBuilder {
  std::array<XcvrRow, kTypeSlots> slots{};
  std::size_t used = 0;

  constexpr SlotBuilder &operator<<(std::span<const XcvrRow> rows) {
    for (const XcvrRow &row : rows) {
      slots.at(used++) = row;
    }
    return *this;
  }
};

constexpr SlotBuilder build_slots() {
  SlotBuilder b;
  b << kUnknownRows << kSupervisoryRows << k100MRows << k1gEthernetRows << kSmartRows
    << k1gBxUpperRows << kCwdm1gRows << kDwdm1gRows << k10gRows << kCwdm10gRows << kDwdm50Rows
    << k10gCableRows << kDwdm10gRows << kTunableRows << k10gSpecialRows << kFcSonetRows
    << kCwdmFc2gRows << kCwdmFc4gRows << kCwdmFc8gRows << k25g50gRows << kVendorCoded1gRows;
  return b;
}

constexpr SlotBuilder kBuilt = build_slots();
constexpr std::array<XcvrRow, kTypeSlots> kSlots = kBuilt.slots;

static_assert(kSlots.size() == 854, "the table has 854 slots");
static_assert(kBuilt.used == kTypeRows, "328 rows come before the empty slots");

// A row is named; its name is tested by its first character, not against
// null: the address of a name defined in a header (an inline variable) is
// no constant that GCC compares with null when it instruments the code.
constexpr bool is_row(const XcvrRow &r) {
  return r.xcvr_type >= kFirstTableType && r.xcvr_type <= kLastTableType && r.name[0] != '\0';
}

constexpr bool is_empty(const XcvrRow &r) {
  return r.xcvr_type == 0 && r.attr_low == 0 && r.attr_high == 0 && r.ext_id == 0 &&
         r.itu_chan == 0 && r.ext_code_length == 0 && r.name == nullptr;
}

constexpr bool rows_then_empty_slots() {
  for (std::size_t slot = 0; slot < kTypeSlots; ++slot) {
    const XcvrRow &r = kSlots.at(slot);
    if (slot < kTypeRows ? !is_row(r) : !is_empty(r)) {
      return false;
    }
  }
  return true;
}
static_assert(rows_then_empty_slots());

// --- index from type to first slot --------------------------------------------

constexpr int16_t kNoSlot = -1;
constexpr std::size_t kIndexSize = kLastTableType - kFirstTableType + 1;

constexpr std::array<int16_t, kIndexSize> build_first_slot_index() {
  std::array<int16_t, kIndexSize> index{};
  index.fill(kNoSlot);
  // Backwards, so that the first slot of a type is the one left.
  for (std::size_t slot = kTypeRows; slot-- > 0;) {
    index.at(kSlots.at(slot).xcvr_type - kFirstTableType) = static_cast<int16_t>(slot);
  }
  return index;
}

constexpr auto kFirstSlot = build_first_slot_index();

constexpr int slot_at(sfp_xcvr_type type) {
  return kFirstSlot.at(type - kFirstTableType);
}

// `next` has the slot right after `type`'s.
constexpr bool follows(sfp_xcvr_type type, sfp_xcvr_type next) {
  return slot_at(next) == slot_at(type) + 1;
}

// Types first..last sit in consecutive slots, in type order.
constexpr bool consecutive(sfp_xcvr_type first, sfp_xcvr_type last) {
  for (sfp_xcvr_type t = first; t <= last; ++t) {
    if (slot_at(t) != slot_at(first) + static_cast<int>(t - first)) {
      return false;
    }
  }
  return true;
}

// Family boundaries of the slot order.
static_assert(slot_at(512) == 0 && slot_at(589) == 1 && follows(590, 513));
static_assert(follows(516, 534) && follows(534, 521) && follows(532, 535));
static_assert(kSlots.at(slot_at(540) + 1).xcvr_type == 521, "second 521 row after the smart SFPs");
static_assert(slot_at(541) == slot_at(540) + 2);
static_assert(consecutive(541, 548) && follows(548, 549) && consecutive(549, 588));
static_assert(follows(588, 594) && follows(595, 600) && consecutive(600, 611));
static_assert(follows(611, 612) && consecutive(612, 691) && slot_at(691) - slot_at(612) == 79);
static_assert(follows(691, 692) && follows(764, 704) && consecutive(704, 743));
static_assert(follows(743, 765) && follows(765, 766) && follows(766, 697) && consecutive(697, 703));
static_assert(follows(703, 768) && consecutive(768, 783) && follows(783, 824));
static_assert(consecutive(824, 847) && follows(847, 784));
static_assert(slot_at(790) == slot_at(789) + 2 && slot_at(794) == slot_at(793) + 2);
static_assert(follows(802, 807) && follows(811, 812) && follows(820, 852));
static_assert(slot_at(853) == kTypeRows - 1);

// --- the types supported by default -----------------------------------------

struct TypeRange {
  sfp_xcvr_type first;
  sfp_xcvr_type last;
};

// Types of the table that stay unsupported until the platform says so.
constexpr TypeRange kNotSupportedByDefault[] = {
    {512, 512}, // Unknown
    {697, 703}, // 10G CX1-15, LBX1, USR, LRM-SM and the loopback modules
    {805, 807}, // dual-rate 10/25G CSR, SR and LR base types
};
constexpr sfp_xcvr_type kSupportedWithoutRow = 767;

constexpr bool supported_by_default(sfp_xcvr_type type) {
  if (type == kSupportedWithoutRow) {
    return true;
  }
  for (const TypeRange &r : kNotSupportedByDefault) {
    if (type >= r.first && type <= r.last) {
      return false;
    }
  }
  return slot_at(type) != kNoSlot;
}

constexpr std::size_t count_supported_by_default() {
  std::size_t n = 0;
  for (sfp_xcvr_type t = kFirstTableType; t <= kLastTableType; ++t) {
    n += supported_by_default(t) ? 1 : 0;
  }
  return n;
}
static_assert(count_supported_by_default() == kDefaultSupportedCount);

constexpr std::array<sfp_xcvr_type, kDefaultSupportedCount> build_default_supported() {
  std::array<sfp_xcvr_type, kDefaultSupportedCount> types{};
  std::size_t n = 0;
  for (sfp_xcvr_type t = kFirstTableType; t <= kLastTableType; ++t) {
    if (supported_by_default(t)) {
      types.at(n++) = t;
    }
  }
  return types;
}

constexpr auto kDefaultSupported = build_default_supported();
static_assert(kDefaultSupported.front() == 513 && kDefaultSupported.back() == 853);

// The run-time flags, one per slot; set by the library initialisation and
// the exported setter, read by the supported check.
std::array<std::atomic<uint32_t>, kTypeSlots> g_supported{};

} // namespace

std::span<const XcvrRow, kTypeSlots> type_slots() {
  return kSlots;
}

std::optional<std::size_t> first_slot_of(sfp_xcvr_type type) {
  if (type == SFP_XCVR_TYPE_NONE) {
    return kTypeRows; // the first empty slot
  }
  if (type < kFirstTableType || type > kLastTableType) {
    return std::nullopt;
  }
  const int slot = slot_at(type);
  if (slot == kNoSlot) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(slot);
}

const XcvrRow *row_of(sfp_xcvr_type type) {
  const std::optional<std::size_t> slot = first_slot_of(type);
  return slot ? &kSlots[*slot] : nullptr;
}

std::span<const sfp_xcvr_type, kDefaultSupportedCount> default_supported_types() {
  return kDefaultSupported;
}

uint32_t slot_supported(std::size_t slot) {
  return g_supported[slot].load(std::memory_order_relaxed);
}

void set_slot_supported(std::size_t slot, uint32_t value) {
  g_supported[slot].store(value, std::memory_order_relaxed);
}

} // namespace sfpdrv
