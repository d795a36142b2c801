// LD_PRELOAD shim for the driver's end-to-end tests. It keeps the session
// file that the driver removes at its end, as the hard link
// "$QZ_TEST_REC/session" made just before, so that a test sees all that the
// run wrote there; and it plays the hostile caller at an exact point of the
// run, with links to FAKE_TARGET:
//   SHIM_AFTER=mkdir   right after mkdirat makes a log directory ("M-..."),
//                      moves it aside and puts a link in its place;
//   SHIM_AFTER=qz      the same right after mkdirat makes the personal root
//                      (".qz");
//   SHIM_AFTER=home    right after mkdirat makes the personal root, moves
//                      the directory it was made in aside and puts a link in
//                      its place;
//   SHIM_AFTER=fchown  right after fchown gives a directory away, puts a
//                      link named "session" in it;
//   SHIM_AFTER=open    makes the opening of a log directory just made fail
//                      as it would with no descriptor left (EMFILE).

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

// The point SHIM_AFTER names, or "", and what the planted links lead to.
static const std::string kAfter =
    getenv("SHIM_AFTER") != nullptr ? getenv("SHIM_AFTER") : "";
static const char* const kTarget = getenv("FAKE_TARGET");

// The function that the shim's one of the same name stands in front of.
#define NEXT(function) \
  reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

extern "C" int mkdirat(int parent, const char* name, mode_t mode) {
  int result = NEXT(mkdirat)(parent, name, mode);
  std::string made = name, at = "/proc/self/fd/" + std::to_string(parent);
  bool root = made == ".qz", log = made.compare(0, 2, "M-") == 0;
  if (result == 0 && ((kAfter == "mkdir" && log) ||
                      ((kAfter == "qz" || kAfter == "home") && root))) {
    // What was made, or for "home" the directory it was made in.
    char dir[4096] = {};
    ssize_t length = readlink(at.c_str(), dir, sizeof dir - 1);
    std::string moved = kAfter == "home" ? dir : dir + ("/" + made);
    if (length < 0 || rename(moved.c_str(), (moved + ".moved").c_str()) != 0 ||
        symlink(kTarget, moved.c_str()) != 0) {
      perror("shim: mkdirat");
    }
  }
  return result;
}

extern "C" int openat(int parent, const char* name, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  // The mode is there only for a file that may be created.
  bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  auto mode = static_cast<mode_t>(creates ? va_arg(rest, int) : 0);
  va_end(rest);
  if (kAfter == "open" && std::string(name).compare(0, 2, "M-") == 0) {
    errno = EMFILE;
    return -1;
  }
  return NEXT(openat)(parent, name, flags, mode);
}

extern "C" int fchown(int fd, uid_t user, gid_t group) {
  int result = NEXT(fchown)(fd, user, group);
  struct stat record = {};
  if (kAfter == "fchown" && fstat(fd, &record) == 0 &&
      S_ISDIR(record.st_mode) && symlinkat(kTarget, fd, "session") != 0) {
    perror("shim: fchown");
  }
  return result;
}

extern "C" int unlinkat(int parent, const char* name, int flags) {
  std::string kept = getenv("QZ_TEST_REC") + std::string("/session");
  if (flags == 0 && std::string(name) == "session" &&
      linkat(parent, name, AT_FDCWD, kept.c_str(), 0) != 0) {
    perror("shim: keeping the session");
  }
  return NEXT(unlinkat)(parent, name, flags);
}
