// Unit tests of the driver's helpers that can run inside the test process:
// the program paths, the random identifier and the redirection of standard
// output.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/string/owned_string.h"
#include "update/update.h"

namespace {

std::string Owned(char* text) {
  std::string copy = text != nullptr ? text : "(null)";
  StringReset(&text);
  return copy;
}

TEST(UpdateRandomId, ThirtyTwoUpperCaseHexDigits) {
  for (int i = 0; i < 20; ++i) {
    std::string id = Owned(UpdateRandomId());
    ASSERT_EQ(id.size(), 32u) << id;
    EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos)
        << id;
  }
}

// Points a descriptor at a file for the life of the object, then puts the
// original back.
class ScopedCapture {
 public:
  ScopedCapture(int fd, const std::string& path) : fd_(fd), path_(path) {
    static_cast<void>(fflush(stdout));
    saved_ = dup(fd);
    int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, fd);
    close(file);
  }
  ~ScopedCapture() {
    static_cast<void>(fflush(stdout));
    dup2(saved_, fd_);
    close(saved_);
  }
  std::string Text() const {
    static_cast<void>(fflush(stdout));
    std::ifstream file(path_);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

 private:
  int fd_;
  std::string path_;
  int saved_ = -1;
};

std::string ReadAll(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

int DescriptorCount() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) {
    ++count;
  }
  closedir(directory);
  return count;
}

std::string FileIdentity(int fd) {
  struct stat record = {};
  fstat(fd, &record);
  return std::to_string(record.st_dev) + ":" + std::to_string(record.st_ino);
}

class UpdateOutputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/qzupdate-unit-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
    savedOutput = -1;
  }
  std::string dir_;
};

TEST_F(UpdateOutputTest, RedirectAndRestore) {
  std::string file = dir_ + "/session";
  ScopedCapture out(1, dir_ + "/terminal");
  int before = DescriptorCount();
  std::string terminal = FileIdentity(1);

  UpdateRedirectOutput(file.c_str());
  EXPECT_NE(savedOutput, -1);
  int probe = open(file.c_str(), O_RDONLY);
  EXPECT_EQ(FileIdentity(1), FileIdentity(probe));
  close(probe);
  UpdatePrint("into the file\n");
  UpdateRestoreOutput();

  EXPECT_EQ(savedOutput, -1);
  EXPECT_EQ(FileIdentity(1), terminal);
  UpdatePrint("back on the terminal\n");
  EXPECT_EQ(out.Text(), "back on the terminal\n");
  EXPECT_EQ(ReadAll(file), "Update: Redirected stdout to '" + file +
                               "'.\ninto the file\n"
                               "Update: Restoring stdout to the original "
                               "handler.\n");
  struct stat record = {};
  ASSERT_EQ(stat(file.c_str(), &record), 0);
  EXPECT_EQ(record.st_mode & 07777, 0700u);  // a new file
  EXPECT_EQ(DescriptorCount(), before);
}

// A file that cannot be opened leaves standard output where it was, so
// that later lines still reach it.
TEST_F(UpdateOutputTest, MissingDirectoryLeavesOutputInPlace) {
  std::string file = dir_ + "/missing/session";
  ScopedCapture err(2, dir_ + "/errors");
  ScopedCapture out(1, dir_ + "/terminal");
  int before = DescriptorCount();
  std::string terminal = FileIdentity(1);

  UpdateRedirectOutput(file.c_str());
  EXPECT_EQ(savedOutput, -1);
  EXPECT_EQ(FileIdentity(1), terminal);
  UpdatePrint("still here\n");
  UpdateRestoreOutput();  // nothing in force: prints nothing

  EXPECT_EQ(out.Text(), "still here\n");
  EXPECT_EQ(err.Text(),
            "Update: Could not redirect stdout to '" + file + "'.\n");
  EXPECT_EQ(DescriptorCount(), before);
}

TEST(UpdatePrint, NullTextSetsBadState) {
  std::ostringstream sink;
  std::streambuf* saved = std::cout.rdbuf(sink.rdbuf());
  EXPECT_TRUE(UpdatePrint("text").good());
  EXPECT_TRUE(UpdatePrint(nullptr).bad());
  std::cout.clear();
  std::cout.rdbuf(saved);
  EXPECT_EQ(sink.str(), "text");
}

}  // namespace
