#include "base/process/option.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "base/process/option_test_support.h"

namespace {

// Saves the scanner's state, starts each test on a fresh scan and puts the
// state back afterwards.
class OptionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    savedIndex_ = ProcessOptionIndex;
    savedError_ = ProcessOptionError;
    savedChar_ = ProcessOptionChar;
    savedArgument_ = ProcessOptionArgument;
    savedReset_ = ProcessOptionReset;
    Restart();
  }

  void TearDown() override {
    ProcessOptionIndex = savedIndex_;
    ProcessOptionError = savedError_;
    ProcessOptionChar = savedChar_;
    ProcessOptionArgument = savedArgument_;
    ProcessOptionReset = savedReset_;
  }

  static void Restart() {
    ProcessOptionIndex = 1;
    ProcessOptionReset = 1;
    ProcessOptionError = 1;
  }

 private:
  int savedIndex_ = 0;
  int savedError_ = 0;
  int savedChar_ = 0;
  char* savedArgument_ = nullptr;
  int savedReset_ = 0;
};

// One call's outcome: the result, the index after it, the option character
// and the argument (when the result is an option letter).
struct Step {
  int result;
  int index;
  int character;
  const char* argument;  // null: no argument expected
};

// Writable copies of words, as a program's argument vector.
class Arguments {
 public:
  explicit Arguments(const std::vector<std::string>& words) : words_(words) {
    for (std::string& word : words_) {
      vector_.push_back(&word[0]);
    }
    vector_.push_back(nullptr);
  }
  int count() const { return static_cast<int>(words_.size()); }
  char* const* vector() const { return vector_.data(); }

 private:
  std::vector<std::string> words_;
  std::vector<char*> vector_;
};

struct ScanCase {
  const char* what;
  const char* options;
  std::vector<std::string> words;
  std::vector<Step> steps;  // the last one gives -1
  std::string diagnostics;
};

const std::vector<ScanCase>& ScanCases() {
  static const std::vector<ScanCase> cases = {
      {"separate argument",
       "ab:",
       {"prog", "-a", "-b", "x", "file"},
       {{'a', 2, 'a', nullptr}, {'b', 4, 'b', "x"}, {-1, 4, 'b', nullptr}},
       ""},
      {"argument in the same word",
       "ab:",
       {"prog", "-bx"},
       {{'b', 2, 'b', "x"}, {-1, 2, 'b', nullptr}},
       ""},
      {"argument that looks like an option",
       "ab:",
       {"prog", "-b", "-a"},
       {{'b', 3, 'b', "-a"}, {-1, 3, 'b', nullptr}},
       ""},
      {"cluster ending in an argument",
       "ab:",
       {"prog", "-aab", "v", "-a"},
       {{'a', 1, 'a', nullptr},
        {'a', 1, 'a', nullptr},
        {'b', 3, 'b', "v"},
        {'a', 4, 'a', nullptr},
        {-1, 4, 'a', nullptr}},
       ""},
      {"missing argument",
       "ab:",
       {"prog", "-b"},
       {{'?', 2, 'b', nullptr}, {-1, 2, 'b', nullptr}},
       "prog: option requires an argument -- b\n"},
      {"missing argument, silent",
       ":ab:",
       {"prog", "-b"},
       {{':', 2, 'b', nullptr}, {-1, 2, 'b', nullptr}},
       ""},
      {"unknown letter in a cluster",
       "ab:",
       {"prog", "-ac"},
       {{'a', 1, 'a', nullptr}, {'?', 2, 'c', nullptr}, {-1, 2, 'c', nullptr}},
       "prog: illegal option -- c\n"},
      {"unknown letter, silent",
       ":ab:",
       {"prog", "-ca"},
       {{'?', 1, 'c', nullptr}, {'a', 2, 'a', nullptr}, {-1, 2, 'a', nullptr}},
       ""},
      {"colon is never a letter",
       "a:b",
       {"./tool", "-:"},
       {{'?', 2, ':', nullptr}, {-1, 2, ':', nullptr}},
       "./tool: illegal option -- :\n"},
      {"long word ends the options",
       "ab:",
       {"prog", "--verbose", "-a"},
       {{-1, 2, 0, nullptr}},
       ""},
      {"double dash ends the options",
       "ab:",
       {"prog", "-a", "--", "-a"},
       {{'a', 2, 'a', nullptr}, {-1, 3, 'a', nullptr}},
       ""},
      {"dash alone ends the options",
       "ab:",
       {"prog", "-", "-a"},
       {{-1, 1, '-', nullptr}},
       ""},
      {"dash alone as an option letter",
       "a-",
       {"prog", "-", "-a", "x"},
       {{'-', 2, '-', nullptr}, {'a', 3, 'a', nullptr}, {-1, 3, 'a', nullptr}},
       ""},
      {"dash inside a cluster",
       "ab:",
       {"prog", "-a-", "-b"},
       {{'a', 1, 'a', nullptr}, {-1, 1, '-', nullptr}},
       ""},
      {"non-option word",
       "ab:",
       {"prog", "file", "-a"},
       {{-1, 1, 0, nullptr}},
       ""},
      {"no arguments", "ab:", {"prog"}, {{-1, 1, 0, nullptr}}, ""},
  };
  return cases;
}

