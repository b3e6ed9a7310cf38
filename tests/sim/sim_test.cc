// The simulated module's callbacks, its ready-made profiles and image files,
// and the simulated copper PHY: pairing of register halves, paging, refusals,
// the log and injected faults.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "sfpsim/module.h"

namespace {

using sfpsim::Bus;
using sfpsim::Memory;
using sfpsim::Module;
using Bytes = std::vector<uint8_t>;

// Every byte tells where it lives: A0h holds its offset, the A2h lower half
// 0x80 + its offset (but the select at 127, 0), and table t at A2h offset o
// (128..255) 0x40 * t + o - 128, modulo 256.
uint8_t table_byte(unsigned table, unsigned a2_offset) {
  return static_cast<uint8_t>(0x40 * table + a2_offset - 128);
}

class SimModule : public ::testing::Test {
protected:
  SimModule() {
    auto &mem = module.memory();
    std::iota(mem.a0.begin(), mem.a0.end(), uint8_t{0});
    std::iota(mem.a2_lower.begin(), mem.a2_lower.end() - 1, uint8_t{0x80});
    for (unsigned t = 0; t < 4; ++t) {
      std::iota(mem.tables[t].begin(), mem.tables[t].end(), table_byte(t, 128));
    }
  }
  Bytes read(uint8_t page, uint8_t offset, uint32_t length, int expect = 0) {
    Bytes out(length, 0xAA);
    EXPECT_EQ(Module::read_cb(&module, offset, page, length, out.data()), expect);
    return out;
  }
  int write(uint8_t page, uint8_t offset, Bytes data) {
    return Module::write_cb(&module, offset, page, static_cast<uint32_t>(data.size()), data.data());
  }
  void select(uint8_t table) { ASSERT_EQ(write(1, 127, {table}), 0); }

