#include "testing/driver_harness.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

namespace {

void WriteScript(const std::string& path, const std::string& child) {
  WriteFile(path, "#!/bin/sh\nexec '" + child + "' \"$0\" \"$@\"\n");
  chmod(path.c_str(), 0755);
}

// Reads a descriptor to its end.
std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  for (;;) {
    ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return text;
    }
    text.append(buffer, static_cast<size_t>(count));
  }
}

}  // namespace

FakeInstallation::FakeInstallation() {
  char pattern[] = "/tmp/qzupdate-test-XXXXXX";
  const char* made = mkdtemp(pattern);
  EXPECT_NE(made, nullptr) << strerror(errno);
  dir_ = made != nullptr ? made : "/nonexistent";
  // Others may pass, so that an unprivileged owner of what lies below can
  // reach it.
  chmod(dir_.c_str(), 0755);
  for (const char* sub : {"sys", "sys/bin", "root", "home", "record"}) {
    mkdir(Path(sub).c_str(), 0755);
  }
  std::filesystem::copy_file(QZ_FAKE_PROGRAM_PATH, Path("child"));
  chmod(Path("child").c_str(), 0755);
  for (const char* name : {"qzrunner.bin", "qzpost", "qzserver"}) {
    WriteScript(Path(std::string("sys/bin/") + name), Path("child"));
  }
  chmod(Path("record").c_str(), 0777);
}

FakeInstallation::~FakeInstallation() {
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

std::string FakeInstallation::Record(const std::string& name) const {
  return ReadFile(Path("record/" + name));
}

std::string FakeInstallation::InstallDriver() const {
  std::string copy = Path("sys/bin/qzupdate");
  std::filesystem::copy_file(QZUPDATE_PATH, copy);
  chmod(copy.c_str(), 0755);
  return copy;
}

DriverOptions DefaultOptions(const FakeInstallation& installation) {
  DriverOptions options;
  options.program = QZUPDATE_PATH;
  options.argv = {"qzupdate", "--upgrade"};
  options.environment = {
      {"PATH", "/usr/bin:/bin"},
      {"HOSTNAME", "testhost"},
      {"QZ_SYSTEM", installation.Path("sys")},
      {"QZ_ROOT", installation.Path("root")},
      {"FAKE_RECORD", installation.Path("record")},
  };
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (const char* value = getenv(name)) {
      options.environment[name] = value;
    }
  }
  return options;
}

std::vector<std::string> EnvironmentStrings(
    const std::map<std::string, std::string>& environment) {
  std::vector<std::string> strings;
  strings.reserve(environment.size());
  for (const auto& [name, value] : environment) {
    strings.push_back(name);
    strings.back().append("=").append(value);
  }
  return strings;
}

