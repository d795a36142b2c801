#include "base/sync/signal.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/error/error_format.h"
#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

constexpr const char* kNoName = "None";

// Names by Linux signal number; null where the library gives no name.
constexpr const char* kSignalNames[] = {
    nullptr,   "SIGHUP",  "SIGINT",    "SIGQUIT", "SIGILL",   nullptr,
    "SIGABRT", nullptr,   "SIGFPE",    "SIGKILL", "SIGUSR1",  "SIGSEGV",
    "SIGUSR2", "SIGPIPE", "SIGALRM",   "SIGTERM", nullptr,    "SIGCHLD",
    "SIGCONT", "SIGSTOP", "SIGTSTP",   "SIGTTIN", "SIGTTOU",  nullptr,
    nullptr,   nullptr,   "SIGVTALRM", nullptr,   "SIGWINCH", "SIGPOLL",
};

constexpr int kSignalNameCount =
    static_cast<int>(sizeof(kSignalNames) / sizeof(kSignalNames[0]));

// The numbers SignalDumpSet walks; every named signal lies below it.
constexpr int kDumpLimit = 32;

// Writes "Signal: ERROR! <what> failed. Error is <code> '<text>'.\n".
void LogFailure(const char* what, int code) {
  Log() << "Signal: ERROR! " << what << " failed. Error is "
        << ErrorQuoted(code) << ".\n";
}

}  // namespace

int SignalSetMask(int how, const sigset_t* new_set, sigset_t* old_set) {
  int result = pthread_sigmask(how, new_set, old_set);
  if (result != 0) {
    ErrnoSaver saver;
    LogFailure("Function pthread_sigmask", result);
  }
  return result;
}

int SignalSetAction(int signal_number, const struct sigaction* new_action,
                    struct sigaction* old_action) {
  if (sigaction(signal_number, new_action, old_action) < 0) {
    ErrnoSaver saver;
    LogFailure("Call to sigaction", saver.value());
    return -1;
  }
  return 0;
}

int SignalSetTimer(int which, const struct itimerval* new_value,
                   struct itimerval* old_value) {
  if (setitimer(which, new_value, old_value) == -1) {
    ErrnoSaver saver;
    LogFailure("Call to setitimer", saver.value());
    return -1;
  }
  return 0;
}

int SignalClearAction(struct sigaction* action) {
  memset(static_cast<void*>(action), 0, sizeof(*action));
  return 0;
}

void SignalClearTimer(struct itimerval* timer) {
  memset(static_cast<void*>(timer), 0, sizeof(*timer));
}

SignalHandler SignalSetHandler(int signal_number, SignalHandler handler) {
  SignalHandler previous = signal(signal_number, handler);
  if (previous == SIG_ERR) {
    ErrnoSaver saver;
    LogFailure("Call to signal", saver.value());
    return nullptr;
  }
  return previous;
}

const char* SignalName(int signal_number) {
  if (signal_number < 0 || signal_number >= kSignalNameCount ||
      kSignalNames[signal_number] == nullptr) {
    return kNoName;
  }
  return kSignalNames[signal_number];
}

const char* SignalHandlerName(SignalHandler handler) {
  auto value = reinterpret_cast<uintptr_t>(handler);
  if (value == 0) {
    return "SIG_DFL";
  }
  if (value == 1) {
    return "SIG_IGN";
  }
  return "User defined";
}

const char* ProcessTermSignalName(int status) {
  return SignalName(status & 0x7f);
}

const char* ProcessStopSignalName(int status) {
  return SignalName((status >> 8) & 0xff);
}

void SignalDumpSet(const sigset_t* set, const char* label, Logger* logger) {
  Logger& target = logger != nullptr ? *logger : LoggerInstance();
  const char* shown = label != nullptr ? label : "Signal";
  for (int number = 0; number < kDumpLimit; ++number) {
    const char* name = SignalName(number);
    if (name == kNoName) {
      continue;
    }
    Log(target) << shown << "/Signal: " << number << ", " << name << '\t';
    LogContinue(target) << (set != nullptr && sigismember(set, number) == 1
                                ? "Yes\n"
                                : "No\n");
  }
}
