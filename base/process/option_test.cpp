#include "base/process/option.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/testing/test_support.h"

namespace {

// Saves the scanner's state and puts it back after each test.
class OptionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = {ProcessOptionIndex, ProcessOptionError, ProcessOptionChar,
              ProcessOptionReset};
    savedArgument_ = ProcessOptionArgument;
  }
  void TearDown() override {
    ProcessOptionIndex = saved_[0];
    ProcessOptionError = saved_[1];
    ProcessOptionChar = saved_[2];
    ProcessOptionReset = saved_[3];
    ProcessOptionArgument = savedArgument_;
  }
  std::vector<int> saved_;
  char* savedArgument_ = nullptr;
};

// Writable copies of words, as a program's argument vector.
struct Arguments {
  explicit Arguments(std::vector<std::string> source)
      : words(std::move(source)) {
    for (std::string& word : words)
      vector.push_back(&word[0]);
    vector.push_back(nullptr);
  }
  int count() const { return static_cast<int>(words.size()); }
  std::vector<std::string> words;
  std::vector<char*> vector;
};

// One call: its result, the index and option character after it, and the
// argument (when the result is a letter).
struct Step {
  int result, index, character;
  const char* argument;
};

struct ScanCase {
  const char* options;
  std::vector<std::string> words;
  std::vector<Step> steps;  // the last one gives -1
  std::string diagnostics;
};

// The edge cases; the option fuzz target checks the scanner's contract
// over arbitrary vectors.
TEST_F(OptionTest, EdgeCases) {
  const ScanCase cases[] = {
      {"ab:",
       {"prog", "-a", "-b", "x", "f"},
       {{'a', 2, 'a', nullptr}, {'b', 4, 'b', "x"}, {-1, 4, 'b', nullptr}},
       ""},
      {"ab:", {"prog", "-bx"}, {{'b', 2, 'b', "x"}, {-1, 2, 'b', nullptr}}, ""},
      {"ab:",
       {"prog", "-b", "-a"},
       {{'b', 3, 'b', "-a"}, {-1, 3, 'b', nullptr}},
       ""},
      {"ab:",
       {"prog", "-aab", "v"},
       {{'a', 1, 'a', nullptr},
        {'a', 1, 'a', nullptr},
        {'b', 3, 'b', "v"},
        {-1, 3, 'b', nullptr}},
       ""},
      {"ab:",
       {"prog", "-b"},
       {{'?', 2, 'b', nullptr}, {-1, 2, 'b', nullptr}},
       "prog: option requires an argument -- b\n"},
      {":ab:",
       {"prog", "-b"},
       {{':', 2, 'b', nullptr}, {-1, 2, 'b', nullptr}},
       ""},
      {"ab:",
       {"prog", "-ac"},
       {{'a', 1, 'a', nullptr}, {'?', 2, 'c', nullptr}, {-1, 2, 'c', nullptr}},
       "prog: illegal option -- c\n"},
      {":ab:",
       {"prog", "-ca"},
       {{'?', 1, 'c', nullptr}, {'a', 2, 'a', nullptr}, {-1, 2, 'a', nullptr}},
       ""},
      {"a:b",
       {"./tool", "-:"},
       {{'?', 2, ':', nullptr}, {-1, 2, ':', nullptr}},
       "./tool: illegal option -- :\n"},
      {"ab:", {"prog", "--verbose", "-a"}, {{-1, 2, 0, nullptr}}, ""},
      {"ab:",
       {"prog", "-a", "--", "-a"},
       {{'a', 2, 'a', nullptr}, {-1, 3, 'a', nullptr}},
       ""},
      {"ab:", {"prog", "-", "-a"}, {{-1, 1, '-', nullptr}}, ""},
      {"a-",
       {"prog", "-", "-a", "x"},
       {{'-', 2, '-', nullptr}, {'a', 3, 'a', nullptr}, {-1, 3, 'a', nullptr}},
       ""},
      {"ab:",
       {"prog", "-a-", "-b"},
       {{'a', 1, 'a', nullptr}, {-1, 1, '-', nullptr}},
       ""},
      {"ab:", {"prog", "file", "-a"}, {{-1, 1, 0, nullptr}}, ""},
  };
  qz_test::StderrCapture capture;
  for (int diagnostics : {1, 0}) {
    for (const ScanCase& c : cases) {
      SCOPED_TRACE(testing::PrintToString(c.words));
      Arguments arguments(c.words);
      ProcessOptionIndex = ProcessOptionReset = 1;
      ProcessOptionError = diagnostics;
      ProcessOptionChar = 0;
      for (const Step& step : c.steps) {
        int result = ProcessGetOption(arguments.count(),
                                      arguments.vector.data(), c.options);
        EXPECT_EQ(step.result, result);
        EXPECT_EQ(step.index, ProcessOptionIndex);
        EXPECT_EQ(step.character, ProcessOptionChar);
        if (result > 0 && result != '?' && result != ':') {
          EXPECT_STREQ(step.argument, ProcessOptionArgument);
        }
      }
      EXPECT_EQ(diagnostics ? c.diagnostics : "", capture.Take());
    }
  }
}

