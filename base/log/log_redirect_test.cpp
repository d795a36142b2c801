#include "base/log/log_redirect.h"

#include <fcntl.h>
#include <ftw.h>
#include <gtest/gtest.h>
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

#include "base/log/log.h"
#include "base/log/log_file.h"

namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
  return remove(path);
}

// A fresh directory, removed with its content at scope end.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/log_redirect_test.XXXXXX";
    path_ = mkdtemp(pattern) != nullptr ? pattern : "";
  }
  ~TempDir() { nftw(path_.c_str(), RemoveEntry, 8, FTW_DEPTH | FTW_PHYS); }
  const char* dir() const { return path_.c_str(); }
  std::string Path(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

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
  LoggerReset(const LoggerReset&) = delete;
  LoggerReset& operator=(const LoggerReset&) = delete;

 private:
  Logger& logger_;
};

// Sends descriptor 2 into a file until Finish, which returns what came.
class StderrCapture {
 public:
  explicit StderrCapture(std::string path) : path_(std::move(path)) {
    std::clog.flush();
    saved_ = dup(2);
    int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 2);
    close(fd);
  }
  ~StderrCapture() { Finish(); }
  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;

  std::string Finish() {
    if (saved_ >= 0) {
      std::clog.flush();
      dup2(saved_, 2);
      close(saved_);
      saved_ = -1;
    }
    return ReadFile(path_);
  }

 private:
  std::string path_;
  int saved_;
};

// A caller's stream that reports its destruction.
class TrackedStream : public std::ostringstream {
 public:
  explicit TrackedStream(bool* destroyed) : destroyed_(destroyed) {}
  ~TrackedStream() override { *destroyed_ = true; }

 private:
  bool* destroyed_;
};

TEST(LoggerRedirectLog, DisabledChangesAndWritesNothing) {
  TempDir temp;
  StderrCapture capture(temp.Path("stderr"));
  Logger& logger = LoggerInstance();
  {
    LoggerReset reset(0);
    LoggerRedirectLog(logger, temp.dir(), "log");
    LoggerRedirectError(logger, temp.dir(), "error");
    std::ostringstream caller;
    LoggerRedirectLogToStream(logger, &caller);
    LoggerRedirectErrorToStream(logger, &caller);
    EXPECT_EQ(logger.logStream, &std::clog);
    EXPECT_EQ(logger.errorStream, &std::clog);
    EXPECT_EQ(logger.logPath, nullptr);
    EXPECT_EQ(logger.errorPath, nullptr);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
    EXPECT_NE(access(temp.Path("log").c_str(), F_OK), 0);
    EXPECT_NE(access(temp.Path("error").c_str(), F_OK), 0);
    // The auxiliary channel is not guarded.
    LoggerRedirectAux(logger, temp.dir(), "aux");
    EXPECT_STREQ(logger.auxPath, temp.Path("aux").c_str());
  }
  EXPECT_EQ(capture.Finish(), "");
}

TEST(LoggerRedirectLog, PathFromDirAndName) {
  TempDir temp;
  const std::string absolute = temp.Path("whole");
  struct Case {
    const char* dir;
    const char* name;
    std::string expected;  // empty: nothing redirected
  } cases[] = {
      {temp.dir(), "joined", temp.Path("joined")},
      {nullptr, absolute.c_str(), absolute},
      {"", absolute.c_str(), absolute},
      {temp.dir(), "", ""},
      {temp.dir(), nullptr, ""},
  };
  Logger& logger = LoggerInstance();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    LoggerReset reset(1);
    LoggerRedirectLog(logger, c.dir, c.name);
    if (c.expected.empty()) {
      EXPECT_EQ(logger.logPath, nullptr);
      EXPECT_EQ(logger.logStream, &std::clog);
      continue;
    }
    EXPECT_STREQ(logger.logPath, c.expected.c_str());
    Log() << "line\n";
    LogFlush();
    std::string text = ReadFile(c.expected);
    EXPECT_EQ(text.substr(text.size() - 5), "line\n");
  }
}

