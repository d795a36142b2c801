#include "base/log/log.h"

#include <sched.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <functional>
#include <future>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "base/log/log_redirect.h"
#include "base/process/exit_status.h"
#include "base/sync/mutex.h"
#include "testing/test_support.h"

static std::string pauses;

// Stands in for the pause after a failed attempt to open a log file: the
// tests count the attempts instead of waiting for them.
void ProcessSleep(int milliseconds) {
  pauses += std::to_string(milliseconds) + ' ';
}

namespace {

using qz_test::ReadFile;

// "<pid> <tid> " of the calling thread.
std::string Ids() {
  return std::to_string(getpid()) + ' ' + std::to_string(syscall(SYS_gettid)) +
         ' ';
}

// Whether a prefix formatted now begins with the caller's own ids.
bool IdsRight() {
  char prefix[kLogPrefixSize];
  LogPrefix(prefix, kLogPrefixSize);
  return std::string(prefix).rfind(Ids(), 0) == 0;
}

// The time of day as the prefix shows it, "HH:MM:SS mmm.uuu".
std::string Now() {
  struct timeval now;
  gettimeofday(&now, nullptr);
  char text[32];
  strftime(text, sizeof text, "%T", localtime(&now.tv_sec));
  snprintf(text + 8, sizeof text - 8, " %03ld.%03ld", now.tv_usec / 1000,
           now.tv_usec % 1000);
  return text;
}

// Built with this file's statics, before main: the Logger and a recursive
// LogMutex are there already.
struct LogsWhileConstructed {
  LogsWhileConstructed() {
    qz_test::LogCapture capture;
    Log() << 42 << '\n';
    int locks = MutexTimedLock(&LogMutex, 0) + MutexTimedLock(&LogMutex, 0);
    text = capture.Text() + std::to_string(locks);
    pthread_mutex_unlock(&LogMutex);
    pthread_mutex_unlock(&LogMutex);
  }
  std::string text;
} logsWhileConstructed;

TEST(LogStartup, StaticObjectLogsFromItsConstructor) {
  EXPECT_EQ(logsWhileConstructed.text, "42\n2");
}

// The whole prefix, then one cut as snprintf(buffer, size - 1, ...) cuts.
TEST(LogPrefix, IdsAndTimeOfDay) {
  const std::string ids = Ids(), before = Now();
  char prefix[kLogPrefixSize];
  memset(prefix, 'Z', sizeof prefix);
  int length = LogPrefix(prefix, kLogPrefixSize);
  const std::string after = Now(), text(prefix, length + 1);
  const std::string time = text.substr(ids.size(), 16);
  EXPECT_EQ(text, ids + time + ' ' + '\0');
  EXPECT_TRUE((before <= time && time <= after) || after < before)  // 0:00
      << before << " <= " << time << " <= " << after;
  memset(prefix, 'Z', sizeof prefix);
  EXPECT_EQ(LogPrefix(prefix, 7), 5);
  EXPECT_EQ(std::string(prefix, 8), ids.substr(0, 5) + '\0' + "ZZ");
}

// A forked child drops the ids its forking thread cached. The first child
// in a new pid namespace has pid 1, as had the process of the thread that
// forked it: there only the dropped text shows its own thread id.
TEST(LogPrefix, ForkedChildShowsItsOwnIds) {
  auto in_child = [](const std::function<bool()>& check) {
    return qz_test::RunInChild([&](int) { return check() ? 0 : 1; }) == 0;
  };
  EXPECT_TRUE(IdsRight() && in_child(IdsRight));
  auto second_thread_forks = [&] {
    return std::async(std::launch::async,
                      [&] {
                        return IdsRight() && unshare(CLONE_NEWPID) == 0 &&
                               in_child(IdsRight);
                      })
        .get();
  };
  int status = qz_test::RunInChild([&](int) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) {
      return 2;
    }
    return in_child(second_thread_forks) ? 0 : 1;
  });
  if (WEXITSTATUS(status) == 2) {
    GTEST_SKIP() << "no user and pid namespaces here";
  }
  EXPECT_EQ(status, 0);
}

