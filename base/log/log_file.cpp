#include "base/log/log_file.h"

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
