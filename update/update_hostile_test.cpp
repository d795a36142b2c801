// End-to-end tests of qzupdate under a hostile caller, a bad environment and
// signals: the caller's changes between two of the driver's steps (played by
// the fake runner and by an LD_PRELOAD shim at an exact point), closed or
// full standard descriptors, a vanished reader, inherited signal state, and
// signals at a prompt and while a child runs.

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/driver_harness.h"

namespace {

const std::string kLogs = "<T>/root/M-testhost-<pid>-<id>";

std::string ExitLine(int code) {
  return "Update: ERROR! Exiting with update error '" + std::to_string(code) +
         "', '" + strerror(code) + "'.\n";
}

// What must not change: owner, mode and content of a file, or of a
// directory and the session file in it.
std::string Snapshot(const std::string& path) {
  return DescribePath(path) + "|" + ReadFile(path) + "|" + ListDirectory(path) +
         "|" + DescribePath(path + "/session") + "|" +
         ReadFile(path + "/session");
}

// The sudo caller: someone else when the tests run as root.
std::string CallerId() {
  return geteuid() == 0 ? "65534" : std::to_string(geteuid());
}

struct Hostile {
  const char* name;
  std::function<void(const FakeInstallation&, DriverOptions*)> setup;
  const char* target;            // the canary that planted links lead to
  std::vector<std::string> err;  // lines expected on standard error
  std::vector<std::string> out;  // lines expected on standard output
};

void PrintTo(const Hostile& hostile, std::ostream* stream) {
  *stream << hostile.name;
}

void Runner(const char* mode, DriverOptions* options) {
  options->environment["FAKE_HOSTILE"] = mode;
}

void Shim(const char* point, DriverOptions* options) {
  options->environment["LD_PRELOAD"] = QZ_PRELOAD_SHIM_PATH;
  options->environment["SHIM_AFTER"] = point;
  // The sanitizers' runtime would refuse to come after the shim.
  std::string& asan = options->environment["ASAN_OPTIONS"];
  asan += (asan.empty() ? "" : ":") + std::string("verify_asan_link_order=0");
}

std::vector<Hostile> HostileCases() {
  const std::string session = kLogs + "/session";
  const std::string no_redirect =
      "Update: Could not redirect stdout to '" + session + "'.";
  const std::string not_there =
      "Update: WARNING! File '" + session + "' does not exist.";
  const std::string not_empty =
      "Update: WARNING! Failed while removing log directory '" + kLogs +
      "'. Error is 'Directory not empty'.";
  return {
      {"runner swaps session for a link",
       [](const FakeInstallation&, DriverOptions* o) {
         Runner("session-link", o);
       },
       "canary",
       {no_redirect, not_there, not_empty},
       {"qzpost: working", "Update: Update finished successfully."}},
      {"runner moves the log directory and links its place",
       [](const FakeInstallation&, DriverOptions* o) {
         Runner("directory-link", o);
       },
       "canary-dir",
       {"Update: WARNING! Failed while removing log directory '" + kLogs +
        "'. Error is 'Operation not permitted'."},
       {"Update: Successfully removed log file " + session + "."}},
      {"link planted right after the directory is given away",
       [](const FakeInstallation&, DriverOptions* o) { Shim("fchown", o); },
       "canary",
       {"Update: WARNING! Failed to change ownership of file '" + session +
            "'. Error is 'File exists'.",
        no_redirect, not_there, not_empty},
       {"qzpost: working"}},
      {"directory swapped for a link right after mkdir",
       [](const FakeInstallation&, DriverOptions* o) { Shim("mkdir", o); },
       "canary-dir",
       {"Update: WARNING! Could not create log directory '" + kLogs +
            "'. Error is 'Not a directory'",
        "Update: WARNING! Could not create log directory."},
       {}},
  };
}

class UpdateHostile : public testing::TestWithParam<Hostile> {};

// The caller's changes never make the driver write through, change or give
// away anything but what it made; each shows as the failure it causes.
TEST_P(UpdateHostile, CanariesUntouched) {
  const Hostile& hostile = GetParam();
  FakeInstallation installation;
  WriteFile(installation.Path("canary"), "canary\n");
  chmod(installation.Path("canary").c_str(), 0640);
  mkdir(installation.Path("canary-dir").c_str(), 0750);
  WriteFile(installation.Path("canary-dir/session"), "canary\n");
  chmod(installation.Path("canary-dir/session").c_str(), 0640);
  const std::string target = installation.Path(hostile.target);
  const std::string before = Snapshot(target);

  DriverOptions options = DefaultOptions(installation);
  options.environment["SUDO_UID"] = CallerId();
  options.environment["SUDO_GID"] = CallerId();
  options.environment["FAKE_TARGET"] = target;
  options.environment["SHIM_TARGET"] = target;
  hostile.setup(installation, &options);
  DriverRun run = RunDriver(options, installation.dir());
  std::string out = Normalize(run.out, installation.dir());
  std::string err = Normalize(run.err, installation.dir());

  EXPECT_EQ(run.exit_status, 0) << err;
  EXPECT_EQ(Snapshot(target), before);
  for (const std::string& line : hostile.err) {
    EXPECT_NE(err.find(line + "\n"), std::string::npos) << line << "\n" << err;
  }
  for (const std::string& line : hostile.out) {
    EXPECT_NE(out.find(line + "\n"), std::string::npos) << line << "\n" << out;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, UpdateHostile,
                         testing::ValuesIn(HostileCases()),
                         [](const testing::TestParamInfo<Hostile>& param) {
                           std::string name = param.param.name;
                           for (char& c : name) {
                             c = isalnum(static_cast<unsigned char>(c)) != 0
                                     ? c
                                     : '_';
                           }
                           return name;
                         });

// A host name that would lead out of QZ_ROOT makes no directory anywhere.
TEST(UpdateHostName, LeavingTheRootIsRefused) {
  for (const char* host : {"x/y", "..", "../up"}) {
    FakeInstallation installation;
    mkdir(installation.Path("root/M-x").c_str(), 0700);
    DriverOptions options = DefaultOptions(installation);
    options.environment["HOSTNAME"] = host;
    DriverRun run = RunDriver(options, installation.dir());
    EXPECT_EQ(run.exit_status, 0) << host;
    EXPECT_NE(
        run.err.find("'. Error is 'Invalid argument'\n"
                     "Update: WARNING! Could not create log directory.\n"),
        std::string::npos)
        << host << ": " << run.err;
    EXPECT_EQ(ListDirectory(installation.Path("root")), "M-x") << host;
    EXPECT_EQ(ListDirectory(installation.Path("root/M-x")), "") << host;
    EXPECT_EQ(ListDirectory(installation.dir()), "child home record root sys")
        << host;
  }
}

void IgnoreChildAndBlockAll() {
  signal(SIGCHLD, SIG_IGN);
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
}

struct Environment {
  const char* name;
  std::function<void(DriverOptions*)> setup;
  int exit_status;
};

// Whatever the caller leaves the driver with, the run goes through to its
// exit status, removes its logs, and the children start with standard
// descriptors that are not the log file and default signal dispositions.
TEST(UpdateEnvironment, RunEndsWithItsResult) {
  using Output = DriverOptions::Output;
  const std::vector<Environment> cases = {
      {"SIGCHLD ignored, every signal blocked",
       [](DriverOptions* o) { o->before_exec = IgnoreChildAndBlockAll; }, 0},
      {"standard output closed",
       [](DriverOptions* o) { o->close_output = true; }, 0},
      {"standard error closed, runner fails",
       [](DriverOptions* o) {
         o->close_error = true;
         o->environment["FAKE_RUNNER"] = "5";
       },
       5},
      {"all three closed",
       [](DriverOptions* o) {
         o->close_input = o->close_output = o->close_error = true;
       },
       0},
      // The runner, with SIGPIPE at its default, dies of its first line;
      // the driver goes on to report it.
      {"reader of standard output gone",
       [](DriverOptions* o) { o->output = Output::kClosedPipe; }, 4},
      {"standard output on /dev/full",
       [](DriverOptions* o) { o->output = Output::kFull; }, 0},
      {"standard error on /dev/full, runner fails",
       [](DriverOptions* o) {
         o->error_full = true;
         o->environment["FAKE_RUNNER"] = "5";
       },
       5},
  };
  for (const Environment& environment : cases) {
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    environment.setup(&options);
    DriverRun run = RunDriver(options, installation.dir());
    EXPECT_EQ(run.exit_status, environment.exit_status)
        << environment.name << ": " << run.err;
    EXPECT_EQ(ListDirectory(installation.Path("root")), "") << environment.name;
    std::string record = installation.Record("qzrunner.bin");
    for (const char* line : {"fds: 0 1 2\n", "stdout: other\n",
                             "stdin: other\n", "signals: default\n"}) {
      EXPECT_NE(record.find(line), std::string::npos)
          << environment.name << ": " << record;
    }
  }
}

void OwnProcessGroup() { setpgid(0, 0); }
void IgnoreTerm() { signal(SIGTERM, SIG_IGN); }

const char* const kFirstPrompt =
    "Update: Press any key to start qzrunner (it will download files).\n";

// A signal at a prompt starts no stage and ends the run as interrupted.
TEST(UpdateSignal, AtPromptEndsTheRun) {
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    options.hold_input = true;
    StartedDriver started = StartDriver(options, installation.dir());
    AwaitText(started.out_path, kFirstPrompt);
    kill(started.pid, number);
    DriverRun run = FinishDriver(&started);
    std::string out = Normalize(run.out, installation.dir());
    EXPECT_EQ(run.exit_status, EINTR) << number;
    EXPECT_EQ(run.err, ExitLine(EINTR)) << number;
    EXPECT_NE(out.find(std::string(kFirstPrompt) +
                       "Update: Successfully removed log file"),
              std::string::npos)
        << out;
    EXPECT_EQ(installation.Record("qzrunner.bin"), "") << number;
    EXPECT_EQ(ListDirectory(installation.Path("root")), "") << number;
  }
}

// A signal the caller ignores stays ignored: the run goes on.
TEST(UpdateSignal, IgnoredByCallerStaysIgnored) {
  FakeInstallation installation;
  DriverOptions options = DefaultOptions(installation);
  options.hold_input = true;
  options.before_exec = IgnoreTerm;
  StartedDriver started = StartDriver(options, installation.dir());
  AwaitText(started.out_path, kFirstPrompt);
  kill(started.pid, SIGTERM);
  DriverRun run = FinishDriver(&started);
  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_NE(installation.Record("qzpost"), "");
  // The caller's choice reaches the children too.
  EXPECT_NE(installation.Record("qzrunner.bin").find("signals: TERM\n"),
            std::string::npos);
}

// While a child runs, SIGTERM and SIGHUP are passed on to it (SIGINT comes
// from the terminal to the whole group); the child's death by a signal is
// the run's result, and the logs are removed.
TEST(UpdateSignal, WhileChildRunsEndsItToo) {
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    FakeInstallation installation;
    DriverOptions options = DefaultOptions(installation);
    options.environment["FAKE_RUNNER"] = "sleep";
    options.before_exec = OwnProcessGroup;
    StartedDriver started = StartDriver(options, installation.dir());
    AwaitText(installation.Path("record/qzrunner.bin"), "signals:");
    kill(number == SIGINT ? -started.pid : started.pid, number);
    DriverRun run = FinishDriver(&started);
    std::string out = Normalize(run.out, installation.dir());
    EXPECT_EQ(run.exit_status, 4) << number << ": " << run.err;
    EXPECT_NE(out.find("Update: Update runner exited with code 4.\n"),
              std::string::npos)
        << out;
    EXPECT_NE(run.err.find(ExitLine(4)), std::string::npos) << run.err;
    EXPECT_EQ(ListDirectory(installation.Path("root")), "") << number;
  }
}

}  // namespace