// Log and LogLabel begin a line with the prefix and the decimal base, the
// level accessors with their word. The direct accessors, Log with
// `locking` 0 and a disabled Logger go on while another thread holds
// LogMutex.
TEST(Log, AccessorsBeginTheirLines) {
  qz_test::LogCapture capture;
  Logger& logger = LoggerInstance();
  Log() << 1 << std::hex << ' ' << 255 << ' ';
  LogContinue() << 255 << '\n';
  LogError() << 255 << '\n';
  LogWarning() << std::oct << 8 << '\n';
  LogInfo() << "i\n";
  LogSession() << "s\n";
  LogErrorContinue() << "c\n";
  LogLabel("Update") << 2 << ' ' << 8 << '\n';
  logger.labels = 0;
  LogLabel("Update") << 3 << '\n';
  LogContinue() << std::hex;
  LogFlush();
  LogContinue() << "x " << 255 << '\n';
  std::promise<void> held, done;
  std::thread holder([&] {
    pthread_mutex_lock(&LogMutex);
    held.set_value();
    done.get_future().wait();
    pthread_mutex_unlock(&LogMutex);
  });
  held.get_future().wait();
  logger.locking = 0;
  Log() << 4 << '\n';
  std::clog.rdbuf(logger.logStream->rdbuf());
  LogDirect() << 5 << '\n';
  LogDirectError() << "d\n";
  LogDirectContinue() << "dc\n";
  LogDirectStream() << "ds\n";
  std::clog.rdbuf(logger.savedLogBuffer);
  logger.locking = 1;
  logger.enabled = 0;
  EXPECT_EQ(&LogError(), logger.nullStream.get());
  done.set_value();
  holder.join();
  EXPECT_EQ(capture.Text(),
            "1 ff ff\nError: ff\nWarning: 10\nInfo: i\nSession: s\nc\n"
            "Update/2 8\n3\nx 255\n4\n5\nError: d\ndc\nds\n");
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
    std::ostringstream stack;
    LoggerRedirectLog(logger, dir, "log");
    LoggerRedirectError(logger, dir, "error");
    LoggerRedirectLogToStream(logger, &stack);
    LoggerRedirectErrorToStream(logger, &stack);
    LoggerRedirectAux(logger, dir, "aux");  // Not guarded.
    *logger.auxStream << "aux\n";
    logger.redirectEnabled = 1;
    LoggerRedirectError(logger, dir, nullptr);
    const mode_t mask = umask(0);
    LoggerRedirectLog(logger, dir, "log");
    LoggerRedirectError(logger, nullptr, error.c_str());
    EXPECT_EQ(umask(mask), 0U);
    std::ostream& first = *logger.logStream << "1\n";
    std::clog << "clog\n";
    LogError(logger) << "e\n";
    EXPECT_EQ(ReadFile(log) + ReadFile(error),
              "0\n" + note + "'" + error + "'.\nclog\n");
    LogContinue(logger);
    LoggerTruncateLog(logger, -1);
    LoggerTruncateLog(logger, 5);
    LoggerRedirectLog(logger, temp.File("missing").c_str(), "log");
    LoggerRedirectLog(logger, dir, "");
    EXPECT_EQ(ReadFile(log), "0\n1\n");
    LoggerTruncateLog(logger, 4);
    EXPECT_STREQ(logger.logPath, log.c_str());
    EXPECT_EQ(logger.retiredLogStream.get(), &first);
    first << "late\n";
    *logger.logStream << "2\n";
    LoggerTruncateError(logger, 0);
    std::clog << "3\n";
    LoggerRedirectLogToStream(logger, new Marked(&marks, 'a'));
    LoggerRedirectLogToStream(logger, logger.retiredLogStream.get());
    EXPECT_EQ(logger.logPath, nullptr);
    LoggerRestoreError(logger);
    std::clog << "restored\n";
    LoggerRedirectLogToStream(logger, new Marked(&marks, 'b'));
    auto* caller = new Marked(&marks, 'c');
    LoggerRedirectErrorToStream(logger, caller);
    std::clog << "4\n";
    EXPECT_EQ(caller->str(), note + "the stream.\n4\n");
    LoggerRedirectAuxToStream(logger, new Marked(&marks, 'd'));
    EXPECT_EQ(pauses, "200 200 200 200 200 ");
  }
  EXPECT_EQ(marks, "abcd");
  EXPECT_EQ(ReadFile(log) + ReadFile(error) + ReadFile(temp.File("aux")),
            "2\n3\naux\n");
  EXPECT_EQ(capture.Take(), note + "'nil'.\nlate\nrestored\n");
  EXPECT_EQ(qz_test::DescribePath(error).substr(0, 4), "600 ");
}

}  // namespace
