#include "base/process/process_create.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/error/error_format.h"
#include "base/log/log.h"
#include "base/process/process_buffers.h"
#include "base/process/process_descriptors.h"
#include "base/sync/mutex.h"

namespace {

// Moves the caller's descriptors onto 0, 1 and 2. A descriptor given for
// several of them is duplicated onto each and closed once, after its last
// use; -1 or the standard number itself leaves that one alone.
void SetStandardDescriptors(int input, int output, int error) {
  if (input != -1 && input != 0) {
    dup2(input, 0);
    if (input != output && input != error) {
      close(input);
    }
    input = 0;
  }
  if (output != -1 && output != 1) {
    dup2(output, 1);
    if (output != input && output != error) {
      close(output);
    }
    output = 1;
  }
  if (error != -1 && error != 2) {
    dup2(error, 2);
    if (error != input && error != output) {
      close(error);
    }
  }
}

// The child's side of ProcessCreate; never returns.
[[noreturn]] void RunChild(const char* const* command,
                           const char* const* environment, int input,
                           int output, int error, int priority,
                           int keep_identity) {
  // The child's failures go nowhere: its log would be the parent's.
  LoggerInstance().enabled = 0;
  if (keep_identity == 0) {
    ProcessSetGroupId(static_cast<int>(getgid()));
    ProcessSetUserId(static_cast<int>(getuid()));
  }
  SetStandardDescriptors(input, output, error);
  // The program gets 0, 1 and 2 and nothing else, whoever opened the rest.
  ProcessCloseOnExecFrom(3);
  ProcessSetPriority(priority);
  ProcessExec(command[0], command + 1, environment);
  int code = errno;
  // exit() runs the parent's exit handlers and static destructors here,
  // which flush whatever buffers they own. The parent flushed before the
  // fork; anything buffered since belongs to the parent, so the standard
  // streams drop it and every other descriptor leads to /dev/null.
  ProcessDiscardBuffered();
  ProcessSilenceFrom(3);
  exit(code);
}

}  // namespace

int ProcessCreate(const char* const* command, const char* const* environment,
                  int input, int output, int error, int priority,
                  int keep_identity) {
  if (command[0] == nullptr || command[1] == nullptr) {
    Log() << "Process: WARNING! Invalid number of parameters in process "
             "creation.\n";
    errno = EINVAL;
    return -1;
  }
  int process_id = ProcessFork();
  if (process_id == -1) {
    ErrnoSaver saved;
    Log() << "Process: WARNING! Function fork() failed.\n";
    Log() << "Process: WARNING! Error is " << ErrorQuoted(saved.value())
          << ".\n";
    return -1;
  }
  if (process_id > 0) {
    return process_id;
  }
  RunChild(command, environment, input, output, error, priority, keep_identity);
}

int ProcessFork() {
  pthread_mutex_lock(&LogMutex);
  ProcessFlushBuffered();
  pid_t result;
  do {
    result = fork();
  } while (result == -1 && errno == EINTR);
  if (result == 0) {
    // The inherited mutex belongs to a thread that does not exist here.
    MutexReset(&LogMutex);
    return 0;
  }
  ErrnoSaver saved;
  pthread_mutex_unlock(&LogMutex);
  return result;
}

int ProcessExec(const char* file, const char* const* arguments,
                const char* const* environment) {
  // The exec calls take non-const vectors for historical reasons; they do
  // not write to them.
  auto* argv = const_cast<char* const*>(arguments);
  const char* function;
  if (environment != nullptr) {
    execve(file, argv, const_cast<char* const*>(environment));
    function = "execve";
  } else {
    execvp(file, argv);
    function = "execvp";
  }
  ErrnoSaver saved;
  Log() << "Process: WARNING! Function " << function << "() for '" << file
        << "' failed.\n";
  Log() << "Process: WARNING! Error is " << ErrorQuoted(saved.value()) << ".\n";
  return -1;
}

int ProcessSetUserId(int user_id) {
  if (setuid(static_cast<uid_t>(user_id)) == 0) {
    return 1;
  }
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't set user id to " << user_id << ".\n";
  Log() << "Process: ERROR! Error is " << ErrorComma(saved.value()) << ".\n";
  return -1;
}

int ProcessSetGroupId(int group_id) {
  if (setgid(static_cast<gid_t>(group_id)) == 0) {
    return 1;
  }
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't set group id to " << group_id << ".\n";
  Log() << "Process: ERROR! Error is " << ErrorComma(saved.value()) << ".\n";
  return -1;
}

int ProcessMapPriority(int level) {
  switch (level) {
    case ProcessPriorityLowest:
      return 19;
    case ProcessPriorityNormal:
      return 0;
    case ProcessPriorityHigh:
      return -10;
    case ProcessPriorityHighest:
      return -20;
    default:
      return level;
  }
}

int ProcessSetPriority(int level) {
  int value = ProcessMapPriority(level);
  if (setpriority(PRIO_PROCESS, 0, value) == 0) {
    return 1;
  }
  ErrnoSaver saved;
  Log() << "Process: ERROR! Can't set priority to " << value << ".\n";
  Log() << "Process: ERROR! Error is " << ErrorQuoted(saved.value()) << ".\n";
  return -1;
}
