#include "base/sync/signal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

constexpr int kSentinel = 4242;

// The signals the tests change; their actions are put back after each test.
constexpr int kTouchedSignals[] = {SIGUSR1, SIGUSR2, SIGALRM};

// Splits captured log text into lines, checking that each starts with the
// line prefix and keeping what follows it (without the "\n").
std::vector<std::string> LinesAfterPrefix(const std::string& text) {
  static const std::regex kLine(
      "([0-9]+ [0-9]+ [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}\\.[0-9]{3} )"
      "([^\n]*)\n");
  std::vector<std::string> lines;
  auto begin = std::sregex_iterator(text.begin(), text.end(), kLine);
  size_t covered = 0;
  for (auto it = begin; it != std::sregex_iterator(); ++it) {
    EXPECT_EQ(static_cast<size_t>(it->position()), covered) << text;
    covered = it->position() + it->length();
    lines.push_back((*it)[2]);
  }
  EXPECT_EQ(covered, text.size())
      << "unterminated or prefix-less text: " << text;
  return lines;
}

// Points the Logger's log channel at a string for the fixture's lifetime.
class SignalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Logger& logger = LoggerInstance();
    savedLogStream_ = logger.logStream;
    logger.logStream = &captured_;
    for (size_t i = 0; i < std::size(kTouchedSignals); ++i) {
      ASSERT_EQ(0, sigaction(kTouchedSignals[i], nullptr, &savedActions_[i]));
    }
    ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, nullptr, &savedMask_));
    ASSERT_EQ(0, getitimer(ITIMER_REAL, &savedTimer_));
  }

  void TearDown() override {
    setitimer(ITIMER_REAL, &savedTimer_, nullptr);
    pthread_sigmask(SIG_SETMASK, &savedMask_, nullptr);
    for (size_t i = 0; i < std::size(kTouchedSignals); ++i) {
      sigaction(kTouchedSignals[i], &savedActions_[i], nullptr);
    }
    LoggerInstance().logStream = savedLogStream_;
  }

  std::vector<std::string> Lines() {
    LogFlush();
    return LinesAfterPrefix(captured_.str());
  }

  std::ostringstream captured_;

 private:
  std::ostream* savedLogStream_ = nullptr;
  struct sigaction savedActions_[std::size(kTouchedSignals)];
  sigset_t savedMask_;
  struct itimerval savedTimer_;
};

volatile sig_atomic_t handledCount = 0;
void CountingHandler(int) { handledCount = handledCount + 1; }

TEST(SignalName, NamedSignalsAreThePlatformsAbbreviations) {
  int named = 0;
  for (int number = 1; number < 32; ++number) {
    std::string name = SignalName(number);
    if (name == "None") {
      continue;
    }
    ++named;
    const char* abbreviation = sigabbrev_np(number);
    ASSERT_NE(abbreviation, nullptr) << number;
    EXPECT_EQ(name, std::string("SIG") + abbreviation) << number;
  }
  EXPECT_EQ(named, 22);
}

TEST(SignalName, UnnamedNumbersAreNone) {
  for (int number : {0, 5, 7, 16, 23, 24, 25, 27, 30, 31, 32, 64, 65, 1000, -1,
                     -15, INT_MIN, INT_MAX}) {
    EXPECT_STREQ("None", SignalName(number)) << number;
  }
  EXPECT_STREQ("SIGPOLL", SignalName(29));
  EXPECT_STREQ("SIGVTALRM", SignalName(26));
}

TEST(SignalHandlerName, DefaultIgnoreAndUserDefined) {
  EXPECT_STREQ("SIG_DFL", SignalHandlerName(SIG_DFL));
  EXPECT_STREQ("SIG_IGN", SignalHandlerName(SIG_IGN));
  EXPECT_STREQ("SIG_DFL", SignalHandlerName(nullptr));
  EXPECT_STREQ("User defined", SignalHandlerName(CountingHandler));
  EXPECT_STREQ("User defined", SignalHandlerName(SIG_ERR));
}

TEST(ProcessTermSignalName, StatusValues) {
  EXPECT_STREQ("SIGTERM", ProcessTermSignalName(15));
  EXPECT_STREQ("SIGKILL", ProcessTermSignalName(0x89));  // core flag set
  EXPECT_STREQ("None", ProcessTermSignalName(0));
  EXPECT_STREQ("SIGSTOP", ProcessStopSignalName(0x137f));
  EXPECT_STREQ("SIGTSTP", ProcessStopSignalName(0x147f));
  EXPECT_STREQ("None", ProcessStopSignalName(0x7f));
}

