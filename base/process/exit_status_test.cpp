#include "base/process/exit_status.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "base/process/process_create.h"
#include "base/process/process_test_support.h"

namespace {

using process_test::LogCapture;
using process_test::RunInChild;
using process_test::WaitStatus;

// Every 16-bit status against the C library's own macros.
TEST(ProcessExited, AgreesWithWaitMacros) {
  for (int status = 0; status <= 0xffff; ++status) {
    ASSERT_EQ(ProcessExited(status), WIFEXITED(status) ? 1 : 0) << status;
    ASSERT_EQ(ProcessSignaled(status), WIFSIGNALED(status) ? 1 : 0) << status;
    ASSERT_EQ(ProcessStopped(status), WIFSTOPPED(status) ? 1 : 0) << status;
    ASSERT_EQ(ProcessExitStatus(status), WEXITSTATUS(status)) << status;
    ASSERT_EQ(ProcessTermSignal(status), WTERMSIG(status)) << status;
    ASSERT_EQ(ProcessStopSignal(status), WSTOPSIG(status)) << status;
  }
}

TEST(ProcessExitCode, StatusTable) {
  struct Case {
    int status;
    int code;
    const char* line;  // logged warning, or null
  } cases[] = {
      {0, 0, nullptr},
      {0x0100, 1, nullptr},
      {0x0400, 4, nullptr},
      {0xff00, 255, nullptr},
      {9, 4, nullptr},
      {15, 4, nullptr},
      {0x89, 4, nullptr},
      {0x137f, 0x137f, "Process: WARNING! Unrecognized exit code '4991'.\n"},
      {0xffff, 65535, "Process: WARNING! Unrecognized exit code '65535'.\n"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_EQ(ProcessExitCode(c.status), c.code) << c.status;
    std::vector<std::string> expected;
    if (c.line != nullptr) {
      expected.push_back(c.line);
    }
    EXPECT_EQ(log.Lines(), expected) << c.status;
  }
}

// Starts /bin/sh -c script and returns its pid.
pid_t StartShell(const char* script) {
  const char* command[] = {"/bin/sh", "sh", "-c", script, nullptr};
  return ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
}

TEST(ProcessExitCode, RealChildren) {
  struct Case {
    const char* script;
    int code;
  } cases[] = {
      {"exit 0", 0},        {"exit 7", 7},        {"exit 255", 255},
      {"kill -KILL $$", 4}, {"kill -TERM $$", 4}, {"exit 4", 4},
  };
  for (const Case& c : cases) {
    pid_t child = StartShell(c.script);
    ASSERT_GT(child, 0);
    EXPECT_EQ(ProcessExitCode(WaitStatus(child)), c.code) << c.script;
  }
}

TEST(ProcessExitCode, StoppedChild) {
  pid_t child = StartShell("kill -STOP $$");
  ASSERT_GT(child, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_EQ(ProcessStopped(status), 1);
  EXPECT_EQ(ProcessStopSignal(status), SIGSTOP);
  {
    LogCapture log;
    EXPECT_EQ(ProcessExitCode(status), status);
    EXPECT_EQ(log.Lines(), std::vector<std::string>{
                               "Process: WARNING! Unrecognized exit code '" +
                               std::to_string(status) + "'.\n"});
  }
  EXPECT_EQ(ProcessKill(child, SIGKILL), 0);
  EXPECT_EQ(ProcessExitCode(WaitStatus(child)), 4);
}

TEST(ProcessExit, EndsTheProcessAsAsked) {
  EXPECT_EQ(RunInChild([](int) -> int { ProcessExit(3); }), 3 << 8);
  int status = RunInChild([](int) -> int { ProcessKillSelf(); });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  status = RunInChild([](int) -> int { ProcessAbort(); });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
  status = RunInChild([](int) -> int { return ProcessRaise(SIGTERM); });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
}

TEST(ProcessCheck, SelfAndVanishedProcess) {
  EXPECT_EQ(ProcessCheck(getpid()), 1);
  pid_t child = StartShell("exit 0");
  ASSERT_GT(child, 0);
  WaitStatus(child);
  LogCapture log;
  errno = 0;
  EXPECT_EQ(ProcessCheck(child), 0);
  EXPECT_EQ(errno, ESRCH);
  EXPECT_EQ(log.Raw(), "");
}

TEST(ProcessCheck, OtherUsersProcess) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may signal every process";
  }
  LogCapture log;
  EXPECT_EQ(ProcessCheck(1), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{
                "Process: ERROR! Can't signal the pid 1.\n",
                "Process: ERROR! Error is 1 'Operation not permitted'.\n"}));
}

TEST(ProcessChangePriority, ZeroKeepsPriority) {
  errno = 0;
  int before = getpriority(PRIO_PROCESS, 0);
  EXPECT_EQ(ProcessChangePriority(0), 1);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
}

TEST(ProcessChangePriority, RaisingNeedsPrivilege) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        LogCapture log;
        errno = 0;
        int before = getpriority(PRIO_PROCESS, 0);
        int result = ProcessChangePriority(-5);
        int error = errno;
        process_test::WriteAll(out, log.Raw());
        if (result == 1) {
          return getpriority(PRIO_PROCESS, 0) == before - 5 ? 0 : 10;
        }
        return error;
      },
      &output);
  ASSERT_TRUE(WIFEXITED(status));
  if (geteuid() == 0) {
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(output, "");
  } else {
    EXPECT_EQ(WEXITSTATUS(status), EPERM);
    EXPECT_NE(output.find("Process: ERROR! Can't change priority by -5.\n"),
              std::string::npos);
    EXPECT_NE(
        output.find("Process: ERROR! Error is 1 'Operation not permitted'.\n"),
        std::string::npos);
  }
}

TEST(ProcessDetach, SurvivorLeadsNewSession) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        if (ProcessDetach() != 1) {
          return 1;
        }
        // The survivor: its own session, and the last writer on the pipe.
        std::string report = getsid(0) == getpid() ? "leader" : "member";
        process_test::WriteAll(out, report);
        return 0;
      },
      &output);
  EXPECT_EQ(status, 0);  // the process that forked away ends with 0
  EXPECT_EQ(output, "leader");
}

TEST(ProcessDetach, ForkRefused) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root is not bound by the process-count limit";
  }
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        struct rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        LogCapture log;
        int result = ProcessDetach();
        int error = errno;
        process_test::WriteAll(out, log.Raw());
        return result == -1 ? error : 100;
      },
      &output);
  EXPECT_EQ(status, EAGAIN << 8);
  EXPECT_NE(output.find("Process: WARNING! Detach from terminal failed.\n"),
            std::string::npos);
  EXPECT_NE(output.find("Provess: WARNING! Error is 11 'Resource temporarily "
                        "unavailable'.\n"),
            std::string::npos);
}

}  // namespace
