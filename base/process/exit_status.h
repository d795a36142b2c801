// Wait statuses, exit codes and small process operations: ending the process,
// signalling, probing, sleeping, detaching and changing the priority.
//
// Failures are logged through Log (base/log/log.h) and returned; errno is left
// as the failing call set it. All operations may be called from any thread.

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

// exit(code): exit handlers and static destructors run.
[[noreturn]] void ProcessExit(int code);
// abort().
[[noreturn]] void ProcessAbort();
// SIGKILL to the own process, then sleeps forever.
[[noreturn]] void ProcessKillSelf();

// kill's and raise's results (0, or -1 with errno); nothing is logged.
int ProcessKill(int process_id, int signal_number);
int ProcessRaise(int signal_number);

// usleep of milliseconds * 1000, the product taken as 32-bit unsigned.
void ProcessSleep(int milliseconds);

// 1: the process exists and may be signalled; 0: no such process (nothing
// logged); -1: any other error, logged.
int ProcessCheck(int process_id);

// daemon(1, 1): 1 in the detached process, -1 (logged) on failure.
int ProcessDetach();

// nice(increment): 1 on success, -1 (logged) on failure.
int ProcessChangePriority(int increment);

#endif  // QZ_BASE_PROCESS_EXIT_STATUS_H_
