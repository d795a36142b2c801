#include "base/process/process_buffers.h"

#include <stdio_ext.h>

#include <cstdio>
#include <iostream>
#include <ostream>

#include "base/error/error_format.h"
#include "base/log/logger.h"

namespace {

void FlushRetired(const std::unique_ptr<std::ostream>& stream) {
  if (stream != nullptr) {
    stream->flush();
  }
}

}  // namespace

void ProcessFlushBuffered() {
  ErrnoSaver saved;
  // The C++ streams first: when they are not synchronised with stdio their
  // own buffers drain into the descriptors, and when they are they drain
  // into the stdio streams flushed next.
  std::cout.flush();
  std::cerr.flush();
  std::clog.flush();
  std::wcout.flush();
  std::wcerr.flush();
  std::wclog.flush();
  Logger& logger = LoggerInstance();
  logger.logStream->flush();
  logger.errorStream->flush();
  logger.auxStream->flush();
  FlushRetired(logger.retiredLogStream);
  FlushRetired(logger.retiredErrorStream);
  FlushRetired(logger.retiredAuxStream);
  static_cast<void>(fflush(nullptr));
}

void ProcessDiscardBuffered() {
  ErrnoSaver saved;
  __fpurge(stdout);
  __fpurge(stderr);
}
