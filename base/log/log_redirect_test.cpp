#include "base/log/log_redirect.h"

#include <fcntl.h>
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/log/log_file.h"
#include "base/testing/test_support.h"

namespace {

using qz_test::ReadFile;
using qz_test::StderrCapture;
using qz_test::TempDir;

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// Puts the Logger back in its start-up state at scope end: channels on
// std::clog, no paths, no retired streams, std::clog on its own buffer.
class LoggerReset {
 public:
  explicit LoggerReset(int redirect_enabled) : logger_(LoggerInstance()) {
    logger_.redirectEnabled = redirect_enabled;
  }
  ~LoggerReset() {
    LoggerRestoreLog(logger_);
    LoggerRestoreError(logger_);
    LoggerRestoreAux(logger_);
    std::clog.rdbuf(logger_.savedLogBuffer);
    logger_.retiredLogStream.reset();
    logger_.retiredErrorStream.reset();
    logger_.retiredAuxStream.reset();
    logger_.redirectEnabled = 0;
    logger_.buffered = 1;
  }

 private:
  Logger& logger_;
};

// A caller's stream that reports its destruction.
class TrackedStream : public std::ostringstream {
 public:
  explicit TrackedStream(bool* destroyed) : destroyed_(destroyed) {}
  ~TrackedStream() override { *destroyed_ = true; }

 private:
  bool* destroyed_;
};

// redirectEnabled 0 guards the log and error channels (not the auxiliary).
TEST(LoggerRedirectLog, DisabledChangesAndWritesNothing) {
  TempDir temp;
  StderrCapture capture;
  Logger& logger = LoggerInstance();
  {
    LoggerReset reset(0);
    std::ostringstream caller;
    LoggerRedirectLog(logger, temp.path().c_str(), "log");
    LoggerRedirectError(logger, temp.path().c_str(), "error");
    LoggerRedirectLogToStream(logger, &caller);
    LoggerRedirectErrorToStream(logger, &caller);
    EXPECT_EQ(logger.logStream, &std::clog);
    EXPECT_EQ(logger.errorStream, &std::clog);
    EXPECT_EQ(logger.logPath, nullptr);
    EXPECT_EQ(logger.errorPath, nullptr);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
    EXPECT_NE(access(temp.File("log").c_str(), F_OK), 0);
    LoggerRedirectAux(logger, temp.path().c_str(), "aux");
    EXPECT_STREQ(logger.auxPath, temp.File("aux").c_str());
  }
  EXPECT_EQ(capture.Take(), "");
}

// Files are made 0600 and appended to, whatever the umask, which is left as
// it was; a missing directory leaves the channel as it was.
TEST(LoggerRedirectLog, AppendsWithMode0600UnderAnyUmask) {
  TempDir temp;
  Logger& logger = LoggerInstance();
  std::string path = temp.File("log");
  for (mode_t mask : {0000, 0022, 0077}) {
    SCOPED_TRACE(mask);
    unlink(path.c_str());
    mode_t previous = umask(mask);
    {
      LoggerReset reset(1);
      LoggerRedirectLog(logger, temp.path().c_str(), "log");
      Log() << "first\n";
      LoggerRestoreLog(logger);
      LoggerRedirectLog(logger, nullptr, path.c_str());
      Log() << "second\n";
      if (mask == 0022) {
        std::ostream* before = logger.logStream;
        std::ostream* retired = logger.retiredLogStream.get();
        LoggerRedirectLog(logger, temp.File("missing").c_str(), "log");
        EXPECT_EQ(logger.logStream, before);
        EXPECT_STREQ(logger.logPath, path.c_str());
        EXPECT_EQ(logger.retiredLogStream.get(), retired);
      }
      EXPECT_EQ(umask(mask), mask);
    }
    umask(previous);
    struct stat record;
    ASSERT_EQ(stat(path.c_str(), &record), 0);
    EXPECT_EQ(record.st_mode & 07777, 0600U);
    std::string text = ReadFile(path);
    EXPECT_LT(text.find("first\n"), text.find("second\n"));
    EXPECT_NE(text.find("second\n"), std::string::npos);
  }
}

// The channel writes the very file the descriptor holds, whatever its name
// leads to now, and takes the given path; a bad descriptor or path changes
// nothing.
TEST(LoggerRedirectLogToDescriptor, WritesTheHeldFileUnderTheGivenPath) {
  TempDir temp;
  Logger& logger = LoggerInstance();
  std::string path = temp.File("session");
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  ASSERT_GE(fd, 0);
  // The name now leads elsewhere: only the held file may be written.
  ASSERT_EQ(rename(path.c_str(), temp.File("moved").c_str()), 0);
  ASSERT_EQ(symlink(temp.File("canary").c_str(), path.c_str()), 0);
  {
    LoggerReset reset(1);
    LoggerRedirectLogToDescriptor(logger, -1, path.c_str());
    LoggerRedirectLogToDescriptor(logger, fd, "");
    EXPECT_EQ(logger.logStream, &std::clog);
    EXPECT_EQ(logger.logPath, nullptr);
    LoggerRedirectLogToDescriptor(logger, fd, path.c_str());
    EXPECT_STREQ(logger.logPath, path.c_str());
    Log() << "line\n";
    LogFlush();
  }
  close(fd);
  EXPECT_NE(ReadFile(temp.File("moved")).find("line\n"), std::string::npos);
  EXPECT_NE(access(temp.File("canary").c_str(), F_OK), 0);
}

TEST(LoggerTruncateLog, Limits) {
  const std::string content(100, 'x');
  const std::pair<int, bool> cases[] = {
      {99, true}, {100, true}, {0, true}, {101, false}, {-1, false}};
  TempDir temp;
  Logger& logger = LoggerInstance();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    std::ofstream(temp.File("log"), std::ios::trunc) << content;
    LoggerReset reset(1);
    LoggerRedirectLog(logger, temp.path().c_str(), "log");
    std::ostream* before = logger.logStream;
    LoggerTruncateLog(logger, c.first);
    EXPECT_STREQ(logger.logPath, temp.File("log").c_str());
    EXPECT_EQ(ReadFile(temp.File("log")), c.second ? "" : content);
    EXPECT_EQ(logger.retiredLogStream.get() == before, c.second);
  }
}

