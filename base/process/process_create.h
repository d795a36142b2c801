// Starting child programs with chosen standard descriptors, identity and
// priority.
//
// ProcessFork holds LogMutex across fork, so a child never inherits it in the
// middle of another thread's line start, and resets it in the child. Before
// forking it flushes what the process has buffered (the C stdio streams, the
// standard C++ streams and the Logger's streams), so that a child that ends
// with exit() never writes the parent's output a second time. A child
// inherits descriptors 0, 1 and 2 and nothing else: every other descriptor is
// closed on exec.
//
// Failures are logged through Log and returned with errno set; in the child
// logging is switched off, so the child's own failures never reach a channel.

#ifndef QZ_BASE_PROCESS_PROCESS_CREATE_H_
#define QZ_BASE_PROCESS_PROCESS_CREATE_H_

// Symbolic priority levels; any other value is a nice value itself.
constexpr int ProcessPriorityLowest = 100;   // nice 19
constexpr int ProcessPriorityNormal = 101;   // nice 0
constexpr int ProcessPriorityHigh = 102;     // nice -10
constexpr int ProcessPriorityHighest = 103;  // nice -20

// Starts command[0] with the argument vector command + 1 (so command[1] is
// its argv[0]). With an environment vector the file is used as a path and
// the child gets that environment; with null the file is searched along
// PATH and the environment is inherited. input, output and error become the
// child's descriptors 0, 1 and 2 (-1 or the standard number itself: keep
// it). keep_identity 0 drops set-id privileges in the child.
//
// Returns the child's process id in the parent, or -1 with errno (EINVAL for
// a vector with fewer than two entries; fork's error). Never returns in the
// child: a failed exec ends it with exit(errno).
int ProcessCreate(const char* const* command, const char* const* environment,
                  int input, int output, int error, int priority,
                  int keep_identity);

// fork with LogMutex held; 0 in the child, the child's id in the parent, -1
// with fork's errno.
int ProcessFork();

// execve (with an environment vector) or execvp; returns -1 only on failure,
// after logging it.
int ProcessExec(const char* file, const char* const* arguments,
                const char* const* environment);

// setuid / setgid: 1 on success, -1 (logged) on failure.
int ProcessSetUserId(int user_id);
int ProcessSetGroupId(int group_id);

// The nice value of a priority level.
int ProcessMapPriority(int level);

// setpriority of the calling process to the mapped level: 1, or -1 (logged).
int ProcessSetPriority(int level);

#endif  // QZ_BASE_PROCESS_PROCESS_CREATE_H_
