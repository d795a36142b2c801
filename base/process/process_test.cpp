// Process creation, exit statuses, users and host names, with real children.

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/process/exit_status.h"
#include "base/process/host_name.h"
#include "base/process/process_create.h"
#include "base/process/user.h"
#include "base/string/owned_string.h"
#include "base/sync/mutex.h"
#include "testing/test_support.h"

namespace {

using namespace qz_test;

const char* const kMissing[] = {"/nonexistent/qz", "qz", nullptr};

// Starts a shell that stops itself (-p: it keeps a set-id identity) at the
// lowest priority, and waits until it has stopped; -1 if it never did.
pid_t StartStopped(int input, int output, int error, int keep_identity) {
  const char* command[] = {"/bin/sh",       "sh",   "-p", "-c",
                           "kill -STOP $$", nullptr};
  pid_t child = ProcessCreate(command, nullptr, input, output, error,
                              ProcessPriorityLowest, keep_identity);
  int status = 0;
  bool stopped = child > 0 && waitpid(child, &status, WUNTRACED) == child &&
                 ProcessStopped(status) == 1;
  return stopped ? child : -1;
}

// Bits 8 to 15 carry an exit status or a stop signal, the low 7 bits a
// terminating signal (0x80: core dumped); 0x7f marks a stopped child and
// 0xffff a continued one.
TEST(ProcessExitCode, DecodesWaitStatuses) {
  const int cases[][8] = {
      // status, exited, status, signaled, signal, stopped, stop, code
      {0x0000, 1, 0, 0, 0, 0, 0, 0},
      {0xff00, 1, 255, 0, 0, 0, 255, 255},
      {0x0081, 0, 0, 1, 1, 0, 0, 4},
      {0x007e, 0, 0, 1, 126, 0, 0, 4},
      {0x137f, 0, 19, 0, 127, 1, 19, 0x137f},
      {0xffff, 0, 255, 0, 127, 0, 255, 0xffff}};
  for (const auto& c : cases) {
    LogCapture log;
    int s = c[0];
    EXPECT_EQ((std::vector<int>{ProcessExited(s), ProcessExitStatus(s),
                                ProcessSignaled(s), ProcessTermSignal(s),
                                ProcessStopped(s), ProcessStopSignal(s),
                                ProcessExitCode(s)}),
              std::vector<int>(c + 1, c + 8));
    EXPECT_EQ(log.Text(), c[1] + c[3] != 0
                              ? ""
                              : "Process: WARNING! Unrecognized exit code '" +
                                    std::to_string(s) + "'.\n");
  }
}

TEST(ProcessExit, EndsAsAsked) {
  EXPECT_EQ(RunInChild([](int) -> int { ProcessExit(3); }), 3 << 8);
  EXPECT_EQ(RunInChild([](int) -> int { ProcessKillSelf(); }), SIGKILL);
  EXPECT_EQ(RunInChild([](int) { return ProcessRaise(SIGTERM); }), SIGTERM);
  std::string output;
  RunInChild(
      [](int out) {
        WriteAll(out, ProcessDetach() == 1 && getsid(0) == getpid() ? "leader"
                                                                    : "no");
        return 0;
      },
      &output);
  EXPECT_EQ(output, "leader");
}

// The child's exit status is the program's, or the exec's error number; a
// vector without argv[0] starts nothing. The child logs nothing anywhere.
TEST(ProcessCreate, ExitStatusOfTheProgram) {
  const char* path[] = {"PATH=/bin:/usr/bin", nullptr};
  const struct {
    const char* file;
    const char* const* environment;
    int code;
  } cases[] = {{"/nonexistent/qz", nullptr, ENOENT},
               {"/dev/null", nullptr, EACCES},
               {"true", path, ENOENT},  // no PATH search with an environment
               {"true", nullptr, 0},
               {"false", nullptr, 1}};
  StderrCapture error;
  for (const auto& c : cases) {
    const char* command[] = {c.file, "x", nullptr};
    pid_t child = ProcessCreate(command, c.environment, 0, 1, 2, 0, 1);
    ASSERT_GT(child, 0);
    EXPECT_EQ(ProcessExitCode(WaitStatus(child)), c.code) << c.file;
  }
  EXPECT_EQ(error.Take(), "");
  LogCapture log;
  const char* lone[] = {"/bin/true", nullptr};
  EXPECT_EQ(ProcessCreate(lone, nullptr, 0, 1, 2, 0, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Invalid number of parameters in process "
            "creation.\n");
}

// Rows of input, output and error, where 9 stands for a socket the parent
// holds above 2, and what the program's 0, 1 and 2 lead to: the parent's
// own (p) or the socket (s). Nothing else reaches the program.
TEST(ProcessCreate, StandardDescriptorsOnly) {
  const struct {
    int input, output, error;
    const char* sees;
  } cases[] = {{0, 1, 2, "ppp"},  {-1, 9, 9, "pss"}, {9, 9, 9, "sss"},
               {9, 9, -1, "ssp"}, {-1, 9, 1, "pss"}, {9, 0, 2, "ssp"}};
  for (const auto& c : cases) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ScopedFd near(pair[0]), far(fcntl(pair[1], F_DUPFD, 10));
    close(pair[1]);
    std::map<int, std::string> parent = Descriptors(getpid()), expected;
    for (int fd = 0; fd < 3; ++fd) {
      expected[fd] = parent[c.sees[fd] == 's' ? far.get() : fd];
    }
    auto pick = [&](int fd) { return fd == 9 ? far.get() : fd; };
    pid_t child = StartStopped(pick(c.input), pick(c.output), pick(c.error), 1);
    ASSERT_GT(child, 0);
    EXPECT_EQ(Descriptors(child), expected) << c.sees;
    EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(child)), 19);
    WaitStatus(child, true);
  }
}

