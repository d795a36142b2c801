// Log clean-up: the session file and the run's log directory go at the end
// of every run.

#include <unistd.h>

#include <cerrno>

#include "base/error/error_format.h"
#include "base/file/file_path.h"
#include "base/process/process_control.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_environment.h"
#include "update/update_made.h"
#include "update/update_print.h"

namespace {

constexpr int kRemoveAttempts = 50;
constexpr int kRemovePauseMilliseconds = 100;

// Removes the session file, trying again while something holds it back. In
// the log directory made in this run it goes through that directory's
// descriptor; a QZ_LOGS from the caller's environment is taken by path.
void RemoveSessionFile(bool made, const char* file) {
  for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
    if ((made ? UpdateMadeRemoveSession() : unlink(file)) == 0) {
      UpdatePrint("Update: Successfully removed log file ") << file << ".\n";
      ProcessSleep(kRemovePauseMilliseconds);
      return;
    }
    UpdateErrorLine() << "Update: WARNING! Failed while removing log file '"
                      << file << "'. Error is '" << UpdateErrnoText() << "'.\n";
    ProcessSleep(kRemovePauseMilliseconds);
  }
}

}  // namespace

void UpdateRemoveLogs() {
  const char* logs = UpdateGetEnvironment("QZ_LOGS");
  // The log directory made in this run is removed through its descriptors
  // wherever its path leads by now; a QZ_LOGS from the caller's environment
  // is taken by path, and only when it is there.
  bool made = UpdateIsMadeLogDirectory(logs);
  if (logs == nullptr || (!made && FileExists(nullptr, logs) != 1)) {
    UpdateErrorLine()
        << "Update: WARNING! Could not find log directory to remove.\n";
    return;
  }

  char* file = UpdateSessionPathOf(logs);
  // For the directory made in this run, only the very file that root made
  // counts as its session file.
  if (made ? UpdateMadeSessionPresent() : FileExists(nullptr, file) == 1) {
    RemoveSessionFile(made, file);
  } else {
    UpdateErrorLine() << "Update: WARNING! File '" << file
                      << "' does not exist.\n";
  }

  if (!made && FileExists(nullptr, logs) != 1) {
    UpdateErrorLine() << "Update: WARNING! Directory '" << logs
                      << "' does not exist. Error is '" << UpdateErrnoText()
                      << "'.\n";
  } else if ((made ? UpdateMadeRemoveLogDirectory() : rmdir(logs)) == 0) {
    UpdatePrint("Update: Successfully removed log directory '")
        << logs << "'.\n";
  } else {
    UpdateErrorLine()
        << "Update: WARNING! Failed while removing log directory '" << logs
        << "'. Error is '" << UpdateErrnoText() << "'.\n";
  }
  StringReset(&file);
}
