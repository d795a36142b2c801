// Paths of the three programs that the stages start.

#include "base/string/owned_string.h"
#include "update/update.h"

namespace {

// "<system>/bin/<name>", or null for a null or empty system directory.
char* UpdateProgramPath(const char* system, const char* name) {
  if (system == nullptr || system[0] == '\0') {
    return nullptr;
  }
  char* path = nullptr;
  StringAppend(&path, system, "/bin/", name);
  return path;
}

}  // namespace

char* UpdateRunnerPath(const char* system) {
  return UpdateProgramPath(system, "qzrunner.bin");
}

char* UpdatePostPath(const char* system) {
  return UpdateProgramPath(system, "qzpost");
}

char* UpdateServerPath(const char* system) {
  return UpdateProgramPath(system, "qzserver");
}
