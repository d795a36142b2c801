#include "base/process/user.h"

#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/string/owned_string.h"
#include "base/testing/test_support.h"

namespace {

using qz_test::LogCapture;

constexpr const char* kNoName = "qz-no-such-entry";
constexpr int kNoId = 3999999;

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

}  // namespace
