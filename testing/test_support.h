// Shared by every test: temporary directories, captures of the log channels
// and of standard error, children (also without privileges), a /proc probe
// of open descriptors and whole-file helpers.

#ifndef QZ_TESTING_TEST_SUPPORT_H_
#define QZ_TESTING_TEST_SUPPORT_H_

#include <sys/types.h>

#include <functional>
#include <map>
#include <ostream>
#include <sstream>
#include <string>

namespace qz_test {

// A new directory under /tmp (mode 0755, so that a user a test drops to can
// reach what lies below), removed with all it holds at scope end, also
// where a test took permissions away.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A descriptor closed at scope end.
class ScopedFd {
 public:
  explicit ScopedFd(int fd) : fd_(fd) {}
  ~ScopedFd();
  int get() const { return fd_; }

 private:
  int fd_;
};

// Points the Logger's log and error channels at one string stream (so that
// the order of lines across the two shows), with logging enabled, and puts
// every field it touched back at scope end.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  // What was written, with the line prefix taken off each line that has
  // one. A prefix is checked: this process's id, a thread id, the time as
  // "HH:MM:SS mmm.uuu" and one blank; a line that begins with a digit but
  // not with such a prefix shows as "<bad prefix>" and the rest.
  std::string Text() const;

 private:
  std::ostringstream text_;
  std::ostream* saved_[2];
  int savedSwitches_[2];
};

// Sends descriptor 2 into an anonymous file for its lifetime.
class StderrCapture {
 public:
  StderrCapture();
  ~StderrCapture();
  // What was written since the last Take (stdio and std::clog flushed).
  std::string Take();

 private:
  int saved_;
  int file_;
};

// Runs body in a forked child ended with _exit(body's result), so that this
// process's exit handlers never run twice. body gets the write end of a
// pipe; output, when given, receives what it wrote there. Returns the wait
// status, or -1.
int RunInChild(const std::function<int(int)>& body,
               std::string* output = nullptr);
// In a child: gives up root for user and group 65534 with no supplementary
// groups (the unprivileged side of a test, also in CI, which runs as root).
// True when the process is then unprivileged.
bool DropPrivileges();
// The wait status of a child, or -1.
int WaitStatus(pid_t child);

// The open descriptors of a process and what each leads to (its /proc
// link), without the one used to list them.
std::map<int, std::string> Descriptors(pid_t process);

// Whole files and descriptors; "" when a file cannot be read.
std::string ReadAll(int fd);
void WriteAll(int fd, const std::string& text);
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);
// The permission bits of a path in octal (links not followed), or
// "missing".
std::string FileMode(const std::string& path);

}  // namespace qz_test

#endif  // QZ_TESTING_TEST_SUPPORT_H_
