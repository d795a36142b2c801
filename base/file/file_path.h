// Paths and path tests.
//
// Operations that take a (dir, name) pair join them with FilePath into a
// temporary owned string and free it before returning. Tests answer 1 (yes),
// 0 (no, or the path does not exist) or -1 (the system call failed for
// another reason, errno as it left it). Symbolic links are followed. Nothing
// here logs.

#ifndef QZ_BASE_FILE_FILE_PATH_H_
#define QZ_BASE_FILE_FILE_PATH_H_

#include <sys/stat.h>

#include <cstdint>

// New owned string "<dir>/<name>" when dir is non-empty, a copy of name when
// dir is null or empty, null when name is null or empty. No slash is added or
// removed otherwise.
char* FilePath(const char* dir, const char* name);

// stat into the caller's record: 1, 0 for ENOENT, -1 otherwise.
int FileStat(const char* path, struct stat* record);
int FileStatAt(const char* dir, const char* name, struct stat* record);

int FileExists(const char* dir, const char* name);
int FileIsDirectory(const char* dir, const char* name);
int FileIsRegular(const char* dir, const char* name);

// Size of a regular file; 0 when absent; -1 on error, -1 with EINVAL when the
// path is not a regular file.
int64_t FileSize(const char* dir, const char* name);

// 1 when access(path, mode) succeeds, else 0.
int FileAccess(const char* dir, const char* name, int mode);

// 1 regular file, 0 directory, -1 anything else.
int FileModeType(const struct stat* record);
int FileModeIsDirectory(const struct stat* record);

// 1 when the path begins with '/'.
int FilePathIsAbsolute(const char* path);
// 1 when the path begins with '/', or is longer than 3 characters and
// begins with "../".
int FilePathIsExplicit(const char* path);

#endif  // QZ_BASE_FILE_FILE_PATH_H_
