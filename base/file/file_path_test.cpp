#include "base/file/file_path.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/file/file_test_support.h"
#include "base/string/owned_string.h"

namespace {

using filetest::TempDir;

TEST(FilePath, JoinsCopiesOrRefuses) {
  struct Case {
    const char* dir;
    const char* name;
    const char* expected;  // null: no path
  } cases[] = {
      {"/a", "b", "/a/b"},
      {nullptr, "b", "b"},
      {"", "b", "b"},
      {"/a/", "b", "/a//b"},
      {"/a", "/b", "/a//b"},
      {"a", "b/c", "a/b/c"},
      {"/a", "", nullptr},
      {"/a", nullptr, nullptr},
      {nullptr, nullptr, nullptr},
      {"", "", nullptr},
  };
  for (const Case& c : cases) {
    char* path = FilePath(c.dir, c.name);
    if (c.expected == nullptr) {
      EXPECT_EQ(path, nullptr) << (c.dir ? c.dir : "nil");
    } else {
      ASSERT_NE(path, nullptr) << c.expected;
      EXPECT_STREQ(path, c.expected);
      EXPECT_NE(path, c.name);  // always a new string
    }
    StringReset(&path);
  }
}

TEST(FileStat, FillsTheRecordAndSeparatesAbsentFromFailed) {
  TempDir dir;
  dir.Write("file", "12345");
  struct stat record;
  errno = 0;
  EXPECT_EQ(FileStat(dir.Join("file").c_str(), &record), 1);
  EXPECT_EQ(record.st_size, 5);
  EXPECT_EQ(errno, 0);

  EXPECT_EQ(FileStat(dir.Join("missing").c_str(), &record), 0);
  EXPECT_EQ(errno, ENOENT);
  // A path through a regular file fails for another reason than absence.
  EXPECT_EQ(FileStat(dir.Join("file/below").c_str(), &record), -1);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(FileStat(nullptr, &record), -1);
  EXPECT_EQ(errno, EFAULT);

  EXPECT_EQ(FileStatAt(dir.path(), "file", &record), 1);
  EXPECT_EQ(FileStatAt(dir.path(), "missing", &record), 0);
  EXPECT_EQ(FileStatAt(dir.path(), "", &record), -1);
  EXPECT_EQ(errno, EFAULT);
}

TEST(FileExists, AbsentIsZeroAndUnsearchableIsMinusOne) {
  TempDir dir;
  dir.Write("file", "");
  EXPECT_EQ(FileExists(dir.path(), "file"), 1);
  EXPECT_EQ(FileExists(dir.path(), "missing"), 0);
  EXPECT_EQ(FileExists(dir.path(), nullptr), -1);
  EXPECT_EQ(errno, EFAULT);

  if (geteuid() == 0) {
    GTEST_SKIP() << "root searches any directory; the -1 for a directory "
                    "without search permission is reachable only as an "
                    "ordinary user";
  }
  std::string closed = dir.Join("closed");
  ASSERT_EQ(mkdir(closed.c_str(), 0700), 0);
  dir.Write("closed/inside", "");
  ASSERT_EQ(chmod(closed.c_str(), 0600), 0);
  errno = 0;
  EXPECT_EQ(FileExists(closed.c_str(), "inside"), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(FileExists(closed.c_str(), "missing"), -1);
  EXPECT_EQ(errno, EACCES);
}

// One tree, every type test: the symbolic links are followed.
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

TEST_F(FileTypes, IsDirectoryAndIsRegular) {
  struct Case {
    const char* name;
    int directory;
    int regular;
  } cases[] = {
      {"empty", 0, 1},    {"seven", 0, 1},   {"sub", 1, 0},
      {"fifo", 0, 0},     {"to_dir", 1, 0},  {"to_file", 0, 1},
      {"dangling", 0, 0}, {"missing", 0, 0}, {"seven/below", -1, -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FileIsDirectory(dir_.path(), c.name), c.directory) << c.name;
    EXPECT_EQ(FileIsRegular(dir_.path(), c.name), c.regular) << c.name;
  }
}

TEST_F(FileTypes, SizeOfRegularFilesOnly) {
  struct Case {
    const char* name;
    int64_t size;
    int error;  // errno after -1
  } cases[] = {
      {"empty", 0, 0},      {"seven", 7, 0},
      {"to_file", 7, 0},    {"missing", 0, 0},
      {"sub", -1, EINVAL},  {"to_dir", -1, EINVAL},
      {"fifo", -1, EINVAL}, {"seven/below", -1, ENOTDIR},
  };
  for (const Case& c : cases) {
    errno = 0;
    EXPECT_EQ(FileSize(dir_.path(), c.name), c.size) << c.name;
    if (c.size == -1) {
      EXPECT_EQ(errno, c.error) << c.name;
    }
  }
}

TEST_F(FileTypes, ModeTypeAndModeIsDirectory) {
  struct Case {
    const char* name;
    int type;
    int directory;
  } cases[] = {
      {"seven", 1, 0}, {"sub", 0, 1}, {"fifo", -1, 0}, {"to_dir", 0, 1}};
  for (const Case& c : cases) {
    struct stat record;
    ASSERT_EQ(FileStatAt(dir_.path(), c.name, &record), 1) << c.name;
    EXPECT_EQ(FileModeType(&record), c.type) << c.name;
    EXPECT_EQ(FileModeIsDirectory(&record), c.directory) << c.name;
  }
}

TEST(FileAccess, OneOnlyWhenAccessSucceeds) {
  TempDir dir;
  dir.Write("plain", "x");
  ASSERT_EQ(chmod(dir.Join("plain").c_str(), 0644), 0);
  EXPECT_EQ(FileAccess(dir.path(), "plain", F_OK), 1);
  EXPECT_EQ(FileAccess(dir.path(), "plain", R_OK), 1);
  EXPECT_EQ(FileAccess(nullptr, dir.Join("plain").c_str(), R_OK | W_OK), 1);
  // No execute bit anywhere: refused even to root.
  EXPECT_EQ(FileAccess(dir.path(), "plain", X_OK), 0);
  EXPECT_EQ(FileAccess(dir.path(), "plain", R_OK | X_OK), 0);
  EXPECT_EQ(FileAccess(dir.path(), "missing", F_OK), 0);
  EXPECT_EQ(FileAccess(dir.path(), "", F_OK), 0);
  EXPECT_EQ(FileAccess(dir.path(), nullptr, F_OK), 0);
  EXPECT_EQ(FileAccess(dir.path(), "plain/below", F_OK), 0);
}

TEST(FilePathIsExplicit, AbsoluteOrParentWithAName) {
  struct Case {
    const char* path;
    int absolute;
    int explicit_path;
  } cases[] = {
      {"/x", 1, 1},    {"/", 1, 1},       {"../x", 0, 1},  {"../", 0, 0},
      {"..", 0, 0},    {"./x", 0, 0},     {"x", 0, 0},     {"", 0, 0},
      {"..x/y", 0, 0}, {"../../a", 0, 1}, {nullptr, 0, 0},
  };
  for (const Case& c : cases) {
    const char* shown = c.path != nullptr ? c.path : "nil";
    EXPECT_EQ(FilePathIsAbsolute(c.path), c.absolute) << shown;
    EXPECT_EQ(FilePathIsExplicit(c.path), c.explicit_path) << shown;
  }
}

}  // namespace
