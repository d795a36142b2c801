#include "base/log/log.h"

#include <pthread.h>

#include <iostream>

#include "base/log/log_prefix.h"
#include "base/sync/mutex.h"

namespace {

// Takes LogMutex for the start of a line; with `take` false it does nothing.
class LineStartLock {
 public:
  explicit LineStartLock(bool take) : taken_(take) {
    if (taken_) {
      pthread_mutex_lock(&LogMutex);
    }
  }
  ~LineStartLock() {
    if (taken_) {
      pthread_mutex_unlock(&LogMutex);
    }
  }
  LineStartLock(const LineStartLock&) = delete;
  LineStartLock& operator=(const LineStartLock&) = delete;

 private:
  bool taken_;
};

// Flushes what the stream holds and then writes text, exactly as
// stream.flush() and stream.write() would. When those two would do nothing
// but call the stream's buffer (the stream is good, tied to no other stream
// and not unit-buffered), they are skipped and the buffer is called
// directly: this runs for every line, and each of them would build a sentry
// of its own.
void StartLine(std::ostream& stream, const char* text, std::streamsize length) {
  std::streambuf* buffer = stream.rdbuf();
  if (buffer == nullptr || !stream.good() || stream.tie() != nullptr ||
      (stream.flags() & std::ios_base::unitbuf) != 0) {
    stream.flush();
    stream.write(text, length);
    return;
  }
  if (buffer->pubsync() == -1) {
    stream.setstate(std::ios_base::badbit);
    return;
  }
  if (buffer->sputn(text, length) != length) {
    stream.setstate(std::ios_base::badbit);
  }
}

std::ostream& LogChannel(Logger& logger) {
  return logger.enabled == 1 ? *logger.logStream : *logger.nullStream;
}

std::ostream& ErrorLine(Logger& logger, const char* label, size_t length) {
  if (logger.enabled == 0) {
    return *logger.nullStream;
  }
  LineStartLock lock(true);
  std::ostream& stream = *logger.errorStream;
  StartLine(stream, label, static_cast<std::streamsize>(length));
  return stream;
}

template <size_t N>
std::ostream& ErrorLine(Logger& logger, const char (&label)[N]) {
  return ErrorLine(logger, label, N - 1);
}

}  // namespace

std::ostream& Log(Logger& logger) {
  if (logger.enabled == 0) {
    return *logger.nullStream;
  }
  // The prefix is formatted before the lock, so that the lock covers only
  // the flush of the previous line and one short write.
  char prefix[kLogPrefixSize];
  int length = LogPrefix(prefix, kLogPrefixSize);
  LineStartLock lock(logger.locking == 1);
  std::ostream& stream = LogChannel(logger);
  StartLine(stream, prefix, length);
  stream.setf(std::ios_base::dec, std::ios_base::basefield);
  return stream;
}

std::ostream& Log() { return Log(LoggerInstance()); }

std::ostream& LogContinue(Logger& logger) {
  if (logger.enabled == 0) {
    return *logger.nullStream;
  }
  LineStartLock lock(true);
  std::ostream& stream = LogChannel(logger);
  stream.flush();
  return stream;
}

std::ostream& LogContinue() { return LogContinue(LoggerInstance()); }

std::ostream& LogSession(Logger& logger) {
  return ErrorLine(logger, "Session: ");
}
std::ostream& LogSession() { return LogSession(LoggerInstance()); }

std::ostream& LogError(Logger& logger) { return ErrorLine(logger, "Error: "); }
std::ostream& LogError() { return LogError(LoggerInstance()); }

std::ostream& LogWarning(Logger& logger) {
  return ErrorLine(logger, "Warning: ");
}
std::ostream& LogWarning() { return LogWarning(LoggerInstance()); }

std::ostream& LogInfo(Logger& logger) { return ErrorLine(logger, "Info: "); }
std::ostream& LogInfo() { return LogInfo(LoggerInstance()); }

std::ostream& LogErrorContinue(Logger& logger) { return ErrorLine(logger, ""); }
std::ostream& LogErrorContinue() { return LogErrorContinue(LoggerInstance()); }

std::ostream& LogLabel(Logger& logger, const char* label) {
  std::ostream& stream = Log(logger);
  if (logger.enabled != 0 && logger.labels != 0) {
    stream << (label != nullptr ? label : "nil") << '/';
  }
  return stream;
}

std::ostream& LogLabel(const char* label) {
  return LogLabel(LoggerInstance(), label);
}

void LogFlush(Logger& logger) {
  LineStartLock lock(true);
  std::ostream& stream = LogChannel(logger);
  stream.setf(std::ios_base::dec, std::ios_base::basefield);
  stream.flush();
  logger.errorStream->setf(std::ios_base::dec, std::ios_base::basefield);
  logger.errorStream->flush();
}

void LogFlush() { LogFlush(LoggerInstance()); }

std::ostream& LogDirect() {
  char prefix[kLogPrefixSize];
  int length = LogPrefix(prefix, kLogPrefixSize);
  std::clog.flush();
  std::clog.write(prefix, length);
  return std::clog;
}

std::ostream& LogDirectError() { return LogDirect() << "Error: "; }

std::ostream& LogDirectContinue() { return std::clog.flush(); }

std::ostream& LogDirectStream() { return std::clog; }
