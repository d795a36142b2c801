// Opening and checking what the driver made in this run, through
// descriptors only.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "update/update_internal.h"

UpdateMade updateMade;

int UpdateOpenMade(int parent, const char* name, int flags, mode_t type,
                   mode_t mode, struct stat* record) {
  int fd = -1;
  do {
    fd = openat(parent, name, flags | O_NOFOLLOW | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    return -1;
  }
  struct stat seen = {};
  if (fstat(fd, &seen) != 0 || (seen.st_mode & S_IFMT) != type ||
      seen.st_uid != geteuid() || (seen.st_mode & 07777) != mode ||
      (type == S_IFREG && seen.st_nlink != 1)) {
    close(fd);
    errno = EPERM;
    return -1;
  }
  if (record != nullptr) {
    *record = seen;
  }
  return fd;
}

int UpdateMakeDirectory(int parent, const char* name) {
  mode_t previous = umask(077);
  int result = mkdirat(parent, name, 0700);
  int error = errno;
  umask(previous);
  errno = error;
  return result == 0 ? 0 : -1;
}

int UpdateOpenMadeDirectory(int parent, const char* name, struct stat* record) {
  return UpdateOpenMade(parent, name, O_RDONLY | O_DIRECTORY, S_IFDIR, 0700,
                        record);
}

int UpdateIsMade(int parent, const char* name, const struct stat& record) {
  struct stat seen = {};
  if (fstatat(parent, name, &seen, AT_SYMLINK_NOFOLLOW) != 0) {
    return 0;
  }
  if (seen.st_dev != record.st_dev || seen.st_ino != record.st_ino) {
    errno = EPERM;
    return 0;
  }
  return 1;
}
