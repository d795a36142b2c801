#include "base/log/log.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <iostream>

#include "base/string/string_format.h"
#include "base/sync/mutex.h"

namespace {

// getpid and gettid are real system calls here and cost about a microsecond
// each, while every log line needs both. A process keeps its id and a thread
// its id, so both are kept; a forked child has a new process id, and the
// thread's cached id is valid only while the process id it was taken under is
// still current.
std::atomic<pid_t> cachedProcessId{0};

struct ThreadIdCache {
  pid_t process;
  pid_t thread;
};
thread_local ThreadIdCache threadIdCache;

// Runs in a forked child, in its only thread: the one that called fork. Its
// cached id belongs to the parent. Keying the thread's id by the process id
// alone is not enough: a thread that logged in a process whose id is later
// reused by a grandchild would otherwise match again.
void ForgetProcessId() {
  cachedProcessId.store(0, std::memory_order_relaxed);
  threadIdCache.process = 0;
}

pid_t CurrentProcessId() {
  pid_t process = cachedProcessId.load(std::memory_order_relaxed);
  if (process == 0) {
    static const int registered =
        pthread_atfork(nullptr, nullptr, ForgetProcessId);
    static_cast<void>(registered);
    process = getpid();
    cachedProcessId.store(process, std::memory_order_relaxed);
  }
  return process;
}

pid_t CurrentThreadId(pid_t process) {
  if (threadIdCache.process != process) {
    threadIdCache.thread = static_cast<pid_t>(syscall(SYS_gettid));
    threadIdCache.process = process;
  }
  return threadIdCache.thread;
}

// The local "HH:MM:SS" of the last second seen by this thread. localtime_r
// takes the time-zone lock; once per second is enough.
struct SecondCache {
  time_t second = -1;
  char text[9];
};
thread_local SecondCache secondCache;

// Writes value in decimal; returns the end.
char* PutDecimal(char* out, long value) {
  char digits[24];
  int count = 0;
  unsigned long magnitude = value < 0 ? 0UL - static_cast<unsigned long>(value)
                                      : static_cast<unsigned long>(value);
  do {
    digits[count++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) {
    *out++ = '-';
  }
  while (count > 0) {
    *out++ = digits[--count];
  }
  return out;
}

char* PutThreeDigits(char* out, unsigned int value) {
  out[0] = static_cast<char>('0' + value / 100);
  out[1] = static_cast<char>('0' + value / 10 % 10);
  out[2] = static_cast<char>('0' + value % 10);
  return out + 3;
}

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

std::ostream& LogChannel(Logger& logger) {
  return logger.enabled == 1 ? *logger.logStream : *logger.nullStream;
}

std::ostream& ErrorLine(Logger& logger, const char* label, size_t length) {
  if (logger.enabled == 0) {
    return *logger.nullStream;
  }
  LineStartLock lock(true);
  std::ostream& stream = *logger.errorStream;
  stream.flush();
  stream.write(label, static_cast<std::streamsize>(length));
  return stream;
}

template <size_t N>
std::ostream& ErrorLine(Logger& logger, const char (&label)[N]) {
  return ErrorLine(logger, label, N - 1);
}

}  // namespace

int LogPrefix(char* buffer, int size) {
  if (size <= 0) {
    return 0;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  pid_t process = CurrentProcessId();

  // Longest prefix: two 11-character ids, "HH:MM:SS mmm.uuu" and three
  // blanks, far below the accessors' buffer. Build it whole, then cut it as
  // snprintf(buffer, size - 1, ...) would: at most size - 2 characters.
  char text[64];
  char* out = PutDecimal(text, process);
  *out++ = ' ';
  out = PutDecimal(out, CurrentThreadId(process));
  *out++ = ' ';
  if (now.tv_usec < 0 || now.tv_usec > 999999) {
    out += strlen(TimeFormat(out, &now));
  } else {
    SecondCache& cache = secondCache;
    if (cache.second != now.tv_sec) {
      char time_text[32];
      TimeFormat(time_text, &now);
      memcpy(cache.text, time_text, 8);
      cache.text[8] = ' ';
      cache.second = now.tv_sec;
    }
    memcpy(out, cache.text, 9);
    out += 9;
    auto micros = static_cast<unsigned int>(now.tv_usec);
    out = PutThreeDigits(out, micros / 1000);
    *out++ = '.';
    out = PutThreeDigits(out, micros % 1000);
  }
  *out++ = ' ';
  int length = static_cast<int>(out - text);
  if (length > size - 2) {
    length = size > 2 ? size - 2 : 0;
  }
  memcpy(buffer, text, length);
  buffer[length] = '\0';
  return length;
}

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
  stream.flush();
  stream.write(prefix, length);
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

std::ostream& LogErrorContinue(Logger& logger) {
  return ErrorLine(logger, "");
}
std::ostream& LogErrorContinue() {
  return LogErrorContinue(LoggerInstance());
}

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

std::ostream& LogDirectError() {
  return LogDirect() << "Error: ";
}

std::ostream& LogDirectContinue() { return std::clog.flush(); }

std::ostream& LogDirectStream() { return std::clog; }
