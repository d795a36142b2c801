// The option scanner over argument vectors and option strings taken from
// the input, and the option-list utilities over the same texts. The scanner
// must stay inside the vector, return only what its contract lists, and
// leave its argument pointing into the vector; escaping and unescaping must
// undo each other on texts free of the three escape bytes.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/process/option.h"
#include "fuzz/fuzz_target.h"

namespace {

// Exact-size copies, so that a read past a terminator is seen.
std::unique_ptr<char[]> Copy(const std::string& text) {
  std::unique_ptr<char[]> copy(new char[text.size() + 1]);
  memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

void CheckScanner(const std::string& options,
                  const std::vector<std::unique_ptr<char[]>>& words) {
  std::vector<char*> argv;
  for (const auto& word : words) {
    argv.push_back(word.get());
  }
  argv.push_back(nullptr);
  int argc = static_cast<int>(words.size());

  ProcessOptionError = 0;
  ProcessOptionArgument = nullptr;
  ProcessOptionIndex = 1;
  ProcessOptionReset = 1;
  // Each call takes at least one letter, so the scan ends within the
  // vector's byte count.
  size_t limit = 2;
  for (const auto& word : words) {
    limit += strlen(word.get()) + 1;
  }
  int found = 0;
  while ((found = ProcessGetOption(argc, argv.data(), options.c_str())) != -1) {
    FUZZ_CHECK(limit-- > 0);
    const char* letter =
        found != ':' ? strchr(options.c_str(), found) : nullptr;
    FUZZ_CHECK(letter != nullptr || found == '?' || found == ':');
    // After a listed letter the argument is null, or for a letter that
    // takes one, a pointer into the vector. After '?' and ':' it is left
    // as it was, as the classic scanner leaves it; a listed '?' cannot be
    // told from an unknown letter, so it is not checked.
    if (found == '?') {
      letter = nullptr;
    }
    if (letter != nullptr && letter[1] == ':') {
      bool inside = false;
      for (int i = 0; i < argc; ++i) {
        const char* word = argv[static_cast<size_t>(i)];
        inside |= ProcessOptionArgument >= word &&
                  ProcessOptionArgument <= word + strlen(word);
      }
      FUZZ_CHECK(inside);
    } else if (letter != nullptr) {
      FUZZ_CHECK(ProcessOptionArgument == nullptr);
    }
    FUZZ_CHECK(ProcessOptionIndex >= 0 && ProcessOptionIndex <= argc + 1);
  }
  ProcessOptionError = 1;
}

void CheckEscaping(const std::string& text) {
  auto copy = Copy(text);
  ProcessEscapeOption(copy.get());
  FUZZ_CHECK(strlen(copy.get()) == strlen(text.c_str()));
  FUZZ_CHECK(strpbrk(copy.get(), ",= ") == nullptr);
  ProcessUnescapeOption(copy.get());
  if (text.find_first_of("\x1d\x1e\x1f") == std::string::npos) {
    FUZZ_CHECK(strcmp(copy.get(), text.c_str()) == 0);
  }
}

void CheckListUtilities(const std::string& key, const std::string& value) {
  auto key_copy = Copy(key);
  auto value_copy = Copy(value);
  bool plain = strpbrk(key_copy.get(), "=,") == nullptr;
  int item = ProcessCheckOptionItem(key_copy.get(), 0);
  FUZZ_CHECK(item == ((plain && strlen(key_copy.get()) < 1024) ? 1 : -1));
  int pair = ProcessCheckOptionPair(key_copy.get(), value_copy.get(), 8);
  FUZZ_CHECK(pair == 1 || pair == -1);
  int match = ProcessMatchOption(value_copy.get(), key_copy.get());
  FUZZ_CHECK(match == 0 || match == 1);
  if (match == 1) {
    size_t length = strlen(key_copy.get());
    FUZZ_CHECK(strncmp(value_copy.get(), key_copy.get(), length) == 0);
    FUZZ_CHECK(value_copy[length] == ',' || value_copy[length] == '\0');
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string options = input.TakeString();
  std::vector<std::unique_ptr<char[]>> words;
  words.push_back(Copy("prog"));
  while (!input.Empty() && words.size() < 16) {
    words.push_back(Copy(input.TakeString()));
  }
  CheckScanner(options, words);
  CheckEscaping(options);
  CheckListUtilities(options, words.size() > 1 ? words[1].get() : "");
  return 0;
}
