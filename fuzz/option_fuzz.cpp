// The option scanner over an option string and argument words taken from
// the input: it ends within as many calls as the input has bytes, keeps its
// index within the vector and returns only listed letters, '?' and ':';
// after a listed letter the argument is set exactly when the letter takes
// one.

#include <cstring>
#include <vector>

#include "base/process/option.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string options = input.TakeString();
  // Exact-size copies, so that the sanitizers see a read past a terminator.
  std::vector<std::vector<char>> words = {{'p', '\0'}};
  while (!input.Empty() && words.size() < 16) {
    std::string word = input.TakeString();
    words.emplace_back(word.c_str(), word.c_str() + word.size() + 1);
  }
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::vector<char>& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  auto argc = static_cast<int>(words.size());
  ProcessOptionError = 0;
  ProcessOptionIndex = ProcessOptionReset = 1;
  size_t calls = 0;
  for (int found;
       (found = ProcessGetOption(argc, argv.data(), options.c_str())) != -1;) {
    FUZZ_CHECK(++calls <= size && ProcessOptionIndex <= argc);
    const char* letter = strchr(options.c_str(), found);
    FUZZ_CHECK(found == '?' || found == ':' ||
               (letter != nullptr &&
                (ProcessOptionArgument != nullptr) == (letter[1] == ':')));
  }
  return 0;
}
