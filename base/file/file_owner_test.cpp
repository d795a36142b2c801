#include "base/file/file_owner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "base/file/file_test_support.h"

namespace {

using filetest::LogCapture;

unsigned DescribeOwner(const std::string& path) {
  struct stat record = {};
  return stat(path.c_str(), &record) == 0 ? record.st_uid : ~0u;
}

using filetest::TempDir;

// Failures write two lines to the log channel alone and keep errno; root
// can give a file away (-1 keeping an id), anyone else is refused.
TEST(FileSetOwner, LinesOnFailureSilenceOnSuccess) {
  TempDir dir;
  dir.Write("file", "");
  const std::string path = dir.Join("file"), missing = dir.Join("missing");
  const bool root = geteuid() == 0;
  LogCapture capture;
  EXPECT_EQ(FileSetOwner(path.c_str(), static_cast<int>(getuid()), -1), 1);
  EXPECT_EQ(FileSetOwner(missing.c_str(), 0, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(FileSetOwner(nullptr, 0, 0), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(FileSetOwner(path.c_str(), root ? 65534 : 0, root ? 65534 : 0),
            root ? 1 : -1);
  std::string expected =
      "File: ERROR! Can't change ownership of '" + missing +
      "'.\nFile: ERROR! Error is 2, No such file or directory.\n"
      "File: ERROR! Can't change ownership of 'nil'.\n"
      "File: ERROR! Error is 14, Bad address.\n";
  if (root) {
    EXPECT_EQ(FileSetOwner(path.c_str(), -1, 0), 1);
    struct stat record;
    ASSERT_EQ(stat(path.c_str(), &record), 0);
    EXPECT_EQ(record.st_uid, 65534u);
    EXPECT_EQ(record.st_gid, 0u);
  } else {
    EXPECT_EQ(errno, EPERM);
    expected += "File: ERROR! Can't change ownership of '" + path +
                "'.\nFile: ERROR! Error is 1, Operation not permitted.\n";
  }
  EXPECT_EQ(capture.Log(), expected);
  EXPECT_NE(capture.RawLog(), capture.Log());  // each line had its prefix
  EXPECT_EQ(capture.Error(), "");
}

// Through a descriptor: the same lines on failure, the path only named; a
// negative descriptor fails with the caller's errno.
TEST(FileSetDescriptorOwner, ChangesTheHeldFile) {
  TempDir dir;
  dir.Write("file", "");
  const std::string path = dir.Join("file");
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  const bool root = geteuid() == 0;
  LogCapture capture;
  EXPECT_EQ(FileSetDescriptorOwner(fd, "named", root ? 65534 : 0, -1),
            root ? 1 : -1);
  errno = EEXIST;
  EXPECT_EQ(FileSetDescriptorOwner(-1, "absent", 0, 0), -1);
  EXPECT_EQ(errno, EEXIST);
  close(fd);
  std::string expected =
      root ? ""
           : "File: ERROR! Can't change ownership of 'named'.\n"
             "File: ERROR! Error is 1, Operation not permitted.\n";
  expected +=
      "File: ERROR! Can't change ownership of 'absent'.\n"
      "File: ERROR! Error is 17, File exists.\n";
  EXPECT_EQ(capture.Log(), expected);
  if (root) {
    EXPECT_EQ(DescribeOwner(path), 65534u);
  }
}

}  // namespace