// Runs the scanner over one case; ProcessOptionChar before the first call is
// 0, so a -1 that examines no letter leaves it 0.
void RunCase(const ScanCase& c, bool diagnostics_on) {
  SCOPED_TRACE(c.what);
  Arguments arguments(c.words);
  StderrCapture capture;
  ProcessOptionIndex = 1;
  ProcessOptionReset = 1;
  ProcessOptionError = diagnostics_on ? 1 : 0;
  ProcessOptionChar = 0;
  for (size_t i = 0; i < c.steps.size(); ++i) {
    const Step& step = c.steps[i];
    SCOPED_TRACE(i);
    int result =
        ProcessGetOption(arguments.count(), arguments.vector(), c.options);
    EXPECT_EQ(step.result, result);
    EXPECT_EQ(step.index, ProcessOptionIndex);
    EXPECT_EQ(step.character, ProcessOptionChar);
    if (result != -1 && result != '?' && result != ':') {
      if (step.argument == nullptr) {
        EXPECT_EQ(nullptr, ProcessOptionArgument);
      } else {
        ASSERT_NE(nullptr, ProcessOptionArgument);
        EXPECT_STREQ(step.argument, ProcessOptionArgument);
      }
    }
  }
  EXPECT_EQ(diagnostics_on ? c.diagnostics : "", capture.Take());
}

TEST_F(OptionTest, ScanCasesWithDiagnostics) {
  for (const ScanCase& c : ScanCases()) {
    RunCase(c, true);
  }
}

TEST_F(OptionTest, ScanCasesWithoutDiagnostics) {
  for (const ScanCase& c : ScanCases()) {
    RunCase(c, false);
  }
}

// The rest of a word is the argument itself, not a copy.
TEST_F(OptionTest, ArgumentPointsIntoTheVector) {
  Arguments arguments({"prog", "-bvalue", "-b", "next"});
  ASSERT_EQ('b', ProcessGetOption(4, arguments.vector(), "b:"));
  EXPECT_EQ(arguments.vector()[1] + 2, ProcessOptionArgument);
  ASSERT_EQ('b', ProcessGetOption(4, arguments.vector(), "b:"));
  EXPECT_EQ(arguments.vector()[3], ProcessOptionArgument);
}

TEST_F(OptionTest, NullOptionStringChangesNothing) {
  Arguments arguments({"prog", "-a"});
  ProcessOptionIndex = 1;
  ProcessOptionReset = 1;
  ProcessOptionChar = 'z';
  ProcessOptionArgument = arguments.vector()[0];
  EXPECT_EQ(-1, ProcessGetOption(2, arguments.vector(), nullptr));
  EXPECT_EQ(1, ProcessOptionIndex);
  EXPECT_EQ(1, ProcessOptionReset);
  EXPECT_EQ('z', ProcessOptionChar);
  EXPECT_EQ(arguments.vector()[0], ProcessOptionArgument);
  // The reset is still pending: the next scan starts at the word.
  EXPECT_EQ('a', ProcessGetOption(2, arguments.vector(), "a"));
}

// Without a reset the scan goes on inside the old word; with one it starts
// afresh at the index.
TEST_F(OptionTest, ResetStartsANewWord) {
  Arguments first({"prog", "-abc"});
  ASSERT_EQ('a', ProcessGetOption(2, first.vector(), "abc"));
  Arguments second({"other", "-c"});
  ProcessOptionIndex = 1;
  EXPECT_EQ('b', ProcessGetOption(2, second.vector(), "abc"));
  ProcessOptionIndex = 1;
  ProcessOptionReset = 1;
  EXPECT_EQ('c', ProcessGetOption(2, second.vector(), "abc"));
  EXPECT_EQ(0, ProcessOptionReset);
  EXPECT_EQ(2, ProcessOptionIndex);
  EXPECT_EQ(-1, ProcessGetOption(2, second.vector(), "abc"));
}

TEST_F(OptionTest, NullEntryOrNegativeIndexEndsTheOptions) {
  char program[] = "prog";
  char* vector[] = {program, nullptr, nullptr};
  EXPECT_EQ(-1, ProcessGetOption(3, vector, "a"));
  EXPECT_EQ(1, ProcessOptionIndex);
  ProcessOptionIndex = -1;
  ProcessOptionReset = 1;
  EXPECT_EQ(-1, ProcessGetOption(3, vector, "a"));
}

