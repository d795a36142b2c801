// The run as one fixed sequence: command check, environment, logs, runner,
// post-update program, exit.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "update/update.h"
#include "update/update_signals.h"

int updateResult = 0;
char* runnerPath = nullptr;
int savedOutput = -1;

namespace {

// Opens /dev/null on any of descriptors 0, 1 and 2 that the caller left
// closed, so that no file the driver opens later (the session log, the
// saved standard output) takes a standard number and reaches the children
// as their standard input or output.
void UpdateOpenStandardDescriptors() {
  for (;;) {
    int fd = open("/dev/null", O_RDWR);
    if (fd < 0) {
      return;  // nothing better to put there
    }
    if (fd > 2) {
      close(fd);
      return;
    }
  }
}

// A signal at a prompt starts no stage: the run ends as interrupted.
void WaitForKeyOrExit() {
  if (UpdateWaitForKey() != 0) {
    UpdateExitWith(EINTR);
  }
}

}  // namespace

void UpdateMain(int argc, char** argv) {
  UpdateOpenStandardDescriptors();
  UpdateSetSignals();
  // Unbuffered, so that each prompt takes exactly one byte from descriptor 0
  // and leaves the rest of the input to the next prompt and to the children,
  // which share the descriptor.
  static_cast<void>(setvbuf(stdin, nullptr, _IONBF, 0));

  runnerPath = nullptr;

  if (argc != 2 || strcmp(argv[1], "--upgrade") != 0) {
    UpdatePrint(
        "Update: ERROR! Invalid command, please use '--upgrade' parameter.\n");
    UpdateExitWith(1);
  }

  UpdateSetEnvironment(argv);
  UpdatePrepareLogs();

  runnerPath = UpdateRunnerPath(getenv("QZ_SYSTEM"));
  if (runnerPath == nullptr || runnerPath[0] == '\0') {
    UpdateExitWith(0);
  }

  UpdatePrint("Update: Going to start update runner.\n");
  UpdatePrint(
      "Update: Press any key to start qzrunner (it will download files).\n");
  WaitForKeyOrExit();

  // Returns only when the runner exited with 0; the result of the run is
  // the post-update stage's.
  static_cast<void>(UpdateStartRunner());

  UpdatePrint("Update: New version downloaded, going to install it.\n");
  UpdatePrint("Update: Going to start post update application.\n");
  UpdatePrint(
      "Update: Press any key to start qzpost (it will install files).\n");
  WaitForKeyOrExit();

  int result = UpdateStartPost();
  // A signal while the program ran that it survived still ends the run as
  // interrupted.
  if (result == 0 && UpdateReceivedSignal() != 0) {
    result = EINTR;
  }

  UpdatePrint("Update: Update finished successfully.\n");
  UpdateExitWith(result);
}
