// Runs a fuzz target without libFuzzer: on each file named on the command
// line (a directory stands for every file in it, hidden ones aside, in name
// order), or with no arguments on the target's generated inputs. With
// `--seeds DIR` it writes the unmutated seed inputs to DIR instead, as a
// starting corpus for libFuzzer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

bool replay_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  const std::vector<uint8_t> input{std::istreambuf_iterator<char>(file), {}};
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return true;
}

// The files to replay for one argument; a missing path is an error, so a
// mistyped corpus directory cannot pass by replaying nothing.
bool collect(const std::string &arg, std::vector<std::string> &paths) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (!fs::is_directory(arg, error)) {
    if (!fs::exists(arg, error)) {
      std::fprintf(stderr, "no such file or directory: %s\n", arg.c_str());
      return false;
    }
    paths.push_back(arg);
    return true;
  }
  std::vector<std::string> found;
  for (const fs::directory_entry &entry : fs::directory_iterator(arg, error)) {
    if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
      found.push_back(entry.path().string());
    }
  }
  std::sort(found.begin(), found.end());
  paths.insert(paths.end(), found.begin(), found.end());
  return !error;
}

int run_files(int argc, char **argv) {
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    if (!collect(argv[i], paths)) {
      return 1;
    }
  }
  for (const std::string &path : paths) {
    if (!replay_file(path)) {
      return 1;
    }
  }
  std::printf("%zu file(s) replayed\n", paths.size());
  return 0;
}

int write_seeds(const std::string &dir) {
  int count = 0;
  bool ok = true;
  sfpfuzz::generate_inputs(false, [&](const std::vector<uint8_t> &input) {
    std::ofstream out(dir + "/seed-" + std::to_string(count++), std::ios::binary);
    out.write(reinterpret_cast<const char *>(input.data()),
              static_cast<std::streamsize>(input.size()));
    ok = ok && out.good();
  });
  std::printf("%d seed(s) written to %s\n", count, dir.c_str());
  return ok ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
  if (argc == 3 && std::string(argv[1]) == "--seeds") {
    return write_seeds(argv[2]);
  }
  if (argc > 1) {
    return run_files(argc, argv);
  }
  // The library prints a line for every report that does not fit; on the
  // generated inputs that is noise, and the summary goes to stderr.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) {
    return 1;
  }
  long count = 0;
  sfpfuzz::generate_inputs(true, [&](const std::vector<uint8_t> &input) {
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++count;
  });
  std::fprintf(stderr, "%ld generated input(s) replayed\n", count);
  return 0;
}
