// Process creation, exit statuses, users, host names and option scanning;
// processes are tested with real children.

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <regex>

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
#include "testing/test_support.h"

namespace {

using namespace qz_test;

const char* const kMissing[] = {"/nonexistent/qz", "x", nullptr};

// Columns: a wait status, then what ProcessExited, ProcessExitStatus,
// ProcessSignaled, ProcessTermSignal, ProcessStopped, ProcessStopSignal and
// ProcessExitCode make of it: an exit, deaths by a signal (0x80: core
// dumped), a stop (0x7f) and a continued child (0xffff).
TEST(ProcessExitCode, DecodesWaitStatuses) {
  const int cases[][8] = {{0xff00, 1, 255, 0, 0, 0, 255, 255},
                          {0x0081, 0, 0, 1, 1, 0, 0, 4},
                          {0x137f, 0, 19, 0, 127, 1, 19, 4991},
                          {0xffff, 0, 255, 0, 127, 0, 255, 65535}};
  LogCapture log;
  for (const auto& c : cases) {
    EXPECT_EQ((std::vector<int>{ProcessExited(c[0]), ProcessExitStatus(c[0]),
                                ProcessSignaled(c[0]), ProcessTermSignal(c[0]),
                                ProcessStopped(c[0]), ProcessStopSignal(c[0]),
                                ProcessExitCode(c[0])}),
              std::vector<int>(c + 1, c + 8));
  }
  EXPECT_EQ(log.Text(),
            "Process: WARNING! Unrecognized exit code '4991'.\n"
            "Process: WARNING! Unrecognized exit code '65535'.\n");
}

// Calls that start no program, then what their failures logged, each
// layout once: a command vector without argv[0] starts nothing; a failed
// look-up releases its buffer and leaves the name alone; only a non-empty
// prefix that the text begins with is replaced; a temporary name in the
// current directory is warned about; a program given an environment of its
// own is started with execve.
TEST(ProcessCalls, ResultsAndFailureLines) {
  char* name = nullptr;
  char* buffer = nullptr;
  struct group group;
  char* path = StringDuplicate("/home/a/b");
  LogCapture log;
  EXPECT_EQ(ProcessSetGroupId(static_cast<int>(getgid())), 1);
  EXPECT_EQ(ProcessSetUserId(-1), -1);
  EXPECT_EQ(ProcessExec(kMissing[0], kMissing + 1, nullptr), -1);
  EXPECT_EQ(ProcessExec("/", kMissing + 1, kMissing + 2), -1);
  EXPECT_EQ(ProcessCreate(kMissing + 1, nullptr, 0, 1, 2, 0, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(ProcessGetUserIdByName("root"), 0);
  EXPECT_EQ(ProcessGetUserName(&name, 0), 1);
  EXPECT_EQ(ProcessGetGroupEntry("qz-none", &group, &buffer), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(ProcessGetGroupName(&name, -2), -1);
  EXPECT_EQ(ProcessGetGroupName(&name, 0), 1);
  EXPECT_STREQ(name, "root");
  EXPECT_EQ(ProcessIsLocalHost("localhost"), 1);
  EXPECT_EQ(ProcessIsLocalHost("127.0.0.2"), 0);
  EXPECT_EQ(ProcessReplacePrefix(&path, "/usr", "~"), 0);
  EXPECT_EQ(ProcessReplacePrefix(&path, "", "~"), 0);
  EXPECT_EQ(ProcessReplacePrefix(&path, "/home/a", "~"), 1);
  EXPECT_STREQ(path, "~/b");
  char* temp = ProcessTempName("", "x");
  EXPECT_TRUE(std::regex_match(temp, std::regex("x\\d+"))) << temp;
  const char* failures =
      "Process: ERROR! Can't set user id to -1.\n"
      "Process: ERROR! Error is 22, Invalid argument.\n"
      "Process: WARNING! Function execvp() for '/nonexistent/qz' failed.\n"
      "Process: WARNING! Error is 2 'No such file or directory'.\n"
      "Process: WARNING! Function execve() for '/' failed.\n"
      "Process: WARNING! Error is 13 'Permission denied'.\n"
      "Process: WARNING! Invalid number of parameters in process creation.\n"
      "Process: ERROR! Can't get information for group 'qz-none'.\n"
      "Process: ERROR! Error is 2, No such file or directory.\n"
      "Process: ERROR! Can't get information for group id '-2'.\n"
      "Process: ERROR! Error is 2, No such file or directory.\n"
      "Process: WARNING! Returning temporary name in current directory.\n";
  EXPECT_EQ(log.Text(), failures);
  StringReset(&name);
  StringReset(&path);
  free(temp);
}

// Rows: HOSTNAME, TEMP and TMP (null: unset), then the host name and the
// start of a temporary name; an empty TEMP counts as unset. The last row
// leaves the three unset.
TEST(ProcessHostName, HostAndTemporaryNames) {
  const char* cases[][5] = {
      {"", "/t1", "/t2", "", "/t1/T-"},
      {"box", "", "/t2", "box", "/t2/T-"},
      {nullptr, nullptr, nullptr, "localhost", "/tmp/T-"}};
  for (const auto& c : cases) {
    for (int i = 0; i < 3; ++i) {
      const char* name = i == 0 ? "HOSTNAME" : i == 1 ? "TEMP" : "TMP";
      c[i] != nullptr ? setenv(name, c[i], 1) : unsetenv(name);
    }
    EXPECT_STREQ(ProcessHostName(), c[3]);
    char* name = ProcessTempName(nullptr, nullptr);
    EXPECT_TRUE(std::regex_match(name, std::regex(c[4] + std::string("\\d+"))));
    free(name);
  }
}

// Rows: the effective ids to take beside real ids 65534 (-1: none); input,
// output and error (9: a pipe); keep identity; and what the started program
// shows, stopped: its nice value, each descriptor as the parent's own (p) or
// the pipe (s), and its effective ids unless they are the real ones. It gets
// the standard descriptors asked for and no other, and runs with the real
// ids unless it keeps the effective ones, privileged or not.
struct Start {
  int effective, input, output, error, keep;
  const char* report;
};

// In a child: detaches (the survivor, where ProcessDetach gives 1, goes on,
// in the same directory),
// takes the ids, puts the output pipe at 9, starts a shell that stops itself
// (-p: it keeps a set-id identity) and writes what it shows.
int DescribeStarted(const Start& s, int out) {
  const char* shell[] = {"/bin/sh", "sh", "-p", "-c", "kill -STOP $$", nullptr};
  int e = s.effective;
  const std::filesystem::path directory = std::filesystem::current_path();
  if (ProcessDetach() != 1 || std::filesystem::current_path() != directory ||
      (e >= 0 &&
       (setresgid(65534, e, e) != 0 || setresuid(65534, e, e) != 0))) {
    return 1;
  }
  dup2(out, 9);
  pid_t child = ProcessCreate(shell, nullptr, s.input, s.output, s.error,
                              ProcessPriorityLowest, s.keep);
  if (child <= 0 || waitpid(child, nullptr, WUNTRACED) != child) {
    return 1;
  }
  std::string text = std::to_string(getpriority(PRIO_PROCESS, child));
  std::map<int, std::string> own = Descriptors(getpid());
  for (const auto& [fd, link] : Descriptors(child)) {
    text += " " + std::to_string(fd) + (link == own[9] ? "s" : "p");
  }
  std::string ids = ReadFile("/proc/" + std::to_string(child) + "/status");
  unsigned uid = 0, gid = 0;
  static_cast<void>(sscanf(ids.c_str() + ids.find("Uid:"),
                           "Uid: %*u %u %*u %*u Gid: %*u %u", &uid, &gid));
  kill(child, SIGKILL);
  WaitStatus(child);
  if (uid != getuid() || gid != getgid()) {
    text += " " + std::to_string(uid) + ":" + std::to_string(gid);
  }
  WriteAll(out, text);
  return 0;
}

TEST(ProcessCreate, StartsTheProgramAsAsked) {
  const Start cases[] = {
      {-1, 0, 1, 2, 1, "19 0p 1p 2p"},    {-1, 9, 9, 9, 1, "19 0s 1s 2s"},
      {-1, 9, 9, -1, 1, "19 0s 1s 2p"},   {-1, -1, 9, 1, 1, "19 0p 1s 2s"},
      {-1, 9, 0, 2, 1, "19 0s 1s 2p"},    {-1, 9, -1, 9, 1, "19 0s 1p 2s"},
      {-1, 0, 1, 0, 1, "19 0p 1p 2p"},    {0, 0, 1, 2, 0, "19 0p 1p 2p"},
      {0, 0, 1, 2, 1, "19 0p 1p 2p 0:0"}, {1000, 0, 1, 2, 0, "19"}};
  for (const Start& c : cases) {
    if (c.effective >= 0 && geteuid() != 0) {
      GTEST_SKIP() << "splitting real and effective ids needs root";
    }
    std::string report;
    RunInChild([&c](int out) { return DescribeStarted(c, out); }, &report);
    EXPECT_EQ(report, c.report);
  }
}

// A child forked while LogMutex was held (ProcessFork holds it across the
// fork) can log: it replaced the mutex, which no thread of its own holds.
TEST(ProcessFork, ChildLogsAfterTheFork) {
  pid_t child = ProcessFork();
  if (child == 0) {
    alarm(10);  // a child stuck on the mutex dies
    LogCapture log;
    Log() << "logged\n";
    _exit(log.Text() == "logged\n" ? 0 : 1);
  }
  EXPECT_EQ(WaitStatus(child), 0);
}

// Runs in the parent at the fork, as another thread writing just then.
void WriteAtFork() {
  printf("late\n");
  *LoggerInstance().logStream << "later\n";
}

// What the parent buffered goes out once, before the fork; what is written
// at the fork stays the parent's, also when the program cannot start (the
// child's exit code is then the exec's error number).
TEST(ProcessCreate, ParentBuffersWrittenOnce) {
  std::string output;
  int status = RunInChild(
      [](int out) -> int {
        dup2(out, 1);
        static_cast<void>(setvbuf(stdout, nullptr, _IOFBF, 4096));
        std::ios_base::sync_with_stdio(false);  // std::cout leaves stdout be
        Logger& logger = LoggerInstance();
        std::string path = "/proc/self/fd/" + std::to_string(out);
        logger.logStream = new std::ofstream(path);  // owned by the Logger
        logger.retiredErrorStream.reset(new std::ofstream(path));
        *logger.logStream << "log\n";
        *logger.retiredErrorStream << "retired\n";
        printf("stdio\n");
        pthread_atfork(WriteAtFork, nullptr, nullptr);
        exit(WaitStatus(ProcessCreate(kMissing, nullptr, 0, 1, 2, 0, 1)) >> 8);
      },
      &output);
  EXPECT_EQ(status, ENOENT << 8);
  EXPECT_EQ(output, "log\nretired\nstdio\nlater\nlate\n");
}

// Scans the blank-separated words of a line from `start`, after a reset, up
// to -1 (ten calls at most): the results (a blank for -1), then the index,
// the last option character and the last argument: "ab 4bx".
std::string Scan(const char* options, std::string line, int start = 1) {
  std::vector<char*> argv;
  char* rest = nullptr;
  for (char* word = strtok_r(&line[0], " ", &rest); word != nullptr;
       word = strtok_r(nullptr, " ", &rest)) {
    argv.push_back(word);
  }
  ProcessOptionIndex = start;
  ProcessOptionReset = 1;
  ProcessOptionChar = '0';
  ProcessOptionArgument = nullptr;
  std::string results;
  for (int got = 0; got != -1 && results.size() < 10;) {
    got = ProcessGetOption(static_cast<int>(argv.size()), argv.data(), options);
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
      {"ab:", "prog -b", "? 2b", "prog: option requires an argument -- b\n"},
      {":ab:", "prog -b", ": 2b", ""},
      {"ab:", "prog -ac", "a? 2c", "prog: illegal option -- c\n"},
      {"a:b", "./tool -:", "? 2:", "./tool: illegal option -- :\n"},
      {"ab:", "prog --verbose -a", " 20", ""},
      {"ab:", "prog - -a", " 1-", ""},
      {"ab:", "prog -a- -b", "a 1-", ""},
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
  EXPECT_EQ(Scan(nullptr, "prog -a"), " 10");
}

// Items: limit 0 stands for 1024 and ~0 for none, and one with a separator
// is refused. A list matches the word that it begins with, up to a comma
// (its first item only); a word with a comma never matches.
// Escaping hides the separators in bytes 29 to 31 and back.
TEST(ProcessCheckOptionItem, ListUtilities) {
  const std::string k1023(1023, 'k'), k1024(1024, 'k');
  EXPECT_EQ(ProcessCheckOptionItem(k1023.c_str(), 0), 1);
  EXPECT_EQ(ProcessCheckOptionItem(k1024.c_str(), 0), -1);
  EXPECT_EQ(ProcessCheckOptionItem(k1024.c_str(), ~0U), 1);
  EXPECT_EQ(ProcessCheckOptionItem("a=b", ~0U), -1);
  EXPECT_EQ(ProcessMatchOption("alpha,beta", "alpha"), 1);
  EXPECT_EQ(ProcessMatchOption("alpha,beta", "alp"), 0);
  EXPECT_EQ(ProcessMatchOption("alpha,beta", "beta"), 0);
  EXPECT_EQ(ProcessMatchOption("alpha,", "alpha,"), 0);
  char text[] = "a=b, c";
  ProcessEscapeOption(text);
  EXPECT_STREQ(text, "a\035b\036\037c");
  ProcessUnescapeOption(text);
  EXPECT_STREQ(text, "a=b, c");
}

}  // namespace
