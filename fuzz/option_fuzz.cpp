// The option scanner over an option string and argument words taken from
// the input: it ends within as many calls as the words have letters, returns
// only listed letters, '?' and ':', and points an option's argument into the
// vector. Escaping leaves no separator and undoes itself on texts free of
// the escape bytes; a list matches a word exactly when it begins with it.

#include <cstring>
#include <string>
#include <vector>

#include "base/process/option.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string options = input.TakeString();
  // Exact-size copies, so that the sanitizers see a read past a terminator.
  std::vector<std::vector<char>> words;
  for (std::string word = "prog"; words.size() < 16;
       word = input.TakeString()) {
    words.emplace_back(word.c_str(), word.c_str() + word.size() + 1);
    if (input.Empty()) {
      break;
    }
  }
  std::vector<char*> argv;
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
    const char* letter =
        found == '?' || found == ':' ? nullptr : strchr(options.c_str(), found);
    FUZZ_CHECK(letter != nullptr || found == '?' || found == ':');
    const char* argument = ProcessOptionArgument;
    bool inside =
        letter == nullptr || (letter[1] != ':' && argument == nullptr);
    for (int i = 1; i < argc && letter != nullptr && letter[1] == ':'; ++i) {
      inside |= argument >= argv[i] && argument <= argv[i] + strlen(argv[i]);
    }
    FUZZ_CHECK(inside);
  }

  std::vector<char> text(options.c_str(), options.c_str() + options.size() + 1);
  ProcessEscapeOption(text.data());
  FUZZ_CHECK(strpbrk(text.data(), ",= ") == nullptr);
  ProcessUnescapeOption(text.data());
  FUZZ_CHECK(options == text.data() ||
             options.find_first_of("\x1d\x1e\x1f") != std::string::npos);

  const char *word = options.c_str(), *list = argc > 1 ? argv[1] : "";
  size_t length = strlen(word);
  bool begins = strchr(word, ',') == nullptr &&
                strncmp(list, word, length) == 0 &&
                (list[length] == ',' || list[length] == '\0');
  FUZZ_CHECK(ProcessMatchOption(list, word) == (begins ? 1 : 0));
  return 0;
}
