// Fixtures shared by the process module's tests: scoped environment
// variables, a captured log channel, temporary directories and children
// observed through /proc.

#ifndef QZ_BASE_PROCESS_PROCESS_TEST_SUPPORT_H_
#define QZ_BASE_PROCESS_PROCESS_TEST_SUPPORT_H_

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/log/logger.h"

namespace process_test {

// Sets (or, with a null value, unsets) a variable and puts back what was
// there, set or unset, at scope end.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    had_ = old != nullptr;
    if (had_) {
      old_ = old;
    }
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (had_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string old_;
  bool had_;
};

// Points the Logger's log channel at a string for the scope.
class LogCapture {
 public:
  LogCapture() : saved_(LoggerInstance().logStream) {
    LoggerInstance().logStream = &text_;
  }
  ~LogCapture() { LoggerInstance().logStream = saved_; }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::string Raw() const { return text_.str(); }

  // Each line without its "<pid> <tid> HH:MM:SS mmm.uuu " prefix, with its
  // "\n".
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    std::istringstream in(text_.str());
    std::string line;
    while (std::getline(in, line)) {
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

inline int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
  return remove(path);
}

// A new directory under /tmp, removed with its contents at scope end.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/qz-process-XXXXXX";
    path_ = mkdtemp(pattern) != nullptr ? pattern : "";
  }
  ~TempDir() {
    if (!path_.empty()) {
      nftw(path_.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string ReadFile(const std::string& path) {
  std::string text;
  FILE* file = fopen(path.c_str(), "r");
  if (file != nullptr) {
    char chunk[4096];
    size_t count;
    while ((count = fread(chunk, 1, sizeof(chunk), file)) > 0) {
      text.append(chunk, count);
    }
    static_cast<void>(fclose(file));
  }
  return text;
}

// Everything readable from the descriptor until end of file.
inline std::string ReadAll(int descriptor) {
  std::string text;
  char chunk[4096];
  for (;;) {
    ssize_t count = read(descriptor, chunk, sizeof(chunk));
    if (count > 0) {
      text.append(chunk, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

// Reads exactly size bytes (fewer at end of file).
inline std::string ReadExactly(int descriptor, size_t size) {
  std::string text;
  char chunk[256];
  while (text.size() < size) {
    size_t want = std::min(sizeof(chunk), size - text.size());
    ssize_t count = read(descriptor, chunk, want);
    if (count > 0) {
      text.append(chunk, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return text;
}

inline std::string ReadLink(const std::string& path) {
  char target[4096];
  ssize_t length = readlink(path.c_str(), target, sizeof(target) - 1);
  return length < 0 ? std::string() : std::string(target, length);
}

// Waits (up to a minute) until the process runs the program of that base
// name; false when it never did.
inline bool WaitForProgram(pid_t process, const std::string& name) {
  std::string link = "/proc/" + std::to_string(process) + "/exe";
  for (int tries = 0; tries < 60000; ++tries) {
    std::string target = ReadLink(link);
    if (target.size() > name.size() &&
        target.compare(target.size() - name.size() - 1, std::string::npos,
                       "/" + name) == 0) {
      return true;
    }
    usleep(1000);
  }
  return false;
}

// The process's open descriptors and what each one leads to.
inline std::map<int, std::string> Descriptors(pid_t process) {
  std::map<int, std::string> result;
  std::string directory = "/proc/" + std::to_string(process) + "/fd";
  DIR* listing = opendir(directory.c_str());
  if (listing == nullptr) {
    return result;
  }
  // The listing's own descriptor shows up when the process is this one.
  int own = process == getpid() ? dirfd(listing) : -1;
  while (struct dirent* entry = readdir(listing)) {
    if (entry->d_name[0] != '.' && atoi(entry->d_name) != own) {
      result[atoi(entry->d_name)] = ReadLink(directory + "/" + entry->d_name);
    }
  }
  closedir(listing);
  return result;
}

// The process's descriptors once they equal expected, or as they are after
// five seconds. A program opens and closes files of its own while it starts
// (its locale, for one), so one look could catch those; a descriptor it was
// given stays for good.
inline std::map<int, std::string> SettledDescriptors(
    pid_t process, const std::map<int, std::string>& expected) {
  std::map<int, std::string> current = Descriptors(process);
  for (int tries = 0; tries < 5000 && current != expected; ++tries) {
    usleep(1000);
    current = Descriptors(process);
  }
  return current;
}

// Kills and reaps a child; its wait status.
inline int KillAndWait(pid_t child) {
  kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

// The wait status of a child, or -1.
inline int WaitStatus(pid_t child) {
  int status = 0;
  pid_t result;
  do {
    result = waitpid(child, &status, 0);
  } while (result == -1 && errno == EINTR);
  return result == child ? status : -1;
}

// Runs body in a plain forked child and ends it with _exit(body's result),
// so that this process's exit handlers never run twice. output collects
// what body writes to the descriptor it is given. Returns the wait status.
inline int RunInChild(const std::function<int(int)>& body,
                      std::string* output = nullptr) {
  int channel[2];
  if (pipe(channel) != 0) {
    return -1;
  }
  static_cast<void>(fflush(nullptr));
  std::cout.flush();
  pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    int code = 125;
    try {
      code = body(channel[1]);
    } catch (...) {  // never run the rest of the tests in this copy
    }
    _exit(code);
  }
  close(channel[1]);
  std::string text = ReadAll(channel[0]);
  close(channel[0]);
  if (output != nullptr) {
    *output = text;
  }
  return child > 0 ? WaitStatus(child) : -1;
}

// Writes text whole to a descriptor.
inline void WriteAll(int descriptor, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count > 0) {
      done += static_cast<size_t>(count);
    } else if (count == -1 && errno != EINTR) {
      return;
    }
  }
}

}  // namespace process_test

#endif  // QZ_BASE_PROCESS_PROCESS_TEST_SUPPORT_H_
