// sfpctl as an operator runs it: exit codes, what goes to standard output
// and standard error, and that the data shown is the module's.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "sfpsim/module.h"
#include "tool/tool_run.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tooltest::Lines;
using tooltest::lines_of;
using tooltest::run_shell;
using tooltest::take_file;
using tooltest::ToolRun;

// Runs sfpctl with a command line the shell splits at spaces, the library's
// waits on the virtual clock; standard output goes to `stdout_to` when given
// (a shell redirection).
ToolRun run_sfpctl(const std::string &args, const std::string &stdout_to = "",
                   const char *clock = "--fast") {
  return run_shell(SFPCTL_PATH " " + std::string(clock) + " " + args, stdout_to);
}

// Runs sfpctl and checks its exit code and that the lines on standard output
// and standard error match the patterns one for one.
void expect_run(const std::string &args, int exit_code, const Lines &out, const Lines &err) {
  const ToolRun run = run_sfpctl(args);
  EXPECT_EQ(run.exit_code, exit_code) << args << "\nstderr: " << run.err;
  for (const auto &[text, patterns] : {std::pair{run.out, out}, std::pair{run.err, err}}) {
    const Lines lines = lines_of(text);
    EXPECT_EQ(lines.size(), patterns.size()) << args << "\n" << text;
    for (std::size_t i = 0; i < std::min(lines.size(), patterns.size()); ++i) {
      EXPECT_TRUE(std::regex_search(lines[i], std::regex(patterns[i])))
          << args << ": " << lines[i] << "\ndoes not match " << patterns[i];
    }
  }
}

template <typename Memory> Bytes slice(const Memory &memory, std::size_t from, std::size_t n) {
  return {memory.begin() + static_cast<std::ptrdiff_t>(from),
          memory.begin() + static_cast<std::ptrdiff_t>(from + n)};
}

std::string hex(const Bytes &bytes) {
  std::string text;
  for (uint8_t byte : bytes) {
    text += {' ', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  }
  return text;
}

// The bytes of a dump of lines "0xOOOO:  hh ...  |ascii|" counting on 16 bytes a
// line from `from`, the ASCII column in one place showing the printable bytes.
Bytes dumped(const std::string &out, std::size_t from) {
  static const std::regex line_form(R"(^0x([0-9a-f]{4}): ((?: [0-9a-f]{2}| {3}){16})  \|(.*)\|$)");
  Bytes bytes;
  for (const std::string &line : lines_of(out)) {
    std::smatch match;
    if (!std::regex_match(line, match, line_form) || bytes.size() % 16 != 0 ||
        std::stoul(match[1].str(), nullptr, 16) != from + bytes.size()) {
      ADD_FAILURE() << "misplaced dump line: " << line;
      break;
    }
    std::string ascii;
    std::istringstream in(match[2].str());
    for (unsigned byte = 0; in >> std::hex >> byte;) {
      bytes.push_back(static_cast<uint8_t>(byte));
      ascii += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
    }
    EXPECT_EQ(match[3].str(), ascii) << line;
  }
  return bytes;
}

// The tool's help names every command and option; each command has its own
// usage line, and the snapshot commands that print a record offer --json.
TEST(sfpctlHelp, ToolAndEveryCommandHaveHelp) {
  const ToolRun tool = run_sfpctl("--help");
  EXPECT_EQ(tool.exit_code, 0);
  for (const char *option : {"--sim", "--image", "--rate", "--fast", "--fail-at", "--log",
                             "--no-read-select", "--no-write-select"}) {
    EXPECT_NE(tool.out.find(option), std::string::npos) << option;
  }
  for (const std::string usage : {"profiles",
                                  "create",
                                  "identify",
                                  "types .*FILTER",
                                  "convert .*SUBCOMMAND",
                                  "read .*PAGE OFFSET LENGTH",
                                  "write .*PAGE OFFSET BYTES",
                                  "regs",
                                  "tune .*CHANNEL",
                                  "tx .*STATE",
                                  "cdr .*STATE",
                                  "ctle .*SUBCOMMAND",
                                  "power-class .*LEVEL",
                                  "admin .*STATE",
                                  "phy .*SUBCOMMAND",
                                  "phy-speed .*SPEED",
                                  "trace",
                                  "report",
                                  "status",
                                  "info",
                                  "debug"}) {
    const std::string command = usage.substr(0, usage.find(' '));
    EXPECT_NE(tool.out.find("\n  " + command), std::string::npos) << command;
    const ToolRun run = run_sfpctl(command + " --help");
    EXPECT_EQ(run.exit_code, 0) << usage;
    EXPECT_TRUE(std::regex_search(run.out, std::regex("Usage: sfpctl " + usage))) << run.out;
    const bool json = command == "status" || command == "info" || command == "identify";
    EXPECT_EQ(run.out.find("--json") != std::string::npos, json) << command;
  }
}

TEST(sfpctlUsage, BadCommandLinesGiveOneLineNamingTheValueAndExitTwo) {
  std::string spaced = "x";
  for (int i = 0; i < 30; ++i) {
    spaced += " y";
  }
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "a command is needed: profiles, .* or check\\. Run 'sfpctl --help'"},
      {"ctle", "ctle needs one of on, off or peaking\\. Run 'sfpctl ctle --help'"},
      {"-- read 0 0 1", "'--' ends the options, so it goes after the command"},
      // A global option's error names the tool's help, a nested command's its own.
      {"--rate 40g read 0 0 1",
       "--rate: '40g' is not one of 10g, 25g or 50g\\. Run 'sfpctl --help'"},
      {"phy write 1 -1", "VALUE: -1 is out of range 0\\.\\.65535\\. Run 'sfpctl phy write --help'"},
      {"phy --bus-mode 3 read 4",
       "--bus-mode: 3 is out of range 0\\.\\.1\\. Run 'sfpctl phy --help'"},
      {"tx 1", "STATE: '1' is not one of off or on"},
      {"frobnicate", "'frobnicate'"},
      {"read zz 0 1", "PAGE: 'zz' is not a number"},
      {"read -1 0 1", "PAGE: -1 is out of range"},
      {"create --data-ready-after 99999999999", "--data-ready-after: 99999999999 is out of range"},
      {"--fail-at 1:300 read 0 0 1", "OFFSET 300 in '1:300' is out of range 0\\.\\.255"},
      {"read 0 0x100 1", "0x100"},
      {"read 0 0 0", "LENGTH"},
      {"read 0 0 8 extra", "extra"},
      {"write 0 0", "BYTES"},
      {"write 0 0 1 0x1ff", "0x1ff"},
      {"--sim no-such-module read 0 0 1", "no-such-module"},
      {"--sim blank --image x.bin read 0 0 1", "--image"},
      {"--image '' read 0 0 1", "--image: a file path is needed"},
      {"--image= read 0 0 1", "--image: a file path is needed"},
      {"--bogus read 0 0 1", "unknown option '--bogus'\\. Run 'sfpctl --help'"},
      {"read 0 0 99999999999", "99999999999 is out of range"},
      {"--sim " + std::string(100, 'y') + " read 0 0 1", "'y{40}\\.\\.\\.' "},
      // An argument is cut as a whole, its control bytes escaped.
      {"--sim '" + spaced + "' read 0 0 1", "'x( y){19} \\.\\.\\.' "},
      {R"sh(--sim "$(printf 'a\nb\033[31m')" read 0 0 1)sh", R"('a\\nb\\x1b\[31m')"},
      {"--json status", "'--json': it is an option of the command .*'sfpctl status --json'\\). Run "
                        "'sfpctl status --help'"},
      {"qsa poll --script ''", "--script: no steps given"},
  };
  for (const auto &[args, needle] : cases) {
    expect_run(args, 2, {}, {"^sfpctl: .*" + needle});
  }
}

