// End-to-end tests of the qzupdate command: the built driver runs as a
// process against a throwaway installation whose programs are fakes that
// record what they see (testing/fake_program.cpp).

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/driver_harness.h"

namespace {

const std::string kLogs = "<T>/root/M-testhost-<pid>-<id>";

std::string Text(int code) { return strerror(code); }

std::string Prepared(const std::string& logs = kLogs) {
  return "Update: Set owner method called.\n"
         "Update: Using log directory '" +
         logs +
         "'.\n"
         "Update: Set owner method called.\n";
}

const std::string kRunnerStarted =
    "Update: Going to start update runner.\n"
    "Update: Press any key to start qzrunner (it will download files).\n"
    "Update: ACTION! Starting update runner '<T>/sys/bin/qzrunner.bin'.\n"
    "Update: Waiting update runner  with pid <n>.\n";

std::string RunnerExited(int code) {
  return "Update: Update runner exited with code " + std::to_string(code) +
         ".\n";
}

const std::string kPostPrompt =
    "Update: New version downloaded, going to install it.\n"
    "Update: Going to start post update application.\n"
    "Update: Press any key to start qzpost (it will install files).\n"
    "Update: File already exists.\n";

std::string Removed(const std::string& logs = kLogs) {
  return "Update: Successfully removed log file " + logs +
         "/session.\n"
         "Update: Successfully removed log directory '" +
         logs + "'.\n";
}

const std::string kUpToDate = "Update: Velmora version is up to date.\n";

std::string ExitLine(int code) {
  return "Update: ERROR! Exiting with update error '" + std::to_string(code) +
         "', '" + Text(code) + "'.\n";
}

std::string RunnerError(int code) {
  return "Update: ERROR! Error is " + std::to_string(code) + ", '" +
         Text(code) + "'.\n";
}

const std::string kNoLogsToRemove =
    "Update: WARNING! Could not find log directory to remove.\n";

// What the post-update program finds in the session file when it starts.
std::string SessionAtPostStart(const std::string& extra = "") {
  return "Update: Redirected stdout to '" + kLogs +
         "/session'.\n"
         "<prefix> Update: ACTION! Executing post update program "
         "'<T>/sys/bin/qzpost'.\n"
         "<prefix> Update: Using post-upgrade program '<T>/sys/bin/qzpost'.\n"
         "<prefix> Update: Using server program '<T>/sys/bin/qzserver'.\n"
         "<prefix> Update: Using root directory '<T>/root'.\n" +
         extra + "<prefix> Update: Using IN#0 OUT#1.\n";
}

// A run's output with the installation's paths and the varying numbers
// replaced by placeholders; the raw output is kept as well.
struct Result {
  DriverRun raw;
  int exit_status;
  std::string out;
  std::string err;
};

Result Normalized(const DriverRun& run, const FakeInstallation& installation) {
  Result result;
  result.raw = run;
  result.exit_status = result.raw.exit_status;
  result.out = Normalize(result.raw.out, installation.dir());
  result.err = Normalize(result.raw.err, installation.dir());
  return result;
}

Result RunUpdate(const FakeInstallation& installation,
                 const DriverOptions& options) {
  return Normalized(RunDriver(options, installation.dir()), installation);
}

std::string NormalizedListing(const FakeInstallation& installation,
                              const std::string& relative) {
  return Normalize(ListDirectory(installation.Path(relative)),
                   installation.dir());
}

std::string Own() {
  return std::to_string(getuid()) + ":" + std::to_string(getgid());
}

// One outcome of a whole run with QZ_SYSTEM and QZ_ROOT given: a fake
// program told how to end (FAKE_RUNNER or FAKE_POST), or a program of the
// installation removed (mode 0) or made not executable.
struct Outcome {
  const char* name;
  const char* variable;  // null, or set to value
  const char* value;
  const char* program;  // null, or "sys/bin/<program>" given mode
  mode_t mode;
  int exit_status;
  std::string out;  // without the fake programs' own lines
  std::string err;
  bool runner_ran;
  bool post_ran;
  DriverOptions::Output output;
  const char* input;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << outcome.name;
}

std::vector<Outcome> Outcomes() {
  using Output = DriverOptions::Output;
  const std::string ran = Prepared() + kRunnerStarted;
  const std::string ran_to_0 = ran + RunnerExited(0) + kPostPrompt;
  return {
      {"success", nullptr, nullptr, nullptr, 0, 0, ran_to_0 + Removed(), "",
       true, true, Output::kFile, nullptr},
      {"success through pipes", nullptr, nullptr, nullptr, 0, 0,
       ran_to_0 + Removed(), "", true, true, Output::kPipe, "ab"},
      {"runner up to date", "FAKE_RUNNER", "255", nullptr, 0, 255,
       ran + RunnerExited(255) + kUpToDate + Removed(), "", true, false,
       Output::kFile, nullptr},
      {"runner fails", "FAKE_RUNNER", "5", nullptr, 0, 5,
       ran + RunnerExited(5) + Removed(), RunnerError(5) + ExitLine(5), true,
       false, Output::kPipe, nullptr},
      {"runner killed by a signal", "FAKE_RUNNER", "term", nullptr, 0, 4,
       ran + RunnerExited(4) + Removed(), RunnerError(4) + ExitLine(4), true,
       false, Output::kFile, nullptr},
      {"runner not executable", nullptr, nullptr, "sys/bin/qzrunner.bin", 0644,
       EACCES, ran + RunnerExited(EACCES) + Removed(),
       RunnerError(EACCES) + ExitLine(EACCES), false, false, Output::kPipe,
       nullptr},
      {"runner missing", nullptr, nullptr, "sys/bin/qzrunner.bin", 0, ENOENT,
       ran + RunnerExited(ENOENT) + Removed(),
       RunnerError(ENOENT) + ExitLine(ENOENT), false, false, Output::kFile,
       nullptr},
      {"post up to date", "FAKE_POST", "255", nullptr, 0, 255,
       ran_to_0 + Removed(), "", true, true, Output::kFile, nullptr},
      {"post fails", "FAKE_POST", "1", nullptr, 0, 1, ran_to_0 + Removed(),
       ExitLine(1), true, true, Output::kPipe, "x"},
      {"post killed by a signal", "FAKE_POST", "term", nullptr, 0, 4,
       ran_to_0 + Removed(), ExitLine(4), true, true, Output::kFile, nullptr},
      {"post missing", nullptr, nullptr, "sys/bin/qzpost", 0, ENOENT,
       ran_to_0 + Removed(), ExitLine(ENOENT), true, false, Output::kFile,
       nullptr},
      {"post not executable", nullptr, nullptr, "sys/bin/qzpost", 0644, EACCES,
       ran_to_0 + Removed(), ExitLine(EACCES), true, false, Output::kPipe,
       nullptr},
      {"server missing", nullptr, nullptr, "sys/bin/qzserver", 0, ENOENT,
       ran_to_0 + Removed(), ExitLine(ENOENT), true, false, Output::kFile,
       nullptr},
      {"server not executable", nullptr, nullptr, "sys/bin/qzserver", 0600,
       EACCES, ran_to_0 + Removed(), ExitLine(EACCES), true, false,
       Output::kFile, nullptr},
  };
}

class UpdateOutcome : public ::testing::TestWithParam<Outcome> {};

TEST_P(UpdateOutcome, OutputStatusAndWhatIsLeft) {
  const Outcome& outcome = GetParam();
  {
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    options.output = outcome.output;
    options.input = outcome.input;
    if (outcome.variable != nullptr) {
      options.environment[outcome.variable] = outcome.value;
    }
    if (outcome.program != nullptr) {
      std::string program = installation.Path(outcome.program);
      ASSERT_EQ(outcome.mode == 0 ? unlink(program.c_str())
                                  : chmod(program.c_str(), outcome.mode),
                0);
    }

    Result result = RunUpdate(installation, options);

    EXPECT_EQ(TakeLines(&result.out, "qzrunner.bin: working"),
              outcome.runner_ran ? 1 : 0);
    EXPECT_EQ(TakeLines(&result.err, "qzrunner.bin: note"),
              outcome.runner_ran ? 1 : 0);
    // The post-update program's standard output is the session file.
    EXPECT_EQ(TakeLines(&result.out, "qzpost: working"), 0);
    EXPECT_EQ(TakeLines(&result.err, "qzpost: note"), outcome.post_ran ? 1 : 0);
    EXPECT_EQ(result.out, outcome.out);
    EXPECT_EQ(result.err, outcome.err);
    EXPECT_EQ(result.exit_status, outcome.exit_status);
    EXPECT_EQ(installation.Record("qzrunner.bin").empty(), !outcome.runner_ran);
    EXPECT_EQ(installation.Record("qzpost").empty(), !outcome.post_ran);
    EXPECT_EQ(installation.Record("qzserver"), "");
    EXPECT_EQ(ListDirectory(installation.Path("root")), "");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Runs, UpdateOutcome, ::testing::ValuesIn(Outcomes()),
    [](const ::testing::TestParamInfo<Outcome>& param_info) {
      std::string name = param_info.param.name;
      for (char& c : name) {
        c = c == ' ' ? '_' : c;
      }
      return name;
    });

TEST(UpdateRun, WhatTheProgramsSee) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment["LD_LIBRARY_PATH"] = "/caller/lib";
  Result result = RunUpdate(installation, options);
  ASSERT_EQ(result.exit_status, 0) << result.err;

  // The log directory carries the driver's own process id.
  EXPECT_NE(result.raw.out.find("/M-testhost-" +
                                std::to_string(result.raw.pid) + "-"),
            std::string::npos);

  std::string logs_seen =
      "logs: 700 " + Own() + "\nsession: 600 " + Own() + "\n";
  EXPECT_EQ(Normalize(installation.Record("qzrunner.bin"), installation.dir()),
            "args: --update background\n"
            "QZ_SYSTEM=<T>/sys\n"
            "QZ_ROOT=<T>/root\n"
            "QZ_CONFIG=(unset)\n"
            "QZ_LOGS=" +
                kLogs +
                "\n"
                "LD_LIBRARY_PATH=/caller/lib\n" +
                logs_seen +
                "fds: 0 1 2\n"
                "stdout: other\n"
                "stdin: other\n"
                "signals: default\n");
  EXPECT_EQ(Normalize(installation.Record("qzpost"), installation.dir()),
            "args: -s <T>/sys/bin/qzserver\n"
            "QZ_SYSTEM=<T>/sys\n"
            "QZ_ROOT=<T>/root\n"
            "QZ_CONFIG=(unset)\n"
            "QZ_LOGS=" +
                kLogs +
                "\n"
                "LD_LIBRARY_PATH=/caller/lib\n" +
                logs_seen +
                "fds: 0 1 2\n"
                "stdout: session\n"
                "stdin: other\n"
                "signals: default\n");
  EXPECT_EQ(Normalize(installation.Record("session.copy"), installation.dir()),
            SessionAtPostStart());
}

TEST(UpdateRun, PostFileIsPassedWhenPresent) {
  FakeInstallation installation;
  WriteFile(installation.Path("root/update.post"), "post\n");
  Result result = RunUpdate(installation, DefaultOptions(installation));
  ASSERT_EQ(result.exit_status, 0) << result.err;
  std::string record =
      Normalize(installation.Record("qzpost"), installation.dir());
  EXPECT_EQ(record.substr(0, record.find('\n')),
            "args: -s <T>/sys/bin/qzserver -f <T>/root/update.post");
  EXPECT_EQ(Normalize(installation.Record("session.copy"), installation.dir()),
            SessionAtPostStart(
                "<prefix> Update: Using post file '<T>/root/update.post'.\n"));
  EXPECT_EQ(ListDirectory(installation.Path("root")), "update.post");
}

TEST(UpdateRun, ChildLeavesFileInLogDirectory) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment["FAKE_LEAVE"] = "qzpost";
  Result result = RunUpdate(installation, options);
  EXPECT_EQ(result.exit_status, 0);
  TakeLines(&result.out, "qzrunner.bin: working");
  EXPECT_EQ(result.out, Prepared() + kRunnerStarted + RunnerExited(0) +
                            kPostPrompt +
                            "Update: Successfully removed log file " + kLogs +
                            "/session.\n");
  EXPECT_EQ(result.err,
            "qzrunner.bin: note\nqzpost: note\n"
            "Update: WARNING! Failed while removing log directory '" +
                kLogs + "'. Error is '" + Text(ENOTEMPTY) + "'.\n");
  EXPECT_EQ(NormalizedListing(installation, "root"), "M-testhost-<pid>-<id>");
  std::string logs =
      installation.Path("root/") + ListDirectory(installation.Path("root"));
  EXPECT_EQ(ListDirectory(logs), "left-by-qzpost");
}

