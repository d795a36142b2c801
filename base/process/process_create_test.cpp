#include "base/process/process_create.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/log/log.h"
#include "base/process/exit_status.h"
#include "base/process/process_test_support.h"
#include "base/sync/mutex.h"

namespace {

using process_test::Descriptors;
using process_test::KillAndWait;
using process_test::LogCapture;
using process_test::ReadAll;
using process_test::ReadExactly;
using process_test::ReadFile;
using process_test::ReadLink;
using process_test::RunInChild;
using process_test::SettledDescriptors;
using process_test::TempDir;
using process_test::WaitForProgram;
using process_test::WaitStatus;

const char* const kMissing[] = {"/nonexistent/qz-program", "qz-program",
                                nullptr};

// Moves a descriptor to the lowest free number from at up (the test
// runner may hold low numbers of its own); returns the new number.
int MoveTo(int descriptor, int at) {
  int moved = fcntl(descriptor, F_DUPFD, at);
  close(descriptor);
  return moved;
}

TEST(ProcessCreate, RefusesVectorWithoutArgumentZero) {
  const char* command[] = {"/bin/true", nullptr};
  LogCapture log;
  EXPECT_EQ(ProcessCreate(command, nullptr, 0, 1, 2, 0, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(log.Lines(), std::vector<std::string>{
                             "Process: WARNING! Invalid number of parameters "
                             "in process creation.\n"});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

// The child's exit status is the exec's error number.
TEST(ProcessCreate, ExecFailureExitStatus) {
  TempDir dir;
  std::string plain = dir.File("plain");
  std::ofstream(plain) << "#!/bin/sh\nexit 0\n";
  chmod(plain.c_str(), 0644);
  std::string old_directory = ReadLink("/proc/self/cwd");
  ASSERT_EQ(chdir(dir.path().c_str()), 0);  // no file named "true" here
  const char* environment[] = {"PATH=/bin:/usr/bin", nullptr};
  struct Case {
    std::vector<const char*> command;
    const char* const* environment;
    int code;
  } cases[] = {
      {{"/nonexistent/qz-program", "x"}, nullptr, ENOENT},
      {{plain.c_str(), "plain"}, nullptr, EACCES},  // root too: no x bit
      {{dir.path().c_str(), "dir"}, environment, EACCES},
      {{"true", "true"}, environment, ENOENT},  // no PATH search
      {{"true", "true"}, nullptr, 0},
  };
  for (Case& c : cases) {
    c.command.push_back(nullptr);
    pid_t child = ProcessCreate(c.command.data(), c.environment, 0, 1, 2, 0, 1);
    ASSERT_GT(child, 0);
    EXPECT_EQ(ProcessExitCode(WaitStatus(child)), c.code) << c.command[0];
  }
  ASSERT_EQ(chdir(old_directory.c_str()), 0);
}

// Descriptors the parent holds without close-on-exec: none reach a child.
TEST(ProcessCreate, ChildGetsOnlyStandardDescriptors) {
  TempDir dir;
  std::ofstream log_file(dir.File("log"));
  int saved_output = dup(1);
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  std::map<int, std::string> parent = Descriptors(getpid());
  int above_standard = 0;
  for (const auto& entry : parent) {
    above_standard += entry.first > 2;
  }
  ASSERT_GE(above_standard, 3);

  const char* command[] = {"/bin/sleep", "sleep", "60", nullptr};
  pid_t child = ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
  ASSERT_GT(child, 0);
  ASSERT_TRUE(WaitForProgram(child, "sleep"));
  std::map<int, std::string> expected = {
      {0, parent[0]}, {1, parent[1]}, {2, parent[2]}};
  EXPECT_EQ(SettledDescriptors(child, expected), expected);
  EXPECT_EQ(ProcessExitCode(KillAndWait(child)), 4);
  EXPECT_EQ(Descriptors(getpid()), parent);  // the parent's are untouched
  close(saved_output);
  close(sockets[0]);
  close(sockets[1]);
}

TEST(ProcessCreate, OneDescriptorOntoOutputAndError) {
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  int seven = MoveTo(channel[1], 7);
  ASSERT_GE(seven, 7);
  std::string pipe_name = ReadLink("/proc/self/fd/" + std::to_string(seven));
  const char* command[] = {"/bin/sh", "sh", "-c",
                           "echo out; echo err >&2; exec sleep 60", nullptr};
  pid_t child = ProcessCreate(command, nullptr, -1, seven, seven, 0, 1);
  ASSERT_GT(child, 0);
  EXPECT_EQ(ReadExactly(channel[0], 8), "out\nerr\n");
  ASSERT_TRUE(WaitForProgram(child, "sleep"));
  std::map<int, std::string> expected = {
      {0, ReadLink("/proc/self/fd/0")}, {1, pipe_name}, {2, pipe_name}};
  EXPECT_EQ(SettledDescriptors(child, expected), expected);
  EXPECT_EQ(ReadLink("/proc/self/fd/" + std::to_string(seven)), pipe_name);
  KillAndWait(child);
  close(seven);
  EXPECT_EQ(ReadAll(channel[0]), "");  // every writer gone: no leaked copy
  close(channel[0]);
}

TEST(ProcessCreate, OneDescriptorOntoAllThree) {
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  int five = MoveTo(sockets[1], 5);
  ASSERT_GE(five, 5);
  std::string socket_name = ReadLink("/proc/self/fd/" + std::to_string(five));
  const char* command[] = {
      "/bin/sh", "sh", "-c",
      "read line; echo \"got $line\"; echo err >&2; exec sleep 60", nullptr};
  pid_t child = ProcessCreate(command, nullptr, five, five, five, 0, 1);
  ASSERT_GT(child, 0);
  process_test::WriteAll(sockets[0], "ping\n");
  EXPECT_EQ(ReadExactly(sockets[0], 13), "got ping\nerr\n");
  ASSERT_TRUE(WaitForProgram(child, "sleep"));
  std::map<int, std::string> expected = {
      {0, socket_name}, {1, socket_name}, {2, socket_name}};
  EXPECT_EQ(SettledDescriptors(child, expected), expected);
  KillAndWait(child);
  close(five);
  EXPECT_EQ(ReadAll(sockets[0]), "");
  close(sockets[0]);
}

// The nice value of a running child, from /proc/<pid>/stat.
int NiceOf(pid_t process) {
  std::string stat = ReadFile("/proc/" + std::to_string(process) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string field;
  for (int index = 3; index <= 19; ++index) {
    fields >> field;  // field 19 is the nice value
  }
  return std::stoi(field);
}

TEST(ProcessCreate, ChildPriority) {
  errno = 0;
  int own = getpriority(PRIO_PROCESS, 0);
  bool privileged = geteuid() == 0;
  struct Case {
    int level;
    int nice;
  } cases[] = {
      {ProcessPriorityNormal, 0},
      {5, 5},
      {ProcessPriorityLowest, 19},
      // Without privilege the change fails and the child keeps the parent's.
      {ProcessPriorityHigh, privileged ? -10 : own},
  };
  for (const Case& c : cases) {
    if (!privileged && c.nice < own) {
      continue;  // this process runs at a lower priority than asked for
    }
    const char* command[] = {"/bin/sleep", "sleep", "60", nullptr};
    pid_t child = ProcessCreate(command, nullptr, 0, 1, 2, c.level, 1);
    ASSERT_GT(child, 0);
    ASSERT_TRUE(WaitForProgram(child, "sleep"));
    EXPECT_EQ(NiceOf(child), c.nice) << c.level;
    KillAndWait(child);
  }
}

TEST(ProcessMapPriority, Levels) {
  EXPECT_EQ(ProcessMapPriority(ProcessPriorityLowest), 19);
  EXPECT_EQ(ProcessMapPriority(ProcessPriorityNormal), 0);
  EXPECT_EQ(ProcessMapPriority(ProcessPriorityHigh), -10);
  EXPECT_EQ(ProcessMapPriority(ProcessPriorityHighest), -20);
  EXPECT_EQ(ProcessMapPriority(5), 5);
  EXPECT_EQ(ProcessMapPriority(-3), -3);
  EXPECT_EQ(ProcessMapPriority(99), 99);
  EXPECT_EQ(ProcessMapPriority(104), 104);
}

// "Uid:" or "Gid:" line of a process's status: real, effective, saved, fs.
std::string IdLine(pid_t process, const char* key) {
  std::istringstream status(
      ReadFile("/proc/" + std::to_string(process) + "/status"));
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 4, key) == 0) {
      return line;
    }
  }
  return "";
}

TEST(ProcessCreate, DropsIdentityUnlessKept) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "splitting real and effective ids needs root";
  }
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        // A set-id program's situation: real ids 65534, effective ids 0.
        if (setresgid(65534, 0, 0) != 0 || setresuid(65534, 0, 0) != 0) {
          return 1;
        }
        const char* command[] = {"/bin/sleep", "sleep", "60", nullptr};
        std::string report;
        for (int keep : {0, 1}) {
          pid_t child = ProcessCreate(command, nullptr, 0, 1, 2, 0, keep);
          if (child <= 0 || !WaitForProgram(child, "sleep")) {
            return 2;
          }
          report += IdLine(child, "Uid:") + "\n" + IdLine(child, "Gid:") + "\n";
          KillAndWait(child);
        }
        process_test::WriteAll(out, report);
        return 0;
      },
      &output);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(
      output,
      "Uid:\t65534\t65534\t65534\t65534\nGid:\t65534\t65534\t65534\t65534\n"
      "Uid:\t65534\t0\t0\t0\nGid:\t65534\t0\t0\t0\n");
}