TEST(sfpctlOutput, LostOutputIsOneErrorLineAndExitOne) {
  for (const auto &[args, out] : std::vector<std::pair<std::string, std::string>>{
           {"read 0 0 256", ">/dev/full"}, {"trace", ">/dev/full"}, {"read 0 0 16", ">&-"}}) {
    const ToolRun run = run_sfpctl(args, out);
    EXPECT_EQ(run.exit_code, 1) << args << out;
    EXPECT_TRUE(std::regex_match(run.err, std::regex("sfpctl: cannot write standard output.*\n")))
        << args << out << ": " << run.err;
  }
}

TEST(sfpctlProfiles, ListsEveryProfileWithItsDescriptionInOneColumn) {
  const ToolRun run = run_sfpctl("profiles");
  ASSERT_EQ(run.exit_code, 0);
  const Lines lines = lines_of(run.out);
  ASSERT_EQ(lines.size(), sfpsim::profiles().size());
  const std::size_t column = lines[0].find(sfpsim::profiles()[0].description);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const sfpsim::Profile &profile = sfpsim::profiles()[i];
    EXPECT_TRUE(lines[i].starts_with(profile.name + " ")) << lines[i];
    EXPECT_EQ(lines[i].find(profile.description), column) << lines[i];
  }
}

TEST(sfpctlAccess, RefusalsShowTheStatusAndTheTraceLine) {
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"--sim 10g-dac-1m read 2 0 8", "read", "requested PAGE 2 is beyond supported"},
      {"write 0 255 1 2", "write", "cross upper page boundary"},
  };
  const std::string status = R"( failed: status 22 \(invalid argument, handle or access\)$)";
  for (const auto &[args, command, needle] : cases) {
    expect_run(args, 1, {}, {"^sfpctl: " + command + status, needle});
  }
}

TEST(sfpctlSelect, FlagsDecideWhetherTheTableIsSelectedFirst) {
  const sfpsim::Memory &memory = sfpsim::find_profile("10gbase-sr")->memory;
  const Bytes table2 = slice(memory.tables[2], 0, 8);
  const Bytes current = slice(memory.tables[memory.a2_lower[sfpsim::kTableSelectOffset]], 0, 8);
  ASSERT_NE(table2, current) << "the profile must tell the tables apart";
  const std::string select = "^bus write +page 1 offset 0x7f length +1 status 0: ";
  const std::string read = "^bus read +page 4 offset 0x00 length +8 status 0:";
  const std::string wrote = "^wrote 2 bytes at page 3 offset 0x10$";
  const std::string write = "^bus write +page 3 offset 0x10 length +2 status 0: 12 34$";
  expect_run("--log read 4 0 8", 0, {"^0x0000: " + hex(table2) + " +\\|"},
             {select + "02$", read + hex(table2) + "$"});
  expect_run("--log --no-read-select read 4 0 8", 0, {"^0x0000: " + hex(current) + " +\\|"},
             {read + hex(current) + "$"});
  expect_run("--log write 3 0x10 0x12 52", 0, {wrote}, {select + "01$", write});
  expect_run("--log --no-write-select write 3 0x10 0x12 52", 0, {wrote}, {write});
}

TEST(sfpctlImage, LoadsAHexFileAndRefusesAMissingOrMalformedOne) {
  sfpsim::Memory memory = sfpsim::find_profile("10gbase-sr")->memory;
  std::copy_n("TESTVENDOR", 10, memory.a0.begin() + 20); // told apart from the sim
  const std::string image = testing::TempDir() + "sfpctl_image_" + std::to_string(getpid());
  std::ofstream(image) << hex(slice(memory.a0, 0, 256)) << "\n";
  const ToolRun run = run_sfpctl("--image " + image + " read 0 0x14 20");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(dumped(run.out, 0x14), slice(memory.a0, 20, 20));
  expect_run("--image /nonexistent/module.bin read 0 0 1", 1, {},
             {"^sfpctl: cannot load image: /nonexistent/module\\.bin"});
  std::ofstream(image) << "03 04 zz 10\n";
  expect_run("--image " + image + " read 0 0 1", 1, {},
             {"^sfpctl: cannot load image: " + image +
              ": not a module image: raw \\(text, not binary\\), hex \\(line 1: .*'zz'"});
  std::ofstream(image) << hex(slice(memory.a0, 0, 16)) << "\n 05 0\xc3\xa9\n";
  expect_run("--image " + image + " read 0 0 1", 1, {},
             {"^sfpctl: cannot load image: " + image +
              ": not a module image: .*hex \\(line 2, column 6: stray byte 0xc3"});
  std::filesystem::remove(image);

  // A FIFO whose writer never writes would be waited on for ever.
  ASSERT_EQ(mkfifo(image.c_str(), 0600), 0);
  const int writer = open(image.c_str(), O_RDWR | O_NONBLOCK);
  expect_run("--image " + image + " read 0 0 1", 1, {},
             {"^sfpctl: cannot load image: " + image + ": not a regular file"});
  close(writer);
  std::filesystem::remove(image);
}

TEST(sfpctlRegs, PrintsFifteenRegistersStartingWithTheIdentifier) {
  for (const std::string profile : {"10gbase-sr", "10g-tunable-dwdm"}) {
    char identifier[48];
    std::snprintf(identifier, sizeof identifier, "^0x0000\\s+SFP_Ident\\s+: 0x%08X$",
                  sfpsim::find_profile(profile)->memory.a0[0]);
    Lines lines(16, R"(^0x[0-9A-F]{4}\s+\S.*\S\s+: 0x[0-9A-F]{8}$)");
    lines[0] = "^OPTICS registers:$";
    lines[1] = identifier;
    expect_run("--sim " + profile + " regs", 0, lines, {});
  }
}

TEST(sfpctlTrace, ShowsBothBuffersAlsoWhenTheModuleCannotBeIdentified) {
  const std::string cannot_create =
      "sfpctl: cannot create port: status 95 (unknown module type or unsupported operation)\n";
  const std::vector<std::tuple<std::string, int, std::string, std::string>> cases = {
      {"trace", 0, "", "SFP DLL init done"},
      {"--sim blank trace", 1, cannot_create, "Invalid device type"},
  };
  for (const auto &[args, exit_code, err, event] : cases) {
    const ToolRun run = run_sfpctl(args);
    EXPECT_EQ(run.exit_code, exit_code) << args;
    EXPECT_EQ(run.err, err) << args;
    const std::size_t evt = run.out.find("== sfp_evt ==\n");
    EXPECT_TRUE(event.empty()
                    ? run.out.empty()
                    : run.out.starts_with("== sfp_err ==\n") && evt != std::string::npos &&
                          run.out.find(event, evt) != std::string::npos)
        << args << ": " << run.out;
  }
}

// identify's "label: value" lines.
std::map<std::string, std::string> identified(const std::string &out) {
  std::map<std::string, std::string> fields;
  static const std::regex field(R"(^([a-z -]+): +(.*)$)");
  for (const std::string &line : lines_of(out)) {
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, field)) << line;
    fields[match[1].str()] = match[2].str();
  }
  return fields;
}

using Fields = std::map<std::string, std::string>;

