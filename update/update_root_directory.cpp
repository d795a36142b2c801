// QZ_ROOT: the QZ user's personal root directory "<home>/.qz", made when it
// does not exist yet.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

#include "base/error/error_format.h"
#include "base/file/file_path.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_internal.h"

namespace {

// Longest home directory taken from the environment.
constexpr size_t kHomeMaxLength = 1023;
// Longest home directory under which "/.qz" still fits in 1023 characters.
constexpr size_t kRootHomeMaxLength = 1019;

void WriteInvalidHome(const char* value) {
  std::ostringstream line;
  line << "Update: ERROR! Invalid value for the QZ home directory '" << value
       << "'.\n";
  UpdateWriteError(line.str());
}

// A copy of a usable home directory, announced on standard output.
char* TakeHome(const char* value) {
  char* copy = StringDuplicate(value);
  UpdatePrint("Update: Assuming QZ user's home directory '") << copy << "'.\n";
  return copy;
}

}  // namespace

char* UpdateHomeDirectory() {
  const char* qz_home = UpdateGetEnvironment("QZ_HOME");
  if (qz_home != nullptr) {
    if (strlen(qz_home) > kHomeMaxLength) {
      WriteInvalidHome(qz_home);
      return nullptr;
    }
    return TakeHome(qz_home);
  }

  UpdatePrint("Update: WARNING! No environment for QZ_HOME.\n");
  const char* home = getenv("HOME");
  std::ostringstream line;
  line << "Update: ERROR!  HOME is '" << (home != nullptr ? home : "nil")
       << "'.\n";
  UpdateWriteError(line.str());
  if (home == nullptr || home[0] == '\0') {
    UpdateWriteError("Update: ERROR! No environment for HOME.\n");
    return nullptr;
  }
  if (strlen(home) > kHomeMaxLength) {
    WriteInvalidHome(home);
    return nullptr;
  }
  return TakeHome(home);
}

char* UpdateRootDirectory() {
  UpdatePrint("Update: WARNING! No environment for QZ_ROOT.\n");

  char* home = UpdateHomeDirectory();
  if (home == nullptr || home[0] == '\0') {
    UpdateWriteError("Update: ERROR! Home path is empty.\n");
    StringReset(&home);
    return nullptr;
  }
  if (strlen(home) > kRootHomeMaxLength) {
    WriteInvalidHome(home);
    StringReset(&home);
    return nullptr;
  }
  UpdatePrint("Update: Assuming QZ root directory in the user's home '")
      << home << "'.\n";

  char* root = nullptr;
  StringAppend(&root, home, "/.qz");
  StringReset(&home);

  if (FileExists(nullptr, root) != 1) {
    UpdatePrint("Update: WARNING! Creating directory '") << root << "'.\n";
    if (UpdateMakeDirectory(AT_FDCWD, root) != 0) {
      int error = errno;
      if (error != EEXIST) {
        std::ostringstream line;
        line << "Update: ERROR! Can't create directory '" << root
             << ". Error is '" << error << "''" << ErrorText(error) << "''.\n";
        UpdateWriteError(line.str());
        return root;
      }
      // Something appeared there meanwhile that the driver did not make:
      // it is used as it is, its mode and owner untouched.
    } else {
      // From here on through a descriptor of the directory just made: the
      // home directory is the caller's, who may have put something else in
      // its place meanwhile, which is then neither changed nor used.
      int fd = UpdateOpenMadeDirectory(AT_FDCWD, root, nullptr);
      if (fd >= 0) {
        static_cast<void>(fchmod(fd, 0700));
        StringReset(&updateMade.rootPath);
        updateMade.rootPath = StringDuplicate(root);
        if (updateMade.root >= 0) {
          close(updateMade.root);
        }
        updateMade.root = fd;
      }
      UpdateSetOwnerOf(fd, root, true);
    }
  }

  UpdatePrint("Update: Assuming QZ root directory '") << root << "'.\n";
  return root;
}