// QZ_SYSTEM from the driver's own location: the parent of its directory.
TEST(UpdateRun, SystemDirectoryFromOwnLocation) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.program = installation.InstallDriver();
  options.environment.erase("QZ_SYSTEM");
  options.environment["LD_LIBRARY_PATH"] = "/caller/lib";
  Result result = RunUpdate(installation, options);
  ASSERT_EQ(result.exit_status, 0) << result.err;
  TakeLines(&result.out, "qzrunner.bin: working");
  EXPECT_EQ(result.out, "Update: Application path is '<T>/sys/bin'.\n" +
                            Prepared() + kRunnerStarted + RunnerExited(0) +
                            kPostPrompt + Removed());
  std::string record =
      Normalize(installation.Record("qzrunner.bin"), installation.dir());
  EXPECT_NE(record.find("QZ_SYSTEM=<T>/sys\n"), std::string::npos) << record;
  EXPECT_NE(record.find("LD_LIBRARY_PATH=<T>/sys/lib\n"), std::string::npos)
      << record;
}

const std::string kRootMade =
    "Update: WARNING! No environment for QZ_ROOT.\n"
    "Update: Assuming QZ user's home directory '<T>/home'.\n"
    "Update: Assuming QZ root directory in the user's home '<T>/home'.\n"
    "Update: WARNING! Creating directory '<T>/home/.qz'.\n"
    "Update: Set owner method called.\n"
    "Update: Assuming QZ root directory '<T>/home/.qz'.\n";
