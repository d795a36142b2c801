#include <signal.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <tuple>

#include <gtest/gtest.h>

#include "base/sync/mutex.h"
#include "base/sync/signal.h"
#include "testing/test_support.h"

namespace {

// MutexTimedLock(0) from another thread, which ends holding what it got.
int LockElsewhere(Mutex* mutex) {
  return std::async(std::launch::async, MutexTimedLock, mutex, 0).get();
}

// The owner gets the mutex again at once, whatever the timeout, and still
// holds it after letting go once, but not after letting go of each lock; a
// reset frees it from a thread that is gone.
TEST(Mutex, RecursiveLocksAndReset) {
  Mutex mutex;
  MutexInit(&mutex);
  EXPECT_EQ(3, MutexTimedLock(&mutex, 0) + MutexTimedLock(&mutex, -5) +
                   MutexTimedLock(&mutex, 1500) + MutexSpinLock(&mutex));
  pthread_mutex_unlock(&mutex);
  EXPECT_EQ(LockElsewhere(&mutex), 0);
  for (int i = 0; i < 3; ++i)
    pthread_mutex_unlock(&mutex);
  EXPECT_EQ(LockElsewhere(&mutex), 1);
  MutexReset(&mutex);
  EXPECT_EQ(LockElsewhere(&mutex), 1);
}

// Rows: a carry, the largest sum without one, and a negative timeout, which
// leaves the time as it is.
TEST(MutexDeadline, CarriesNanosecondsIntoSeconds) {
  const std::tuple<long, int, const char*> cases[] = {
      {500000000, 1999, "12.499000000"},
      {998999999, 1, "10.999999999"},
      {123, -2000, "10.123"}};
  for (const auto& [nanoseconds, milliseconds, deadline] : cases) {
    struct timespec at = MutexDeadline({10, nanoseconds}, milliseconds);
    EXPECT_EQ(std::to_string(at.tv_sec) + '.' + std::to_string(at.tv_nsec),
              deadline);
  }
}

// The names; the dump of a set; a failed call writes one line and gives the
// failure value, a successful one writes none.
TEST(Signal, NamesDumpAndFailures) {
  qz_test::LogCapture capture;
  std::string named, dump;
  for (int number = -1; number < 66; ++number) {
    const std::string name = SignalName(number);
    if (name != "None") {
      named += std::to_string(number) + name + ' ';
      dump += "Child/Signal: " + std::to_string(number) + ", " + name +
              (number == SIGINT ? "\tYes\n" : "\tNo\n");
    }
  }
  EXPECT_EQ(named,
            "1SIGHUP 2SIGINT 3SIGQUIT 4SIGILL 6SIGABRT 8SIGFPE 9SIGKILL "
            "10SIGUSR1 11SIGSEGV 12SIGUSR2 13SIGPIPE 14SIGALRM 15SIGTERM "
            "17SIGCHLD 18SIGCONT 19SIGSTOP 20SIGTSTP 21SIGTTIN 22SIGTTOU "
            "26SIGVTALRM 28SIGWINCH 29SIGPOLL ");
  EXPECT_EQ(std::string(SignalHandlerName(SIG_DFL)) +
                SignalHandlerName(SIG_IGN) + SignalHandlerName(+[](int) {}),
            "SIG_DFLSIG_IGNUser defined");
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  SignalDumpSet(&set, "Child", nullptr);
  struct sigaction action;
  struct itimerval timer;
  memset(&timer, 1, sizeof timer);
  EXPECT_EQ(SignalClearAction(&action), 0);
  SignalClearTimer(&timer);
  EXPECT_EQ(SignalSetAction(0, &action, nullptr), -1);
  EXPECT_EQ(SignalSetMask(12345, &set, nullptr), EINVAL);
  EXPECT_EQ(0, SignalSetAction(SIGUSR1, &action, nullptr) +
                   SignalSetTimer(ITIMER_REAL, &timer, nullptr));
  const std::string tail = " failed. Error is 22 'Invalid argument'.\n";
  EXPECT_EQ(capture.Text(), dump + "Signal: ERROR! Call to sigaction" + tail +
                                "Signal: ERROR! Function pthread_sigmask" +
                                tail);
}

}  // namespace
