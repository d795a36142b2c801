// Helpers shared by the driver's own files; not part of its interface.

#ifndef QZ_UPDATE_UPDATE_INTERNAL_H_
#define QZ_UPDATE_UPDATE_INTERNAL_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

// Writes a whole line to descriptor 2 with one write loop, so that it is
// never split or mixed with another writer's text. Failures are ignored: the
// driver has nowhere else to report them. Leaves errno as it found it.
void UpdateWriteError(const std::string& line);

// Flushes the stdout stream, so that nothing the driver has printed is left
// in its buffer when the driver waits for a key or starts a child that
// writes to the same descriptor.
void UpdateFlushOutput();

// The value of an environment variable when it is set and not empty, else
// null. Borrowed: valid until the variable changes.
const char* UpdateGetEnvironment(const char* name);

// Starts a child with the command vector (entry 0 the program file, entry 1
// its argv[0]), the driver's environment and its descriptors 0, 1 and 2,
// after flushing what the driver has buffered, so that nothing buffered is
// written twice and everything printed so far comes before the child's own
// output. Returns the child's process id, or -1 with errno (EINTR when a
// terminating signal came before the start: nothing is started then).
int UpdateStartChild(const char* const* command);

// Waits for the child and reaps it (waitpid(pid, status, 0)), repeated when
// a signal interrupts it. While it waits, SIGTERM and SIGHUP are forwarded
// to the child. Returns 0, or -1 with errno.
int UpdateWaitChild(int pid, int* status);

// The application path search: writes "<entry>/" into buffer (1024 bytes,
// left as it is when nothing is found) for the first entry of path, a
// PATH value, that holds a qzrunner. Empty entries and entries whose
// "<entry>/qzrunner" does not fit in the buffer are passed over.
void UpdateSearchPath(const char* path, char* buffer);

// The log directory's name "M-<host>-<pid>-<id>".
std::string UpdateLogDirectoryName(const char* host, int pid, const char* id);
// Whether a host name keeps that name directly inside QZ_ROOT: false for a
// name holding '/' or "..".
bool UpdateHostNameUsable(const char* host);

// What the driver made in this run, held by descriptor (close-on-exec), so
// that no step after a directory is made looks a name up again in a
// directory that the sudo caller owns and may change between two steps.
struct UpdateMade {
  // QZ_ROOT: the directory opened (or made) to hold the log directory.
  int root = -1;
  // Owned: QZ_ROOT's value when root was made in this run, else null.
  char* rootPath = nullptr;
  // The log directory, its path and its name in root (owned strings) and
  // its identity.
  int logs = -1;
  char* logsPath = nullptr;
  char* logsName = nullptr;
  struct stat logsRecord = {};
  // Owned: "<log directory>/session" once the log directory is made;
  // whether root made that file, and its identity.
  char* sessionPath = nullptr;
  bool sessionMade = false;
  struct stat sessionRecord = {};
};
extern UpdateMade updateMade;

// Opens name under parent (a directory descriptor or AT_FDCWD) with flags
// plus O_NOFOLLOW and O_CLOEXEC, and checks with fstat that it is what the
// driver made: of type (S_IFDIR or S_IFREG), owned by the effective user,
// with exactly mode, and for a file a single link. Returns the descriptor,
// or -1 with errno (ELOOP for a symbolic link, EPERM for anything else that
// is not what the driver made). record, when not null, gets the fstat.
int UpdateOpenMade(int parent, const char* name, int flags, mode_t type,
                   mode_t mode, struct stat* record);

// mkdirat(parent, name, 0700) under umask 077, so that the directory gets
// exactly mode 0700. Returns 0, or -1 with errno.
int UpdateMakeDirectory(int parent, const char* name);
// UpdateOpenMade of a directory that UpdateMakeDirectory made.
int UpdateOpenMadeDirectory(int parent, const char* name, struct stat* record);

// 1 when name under parent (not followed) is the file or directory that
// record describes (same device and inode); 0 when it is something else,
// with errno EPERM (or what fstatat said).
int UpdateIsMade(int parent, const char* name, const struct stat& record);

// UpdateSetOwner for the file open on fd, changed through the descriptor;
// path names it in the lines. A negative fd (the driver has no descriptor of
// what it made) reports the change as failed with errno as it stands;
// directory then chooses the word of the warning.
void UpdateSetOwnerOf(int fd, const char* path, bool directory);

// Signals. At start: an empty signal mask, SIGCHLD to its default, a
// handler for SIGINT, SIGTERM and SIGHUP (left alone when the caller ignores
// them) that notes the signal and forwards SIGTERM and SIGHUP to the child
// being waited for, and a handler for SIGPIPE that does nothing (unless the
// caller ignores it), so that a write to a vanished reader fails with EPIPE
// while the children still start with default dispositions.
void UpdateSetSignals();
// The last of SIGINT, SIGTERM and SIGHUP received, or 0.
int UpdateReceivedSignal();
// Waits for one key press (one getc) unless a signal came before or during
// the wait. Returns 0, or -1 when a signal ended the wait (errno EINTR).
int UpdateWaitForKey();

#endif  // QZ_UPDATE_UPDATE_INTERNAL_H_
