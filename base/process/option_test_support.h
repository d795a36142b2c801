// Test support for the option scanner: captures what is written on
// descriptor 2, where the C library's stderr writes its diagnostics.

#ifndef QZ_BASE_PROCESS_OPTION_TEST_SUPPORT_H_
#define QZ_BASE_PROCESS_OPTION_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

// Sends descriptor 2 into an anonymous file for its lifetime.
class StderrCapture {
 public:
  StderrCapture() {
    static_cast<void>(fflush(stderr));
    saved_ = dup(2);
    file_ = memfd_create("stderr-capture", MFD_CLOEXEC);
    EXPECT_GE(saved_, 0);
    EXPECT_GE(file_, 0);
    EXPECT_EQ(2, dup2(file_, 2));
  }

  ~StderrCapture() {
    static_cast<void>(fflush(stderr));
    dup2(saved_, 2);
    close(saved_);
    close(file_);
  }

  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;

  // What was written since the last Take, which empties the file.
  std::string Take() {
    static_cast<void>(fflush(stderr));
    std::string text;
    char buffer[512];
    ssize_t count;
    off_t offset = 0;
    while ((count = pread(file_, buffer, sizeof(buffer), offset)) > 0) {
      text.append(buffer, static_cast<size_t>(count));
      offset += count;
    }
    EXPECT_EQ(0, ftruncate(file_, 0));
    lseek(2, 0, SEEK_SET);
    return text;
  }

 private:
  int saved_ = -1;
  int file_ = -1;
};

#endif  // QZ_BASE_PROCESS_OPTION_TEST_SUPPORT_H_
