// Where the driver's lines go: progress to the stdout stream, warnings and
// errors straight to descriptor 2.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "base/file/file_descriptor.h"
#include "update/update.h"
#include "update/update_internal.h"

std::ostream& UpdatePrint(const char* text) {
  if (text == nullptr) {
    std::cout.setstate(std::ios_base::badbit);
    return std::cout;
  }
  return std::cout << text;
}

void UpdateWriteError(const std::string& line) {
  int saved = errno;
  // The stdout stream may share the terminal: what it holds comes first.
  UpdateFlushOutput();
  FileWriteString(2, line.c_str());
  errno = saved;
}

void UpdateFlushOutput() {
  std::cout.flush();
  // A failed flush (a full disk, a reader gone) has lost the text; there
  // is nowhere to report it. The error is forgotten, so that what comes
  // later is still written, into a file that standard output may be on by
  // then.
  static_cast<void>(fflush(stdout));
  clearerr(stdout);
  std::cout.clear();
}

const char* UpdateGetEnvironment(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr || value[0] == '\0') {
    return nullptr;
  }
  return value;
}
