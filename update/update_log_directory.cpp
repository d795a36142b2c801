// The run's log directory "<QZ_ROOT>/M-<host>-<pid>-<id>" and its session
// file, into which the Logger's log channel goes.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "base/error/error_format.h"
#include "base/log/log_redirect.h"
#include "base/log/logger.h"
#include "base/process/host_name.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_internal.h"

namespace {

// Longest log directory name: what a 1024-byte buffer holds with room to
// spare for its terminator.
constexpr size_t kPathMaxLength = 1022;

}  // namespace

char* UpdateCreateLogDirectory() {
  const char* root = UpdateGetEnvironment("QZ_ROOT");
  if (root == nullptr) {
    UpdateWriteError(
        "Update: WARNING! Could not find personal qz directory.\n");
    return nullptr;
  }

  const char* host = ProcessHostName();
  char* id = UpdateRandomId();
  std::ostringstream name;
  name << root << "/"
       << "M-" << host << "-" << static_cast<int>(getpid()) << "-" << id;
  StringReset(&id);
  std::string path = name.str();

  // A name cut to fit would be some other directory: it is refused whole.
  int result = -1;
  if (path.size() <= kPathMaxLength) {
    result = mkdir(path.c_str(), 0700);
  } else {
    errno = ENAMETOOLONG;
  }
  if (result != 0) {
    int error = errno;
    std::ostringstream line;
    line << "Update: WARNING! Could not create log directory '" << path
         << "'. Error is '" << ErrorText(error) << "'\n";
    UpdateWriteError(line.str());
    return nullptr;
  }
  // The mode asked of mkdir was cut by the umask.
  static_cast<void>(chmod(path.c_str(), 0700));
  UpdateSetOwner(path.c_str());

  char* directory = StringDuplicate(path.c_str());
  UpdatePrint("Update: Using log directory '") << directory << "'.\n";
  return directory;
}

void UpdatePrepareLogs() {
  char* directory = UpdateCreateLogDirectory();
  if (directory == nullptr || directory[0] == '\0') {
    UpdateWriteError("Update: WARNING! Could not create log directory.\n");
    StringReset(&directory);
    UpdateExit();
  }
  // setenv copies the value; it fails only when memory runs out.
  static_cast<void>(setenv("QZ_LOGS", directory, 1));

  char* session = nullptr;
  StringAppend(&session, directory, "/", "session");
  Logger& logger = LoggerInstance();
  logger.redirectEnabled = 2;
  // When the file cannot be opened the Logger keeps its stream, and the
  // mode and owner changes below fail quietly or with a warning.
  LoggerRedirectLog(logger, nullptr, session);
  static_cast<void>(chmod(session, 0600));
  UpdateSetOwner(session);

  StringReset(&session);
  StringReset(&directory);
}
