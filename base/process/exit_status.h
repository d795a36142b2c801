// Wait statuses and the exit codes read from them. Pure functions of their
// argument, apart from ProcessExitCode's warning line (through Log); safe
// from any thread.

#ifndef QZ_BASE_PROCESS_EXIT_STATUS_H_
#define QZ_BASE_PROCESS_EXIT_STATUS_H_

// The POSIX wait-status tests written out for the Linux encoding: low 7 bits
// the terminating signal (0 for an exit, 0x7f for a stopped child), bits 8 to
// 15 the exit status or the stop signal.
int ProcessExited(int status);
int ProcessExitStatus(int status);
int ProcessSignaled(int status);
int ProcessTermSignal(int status);
int ProcessStopped(int status);
int ProcessStopSignal(int status);

// One exit code for a child: its exit status (0 to 255) after a normal exit,
// 4 after a death by any signal, otherwise the raw status, with the line
// "Process: WARNING! Unrecognized exit code '<status>'." in the log.
int ProcessExitCode(int status);

#endif  // QZ_BASE_PROCESS_EXIT_STATUS_H_