const std::string kHomeLogs = "<T>/home/.qz/M-testhost-<pid>-<id>";

TEST(UpdateRun, RootDirectoryFromQzHomeIsMadeOnceAndKept) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment.erase("QZ_ROOT");
  options.environment["QZ_HOME"] = installation.Path("home");
  options.environment["HOME"] = "/ignored";

  Result first = RunUpdate(installation, options);
  ASSERT_EQ(first.exit_status, 0) << first.err;
  TakeLines(&first.out, "qzrunner.bin: working");
  std::string rest = Prepared(kHomeLogs) + kRunnerStarted + RunnerExited(0) +
                     kPostPrompt + Removed(kHomeLogs);
  EXPECT_EQ(first.out, kRootMade + rest);
  EXPECT_EQ(DescribePath(installation.Path("home/.qz")), "700 " + Own());
  EXPECT_EQ(ListDirectory(installation.Path("home/.qz")), "");
  std::string record =
      Normalize(installation.Record("qzrunner.bin"), installation.dir());
  EXPECT_NE(record.find("QZ_ROOT=<T>/home/.qz\nQZ_CONFIG=<T>/home/.qz\n"),
            std::string::npos)
      << record;

  // An existing root directory is used as it is.
  chmod(installation.Path("home/.qz").c_str(), 0755);
  Result second = RunUpdate(installation, options);
  ASSERT_EQ(second.exit_status, 0) << second.err;
  TakeLines(&second.out, "qzrunner.bin: working");
  EXPECT_EQ(second.out,
            "Update: WARNING! No environment for QZ_ROOT.\n"
            "Update: Assuming QZ user's home directory '<T>/home'.\n"
            "Update: Assuming QZ root directory in the user's home "
            "'<T>/home'.\n"
            "Update: Assuming QZ root directory '<T>/home/.qz'.\n" +
                rest);
  EXPECT_EQ(DescribePath(installation.Path("home/.qz")), "755 " + Own());
}

