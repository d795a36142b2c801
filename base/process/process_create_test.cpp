#include "base/process/process_create.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/process/exit_status.h"
#include "base/sync/mutex.h"
#include "base/testing/test_support.h"

namespace {

using namespace qz_test;

const char* const kMissing[] = {"/nonexistent/qz-program", "qz-program",
                                nullptr};
const char* const kSleep[] = {"/bin/sleep", "sleep", "60", nullptr};

std::string FdLink(int descriptor) {
  return ReadLink("/proc/self/fd/" + std::to_string(descriptor));
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
    const char* program;
    const char* const* environment;
    int code;
  } cases[] = {
      {"/nonexistent/qz-program", nullptr, ENOENT},
      {plain.c_str(), nullptr, EACCES},  // root too: no x bit
      {"true", environment, ENOENT},     // an environment: no PATH search
      {"true", nullptr, 0},
  };
  for (const Case& c : cases) {
    const char* command[] = {c.program, "x", nullptr};
    pid_t child = ProcessCreate(command, c.environment, 0, 1, 2, 0, 1);
    ASSERT_GT(child, 0);
    EXPECT_EQ(ProcessExitCode(WaitStatus(child)), c.code) << c.program;
  }
  ASSERT_EQ(chdir(old_directory.c_str()), 0);
  const char* no_zero[] = {"/bin/true", nullptr};
  LogCapture log;
  EXPECT_EQ(ProcessCreate(no_zero, nullptr, 0, 1, 2, 0, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"Process: WARNING! Invalid number of "
                                     "parameters in process creation.\n"});
}

// Descriptors the parent holds without close-on-exec reach no child.
TEST(ProcessCreate, ChildGetsOnlyStandardDescriptors) {
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  int copy = dup(1);
  std::map<int, std::string> parent = Descriptors(getpid());
  pid_t child = ProcessCreate(kSleep, nullptr, 0, 1, 2, 0, 1);
  ASSERT_GT(child, 0);
  ASSERT_TRUE(WaitForProgram(child, "sleep"));
  std::map<int, std::string> expected = {
      {0, parent[0]}, {1, parent[1]}, {2, parent[2]}};
  EXPECT_EQ(SettledDescriptors(child, expected), expected);
  EXPECT_EQ(ProcessExitCode(WaitStatus(child, true)), 4);
  EXPECT_EQ(Descriptors(getpid()), parent);
  close(copy);
  close(sockets[0]);
  close(sockets[1]);
}

// 7 onto 1 and 2 (0 kept), then 5 onto 0, 1 and 2, seen from the child.
TEST(ProcessCreate, DescriptorShuffles) {
  struct Case {
    int at, input;
    const char* script;
    const char* send;
    const char* expected;
  } cases[] = {
      {7, -1, "echo out; echo err >&2; exec sleep 60", "", "out\nerr\n"},
      {5, 5, "read line; echo \"got $line\"; echo err >&2; exec sleep 60",
       "ping\n", "got ping\nerr\n"},
  };
  for (const Case& c : cases) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    int moved =
        fcntl(sockets[1], F_DUPFD, c.at);  // the runner may hold low numbers
    close(sockets[1]);
    ASSERT_GE(moved, c.at);
    std::string name = FdLink(moved);
    const char* command[] = {"/bin/sh", "sh", "-c", c.script, nullptr};
    pid_t child = ProcessCreate(command, nullptr, c.input < 0 ? -1 : moved,
                                moved, moved, 0, 1);
    ASSERT_GT(child, 0);
    WriteAll(sockets[0], c.send);
    EXPECT_EQ(ReadAll(sockets[0], strlen(c.expected)), c.expected);
    ASSERT_TRUE(WaitForProgram(child, "sleep"));
    std::map<int, std::string> expected = {
        {0, c.input < 0 ? FdLink(0) : name}, {1, name}, {2, name}};
    EXPECT_EQ(SettledDescriptors(child, expected), expected);
    EXPECT_EQ(FdLink(moved), name);
    WaitStatus(child, true);
    close(moved);
    EXPECT_EQ(ReadAll(sockets[0]), "");  // every writer gone: no leaked copy
    close(sockets[0]);
  }
}

// A set-id program's situation (real 65534, effective 0): the child gets the
// real ids unless asked to keep them.
TEST(ProcessCreate, DropsIdentityUnlessKept) {
  if (geteuid() != 0)
    GTEST_SKIP() << "splitting real and effective ids needs root";
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        if (setresgid(65534, 0, 0) != 0 || setresuid(65534, 0, 0) != 0)
          return 1;
        std::string report;
        for (int keep : {0, 1}) {
          pid_t child = ProcessCreate(kSleep, nullptr, 0, 1, 2, 0, keep);
          if (child <= 0 || !WaitForProgram(child, "sleep"))
            return 2;
          std::string text =
              ReadFile("/proc/" + std::to_string(child) + "/status");
          for (const char* key : {"\nUid:", "\nGid:"}) {
            size_t at = text.find(key) + 1;
            report += text.substr(at, text.find('\n', at) + 1 - at);
          }
          WaitStatus(child, true);
        }
        WriteAll(out, report);
        return 0;
      },
      &output);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(
      output,
      "Uid:\t65534\t65534\t65534\t65534\nGid:\t65534\t65534\t65534\t65534\n"
      "Uid:\t65534\t0\t0\t0\nGid:\t65534\t0\t0\t0\n");
}

