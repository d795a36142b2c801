#include "base/sync/signal.h"

#include <signal.h>
#include <string.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

// The lines of captured log text after their prefixes; a failure for any
// text that is not whole prefixed lines.
std::vector<std::string> LinesAfterPrefix(const std::string& text) {
  static const std::regex kLine(
      "[0-9]+ [0-9]+ [0-9:]{8} [0-9]{3}\\.[0-9]{3} ([^\n]*)\n");
  std::vector<std::string> lines;
  size_t covered = 0;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), kLine);
       it != std::sregex_iterator(); ++it) {
    EXPECT_EQ(static_cast<size_t>(it->position()), covered) << text;
    covered = it->position() + it->length();
    lines.push_back((*it)[1]);
  }
  EXPECT_EQ(covered, text.size()) << text;
  return lines;
}

// Captures the log channel; puts back handlers, mask and timer it touches.
class SignalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::swap(LoggerInstance().logStream, savedStream_);
    for (int i = 0; i < 3; ++i) {
      sigaction(kTouched[i], nullptr, &savedActions_[i]);
    }
    pthread_sigmask(SIG_SETMASK, nullptr, &savedMask_);
    getitimer(ITIMER_REAL, &savedTimer_);
  }
  void TearDown() override {
    setitimer(ITIMER_REAL, &savedTimer_, nullptr);
    pthread_sigmask(SIG_SETMASK, &savedMask_, nullptr);
    for (int i = 0; i < 3; ++i) {
      sigaction(kTouched[i], &savedActions_[i], nullptr);
    }
    std::swap(LoggerInstance().logStream, savedStream_);
  }
  std::vector<std::string> Lines() {
    LogFlush();
    std::vector<std::string> lines = LinesAfterPrefix(captured_.str());
    captured_.str("");
    return lines;
  }

  const int kTouched[3] = {SIGUSR1, SIGUSR2, SIGALRM};
  std::ostringstream captured_;
  std::ostream* savedStream_ = &captured_;
  struct sigaction savedActions_[3];
  sigset_t savedMask_;
  struct itimerval savedTimer_;
};

volatile sig_atomic_t handledCount = 0;
void CountingHandler(int) { handledCount = handledCount + 1; }

TEST(SignalName, NamedSignalsAreThePlatformsAbbreviations) {
  int named = 0;
  for (int number = -1; number < 66; ++number) {
    std::string name = SignalName(number);
    if (name != "None") {
      ++named;
      ASSERT_NE(sigabbrev_np(number), nullptr) << number;
      EXPECT_EQ(name, std::string("SIG") + sigabbrev_np(number)) << number;
    }
  }
  EXPECT_EQ(named, 22);
  EXPECT_STREQ("None", SignalName(INT_MIN));
  EXPECT_STREQ("SIG_DFL", SignalHandlerName(SIG_DFL));
  EXPECT_STREQ("SIG_IGN", SignalHandlerName(SIG_IGN));
  EXPECT_STREQ("User defined", SignalHandlerName(CountingHandler));
}

// A real child killed by a signal, and one stopped by a signal.
TEST(ProcessTermSignalName, StatusOfRealChildren) {
  pid_t killed = fork();
  if (killed == 0) {
    signal(SIGTERM, SIG_DFL);
    raise(SIGTERM);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(killed, waitpid(killed, &status, 0));
  EXPECT_STREQ("SIGTERM", ProcessTermSignalName(status));
  EXPECT_STREQ("SIGKILL", ProcessTermSignalName(0x89));  // core flag set
  EXPECT_STREQ("None", ProcessTermSignalName(0));
  pid_t stopped = fork();
  if (stopped == 0) {
    raise(SIGSTOP);
    _exit(0);
  }
  ASSERT_EQ(stopped, waitpid(stopped, &status, WUNTRACED));
  EXPECT_STREQ("SIGSTOP", ProcessStopSignalName(status));
  EXPECT_STREQ("None", ProcessStopSignalName(0x7f));
  kill(stopped, SIGKILL);
  ASSERT_EQ(stopped, waitpid(stopped, &status, 0));
}

TEST_F(SignalTest, WrapperFailuresLogTheirLines) {
  const std::string tail = " failed. Error is 22 'Invalid argument'.";
  errno = 0;
  EXPECT_EQ(nullptr, SignalSetHandler(SIGKILL, CountingHandler));
  EXPECT_EQ(EINVAL, errno);
  struct sigaction action;
  SignalClearAction(&action);
  action.sa_handler = CountingHandler;
  for (int number : {SIGSTOP, 0, 65}) {
    errno = 0;
    EXPECT_EQ(-1, SignalSetAction(number, &action, nullptr)) << number;
    EXPECT_EQ(EINVAL, errno) << number;
  }
  struct itimerval timer;
  SignalClearTimer(&timer);
  EXPECT_EQ(-1, SignalSetTimer(99, &timer, nullptr));
  EXPECT_EQ(EINVAL, errno);
  sigset_t block;
  sigemptyset(&block);
  errno = 4242;  // SignalSetMask returns the error and leaves errno alone.
  EXPECT_EQ(EINVAL, SignalSetMask(12345, &block, nullptr));
  EXPECT_EQ(4242, errno);
  std::vector<std::string> expected = {"Signal: ERROR! Call to signal" + tail};
  expected.insert(expected.end(), 3, "Signal: ERROR! Call to sigaction" + tail);
  expected.push_back("Signal: ERROR! Call to setitimer" + tail);
  expected.push_back("Signal: ERROR! Function pthread_sigmask" + tail);
  EXPECT_EQ(expected, Lines());
}

// The lines SignalDumpSet writes when `members` are the named members.
std::vector<std::string> ExpectedDump(const std::string& label,
                                      std::vector<int> members) {
  std::vector<std::string> lines;
  for (int number = 1; number < 32; ++number) {
    std::string name = SignalName(number);
    bool member =
        std::find(members.begin(), members.end(), number) != members.end();
    if (name != "None") {
      lines.push_back(label + "/Signal: " + std::to_string(number) + ", " +
                      name + "\t" + (member ? "Yes" : "No"));
    }
  }
  return lines;
}

TEST_F(SignalTest, DumpSetLines) {
  sigset_t set;
  sigemptyset(&set);
  SignalDumpSet(&set, nullptr, nullptr);
  std::vector<std::string> lines = Lines();
  EXPECT_EQ(ExpectedDump("Signal", {}), lines);
  ASSERT_EQ(22u, lines.size());
  EXPECT_EQ("Signal/Signal: 1, SIGHUP\tNo", lines.front());
  EXPECT_EQ("Signal/Signal: 29, SIGPOLL\tNo", lines.back());

  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGCHLD);
  sigaddset(&set, SIGSYS);  // a member without a name: no line
  SignalDumpSet(&set, "Child", nullptr);
  lines = Lines();
  EXPECT_EQ(ExpectedDump("Child", {SIGINT, SIGCHLD}), lines);
  EXPECT_EQ("Child/Signal: 2, SIGINT\tYes", lines.at(1));

  // A Logger of its own gets the lines; a disabled one gets none.
  std::ostringstream own;
  Logger logger;
  logger.logStream = &own;
  SignalDumpSet(&set, "Own", &logger);
  LogFlush(logger);
  logger.enabled = 0;
  SignalDumpSet(&set, "Off", &logger);
  LogFlush(logger);
  logger.logStream = &std::clog;  // A Logger deletes streams other than clog.
  EXPECT_EQ(ExpectedDump("Own", {SIGINT, SIGCHLD}),
            LinesAfterPrefix(own.str()));
  EXPECT_TRUE(Lines().empty());
}

}  // namespace
