// Recursive mutexes with a timed lock, a spinning lock and a reset for
// forked children.
//
// A Mutex is one POSIX mutex and nothing else; it is used in place and never
// copied. Every mutex made here is recursive: the owner may lock it again and
// must unlock it as many times. Plain locking and unlocking are
// pthread_mutex_lock and pthread_mutex_unlock on the same object.
//
// Failures to initialise or reset are written through LogDirect, which takes
// no lock, so that a failure of LogMutex itself can be reported.

#ifndef QZ_BASE_SYNC_MUTEX_H_
#define QZ_BASE_SYNC_MUTEX_H_

#include <pthread.h>

using Mutex = pthread_mutex_t;

// Makes the mutex a fresh, unlocked recursive mutex.
void MutexInit(Mutex* mutex);

// pthread_mutex_destroy's result.
int MutexDestroy(Mutex* mutex);

// Locks within the given milliseconds (0 or less: try once, now). Returns 1
// when the caller holds the mutex, 0 on a timeout or any other failure.
int MutexTimedLock(Mutex* mutex, int milliseconds);

// Tries again and again, without sleeping or yielding, until the mutex is
// held. Always returns 0.
int MutexSpinLock(Mutex* mutex);

// Replaces the mutex by a fresh, unlocked one, whoever held the old state.
// Only for a state no other thread can use: a freshly forked child.
void MutexReset(Mutex* mutex);

// The deadline that MutexTimedLock waits for, from a CLOCK_REALTIME reading.
struct timespec MutexDeadline(struct timespec now, int milliseconds);

#endif  // QZ_BASE_SYNC_MUTEX_H_
