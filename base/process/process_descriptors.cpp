#include "base/process/process_descriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/error/error_format.h"

namespace {

// Bound of the last-resort walk when the open-files limit is unlimited.
constexpr int kDescriptorWalkLimit = 1 << 20;

using DescriptorAction = void (*)(int descriptor, int argument);

// Calls action for every open descriptor >= first except skip: those listed
// in /proc/self/fd, or without /proc every number up to the limit that is
// open.
void ForEachDescriptor(int first, int skip, DescriptorAction action,
                       int argument) {
  DIR* directory = opendir("/proc/self/fd");
  if (directory != nullptr) {
    int own = dirfd(directory);
    while (struct dirent* entry = readdir(directory)) {
      char* end = nullptr;
      long number = strtol(entry->d_name, &end, 10);
      if (end == entry->d_name || *end != '\0') {
        continue;  // "." and ".."
      }
      auto descriptor = static_cast<int>(number);
      if (descriptor >= first && descriptor != own && descriptor != skip) {
        action(descriptor, argument);
      }
    }
    closedir(directory);
    return;
  }
  struct rlimit limit;
  int last = kDescriptorWalkLimit;
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
      limit.rlim_cur != RLIM_INFINITY &&
      limit.rlim_cur < static_cast<rlim_t>(kDescriptorWalkLimit)) {
    last = static_cast<int>(limit.rlim_cur);
  }
  for (int descriptor = first; descriptor < last; ++descriptor) {
    if (descriptor != skip && fcntl(descriptor, F_GETFD) != -1) {
      action(descriptor, argument);
    }
  }
}

void MarkCloseOnExec(int descriptor, int /*unused*/) {
  int flags = fcntl(descriptor, F_GETFD);
  if (flags != -1 && (flags & FD_CLOEXEC) == 0) {
    fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
  }
}

void Close(int descriptor, int /*unused*/) { close(descriptor); }

void Replace(int descriptor, int source) { dup2(source, descriptor); }

}  // namespace

void ProcessCloseOnExecFrom(int first) {
  ErrnoSaver saved;
  // close_range with this flag needs Linux 5.11; older kernels answer
  // ENOSYS or EINVAL and the walk does the same work.
  if (close_range(static_cast<unsigned int>(first), ~0U, CLOSE_RANGE_CLOEXEC) ==
      0) {
    return;
  }
  ForEachDescriptor(first, -1, MarkCloseOnExec, 0);
}

void ProcessSilenceFrom(int first) {
  ErrnoSaver saved;
  int null_descriptor;
  do {
    null_descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (null_descriptor == -1 && errno == EINTR);
  if (null_descriptor == -1) {
    if (close_range(static_cast<unsigned int>(first), ~0U, 0) != 0) {
      ForEachDescriptor(first, -1, Close, 0);
    }
    return;
  }
  ForEachDescriptor(first, null_descriptor, Replace, null_descriptor);
  close(null_descriptor);
}