// A parent with text still in its buffers starts a program that cannot be
// run; the child's exit must write none of it, and the parent all of it.
TEST(ProcessCreate, FailedChildWritesNoParentBuffer) {
  TempDir dir;
  std::string log_path = dir.File("log");
  std::string static_path = dir.File("static");
  std::string stdio_path = dir.File("stdio");
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  int status = RunInChild([&](int) -> int {
    dup2(channel[1], 1);
    close(channel[0]);
    close(channel[1]);
    static_cast<void>(setvbuf(stdout, nullptr, _IOFBF, 1 << 16));
    // std::cout gets a buffer of its own, apart from stdout's.
    std::ios_base::sync_with_stdio(false);
    printf("stdio line\n");
    std::cout << "cout line\n";
    // The Logger owns the file stream from here; exit flushes and frees it.
    LoggerInstance().logStream = new std::ofstream(log_path);
    Log() << "log line\n";
    static std::ofstream unknown(static_path);  // destroyed at exit
    unknown << "static line\n";
    FILE* file = fopen(stdio_path.c_str(), "w");
    if (file == nullptr || fputs("fopen line\n", file) < 0) {
      exit(2);
    }
    pid_t child = ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1);
    if (child <= 0 || ProcessExitCode(WaitStatus(child)) != ENOENT) {
      exit(1);
    }
    exit(0);  // the normal exit writes everything, once
  });
  close(channel[1]);
  // The two buffers reach the pipe in the order exit flushes them.
  std::string output = ReadAll(channel[0]);
  EXPECT_TRUE(output == "stdio line\ncout line\n" ||
              output == "cout line\nstdio line\n")
      << output;
  close(channel[0]);
  EXPECT_EQ(status, 0);
  std::string log_text = ReadFile(log_path);
  EXPECT_EQ(log_text.size() - log_text.find("log line\n"), 9U) << log_text;
  EXPECT_EQ(log_text.find("log line"), log_text.rfind("log line"));
  EXPECT_EQ(ReadFile(static_path), "static line\n");
  EXPECT_EQ(ReadFile(stdio_path), "fopen line\n");
}

