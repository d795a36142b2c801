#include "base/string/string_match.h"

#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/string/owned_string.h"

namespace {

TEST(StringHasPrefix, ReturnsTheStringOrNull) {
  const char* text = "session.log";
  EXPECT_EQ(StringHasPrefix(text, "sess"), text);
  EXPECT_EQ(StringHasPrefix(text, ""), text);
  EXPECT_EQ(StringHasPrefix(text, "session.log"), text);
  EXPECT_EQ(StringHasPrefix(text, "session.logs"), nullptr);
  EXPECT_EQ(StringHasPrefix(text, "Sess"), nullptr);
  EXPECT_EQ(StringHasPrefix("", "a"), nullptr);
}

TEST(StringHasSuffix, PointsAtTheSuffix) {
  const char* text = "file.log";
  EXPECT_EQ(StringHasSuffix(text, ".log"), text + 4);
  EXPECT_EQ(StringHasSuffix(text, "file.log"), text);
  EXPECT_EQ(StringHasSuffix(text, ""), text + 8);
  EXPECT_EQ(StringHasSuffix(text, "xfile.log"), nullptr);
  EXPECT_EQ(StringHasSuffix(text, ".LOG"), nullptr);
  EXPECT_EQ(StringHasSuffix(text, "a.log"), nullptr);
  EXPECT_EQ(StringHasSuffix("", "a"), nullptr);
}

TEST(StringReplacePrefix, ReplacesOnlyAMatchingPrefix) {
  char* slot = nullptr;
  StringSet(&slot, "/opt/qz/bin");
  EXPECT_EQ(StringReplacePrefix(&slot, "/opt/qz", "/usr/local/qz"), 1);
  EXPECT_STREQ(slot, "/usr/local/qz/bin");

  char* before = slot;
  EXPECT_EQ(StringReplacePrefix(&slot, "/opt", "/x"), 0);
  EXPECT_EQ(slot, before);
  EXPECT_STREQ(slot, "/usr/local/qz/bin");

  EXPECT_EQ(StringReplacePrefix(&slot, "/usr/local/qz/bin", ""), 1);
  EXPECT_STREQ(slot, "");
  EXPECT_EQ(StringReplacePrefix(&slot, "", "new"), 1);
  EXPECT_STREQ(slot, "new");
  StringReset(&slot);
}

TEST(StringReplaceAll, Table) {
  struct Case {
    const char* text;
    const char* pattern;
    const char* replacement;
    int count;
    const char* expected;
  } cases[] = {
      {"aaaa", "aa", "b", 2, "bb"},
      {"aaa", "aa", "b", 1, "ba"},
      {"a/b/c", "/", "::", 2, "a::b::c"},
      {"xab", "ab", "", 1, "x"},
      {"abab", "ab", "ab", 2, "abab"},
      {"one two", "two", "three", 1, "one three"},
      {"%s%s%s", "%s", "%%s", 3, "%%s%%s%%s"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    char* slot = nullptr;
    StringSet(&slot, c.text);
    char* before = slot;
    EXPECT_EQ(StringReplaceAll(&slot, c.pattern, c.replacement), c.count);
    EXPECT_STREQ(slot, c.expected);
    EXPECT_NE(slot, before);
    StringReset(&slot);
  }
}

TEST(StringReplaceAll, NoOccurrenceLeavesTheSameString) {
  char* slot = nullptr;
  StringSet(&slot, "abc");
  char* before = slot;
  EXPECT_EQ(StringReplaceAll(&slot, "zz", "y"), 0);
  EXPECT_EQ(slot, before);
  EXPECT_EQ(StringReplaceAll(&slot, "abcd", "y"), 0);
  // An empty pattern would never advance; it replaces nothing.
  EXPECT_EQ(StringReplaceAll(&slot, "", "y"), 0);
  EXPECT_EQ(slot, before);
  EXPECT_STREQ(slot, "abc");
  StringReset(&slot);
}

TEST(StringCutNonPrintable, CutsAtTheFirstUnprintableByte) {
  struct Case {
    const char* text;
    const char* expected;
  } cases[] = {
      {"ab\tc", "ab"},
      {"plain text, with blanks ~!", "plain text, with blanks ~!"},
      {"a\x1d"
       "b\x1e"
       "c\x1f"
       "d",
       "a\x1d"
       "b\x1e"
       "c\x1f"
       "d"},
      {"x\x1c"
       "y",
       "x"},
      {"new\nline", "new"},
      {"del\x7f", "del"},
      {"caf\xc3\xa9", "caf"},
      {"\x80", ""},
      {"\x01rest", ""},
      {"", ""},
  };
  for (const Case& c : cases) {
    std::string copy = c.text;
    EXPECT_EQ(StringCutNonPrintable(&copy[0]), &copy[0]);
    EXPECT_STREQ(copy.c_str(), c.expected);
  }
  EXPECT_EQ(StringCutNonPrintable(nullptr), nullptr);
}

TEST(StringParseVersion, Table) {
  struct Case {
    const char* text;
    int result;
    int major, minor, patch, build;
  } cases[] = {
      {"4.2.1_7", 4, 4, 2, 1, 7},   {"3.5", 2, 3, 5, -1, -1},
      {"010.1.1_1", 4, 8, 1, 1, 1}, {"0x1f.0.2_3", 4, 31, 0, 2, 3},
      {"-1.2.3", 3, -1, 2, 3, -1},  {"1.2.3.4", 3, 1, 2, 3, -1},
      {"1_2", 1, 1, -1, -1, -1},    {"v1.2", 0, -1, -1, -1, -1},
      {"", -1, -1, -1, -1, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    int major = 99, minor = 99, patch = 99, build = 99;
    EXPECT_EQ(StringParseVersion(c.text, &major, &minor, &patch, &build),
              c.result);
    EXPECT_EQ(major, c.major);
    EXPECT_EQ(minor, c.minor);
    EXPECT_EQ(patch, c.patch);
    EXPECT_EQ(build, c.build);
  }
}

TEST(StringCountLines, CountsAndLogsOneLine) {
  Logger& logger = LoggerInstance();
  std::ostream* saved = logger.logStream;
  std::ostringstream captured;
  logger.logStream = &captured;
  const char buffer[] = "a\nb\nc\nd";
  EXPECT_EQ(StringCountLines(buffer, 7, '\n'), 3);
  EXPECT_EQ(StringCountLines(buffer, 4, '\n'), 2);  // Only the first bytes.
  EXPECT_EQ(StringCountLines("x,y", 3, ','), 1);
  LogFlush();
  logger.logStream = saved;

  std::regex line(
      "\\d+ \\d+ \\d\\d:\\d\\d:\\d\\d \\d{3}\\.\\d{3} "
      "String: Found (\\d) lines with separator (\\d+)\\.\n");
  std::string text = captured.str();
  std::sregex_iterator it(text.begin(), text.end(), line), end;
  std::string found;
  for (; it != end; ++it) {
    found += (*it)[1].str() + "/" + (*it)[2].str() + " ";
  }
  EXPECT_EQ(found, "3/10 2/10 1/44 ") << text;
}

TEST(StringHasParentReference, Table) {
  struct Case {
    const char* path;
    int expected;
  } cases[] = {
      {"../a", 1},     {"abc/../d", 1}, {"..", 0},     {"ab", 0},
      {"a/b", 0},      {"/../x", 0},    {"", 0},       {"../", 1},
      {"a/../b", 0},   {"abcd/..", 0},  {"ab/../", 0}, {"abc/../", 1},
      {"x/y/../z", 1}, {"...", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(StringHasParentReference(c.path), c.expected) << c.path;
  }
}

}  // namespace
