#include "base/log/logger.h"

#include <cstdlib>
#include <iostream>
#include <new>

#include "base/log/log_redirect.h"
#include "base/sync/mutex.h"

Mutex LogMutex;

namespace {

// Storage for the objects the start-up builds. They live in static storage
// but are constructed and destroyed explicitly, so that their order does not
// depend on the order in which translation units are initialised.
alignas(std::ios_base::Init) unsigned char streamInitStorage[sizeof(
    std::ios_base::Init)];
alignas(Logger) unsigned char loggerStorage[sizeof(Logger)];

// Constant-initialised (zero) before any dynamic initialisation runs.
int startupCount;
bool loggerBuilt;

std::ios_base::Init* StreamInit() {
  return std::launder(
      reinterpret_cast<std::ios_base::Init*>(streamInitStorage));
}

Logger* LoggerObject() {
  return std::launder(reinterpret_cast<Logger*>(loggerStorage));
}

void DestroyStreamInit() { StreamInit()->~Init(); }
void DestroyLogger() { LoggerObject()->~Logger(); }
void DestroyLogMutex() { MutexDestroy(&LogMutex); }

// atexit fails only when the C library cannot allocate room for another
// handler; the objects then live on to the end of the process, which does no
// harm (the standard streams are still flushed by the C library's own exit).
void StartUp() {
  new (streamInitStorage) std::ios_base::Init();
  static_cast<void>(atexit(DestroyStreamInit));
  new (loggerStorage) Logger();
  loggerBuilt = true;
  static_cast<void>(atexit(DestroyLogger));
  MutexInit(&LogMutex);
  static_cast<void>(atexit(DestroyLogMutex));
}

}  // namespace

LogStartup::LogStartup() {
  if (startupCount++ == 0) {
    StartUp();
  }
}

Logger::Logger()
    : logStream(&std::clog),
      errorStream(&std::clog),
      auxStream(&std::clog),
      logPath(nullptr),
      errorPath(nullptr),
      auxPath(nullptr),
      nullStream(new std::ofstream()),
      savedLogBuffer(std::clog.rdbuf()),
      redirectEnabled(0),
      enabled(1),
      labels(1),
      buffered(1),
      locking(1) {}

Logger::~Logger() {
  // std::clog gets its own buffer back before any channel's stream is
  // flushed and retired; the stream library's clean-up flushes it later.
  if (errorPath != nullptr) {
    std::clog.rdbuf(savedLogBuffer);
  }
  LoggerRestoreLog(*this);
  LoggerRestoreError(*this);
  LoggerRestoreAux(*this);
  // Destroying a file stream closes its file.
  retiredLogStream.reset();
  retiredErrorStream.reset();
  retiredAuxStream.reset();
  nullStream.reset();
}

Logger& LoggerInstance() {
  // A caller that reaches the Logger before any LogStartup of its own ran
  // (a translation unit that declares the accessors by hand) still finds it
  // built.
  if (!loggerBuilt) {
    LogStartup startup;
  }
  return *LoggerObject();
}

std::ostream& LogStandardStream() { return std::clog; }
