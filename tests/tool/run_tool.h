// Runs sfpctl as a child process and captures what it prints.
#ifndef SFPDRV_TESTS_TOOL_RUN_TOOL_H
#define SFPDRV_TESTS_TOOL_RUN_TOOL_H

#include <string>
#include <vector>

namespace sfpctl_test {

struct ToolRun {
  int exit_code = -1; // 128 + signal number when the tool was killed, -1 if not run
  std::string out;
  std::string err;
};

ToolRun run_sfpctl(const std::vector<std::string> &args);

// The text split at newlines, without the empty piece after a final one.
std::vector<std::string> lines_of(const std::string &text);

} // namespace sfpctl_test

#endif // SFPDRV_TESTS_TOOL_RUN_TOOL_H
