#include "update/update_resolve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kMaxLinks = 40;

// The walk's position: the directory it stands in, what it last stepped
// into, and the owner that a link's absolute target must reach (-1: none).
struct Walk {
  int fd = -1;
  struct stat previous = {};
  long pendingOwner = -1;
  bool safe = false;
};

// Whether the step from walk.previous into next is one that the rule
// refuses; moves the pending owner along.
bool Unsafe(Walk* walk, const struct stat& next) {
  if (!walk->safe) {
    return false;
  }
  if (walk->pendingOwner >= 0) {
    if (next.st_uid == 0) {
      return false;  // still on root's way down from "/"
    }
    bool other = next.st_uid != static_cast<uid_t>(walk->pendingOwner);
    walk->pendingOwner = -1;
    return other;
  }
  return walk->previous.st_uid != 0 && walk->previous.st_uid != next.st_uid;
}

// Splits path into its components, last first, ahead of what is left.
void Push(const std::string& path, std::vector<std::string>* todo) {
  std::vector<std::string> parts;
  for (size_t at = 0; at < path.size();) {
    size_t slash = path.find('/', at);
    slash = slash == std::string::npos ? path.size() : slash;
    if (slash > at) {
      parts.push_back(path.substr(at, slash - at));
    }
    at = slash + 1;
  }
  todo->insert(todo->end(), parts.rbegin(), parts.rend());
}

// Moves the walk into next (an O_PATH descriptor), whose record is seen.
void Step(Walk* walk, int next, const struct stat& seen) {
  close(walk->fd);
  walk->fd = next;
  walk->previous = seen;
}

int Fail(Walk* walk, int error) {
  close(walk->fd);
  errno = error;
  return -1;
}

}  // namespace

bool UpdateResolveSafely() {
  return getenv("SUDO_UID") != nullptr && geteuid() == 0;
}

int UpdateResolveDirectory(int start, const char* path, bool safe) {
  Walk walk;
  walk.safe = safe;
  walk.fd = path[0] == '/'
                ? open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)
                : openat(start, ".", O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (walk.fd < 0 || fstat(walk.fd, &walk.previous) != 0) {
    return Fail(&walk, errno);
  }
  std::vector<std::string> todo;
  Push(path, &todo);
  for (int links = 0; !todo.empty();) {
    std::string name = todo.back();
    todo.pop_back();
    if (name == ".") {
      continue;
    }
    int next = openat(walk.fd, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    struct stat seen = {};
    if (next < 0 || fstat(next, &seen) != 0) {
      int error = errno;
      close(next);
      return Fail(&walk, error);
    }
    if (Unsafe(&walk, seen)) {
      close(next);
      return Fail(&walk, EPERM);
    }
    if (S_ISLNK(seen.st_mode)) {
      char target[4096];
      ssize_t length = readlinkat(next, "", target, sizeof target - 1);
      close(next);
      if (length < 0 || length >= static_cast<ssize_t>(sizeof target - 1)) {
        return Fail(&walk, length < 0 ? errno : ENAMETOOLONG);
      }
      if (++links > kMaxLinks) {
        return Fail(&walk, ELOOP);
      }
      target[length] = '\0';
      walk.previous = seen;
      if (target[0] == '/') {
        int root = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
        struct stat top = {};
        if (root < 0 || fstat(root, &top) != 0) {
          int error = errno;
          close(root);
          return Fail(&walk, error);
        }
        Step(&walk, root, top);
        if (safe && seen.st_uid != 0) {
          walk.pendingOwner = seen.st_uid;
        }
      }
      Push(target, &todo);
      continue;
    }
    if (!S_ISDIR(seen.st_mode)) {
      close(next);
      return Fail(&walk, ENOTDIR);
    }
    Step(&walk, next, seen);
  }
  // A caller's link that led only through root's directories ends in one
  // of root's.
  return walk.pendingOwner >= 0 ? Fail(&walk, EPERM) : walk.fd;
}
