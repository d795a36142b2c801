#include "base/log/log.h"

#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <iostream>

#include <gtest/gtest.h>

#include "base/log/log_prefix.h"
#include "base/log/log_redirect.h"
#include "base/process/process_control.h"
#include "base/string/string_format.h"
#include "base/sync/mutex.h"
#include "testing/test_support.h"

static std::string pauses;

// Stands in for the pause after a failed attempt to open a log file: the
// tests count the attempts instead of waiting for them.
void ProcessSleep(int ms) { pauses += std::to_string(ms) + ' '; }

namespace {

// "<pid> <tid> " of the calling thread.
std::string Ids() {
  return std::to_string(getpid()) + ' ' + std::to_string(gettid()) + ' ';
}

// Whether a prefix formatted now begins with the caller's own ids.
bool IdsRight() {
  char prefix[kLogPrefixSize];
  LogPrefix(prefix, kLogPrefixSize);
  return std::string(prefix).rfind(Ids(), 0) == 0;
}

// Whether check() holds in a child forked now.
bool InChild(bool (*check)()) {
  return qz_test::RunInChild([check](int) { return check() ? 0 : 1; }) == 0;
}

// Whether a second thread, its ids cached, forks into a new pid namespace a
// child that shows its own ids.
bool SecondThreadForksIntoNewNamespace() {
  auto forks = [] {
    return IdsRight() && unshare(CLONE_NEWPID) == 0 && InChild(IdsRight);
  };
  return std::async(std::launch::async, forks).get();
}

// The time of day as the prefix shows it.
std::string Now() {
  struct timeval now;
  gettimeofday(&now, nullptr);
  char text[32];
  return TimeFormat(text, &now);
}

// The whole prefix, then one cut as snprintf(buffer, size - 1, ...) cuts,
// and none into no room.
TEST(LogPrefix, IdsAndTimeOfDay) {
  const std::string ids = Ids(), before = Now();
  std::string text(kLogPrefixSize, 'Z');
  text.resize(LogPrefix(&text[0], kLogPrefixSize) + 1);
  const std::string after = Now(), time = text.substr(ids.size(), 16);
  EXPECT_EQ(text, ids + time + ' ' + '\0');
  EXPECT_TRUE(before <= time && time <= after) << time;
  std::string cut(8, 'Z');
  EXPECT_EQ(LogPrefix(&cut[0], 7), 5);
  EXPECT_EQ(cut, ids.substr(0, 5) + '\0' + "ZZ");
  EXPECT_EQ(LogPrefix(&cut[0], 0), 0);
}

// A forked child drops the ids that its forking thread cached. The first
// child in a new pid namespace has pid 1, as had the process of the thread
// that forked it: there only the dropped text shows its own thread id.
TEST(LogPrefix, ForkedChildShowsItsOwnIds) {
  EXPECT_TRUE(IdsRight() && InChild(IdsRight));
  int status = qz_test::RunInChild([](int) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) {
      return 2;
    }
    return InChild(SecondThreadForksIntoNewNamespace) ? 0 : 1;
  });
  if (WEXITSTATUS(status) == 2) {
    GTEST_SKIP() << "no user and pid namespaces here";
  }
  EXPECT_EQ(status, 0);
}

