#include "base/process/option.h"

#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

#include "testing/test_support.h"

namespace {

// Scans the blank-separated words of a line from `start`, after a reset, up
// to -1 (ten calls at most): the results (a blank for -1), then the index,
// the last option character and the last argument: "ab 4bx".
std::string Scan(const char* options, const char* line, int start = 1) {
  std::istringstream in(line);
  std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(&word[0]);
  }
  argv.push_back(nullptr);
  ProcessOptionIndex = start;
  ProcessOptionReset = 1;
  ProcessOptionChar = '0';
  ProcessOptionArgument = nullptr;
  std::string results;
  for (int got = 0; got != -1 && results.size() < 10;) {
    got =
        ProcessGetOption(static_cast<int>(words.size()), argv.data(), options);
    results += static_cast<char>(got == -1 ? ' ' : got);
  }
  return results + std::to_string(ProcessOptionIndex) +
         static_cast<char>(ProcessOptionChar) +
         (ProcessOptionArgument != nullptr ? ProcessOptionArgument : "");
}

TEST(ProcessGetOption, EdgeCases) {
  const char* cases[][4] = {
      // option string, arguments, scan, diagnostic
      {"ab:", "prog -a -b x f", "ab 4bx", ""},
      {"ab:", "prog -bx", "b 2bx", ""},
      {"ab:", "prog -b x -a", "ba 4a", ""},
      {"ab:", "prog -b -a", "b 3b-a", ""},
      {"ab:", "prog -aab v", "aab 3bv", ""},
      {"ab:", "prog -b", "? 2b", "prog: option requires an argument -- b\n"},
      {":ab:", "prog -b", ": 2b", ""},
      {"ab:", "prog -ac", "a? 2c", "prog: illegal option -- c\n"},
      {":ab:", "prog -ca", "?a 2a", ""},
      {"a:b", "./tool -:", "? 2:", "./tool: illegal option -- :\n"},
      {"ab:", "prog --verbose -a", " 20", ""},
      {"ab:", "prog -a -- -a", "a 3a", ""},
      {"ab:", "prog - -a", " 1-", ""},
      {"a-", "prog - -a x", "-a 3a", ""},
      {"ab:", "prog -a- -b", "a 1-", ""},
      {"ab:", "prog file -a", " 10", ""},
  };
  qz_test::StderrCapture capture;
  for (int diagnostics : {1, 0}) {
    for (const auto& c : cases) {
      ProcessOptionError = diagnostics;
      EXPECT_EQ(Scan(c[0], c[1]), c[2]) << c[1];
      EXPECT_EQ(capture.Take(), diagnostics != 0 ? c[3] : "");
    }
  }
  EXPECT_EQ(Scan("a", "-a", 0), "a 1a");
  EXPECT_EQ(Scan("a", "prog -a", -1), " -10");
  EXPECT_EQ(Scan(nullptr, "prog -a"), " 10");
}

// Items: limit 0 stands for 1024 and ~0 for none; a pair checks its key
// with limit 0. A list matches a word that it begins with, up to a comma.
// Escaping hides the separators in control bytes and back.
TEST(ProcessCheckOptionItem, ListUtilities) {
  const std::string k1023(1023, 'k'), k1024(1024, 'k');
  const char* texts[] = {k1023.c_str(), k1024.c_str(), k1023.c_str(),
                         k1024.c_str(), k1024.c_str(), "",
                         "x",           "a=b",         "a,b",
                         nullptr,       "a b\x1d\x1e"};
  const uint32_t limits[] = {0, 0, 1023, 1025, ~0U, 1, 1, ~0U, ~0U, ~0U, 0};
  // Pairs of a list and a word.
  const char* matches[] = {"alpha,beta", "alpha",  "alpha",      "alpha",
                           ",x",         "",       "alpha,beta", "alp",
                           "alpha,beta", "beta",   "alpha",      "alphabet",
                           "alpha,",     "alpha,", "x",          "",
                           nullptr,      "x",      "x",          nullptr};
  std::string results;
  for (int i = 0; i < 11; ++i) {
    results +=
        std::to_string(ProcessCheckOptionItem(texts[i], limits[i])) + " ";
  }
  for (int i = 0; i < 20; i += 2) {
    results += std::to_string(ProcessMatchOption(matches[i], matches[i + 1]));
  }
  EXPECT_EQ(results, "1 -1 -1 1 1 1 -1 -1 -1 -1 1 1110000000");
  EXPECT_EQ(ProcessCheckOptionPair("key", "value", 0), 1);
  EXPECT_EQ(ProcessCheckOptionPair(k1024.c_str(), "value", ~0U), -1);
  EXPECT_EQ(ProcessCheckOptionPair("key", "vv", 2), -1);
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
