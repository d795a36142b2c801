#include "base/process/temp_name.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/error/error_format.h"
#include "base/log/log.h"

namespace {

constexpr int kTempNameSize = 1024;

// A value that is set and not empty, else null.
const char* NonEmptyVariable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr && value[0] != '\0' ? value : nullptr;
}

}  // namespace

const char* ProcessTempDirectory() {
  const char* value = NonEmptyVariable("TEMP");
  if (value == nullptr) {
    value = NonEmptyVariable("TMP");
  }
  return value != nullptr ? value : "/tmp";
}

char* ProcessTempName(const char* directory, const char* prefix) {
  struct timeval now;
  gettimeofday(&now, nullptr);
  auto thread = static_cast<uint64_t>(syscall(SYS_gettid));
  uint64_t number = thread * static_cast<uint64_t>(now.tv_usec);

  char name[kTempNameSize];
  static_cast<void>(snprintf(name, sizeof(name), "%s%lu",
                             prefix != nullptr ? prefix : "T-",
                             static_cast<unsigned long>(number)));
  name[kTempNameSize - 1] = '\0';

  const char* head = directory != nullptr ? directory : ProcessTempDirectory();
  if (head[0] == '\0') {
    Log() << "Process: WARNING! Returning temporary name in current "
             "directory.\n";
  }
  size_t head_length = strlen(head);
  size_t separator = head_length != 0 ? 1 : 0;
  size_t name_length = strlen(name);
  auto* result =
      static_cast<char*>(malloc(head_length + separator + name_length + 1));
  if (result == nullptr) {
    ErrnoSaver saved;
    Log() << "Process: ERROR! Can't create temporary name.\n";
    Log() << "Process: ERROR! Error is " << ErrorQuoted(saved.value()) << ".\n";
    return nullptr;
  }
  static_cast<void>(snprintf(result, head_length + separator + name_length + 1,
                             "%s%s%s", head, separator != 0 ? "/" : "", name));
  return result;
}

int ProcessReplacePrefix(char** slot, const char* prefix,
                         const char* replacement) {
  if (prefix == nullptr || prefix[0] == '\0' || replacement == nullptr ||
      replacement[0] == '\0') {
    return 0;
  }
  size_t prefix_length = strlen(prefix);
  if (strncmp(*slot, prefix, prefix_length) != 0) {
    return 0;
  }
  const char* rest = *slot + prefix_length;
  size_t replacement_length = strlen(replacement);
  size_t rest_length = strlen(rest);
  size_t size = replacement_length + rest_length + 1;
  auto* result = new char[size];
  static_cast<void>(snprintf(result, size, "%s%s", replacement, rest));
  delete[] * slot;
  *slot = result;
  return 1;
}
