// Small operations on processes: ending the own process, signalling,
// probing, sleeping, detaching and changing the priority.
//
// Failures are logged through Log (base/log/log.h) and returned; errno is
// left as the failing call set it. All operations may be called from any
// thread.

#ifndef QZ_BASE_PROCESS_PROCESS_CONTROL_H_
#define QZ_BASE_PROCESS_PROCESS_CONTROL_H_

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

#endif  // QZ_BASE_PROCESS_PROCESS_CONTROL_H_
