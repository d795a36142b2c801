#include "update/update_child.h"

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <cerrno>

#include "base/log/log.h"
#include "base/process/process_create.h"
#include "update/update_print.h"
#include "update/update_signals.h"

int UpdateStartChild(const char* const* command) {
  UpdateFlushOutput();
  LogFlush();
  if (UpdateReceivedSignal() != 0) {
    errno = EINTR;
    return -1;
  }
  int count = UpdateSignalCount();
  int pid = ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
  if (pid > 0) {
    // A signal between the check above and now found no child to pass to.
    UpdatePassSignalsTo(pid, count);
  }
  return pid;
}

int UpdateWaitChild(int pid, int* status) {
  // Waited for without reaping first, so that the handler never signals a
  // process id that has been reaped and may be reused. A terminating signal
  // does not end the wait: SIGTERM and SIGHUP are passed on to the child,
  // and the run ends as interrupted once the child has ended.
  siginfo_t info = {};
  int result = -1;
  do {
    result = waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
  } while (result < 0 && errno == EINTR);
  int error = errno;
  UpdatePassSignalsTo(0, 0);
  if (result < 0) {
    errno = error;
    return -1;
  }
  do {
    result = waitpid(pid, status, 0);
  } while (result < 0 && errno == EINTR);
  return result < 0 ? -1 : 0;
}
