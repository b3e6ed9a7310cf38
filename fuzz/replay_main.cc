// Runs a fuzz target without libFuzzer: on each file named on the command
// line, or with no arguments on the target's generated inputs. With
// `--seeds DIR` it writes the unmutated seed inputs to DIR instead, as a
// starting corpus for libFuzzer.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

int run_files(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    const std::vector<uint8_t> input{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%d file(s) replayed\n", argc - 1);
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
