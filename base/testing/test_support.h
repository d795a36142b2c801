// Shared by the library's tests: scoped environment, captured log
// and standard error, temporary directories, children watched via /proc.

#ifndef QZ_BASE_TESTING_TEST_SUPPORT_H_
#define QZ_BASE_TESTING_TEST_SUPPORT_H_

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/logger.h"

namespace qz_test {

// Sets (null: unsets) a variable, putting back what was there at scope end.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (getenv(name) != nullptr)
      old_ = getenv(name);
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() {
    old_ ? setenv(name_.c_str(), old_->c_str(), 1) : unsetenv(name_.c_str());
  }

 private:
  std::string name_;
  std::optional<std::string> old_;
};

// Points the Logger's log channel at a string for the scope.
class LogCapture {
 public:
  LogCapture() : saved_(LoggerInstance().logStream) {
    LoggerInstance().logStream = &text_;
  }
  ~LogCapture() { LoggerInstance().logStream = saved_; }
  std::string Raw() const { return text_.str(); }
  // Each line with its "\n" but without the four prefix fields.
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    std::istringstream in(text_.str());
    for (std::string line; std::getline(in, line);) {
      size_t at = 0;
      for (int field = 0; field < 4 && at != std::string::npos; ++field) {
        at = line.find(' ', at);
        at = at == std::string::npos ? at : at + 1;
      }
      lines.push_back((at == std::string::npos ? line : line.substr(at)) +
                      "\n");
    }
    return lines;
  }

 private:
  std::ostringstream text_;
  std::ostream* saved_;
};

// Sends descriptor 2 into an anonymous file for its lifetime.
class StderrCapture {
 public:
  StderrCapture() : saved_(dup(2)), file_(memfd_create("stderr", MFD_CLOEXEC)) {
    fflush(stderr);
    std::clog.flush();
    dup2(file_, 2);
  }
  ~StderrCapture() {
    fflush(stderr);
    std::clog.flush();
    dup2(saved_, 2);
    close(saved_);
    close(file_);
  }
  // What was written since the last Take, which empties the file.
  std::string Take() {
    fflush(stderr);
    std::clog.flush();
    std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
    text.resize(static_cast<size_t>(
        std::max<ssize_t>(0, pread(file_, &text[0], text.size(), 0))));
    EXPECT_EQ(0, ftruncate(file_, 0));
    lseek(file_, 0, SEEK_SET);
    return text;
  }

 private:
  int saved_, file_;
};

inline int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
  return remove(path);
}

// A new directory under /tmp, removed with its contents at scope end.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/qz-test-XXXXXX";
    path_ = mkdtemp(pattern) != nullptr ? pattern : "";
  }
  ~TempDir() { nftw(path_.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS); }
  const std::string& path() const { return path_; }
  std::string File(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Reads up to `size` bytes (all, by default) until end of file.
inline std::string ReadAll(int descriptor, size_t size = std::string::npos) {
  std::string text;
  char chunk[4096];
  while (text.size() < size) {
    ssize_t count =
        read(descriptor, chunk, std::min(sizeof chunk, size - text.size()));
    if (count > 0) {
      text.append(chunk, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return text;
}

inline std::string ReadFile(const std::string& path) {
  int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text = descriptor < 0 ? "" : ReadAll(descriptor);
  close(descriptor);
  return text;
}

inline void WriteAll(int descriptor, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count > 0) {
      done += static_cast<size_t>(count);
    } else if (errno != EINTR) {
      return;
    }
  }
}

inline std::string ReadLink(const std::string& path) {
  char target[4096];
  ssize_t length = readlink(path.c_str(), target, sizeof target);
  return length < 0 ? std::string()
                    : std::string(target, static_cast<size_t>(length));
}

// Waits (up to a minute) until the process runs the program of that name.
inline bool WaitForProgram(pid_t process, const std::string& name) {
  std::string link = "/proc/" + std::to_string(process) + "/exe",
              want = "/" + name;
  for (int tries = 0; tries < 60000; ++tries, usleep(1000)) {
    std::string target = ReadLink(link);
    if (target.size() > want.size() &&
        target.compare(target.size() - want.size(), want.size(), want) == 0) {
      return true;
    }
  }
  return false;
}

// The process's open descriptors and what each leads to.
inline std::map<int, std::string> Descriptors(pid_t process) {
  std::map<int, std::string> result;
  std::string directory = "/proc/" + std::to_string(process) + "/fd";
  DIR* listing = opendir(directory.c_str());
  if (listing == nullptr)
    return result;
  int own = process == getpid() ? dirfd(listing) : -1;
  while (struct dirent* entry = readdir(listing)) {
    if (entry->d_name[0] != '.' && atoi(entry->d_name) != own) {
      result[atoi(entry->d_name)] = ReadLink(directory + "/" + entry->d_name);
    }
  }
  closedir(listing);
  return result;
}

// The descriptors once they equal expected, or as they are after five
// seconds: a starting program opens and closes files of its own (its locale).
inline std::map<int, std::string> SettledDescriptors(
    pid_t process, const std::map<int, std::string>& expected) {
  std::map<int, std::string> current = Descriptors(process);
  for (int tries = 0; tries < 5000 && current != expected; ++tries) {
    usleep(1000);
    current = Descriptors(process);
  }
  return current;
}

// The wait status of a child (killed first when asked), or -1.
inline int WaitStatus(pid_t child, bool kill_first = false) {
  if (kill_first)
    kill(child, SIGKILL);
  int status = 0;
  pid_t result;
  while ((result = waitpid(child, &status, 0)) == -1 && errno == EINTR) {
  }
  return result == child ? status : -1;
}

// Runs body in a forked child ended with _exit(body's result), so this
// process's exit handlers never run twice; output collects what body writes
// to the descriptor it is given. Returns the wait status.
inline int RunInChild(const std::function<int(int)>& body,
                      std::string* output = nullptr) {
  int channel[2];
  if (pipe(channel) != 0)
    return -1;
  fflush(nullptr);
  std::cout.flush();
  pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    _exit(body(channel[1]));
  }
  close(channel[1]);
  std::string text = ReadAll(channel[0]);
  close(channel[0]);
  if (output != nullptr)
    *output = text;
  return child > 0 ? WaitStatus(child) : -1;
}

}  // namespace qz_test

#endif  // QZ_BASE_TESTING_TEST_SUPPORT_H_
