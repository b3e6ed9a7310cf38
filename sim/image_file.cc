// Module memory from image files: raw binary, plain hex text, the ethtool
// hex dump (and sfpctl read's, which adds an ASCII column), i2cdump's output
// and sfpctl's own dump.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <vector>

#include "sfpsim/module.h"

namespace sfpsim {

namespace {

constexpr std::size_t kSmallImage = kA0Size;
constexpr std::size_t kFullImage = kA0Size + kA2LowerSize + kTableSize;
constexpr std::size_t kBytesPerDumpLine = 16;

bool is_text_byte(uint8_t c) {
  return (c >= 0x20 && c <= 0x7e) || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

int hex_value(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

// Text with a few stray bytes in it (a hex file edited with the wrong
// encoding, say) rather than a binary image of the wrong size.
bool mostly_text(std::span<const uint8_t> contents) {
  const auto stray = std::ranges::count_if(contents, [](uint8_t c) { return !is_text_byte(c); });
  return static_cast<std::size_t>(stray) * 8 < contents.size();
}

// Where the first byte that does not belong in hex text is, as line and
// column (both from 1, the column in bytes).
std::string stray_byte_error(std::span<const uint8_t> contents,
                             std::span<const uint8_t>::iterator stray) {
  const std::span<const uint8_t> before(contents.begin(), stray);
  const auto line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1;
  const auto line_start = std::ranges::find(before.rbegin(), before.rend(), '\n').base();
  const auto column = static_cast<std::size_t>(stray - line_start) + 1;
  char byte[8];
  (void)std::snprintf(byte, sizeof byte, "0x%02x", static_cast<unsigned>(*stray));
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": stray byte " +
         byte + " in hex text";
}

std::string size_error(std::size_t count) {
  return std::to_string(count) + " bytes, want 256 or 512";
}

// A token for an error message, cut short if long.
std::string quoted(std::string_view token) {
  constexpr std::size_t kShown = 16;
  std::string out = "'";
  out += token.substr(0, kShown);
  if (token.size() > kShown) {
    out += "...";
  }
  return out + "'";
}

std::string hex4(std::size_t value) {
  char text[16];
  (void)std::snprintf(text, sizeof text, "0x%04zx", value);
  return text;
}

Memory to_memory(const std::vector<uint8_t> &bytes) {
  Memory memory;
  auto in = bytes.begin();
  std::copy_n(in, kA0Size, memory.a0.begin());
  if (bytes.size() == kFullImage) {
    in += kA0Size;
    std::copy_n(in, kA2LowerSize, memory.a2_lower.begin());
    in += kA2LowerSize;
    std::copy_n(in, kTableSize, memory.tables[0].begin());
  }
  memory.a2_captured = bytes.size() == kFullImage;
  return memory;
}

// Splits text into lines and lines into blank-separated tokens.
class TextReader {
public:
  explicit TextReader(std::string_view text) : rest_(text) {}

  // The next line's tokens; false at the end of the text.
  bool next_line(std::vector<std::string_view> &tokens) {
    if (done_) {
      return false;
    }
    ++line_;
    const std::size_t end = rest_.find('\n');
    std::string_view line = rest_.substr(0, end);
    if (end == std::string_view::npos) {
      done_ = true;
    } else {
      rest_.remove_prefix(end + 1);
    }
    tokens.clear();
    std::size_t i = 0;
    while (i < line.size()) {
      while (i < line.size() && is_blank(line[i])) {
        ++i;
      }
      const std::size_t first = i;
      while (i < line.size() && !is_blank(line[i])) {
        ++i;
      }
      if (i > first) {
        tokens.push_back(line.substr(first, i - first));
      }
    }
    return true;
  }

  std::size_t line() const { return line_; }

private:
  std::string_view rest_;
  std::size_t line_ = 0;
  bool done_ = false;
};

// A byte written as two hex digits, with or without "0x" in front.
bool parse_hex_byte(std::string_view token, bool allow_prefix, uint8_t &value) {
  if (allow_prefix && token.size() == 4 && token[0] == '0' &&
      (token[1] == 'x' || token[1] == 'X')) {
    token.remove_prefix(2);
  }
  if (token.size() != 2) {
    return false;
  }
  const int high = hex_value(token[0]);
  const int low = hex_value(token[1]);
  if (high < 0 || low < 0) {
    return false;
  }
  value = static_cast<uint8_t>(high * 16 + low);
  return true;
}

// The offset label of an ethtool dump line, "0x0010:".
bool parse_offset(std::string_view token, std::size_t &offset) {
  if (token.size() < 4 || token.size() > 11 || token[0] != '0' || token[1] != 'x' ||
      token.back() != ':') {
    return false;
  }
  offset = 0;
  for (char c : token.substr(2, token.size() - 3)) {
    const int digit = hex_value(c);
    if (digit < 0) {
      return false;
    }
    offset = offset * 16 + static_cast<std::size_t>(digit);
  }
  return true;
}

bool is_dump_header(const std::vector<std::string_view> &tokens) {
  if (tokens.size() == 2 && tokens[0] == "Offset" && tokens[1] == "Values") {
    return true;
  }
  for (std::string_view token : tokens) {
    if (token.find_first_not_of('-') != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

// Collects bytes, keeping the first 512 and counting the rest so that an
// oversized file is reported with its true size.
struct Collector {
  std::vector<uint8_t> bytes;
  std::size_t count = 0;
  void add(uint8_t value) {
    if (count < kFullImage) {
      bytes.push_back(value);
    }
    ++count;
  }
};

std::string at_line(std::size_t line, const std::string &what) {
  return "line " + std::to_string(line) + ": " + what;
}

bool parse_dump(std::string_view text, Collector &out, std::string &error) {
  TextReader reader(text);
  std::size_t base = 0;
  std::vector<std::string_view> tokens;
  while (reader.next_line(tokens)) {
    if (tokens.empty() || is_dump_header(tokens)) {
      continue;
    }
    std::size_t offset = 0;
    if (!parse_offset(tokens[0], offset)) {
      error = at_line(reader.line(), quoted(tokens[0]) + " is not an offset such as 0x0010:");
      return false;
    }
    // Two dumps one after the other, of A0h and then A2h (sfpctl read):
    // the second counts from 0 again.
    if (offset == 0 && out.count == kA0Size) {
      base = kA0Size;
    }
    if (offset != out.count - base) {
      error = at_line(reader.line(),
                      "offset " + hex4(out.count - base) + " expected, found " + hex4(offset));
      return false;
    }
    // sfpctl read ends a line with the bytes as text: "|...|".
    const auto ascii =
        std::ranges::find_if(tokens, [](std::string_view token) { return token.starts_with('|'); });
    tokens.erase(ascii, tokens.end());
    if (tokens.size() - 1 > kBytesPerDumpLine) {
      error = at_line(reader.line(), std::to_string(tokens.size() - 1) +
                                         " bytes after the offset; a line has at most 16");
      return false;
    }
    for (std::size_t i = 1; i < tokens.size(); ++i) {
      uint8_t value = 0;
      if (!parse_hex_byte(tokens[i], false, value)) {
        error = at_line(reader.line(), quoted(tokens[i]) + " is not a hex byte");
        return false;
      }
      out.add(value);
    }
  }
  return true;
}

bool parse_plain(std::string_view text, Collector &out, std::string &error) {
  TextReader reader(text);
  std::vector<std::string_view> tokens;
  while (reader.next_line(tokens)) {
    for (std::string_view token : tokens) {
      uint8_t value = 0;
      if (!parse_hex_byte(token, true, value)) {
        error = at_line(reader.line(), quoted(token) + " is not a hex byte");
        return false;
      }
      out.add(value);
    }
  }
  return true;
}

using Parser = bool (*)(std::string_view, Collector &, std::string &);

// Bytes of a format that lists them in order: 256 or 512 of them.
std::optional<Memory> parse_collected(std::string_view text, Parser parse, std::string &error) {
  Collector bytes;
  if (!parse(text, bytes, error)) {
    return std::nullopt;
  }
  if (bytes.count == 0) {
    error = "no hex bytes";
    return std::nullopt;
  }
  if (bytes.count != kSmallImage && bytes.count != kFullImage) {
    error = size_error(bytes.count);
    return std::nullopt;
  }
  return to_memory(bytes.bytes);
}

// i2cdump's header row: "0 1 2 ... f 0123456789abcdef".
bool is_i2cdump_header(const std::vector<std::string_view> &tokens) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (tokens.size() < kDigits.size()) {
    return false;
  }
  for (std::size_t i = 0; i < kDigits.size(); ++i) {
    if (tokens[i].size() != 1 || tokens[i][0] != kDigits[i]) {
      return false;
    }
  }
  return true;
}

// One i2cdump row, "10: 03 04 XX ...    text": the row's first offset and its
// 16 bytes (a byte i2cdump could not read, XX, as 0).
bool parse_i2cdump_row(const std::vector<std::string_view> &tokens, std::size_t expected,
                       Collector &out, std::string &error) {
  const std::string_view label = tokens[0];
  const int high = label.size() == 3 ? hex_value(label[0]) : -1;
  const int low = label.size() == 3 ? hex_value(label[1]) : -1;
  if (high < 0 || low < 0 || label[2] != ':') {
    error = quoted(label) + " is not a row label such as 10:";
    return false;
  }
  if (static_cast<std::size_t>(high * 16 + low) != expected) {
    error = "row " + hex4(expected) + " expected, found " + std::string(label);
    return false;
  }
  if (tokens.size() < kBytesPerDumpLine + 1) {
    error = "a row has 16 bytes";
    return false;
  }
  for (std::size_t i = 1; i <= kBytesPerDumpLine; ++i) {
    const std::string_view token = tokens[i];
    uint8_t value = 0;
    if (token != "XX" && token != "xx" && !parse_hex_byte(token, false, value)) {
      error = quoted(token) + " is not a hex byte";
      return false;
    }
    out.add(value);
  }
  return true;
}

// i2cdump output of the module's addresses, A0h first: each a header row
// and 16 rows. A second one holds A2h.
std::optional<Memory> parse_i2cdump(std::string_view text, std::string &error) {
  TextReader reader(text);
  std::vector<std::string_view> tokens;
  Collector bytes;
  std::size_t blocks = 0;
  while (reader.next_line(tokens)) {
    if (is_i2cdump_header(tokens)) {
      if (bytes.count != blocks * kA0Size) {
        error = at_line(reader.line(), "a header row before the 16 rows of the last one");
        return std::nullopt;
      }
      ++blocks;
      continue;
    }
    // Notes before the first header ("No size specified ...") are i2cdump's.
    if (tokens.empty() || blocks == 0) {
      continue;
    }
    if (bytes.count == blocks * kA0Size) {
      error = at_line(reader.line(), "a 17th row after a header");
      return std::nullopt;
    }
    if (!parse_i2cdump_row(tokens, bytes.count % kA0Size, bytes, error)) {
      error = at_line(reader.line(), error);
      return std::nullopt;
    }
  }
  if (blocks == 0) {
    error = "no header row '0 1 2 ... f'";
    return std::nullopt;
  }
  if (blocks > 2 || bytes.count != blocks * kA0Size) {
    error = blocks > 2 ? "more than two addresses" : size_error(bytes.count);
    return std::nullopt;
  }
  return to_memory(bytes.bytes);
}

// The sections of sfpctl's dump: A0h, the A2h lower half and the four
// upper tables, with the offsets their lines start at.
struct Section {
  std::string_view name;
  std::size_t first;
  std::size_t size;
};
constexpr Section kSections[] = {
    {"A0h:", 0, kA0Size},
    {"A2h:", 0, kA2LowerSize},
    {"A2h table 0:", kA2LowerSize, kTableSize},
    {"A2h table 1:", kA2LowerSize, kTableSize},
    {"A2h table 2:", kA2LowerSize, kTableSize},
    {"A2h table 3:", kA2LowerSize, kTableSize},
};

std::span<uint8_t> section_bytes(Memory &memory, std::size_t section) {
  if (section == 0) {
    return memory.a0;
  }
  if (section == 1) {
    return memory.a2_lower;
  }
  return memory.tables[section - 2];
}

// A dump data line: "0x10: 03 04 ..." with 16 bytes.
bool parse_section_line(const std::vector<std::string_view> &tokens, std::size_t offset,
                        std::span<uint8_t> into, std::string &error) {
  std::size_t label = 0;
  if (!parse_offset(tokens[0], label)) {
    error = quoted(tokens[0]) + " is not an offset such as 0x10:";
    return false;
  }
  if (label != offset) {
    error = "offset " + hex4(offset) + " expected, found " + hex4(label);
    return false;
  }
  if (tokens.size() != kBytesPerDumpLine + 1) {
    error = std::to_string(tokens.size() - 1) + " bytes after the offset; a line has 16";
    return false;
  }
  for (std::size_t i = 0; i < kBytesPerDumpLine; ++i) {
    if (!parse_hex_byte(tokens[i + 1], false, into[i])) {
      error = quoted(tokens[i + 1]) + " is not a hex byte";
      return false;
    }
  }
  return true;
}

// sfpctl's dump: comment lines (#), then sections "A0h:", "A2h:" and
// "A2h table N:", each with its memory in lines of 16 bytes. Sections the
// module does not have are left out (their memory is zero).
std::optional<Memory> parse_sfpctl_dump(std::string_view text, std::string &error) {
  TextReader reader(text);
  std::vector<std::string_view> tokens;
  Memory memory;
  std::optional<std::size_t> section;
  std::size_t filled = 0;
  std::array<bool, std::size(kSections)> seen{};
  auto section_done = [&] { return !section || filled == kSections[*section].size; };
  while (reader.next_line(tokens)) {
    if (tokens.empty() || tokens[0].starts_with('#')) {
      continue;
    }
    std::string joined(tokens[0]);
    for (std::size_t i = 1; i < tokens.size(); ++i) {
      joined.append(" ").append(tokens[i]);
    }
    const auto header = std::ranges::find(kSections, joined, &Section::name);
    if (header != std::end(kSections)) {
      const auto index = static_cast<std::size_t>(header - std::begin(kSections));
      if (!section_done() || seen[index]) {
        error = at_line(reader.line(),
                        seen[index] ? "section " + joined + " again" : "section ends early");
        return std::nullopt;
      }
      seen[index] = true;
      section = index;
      filled = 0;
      continue;
    }
    if (!section) {
      error = at_line(reader.line(), "no section line such as 'A0h:' before the data");
      return std::nullopt;
    }
    if (section_done()) {
      error = at_line(reader.line(), "more lines than the section holds");
      return std::nullopt;
    }
    const Section &where = kSections[*section];
    if (!parse_section_line(tokens, where.first + filled,
                            section_bytes(memory, *section).subspan(filled), error)) {
      error = at_line(reader.line(), error);
      return std::nullopt;
    }
    filled += kBytesPerDumpLine;
  }
  if (!seen[0]) {
    error = "no section line 'A0h:'";
    return std::nullopt;
  }
  if (!section_done()) {
    error = "section " + std::string(kSections[*section].name) + " ends early";
    return std::nullopt;
  }
  memory.a2_captured = seen[1]; // a module without A2h is dumped without it
  return memory;
}

std::string errno_text(int code) {
  return std::error_code(code, std::generic_category()).message();
}

// Closes the descriptor on every way out.
struct FileCloser {
  int fd;
  ~FileCloser() { ::close(fd); }
};

} // namespace

std::optional<Memory> parse_image(std::span<const uint8_t> contents, std::string &error) {
  if (contents.empty()) {
    error = "empty file";
    return std::nullopt;
  }
  const auto stray = std::ranges::find_if_not(contents, is_text_byte);
  const bool text = stray == contents.end();
  const std::string raw =
      text ? "text, not binary" : "size " + std::to_string(contents.size()) + ", want 256 or 512";
  if (!text && (contents.size() == kSmallImage || contents.size() == kFullImage)) {
    return to_memory(std::vector<uint8_t>(contents.begin(), contents.end()));
  }
  if (!text) {
    const std::string why = mostly_text(contents) ? stray_byte_error(contents, stray) : "binary";
    error = "not a module image: raw (" + raw + "), hex (" + why + "), ethtool (" + why +
            "), i2cdump (" + why + "), dump (" + why + ")";
    return std::nullopt;
  }
  const std::string_view chars(reinterpret_cast<const char *>(contents.data()), contents.size());
  std::string failed[4];
  // Most particular first: a plain hex parse fails on every other form.
  if (auto memory = parse_sfpctl_dump(chars, failed[3])) {
    return memory;
  }
  if (auto memory = parse_i2cdump(chars, failed[2])) {
    return memory;
  }
  if (auto memory = parse_collected(chars, &parse_dump, failed[1])) {
    return memory;
  }
  if (auto memory = parse_collected(chars, &parse_plain, failed[0])) {
    return memory;
  }
  error = "not a module image: raw (" + raw + "), hex (" + failed[0] + "), ethtool (" + failed[1] +
          "), i2cdump (" + failed[2] + "), dump (" + failed[3] + ")";
  return std::nullopt;
}

std::optional<Memory> load_image_file(const std::string &path, std::string &error) {
  // Not blocking on open: opening a FIFO would wait for a writer.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    error = path + ": cannot open: " + errno_text(errno);
    return std::nullopt;
  }
  const FileCloser closer{fd};
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    error = path + ": cannot read: " + errno_text(errno);
    return std::nullopt;
  }
  if (S_ISDIR(info.st_mode)) {
    error = path + ": is a directory, not an image file";
    return std::nullopt;
  }
  // A FIFO, socket or device may never deliver its data nor an end, and
  // reading it would wait for ever.
  if (!S_ISREG(info.st_mode)) {
    error = path + ": not a regular file; an image must be one";
    return std::nullopt;
  }
  const std::string too_large = path + ": larger than 1 MiB; not an image file";
  if (static_cast<std::size_t>(info.st_size) > kMaxImageFileSize) {
    error = too_large;
    return std::nullopt;
  }
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) {
    ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
  }

  // Reads at most one byte past the limit, so that a file that grows while
  // it is read is refused too.
  std::vector<uint8_t> contents;
  constexpr std::size_t kChunk = std::size_t{64} * 1024;
  while (contents.size() <= kMaxImageFileSize) {
    const std::size_t have = contents.size();
    const std::size_t want = std::min(kChunk, kMaxImageFileSize + 1 - have);
    contents.resize(have + want);
    const ssize_t got = ::read(fd, contents.data() + have, want);
    if (got < 0) {
      if (errno == EINTR) {
        contents.resize(have);
        continue;
      }
      error = path + ": cannot read: " + errno_text(errno);
      return std::nullopt;
    }
    contents.resize(have + static_cast<std::size_t>(got));
    if (got == 0) {
      break;
    }
  }
  if (contents.size() > kMaxImageFileSize) {
    error = too_large;
    return std::nullopt;
  }
  auto memory = parse_image(contents, error);
  if (!memory) {
    error = path + ": " + error;
  }
  return memory;
}

} // namespace sfpsim