// Home directories that give no root directory: the run ends with 2.
TEST(UpdateRun, NoRootDirectory) {
  const std::string long_1024(1024, 'h');
  const std::string long_1020 = "/" + std::string(1019, 'h');
  const std::string no_qz_root =
      "Update: WARNING! No environment for QZ_ROOT.\n";
  const std::string no_qz_home =
      "Update: WARNING! No environment for QZ_HOME.\n";
  const std::string tail =
      "Update: ERROR! Can not find environment for "
      "QZ_ROOT.\n" +
      ExitLine(2) + kNoLogsToRemove;
  const std::string empty = "Update: ERROR! Home path is empty.\n";
  struct Case {
    const char* name;
    const char* qz_home;  // null: unset
    const char* home;
    std::string out;
    std::string err;
  } cases[] = {
      {"HOME unset", nullptr, nullptr, no_qz_root + no_qz_home,
       "Update: ERROR!  HOME is 'nil'.\n"
       "Update: ERROR! No environment for HOME.\n" +
           empty + tail},
      {"HOME empty", "", "", no_qz_root + no_qz_home,
       "Update: ERROR!  HOME is ''.\n"
       "Update: ERROR! No environment for HOME.\n" +
           empty + tail},
      {"QZ_HOME too long", long_1024.c_str(), "/ignored", no_qz_root,
       "Update: ERROR! Invalid value for the QZ home directory '" + long_1024 +
           "'.\n" + empty + tail},
      {"HOME too long", nullptr, long_1024.c_str(), no_qz_root + no_qz_home,
       "Update: ERROR!  HOME is '" + long_1024 +
           "'.\n"
           "Update: ERROR! Invalid value for the QZ home directory '" +
           long_1024 + "'.\n" + empty + tail},
      {"HOME too long for the root directory", nullptr, long_1020.c_str(),
       no_qz_root + no_qz_home + "Update: Assuming QZ user's home directory '" +
           long_1020 + "'.\n",
       "Update: ERROR!  HOME is '" + long_1020 +
           "'.\n"
           "Update: ERROR! Invalid value for the QZ home directory '" +
           long_1020 + "'.\n" + tail},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    options.environment.erase("QZ_ROOT");
    if (c.qz_home != nullptr) {
      options.environment["QZ_HOME"] = c.qz_home;
    }
    if (c.home != nullptr) {
      options.environment["HOME"] = c.home;
    }
    Result result = RunUpdate(installation, options);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, c.err);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(installation.Record("qzrunner.bin"), "");
  }
}