// A set-id program's situation: real ids 65534, effective ids 0 (root) or
// 1000 (another user, so without privilege). Unless asked to keep them, the
// program runs with the real ids.
TEST(ProcessCreate, DropsIdentityUnlessKept) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "splitting real and effective ids needs root";
  }
  for (int effective : {0, 1000}) {
    std::string output;
    int status = RunInChild(
        [effective](int out) {
          if (setresgid(65534, effective, effective) != 0 ||
              setresuid(65534, effective, effective) != 0) {
            return 1;
          }
          for (int keep : {0, 1}) {
            pid_t child = StartStopped(0, 1, 2, keep);
            if (child < 0) {
              return 2;
            }
            std::string text =
                ReadFile("/proc/" + std::to_string(child) + "/status");
            for (const char* key : {"\nUid:", "\nGid:"}) {
              size_t at = text.find(key) + 1;
              WriteAll(out, text.substr(at, text.find('\n', at) + 1 - at));
            }
            WaitStatus(child, true);
          }
          return 0;
        },
        &output);
    EXPECT_EQ(status, 0);
    std::string e = std::to_string(effective) + "\t";
    std::string dropped = "65534\t65534\t65534\t65534\n";
    std::string kept = "65534\t" + e + e + e.substr(0, e.size() - 1) + "\n";
    EXPECT_EQ(output, "Uid:\t" + dropped + "Gid:\t" + dropped + "Uid:\t" +
                          kept + "Gid:\t" + kept);
  }
}

// Text the parent has buffered goes out once, before what the program
// writes. Text put in the buffers at the fork itself (as by another thread)
// stays the parent's, also when the program cannot start.
TEST(ProcessCreate, ParentBuffersWrittenOnce) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        dup2(out, 1);
        setvbuf(stdout, nullptr, _IOFBF, 4096);
        std::ios_base::sync_with_stdio(false);  // std::cout buffers itself
        std::string path = "/proc/self/fd/" + std::to_string(out);
        Logger& logger = LoggerInstance();
        logger.logStream = new std::ofstream(path);  // owned by the Logger
        logger.retiredErrorStream.reset(new std::ofstream(path));
        printf("stdio\n");
        std::cout << "cout\n";
        *logger.logStream << "log\n";
        *logger.retiredErrorStream << "retired\n";
        pthread_atfork(
            [] {
              fputs("late\n", stdout);
              *LoggerInstance().logStream << "later\n";
            },
            nullptr, nullptr);
        const char* echo[] = {"/bin/echo", "echo", "child", nullptr};
        int code = ProcessExitCode(
            WaitStatus(ProcessCreate(echo, nullptr, 0, 1, 2, 0, 1)));
        code += ProcessExitCode(
            WaitStatus(ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1)));
        exit(code);
      },
      &output);
  EXPECT_EQ(status, ENOENT << 8);
  EXPECT_EQ(output,
            "cout\nlog\nretired\nstdio\nchild\nlater\nlate\nlater\nlate\n");
}

