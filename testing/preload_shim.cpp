// LD_PRELOAD shim for the driver's end-to-end tests. It keeps the session
// file that the driver removes at its end, as the hard link
// "$QZ_TEST_REC/session" made just before, so that a test sees all that the
// run wrote there; and it plays the hostile caller at an exact point of the
// run, with links to FAKE_TARGET:
//   SHIM_AFTER=mkdir   right after mkdirat makes a log directory ("M-..."),
//                      moves it aside and puts a link in its place;
//   SHIM_AFTER=fchown  right after fchown gives a directory away, puts a
//                      link named "session" in it.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// The point SHIM_AFTER names, or "".
const std::string kAfter = getenv("SHIM_AFTER") ? getenv("SHIM_AFTER") : "";

}  // namespace

extern "C" int mkdirat(int parent, const char* name, mode_t mode) {
  int result = reinterpret_cast<int (*)(int, const char*, mode_t)>(
      dlsym(RTLD_NEXT, "mkdirat"))(parent, name, mode);
  std::string moved = name + std::string(".moved");
  if (result == 0 && kAfter == "mkdir" && moved.compare(0, 2, "M-") == 0 &&
      (renameat(parent, name, parent, moved.c_str()) != 0 ||
       symlinkat(getenv("FAKE_TARGET"), parent, name) != 0)) {
    perror("shim: mkdir");
  }
  return result;
}

extern "C" int fchown(int fd, uid_t user, gid_t group) {
  int result = reinterpret_cast<int (*)(int, uid_t, gid_t)>(
      dlsym(RTLD_NEXT, "fchown"))(fd, user, group);
  struct stat record = {};
  if (kAfter == "fchown" && fstat(fd, &record) == 0 &&
      S_ISDIR(record.st_mode) &&
      symlinkat(getenv("FAKE_TARGET"), fd, "session") != 0) {
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
  return reinterpret_cast<int (*)(int, const char*, int)>(
      dlsym(RTLD_NEXT, "unlinkat"))(parent, name, flags);
}
