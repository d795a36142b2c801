// Process creation, exit statuses, users, host names and option scanning;
// processes are tested with real children.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/process/exit_status.h"
#include "base/process/host_name.h"
#include "base/process/option.h"
#include "base/process/process_control.h"
#include "base/process/process_create.h"
#include "base/process/temp_name.h"
#include "base/process/user.h"
#include "base/string/owned_string.h"
#include "base/sync/mutex.h"
#include "testing/test_support.h"

namespace {

using namespace qz_test;

const char* const kMissing[] = {"/nonexistent/qz", "x", nullptr};

// The exit code of a program started with the parent's descriptors.
int ExitCodeOf(const char* const* command) {
  return ProcessExitCode(
      WaitStatus(ProcessCreate(command, nullptr, 0, 1, 2, 0, 1)));
}

// Columns: a wait status, then what ProcessExited, ProcessExitStatus,
// ProcessSignaled, ProcessTermSignal, ProcessStopped, ProcessStopSignal and
// ProcessExitCode make of it: exits, deaths by a signal (0x80: core dumped),
// a stop (0x7f) and a continued child (0xffff).
TEST(ProcessExitCode, DecodesWaitStatuses) {
  const int cases[][8] = {{0x0000, 1, 0, 0, 0, 0, 0, 0},
                          {0xff00, 1, 255, 0, 0, 0, 255, 255},
                          {0x0081, 0, 0, 1, 1, 0, 0, 4},
                          {0x007e, 0, 0, 1, 126, 0, 0, 4},
                          {0x137f, 0, 19, 0, 127, 1, 19, 4991},
                          {0xffff, 0, 255, 0, 127, 0, 255, 65535}};
  LogCapture log;
  for (const auto& c : cases) {
    int s = c[0];
    EXPECT_EQ((std::vector<int>{ProcessExited(s), ProcessExitStatus(s),
                                ProcessSignaled(s), ProcessTermSignal(s),
                                ProcessStopped(s), ProcessStopSignal(s),
                                ProcessExitCode(s)}),
              std::vector<int>(c + 1, c + 8));
  }
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Unrecognized exit code '4991'.\n"
            "Process: WARNING! Unrecognized exit code '65535'.\n");
}

TEST(ProcessDetach, SurvivorLeadsNewSession) {
  std::string output;
  RunInChild(
      [](int out) {
        int detached = ProcessDetach();
        WriteAll(out, std::to_string(detached) + " " +
                          std::to_string(getsid(0) == getpid()));
        return 0;
      },
      &output);
  EXPECT_EQ(output, "1 1");
}

// The exit code of a child that could not run its program is the exec's
// error number; the child logs nothing. Failures are logged in one of two
// layouts, quoted or with a comma; a vector without argv[0] starts nothing.
TEST(ProcessCreate, FailuresAndTheirLines) {
  const char* const refused[] = {"/dev/null", "x", nullptr};
  StderrCapture error;
  EXPECT_EQ(ExitCodeOf(kMissing), ENOENT);
  EXPECT_EQ(ExitCodeOf(refused), EACCES);
  EXPECT_EQ(error.Take(), "");
  LogCapture log;
  EXPECT_EQ(
      (std::vector<int>{ProcessSetUserId(static_cast<int>(getuid())),
                        ProcessSetGroupId(static_cast<int>(getgid())),
                        ProcessCheck(getpid()), ProcessCheck(1 << 30),
                        ProcessSetUserId(-1),
                        ProcessExec(kMissing[0], kMissing + 1, kMissing + 2),
                        ProcessExec(refused[0], refused + 1, nullptr),
                        ProcessCreate(kMissing + 1, nullptr, 0, 1, 2, 0, 1)}),
      (std::vector<int>{1, 1, 1, 0, -1, -1, -1, -1}));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(log.Text(),
            "Process: ERROR! Can't set user id to -1.\n"
            "Process: ERROR! Error is 22, Invalid argument.\n"
            "Process: WARNING! Function execve() for '/nonexistent/qz' "
            "failed.\n"
            "Process: WARNING! Error is 2 'No such file or directory'.\n"
            "Process: WARNING! Function execvp() for '/dev/null' failed.\n"
            "Process: WARNING! Error is 13 'Permission denied'.\n"
            "Process: WARNING! Invalid number of parameters in process "
            "creation.\n");
}

