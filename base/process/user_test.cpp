#include "base/process/user.h"

#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/process/process_test_support.h"
#include "base/string/owned_string.h"

namespace {

using process_test::LogCapture;

constexpr const char* kNoName = "qz-no-such-entry";
constexpr int kNoId = 3999999;

TEST(ProcessParseId, Texts) {
  const std::pair<const char*, int> cases[] = {
      {"0", 0},           {"1000", 1000},     {"12abc", 12},
      {"-1", -1},         {"+5", -1},         {" 5", -1},
      {"", -1},           {"abc", -1},        {"2147483647", 2147483647},
      {"2147483648", -1}, {"4294967295", -1}, {"4294968296", 1000},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ProcessParseId(c.first), c.second) << '"' << c.first << '"';
  }
}

TEST(ProcessGetUserEntry, KnownEntries) {
  EXPECT_EQ(ProcessGetUserId(), static_cast<int>(getuid()));
  EXPECT_EQ(ProcessGetGroupId(), static_cast<int>(getgid()));
  struct passwd user;
  char* buffer = nullptr;
  ASSERT_EQ(ProcessGetUserEntry("root", &user, &buffer), 1);
  EXPECT_EQ(user.pw_uid, 0U);
  delete[] buffer;
  struct group group;
  ASSERT_EQ(ProcessGetGroupEntryById(0, &group, &buffer), 1);
  EXPECT_STREQ(group.gr_name, "root");
  delete[] buffer;
  EXPECT_EQ(ProcessGetUserIdByName("root"), 0);
  EXPECT_EQ(ProcessGetGroupIdByName("root"), 0);
  char* name = nullptr;
  ASSERT_EQ(ProcessGetUserName(&name, 0), 1);
  EXPECT_STREQ(name, "root");
  ASSERT_EQ(ProcessGetGroupName(&name, 0), 1);
  EXPECT_STREQ(name, "root");
  StringReset(&name);
}

// Every look-up of a missing entry: -1, ENOENT, no buffer and two lines.
TEST(ProcessGetUserEntry, MissingEntries) {
  struct passwd user;
  struct group group;
  const std::string no_user = "user 'qz-no-such-entry'",
                    no_group = "group 'qz-no-such-entry'";
  const std::string id = " id '" + std::to_string(kNoId) + "'";
  const std::pair<std::function<int(char**)>, std::string> cases[] = {
      {[&](char** b) { return ProcessGetUserEntry(kNoName, &user, b); },
       no_user},
      {[&](char** b) { return ProcessGetGroupEntry(kNoName, &group, b); },
       no_group},
      {[&](char** b) { return ProcessGetUserEntryById(kNoId, &user, b); },
       "user" + id},
      {[&](char** b) { return ProcessGetGroupEntryById(kNoId, &group, b); },
       "group" + id},
      {[](char**) { return ProcessGetUserIdByName(kNoName); }, no_user},
      {[](char**) { return ProcessGetGroupIdByName(kNoName); }, no_group},
  };
  for (const auto& c : cases) {
    LogCapture log;
    char* buffer = nullptr;
    errno = 0;
    EXPECT_EQ(c.first(&buffer), -1) << c.second;
    EXPECT_EQ(errno, ENOENT) << c.second;
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<std::string>{
            "Process: ERROR! Can't get information for " + c.second + ".\n",
            "Process: ERROR! Error is 2, No such file or directory.\n"}));
  }
  char* name = StringDuplicate("old");
  LogCapture log;
  EXPECT_EQ(ProcessGetUserName(&name, kNoId), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(ProcessGetGroupName(&name, kNoId), -1);
  EXPECT_STREQ(name, "old");
  EXPECT_EQ(log.Lines().size(), 4U);
  StringReset(&name);
}

}  // namespace
