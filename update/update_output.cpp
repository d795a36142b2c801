// Redirection of the driver's standard output into a file, and its undoing,
// with the one saved descriptor that makes the undoing possible.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>

#include "base/file/file_path.h"
#include "update/update.h"
#include "update/update_internal.h"

namespace {

// Points the stdout stream's descriptor at path, opened for appending
// (created with mode 0666 less the umask, as a stream reopened with "a"
// would be). The file is opened first and only then put in place, so a
// file that cannot be opened leaves standard output as it was. Returns
// true on success; errno tells why not otherwise.
bool ReopenOutputAppending(const char* path, int output) {
  int file = -1;
  do {
    file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  } while (file < 0 && errno == EINTR);
  if (file < 0) {
    return false;
  }
  int result = -1;
  do {
    result = dup2(file, output);  // the copy on output is inherited
  } while (result < 0 && errno == EINTR);
  int error = errno;
  close(file);
  errno = error;
  return result >= 0;
}

// The session file that root made in this run, opened again through the
// log directory's descriptor, without creating or following anything, and
// only when it is still that very file. Returns true when it is now on
// output.
bool ReopenSession(int output) {
  if (!updateMade.sessionMade) {
    return false;
  }
  int file = -1;
  do {
    file = openat(updateMade.logs, "session",
                  O_WRONLY | O_APPEND | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  } while (file < 0 && errno == EINTR);
  // Given to the caller by now: owner and mode are the caller's to change,
  // the identity and the single link are not.
  struct stat record = {};
  if (file >= 0 && (fstat(file, &record) != 0 || !S_ISREG(record.st_mode) ||
                    record.st_nlink != 1 ||
                    record.st_dev != updateMade.sessionRecord.st_dev ||
                    record.st_ino != updateMade.sessionRecord.st_ino)) {
    close(file);
    file = -1;
  }
  if (file < 0) {
    return false;
  }
  int result = -1;
  do {
    result = dup2(file, output);
  } while (result < 0 && errno == EINTR);
  close(file);
  return result >= 0;
}

// Whether path is the session file that root made in this run.
bool IsSession(const char* path) {
  return updateMade.sessionPath != nullptr && path != nullptr &&
         strcmp(path, updateMade.sessionPath) == 0;
}

}  // namespace

void UpdateRedirectOutput(const char* path) {
  if (savedOutput != -1) {
    UpdateWriteError(
        "Update: Can't redirect stdout before restoring the original "
        "descriptors.\n");
    UpdateRestoreOutput();
  }

  UpdateFlushOutput();
  int output = fileno(stdout);
  // Kept away from the children: they get descriptors 0, 1 and 2 only.
  savedOutput = output < 0 ? -1 : fcntl(output, F_DUPFD_CLOEXEC, 3);
  if (savedOutput < 0) {
    savedOutput = -1;
    UpdateWriteError(
        "Update: Redirection of stdout failed because could not save the "
        "original handler.\n");
    return;
  }

  bool is_new = FileExists(nullptr, path) != 1;
  if (!is_new) {
    UpdatePrint("Update: File already exists.\n");
    UpdateFlushOutput();
  }

  // The session file lies in a directory that belongs to the caller by
  // now: it is never created, followed or changed by name there.
  bool session = IsSession(path);
  bool reopened =
      session ? ReopenSession(output) : ReopenOutputAppending(path, output);
  if (reopened) {
    UpdatePrint("Update: Redirected stdout to '") << path << "'.\n";
    UpdateFlushOutput();
  } else {
    std::ostringstream line;
    line << "Update: Could not redirect stdout to '" << path << "'.\n";
    UpdateWriteError(line.str());
    close(savedOutput);
    savedOutput = -1;
  }

  if (is_new && !session) {
    static_cast<void>(chmod(path, 0700));
  }
}

void UpdateRestoreOutput() {
  if (savedOutput == -1) {
    return;
  }
  UpdatePrint("Update: Restoring stdout to the original handler.\n");
  UpdateFlushOutput();

  int output = fileno(stdout);
  if (output < 0) {
    UpdateWriteError(
        "Update: WARNING! Could not restore stdout because someone closed "
        "it.\n");
  } else {
    int result = -1;
    do {
      result = dup2(savedOutput, output);
    } while (result < 0 && errno == EINTR);
    // dup2 can fail here only if savedOutput was closed behind the
    // driver's back; standard output then stays on the file.
  }
  close(savedOutput);
  savedOutput = -1;
}
