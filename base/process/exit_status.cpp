#include "base/process/exit_status.h"

#include <cstdint>

#include "base/log/log.h"

int ProcessExited(int status) { return (status & 0x7f) == 0 ? 1 : 0; }

int ProcessExitStatus(int status) { return (status >> 8) & 0xff; }

int ProcessSignaled(int status) {
  // Low seven bits between 1 and 126: 0 is an exit, 127 a stopped or
  // continued child.
  auto shifted = static_cast<int8_t>((status & 0x7f) + 1);
  return shifted > 1 ? 1 : 0;
}

int ProcessTermSignal(int status) { return status & 0x7f; }

int ProcessStopped(int status) { return (status & 0xff) == 0x7f ? 1 : 0; }

int ProcessStopSignal(int status) { return (status >> 8) & 0xff; }

int ProcessExitCode(int status) {
  if (ProcessExited(status) != 0) {
    return ProcessExitStatus(status);
  }
  if (ProcessSignaled(status) != 0) {
    return 4;
  }
  Log() << "Process: WARNING! Unrecognized exit code '" << status << "'.\n";
  return status;
}