// A parent with text in its buffers starts a program that cannot run: the
// child's exit writes none of it, the parent's normal exit all of it once.
TEST(ProcessCreate, FailedChildWritesNoParentBuffer) {
  TempDir dir;
  std::string log_path = dir.File("log"), static_path = dir.File("static"),
              stdio_path = dir.File("stdio");
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  int status = RunInChild([&](int) -> int {
    dup2(channel[1], 1);
    close(channel[0]);
    close(channel[1]);
    setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
    std::ios_base::sync_with_stdio(false);  // std::cout buffers on its own
    printf("stdio line\n");
    std::cout << "cout line\n";
    LoggerInstance().logStream =
        new std::ofstream(log_path);  // the Logger owns it
    Log() << "log line\n";
    static std::ofstream unknown(static_path);
    unknown << "static line\n";
    FILE* file = fopen(stdio_path.c_str(), "w");
    if (file == nullptr || fputs("fopen line\n", file) < 0)
      exit(2);
    pid_t child = ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1);
    exit(child > 0 && ProcessExitCode(WaitStatus(child)) == ENOENT ? 0 : 1);
  });
  close(channel[1]);
  std::string output = ReadAll(channel[0]);
  close(channel[0]);
  EXPECT_TRUE(output == "stdio line\ncout line\n" ||
              output == "cout line\nstdio line\n")
      << output;
  EXPECT_EQ(status, 0);
  std::string log_text = ReadFile(log_path);
  EXPECT_EQ(log_text.size() - log_text.find("log line\n"), 9U) << log_text;
  EXPECT_EQ(log_text.find("log line"), log_text.rfind("log line"));
  EXPECT_EQ(ReadFile(static_path), "static line\n");
  EXPECT_EQ(ReadFile(stdio_path), "fopen line\n");
}

// Forks while another thread keeps taking LogMutex: each child can log, and
// the parent's lines stay whole and in order.
TEST(ProcessFork, ChildLogsAfterBusyMutex) {
  LogCapture log;
  std::atomic<bool> stop{false};
  std::thread logger([&] {
    for (int line = 0; !stop; ++line) {
      pthread_mutex_lock(&LogMutex);
      Log() << "parent line " << line << "\n";
      pthread_mutex_unlock(&LogMutex);
      sched_yield();
    }
  });
  std::vector<std::string> failures;
  for (int round = 0; round < 20 && failures.empty(); ++round) {
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    pid_t child = ProcessFork();
    if (child == 0) {
      std::ostringstream own;
      LoggerInstance().logStream = &own;
      Log() << "child line\n";
      WriteAll(channel[1], own.str());
      _exit(0);
    }
    close(channel[1]);
    bool ended = false;  // a child stuck on the mutex: fail, not hang
    for (int tries = 0; child > 0 && tries < 10000 && !ended; ++tries) {
      ended = waitpid(child, nullptr, WNOHANG) == child;
      usleep(ended ? 0 : 1000);
    }
    std::string text = ended ? ReadAll(channel[0]) : "";
    if (child > 0 && !ended)
      WaitStatus(child, true);
    close(channel[0]);
    if (text.rfind(std::to_string(child) + " ", 0) != 0 ||
        text.find(" child line\n") == std::string::npos) {
      failures.push_back("round " + std::to_string(round) + ": '" + text + "'");
    }
  }
  stop = true;
  logger.join();
  EXPECT_EQ(failures, std::vector<std::string>{});
  int expected = 0;
  for (const std::string& line : log.Lines()) {
    ASSERT_EQ(line, "parent line " + std::to_string(expected++) + "\n");
  }
  EXPECT_GT(expected, 0);
  EXPECT_EQ(MutexTimedLock(&LogMutex, 0), 1);  // left unlocked
  pthread_mutex_unlock(&LogMutex);
}

TEST(ProcessExec, FailureLines) {
  const char* arguments[] = {"x", nullptr};
  const char* environment[] = {nullptr};
  for (const char* const* env :
       {environment, static_cast<const char**>(nullptr)}) {
    LogCapture log;
    EXPECT_EQ(ProcessExec("/nonexistent/qz-program", arguments, env), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<std::string>{
            std::string("Process: WARNING! Function ") +
                (env ? "execve" : "execvp") +
                "() for '/nonexistent/qz-program' failed.\n",
            "Process: WARNING! Error is 2 'No such file or directory'.\n"}));
  }
}

// Invalid ids fail; root may give its identity away but not take it back,
// and nobody else may become root.
TEST(ProcessSetUserId, InvalidIdsAndPrivilege) {
  for (auto set : {ProcessSetUserId, ProcessSetGroupId}) {
    LogCapture log;
    EXPECT_EQ(set(-1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<std::string>{
            std::string("Process: ERROR! Can't set ") +
                (set == ProcessSetUserId ? "user" : "group") + " id to -1.\n",
            "Process: ERROR! Error is 22, Invalid argument.\n"}));
  }
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        LogCapture log;
        if (geteuid() == 0 &&
            (ProcessSetUserId(65534) != 1 || getuid() != 65534))
          return 1;
        int result = ProcessSetUserId(0);
        int error = errno;
        for (const std::string& line : log.Lines())
          WriteAll(out, line);
        return result == -1 ? error : 2;
      },
      &output);
  EXPECT_EQ(status, EPERM << 8);
  EXPECT_EQ(output,
            "Process: ERROR! Can't set user id to 0.\n"
            "Process: ERROR! Error is 1, Operation not permitted.\n");
}

}  // namespace
