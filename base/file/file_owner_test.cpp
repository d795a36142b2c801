#include "base/file/file_owner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/file/file_test_support.h"

namespace {

using filetest::LogCapture;
using filetest::TempDir;

TEST(FileSetOwner, SuccessIsSilent) {
  TempDir dir;
  dir.Write("file", "");
  std::string path = dir.Join("file");
  LogCapture capture;
  EXPECT_EQ(FileSetOwner(path.c_str(), static_cast<int>(getuid()),
                         static_cast<int>(getgid())),
            1);
  EXPECT_EQ(FileSetOwner(path.c_str(), -1, -1), 1);
  EXPECT_EQ(capture.RawLog(), "");
  EXPECT_EQ(capture.Error(), "");
}

// Reachable under any identity: the path does not exist.
TEST(FileSetOwner, MissingPathLogsTwoLinesAndKeepsErrno) {
  TempDir dir;
  std::string path = dir.Join("missing");
  LogCapture capture;
  errno = 0;
  EXPECT_EQ(FileSetOwner(path.c_str(), 0, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(capture.Log(),
            "File: ERROR! Can't change ownership of '" + path +
                "'.\n"
                "File: ERROR! Error is 2, No such file or directory.\n");
  EXPECT_NE(capture.RawLog(), capture.Log());  // each line had its prefix
  EXPECT_EQ(capture.Error(), "");
}

TEST(FileSetOwner, NullPathIsNil) {
  LogCapture capture;
  EXPECT_EQ(FileSetOwner(nullptr, 0, 0), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(capture.Log(),
            "File: ERROR! Can't change ownership of 'nil'.\n"
            "File: ERROR! Error is 14, Bad address.\n");
}

TEST(FileSetOwner, GivingAwayAFileIsRefusedToAnOrdinaryUser) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may give a file to anyone; the refusal is "
                    "reachable only as an ordinary user";
  }
  TempDir dir;
  dir.Write("mine", "");
  std::string path = dir.Join("mine");
  LogCapture capture;
  EXPECT_EQ(FileSetOwner(path.c_str(), 0, 0), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(capture.Log(),
            "File: ERROR! Can't change ownership of '" + path +
                "'.\n"
                "File: ERROR! Error is 1, Operation not permitted.\n");
  EXPECT_EQ(capture.Error(), "");
}

TEST(FileSetOwner, RootChangesOwnerAndGroup) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "giving a file to another user needs root";
  }
  TempDir dir;
  dir.Write("given", "");
  std::string path = dir.Join("given");
  LogCapture capture;
  EXPECT_EQ(FileSetOwner(path.c_str(), 65534, 65534), 1);
  struct stat record;
  ASSERT_EQ(stat(path.c_str(), &record), 0);
  EXPECT_EQ(record.st_uid, 65534u);
  EXPECT_EQ(record.st_gid, 65534u);
  // -1 leaves that id alone.
  EXPECT_EQ(FileSetOwner(path.c_str(), -1, 0), 1);
  ASSERT_EQ(stat(path.c_str(), &record), 0);
  EXPECT_EQ(record.st_uid, 65534u);
  EXPECT_EQ(record.st_gid, 0u);
  EXPECT_EQ(capture.RawLog(), "");
}

}  // namespace
