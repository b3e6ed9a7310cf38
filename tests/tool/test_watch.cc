// sfpctl watching several ports: monitor (plain rows, a terminal, the CSV
// file and Ctrl-C), metrics (the Prometheus format, checked by promtool, and
// the textfile a reader races), check (the plugin exit codes) and the port
// options.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sfpsim/module.h"
#include "tool/tool_run.h"

namespace {

using tooltest::Lines;
using tooltest::lines_of;
using tooltest::ToolRun;

std::string slurp(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string temp_path(const std::string &name) {
  return tooltest::scratch_path("watch_" + name);
}

// Runs sfpctl through the shell with the library's waits on the virtual
// clock.
ToolRun run_sfpctl(const std::string &args) {
  return tooltest::run_shell(SFPCTL_PATH " --fast " + args);
}

// A module image file of a profile, changed by `edit`.
std::string write_image(const std::string &name, const std::string &profile,
                        void (*edit)(sfpsim::Memory &) = nullptr) {
  sfpsim::Memory memory = sfpsim::find_profile(profile)->memory;
  if (edit != nullptr) {
    edit(memory);
  }
  const std::string path = temp_path(name);
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char *>(memory.a0.data()), memory.a0.size());
  out.write(reinterpret_cast<const char *>(memory.a2_lower.data()), memory.a2_lower.size());
  out.write(reinterpret_cast<const char *>(memory.tables[0].data()), memory.tables[0].size());
  return path;
}

// A 25G SR module running at 77 C: above its high warning (75 C), below
// its high alarm (80 C), with no flag raised.
void warm(sfpsim::Memory &memory) {
  memory.a2_lower[96] = 77;
  memory.a2_lower[97] = 0;
}

std::vector<std::string> csv_cells(const std::string &line) {
  std::vector<std::string> cells(1);
  bool quoted = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
    } else if (c == ',' && !quoted) {
      cells.emplace_back();
    } else {
      cells.back() += c;
    }
  }
  return cells;
}

// The CSV as rows of cells by column name; every line whole, the header
// first and once.
std::vector<std::map<std::string, std::string>> csv_rows(const std::string &text) {
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\n') << "the last row is cut";
  const Lines lines = lines_of(text);
  const std::vector<std::string> header = csv_cells(lines.at(0));
  EXPECT_EQ(header.at(0), "time");
  std::vector<std::map<std::string, std::string>> rows;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::vector<std::string> cells = csv_cells(lines[i]);
    EXPECT_EQ(cells.size(), header.size()) << "row " << i << ": " << lines[i];
    EXPECT_NE(cells.at(0), "time") << "a second header";
    std::map<std::string, std::string> row;
    for (std::size_t c = 0; c < std::min(cells.size(), header.size()); ++c) {
      row[header[c]] = cells[c];
    }
    rows.push_back(row);
  }
  return rows;
}

