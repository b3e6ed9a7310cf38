// The built-in part-number lists.
//
// Numbering scheme of our catalogue:
//  - Product ID (PID), at most 18 characters, the text a module carries in
//    its maker area: "PX-" + form + "-" + speed + "-" + variant. Forms: SFP
//    (1G and SFP+), SFP28 (25G), SFP50 (50G), Q4S (QSFP to 4 x SFP breakout).
//    The variant follows the type's display name ("SR", "CU1M", "AOC3M",
//    "BX40D"...). Wavelength families are numbered: "DW<c>" for the ITU
//    channel c of the 100 GHz grid (20..59), "DH<m>" for the index m of the
//    50 GHz grid (13..92), "CW<nm/10>" for the CWDM wavelengths 1470..1610
//    nm. Fibre Channel optics use the speed "FC<rate>".
//    Which types have one: every supported type, one PID each, except the
//    25G cables 794 (1.5 m), 795 (2.5 m) and 802 (10 m AOC), whose PID would
//    be 19 characters and not fit the module's field. Two types that are one
//    product under two identifications share its PID (693/694, 785/811,
//    529/853). The 1G ZX (531) is sold as alt_zx_pid.
//  - Catalogue part number, ten characters: "74-" + the type as four digits
//    + "-" + the two-digit minimum hardware revision the system accepts.
//    The list holds the 10G optics 594..611 (revision 02) and the DWDM
//    optics of the 100 GHz grid at 1G (549..588) and 10G (704..743)
//    (revision 01).
//  - Vendor part numbers (A0h bytes 40..55) are listed only for the
//    1000BASE-T modules (533), whose maker area carries no PID of ours:
//    "PXT-1000-RJ01" to "PXT-1000-RJ03".
// The numbered families are generated below at compile time.
#include "xcvr/catalogue.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace sfpdrv {
namespace {

// A generated part number, terminated, with room for the longest PID.
struct PnText {
  char text[SFP_PID_LEN + 1]{};
};

class TextBuilder {
public:
  constexpr TextBuilder &add(std::string_view piece) {
    for (char c : piece) {
      put(c);
    }
    return *this;
  }
  // `number` in decimal, at least `width` digits with leading zeros.
  constexpr TextBuilder &add_number(uint32_t number, std::size_t width = 1) {
    char digits[10]{};
    std::size_t n = 0;
    do {
      digits[n++] = static_cast<char>('0' + number % 10);
      number /= 10;
    } while (number != 0);
    for (; n < width; ++n) {
      digits[n] = '0';
    }
    while (n > 0) {
      put(digits[--n]);
    }
    return *this;
  }
  constexpr PnText done() const { return text_; }

private:
  constexpr void put(char c) {
    // Overlong text does not compile: the terminator's slot is never written.
    if (length_ >= SFP_PID_LEN) {
      throw "part number longer than the PID field";
    }
    text_.text[length_++] = c;
  }
  PnText text_{};
  std::size_t length_ = 0;
};

// A family of N consecutive types numbered by rule: the i-th type's text is
// `prefix` + (first + i * step).
template <std::size_t N>
constexpr std::array<PnText, N> numbered(std::string_view prefix, uint32_t first, int32_t step) {
  std::array<PnText, N> texts{};
  for (std::size_t i = 0; i < N; ++i) {
    const auto number =
        static_cast<uint32_t>(static_cast<int32_t>(first) + static_cast<int32_t>(i) * step);
    texts[i] = TextBuilder{}.add(prefix).add_number(number).done();
  }
  return texts;
}

// Catalogue part numbers of N consecutive types from `first_type`.
template <std::size_t N>
constexpr std::array<PnText, N> catalogue_numbers(sfp_xcvr_type first_type, uint32_t revision) {
  std::array<PnText, N> texts{};
  for (std::size_t i = 0; i < N; ++i) {
    texts[i] = TextBuilder{}
                   .add("74-")
                   .add_number(first_type + static_cast<uint32_t>(i), 4)
                   .add("-")
                   .add_number(revision, 2)
                   .done();
  }
  return texts;
}

template <std::size_t N>
constexpr std::array<sfp_xcvr_pn_entry, N> entries_of(sfp_xcvr_type first_type,
                                                      const std::array<PnText, N> &texts) {
  std::array<sfp_xcvr_pn_entry, N> entries{};
  for (std::size_t i = 0; i < N; ++i) {
    entries[i] = {first_type + static_cast<uint32_t>(i), texts[i].text};
  }
  return entries;
}

template <std::size_t N, std::size_t... M>
constexpr auto join(const std::array<sfp_xcvr_pn_entry, N> &first,
                    const std::array<sfp_xcvr_pn_entry, M> &...rest) {
  std::array<sfp_xcvr_pn_entry, (N + ... + M)> all{};
  auto out = std::copy(first.begin(), first.end(), all.begin());
  ((out = std::copy(rest.begin(), rest.end(), out)), ...);
  std::sort(all.begin(), all.end(), [](const sfp_xcvr_pn_entry &a, const sfp_xcvr_pn_entry &b) {
    return a.xcvr_type < b.xcvr_type;
  });
  return all;
}

// --- product IDs: the numbered families ---

// 100 GHz grid: the types run from ITU channel 59 down to 20.
constexpr auto kDwdm1gPids = numbered<40>("PX-SFP-1G-DW", 59, -1);   // 549..588
constexpr auto kDwdm10gPids = numbered<40>("PX-SFP-10G-DW", 59, -1); // 704..743
// 50 GHz grid: index 92 down to 13.
constexpr auto kDwdm50gPids = numbered<80>("PX-SFP-10G-DH", 92, -1); // 612..691
// CWDM 1470 to 1610 nm, 20 nm apart.
constexpr auto kCwdm1gPids = numbered<8>("PX-SFP-1G-CW", 147, 2);     // 541..548
constexpr auto kCwdm10gPids = numbered<8>("PX-SFP-10G-CW", 147, 2);   // 604..611
constexpr auto kCwdmFc2gPids = numbered<8>("PX-SFP-FC2G-CW", 147, 2); // 824..831
constexpr auto kCwdmFc4gPids = numbered<8>("PX-SFP-FC4G-CW", 147, 2); // 832..839
constexpr auto kCwdmFc8gPids = numbered<8>("PX-SFP-FC8G-CW", 147, 2); // 840..847

// --- product IDs: the named products ---

// clang-format off
constexpr std::array<sfp_xcvr_pn_entry, 108> kNamedPids{{
    {513, "PX-SFP-100M-FX"},     {515, "PX-SFP-100M-EX"},     {516, "PX-SFP-100M-ZX"},
    {521, "PX-SFP-1G-BX10U"},    {522, "PX-SFP-1G-BX10D"},    {523, "PX-SFP-1G-2BXD"},
    {524, "PX-SFP-1G-BX80D"},    {525, "PX-SFP-1G-BX80U"},    {526, "PX-SFP-1G-BX40D"},
    {527, "PX-SFP-1G-BX40U"},    {528, "PX-SFP-1G-BX40DA"},   {529, "PX-SFP-1G-SX"},
    {530, "PX-SFP-1G-LX"},       {531, alt_zx_pid},           {532, "PX-SFP-1G-EX"},
    {533, "PX-SFP-1G-T"},        {534, "PX-SFP-1G-LXDR"},
    {535, "PX-SFP-T1-SATOP"},    {536, "PX-SFP-E1-SATOP"},    {537, "PX-SFP-T3-SATOP"},
    {538, "PX-SFP-E1-SATOPU"},   {539, "PX-SFP-STM1-CE"},     {540, "PX-SFP-OC3-CE"},
    {589, catalogue_name::kOsc1510},         {590, catalogue_name::kOsc1514},
    {594, "PX-SFP-10G-SR"},      {595, "PX-SFP-10G-CSR"},     {596, "PX-SFP-10G-LR"},
    {597, "PX-SFP-10G-LRM"},     {598, "PX-SFP-10G-ER"},      {599, "PX-SFP-10G-ZR"},
    {600, "PX-SFP-10G-BXD"},     {601, "PX-SFP-10G-BXU"},     {602, "PX-SFP-10G-BX40D"},
    {603, "PX-SFP-10G-BX40U"},
    {692, "PX-SFP-10G-CU1M"},    {693, "PX-SFP-10G-CU3M"},    {694, "PX-SFP-10G-CU3M"},
    {695, "PX-SFP-10G-ACU7M"},   {696, "PX-SFP-10G-ACU10M"},
    {744, "PX-SFP-10G-CU1.5M"},  {745, "PX-SFP-10G-CU2M"},    {746, "PX-SFP-10G-CU2.5M"},
    {747, "PX-SFP-10G-CU5M"},
    {748, "PX-SFP-10G-AOC1M"},   {749, "PX-SFP-10G-AOC2M"},   {750, "PX-SFP-10G-AOC3M"},
    {751, "PX-SFP-10G-AOC5M"},   {752, "PX-SFP-10G-AOC7M"},   {753, "PX-SFP-10G-AOC10M"},
    {754, breakout_pid.aoc1m},   {755, breakout_pid.aoc2m},   {756, breakout_pid.aoc3m},
    {757, breakout_pid.aoc5m},   {758, breakout_pid.aoc7m},   {759, breakout_pid.aoc10m},
    {760, breakout_pid.acu7m},   {761, breakout_pid.acu10m},  {762, breakout_pid.cu1m},
    {763, breakout_pid.cu3m},    {764, breakout_pid.cu5m},
    {765, "PX-SFP-10G-TUN"},     {766, "PX-SFP-10G-T"},
    {768, "PX-SFP-FCGE-SW"},     {769, "PX-SFP-FCGE-LW"},     {770, "PX-SFP-FC2G-SW"},
    {771, "PX-SFP-FC2G-LW"},     {772, "PX-SFP-FC4G-SW"},     {773, "PX-SFP-FC4G-LW"},
    {774, "PX-SFP-FC8G-SW"},     {775, "PX-SFP-FC8G-LW"},     {776, "PX-SFP-FC16G-SW"},
    {777, "PX-SFP-FC16G-LW"},    {778, "PX-SFP-FC32G-SW"},    {779, "PX-SFP-FC32G-LW"},
    {780, "PX-SFP-OC48-SR"},     {781, "PX-SFP-OC48-IR1"},    {782, "PX-SFP-OC48-LR"},
    {783, "PX-SFP-OC192-SR"},
    {784, "PX-SFP28-25G-SR"},    {785, catalogue_name::kDual50g25gSr}, {786, "PX-SFP28-25G-LR"},
    {787, "PX-SFP28-25G-ER"},    {788, "PX-SFP28-25G-CSR"},
    {789, "PX-SFP28-25G-CU1M"},  {790, "PX-SFP28-25G-CU2M"},  {791, "PX-SFP28-25G-CU3M"},
    {792, "PX-SFP28-25G-CU4M"},  {793, "PX-SFP28-25G-CU5M"},
    {796, "PX-SFP28-25G-AOC1M"}, {797, "PX-SFP28-25G-AOC2M"}, {798, "PX-SFP28-25G-AOC3M"},
    {799, "PX-SFP28-25G-AOC4M"}, {800, "PX-SFP28-25G-AOC5M"}, {801, "PX-SFP28-25G-AOC7M"},
    {808, catalogue_name::kDual25g10gBxu}, {809, catalogue_name::kDual25g10gBxd},
    {810, "PX-SFP28-25G-LPBK"},  {811, catalogue_name::kDual50g25gSr},
    {812, "PX-SFP50-50G-CU1M"},  {814, "PX-SFP50-50G-CU2M"},  {816, "PX-SFP50-50G-CU3M"},
    {817, "PX-SFP50-50G-CU4M"},  {818, "PX-SFP50-50G-CU5M"},  {819, "PX-SFP50-50G-LPBK"},
    {820, catalogue_name::kDual50g25gLr},
    {852, "PX-SFP-1G-LH"},       {853, "PX-SFP-1G-SX"},
}};
// clang-format on

// --- catalogue part numbers ---

constexpr auto kDwdm1gNumbers = catalogue_numbers<40>(549, 1);
constexpr auto kTenGigNumbers = catalogue_numbers<18>(594, 2);
constexpr auto kDwdm10gNumbers = catalogue_numbers<40>(704, 1);

// --- checks of the data ---

constexpr std::size_t length(const char *text) {
  return std::string_view{text}.size();
}

constexpr bool ascending_types(std::span<const sfp_xcvr_pn_entry> entries) {
  for (std::size_t i = 1; i < entries.size(); ++i) {
    if (entries[i - 1].xcvr_type >= entries[i].xcvr_type) {
      return false;
    }
  }
  return true;
}

// The types that are not supported on this system (besides those without a
// row), which therefore have no part number.
constexpr bool unsupported(sfp_xcvr_type type) {
  return type == SFP_XCVR_TYPE_UNKNOWN || (type >= 697 && type <= 703) ||
         (type >= 805 && type <= 807);
}

constexpr bool valid_pids(std::span<const sfp_xcvr_pn_entry> entries) {
  return std::all_of(entries.begin(), entries.end(), [](const sfp_xcvr_pn_entry &e) {
    return std::string_view{e.pn}.starts_with("PX-") && length(e.pn) <= SFP_PID_LEN &&
           !unsupported(e.xcvr_type);
  });
}

constexpr bool digits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

constexpr uint32_t decimal(std::string_view text) {
  uint32_t value = 0;
  for (char c : text) {
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  return value;
}

// "74-" + the type as four digits + "-" + two-digit revision.
constexpr bool valid_catalogue_numbers(std::span<const sfp_xcvr_pn_entry> entries) {
  return std::all_of(entries.begin(), entries.end(), [](const sfp_xcvr_pn_entry &e) {
    const std::string_view pn{e.pn};
    return pn.size() == 10 && pn.starts_with("74-") && digits(pn.substr(3, 4)) && pn[7] == '-' &&
           digits(pn.substr(8, 2)) && decimal(pn.substr(3, 4)) == e.xcvr_type;
  });
}

} // namespace

constexpr std::array<sfp_xcvr_pn_entry, kPidEntryCount> kPidEntries = join(
    kNamedPids, entries_of(541, kCwdm1gPids), entries_of(549, kDwdm1gPids),
    entries_of(604, kCwdm10gPids), entries_of(612, kDwdm50gPids), entries_of(704, kDwdm10gPids),
    entries_of(824, kCwdmFc2gPids), entries_of(832, kCwdmFc4gPids), entries_of(840, kCwdmFc8gPids));

constexpr std::array<sfp_xcvr_pn_entry, kCataloguePnEntryCount> kCataloguePnEntries =
    join(entries_of(549, kDwdm1gNumbers), entries_of(594, kTenGigNumbers),
         entries_of(704, kDwdm10gNumbers));

constexpr std::array<sfp_xcvr_pn_entry, kVendorPnEntryCount> kVendorPnEntries{{
    {533, "PXT-1000-RJ01"},
    {533, "PXT-1000-RJ02"},
    {533, "PXT-1000-RJ03"},
}};

static_assert(ascending_types(kPidEntries), "one product ID per type, in type order");
static_assert(valid_pids(kPidEntries), "product IDs follow the scheme and fit the field");
static_assert(ascending_types(kCataloguePnEntries));
static_assert(valid_catalogue_numbers(kCataloguePnEntries));
static_assert(std::all_of(kVendorPnEntries.begin(), kVendorPnEntries.end(),
                          [](const sfp_xcvr_pn_entry &e) { return e.xcvr_type == 533; }));

} // namespace sfpdrv
