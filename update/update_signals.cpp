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

constexpr int kTerminationSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The child shares the terminal, which sends it SIGINT itself; SIGTERM and
// SIGHUP, sent to the driver alone, are passed on.
void Forward(pid_t child, int signal_number) {
  if (child > 0 && signal_number != SIGINT) {
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

extern "C" void OnPipe(int) {}

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
  Catch(SIGPIPE, OnPipe, SA_RESTART);
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
