// sfpctl on its module sources: real modules through the Linux backends
// (a fake kernel serving a simulated module, and this machine's own
// kernel), the dump and its round trip through --image, and what the tool
// refuses to do to a real module.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "sfpsim/module.h"
#include "tool/tool_run.h"

namespace {

using tooltest::take_file;
using tooltest::ToolRun;

// Runs `tool` with a command line the shell splits at spaces, standard
// input from /dev/null (no terminal), `env` before it (VAR=value ...).
ToolRun run(const std::string &args, const std::string &tool = SFPCTL_PATH,
            const std::string &env = "") {
  return tooltest::run_shell((env.empty() ? "" : "env " + env + " ") + tool + " " + args +
                             " </dev/null");
}

// sfpctl with the fake kernel serving `profile` behind the backends.
ToolRun run_fake(const std::string &profile, const std::string &args) {
  return run(args, SFPCTL_FAKE_KERNEL_PATH, "SFPDRV_FAKE_PROFILE=" + profile);
}

std::size_t line_count(const std::string &text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// One line on standard error matching `pattern`, exit status `code`.
void expect_one_line(const ToolRun &result, int code, const std::string &pattern) {
  EXPECT_EQ(result.exit_code, code) << result.err;
  EXPECT_EQ(line_count(result.err), 1u) << result.err;
  EXPECT_TRUE(std::regex_search(result.err, std::regex(pattern))) << result.err << pattern;
}

const char *const kProfiles[] = {"10gbase-sr", "10g-tunable-dwdm", "1000base-t", "10g-dac-1m",
                                 "25gbase-sr"};
const char *const kFakeSources[] = {"--i2c /dev/i2c-fake", "--eeprom-file /sys/fake/sfp0/eeprom",
                                    "--ethtool fake0"};

// A real module is read as it is: its transmitter stays as found, where a
// simulated profile's creation soft-disables it. Otherwise every backend
// shows what the simulated module shows.
// A status reading without where and when it was taken.
std::string without_source_and_time(std::string status_json) {
  static const std::regex kWhereWhen(R"("source": "[^"]*", "time": "[^"]*", )");
  return std::regex_replace(status_json, kWhereWhen, "");
}

std::string as_found(std::string status_json) {
  status_json = without_source_and_time(status_json);
  const std::string disabled = "\"tx_disabled\": true";
  if (const std::size_t at = status_json.find(disabled); at != std::string::npos) {
    status_json.replace(at, disabled.size(), "\"tx_disabled\": false");
  }
  return status_json;
}

TEST(sfpctlSources, EveryBackendShowsWhatTheSimulatedModuleShows) {
  for (const char *profile : kProfiles) {
    const std::string sim = std::string("--fast --sim ") + profile + " ";
    const ToolRun report = run(sim + "report");
    const ToolRun identify = run(sim + "identify");
    const ToolRun status = run(sim + "status --json");
    for (const char *source : kFakeSources) {
      const std::string where = std::string(profile) + " " + source;
      const ToolRun real_report = run_fake(profile, std::string(source) + " report");
      EXPECT_EQ(real_report.exit_code, 0) << where << real_report.err;
      EXPECT_EQ(real_report.out, report.out) << where;
      EXPECT_EQ(run_fake(profile, std::string(source) + " identify").out, identify.out) << where;
      EXPECT_EQ(
          without_source_and_time(run_fake(profile, std::string(source) + " status --json").out),
          as_found(status.out))
          << where;
    }
  }
}

TEST(sfpctlSources, ChangesToARealModuleAreConfirmedAndRefusedWhereTheyCannotBe) {
  // No terminal and no --yes: nothing is written.
  expect_one_line(run_fake("10gbase-sr", "--i2c /dev/i2c-fake tx off"), 1,
                  "^sfpctl: tx: switch the transmitter off .* on i2c:/dev/i2c-fake: .*add --yes");
  const ToolRun yes = run_fake("10gbase-sr", "--i2c /dev/i2c-fake --yes tx off");
  EXPECT_EQ(yes.exit_code, 0) << yes.err;
  EXPECT_NE(yes.out.find("A2h byte 110: 0x00 -> 0x40"), std::string::npos) << yes.out;
  expect_one_line(run_fake("10gbase-sr", "--ethtool fake0 --yes write 1 127 0"), 1,
                  "write: write 1 byte .* on ethtool:fake0: refused, read-only source");
  // The simulator's options make no sense on a real module.
  for (const std::string option : {"--fast", "--fail-at 0:0", "--qsa"}) {
    expect_one_line(run_fake("10gbase-sr", "--i2c /dev/i2c-fake " + option + " info"), 2,
                    "^sfpctl: " + option.substr(0, option.find(' ')) + ": ");
  }
  expect_one_line(run_fake("1000base-t", "--i2c /dev/i2c-fake phy --sim-link 1000 link"), 2,
                  "--sim-link: only a simulated PHY");
  // --init says what it does first, then runs the whole creation.
  const ToolRun init = run_fake("10g-dac-1m", "--eeprom-file /sys/fake/sfp0/eeprom --init create");
  EXPECT_EQ(init.exit_code, 0) << init.err;
  EXPECT_NE(init.err.find("--init: creating the port as for a newly inserted module"),
            std::string::npos);
  EXPECT_NE(init.out.find("module present:   yes"), std::string::npos) << init.out;
}

TEST(sfpctlSources, SourcesThatCannotBeOpenedGiveOneLineNamingThem) {
  expect_one_line(run("--ethtool lo status"), 1, "^sfpctl: ethtool:lo: cannot open: ");
  expect_one_line(run("--i2c /dev/i2c-99 status"), 1, "^sfpctl: i2c:/dev/i2c-99: cannot open: ");
  expect_one_line(run("--eeprom-file /missing/eeprom status"), 1,
                  "^sfpctl: eeprom:/missing/eeprom: cannot open: ");
  expect_one_line(run_fake("10gbase-sr", "--i2c /dev/i2c-fake --sim blank status"), 2, "excludes");
  const std::string veth = "sfpv" + std::to_string(getpid() % 100000);
  if (std::system(
          ("ip link add " + veth + " type veth peer name " + veth + "p 2>/dev/null").c_str()) !=
      0) {
    GTEST_SKIP() << "no veth pair: 'ip link add' is not permitted here";
  }
  const ToolRun result = run("--ethtool " + veth + " status");
  (void)std::system(("ip link del " + veth + " 2>/dev/null").c_str());
  expect_one_line(result, 1, "^sfpctl: ethtool:" + veth + ": cannot open: ");
}

// The kernel's EEPROM file layout: A0h, A2h lower half, then each table's
// upper half.
std::string eeprom_file_of(const sfpsim::Memory &memory) {
  std::string bytes(memory.a0.begin(), memory.a0.end());
  bytes.append(memory.a2_lower.begin(), memory.a2_lower.end());
  for (const auto &table : memory.tables) {
    bytes.append(table.begin(), table.end());
  }
  return bytes;
}

TEST(sfpctlSources, ARegularFileLaidOutAsTheKernelsRunsEveryReadOnlyCommand) {
  const std::string path = testing::TempDir() + "sfpctl_eeprom_" + std::to_string(getpid());
  const std::string module = eeprom_file_of(sfpsim::find_profile("10g-tunable-dwdm")->memory);
  std::ofstream(path, std::ios::binary) << module;
  for (const char *command : {"identify", "report", "status", "status --json", "info", "regs",
                              "debug", "read 4 128 16", "create", "trace", "dump"}) {
    const ToolRun result = run("--eeprom-file " + path + " " + command);
    EXPECT_EQ(result.exit_code, 0) << command << ": " << result.err;
    EXPECT_EQ(result.err, "") << command;
    // A read leaves a real module as it found it: no byte written, the
    // transmitter, power level, CDR and rate untouched.
    std::ostringstream after;
    after << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_TRUE(after.str() == module) << command << " changed the module";
  }
  std::filesystem::remove(path);
}

// The report is decoded from the copy creation is handed; a simulated
// profile's creation soft-disables the transmitter after that copy, and its
// dump holds the module as it is after creation: the report of the dump
// shows that one bit set.
std::string without_soft_disable(std::string report) {
  report = std::regex_replace(report, std::regex("Oper. Status/Control: Soft Tx Disabled, "),
                              "Oper. Status/Control: ");
  return report;
}

// The watched port set takes every kind of source: a real module's values
// are those of the simulated one behind it, its transmitter is left as found,
// and a source that cannot be opened or has no module says so in its own
// port without stopping the others.
TEST(sfpctlSources, WatchedPortsOnRealSourcesReadBesideSimulatedOnes) {
  const std::string ports = "--port a=i2c:/dev/i2c-fake --port b=sim:25gbase-sr-drift "
                            "--port c=ethtool:nosuch0 --port d=eeprom:/sys/fake/sfp0/eeprom ";
  const ToolRun metrics = run_fake("10gbase-sr", ports + "metrics");
  EXPECT_EQ(metrics.exit_code, 0) << metrics.err;
  for (const char *line :
       {"sfp_up{port=\"a\"} 1\n", "sfp_up{port=\"b\"} 1\n", "sfp_up{port=\"c\"} 0\n",
        "sfp_up{port=\"d\"} 1\n", "sfp_temperature_celsius{port=\"a\"} 33\n",
        "sfp_temperature_celsius{port=\"d\"} 33\n", "sfp_temperature_celsius{port=\"b\"} 68\n"}) {
    EXPECT_NE(metrics.out.find(line), std::string::npos) << line << metrics.out;
  }
  EXPECT_EQ(metrics.out.find("sfp_temperature_celsius{port=\"c\"}"), std::string::npos);

  const std::string csv =
      testing::TempDir() + "sfpctl_src_ports_" + std::to_string(getpid()) + ".csv";
  std::filesystem::remove(csv);
  const ToolRun monitor = run_fake(
      "10gbase-sr",
      "--port a=i2c:/dev/i2c-fake --port s=sim:10gbase-sr monitor --count 2 --interval 0 --csv " +
          csv);
  EXPECT_EQ(monitor.exit_code, 0) << monitor.err;
  std::ifstream rows(csv);
  std::string header;
  std::getline(rows, header);
  std::vector<std::string> lines;
  for (std::string line; std::getline(rows, line);) {
    lines.push_back(line);
  }
  std::filesystem::remove(csv);
  ASSERT_EQ(lines.size(), 4u) << header;
  // ...,los,tx_fault,tx_disabled,read_errors,note: the simulated profile's
  // creation soft-disables its transmitter, the real module's does not run.
  EXPECT_TRUE(std::regex_search(lines[0], std::regex(",a,up,.*,0,0,0,0,inserted$"))) << lines[0];
  EXPECT_TRUE(std::regex_search(lines[1], std::regex(",s,up,.*,0,0,1,0,inserted$"))) << lines[1];
  EXPECT_TRUE(std::regex_search(lines[2], std::regex(",a,up,.*,0,0,0,0,$"))) << lines[2];

  const ToolRun absent = run("--port a=i2c:/dev/i2c-fake --port e=ethtool:fake0 --port "
                             "s=sim:10gbase-sr monitor --count 1",
                             SFPCTL_FAKE_KERNEL_PATH, "SFPDRV_FAKE_ABSENT=1");
  EXPECT_EQ(absent.exit_code, 0) << absent.err;
  EXPECT_TRUE(std::regex_search(absent.out, std::regex(R"(\n1 +\S+ a +absent .*no acknowledge)")))
      << absent.out;
  EXPECT_TRUE(std::regex_search(absent.out, std::regex(R"(\n1 +\S+ e +absent )"))) << absent.out;
  EXPECT_TRUE(std::regex_search(absent.out, std::regex(R"(\n1 +\S+ s +up )"))) << absent.out;
}

TEST(sfpctlDump, EveryProfileComesBackThroughImageTheSame) {
  const std::string path = testing::TempDir() + "sfpctl_dump_" + std::to_string(getpid());
  for (const sfpsim::Profile &profile : sfpsim::profiles()) {
    const std::string sim = "--fast --sim " + profile.name + " ";
    const ToolRun dump = run(sim + "dump --output " + path);
    // A module the library refuses is dumped too, with the refusal's exit
    // status.
    ASSERT_EQ(dump.exit_code, profile.name == "blank" ? 1 : 0) << profile.name << dump.err;
    const std::string text = take_file(path);
    std::ofstream(path) << text;
    EXPECT_TRUE(std::regex_search(
        text, std::regex("\n# source: sim:" + profile.name +
                         "\n# time: \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ\n# tool: sfpctl "
                         "\\d+\\.\\d+\\.\\d+\nA0h:\n")))
        << text.substr(0, 300);
    const std::string image = "--fast --image " + path + " ";
    for (const char *command : {"status --json", "info --json", "identify"}) {
      const ToolRun from_sim = run(sim + command);
      const ToolRun from_image = run(image + command);
      EXPECT_EQ(without_source_and_time(from_image.out), without_source_and_time(from_sim.out))
          << profile.name << " " << command;
      EXPECT_EQ(from_image.exit_code, from_sim.exit_code) << profile.name << " " << command;
    }
    if (profile.drift) {
      continue; // its values move on with every reading
    }
    const std::string sim_report = run(sim + "report").out;
    const std::string image_report = run(image + "report").out;
    std::istringstream a(sim_report);
    std::istringstream b(without_soft_disable(image_report));
    // Line by line; only the control bytes creation writes (A2h 96..127,
    // the 0x0160 and 0x0170 lines of the A2h dump) may differ, not the
    // measured values before them.
    for (std::string left, right; std::getline(a, left) && std::getline(b, right);) {
      if (left != right) {
        EXPECT_TRUE((left.starts_with("0x0160:") && left.substr(0, 35) == right.substr(0, 35)) ||
                    left.starts_with("0x0170:"))
            << profile.name << "\n"
            << left << "\n"
            << right;
      }
    }
    EXPECT_EQ(line_count(sim_report), line_count(image_report)) << profile.name;
  }
  std::filesystem::remove(path);
}

TEST(sfpctlDump, ImageTakesI2cdumpAndTwoFilesAndNamesEveryFormItTried) {
  const sfpsim::Memory &memory = sfpsim::find_profile("1000base-sx")->memory;
  const std::string base = testing::TempDir() + "sfpctl_i2c_" + std::to_string(getpid());
  auto i2cdump = [](std::span<const uint8_t> bytes) {
    std::string out = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
    for (std::size_t row = 0; row < 256; row += 16) {
      char text[8];
      std::snprintf(text, sizeof text, "%02zx:", row);
      out += text;
      for (std::size_t i = row; i < row + 16; ++i) {
        std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(bytes[i]));
        out += text;
      }
      out += "    ................\n";
    }
    return out;
  };
  std::vector<uint8_t> a2(memory.a2_lower.begin(), memory.a2_lower.end());
  a2.insert(a2.end(), memory.tables[0].begin(), memory.tables[0].end());
  std::ofstream(base + ".a0") << i2cdump(memory.a0);
  std::ofstream(base + ".a2") << i2cdump(a2);
  std::ofstream(base + ".both") << i2cdump(memory.a0) << i2cdump(a2);
  const std::string expected = run("--fast --sim 1000base-sx info --json").out;
  EXPECT_EQ(run("--fast --image " + base + ".both info --json").out, expected);
  EXPECT_EQ(run("--fast --image " + base + ".a0 --image " + base + ".a2 info --json").out,
            expected);
  std::ofstream(base + ".bad") << "00: 03 04\n";
  expect_one_line(run("--image " + base + ".bad info"), 1,
                  "not a module image: raw \\(text, not binary\\), hex \\(line 1: '00:' is not a "
                  "hex byte\\), ethtool \\(.*\\), i2cdump \\(no header row .*\\), dump \\(.*\\)\n");
  for (const char *suffix : {".a0", ".a2", ".both", ".bad"}) {
    std::filesystem::remove(base + suffix);
  }
}

} // namespace
