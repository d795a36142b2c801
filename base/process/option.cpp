#include "base/process/option.h"

#include <cstdio>
#include <cstring>

int ProcessOptionIndex = 1;
int ProcessOptionError = 1;
int ProcessOptionChar = 0;
char* ProcessOptionArgument = nullptr;
int ProcessOptionReset = 0;

namespace {

// Where the scan stands inside the current word; null or at a NUL when the
// next call must start on a new word.
char* scanPosition = nullptr;

constexpr int kBadOption = '?';
constexpr int kBadArgument = ':';

constexpr char kEscapedComma = 30;
constexpr char kEscapedEquals = 29;
constexpr char kEscapedBlank = 31;

constexpr uint32_t kDefaultItemLimit = 1024;
constexpr uint32_t kNoItemLimit = 0xffffffffU;

bool AtWordEnd() { return scanPosition == nullptr || *scanPosition == '\0'; }

const char* ProgramName(char* const argv[]) {
  return argv[0] != nullptr ? argv[0] : "nil";
}

}  // namespace

int ProcessGetOption(int argc, char* const argv[], const char* options) {
  if (options == nullptr) {
    return -1;
  }
  if (ProcessOptionReset != 0 || AtWordEnd()) {
    ProcessOptionReset = 0;
    if (ProcessOptionIndex < 0 || ProcessOptionIndex >= argc ||
        argv[ProcessOptionIndex] == nullptr ||
        argv[ProcessOptionIndex][0] != '-') {
      scanPosition = nullptr;
      return -1;
    }
    scanPosition = argv[ProcessOptionIndex];
    if (scanPosition[1] != '\0' && *++scanPosition == '-') {
      // "--" or any longer word beginning with it ends the options.
      ++ProcessOptionIndex;
      scanPosition = nullptr;
      return -1;
    }
  }
  ProcessOptionChar = static_cast<unsigned char>(*scanPosition++);
  const char* letter =
      ProcessOptionChar == ':' ? nullptr : strchr(options, ProcessOptionChar);
  if (letter == nullptr) {
    // A "-" that is not an option letter ends the options where it stands.
    if (ProcessOptionChar == '-') {
      return -1;
    }
    if (*scanPosition == '\0') {
      ++ProcessOptionIndex;
    }
    if (ProcessOptionError != 0 && options[0] != ':') {
      static_cast<void>(fprintf(stderr, "%s: illegal option -- %c\n",
                                ProgramName(argv), ProcessOptionChar));
    }
    return kBadOption;
  }
  if (letter[1] != ':') {
    ProcessOptionArgument = nullptr;
    if (*scanPosition == '\0') {
      ++ProcessOptionIndex;
    }
    return ProcessOptionChar;
  }
  if (*scanPosition != '\0') {
    // The rest of the word is the argument.
    ProcessOptionArgument = scanPosition;
  } else if (argc <= ++ProcessOptionIndex) {
    scanPosition = nullptr;
    if (options[0] == ':') {
      return kBadArgument;
    }
    if (ProcessOptionError != 0) {
      static_cast<void>(fprintf(stderr,
                                "%s: option requires an argument -- %c\n",
                                ProgramName(argv), ProcessOptionChar));
    }
    return kBadOption;
  } else {
    ProcessOptionArgument = argv[ProcessOptionIndex];
  }
  scanPosition = nullptr;
  ++ProcessOptionIndex;
  return ProcessOptionChar;
}

void ProcessEscapeOption(char* text) {
  if (text == nullptr) {
    return;
  }
  for (char* at = text; *at != '\0'; ++at) {
    if (*at == ',') {
      *at = kEscapedComma;
    } else if (*at == '=') {
      *at = kEscapedEquals;
    } else if (*at == ' ') {
      *at = kEscapedBlank;
    }
  }
}

void ProcessUnescapeOption(char* text) {
  if (text == nullptr) {
    return;
  }
  for (char* at = text; *at != '\0'; ++at) {
    if (*at == kEscapedComma) {
      *at = ',';
    } else if (*at == kEscapedBlank) {
      *at = ' ';
    } else if (*at == kEscapedEquals) {
      *at = '=';
    }
  }
}

int ProcessCheckOptionItem(const char* text, uint32_t limit) {
  if (text == nullptr || strpbrk(text, "=,") != nullptr) {
    return -1;
  }
  if (limit == kNoItemLimit) {
    return 1;
  }
  if (limit == 0) {
    limit = kDefaultItemLimit;
  }
  return strlen(text) < limit ? 1 : -1;
}

int ProcessCheckOptionPair(const char* key, const char* value,
                           uint32_t value_limit) {
  if (ProcessCheckOptionItem(key, 0) == 1 &&
      ProcessCheckOptionItem(value, value_limit) == 1) {
    return 1;
  }
  return -1;
}

int ProcessMatchOption(const char* list, const char* word) {
  if (list == nullptr || word == nullptr) {
    return 0;
  }
  for (; *word != '\0'; ++list, ++word) {
    if (*list == ',' || *list != *word) {
      return 0;
    }
  }
  return *list == '\0' || *list == ',' ? 1 : 0;
}
