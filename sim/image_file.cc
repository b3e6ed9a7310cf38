// Module memory from image files: raw binary, plain hex text and the ethtool
// hex dump.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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
  return std::to_string(count) + " bytes; an image has 256 or 512";
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
    if (offset != out.count) {
      error =
          at_line(reader.line(), "offset " + hex4(out.count) + " expected, found " + hex4(offset));
      return false;
    }
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

// An ethtool dump has at least one line that starts with an offset label.
bool looks_like_dump(std::string_view text) {
  TextReader reader(text);
  std::vector<std::string_view> tokens;
  std::size_t offset = 0;
  while (reader.next_line(tokens)) {
    if (!tokens.empty() && parse_offset(tokens[0], offset)) {
      return true;
    }
  }
  return false;
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
  if (stray != contents.end()) {
    if (contents.size() == kSmallImage || contents.size() == kFullImage) {
      return to_memory(std::vector<uint8_t>(contents.begin(), contents.end()));
    }
    error = mostly_text(contents) ? stray_byte_error(contents, stray) : size_error(contents.size());
    return std::nullopt;
  }

  const std::string_view chars(reinterpret_cast<const char *>(contents.data()), contents.size());
  Collector bytes;
  const bool parsed =
      looks_like_dump(chars) ? parse_dump(chars, bytes, error) : parse_plain(chars, bytes, error);
  if (!parsed) {
    return std::nullopt;
  }
  if (bytes.count == 0) {
    error = "no hex bytes in the file";
    return std::nullopt;
  }
  if (bytes.count != kSmallImage && bytes.count != kFullImage) {
    error = size_error(bytes.count);
    return std::nullopt;
  }
  return to_memory(bytes.bytes);
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