// std::clog follows the error channel into its file, through truncations,
// and back; a reopen that fails leaves the standard stream.
TEST(LoggerRedirectError, StandardLogStreamFollows) {
  TempDir temp;
  StderrCapture capture;
  Logger& logger = LoggerInstance();
  const std::string note =
      "Logger: Redirected the standard error to '" + temp.File("e1") + "'.\n";
  {
    LoggerReset reset(1);
    LoggerRedirectError(logger, temp.path().c_str(), "e1");
    std::clog << "clog\n";
    LogError() << "line\n";
    LoggerRedirectError(logger, temp.path().c_str(), "");  // repeats the note
    LogFlush();
    EXPECT_EQ(ReadFile(temp.File("e1")), note + "clog\nError: line\n" + note);
    for (const char* text :
         {"after\n", "again\n"}) {  // the second frees the first's
      LoggerTruncateError(logger, 0);
      std::clog << text;
      LogFlush();
      EXPECT_EQ(ReadFile(temp.File("e1")), text);
      EXPECT_EQ(std::clog.rdbuf(), logger.errorStream->rdbuf());
    }
    LoggerRedirectError(logger, temp.path().c_str(), "e2");
    LoggerRestoreError(logger);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
    std::clog << "restored\n";
    LoggerRedirectError(logger, temp.path().c_str(), "e3");
    ASSERT_EQ(unlink(temp.File("e3").c_str()), 0);
    ASSERT_EQ(mkdir(temp.File("e3").c_str(), 0700), 0);
    LoggerTruncateError(logger, 0);
    EXPECT_EQ(logger.errorStream, &std::clog);
    EXPECT_EQ(logger.errorPath, nullptr);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
  }
  EXPECT_EQ(capture.Take(), "restored\n");
}

// At exit the Logger closes every file it opened; what was still buffered
// arrives once.
TEST(LoggerDestruction, FlushesFilesOnceAtExit) {
  TempDir temp;
  std::string stderr_path = temp.File("stderr");
  fflush(nullptr);
  std::cout.flush();
  std::clog.flush();
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int fd = open(stderr_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 2);
    Logger& logger = LoggerInstance();
    logger.redirectEnabled = 1;
    LoggerRedirectLog(logger, temp.path().c_str(), "old");
    Log() << "retired\n";
    LoggerRedirectLog(logger, temp.path().c_str(), "log");
    LoggerRedirectError(logger, temp.path().c_str(), "error");
    LoggerRedirectAux(logger, temp.path().c_str(), "aux");
    for (int i = 0; i < 1000; ++i) {
      Log() << "log " << i << "\n";
      LogError() << i << "\n";
      *logger.auxStream << "aux " << i << "\n";
    }
    std::clog << "last\n";
    exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  std::string log = ReadFile(temp.File("log")),
              error = ReadFile(temp.File("error"));
  std::string aux = ReadFile(temp.File("aux"));
  EXPECT_EQ(CountOf(ReadFile(temp.File("old")), "retired\n"), 1);
  EXPECT_EQ(CountOf(log, "\n"), 1000);
  EXPECT_EQ(CountOf(log, " log 999\n"), 1);
  EXPECT_EQ(CountOf(error, "Error: "), 1000);
  EXPECT_EQ(CountOf(error, "Error: 999\nlast\n"), 1);
  EXPECT_EQ(CountOf(aux, "\n"), 1000);
  EXPECT_EQ(CountOf(aux, "aux 999\n"), 1);
  EXPECT_EQ(ReadFile(stderr_path), "");
}

}  // namespace