// Every profile is identified as the type its bytes describe, and carries
// our part numbers where its kind of module keeps them.
TEST(sfpctlIdentify, EveryProfileGetsItsTypeClassificationAndPartChecks) {
  const Fields optic{{"cable", "no"},
                     {"copper", "no"},
                     {"dwdm", "no"},
                     {"multi-rate", "no"},
                     {"defaulted", "no"},
                     {"supported", "Supported"},
                     {"pid check", "Supported"},
                     {"part check", "Supported"},
                     {"memory", "{ half_a0=1, full_a0=1, a2=1, dom=1 }"}};
  const Fields copper_cable{{"cable", "yes"},
                            {"copper", "yes"},
                            {"memory", "{ half_a0=1, full_a0=1, a2=0, dom=0 }"},
                            {"catalogue pn", "-"},
                            {"catalogue check", "Not available"}};
  const std::vector<std::tuple<std::string, Fields, Fields>> cases = {
      {"10gbase-sr",
       optic,
       {{"type", "594 SFP+ 10G SR"},
        {"pid", "PX-SFP-10G-SR"},
        {"catalogue pn", "74-0594-02"},
        {"catalogue check", "Supported"},
        {"vendor pn", "SL-10GSR-DM"},
        {"vendor pn check", "Not supported"}}},
      {"10g-dac-1m", copper_cable, {{"type", "692 SFP+ 10G CU1M"}, {"pid", "PX-SFP-10G-CU1M"}}},
      {"10g-tunable-dwdm",
       optic,
       {{"type", "765 SFP+ 10G DWDM Tunable"},
        {"dwdm", "tunable, channels 1 to 96, limiting receiver"}}},
      {"1000base-t",
       {{"cable", "no"}, {"copper", "yes"}, {"pid check", "Supported"}},
       {{"type", "533 SFP 1G 1000BASE-T"}, {"pid", "PX-SFP-1G-T"}}},
      {"10g-dwdm-ch44",
       optic,
       {{"type", "719 SFP+ 10G DWDM 1542.14nm"},
        {"dwdm", "ITU channel 44 (100 GHz), limiting receiver"},
        {"catalogue check", "Supported"}}},
      // Only the family's rates are supported types, and the lists name none
      // of them by the family's product ID.
      {"10-25g-sr-multirate",
       {{"supported", "Supported"}, {"pid", "PX-SFP-25G10G-SR"}, {"pid check", "Not supported"}},
       {{"type", "784 PX-SFP-25G10G-SR"},
        {"multi-rate", "yes, base type 806 PX-SFP-25G10G-SR, sub type 784 SFP28 25G SR"}}},
  };
  for (const auto &[profile, kind, own] : cases) {
    const ToolRun run = run_sfpctl("--sim " + profile + " identify");
    EXPECT_EQ(run.exit_code, 0) << profile << ": " << run.err;
    const Fields fields = identified(run.out);
    EXPECT_EQ(fields.size(), 15u) << profile;
    Fields expected = own;
    expected.insert(kind.begin(), kind.end()); // the profile's own values first
    for (const auto &[label, value] : expected) {
      EXPECT_EQ(fields.count(label) != 0 ? fields.at(label) : "(none)", value)
          << profile << ": " << label;
    }
  }
}

TEST(sfpctlIdentify, RateCodeAndRefusedModulesSayWhatTheModuleIs) {
  const std::string refused = "^sfpctl: cannot create port: status 95 ";
  expect_run("--sim 10-25g-sr-multirate --rate 10g identify", 0,
             {"^type: +594 PX-SFP-25G10G-SR$", "^supported: +Supported$", "",
              "^multi-rate: +yes, base type 806 .*, sub type 594 SFP\\+ 10G SR$", "", "", "", "",
              "", "", "", "", "", "", ""},
             {});
  // No 50G rate in the family: the base type itself is not supported.
  expect_run("--sim 10-25g-sr-multirate --rate 50g identify", 1,
             {"^type: +806 PX-SFP-25G10G-SR$", "^supported: +Failed - Unsupported Xcvr type$"},
             {refused});
  expect_run("--sim blank identify", 1,
             {"^type: +512 Unknown$", "^supported: +Failed - Not SFP type$"}, {refused});
  expect_run("--rate 40g identify", 2, {}, {"^sfpctl: .*40g"});
}

// A raw image file of the memory: 512 bytes, or A0h only (`size` 256).
std::string write_image(const sfpsim::Memory &memory, const std::string &name = "ident",
                        std::size_t size = 512) {
  std::string path = testing::TempDir() + "sfpctl_" + name + "_" + std::to_string(getpid());
  const auto image = sfpsim::Module(memory).caller_image();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(image.data()), static_cast<std::streamsize>(size));
  return path;
}

TEST(sfpctlIdentify, ImagesWithUnprintableOrMissingFieldsAndUnknownCodes) {
  sfpsim::Memory garbled = sfpsim::find_profile("10gbase-sr")->memory;
  std::copy_n("SL-\x01\xc3X\x7f         ", 16, garbled.a0.begin() + 40); // vendor PN
  std::fill_n(garbled.tables[0].begin() + 64, 20, 0xff);                 // PID: erased
  std::copy_n("74-0594-03", 10, garbled.tables[0].begin() + 10);         // a newer revision
  const std::string path = write_image(garbled);
  const ToolRun run = run_sfpctl("--image " + path + " identify");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  Fields fields = identified(run.out);
  EXPECT_EQ(fields["type"], "594 SFP+ 10G SR");
  EXPECT_EQ(fields["vendor pn"], "SL-..X.");
  EXPECT_EQ(std::make_pair(fields["pid"], fields["pid check"]),
            std::make_pair(std::string("-"), std::string("Not available")));
  EXPECT_EQ(fields["catalogue check"], "Supported");
  EXPECT_EQ(fields["part check"], "Supported");
  std::filesystem::remove(path);
}

TEST(sfpctlTypes, FiltersByRangeOrNameAndShowsCodesChannelsAndSupport) {
  const std::string header = "^TYPE +NAME +ATTR_LOW +ATTR_HIGH +EXT_ID +CHANNEL +SUPPORTED$";
  expect_run("types 0x2c0-705", 0,
             {header,
              "^ 704 +SFP\\+ 10G DWDM 1530.33nm +0x00000000 +0x00000000 +0x00c7 +59 \\(100 "
              "GHz\\) +yes$",
              "^ 705 .* +0x00c6 +58 \\(100 GHz\\) +yes$"},
             {});
  expect_run("types cx1", 0, {header, "^ 697 +SFP\\+ 10G CX1-15 +.* +- +no$"}, {});
  expect_run("types 1000base-sx", 0,
             {header, "^ 529 .* +0x00000001 +0x00000000 +0x0000 +- +yes$",
              "^ 853 .* +0x00000000 +0x00000000 +0x00d6 +- +yes$"},
             {});
  expect_run("types 854-900", 0, {}, {"^sfpctl: no type matches '854-900'$"});
  expect_run("types 743-704", 2, {},
             {"^sfpctl: types: FILTER: the range '743-704' runs backwards"});
}