TEST(UpdateRun, LogDirectoryCannotBeMade) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment["QZ_ROOT"] = installation.Path("missing/root");
  Result result = RunUpdate(installation, options);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "Update: WARNING! Could not create log directory "
            "'<T>/missing/root/M-testhost-<pid>-<id>'. Error is '" +
                Text(ENOENT) +
                "'\n"
                "Update: WARNING! Could not create log directory.\n" +
                kNoLogsToRemove);
  EXPECT_EQ(installation.Record("qzrunner.bin"), "");
}

TEST(UpdateRun, InvalidCommand) {
  const std::string invalid =
      "Update: ERROR! Invalid command, please use '--upgrade' parameter.\n";
  const std::vector<std::vector<std::string>> commands = {
      {"qzupdate"},
      {"qzupdate", "--upgrade", "now"},
      {"qzupdate", "--UPGRADE"},
      {"qzupdate", "--upgrade "},
  };
  for (const auto& argv : commands) {
    SCOPED_TRACE(argv.size() > 1 ? argv[1] : "no argument");
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    options.argv = argv;
    Result result = RunUpdate(installation, options);
    EXPECT_EQ(result.out, invalid);
    EXPECT_EQ(result.err, ExitLine(1) + kNoLogsToRemove);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(ListDirectory(installation.Path("root")), "");
  }
}