// Log and LogLabel begin a line with the prefix and the decimal base,
// LogError with its word (the other level accessors differ only in theirs),
// and a continuation keeps the base. With LogMutex held by a thread that is
// gone, Log waits (a forked child ends by its alarm), while a Logger that
// does not lock, the direct accessors and a disabled Logger go on.
TEST(Log, AccessorsBeginTheirLines) {
  qz_test::LogCapture capture;
  Logger& logger = LoggerInstance();
  Log() << 1 << std::hex << ' ' << 255 << ' ';
  LogContinue() << 255 << '\n';
  LogError() << 255 << '\n';
  LogLabel("Update") << 10 << '\n';
  logger.labels = 0;
  LogLabel("Update") << 3 << '\n';
  std::async(std::launch::async, [] { pthread_mutex_lock(&LogMutex); }).get();
  int status = qz_test::RunInChild([](int) { return alarm(1), Log(), 0; });
  EXPECT_EQ(status, SIGALRM);
  logger.locking = 0;
  EXPECT_EQ(qz_test::RunInChild([](int) { return alarm(1), Log(), 0; }), 0);
  logger.locking = 1;
  std::clog.rdbuf(logger.logStream->rdbuf());
  LogDirect() << 5 << '\n';
  std::clog.rdbuf(logger.savedLogBuffer);
  logger.enabled = 0;
  EXPECT_EQ(&LogError(), logger.nullStream.get());
  MutexReset(&LogMutex);
  EXPECT_EQ(capture.Text(), "1 ff ff\nError: ff\nUpdate/10\n3\n5\n");
}

// A caller's stream that adds its mark to *marks when it is destroyed.
struct Marked : std::ostringstream {
  Marked(std::string* to, char c) : marks(to), mark(c) {}
  ~Marked() override { *marks += mark; }
  std::string* marks;
  char mark;
};

// The channels between the standard log stream, files and callers'
// streams, with std::clog following the error channel. Each channel keeps
// its last stream alive until the next change, or the Logger's end, which
// destroys them in channel order.
TEST(LoggerRedirect, ChannelsMoveBetweenStreams) {
  qz_test::TempDir temp;
  qz_test::StderrCapture capture;
  const std::string log = temp.File("log"), error = temp.File("error");
  const std::string note = "Logger: Redirected the standard error to ";
  const char* dir = temp.path().c_str();
  qz_test::WriteFile(log, "0\n");
  std::string marks;
  {
    Logger logger;
    LoggerRedirectLog(logger, dir, "log");
    LoggerRedirectError(logger, dir, "error");
    logger.redirectEnabled = 1;
    LoggerRedirectError(logger, dir, nullptr);
    const mode_t mask = umask(0);
    LoggerRedirectLog(logger, dir, "log");
    LoggerRedirectError(logger, nullptr, error.c_str());
    EXPECT_EQ(umask(mask), 0U);
    std::ostream& first = *logger.logStream << "1\n";
    std::clog << "clog\n";
    LogError(logger) << "e\n";
    EXPECT_EQ(qz_test::ReadFile(log) + qz_test::ReadFile(error),
              "0\n" + note + "'" + error + "'.\nclog\n");
    LogContinue(logger);
    LoggerRedirectLog(logger, temp.File("missing").c_str(), "log");
    LoggerRedirectLog(logger, dir, "");
    EXPECT_EQ(qz_test::ReadFile(log), "0\n1\n");
    LoggerTruncateLog(logger, 4);
    EXPECT_STREQ(logger.logPath, log.c_str());
    EXPECT_EQ(logger.retiredLogStream.get(), &first);
    first << "late\n";
    *logger.logStream << "2\n";
    LoggerTruncateError(logger, 0);
    std::clog << "3\n";
    LoggerRedirectLogToStream(logger, new Marked(&marks, 'a'));
    EXPECT_EQ(logger.logPath, nullptr);
    LoggerRestoreError(logger);
    std::clog << "restored\n";
    auto* caller = new Marked(&marks, 'b');
    LoggerRedirectErrorToStream(logger, caller);
    std::clog << "4\n";
    EXPECT_EQ(caller->str(), note + "the stream.\n4\n");
    LoggerRedirectAuxToStream(logger, new Marked(&marks, 'c'));
  }
  EXPECT_EQ(marks, "abc");
  EXPECT_EQ(pauses, "200 200 200 200 200 ");
  EXPECT_EQ(qz_test::ReadFile(log) + qz_test::ReadFile(error), "2\n3\n");
  EXPECT_EQ(capture.Take(), note + "'nil'.\nlate\nrestored\n");
  EXPECT_EQ(qz_test::FileMode(error), "600");
}

}  // namespace