  Module module;
};

TEST_F(SimModule, MapsPagesToTheSelectedTableAndRefusesBadCalls) {
  const Memory before = module.memory();
  EXPECT_EQ(read(0, 250, 7, sfpsim::kRangeError), Bytes(7, 0xAA));
  EXPECT_EQ(read(2, 127, 2, sfpsim::kRangeError), Bytes(2, 0xAA)); // 255 and past
  EXPECT_EQ(read(2, 126, 2).size(), 2u);                           // 254 and 255
  uint8_t byte = 0;
  EXPECT_EQ(Module::read_cb(&module, 1, 0, ~0u, &byte), sfpsim::kRangeError); // 1 + ~0u wraps
  EXPECT_EQ(write(0, 255, {1, 2}), sfpsim::kRangeError);
  EXPECT_EQ(Module::read_cb(nullptr, 0, 0, 1, &byte), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::write_cb(&module, 0, 0, 4, nullptr), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::read_cb(&module, 0, 6, 1, &byte), sfpsim::kInvalidArgument);
  EXPECT_EQ(Module::write_cb(&module, 0, 0, 0, nullptr), 0);
  EXPECT_EQ(module.memory(), before);
  EXPECT_EQ(module.log().size(), 8u); // all but the call without a module

  EXPECT_EQ(read(0, 10, 3), (Bytes{10, 11, 12}));
  EXPECT_EQ(read(1, 4, 2), (Bytes{0x84, 0x85}));
  select(2);
  // Table 2 as the library reads it (page 4), by the low offset, and via page 1.
  EXPECT_EQ(read(4, 130, 1)[0], table_byte(2, 130));
  EXPECT_EQ(read(4, 2, 1)[0], table_byte(2, 130));
  EXPECT_EQ(read(1, 126, 3), (Bytes{0xFE, 2, table_byte(2, 128)}));
  select(1); // the table comes from the select, not from the page
  EXPECT_EQ(read(2, 0, 1)[0], table_byte(1, 128));
  EXPECT_EQ(read(5, 200, 1)[0], table_byte(1, 200));
  select(4); // beyond the tables: reads 0xff, writes ignored, lower half intact
  const auto tables = module.memory().tables;
  EXPECT_EQ(read(3, 130, 2), (Bytes{0xff, 0xff}));
  EXPECT_EQ(write(1, 140, {1, 2, 3}), 0);
  EXPECT_EQ(module.memory().tables, tables);
  EXPECT_EQ(read(1, 0, 1)[0], 0x80);

  EXPECT_EQ(write(0, 20, {0xde, 0xad}), 0);
  EXPECT_EQ(read(0, 19, 4), (Bytes{19, 0xde, 0xad, 22}));
  select(3);
  EXPECT_EQ(write(5, 0, {0x5a}), 0);
  EXPECT_EQ(module.memory().tables[3][0], 0x5a);
  // A write through 127 changes the select; the rest still goes to the old table.
  EXPECT_EQ(write(1, 127, {0, 0x77}), 0);
  EXPECT_EQ(module.table_select(), 0);
  EXPECT_EQ(module.memory().tables[3][0], 0x77);
}

TEST_F(SimModule, LogsEveryCallAndInjectsFaults) {
  module.set_logging(false); // counted, not logged
  read(0, 0, 1);
  module.set_logging(true);
  select(2);
  uint8_t byte = 0;
  EXPECT_EQ(Module::bitbang_read_cb(&module, 5, 0, 1, &byte), 0);
  auto fields = [](const sfpsim::Access &a) {
    return std::make_tuple(a.bus, a.page, a.offset, a.length, a.bytes, a.status, a.table);
  };
  ASSERT_EQ(module.log().size(), 2u);
  // The select's own write is logged with the select in force before it.
  EXPECT_EQ(fields(module.log()[0]), fields({Bus::Write, 1, 127, 1, {2}, 0, 0}));
  EXPECT_EQ(fields(module.log()[1]), fields({Bus::BitBangRead, 0, 5, 1, {5}, 0, 2}));
  EXPECT_EQ(module.access_count(), 3u);

  module.fail_nth_access(3, 5); // the third call from now, once, whatever the callback
  read(0, 0, 1);
  EXPECT_EQ(write(0, 0, {0x11}), 0);
  EXPECT_EQ(Module::bitbang_read_cb(&module, 0, 0, 1, &byte), 5);
  EXPECT_EQ(write(0, 1, {0x22}), 0);
  module.fail_at(0, 20, 7, 3); // at every call to a place till cleared, with 3 real bytes
  module.fail_at(1, 0, 8);
  EXPECT_EQ(read(0, 20, 6, 7), (Bytes{20, 21, 22, 0xAA, 0xAA, 0xAA}));
  EXPECT_EQ(fields(module.log().back()), fields({Bus::Read, 0, 20, 6, {20, 21, 22}, 7, 2}));
  EXPECT_EQ(read(0, 19, 3), (Bytes{19, 20, 21})); // the start offset must match
  EXPECT_EQ(write(1, 0, {0}), 8);
  EXPECT_EQ(module.memory().a2_lower[0], 0x80); // a faulted write changes nothing
  module.clear_faults();
  EXPECT_EQ(read(0, 20, 1), Bytes{20});
}

TEST_F(SimModule, StatusControlAndFlagBytesBehaveAsOnAModuleBus) {
  auto &a2 = module.memory().a2_lower;
  std::fill(a2.begin(), a2.end(), uint8_t{0});
  // Only writable bits take a write: 110 bits 6 and 3, 118 bit 0; the
  // measured values, flags, Rx peaking and adaptive support keep theirs.
  ASSERT_EQ(write(1, 96, Bytes(31, 0xFF)), 0);
  Bytes expected(31, 0xFF);
  std::fill(expected.begin(), expected.begin() + 14, uint8_t{0}); // 96..109
  for (unsigned offset : {112u, 113u, 115u, 116u, 117u, 119u, 122u}) {
    expected[offset - 96] = 0;
  }
  expected[110 - 96] = 0x48;
  expected[118 - 96] = 0x01;
  EXPECT_EQ(Bytes(a2.begin() + 96, a2.begin() + 127), expected);
  EXPECT_FALSE(module.transmitter_on()); // soft disable set
  // Latched flags: a persisting condition shows on every read, a transient
  // one once; 119 latches bit 1 only; 110's live bits are not latched.
  module.set_live_flags(113, 0x40);
  module.latch_flags(116, 0x08);
  module.set_live_flags(119, 0x03);
  module.set_live_flags(110, 0x06);
  EXPECT_EQ(read(1, 110, 10), (Bytes{0x4E, 0xFF, 0, 0x40, 0xFF, 0, 0x08, 0, 0x01, 0x02}));
  EXPECT_EQ(read(1, 110, 10), (Bytes{0x4E, 0xFF, 0, 0x40, 0xFF, 0, 0, 0, 0x01, 0x02}));
  module.set_live_flags(113, 0);
  module.set_live_flags(110, 0);
  EXPECT_EQ(read(1, 110, 4), (Bytes{0x48, 0xFF, 0, 0x40}));
  EXPECT_EQ(read(1, 113, 1), Bytes{0});
  // Data not ready for two reads of 110 (a failed read does not count),
  // then ready; or never.
  module.set_data_ready_after(2);
  module.fail_nth_access(1, 5, 1); // hands out the byte, but fails
  read(1, 110, 1, 5);
  EXPECT_EQ(read(1, 105, 6)[5] & 1, 1);
  EXPECT_EQ(read(1, 110, 1)[0] & 1, 1);
  EXPECT_EQ(read(1, 110, 1)[0] & 1, 0);
  module.set_data_ready_after(sfpsim::kNeverReady);
  for (int i = 0; i < 30; ++i) {
    read(1, 110, 1);
  }
  EXPECT_EQ(read(1, 110, 1)[0] & 1, 1);
  // The TX_DISABLE pin shows in bit 7 and keeps the transmitter off.
  ASSERT_EQ(write(1, 110, {0x80}), 0);
  module.set_tx_disable_pin(true);
  EXPECT_EQ(read(1, 110, 1)[0] & 0xC0, 0x80);
  EXPECT_FALSE(module.transmitter_on());
  module.set_tx_disable_pin(false);
  EXPECT_TRUE(module.transmitter_on());
}

// A plain bit-by-bit CRC-32 (reflected 0xEDB88320, all-ones start and end).
uint32_t reference_crc(const uint8_t *data, std::size_t size) {
  uint32_t crc = ~0u;
  for (std::size_t bit = 0; bit < size * 8; ++bit) {
    const bool carry = ((crc ^ (data[bit / 8] >> (bit % 8))) & 1u) != 0;
    crc = (crc >> 1) ^ (carry ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

unsigned sum_mod256(const uint8_t *first, const uint8_t *last) {
  return std::accumulate(first, last, 0u) % 256;
}

// A0h bytes 63 and 95 sum the bytes before them; 124..127 hold the CRC of
// 96..123, low byte first.
void expect_valid_check_bytes(const Memory &m) {
  const uint8_t *a0 = m.a0.data();
  EXPECT_EQ(a0[63], sum_mod256(a0, a0 + 63));
  EXPECT_EQ(a0[95], sum_mod256(a0 + 64, a0 + 95));
  EXPECT_EQ(a0[124] | a0[125] << 8 | a0[126] << 16 | uint32_t{a0[127]} << 24,
            reference_crc(a0 + 96, 28));
}

unsigned u16(const uint8_t *at) {
  return at[0] * 256u + at[1];
}

TEST(SimProfiles, EachIsFoundByNameWithValidCheckBytesAndCoherentDiagnostics) {
  const auto *digits = reinterpret_cast<const uint8_t *>("123456789");
  EXPECT_EQ(reference_crc(digits, 9), 0xCBF43926u); // the common check value
  EXPECT_EQ(sfpsim::crc32({digits, 9}), 0xCBF43926u);
  for (const auto &p : sfpsim::profiles()) {
    SCOPED_TRACE(p.name);
    EXPECT_EQ(sfpsim::find_profile(p.name), &p); // so no two share a name
    if (p.name == "blank") {
      EXPECT_EQ(p.memory, Memory{});
      continue;
    }
    expect_valid_check_bytes(p.memory);
    EXPECT_EQ(std::string(p.memory.a0.begin() + 20, p.memory.a0.begin() + 36), "SIMLAB OPTICS   ");
    if ((p.memory.a0[92] & 0x40) == 0) {
      continue;
    }
    const uint8_t *a2 = p.memory.a2_lower.data();
    EXPECT_EQ(a2[95], sum_mod256(a2, a2 + 95));
    for (std::size_t q = 0; q < 5; ++q) { // temperature (signed), Vcc, bias, Tx, Rx power
      std::vector<unsigned> levels;       // alarm, warning high; live; warning, alarm low
      for (const std::size_t at : {8 * q, 8 * q + 4, 96 + 2 * q, 8 * q + 6, 8 * q + 2}) {
        levels.push_back(u16(a2 + at) ^ (q == 0 ? 0x8000u : 0u));
      }
      // The limits descend; the flags say where the live value sits (in
      // range, or beyond a warning or alarm limit, as in the alarm profile).
      const std::vector<unsigned> limits = {levels[0], levels[1], levels[3], levels[4]};
      EXPECT_TRUE(std::ranges::adjacent_find(limits, std::less_equal<>{}) == limits.end())
          << "quantity " << q << ": " << ::testing::PrintToString(levels);
      const unsigned live = levels[2];
      const std::size_t alarms = q < 4 ? 112 : 113; // warnings 4 bytes on
      const unsigned high = q < 4 ? 0x80u >> (2 * q) : 0x80u;
      const auto expect_flags = [&](std::size_t at, bool over, bool under) {
        EXPECT_EQ(a2[at] & (high | high >> 1), (over ? high : 0u) | (under ? high >> 1 : 0u))
            << "quantity " << q << " byte " << at << ": " << ::testing::PrintToString(levels);
      };
      expect_flags(alarms, live > levels[0], live < levels[4]);
      expect_flags(alarms + 4, live > levels[1], live < levels[3]);
    }
  }
  EXPECT_EQ(sfpsim::find_profile("no-such-module"), nullptr);
  Memory edited = sfpsim::find_profile("10gbase-sr")->memory; // repaired by fix_checksums
  for (const std::size_t at : {0, 64, 100}) {                 // one byte under each check
    edited.a0[at] ^= 0x0B;
  }
  sfpsim::fix_checksums(edited);
  expect_valid_check_bytes(edited);
}

// Distinct, mostly non-printable bytes.
std::string reference(std::size_t size) {
  std::string out(size, '\0');
  std::ranges::generate(out,
                        [i = 0u]() mutable { return static_cast<char>((i++ * 37 + 11) & 0xff); });
  return out;
}

enum class Style { Plain, Prefixed, Ethtool, Read, I2cdump };

// Bytes as text, `per_line` a line: plain lower-case hex, "0xAB" with CRLF
// line ends, an ethtool dump with its header and offset labels, sfpctl
// read's dump (A0h, then A2h from offset 0 again, each line with its text
// column) or i2cdump's output (a header row and 16 rows per address).
std::string as_text(const std::string &bytes, std::size_t per_line, Style style) {
  const bool ethtool = style == Style::Ethtool;
  const bool prefixed = style == Style::Prefixed;
  std::string out = ethtool ? "Offset\t\tValues\n------\t\t------\n" : "";
  if (style == Style::Read || style == Style::I2cdump) {
    for (std::size_t i = 0; i < bytes.size(); i += 16) {
      char label[32];
      if (style == Style::I2cdump && i % 256 == 0) {
        out += "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
      }
      (void)std::snprintf(label, sizeof label,
                          style == Style::Read ? "0x%04zx: " : "%02zx:", i % 256);
      out += label;
      for (std::size_t j = i; j < i + 16; ++j) {
        (void)std::snprintf(label, sizeof label, " %02x", static_cast<uint8_t>(bytes[j]));
        out += label;
      }
      out += style == Style::Read ? "  |. .|x|\n" : "    .. ..\n";
    }
    return out;
  }
  const char *line_end = prefixed ? "\r\n" : ethtool ? " \n" : "\n";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    char label[32];
    char text[64];
    (void)std::snprintf(label, sizeof label, "0x%04zx:\t\t", i);
    (void)std::snprintf(text, sizeof text, prefixed ? "%s0x%02X%s" : "%s%02x%s",
                        ethtool && i % per_line == 0 ? label : "", static_cast<uint8_t>(bytes[i]),
                        (i + 1) % per_line != 0 ? "\t " : line_end);
    out += text;
  }
  return out;
}

// Loads `contents` from a file: the caller image, or the error (FILE the path).
std::string load(const std::string &contents) {
  const std::string path = ::testing::TempDir() + "sfpsim_image_" + std::to_string(::getpid());
  std::ofstream(path, std::ios::binary) << contents;
  std::string error;
  const auto memory = sfpsim::load_image_file(path, error);
  (void)std::remove(path.c_str());
  if (!memory) {
    return error.starts_with(path) ? "FILE" + error.substr(path.size()) : error;
  }
  const auto image = Module(*memory).caller_image();
  return std::string(image.begin(), image.end());
}

// The caller image holds A0h, A2h and table 0 as the file does (else zero).
TEST(SimImage, LoadsEveryFormatAtBothSizes) {
  for (const std::size_t size : {256u, 512u}) {
    const std::string bytes = reference(size);
    const std::string image = bytes + std::string(512 - size, '\0');
    EXPECT_EQ(load(bytes), image);
    EXPECT_EQ(load(as_text(bytes, 16, Style::Plain)), image);
    EXPECT_EQ(load(as_text(bytes, 7, Style::Prefixed)), image);
    EXPECT_EQ(load(as_text(bytes, 16, Style::Ethtool)), image);
    EXPECT_EQ(load(as_text(bytes, 16, Style::Read)), image);
    EXPECT_EQ(load(as_text(bytes, 16, Style::I2cdump)), image);
  }
  // i2cdump's XX, a byte it could not read, is 0.
  std::string unread = as_text(reference(256), 16, Style::I2cdump);
  unread.replace(unread.find("00:") + 4, 2, "XX");
  EXPECT_EQ(load(unread).substr(0, 2), std::string(1, '\0') + reference(256)[1]);
}

// sfpctl's dump holds every table: the memory comes back byte for byte, and
// a dump of A0h alone leaves A2h zero.
TEST(SimImage, ReadsItsOwnDumpBackWithEveryTable) {
  Memory memory;
  const std::string bytes = reference(256 + 128 * 5);
  std::copy_n(bytes.begin(), 256, memory.a0.begin());
  std::copy_n(bytes.begin() + 256, 128, memory.a2_lower.begin());
  for (std::size_t t = 0; t < 4; ++t) {
    std::copy_n(bytes.begin() + 384 + 128 * static_cast<std::ptrdiff_t>(t), 128,
                memory.tables[t].begin());
  }
  auto section = [](const char *name, std::span<const uint8_t> data, std::size_t first) {
    std::string out = std::string(name) + ":\n";
    for (std::size_t i = 0; i < data.size(); ++i) {
      char text[16];
      if (i % 16 == 0) {
        (void)std::snprintf(text, sizeof text, "0x%02zx:", first + i);
        out += text;
      }
      (void)std::snprintf(text, sizeof text, " %02x", static_cast<unsigned>(data[i]));
      out += text;
      out += i % 16 == 15 ? "\n" : "";
    }
    return out;
  };
  std::string dump =
      "# comment\n" + section("A0h", memory.a0, 0) + section("A2h", memory.a2_lower, 0);
  const std::string a0_only = dump.substr(0, dump.find("A2h:"));
  // Tables in any order.
  for (const std::size_t t : {2u, 0u, 3u, 1u}) {
    dump += section(("A2h table " + std::to_string(t)).c_str(), memory.tables[t], 128);
  }
  const std::string path = ::testing::TempDir() + "sfpsim_dump_" + std::to_string(::getpid());
  std::string error;
  std::ofstream(path) << dump;
  EXPECT_EQ(sfpsim::load_image_file(path, error), memory) << error;
  std::ofstream(path) << a0_only;
  Memory a0{};
  a0.a0 = memory.a0;
  a0.a2_captured = false; // a dump without A2h says nothing of it
  EXPECT_EQ(sfpsim::load_image_file(path, error), a0) << error;
  std::string cut = dump;
  cut.erase(cut.find("0x70:", cut.find("A2h:")), 54);
  std::ofstream(path) << cut;
  EXPECT_FALSE(sfpsim::load_image_file(path, error));
  EXPECT_NE(error.find("dump (line 27: section ends early)"), std::string::npos) << error;
  (void)std::remove(path.c_str());
}

TEST(SimImage, ReportsWhatIsWrongInOneLineNamingTheFile) {
  std::string gap = as_text(reference(256), 16, Style::Ethtool);
  gap.replace(gap.find("0x0020:"), 7, "0x0030:");
  std::string long_line = as_text(reference(256), 16, Style::Ethtool);
  long_line.replace(long_line.find(" \n0x0010"), 2, " 00\n");
  // A file of no known form names every form and why it did not fit.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {std::string(300, '\0'), "not a module image: raw (size 300, want 256 or 512), hex "
                               "(binary), ethtool (binary), i2cdump (binary), dump (binary)"},
      {as_text(reference(255), 16, Style::Plain), "hex (255 bytes, want 256 or 512)"},
      {gap, "ethtool (line 5: offset 0x0020 expected, found 0x0030)"},
      {long_line, "ethtool (line 3: 17 bytes after the offset; a line has at most 16)"},
      {"03 04 123\n", "raw (text, not binary), hex (line 1: '123' is not a hex byte), ethtool "
                      "(line 1: '03' is not an offset such as 0x0010:), i2cdump (no header row "
                      "'0 1 2 ... f'), dump (line 1: no section line such as 'A0h:' before the "
                      "data)"},
      {" \n\t\n", "hex (no hex bytes)"},
  };
  for (const auto &[contents, message] : cases) {
    const std::string error = load(contents);
    EXPECT_TRUE(error.starts_with("FILE: not a module image: raw (")) << error;
    EXPECT_NE(error.find(message), std::string::npos) << error;
  }
  EXPECT_EQ(load(""), "FILE: empty file");
  EXPECT_EQ(load(std::string(sfpsim::kMaxImageFileSize + 1, '\0')),
            "FILE: larger than 1 MiB; not an image file");
  std::string error;
  const std::string missing = ::testing::TempDir() + "sfpsim_no_such_image.bin";
  EXPECT_FALSE(sfpsim::load_image_file(missing, error));
  EXPECT_EQ(error, missing + ": cannot open: No such file or directory");
  EXPECT_FALSE(sfpsim::load_image_file(::testing::TempDir(), error));
  EXPECT_EQ(error, ::testing::TempDir() + ": is a directory, not an image file");
}

// A module made from a memory (a captured image, a profile) shows the flags
// that memory holds on every read; a transient latch on top clears after
// one. An image file of A0h only says its A2h was not captured.
TEST(SimImage, CapturedFlagsPersistAndAnA0hOnlyImageSaysSo) {
  Memory memory;
  memory.a2_lower[112] = 0x80; // temperature high alarm
  memory.a2_lower[117] = 0x40; // rx power low warning
  memory.a2_lower[119] = 0x02; // CDR fault
  Module module(memory);
  module.latch_flags(116, 0x08);
  Bytes flags(8);
  for (const Bytes &expected :
       {Bytes{0x80, 0, 0, 0, 0x08, 0x40, 0, 0x02}, Bytes{0x80, 0, 0, 0, 0, 0x40, 0, 0x02}}) {
    ASSERT_EQ(Module::read_cb(&module, 112, 1, 8, flags.data()), 0);
    EXPECT_EQ(flags, expected);
  }
  std::string error;
  const Bytes a0_only(256, 0xEE);
  const Bytes full(512, 0xEE);
  EXPECT_FALSE(sfpsim::parse_image(a0_only, error)->a2_captured);
  EXPECT_TRUE(sfpsim::parse_image(full, error)->a2_captured);
}

using sfpsim::kPhyNak;
using sfpsim::Phy;
using sfpsim::PhyWidth;

int wr8(Phy &phy, uint8_t reg, uint8_t byte) {
  return Phy::write_cb(&phy, 0xAC, reg, &byte);
}
uint8_t rd8(Phy &phy, uint8_t reg) {
  uint8_t byte = 0xEE;
  EXPECT_EQ(Phy::read_cb(&phy, 0xAD, reg, &byte), 0) << int{reg};
  return byte;
}
int wr16(Phy &phy, uint8_t reg, uint16_t word, uint8_t address = 0xAC) {
  return Phy::write_cb(&phy, address, reg, &word);
}

// The control tests carry registers over every width; here the pairing of
// the halves: another register or direction starts a new pair.
TEST(SimPhy, ByteWidthsPairTheHalvesOfOneRegister) {
  Phy same(PhyWidth::SameByte);
  ASSERT_EQ(wr8(same, 4, 0x0D), 0);
  EXPECT_EQ(same.reg(0, 4), 0); // the high byte waits for its low byte
  ASSERT_EQ(wr8(same, 4, 0xE1), 0);
  ASSERT_EQ(wr8(same, 4, 0x12), 0);
  EXPECT_EQ(rd8(same, 4), 0x0D);
  ASSERT_EQ(wr8(same, 4, 0x12), 0);
  ASSERT_EQ(wr8(same, 5, 0x34), 0);
  ASSERT_EQ(wr8(same, 5, 0x56), 0);
  EXPECT_EQ(std::vector<uint16_t>({same.reg(0, 4), same.reg(0, 5)}),
            (std::vector<uint16_t>{0x0DE1, 0x3456}));
  EXPECT_EQ(wr8(*std::make_unique<Phy>(PhyWidth::SplitByte), 64, 0), kPhyNak);
}

TEST(SimPhy, PagesStatusAddressesAndByteRegisters) {
  Phy phy; // word width
  ASSERT_EQ(wr16(phy, 4, 0x0C01), 0);
  ASSERT_EQ(wr16(phy, 22, 1), 0);
  ASSERT_EQ(wr16(phy, 4, 0x0DE1), 0);
  EXPECT_EQ(std::vector<uint16_t>({phy.reg(0, 4), phy.reg(1, 4), phy.reg(0, 22)}),
            (std::vector<uint16_t>{0x0C01, 0x0DE1, 1}));
  phy.set_link(1, true, 2);
  ASSERT_EQ(wr16(phy, 17, 0), 0); // the status register ignores the bus
  uint16_t word = 0;
  ASSERT_EQ(Phy::read_cb(&phy, 0xAD, 17, &word), 0);
  EXPECT_EQ(word, 0x8400);
  phy.set_link(1, false, 1);
  EXPECT_EQ(phy.reg(1, 17), 0x4000);
  ASSERT_EQ(wr16(phy, 22, 2), 0); // a page the PHY does not have: only 22 answers
  EXPECT_EQ(wr16(phy, 4, 1), kPhyNak);
  ASSERT_EQ(Phy::read_cb(&phy, 0xAD, 22, &word), 0);
  EXPECT_EQ(word, 2);
  EXPECT_EQ(wr16(phy, 22, 0), 0);
  EXPECT_EQ(wr16(phy, 32, 0), kPhyNak);
  EXPECT_EQ(wr16(phy, 4, 0, 0xA0), kPhyNak);
  EXPECT_EQ(Phy::write_cb(&phy, 0xAC, 4, nullptr), sfpsim::kInvalidArgument);
  EXPECT_EQ(Phy::read_cb(nullptr, 0xAD, 4, &word), sfpsim::kInvalidArgument);
  EXPECT_EQ(phy.reg(0, 4), 0x0C01);
  ASSERT_EQ(wr8(phy, 132, 25), 0); // one byte whatever the width
  EXPECT_EQ(phy.byte_reg(132), 25);
  EXPECT_EQ(wr8(phy, 133, 0), kPhyNak);
}

TEST(SimPhy, LogsEveryCallAndInjectsFaults) {
  Phy phy(PhyWidth::SameByte);
  phy.fail_nth_call(2, 7);
  phy.fail_at(9, 8);
  ASSERT_EQ(wr8(phy, 22, 0), 0);
  EXPECT_EQ(wr8(phy, 22, 1), 7); // the fault leaves the pair open
  ASSERT_EQ(wr8(phy, 22, 1), 0);
  EXPECT_EQ(wr8(phy, 9, 1), 8);
  EXPECT_EQ(wr8(phy, 9, 1), 8);
  phy.clear_faults();
  EXPECT_EQ(rd8(phy, 9), 0);
  const std::vector<sfpsim::PhyAccess> expected = {
      {true, 0xAC, 22, 0, 0, 0}, {true, 0xAC, 22, 1, 7, 0}, {true, 0xAC, 22, 1, 0, 0},
      {true, 0xAC, 9, 1, 8, 1},  {true, 0xAC, 9, 1, 8, 1},  {false, 0xAD, 9, 0, 0, 1}};
  EXPECT_EQ(phy.log(), expected);
  EXPECT_EQ(phy.call_count(), 6u);
}

} // namespace