// The clean-up acts on whatever QZ_LOGS the caller's environment holds.
TEST(UpdateRun, InvalidCommandRemovesCallersLogs) {
  FakeInstallation installation;
  mkdir(installation.Path("caller-logs").c_str(), 0700);
  WriteFile(installation.Path("caller-logs/session"), "old\n");
  DriverOptions options = DefaultOptions(installation);
  options.argv = {"qzupdate"};
  options.environment["QZ_LOGS"] = installation.Path("caller-logs");
  Result result = RunUpdate(installation, options);
  EXPECT_EQ(result.out,
            "Update: ERROR! Invalid command, please use '--upgrade' "
            "parameter.\n" +
                Removed("<T>/caller-logs"));
  EXPECT_EQ(result.err, ExitLine(1));
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(DescribePath(installation.Path("caller-logs")), "missing");
}

// SUDO_UID and SUDO_GID values that are not used, on both calls of the
// ownership repair (log directory and session file).
TEST(UpdateRun, UnusableSudoIds) {
  struct Case {
    const char* uid;  // null: unset
    const char* gid;
    std::string out_per_call;
    std::string err_per_call;
  } cases[] = {
      {"x12", nullptr, "", "Update: WARNING! SUDO_UID is not set properly.\n"},
      {"-5", "", "",
       "Update: WARNING! SUDO_UID is not set properly.\n"
       "Update: WARNING! SUDO_GID is not set properly.\n"},
      {"12x", nullptr, "Update: Using user id '12'.\n", ""},
      {nullptr, "7", "Update: Using group id '7'.\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.uid ? c.uid : "unset") + " " +
                 (c.gid ? c.gid : "unset"));
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    if (c.uid != nullptr) {
      options.environment["SUDO_UID"] = c.uid;
    }
    if (c.gid != nullptr) {
      options.environment["SUDO_GID"] = c.gid;
    }
    Result result = RunUpdate(installation, options);
    EXPECT_EQ(result.exit_status, 0);
    TakeLines(&result.out, "qzrunner.bin: working");
    std::string out = "Update: Set owner method called.\n";
    out += c.out_per_call;
    out += "Update: Using log directory '" + kLogs + "'.\n";
    out += "Update: Set owner method called.\n";
    out += c.out_per_call;
    out += kRunnerStarted;
    out += RunnerExited(0);
    out += kPostPrompt;
    out += Removed();
    EXPECT_EQ(result.out, out);
    std::string err = c.err_per_call;
    err += c.err_per_call;
    err += "qzrunner.bin: note\nqzpost: note\n";
    EXPECT_EQ(result.err, err);
    std::string record = installation.Record("qzrunner.bin");
    EXPECT_NE(record.find("logs: 700 " + Own() + "\nsession: 600 " + Own()),
              std::string::npos)
        << record;
  }
}

std::string SudoLines(const std::string& id) {
  return "Update: Set owner method called.\n"
         "Update: Using user id '" +
         id + "'.\nUpdate: Using group id '" + id + "'.\n";
}

