// The run's log directory "<QZ_ROOT>/M-<host>-<pid>-<id>" and its session
// file, into which the Logger's log channel goes.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
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

std::string UpdateLogDirectoryName(const char* host, int pid, const char* id) {
  std::ostringstream name;
  name << "M-" << host << "-" << pid << "-" << id;
  return name.str();
}

bool UpdateHostNameUsable(const char* host) {
  return strchr(host, '/') == nullptr && strstr(host, "..") == nullptr;
}

namespace {

// The directory that receives the log directory: QZ_ROOT as made in this
// run, else as the caller's environment names it. A descriptor owned by
// updateMade.root, or -1 with errno.
int OpenRoot(const char* root) {
  if (updateMade.root >= 0 && updateMade.rootPath != nullptr &&
      strcmp(updateMade.rootPath, root) == 0) {
    return updateMade.root;
  }
  if (updateMade.root >= 0) {
    close(updateMade.root);
  }
  StringReset(&updateMade.rootPath);
  updateMade.root = open(root, O_PATH | O_DIRECTORY | O_CLOEXEC);
  return updateMade.root;
}

// Makes the log directory name in QZ_ROOT and keeps a descriptor of it in
// updateMade. Returns 0, or -1 with errno.
int MakeLogDirectory(const char* root, const std::string& name) {
  int parent = OpenRoot(root);
  if (parent < 0 || UpdateMakeDirectory(parent, name.c_str()) != 0) {
    return -1;
  }
  int fd =
      UpdateOpenMadeDirectory(parent, name.c_str(), &updateMade.logsRecord);
  if (fd < 0) {
    return -1;
  }
  updateMade.logs = fd;
  StringReset(&updateMade.logsName);
  updateMade.logsName = StringDuplicate(name.c_str());
  return 0;
}

// Creates "session" in the log directory for root alone (it must not exist:
// whatever is there was not made by the driver) and keeps its identity.
// Returns its descriptor, or -1 with errno.
int CreateSession(const char* path) {
  StringReset(&updateMade.sessionPath);
  updateMade.sessionPath = StringDuplicate(path);
  updateMade.sessionMade = false;
  if (updateMade.logs < 0) {
    errno = ENOENT;
    return -1;
  }
  mode_t previous = umask(077);
  int fd = -1;
  do {
    fd = openat(updateMade.logs, "session",
                O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_NOCTTY |
                    O_CLOEXEC,
                0600);
  } while (fd < 0 && errno == EINTR);
  int error = errno;
  umask(previous);
  errno = error;
  struct stat record = {};
  if (fd >= 0 && (fstat(fd, &record) != 0 || !S_ISREG(record.st_mode) ||
                  record.st_nlink != 1)) {
    close(fd);
    errno = EPERM;
    return -1;
  }
  if (fd >= 0) {
    updateMade.sessionRecord = record;
    updateMade.sessionMade = true;
  }
  return fd;
}

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
  std::string name =
      UpdateLogDirectoryName(host, static_cast<int>(getpid()), id);
  StringReset(&id);
  std::string path = std::string(root) + "/" + name;

  // A name cut to fit would be some other directory: it is refused whole.
  // So is a host name that would put the directory anywhere but directly
  // in QZ_ROOT.
  int result = -1;
  if (path.size() > kPathMaxLength) {
    errno = ENAMETOOLONG;
  } else if (!UpdateHostNameUsable(host)) {
    errno = EINVAL;
  } else {
    result = MakeLogDirectory(root, name);
  }
  if (result != 0) {
    int error = errno;
    std::ostringstream line;
    line << "Update: WARNING! Could not create log directory '" << path
         << "'. Error is '" << ErrorText(error) << "'\n";
    UpdateWriteError(line.str());
    return nullptr;
  }
  // From here on through the descriptor of the directory just made.
  StringReset(&updateMade.logsPath);
  updateMade.logsPath = StringDuplicate(path.c_str());
  static_cast<void>(fchmod(updateMade.logs, 0700));
  UpdateSetOwnerOf(updateMade.logs, path.c_str(), true);

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
  // The directory is the caller's by now: the file is made by root alone,
  // and the Logger writes the very file made, whatever its name leads to
  // later. When it cannot be made the Logger keeps its stream, and the
  // owner change reports why.
  int file = CreateSession(session);
  LoggerRedirectLogToDescriptor(logger, file, session);
  if (file >= 0) {
    static_cast<void>(fchmod(file, 0600));
  }
  UpdateSetOwnerOf(file, session, false);
  if (file >= 0) {
    close(file);
  }

  StringReset(&session);
  StringReset(&directory);
}
