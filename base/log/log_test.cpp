#include "base/log/log.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/sync/mutex.h"
#include "base/testing/test_support.h"

namespace {

// Groups: pid, tid, hours, minutes, seconds, milliseconds, microseconds.
const std::string kPrefix =
    "(\\d+) (\\d+) (\\d\\d):(\\d\\d):(\\d\\d) (\\d{3})\\.(\\d{3}) ";

pid_t ThreadId() { return static_cast<pid_t>(syscall(SYS_gettid)); }

std::string Ids() {
  return std::to_string(getpid()) + " " + std::to_string(ThreadId());
}

// "<pid> <tid>" of this thread's prefix and the ids it should hold.
std::string PrefixIdsAndTruth() {
  char buffer[kLogPrefixSize];
  LogPrefix(buffer, kLogPrefixSize);
  std::cmatch match;
  std::regex_match(buffer, match, std::regex(kPrefix));
  return match[1].str() + " " + match[2].str() + "=" + Ids();
}

// Points the Logger's channels at strings and puts every field back.
class LoggerState {
 public:
  LoggerState()
      : logger_(LoggerInstance()), saved_{logger_.enabled, logger_.labels} {
    std::swap(logger_.logStream, log_);
    std::swap(logger_.errorStream, error_);
  }
  ~LoggerState() {
    LogFlush(logger_);
    std::swap(logger_.logStream, log_);
    std::swap(logger_.errorStream, error_);
    logger_.enabled = saved_[0];
    logger_.labels = saved_[1];
  }
  std::ostringstream log, error;

