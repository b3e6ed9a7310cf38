// sfpctl as an operator runs it: exit codes, what goes to standard output
// and standard error, and that the data shown is the module's.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "sfpsim/module.h"
#include "tool/run_tool.h"

namespace {

using sfpctl_test::lines_of;
using sfpctl_test::run_sfpctl;
using sfpctl_test::ToolRun;
using Bytes = std::vector<uint8_t>;
using Args = std::vector<std::string>;

const sfpsim::Memory &memory_of(const std::string &profile) {
  const sfpsim::Profile *found = sfpsim::find_profile(profile);
  if (found == nullptr) {
    throw std::runtime_error("no profile " + profile);
  }
  return found->memory;
}

template <typename Memory> Bytes slice(const Memory &memory, std::size_t from, std::size_t n) {
  return {memory.begin() + static_cast<std::ptrdiff_t>(from),
          memory.begin() + static_cast<std::ptrdiff_t>(from + n)};
}

// A failed run: the exit code, nothing on standard output and exactly
// `lines` lines on standard error, each starting "sfpctl: ".
testing::AssertionResult failed_with(const ToolRun &run, int exit_code, std::size_t lines = 1) {
  const std::vector<std::string> err = lines_of(run.err);
  const bool prefixed = std::all_of(err.begin(), err.end(),
                                    [](const std::string &l) { return l.starts_with("sfpctl: "); });
  if (run.exit_code == exit_code && run.out.empty() && err.size() == lines && prefixed) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure()
         << "exit " << run.exit_code << "\nstdout: " << run.out << "\nstderr: " << run.err;
}

// One hex dump line: "0xOOOO:  hh hh ...  |ascii|".
struct DumpLine {
  unsigned offset = 0;
  Bytes bytes;
  std::string ascii;
  std::size_t ascii_column = 0;
};

std::vector<DumpLine> parse_dump(const std::string &out) {
  std::vector<DumpLine> dump;
  for (const std::string &line : lines_of(out)) {
    const std::size_t colon = line.find(':');
    const std::size_t bar = line.find('|', colon);
    if (colon == std::string::npos || bar == std::string::npos || line.back() != '|') {
      ADD_FAILURE() << "not a dump line: " << line;
      break;
    }
    DumpLine parsed{static_cast<unsigned>(std::stoul(line.substr(0, colon), nullptr, 16)),
                    {},
                    line.substr(bar + 1, line.size() - bar - 2),
                    bar};
    std::istringstream hex(line.substr(colon + 1, bar - colon - 1));
    for (std::string byte; hex >> byte;) {
      parsed.bytes.push_back(static_cast<uint8_t>(std::stoul(byte, nullptr, 16)));
    }
    dump.push_back(parsed);
  }
  return dump;
}

Bytes dumped_bytes(const std::string &out) {
  Bytes bytes;
  for (const DumpLine &line : parse_dump(out)) {
    bytes.insert(bytes.end(), line.bytes.begin(), line.bytes.end());
  }
  return bytes;
}

bool has_line(const std::string &text, const std::string &pattern) {
  const std::vector<std::string> lines = lines_of(text);
  return std::any_of(lines.begin(), lines.end(), [&](const std::string &line) {
    return std::regex_search(line, std::regex(pattern));
  });
}

TEST(sfpctlHelp, ToolAndEveryCommandHaveHelp) {
  const ToolRun tool = run_sfpctl({"--help"});
  EXPECT_EQ(tool.exit_code, 0);
  for (const char *word : {"sfpdrv", "simulated", "profiles", "read", "write", "regs", "trace",
                           "--sim", "--image", "--log", "--no-read-select", "--no-write-select"}) {
    EXPECT_NE(tool.out.find(word), std::string::npos) << word;
  }
  const std::vector<std::pair<std::string, Args>> commands = {
      {"profiles", {}},
      {"read", {"PAGE", "OFFSET", "LENGTH"}},
      {"write", {"PAGE", "OFFSET", "BYTES"}},
      {"regs", {}},
      {"trace", {}}};
  for (const auto &[command, arguments] : commands) {
    const ToolRun run = run_sfpctl({command, "--help"});
    EXPECT_EQ(run.exit_code, 0) << command;
    EXPECT_NE(run.out.find("Usage: sfpctl " + command), std::string::npos) << run.out;
    for (const std::string &argument : arguments) {
      EXPECT_NE(run.out.find(argument), std::string::npos) << command << ": " << argument;
    }
  }
}

TEST(sfpctlUsage, BadCommandLinesGiveOneLineAndExitTwo) {
  const std::vector<std::pair<Args, std::string>> cases = {
      {{}, "subcommand"},
      {{"frobnicate"}, "'frobnicate'"},
      {{"read", "zz", "0", "1"}, "'zz'"},
      {{"read", "-1", "0", "1"}, "-1"},
      {{"read", "256", "0", "1"}, "256"},
      {{"read", "0", "0x100", "1"}, "0x100"},
      {{"read", "0", "0", "0"}, "LENGTH"},
      {{"read", "0", "0", "257"}, "257"},
      {{"read", "0", "0"}, "LENGTH"},
      {{"read", "0", "0", "8", "extra"}, "extra"},
      {{"write", "0", "0"}, "BYTES"},
      {{"write", "0", "0", "1", "0x1ff"}, "0x1ff"},
      {{"--sim", "no-such-module", "read", "0", "0", "1"}, "no-such-module"},
      {{"--sim", "blank", "--image", "x.bin", "read", "0", "0", "1"}, "--image"},
  };
  for (const auto &[args, needle] : cases) {
    const ToolRun run = run_sfpctl(args);
    EXPECT_TRUE(failed_with(run, 2)) << needle;
    EXPECT_NE(run.err.find(needle), std::string::npos) << run.err;
  }
}

TEST(sfpctlProfiles, ListsEveryProfileWithItsDescriptionInOneColumn) {
  const ToolRun run = run_sfpctl({"profiles"});
  ASSERT_EQ(run.exit_code, 0);
  const std::vector<std::string> lines = lines_of(run.out);
  ASSERT_EQ(lines.size(), sfpsim::profiles().size());
  const std::size_t column = lines[0].find(sfpsim::profiles()[0].description);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const sfpsim::Profile &profile = sfpsim::profiles()[i];
    EXPECT_TRUE(lines[i].starts_with(profile.name + " ")) << lines[i];
    EXPECT_EQ(lines[i].find(profile.description), column) << lines[i];
  }
}

