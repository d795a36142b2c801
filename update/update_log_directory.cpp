// The run's log directory "<QZ_ROOT>/M-<host>-<pid>-<id>" and its session
// file, into which the Logger's log channel goes.

#include "update/update_log_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "base/log/log_redirect.h"
#include "base/log/logger.h"
#include "base/process/host_name.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_environment.h"
#include "update/update_made.h"
#include "update/update_owner.h"
#include "update/update_print.h"

namespace {

// Longest log directory path: what a 1024-byte buffer holds with room to
// spare for its terminator.
constexpr size_t kPathMaxLength = 1022;

}  // namespace

std::string UpdateLogDirectoryName(const char* host, int pid, const char* id) {
  std::ostringstream name;
  name << "M-" << host << "-" << pid << "-" << id;
  return name.str();
}

bool UpdateHostNameUsable(const char* host) {
  for (const char* at = host; *at != '\0'; ++at) {
    if (*at == '/' || iscntrl(static_cast<unsigned char>(*at)) != 0) {
      return false;
    }
  }
  return true;
}

char* UpdateCreateLogDirectory() {
  const char* root = UpdateGetEnvironment("QZ_ROOT");
  if (root == nullptr) {
    UpdateErrorLine()
        << "Update: WARNING! Could not find personal qz directory.\n";
    return nullptr;
  }

  const char* host = ProcessHostName();
  char* id = UpdateRandomId();
  std::string name =
      UpdateLogDirectoryName(host, static_cast<int>(getpid()), id);
  StringReset(&id);
  std::string path = std::string(root) + "/" + name;

  // A name cut to fit would be some other directory: it is refused whole.
  // So is a host name that would put the directory anywhere but directly
  // in QZ_ROOT, or that would bring the caller's control characters into
  // root's output (a forged line, a terminal's escape sequence).
  int result = -1;
  if (path.size() > kPathMaxLength) {
    errno = ENAMETOOLONG;
  } else if (!UpdateHostNameUsable(host)) {
    errno = EINVAL;
  } else {
    result = UpdateMadeLogDirectory(root, name.c_str(), path.c_str());
  }
  if (result != 0) {
    // The caller's control characters stay out of root's output.
    int error = errno;
    std::string shown = path;
    for (char& c : shown) {
      c = iscntrl(static_cast<unsigned char>(c)) != 0 ? '?' : c;
    }
    errno = error;
    UpdateErrorLine() << "Update: WARNING! Could not create log directory '"
                      << shown << "'. Error is '" << UpdateErrnoText() << "'\n";
    return nullptr;
  }

  char* directory = StringDuplicate(path.c_str());
  UpdatePrint("Update: Using log directory '") << directory << "'.\n";
  return directory;
}

void UpdatePrepareLogs() {
  char* directory = UpdateCreateLogDirectory();
  if (directory == nullptr || directory[0] == '\0') {
    UpdateErrorLine() << "Update: WARNING! Could not create log directory.\n";
    StringReset(&directory);
    UpdateExitWith(0);
  }
  // setenv copies the value; it fails only when memory runs out.
  static_cast<void>(setenv("QZ_LOGS", directory, 1));
  StringReset(&directory);

  const char* session = UpdateMadeSessionPath();
  Logger& logger = LoggerInstance();
  logger.redirectEnabled = 2;
  // The directory is the caller's by now: the file is made by root alone,
  // and the Logger writes the very file made, whatever its name leads to
  // later. When it cannot be made the Logger keeps its stream, and the
  // owner change reports why.
  int file = UpdateMadeSession();
  LoggerRedirectLogToDescriptor(logger, file, session);
  if (file >= 0) {
    static_cast<void>(fchmod(file, 0600));
  }
  UpdateSetOwnerOf(file, session, false);
  if (file >= 0) {
    close(file);
  }
}
