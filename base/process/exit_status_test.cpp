#include "base/process/exit_status.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/process/process_create.h"
#include "base/testing/test_support.h"

namespace {

using qz_test::LogCapture;
using qz_test::RunInChild;
using qz_test::WaitStatus;

pid_t StartShell(const char* script) {
  const char* command[] = {"/bin/sh", "sh", "-c", script, nullptr};
  return ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
}

// Exit codes pass through, any signal gives 4, anything else is logged.
TEST(ProcessExitCode, RealChildren) {
  const std::pair<const char*, int> cases[] = {{"exit 0", 0},
                                               {"exit 255", 255},
                                               {"kill -KILL $$", 4},
                                               {"kill -TERM $$", 4}};
  for (const auto& c : cases) {
    pid_t child = StartShell(c.first);
    ASSERT_GT(child, 0);
    EXPECT_EQ(ProcessExitCode(WaitStatus(child)), c.second) << c.first;
  }
  pid_t child = StartShell("kill -STOP $$");
  ASSERT_GT(child, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
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
  EXPECT_EQ(RunInChild([](int) -> int { ProcessKillSelf(); }), SIGKILL);
  EXPECT_EQ(RunInChild([](int) -> int { ProcessAbort(); }) & 0x7f, SIGABRT);
  EXPECT_EQ(RunInChild([](int) -> int { return ProcessRaise(SIGTERM); }),
            SIGTERM);
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

// The survivor leads its own session and is the last writer on the pipe.
TEST(ProcessDetach, SurvivorLeadsNewSession) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        if (ProcessDetach() != 1)
          return 1;
        qz_test::WriteAll(out, getsid(0) == getpid() ? "leader" : "member");
        return 0;
      },
      &output);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "leader");
}

}  // namespace
