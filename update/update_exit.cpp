// The driver's only way out.

#include "update/update_exit.h"

#include <fstream>

#include "base/error/error_format.h"
#include "base/log/log_redirect.h"
#include "base/log/logger.h"
#include "base/process/process_control.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_print.h"

namespace {

// Closes the session log file that the Logger's log channel writes, if the
// Logger opened one. Before the log directory exists (or when the Logger
// could not open the file) the channel is still on the standard log stream,
// which must not be closed; logPath is set exactly while the channel is on a
// file that the Logger opened itself.
void UpdateCloseLogFile() {
  Logger& logger = LoggerInstance();
  if (logger.logPath == nullptr) {
    return;
  }
  std::ostream* current =
      logger.enabled == 1 ? logger.logStream
                          : static_cast<std::ostream*>(logger.nullStream.get());
  auto* file = dynamic_cast<std::ofstream*>(current);
  if (file != nullptr) {
    file->close();  // a failed close sets the stream's failbit
  }
}

}  // namespace

bool UpdateIsUpToDate(int code) {
  // -1 is what 255 is as a signed byte: a child's exit(-1) reads as 255.
  return code == 255 || code == -1;
}

void UpdateExitWith(int code) {
  updateResult = code;
  UpdateExit();
}

void UpdateExit() {
  StringReset(&runnerPath);

  int code = updateResult;
  if (UpdateIsUpToDate(code)) {
    UpdatePrint("Update: Velmora version is up to date.\n");
  } else if (code != 0) {
    UpdateErrorLine() << "Update: ERROR! Exiting with update error '" << code
                      << "', '" << ErrorText(code) << "'.\n";
  }

  UpdateRestoreOutput();
  UpdateCloseLogFile();
  LoggerRestoreLog(LoggerInstance());
  UpdateRemoveLogs();
  UpdateFlushOutput();
  ProcessExit(updateResult);
}
