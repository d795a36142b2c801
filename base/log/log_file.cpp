#include "base/log/log_file.h"

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "base/file/file_umask.h"
#include "base/process/process_control.h"

std::unique_ptr<std::ofstream> LoggerOpenFile(const Logger& logger,
                                              std::ios_base::openmode mode,
                                              const char* path) {
  // No permissions for group or others on a file created here.
  ScopedUmask mask(077);
  for (int attempt = 0; attempt < kLoggerOpenAttempts; ++attempt) {
    std::unique_ptr<std::ofstream> stream(new std::ofstream());
    if (logger.buffered == 0) {
      // Only effective before the file buffer is opened.
      stream->rdbuf()->pubsetbuf(nullptr, 0);
    }
    if (stream->rdbuf()->open(path, std::ios_base::out | mode) == nullptr) {
      stream->setstate(std::ios_base::failbit);
    } else {
      stream->clear();
    }
    if (!stream->fail()) {
      return stream;
    }
    stream.reset();
    ProcessSleep(kLoggerOpenPauseMilliseconds);
  }
  return nullptr;
}

std::unique_ptr<std::ofstream> LoggerAdoptFile(const Logger& logger, int fd) {
  int own = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (own < 0) {
    return nullptr;
  }
  // The standard streams open files by name only; the library's file
  // buffer made on a descriptor is swapped into a plain file stream, which
  // then writes and closes it like any file it opened itself.
  __gnu_cxx::stdio_filebuf<char> held(
      own, std::ios_base::out | std::ios_base::app,
      logger.buffered == 0 ? 0 : static_cast<size_t>(BUFSIZ));
  if (!held.is_open()) {
    close(own);
    return nullptr;
  }
  std::unique_ptr<std::ofstream> stream(new std::ofstream());
  stream->rdbuf()->swap(held);
  return stream;
}
