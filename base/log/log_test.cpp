#include "base/log/log.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/string/string_format.h"
#include "base/sync/mutex.h"

namespace {

const char kPrefixPattern[] =
    "(\\d+) (\\d+) (\\d\\d):(\\d\\d):(\\d\\d) (\\d{3})\\.(\\d{3}) ";

pid_t ThreadId() { return static_cast<pid_t>(syscall(SYS_gettid)); }

std::string Prefix() {
  char buffer[kLogPrefixSize];
  int length = LogPrefix(buffer, kLogPrefixSize);
  EXPECT_EQ(length, static_cast<int>(strlen(buffer)));
  return buffer;
}

// "<pid> <tid>" of a prefix, or "" when the prefix is malformed.
std::string PrefixIds(const std::string& prefix) {
  std::smatch match;
  if (!std::regex_match(prefix, match, std::regex(kPrefixPattern))) {
    return "";
  }
  return match[1].str() + " " + match[2].str();
}

std::string Ids(pid_t process, pid_t thread) {
  return std::to_string(process) + " " + std::to_string(thread);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A temporary directory, removed with its files at scope end.
class TempDir {
 public:
  TempDir() {
    char name[] = "/tmp/log_test.XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    path_ = name;
  }
  ~TempDir() {
    std::string command = "rm -rf '" + path_ + "'";
    EXPECT_EQ(system(command.c_str()), 0);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string File(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Points descriptor 2 at a file for the scope; Text() gives what arrived.
class StandardErrorCapture {
 public:
  explicit StandardErrorCapture(const TempDir& dir)
      : path_(dir.File("stderr")) {
    std::clog.flush();
    EXPECT_EQ(fflush(stderr), 0);
    saved_ = dup(2);
    int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_GE(fd, 0);
    dup2(fd, 2);
    close(fd);
  }
  ~StandardErrorCapture() { Restore(); }
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

  std::string Text() {
    Restore();
    return ReadFile(path_);
  }

 private:
  void Restore() {
    if (saved_ >= 0) {
      std::clog.flush();
      EXPECT_EQ(fflush(stderr), 0);
      dup2(saved_, 2);
      close(saved_);
      saved_ = -1;
    }
  }
  std::string path_;
  int saved_ = -1;
};

// Saves the Logger's streams and switches and puts them back at scope end.
class LoggerState {
 public:
  LoggerState()
      : logger_(LoggerInstance()),
        log_(logger_.logStream),
        error_(logger_.errorStream),
        enabled_(logger_.enabled),
        labels_(logger_.labels),
        locking_(logger_.locking) {}
  ~LoggerState() {
    LogFlush(logger_);
    logger_.logStream = log_;
    logger_.errorStream = error_;
    logger_.enabled = enabled_;
    logger_.labels = labels_;
    logger_.locking = locking_;
  }
  LoggerState(const LoggerState&) = delete;
  LoggerState& operator=(const LoggerState&) = delete;

 private:
  Logger& logger_;
  std::ostream* log_;
  std::ostream* error_;
  int32_t enabled_, labels_, locking_;
};

// Another thread takes LogMutex and keeps it until Release().
class LogMutexHolder {
 public:
  LogMutexHolder() {
    std::promise<void> locked;
    std::future<void> is_locked = locked.get_future();
    thread_ = std::thread([this, &locked] {
      pthread_mutex_lock(&LogMutex);
      locked.set_value();
      release_.get_future().wait();
      pthread_mutex_unlock(&LogMutex);
    });
    is_locked.wait();
  }
  ~LogMutexHolder() { Release(); }
  LogMutexHolder(const LogMutexHolder&) = delete;
  LogMutexHolder& operator=(const LogMutexHolder&) = delete;

  void Release() {
    if (thread_.joinable()) {
      release_.set_value();
      thread_.join();
    }
  }

 private:
  std::promise<void> release_;
  std::thread thread_;
};

// Runs body in a thread and tells whether it came back; a call that waits
// for a lock it must not take never does. The limit only catches a hang.
template <typename Body>
bool FinishesWhileLocked(LogMutexHolder& holder, Body body) {
  std::future<void> done = std::async(std::launch::async, body);
  bool finished =
      done.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  holder.Release();
  done.wait();
  return finished;
}

TEST(LogPrefix, LayoutIdsAndTime) {
  struct timeval before, after;
  gettimeofday(&before, nullptr);
  std::string prefix = Prefix();
  gettimeofday(&after, nullptr);

  std::smatch match;
  ASSERT_TRUE(std::regex_match(prefix, match, std::regex(kPrefixPattern)))
      << prefix;
  EXPECT_EQ(match[1].str(), std::to_string(getpid()));
  EXPECT_EQ(match[2].str(), std::to_string(ThreadId()));

  // The time lies between the two readings (unless midnight passed).
  auto micros_of_day = [](const struct timeval& time) {
    struct tm local;
    localtime_r(&time.tv_sec, &local);
    return ((local.tm_hour * 60L + local.tm_min) * 60L + local.tm_sec) *
               1000000L +
           time.tv_usec;
  };
  long printed = ((std::stol(match[3]) * 60 + std::stol(match[4])) * 60 +
                  std::stol(match[5])) *
                     1000000L +
                 std::stol(match[6]) * 1000 + std::stol(match[7]);
  long low = micros_of_day(before), high = micros_of_day(after);
  if (low <= high) {
    EXPECT_GE(printed, low);
    EXPECT_LE(printed, high);
  }
}

TEST(LogPrefix, ThreadIdOfEachNewThread) {
  std::string main_ids = PrefixIds(Prefix());
  ASSERT_EQ(main_ids, Ids(getpid(), ThreadId()));
  for (int round = 0; round < 5; ++round) {
    std::string ids, expected;
    std::thread([&] {
      ids = PrefixIds(Prefix());
      ids = PrefixIds(Prefix());  // From the cache this time.
      expected = Ids(getpid(), ThreadId());
    }).join();
    EXPECT_EQ(ids, expected);
    EXPECT_NE(ids, main_ids);
  }
  EXPECT_EQ(PrefixIds(Prefix()), main_ids);
}

// In a child the prefix must carry the child's ids, although the parent's
// thread had both cached when it forked; also in a grandchild, and when a
// thread other than the main one forks.
std::string ChildReport() {
  return PrefixIds(Prefix()) + "=" + Ids(getpid(), ThreadId());
}

// Forks; the child writes report() to a pipe and exits. Returns the text.
std::string InChild(std::string (*report)()) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    std::string text = report();
    ssize_t written = write(fds[1], text.data(), text.size());
    _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(fds[1]);
  std::string text;
  char buffer[256];
  ssize_t count;
  while ((count = read(fds[0], buffer, sizeof buffer)) > 0) {
    text.append(buffer, count);
  }
  close(fds[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  return text;
}

std::string GrandchildReport() { return InChild(ChildReport); }

TEST(LogPrefix, IdsInAForkedChild) {
  Prefix();  // Both ids are cached now.
  std::string report = InChild(ChildReport);
  size_t equals = report.find('=');
  ASSERT_NE(equals, std::string::npos) << report;
  EXPECT_EQ(report.substr(0, equals), report.substr(equals + 1));
  EXPECT_NE(report.substr(0, equals), Ids(getpid(), ThreadId()));

  report = InChild(GrandchildReport);
  equals = report.find('=');
  ASSERT_NE(equals, std::string::npos) << report;
  EXPECT_EQ(report.substr(0, equals), report.substr(equals + 1));

  std::thread([&] {
    Prefix();
    report = InChild(ChildReport);
  }).join();
  equals = report.find('=');
  ASSERT_NE(equals, std::string::npos) << report;
  EXPECT_EQ(report.substr(0, equals), report.substr(equals + 1));
  EXPECT_EQ(PrefixIds(Prefix()), Ids(getpid(), ThreadId()));
}

// The bound is that of snprintf(buffer, size - 1, ...): at most size - 2
// characters and a NUL, nothing written past them.
TEST(LogPrefix, BoundedLikeSnprintf) {
  std::string full = Prefix();
  std::string ids = Ids(getpid(), ThreadId()) + " ";
  for (int size = 0; size <= 64; ++size) {
    char buffer[80];
    memset(buffer, 'Z', sizeof buffer);
    int length = LogPrefix(buffer, size);
    int expected =
        size < 2 ? 0 : std::min(size - 2, static_cast<int>(full.size()));
    ASSERT_EQ(length, expected) << "size " << size;
    if (size > 0) {
      EXPECT_EQ(buffer[length], '\0');
    }
    EXPECT_EQ(buffer[size], 'Z') << "size " << size;
    std::string text(buffer, length);
    EXPECT_EQ(text.substr(0, ids.size()),
              ids.substr(0, std::min(text.size(), ids.size())));
  }
}

TEST(Log, BeforeRedirectionBothChannelsReachStandardError) {
  TempDir dir;
  std::string text;
  {
    StandardErrorCapture capture(dir);
    Log() << "Test: trace line " << 7 << ".\n";
    LogError() << "problem.\n";
    LogFlush();
    text = capture.Text();
  }
  EXPECT_TRUE(std::regex_match(
      text, std::regex(std::string(kPrefixPattern) +
                       "Test: trace line 7\\.\nError: problem\\.\n")))
      << text;
}

TEST(Log, PreviousLineGoesOutWhenTheNextBegins) {
  TempDir dir;
  std::string path = dir.File("log");
  std::ofstream file(path);
  LoggerState state;
  LoggerInstance().logStream = &file;

  Log() << "first\n";
  EXPECT_EQ(ReadFile(path), "");
  Log() << "second\n";
  std::string text = ReadFile(path);
  EXPECT_TRUE(std::regex_match(
      text, std::regex(std::string(kPrefixPattern) + "first\n")))
      << text;
  LogFlush();
  text = ReadFile(path);
  EXPECT_TRUE(std::regex_match(
      text, std::regex(std::string(kPrefixPattern) + "first\n" +
                       kPrefixPattern + "second\n")))
      << text;
}

TEST(Log, DisabledAccessorsReturnNullStreamWithoutTheLock) {
  std::ostringstream log, error;
  LoggerState state;
  Logger& logger = LoggerInstance();
  logger.logStream = &log;
  logger.errorStream = &error;
  logger.enabled = 0;
  std::ostream* null = logger.nullStream.get();

  LogMutexHolder holder;
  std::vector<std::ostream*> returned;
  bool finished = FinishesWhileLocked(holder, [&] {
    returned = {
        &Log(),        &LogContinue(), &LogSession(),       &LogError(),
        &LogWarning(), &LogInfo(),     &LogErrorContinue(), &LogLabel("label")};
  });
  ASSERT_TRUE(finished) << "a disabled accessor waited for LogMutex";
  for (std::ostream* stream : returned) {
    EXPECT_EQ(stream, null);
  }
  Log() << "lost\n";
  LogError() << "lost\n";
  LogLabel("label") << "lost\n";
  logger.enabled = 1;
  LogFlush();
  EXPECT_EQ(log.str(), "");
  EXPECT_EQ(error.str(), "");
}

TEST(Log, EnabledOtherThanOneSilencesOnlyTheLogChannel) {
  std::ostringstream log, error;
  LoggerState state;
  Logger& logger = LoggerInstance();
  logger.logStream = &log;
  logger.errorStream = &error;
  logger.enabled = 2;
  EXPECT_EQ(&Log(), logger.nullStream.get());
  EXPECT_EQ(&LogContinue(), logger.nullStream.get());
  EXPECT_EQ(&LogError(), &error);
  EXPECT_EQ(error.str(), "Error: ");
}

TEST(Log, NumberBaseResetByLogNotByLogError) {
  std::ostringstream log, error;
  LoggerState state;
  Logger& logger = LoggerInstance();
  logger.logStream = &log;
  logger.errorStream = &error;

  Log() << std::hex << 255 << "\n";
  Log() << 255 << "\n";
  LogError() << std::hex << 255 << "\n";
  LogError() << 255 << "\n";
  LogWarning() << std::oct << 8 << "\n";
  LogInfo() << 8 << "\n";

  EXPECT_TRUE(std::regex_match(log.str(),
                               std::regex(std::string(kPrefixPattern) + "ff\n" +
                                          kPrefixPattern + "255\n")))
      << log.str();
  EXPECT_EQ(error.str(), "Error: ff\nError: ff\nWarning: 10\nInfo: 10\n");

  // LogFlush puts both channels back to decimal.
  LogFlush();
  log.str("");
  error.str("");
  log << 255;
  error << 255;
  EXPECT_EQ(log.str(), "255");
  EXPECT_EQ(error.str(), "255");
}

TEST(LogError, LevelWordsOnTheErrorChannelOnly) {
  struct Case {
    std::ostream& (*accessor)();
    const char* expected;
  } cases[] = {
      {LogSession, "Session: x\n"}, {LogError, "Error: x\n"},
      {LogWarning, "Warning: x\n"}, {LogInfo, "Info: x\n"},
      {LogErrorContinue, "x\n"},
  };
  for (const Case& c : cases) {
    std::ostringstream log, error;
    LoggerState state;
    LoggerInstance().logStream = &log;
    LoggerInstance().errorStream = &error;
    EXPECT_EQ(&c.accessor(), &error);
    error << "x\n";
    EXPECT_EQ(error.str(), c.expected);
    EXPECT_EQ(log.str(), "");
  }
}

TEST(LogLabel, LabelAndSlashUnlessLabelsAreOff) {
  std::ostringstream log;
  LoggerState state;
  Logger& logger = LoggerInstance();
  logger.logStream = &log;
  LogLabel("Update") << "one\n";
  logger.labels = 0;
  LogLabel("Update") << "two\n";
  logger.labels = 1;
  LogLabel(nullptr) << "three\n";
  EXPECT_TRUE(log.good());
  EXPECT_TRUE(std::regex_match(
      log.str(),
      std::regex(std::string(kPrefixPattern) + "Update/one\n" + kPrefixPattern +
                 "two\n" + kPrefixPattern + "nil/three\n")))
      << log.str();
}

TEST(LogContinue, NoPrefixSameStream) {
  std::ostringstream log;
  LoggerState state;
  LoggerInstance().logStream = &log;
  Log() << "row ";
  EXPECT_EQ(&LogContinue(), &log);
  LogContinue() << "Yes\n";
  EXPECT_TRUE(std::regex_match(
      log.str(), std::regex(std::string(kPrefixPattern) + "row Yes\n")))
      << log.str();
}

TEST(Log, ExplicitLoggerIsUsed) {
  std::ostringstream own, instance;
  LoggerState state;
  LoggerInstance().logStream = &instance;
  LoggerInstance().errorStream = &instance;
  {
    Logger logger;
    logger.logStream = &own;
    logger.errorStream = &own;
    Log(logger) << "a\n";
    LogWarning(logger) << "b\n";
    LogLabel(logger, "L") << "c\n";
    LogFlush(logger);
    // The Logger must not take these stack streams as its own.
    logger.logStream = &std::clog;
    logger.errorStream = &std::clog;
  }
  EXPECT_EQ(instance.str(), "");
  EXPECT_TRUE(std::regex_match(
      own.str(), std::regex(std::string(kPrefixPattern) + "a\nWarning: b\n" +
                            kPrefixPattern + "L/c\n")))
      << own.str();
}

TEST(LogDirect, WritesWhileAnotherThreadHoldsLogMutex) {
  TempDir dir;
  std::string text;
  pid_t writer = 0;
  {
    StandardErrorCapture capture(dir);
    LogMutexHolder holder;
    bool finished = FinishesWhileLocked(holder, [&] {
      writer = ThreadId();
      EXPECT_EQ(&LogDirect(), &std::clog);
      std::clog << "direct\n";
      LogDirectError() << "broken\n";
      LogDirectContinue() << "more\n";
      LogDirectStream() << "plain\n";
    });
    ASSERT_TRUE(finished) << "LogDirect waited for LogMutex";
    text = capture.Text();
  }
  EXPECT_EQ(&LogDirectStream(), &std::clog);
  EXPECT_EQ(&LogStandardStream(), &std::clog);
  std::smatch match;
  ASSERT_TRUE(std::regex_match(
      text, match,
      std::regex(std::string(kPrefixPattern) + "direct\n" + kPrefixPattern +
                 "Error: broken\nmore\nplain\n")))
      << text;
  EXPECT_EQ(match[2].str(), std::to_string(writer));
}

// Threads that begin lines at once on one file stream: every line start is
// whole and none is lost. Only the line start is locked, so the threads write
// nothing after it; the file is then a plain run of prefixes.
TEST(Log, LineStartsOfConcurrentThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 2000;
  TempDir dir;
  std::string path = dir.File("log");
  std::ofstream file(path);
  std::vector<std::string> ids(kThreads);
  {
    LoggerState state;
    LoggerInstance().logStream = &file;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        ids[i] = std::to_string(ThreadId());
        ++ready;
        while (ready.load() < kThreads) {
        }
        for (int line = 0; line < kLines; ++line) {
          Log();
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  std::string text = ReadFile(path);
  std::map<std::string, int> counts;
  std::regex prefix(kPrefixPattern);
  auto it = std::sregex_iterator(text.begin(), text.end(), prefix,
                                 std::regex_constants::match_continuous);
  size_t end = 0;
  for (; it != std::sregex_iterator(); ++it) {
    ++counts[(*it)[2].str()];
    end = it->position() + it->length();
  }
  EXPECT_EQ(end, text.size()) << "torn at " << text.substr(end, 80);
  for (const std::string& id : ids) {
    EXPECT_EQ(counts[id], kLines) << "thread " << id;
  }
}

// LogMutex is recursive, so a caller that holds it around Log and its own
// text writes whole lines among other threads.
TEST(Log, WholeLinesUnderTheRecursiveLock) {
  constexpr int kThreads = 4;
  constexpr int kLines = 1000;
  TempDir dir;
  std::string path = dir.File("log");
  std::ofstream file(path);
  std::vector<std::string> ids(kThreads);
  {
    LoggerState state;
    LoggerInstance().logStream = &file;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        ids[i] = std::to_string(ThreadId());
        for (int line = 0; line < kLines; ++line) {
          pthread_mutex_lock(&LogMutex);
          Log() << "T" << i << " L" << line << "\n";
          pthread_mutex_unlock(&LogMutex);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  std::istringstream lines(ReadFile(path));
  std::regex layout(std::string(kPrefixPattern) + "T(\\d) L(\\d+)");
  std::vector<int> next(kThreads, 0);
  std::string line;
  int total = 0;
  while (std::getline(lines, line)) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, layout)) << line;
    int thread = std::stoi(match[8]);
    EXPECT_EQ(match[2].str(), ids[thread]);
    EXPECT_EQ(std::stoi(match[9]), next[thread]++);
    ++total;
  }
  EXPECT_EQ(total, kThreads * kLines);
}

// Process creation forks while it holds LogMutex and resets the mutex in
// the child, which must then be able to log.
TEST(MutexReset, ChildLogsAlthoughTheParentHeldLogMutex) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pthread_mutex_lock(&LogMutex);
  std::clog.flush();
  pid_t child = fork();
  if (child == 0) {
    alarm(30);  // A child stuck on the mutex dies instead of hanging.
    dup2(fds[1], 2);
    close(fds[0]);
    close(fds[1]);
    // The mutex belongs to the parent's thread: not ours to take.
    int before = MutexTimedLock(&LogMutex, 0);
    MutexReset(&LogMutex);
    Log() << "Test: child " << before << ".\n";
    LogError() << "child.\n";
    LogFlush();
    _exit(0);
  }
  pthread_mutex_unlock(&LogMutex);
  close(fds[1]);
  ASSERT_GT(child, 0);
  std::string text;
  char buffer[256];
  ssize_t count;
  while ((count = read(fds[0], buffer, sizeof buffer)) > 0) {
    text.append(buffer, count);
  }
  close(fds[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  std::smatch match;
  ASSERT_TRUE(
      std::regex_match(text, match,
                       std::regex(std::string(kPrefixPattern) +
                                  "Test: child 0\\.\nError: child\\.\n")))
      << text;
  EXPECT_EQ(match[1].str(), std::to_string(child));
  EXPECT_EQ(match[2].str(), std::to_string(child));
}

}  // namespace
