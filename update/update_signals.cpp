#include "update/update_signals.h"

#include <poll.h>
#include <signal.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdio>

#include "base/sync/signal.h"
#include "update/update_print.h"

namespace {

// Written by the handler, read by the driver's one thread.
volatile sig_atomic_t receivedSignal = 0;
volatile sig_atomic_t signalCount = 0;
// The child being waited for, or 0.
volatile sig_atomic_t waitedChild = 0;

// Every signal that ends a process by default and that a sudo caller can
// have sent to the driver: from the terminal (INT, QUIT, HUP), relayed by
// sudo (TERM, USR1, USR2, ALRM) or raised by a resource limit that passes
// through sudo (XCPU) or by a timer or I/O the caller set up. The faults
// (SEGV, BUS, ILL, FPE, TRAP, SYS, ABRT) the caller cannot send; they keep
// their default. SIGPIPE and SIGXFSZ make the write that raised them fail
// instead (OnWriteFailure).
constexpr int kTerminationSignals[] = {
    SIGINT,  SIGTERM,   SIGHUP,  SIGQUIT, SIGUSR1, SIGUSR2,  SIGALRM,
    SIGXCPU, SIGVTALRM, SIGPROF, SIGPOLL, SIGPWR,  SIGSTKFLT};

// The child shares the terminal, which sends it INT, QUIT and HUP itself;
// SIGTERM and SIGHUP, sent to the driver alone, are passed on (a hangup
// that did not come from the terminal still ends the child's session).
// The others end the run once the child has ended.
void Forward(pid_t child, int signal_number) {
  if (child > 0 && (signal_number == SIGTERM || signal_number == SIGHUP)) {
    static_cast<void>(kill(child, signal_number));
  }
}

extern "C" void OnTermination(int signal_number) {
  int saved = errno;
  receivedSignal = signal_number;
  signalCount = signalCount + 1;
  Forward(static_cast<pid_t>(waitedChild), signal_number);
  errno = saved;
}

extern "C" void OnWriteFailure(int) {}

// Installs handler for signal_number unless the caller set it to be
// ignored. No SA_RESTART: a blocking getc or wait returns with EINTR.
void Catch(int signal_number, void (*handler)(int), int flags) {
  struct sigaction previous = {};
  if (SignalSetAction(signal_number, nullptr, &previous) != 0 ||
      previous.sa_handler == SIG_IGN) {
    return;
  }
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  for (int blocked : kTerminationSignals) {
    sigaddset(&action.sa_mask, blocked);
  }
  static_cast<void>(SignalSetAction(signal_number, &action, nullptr));
}

}  // namespace

void UpdateSetSignals() {
  sigset_t none;
  sigemptyset(&none);
  static_cast<void>(SignalSetMask(SIG_SETMASK, &none, nullptr));
  struct sigaction standard = {};
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  static_cast<void>(SignalSetAction(SIGCHLD, &standard, nullptr));
  for (int signal_number : kTerminationSignals) {
    Catch(signal_number, OnTermination, 0);
  }
  // A vanished reader (EPIPE) or the caller's file-size limit (EFBIG) fails
  // the write, which the driver reports or forgets; the children still
  // start with the default, as a handler does not pass exec.
  Catch(SIGPIPE, OnWriteFailure, SA_RESTART);
  Catch(SIGXFSZ, OnWriteFailure, SA_RESTART);
}

int UpdateReceivedSignal() { return receivedSignal; }

int UpdateSignalCount() { return signalCount; }

void UpdatePassSignalsTo(int child, int count) {
  waitedChild = child;
  if (child > 0 && signalCount != count) {
    Forward(child, receivedSignal);
  }
}

int UpdateWaitForKey() {
  UpdateFlushOutput();
  // Blocked while the flag is looked at, and let through only inside ppoll,
  // so that a signal that comes just before the wait still ends it.
  sigset_t termination;
  sigset_t previous;
  sigemptyset(&termination);
  for (int signal_number : kTerminationSignals) {
    sigaddset(&termination, signal_number);
  }
  static_cast<void>(SignalSetMask(SIG_BLOCK, &termination, &previous));
  while (receivedSignal == 0) {
    struct pollfd input = {0, POLLIN, 0};
    if (ppoll(&input, 1, nullptr, &previous) >= 0 || errno != EINTR) {
      break;
    }
  }
  static_cast<void>(SignalSetMask(SIG_SETMASK, &previous, nullptr));
  if (receivedSignal == 0) {
    // Input is there (or its end): this read does not block.
    static_cast<void>(getc(stdin));
  }
  if (receivedSignal != 0) {
    errno = EINTR;
    return -1;
  }
  return 0;
}
