// Ownership repair: what the driver creates under sudo goes to the user who
// called sudo (SUDO_UID:SUDO_GID).

#include "update/update_owner.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "base/error/error_format.h"
#include "base/file/file_owner.h"
#include "base/file/file_path.h"
#include "base/process/user.h"
#include "update/update.h"
#include "update/update_print.h"

namespace {

// The ownership repair of one path. change makes the change (1, or -1 with
// errno after the File module's lines) and tells whether path is a
// directory; both are asked only when both ids are usable.
template <typename IsDirectory, typename Change>
void SetOwner(const char* path, IsDirectory is_directory, Change change) {
  UpdatePrint("Update: Set owner method called.\n");

  int user = -1;
  const char* value = getenv("SUDO_UID");
  if (value != nullptr) {
    user = ProcessParseId(value);
    if (user == -1) {
      UpdateErrorLine() << "Update: WARNING! SUDO_UID is not set properly.\n";
    } else {
      UpdatePrint("Update: Using user id '") << user << "'.\n";
    }
  }

  value = getenv("SUDO_GID");
  if (value == nullptr) {
    return;
  }
  int group = ProcessParseId(value);
  if (group == -1) {
    UpdateErrorLine() << "Update: WARNING! SUDO_GID is not set properly.\n";
    return;
  }
  UpdatePrint("Update: Using group id '") << group << "'.\n";
  if (user == -1) {
    return;
  }

  const char* kind = is_directory() ? "directory" : "file";
  if (change(user, group) == 1) {
    return;
  }
  UpdateErrorLine() << "Update: WARNING! Failed to change ownership of " << kind
                    << " '" << path << "'. Error is '" << UpdateErrnoText()
                    << "'.\n";
}

}  // namespace

void UpdateSetOwner(const char* path) {
  SetOwner(
      path, [path] { return FileIsDirectory(nullptr, path) != 0; },
      [path](int user, int group) { return FileSetOwner(path, user, group); });
}

void UpdateSetOwnerOf(int fd, const char* path, bool directory) {
  // Taken before anything is printed: it tells why there is no descriptor.
  int error = errno;
  SetOwner(
      path,
      [fd, directory] {
        struct stat record = {};
        // As for a path: what cannot be examined counts as a directory.
        return fd < 0 ? directory
                      : fstat(fd, &record) != 0 || S_ISDIR(record.st_mode);
      },
      [fd, path, error](int user, int group) {
        errno = error;
        return FileSetDescriptorOwner(fd, path, user, group);
      });
}
