#include "base/string/string_format.h"

#include <cstdio>

#include "base/string/owned_string.h"

namespace {

constexpr int kTimeSize = 17;
constexpr int kCtimeSize = 26;
constexpr int kAddressSize = 16;

// Three digits from a value below 1000, most significant first.
char* PutThreeDigits(char* out, unsigned int value) {
  out[0] = static_cast<char>('0' + value / 100);
  out[1] = static_cast<char>('0' + value / 10 % 10);
  out[2] = static_cast<char>('0' + value % 10);
  return out + 3;
}

char* PutTwoDigits(char* out, int value) {
  out[0] = static_cast<char>('0' + value / 10 % 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

}  // namespace

// Every line of the log carries this text, so it is built by hand rather than
// with snprintf: "%02d:%02d:%02d %07.3f" where the last field is the
// microseconds times 0.001. With microseconds in 0..999999 that field is
// always three integer digits, a point and three decimals, and the decimals
// are exact (they are the low three decimal digits of the microseconds).
char* TimeFormat(char* buffer, const struct timeval* time) {
  struct tm local;
  time_t seconds = time->tv_sec;
  localtime_r(&seconds, &local);
  long micros = time->tv_usec;
  if (micros < 0 || micros > 999999) {
    static_cast<void>(snprintf(buffer, kTimeSize, "%02d:%02d:%02d %07.3f",
                               local.tm_hour, local.tm_min, local.tm_sec,
                               static_cast<double>(micros) * 0.001));
    return buffer;
  }
  char* out = buffer;
  out = PutTwoDigits(out, local.tm_hour);
  *out++ = ':';
  out = PutTwoDigits(out, local.tm_min);
  *out++ = ':';
  out = PutTwoDigits(out, local.tm_sec);
  *out++ = ' ';
  out = PutThreeDigits(out, static_cast<unsigned int>(micros / 1000));
  *out++ = '.';
  out = PutThreeDigits(out, static_cast<unsigned int>(micros % 1000));
  *out = '\0';
  return buffer;
}

void StringSetTime(char** slot, const struct timeval* time) {
  StringReset(slot);
  TimeFormat(StringAllocate(slot, kTimeSize), time);
}

char* StringFormatCtime(char* buffer, const time_t* time) {
  if (ctime_r(time, buffer) == nullptr) {
    // A year that does not fit the fixed layout: ctime_r wrote nothing.
    buffer[0] = '\0';
    return buffer;
  }
  buffer[24] = '\0';
  return buffer;
}

void StringSetCtime(char** slot, const time_t* time) {
  StringReset(slot);
  StringFormatCtime(StringAllocate(slot, kCtimeSize), time);
}

char* StringFormatAddress(char* buffer, uint32_t address) {
  static_cast<void>(snprintf(buffer, kAddressSize, "%d.%d.%d.%d",
                             static_cast<int>(address & 0xff),
                             static_cast<int>((address >> 8) & 0xff),
                             static_cast<int>((address >> 16) & 0xff),
                             static_cast<int>(address >> 24)));
  return buffer;
}

void StringSetAddress(char** slot, uint32_t address) {
  StringReset(slot);
  StringFormatAddress(StringAllocate(slot, kAddressSize), address);
}