TEST(LoggerRedirectLog, AppendsWithMode0600UnderAnyUmask) {
  TempDir temp;
  Logger& logger = LoggerInstance();
  for (mode_t mask : {0000, 0022, 0077}) {
    SCOPED_TRACE(mask);
    std::string path = temp.Path("log");
    unlink(path.c_str());
    mode_t previous = umask(mask);
    {
      LoggerReset reset(1);
      LoggerRedirectLog(logger, temp.dir(), "log");
      Log() << "first\n";
      LoggerRestoreLog(logger);
      EXPECT_EQ(umask(mask), mask);
      LoggerRedirectLog(logger, temp.dir(), "log");
      Log() << "second\n";
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

TEST(LoggerOpenFile, UnbufferedWritesAtOnce) {
  TempDir temp;
  LoggerReset reset(1);
  Logger& logger = LoggerInstance();
  logger.buffered = 0;
  std::unique_ptr<std::ofstream> file =
      LoggerOpenFile(logger, std::ios_base::app, temp.Path("f").c_str());
  ASSERT_NE(file, nullptr);
  *file << "abc";
  EXPECT_EQ(ReadFile(temp.Path("f")), "abc");
}

TEST(LoggerRedirectLog, MissingDirectoryLeavesChannel) {
  TempDir temp;
  LoggerReset reset(1);
  Logger& logger = LoggerInstance();
  LoggerRedirectLog(logger, temp.dir(), "log");
  std::ostream* before = logger.logStream;
  mode_t mask = umask(0022);
  LoggerRedirectLog(logger, temp.Path("missing").c_str(), "log");
  EXPECT_EQ(umask(mask), 0022U);
  EXPECT_EQ(logger.logStream, before);
  EXPECT_STREQ(logger.logPath, temp.Path("log").c_str());
  EXPECT_EQ(logger.retiredLogStream, nullptr);
}

TEST(LoggerRestoreLog, EarlierReferenceWritesToStandardError) {
  TempDir temp;
  StderrCapture capture(temp.Path("stderr"));
  Logger& logger = LoggerInstance();
  {
    LoggerReset reset(1);
    LoggerRedirectLog(logger, temp.dir(), "log");
    std::ostream& reference = Log();
    reference << "in file\n";
    LoggerRestoreLog(logger);
    EXPECT_EQ(logger.logStream, &std::clog);
    EXPECT_EQ(logger.logPath, nullptr);
    EXPECT_EQ(logger.retiredLogStream.get(), &reference);
    reference << "late\n";
    reference.flush();
  }
  EXPECT_EQ(capture.Finish(), "late\n");
  std::string text = ReadFile(temp.Path("log"));
  EXPECT_EQ(text.substr(text.size() - 8), "in file\n");
}

TEST(LoggerTruncateLog, Limits) {
  const std::string content(100, 'x');
  struct Case {
    int limit;
    bool emptied;
  } cases[] = {{99, true}, {100, true}, {0, true}, {101, false}, {-1, false}};
  TempDir temp;
  Logger& logger = LoggerInstance();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.limit);
    std::ofstream(temp.Path("log"), std::ios::trunc) << content;
    LoggerReset reset(1);
    LoggerRedirectLog(logger, temp.dir(), "log");
    std::ostream* before = logger.logStream;
    LoggerTruncateLog(logger, c.limit);
    EXPECT_STREQ(logger.logPath, temp.Path("log").c_str());
    EXPECT_EQ(ReadFile(temp.Path("log")), c.emptied ? "" : content);
    EXPECT_EQ(logger.logStream == before, !c.emptied);
    EXPECT_EQ(logger.retiredLogStream.get() == before, c.emptied);
  }
}

TEST(LoggerRedirectError, StandardLogStreamFollowsIntoFile) {
  TempDir temp;
  StderrCapture capture(temp.Path("stderr"));
  Logger& logger = LoggerInstance();
  const std::string note =
      "Logger: Redirected the standard error to '" + temp.Path("e1") + "'.\n";
  {
    LoggerReset reset(1);
    LoggerRedirectError(logger, temp.dir(), "e1");
    std::clog << "clog\n";
    LogError() << "line\n";
    LogFlush();
    EXPECT_EQ(ReadFile(temp.Path("e1")), note + "clog\nError: line\n");
    // A failed redirection repeats the note for the current file.
    LoggerRedirectError(logger, temp.dir(), "");
    LogFlush();
    EXPECT_EQ(ReadFile(temp.Path("e1")), note + "clog\nError: line\n" + note);
    // Truncation reopens the file and std::clog follows it.
    LoggerTruncateError(logger, 0);
    std::clog << "after\n";
    LogFlush();
    EXPECT_EQ(ReadFile(temp.Path("e1")), "after\n");
    EXPECT_EQ(std::clog.rdbuf(), logger.errorStream->rdbuf());
    // The second truncation destroys the stream that the first retired.
    LoggerTruncateError(logger, 0);
    std::clog << "again\n";
    LogFlush();
    EXPECT_EQ(ReadFile(temp.Path("e1")), "again\n");
    // Destroys the stream retired by the truncation; std::clog must not
    // be writing into it.
    LoggerRedirectError(logger, temp.dir(), "e2");
    LoggerRestoreError(logger);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
    std::clog << "restored\n";
  }
  EXPECT_EQ(capture.Finish(), "restored\n");
}

TEST(LoggerTruncateError, ReopenFailureLeavesStandardStream) {
  TempDir temp;
  LoggerReset reset(1);
  Logger& logger = LoggerInstance();
  LoggerRedirectError(logger, temp.dir(), "error");
  // The path now names a directory, which exists but cannot be opened.
  ASSERT_EQ(unlink(temp.Path("error").c_str()), 0);
  ASSERT_EQ(mkdir(temp.Path("error").c_str(), 0700), 0);
  LoggerTruncateError(logger, 0);
  EXPECT_EQ(logger.errorStream, &std::clog);
  EXPECT_EQ(logger.errorPath, nullptr);
  EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
  EXPECT_NE(logger.retiredErrorStream, nullptr);
}

TEST(LoggerRedirectError, NoteNamesNilWithoutFile) {
  TempDir temp;
  StderrCapture capture(temp.Path("stderr"));
  {
    LoggerReset reset(1);
    LoggerRedirectError(LoggerInstance(), temp.dir(), nullptr);
  }
  EXPECT_EQ(capture.Finish(),
            "Logger: Redirected the standard error to 'nil'.\n");
}

TEST(LoggerRedirectErrorToStream, OwnedUntilNextRetirement) {
  TempDir temp;
  StderrCapture capture(temp.Path("stderr"));
  Logger& logger = LoggerInstance();
  bool destroyed = false;
  {
    LoggerReset reset(1);
    auto* stream = new TrackedStream(&destroyed);
    LoggerRedirectErrorToStream(logger, stream);
    std::clog << "clog\n";
    LogWarning() << "w\n";
    LogFlush();
    EXPECT_EQ(stream->str(),
              "Logger: Redirected the standard error to the stream.\n"
              "clog\nWarning: w\n");
    LoggerRestoreError(logger);
    EXPECT_EQ(std::clog.rdbuf(), logger.savedLogBuffer);
    EXPECT_EQ(logger.retiredErrorStream.get(), stream);
    EXPECT_FALSE(destroyed);
    // Leaving std::clog retires nothing; leaving the next stream does.
    LoggerRedirectErrorToStream(logger, new std::ostringstream());
    EXPECT_FALSE(destroyed);
    LoggerRestoreError(logger);
    EXPECT_TRUE(destroyed);
  }
  EXPECT_EQ(capture.Finish(), "");
}

TEST(LoggerRedirectAuxToStream, RefusesNullAndRetiredStream) {
  LoggerReset reset(1);
  Logger& logger = LoggerInstance();
  LoggerRedirectAuxToStream(logger, nullptr);
  EXPECT_EQ(logger.auxStream, &std::clog);
  auto* stream = new std::ostringstream();
  LoggerRedirectAuxToStream(logger, stream);
  LoggerRestoreAux(logger);
  LoggerRedirectAuxToStream(logger, stream);
  EXPECT_EQ(logger.auxStream, &std::clog);
  EXPECT_EQ(logger.retiredAuxStream.get(), stream);
}

// At exit the Logger closes every file it opened; what was still buffered
// arrives once.
TEST(LoggerDestruction, FlushesFilesOnceAtExit) {
  TempDir temp;
  std::string stderr_path = temp.Path("stderr");
  static_cast<void>(fflush(nullptr));
  std::cout.flush();
  std::clog.flush();
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int fd = open(stderr_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 2);
    Logger& logger = LoggerInstance();
    logger.redirectEnabled = 1;
    LoggerRedirectLog(logger, temp.dir(), "old");
    Log() << "retired\n";
    LoggerRedirectLog(logger, temp.dir(), "log");
    LoggerRedirectError(logger, temp.dir(), "error");
    LoggerRedirectAux(logger, temp.dir(), "aux");
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
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  std::string log = ReadFile(temp.Path("log"));
  std::string error = ReadFile(temp.Path("error"));
  std::string aux = ReadFile(temp.Path("aux"));
  EXPECT_EQ(CountOf(ReadFile(temp.Path("old")), "retired\n"), 1);
  EXPECT_EQ(CountOf(log, "\n"), 1000);
  EXPECT_EQ(CountOf(log, " log 999\n"), 1);
  EXPECT_EQ(CountOf(error, "Error: "), 1000);
  EXPECT_EQ(CountOf(error, "Error: 999\nlast\n"), 1);
  EXPECT_EQ(CountOf(aux, "\n"), 1000);
  EXPECT_EQ(CountOf(aux, "aux 999\n"), 1);
  EXPECT_EQ(ReadFile(stderr_path), "");
}

}  // namespace