// Starts a shell that stops itself (-p: it keeps a set-id identity), with
// a pipe held at descriptor 10 standing for 9, and describes it stopped: its
// nice value, each descriptor as the parent's own (p) or the pipe (s), and
// its effective ids unless they are the caller's real ones.
std::string Started(int input, int output, int error, int keep) {
  int ends[2];
  auto pick = [](int fd) { return fd == 9 ? 10 : fd; };
  const char* shell[] = {"/bin/sh", "sh", "-p", "-c", "kill -STOP $$", nullptr};
  pid_t child = pipe(ends) == 0 && dup2(ends[1], 10) == 10
                    ? ProcessCreate(shell, nullptr, pick(input), pick(output),
                                    pick(error), ProcessPriorityLowest, keep)
                    : -1;
  int status = 0;
  if (child <= 0 || waitpid(child, &status, WUNTRACED) != child) {
    return "not started";
  }
  std::string text = std::to_string(getpriority(PRIO_PROCESS, child));
  std::map<int, std::string> own = Descriptors(getpid());
  for (const auto& [fd, link] : Descriptors(child)) {
    text += " " + std::to_string(fd) + (link == own[10] ? "s" : "p");
  }
  std::string ids = ReadFile("/proc/" + std::to_string(child) + "/status");
  unsigned uid = 0, gid = 0;
  sscanf(ids.c_str() + ids.find("Uid:"), "Uid: %*u %u %*u %*u Gid: %*u %u",
         &uid, &gid);
  WaitStatus(child, true);
  bool real = uid == getuid() && gid == getgid();
  return real ? text
              : text + " " + std::to_string(uid) + ":" + std::to_string(gid);
}

// Rows: the effective ids to take beside real ids 65534 (-1: none); input,
// output and error (9: the pipe); keep identity; and the program's report.
// It gets the standard descriptors asked for and no other, and runs with
// the real ids unless it keeps the effective ones, privileged or not.
TEST(ProcessCreate, StartsTheProgramAsAsked) {
  const struct {
    int effective, input, output, error, keep;
    const char* report;
  } cases[] = {
      {-1, 0, 1, 2, 1, "19 0p 1p 2p"},  {-1, -1, 9, 9, 1, "19 0p 1s 2s"},
      {-1, 9, 9, 9, 1, "19 0s 1s 2s"},  {-1, 9, 9, -1, 1, "19 0s 1s 2p"},
      {-1, -1, 9, 1, 1, "19 0p 1s 2s"}, {-1, 9, 0, 2, 1, "19 0s 1s 2p"},
      {0, 0, 1, 2, 0, "19 0p 1p 2p"},   {0, 0, 1, 2, 1, "19 0p 1p 2p 0:0"},
      {-1, 9, -1, 9, 1, "19 0s 1p 2s"}, {-1, 0, 1, 0, 1, "19 0p 1p 2p"},
      {1000, 0, 1, 2, 0, "19"}};
  for (const auto& c : cases) {
    if (c.effective >= 0 && geteuid() != 0) {
      GTEST_SKIP() << "splitting real and effective ids needs root";
    }
    std::string report;
    RunInChild(
        [&c](int out) {
          int e = c.effective;
          if (e >= 0 &&
              (setresgid(65534, e, e) != 0 || setresuid(65534, e, e) != 0)) {
            return 1;
          }
          WriteAll(out, Started(c.input, c.output, c.error, c.keep));
          return 0;
        },
        &report);
    EXPECT_EQ(report, c.report);
  }
}

// Runs in the parent at the fork, as another thread writing just then.
void WriteAtFork() {
  printf("late\n");
  *LoggerInstance().logStream << "later\n";
}

// What the parent buffered goes out once, before what the program writes;
// what is written at the fork stays the parent's, also when the program
// cannot start.
TEST(ProcessCreate, ParentBuffersWrittenOnce) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        dup2(out, 1);
        setvbuf(stdout, nullptr, _IOFBF, 4096);
        std::ios_base::sync_with_stdio(false);  // std::cout buffers itself
        Logger& logger = LoggerInstance();
        std::string path = "/proc/self/fd/" + std::to_string(out);
        logger.logStream = new std::ofstream(path);  // owned by the Logger
        logger.retiredErrorStream.reset(new std::ofstream(path));
        std::cout << "cout\n";
        *logger.logStream << "log\n";
        *logger.retiredErrorStream << "retired\n";
        printf("stdio\n");
        pthread_atfork(WriteAtFork, nullptr, nullptr);
        const char* echo[] = {"/bin/echo", "echo", "child", nullptr};
        int code = ExitCodeOf(echo);
        exit(code + ExitCodeOf(kMissing));
      },
      &output);
  EXPECT_EQ(status, ENOENT << 8);
  EXPECT_EQ(output,
            "cout\nlog\nretired\nstdio\nchild\nlater\nlate\nlater\nlate\n");
}

int lockedAtFork = -1;

// Runs first in every forked child: was LogMutex held at the fork?
void NoteLockAtFork() {
  lockedAtFork = pthread_mutex_trylock(&LogMutex) == EBUSY ? 1 : 0;
  if (lockedAtFork == 0) {
    pthread_mutex_unlock(&LogMutex);
  }
}