// A null option string changes nothing and leaves the reset pending; without
// a reset the scan goes on inside the old word.
TEST_F(OptionTest, NullOptionsAndReset) {
  Arguments first({"prog", "-abc"}), second({"other", "-c"});
  ProcessOptionIndex = ProcessOptionReset = 1;
  ProcessOptionChar = 'z';
  EXPECT_EQ(-1, ProcessGetOption(2, first.vector.data(), nullptr));
  EXPECT_EQ(1, ProcessOptionIndex);
  EXPECT_EQ('z', ProcessOptionChar);
  ASSERT_EQ('a', ProcessGetOption(2, first.vector.data(), "abc"));
  ProcessOptionIndex = 1;
  EXPECT_EQ('b', ProcessGetOption(2, second.vector.data(), "abc"));
  ProcessOptionIndex = ProcessOptionReset = 1;
  EXPECT_EQ('c', ProcessGetOption(2, second.vector.data(), "abc"));
  EXPECT_EQ(0, ProcessOptionReset);
  EXPECT_EQ(-1, ProcessGetOption(2, second.vector.data(), "abc"));
  char* with_null[] = {first.vector[0], nullptr, nullptr};
  ProcessOptionIndex = 1;
  EXPECT_EQ(-1, ProcessGetOption(3, with_null, "a"));
}

TEST(ProcessCheckOptionItem, LimitsAndSeparators) {
  std::string text(1023, 'k');
  EXPECT_EQ(1, ProcessCheckOptionItem(text.c_str(), 0));  // 0: limit 1024
  EXPECT_EQ(-1, ProcessCheckOptionItem(text.c_str(), 1023));
  text += 'k';
  EXPECT_EQ(-1, ProcessCheckOptionItem(text.c_str(), 0));
  EXPECT_EQ(1, ProcessCheckOptionItem(text.c_str(), 1025));
  EXPECT_EQ(1, ProcessCheckOptionItem("", 1));
  EXPECT_EQ(-1, ProcessCheckOptionItem("x", 1));
  for (const char* bad :
       {"a=b", "a,b", ",", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(-1, ProcessCheckOptionItem(bad, 4294967295U))
        << (bad ? bad : "null");
  }
  EXPECT_EQ(1, ProcessCheckOptionItem("a b\x1d\x1e", 0));
  EXPECT_EQ(1, ProcessCheckOptionPair("key", "value", 0));
  EXPECT_EQ(-1, ProcessCheckOptionPair(std::string(1024, 'k').c_str(), "v",
                                       4294967295U));
  EXPECT_EQ(-1,
            ProcessCheckOptionPair("key", std::string(5000, 'v').c_str(), 0));
  EXPECT_EQ(
      1, ProcessCheckOptionPair("key", std::string(5000, 'v').c_str(), 5001));
  EXPECT_EQ(-1, ProcessCheckOptionPair("k=y", "value", 0));
  EXPECT_EQ(-1, ProcessCheckOptionPair("key", nullptr, 0));
}

TEST(ProcessMatchOption, ListBeginsWithTheWord) {
  struct {
    const char *list, *word;
    int expected;
  } cases[] = {{"alpha,beta", "alpha", 1},
               {"alpha,beta", "alp", 0},
               {"alpha,beta", "beta", 0},
               {"alpha", "alphabet", 0},
               {"alpha,", "alpha,", 0},
               {",x", "", 1},
               {"x", "", 0},
               {nullptr, "x", 0},
               {"x", nullptr, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, ProcessMatchOption(c.list, c.word))
        << (c.list ? c.list : "null");
  }
}

// Separators become control bytes; every other byte comes back unchanged.
TEST(ProcessEscapeOption, RoundTrip) {
  char text[] = "a=b, c";
  ProcessEscapeOption(text);
  EXPECT_STREQ(
      "a\x1d"
      "b\x1e\x1f"
      "c",
      text);
  std::string all;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte < 29 || byte > 31)
      all += static_cast<char>(byte);
  }
  std::string copy = all;
  ProcessEscapeOption(&copy[0]);
  EXPECT_EQ(ProcessCheckOptionItem(copy.c_str(), 4294967295U), 1);
  ProcessUnescapeOption(&copy[0]);
  EXPECT_EQ(all, copy);
  ProcessEscapeOption(nullptr);
  ProcessUnescapeOption(nullptr);
}

}  // namespace
