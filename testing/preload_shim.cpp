// LD_PRELOAD shim for the driver's end-to-end tests: plays the hostile
// caller at an exact point of the driver's run, so that races are
// deterministic. SHIM_TARGET names what the planted links lead to.
//
//   SHIM_AFTER=mkdir   right after mkdirat makes a log directory ("M-..."),
//                      moves it aside and puts a link in its place;
//   SHIM_AFTER=fchown  right after fchown gives a log directory away, puts a
//                      link named "session" in it.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool Acting(const char* point) {
  const char* after = getenv("SHIM_AFTER");
  return after != nullptr && strcmp(after, point) == 0 &&
         getenv("SHIM_TARGET") != nullptr;
}

// The path of the file open on fd, or "".
std::string PathOf(int fd) {
  char link[64];
  char path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  ssize_t length = readlink(link, path, sizeof path - 1);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : "";
}

bool IsLogDirectory(const std::string& path) {
  size_t slash = path.rfind('/');
  return path.compare(slash == std::string::npos ? 0 : slash + 1, 2, "M-") == 0;
}

}  // namespace

extern "C" int mkdirat(int dirfd, const char* name, mode_t mode) {
  using Real = int (*)(int, const char*, mode_t);
  static Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "mkdirat"));
  int result = real(dirfd, name, mode);
  if (result == 0 && Acting("mkdir") && IsLogDirectory(name)) {
    std::string moved = std::string(name) + ".moved";
    renameat(dirfd, name, dirfd, moved.c_str());
    symlinkat(getenv("SHIM_TARGET"), dirfd, name);
  }
  return result;
}

extern "C" int fchown(int fd, uid_t user, gid_t group) {
  using Real = int (*)(int, uid_t, gid_t);
  static Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "fchown"));
  int result = real(fd, user, group);
  struct stat record = {};
  if (Acting("fchown") && fstat(fd, &record) == 0 && S_ISDIR(record.st_mode) &&
      IsLogDirectory(PathOf(fd))) {
    symlinkat(getenv("SHIM_TARGET"), fd, "session");
  }
  return result;
}
