// Ownership repair: what the driver creates under sudo goes to the user who
// called sudo (SUDO_UID:SUDO_GID).

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "base/error/error_format.h"
#include "base/file/file_owner.h"
#include "base/file/file_path.h"
#include "base/process/user.h"
#include "update/update.h"
#include "update/update_internal.h"

void UpdateSetOwner(const char* path) {
  UpdatePrint("Update: Set owner method called.\n");

  int user = -1;
  const char* value = getenv("SUDO_UID");
  if (value != nullptr) {
    user = ProcessParseId(value);
    if (user == -1) {
      UpdateWriteError("Update: WARNING! SUDO_UID is not set properly.\n");
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
    UpdateWriteError("Update: WARNING! SUDO_GID is not set properly.\n");
    return;
  }
  UpdatePrint("Update: Using group id '") << group << "'.\n";
  if (user == -1) {
    return;
  }

  const char* kind = FileIsDirectory(nullptr, path) != 0 ? "directory" : "file";
  if (FileSetOwner(path, user, group) == 1) {
    return;
  }
  int error = errno;
  std::ostringstream line;
  line << "Update: WARNING! Failed to change ownership of " << kind << " '"
       << path << "'. Error is '" << ErrorText(error) << "'.\n";
  UpdateWriteError(line.str());
}
