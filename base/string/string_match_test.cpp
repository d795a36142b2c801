#include "base/string/string_match.h"

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/string/owned_string.h"

namespace {

TEST(StringHasPrefix, PrefixAndSuffix) {
  const char* text = "file.log";
  EXPECT_EQ(StringHasPrefix(text, "fi"), text);
  EXPECT_EQ(StringHasPrefix(text, ""), text);
  EXPECT_EQ(StringHasPrefix(text, "file.logs"), nullptr);
  EXPECT_EQ(StringHasPrefix(text, "Fi"), nullptr);
  EXPECT_EQ(StringHasSuffix(text, ".log"), text + 4);
  EXPECT_EQ(StringHasSuffix(text, ""), text + 8);
  EXPECT_EQ(StringHasSuffix(text, "xfile.log"), nullptr);
  EXPECT_EQ(StringHasSuffix(text, "a.log"), nullptr);
}

TEST(StringReplacePrefix, ReplacesOnlyAMatchingPrefix) {
  char* slot = nullptr;
  StringSet(&slot, "/opt/qz/bin");
  EXPECT_EQ(StringReplacePrefix(&slot, "/opt/qz", "/usr/qz"), 1);
  EXPECT_STREQ(slot, "/usr/qz/bin");
  char* before = slot;
  EXPECT_EQ(StringReplacePrefix(&slot, "/opt", "/x"), 0);
  EXPECT_EQ(slot, before);
  EXPECT_EQ(StringReplacePrefix(&slot, "/usr/qz/bin", ""), 1);
  EXPECT_STREQ(slot, "");
  StringReset(&slot);
}

TEST(StringReplaceAll, NonOverlappingAndSamePointerWithoutAHit) {
  struct Case {
    const char *text, *pattern, *replacement;
    int count;
    const char* expected;
  } cases[] = {
      {"aaaa", "aa", "b", 2, "bb"},       {"aaa", "aa", "b", 1, "ba"},
      {"xab", "ab", "", 1, "x"},          {"abab", "ab", "ab", 2, "abab"},
      {"%s%s", "%s", "%%s", 2, "%%s%%s"}, {"abc", "zz", "y", 0, "abc"},
      {"abc", "abcd", "y", 0, "abc"},     {"abc", "", "y", 0, "abc"},
  };
  for (const Case& c : cases) {
    char* slot = nullptr;
    StringSet(&slot, c.text);
    char* before = slot;
    EXPECT_EQ(StringReplaceAll(&slot, c.pattern, c.replacement), c.count)
        << c.text;
    EXPECT_STREQ(slot, c.expected);
    EXPECT_EQ(slot == before, c.count == 0) << c.text;
    StringReset(&slot);
  }
}

TEST(StringCutNonPrintable, CutsAtTheFirstUnprintableByte) {
  const char* cases[][2] = {
      {"ab\tc", "ab"},  {"sp ~!\x1d\x1e\x1f", "sp ~!\x1d\x1e\x1f"},
      {"x\x1cy", "x"},  {"del\x7f", "del"},
      {"\xc3\xa9", ""}, {"", ""},
  };
  for (const auto& c : cases) {
    std::string copy = c[0];
    EXPECT_EQ(StringCutNonPrintable(&copy[0]), &copy[0]);
    EXPECT_STREQ(copy.c_str(), c[1]);
  }
  EXPECT_EQ(StringCutNonPrintable(nullptr), nullptr);
}

TEST(StringParseVersion, Table) {
  struct Case {
    const char* text;
    int result, major, minor, patch, build;
  } cases[] = {
      {"4.2.1_7", 4, 4, 2, 1, 7},   {"3.5", 2, 3, 5, -1, -1},
      {"010.1.1_1", 4, 8, 1, 1, 1}, {"0x1f.0.2_3", 4, 31, 0, 2, 3},
      {"-1.2.3", 3, -1, 2, 3, -1},  {"1.2.3.4", 3, 1, 2, 3, -1},
      {"1_2", 1, 1, -1, -1, -1},    {"v1.2", 0, -1, -1, -1, -1},
      {"", -1, -1, -1, -1, -1},
  };
  for (const Case& c : cases) {
    int v[4] = {99, 99, 99, 99};
    EXPECT_EQ(StringParseVersion(c.text, &v[0], &v[1], &v[2], &v[3]), c.result)
        << c.text;
    EXPECT_EQ(std::vector<int>(v, v + 4),
              std::vector<int>({c.major, c.minor, c.patch, c.build}))
        << c.text;
  }
}

TEST(StringCountLines, CountsAndLogsOneLine) {
  std::ostringstream captured;
  std::ostream* saved = LoggerInstance().logStream;
  LoggerInstance().logStream = &captured;
  EXPECT_EQ(StringCountLines("a\nb\nc\nd", 7, '\n'), 3);
  EXPECT_EQ(StringCountLines("a\nb\nc\nd", 4, '\n'), 2);
  EXPECT_EQ(StringCountLines("x,y", 3, ','), 1);
  LogFlush();
  LoggerInstance().logStream = saved;
  std::regex line(
      "\\d+ \\d+ \\d\\d:\\d\\d:\\d\\d \\d{3}\\.\\d{3} String: Found (\\d) "
      "lines with separator "
      "(\\d+)\\.\n");
  std::string text = captured.str(), found;
  for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end;
       ++it) {
    found += (*it)[1].str() + "/" + (*it)[2].str() + " ";
  }
  EXPECT_EQ(found, "3/10 2/10 1/44 ") << text;
}

TEST(StringHasParentReference, Table) {
  const std::pair<const char*, int> cases[] = {
      {"../a", 1},    {"abc/../d", 1}, {"..", 0},      {"ab", 0},
      {"/../x", 0},   {"a/../b", 0},   {"abcd/..", 0}, {"ab/../", 0},
      {"abc/../", 1}, {"x/y/../z", 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(StringHasParentReference(c.first), c.second) << c.first;
  }
}

}  // namespace
