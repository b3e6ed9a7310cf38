// The port set behind monitor, metrics and check: modules inserted, swapped,
// removed, refused and failing, each port on its own.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/psleep.h"
#include "sfpsim/module.h"
#include "watch.h"

namespace {

using sfpctl::PortReading;
using sfpctl::PortSet;
using sfpctl::PortState;

class PortSetTest : public testing::Test {
protected:
  void SetUp() override { platform_clock_set_virtual(1); }
  void TearDown() override {
    std::filesystem::remove(path_);
    platform_clock_set_virtual(0);
  }

  void seat(const std::string &profile) {
    const sfpsim::Memory &memory = sfpsim::find_profile(profile)->memory;
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(memory.a0.data()), memory.a0.size());
    out.write(reinterpret_cast<const char *>(memory.a2_lower.data()), memory.a2_lower.size());
    out.write(reinterpret_cast<const char *>(memory.tables[0].data()), memory.tables[0].size());
  }

  const std::string path_ = testing::TempDir() + "port_set_" + std::to_string(getpid()) + ".bin";
};

TEST_F(PortSetTest, InsertionSwapAndRemovalOfTheModuleInAPort) {
  PortSet set({{"cage", "image:" + path_}, {"fixed", "sim:10gbase-sr"}});
  sfpctl::WatchedPort &cage = *set.ports()[0];

  PortReading r = cage.read();
  EXPECT_EQ(r.state, PortState::Absent);
  EXPECT_EQ(r.event, "");

  seat("10gbase-sr");
  r = cage.read();
  EXPECT_EQ(r.state, PortState::Up);
  EXPECT_EQ(r.event, "inserted");
  ASSERT_TRUE(r.identity);
  EXPECT_EQ(r.identity->serial, "SIM26030202");
  r = cage.read();
  EXPECT_EQ(r.event, "");
  EXPECT_EQ(cage.creations(), 1u) << "identified once per inserted module";

  seat("1000base-sx");
  r = cage.read();
  EXPECT_EQ(r.state, PortState::Up);
  EXPECT_EQ(r.event, "swapped");
  ASSERT_TRUE(r.identity);
  EXPECT_EQ(r.identity->serial, "SIM26030101");
  EXPECT_EQ(r.identity->part_number, "SL-1GSX-DM");
  // The new module's own values, not the old one's.
  EXPECT_DOUBLE_EQ(*r[sfpctl::Quantity::Temperature].value, 35.5);
  EXPECT_EQ(cage.creations(), 2u);

  std::filesystem::remove(path_);
  r = cage.read();
  EXPECT_EQ(r.state, PortState::Absent);
  EXPECT_EQ(r.event, "removed");
  EXPECT_FALSE(r.identity);

  seat("1000base-sx");
  r = cage.read();
  EXPECT_EQ(r.event, "inserted");
  EXPECT_EQ(cage.creations(), 3u);
  EXPECT_EQ(set.read_all()[1].state, PortState::Up);
}

TEST_F(PortSetTest, FailingAndRefusedPortsDoNotStopTheOthers) {
  PortSet set({{"bad", "sim:10gbase-sr"},
               {"blank", "sim:blank"},
               {"good", "sim:25gbase-sr"},
               {"typo", "sim:nonesuch"}});
  std::vector<PortReading> r = set.read_all();
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[0].state, PortState::Up);
  EXPECT_EQ(r[1].state, PortState::Refused);
  ASSERT_TRUE(r[1].identity);
  EXPECT_FALSE(r[1].identity->supported);
  EXPECT_EQ(r[3].state, PortState::Failed);

  // The status snapshot's read of A2h fails on the first port only.
  set.ports()[0]->module()->fail_at(1, 0, 5);
  r = set.read_all();
  EXPECT_EQ(r[0].state, PortState::Failed);
  EXPECT_NE(r[0].problem.find("status 5"), std::string::npos) << r[0].problem;
  EXPECT_EQ(r[0].read_errors, 1u);
  EXPECT_EQ(r[2].state, PortState::Up);
  EXPECT_DOUBLE_EQ(*r[2][sfpctl::Quantity::Temperature].value, 41.19921875);

  set.ports()[0]->module()->clear_faults();
  r = set.read_all();
  EXPECT_EQ(r[0].state, PortState::Up);
  EXPECT_EQ(r[0].read_errors, 1u) << "a counter";
  EXPECT_EQ(r[1].state, PortState::Refused);
  EXPECT_EQ(set.ports()[1]->creations(), 1u) << "a refused module is not retried";
  EXPECT_EQ(r[3].read_errors, 3u);
}

// The drifting module's flags follow its values against its thresholds.
TEST_F(PortSetTest, DriftingModuleRaisesItsWarningThenItsAlarm) {
  PortSet set(std::vector<sfpctl::PortSpec>{{"d", "sim:25gbase-sr-drift"}});
  using sfpctl::Level;
  const auto flag = [](const PortReading &r, Level level) {
    return r[sfpctl::Quantity::Temperature].flags[static_cast<std::size_t>(level)];
  };
  for (int reading = 1; reading <= 9; ++reading) {
    const PortReading r = set.read_all()[0];
    const double celsius = *r[sfpctl::Quantity::Temperature].value;
    EXPECT_DOUBLE_EQ(celsius, 66.0 + 2 * reading);
    EXPECT_EQ(flag(r, Level::HighWarning), celsius > 75) << celsius;
    EXPECT_EQ(flag(r, Level::HighAlarm), celsius > 80) << celsius;
    EXPECT_FALSE(flag(r, Level::LowWarning));
  }
}

} // namespace
