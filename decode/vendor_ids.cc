// The vendor extended-ID table: the vendor-specific code of a module (A0h
// byte 96, or byte 97 over 0xff when byte 96 is 0xff) and the product ID of
// ours that carries it. The identification decode shows the label of a
// module's code.
//
// Rows, in this order:
//  - code 0, a module that is identified by its compliance codes alone;
//  - every code that a row of the type table uses, in the table's slot order,
//    labelled with the product ID of the first type that has it. Types without
//    a product ID of their own (the special-purpose 10G optics 697..703) are
//    labelled by the same scheme: "PX-SFP-10G-" + the variant of their name.
//    The 80 two-byte codes of the 50 GHz DWDM family (byte 97 = the grid
//    index over 0xff) are left out: their module's wavelength names them, and
//    the table has room for 200 codes only;
//  - reserved codes to fill the table: the lowest one-byte codes that no row
//    uses, labelled "PX-SFP-RSV-" + the code in two upper-case hex digits.
#include <algorithm>
#include <array>
#include <string_view>

#include "decode/internal.h"
#include "sfpdrv/xcvr.h"

namespace sfpdrv {
namespace {

// clang-format off
constexpr std::array<VendorExtIdRow, 147> kCatalogueRows{{
    // A module without a vendor code, identified by its compliance codes.
    {0x0000, "PX-SFP-STD"},
    // Optical supervisory channel, 100M and 1G Ethernet, smart SFPs.
    {0x006a, "PX-SFP-OSC1510-160"}, {0x006b, "PX-SFP-OSC1514-160"}, {0x002a, "PX-SFP-100M-FX"},
    {0x0032, "PX-SFP-100M-EX"}, {0x0033, "PX-SFP-100M-ZX"}, {0x005a, "PX-SFP-1G-LXDR"},
    {0x002d, "PX-SFP-1G-BX10U"}, {0x002e, "PX-SFP-1G-BX10D"}, {0x003f, "PX-SFP-1G-2BXD"},
    {0x0050, "PX-SFP-1G-BX40U"}, {0x0051, "PX-SFP-1G-BX40D"}, {0x0052, "PX-SFP-1G-BX80U"},
    {0x0053, "PX-SFP-1G-BX80D"}, {0x0054, "PX-SFP-1G-BX40DA"}, {0x003a, "PX-SFP-1G-EX"},
    {0x0063, "PX-SFP-T1-SATOP"}, {0x0064, "PX-SFP-E1-SATOP"}, {0x0069, "PX-SFP-E1-SATOPU"},
    {0x0066, "PX-SFP-T3-SATOP"}, {0x0068, "PX-SFP-STM1-CE"}, {0x0065, "PX-SFP-OC3-CE"},
    {0x0020, "PX-SFP-1G-BX10U"},
    // 1G CWDM.
    {0x0001, "PX-SFP-1G-CW147"}, {0x0002, "PX-SFP-1G-CW149"}, {0x0003, "PX-SFP-1G-CW151"},
    {0x0004, "PX-SFP-1G-CW153"}, {0x0005, "PX-SFP-1G-CW155"}, {0x0006, "PX-SFP-1G-CW157"},
    {0x0007, "PX-SFP-1G-CW159"}, {0x0008, "PX-SFP-1G-CW161"},
    // 1G DWDM, 100 GHz grid (channel 49 shares its code with the 1G BX-U).
    {0x0028, "PX-SFP-1G-DW59"}, {0x0027, "PX-SFP-1G-DW58"}, {0x0026, "PX-SFP-1G-DW57"},
    {0x0025, "PX-SFP-1G-DW56"}, {0x004a, "PX-SFP-1G-DW55"}, {0x0024, "PX-SFP-1G-DW54"},
    {0x0023, "PX-SFP-1G-DW53"}, {0x0022, "PX-SFP-1G-DW52"}, {0x0021, "PX-SFP-1G-DW51"},
    {0x0040, "PX-SFP-1G-DW50"}, {0x001f, "PX-SFP-1G-DW48"}, {0x001e, "PX-SFP-1G-DW47"},
    {0x001d, "PX-SFP-1G-DW46"}, {0x0039, "PX-SFP-1G-DW45"}, {0x001c, "PX-SFP-1G-DW44"},
    {0x001b, "PX-SFP-1G-DW43"}, {0x001a, "PX-SFP-1G-DW42"}, {0x0019, "PX-SFP-1G-DW41"},
    {0x0038, "PX-SFP-1G-DW40"}, {0x0018, "PX-SFP-1G-DW39"}, {0x0017, "PX-SFP-1G-DW38"},
    {0x0016, "PX-SFP-1G-DW37"}, {0x0015, "PX-SFP-1G-DW36"}, {0x0037, "PX-SFP-1G-DW35"},
    {0x0014, "PX-SFP-1G-DW34"}, {0x0013, "PX-SFP-1G-DW33"}, {0x0012, "PX-SFP-1G-DW32"},
    {0x0011, "PX-SFP-1G-DW31"}, {0x0036, "PX-SFP-1G-DW30"}, {0x0010, "PX-SFP-1G-DW29"},
    {0x000f, "PX-SFP-1G-DW28"}, {0x000e, "PX-SFP-1G-DW27"}, {0x000d, "PX-SFP-1G-DW26"},
    {0x0035, "PX-SFP-1G-DW25"}, {0x000c, "PX-SFP-1G-DW24"}, {0x000b, "PX-SFP-1G-DW23"},
    {0x000a, "PX-SFP-1G-DW22"}, {0x0009, "PX-SFP-1G-DW21"}, {0x0034, "PX-SFP-1G-DW20"},
    // 10G ZR and bidirectional.
    {0x009f, "PX-SFP-10G-ZR"}, {0x00c8, "PX-SFP-10G-BXD"}, {0x00c9, "PX-SFP-10G-BXU"},
    {0x00ca, "PX-SFP-10G-BX40D"}, {0x00cb, "PX-SFP-10G-BX40U"},
    // 10G CWDM.
    {0x00cc, "PX-SFP-10G-CW147"}, {0x00cd, "PX-SFP-10G-CW149"}, {0x00ce, "PX-SFP-10G-CW151"},
    {0x00cf, "PX-SFP-10G-CW153"}, {0x00d0, "PX-SFP-10G-CW155"}, {0x00d1, "PX-SFP-10G-CW157"},
    {0x00d2, "PX-SFP-10G-CW159"}, {0x00d3, "PX-SFP-10G-CW161"},
    // 10G passive copper cables.
    {0x0080, "PX-SFP-10G-CU1M"}, {0x0081, "PX-SFP-10G-CU3M"}, {0x0082, "PX-SFP-10G-CU5M"},
    // 10G DWDM, 100 GHz grid.
    {0x00c7, "PX-SFP-10G-DW59"}, {0x00c6, "PX-SFP-10G-DW58"}, {0x00c5, "PX-SFP-10G-DW57"},
    {0x00c4, "PX-SFP-10G-DW56"}, {0x00c3, "PX-SFP-10G-DW55"}, {0x00c2, "PX-SFP-10G-DW54"},
    {0x00c1, "PX-SFP-10G-DW53"}, {0x00c0, "PX-SFP-10G-DW52"}, {0x00bf, "PX-SFP-10G-DW51"},
    {0x00be, "PX-SFP-10G-DW50"}, {0x00bd, "PX-SFP-10G-DW49"}, {0x00bc, "PX-SFP-10G-DW48"},
    {0x00bb, "PX-SFP-10G-DW47"}, {0x00ba, "PX-SFP-10G-DW46"}, {0x00b9, "PX-SFP-10G-DW45"},
    {0x00b8, "PX-SFP-10G-DW44"}, {0x00b7, "PX-SFP-10G-DW43"}, {0x00b6, "PX-SFP-10G-DW42"},
    {0x00b5, "PX-SFP-10G-DW41"}, {0x00b4, "PX-SFP-10G-DW40"}, {0x00b3, "PX-SFP-10G-DW39"},
    {0x00b2, "PX-SFP-10G-DW38"}, {0x00b1, "PX-SFP-10G-DW37"}, {0x00b0, "PX-SFP-10G-DW36"},
    {0x00af, "PX-SFP-10G-DW35"}, {0x00ae, "PX-SFP-10G-DW34"}, {0x00ad, "PX-SFP-10G-DW33"},
    {0x00ac, "PX-SFP-10G-DW32"}, {0x00ab, "PX-SFP-10G-DW31"}, {0x00aa, "PX-SFP-10G-DW30"},
    {0x00a9, "PX-SFP-10G-DW29"}, {0x00a8, "PX-SFP-10G-DW28"}, {0x00a7, "PX-SFP-10G-DW27"},
    {0x00a6, "PX-SFP-10G-DW26"}, {0x00a5, "PX-SFP-10G-DW25"}, {0x00a4, "PX-SFP-10G-DW24"},
    {0x00a3, "PX-SFP-10G-DW23"}, {0x00a2, "PX-SFP-10G-DW22"}, {0x00a1, "PX-SFP-10G-DW21"},
    {0x00a0, "PX-SFP-10G-DW20"},
    // 10G special-purpose optics and electrical loopbacks.
    {0x0084, "PX-SFP-10G-CX1-15"}, {0x0085, "PX-SFP-10G-LBX1"}, {0x0086, "PX-SFP-10G-USR"},
    {0x0087, "PX-SFP-10G-LRM-SM"}, {0x0088, "PX-SFP-10G-ELB"}, {0x0089, "PX-SFP-10G-ELB-CR"},
    {0x008a, "PX-SFP-10G-ELB-BER"},
    // Fibre Channel CWDM (the 2G, 4G and 8G families share these codes).
    {0x0097, "PX-SFP-FC2G-CW147"}, {0x0098, "PX-SFP-FC2G-CW149"}, {0x0099, "PX-SFP-FC2G-CW151"},
    {0x009a, "PX-SFP-FC2G-CW153"}, {0x009b, "PX-SFP-FC2G-CW155"}, {0x009c, "PX-SFP-FC2G-CW157"},
    {0x009d, "PX-SFP-FC2G-CW159"}, {0x009e, "PX-SFP-FC2G-CW161"},
    // 25G copper cables, dual-rate bidirectional optics, loopback.
    {0x00e0, "PX-SFP28-25G-CU1M"}, {0x00f3, "PX-SFP-25G10G-BXU"}, {0x00f2, "PX-SFP-25G10G-BXD"},
    {0xffff, "PX-SFP28-25G-LPBK"},
    // 1G optics known by their code alone.
    {0x00d7, "PX-SFP-1G-LH"}, {0x00d6, "PX-SFP-1G-SX"},
}};
// clang-format on

constexpr std::size_t kReservedRows = kVendorExtIdRows - kCatalogueRows.size();
constexpr uint16_t kLastOneByteCode = 0xfe; // 0xff announces a two-byte code

constexpr bool in_catalogue(uint16_t code) {
  return std::any_of(kCatalogueRows.begin(), kCatalogueRows.end(),
                     [code](const VendorExtIdRow &row) { return row.code == code; });
}

constexpr std::array<uint16_t, kReservedRows> reserved_codes() {
  std::array<uint16_t, kReservedRows> codes{};
  std::size_t n = 0;
  for (uint16_t code = 1; code <= kLastOneByteCode && n < codes.size(); ++code) {
    if (!in_catalogue(code)) {
      codes.at(n++) = code;
    }
  }
  if (n != codes.size()) {
    throw "not enough free one-byte codes";
  }
  return codes;
}

using ReservedLabel = std::array<char, sizeof "PX-SFP-RSV-00">;

constexpr std::array<ReservedLabel, kReservedRows> reserved_labels() {
  constexpr std::string_view kPrefix = "PX-SFP-RSV-";
  constexpr char kHex[] = "0123456789ABCDEF";
  std::array<ReservedLabel, kReservedRows> labels{};
  const auto codes = reserved_codes();
  for (std::size_t i = 0; i < labels.size(); ++i) {
    std::copy(kPrefix.begin(), kPrefix.end(), labels.at(i).begin());
    labels.at(i).at(kPrefix.size()) = kHex[codes.at(i) >> 4];
    labels.at(i).at(kPrefix.size() + 1) = kHex[codes.at(i) & 0xf];
  }
  return labels;
}

constexpr auto kReservedCodes = reserved_codes();
constexpr auto kReservedLabels = reserved_labels();

constexpr std::array<VendorExtIdRow, kVendorExtIdRows> build_table() {
  std::array<VendorExtIdRow, kVendorExtIdRows> table{};
  auto out = std::copy(kCatalogueRows.begin(), kCatalogueRows.end(), table.begin());
  for (std::size_t i = 0; i < kReservedRows; ++i) {
    *out++ = {kReservedCodes.at(i), kReservedLabels.at(i).data()};
  }
  return table;
}

constexpr bool unique_codes(const std::array<VendorExtIdRow, kVendorExtIdRows> &table) {
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (std::size_t j = i + 1; j < table.size(); ++j) {
      if (table.at(i).code == table.at(j).code) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool labels_follow_scheme(const std::array<VendorExtIdRow, kVendorExtIdRows> &table) {
  return std::all_of(table.begin(), table.end(), [](const VendorExtIdRow &row) {
    const std::string_view label{row.label};
    return label.starts_with("PX-") && label.size() <= SFP_PID_LEN;
  });
}

} // namespace

constexpr std::array<VendorExtIdRow, kVendorExtIdRows> sfp_vendor_ext_id_table = build_table();

static_assert(sfp_vendor_ext_id_table.size() == 200);
static_assert(unique_codes(sfp_vendor_ext_id_table), "one row per code");
static_assert(labels_follow_scheme(sfp_vendor_ext_id_table));
static_assert(sfp_vendor_ext_id_table.front().code == 0);
static_assert(sfp_vendor_ext_id_table.back().code == 0x7a, "reserved codes run up to 0x7a");

const char *vendor_ext_id_label(uint16_t code) {
  const auto *row = std::find_if(sfp_vendor_ext_id_table.begin(), sfp_vendor_ext_id_table.end(),
                                 [code](const VendorExtIdRow &r) { return r.code == code; });
  return row != sfp_vendor_ext_id_table.end() ? row->label : nullptr;
}

} // namespace sfpdrv
