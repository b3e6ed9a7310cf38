// Our own catalogue: the product IDs, catalogue part numbers and vendor part
// numbers of the supported modules, the breakout-cable product IDs that type
// detection compares with, and the display names of the catalogue-named
// types. The numbering scheme is described at the data in catalogue.cc.
#ifndef SFPDRV_XCVR_CATALOGUE_H
#define SFPDRV_XCVR_CATALOGUE_H

#include <array>
#include <cstddef>

#include "sfpdrv/xcvr.h"

namespace sfpdrv {

// Display names of the types known by catalogue name; they are also the
// family names of the multi-rate optics.
namespace catalogue_name {
inline constexpr const char kOsc1510[] = "PX-SFP-OSC1510-160";      // 589
inline constexpr const char kOsc1514[] = "PX-SFP-OSC1514-160";      // 590
inline constexpr const char kDual25g10gCsr[] = "PX-SFP-25G10G-CSR"; // 805
inline constexpr const char kDual25g10gSr[] = "PX-SFP-25G10G-SR";   // 806
inline constexpr const char kDual25g10gLr[] = "PX-SFP-25G10G-LR";   // 807
inline constexpr const char kDual25g10gBxu[] = "PX-SFP-25G10G-BXU"; // 808
inline constexpr const char kDual25g10gBxd[] = "PX-SFP-25G10G-BXD"; // 809
inline constexpr const char kDual50g25gSr[] = "PX-SFP-50G25G-SR";   // 785, 811
inline constexpr const char kDual50g25gLr[] = "PX-SFP-50G25G-LR";   // 820
} // namespace catalogue_name

// Product IDs of the QSFP-to-4xSFP breakout cables. Type detection tells a
// breakout cable from a plain one of the same length by these.
struct BreakoutPids {
  const char *cu1m;   // passive copper, 762
  const char *cu3m;   // 763
  const char *cu5m;   // 764
  const char *aoc1m;  // active optical, 754
  const char *aoc2m;  // 755
  const char *aoc3m;  // 756
  const char *aoc5m;  // 757
  const char *aoc7m;  // 758
  const char *aoc10m; // 759
  const char *acu7m;  // active copper, 760
  const char *acu10m; // 761
};

inline constexpr BreakoutPids breakout_pid{
    .cu1m = "PX-Q4S-10G-CU1M",
    .cu3m = "PX-Q4S-10G-CU3M",
    .cu5m = "PX-Q4S-10G-CU5M",
    .aoc1m = "PX-Q4S-10G-AOC1M",
    .aoc2m = "PX-Q4S-10G-AOC2M",
    .aoc3m = "PX-Q4S-10G-AOC3M",
    .aoc5m = "PX-Q4S-10G-AOC5M",
    .aoc7m = "PX-Q4S-10G-AOC7M",
    .aoc10m = "PX-Q4S-10G-AOC10M",
    .acu7m = "PX-Q4S-10G-ACU7M",
    .acu10m = "PX-Q4S-10G-ACU10M",
};

// The product ID of our 1G ZX module (type 531). The product-ID check of a
// 1000BASE-LX module (530) also accepts it when the list holds it.
inline constexpr const char alt_zx_pid[] = "PX-SFP-1G-ZX-E";

inline constexpr std::size_t kPidEntryCount = 308;
inline constexpr std::size_t kCataloguePnEntryCount = 98;
inline constexpr std::size_t kVendorPnEntryCount = 3;

// The built-in list contents, in ascending type order.
extern const std::array<sfp_xcvr_pn_entry, kPidEntryCount> kPidEntries;
extern const std::array<sfp_xcvr_pn_entry, kCataloguePnEntryCount> kCataloguePnEntries;
extern const std::array<sfp_xcvr_pn_entry, kVendorPnEntryCount> kVendorPnEntries;

} // namespace sfpdrv

#endif // SFPDRV_XCVR_CATALOGUE_H