// Another thread keeps writing standard output while children that cannot
// be run come and go: every line reaches the file exactly once.
TEST(ProcessCreate, ConcurrentWriterNeverDuplicated) {
  TempDir dir;
  std::string path = dir.File("out");
  std::string count_text;
  int status = RunInChild(
      [&](int out) -> int {
        int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, 1);
        close(file);
        static_cast<void>(setvbuf(stdout, nullptr, _IOFBF, 1 << 16));
        std::atomic<bool> stop{false};
        int lines = 0;
        std::thread writer([&] {
          for (; !stop; ++lines) {
            printf("line %d\n", lines);
            if (lines % 16 == 15) {
              usleep(10);  // keep writing through every fork, not more
            }
          }
        });
        int failures = 0;
        for (int round = 0; round < 50; ++round) {
          pid_t child = ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1);
          failures +=
              child <= 0 || ProcessExitCode(WaitStatus(child)) != ENOENT;
        }
        stop = true;
        writer.join();
        static_cast<void>(fflush(stdout));
        process_test::WriteAll(out, std::to_string(lines));
        return failures;
      },
      &count_text);
  EXPECT_EQ(status, 0);
  std::istringstream text(ReadFile(path));
  std::string line;
  int expected = 0;
  while (std::getline(text, line) &&
         line == "line " + std::to_string(expected)) {
    ++expected;
  }
  EXPECT_EQ(std::to_string(expected), count_text)
      << "wrong or repeated line: " << line;
  EXPECT_FALSE(std::getline(text, line)) << line;
}