// The fork happens with LogMutex held; the parent gives it up after, and
// the child, which replaces it, can log.
TEST(ProcessFork, HoldsLogMutexAcrossFork) {
  pthread_atfork(nullptr, nullptr, NoteLockAtFork);
  std::string text;
  int status = RunInChild(
      [](int out) {
        if (ProcessFork() == 0) {
          alarm(10);  // a child stuck on the mutex dies
          LogCapture log;
          Log() << "held at fork: " << lockedAtFork << "\n";
          WriteAll(out, log.Text());
          _exit(0);
        }
        return RunInChild([](int) { return lockedAtFork; });
      },
      &text);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(text, "held at fork: 1\n");
}

TEST(ProcessGetUserEntry, LookUps) {
  char* name = nullptr;
  EXPECT_EQ(ProcessGetUserIdByName("root") + ProcessGetGroupIdByName("root"),
            0);
  EXPECT_EQ(ProcessGetUserName(&name, 0) + ProcessGetGroupName(&name, 0), 2);
  struct passwd user;
  struct group group;
  char* buffer = nullptr;
  LogCapture log;
  EXPECT_EQ((std::vector<int>{ProcessGetUserEntry("qz-none", &user, &buffer),
                              ProcessGetGroupEntry("qz-none", &group, &buffer),
                              ProcessGetUserEntryById(-2, &user, &buffer),
                              ProcessGetGroupEntryById(-2, &group, &buffer),
                              ProcessGetUserName(&name, -2),
                              ProcessGetGroupName(&name, -2)}),
            std::vector<int>(6, -1));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_STREQ(name, "root");
  StringReset(&name);
  std::string lines;
  for (std::string what : {"user 'qz-none'", "group 'qz-none'", "user id '-2'",
                           "group id '-2'", "user id '-2'", "group id '-2'"}) {
    lines += "Process: ERROR! Can't get information for " + what +
             ".\nProcess: ERROR! Error is 2, No such file or directory.\n";
  }
  EXPECT_EQ(log.Text(), lines);
}

// Rows: HOSTNAME, TEMP and TMP (null: unset), the host name and the
// temporary names they give; such names are only composed, not created.
TEST(ProcessHostName, HostAndTemporaryNames) {
  const char* cases[][5] = {{nullptr, nullptr, nullptr, "localhost", "/tmp/T-"},
                            {"", "/t1", "/t2", "", "/t1/T-"},
                            {"box", "", "/t2", "box", "/t2/T-"},
                            {nullptr, "", "", "localhost", "/tmp/T-"}};
  for (const auto& c : cases) {
    ScopedEnv host("HOSTNAME", c[0]), temp("TEMP", c[1]), tmp("TMP", c[2]);
    EXPECT_STREQ(ProcessHostName(), c[3]);
    char* name = ProcessTempName(nullptr, nullptr);
    EXPECT_TRUE(std::regex_match(name, std::regex(c[4] + std::string("\\d+"))));
    free(name);
  }
  EXPECT_EQ(ProcessIsLocalHost("localhost") +
                ProcessIsLocalHost("localhost.localdomain") +
                ProcessIsLocalHost("127.0.0.1"),
            3);
  EXPECT_EQ(ProcessIsLocalHost("LOCALHOST") + ProcessIsLocalHost("127.0.0.2"),
            0);
  LogCapture log;
  char* name = ProcessTempName("", "x");
  EXPECT_TRUE(std::regex_match(name, std::regex("x\\d+"))) << name;
  free(name);
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Returning temporary name in current "
            "directory.\n");
}

// Only a non-empty prefix that the string begins with is replaced, and only
// by a non-empty replacement.
TEST(ProcessReplacePrefix, OnlyANonEmptyPrefix) {
  char* slot = StringDuplicate("/home/a/b");
  EXPECT_EQ(ProcessReplacePrefix(&slot, "/usr", "~") +
                ProcessReplacePrefix(&slot, "", "~") +
                ProcessReplacePrefix(&slot, nullptr, "~") +
                ProcessReplacePrefix(&slot, "/home/a", ""),
            0);
  EXPECT_EQ(ProcessReplacePrefix(&slot, "/home/a", "~"), 1);
  EXPECT_STREQ(slot, "~/b");
  StringReset(&slot);
}

