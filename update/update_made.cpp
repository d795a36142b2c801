#include "update/update_made.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/file/file_umask.h"
#include "base/string/owned_string.h"
#include "update/update_owner.h"
#include "update/update_resolve.h"
#include "update/update_signals.h"

namespace {

// The one record of what this run made. Descriptors are -1 and strings null
// until made; nothing is ever released before the process ends.
struct Made {
  // The home directory that the personal root was looked for in, resolved
  // once (or why it could not be).
  int home = -1;
  int homeError = 0;
  // QZ_ROOT: the directory that receives the log directory, the path it
  // was resolved or made for, and why it could not be when it is -1.
  int root = -1;
  char* rootPath = nullptr;
  int rootError = 0;
  // The log directory: descriptor, path, name in root and identity.
  int logs = -1;
  char* logsPath = nullptr;
  char* logsName = nullptr;
  struct stat logsRecord = {};
  // The session file: path once the log directory is made; its identity
  // once root made the file.
  char* sessionPath = nullptr;
  bool sessionMade = false;
  struct stat sessionRecord = {};
} made;

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kSessionMode = 0600;

// What a name must lead to for the driver to act on it as its own.
struct Expected {
  mode_t type;  // S_IFDIR or S_IFREG
  // Not 0: owned by the driver with exactly this mode (just made, not yet
  // given away).
  mode_t mode = 0;
  // A file with one link: a second name would be another way in.
  bool oneLink = false;
  // The very file or directory made, when given.
  const struct stat* identity = nullptr;
};

// Opens name under parent (a directory descriptor or AT_FDCWD) with flags,
// never following a link (a file created here gets mode 0600), and checks
// that what is open is what expected describes. The open does not wait:
// whatever the caller put there (a FIFO without a reader) cannot hold the
// driver, and an interrupted open is repeated only while no terminating
// signal has come. Returns the descriptor (close-on-exec, blocking as
// usual), or -1 with errno: as openat said, or EPERM for anything that is
// not what the driver made.
int OpenMade(int parent, const char* name, int flags, const Expected& expected,
             struct stat* record = nullptr) {
  int fd = -1;
  do {
    fd = openat(parent, name, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                kSessionMode);
  } while (fd < 0 && errno == EINTR && UpdateReceivedSignal() == 0);
  if (fd < 0) {
    return -1;
  }
  struct stat seen = {};
  const struct stat* identity = expected.identity;
  // A directory made inside a set-group-ID directory inherits that bit;
  // it is the parent's doing, not a planted file's, and the maker clears it.
  mode_t inherited = expected.type == S_IFDIR ? S_ISGID : 0;
  if (fstat(fd, &seen) != 0 || (seen.st_mode & S_IFMT) != expected.type ||
      (expected.oneLink && seen.st_nlink != 1) ||
      (identity != nullptr &&
       (seen.st_dev != identity->st_dev || seen.st_ino != identity->st_ino)) ||
      (expected.mode != 0 &&
       (seen.st_uid != geteuid() ||
        (seen.st_mode & 07777 & ~inherited) != expected.mode))) {
    close(fd);
    errno = EPERM;
    return -1;
  }
  if ((flags & O_PATH) == 0) {
    static_cast<void>(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK));
  }
  if (record != nullptr) {
    *record = seen;
  }
  return fd;
}

// Whether name under parent still leads, unfollowed, to the directory or
// file that identity describes. 1, or 0 with errno.
int StillMade(int parent, const char* name, mode_t type,
              const struct stat& identity) {
  Expected expected{type};
  expected.identity = &identity;
  int fd = OpenMade(parent, name, O_PATH, expected);
  if (fd < 0) {
    return 0;
  }
  close(fd);
  return 1;
}

// Makes the directory name under parent with exactly the mode the driver
// gives its directories, and opens it as made. The descriptor, or -1 with
// errno (made reports whether mkdirat succeeded).
int MakeDirectory(int parent, const char* name, bool* made_it,
                  struct stat* record) {
  *made_it = false;
  {
    ScopedUmask mask(077);
    if (mkdirat(parent, name, kDirectoryMode) != 0) {
      return -1;
    }
  }
  *made_it = true;
  Expected expected{S_IFDIR, kDirectoryMode};
  return OpenMade(parent, name, O_RDONLY | O_DIRECTORY, expected, record);
}

// Keeps fd (or, at -1, errno as why there is none) as QZ_ROOT for path;
// errno is left as it was.
void KeepRoot(const char* path, int fd) {
  int error = errno;
  made.rootError = fd < 0 ? error : 0;
  if (made.root >= 0) {
    close(made.root);
  }
  made.root = fd;
  StringSet(&made.rootPath, path);
  errno = error;
}

// The directory that receives the log directory: QZ_ROOT as the personal
// root step resolved or made it, else as the caller's environment names it,
// resolved now, once.
int OpenRoot(const char* root) {
  if (made.rootPath == nullptr || strcmp(made.rootPath, root) != 0) {
    KeepRoot(root,
             UpdateResolveDirectory(AT_FDCWD, root, UpdateResolveSafely()));
  }
  errno = made.rootError;
  return made.root;
}

}  // namespace

