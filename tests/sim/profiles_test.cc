// The ready-made profiles: check bytes, identity, diagnostics and tables.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "sfpsim/module.h"

namespace {

using sfpsim::Memory;

// A plain bit-by-bit CRC-32 (reflected 0xEDB88320, all-ones start and end).
uint32_t reference_crc(const uint8_t *data, std::size_t size) {
  uint32_t crc = ~0u;
  for (std::size_t i = 0; i < size; ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      const bool carry = ((crc ^ (data[i] >> bit)) & 1u) != 0;
      crc = (crc >> 1) ^ (carry ? 0xEDB88320u : 0u);
    }
  }
  return ~crc;
}

unsigned sum_mod256(const uint8_t *data, std::size_t first, std::size_t last) {
  unsigned sum = 0;
  for (std::size_t i = first; i < last; ++i) {
    sum += data[i];
  }
  return sum % 256;
}

void expect_valid_check_bytes(const Memory &m) {
  EXPECT_EQ(m.a0[63], sum_mod256(m.a0.data(), 0, 63));
  EXPECT_EQ(m.a0[95], sum_mod256(m.a0.data(), 64, 95));
  const uint32_t crc = reference_crc(m.a0.data() + 96, 28);
  EXPECT_EQ(m.a0[124], crc & 0xff);
  EXPECT_EQ(m.a0[125], (crc >> 8) & 0xff);
  EXPECT_EQ(m.a0[126], (crc >> 16) & 0xff);
  EXPECT_EQ(m.a0[127], crc >> 24);
}

std::string text(const uint8_t *at, std::size_t size) {
  return std::string(reinterpret_cast<const char *>(at), size);
}

unsigned u16(const uint8_t *at) {
  return at[0] * 256u + at[1];
}

TEST(SimProfiles, CrcMatchesTheCommonCheckValue) {
  const std::string digits = "123456789";
  const auto *data = reinterpret_cast<const uint8_t *>(digits.data());
  EXPECT_EQ(reference_crc(data, digits.size()), 0xCBF43926u);
  EXPECT_EQ(sfpsim::crc32({data, digits.size()}), 0xCBF43926u);
}

TEST(SimProfiles, ProgrammedProfilesCarryTheHouseIdentityAndValidCheckBytes) {
  std::set<std::string> names;
  for (const auto &p : sfpsim::profiles()) {
    SCOPED_TRACE(p.name);
    EXPECT_TRUE(names.insert(p.name).second);
    EXPECT_FALSE(p.description.empty());
    EXPECT_EQ(sfpsim::find_profile(p.name), &p);
    if (p.name == "blank") {
      EXPECT_EQ(p.memory, Memory{});
      continue;
    }
    const auto &a0 = p.memory.a0;
    expect_valid_check_bytes(p.memory);
    EXPECT_EQ(a0[0], 0x03);
    EXPECT_EQ(a0[1], 0x04);
    EXPECT_EQ(text(&a0[20], 16), "SIMLAB OPTICS   ");
    EXPECT_EQ((std::array<uint8_t, 3>{a0[37], a0[38], a0[39]}),
              (std::array<uint8_t, 3>{0x02, 0x5A, 0x11}));
    EXPECT_EQ(text(&a0[40], 3), "SL-");
    EXPECT_EQ(text(&a0[68], 3), "SIM");
    EXPECT_EQ(text(&p.memory.tables[0][0], 6), "SIMLAB"); // maker area
    if ((a0[92] & 0x40) != 0) {
      EXPECT_EQ(p.memory.a2_lower[95], sum_mod256(p.memory.a2_lower.data(), 0, 95));
    }
  }
  EXPECT_EQ(sfpsim::find_profile("no-such-module"), nullptr);
  EXPECT_GE(names.size(), 6u);
}

struct Expected {
  const char *name;
  std::vector<std::pair<std::size_t, uint8_t>> a0;
  bool dom;
};

