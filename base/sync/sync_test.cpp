#include <signal.h>
#include <sys/time.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "base/sync/mutex.h"
#include "base/sync/signal.h"
#include "testing/test_support.h"

namespace {

// MutexTimedLock(0) from another thread, which lets go again at once.
int LockElsewhere(Mutex* mutex) {
  return std::async(std::launch::async,
                    [mutex] {
                      return MutexTimedLock(mutex, 0) == 1 &&
                             pthread_mutex_unlock(mutex) == 0;
                    })
      .get();
}

// The owner gets the mutex again at once, whatever the timeout, and holds
// it until it let go as often; a reset frees it, still recursive.
TEST(Mutex, RecursiveLocksAndReset) {
  qz_test::StderrCapture capture;
  Mutex mutex;
  MutexInit(&mutex);
  for (int milliseconds : {0, -5, 1500}) {
    EXPECT_EQ(MutexTimedLock(&mutex, milliseconds), 1) << milliseconds;
  }
  EXPECT_EQ(MutexSpinLock(&mutex), 0);
  for (int i = 0; i < 3; ++i) {
    pthread_mutex_unlock(&mutex);
  }
  EXPECT_EQ(LockElsewhere(&mutex), 0);
  MutexReset(&mutex);
  EXPECT_EQ(LockElsewhere(&mutex), 1);
  EXPECT_EQ(MutexTimedLock(&mutex, 0) + MutexTimedLock(&mutex, 0), 2);
  pthread_mutex_unlock(&mutex);
  pthread_mutex_unlock(&mutex);
  EXPECT_EQ(MutexDestroy(&mutex), 0);
  EXPECT_EQ(capture.Take(), "");  // No failure to report.
}

TEST(MutexDeadline, CarriesNanosecondsIntoSeconds) {
  struct {
    long nanoseconds;  // At 10 seconds and these.
    int milliseconds;
    const char* deadline;
  } cases[] = {
      {500, 1999, "11.999000500"},
      {500000000, 1999, "12.499000000"},
      {999000000, 1, "11.0"},
      {998999999, 1, "10.999999999"},
      {0, 0, "10.0"},
      {123, -2000, "10.123"},
  };
  for (const auto& c : cases) {
    struct timespec at = MutexDeadline({10, c.nanoseconds}, c.milliseconds);
    EXPECT_EQ(std::to_string(at.tv_sec) + '.' + std::to_string(at.tv_nsec),
              c.deadline);
  }
}

TEST(Signal, NamesAndTheDumpOfASet) {
  qz_test::LogCapture capture;
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGSYS);  // A member without a name: no line.
  SignalDumpSet(&set, "Child", nullptr);
  std::string named, lines;
  for (int number = -1; number < 66; ++number) {
    const std::string name = SignalName(number);
    if (name != "None") {
      named += std::to_string(number) + name + ' ';
      lines += "Child/Signal: " + std::to_string(number) + ", " + name +
               (number == SIGINT ? "\tYes\n" : "\tNo\n");
    }
  }
  EXPECT_EQ(named,
            "1SIGHUP 2SIGINT 3SIGQUIT 4SIGILL 6SIGABRT 8SIGFPE 9SIGKILL "
            "10SIGUSR1 11SIGSEGV 12SIGUSR2 13SIGPIPE 14SIGALRM 15SIGTERM "
            "17SIGCHLD 18SIGCONT 19SIGSTOP 20SIGTSTP 21SIGTTIN 22SIGTTOU "
            "26SIGVTALRM 28SIGWINCH 29SIGPOLL ");
  EXPECT_EQ(capture.Text(), lines);
  EXPECT_EQ(std::string(SignalName(INT_MIN)) + ProcessTermSignalName(0x89) +
                ProcessStopSignalName(0x137f) + ProcessStopSignalName(0x7f) +
                SignalHandlerName(SIG_DFL) + SignalHandlerName(SIG_IGN) +
                SignalHandlerName(+[](int) {}),
            "NoneSIGKILLSIGSTOPNoneSIG_DFLSIG_IGNUser defined");
}

// A failure writes one line and gives the failure value, errno as the call
// left it; a success writes nothing.
TEST(Signal, WrappersLogTheirFailures) {
  qz_test::LogCapture capture;
  struct sigaction action;
  struct itimerval timer;
  memset(&action, 1, sizeof action);
  memset(&timer, 1, sizeof timer);
  EXPECT_EQ(SignalClearAction(&action), 0);
  SignalClearTimer(&timer);
  sigset_t none;
  sigemptyset(&none);
  errno = 0;
  EXPECT_EQ(SignalSetHandler(SIGKILL, SIG_IGN), nullptr);
  EXPECT_EQ(SignalSetAction(0, &action, nullptr), -1);
  EXPECT_EQ(SignalSetTimer(99, &timer, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(SignalSetMask(12345, &none, nullptr), EINVAL);
  const std::string tail = " failed. Error is 22 'Invalid argument'.\n";
  EXPECT_EQ(capture.Text(), "Signal: ERROR! Call to signal" + tail +
                                "Signal: ERROR! Call to sigaction" + tail +
                                "Signal: ERROR! Call to setitimer" + tail +
                                "Signal: ERROR! Function pthread_sigmask" +
                                tail);
  capture.Clear();
  EXPECT_EQ(SignalSetAction(SIGUSR1, &action, nullptr) +
                SignalSetTimer(ITIMER_REAL, &timer, nullptr) +
                SignalSetMask(SIG_BLOCK, &none, nullptr),
            0);
  EXPECT_EQ(SignalSetHandler(SIGUSR1, SIG_IGN), SIG_DFL);
  EXPECT_EQ(SignalSetHandler(SIGUSR1, SIG_DFL), SIG_IGN);
  EXPECT_EQ(capture.Text(), "");
}

}  // namespace
