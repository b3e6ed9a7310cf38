#include "tool/run_tool.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

namespace sfpctl_test {
namespace {

std::string take_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::remove(path.c_str());
  return text;
}

} // namespace

ToolRun run_sfpctl(const std::vector<std::string> &args) {
  std::vector<std::string> argv_text{SFPCTL_PATH};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char *> argv;
  for (std::string &arg : argv_text) {
    argv.push_back(arg.data());
  }
  argv.push_back(nullptr);

  // The child writes into two files, read back once it has ended.
  char out_path[] = "/tmp/sfpctl_out_XXXXXX";
  char err_path[] = "/tmp/sfpctl_err_XXXXXX";
  const int out_fd = mkstemp(out_path);
  const int err_fd = mkstemp(err_path);
  ToolRun run;
  const pid_t child = out_fd < 0 || err_fd < 0 ? -1 : fork();
  if (child == 0) {
    dup2(out_fd, STDOUT_FILENO);
    dup2(err_fd, STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  if (child > 0 && waitpid(child, &status, 0) == child) {
    run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  close(out_fd);
  close(err_fd);
  run.out = take_file(out_path);
  run.err = take_file(err_path);
  return run;
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

} // namespace sfpctl_test
