// The snapshots through simulated modules: the status record, the module
// accesses it takes, the identity record, the debug files and the debug
// dump.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/alloc.h"
#include "decode/messages.h"
#include "support/port_harness.h"

namespace {

using sfptest::PortTest;

std::string file_text(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// Every test has a port number of its own, and so debug files of its own
// while the tests run in parallel.
class SnapshotTest : public PortTest {
protected:
  // A port (controller 7, port `port_number_`) on a module of `profile`,
  // edited first.
  sfp_port_ctx *port_on(const std::string &profile, bool bitbang = true, uint32_t bus_mode = 0,
                        void (*edit)(sfpsim::Memory &) = nullptr) {
    modules_.push_back(sfptest::module_from(profile));
    if (edit != nullptr) {
      edit(modules_.back()->memory());
      sfpsim::fix_checksums(modules_.back()->memory());
    }
    sfp_platform_ops ops = sfptest::ops_for(*modules_.back(), 7, port_number_);
    ops.bitbang_read_cb = bitbang ? ops.bitbang_read_cb : nullptr;
    ops.bus_mode = bus_mode;
    sfp_port_ctx *port = create(ops);
    modules_.back()->clear_log();
    platform_clock_reset();
    return port;
  }
  sfpsim::Module &module() { return *modules_.back(); }
  static std::string debug_file(const char *kind, int32_t port) {
    return "/tmp/hw_" + std::string(kind) + "_file_7_" + std::to_string(port);
  }
  std::vector<std::unique_ptr<sfpsim::Module>> modules_;
  int32_t port_number_ = 1;
};

// One 128-byte read of A2h; a set flag is read again after a wait (by
// bit-bang when the port has it and its bus mode is 0); the channel only of
// a tunable module and byte 110 only with soft TX disable implemented.
TEST_F(SnapshotTest, StatusTakesTheFewestAccessesTheRulesAllow) {
  struct Case {
    const char *what;
    std::string profile;
    bool bitbang;
    uint32_t bus_mode;
    uint8_t live_bias_flags;    // byte 112 condition that persists
    uint8_t latched_bias_flags; // and one that the first read clears
    const char *bus;
    uint64_t waited_ms;
    uint32_t bias_high_alarm;
  };
  // clang-format off
  const Case cases[] = {
      {"no flags",                 "10gbase-sr",       true,  0, 0,    0,
       "r1.0+128 r1.110", 0, 0},
      {"a passing flag, bit-bang", "10gbase-sr",       true,  0, 0,    0x08,
       "r1.0+128 b1.112+2 b1.116+2 r1.110", 100, 0},
      {"a flag, no bit-bang",      "10gbase-sr",       false, 0, 0x08, 0,
       "r1.0+128 r1.112+2 r1.116+2 r1.110", 200, 1},
      {"a flag, bus mode 1",       "10gbase-sr",       true,  1, 0x08, 0,
       "r1.0+128 r1.112+2 r1.116+2 r1.110", 200, 1},
      {"tunable",                  "10g-tunable-dwdm", true,  0, 0,    0,
       "r1.0+128 w1.127=02 r4.145 r1.110", 0, 0},
      {"no diagnostics",           "1000base-t",       true,  0, 0,    0, "", 0, 0},
  };
  // clang-format on
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    sfp_port_ctx *port = port_on(c.profile, c.bitbang, c.bus_mode);
    module().set_live_flags(112, c.live_bias_flags);
    module().latch_flags(112, c.latched_bias_flags);
    sfp_hw_status_rec rec{};
    ASSERT_EQ(sfp_port_hw_status(port, &rec), SFP_RC_OK);
    EXPECT_EQ(sfptest::bus(module()), c.bus);
    EXPECT_EQ(platform_clock_elapsed_ms(), c.waited_ms);
    EXPECT_EQ(rec.bias_flags[SFP_FLAG_ALARM_HIGH], c.bias_high_alarm);
    EXPECT_EQ(rec.filled, 1);
  }
}

TEST_F(SnapshotTest, StatusRecordOfAnOptic) {
  port_number_ = 2;
  sfp_port_ctx *port = port_on("10gbase-sr");
  module().set_live_flags(110, 0x02);      // LOS
  module().memory().a2_lower[110] |= 0x40; // soft TX disable
  sfp_hw_status_rec rec{};
  ASSERT_EQ(sfp_port_hw_status(port, &rec), SFP_RC_OK);
  // The profile's values (the decode itself is tested on its own): 33 C,
  // 7.2 mA, Rx -3.4 dBm, 850 nm; thresholds 80 C and 2.97 V.
  const std::pair<float, float> values[] = {
      {rec.temperature, 33},
      {rec.bias, 7.2F},
      {rec.rx_power, -3.4F},
      {rec.wavelength, 850},
      {rec.temperature_alarm_high, 80},
      {rec.vcc_alarm_low, 2.97F},
  };
  for (std::size_t i = 0; i < std::size(values); ++i) {
    EXPECT_NEAR(values[i].first, values[i].second, 0.01) << i; // raw values are rounded
  }
  EXPECT_EQ(rec.los + rec.tx_disabled * 2 + rec.tx_fault * 4, 3u);
  EXPECT_EQ(rec.filled + rec.no_diagnostics, 1u);
  // Each entry of the diagnostic table as "name:raw:value".
  const std::string file = file_text(debug_file("status", port_number_));
  EXPECT_TRUE(file.starts_with("tempHighAlarmThresh:50 00 :+80.000 C\n")) << file;
  EXPECT_EQ(std::count(file.begin(), file.end(), '\n'), SFP_STATUS_FIELDS);
}

// The channel with the port's lower offset, its wavelength on the 50 GHz
// grid; a module without diagnostics names copper and loopback types.
TEST_F(SnapshotTest, TunableChannelAndModulesWithoutDiagnostics) {
  port_number_ = 6;
  sfp_port_ctx *tunable = port_on("10g-tunable-dwdm");
  sfp_hw_status_rec rec{};
  ASSERT_EQ(sfp_port_hw_status(tunable, &rec), SFP_RC_OK);
  EXPECT_EQ(rec.channel, 1);
  EXPECT_FLOAT_EQ(rec.wavelength, 1566.723F);
  tunable->tunable_lower_offset = 4; // a range that starts 200 GHz higher
  ASSERT_EQ(sfp_port_hw_status(tunable, &rec), SFP_RC_OK);
  EXPECT_EQ(rec.channel, 5);
  EXPECT_FLOAT_EQ(rec.wavelength, 1565.087F);
  const auto no_dom = [](sfpsim::Memory &memory) { memory.a0[92] = 0; };
  const std::tuple<std::string, void (*)(sfpsim::Memory &), uint32_t> cases[] = {
      {"1000base-t", nullptr, 1}, {"10g-dac-1m", nullptr, 1}, {"10gbase-sr", no_dom, 0}};
  for (const auto &[profile, edit, copper] : cases) {
    sfp_hw_status_rec none;
    std::memset(&none, 0x5a, sizeof none);
    ASSERT_EQ(sfp_port_hw_status(port_on(profile, true, 0, edit), &none), SFP_RC_OK);
    sfp_hw_status_rec expected{};
    expected.filled = 1;
    expected.no_diagnostics = copper;
    EXPECT_EQ(std::memcmp(&none, &expected, sizeof none), 0) << profile;
  }
  EXPECT_EQ(sfptest::records_of("sfp_evt", sfpdrv::msg::kStatusSpaceNotSupported).size(), 3u);
}

TEST_F(SnapshotTest, HighAndLowFlagsTogetherAndMissingArguments) {
  port_number_ = 3;
  sfp_port_ctx *port = port_on("10gbase-sr");
  module().set_live_flags(112, 0x03); // Tx power high and low alarm
  sfp_hw_status_rec rec{};
  EXPECT_EQ(sfp_port_hw_status(port, &rec), SFP_RC_INVALID);
  const auto invalid = sfptest::records_of("sfp_err", sfpdrv::msg::kInvalidFlags);
  ASSERT_EQ(invalid.size(), 1u);
  EXPECT_NE(invalid[0].text.find("alarm status 300 and warning status 0."), std::string::npos);
  EXPECT_EQ(sfp_port_hw_status(nullptr, &rec), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_hw_status(port, nullptr), SFP_RC_INVALID);
}

// What an unprivileged user may plant at a debug file's name in /tmp: the
// snapshot never writes through it, fails as for a file it cannot create,
// and leaves the planted thing and whatever it points at as they were.
TEST_F(SnapshotTest, DebugFilesNeverWriteThroughWhatIsPlantedAtTheirName) {
  port_number_ = 5;
  sfp_port_ctx *port = port_on("10gbase-sr");
  const std::string target = testing::TempDir() + "snapshot_victim";
  const std::string victim_text = "not to be overwritten\n";
  struct Snapshot {
    const char *kind;
    std::function<sfp_rc()> take;
    const sfpdrv::TraceMsg &failure;
  };
  const std::vector<Snapshot> snapshots = {
      {"status",
       [&] {
         sfp_hw_status_rec rec{};
         return sfp_port_hw_status(port, &rec);
       },
       sfpdrv::msg::kStatusFileOpenFailed},
      {"id",
       [&] {
         sfp_hw_info_rec rec{};
         return sfp_port_hw_info(port, &rec);
       },
       sfpdrv::msg::kInfoFileOpenFailed},
  };
  using Plant = void (*)(const std::string &name, const std::string &to);
  const std::vector<std::pair<const char *, Plant>> plants = {
      {"symbolic link", [](const std::string &name,
                           const std::string &to) { std::filesystem::create_symlink(to, name); }},
      {"hard link", [](const std::string &name,
                       const std::string &to) { std::filesystem::create_hard_link(to, name); }},
      {"directory", [](const std::string &name, const std::string &) {
         std::filesystem::create_directory(name);
       }}};
  for (const Snapshot &snapshot : snapshots) {
    const std::string name = debug_file(snapshot.kind, port_number_);
    for (const auto &[what, plant] : plants) {
      std::filesystem::remove_all(name);
      std::ofstream(target) << victim_text;
      plant(name, target);
      sfptest::clear_traces();
      EXPECT_EQ(snapshot.take(), SFP_RC_INVALID) << snapshot.kind << ", " << what;
      EXPECT_EQ(sfptest::records_of("sfp_err", snapshot.failure).size(), 1u) << what;
      EXPECT_EQ(file_text(target), victim_text) << snapshot.kind << ", " << what;
      const bool still_planted =
          std::string(what) == "directory"       ? std::filesystem::is_directory(name)
          : std::string(what) == "symbolic link" ? std::filesystem::is_symlink(name)
                                                 : std::filesystem::hard_link_count(name) == 2;
      EXPECT_TRUE(still_planted) << snapshot.kind << ", " << what;
    }
    // Nothing planted: a new file of this user, readable by others, written
    // by nobody else.
    std::filesystem::remove_all(name);
    ASSERT_EQ(snapshot.take(), SFP_RC_OK) << snapshot.kind;
    struct stat status {};
    ASSERT_EQ(lstat(name.c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777 & ~0644, 0u) << std::oct << status.st_mode;
    // Someone else's file is not replaced either.
    if (geteuid() == 0) {
      ASSERT_EQ(chown(name.c_str(), 65534, 65534), 0);
      EXPECT_EQ(snapshot.take(), SFP_RC_INVALID) << snapshot.kind << ", another user's file";
    }
    std::filesystem::remove_all(name);
  }
  std::filesystem::remove(target);
  // No temporary file is left behind by a refusal.
  for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("hw_status_file_7_5."))
        << entry.path();
    EXPECT_FALSE(entry.path().filename().string().starts_with("hw_id_file_7_5.")) << entry.path();
  }
}

