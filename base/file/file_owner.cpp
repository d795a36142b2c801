#include "base/file/file_owner.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "base/error/error_format.h"
#include "base/log/log.h"

namespace {

// The two failure lines for path, with errno as it stands; returns -1 with
// errno unchanged.
int WriteOwnerFailure(const char* path) {
  ErrnoSaver saved;
  Log() << "File: ERROR! Can't change ownership "
        << "of '" << (path != nullptr ? path : "nil") << "'.\n";
  Log() << "File: ERROR! Error is " << ErrorComma(saved.value()) << ".\n";
  return -1;
}

}  // namespace

int FileSetOwner(const char* path, int user_id, int group_id) {
  // chown's path is declared never null; answer for it what the kernel would.
  if (path != nullptr && chown(path, static_cast<uid_t>(user_id),
                               static_cast<gid_t>(group_id)) == 0) {
    return 1;
  }
  if (path == nullptr) {
    errno = EFAULT;
  }
  return WriteOwnerFailure(path);
}

int FileSetDescriptorOwner(int fd, const char* path, int user_id,
                           int group_id) {
  if (fd >= 0 && fchown(fd, static_cast<uid_t>(user_id),
                        static_cast<gid_t>(group_id)) == 0) {
    return 1;
  }
  return WriteOwnerFailure(path);
}
