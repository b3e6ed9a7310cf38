// The compile-time check that guards every trace point's signature.
#include <gtest/gtest.h>

#include <set>

#include "common/catalog.h"

namespace {

using sfpdrv::detail::format_matches;

TEST(TraceCatalog, SignatureCheckFollowsTheConversions) {
  EXPECT_TRUE(format_matches("no arguments\n", ""));
  EXPECT_TRUE(format_matches("%d %u %x %X %02x %-30s %%", "ddddds"));
  EXPECT_TRUE(format_matches("0x%p %lx %zu", "DDD"));
  EXPECT_FALSE(format_matches("%d", "")) << "missing argument";
  EXPECT_FALSE(format_matches("", "d")) << "extra argument";
  EXPECT_FALSE(format_matches("%s", "d"));
  EXPECT_FALSE(format_matches("%p", "d")) << "pointers are pointer-sized";
  EXPECT_FALSE(format_matches("%f", "d")) << "floating point is not traced";
}

TEST(TraceCatalog, EveryMessageHasItsOwnNumberAndAMatchingSignature) {
  std::set<uint32_t> numbers;
  for (const sfpdrv::TraceMsg &m : sfpdrv::message_catalog()) {
    EXPECT_TRUE(numbers.insert(m.number).second) << m.number;
    EXPECT_TRUE(format_matches(m.format, m.signature)) << m.format;
  }
  EXPECT_GE(numbers.size(), 30u);
}

} // namespace
