#include "base/process/user.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "base/process/process_test_support.h"
#include "base/string/owned_string.h"

namespace {

using process_test::LogCapture;

// Names and ids that no system database here should hold.
constexpr const char* kNoName = "qz-no-such-entry";
constexpr int kNoId = 3999999;

TEST(ProcessParseId, Texts) {
  struct Case {
    const char* text;
    int id;
  } cases[] = {
      {"0", 0},
      {"1000", 1000},
      {"12abc", 12},
      {"-1", -1},
      {"+5", -1},
      {" 5", -1},
      {"", -1},
      {"abc", -1},
      {"2147483647", 2147483647},
      {"2147483648", -1},
      {"4294967295", -1},
      {"4294967296", 0},
      {"4294968296", 1000},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ProcessParseId(c.text), c.id) << '"' << c.text << '"';
  }
}

TEST(ProcessGetUserId, RealIds) {
  EXPECT_EQ(ProcessGetUserId(), static_cast<int>(getuid()));
  EXPECT_EQ(ProcessGetGroupId(), static_cast<int>(getgid()));
}

TEST(ProcessGetUserEntry, KnownEntries) {
  struct passwd user;
  char* buffer = nullptr;
  ASSERT_EQ(ProcessGetUserEntry("root", &user, &buffer), 1);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(user.pw_uid, 0U);
  EXPECT_STREQ(user.pw_name, "root");
  delete[] buffer;

  struct group group;
  buffer = nullptr;
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

// Every look-up of a missing entry: -1, ENOENT, the buffer released and two
// lines.
TEST(ProcessGetUserEntry, MissingEntries) {
  const std::string id = std::to_string(kNoId);
  struct Case {
    std::function<int(char**)> lookup;
    std::string line;
  } cases[] = {
      {[](char** buffer) {
         struct passwd record;
         return ProcessGetUserEntry(kNoName, &record, buffer);
       },
       "Process: ERROR! Can't get information for user 'qz-no-such-entry'.\n"},
      {[](char** buffer) {
         struct group record;
         return ProcessGetGroupEntry(kNoName, &record, buffer);
       },
       "Process: ERROR! Can't get information for group 'qz-no-such-entry'.\n"},
      {[](char** buffer) {
         struct passwd record;
         return ProcessGetUserEntryById(kNoId, &record, buffer);
       },
       "Process: ERROR! Can't get information for user id '" + id + "'.\n"},
      {[](char** buffer) {
         struct group record;
         return ProcessGetGroupEntryById(kNoId, &record, buffer);
       },
       "Process: ERROR! Can't get information for group id '" + id + "'.\n"},
      {[](char**) { return ProcessGetUserIdByName(kNoName); },
       "Process: ERROR! Can't get information for user 'qz-no-such-entry'.\n"},
      {[](char**) { return ProcessGetGroupIdByName(kNoName); },
       "Process: ERROR! Can't get information for group 'qz-no-such-entry'.\n"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    char* buffer = nullptr;
    errno = 0;
    EXPECT_EQ(c.lookup(&buffer), -1) << c.line;
    EXPECT_EQ(errno, ENOENT) << c.line;
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{
                  c.line,
                  "Process: ERROR! Error is 2, No such file or directory.\n"}));
  }
}

TEST(ProcessGetUserName, UnknownIdKeepsSlot) {
  char* name = StringDuplicate("old");
  LogCapture log;
  EXPECT_EQ(ProcessGetUserName(&name, kNoId), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_STREQ(name, "old");
  EXPECT_EQ(ProcessGetGroupName(&name, kNoId), -1);
  EXPECT_STREQ(name, "old");
  EXPECT_EQ(log.Lines().size(), 4U);
  StringReset(&name);
}

}  // namespace
