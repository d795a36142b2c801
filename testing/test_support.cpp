#include "testing/test_support.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <regex>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/logger.h"

namespace qz_test {

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
  if (const char* old = getenv(name)) {
    old_ = old;
  }
  value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
  old_ ? setenv(name_.c_str(), old_->c_str(), 1) : unsetenv(name_.c_str());
}

namespace {

// Gives the owner back every permission a test took away, then removes.
int Remove(const char* path, const struct stat* record, int type, struct FTW*) {
  if (type == FTW_DP) {
    chmod(path, record->st_mode | S_IRWXU);
  }
  return remove(path);
}

int AllowEntry(const char* path, const struct stat* record, int type,
               struct FTW*) {
  if (type == FTW_D || type == FTW_DNR) {
    chmod(path, (record->st_mode & 07777) | S_IRWXU);
  }
  return 0;
}

}  // namespace

TempDir::TempDir() {
  char pattern[] = "/tmp/qz-test-XXXXXX";
  EXPECT_NE(mkdtemp(pattern), nullptr) << strerror(errno);
  path_ = pattern;
  chmod(path_.c_str(), 0755);
}

TempDir::~TempDir() {
  nftw(path_.c_str(), AllowEntry, 16, FTW_PHYS);
  nftw(path_.c_str(), Remove, 16, FTW_DEPTH | FTW_PHYS);
}

ScopedFd::~ScopedFd() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

LogCapture::LogCapture()
    : saved_log_(LoggerInstance().logStream),
      saved_error_(LoggerInstance().errorStream),
      saved_enabled_(LoggerInstance().enabled),
      saved_labels_(LoggerInstance().labels) {
  Logger& logger = LoggerInstance();
  logger.logStream = &text_;
  logger.errorStream = &text_;
  logger.enabled = 1;
}

LogCapture::~LogCapture() {
  Logger& logger = LoggerInstance();
  logger.logStream = saved_log_;
  logger.errorStream = saved_error_;
  logger.enabled = saved_enabled_;
  logger.labels = saved_labels_;
}

std::string LogCapture::Text() const {
  static const std::regex prefix(
      "(\\d+) \\d+ \\d\\d:\\d\\d:\\d\\d \\d{3}\\.\\d{3} ");
  const std::string pid = std::to_string(getpid());
  std::istringstream lines(text_.str());
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_search(line, match, prefix,
                          std::regex_constants::match_continuous) &&
        match[1] == pid) {
      line.erase(0, static_cast<size_t>(match.length(0)));
    } else if (!line.empty() && isdigit(static_cast<unsigned char>(line[0]))) {
      line.insert(0, "<bad prefix>");
    }
    result += line + "\n";
  }
  const std::string& raw = text_.str();
  if (!raw.empty() && raw.back() != '\n') {
    result.pop_back();  // the last line has no end yet
  }
  return result;
}

StderrCapture::StderrCapture()
    : saved_(dup(2)), file_(memfd_create("stderr", MFD_CLOEXEC)) {
  fflush(stderr);
  std::clog.flush();
  dup2(file_, 2);
}

StderrCapture::~StderrCapture() {
  fflush(stderr);
  std::clog.flush();
  dup2(saved_, 2);
  close(saved_);
  close(file_);
}

std::string StderrCapture::Take() {
  fflush(stderr);
  std::clog.flush();
  lseek(file_, 0, SEEK_SET);
  std::string text = ReadAll(file_);
  EXPECT_EQ(ftruncate(file_, 0), 0);
  lseek(file_, 0, SEEK_SET);
  return text;
}

int RunInChild(const std::function<int(int)>& body, std::string* output) {
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) {
    return -1;
  }
  fflush(nullptr);
  std::cout.flush();
  std::clog.flush();
  pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    _exit(body(channel[1]));
  }
  close(channel[1]);
  std::string text = ReadAll(channel[0]);
  close(channel[0]);
  if (output != nullptr) {
    *output = text;
  }
  return child > 0 ? WaitStatus(child) : -1;
}

bool DropPrivileges() {
  if (geteuid() == 0) {
    static_cast<void>(setgroups(0, nullptr));
    static_cast<void>(setresgid(65534, 65534, 65534));
    static_cast<void>(setresuid(65534, 65534, 65534));
  }
  return geteuid() != 0 && getuid() != 0;
}

int WaitStatus(pid_t child, bool kill_first) {
  if (kill_first) {
    kill(child, SIGKILL);
  }
  int status = 0;
  pid_t result;
  while ((result = waitpid(child, &status, 0)) == -1 && errno == EINTR) {
  }
  return result == child ? status : -1;
}

std::map<int, std::string> Descriptors(pid_t process) {
  std::map<int, std::string> result;
  std::string directory = "/proc/" + std::to_string(process) + "/fd";
  DIR* listing = opendir(directory.c_str());
  if (listing == nullptr) {
    return result;
  }
  int own = process == getpid() ? dirfd(listing) : -1;
  while (struct dirent* entry = readdir(listing)) {
    int fd = atoi(entry->d_name);
    if (entry->d_name[0] != '.' && fd != own) {
      char target[4096];
      std::string link = directory + "/" + entry->d_name;
      ssize_t length = readlink(link.c_str(), target, sizeof target);
      result[fd] = std::string(
          target, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    }
  }
  closedir(listing);
  return result;
}

std::string ReadAll(int fd) {
  std::string text;
  char chunk[4096];
  for (;;) {
    ssize_t count = read(fd, chunk, sizeof chunk);
    if (count > 0) {
      text.append(chunk, static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

void WriteAll(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count > 0) {
      done += static_cast<size_t>(count);
    } else if (errno != EINTR) {
      return;
    }
  }
}

std::string ReadFile(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text = fd < 0 ? "" : ReadAll(fd);
  close(fd);
  return text;
}

void WriteFile(const std::string& path, const std::string& text) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  EXPECT_GE(fd, 0) << path << ": " << strerror(errno);
  WriteAll(fd, text);
  close(fd);
}

std::string DescribePath(const std::string& path) {
  struct stat record = {};
  if (lstat(path.c_str(), &record) != 0) {
    return "missing";
  }
  std::ostringstream text;
  text << std::oct << (record.st_mode & 07777) << std::dec << " "
       << record.st_uid << ":" << record.st_gid;
  return text.str();
}

std::string ListDirectory(const std::string& path) {
  std::vector<std::string> names;
  if (DIR* directory = opendir(path.c_str())) {
    while (dirent* entry = readdir(directory)) {
      if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
        names.push_back(entry->d_name);
      }
    }
    closedir(directory);
  }
  std::sort(names.begin(), names.end());
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : " ") + name;
  }
  return text;
}

std::string ErrorText(int code) { return strerror(code); }

}  // namespace qz_test
