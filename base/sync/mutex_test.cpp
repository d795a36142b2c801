#include "base/sync/mutex.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

namespace {

// A mutex made by MutexInit and destroyed at scope end.
struct ScopedMutex {
  ScopedMutex() { MutexInit(&mutex); }
  ~ScopedMutex() { EXPECT_EQ(MutexDestroy(&mutex), 0); }
  ScopedMutex(const ScopedMutex&) = delete;
  ScopedMutex& operator=(const ScopedMutex&) = delete;
  Mutex mutex;
};

// MutexTimedLock from another thread, unlocking again on success.
int TimedLockElsewhere(Mutex* mutex, int milliseconds) {
  return std::async(std::launch::async,
                    [=] {
                      int result = MutexTimedLock(mutex, milliseconds);
                      if (result == 1) {
                        pthread_mutex_unlock(mutex);
                      }
                      return result;
                    })
      .get();
}

// Another thread holds the mutex until Release().
class Holder {
 public:
  explicit Holder(Mutex* mutex) {
    std::promise<void> locked;
    std::future<void> is_locked = locked.get_future();
    thread_ = std::thread([this, mutex, &locked] {
      pthread_mutex_lock(mutex);
      locked.set_value();
      release_.get_future().wait();
      pthread_mutex_unlock(mutex);
    });
    is_locked.wait();
  }
  ~Holder() { Release(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
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

TEST(MutexInit, RecursiveAndUnlocked) {
  ScopedMutex m;
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 1);
  ASSERT_EQ(pthread_mutex_lock(&m.mutex), 0);
  ASSERT_EQ(pthread_mutex_lock(&m.mutex), 0);  // A plain mutex would hang.
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 0);  // Still held once.
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 1);
}

TEST(MutexTimedLock, OwnerGetsItAgainAtOnce) {
  ScopedMutex m;
  ASSERT_EQ(pthread_mutex_lock(&m.mutex), 0);
  for (int milliseconds : {0, -5, 1, 1500}) {
    EXPECT_EQ(MutexTimedLock(&m.mutex, milliseconds), 1) << milliseconds;
  }
  // Held five times now: four unlocks leave it held.
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  }
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 0);
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 1);
}

TEST(MutexTimedLock, HeldByAnotherThreadGivesZero) {
  ScopedMutex m;
  Holder holder(&m.mutex);
  for (int milliseconds : {0, -1, -1000, 20}) {
    EXPECT_EQ(MutexTimedLock(&m.mutex, milliseconds), 0) << milliseconds;
  }
  holder.Release();
  EXPECT_EQ(MutexTimedLock(&m.mutex, 0), 1);
  pthread_mutex_unlock(&m.mutex);
}

TEST(MutexTimedLock, GetsItWhenTheOtherThreadUnlocks) {
  ScopedMutex m;
  Holder holder(&m.mutex);
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder.Release();
  });
  // The limit is far beyond the release; the result, not the time, counts.
  EXPECT_EQ(MutexTimedLock(&m.mutex, 60000), 1);
  pthread_mutex_unlock(&m.mutex);
  releaser.join();
}

TEST(MutexDeadline, CarriesNanosecondsIntoSeconds) {
  struct Case {
    time_t seconds;
    long nanoseconds;
    int milliseconds;
    time_t expected_seconds;
    long expected_nanoseconds;
  } cases[] = {
      {10, 500, 1999, 11, 999000500},
      {10, 500000000, 1999, 12, 499000000},
      {10, 999000000, 1, 11, 0},
      {10, 998999999, 1, 10, 999999999},
      {10, 999999999, 1, 11, 999999},
      {10, 0, 1000, 11, 0},
      {10, 0, 0, 10, 0},
      {10, 123, -1, 10, 123},
      {10, 123, -2000, 10, 123},
      {0, 0, 2147483647, 2147483, 647000000},
  };
  for (const Case& c : cases) {
    struct timespec now = {c.seconds, c.nanoseconds};
    struct timespec deadline = MutexDeadline(now, c.milliseconds);
    EXPECT_EQ(deadline.tv_sec, c.expected_seconds)
        << c.seconds << "." << c.nanoseconds << " + " << c.milliseconds;
    EXPECT_EQ(deadline.tv_nsec, c.expected_nanoseconds)
        << c.seconds << "." << c.nanoseconds << " + " << c.milliseconds;
  }
}

TEST(MutexSpinLock, ReturnsZeroHoldingTheMutex) {
  ScopedMutex m;
  EXPECT_EQ(MutexSpinLock(&m.mutex), 0);
  EXPECT_EQ(MutexSpinLock(&m.mutex), 0);  // The owner gets it again at once.
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 0);
  pthread_mutex_unlock(&m.mutex);
  pthread_mutex_unlock(&m.mutex);

  Holder holder(&m.mutex);
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    holder.Release();
  });
  EXPECT_EQ(MutexSpinLock(&m.mutex), 0);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 0);
  pthread_mutex_unlock(&m.mutex);
  releaser.join();
}

TEST(MutexReset, HeldByTheCallerBecomesFreeAndUsable) {
  ScopedMutex m;
  pthread_mutex_lock(&m.mutex);
  pthread_mutex_lock(&m.mutex);
  MutexReset(&m.mutex);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 1);
  EXPECT_EQ(MutexTimedLock(&m.mutex, 0), 1);
  EXPECT_EQ(MutexTimedLock(&m.mutex, 0), 1);  // Still recursive.
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(TimedLockElsewhere(&m.mutex, 0), 1);
}

TEST(MutexReset, ForkedChildOfAHolderGetsAFreeMutex) {
  ScopedMutex m;
  pthread_mutex_lock(&m.mutex);
  pid_t child = fork();
  if (child == 0) {
    alarm(30);
    int before = MutexTimedLock(&m.mutex, 0);
    MutexReset(&m.mutex);
    int after = MutexTimedLock(&m.mutex, 0);
    _exit(before == 0 && after == 1 ? 0 : 1);
  }
  pthread_mutex_unlock(&m.mutex);
  ASSERT_GT(child, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
