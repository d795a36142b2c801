// QZ_SYSTEM and LD_LIBRARY_PATH: where the installation lies, worked out
// from the driver's own location when the caller did not say.

#include "update/update_environment.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/file/file_path.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_print.h"

namespace {

// Size of the buffers that paths are formed in; a path that does not fit
// with its terminator is not used.
constexpr int kPathBufferSize = 1024;

// Removes the last '/' of text and all after it, when there is one.
void CutAtLastSlash(char* text) {
  char* slash = strrchr(text, '/');
  if (slash != nullptr) {
    *slash = '\0';
  }
}

// The directory of the process's own program from its /proc link, without
// a trailing '/'. Leaves buffer empty when the link cannot be read or does
// not fit whole: a cut target would name some other directory.
void ApplicationPathFromLink(char* buffer) {
  char link[kPathBufferSize];
  static_cast<void>(snprintf(link, kPathBufferSize - 1, "/proc/%d/exe",
                             static_cast<int>(getpid())));
  if (FileExists(nullptr, link) != 1) {
    return;
  }
  ssize_t length = readlink(link, buffer, kPathBufferSize - 1);
  if (length < 0 || length >= kPathBufferSize - 1) {
    buffer[0] = '\0';
    return;
  }
  buffer[length] = '\0';
  CutAtLastSlash(buffer);
}

// The directory of an absolute argv[0], keeping its trailing '/'. An argv[0]
// too long for the buffer gives nothing rather than an ancestor directory.
void ApplicationPathFromArgument(char* buffer, const char* argv0) {
  if (argv0 == nullptr || argv0[0] != '/' ||
      strlen(argv0) >= static_cast<size_t>(kPathBufferSize - 1)) {
    return;
  }
  memcpy(buffer, argv0, strlen(argv0) + 1);
  char* slash = strrchr(buffer, '/');
  slash[1] = '\0';
}

}  // namespace

const char* UpdateGetEnvironment(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr || value[0] == '\0') {
    return nullptr;
  }
  return value;
}

void UpdateSearchPath(const char* path, char* buffer) {
  if (path == nullptr) {
    return;
  }
  char* copy = StringDuplicate(path);
  char* rest = copy;
  char* entry = nullptr;
  while ((entry = strtok_r(rest, ":", &rest)) != nullptr) {
    char candidate[kPathBufferSize];
    int length = snprintf(candidate, kPathBufferSize - 1, "%s/qzrunner", entry);
    if (length < 0 || length >= kPathBufferSize - 1) {
      continue;
    }
    if (FileExists(nullptr, candidate) == 1) {
      static_cast<void>(snprintf(buffer, kPathBufferSize - 1, "%s/", entry));
      break;
    }
  }
  StringReset(&copy);
}

char* UpdateApplicationPath(const char* argv0) {
  char* buffer = nullptr;
  StringNewBuffer(&buffer);
  ApplicationPathFromLink(buffer);
  if (buffer[0] == '\0') {
    ApplicationPathFromArgument(buffer, argv0);
  }
  if (buffer[0] == '\0') {
    UpdateSearchPath(getenv("PATH"), buffer);
  }
  UpdatePrint("Update: Application path is '") << buffer << "'.\n";
  return buffer;
}

void UpdateSetEnvironment(char** argv) {
  if (UpdateGetEnvironment("QZ_SYSTEM") == nullptr) {
    char* application =
        UpdateApplicationPath(argv != nullptr ? argv[0] : nullptr);
    if (application[0] == '\0') {
      UpdateErrorLine()
          << "Update: ERROR! Can not find environment for QZ_SYSTEM.\n";
      StringReset(&application);
      UpdateExitWith(2);
    }
    CutAtLastSlash(application);
    // setenv fails only for a bad name or when memory runs out; the names
    // are constants, and without memory the run cannot go on reporting.
    static_cast<void>(setenv("QZ_SYSTEM", application, 1));
    StringAppend(&application, "/", "lib");
    static_cast<void>(setenv("LD_LIBRARY_PATH", application, 1));
    StringReset(&application);
  }

  if (UpdateGetEnvironment("QZ_ROOT") != nullptr) {
    return;
  }
  char* root = UpdateRootDirectory();
  if (root == nullptr || root[0] == '\0') {
    UpdateErrorLine()
        << "Update: ERROR! Can not find environment for QZ_ROOT.\n";
    StringReset(&root);
    UpdateExitWith(2);
  }
  static_cast<void>(setenv("QZ_ROOT", root, 1));
  static_cast<void>(setenv("QZ_CONFIG", root, 1));
  StringReset(&root);
}