int lockedAtFork = -1;

// The fork happens with LogMutex held, which the parent then gives up and
// the child replaces, so that the child can log.
TEST(ProcessFork, HoldsLogMutexAcrossFork) {
  pthread_atfork(nullptr, nullptr, [] {
    lockedAtFork = pthread_mutex_trylock(&LogMutex) == EBUSY ? 1 : 0;
    if (lockedAtFork == 0) {
      pthread_mutex_unlock(&LogMutex);
    }
  });
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  pid_t child = ProcessFork();
  if (child == 0) {
    std::string text = std::to_string(lockedAtFork) + " ";
    if (MutexTimedLock(&LogMutex, 0) == 1) {
      pthread_mutex_unlock(&LogMutex);
      LogCapture log;
      Log() << "child line\n";
      text += log.Text();
    }
    WriteAll(channel[1], text);
    _exit(0);
  }
  close(channel[1]);
  std::string text = ReadAll(channel[0]);
  close(channel[0]);
  EXPECT_EQ(WaitStatus(child), 0);
  EXPECT_EQ(text, "1 child line\n");
  int released = 0;
  std::thread([&released] {
    released = pthread_mutex_trylock(&LogMutex) == 0 ? 1 : 0;
    if (released == 1) {
      pthread_mutex_unlock(&LogMutex);
    }
  }).join();
  EXPECT_EQ(released, 1);
}

TEST(ProcessExec, FailureLines) {
  const char* arguments[] = {"x", nullptr};
  const char* no_environment[] = {nullptr};
  LogCapture log;
  EXPECT_EQ(ProcessExec("/nonexistent/qz", arguments, no_environment), -1);
  EXPECT_EQ(ProcessExec("/dev/null", arguments, nullptr), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Function execve() for '/nonexistent/qz' "
            "failed.\n"
            "Process: WARNING! Error is 2 'No such file or directory'.\n"
            "Process: WARNING! Function execvp() for '/dev/null' failed.\n"
            "Process: WARNING! Error is 13 'Permission denied'.\n");
}

// What an unprivileged process may not do, each refusal with its lines; the
// same calls succeed silently where they change nothing.
TEST(ProcessSetUserId, RefusedWithoutPrivilege) {
  std::string output;
  int status = RunInChild(
      [](int out) {
        pid_t gone = ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1);
        WaitStatus(gone);
        const struct rlimit no_processes = {0, 0};
        if (!DropPrivileges() || setrlimit(RLIMIT_NPROC, &no_processes) != 0) {
          return 1;
        }
        LogCapture log;
        int done = ProcessSetUserId(static_cast<int>(getuid())) +
                   ProcessSetGroupId(static_cast<int>(getgid())) +
                   ProcessSetPriority(getpriority(PRIO_PROCESS, 0)) +
                   ProcessChangePriority(0) + ProcessCheck(getpid()) +
                   ProcessCheck(gone);
        int refused = ProcessSetUserId(0) + ProcessSetGroupId(0) +
                      ProcessSetPriority(ProcessPriorityHighest) +
                      ProcessChangePriority(-1) + ProcessCheck(1) +
                      ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1);
        WriteAll(out, log.Text());
        return done == 5 && refused == -6 ? 0 : 2;
      },
      &output);
  EXPECT_EQ(status, 0);
  const std::string denied =
      "Process: ERROR! Error is 1, Operation not "
      "permitted.\n";
  EXPECT_EQ(output,
            "Process: ERROR! Can't set user id to 0.\n" + denied +
                "Process: ERROR! Can't set group id to 0.\n" + denied +
                "Process: ERROR! Can't set priority to -20.\n"
                "Process: ERROR! Error is 13 'Permission denied'.\n"
                "Process: ERROR! Can't change priority by -1.\n"
                "Process: ERROR! Error is 1 'Operation not permitted'.\n"
                "Process: ERROR! Can't signal the pid 1.\n"
                "Process: ERROR! Error is 1 'Operation not permitted'.\n"
                "Process: WARNING! Function fork() failed.\n"
                "Process: WARNING! Error is 11 'Resource temporarily "
                "unavailable'.\n");
}

