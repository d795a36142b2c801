// Fixtures shared by the file module's tests: a temporary directory removed
// with everything in it at scope end, and a capture of the log and error
// channels that puts the Logger back as it was.

#ifndef QZ_BASE_FILE_FILE_TEST_SUPPORT_H_
#define QZ_BASE_FILE_FILE_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>

#include "base/log/logger.h"

namespace filetest {

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/qz-file-test-XXXXXX";
    const char* made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    path_ = made != nullptr ? made : "";
    // World-searchable so that the tests also run under another user.
    chmod(path_.c_str(), 0755);
  }
  ~TempDir() {
    std::string command =
        "chmod -R u+rwx '" + path_ + "' 2>/dev/null; rm -rf '" + path_ + "'";
    if (!path_.empty()) {
      EXPECT_EQ(system(command.c_str()), 0);
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const char* path() const { return path_.c_str(); }
  std::string Join(const std::string& name) const { return path_ + "/" + name; }

  // Creates a regular file holding content.
  void Write(const std::string& name, const std::string& content) const {
    FILE* file = fopen(Join(name).c_str(), "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    EXPECT_EQ(fclose(file), 0);
  }

 private:
  std::string path_;
};

// Points the Logger's log and error channels at strings while in scope.
class LogCapture {
 public:
  LogCapture()
      : logger_(LoggerInstance()),
        log_(logger_.logStream),
        error_(logger_.errorStream) {
    logger_.logStream = &log_text_;
    logger_.errorStream = &error_text_;
  }
  ~LogCapture() {
    logger_.logStream = log_;
    logger_.errorStream = error_;
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The log channel's text with the line prefix taken off every line.
  std::string Log() const {
    static const std::regex prefix(
        R"((^|\n)\d+ \d+ \d\d:\d\d:\d\d \d\d\d\.\d\d\d )");
    return std::regex_replace(log_text_.str(), prefix, "$1");
  }
  std::string RawLog() const { return log_text_.str(); }
  std::string Error() const { return error_text_.str(); }

 private:
  Logger& logger_;
  std::ostream* log_;
  std::ostream* error_;
  std::ostringstream log_text_;
  std::ostringstream error_text_;
};

}  // namespace filetest

#endif  // QZ_BASE_FILE_FILE_TEST_SUPPORT_H_
