// The first stage: the update runner, which downloads the new version.

#include <cerrno>
#include <iostream>
#include <sstream>

#include "base/error/error_format.h"
#include "base/process/exit_status.h"
#include "update/update.h"
#include "update/update_internal.h"

int UpdateStartRunner() {
  if (runnerPath == nullptr || runnerPath[0] == '\0') {
    UpdateWriteError("Update: WARNING! No update runner to start.\n");
    updateResult = 2;
    return 2;
  }

  UpdatePrint("Update: ACTION! Starting update runner '")
      << runnerPath << "'.\n";
  const char* command[] = {runnerPath, runnerPath, "--update", "background",
                           nullptr};
  int pid = UpdateStartChild(command);
  if (pid < 0) {
    updateResult = errno;
    UpdateExit();
  }
  UpdatePrint("Update: Waiting update runner  with pid ") << pid << ".\n";
  UpdateFlushOutput();

  int status = 0;
  if (UpdateWaitChild(pid, &status) < 0) {
    updateResult = errno;
    UpdateExit();
  }
  int code = ProcessExitCode(status);
  UpdatePrint("Update: Update runner exited with code ") << code << ".\n";
  if (code == 0) {
    return 0;
  }

  updateResult = code;
  if (((code + 1) & ~0x100) != 0) {
    std::ostringstream line;
    line << "Update: ERROR! Error is " << code << ", '" << ErrorText(code)
         << "'.\n";
    UpdateWriteError(line.str());
  }
  UpdateExit();
}
