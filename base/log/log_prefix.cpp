// Built for every log line: getpid and gettid are real system calls here (about
// a microsecond each) and localtime_r takes the time-zone lock, while only the
// milliseconds change from line to line. So each thread keeps "<pid> <tid>
// HH:MM:SS " as text and rebuilds it only when the second or the process
// changes; a line then costs one clock reading, one short copy and seven
// digits.
//
// The process id is read once per process. A forked child drops both the
// process id and the forking thread's text (pthread_atfork), since that
// thread is the child's only one and its ids belong to the parent. Other
// threads do not exist in the child, and a new thread starts with an empty
// text of its own.

#include "base/log/log_prefix.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "base/string/string_format.h"

namespace {

// Two ids of at most 11 characters, "HH:MM:SS mmm.uuu" and three blanks.
constexpr int kPrefixMax = 11 + 1 + 11 + 1 + 16 + 1;

std::atomic<pid_t> cachedProcessId{0};

// "<pid> <tid> HH:MM:SS " of this thread; valid while `process` is the
// current process id and `second` the current second.
struct LineStart {
  pid_t process;
  int idsLength;  // Length of "<pid> <tid> ".
  time_t second;  // The second the time text is for; -1 for none yet.
  char text[kPrefixMax];
};
thread_local LineStart lineStart = {0, 0, -1, {}};

// Runs in a forked child, in the thread that called fork.
void ForgetIds() {
  cachedProcessId.store(0, std::memory_order_relaxed);
  lineStart.process = 0;
}

pid_t CurrentProcessId() {
  pid_t process = cachedProcessId.load(std::memory_order_relaxed);
  if (process == 0) {
    static const int registered = pthread_atfork(nullptr, nullptr, ForgetIds);
    static_cast<void>(registered);
    process = getpid();
    cachedProcessId.store(process, std::memory_order_relaxed);
  }
  return process;
}

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

// "mmm.uuu " from microseconds in 0..999999: eight characters.
void PutMilliseconds(char* out, unsigned int micros) {
  unsigned int millis = micros / 1000;
  unsigned int rest = micros % 1000;
  out[0] = static_cast<char>('0' + millis / 100);
  out[1] = static_cast<char>('0' + millis / 10 % 10);
  out[2] = static_cast<char>('0' + millis % 10);
  out[3] = '.';
  out[4] = static_cast<char>('0' + rest / 100);
  out[5] = static_cast<char>('0' + rest / 10 % 10);
  out[6] = static_cast<char>('0' + rest % 10);
  out[7] = ' ';
}

// Brings this thread's text up to date; returns the length of
// "<pid> <tid> HH:MM:SS ".
int UpdateLineStart(LineStart& cache, const struct timeval& now) {
  pid_t process = CurrentProcessId();
  if (cache.process != process) {
    char* out = PutDecimal(cache.text, process);
    *out++ = ' ';
    out = PutDecimal(out, static_cast<long>(syscall(SYS_gettid)));
    *out++ = ' ';
    cache.idsLength = static_cast<int>(out - cache.text);
    cache.second = -1;
    cache.process = process;
  }
  if (cache.second != now.tv_sec) {
    char time_text[32];
    TimeFormat(time_text, &now);
    memcpy(cache.text + cache.idsLength, time_text, 8);
    cache.text[cache.idsLength + 8] = ' ';
    cache.second = now.tv_sec;
  }
  return cache.idsLength + 9;
}

}  // namespace

int LogPrefix(char* buffer, int size) {
  if (size <= 0) {
    return 0;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  LineStart& cache = lineStart;
  int head = UpdateLineStart(cache, now);

  // The text is cut as snprintf(buffer, size - 1, ...) would cut it: at
  // most size - 2 characters. The accessors' buffer always takes it whole.
  int limit = size > 2 ? size - 2 : 0;
  char text[kPrefixMax + 16];
  int length;
  if (now.tv_usec >= 0 && now.tv_usec <= 999999) {
    length = head + 8;
    char* out = length <= limit ? buffer : text;
    memcpy(out, cache.text, head);
    PutMilliseconds(out + head, static_cast<unsigned int>(now.tv_usec));
    if (out == buffer) {
      buffer[length] = '\0';
      return length;
    }
  } else {
    // Not from gettimeofday; formatted the slow way, as the time text is.
    memcpy(text, cache.text, cache.idsLength);
    length = cache.idsLength +
             static_cast<int>(strlen(TimeFormat(text + cache.idsLength, &now)));
    text[length++] = ' ';
  }
  if (length > limit) {
    length = limit;
  }
  memcpy(buffer, text, length);
  buffer[length] = '\0';
  return length;
}
