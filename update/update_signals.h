// The driver's signals: a terminating signal ends the run through the exit
// path instead of killing the driver, a vanished reader of standard output
// gives EPIPE, and an inherited mask or ignored SIGCHLD cannot break the
// waits.

#ifndef QZ_UPDATE_UPDATE_SIGNALS_H_
#define QZ_UPDATE_UPDATE_SIGNALS_H_

// At start: an empty signal mask, SIGCHLD to its default, a handler for
// every terminating signal the caller can send (SIGINT, SIGTERM, SIGHUP,
// SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGXCPU, SIGVTALRM, SIGPROF, SIGPOLL,
// SIGPWR, SIGSTKFLT; each left alone when the caller ignores it) that notes
// the signal and passes SIGTERM and SIGHUP on to the child being waited for,
// and a handler for SIGPIPE and SIGXFSZ that does nothing (unless the caller
// ignores them), so that a write to a vanished reader or past the file-size
// limit fails with EPIPE or EFBIG, while the children still start with
// default dispositions.
void UpdateSetSignals();

// The last terminating signal received, or 0.
int UpdateReceivedSignal();

// How many of them have been received so far.
int UpdateSignalCount();

// From now on signals are passed on to child (0: to no one). When more
// than count have been received by the time child is set, the last one is
// passed on at once: it came while the child was being started.
void UpdatePassSignalsTo(int child, int count);

// Waits for one key press (one getc) unless a signal came before or during
// the wait. Returns 0, or -1 when a signal ended the wait (errno EINTR).
int UpdateWaitForKey();

#endif  // QZ_UPDATE_UPDATE_SIGNALS_H_
