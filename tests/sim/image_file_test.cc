// Image files: raw binary, plain hex text, the ethtool dump, and the errors.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "sfpsim/module.h"

namespace {

// Distinct, mostly non-printable bytes.
std::string reference(std::size_t size) {
  std::string out(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    out[i] = static_cast<char>((i * 37 + 11) & 0xff);
  }
  return out;
}

enum class Style { Plain, Prefixed, Ethtool };

// Bytes as text, `per_line` a line: plain lower-case hex, "0xAB" with CRLF
// line ends, or an ethtool dump with its header and offset labels.
std::string as_text(const std::string &bytes, std::size_t per_line, Style style) {
  const bool ethtool = style == Style::Ethtool;
  std::string out = ethtool ? "Offset\t\tValues\n------\t\t------\n" : "";
  char text[32];
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (ethtool && i % per_line == 0) {
      (void)std::snprintf(text, sizeof text, "0x%04zx:\t\t", i);
      out += text;
    }
    (void)std::snprintf(text, sizeof text, style == Style::Prefixed ? "0x%02X" : "%02x",
                        static_cast<uint8_t>(bytes[i]));
    out += text;
    if ((i + 1) % per_line != 0) {
      out += "\t ";
    } else {
      out += style == Style::Prefixed ? "\r\n" : ethtool ? " \n" : "\n";
    }
  }
  return out;
}

std::optional<sfpsim::Memory> parse(const std::string &text, std::string &error) {
  return sfpsim::parse_image({reinterpret_cast<const uint8_t *>(text.data()), text.size()}, error);
}

class SimImage : public ::testing::Test {
protected:
  ~SimImage() override {
    for (const auto &path : paths_) {
      (void)std::remove(path.c_str());
    }
  }
  std::string file(const std::string &name, const std::string &contents) {
    paths_.push_back(::testing::TempDir() + "sfpsim_" + std::to_string(::getpid()) + "_" + name);
    std::ofstream(paths_.back(), std::ios::binary) << contents;
    return paths_.back();
  }

private:
  std::vector<std::string> paths_;
};

TEST_F(SimImage, LoadsEveryFormatAtBothSizes) {
  for (std::size_t size : {256u, 512u}) {
    const std::string bytes = reference(size);
    const std::vector<std::pair<const char *, std::string>> files = {
        {"raw.bin", bytes},
        {"plain.txt", as_text(bytes, 16, Style::Plain)},
        {"prefixed.txt", as_text(bytes, 7, Style::Prefixed)},
        {"ethtool.txt", as_text(bytes, 16, Style::Ethtool)},
    };
    for (const auto &[name, contents] : files) {
      SCOPED_TRACE(std::string(name) + " of " + std::to_string(size));
      std::string error;
      const auto memory = sfpsim::load_image_file(file(name, contents), error);
      ASSERT_TRUE(memory.has_value()) << error;
      // The caller image lays out A0h, A2h and table 0 as the file does; a
      // short file leaves A2h zero.
      const auto image = sfpsim::Module(*memory).caller_image();
      EXPECT_EQ(std::string(image.begin(), image.end()), bytes + std::string(512 - size, '\0'));
    }
  }
}

TEST_F(SimImage, ReportsWhatIsWrongInOneLine) {
  const std::string full = reference(256);
  std::string bad_token = as_text(full, 16, Style::Plain);
  std::size_t line7 = 0;
  for (int i = 0; i < 6; ++i) {
    line7 = bad_token.find('\n', line7) + 1;
  }
  bad_token.replace(line7, 2, "zz");
  std::string gap = as_text(full, 16, Style::Ethtool);
  gap.replace(gap.find("0x0020:"), 7, "0x0030:");
  std::string long_line = as_text(full, 16, Style::Ethtool);
  long_line.replace(long_line.find(" \n0x0010"), 2, " 00\n");

  const std::vector<std::pair<std::string, std::string>> cases = {
      {bad_token, "line 7: 'zz' is not a hex byte"},
      {std::string(300, '\0'), "300 bytes; an image has 256 or 512"},
      {as_text(reference(255), 16, Style::Plain), "255 bytes; an image has 256 or 512"},
      {gap, "line 5: offset 0x0020 expected, found 0x0030"},
      {long_line, "line 3: 17 bytes after the offset; a line has at most 16"},
      {"03 04 123\n", "line 1: '123' is not a hex byte"},
      {"", "empty file"},
      {" \n\t\n", "no hex bytes in the file"},
  };
  for (const auto &[contents, message] : cases) {
    std::string error;
    EXPECT_FALSE(parse(contents, error).has_value()) << message;
    EXPECT_EQ(error, message);
  }
}

TEST_F(SimImage, FileErrorsNameTheFile) {
  std::string error;
  const std::string missing = ::testing::TempDir() + "sfpsim_no_such_image.bin";
  EXPECT_FALSE(sfpsim::load_image_file(missing, error));
  EXPECT_EQ(error, missing + ": cannot open: No such file or directory");

  const std::string bad = file("bad.txt", "03 04 zz\n");
  EXPECT_FALSE(sfpsim::load_image_file(bad, error));
  EXPECT_EQ(error, bad + ": line 1: 'zz' is not a hex byte");

  const std::string huge = file("huge.bin", std::string(sfpsim::kMaxImageFileSize + 1, '\0'));
  EXPECT_FALSE(sfpsim::load_image_file(huge, error));
  EXPECT_EQ(error.rfind(huge + ": ", 0), 0u);
  EXPECT_NE(error.find("1 MiB"), std::string::npos);

  EXPECT_FALSE(sfpsim::load_image_file(::testing::TempDir(), error));
  EXPECT_EQ(error.find('\n'), std::string::npos);
}

} // namespace
