#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "base/file/file_descriptor.h"
#include "base/file/file_owner.h"
#include "base/file/file_path.h"
#include "base/string/owned_string.h"
#include "testing/test_support.h"

namespace {

using qz_test::RunInChild;
using qz_test::TempDir;

// Joins, then the stat family over one tree, links followed, in a child
// without privileges (in CI too): per path exists, directory, regular file,
// size, errno after these, and access to read and search. Below a
// directory without search permission stat fails.
TEST(FileStat, JoinsAndTestsOverATree) {
  const char* joins[][3] = {{"/a", "b", "/a/b"},
                            {"", "b", "b"},
                            {"/a/", "b", "/a//b"},
                            {"/a", "", nullptr}};
  for (const auto& [dir, name, path] : joins) {
    char* joined = FilePath(dir, name);
    EXPECT_STREQ(joined, path);
    StringReset(&joined);
  }
  TempDir dir;
  qz_test::WriteFile(dir.File("seven"), "1234567");
  ASSERT_FALSE(mkdir(dir.File("sub").c_str(), 0755) ||
               symlink("sub", dir.File("link").c_str()) ||
               mkdir(dir.File("shut").c_str(), 0600));
  std::string out;
  RunInChild(
      [&](int channel) {
        qz_test::DropPrivileges();
        const char* top = dir.path().c_str();
        std::ostringstream lines;
        for (const char* name :
             {"seven", "link", "none", "seven/x", "shut/x", ""}) {
          errno = 0;
          lines << name << ":" << FileExists(top, name) << " "
                << FileIsDirectory(top, name) << " " << FileIsRegular(top, name)
                << " " << FileSize(top, name) << " " << errno << " "
                << FileAccess(top, name, R_OK | X_OK) << "\n";
        }
        qz_test::WriteAll(channel, lines.str());
        return 0;
      },
      &out);
  EXPECT_EQ(out,
            "seven:1 0 1 7 0 0\nlink:1 1 0 -1 22 1\nnone:0 0 0 0 2 0\n"
            "seven/x:-1 -1 -1 -1 20 0\nshut/x:-1 -1 -1 -1 13 0\n"
            ":-1 -1 -1 -1 14 0\n");
}

// Refused to anyone but root (here in a child without privileges), and for
// a missing file or no path: two lines on the log channel alone.
TEST(FileSetOwner, TwoLinesOnFailure) {
  TempDir dir;
  const std::string file = dir.File("file"), missing = dir.File("missing");
  qz_test::WriteFile(file, "");
  std::string lines;
  RunInChild(
      [&](int channel) {
        qz_test::LogCapture capture;
        qz_test::DropPrivileges();
        qz_test::ScopedFd fd(open(file.c_str(), O_RDONLY));
        FileSetOwner(file.c_str(), 0, 0);
        FileSetDescriptorOwner(fd.get(), "held", 0, 0);
        qz_test::WriteAll(channel, capture.Text());
        return 0;
      },
      &lines);
  qz_test::LogCapture capture;
  EXPECT_EQ(FileSetOwner(missing.c_str(), 0, 0), -1);
  EXPECT_EQ(FileSetOwner(nullptr, 0, 0), -1);
  EXPECT_EQ(errno, EFAULT);
  const std::string head = "File: ERROR! Can't change ownership of '",
                    refused =
                        "'.\nFile: ERROR! Error is 1, Operation not "
                        "permitted.\n";
  EXPECT_EQ(lines + capture.Text(),
            head + file + refused + head + "held" + refused + head + missing +
                "'.\nFile: ERROR! Error is 2, No such file or directory.\n" +
                head + "nil'.\nFile: ERROR! Error is 14, Bad address.\n");
}

TEST(FileSetOwner, RootGivesAFileAway) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root may give a file away";
  TempDir dir;
  const std::string file = dir.File("file");
  qz_test::WriteFile(file, "");
  qz_test::ScopedFd fd(open(file.c_str(), O_RDONLY));
  EXPECT_EQ(FileSetOwner(file.c_str(), 65534, -1), 1);
  EXPECT_EQ(FileSetDescriptorOwner(fd.get(), "file", -1, 65533), 1);
  EXPECT_EQ(qz_test::DescribePath(file), "644 65534:65533");
}

// Lines read from a pipe (of a chosen capacity) with buffers of a given
// size; the end of input leaves EIO; a buffer of one byte reads nothing.
// Then a string written to a pipe that is full and non-blocking.
TEST(FileReadLine, LinesFromAPipe) {
  using namespace std::string_literals;
  const std::tuple<std::string, int, std::string> cases[] = {
      {"abc\ndef", 64, "abc\n|def|"},
      {"abc\ndef", 3, "ab|c\n|de|f|"},
      {"a\0\n\n"s, 8, "a\0\n|\n|"s},
      {"ab\n", 1, "ab\n"}};
  int ends[2];
  for (const auto& [input, size, expected] : cases) {
    ASSERT_EQ(FilePipe(ends, 4096), 1);
    qz_test::WriteAll(ends[1], input);
    close(ends[1]);
    std::string buffer(size, '?'), lines;
    errno = 0;
    while (char* end = FileReadLine(ends[0], &buffer[0], size))
      lines += std::string(&buffer[0], end) + (*end == '\0' ? "|" : "?");
    EXPECT_EQ(errno, size > 1 ? EIO : 0);
    EXPECT_EQ(lines + qz_test::ReadAll(ends[0]), expected);
    close(ends[0]);
  }
  ASSERT_EQ(FilePipe(ends, 4096), 1);
  ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(FileWriteString(ends[1], std::string(5000, 'x').c_str()), 4096);
  EXPECT_EQ(FileWriteString(ends[1], "more"), 0);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(FileWriteString(ends[1], nullptr), 0);
  EXPECT_EQ(FileWriteString(ends[0], "x"), -1);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