TEST(ProcessCheckOptionItem, LengthLimits) {
  std::string text(1023, 'k');
  EXPECT_EQ(1, ProcessCheckOptionItem(text.c_str(), 0));
  EXPECT_EQ(1, ProcessCheckOptionItem(text.c_str(), 1024));
  EXPECT_EQ(-1, ProcessCheckOptionItem(text.c_str(), 1023));
  text += 'k';
  EXPECT_EQ(-1, ProcessCheckOptionItem(text.c_str(), 0));
  EXPECT_EQ(1, ProcessCheckOptionItem(text.c_str(), 1025));
  std::string huge(100000, 'v');
  EXPECT_EQ(1, ProcessCheckOptionItem(huge.c_str(), 4294967295U));
  EXPECT_EQ(-1, ProcessCheckOptionItem(huge.c_str(), 100000));
  EXPECT_EQ(1, ProcessCheckOptionItem(huge.c_str(), 100001));
  EXPECT_EQ(1, ProcessCheckOptionItem("", 1));
  EXPECT_EQ(-1, ProcessCheckOptionItem("x", 1));
}

TEST(ProcessCheckOptionItem, SeparatorsAndNullAreRefused) {
  for (const char* text : {"a=b", "a,b", "=", ",", "key=", ",value"}) {
    EXPECT_EQ(-1, ProcessCheckOptionItem(text, 0)) << text;
    EXPECT_EQ(-1, ProcessCheckOptionItem(text, 4294967295U)) << text;
  }
  EXPECT_EQ(-1, ProcessCheckOptionItem(nullptr, 4294967295U));
  EXPECT_EQ(1, ProcessCheckOptionItem("a b\x1d\x1e", 0));
}

TEST(ProcessCheckOptionPair, KeyHasTheDefaultLimitValueItsOwn) {
  std::string long_key(1024, 'k');
  std::string long_value(5000, 'v');
  EXPECT_EQ(1, ProcessCheckOptionPair("key", "value", 0));
  EXPECT_EQ(-1, ProcessCheckOptionPair(long_key.c_str(), "value", 4294967295U));
  EXPECT_EQ(-1, ProcessCheckOptionPair("key", long_value.c_str(), 0));
  EXPECT_EQ(1, ProcessCheckOptionPair("key", long_value.c_str(), 5001));
  EXPECT_EQ(-1, ProcessCheckOptionPair("key", "a,b", 0));
  EXPECT_EQ(-1, ProcessCheckOptionPair("k=y", "value", 0));
  EXPECT_EQ(-1, ProcessCheckOptionPair("key", nullptr, 0));
}

TEST(ProcessMatchOption, ListBeginsWithTheWord) {
  struct {
    const char* list;
    const char* word;
    int expected;
  } cases[] = {
      {"alpha,beta", "alpha", 1},
      {"alpha,beta", "alp", 0},
      {"alpha,beta", "beta", 0},
      {"alpha", "alpha", 1},
      {"alpha", "alphabet", 0},
      {"alphabet", "alpha", 0},
      {"alpha,beta", "alpha,beta", 0},
      {"alpha,", "alpha,", 0},
      {"", "", 1},
      {",x", "", 1},
      {"x", "", 0},
      {"", "x", 0},
      {nullptr, "x", 0},
      {"x", nullptr, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, ProcessMatchOption(c.list, c.word))
        << (c.list ? c.list : "(null)") << " / "
        << (c.word ? c.word : "(null)");
  }
}

TEST(ProcessEscapeOption, SeparatorsBecomeControlBytesAndBack) {
  char text[] = "a=b, c=d e";
  ProcessEscapeOption(text);
  EXPECT_STREQ(
      "a\x1d"
      "b\x1e\x1f"
      "c\x1d"
      "d\x1f"
      "e",
      text);
  EXPECT_EQ(nullptr, strpbrk(text, "=, "));
  ProcessUnescapeOption(text);
  EXPECT_STREQ("a=b, c=d e", text);
  ProcessEscapeOption(nullptr);
  ProcessUnescapeOption(nullptr);
}

// Every printable text comes back unchanged through escape and unescape.
TEST(ProcessEscapeOption, RoundTripOfEveryPrintableByte) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte < 29 || byte > 31) {
      all += static_cast<char>(byte);
    }
  }
  std::string text = all;
  ProcessEscapeOption(&text[0]);
  EXPECT_EQ(ProcessCheckOptionItem(text.c_str(), 4294967295U), 1);
  ProcessUnescapeOption(&text[0]);
  EXPECT_EQ(all, text);
}

}  // namespace
