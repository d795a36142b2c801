#include "base/sync/mutex.h"

#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

#include <gtest/gtest.h>

namespace {

struct ScopedMutex {
  ScopedMutex() { MutexInit(&mutex); }
  ~ScopedMutex() { EXPECT_EQ(MutexDestroy(&mutex), 0); }
  Mutex mutex;
};

// MutexTimedLock(0) from another thread, unlocking again on success.
int LockElsewhere(Mutex* mutex) {
  return std::async(std::launch::async,
                    [=] {
                      int result = MutexTimedLock(mutex, 0);
                      if (result == 1) {
                        pthread_mutex_unlock(mutex);
                      }
                      return result;
                    })
      .get();
}

// Another thread holds the mutex until `release` is set.
std::thread HoldElsewhere(Mutex* mutex, std::shared_future<void> release) {
  std::promise<void> locked;
  std::future<void> is_locked = locked.get_future();
  std::thread holder([mutex, release, locked = std::move(locked)]() mutable {
    pthread_mutex_lock(mutex);
    locked.set_value();
    release.wait();
    pthread_mutex_unlock(mutex);
  });
  is_locked.wait();
  return holder;
}

TEST(MutexTimedLock, OwnerGetsItAgainAtOnceOthersGetZero) {
  ScopedMutex m;
  ASSERT_EQ(pthread_mutex_lock(&m.mutex), 0);
  for (int milliseconds : {0, -5, 1500}) {
    EXPECT_EQ(MutexTimedLock(&m.mutex, milliseconds), 1) << milliseconds;
  }
  EXPECT_EQ(MutexSpinLock(&m.mutex), 0);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  }
  EXPECT_EQ(LockElsewhere(&m.mutex), 0);  // Held five times, unlocked four.
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(LockElsewhere(&m.mutex), 1);
}

TEST(MutexTimedLock, HeldByAnotherThread) {
  ScopedMutex m;
  std::promise<void> release;
  std::thread holder = HoldElsewhere(&m.mutex, release.get_future().share());
  for (int milliseconds : {0, -1000, 20}) {
    EXPECT_EQ(MutexTimedLock(&m.mutex, milliseconds), 0) << milliseconds;
  }
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    release.set_value();
  });
  EXPECT_EQ(MutexTimedLock(&m.mutex, 60000),
            1);  // The result counts, not the time.
  pthread_mutex_unlock(&m.mutex);
  releaser.join();
  holder.join();

  std::promise<void> release2;
  holder = HoldElsewhere(&m.mutex, release2.get_future().share());
  releaser = std::thread([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    release2.set_value();
  });
  EXPECT_EQ(MutexSpinLock(&m.mutex), 0);
  EXPECT_EQ(LockElsewhere(&m.mutex), 0);
  pthread_mutex_unlock(&m.mutex);
  releaser.join();
  holder.join();
}

TEST(MutexDeadline, CarriesNanosecondsIntoSeconds) {
  struct Case {
    long nanoseconds;
    int milliseconds;
    time_t seconds;  // expected, starting from 10 seconds
    long expected_nanoseconds;
  } cases[] = {
      {500, 1999, 11, 999000500}, {500000000, 1999, 12, 499000000},
      {999000000, 1, 11, 0},      {998999999, 1, 10, 999999999},
      {999999999, 1, 11, 999999}, {0, 0, 10, 0},
      {123, -2000, 10, 123},      {0, 2147483647, 2147493, 647000000},
  };
  for (const Case& c : cases) {
    struct timespec deadline =
        MutexDeadline({10, c.nanoseconds}, c.milliseconds);
    EXPECT_EQ(deadline.tv_sec, c.seconds)
        << c.nanoseconds << " + " << c.milliseconds;
    EXPECT_EQ(deadline.tv_nsec, c.expected_nanoseconds)
        << c.nanoseconds << " + " << c.milliseconds;
  }
}

TEST(MutexReset, HeldMutexBecomesFreeAndStaysRecursive) {
  ScopedMutex m;
  pthread_mutex_lock(&m.mutex);
  pthread_mutex_lock(&m.mutex);
  MutexReset(&m.mutex);
  EXPECT_EQ(LockElsewhere(&m.mutex), 1);
  EXPECT_EQ(MutexTimedLock(&m.mutex, 0), 1);
  EXPECT_EQ(MutexTimedLock(&m.mutex, 0), 1);
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(pthread_mutex_unlock(&m.mutex), 0);
  EXPECT_EQ(LockElsewhere(&m.mutex), 1);

  // A forked child of a holder finds it held, and free after the reset.
  pthread_mutex_lock(&m.mutex);
  pid_t child = fork();
  if (child == 0) {
    alarm(30);
    int before = MutexTimedLock(&m.mutex, 0);
    MutexReset(&m.mutex);
    _exit(before == 0 && MutexTimedLock(&m.mutex, 0) == 1 ? 0 : 1);
  }
  pthread_mutex_unlock(&m.mutex);
  ASSERT_GT(child, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