 private:
  Logger& logger_;
  int32_t saved_[2];
  std::ostream* log_ = &log;
  std::ostream* error_ = &error;
};

// Runs body in a thread while another thread holds LogMutex; false when body
// waited for the lock (the limit only catches a hang).
bool FinishesWhileLogMutexHeld(const std::function<void()>& body) {
  std::promise<void> locked, release;
  std::thread holder([&] {
    pthread_mutex_lock(&LogMutex);
    locked.set_value();
    release.get_future().wait();
    pthread_mutex_unlock(&LogMutex);
  });
  locked.get_future().wait();
  std::future<void> done = std::async(std::launch::async, body);
  bool finished =
      done.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  release.set_value();
  holder.join();
  done.wait();
  return finished;
}

// Forks; the child writes report() to a pipe. Returns the text.
std::string InChild(std::string (*report)()) {
  std::string text;
  EXPECT_EQ(qz_test::RunInChild(
                [report](int out) {
                  qz_test::WriteAll(out, report());
                  return 0;
                },
                &text),
            0);
  return text;
}

std::string GrandchildReport() { return InChild(PrefixIdsAndTruth); }

void ExpectSameHalves(const std::string& report) {
  size_t equals = report.find('=');
  ASSERT_NE(equals, std::string::npos) << report;
  EXPECT_EQ(report.substr(0, equals), report.substr(equals + 1));
}

TEST(LogPrefix, LayoutAndTime) {
  struct timeval before, after;
  char buffer[kLogPrefixSize];
  gettimeofday(&before, nullptr);
  int length = LogPrefix(buffer, kLogPrefixSize);
  gettimeofday(&after, nullptr);
  EXPECT_EQ(length, static_cast<int>(strlen(buffer)));
  std::cmatch m;
  ASSERT_TRUE(std::regex_match(buffer, m, std::regex(kPrefix))) << buffer;
  EXPECT_EQ(m[1].str() + " " + m[2].str(), Ids());
  auto micros_of_day = [](const struct timeval& time) {
    struct tm local;
    localtime_r(&time.tv_sec, &local);
    return ((local.tm_hour * 60L + local.tm_min) * 60L + local.tm_sec) *
               1000000L +
           time.tv_usec;
  };
  long printed =
      ((std::stol(m[3]) * 60 + std::stol(m[4])) * 60 + std::stol(m[5])) *
          1000000L +
      std::stol(m[6]) * 1000 + std::stol(m[7]);
  if (micros_of_day(before) <= micros_of_day(after)) {  // midnight did not pass
    EXPECT_GE(printed, micros_of_day(before));
    EXPECT_LE(printed, micros_of_day(after));
  }
  // Bounded like snprintf(buffer, size - 1, ...), nothing past it.
  const std::string full = buffer;
  for (int size = 0; size <= 64; ++size) {
    char bounded[80];
    memset(bounded, 'Z', sizeof bounded);
    int written = LogPrefix(bounded, size);
    ASSERT_EQ(written,
              size < 2 ? 0 : std::min(size - 2, static_cast<int>(full.size())))
        << size;
    EXPECT_TRUE(size == 0 || bounded[written] == '\0') << size;
    EXPECT_EQ(bounded[size], 'Z') << size;
    EXPECT_EQ(
        full.compare(0, std::min(written, 8), bounded, std::min(written, 8)),
        0);
  }
}

// Ids are cached per thread; a new thread, a forked child (of the main or
// another thread) and a grandchild each show their own.
TEST(LogPrefix, IdsInNewThreadsAndForkedChildren) {
  ExpectSameHalves(PrefixIdsAndTruth());
  std::string report;
  std::thread([&] {
    PrefixIdsAndTruth();
    report = PrefixIdsAndTruth();
  }).join();
  ExpectSameHalves(report);
  ExpectSameHalves(InChild(PrefixIdsAndTruth));
  ExpectSameHalves(InChild(GrandchildReport));
  std::thread([&] {
    PrefixIdsAndTruth();
    report = InChild(PrefixIdsAndTruth);
  }).join();
  ExpectSameHalves(report);
  ExpectSameHalves(PrefixIdsAndTruth());
}

TEST(Log, BothChannelsReachStandardErrorBeforeRedirection) {
  qz_test::StderrCapture capture;
  Log() << "Test: trace line " << 7 << ".\n";
  LogError() << "problem.\n";
  LogFlush();
  std::string text = capture.Take();
  EXPECT_TRUE(std::regex_match(
      text, std::regex(kPrefix + "Test: trace line 7\\.\nError: problem\\.\n")))
      << text;
}

TEST(Log, LevelWordsLabelsContinuationAndOwnLogger) {
  LoggerState state;
  LogLabel("Update") << "one ";
  LogContinue() << "two\n";
  LoggerInstance().labels = 0;
  LogLabel("Update") << "three\n";
  LoggerInstance().labels = 1;
  LogLabel(nullptr) << "four\n";
  std::ostream& (*const accessors[])() = {LogSession, LogError, LogWarning,
                                          LogInfo, LogErrorContinue};
  for (auto accessor : accessors) {
    EXPECT_EQ(&accessor(), &state.error);
    state.error << "x\n";
  }
  Logger logger;
  std::ostringstream own;
  logger.logStream = logger.errorStream = &own;
  Log(logger) << "a\n";
  LogWarning(logger) << "b\n";
  LogLabel(logger, "L") << "c\n";
  LogFlush(logger);
  logger.logStream = logger.errorStream =
      &std::clog;  // not the Logger's to delete
  LogFlush();
  EXPECT_TRUE(std::regex_match(
      state.log.str(), std::regex(kPrefix + "Update/one two\n" + kPrefix +
                                  "three\n" + kPrefix + "nil/four\n")))
      << state.log.str();
  EXPECT_EQ(state.error.str(),
            "Session: x\nError: x\nWarning: x\nInfo: x\nx\n");
  EXPECT_TRUE(std::regex_match(
      own.str(), std::regex(kPrefix + "a\nWarning: b\n" + kPrefix + "L/c\n")))
      << own.str();
}

// Disabled (0): every accessor gives the null stream without the lock;
// enabled other than 1 silences only the log channel.
TEST(Log, DisabledAccessorsReturnNullStreamWithoutTheLock) {
  LoggerState state;
  Logger& logger = LoggerInstance();
  logger.enabled = 0;
  std::vector<std::ostream*> returned;
  ASSERT_TRUE(FinishesWhileLogMutexHeld([&] {
    returned = {
        &Log(),        &LogContinue(), &LogSession(),       &LogError(),
        &LogWarning(), &LogInfo(),     &LogErrorContinue(), &LogLabel("label")};
    for (std::ostream* stream : returned)
      *stream << "lost\n";
  })) << "a disabled accessor waited for LogMutex";
  for (std::ostream* stream : returned) {
    EXPECT_EQ(stream, logger.nullStream.get());
  }
  logger.enabled = 2;
  EXPECT_EQ(&Log(), logger.nullStream.get());
  EXPECT_EQ(&LogError(), &state.error);
  LogFlush();
  EXPECT_EQ(state.log.str(), "");
  EXPECT_EQ(state.error.str(), "Error: ");
}

TEST(Log, NumberBaseResetByLogNotByLogError) {
  LoggerState state;
  Log() << std::hex << 255 << "\n";
  Log() << 255 << "\n";
  LogError() << std::hex << 255 << "\n";
  LogError() << 255 << "\n";
  LogWarning() << std::oct << 8 << "\n";
  LogInfo() << 8 << "\n";
  EXPECT_TRUE(std::regex_match(
      state.log.str(), std::regex(kPrefix + "ff\n" + kPrefix + "255\n")))
      << state.log.str();
  EXPECT_EQ(state.error.str(), "Error: ff\nError: ff\nWarning: 10\nInfo: 10\n");
  LogFlush();  // puts both channels back to decimal
  state.log << 255;
  state.error << 255;
  EXPECT_EQ(state.error.str().substr(state.error.str().size() - 3), "255");
}

TEST(LogDirect, WritesWhileAnotherThreadHoldsLogMutex) {
  qz_test::StderrCapture capture;
  pid_t writer = 0;
  ASSERT_TRUE(FinishesWhileLogMutexHeld([&] {
    writer = ThreadId();
    EXPECT_EQ(&LogDirect(), &std::clog);
    std::clog << "direct\n";
    LogDirectError() << "broken\n";
    LogDirectContinue() << "more\n";
    LogDirectStream() << "plain\n";
  })) << "LogDirect waited for LogMutex";
  std::string text = capture.Take();
  std::smatch match;
  ASSERT_TRUE(std::regex_match(text, match,
                               std::regex(kPrefix + "direct\n" + kPrefix +
                                          "Error: broken\nmore\nplain\n")))
      << text;
  EXPECT_EQ(match[2].str(), std::to_string(writer));
}

// Threads beginning lines at once on one file: every prefix whole, none
// lost (only the line start is locked, so they write nothing after it).
TEST(Log, LineStartsOfConcurrentThreadsStayWhole) {
  constexpr int kThreads = 4, kLines = 2000;
  qz_test::TempDir temp;
  std::ofstream file(temp.File("log"));
  std::vector<std::string> ids(kThreads);
  {
    LoggerState state;
    LoggerInstance().logStream = &file;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        ids[i] = std::to_string(ThreadId());
        for (++ready; ready.load() < kThreads;) {
        }
        for (int line = 0; line < kLines; ++line)
          Log();
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    LogFlush();
    LoggerInstance().logStream = &state.log;
  }
  std::string text = qz_test::ReadFile(temp.File("log"));
  std::map<std::string, int> counts;
  const std::regex prefix(kPrefix);
  size_t end = 0;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), prefix,
                                      std::regex_constants::match_continuous);
       it != std::sregex_iterator(); ++it) {
    ++counts[(*it)[2].str()];
    end = it->position() + it->length();
  }
  EXPECT_EQ(end, text.size()) << "torn at " << text.substr(end, 80);
  for (const std::string& id : ids) {
    EXPECT_EQ(counts[id], kLines) << "thread " << id;
  }
}

}  // namespace
