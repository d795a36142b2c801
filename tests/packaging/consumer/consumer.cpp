// Uses the installed qzbase the way another program would: an error name on
// standard output, and a log line, with its prefix, on the log channel
// (standard error).

#include <cstdio>
#include <cstring>

#include "base/error/error_text.h"
#include "base/log/log.h"

int main() {
  const char* name = ErrorName(2);
  if (name == nullptr) {
    return 1;
  }
  Log() << "Consumer: ErrorName(2) is '" << name << "'.\n";
  LogFlush();
  std::printf("%s\n", name);
  return std::strcmp(name, "ENOENT") == 0 ? 0 : 1;
}
