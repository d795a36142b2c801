// Paths and path tests.
//
// Operations that take a (dir, name) pair join them with FilePath into a
// temporary owned string and free it before returning. Tests answer 1 (yes),
// 0 (no, or the path does not exist) or -1 (the system call failed for
// another reason, errno as it left it). Symbolic links are followed. A null
// or empty name joins to no path at all, which stat refuses with EFAULT.
//
// Nothing here logs or keeps state; every operation is safe from any thread
// (errno is per thread).

#ifndef QZ_BASE_FILE_FILE_PATH_H_
#define QZ_BASE_FILE_FILE_PATH_H_

#include <sys/stat.h>

#include <cstdint>

// New owned string "<dir>/<name>" when dir is non-empty, a copy of name when
// dir is null or empty, null when name is null or empty. No slash is added or
// removed otherwise ("/a/" and "b" give "/a//b"). The caller owns the result
// and frees it with StringReset.
char* FilePath(const char* dir, const char* name);

// stat (following links) into the caller's record: 1 on success, 0 when it
// failed with ENOENT, -1 otherwise with errno from stat (EFAULT for a null
// path). errno is left alone on success.
int FileStat(const char* path, struct stat* record);
// FileStat of FilePath(dir, name).
int FileStatAt(const char* dir, const char* name, struct stat* record);

// FileStat of the joined path on a record of its own: 1, 0 or -1.
int FileExists(const char* dir, const char* name);
// 1 directory; 0 not a directory or absent; -1 stat failed otherwise.
int FileIsDirectory(const char* dir, const char* name);
// 1 regular file; 0 not a regular file or absent; -1 stat failed otherwise.
int FileIsRegular(const char* dir, const char* name);

// Size in bytes of a regular file; 0 when absent; -1 when stat failed
// otherwise (errno from stat), or -1 with errno EINVAL when the path exists
// but is not a regular file.
int64_t FileSize(const char* dir, const char* name);

// 1 when access(path, mode) succeeds, else 0 (whatever the reason; a null
// or empty name gives 0). mode is F_OK or a combination of R_OK, W_OK and
// X_OK, checked against the real user and group ids.
int FileAccess(const char* dir, const char* name, int mode);

// From st_mode: 1 regular file, 0 directory, -1 anything else.
int FileModeType(const struct stat* record);
// From st_mode: 1 directory, else 0.
int FileModeIsDirectory(const struct stat* record);

// 1 when the path begins with '/', else 0 (also for null).
int FilePathIsAbsolute(const char* path);
// 1 when the path begins with '/', or is longer than 3 characters and
// begins with "../"; else 0 (also for null). "./x" is not explicit.
int FilePathIsExplicit(const char* path);

#endif  // QZ_BASE_FILE_FILE_PATH_H_