// A reader racing the writer sees the previous file or the whole new one.
TEST_F(SnapshotTest, ADebugFileIsNeverSeenHalfWritten) {
  port_number_ = 8;
  sfp_port_ctx *port = port_on("10gbase-sr");
  const std::string name = debug_file("status", port_number_);
  std::filesystem::remove_all(name);
  sfp_hw_status_rec rec{};
  ASSERT_EQ(sfp_port_hw_status(port, &rec), SFP_RC_OK);
  const std::string whole = file_text(name);
  ASSERT_EQ(std::count(whole.begin(), whole.end(), '\n'), SFP_STATUS_FIELDS);
  std::atomic<bool> done{false};
  std::atomic<int> partial{0};
  std::atomic<int> reads{0};
  std::thread reader([&] {
    while (!done.load()) {
      const std::string seen = file_text(name);
      partial += seen != whole ? 1 : 0;
      ++reads;
    }
  });
  for (int i = 0; i < 300 || reads.load() < 300; ++i) {
    ASSERT_EQ(sfp_port_hw_status(port, &rec), SFP_RC_OK);
  }
  done = true;
  reader.join();
  EXPECT_EQ(partial.load(), 0) << "of " << reads.load() << " reads";
  std::filesystem::remove(name);
}

// The maker fields come from the A2h upper half of an optic and from the A0h
// upper half of a cable, even one that has A2h.
TEST_F(SnapshotTest, IdentityOfAnOpticAndOfACableWithA2h) {
  port_number_ = 4;
  const auto aoc = [](sfpsim::Memory &m) {
    m.a0[2] = 0x23; // no separable connector
    m.a0[8] = 0x08; // active cable
    m.a0[36] = 0x01;
    std::memcpy(m.a0.data() + 128, "CLEI-IN-A0", 10);
    std::memcpy(m.tables[0].data() + 64, "PID-IN-A2H ", 11);
  };
  struct Case {
    std::string profile;
    void (*edit)(sfpsim::Memory &);
    sfp_xcvr_type type;
    const char *type_name, *pn, *sn, *date, *pid, *clei, *version;
  };
  const Case cases[] = {
      {"10gbase-sr", nullptr, 594, "SFP+ 10G SR", "SL-10GSR-DM", "SIM26030202", "260316",
       "PX-SFP-10G-SR", "SIMLABCLE2", "V01"},
      {"25g-dac-1m", aoc, 796, "SFP28 25G AOC1M", "SL-25GCU-1M", "SIM26030808", "260322",
       "PX-SFP28-25G-CU1M", "CLEI-IN-A0", ""},
  };
  for (const Case &c : cases) {
    sfp_port_ctx *port = port_on(c.profile, true, 0, c.edit);
    ASSERT_EQ(port->spaces.a2, 1u) << c.profile;
    sfp_hw_info_rec info{};
    ASSERT_EQ(sfp_port_hw_info(port, &info), SFP_RC_OK);
    EXPECT_STREQ(info.vendor_name, "SIMLAB"); // cut at the first blank
    EXPECT_STREQ(info.vendor_rev, "A1");
    EXPECT_EQ(std::string(info.vendor_rev_raw, info.vendor_rev_raw + 4), "A1  ");
    EXPECT_EQ(info.vendor_oui[0] * 65536 + info.vendor_oui[1] * 256 + info.vendor_oui[2], 0x025a11);
    const std::vector<std::string> got = {info.type_name, info.vendor_pn, info.vendor_sn,
                                          info.date_code, info.pid,       info.clei,
                                          info.version_id};
    EXPECT_EQ(
        got, (std::vector<std::string>{c.type_name, c.pn, c.sn, c.date, c.pid, c.clei, c.version}));
    EXPECT_EQ(info.xcvr_type, c.type);
    EXPECT_EQ(info.compliance, SFP_COMPLIANCE_OK);
  }
  const std::string file = file_text(debug_file("id", port_number_));
  EXPECT_TRUE(file.starts_with("xcvrType:03 :SFP\n")) << file;
  EXPECT_TRUE(file.ends_with("\n::\n")) << file;
  EXPECT_EQ(sfp_port_hw_info(port_on("10gbase-sr"), nullptr), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_dom_info(nullptr, nullptr), SFP_RC_OK);
}