// A real child killed by a signal, and one stopped by a signal.
TEST(ProcessTermSignalName, StatusOfRealChildren) {
  pid_t killed = fork();
  ASSERT_NE(killed, -1);
  if (killed == 0) {
    static_cast<void>(signal(SIGTERM, SIG_DFL));
    static_cast<void>(raise(SIGTERM));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(killed, waitpid(killed, &status, 0));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_STREQ("SIGTERM", ProcessTermSignalName(status));

  pid_t stopped = fork();
  ASSERT_NE(stopped, -1);
  if (stopped == 0) {
    static_cast<void>(raise(SIGSTOP));
    _exit(0);
  }
  ASSERT_EQ(stopped, waitpid(stopped, &status, WUNTRACED));
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_STREQ("SIGSTOP", ProcessStopSignalName(status));
  kill(stopped, SIGKILL);
  ASSERT_EQ(stopped, waitpid(stopped, &status, 0));
}

TEST_F(SignalTest, SetHandlerReturnsThePreviousOne) {
  ASSERT_NE(SIG_ERR, signal(SIGUSR1, SIG_DFL));
  EXPECT_EQ(nullptr, SignalSetHandler(SIGUSR1, CountingHandler));
  handledCount = 0;
  ASSERT_EQ(0, raise(SIGUSR1));
  EXPECT_EQ(1, handledCount);
  EXPECT_EQ(CountingHandler, SignalSetHandler(SIGUSR1, SIG_IGN));
  ASSERT_EQ(0, raise(SIGUSR1));
  EXPECT_EQ(1, handledCount);
  EXPECT_EQ(SIG_IGN, SignalSetHandler(SIGUSR1, SIG_DFL));
  EXPECT_TRUE(Lines().empty());
}

TEST_F(SignalTest, SetHandlerForKillFailsAndLogs) {
  errno = 0;
  EXPECT_EQ(nullptr, SignalSetHandler(SIGKILL, CountingHandler));
  EXPECT_EQ(EINVAL, errno);
  EXPECT_EQ(std::vector<std::string>{"Signal: ERROR! Call to signal failed. "
                                     "Error is 22 'Invalid argument'."},
            Lines());
}

TEST_F(SignalTest, SetMaskBlocksAndReportsTheOldMask) {
  sigset_t block;
  sigemptyset(&block);
  sigaddset(&block, SIGUSR2);
  sigset_t old;
  ASSERT_EQ(0, pthread_sigmask(SIG_UNBLOCK, &block, nullptr));
  EXPECT_EQ(0, SignalSetMask(SIG_BLOCK, &block, &old));
  EXPECT_EQ(0, sigismember(&old, SIGUSR2));
  sigset_t now;
  EXPECT_EQ(0, SignalSetMask(SIG_SETMASK, nullptr, &now));
  EXPECT_EQ(1, sigismember(&now, SIGUSR2));
  EXPECT_EQ(0, SignalSetMask(SIG_UNBLOCK, &block, nullptr));
  EXPECT_EQ(0, SignalSetMask(SIG_SETMASK, nullptr, &now));
  EXPECT_EQ(0, sigismember(&now, SIGUSR2));
  EXPECT_TRUE(Lines().empty());
}

TEST_F(SignalTest, SetMaskWithBadHowReturnsTheErrorAndKeepsErrno) {
  sigset_t block;
  sigemptyset(&block);
  errno = kSentinel;
  EXPECT_EQ(EINVAL, SignalSetMask(12345, &block, nullptr));
  EXPECT_EQ(kSentinel, errno);
  EXPECT_EQ(std::vector<std::string>{"Signal: ERROR! Function pthread_sigmask "
                                     "failed. Error is 22 'Invalid argument'."},
            Lines());
}

TEST_F(SignalTest, SetActionInstallsAndReturnsTheOldAction) {
  struct sigaction action;
  SignalClearAction(&action);
  action.sa_handler = CountingHandler;
  sigemptyset(&action.sa_mask);
  struct sigaction old;
  SignalClearAction(&old);
  old.sa_handler = CountingHandler;
  ASSERT_NE(SIG_ERR, signal(SIGUSR2, SIG_IGN));
  EXPECT_EQ(0, SignalSetAction(SIGUSR2, &action, &old));
  EXPECT_EQ(SIG_IGN, old.sa_handler);
  struct sigaction current;
  EXPECT_EQ(0, SignalSetAction(SIGUSR2, nullptr, &current));
  EXPECT_EQ(CountingHandler, current.sa_handler);
  handledCount = 0;
  ASSERT_EQ(0, raise(SIGUSR2));
  EXPECT_EQ(1, handledCount);
  EXPECT_TRUE(Lines().empty());
}

TEST_F(SignalTest, SetActionFailuresLogErrnoAndKeepIt) {
  struct sigaction action;
  SignalClearAction(&action);
  action.sa_handler = CountingHandler;
  const std::string line =
      "Signal: ERROR! Call to sigaction failed. Error is 22 'Invalid "
      "argument'.";
  for (int number : {SIGKILL, SIGSTOP, 0, 65, -1}) {
    errno = 0;
    EXPECT_EQ(-1, SignalSetAction(number, &action, nullptr)) << number;
    EXPECT_EQ(EINVAL, errno) << number;
  }
  EXPECT_EQ(std::vector<std::string>(5, line), Lines());
}

TEST_F(SignalTest, SetTimerArmsAndReportsTheOldValue) {
  ASSERT_NE(SIG_ERR, signal(SIGALRM, SIG_IGN));
  struct itimerval timer;
  SignalClearTimer(&timer);
  timer.it_value.tv_sec = 1000;
  struct itimerval old;
  EXPECT_EQ(0, SignalSetTimer(ITIMER_REAL, &timer, nullptr));
  struct itimerval cleared;
  SignalClearTimer(&cleared);
  EXPECT_EQ(0, SignalSetTimer(ITIMER_REAL, &cleared, &old));
  EXPECT_GT(old.it_value.tv_sec + old.it_value.tv_usec, 0);
  EXPECT_LE(old.it_value.tv_sec, 1000);
  EXPECT_EQ(0, old.it_interval.tv_sec);
  EXPECT_TRUE(Lines().empty());
}

TEST_F(SignalTest, SetTimerFailureLogsErrno) {
  struct itimerval timer;
  SignalClearTimer(&timer);
  errno = 0;
  EXPECT_EQ(-1, SignalSetTimer(99, &timer, nullptr));
  EXPECT_EQ(EINVAL, errno);
  timer.it_value.tv_usec = 1000000;  // out of range
  EXPECT_EQ(-1, SignalSetTimer(ITIMER_REAL, &timer, nullptr));
  EXPECT_EQ(EINVAL, errno);
  const std::string line =
      "Signal: ERROR! Call to setitimer failed. Error is 22 'Invalid "
      "argument'.";
  EXPECT_EQ(std::vector<std::string>(2, line), Lines());
}

TEST(SignalClearAction, EveryByteBecomesZero) {
  struct sigaction action;
  memset(static_cast<void*>(&action), 0xa5, sizeof(action));
  EXPECT_EQ(0, SignalClearAction(&action));
  struct itimerval timer;
  memset(static_cast<void*>(&timer), 0xa5, sizeof(timer));
  SignalClearTimer(&timer);
  const auto* action_bytes = reinterpret_cast<const unsigned char*>(&action);
  for (size_t i = 0; i < sizeof(action); ++i) {
    ASSERT_EQ(0, action_bytes[i]) << i;
  }
  const auto* timer_bytes = reinterpret_cast<const unsigned char*>(&timer);
  for (size_t i = 0; i < sizeof(timer); ++i) {
    ASSERT_EQ(0, timer_bytes[i]) << i;
  }
}

// The lines SignalDumpSet writes for a set whose members answer `member`.
std::vector<std::string> ExpectedDump(const std::string& label,
                                      bool (*member)(int)) {
  std::vector<std::string> lines;
  for (int number = 1; number < 32; ++number) {
    std::string name = SignalName(number);
    if (name != "None") {
      std::string line = label;
      line += "/Signal: " + std::to_string(number);
      line += ", " + name + "\t" + (member(number) ? "Yes" : "No");
      lines.push_back(line);
    }
  }
  return lines;
}

TEST_F(SignalTest, DumpOfEmptyAndFullSets) {
  sigset_t set;
  sigemptyset(&set);
  SignalDumpSet(&set, nullptr, nullptr);
  std::vector<std::string> lines = Lines();
  EXPECT_EQ(22u, lines.size());
  EXPECT_EQ(ExpectedDump("Signal", [](int) { return false; }), lines);
  EXPECT_EQ("Signal/Signal: 1, SIGHUP\tNo", lines.front());
  EXPECT_EQ("Signal/Signal: 29, SIGPOLL\tNo", lines.back());

  captured_.str("");
  sigfillset(&set);
  SignalDumpSet(&set, nullptr, nullptr);
  EXPECT_EQ(ExpectedDump("Signal", [](int) { return true; }), Lines());
}

TEST_F(SignalTest, DumpMarksOnlyMembersAndUsesTheLabel) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGCHLD);
  sigaddset(&set, SIGSYS);  // a member without a name: no line
  SignalDumpSet(&set, "Child", nullptr);
  std::vector<std::string> lines = Lines();
  EXPECT_EQ(ExpectedDump("Child",
                         [](int number) {
                           return number == SIGINT || number == SIGCHLD;
                         }),
            lines);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ("Child/Signal: 1, SIGHUP\tNo", lines[0]);
  EXPECT_EQ("Child/Signal: 2, SIGINT\tYes", lines[1]);
}

TEST_F(SignalTest, DumpWritesToTheLoggerItIsGiven) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  std::string text;
  {
    Logger logger;
    // The Logger owns a current stream other than the standard log stream.
    auto* stream = new std::ostringstream;
    logger.logStream = stream;
    SignalDumpSet(&set, "Own", &logger);
    LogFlush(logger);
    text = stream->str();
    logger.enabled = 0;
    SignalDumpSet(&set, "Off", &logger);
    EXPECT_EQ(text, stream->str());
  }
  EXPECT_EQ(ExpectedDump("Own", [](int number) { return number == SIGTERM; }),
            LinesAfterPrefix(text));
  EXPECT_TRUE(Lines().empty());
}

}  // namespace