TEST(sfpctlMonitor, PlainRowsAndCsvOfThreePortsOfDifferentKinds) {
  const std::string image = write_image("lx.bin", "1000base-lx-extcal");
  const std::string csv = temp_path("monitor.csv");
  std::filesystem::remove(csv);
  const std::string ports = "--port a=sim:10gbase-sr --port drift=sim:25gbase-sr-drift --port "
                            "file=image:" +
                            image + " --port gone=image:" + temp_path("none.bin");
  const ToolRun run = run_sfpctl(ports + " monitor --count 3 --interval 0 --csv " + csv);
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const Lines out = lines_of(run.out);
  ASSERT_EQ(out.size(), 1u + 3 * 4) << run.out;
  for (std::size_t i = 1; i < out.size(); ++i) {
    // READING TIME PORT STATE ...
    std::istringstream row(out[i]);
    std::string reading, time, port, state;
    row >> reading >> time >> port >> state;
    EXPECT_EQ(reading, std::to_string((i - 1) / 4 + 1)) << out[i];
    EXPECT_EQ(state, port == "gone" ? "absent" : "up") << out[i];
  }

  // A second run appends without a second header.
  ASSERT_EQ(run_sfpctl(ports + " monitor --count 1 --interval 0 --csv " + csv).exit_code, 0);
  const auto rows = csv_rows(slurp(csv));
  ASSERT_EQ(rows.size(), 3u * 4 + 4);
  std::vector<double> drift_temperatures;
  for (const auto &row : rows) {
    EXPECT_TRUE(
        std::regex_match(row.at("time"), std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")));
    if (row.at("port") == "drift") {
      drift_temperatures.push_back(std::stod(row.at("temperature_c")));
      EXPECT_EQ(row.at("temperature_high_warning_c"), "75");
      EXPECT_EQ(row.at("serial"), "SIM260304041");
    }
    if (row.at("port") == "file") {
      // The externally calibrated values (see the profile).
      EXPECT_NEAR(std::stod(row.at("rx_power_mw")), 0.2334, 1e-4);
      EXPECT_NEAR(std::stod(row.at("vcc_v")), 3.29, 1e-3);
    }
    if (row.at("port") == "gone") {
      EXPECT_EQ(row.at("state"), "absent");
      EXPECT_EQ(row.at("temperature_c"), "");
    }
  }
  // Each reading is a fresh snapshot: the drifting module climbs 2 C a
  // reading (a new run starts it over).
  ASSERT_EQ(drift_temperatures.size(), 4u);
  EXPECT_EQ(drift_temperatures[1] - drift_temperatures[0], 2.0);
  EXPECT_EQ(drift_temperatures[2] - drift_temperatures[1], 2.0);
  std::filesystem::remove(csv);
  std::filesystem::remove(image);
}

// On a terminal the table is redrawn in place, with trends and the drifting
// module's warning highlighted once it is raised.
TEST(sfpctlMonitor, TerminalRedrawsInPlaceWithTrendsAndHighlights) {
  const std::string out = temp_path("tty.out");
  const std::string command = "timeout 60 script -qec '" SFPCTL_PATH
                              " --fast monitor --count 5 --interval 0' /dev/null >" +
                              out;
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string text = slurp(out);
  std::filesystem::remove(out);
  std::size_t frames = 0;
  for (std::size_t at = text.find("\x1b[H\x1b[2J"); at != std::string::npos;
       at = text.find("\x1b[H\x1b[2J", at + 1)) {
    ++frames;
  }
  EXPECT_EQ(frames, 5u);
  EXPECT_NE(text.find("▁"), std::string::npos);
  EXPECT_NE(text.find("█"), std::string::npos);
  // The drifting p2 passes its high warning (75 C) at its 5th reading.
  const std::string last = text.substr(text.rfind("\x1b[H\x1b[2J"));
  EXPECT_TRUE(std::regex_search(last, std::regex("\x1b\\[1;33m76\\.0 C")));
}

// SIGINT ends a run between two rows: the CSV is whole.
TEST(sfpctlMonitor, InterruptLeavesACompleteCsv) {
  const std::string csv = temp_path("interrupted.csv");
  std::filesystem::remove(csv);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    freopen("/dev/null", "w", stdout);
    execl(SFPCTL_PATH, "sfpctl", "--fast", "monitor", "--interval", "0.01", "--csv", csv.c_str(),
          static_cast<char *>(nullptr));
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (lines_of(slurp(csv)).size() < 8 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  kill(child, SIGINT);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "killed by the signal";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  const auto rows = csv_rows(slurp(csv));
  EXPECT_GE(rows.size(), 7u);
  EXPECT_EQ(rows.size() % 3, 0u) << "a reading's rows are all written";
  std::filesystem::remove(csv);
}

// "name{labels} value" lines of the metrics, by name and labels.
std::map<std::string, double> samples(const std::string &text) {
  std::map<std::string, double> found;
  for (const std::string &line : lines_of(text)) {
    if (!line.empty() && line[0] != '#') {
      const std::size_t gap = line.rfind(' ');
      EXPECT_TRUE(found.emplace(line.substr(0, gap), std::stod(line.substr(gap + 1))).second)
          << "a series given twice: " << line;
    }
  }
  return found;
}

TEST(sfpctlMetrics, MixedPortsPassPromtoolWithValuesFlagsAndUp) {
  const std::string refused = write_image("blank.bin", "blank");
  const std::string ports =
      "--port drift=sim:25gbase-sr-drift --port alarm=sim:25gbase-sr-rx-alarm"
      " --port refused=image:" +
      refused + " --port 'odd\"name'=sim:1000base-t --port gone=image:" + temp_path("none.bin");
  const ToolRun run = run_sfpctl(ports + " metrics");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::string prom = temp_path("metrics.prom");
  std::ofstream(prom) << run.out;
  if (std::system("command -v promtool >/dev/null") == 0) {
    const std::string check = "promtool check metrics <" + prom + " 2>&1";
    EXPECT_EQ(std::system(check.c_str()), 0) << run.out;
  } else {
    ADD_FAILURE() << "promtool is missing (scripts/bootstrap.sh with SFPDRV_TEST_PROMETHEUS=1)";
  }
  std::filesystem::remove(prom);

  const std::map<std::string, double> s = samples(run.out);
  EXPECT_EQ(s.at(R"(sfp_up{port="drift"})"), 1);
  EXPECT_EQ(s.at(R"(sfp_up{port="gone"})"), 0);
  EXPECT_EQ(s.at(R"(sfp_up{port="refused"})"), 0);
  EXPECT_EQ(s.at(R"(sfp_read_errors_total{port="gone"})"), 0);
  // Base units: the drift starts at 66 C, 3.31 V, 7.5 mA, -1.2 dBm Tx.
  EXPECT_EQ(s.at(R"(sfp_temperature_celsius{port="drift"})"), 68);
  EXPECT_NEAR(s.at(R"(sfp_supply_voltage_volts{port="drift"})"), 3.31, 1e-4);
  EXPECT_NEAR(s.at(R"(sfp_tx_bias_amperes{port="drift"})"), 0.0075, 1e-6);
  EXPECT_NEAR(s.at(R"(sfp_tx_power_watts{port="drift"})"), std::pow(10.0, -0.12) * 1e-3, 1e-6);
  EXPECT_NEAR(s.at(R"(sfp_rx_power_dbm{port="alarm"})"), -14.0, 0.01);
  EXPECT_NEAR(s.at(R"(sfp_rx_power_threshold_watts{port="alarm",level="low_alarm"})"),
              std::pow(10.0, -1.24) * 1e-3, 1e-7);
  EXPECT_EQ(s.at(R"(sfp_temperature_threshold_celsius{port="drift",level="high_warning"})"), 75);
  // The flags the alarm module raised, and only those.
  EXPECT_EQ(s.at(R"(sfp_alarm{port="alarm",quantity="rx_power",direction="low"})"), 1);
  EXPECT_EQ(s.at(R"(sfp_warning{port="alarm",quantity="rx_power",direction="low"})"), 1);
  EXPECT_EQ(s.at(R"(sfp_alarm{port="alarm",quantity="rx_power",direction="high"})"), 0);
  EXPECT_EQ(s.at(R"(sfp_alarm{port="drift",quantity="temperature",direction="high"})"), 0);
  // Identity of a module the library refused, with its verdict.
  EXPECT_EQ(
      s.count(
          R"(sfp_module_info{port="drift",vendor="SIMLAB OPTICS",part_number="SL-25GSR",serial="SIM260304041",type="SFP28 25G SR",supported="true"})"),
      1u)
      << run.out;
  bool refused_info = false;
  for (const auto &[series, value] : s) {
    refused_info |= series.starts_with(R"(sfp_module_info{port="refused")") &&
                    series.ends_with(R"(supported="false"})");
    // No value series for what a port does not have.
    for (const char *port : {"gone", "refused", R"(odd\"name)"}) {
      EXPECT_FALSE(series.starts_with("sfp_temperature_celsius{port=\"" + std::string(port)))
          << series;
    }
  }
  EXPECT_TRUE(refused_info) << run.out;
  EXPECT_EQ(s.at(R"(sfp_up{port="odd\"name"})"), 1);
  std::filesystem::remove(refused);
}

// A reader of the textfile never sees a part of it, while a writer rewrites
// it as fast as it can.
TEST(sfpctlMetrics, TextfileReaderNeverSeesAPartialFile) {
  const std::string dir = temp_path("textfile");
  std::filesystem::create_directories(dir);
  const std::string file = dir + "/sfp.prom";
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execl(SFPCTL_PATH, "sfpctl", "--fast", "metrics", "--textfile", file.c_str(), "--interval", "0",
          "--count", "300", static_cast<char *>(nullptr));
    _exit(127);
  }
  std::size_t reads = 0;
  std::size_t expected_lines = 0;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    const std::string text = slurp(file);
    if (text.empty()) {
      continue;
    }
    const std::size_t count = lines_of(text).size();
    expected_lines = expected_lines == 0 ? count : expected_lines;
    ASSERT_EQ(count, expected_lines);
    ASSERT_EQ(text.back(), '\n');
    ++reads;
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_GT(reads, 10u);
  // Only the file itself is left, no temporary one.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
  std::filesystem::remove_all(dir);
}

TEST(sfpctlCheck, ExitCodesFollowThePluginConventions) {
  const std::string warm_image = write_image("warm.bin", "25gbase-sr", &warm);
  const std::string gone = "image:" + temp_path("none.bin");
  const struct {
    std::string ports;
    int exit_code;
    const char *summary;
  } kCases[] = {
      {"--port a=sim:10gbase-sr --port b=sim:1000base-t", 0, "^SFP OK - 2 ports"},
      {"--port a=sim:10gbase-sr --port w=image:" + warm_image, 1,
       "^SFP WARNING - w temperature 77.0 C above high warning 75.0 C$"},
      {"--port w=image:" + warm_image + " --port x=sim:25gbase-sr-rx-alarm --port g=" + gone, 2,
       "^SFP CRITICAL - x rx power -14.00 dBm below low alarm -12.40 dBm$"},
      {"--port a=sim:10gbase-sr --port g=" + gone, 3, "^SFP UNKNOWN - g absent: no module"},
      {"--port b=sim:blank", 3, "^SFP UNKNOWN - b refused: the library refused"},
      {"--port a=sim:10gbase-sr --port g=" + gone + " check --absent-ok", 0, "^SFP OK"},
  };
  for (const auto &c : kCases) {
    const std::string args =
        c.ports.find(" check") == std::string::npos ? c.ports + " check" : c.ports;
    const ToolRun run = run_sfpctl(args);
    EXPECT_EQ(run.exit_code, c.exit_code) << args << "\n" << run.out << run.err;
    const Lines out = lines_of(run.out);
    ASSERT_FALSE(out.empty()) << args;
    EXPECT_TRUE(std::regex_search(out[0], std::regex(c.summary))) << args << "\n" << out[0];
  }
  // Every problem has its line: the critical one first, then the warning.
  const ToolRun both = run_sfpctl(std::string(kCases[2].ports) + " check");
  const Lines out = lines_of(both.out);
  ASSERT_EQ(out.size(), 1u + 3) << both.out;
  EXPECT_EQ(out[1].rfind("CRITICAL: x rx power", 0), 0u) << out[1];
  EXPECT_EQ(out[2].rfind("WARNING: w temperature", 0), 0u) << out[2];
  EXPECT_EQ(out.back().rfind("UNKNOWN: g absent", 0), 0u) << out.back();
  std::filesystem::remove(warm_image);
}

TEST(sfpctlPorts, OneModuleCommandsRunPerPortAndPortListsAreChecked) {
  const ToolRun per_port = run_sfpctl("--port a=sim:10gbase-sr --port b=sim:1000base-sx identify");
  EXPECT_EQ(per_port.exit_code, 0) << per_port.err;
  const std::size_t a = per_port.out.find("== a ==\n");
  const std::size_t b = per_port.out.find("== b ==\n");
  ASSERT_NE(a, std::string::npos);
  ASSERT_NE(b, std::string::npos);
  EXPECT_NE(per_port.out.substr(a, b - a).find("SL-10GSR-DM"), std::string::npos);
  EXPECT_NE(per_port.out.substr(b).find("SL-1GSX-DM"), std::string::npos);

  const ToolRun write = run_sfpctl("--port a=sim:10gbase-sr --port b=sim:1000base-sx tx off");
  EXPECT_EQ(write.exit_code, 2);
  EXPECT_EQ(write.out, "");

  const std::string file = temp_path("ports.txt");
  std::ofstream(file) << "# cages\n\np1 sim:10gbase-sr   # top\np2\n";
  const ToolRun bad = run_sfpctl("--ports " + file + " status");
  EXPECT_EQ(bad.exit_code, 2);
  EXPECT_NE(bad.err.find(file + ":4: "), std::string::npos) << bad.err;
  std::ofstream(file) << "# cages\n\np1 sim:10gbase-sr   # top\np2 sim:1000base-sx\n";
  const ToolRun good = run_sfpctl("--ports " + file + " check");
  EXPECT_EQ(good.exit_code, 0) << good.err;
  EXPECT_NE(good.out.find("2 ports"), std::string::npos);
  std::filesystem::remove(file);

  // check's usage errors are its UNKNOWN, not a CRITICAL.
  EXPECT_EQ(run_sfpctl("--port a=sim:10gbase-sr --port a=sim:1000base-sx check").exit_code, 3);
  EXPECT_EQ(run_sfpctl("check --no-such-option").exit_code, 3);
  EXPECT_EQ(run_sfpctl("--port a=sim:10gbase-sr --port a=sim:1000base-sx status").exit_code, 2);
  const ToolRun version = run_sfpctl("--version");
  EXPECT_EQ(version.exit_code, 0);
  EXPECT_TRUE(std::regex_search(
      version.out, std::regex(R"(^sfpctl \d+\.\d+\.\d+ \(sfpdrv library \d+\.\d+\.\d+\))")))
      << version.out;
}

} // namespace
