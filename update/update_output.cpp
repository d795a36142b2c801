// Redirection of the driver's standard output into a file, and its undoing,
// with the one saved descriptor that makes the undoing possible.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/file/file_path.h"
#include "update/update.h"
#include "update/update_made.h"
#include "update/update_print.h"
#include "update/update_signals.h"

namespace {

// Opens path for appending (created with mode 0666 less the umask, as a
// stream reopened with "a" would be). The open does not wait (for a FIFO's
// reader), and an interrupted call is repeated only while no terminating
// signal has come. A close-on-exec descriptor, or -1 with errno.
int OpenAppending(const char* path) {
  int file = -1;
  do {
    file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC,
                0666);
  } while (file < 0 && errno == EINTR && UpdateReceivedSignal() == 0);
  if (file >= 0) {
    static_cast<void>(fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK));
  }
  return file;
}

// Puts file (-1: none could be opened) onto output and closes it, so that a
// file that could not be opened leaves standard output as it was. True on
// success; errno tells why not otherwise.
bool PutOnOutput(int file, int output) {
  if (file < 0) {
    return false;
  }
  int result = -1;
  do {
    result = dup2(file, output);  // the copy on output is inherited
  } while (result < 0 && errno == EINTR && UpdateReceivedSignal() == 0);
  int error = errno;
  close(file);
  errno = error;
  return result >= 0;
}

}  // namespace

void UpdateRedirectOutput(const char* path) {
  if (savedOutput != -1) {
    UpdateErrorLine() << "Update: Can't redirect stdout before restoring the "
                         "original descriptors.\n";
    UpdateRestoreOutput();
  }

  UpdateFlushOutput();
  int output = fileno(stdout);
  // Kept away from the children: they get descriptors 0, 1 and 2 only.
  savedOutput = output < 0 ? -1 : fcntl(output, F_DUPFD_CLOEXEC, 3);
  if (savedOutput < 0) {
    savedOutput = -1;
    UpdateErrorLine() << "Update: Redirection of stdout failed because could "
                         "not save the original handler.\n";
    return;
  }

  bool is_new = FileExists(nullptr, path) != 1;
  if (!is_new) {
    UpdatePrint("Update: File already exists.\n");
    UpdateFlushOutput();
  }

  // The session file lies in a directory that belongs to the caller by
  // now: it is never created, followed or changed by name there.
  bool session = UpdateIsMadeSession(path);
  bool reopened = PutOnOutput(
      session ? UpdateMadeReopenSession() : OpenAppending(path), output);
  if (reopened) {
    UpdatePrint("Update: Redirected stdout to '") << path << "'.\n";
    UpdateFlushOutput();
  } else {
    UpdateErrorLine() << "Update: Could not redirect stdout to '" << path
                      << "'.\n";
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
    UpdateErrorLine() << "Update: WARNING! Could not restore stdout because "
                         "someone closed it.\n";
  } else {
    // The run is ending already: a signal noted does not stop this.
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
