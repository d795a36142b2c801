// Log clean-up: the session file and the run's log directory go at the end
// of every run.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
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

// Whether logs is the log directory made in this run: its entries are
// then removed through descriptors, and only when they are what root made.
bool IsMadeLogs(const char* logs) {
  return updateMade.logs >= 0 && updateMade.logsPath != nullptr &&
         strcmp(updateMade.logsPath, logs) == 0;
}

// Whether "<logs>/session" is there to be removed: for the directory made
// in this run, only the very file that root made counts.
bool SessionPresent(bool made, const char* file) {
  if (made) {
    return updateMade.sessionMade &&
           UpdateIsMade(updateMade.logs, "session", updateMade.sessionRecord) ==
               1;
  }
  return FileExists(nullptr, file) == 1;
}

int RemoveSession(bool made, const char* file) {
  return made ? unlinkat(updateMade.logs, "session", 0) : unlink(file);
}

// Removes the log directory: the one made in this run only while it is
// still in its place in QZ_ROOT.
int RemoveDirectory(bool made, const char* logs) {
  if (!made) {
    return rmdir(logs);
  }
  if (UpdateIsMade(updateMade.root, updateMade.logsName,
                   updateMade.logsRecord) != 1) {
    return -1;
  }
  return unlinkat(updateMade.root, updateMade.logsName, AT_REMOVEDIR);
}

// Removes the session file, trying again while something holds it back.
void RemoveSessionFile(bool made, const char* file) {
  for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
    if (RemoveSession(made, file) == 0) {
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
  bool made = IsMadeLogs(logs);
  if (SessionPresent(made, file)) {
    RemoveSessionFile(made, file);
  } else {
    std::ostringstream line;
    line << "Update: WARNING! File '" << file << "' does not exist.\n";
    UpdateWriteError(line.str());
  }

  if (FileExists(nullptr, logs) == 1) {
    if (RemoveDirectory(made, logs) == 0) {
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
