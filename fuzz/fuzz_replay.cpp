// Replays a corpus through a fuzz target without the fuzzing engine, so that
// the ordinary test run (sanitizer build included) checks every input kept
// in the repository: each argument is one input file. Exits 1 when one
// cannot be read.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_target.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    if (!file) {
      static_cast<void>(
          fprintf(stderr, "fuzz replay: cannot read '%s'\n", argv[i]));
      return 1;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  printf("fuzz replay: %d inputs\n", argc - 1);
  return 0;
}
