// The first stage: the update runner, which downloads the new version.

#include <cerrno>

#include "base/error/error_format.h"
#include "base/process/exit_status.h"
#include "update/update.h"
#include "update/update_child.h"
#include "update/update_exit.h"
#include "update/update_print.h"

int UpdateStartRunner() {
  if (runnerPath == nullptr || runnerPath[0] == '\0') {
    UpdateErrorLine() << "Update: WARNING! No update runner to start.\n";
    return 2;
  }

  UpdatePrint("Update: ACTION! Starting update runner '")
      << runnerPath << "'.\n";
  const char* command[] = {runnerPath, runnerPath, "--update", "background",
                           nullptr};
  int pid = UpdateStartChild(command);
  if (pid < 0) {
    UpdateExitWith(errno);
  }
  UpdatePrint("Update: Waiting update runner  with pid ") << pid << ".\n";
  UpdateFlushOutput();

  int status = 0;
  if (UpdateWaitChild(pid, &status) < 0) {
    UpdateExitWith(errno);
  }
  int code = ProcessExitCode(status);
  UpdatePrint("Update: Update runner exited with code ") << code << ".\n";
  if (code == 0) {
    return 0;
  }
  if (!UpdateIsUpToDate(code)) {
    UpdateErrorLine() << "Update: ERROR! Error is " << code << ", '"
                      << ErrorText(code) << "'.\n";
  }
  UpdateExitWith(code);
}
