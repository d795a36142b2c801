#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "base/file/file_descriptor.h"
#include "base/file/file_owner.h"
#include "base/file/file_path.h"
#include "testing/test_support.h"

namespace {

// In a child without privileges (in CI too), the stat family over one tree,
// links followed: per path exists, directory, regular file, size, errno
// after these, and access to read and search (below a directory without
// search permission stat fails); then ownership changes, refused to anyone
// but root with two lines on the log channel alone. A path without a
// directory is used as it is; giving a file to its own owner succeeds
// without a line.
TEST(File, StatAndOwnership) {
  qz_test::TempDir dir;
  const std::string file = dir.File("seven");
  qz_test::WriteFile(file, "1234567");
  ASSERT_FALSE(mkdir(dir.File("sub").c_str(), 0755) ||
               symlink("sub", dir.File("link").c_str()) ||
               mkdir(dir.File("shut").c_str(), 0600));
  std::string out;
  qz_test::RunInChild(
      [&](int channel) {
        qz_test::LogCapture capture;
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
        qz_test::ScopedFd fd(open(file.c_str(), O_RDONLY));
        FileSetOwner(file.c_str(), 0, 0);
        FileSetDescriptorOwner(fd.get(), "held", 0, 0);
        qz_test::WriteAll(channel, lines.str() + capture.Text());
        return 0;
      },
      &out);
  qz_test::LogCapture capture;
  EXPECT_EQ(FileSize("", file.c_str()), 7);
  EXPECT_EQ(FilePathIsExplicit(nullptr), 0);
  EXPECT_EQ(FileSetOwner(file.c_str(), geteuid(), getegid()), 1);
  const std::string head = "File: ERROR! Can't change ownership of '";
  const std::string refused =
      "'.\nFile: ERROR! Error is 1, Operation not permitted.\n";
  EXPECT_EQ(out + capture.Text(),
            "seven:1 0 1 7 0 0\nlink:1 1 0 -1 22 1\nnone:0 0 0 0 2 0\n"
            "seven/x:-1 -1 -1 -1 20 0\nshut/x:-1 -1 -1 -1 13 0\n"
            ":-1 -1 -1 -1 14 0\n" +
                head + file + refused + head + "held" + refused);
}

// Lines read from a pipe (which gets the capacity asked for) with buffers of
// a given size; the end of input leaves EIO; a buffer of one byte reads
// nothing. Then writes of no string and to no descriptor.
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
    EXPECT_EQ(fcntl(ends[1], F_GETPIPE_SZ), 4096);
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
  EXPECT_EQ(FileWriteString(-1, nullptr), 0);
  EXPECT_EQ(FileWriteString(-1, "x"), -1);
}

}  // namespace
