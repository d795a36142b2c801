#include "base/sync/mutex.h"

#include <ctime>

#include "base/log/log.h"

namespace {

// A recursive mutex in *mutex; 0 on success, else pthread_mutex_init's error.
int InitRecursive(Mutex* mutex) {
  pthread_mutexattr_t attribute;
  pthread_mutexattr_init(&attribute);
  pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE);
  int result = pthread_mutex_init(mutex, &attribute);
  pthread_mutexattr_destroy(&attribute);
  return result;
}

}  // namespace

void MutexInit(Mutex* mutex) {
  if (InitRecursive(mutex) != 0) {
    LogDirect() << "Mutex: ERROR! Failed to initialize the mutex.\n";
    LogDirect() << "Failed to initialize the mutex.\n";
  }
}

int MutexDestroy(Mutex* mutex) { return pthread_mutex_destroy(mutex); }

struct timespec MutexDeadline(struct timespec now, int milliseconds) {
  if (milliseconds > 0) {
    now.tv_sec += milliseconds / 1000;
    now.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (now.tv_nsec > 999999999L) {
      now.tv_sec += 1;
      now.tv_nsec -= 1000000000L;
    }
  }
  return now;
}

int MutexTimedLock(Mutex* mutex, int milliseconds) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  struct timespec deadline = MutexDeadline(now, milliseconds);
  return pthread_mutex_timedlock(mutex, &deadline) == 0 ? 1 : 0;
}

int MutexSpinLock(Mutex* mutex) {
  while (pthread_mutex_trylock(mutex) != 0) {
  }
  return 0;
}

void MutexReset(Mutex* mutex) {
  Mutex fresh;
  if (InitRecursive(&fresh) != 0) {
    LogDirect() << "Mutex: ERROR! Failed to reset the mutex.\n";
    LogDirect() << "Failed to reset the mutex.\n";
    return;
  }
  // The old state is dropped, locked or not: in a forked child its owner is
  // a thread that does not exist here. Its destruction may be refused (EBUSY
  // for a locked mutex), which is harmless: nothing uses those bytes again.
  Mutex old = *mutex;
  *mutex = fresh;
  pthread_mutex_destroy(&old);
}