std::vector<char*> Pointers(std::vector<std::string>* strings) {
  std::vector<char*> pointers;
  for (std::string& text : *strings) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

void EnsureStandardDescriptors() {
  for (;;) {
    int fd = open("/dev/null", O_RDWR);
    if (fd < 0 || fd > 2) {
      close(fd);
      return;
    }
  }
}

StartedDriver StartDriver(const DriverOptions& options,
                          const std::string& scratch) {
  using Output = DriverOptions::Output;
  EnsureStandardDescriptors();
  StartedDriver started;
  started.out_path = scratch + "/driver.out";
  started.err_path = scratch + "/driver.err";
  int out = -1;
  if (options.output == Output::kFile) {
    out = open(started.out_path.c_str(),
               O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  } else if (options.output == Output::kFull) {
    out = open("/dev/full", O_WRONLY | O_CLOEXEC);
  } else {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    started.output = ends[0];
    out = ends[1];
    if (options.output == Output::kClosedPipe) {
      close(started.output);
      started.output = -1;
    }
  }
  int err = options.error_full
                ? open("/dev/full", O_WRONLY | O_CLOEXEC)
                : open(started.err_path.c_str(),
                       O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  int in = -1;
  if (options.input == nullptr && !options.hold_input) {
    in = open("/dev/null", O_RDONLY | O_CLOEXEC);
  } else {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    in = ends[0];
    started.input = ends[1];
    if (!options.hold_input) {
      EXPECT_EQ(write(ends[1], options.input, strlen(options.input)),
                static_cast<ssize_t>(strlen(options.input)));
      close(ends[1]);
      started.input = -1;
    }
  }
  EXPECT_GE(out, 0);
  EXPECT_GE(err, 0);
  EXPECT_GE(in, 0);

  std::vector<std::string> argv_strings = options.argv;
  std::vector<std::string> env_strings =
      EnvironmentStrings(options.environment);
  std::vector<char*> argv = Pointers(&argv_strings);
  std::vector<char*> envp = Pointers(&env_strings);

  started.pid = fork();
  if (started.pid == 0) {
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    for (auto [closed, fd] : {std::pair{options.close_input, 0},
                              {options.close_output, 1},
                              {options.close_error, 2}}) {
      if (closed) {
        close(fd);
      }
    }
    if (options.before_exec != nullptr) {
      options.before_exec();
    }
    execve(options.program.c_str(), argv.data(), envp.data());
    _exit(127);
  }
  EXPECT_GT(started.pid, 0) << strerror(errno);
  close(in);
  close(out);
  close(err);
  return started;
}

DriverRun FinishDriver(StartedDriver* started) {
  DriverRun run;
  run.pid = started->pid;
  if (started->input >= 0) {
    close(started->input);
  }
  if (started->output >= 0) {
    run.out = ReadAll(started->output);
    close(started->output);
  }
  int status = 0;
  while (waitpid(started->pid, &status, 0) < 0 && errno == EINTR) {
  }
  run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (started->output < 0) {
    run.out = ReadFile(started->out_path);
  }
  run.err = ReadFile(started->err_path);
  unlink(started->out_path.c_str());
  unlink(started->err_path.c_str());
  return run;
}

DriverRun RunDriver(const DriverOptions& options, const std::string& scratch) {
  StartedDriver started = StartDriver(options, scratch);
  return FinishDriver(&started);
}

std::string Normalize(const std::string& text, const std::string& dir) {
  std::string result;
  size_t start = 0;
  for (size_t found = text.find(dir); found != std::string::npos;
       found = text.find(dir, start)) {
    result.append(text, start, found - start).append("<T>");
    start = found + dir.size();
  }
  result.append(text, start, std::string::npos);
  static const std::regex log_directory("M-testhost-[0-9]+-[0-9A-F]{32}");
  static const std::regex waiting("with pid [0-9]+");
  static const std::regex prefix(
      "(^|\n)[0-9]+ [0-9]+ [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}\\.[0-9]{3} ");
  result = std::regex_replace(result, log_directory, "M-testhost-<pid>-<id>");
  result = std::regex_replace(result, waiting, "with pid <n>");
  result = std::regex_replace(result, prefix, "$1<prefix> ");
  return result;
}

int TakeLines(std::string* text, const std::string& line) {
  std::istringstream lines(*text);
  std::string kept;
  std::string current;
  int count = 0;
  while (std::getline(lines, current)) {
    if (current == line) {
      ++count;
    } else {
      kept += current + "\n";
    }
  }
  if (!text->empty() && text->back() != '\n' && !kept.empty()) {
    kept.pop_back();
  }
  *text = kept;
  return count;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return file ? content.str() : "";
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string DescribePath(const std::string& path) {
  struct stat record = {};
  if (stat(path.c_str(), &record) != 0) {
    return "missing";
  }
  char text[64];
  static_cast<void>(snprintf(text, sizeof text, "%o %u:%u",
                             record.st_mode & 07777,
                             static_cast<unsigned>(record.st_uid),
                             static_cast<unsigned>(record.st_gid)));
  return text;
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

void AwaitText(const std::string& path, const std::string& text) {
  for (int tries = 0; tries < 6000; ++tries) {
    if (ReadFile(path).find(text) != std::string::npos) {
      return;
    }
    usleep(10000);
  }
  ADD_FAILURE() << "never saw '" << text << "' in " << path;
}
