#include "base/process/host_name.h"

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/string/owned_string.h"
#include "base/testing/test_support.h"

namespace {

using qz_test::LogCapture;
using qz_test::ScopedEnv;

TEST(ProcessHostName, FromEnvironmentAndLocalNames) {
  for (const char* value :
       {static_cast<const char*>(nullptr), "", "box.example"}) {
    ScopedEnv host("HOSTNAME", value);
    EXPECT_STREQ(ProcessHostName(), value == nullptr ? "localhost" : value);
  }
  const std::pair<const char*, int> cases[] = {
      {"localhost", 1}, {"localhost.localdomain", 1},
      {"127.0.0.1", 1}, {"LOCALHOST", 0},
      {"127.0.0.2", 0}, {"localhost.", 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(ProcessIsLocalHost(c.first), c.second) << c.first;
  }
}

TEST(ProcessTempDirectory, VariablesAndNames) {
  const char* cases[][3] = {{nullptr, nullptr, "/tmp"},
                            {"/t1", "/t2", "/t1"},
                            {"", "/var/tmp", "/var/tmp"},
                            {"", "", "/tmp"}};
  for (const auto& c : cases) {
    ScopedEnv temp("TEMP", c[0]), tmp("TMP", c[1]);
    EXPECT_STREQ(ProcessTempDirectory(), c[2]);
  }
  ScopedEnv temp("TEMP", nullptr), tmp("TMP", nullptr);
  const char* names[][3] = {{nullptr, nullptr, "/tmp/T-[0-9]+"},
                            {"/data", "p-", "/data/p-[0-9]+"},
                            {"", "x", "x[0-9]+"}};
  for (const auto& c : names) {
    LogCapture log;
    char* name = ProcessTempName(c[0], c[1]);
    ASSERT_NE(name, nullptr);
    EXPECT_TRUE(std::regex_match(name, std::regex(c[2]))) << name;
    free(name);
    std::vector<std::string> warning;
    if (c[0] != nullptr && *c[0] == '\0') {
      warning.push_back(
          "Process: WARNING! Returning temporary name in current directory.\n");
    }
    EXPECT_EQ(log.Lines(), warning);
  }
}

TEST(ProcessReplacePrefix, Cases) {
  struct Case {
    const char *prefix, *replacement;
    int result;
    const char* after;
  } cases[] = {
      {"/home/a", "~", 1, "~/b"},      {"/usr", "~", 0, "/home/a/b"},
      {"", "~", 0, "/home/a/b"},       {nullptr, "~", 0, "/home/a/b"},
      {"/home/a", "", 0, "/home/a/b"},
  };
  for (const Case& c : cases) {
    char* slot = StringDuplicate("/home/a/b");
    EXPECT_EQ(ProcessReplacePrefix(&slot, c.prefix, c.replacement), c.result);
    EXPECT_STREQ(slot, c.after);
    StringReset(&slot);
  }
}

}  // namespace