// Scans the blank-separated words of a line from `start`, after a reset, up
// to -1 (ten calls at most): the results (a blank for -1), then the index,
// the last option character and the last argument: "ab 4bx".
std::string Scan(const char* options, const char* line, int start = 1) {
  std::istringstream in(line);
  std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(&word[0]);
  }
  argv.push_back(nullptr);
  ProcessOptionIndex = start;
  ProcessOptionReset = 1;
  ProcessOptionChar = '0';
  ProcessOptionArgument = nullptr;
  std::string results;
  for (int got = 0; got != -1 && results.size() < 10;) {
    got =
        ProcessGetOption(static_cast<int>(words.size()), argv.data(), options);
    results += static_cast<char>(got == -1 ? ' ' : got);
  }
  return results + std::to_string(ProcessOptionIndex) +
         static_cast<char>(ProcessOptionChar) +
         (ProcessOptionArgument != nullptr ? ProcessOptionArgument : "");
}

TEST(ProcessGetOption, EdgeCases) {
  const char* cases[][4] = {
      // option string, arguments, scan, diagnostic
      {"ab:", "prog -a -b x f", "ab 4bx", ""},
      {"ab:", "prog -bx", "b 2bx", ""},
      {"ab:", "prog -b x -a", "ba 4a", ""},
      {"ab:", "prog -b -a", "b 3b-a", ""},
      {"ab:", "prog -aab v", "aab 3bv", ""},
      {"ab:", "prog -b", "? 2b", "prog: option requires an argument -- b\n"},
      {":ab:", "prog -b", ": 2b", ""},
      {"ab:", "prog -ac", "a? 2c", "prog: illegal option -- c\n"},
      {":ab:", "prog -ca", "?a 2a", ""},
      {"a:b", "./tool -:", "? 2:", "./tool: illegal option -- :\n"},
      {"ab:", "prog --verbose -a", " 20", ""},
      {"ab:", "prog -a -- -a", "a 3a", ""},
      {"ab:", "prog - -a", " 1-", ""},
      {"a-", "prog - -a x", "-a 3a", ""},
      {"ab:", "prog -a- -b", "a 1-", ""},
      {"ab:", "prog file -a", " 10", ""},
  };
  StderrCapture capture;
  for (int diagnostics : {1, 0}) {
    for (const auto& c : cases) {
      ProcessOptionError = diagnostics;
      EXPECT_EQ(Scan(c[0], c[1]), c[2]) << c[1];
      EXPECT_EQ(capture.Take(), diagnostics != 0 ? c[3] : "");
    }
  }
  EXPECT_EQ(Scan("a", "-a", 0), "a 1a");
  EXPECT_EQ(Scan("a", "prog -a", -1), " -10");
  EXPECT_EQ(Scan(nullptr, "prog -a"), " 10");
}

// Items: limit 0 stands for 1024 and ~0 for none; a pair checks its key
// with limit 0. A list matches a word that it begins with, up to a comma.
// Escaping hides the separators in control bytes and back.
TEST(ProcessCheckOptionItem, ListUtilities) {
  const std::string k1023(1023, 'k'), k1024(1024, 'k');
  const char* texts[] = {k1023.c_str(), k1024.c_str(), k1023.c_str(),
                         k1024.c_str(), k1024.c_str(), "",
                         "x",           "a=b",         "a,b",
                         nullptr,       "a b\x1d\x1e"};
  const uint32_t limits[] = {0, 0, 1023, 1025, ~0U, 1, 1, ~0U, ~0U, ~0U, 0};
  // Pairs of a list and a word.
  const char* matches[] = {"alpha,beta", "alpha",  "alpha",      "alpha",
                           ",x",         "",       "alpha,beta", "alp",
                           "alpha,beta", "beta",   "alpha",      "alphabet",
                           "alpha,",     "alpha,", "x",          "",
                           nullptr,      "x",      "x",          nullptr};
  std::string results;
  for (int i = 0; i < 11; ++i) {
    results +=
        std::to_string(ProcessCheckOptionItem(texts[i], limits[i])) + " ";
  }
  for (int i = 0; i < 20; i += 2) {
    results += std::to_string(ProcessMatchOption(matches[i], matches[i + 1]));
  }
  EXPECT_EQ(results, "1 -1 -1 1 1 1 -1 -1 -1 -1 1 1110000000");
  EXPECT_EQ(ProcessCheckOptionPair("key", "value", 0), 1);
  EXPECT_EQ(ProcessCheckOptionPair(k1024.c_str(), "value", ~0U), -1);
  EXPECT_EQ(ProcessCheckOptionPair("key", "vv", 2), -1);
  char text[] = "a=b, c";
  ProcessEscapeOption(text);
  EXPECT_STREQ(text,
               "a\x1d"
               "b\x1e\x1f"
               "c");
  ProcessUnescapeOption(text);
  EXPECT_STREQ(text, "a=b, c");
  ProcessEscapeOption(nullptr);
  ProcessUnescapeOption(nullptr);
}

}  // namespace
