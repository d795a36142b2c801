// The process-wide Logger: three channels (log, error, auxiliary), each with
// a current stream, a retired stream and a path, and the switches that the
// accessors of base/log/log.h consult.
//
// Start-up: any translation unit that includes this header holds a
// LogStartup object ahead of its own statics. The first of them to be
// constructed builds, in this order, the stream library's initialisation
// object, the Logger and LogMutex, and registers their destruction with
// atexit, so that at exit LogMutex goes first, then the Logger, then the
// stream library's clean-up (which flushes the standard streams). A static
// object in any translation unit may therefore log, also while it is being
// constructed, and while it is destroyed if it was constructed after the
// Logger.
//
// Thread safety: the fields are plain data; they are changed at start-up, by
// the redirection operations (base/log/log_redirect.h, which expect no other
// thread to be writing on the channel concerned) and by process creation in
// a forked child. Writers on the streams are serialised only at the start of
// a line (see log.h).

#ifndef QZ_BASE_LOG_LOGGER_H_
#define QZ_BASE_LOG_LOGGER_H_

#include <cstdint>
#include <fstream>
#include <memory>
#include <ostream>
#include <streambuf>

#include "base/sync/mutex.h"

struct Logger {
  Logger();
  ~Logger();
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Current stream of each channel; never null. The standard log stream
  // (std::clog) is never owned; any other current stream is owned by the
  // Logger from the moment it became current.
  std::ostream* logStream;
  // The channel's previous stream, kept alive after the channel moved away
  // from it and writing into savedLogBuffer; at most one per channel.
  std::unique_ptr<std::ostream> retiredLogStream;
  std::ostream* errorStream;
  std::unique_ptr<std::ostream> retiredErrorStream;
  std::ostream* auxStream;
  std::unique_ptr<std::ostream> retiredAuxStream;

  // Owned strings: the path of the file a channel writes while the channel
  // is on a file that the Logger opened by name, else null.
  char* logPath;
  char* errorPath;
  char* auxPath;

  // Never opened: whatever is written to it is discarded.
  std::unique_ptr<std::ofstream> nullStream;
  // The standard log stream's own buffer, taken at construction.
  std::streambuf* savedLogBuffer;

  // Non-zero: the log and error channels may be redirected.
  int32_t redirectEnabled;
  // 1: logging on; 0: every accessor returns nullStream.
  int32_t enabled;
  // Non-zero: LogLabel writes its label.
  int32_t labels;
  // 0: files opened by redirection are unbuffered.
  int32_t buffered;
  // 1: Log takes LogMutex around the start of a line.
  int32_t locking;
};

// The process-wide Logger.
Logger& LoggerInstance();

// The standard log stream, std::clog (buffered, on descriptor 2).
std::ostream& LogStandardStream();

class LogStartup {
 public:
  LogStartup();
};

// One per translation unit, ahead of that unit's own statics.
static const LogStartup logStartup;

// The process's one mutex in use: it serialises the start of log lines and
// is held across fork by process creation. Initialised before main by the
// start-up above, after the Logger; destroyed at exit before the Logger.
extern Mutex LogMutex;

#endif  // QZ_BASE_LOG_LOGGER_H_
