// Stand-in for the installation's programs (qzrunner.bin, qzpost,
// qzserver) in the driver's end-to-end tests. A fake program is a shell
// script that execs this with its own path and its arguments:
//
//   exec <this> "$0" "$@"
//
// It appends what it sees to "$FAKE_RECORD/<name>": its arguments, the
// driver's variables, the mode and owner of the log directory and of the
// session file, the descriptors it holds and whether its standard output
// and input are the session file. qzpost also copies the session file as it
// stands to
// "$FAKE_RECORD/session.copy". Then it writes "<name>: working" to standard
// output and "<name>: note" to standard error, leaves a file in the log
// directory when FAKE_LEAVE names it, plays the hostile caller when
// FAKE_HOSTILE says so (qzrunner.bin only: "session-link" puts a link to
// FAKE_TARGET in place of the session file, "directory-link" moves the log
// directory aside and puts a link to FAKE_TARGET in its place), and ends as
// FAKE_RUNNER, FAKE_POST or FAKE_SERVER says: a number is the exit status,
// "term" a SIGTERM to itself, "sleep" a sleep of a minute before exit 0;
// unset means 0.

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string Basename(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string Variable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "(unset)";
}

std::string Describe(const std::string& path) {
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

// The descriptors the process holds, apart from the one listing them.
std::string Descriptors() {
  DIR* directory = opendir("/proc/self/fd");
  if (directory == nullptr) {
    return "unknown";
  }
  std::set<int> numbers;
  while (dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') {
      numbers.insert(atoi(entry->d_name));
    }
  }
  numbers.erase(dirfd(directory));
  closedir(directory);
  std::string text;
  for (int number : numbers) {
    text += (text.empty() ? "" : " ") + std::to_string(number);
  }
  return text;
}

bool SameFile(int fd, const std::string& path) {
  struct stat of_fd = {};
  struct stat of_path = {};
  return fstat(fd, &of_fd) == 0 && stat(path.c_str(), &of_path) == 0 &&
         of_fd.st_dev == of_path.st_dev && of_fd.st_ino == of_path.st_ino;
}

// "default" when no signal is blocked and PIPE, INT, TERM, HUP and CHLD
// have their default dispositions; else the names of those that do not.
std::string Dispositions() {
  std::string text;
  sigset_t mask;
  sigemptyset(&mask);
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  for (auto [number, name] : {std::pair{SIGPIPE, "PIPE"},
                              {SIGINT, "INT"},
                              {SIGTERM, "TERM"},
                              {SIGHUP, "HUP"},
                              {SIGCHLD, "CHLD"}}) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_DFL || sigismember(&mask, number) == 1) {
      text += (text.empty() ? "" : " ") + std::string(name);
    }
  }
  return text.empty() ? "default" : text;
}

const char* BehaviourVariable(const std::string& name) {
  if (name == "qzrunner.bin") {
    return "FAKE_RUNNER";
  }
  if (name == "qzpost") {
    return "FAKE_POST";
  }
  return "FAKE_SERVER";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return 99;
  }
  std::string name = Basename(argv[1]);
  std::string logs = Variable("QZ_LOGS");
  std::string session = logs + "/session";
  const char* record_dir = getenv("FAKE_RECORD");

  if (record_dir != nullptr) {
    std::ostringstream record;
    record << "args:";
    for (int i = 2; i < argc; ++i) {
      record << ' ' << argv[i];
    }
    record << "\n";
    for (const char* variable :
         {"QZ_SYSTEM", "QZ_ROOT", "QZ_CONFIG", "QZ_LOGS", "LD_LIBRARY_PATH"}) {
      record << variable << "=" << Variable(variable) << "\n";
    }
    record << "logs: " << Describe(logs) << "\n";
    record << "session: " << Describe(session) << "\n";
    record << "fds: " << Descriptors() << "\n";
    record << "stdout: " << (SameFile(1, session) ? "session" : "other")
           << "\n";
    record << "stdin: " << (SameFile(0, session) ? "session" : "other") << "\n";
    record << "signals: " << Dispositions() << "\n";
    std::ofstream(std::string(record_dir) + "/" + name, std::ios::app)
        << record.str();
    if (name == "qzpost") {
      std::ifstream source(session);
      std::ofstream(std::string(record_dir) + "/session.copy")
          << source.rdbuf();
    }
  }

  std::string out = name + ": working\n";
  std::string err = name + ": note\n";
  static_cast<void>(write(1, out.data(), out.size()));
  static_cast<void>(write(2, err.data(), err.size()));

  const char* leave = getenv("FAKE_LEAVE");
  if (leave != nullptr && name == leave) {
    std::ofstream(logs + "/left-by-" + name) << "left\n";
  }

  const char* hostile = getenv("FAKE_HOSTILE");
  const char* target = getenv("FAKE_TARGET");
  if (hostile != nullptr && target != nullptr && name == "qzrunner.bin") {
    if (strcmp(hostile, "session-link") == 0) {
      unlink(session.c_str());
      static_cast<void>(symlink(target, session.c_str()));
    } else if (strcmp(hostile, "directory-link") == 0) {
      static_cast<void>(rename(logs.c_str(), (logs + ".moved").c_str()));
      static_cast<void>(symlink(target, logs.c_str()));
    }
  }

  const char* behaviour = getenv(BehaviourVariable(name));
  if (behaviour != nullptr && strcmp(behaviour, "sleep") == 0) {
    sleep(60);
    return 0;
  }
  if (behaviour != nullptr && strcmp(behaviour, "term") == 0) {
    static_cast<void>(signal(SIGTERM, SIG_DFL));
    static_cast<void>(kill(getpid(), SIGTERM));
    pause();
  }
  return behaviour != nullptr ? atoi(behaviour) : 0;
}
