// User-space output buffers around fork: a forked child owns a copy of
// every buffer its parent held, and a child that ends with exit() writes
// those copies out a second time unless they were empty or are dropped.

#ifndef QZ_BASE_PROCESS_PROCESS_BUFFERS_H_
#define QZ_BASE_PROCESS_PROCESS_BUFFERS_H_

// Writes out what the process has buffered on every C stdio output stream,
// on the standard C++ streams (narrow and wide) and on the Logger's current
// and retired streams. Call it with LogMutex held, right before fork.
// Logs nothing; errno is kept.
void ProcessFlushBuffered();

// In a forked child that is about to end without running a program: drops
// what the standard C output streams hold. Whatever is there was written by
// the parent's other threads after the flush above and is the parent's to
// write. Takes no lock (another thread of the parent may have held the
// stream's lock at the fork); errno is kept.
void ProcessDiscardBuffered();

#endif  // QZ_BASE_PROCESS_PROCESS_BUFFERS_H_
