// Compares ProcessGetOption with the reset-flag scanner of the BSD
// compatibility library over generated argument vectors and option strings.
//
// That library's scanner runs on the C library's own getopt, which agrees
// with ours within the domain generated here and differs outside it:
//   - it permutes arguments unless the option string begins with "+", so
//     the option strings handed to it get that prefix;
//   - it words its diagnostics "invalid option -- 'c'" and "option requires
//     an argument -- 'c'", which are brought to our wording before comparing;
//   - it sets optopt only for '?' and ':', and clears optarg on every call,
//     so those are compared only where both define them;
//   - words beginning with "--" other than "--" itself, a "-" inside a
//     cluster, "-" as an option letter and "::" (an optional argument to
//     it) are treated otherwise, and are covered by option_test.cpp instead.

#include <bsd/unistd.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "base/process/option.h"
#include "base/process/option_test_support.h"

namespace {

constexpr int kCases = 4000;
constexpr int kMaxCalls = 40;

const char kLetters[] = "abcdxyz";

struct Generated {
  std::string options;
  std::vector<std::string> words;
  bool diagnostics;
};

Generated Generate(std::mt19937& random) {
  auto chance = [&random](int percent) {
    return std::uniform_int_distribution<int>(0, 99)(random) < percent;
  };
  auto pick = [&random](int count) {
    return std::uniform_int_distribution<int>(0, count - 1)(random);
  };
  Generated g;
  if (chance(30)) {
    g.options += ':';
  }
  // Each of the first five letters is accepted or not; x, y and z never are.
  for (int i = 0; i < 5; ++i) {
    if (chance(60)) {
      g.options += kLetters[i];
      if (chance(40)) {
        g.options += ':';
      }
    }
  }
  g.diagnostics = chance(70);
  g.words.push_back(chance(50) ? "prog" : "./bin/tool");
  int count = pick(7);
  for (int i = 0; i < count; ++i) {
    int kind = pick(10);
    if (kind == 0) {
      g.words.push_back("--");
    } else if (kind == 1) {
      g.words.push_back("-");
    } else if (kind == 2) {
      g.words.push_back(chance(50) ? "file" : "");
    } else {
      std::string word = "-";
      int letters = 1 + pick(4);
      for (int j = 0; j < letters; ++j) {
        word += chance(5) ? ':' : kLetters[pick(7)];
      }
      g.words.push_back(word);
    }
  }
  return g;
}

// Where a pointer into the vector points: word and offset, or (-1, -1).
std::pair<int, long> Locate(char* const* vector, int count,
                            const char* pointer) {
  for (int i = 0; i < count; ++i) {
    size_t length = strlen(vector[i]);
    if (pointer >= vector[i] && pointer <= vector[i] + length) {
      return {i, pointer - vector[i]};
    }
  }
  return {-1, -1};
}

std::string InOurWords(const std::string& text) {
  static const std::regex kInvalid("invalid option -- '(.)'");
  static const std::regex kRequires("argument -- '(.)'");
  std::string result =
      std::regex_replace(text, kInvalid, "illegal option -- $1");
  return std::regex_replace(result, kRequires, "argument -- $1");
}

// Writable copies of the words and a vector over them.
struct Vector {
  explicit Vector(const std::vector<std::string>& source) : words(source) {
    for (std::string& word : words) {
      pointers.push_back(&word[0]);
    }
    pointers.push_back(nullptr);
  }
  std::vector<std::string> words;
  std::vector<char*> pointers;
};

TEST(ProcessGetOption, AgreesWithTheBsdScanner) {
  std::mt19937 random(20240611);
  int saved_index = ProcessOptionIndex;
  int saved_error = ProcessOptionError;
  int saved_reset = ProcessOptionReset;
  int compared_calls = 0;
  StderrCapture capture;
  for (int n = 0; n < kCases; ++n) {
    Generated g = Generate(random);
    Vector ours(g.words);
    Vector theirs(g.words);
    int count = static_cast<int>(g.words.size());
    std::string their_options = "+" + g.options;
    SCOPED_TRACE(testing::Message()
                 << "case " << n << " options '" << g.options << "' words "
                 << testing::PrintToString(g.words));
    ProcessOptionIndex = 1;
    ProcessOptionReset = 1;
    ProcessOptionError = g.diagnostics ? 1 : 0;
    optreset = 1;
    opterr = g.diagnostics ? 1 : 0;
    for (int call = 0; call < kMaxCalls; ++call) {
      SCOPED_TRACE(call);
      int our_result =
          ProcessGetOption(count, ours.pointers.data(), g.options.c_str());
      std::string our_text = capture.Take();
      int their_result =
          bsd_getopt(count, theirs.pointers.data(), their_options.c_str());
      std::string their_text = InOurWords(capture.Take());
      ++compared_calls;
      ASSERT_EQ(their_result, our_result);
      ASSERT_EQ(optind, ProcessOptionIndex);
      ASSERT_EQ(their_text, our_text);
      if (our_result == '?' || our_result == ':') {
        ASSERT_EQ(optopt, ProcessOptionChar);
      } else if (our_result != -1) {
        ASSERT_EQ(our_result, ProcessOptionChar);
        ASSERT_EQ(Locate(theirs.pointers.data(), count, optarg),
                  Locate(ours.pointers.data(), count, ProcessOptionArgument));
        ASSERT_EQ(optarg == nullptr, ProcessOptionArgument == nullptr);
      }
      if (our_result == -1) {
        break;
      }
    }
  }
  ProcessOptionIndex = saved_index;
  ProcessOptionError = saved_error;
  ProcessOptionReset = saved_reset;
  opterr = 1;
  EXPECT_GT(compared_calls, kCases * 2);
}

}  // namespace