// A fork while another thread is busy with LogMutex: the child can log, and
// the parent's lines keep coming whole.
TEST(ProcessFork, ChildLogsAfterBusyMutex) {
  LogCapture log;
  std::atomic<bool> stop{false};
  std::thread logger([&] {
    for (int line = 0; !stop; ++line) {
      pthread_mutex_lock(&LogMutex);  // held across a line, then some
      Log() << "parent line " << line << "\n";
      pthread_mutex_unlock(&LogMutex);
      sched_yield();  // let the forking thread in now and then
    }
  });
  std::vector<std::string> failures;
  for (int round = 0; round < 20 && failures.empty(); ++round) {
    int channel[2];
    if (pipe(channel) != 0) {
      break;
    }
    pid_t child = ProcessFork();
    if (child == 0) {
      std::ostringstream own;
      LoggerInstance().logStream = &own;
      Log() << "child line\n";
      process_test::WriteAll(channel[1], own.str());
      _exit(0);
    }
    close(channel[1]);
    // A child stuck on the inherited mutex never ends: give it ten
    // seconds, then fail rather than hang.
    bool ended = false;
    for (int tries = 0; child > 0 && tries < 10000 && !ended; ++tries) {
      ended = waitpid(child, nullptr, WNOHANG) == child;
      usleep(ended ? 0 : 1000);
    }
    std::string text = ended ? ReadAll(channel[0]) : "";
    if (child > 0 && !ended) {
      KillAndWait(child);
    }
    close(channel[0]);
    std::string head = std::to_string(child) + " ";
    if (text.compare(0, head.size(), head) != 0 ||
        text.find(" child line\n") == std::string::npos) {
      failures.push_back("round " + std::to_string(round) + ": '" + text + "'");
    }
  }
  stop = true;
  logger.join();
  EXPECT_EQ(failures, std::vector<std::string>{});
  int expected = 0;
  for (const std::string& line : log.Lines()) {
    ASSERT_EQ(line, "parent line " + std::to_string(expected) + "\n");
    ++expected;
  }
  EXPECT_GT(expected, 0);
  EXPECT_EQ(MutexTimedLock(&LogMutex, 0), 1);  // left unlocked
  pthread_mutex_unlock(&LogMutex);
}

