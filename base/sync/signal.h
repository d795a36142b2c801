// Signal helpers: reporting wrappers around the POSIX signal calls, names of
// signals and handlers, the signals of a wait status, and a dump of a signal
// set to the log.
//
// A wrapper makes its call and, when the call fails, writes one line through
// Log (base/log/log.h) and returns the call's failure value:
//
//   Signal: ERROR! Call to sigaction failed. Error is 22 'Invalid argument'.
//
// errno is kept across the logging, so after a failure it is what the call
// left. Nothing here throws. SignalSetMask changes the calling thread's mask
// only; SignalSetAction, SignalSetTimer and SignalSetHandler change state of
// the whole process. The names are constants of the library.

#ifndef QZ_BASE_SYNC_SIGNAL_H_
#define QZ_BASE_SYNC_SIGNAL_H_

#include <signal.h>
#include <sys/time.h>

struct Logger;

// The platform's handler pointer; 0 is SIG_DFL and 1 is SIG_IGN.
using SignalHandler = void (*)(int);

// pthread_sigmask(how, new_set, old_set): how is SIG_BLOCK, SIG_UNBLOCK or
// SIG_SETMASK; either set may be null. Returns 0, or the error number that
// the call returned (then logged with its text). errno is left alone.
int SignalSetMask(int how, const sigset_t* new_set, sigset_t* old_set);

// sigaction(signal_number, new_action, old_action); either record may be
// null. Returns 0, or -1 with errno (logged).
int SignalSetAction(int signal_number, const struct sigaction* new_action,
                    struct sigaction* old_action);

// setitimer(which, new_value, old_value) for ITIMER_REAL, ITIMER_VIRTUAL or
// ITIMER_PROF; old_value may be null. Returns 0, or -1 with errno (logged).
int SignalSetTimer(int which, const struct itimerval* new_value,
                   struct itimerval* old_value);

// Sets every byte of the record to zero. Returns 0.
int SignalClearAction(struct sigaction* action);

// Sets every byte of the record to zero.
void SignalClearTimer(struct itimerval* timer);

// signal(signal_number, handler): returns the previous handler, or a null
// handler (the value of SIG_DFL) when the call failed, with errno (logged).
SignalHandler SignalSetHandler(int signal_number, SignalHandler handler);

// "SIGHUP", "SIGINT", ... for the 22 signals the library names, "None" for
// any other number (0 and negative numbers included).
const char* SignalName(int signal_number);

// "SIG_DFL" for 0, "SIG_IGN" for 1, "User defined" for anything else.
const char* SignalHandlerName(SignalHandler handler);

// SignalName of the terminating signal (the low 7 bits) and of the stop
// signal (bits 8 to 15) of a wait status in the Linux encoding.
const char* ProcessTermSignalName(int status);
const char* ProcessStopSignalName(int status);

// For each named signal from 1 to 31 in increasing order, one line on the
// log channel of logger (LoggerInstance() when null):
//   <prefix><label>/Signal: <number>, <name>\t<Yes|No>
// with "Signal" for a null label and Yes when the signal is a member of set
// (a null set has no members).
// The start of each line is written with Log and its end with LogContinue,
// so a line of another thread may come in between.
void SignalDumpSet(const sigset_t* set, const char* label, Logger* logger);

#endif  // QZ_BASE_SYNC_SIGNAL_H_
