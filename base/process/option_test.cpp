#include "base/process/option.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/test_support.h"

namespace {

// Writable blank-separated words, as a program's argument vector.
struct Argv {
  explicit Argv(const std::string& line) {
    std::istringstream in(line);
    for (std::string word; in >> word;) {
      words.push_back(word);
    }
    for (std::string& word : words) {
      pointers.push_back(&word[0]);
    }
    pointers.push_back(nullptr);
  }
  std::vector<std::string> words;
  std::vector<char*> pointers;
};

// Scans on from the current state up to -1 (or ten calls) and describes
// each call as "<result> <index> <option char>", and after an option letter
// its argument, if any: "a 2 a; b 4 b x; -1 4 b".
std::string Scan(const char* options, Argv& argv) {
  std::string trace;
  for (int calls = 0, result = 0; result != -1 && calls < 10; ++calls) {
    result = ProcessGetOption(static_cast<int>(argv.words.size()),
                              argv.pointers.data(), options);
    trace += (trace.empty() ? "" : "; ") +
             (result == -1 ? "-1" : std::string(1, static_cast<char>(result))) +
             " " + std::to_string(ProcessOptionIndex) + " " +
             std::string(1, ProcessOptionChar == 0 ? '0' : ProcessOptionChar);
    if (result != -1 && result != '?' && result != ':' &&
        ProcessOptionArgument != nullptr) {
      trace += std::string(" ") + ProcessOptionArgument;
    }
  }
  return trace;
}

TEST(ProcessGetOption, EdgeCases) {
  struct Case {
    const char *options, *words, *trace, *diagnostic;
  } cases[] = {
      {"ab:", "prog -a -b x f", "a 2 a; b 4 b x; -1 4 b", ""},
      {"ab:", "prog -bx", "b 2 b x; -1 2 b", ""},
      {"ab:", "prog -b -a", "b 3 b -a; -1 3 b", ""},
      {"ab:", "prog -aab v", "a 1 a; a 1 a; b 3 b v; -1 3 b", ""},
      {"ab:", "prog -b", "? 2 b; -1 2 b",
       "prog: option requires an argument -- b\n"},
      {":ab:", "prog -b", ": 2 b; -1 2 b", ""},
      {"ab:", "prog -ac", "a 1 a; ? 2 c; -1 2 c",
       "prog: illegal option -- c\n"},
      {":ab:", "prog -ca", "? 1 c; a 2 a; -1 2 a", ""},
      {"a:b", "./tool -:", "? 2 :; -1 2 :", "./tool: illegal option -- :\n"},
      {"ab:", "prog --verbose -a", "-1 2 0", ""},
      {"ab:", "prog -a -- -a", "a 2 a; -1 3 a", ""},
      {"ab:", "prog - -a", "-1 1 -", ""},
      {"a-", "prog - -a x", "- 2 -; a 3 a; -1 3 a", ""},
      {"ab:", "prog -a- -b", "a 1 a; -1 1 -", ""},
      {"ab:", "prog file -a", "-1 1 0", ""},
  };
  qz_test::StderrCapture capture;
  for (int diagnostics : {1, 0}) {
    for (const Case& c : cases) {
      Argv argv(c.words);
      ProcessOptionIndex = ProcessOptionReset = 1;
      ProcessOptionError = diagnostics;
      ProcessOptionChar = 0;
      EXPECT_EQ(Scan(c.options, argv), c.trace) << c.words;
      EXPECT_EQ(capture.Take(), diagnostics != 0 ? c.diagnostic : "");
    }
  }
}

// A null option string changes nothing, not even a pending reset; a reset
// starts over at the index, and without one the scan goes on where it
// stopped, also past "--".
TEST(ProcessGetOption, ResetAndIndex) {
  Argv first("prog -abc -- -c"), second("other -c"), lone("-a");
  ProcessOptionIndex = ProcessOptionReset = 1;
  EXPECT_EQ(ProcessGetOption(4, first.pointers.data(), "abc"), 'a');
  ProcessOptionIndex = ProcessOptionReset = 1;
  EXPECT_EQ(Scan(nullptr, second), "-1 1 a");
  EXPECT_EQ(Scan("abc", second), "c 2 c; -1 2 c");
  ProcessOptionIndex = ProcessOptionReset = 1;
  EXPECT_EQ(Scan("abc", first), "a 1 a; b 1 b; c 2 c; -1 3 c");
  EXPECT_EQ(Scan("abc", first), "c 4 c; -1 4 c");
  ProcessOptionIndex = 0;
  EXPECT_EQ(Scan("a", lone), "a 1 a; -1 1 a");
  ProcessOptionIndex = -1;
  EXPECT_EQ(Scan("a", first), "-1 -1 a");
  char* with_null[] = {first.pointers[0], nullptr, first.pointers[1]};
  ProcessOptionIndex = 1;
  EXPECT_EQ(ProcessGetOption(3, with_null, "a"), -1);
}

// A key is checked with limit 0; a value with the limit given.
TEST(ProcessCheckOptionItem, LimitsAndSeparators) {
  const std::string k1023(1023, 'k'), k1024(1024, 'k');
  const struct {
    const char* text;
    uint32_t limit;
    int expected;
  } cases[] = {{k1023.c_str(), 0, 1},
               {k1024.c_str(), 0, -1},
               {k1023.c_str(), 1023, -1},
               {k1024.c_str(), 1025, 1},
               {k1024.c_str(), ~0U, 1},
               {"", 1, 1},
               {"x", 1, -1},
               {"a=b", ~0U, -1},
               {"a,b", ~0U, -1},
               {nullptr, ~0U, -1},
               {"a b\x1d\x1e", 0, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(ProcessCheckOptionItem(c.text, c.limit), c.expected);
    EXPECT_EQ(ProcessCheckOptionPair("key", c.text, c.limit), c.expected);
    if (c.limit == 0) {
      EXPECT_EQ(ProcessCheckOptionPair(c.text, "value", ~0U), c.expected);
    }
  }
}

TEST(ProcessMatchOption, ListBeginsWithTheWord) {
  const struct {
    const char *list, *word;
    int expected;
  } cases[] = {{"alpha,beta", "alpha", 1},
               {"alpha,beta", "alp", 0},
               {"alpha,beta", "beta", 0},
               {"alpha", "alphabet", 0},
               {"alpha", "alpha", 1},
               {"alpha,", "alpha,", 0},
               {",x", "", 1},
               {"x", "", 0},
               {nullptr, "x", 0},
               {"x", nullptr, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(ProcessMatchOption(c.list, c.word), c.expected) << c.word;
  }
}

TEST(ProcessEscapeOption, SeparatorsBecomeControlBytes) {
  char text[] = "a=b, c";
  ProcessEscapeOption(text);
  EXPECT_STREQ(text,
               "a\x1d"
               "b\x1e\x1f"
               "c");
  ProcessUnescapeOption(text);
  EXPECT_STREQ(text, "a=b, c");
  ProcessEscapeOption(nullptr);
  ProcessUnescapeOption(nullptr);
}

}  // namespace
