#include "update/update_print.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string>

#include "base/file/file_descriptor.h"
#include "update/update.h"

std::ostream& UpdatePrint(const char* text) {
  if (text == nullptr) {
    std::cout.setstate(std::ios_base::badbit);
    return std::cout;
  }
  return std::cout << text;
}

UpdateErrorLine::UpdateErrorLine() : savedErrno_(errno) {}

UpdateErrorLine::~UpdateErrorLine() {
  UpdateFlushOutput();
  FileWriteString(2, line_.str().c_str());
  errno = savedErrno_;
}

void UpdateFlushOutput() {
  std::cout.flush();
  static_cast<void>(fflush(stdout));
  clearerr(stdout);
  std::cout.clear();
}
