#include "base/file/file_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "base/file/file_test_support.h"
#include "base/string/owned_string.h"

namespace {

using filetest::TempDir;

TEST(FilePath, JoinsCopiesOrRefuses) {
  const char* cases[][3] = {
      {"/a", "b", "/a/b"},   {nullptr, "b", "b"}, {"", "b", "b"},
      {"/a/", "b", "/a//b"}, {"/a", "", nullptr}, {"/a", nullptr, nullptr},
      {"", "", nullptr},
  };
  for (const auto& c : cases) {
    char* path = FilePath(c[0], c[1]);
    EXPECT_STREQ(path, c[2]) << (c[0] ? c[0] : "nil");
    EXPECT_TRUE(path == nullptr || path != c[1]);  // always a new string
    StringReset(&path);
  }
}

// One tree for the stat family; symbolic links are followed.
class FileTypes : public testing::Test {
 protected:
  void SetUp() override {
    dir_.Write("empty", "");
    dir_.Write("seven", "1234567");
    ASSERT_EQ(mkdir(dir_.Join("sub").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo(dir_.Join("fifo").c_str(), 0644), 0);
    ASSERT_EQ(symlink("sub", dir_.Join("to_dir").c_str()), 0);
    ASSERT_EQ(symlink("seven", dir_.Join("to_file").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", dir_.Join("dangling").c_str()), 0);
  }
  TempDir dir_;
};

TEST_F(FileTypes, StatExistsTypesAndSize) {
  struct Case {
    const char* name;
    int stat, directory, regular;
    int64_t size;
    int error;  // errno after a -1 from FileSize or FileStatAt
  } cases[] = {
      {"empty", 1, 0, 1, 0, 0},
      {"seven", 1, 0, 1, 7, 0},
      {"sub", 1, 1, 0, -1, EINVAL},
      {"fifo", 1, 0, 0, -1, EINVAL},
      {"to_dir", 1, 1, 0, -1, EINVAL},
      {"to_file", 1, 0, 1, 7, 0},
      {"dangling", 0, 0, 0, 0, ENOENT},
      {"missing", 0, 0, 0, 0, ENOENT},
      {"seven/below", -1, -1, -1, -1, ENOTDIR},
      {"", -1, -1, -1, -1, EFAULT},
  };
  for (const Case& c : cases) {
    if (*c.name == '\0') {
      struct stat record;
      EXPECT_EQ(FileStatAt(dir_.path(), c.name, &record), -1);
      EXPECT_EQ(errno, EFAULT);
      continue;
    }
    struct stat record;
    errno = 0;
    EXPECT_EQ(FileStatAt(dir_.path(), c.name, &record), c.stat) << c.name;
    EXPECT_EQ(FileStat(dir_.Join(c.name).c_str(), &record), c.stat) << c.name;
    EXPECT_EQ(FileExists(dir_.path(), c.name), c.stat) << c.name;
    EXPECT_EQ(FileIsDirectory(dir_.path(), c.name), c.directory) << c.name;
    EXPECT_EQ(FileIsRegular(dir_.path(), c.name), c.regular) << c.name;
    errno = 0;
    EXPECT_EQ(FileSize(dir_.path(), c.name), c.size) << c.name;
    EXPECT_EQ(errno, c.error) << c.name;
    if (c.stat == 1) {
      EXPECT_EQ(FileModeType(&record), c.regular     ? 1
                                       : c.directory ? 0
                                                     : -1)
          << c.name;
      EXPECT_EQ(FileModeIsDirectory(&record), c.directory) << c.name;
    }
  }
  EXPECT_EQ(FileStat(nullptr, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(FileExists(dir_.path(), nullptr), -1);
}

TEST(FileExists, UnsearchableDirectoryIsMinusOne) {
  if (geteuid() == 0)
    GTEST_SKIP() << "root searches any directory";
  TempDir dir;
  std::string closed = dir.Join("closed");
  ASSERT_EQ(mkdir(closed.c_str(), 0600), 0);
  EXPECT_EQ(FileExists(closed.c_str(), "missing"), -1);
  EXPECT_EQ(errno, EACCES);
}

TEST(FileAccess, OneOnlyWhenAccessSucceeds) {
  TempDir dir;
  dir.Write("plain", "x");
  ASSERT_EQ(chmod(dir.Join("plain").c_str(), 0644), 0);
  EXPECT_EQ(FileAccess(dir.path(), "plain", R_OK), 1);
  EXPECT_EQ(FileAccess(nullptr, dir.Join("plain").c_str(), R_OK | W_OK), 1);
  EXPECT_EQ(FileAccess(dir.path(), "plain", R_OK | X_OK), 0);  // even for root
  for (const char* name : {"missing", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(FileAccess(dir.path(), name, F_OK), 0);
  }
}

TEST(FilePathIsExplicit, AbsoluteOrParentWithAName) {
  struct Case {
    const char* path;
    int absolute, explicit_path;
  } cases[] = {
      {"/x", 1, 1},      {"/", 1, 1},     {"../x", 0, 1}, {"../", 0, 0},
      {"..", 0, 0},      {"./x", 0, 0},   {"", 0, 0},     {"..x/y", 0, 0},
      {"../../a", 0, 1}, {nullptr, 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FilePathIsAbsolute(c.path), c.absolute)
        << (c.path ? c.path : "nil");
    EXPECT_EQ(FilePathIsExplicit(c.path), c.explicit_path)
        << (c.path ? c.path : "nil");
  }
}

}  // namespace
