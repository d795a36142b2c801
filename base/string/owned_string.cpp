#include "base/string/owned_string.h"

#include <cstring>

namespace {

constexpr int kBufferSize = 1024;

int Length(const char* string) {
  return string != nullptr ? static_cast<int>(strlen(string)) : 0;
}

char* CopyOf(const char* source) {
  int length = Length(source);
  char* copy = new char[length + 1];
  memcpy(copy, source, length + 1);
  return copy;
}

}  // namespace

void StringSet(char** slot, const char* source) {
  if (*slot == source) {
    return;
  }
  StringReset(slot);
  if (source != nullptr) {
    *slot = CopyOf(source);
  }
}

void StringInit(char** slot, const char* source) {
  *slot = nullptr;
  if (source != nullptr) {
    StringSet(slot, source);
  }
}

void StringReset(char** slot) {
  if (*slot != nullptr) {
    delete[] * slot;
    *slot = nullptr;
  }
}

void StringAppend(char** slot, const char* a, const char* b, const char* c,
                  const char* d) {
  const char* parts[] = {*slot, a, b, c, d};
  int lengths[5];
  int total = 0;
  for (int i = 0; i < 5; ++i) {
    lengths[i] = Length(parts[i]);
    total += lengths[i];
  }
  if (total == 0) {
    return;
  }
  // The old string is copied before it is freed, so any part may point
  // into it.
  char* joined = new char[total + 1];
  char* end = joined;
  for (int i = 0; i < 5; ++i) {
    if (lengths[i] > 0) {
      memcpy(end, parts[i], lengths[i]);
      end += lengths[i];
    }
  }
  *end = '\0';
  delete[] * slot;
  *slot = joined;
}

void StringAppendBytes(char** slot, const char* bytes, int count) {
  if (bytes == nullptr || count <= 0) {
    return;
  }
  int old_length = Length(*slot);
  char* joined = new char[old_length + count + 1];
  if (old_length > 0) {
    memcpy(joined, *slot, old_length);
  }
  memcpy(joined + old_length, bytes, count);
  joined[old_length + count] = '\0';
  delete[] * slot;
  *slot = joined;
}

char* StringDuplicate(const char* source) {
  return source != nullptr ? CopyOf(source) : nullptr;
}

void StringInitN(char** slot, const char* source, int n) {
  *slot = StringDuplicateN(source, n);
}

char* StringDuplicateN(const char* source, int n) {
  if (source == nullptr) {
    return nullptr;
  }
  char* copy = new char[n + 1];
  // strncpy pads a shorter source with NUL up to n, as the contract asks.
  strncpy(copy, source, n);
  copy[n] = '\0';
  return copy;
}

char* StringAllocate(char** slot, int size) {
  *slot = new char[size];
  (*slot)[0] = '\0';
  return *slot;
}

char* StringNewBuffer(char** slot) { return StringAllocate(slot, kBufferSize); }

void StringInitBuffer(char** slot, const char* source) {
  char* buffer = StringNewBuffer(slot);
  if (source != nullptr) {
    strncpy(buffer, source, kBufferSize - 1);
    buffer[kBufferSize - 1] = '\0';
  }
}
