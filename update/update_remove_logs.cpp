// Log clean-up: the session file and the run's log directory go at the end
// of every run.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "base/error/error_format.h"
#include "base/file/file_path.h"
#include "base/process/exit_status.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_internal.h"

namespace {

constexpr int kRemoveAttempts = 50;
constexpr int kRemovePauseMilliseconds = 100;

// Removes the session file, trying again while something holds it back.
void RemoveSessionFile(const char* file) {
  for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
    if (unlink(file) == 0) {
      UpdatePrint("Update: Successfully removed log file ") << file << ".\n";
      ProcessSleep(kRemovePauseMilliseconds);
      return;
    }
    int error = errno;
    std::ostringstream line;
    line << "Update: WARNING! Failed while removing log file '" << file
         << "'. Error is '" << ErrorText(error) << "'.\n";
    UpdateWriteError(line.str());
    ProcessSleep(kRemovePauseMilliseconds);
  }
}

}  // namespace

void UpdateRemoveLogs() {
  const char* logs = UpdateGetEnvironment("QZ_LOGS");
  if (logs == nullptr || FileExists(nullptr, logs) != 1) {
    UpdateWriteError(
        "Update: WARNING! Could not find log directory to remove.\n");
    return;
  }

  char* file = nullptr;
  StringAppend(&file, logs, "/", "session");
  if (FileExists(nullptr, file) == 1) {
    RemoveSessionFile(file);
  } else {
    std::ostringstream line;
    line << "Update: WARNING! File '" << file << "' does not exist.\n";
    UpdateWriteError(line.str());
  }

  if (FileExists(nullptr, logs) == 1) {
    if (rmdir(logs) == 0) {
      UpdatePrint("Update: Successfully removed log directory '")
          << logs << "'.\n";
    } else {
      int error = errno;
      std::ostringstream line;
      line << "Update: WARNING! Failed while removing log directory '" << logs
           << "'. Error is '" << ErrorText(error) << "'.\n";
      UpdateWriteError(line.str());
    }
  } else {
    int error = errno;
    std::ostringstream line;
    line << "Update: WARNING! Directory '" << logs
         << "' does not exist. Error is '" << ErrorText(error) << "'.\n";
    UpdateWriteError(line.str());
  }
  StringReset(&file);
}
