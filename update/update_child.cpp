// Starting the stages' children and waiting for them.

#include <sys/wait.h>

#include <cerrno>

#include "base/log/log.h"
#include "base/process/process_create.h"
#include "update/update_internal.h"

int UpdateStartChild(const char* const* command) {
  UpdateFlushOutput();
  LogFlush();
  return ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
}

int UpdateWaitChild(int pid, int* status) {
  int result = -1;
  do {
    result = waitpid(pid, status, 0);
  } while (result < 0 && errno == EINTR);
  return result < 0 ? -1 : 0;
}
