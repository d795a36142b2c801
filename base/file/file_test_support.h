// Shared by the file module's tests: a temporary directory removed with its
// contents, and a capture of the log and error channels.

#ifndef QZ_BASE_FILE_FILE_TEST_SUPPORT_H_
#define QZ_BASE_FILE_FILE_TEST_SUPPORT_H_

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/log/logger.h"

namespace filetest {

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/qz-file-test-XXXXXX";
    path_ = mkdtemp(pattern) != nullptr ? pattern : "/nonexistent";
    chmod(path_.c_str(), 0755);  // searchable by another user too
  }
  ~TempDir() {
    EXPECT_EQ(system(("chmod -R u+rwx " + path_ + "; rm -rf " + path_).c_str()),
              0);
  }
  const char* path() const { return path_.c_str(); }
  std::string Join(const std::string& name) const { return path_ + "/" + name; }
  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(Join(name)) << content;
  }

 private:
  std::string path_;
};

// Points the Logger's log and error channels at strings while in scope.
class LogCapture {
 public:
  LogCapture() {
    std::swap(LoggerInstance().logStream, log_);
    std::swap(LoggerInstance().errorStream, error_);
  }
  ~LogCapture() {
    std::swap(LoggerInstance().logStream, log_);
    std::swap(LoggerInstance().errorStream, error_);
  }
  // The log text with the prefix taken off every line.
  std::string Log() const {
    static const std::regex prefix(
        R"((^|\n)\d+ \d+ \d\d:\d\d:\d\d \d\d\d\.\d\d\d )");
    return std::regex_replace(logText_.str(), prefix, "$1");
  }
  std::string RawLog() const { return logText_.str(); }
  std::string Error() const { return errorText_.str(); }

 private:
  std::ostringstream logText_, errorText_;
  std::ostream* log_ = &logText_;
  std::ostream* error_ = &errorText_;
};

}  // namespace filetest

#endif  // QZ_BASE_FILE_FILE_TEST_SUPPORT_H_