// Under sudo what the driver makes belongs to the caller while it exists.
TEST(UpdateRun, SudoCallerOwnsWhatTheDriverMakes) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "giving files to another user needs root";
  }
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment.erase("QZ_ROOT");
  options.environment["QZ_HOME"] = installation.Path("home");
  options.environment["SUDO_UID"] = "65534";
  options.environment["SUDO_GID"] = "65534";
  Result result = RunUpdate(installation, options);
  ASSERT_EQ(result.exit_status, 0) << result.err;
  TakeLines(&result.out, "qzrunner.bin: working");
  EXPECT_EQ(result.out,
            "Update: WARNING! No environment for QZ_ROOT.\n"
            "Update: Assuming QZ user's home directory '<T>/home'.\n"
            "Update: Assuming QZ root directory in the user's home "
            "'<T>/home'.\n"
            "Update: WARNING! Creating directory '<T>/home/.qz'.\n" +
                SudoLines("65534") +
                "Update: Assuming QZ root directory '<T>/home/.qz'.\n" +
                SudoLines("65534") + "Update: Using log directory '" +
                kHomeLogs + "'.\n" + SudoLines("65534") + kRunnerStarted +
                RunnerExited(0) + kPostPrompt + Removed(kHomeLogs));
  EXPECT_EQ(result.err, "qzrunner.bin: note\nqzpost: note\n");
  EXPECT_EQ(DescribePath(installation.Path("home/.qz")), "700 65534:65534");
  for (const char* program : {"qzrunner.bin", "qzpost"}) {
    std::string record = installation.Record(program);
    EXPECT_NE(record.find("logs: 700 65534:65534\n"
                          "session: 600 65534:65534\n"),
              std::string::npos)
        << program << ": " << record;
  }
}

// Without the right to give files away, each refusal is a warning and the
// run goes on.
TEST(UpdateRun, SudoOwnershipRefused) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may give files to anyone; run as an ordinary user";
  }
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.environment["SUDO_UID"] = "0";
  options.environment["SUDO_GID"] = "0";
  Result result = RunUpdate(installation, options);
  EXPECT_EQ(result.exit_status, 0);
  TakeLines(&result.out, "qzrunner.bin: working");
  EXPECT_EQ(result.out, SudoLines("0") + "Update: Using log directory '" +
                            kLogs + "'.\n" + SudoLines("0") + kRunnerStarted +
                            RunnerExited(0) + kPostPrompt + Removed());
  const std::string refused = Text(EPERM);
  // The log directory's refusal is logged on standard error (the log is not
  // in its file yet); the session file's goes into that file.
  EXPECT_EQ(result.err,
            "<prefix> File: ERROR! Can't change ownership of '" + kLogs +
                "'.\n"
                "<prefix> File: ERROR! Error is 1, " +
                refused +
                ".\n"
                "Update: WARNING! Failed to change ownership of directory '" +
                kLogs + "'. Error is '" + refused +
                "'.\n"
                "Update: WARNING! Failed to change ownership of file '" +
                kLogs + "/session'. Error is '" + refused +
                "'.\n"
                "qzrunner.bin: note\nqzpost: note\n");
  std::string session =
      Normalize(installation.Record("session.copy"), installation.dir());
  EXPECT_EQ(session.substr(0, session.find("Update: Redirected")),
            "<prefix> File: ERROR! Can't change ownership of '" + kLogs +
                "/session'.\n"
                "<prefix> File: ERROR! Error is 1, " +
                refused + ".\n");
}

// Each prompt waits for its key: with the input held open, no stage starts
// until a key comes.
TEST(UpdatePrompt, EachPromptWaitsForAKey) {
  const std::string first =
      "Update: Press any key to start qzrunner (it will download files).\n";
  const std::string second =
      "Update: Press any key to start qzpost (it will install files).\n";
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.hold_input = true;
  StartedDriver started = StartDriver(options, installation.dir());
  AwaitText(started.out_path, first);
  EXPECT_EQ(installation.Record("qzrunner.bin"), "");
  ASSERT_EQ(write(started.input, "\n", 1), 1);
  AwaitText(started.out_path, second);
  EXPECT_NE(installation.Record("qzrunner.bin"), "");
  EXPECT_EQ(installation.Record("qzpost"), "");
  ASSERT_EQ(write(started.input, "\n", 1), 1);
  Result result = Normalized(FinishDriver(&started), installation);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_NE(installation.Record("qzpost"), "");
  EXPECT_EQ(TakeLines(&result.out, "qzrunner.bin: working"), 1);
  EXPECT_EQ(result.out, Prepared() + kRunnerStarted + RunnerExited(0) +
                            kPostPrompt + Removed());
}

}  // namespace