// A report whose working areas cannot be allocated hands out no text
// (the statuses of every allocation are in the fault sweep); missing
// arguments are refused.
TEST_F(SnapshotTest, AReportWithoutMemoryHandsOutNoTextAndMissingArgumentsAreRefused) {
  port_number_ = 10;
  sfp_port_ctx *port = port_on("10gbase-sr");
  char *text = nullptr;
  uint32_t length = 0;
  for (const uint64_t nth : {1u, 2u}) { // the text, then the report's own area
    sfpdrv::testing::fail_allocation(nth);
    EXPECT_EQ(sfp_port_phy_reg_decode(port, &text, &length), SFP_RC_NO_MEMORY);
    sfpdrv::testing::fail_allocation(0);
    EXPECT_EQ(text, nullptr) << nth;
  }
  char buffer[16];
  EXPECT_EQ(sfp_port_get_debug_info(port, nullptr, 100, &length), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_get_debug_info(nullptr, buffer, sizeof buffer, &length), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_phy_reg_decode(port, nullptr, &length), SFP_RC_INVALID);
  EXPECT_EQ(sfp_port_phy_reg_decode(nullptr, &text, &length), SFP_RC_INVALID);
  sfp_hw_info_rec info{};
  testing::internal::CaptureStderr();
  EXPECT_EQ(sfp_port_hw_info(nullptr, &info), SFP_RC_INVALID);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "sfp port hw info check hdl failed \n");
}

