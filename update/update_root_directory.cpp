// QZ_ROOT: the QZ user's personal root directory "<home>/.qz", made when it
// does not exist yet.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/error/error_format.h"
#include "base/file/file_path.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_environment.h"
#include "update/update_made.h"
#include "update/update_print.h"

namespace {

// Longest home directory taken from the environment.
constexpr size_t kHomeMaxLength = 1023;
// Longest home directory under which "/.qz" still fits in 1023 characters.
constexpr size_t kRootHomeMaxLength = 1019;

void WriteInvalidHome(const char* value) {
  UpdateErrorLine()
      << "Update: ERROR! Invalid value for the QZ home directory '" << value
      << "'.\n";
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
  UpdateErrorLine() << "Update: ERROR!  HOME is '"
                    << (home != nullptr ? home : "nil") << "'.\n";
  if (home == nullptr || home[0] == '\0') {
    UpdateErrorLine() << "Update: ERROR! No environment for HOME.\n";
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
    UpdateErrorLine() << "Update: ERROR! Home path is empty.\n";
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

  // The home directory is resolved once; from then on the personal root is
  // found or made through its descriptor.
  if (!UpdateMadeRootPresent(home)) {
    UpdatePrint("Update: WARNING! Creating directory '") << root << "'.\n";
    if (UpdateMadeRoot(root) != 0) {
      // Something that appeared there meanwhile (EEXIST) was not made by
      // the driver: it is used as it is, its mode and owner untouched.
      if (errno != EEXIST) {
        int error = errno;
        UpdateErrorLine() << "Update: ERROR! Can't create directory '" << root
                          << ". Error is '" << error << "''" << ErrorText(error)
                          << "''.\n";
        StringReset(&home);
        return root;
      }
      UpdateMadeFindRoot(root);
    }
  } else {
    UpdateMadeFindRoot(root);
  }
  StringReset(&home);

  UpdatePrint("Update: Assuming QZ root directory '") << root << "'.\n";
  return root;
}