TEST(ProcessGetUserEntry, LookUps) {
  EXPECT_EQ(ProcessGetUserIdByName("root"), 0);
  EXPECT_EQ(ProcessGetGroupIdByName("root"), 0);
  char* name = nullptr;
  EXPECT_EQ(ProcessGetUserName(&name, 0), 1);
  EXPECT_STREQ(name, "root");
  EXPECT_EQ(ProcessGetGroupName(&name, 0), 1);
  EXPECT_STREQ(name, "root");
  struct passwd user;
  struct group group;
  char* buffer = nullptr;
  const char* no = "qz-no-such-entry";
  const int no_id = 3999999;
  const std::function<int()> failing[] = {
      [&] { return ProcessGetUserEntry(no, &user, &buffer); },
      [&] { return ProcessGetGroupEntry(no, &group, &buffer); },
      [&] { return ProcessGetUserEntryById(no_id, &user, &buffer); },
      [&] { return ProcessGetGroupEntryById(no_id, &group, &buffer); },
      [&] { return ProcessGetUserIdByName(no); },
      [&] { return ProcessGetGroupIdByName(no); },
      [&] { return ProcessGetUserName(&name, no_id); },
      [&] { return ProcessGetGroupName(&name, no_id); }};
  LogCapture log;
  for (const auto& call : failing) {
    errno = 0;
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_STREQ(name, "root");
  StringReset(&name);
  std::string lines;
  for (std::string what :
       {"user 'qz-no-such-entry'", "group 'qz-no-such-entry'",
        "user id '3999999'", "group id '3999999'"}) {
    lines += "Process: ERROR! Can't get information for " + what +
             ".\nProcess: ERROR! Error is 2, No such file or directory.\n";
  }
  EXPECT_EQ(log.Text(), lines + lines);
}

TEST(ProcessHostName, EnvironmentAndLocalNames) {
  for (const char* value : {static_cast<const char*>(nullptr), "", "box"}) {
    ScopedEnv host("HOSTNAME", value);
    EXPECT_STREQ(ProcessHostName(), value == nullptr ? "localhost" : value);
  }
  std::string local;
  for (const char* name : {"localhost", "localhost.localdomain", "127.0.0.1",
                           "LOCALHOST", "127.0.0.2", "localhost."}) {
    local += std::to_string(ProcessIsLocalHost(name));
  }
  EXPECT_EQ(local, "111000");
}

// TEMP, TMP and the directory they give; names are only composed.
TEST(ProcessTempName, DirectoriesAndNames) {
  const char* cases[][3] = {{nullptr, nullptr, "/tmp"},
                            {"/t1", "/t2", "/t1"},
                            {"", "/var/tmp", "/var/tmp"},
                            {"", "", "/tmp"}};
  for (const auto& c : cases) {
    ScopedEnv temp("TEMP", c[0]), tmp("TMP", c[1]);
    EXPECT_STREQ(ProcessTempDirectory(), c[2]);
    char* name = ProcessTempName(nullptr, nullptr);
    EXPECT_TRUE(
        std::regex_match(name, std::regex(c[2] + std::string("/T-\\d+"))));
    free(name);
  }
  LogCapture log;
  char* names[] = {ProcessTempName("/data", "p-"), ProcessTempName("", "x")};
  EXPECT_TRUE(std::regex_match(names[0], std::regex("/data/p-\\d+")));
  EXPECT_TRUE(std::regex_match(names[1], std::regex("x\\d+")));
  free(names[0]);
  free(names[1]);
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Returning temporary name in current "
            "directory.\n");
}

TEST(ProcessReplacePrefix, OnlyANonEmptyPrefix) {
  const struct {
    const char *prefix, *replacement;
    int result;
    const char* after;
  } cases[] = {{"/home/a", "~", 1, "~/b"},
               {"/usr", "~", 0, "/home/a/b"},
               {"", "~", 0, "/home/a/b"},
               {nullptr, "~", 0, "/home/a/b"},
               {"/home/a", "", 0, "/home/a/b"}};
  for (const auto& c : cases) {
    char* slot = StringDuplicate("/home/a/b");
    EXPECT_EQ(ProcessReplacePrefix(&slot, c.prefix, c.replacement), c.result);
    EXPECT_STREQ(slot, c.after);
    StringReset(&slot);
  }
}

}  // namespace
