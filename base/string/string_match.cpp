#include "base/string/string_match.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "base/log/log.h"

namespace {

// The option-list escapes stand in for '=', ',' and ' ' inside values and
// must survive StringCutNonPrintable.
bool IsOptionEscape(char byte) { return byte >= 29 && byte <= 31; }

}  // namespace

const char* StringHasPrefix(const char* string, const char* prefix) {
  return strncmp(string, prefix, strlen(prefix)) == 0 ? string : nullptr;
}

const char* StringHasSuffix(const char* string, const char* suffix) {
  size_t length = strlen(string);
  size_t suffix_length = strlen(suffix);
  if (suffix_length > length) {
    return nullptr;
  }
  const char* start = string + length - suffix_length;
  return memcmp(start, suffix, suffix_length) == 0 ? start : nullptr;
}

int StringReplacePrefix(char** slot, const char* prefix,
                        const char* replacement) {
  int prefix_length = static_cast<int>(strlen(prefix));
  if (strncmp(*slot, prefix, prefix_length) != 0) {
    return 0;
  }
  int length = static_cast<int>(strlen(*slot));
  int replacement_length = static_cast<int>(strlen(replacement));
  char* replaced = new char[length - prefix_length + replacement_length + 1];
  // The replacement without its NUL, then the rest of the string with its.
  std::copy_n(replacement, replacement_length, replaced);
  memcpy(replaced + replacement_length, *slot + prefix_length,
         length - prefix_length + 1);
  delete[] * slot;
  *slot = replaced;
  return 1;
}

int StringReplaceAll(char** slot, const char* pattern,
                     const char* replacement) {
  int pattern_length = static_cast<int>(strlen(pattern));
  if (pattern_length == 0) {
    return 0;
  }
  const char* string = *slot;
  int length = static_cast<int>(strlen(string));
  int count = 0;
  for (const char* hit = strstr(string, pattern); hit != nullptr;) {
    ++count;
    const char* next = hit + pattern_length;
    hit = next < string + length ? strstr(next, pattern) : nullptr;
  }
  if (count == 0) {
    return 0;
  }
  int replacement_length = static_cast<int>(strlen(replacement));
  char* replaced =
      new char[length + (replacement_length - pattern_length) * count + 1];
  char* out = replaced;
  const char* rest = string;
  for (int i = 0; i < count; ++i) {
    const char* hit = strstr(rest, pattern);
    memcpy(out, rest, hit - rest);
    out += hit - rest;
    memcpy(out, replacement, replacement_length);
    out += replacement_length;
    rest = hit + pattern_length;
  }
  memcpy(out, rest, string + length - rest + 1);
  delete[] * slot;
  *slot = replaced;
  return count;
}

char* StringCutNonPrintable(char* string) {
  if (string == nullptr) {
    return string;
  }
  for (char* byte = string; *byte != '\0'; ++byte) {
    // isprint of the signed character: bytes from 128 up are negative and
    // never printable. Passing a negative value other than EOF to isprint is
    // undefined, so test the range first.
    bool printable = *byte > 0 && isprint(*byte) != 0;
    if (!printable && !IsOptionEscape(*byte)) {
      *byte = '\0';
      break;
    }
  }
  return string;
}

int StringParseVersion(const char* string, int* major, int* minor, int* patch,
                       int* build) {
  *major = *minor = *patch = *build = -1;
  return sscanf(string, "%i.%i.%i_%i", major, minor, patch, build);
}

int StringCountLines(const char* buffer, int length, char separator) {
  int count = 0;
  for (int i = 0; i < length; ++i) {
    if (buffer[i] == separator) {
      ++count;
    }
  }
  Log() << "String: Found " << count << " lines "
        << "with separator " << static_cast<int>(separator) << ".\n";
  return count;
}

int StringHasParentReference(const char* path) {
  if (strlen(path) < 3) {
    return 0;
  }
  if (strncmp(path, "../", 3) == 0) {
    return 1;
  }
  return strstr(path + 3, "/../") != nullptr ? 1 : 0;
}
