#include "testing/test_support.h"

#include <fcntl.h>
#include <grp.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>

#include <gtest/gtest.h>

#include "base/log/logger.h"

namespace qz_test {

TempDir::TempDir() {
  char pattern[] = "/tmp/qz-test-XXXXXX";
  EXPECT_NE(mkdtemp(pattern), nullptr) << strerror(errno);
  path_ = pattern;
  chmod(path_.c_str(), 0755);
}

TempDir::~TempDir() {
  EXPECT_EQ(system(("chmod -R u+rwx " + path_ + " && rm -r " + path_).c_str()),
            0);
}

ScopedFd::~ScopedFd() { close(fd_); }

LogCapture::LogCapture()
    : saved_{LoggerInstance().logStream, LoggerInstance().errorStream},
      savedSwitches_{LoggerInstance().enabled, LoggerInstance().labels} {
  LoggerInstance().logStream = LoggerInstance().errorStream = &text_;
  LoggerInstance().enabled = 1;
}

LogCapture::~LogCapture() {
  Logger& logger = LoggerInstance();
  logger.logStream = saved_[0];
  logger.errorStream = saved_[1];
  logger.enabled = savedSwitches_[0];
  logger.labels = savedSwitches_[1];
}

std::string LogCapture::Text() const {
  static const std::regex prefix(
      "(\\d+) \\d+ \\d\\d:\\d\\d:\\d\\d \\d{3}\\.\\d{3} ");
  std::istringstream lines(text_.str());
  std::string result;
  for (std::string line; std::getline(lines, line); result += line + "\n") {
    std::smatch match;
    if (std::regex_search(line, match, prefix,
                          std::regex_constants::match_continuous) &&
        match[1] == std::to_string(getpid())) {
      line.erase(0, static_cast<size_t>(match.length(0)));
    } else if (!line.empty() && isdigit(static_cast<unsigned char>(line[0]))) {
      line.insert(0, "<bad prefix>");
    }
  }
  if (!text_.str().empty() && text_.str().back() != '\n') {
    result.pop_back();  // the last line has no end yet
  }
  return result;
}

StderrCapture::StderrCapture()
    : saved_(dup(2)), file_(memfd_create("stderr", MFD_CLOEXEC)) {
  static_cast<void>(fflush(stderr));
  std::clog.flush();
  dup2(file_, 2);
}

StderrCapture::~StderrCapture() {
  Take();
  dup2(saved_, 2);
  close(saved_);
  close(file_);
}

std::string StderrCapture::Take() {
  static_cast<void>(fflush(stderr));
  std::clog.flush();
  std::string text = ReadFile("/proc/self/fd/" + std::to_string(file_));
  EXPECT_EQ(ftruncate(file_, 0), 0);
  lseek(file_, 0, SEEK_SET);
  return text;
}

int RunInChild(const std::function<int(int)>& body, std::string* output) {
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) {
    return -1;
  }
  static_cast<void>(fflush(nullptr));
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
  if (geteuid() == 0 &&
      (setgroups(0, nullptr) != 0 || setresgid(65534, 65534, 65534) != 0 ||
       setresuid(65534, 65534, 65534) != 0)) {
    return false;
  }
  return geteuid() != 0 && getuid() != 0;
}

int WaitStatus(pid_t child) {
  int status = 0;
  pid_t result;
  while ((result = waitpid(child, &status, 0)) == -1 && errno == EINTR) {
  }
  return result == child ? status : -1;
}

std::map<int, std::string> Descriptors(pid_t process) {
  namespace fs = std::filesystem;
  const std::string listed = "/proc/" + std::to_string(process) + "/fd";
  std::map<int, std::string> result;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(listed, error)) {
    std::string link = fs::read_symlink(entry.path(), error);
    if (link != listed) {  // the listing's own descriptor
      result[std::stoi(entry.path().filename())] = link;
    }
  }
  return result;
}

std::string ReadAll(int fd) {
  std::string text;
  char chunk[4096];
  for (ssize_t count; (count = read(fd, chunk, sizeof chunk)) != 0;) {
    if (count > 0) {
      text.append(chunk, static_cast<size_t>(count));
    } else if (errno != EINTR) {
      break;
    }
  }
  return text;
}

void WriteAll(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) {
      return;
    }
    done += static_cast<size_t>(std::max<ssize_t>(count, 0));
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void WriteFile(const std::string& path, const std::string& text) {
  EXPECT_TRUE(std::ofstream(path, std::ios::binary) << text) << path;
}

std::string FileMode(const std::string& path) {
  struct stat record = {};
  char mode[16] = "missing";
  if (lstat(path.c_str(), &record) == 0) {
    static_cast<void>(
        snprintf(mode, sizeof mode, "%o", record.st_mode & 07777));
  }
  return mode;
}

}  // namespace qz_test