TEST(sfpctlConvert, EachFormPrintsTheLibrarysConversions) {
  expect_run("convert wl 1550120", 0,
             {"^wavelength: +1550120 pm$", "^frequency: +193400 GHz$",
              "^wavelength \\(10 pm\\): +1550120 pm$", "^setpoint \\(50 pm\\): +31002$",
              "^kv channel: +55$", "^50 GHz index: +42$", "^ITU channel \\(100 GHz\\): +34$"},
             {});
  expect_run("convert freq 193420", 0,
             {"^frequency: +193420 GHz$", "^wavelength \\(10 pm\\): +1549960 pm$",
              "^its frequency: +193419 GHz$", "^kv channel: +-$", "^50 GHz index: +-$",
              "^ITU channel \\(100 GHz\\): +-$"},
             {});
  expect_run("convert kv 5", 0,
             {"^kv channel: +5$", "^frequency: +195900 GHz$", "^wavelength: +1530334 pm$",
              "^wavelength \\(10 pm\\): +1530330 pm$", "^50 GHz index: +92$",
              "^ITU channel \\(100 GHz\\): +59$"},
             {});
  expect_run("convert chan 193100 191350 50", 0,
             {"^frequency: +193100", "^grid: +channel 1 at 191350 GHz, 50 GHz apart$",
              "^channel: +36$", "^channel's frequency: +193100 GHz$"},
             {});
  expect_run("convert chan 191300 191350 50", 0, {"", "", "^channel: +0 \\(below the grid\\)$"},
             {});
  for (const std::string args : {"convert kv 0", "convert chan 1 1 0", "convert wl 0", "convert"}) {
    expect_run(args, 2, {}, {"^sfpctl: "});
  }
}

TEST(sfpctlTune, WritesTheModuleChannelAndRefusesWhatTheLibraryRefuses) {
  expect_run("--sim 10g-tunable-dwdm --log tune 5", 0,
             {"^channel 5: 191550 GHz, 1565090 pm$",
              "^module channel 5 written \\(A2h table 2 byte 145\\)$"},
             {"^bus write +page 1 offset 0x7f length +1 status 0: 02$",
              "^bus write +page 4 offset 0x91 length +1 status 0: 05$", "", ""});
  expect_run("--sim 10g-tunable-dwdm tune 97", 1, {},
             {"^sfpctl: tune failed: status 22 ",
              "tsfp wave channel not in usable range wave_channel: 97, supported_range: 1 - 96$"});
  expect_run("tune 5", 1, {}, {"^sfpctl: tune: the module is not tunable \\(type 594 "});
}

TEST(sfpctlPhy, RegistersMoveAsTheBoardIsWiredAndLinkAndAnAreShown) {
  const std::string phy = "--sim 1000base-t --log phy ";
  const std::string write = "^phy write address 0xac register ";
  expect_run(phy + "--word write 4 0x0de1", 0, {"^wrote 0x0de1 to register 4$"},
             {write + "0x04 value 0x0de1 status 0 page 0$"});
  expect_run(phy + "write 4 0x0de1", 0, {""},
             {write + "0x04 value 0x000d status 0", write + "0x04 value 0x00e1 status 0"});
  expect_run(phy + "--bus-mode 1 write 4 0x0de1", 0, {""},
             {write + "0x08 value 0x000d status 0", write + "0x09 value 0x00e1 status 0"});
  expect_run(phy + "--word read 22", 0, {"^register 22: 0x0000$"},
             {"^phy read +address 0xad register 0x16 "});
  expect_run("--sim 1000base-t phy --sim-link 1000 link", 0,
             {"^copper link: up, 1000 Mb/s$", "^fiber link: down$"}, {});
  expect_run("--sim 1000base-t phy an", 0, {"^auto-negotiation: 2 "}, {});
  expect_run("phy read 4", 1, {}, {"^sfpctl: phy: the module has no copper PHY \\(type 594 "});
  expect_run("--sim 1000base-t phy read 32", 2, {}, {"^sfpctl: .*32"});
  // A copper module from an image has no simulated PHY to answer.
  const std::string image = write_image(sfpsim::find_profile("1000base-t")->memory);
  expect_run("--image " + image + " phy link", 1, {},
             {"^sfpctl: phy: a module from --image has no simulated PHY "});
  expect_run("--image " + image + " phy --sim-link 1000 link", 2, {},
             {"^sfpctl: phy: --sim-link: the module has no simulated PHY"});
  std::filesystem::remove(image);
}

// What create shows, per module and creation parameters: identity, the state
// creation left the module in, and every wait it made.
TEST(sfpctlCreate, ShowsIdentityModuleStateWaitsAndStatus) {
  std::string hundreds = "100";
  for (int i = 1; i < 20; ++i) {
    hundreds += ", 100";
  }
  const std::vector<std::tuple<std::string, int, Fields>> cases = {
      {"--sim 10g-tunable-dwdm create",
       0,
       {{"memory", "{ half_a0=1, full_a0=1, a2=1, dom=1 }"},
        {"type", "765 SFP+ 10G DWDM Tunable"},
        {"supported", "Supported"},
        {"tunable", "channels 1 to 96 (offsets 0 to 95)"},
        {"multi-rate", "no"},
        {"transmitter", "soft-disabled (A2h byte 110 = 0x40)"},
        {"power level", "1 (A2h byte 118 = 0x00)"},
        {"waits", "100 ms"},
        {"wait total", "100 ms in 1 wait"},
        {"creation", "status 0 (ok)"}}},
      // Power level 1, transmitter off, 100 ms, CDR off, level 2/3, CTLE off.
      {"--sim 10-25g-sr-multirate create",
       0,
       {{"multi-rate", "yes, 25G (rate code 1): 784 SFP28 25G SR"},
        {"power level", "2/3 (A2h byte 118 = 0x01)"},
        {"tx cdr", "off (A2h byte 120 = 0x08)"},
        {"ctle", "adaptive off (A2h byte 120 = 0x08)"},
        {"waits", "300, 100, 300, 500 ms"}}},
      {"--sim 25gbase-sr create --data-ready-after never",
       1,
       {{"transmitter", "enabled (A2h byte 110 = 0x01)"},
        {"waits", hundreds + " ms"},
        {"wait total", "2000 ms in 20 waits"},
        {"creation", "status 14 (trace setup/data not ready/PHY forward failed)"}}},
      // Creation's own read of A2h is the first of the three.
      {"create --data-ready-after 3", 0, {{"waits", "100, 100, 100 ms"}}},
      {"create --no-module-present",
       0,
       {{"transmitter", "enabled (A2h byte 110 = 0x00)"}, {"waits", "none"}}},
      {"--sim 1000base-t create", 0, {{"tx cdr", "- (no A2h memory)"}}},
      {"--sim blank create",
       1,
       {{"type", "- (not identified)"},
        {"supported", "- (not checked)"},
        {"creation", "status 95 (unknown module type or unsupported operation)"}}},
  };
  for (const auto &[args, exit_code, expected] : cases) {
    const ToolRun run = run_sfpctl(args);
    EXPECT_EQ(run.exit_code, exit_code) << args << ": " << run.err;
    const Fields fields = identified(run.out);
    for (const auto &[label, value] : expected) {
      EXPECT_EQ(fields.count(label) != 0 ? fields.at(label) : "(none)", value)
          << args << ": " << label;
    }
  }
  expect_run("create --data-ready-after soon", 2, {}, {"^sfpctl: .*'soon'"});
  // With real sleeps, the note comes before the wait (300, 100, 300, then
  // 500 ms) that takes the run past one second.
  const ToolRun slow = run_sfpctl("--sim 25gbase-sr create", "", "");
  EXPECT_EQ(slow.err, "sfpctl: waiting for the module (700 ms so far; --fast skips waits)\n");
}

TEST(sfpctlCreate, BitBangFlagDecidesHowTheUpperTablesAreRead) {
  for (const bool bitbang : {false, true}) {
    const ToolRun run = run_sfpctl(std::string("--log create") + (bitbang ? " --bitbang" : ""));
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.err.find("bus bb-read page 2 offset 0x8a length  10") != std::string::npos,
              bitbang)
        << run.err;
    EXPECT_EQ(run.err.find("bus read    page 2 offset 0x00 length 128") != std::string::npos,
              !bitbang)
        << run.err;
  }
}

