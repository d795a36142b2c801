#include "base/process/user.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "base/error/error_format.h"
#include "base/log/log.h"
#include "base/string/owned_string.h"

namespace {

// Size used when the system gives no maximum for a database entry's text.
constexpr long kDefaultEntryBufferSize = 16384;

// Allocates the text buffer for one look-up and stores it in the slot.
size_t NewEntryBuffer(int sysconf_name, char** buffer) {
  long size = sysconf(sysconf_name);
  if (size == -1) {
    size = kDefaultEntryBufferSize;
  }
  *buffer = new char[size];
  return static_cast<size_t>(size);
}

// The common start of a failed look-up: the buffer released, and errno set
// from the call's error number, or ENOENT when the entry does not exist.
void FailLookup(int call_error, char** buffer) {
  delete[] * buffer;
  *buffer = nullptr;
  errno = call_error != 0 ? call_error : ENOENT;
}

void LogLookupError(int code) {
  Log() << "Process: ERROR! Error is " << ErrorComma(code) << ".\n";
}

}  // namespace

int ProcessParseId(const char* text) {
  if (text == nullptr || text[0] < '0' || text[0] > '9') {
    return -1;
  }
  long value = strtol(text, nullptr, 10);
  // Only the low 32 bits count, as the id's own width.
  auto id = static_cast<int32_t>(static_cast<uint32_t>(value));
  return id < 0 ? -1 : id;
}

int ProcessGetUserId() { return static_cast<int>(getuid()); }

int ProcessGetGroupId() { return static_cast<int>(getgid()); }

int ProcessGetUserEntry(const char* name, struct passwd* record,
                        char** buffer) {
  size_t size = NewEntryBuffer(_SC_GETPW_R_SIZE_MAX, buffer);
  struct passwd* found = nullptr;
  int result = getpwnam_r(name, record, *buffer, size, &found);
  if (found != nullptr) {
    return 1;
  }
  FailLookup(result, buffer);
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't get information for user '" << name << "'.\n";
  LogLookupError(saved.value());
  return -1;
}

int ProcessGetGroupEntry(const char* name, struct group* record,
                         char** buffer) {
  size_t size = NewEntryBuffer(_SC_GETGR_R_SIZE_MAX, buffer);
  struct group* found = nullptr;
  int result = getgrnam_r(name, record, *buffer, size, &found);
  if (found != nullptr) {
    return 1;
  }
  FailLookup(result, buffer);
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't get information for group '" << name
        << "'.\n";
  LogLookupError(saved.value());
  return -1;
}

int ProcessGetUserEntryById(int user_id, struct passwd* record, char** buffer) {
  size_t size = NewEntryBuffer(_SC_GETPW_R_SIZE_MAX, buffer);
  struct passwd* found = nullptr;
  int result =
      getpwuid_r(static_cast<uid_t>(user_id), record, *buffer, size, &found);
  if (found != nullptr) {
    return 1;
  }
  FailLookup(result, buffer);
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't get information for user id '" << user_id
        << "'.\n";
  LogLookupError(saved.value());
  return -1;
}

int ProcessGetGroupEntryById(int group_id, struct group* record,
                             char** buffer) {
  size_t size = NewEntryBuffer(_SC_GETGR_R_SIZE_MAX, buffer);
  struct group* found = nullptr;
  int result =
      getgrgid_r(static_cast<gid_t>(group_id), record, *buffer, size, &found);
  if (found != nullptr) {
    return 1;
  }
  FailLookup(result, buffer);
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't get information for group id '" << group_id
        << "'.\n";
  LogLookupError(saved.value());
  return -1;
}

int ProcessGetUserIdByName(const char* name) {
  struct passwd record;
  char* buffer = nullptr;
  if (ProcessGetUserEntry(name, &record, &buffer) != 1) {
    return -1;
  }
  auto id = static_cast<int>(record.pw_uid);
  delete[] buffer;
  return id;
}

int ProcessGetGroupIdByName(const char* name) {
  struct group record;
  char* buffer = nullptr;
  if (ProcessGetGroupEntry(name, &record, &buffer) != 1) {
    return -1;
  }
  auto id = static_cast<int>(record.gr_gid);
  delete[] buffer;
  return id;
}

int ProcessGetUserName(char** slot, int user_id) {
  struct passwd record;
  char* buffer = nullptr;
  if (ProcessGetUserEntryById(user_id, &record, &buffer) != 1) {
    return -1;
  }
  StringSet(slot, record.pw_name);
  delete[] buffer;
  return 1;
}

int ProcessGetGroupName(char** slot, int group_id) {
  struct group record;
  char* buffer = nullptr;
  if (ProcessGetGroupEntryById(group_id, &record, &buffer) != 1) {
    return -1;
  }
  StringSet(slot, record.gr_name);
  delete[] buffer;
  return 1;
}