char* UpdateSessionPathOf(const char* logs) {
  if (logs == nullptr) {
    return nullptr;
  }
  char* path = nullptr;
  StringAppend(&path, logs, "/", "session");
  return path;
}

bool UpdateMadeRootPresent(const char* home) {
  made.home = UpdateResolveDirectory(AT_FDCWD, home, UpdateResolveSafely());
  made.homeError = errno;
  struct stat record = {};
  return made.home >= 0 && fstatat(made.home, ".qz", &record, 0) == 0;
}

int UpdateMadeRoot(const char* root) {
  bool made_it = false;
  errno = made.homeError;
  int fd =
      made.home < 0 ? -1 : MakeDirectory(made.home, ".qz", &made_it, nullptr);
  if (!made_it) {
    KeepRoot(root, -1);  // the reason stays for the log directory's step
    return -1;
  }
  // From here on through the descriptor of the directory just made: the
  // home directory is the caller's, who may have put something else in its
  // place meanwhile, which is then neither changed nor used.
  KeepRoot(root, fd);
  if (fd >= 0) {
    static_cast<void>(fchmod(fd, kDirectoryMode));  // no inherited setgid
  }
  UpdateSetOwnerOf(fd, root, true);
  return 0;
}

void UpdateMadeFindRoot(const char* root) {
  errno = made.homeError;
  KeepRoot(root, made.home < 0 ? -1
                               : UpdateResolveDirectory(made.home, ".qz",
                                                        UpdateResolveSafely()));
}

bool UpdateMadeRootHolds(const char* root, const char* name) {
  struct stat record = {};
  if (made.rootPath != nullptr && strcmp(made.rootPath, root) == 0) {
    return made.root >= 0 && fstatat(made.root, name, &record, 0) == 0;
  }
  char* path = nullptr;
  StringAppend(&path, root, "/", name);
  bool present = stat(path, &record) == 0;
  StringReset(&path);
  return present;
}

int UpdateMadeLogDirectory(const char* root, const char* name,
                           const char* path) {
  int parent = OpenRoot(root);
  if (parent < 0) {
    return -1;
  }
  bool made_it = false;
  int fd = MakeDirectory(parent, name, &made_it, &made.logsRecord);
  if (fd < 0) {
    // Made but not there as made: what was made goes again (an empty
    // directory only, whoever's it is by now).
    int error = errno;
    if (made_it) {
      static_cast<void>(unlinkat(parent, name, AT_REMOVEDIR));
    }
    errno = error;
    return -1;
  }
  made.logs = fd;
  StringSet(&made.logsName, name);
  StringSet(&made.logsPath, path);
  StringReset(&made.sessionPath);
  made.sessionPath = UpdateSessionPathOf(path);
  static_cast<void>(fchmod(fd, kDirectoryMode));  // no inherited setgid
  UpdateSetOwnerOf(fd, path, true);
  return 0;
}

const char* UpdateMadeSessionPath() { return made.sessionPath; }

int UpdateMadeSession() {
  made.sessionMade = false;
  if (made.logs < 0) {
    errno = ENOENT;
    return -1;
  }
  // The directory is the caller's by now: whatever is there already was not
  // made by the driver, and O_EXCL refuses it.
  ScopedUmask mask(077);
  Expected expected{S_IFREG};
  expected.oneLink = true;
  int fd = OpenMade(made.logs, "session",
                    O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOCTTY, expected,
                    &made.sessionRecord);
  made.sessionMade = fd >= 0;
  return fd;
}

bool UpdateIsMadeLogDirectory(const char* path) {
  return made.logs >= 0 && path != nullptr && made.logsPath != nullptr &&
         strcmp(path, made.logsPath) == 0;
}

bool UpdateIsMadeSession(const char* path) {
  return path != nullptr && made.sessionPath != nullptr &&
         strcmp(path, made.sessionPath) == 0;
}

int UpdateMadeReopenSession() {
  if (!made.sessionMade) {
    errno = ENOENT;
    return -1;
  }
  // Given to the caller by now: owner and mode are the caller's to change,
  // the identity and the single link are not.
  Expected expected{S_IFREG};
  expected.oneLink = true;
  expected.identity = &made.sessionRecord;
  return OpenMade(made.logs, "session", O_WRONLY | O_APPEND | O_NOCTTY,
                  expected);
}

bool UpdateMadeSessionPresent() {
  return made.sessionMade &&
         StillMade(made.logs, "session", S_IFREG, made.sessionRecord) == 1;
}

int UpdateMadeRemoveSession() { return unlinkat(made.logs, "session", 0); }

int UpdateMadeRemoveLogDirectory() {
  if (StillMade(made.root, made.logsName, S_IFDIR, made.logsRecord) != 1) {
    return -1;
  }
  return unlinkat(made.root, made.logsName, AT_REMOVEDIR);
}