// A 25G optic that asks for power level 2, supports adaptive CTLE and has Tx
// peaking bits set.
std::string control_image() {
  sfpsim::Memory memory = sfpsim::find_profile("25gbase-sr")->memory;
  memory.a0[64] |= 0x20;
  memory.a2_lower[114] = 0xf0;
  memory.a2_lower[122] = 0x03;
  sfpsim::fix_checksums(memory);
  return write_image(memory);
}

// Each control command's status line, the bytes it changed (read back from
// the module) and, for a failure, the library's status and trace record.
TEST(sfpctlControl, CommandsPrintTheirStatusAndTheBytesTheyChanged) {
  const std::string image = "--image " + control_image() + " ";
  const std::string sr = "--sim 25gbase-sr ";
  const std::string t = "--sim 1000base-t ";
  const std::string none = "^no module byte changed$";
  const std::string io_error = " failed: status 5 \\(callback status\\)$";
  const std::vector<std::tuple<std::string, int, Lines, Lines>> cases = {
      {sr + "tx on", 0, {"^tx on: status 0 \\(ok\\)$", "^A2h byte 110: 0x40 -> 0x00$"}, {}},
      {sr + "--fail-at 1:110 tx off",
       1,
       {"^tx off: status 5 \\(callback status\\)$", none},
       {"^sfpctl: tx off" + io_error, "SFP Tx Enable Write error$"}},
      {sr + "--log cdr on",
       0,
       {"^cdr on: status 0 \\(ok\\)$", "^A2h byte 120: 0x00 -> 0x06$"},
       {"^bus read .* offset 0x78 length +1 status 0: 00$",
        "^bus write .* offset 0x78 length +1 status 0: 06$",
        "^bus read .* offset 0x78 length +1 status 0: 06$"}},
      {image + "ctle peaking 0x05 --mask 0x30",
       0,
       {"^ctle peaking 0x05 mask 0x30: status 0 \\(ok\\)$", "^A2h byte 114: 0xf0 -> 0xc5$"},
       {}},
      {image + "ctle on --adaptive",
       0,
       {"^ctle on: status 0 ", "^A2h byte 120: 0x00 -> 0x01$"},
       {}},
      {sr + "power-class low",
       0,
       {"^power-class low: status 0 ", "^A2h byte 118: 0x01 -> 0x00$"},
       {}},
      {image + "power-class high",
       1,
       {"^power-class high: status 0xffffffff \\(module condition", none},
       {"^sfpctl: power-class high failed: status 0xffffffff "}},
      {sr + "admin up",
       0,
       {"^admin down to up: status 0 ", "^A2h byte 110: 0x40 -> 0x00$",
        "^A2h byte 120: 0x00 -> 0x06$"},
       {}},
      {sr + "--log admin up --from up", 0, {"^admin up to up: status 0 ", none}, {}},
      {sr + "admin up --from sideways", 2, {}, {"^sfpctl: .*sideways"}},
      {t + "phy-speed 100",
       0,
       {"^phy-speed 100 \\(forced, port down\\): status 0 ", "^stored: 100 Mb/s, forced$", none},
       {}},
      {t + "phy-speed 1000 --up",
       0,
       {"^phy-speed 1000 \\(forced, port up\\): status 0 ", "^stored: 1000 Mb/s, forced$",
        "^PHY page 0 register 0: 0x0000 -> 0x9140$", "^PHY page 0 register 4: 0x0000 -> 0x0c01$",
        "^PHY page 0 register 9: 0x0000 -> 0x0e00$", "^PHY page 0 register 16: 0x0000 -> 0x0370$",
        "^PHY page 0 register 27: 0x0000 -> 0x9084$", "^PHY page 1 register 0: 0x0000 -> 0x9140$"},
       {}},
      {"--fail-at 6:0 tx on", 2, {}, {"^sfpctl: .*'6:0'"}},
  };
  for (const auto &[args, exit_code, out, err] : cases) {
    expect_run(args, exit_code, out, err);
  }
  std::filesystem::remove(image.substr(8, image.size() - 9));
}

} // namespace

// ---- report, status, info, debug and --json ------------------------------------

std::string data_file(const std::string &name) {
  std::ostringstream text;
  text << std::ifstream(std::string(SFPDRV_TEST_DATA) + "/reports/" + name).rdbuf();
  return text.str();
}

// The library's texts as they are, for a module made and for one refused.
TEST(sfpctlReport, ReportAndDebugPrintTheLibrarysTextsAlsoForImagesItRefuses) {
  for (const auto &[args, file] : std::vector<std::pair<std::string, std::string>>{
           {"--sim 10gbase-sr report", "10gbase-sr.txt"},
           {"--sim 10g-tunable-dwdm debug", "10g-tunable-dwdm.debug.txt"}}) {
    const ToolRun run = run_sfpctl(args);
    EXPECT_EQ(run.exit_code, 0) << args << ": " << run.err;
    EXPECT_EQ(run.out, data_file(file)) << args;
  }
  EXPECT_TRUE(run_sfpctl("--sim 10gbase-sr debug").out.ends_with("\n"));
  // Bytes that are not printable show as '.'; a module of no known type
  // still gets its report, after the library's verdict.
  sfpsim::Memory odd = sfpsim::find_profile("10gbase-sr")->memory;
  std::copy_n("SL-\x02\xffX", 6, odd.a0.begin() + 40); // vendor PN
  odd.a0[63] ^= 0xff;
  const std::string path = write_image(odd);
  ToolRun run = run_sfpctl("--image " + path + " report");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("\n\tVendor Part Number: SL-..XSR-DM "), std::string::npos) << run.out;
  EXPECT_TRUE(std::all_of(run.out.begin(), run.out.end(), [](char c) {
    return (c >= 0x20 && c < 0x7f) || c == '\n' || c == '\t';
  }));
  odd.a0[3] = 0;
  (void)write_image(odd);
  run = run_sfpctl("--image " + path + " report");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(run.out.starts_with("supported: no (Failed - Unknown Xcvr type; the library refused "
                                  "the module: creation status 95 "))
      << run.out;
  EXPECT_NE(run.out.find("\nSFP EEPROM  port: 1\n\tXcvr Type: SFP\n\tXcvr Code: Unknown"),
            std::string::npos)
      << run.out;
  std::filesystem::remove(path);
}

TEST(sfpctlStatus, TableOfQuantitiesThresholdsAndFlags) {
  const std::string row = " +[-0-9.]+ (C|V|mA|dBm) +"; // value, then four limits
  expect_run("--sim 10gbase-sr status", 0,
             {"^QUANTITY +VALUE +HIGH ALARM +HIGH WARNING +LOW WARNING +LOW ALARM +ALARM "
              "+WARNING$",
              "^temperature +33.0 C +80.0 C +75.0 C +-5.0 C +-10.0 C +- +-$",
              "^supply +3.280 V +3.630 V +3.465 V +3.135 V +2.970 V +- +-$",
              "^tx bias +7.20 mA +13.00 mA" + row, "^tx power +-2.10 dBm +1.50 dBm" + row,
              "^rx power +-3.40 dBm +1.50 dBm" + row, "^wavelength +850.000 nm$", "^LOS +no$",
              "^Tx fault +no$", "^Tx disabled +yes$"},
             {});
  expect_run("--sim 10g-tunable-dwdm status", 0,
             {"", "", "", "", "", "", "^wavelength +1566.723 nm$", "^channel +1$", "", "", ""}, {});
  expect_run("--sim 1000base-t status", 0, {"^diagnostics: none \\(a copper or loopback type\\)$"},
             {});
}

