// Fuzz target: the contents of an image file, given to the one loader entry
// point that every image format goes through (sfpsim::parse_image), so a
// format added there is fuzzed with no change here.
//
// Input: the file's contents.
#include <cctype>
#include <string>

#include "fuzz/fuzz_support.h"

namespace sfpfuzz {
namespace {

constexpr std::size_t kFullImage = sfpsim::kA0Size + sfpsim::kA2LowerSize + sfpsim::kTableSize;

// The first 512 bytes of module memory as a caller image lays them out.
std::vector<uint8_t> first_512(const sfpsim::Memory &memory) {
  std::vector<uint8_t> out(memory.a0.begin(), memory.a0.end());
  out.insert(out.end(), memory.a2_lower.begin(), memory.a2_lower.end());
  out.insert(out.end(), memory.tables[0].begin(), memory.tables[0].end());
  return out;
}

std::vector<uint8_t> as_bytes(const std::string &text) {
  return {text.begin(), text.end()};
}

// Plain hex text, 16 bytes a line, optionally with "0x" in front of each.
std::string plain_hex(const std::vector<uint8_t> &bytes, bool prefixed) {
  std::string out;
  char piece[8];
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::snprintf(piece, sizeof piece, prefixed ? "0x%02x" : "%02x", bytes[i]);
    out += piece;
    out += i % 16 == 15 ? '\n' : ' ';
  }
  return out;
}

// The hex dump layout with an offset label per line of 16 bytes.
std::string offset_dump(const std::vector<uint8_t> &bytes, bool header) {
  std::string out = header ? "Offset\t\tValues\n------\t\t------\n" : "";
  char piece[32];
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % 16 == 0) {
      std::snprintf(piece, sizeof piece, "0x%04zx:\t\t", i);
      out += piece;
    }
    std::snprintf(piece, sizeof piece, "%02x", bytes[i]);
    out += piece;
    out += i % 16 == 15 ? '\n' : ' ';
  }
  return out;
}

} // namespace
} // namespace sfpfuzz

// What must hold: a file is loaded or refused with one printable line; a
// loaded module's first 512 bytes read back the same from their own hex
// text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
  using namespace sfpfuzz;
  std::string error;
  const std::optional<sfpsim::Memory> memory = sfpsim::parse_image({data, size}, error);
  if (!memory) {
    FUZZ_REQUIRE(!error.empty());
    for (const char c : error) {
      FUZZ_REQUIRE(c >= 0x20 && c <= 0x7e); // one line, nothing a terminal acts on
    }
    return 0;
  }
  const std::vector<uint8_t> bytes = first_512(*memory);
  std::string again_error;
  const auto text = as_bytes(plain_hex(bytes, false));
  const std::optional<sfpsim::Memory> again = sfpsim::parse_image(text, again_error);
  FUZZ_REQUIRE(again && first_512(*again) == bytes);
  return 0;
}

namespace sfpfuzz {

// Seeds: three profiles in each format the loader reads (raw 256 and 512
// bytes, plain hex with and without "0x", the offset dump with and without
// its header, CRLF line ends), and crafted edge cases around the sizes,
// offsets and tokens. Mutated: every profile in every format, and each
// edge case with each byte replaced by a few others.
void generate_inputs(bool mutated, const Emit &emit) {
  const auto &all = sfpsim::profiles();
  const std::size_t profiles = mutated ? all.size() : 3;
  for (std::size_t p = 0; p < profiles && p < all.size(); ++p) {
    const std::vector<uint8_t> full = first_512(all[p].memory);
    const std::vector<uint8_t> small(full.begin(), full.begin() + sfpsim::kA0Size);
    emit(full);
    emit(small);
    emit(as_bytes(plain_hex(full, false)));
    emit(as_bytes(plain_hex(small, true)));
    emit(as_bytes(offset_dump(full, true)));
    emit(as_bytes(offset_dump(small, false)));
    std::string crlf;
    for (const char c : plain_hex(small, false)) {
      crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    emit(as_bytes(crlf));
  }
  const std::vector<uint8_t> one_row(16, 0xA5);
  const std::vector<std::string> edges = {
      "",
      "00",
      "0x",
      "0x0g",
      "zz 00",
      "\n\n\t \n",
      plain_hex(std::vector<uint8_t>(255, 0x11), false),
      plain_hex(std::vector<uint8_t>(257, 0x11), true),
      plain_hex(std::vector<uint8_t>(513, 0x22), false),
      "Offset\t\tValues\n------\t\t------\n0x0000:\t\t00 01\n0x0004:\t\t02\n",
      "0x0000:\t\t" + plain_hex(std::vector<uint8_t>(17, 0x33), false),
      "0x0000: 00\n0xffffffff: 01\n",
      "0x00000000000: 00\n",
      "0x0000:\n" + offset_dump(one_row, false),
      std::string("00 11 \x01 22\n"),
      std::string(kFullImage - 1, 'a') + "\x80",
  };
  for (const std::string &edge : edges) {
    std::vector<uint8_t> input = as_bytes(edge);
    emit(input);
    if (!mutated || input.size() > 64) {
      continue;
    }
    for (uint8_t &byte : input) {
      const uint8_t original = byte;
      for (const uint8_t other : {uint8_t{'0'}, uint8_t{'x'}, uint8_t{':'}, uint8_t{'\n'},
                                  uint8_t{' '}, uint8_t{0xff}, uint8_t{0}}) {
        byte = other;
        emit(input);
      }
      byte = original;
    }
  }
}

} // namespace sfpfuzz