TEST(SimProfiles, EachProfileHasItsIdentifyingBytes) {
  const std::vector<Expected> table = {
      {"1000base-sx", {{2, 0x07}, {6, 0x01}, {11, 0x01}, {12, 0x0D}, {60, 0x03}, {61, 0x52}}, true},
      {"10gbase-sr", {{3, 0x10}, {11, 0x06}, {12, 0x67}, {60, 0x03}, {61, 0x52}}, true},
      {"10g-dac-1m", {{2, 0x21}, {8, 0x04}, {18, 1}, {60, 0x01}, {61, 0x00}, {92, 0}}, false},
      {"25gbase-sr", {{12, 0xFF}, {66, 103}, {36, 0x02}, {60, 0x03}, {61, 0x52}}, true},
      {"10g-tunable-dwdm", {{2, 0x07}, {12, 0x67}}, true},
  };
  for (const auto &e : table) {
    SCOPED_TRACE(e.name);
    const auto *p = sfpsim::find_profile(e.name);
    ASSERT_NE(p, nullptr);
    for (const auto &[offset, value] : e.a0) {
      EXPECT_EQ(p->memory.a0[offset], value) << "A0h byte " << offset;
    }
    EXPECT_EQ((p->memory.a0[92] & 0x40) != 0, e.dom);
    EXPECT_EQ((p->memory.a0[65] & 0x40) != 0, std::string(e.name) == "10g-tunable-dwdm");
  }
}

// Live values inside the warning limits, limits ordered, for every module
// with diagnostics; the SX module shows the values it was made with.
TEST(SimProfiles, DiagnosticsAreCoherent) {
  for (const auto &p : sfpsim::profiles()) {
    if ((p.memory.a0[92] & 0x40) == 0) {
      continue;
    }
    SCOPED_TRACE(p.name);
    const uint8_t *a2 = p.memory.a2_lower.data();
    for (std::size_t q = 0; q < 5; ++q) { // temperature (signed), Vcc, bias, Tx, Rx
      auto at = [&](std::size_t offset) {
        const unsigned raw = u16(a2 + offset);
        return q == 0 ? static_cast<int16_t>(raw) : static_cast<double>(raw);
      };
      // high alarm > high warning > live > low warning > low alarm
      EXPECT_GT(at(8 * q), at(8 * q + 4)) << "quantity " << q;
      EXPECT_GT(at(8 * q + 4), at(96 + 2 * q)) << "quantity " << q;
      EXPECT_GT(at(96 + 2 * q), at(8 * q + 6)) << "quantity " << q;
      EXPECT_GT(at(8 * q + 6), at(8 * q + 2)) << "quantity " << q;
    }
  }
  const uint8_t *a2 = sfpsim::find_profile("1000base-sx")->memory.a2_lower.data();
  auto dbm = [](unsigned raw) { return 10.0 * std::log10(raw * 0.1e-3 /* mW */); };
  EXPECT_NEAR(static_cast<int16_t>(u16(a2 + 96)) / 256.0, 35.5, 0.01);
  EXPECT_NEAR(u16(a2 + 98) * 100e-6, 3.30, 0.001);
  EXPECT_NEAR(u16(a2 + 100) * 2e-3, 6.0, 0.01);
  EXPECT_NEAR(dbm(u16(a2 + 102)), -2.5, 0.01);
  EXPECT_NEAR(dbm(u16(a2 + 104)), -3.0, 0.01);
}

TEST(SimProfiles, TunableModuleDescribesItsRangeInTable2) {
  const auto &m = sfpsim::find_profile("10g-tunable-dwdm")->memory;
  auto word = [&m](std::size_t a2_offset) { return u16(&m.tables[2][a2_offset - 128]); };
  EXPECT_NEAR(word(132) + word(134) * 1e-4, 191.35, 1e-9); // THz
  EXPECT_NEAR(word(136) + word(138) * 1e-4, 196.10, 1e-9);
  EXPECT_EQ(word(144), 1u);
}

TEST(SimProfiles, FixChecksumsRepairsAnEditedModule) {
  Memory m = sfpsim::find_profile("10gbase-sr")->memory;
  m.a0[0] = 0x0B;
  m.a0[12] = 0x64;
  m.a0[64] = 0x12;
  m.a0[70] ^= 1;
  m.a0[100] ^= 1;
  sfpsim::fix_checksums(m);
  expect_valid_check_bytes(m);
}

} // namespace