// The keys and values of a JSON object of plain values on one line, in
// their order; none when the line is not such an object or holds a byte
// that is not printable ASCII.
using Members = std::vector<std::pair<std::string, std::string>>;
Members json_members(const std::string &line) {
  static const std::regex member(
      R"re("([a-z0-9_]+)": ("(?:[^"\\]|\\["\\]|\\u00[0-9a-f]{2})*"|-?[0-9][-+.e0-9]*|true|false|null)(?:, |\}$))re");
  if (!line.starts_with('{') ||
      !std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c < 0x7f; })) {
    return {};
  }
  Members members;
  for (auto at = line.cbegin() + 1; at != line.cend();) {
    std::smatch match;
    if (!std::regex_search(at, line.cend(), match, member,
                           std::regex_constants::match_continuous)) {
      return {};
    }
    members.emplace_back(match[1].str(), match[2].str());
    at = match[0].second;
  }
  return members;
}

// One object of snake_case keys with the unit in the name; null for what the
// module does not have, JSON escapes for bytes that are not printable.
TEST(sfpctlJson, StatusInfoAndIdentifyGiveOneObjectWithNullsForMissingValues) {
  sfpsim::Memory dark = sfpsim::find_profile("10gbase-sr")->memory;
  dark.a2_lower[104] = dark.a2_lower[105] = 0; // no light received
  std::copy_n("SL-\x01\xc3X\x7f", 7, dark.a0.begin() + 40);
  dark.tables[0][10 + 7] = 0x01; // in the catalogue PN
  sfpsim::fix_checksums(dark);
  const std::string path = write_image(dark);
  sfpsim::Memory unknown = sfpsim::find_profile("10gbase-sr")->memory;
  unknown.a0[3] = 0; // no compliance code: a type the library does not know
  sfpsim::fix_checksums(unknown);
  const std::string unknown_path = write_image(unknown, "unknown");
  const std::string common = "\"vendor_name\": \"SIMLAB OPTICS\"";
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"--sim 10gbase-sr status --json",
       {common, "\"vendor_pn\": \"SL-10GSR-DM\"", "\"vendor_sn\": \"SIM26030202\"",
        "\"wavelength_nm\": 850,", "\"temperature_c\": 33,", "\"vcc_v\": 3.28,",
        "\"tx_bias_ma\": 7.2,", "\"tx_power_mw\": 0.6166,", "\"tx_power_dbm\": -2.09",
        "\"rx_power_mw\": 0.4571,", "\"rx_power_dbm\": -3.39", "\"temperature_high_alarm_c\": 80,",
        "\"rx_power_low_alarm_dbm\": -15.00", "\"tx_bias_high_alarm_flag\": false",
        "\"los\": false", "\"channel\": null"}},
      {"--sim 10g-dac-1m status --json",
       {common, "\"wavelength_nm\": null,", "\"temperature_c\": null,", "\"vcc_v\": null,",
        "\"tx_bias_ma\": null,", "\"tx_power_mw\": null,", "\"tx_power_dbm\": null,",
        "\"rx_power_mw\": null,", "\"rx_power_dbm\": null,", "\"vcc_high_alarm_v\": null,"}},
      {"--image " + path + " info --json",
       {common, "\"vendor_pn\": \"SL-\\u0001\\u00c3X\\u007fR-DM\"", "\"rx_power_mw\": 0,",
        "\"rx_power_dbm\": null,", "\"pid\": \"PX-SFP-10G-SR\"", "\"type\": 594,",
        "\"compliance\": 0,"}},
      {"--image " + path + " identify --json", {"\"catalogue_pn\": \"74-0594\\u000102\""}},
      {"--sim 10g-tunable-dwdm identify --json",
       {common, "\"type\": 765,", "\"wavelength_nm\": 1566.723,", "\"pid_supported\": true,",
        "\"tunable_first_channel\": 1,", "\"tunable_last_channel\": 96,", "\"defaulted\": false"}},
      {"--sim 10g-dac-1m identify --json", {"\"catalogue_pn\": null,"}},
      {"--sim blank identify --json",
       {"\"type\": 512,", "\"vendor_name\": null,", "\"temperature_c\": null,"}},
      // The library's verdict and the adapter's fields lose their trailing blanks.
      {"--image " + unknown_path + " identify --json",
       {"\"supported\": false, \"verdict\": \"Failed - Unknown Xcvr type\","}},
      {"--qsa info --json",
       {"\"adapter_vendor_name\": \"SIMLAB OPTICS\",", "\"adapter_vendor_pn\": \"SL-QSA-10G\","}},
      {"--qsa identify --json", {"\"adapter_type\": 855, \"adapter_type_name\": \"PX-QSA-10G\","}},
      // A refused module: what its (empty) bytes say, and the verdict.
      {"--sim blank status --json",
       {"\"source\": \"sim:blank\",", "\"supported\": false,", "\"vendor_name\": null,",
        "\"tx_disabled\": null,"}},
      {"--sim blank info --json", {"\"vendor_name\": null,", "\"compliance\": 5,"}},
  };
  for (const auto &[args, needles] : cases) {
    const ToolRun run = run_sfpctl(args);
    EXPECT_EQ(lines_of(run.out).size(), 1u) << args;
    EXPECT_FALSE(json_members(run.out.substr(0, run.out.size() - 1)).empty()) << args << run.out;
    EXPECT_TRUE(run.out.ends_with("}\n")) << args << run.out;
    for (const std::string &needle : needles) {
      EXPECT_NE(run.out.find(needle), std::string::npos) << args << ": " << needle << "\n"
                                                         << run.out;
    }
  }
  std::filesystem::remove(path);
  std::filesystem::remove(unknown_path);
}

std::string hex_of(unsigned value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

// "good (stored 0x.., computed 0x..)" as a pattern.
std::string check_pattern(bool good, unsigned stored, unsigned computed, int digits = 2) {
  return std::string(good ? "good" : "bad") + " \\(stored " + hex_of(stored, digits) +
         ", computed " + hex_of(computed, digits) + "\\)";
}

unsigned byte_sum(const uint8_t *first, std::size_t count) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    sum += first[i];
  }
  return sum & 0xff;
}