// Three pages of a tunable module and its tuning range; a text that runs
// out of room ends where the room ends.
TEST_F(SnapshotTest, DebugDumpOfATunableModule) {
  port_number_ = 9;
  sfp_port_ctx *port = port_on("10g-tunable-dwdm");
  // The transmitter off, as creation of a present module leaves it (the
  // same dump as sfpctl's).
  ASSERT_EQ(sfp_port_tx_disable(port), SFP_RC_OK);
  const std::string expected =
      file_text(std::string(SFPDRV_TEST_DATA) + "/reports/10g-tunable-dwdm.debug.txt");
  std::string text(4096, 'x');
  uint32_t length = 0;
  ASSERT_EQ(sfp_port_get_debug_info(port, text.data(), 4096, &length), SFP_RC_OK);
  EXPECT_EQ(text.substr(0, length), expected);
  EXPECT_EQ(text[length], '\0');
  ASSERT_EQ(sfp_port_get_debug_info(port, text.data(), 100, &length), SFP_RC_OK);
  EXPECT_EQ(std::string(text.c_str()), expected.substr(0, 99));
  EXPECT_EQ(length, 99u);
  ASSERT_EQ(sfp_port_get_debug_info(port_on("1000base-t"), text.data(), 4096, &length), SFP_RC_OK);
  EXPECT_EQ(std::string(text.c_str(), length), "\nA2 page not supported\n\n");
}

} // namespace