TEST(ProcessCreate, ForkRefused) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root is not bound by the process-count limit";
  }
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        struct rlimit limit;
        getrlimit(RLIMIT_NPROC, &limit);
        rlim_t soft = limit.rlim_cur;
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_NPROC, &limit);
        LogCapture log;
        const char* command[] = {"/bin/true", "true", nullptr};
        int result = ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
        int error = errno;
        process_test::WriteAll(out, log.Raw());
        limit.rlim_cur = soft;  // threads count against the limit too
        setrlimit(RLIMIT_NPROC, &limit);
        std::thread other([&] { result += MutexTimedLock(&LogMutex, 0); });
        other.join();
        return result == 0 ? error : 100;  // -1, then 1 for the free mutex
      },
      &output);
  EXPECT_EQ(status, EAGAIN << 8);
  EXPECT_NE(output.find("Process: WARNING! Function fork() failed.\n"),
            std::string::npos);
  EXPECT_NE(output.find("Process: WARNING! Error is 11 'Resource temporarily "
                        "unavailable'.\n"),
            std::string::npos);
}

TEST(ProcessExec, FailureLines) {
  const char* arguments[] = {"x", nullptr};
  const char* environment[] = {nullptr};
  struct Case {
    const char* const* environment;
    const char* function;
  } cases[] = {{environment, "execve"}, {nullptr, "execvp"}};
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_EQ(ProcessExec("/nonexistent/qz-program", arguments, c.environment),
              -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<std::string>{
            std::string("Process: WARNING! Function ") + c.function +
                "() for '/nonexistent/qz-program' failed.\n",
            "Process: WARNING! Error is 2 'No such file or directory'.\n"}));
  }
}

TEST(ProcessSetUserId, InvalidIdsFail) {
  struct Case {
    int (*set)(int);
    const char* line;
  } cases[] = {
      {ProcessSetUserId, "Process: ERROR! Can't set user id to -1.\n"},
      {ProcessSetGroupId, "Process: ERROR! Can't set group id to -1.\n"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_EQ(c.set(-1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{
                  c.line, "Process: ERROR! Error is 22, Invalid argument.\n"}));
  }
}

// Root may give its identity away, but not take it back; anyone else may
// not become root.
TEST(ProcessSetUserId, Privilege) {
  EXPECT_EQ(ProcessSetGroupId(static_cast<int>(getgid())), 1);
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        LogCapture log;
        if (geteuid() == 0 &&
            (ProcessSetUserId(65534) != 1 || getuid() != 65534)) {
          return 1;
        }
        int result = ProcessSetUserId(0);
        int error = errno;
        process_test::WriteAll(out, log.Raw());
        return result == -1 ? error : 2;
      },
      &output);
  EXPECT_EQ(status, EPERM << 8);
  EXPECT_NE(output.find("Process: ERROR! Can't set user id to 0.\n"),
            std::string::npos);
  EXPECT_NE(
      output.find("Process: ERROR! Error is 1, Operation not permitted.\n"),
      std::string::npos);
}

TEST(ProcessSetPriority, HigherNeedsPrivilege) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        LogCapture log;
        int result = ProcessSetPriority(ProcessPriorityHighest);
        int error = errno;
        process_test::WriteAll(out, log.Raw());
        if (result == 1) {
          errno = 0;
          return getpriority(PRIO_PROCESS, 0) == -20 ? 0 : 1;
        }
        return error;
      },
      &output);
  if (geteuid() == 0) {
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, "");
    return;
  }
  EXPECT_EQ(status, EACCES << 8);
  EXPECT_NE(output.find("Process: ERROR! Can't set priority to -20.\n"),
            std::string::npos);
  EXPECT_NE(output.find("Process: ERROR! Error is 13 'Permission denied'.\n"),
            std::string::npos);
}

}  // namespace