// The identity, the library's verdict, and the module's own check bytes
// each with the value stored and the one computed.
TEST(sfpctlInfo, IdentityVerdictAndTheModulesOwnCheckBytes) {
  Lines identity = {"^vendor name: +SIMLAB OPTICS$",
                    "^vendor pn: +SL-10GSR-DM$",
                    "^vendor rev: +A1$",
                    "^vendor sn: +SIM26030202$",
                    "^date code: +260316$",
                    "^vendor oui: +02:5a:11$",
                    "^pid: +PX-SFP-10G-SR$",
                    "^clei: +SIMLABCLE2$",
                    "^version: +V01$",
                    "^type: +594 SFP\\+ 10G SR$",
                    "^compliance: +checksums pass$",
                    "^supported: +yes$",
                    "^integrity: ",
                    "^  base checksum: +good ",
                    "^  ext checksum: +good ",
                    "^  diag checksum: +good ",
                    "^catalogue crc: +good .*third-party"};
  expect_run("--sim 10gbase-sr info", 0, identity, {});
  sfpsim::Memory memory = sfpsim::find_profile("10gbase-sr")->memory;
  memory.a0[95] ^= 1;
  memory.a0[124] ^= 1;
  memory.a2_lower[95] ^= 0x10;
  const std::string path = write_image(memory);
  Lines bad(identity.size(), "");
  bad[10] = "^compliance: +extended checksum \\(A0h byte 95\\) does not match$";
  bad[13] = "^  base checksum: +" + check_pattern(true, memory.a0[63], memory.a0[63]) +
            ", A0h byte 63 over bytes 0..62$";
  bad[14] = "^  ext checksum: +" +
            check_pattern(false, memory.a0[95], byte_sum(memory.a0.data() + 64, 31)) +
            ", A0h byte 95 over bytes 64..94$";
  bad[15] = "^  diag checksum: +" +
            check_pattern(false, memory.a2_lower[95], byte_sum(memory.a2_lower.data(), 95)) +
            ", A2h byte 95 over A2h bytes 0..94$";
  uint32_t stored = 0;
  for (int i = 3; i >= 0; --i) {
    stored = stored << 8 | memory.a0[124 + static_cast<std::size_t>(i)];
  }
  bad[16] = "^catalogue crc: +" +
            check_pattern(false, stored, sfpsim::crc32({memory.a0.data() + 96, 28}), 8) +
            ", A0h bytes 124..127 over bytes 96..123: a catalogue check";
  expect_run("--image " + path + " info", 0, bad, {});
  std::filesystem::remove(path);
  // Empty fields show '-', as in identify; a module without diagnostics has
  // no diagnostics checksum.
  Lines dac(identity.size(), "");
  dac[7] = "^clei: +-$";
  dac[8] = "^version: +-$";
  dac[15] = "^  diag checksum: +- \\(the module declares no diagnostics\\)$";
  expect_run("--sim 10g-dac-1m info", 0, dac, {});
}

// The insertion poll through the default script: an insertion, an unchanged
// SFP, a swap and a removal, each with what the adapter and the platform do.
TEST(sfpctlQsa, PollPlaysTheDefaultScript) {
  const std::string reported = "^  qsa_evt: Port 1: OIR reported because qsa_is_sfp_inserted:true,";
  const Lines notified = {"^  notification: phase 0$", "^  notification: phase 1$"};
  const std::string sr = "594 SFP\\+ 10G SR, serial SIM26030202$";
  const std::string sx = "529 SFP 1G 1000BASE-SX, serial SIM26030101$";
  Lines out = {"^insert 10gbase-sr$", "^poll$", "^  status 0 \\(ok\\)$",
               reported + "qsa_sfp_instantiated false,qsa_sfp_swapped false$"};
  out.insert(out.end(), notified.begin(), notified.end());
  out.insert(out.end(),
             {"^  sfp port: none$", "^  platform: adapter port created again: status 0",
              "^  sfp port: " + sr, "^poll$", "^  status 0", "^  sfp port: " + sr,
              "^swap for 1000base-sx$", "^poll$", "^  status 0",
              "^  qsa_evt: Port 1: SFP is Swapped, new sfp serial number read SIM26030101",
              reported + "qsa_sfp_instantiated true,qsa_sfp_swapped true$"});
  out.insert(out.end(), notified.begin(), notified.end());
  out.insert(out.end(), {"^  sfp port: " + sr, "^  platform: adapter port created again: status 0",
                         "^  sfp port: " + sx, "^remove$", "^poll$", "^  status 0",
                         "^  qsa_evt: Port 1: sfp is removed, OIR reported becauseqsa_is_sfp_"
                         "inserted:false, qsa_sfp_instantiated true,qsa_sfp_swapped false$"});
  out.insert(out.end(), notified.begin(), notified.end());
  out.push_back("^  sfp port: none$");
  expect_run("qsa poll", 0, out, {});
  // Steps that do not fit the adapter still play, with a note; a module the
  // SFP layer refuses is named with its status, and the run ends with exit 1.
  const ToolRun odd = run_sfpctl("qsa poll --script remove,swap:blank,poll,insert");
  EXPECT_EQ(odd.exit_code, 1) << odd.err;
  std::size_t at = 0;
  for (const std::string line :
       {"remove\n  note: the adapter is empty: nothing to remove\n",
        "swap for blank\n  note: the adapter is empty: swapping in is an insertion\n",
        "\n  sfp port: none (the SFP layer refused the module: status 95 (unknown module type",
        "insert 10gbase-sr\n  note: the adapter already holds a module: inserting swaps it "
        "out\n"}) {
    at = odd.out.find(line, at);
    EXPECT_NE(at, std::string::npos) << line << "\nin:\n" << odd.out;
  }
  expect_run("qsa poll --script insert:1000base-sx,poll,dance", 2, {},
             {"^sfpctl: qsa poll: --script: cannot take 'dance'"});
}

// Behind an adapter that holds no SFP port, --json still gives one object
// with the keys it gives for an SFP: only the adapter's have a value.
TEST(sfpctlQsa, JsonWithoutAnSfpPortHasEveryKey) {
  for (const std::string command : {"status", "info", "identify"}) {
    const Members with =
        json_members(lines_of(run_sfpctl("--qsa " + command + " --json").out).at(0));
    const ToolRun run = run_sfpctl("--qsa --sim blank " + command + " --json");
    EXPECT_EQ(run.exit_code, 1) << command;
    const Lines lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 1u) << command << ": " << run.out;
    const Members without = json_members(lines[0]);
    ASSERT_EQ(without.size(), with.size()) << lines[0];
    for (std::size_t i = 0; i < with.size(); ++i) {
      const std::string &key = without[i].first;
      EXPECT_EQ(key, with[i].first) << command;
      const bool adapters = key == "tx_disabled" || key.starts_with("adapter") || key == "source" ||
                            key == "time" || (command == "identify" && key.starts_with("type"));
      EXPECT_EQ(without[i].second == "null", !adapters) << command << ": " << key;
    }
  }
}

// Behind the adapter: its own type and transmitter, adapter page codes, and
// the commands it does not pass on.
TEST(sfpctlQsa, CommandsThroughTheAdapter) {
  const ToolRun identify = run_sfpctl("--qsa identify");
  EXPECT_EQ(identify.exit_code, 0) << identify.err;
  EXPECT_TRUE(std::regex_search(
      identify.out, std::regex("^type: +594 SFP\\+ 10G SR\nadapter: +855 PX-QSA-10G\n")))
      << identify.out;
  // The SFP's own transmitter stays on; the adapter's was switched off at
  // creation.
  const ToolRun status = run_sfpctl("--qsa status");
  EXPECT_EQ(status.exit_code, 0) << status.err;
  EXPECT_NE(status.out.find("\nTx disabled  yes\n"), std::string::npos) << status.out;
  expect_run("--qsa read 0xA00 222 1", 0, {"^0x00de:  f2 "}, {});
  expect_run("--qsa tx on", 0, {"^tx on: status 0", "^adapter byte 86: 0x01 -> 0x00$"}, {});
  for (const std::string page : {"0xA0", "0xA04"}) {
    expect_run("read " + page + " 86 1", 2, {},
               {"^sfpctl: read: page " + page + " is an adapter page code"});
  }
  expect_run("--qsa read 0 0 1", 2, {}, {"^sfpctl: read: with --qsa PAGE is an adapter page"});
  const std::string passed_on = "the adapter does not pass it on to the SFP$";
  for (const auto &[command, why] : std::vector<std::pair<std::string, std::string>>{
           {"cdr on", passed_on},
           {"ctle on", passed_on},
           {"power-class high", passed_on},
           {"tune 1", passed_on},
           {"create", "the adapter port creates the SFP port its own way$"}}) {
    expect_run("--qsa " + command, 2, {},
               {"^sfpctl: [a-z-]+: not available behind an adapter \\(--qsa\\): " + why});
  }
  // A module the library refuses leaves the adapter port without an SFP
  // port: said on standard error, exit 1, the adapter still answers.
  expect_run("--qsa --sim blank identify", 1,
             {"^type: +855 PX-QSA-10G$", "^adapter: +855 PX-QSA-10G$"},
             {"^sfpctl: no SFP port behind the adapter: the module's creation failed"});
  expect_run("--qsa --sim blank debug", 1, {},
             {"^sfpctl: no SFP port behind the adapter: ",
              "^sfpctl: debug: no SFP port behind the adapter$"});
}