TEST(sfpctlRead, DumpsA0hOfEveryIdentifiableProfile) {
  for (const sfpsim::Profile &profile : sfpsim::profiles()) {
    if (profile.name == "blank") {
      continue; // not identifiable, see sfpctlCreate
    }
    const ToolRun run = run_sfpctl({"--sim", profile.name, "read", "0", "0", "0x100"});
    ASSERT_EQ(run.exit_code, 0) << profile.name << ": " << run.err;
    const std::vector<DumpLine> dump = parse_dump(run.out);
    ASSERT_EQ(dump.size(), 16u);
    EXPECT_EQ(dump[15].offset, 0xf0u);
    EXPECT_EQ(dump[0].bytes[0], profile.memory.a0[0]) << "identifier of " << profile.name;
    EXPECT_EQ(dumped_bytes(run.out), slice(profile.memory.a0, 0, 256));
    // The vendor name (bytes 20 to 35) is printable, so the ASCII column shows it.
    const Bytes vendor = slice(profile.memory.a0, 20, 16);
    EXPECT_EQ(dump[1].ascii.substr(4) + dump[2].ascii.substr(0, 4),
              std::string(vendor.begin(), vendor.end()));
  }
}

TEST(sfpctlRead, LinesCountFromTheRequestedOffsetAndKeepTheAsciiColumn) {
  const ToolRun run = run_sfpctl({"read", "0", "0x14", "20"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<DumpLine> dump = parse_dump(run.out);
  ASSERT_EQ(dump.size(), 2u);
  EXPECT_EQ(dump[0].offset, 0x14u);
  EXPECT_EQ(dump[1].offset, 0x24u);
  EXPECT_EQ(dump[0].ascii_column, dump[1].ascii_column);
  EXPECT_EQ(dumped_bytes(run.out), slice(memory_of("10gbase-sr").a0, 0x14, 20));
}

TEST(sfpctlRead, ReadSelectFlagDecidesWhichA2hTableIsRead) {
  const sfpsim::Memory &memory = memory_of("10gbase-sr");
  const Bytes table2 = slice(memory.tables[2], 0, 32);
  const Bytes selected = slice(memory.tables[memory.a2_lower[sfpsim::kTableSelectOffset]], 0, 32);
  ASSERT_NE(table2, selected) << "the profile must tell the tables apart";

  const ToolRun with_select = run_sfpctl({"read", "4", "0", "32"});
  EXPECT_EQ(dumped_bytes(with_select.out), table2) << with_select.err;
  const ToolRun without = run_sfpctl({"--no-read-select", "read", "4", "0", "32"});
  EXPECT_EQ(dumped_bytes(without.out), selected) << without.err;
}

TEST(sfpctlAccess, LibraryRefusalsShowTheStatusAndTheTraceLine) {
  const std::vector<std::pair<Args, std::string>> cases = {
      {{"--sim", "10g-dac-1m", "read", "2", "0", "8"}, "requested PAGE 2 is beyond supported"},
      {{"read", "0", "200", "100"}, "cross upper page boundary"},
      {{"read", "6", "128", "4"}, "beyond supported pages"},
      {{"--sim", "10g-dac-1m", "write", "1", "0", "1"}, "requested PAGE 1 is beyond supported"},
      {{"write", "0", "255", "1", "2"}, "cross upper page boundary"},
  };
  for (const auto &[args, needle] : cases) {
    const ToolRun run = run_sfpctl(args);
    ASSERT_TRUE(failed_with(run, 1, 2)) << needle;
    const std::string command = args[args.size() == 6 ? 2 : 0];
    EXPECT_EQ(lines_of(run.err)[0],
              "sfpctl: " + command + " failed: status 22 (invalid argument, handle or access)");
    EXPECT_NE(lines_of(run.err)[1].find(needle), std::string::npos) << run.err;
  }
}

TEST(sfpctlWrite, ConfirmsAndPutsTheBytesOnTheBus) {
  const ToolRun run = run_sfpctl({"--log", "write", "1", "0x80", "0x12", "52"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "wrote 2 bytes at page 1 offset 0x80\n");
  EXPECT_TRUE(has_line(run.err, R"(write +page 1 offset 0x80 .*: 12 34$)")) << run.err;
}

TEST(sfpctlWrite, WriteSelectFlagDecidesWhetherTheTableIsSelectedFirst) {
  const std::string select = R"(write +page 1 offset 0x7f .*: 01$)";
  const std::string data = R"(write +page 3 offset 0x00 .*: aa$)";
  const ToolRun with_select = run_sfpctl({"--log", "write", "3", "0", "0xaa"});
  EXPECT_TRUE(has_line(with_select.err, select)) << with_select.err;
  EXPECT_TRUE(has_line(with_select.err, data)) << with_select.err;

  const ToolRun without = run_sfpctl({"--log", "--no-write-select", "write", "3", "0", "0xaa"});
  EXPECT_FALSE(has_line(without.err, select)) << without.err;
  EXPECT_TRUE(has_line(without.err, data)) << without.err;
}

// A file in the temporary directory, removed at the end of the test.
struct TempFile {
  explicit TempFile(const std::string &contents)
      : path(std::filesystem::temp_directory_path() /
             ("sfpctl_test_" + std::to_string(getpid()) + ".hex")) {
    std::ofstream(path) << contents;
  }
  ~TempFile() { std::filesystem::remove(path); }
  std::filesystem::path path;
};

TEST(sfpctlImage, MissingOrMalformedFileIsOneLineAndExitOne) {
  const std::string missing = "/nonexistent/sfpctl/module.bin";
  const ToolRun run = run_sfpctl({"--image", missing, "read", "0", "0", "1"});
  EXPECT_TRUE(failed_with(run, 1));
  EXPECT_NE(run.err.find(missing), std::string::npos) << run.err;

  const TempFile bad("03 04 zz 10\n");
  const ToolRun malformed = run_sfpctl({"--image", bad.path.string(), "read", "0", "0", "1"});
  EXPECT_TRUE(failed_with(malformed, 1));
  EXPECT_NE(malformed.err.find("cannot load image"), std::string::npos) << malformed.err;
}

TEST(sfpctlImage, PlainHexImageIsTheModuleRead) {
  sfpsim::Memory memory = memory_of("10gbase-sr");
  const std::string vendor = "TESTVENDOR      ";
  std::copy(vendor.begin(), vendor.end(), memory.a0.begin() + 20);
  std::string text;
  for (std::size_t i = 0; i < memory.a0.size(); ++i) {
    char byte[4];
    std::snprintf(byte, sizeof byte, "%02x%c", memory.a0[i], i % 16 == 15 ? '\n' : ' ');
    text += byte;
  }
  const TempFile image(text);

  const ToolRun run = run_sfpctl({"--image", image.path.string(), "read", "0", "0", "48"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(dumped_bytes(run.out), slice(memory.a0, 0, 48));
  EXPECT_NE(run.out.find("TESTVENDOR"), std::string::npos) << run.out;
}

TEST(sfpctlRegs, PrintsFifteenRegistersStartingWithTheIdentifier) {
  const std::regex reg_line(R"(^0x[0-9A-F]{4}\s+(\S.*\S)\s+: 0x([0-9A-F]{8})$)");
  for (const std::string profile : {"10gbase-sr", "10g-tunable-dwdm"}) {
    const ToolRun run = run_sfpctl({"--sim", profile, "regs"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::vector<std::smatch> registers;
    const std::vector<std::string> lines = lines_of(run.out);
    for (const std::string &line : lines) {
      std::smatch match;
      if (std::regex_match(line, match, reg_line)) {
        registers.push_back(match);
      }
    }
    ASSERT_EQ(registers.size(), 15u) << run.out;
    EXPECT_EQ(registers[0][1].str(), "SFP_Ident");
    EXPECT_EQ(std::stoul(registers[0][2].str(), nullptr, 16), memory_of(profile).a0[0]);
  }
}

TEST(sfpctlTrace, ShowsBothBuffersAfterACreation) {
  const ToolRun run = run_sfpctl({"trace"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::size_t err_heading = run.out.find("== sfp_err ==\n");
  const std::size_t evt_heading = run.out.find("== sfp_evt ==\n");
  ASSERT_LT(err_heading, evt_heading);
  ASSERT_NE(evt_heading, std::string::npos);
  EXPECT_GT(run.out.find("SFP DLL init done"), evt_heading) << run.out;
}

TEST(sfpctlCreate, UnidentifiableModuleStopsPortCommandsButNotTrace) {
  const std::string cannot_create =
      "sfpctl: cannot create port: status 95 (unknown module type or unsupported operation)\n";
  const ToolRun read = run_sfpctl({"--sim", "blank", "read", "0", "0", "1"});
  EXPECT_TRUE(failed_with(read, 1));
  EXPECT_EQ(read.err, cannot_create);

  const ToolRun trace = run_sfpctl({"--sim", "blank", "trace"});
  EXPECT_EQ(trace.exit_code, 1);
  EXPECT_EQ(trace.err, cannot_create);
  EXPECT_NE(trace.out.find("== sfp_evt =="), std::string::npos);
  EXPECT_NE(trace.out.find("Invalid device type"), std::string::npos) << trace.out;
}

} // namespace
