// Running sfpctl as an operator does, for the tool's tests: through the
// shell, with its exit status, standard output and standard error.
#ifndef SFPDRV_TESTS_TOOL_RUN_H
#define SFPDRV_TESTS_TOOL_RUN_H

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tooltest {

using Lines = std::vector<std::string>;

struct ToolRun {
  int exit_code = -1;
  std::string out;
  std::string err;
};

// The file's bytes; the file is removed.
inline std::string take_file(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  std::filesystem::remove(path);
  return text.str();
}

inline Lines lines_of(const std::string &text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

// A scratch path of this test process, for files of its own.
inline std::string scratch_path(const std::string &name) {
  return testing::TempDir() + "sfpctl_" + std::to_string(getpid()) + "_" + name;
}

// Runs `command` (a shell command line) with standard output going to
// `stdout_to` (a shell redirection; by default a scratch file) and standard
// error to a scratch file. A run that hangs is stopped after a minute.
inline ToolRun run_shell(const std::string &command, const std::string &stdout_to = "") {
  const std::string out = scratch_path("out");
  const std::string err = scratch_path("err");
  const std::string line =
      "timeout 60 " + command + " " + (stdout_to.empty() ? ">" + out : stdout_to) + " 2>" + err;
  const int status = std::system(line.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, take_file(out), take_file(err)};
}

} // namespace tooltest

#endif // SFPDRV_TESTS_TOOL_RUN_H