// ---- module images: refused modules, captured flags, A0h only, alarms ----------

// `needles` all appear in `text`.
void expect_all_in(const std::string &text, const std::vector<std::string> &needles,
                   const std::string &what) {
  for (const std::string &needle : needles) {
    EXPECT_NE(text.find(needle), std::string::npos) << what << ": " << needle << "\n" << text;
  }
}

// A module of a type the library does not know (creation status 95) is
// still shown from its bytes: identity, live values with their flags and
// the transmitter bit as captured, and its memory; the verdict beside them.
// Only identify, which is about the library's decision, fails.
TEST(sfpctlImages, RefusedModuleIsShownFromItsBytesBesideTheVerdict) {
  sfpsim::Memory memory = sfpsim::find_profile("10gbase-sr")->memory;
  memory.a0[3] = 0; // no compliance code: a type the library does not know
  sfpsim::fix_checksums(memory);
  memory.a2_lower[96] = 0x2a; // 42.5 C
  memory.a2_lower[97] = 0x80;
  memory.a2_lower[112] = 0x08; // tx bias high alarm, as captured
  memory.a2_lower[110] = 0x40; // soft Tx disable, as captured
  const std::string path = write_image(memory, "refused");
  const std::string image = "--image " + path + " ";
  const std::string verdict = "\"supported\": false, \"verdict\": \"Failed - Unknown Xcvr type\"";
  for (const std::string command : {"info --json", "status --json"}) {
    const ToolRun run = run_sfpctl(image + command);
    EXPECT_EQ(run.exit_code, 0) << command << ": " << run.err;
    EXPECT_EQ(run.err, "") << command;
    EXPECT_EQ(lines_of(run.out).size(), 1u) << run.out;
    EXPECT_FALSE(json_members(run.out.substr(0, run.out.size() - 1)).empty()) << run.out;
    expect_all_in(run.out,
                  {verdict, "\"vendor_name\": \"SIMLAB OPTICS\"", "\"vendor_pn\": \"SL-10GSR-DM\"",
                   "\"vendor_sn\": \"SIM26030202\"", "\"temperature_c\": 42.5,", "\"vcc_v\": 3.28,",
                   "\"tx_bias_ma\": 7.2,", "\"tx_power_mw\": 0.6166,", "\"rx_power_mw\": 0.4571,"},
                  command);
  }
  expect_all_in(run_sfpctl(image + "status --json").out,
                {"\"source\": \"image:" + path + "\"", "\"type\": 512, \"type_name\": \"Unknown\"",
                 "\"tx_bias_high_alarm_flag\": true,", "\"tx_bias_low_alarm_flag\": false,",
                 "\"tx_disabled\": true,"},
                "status --json");
  expect_run(image + "status", 0,
             {"^QUANTITY", "^temperature +42.5 C", "", "^tx bias +7.20 mA .* high +-$", "", "", "",
              "", "", "^Tx disabled +yes$",
              "^supported +no \\(Failed - Unknown Xcvr type; the library refused the module: "
              "creation status 95 "},
             {});
  expect_run(image + "info", 0,
             {"^vendor name: +SIMLAB OPTICS$", "", "", "", "", "", "^pid: +PX-SFP-10G-SR$", "", "",
              "^type: +512 Unknown$", "", "^supported: +no \\(Failed - Unknown Xcvr type; ", "", "",
              "", "^  diag checksum: +good ", ""},
             {});
  expect_run(image + "identify", 1, {"^type: +512 Unknown$", "^supported: +Failed - Unknown"},
             {"^sfpctl: cannot create port: status 95 "});
  const ToolRun read = run_sfpctl(image + "read 1 96 16");
  EXPECT_EQ(read.exit_code, 0) << read.err;
  EXPECT_EQ(hex(dumped(read.out, 96)), hex(slice(memory.a2_lower, 96, 16)));
  // Without the transmitter bit, the image says so too.
  memory.a2_lower[110] = 0;
  (void)write_image(memory, "refused");
  expect_all_in(run_sfpctl(image + "status --json").out, {"\"tx_disabled\": false,"}, "clear");
  std::filesystem::remove(path);
}

// An image keeps the alarm and warning flags it was captured with through
// the library's second look at them; an image of A0h only has no
// diagnostics rather than zeros.
TEST(sfpctlImages, CapturedFlagsShowAndAnA0hOnlyImageHasNoDiagnostics) {
  sfpsim::Memory memory = sfpsim::find_profile("1000base-sx")->memory;
  memory.a2_lower[112] = 0x20; // vcc high alarm
  memory.a2_lower[117] = 0x40; // rx power low warning
  const std::string path = write_image(memory, "flags");
  expect_run("--image " + path + " status", 0,
             {"", "^temperature .* - +-$", "^supply .* high +-$", "", "", "^rx power .* - +low$",
              "", "", "", ""},
             {});
  const std::string a0_only = write_image(memory, "a0only", 256);
  expect_run("--image " + a0_only + " status", 0, {"^no diagnostics in this image$"}, {});
  const ToolRun json = run_sfpctl("--image " + a0_only + " status --json");
  EXPECT_EQ(json.exit_code, 0);
  expect_all_in(json.out,
                {"\"diagnostics\": false, \"note\": \"no diagnostics in this image\"",
                 "\"vendor_sn\": \"SIM26030101\"", "\"temperature_c\": null,",
                 "\"rx_power_mw\": null,", "\"vcc_high_alarm_flag\": null,", "\"los\": null,"},
                "A0h only");
  expect_run("--image " + a0_only + " info", 0,
             {"", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
              "^  diag checksum: +- \\(no diagnostics in this image\\)$", ""},
             {});
  std::filesystem::remove(path);
  std::filesystem::remove(a0_only);
}

// The alarm profile runs hot with little light: its status says so.
TEST(sfpctlImages, AlarmProfileShowsItsAlarmsAndWarnings) {
  expect_run("--sim 25gbase-lr-alarm status", 0,
             {"", "^temperature +78.5 C .* high +high$", "^supply .* - +-$", "^tx bias .* - +-$",
              "^tx power .* - +-$", "^rx power +-15.00 dBm .* - +low$", "", "", "", ""},
             {});
  const ToolRun run = run_sfpctl("--sim 25gbase-lr-alarm status --json");
  EXPECT_EQ(run.exit_code, 0);
  expect_all_in(run.out,
                {"\"source\": \"sim:25gbase-lr-alarm\"", "\"type\": 786,",
                 "\"temperature_high_alarm_flag\": true,",
                 "\"temperature_high_warning_flag\": true,", "\"rx_power_low_alarm_flag\": false,",
                 "\"rx_power_low_warning_flag\": true,"},
                "alarm");
  EXPECT_TRUE(std::regex_search(
      run.out,
      std::regex(
          "\"time\": \"20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]Z\"")))
      << run.out;
}
