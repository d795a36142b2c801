#include "base/process/host_name.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "base/process/process_test_support.h"
#include "base/string/owned_string.h"

namespace {

using process_test::LogCapture;
using process_test::ScopedEnv;

TEST(ProcessHostName, FromEnvironment) {
  {
    ScopedEnv host("HOSTNAME", nullptr);
    EXPECT_STREQ(ProcessHostName(), "localhost");
  }
  {
    ScopedEnv host("HOSTNAME", "");
    EXPECT_STREQ(ProcessHostName(), "");
  }
  ScopedEnv host("HOSTNAME", "box.example");
  EXPECT_STREQ(ProcessHostName(), "box.example");
  EXPECT_STREQ(ProcessDefaultHostName(), "localhost");
}

TEST(ProcessIsLocalHost, Names) {
  struct Case {
    const char* name;
    int local;
  } cases[] = {
      {"localhost", 1}, {"localhost.localdomain", 1},
      {"127.0.0.1", 1}, {"LOCALHOST", 0},
      {"127.0.0.2", 0}, {"localhost.", 0},
      {"", 0},          {"localhos", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ProcessIsLocalHost(c.name), c.local) << c.name;
  }
}

TEST(ProcessTempDirectory, Variables) {
  struct Case {
    const char* temp;
    const char* tmp;
    const char* directory;
  } cases[] = {
      {nullptr, nullptr, "/tmp"},
      {"/t1", "/t2", "/t1"},
      {"", "/var/tmp", "/var/tmp"},
      {nullptr, "/var/tmp", "/var/tmp"},
      {"", "", "/tmp"},
      {"/t1", nullptr, "/t1"},
  };
  for (const Case& c : cases) {
    ScopedEnv temp("TEMP", c.temp);
    ScopedEnv tmp("TMP", c.tmp);
    EXPECT_STREQ(ProcessTempDirectory(), c.directory);
  }
}

TEST(ProcessTempName, Shapes) {
  ScopedEnv temp("TEMP", nullptr);
  ScopedEnv tmp("TMP", nullptr);
  struct Case {
    const char* directory;
    const char* prefix;
    const char* pattern;
    bool warns;
  } cases[] = {
      {nullptr, nullptr, "/tmp/T-[0-9]+", false},
      {"/data", "p-", "/data/p-[0-9]+", false},
      {"", "x", "x[0-9]+", true},
      {"", nullptr, "T-[0-9]+", true},
  };
  for (const Case& c : cases) {
    LogCapture log;
    char* name = ProcessTempName(c.directory, c.prefix);
    ASSERT_NE(name, nullptr);
    EXPECT_TRUE(std::regex_match(name, std::regex(c.pattern))) << name;
    free(name);
    std::vector<std::string> expected;
    if (c.warns) {
      expected.push_back(
          "Process: WARNING! Returning temporary name in current "
          "directory.\n");
    }
    EXPECT_EQ(log.Lines(), expected);
  }
  ScopedEnv set_temp("TEMP", "/var/tmp");
  char* name = ProcessTempName(nullptr, "q");
  EXPECT_TRUE(std::regex_match(name, std::regex("/var/tmp/q[0-9]+"))) << name;
  free(name);
}

TEST(ProcessReplacePrefix, Cases) {
  struct Case {
    const char* prefix;
    const char* replacement;
    int result;
    const char* after;
  } cases[] = {
      {"/home/a", "~", 1, "~/b"},
      {"/usr", "~", 0, "/home/a/b"},
      {"/home/a/b", "x", 1, "x"},
      {"", "~", 0, "/home/a/b"},
      {nullptr, "~", 0, "/home/a/b"},
      {"/home/a", "", 0, "/home/a/b"},
      {"/home/a", nullptr, 0, "/home/a/b"},
      {"/home/a/b/c", "~", 0, "/home/a/b"},
  };
  for (const Case& c : cases) {
    char* slot = StringDuplicate("/home/a/b");
    EXPECT_EQ(ProcessReplacePrefix(&slot, c.prefix, c.replacement), c.result);
    EXPECT_STREQ(slot, c.after);
    StringReset(&slot);
  }
}

}  // namespace
