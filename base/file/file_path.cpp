#include "base/file/file_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/string/owned_string.h"

char* FilePath(const char* dir, const char* name) {
  if (name == nullptr || name[0] == '\0') {
    return nullptr;
  }
  size_t name_length = strlen(name);
  if (dir == nullptr || dir[0] == '\0') {
    char* copy = new char[name_length + 1];
    memcpy(copy, name, name_length + 1);
    return copy;
  }
  size_t dir_length = strlen(dir);
  char* path = new char[dir_length + name_length + 2];
  memcpy(path, dir, dir_length + 1);
  path[dir_length] = '/';
  memcpy(path + dir_length + 1, name, name_length + 1);
  return path;
}

int FileStat(const char* path, struct stat* record) {
  // stat's path is declared never null; answer for it what the kernel would.
  if (path == nullptr) {
    errno = EFAULT;
    return -1;
  }
  if (stat(path, record) == 0) {
    return 1;
  }
  return errno == ENOENT ? 0 : -1;
}

int FileStatAt(const char* dir, const char* name, struct stat* record) {
  char* path = FilePath(dir, name);
  int result = FileStat(path, record);
  StringReset(&path);
  return result;
}

int FileExists(const char* dir, const char* name) {
  struct stat record;
  return FileStatAt(dir, name, &record);
}

int FileIsDirectory(const char* dir, const char* name) {
  struct stat record;
  int result = FileStatAt(dir, name, &record);
  if (result != 1) {
    return result;
  }
  return S_ISDIR(record.st_mode) ? 1 : 0;
}

int FileIsRegular(const char* dir, const char* name) {
  struct stat record;
  int result = FileStatAt(dir, name, &record);
  if (result != 1) {
    return result;
  }
  return S_ISREG(record.st_mode) ? 1 : 0;
}

int64_t FileSize(const char* dir, const char* name) {
  struct stat record;
  int result = FileStatAt(dir, name, &record);
  if (result != 1) {
    return result;
  }
  if (!S_ISREG(record.st_mode)) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int64_t>(record.st_size);
}

int FileAccess(const char* dir, const char* name, int mode) {
  char* path = FilePath(dir, name);
  int result = path != nullptr && access(path, mode) == 0 ? 1 : 0;
  StringReset(&path);
  return result;
}

int FileModeType(const struct stat* record) {
  if (S_ISREG(record->st_mode)) {
    return 1;
  }
  return S_ISDIR(record->st_mode) ? 0 : -1;
}

int FileModeIsDirectory(const struct stat* record) {
  return S_ISDIR(record->st_mode) ? 1 : 0;
}

int FilePathIsAbsolute(const char* path) {
  return path != nullptr && path[0] == '/' ? 1 : 0;
}

int FilePathIsExplicit(const char* path) {
  if (path == nullptr) {
    return 0;
  }
  if (path[0] == '/') {
    return 1;
  }
  return strncmp(path, "../", 3) == 0 && path[3] != '\0' ? 1 : 0;
}
