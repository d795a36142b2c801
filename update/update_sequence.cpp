// The run as one fixed sequence: command check, environment, logs, runner,
// post-update program, exit.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "update/update.h"
#include "update/update_internal.h"

int updateResult = 0;
char* runnerPath = nullptr;
int savedOutput = -1;

namespace {

// Waits for one key press. The character, or the end of input, is not
// looked at. Whatever the driver printed goes out first, so the prompt is on
// the screen (or in the pipe) before the driver blocks.
void UpdateWaitForKey() {
  UpdateFlushOutput();
  static_cast<void>(getc(stdin));
}

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

}  // namespace

void UpdateMain(int argc, char** argv) {
  UpdateOpenStandardDescriptors();
  // Unbuffered, so that each prompt takes exactly one byte from descriptor 0
  // and leaves the rest of the input to the next prompt and to the children,
  // which share the descriptor.
  static_cast<void>(setvbuf(stdin, nullptr, _IONBF, 0));

  runnerPath = nullptr;
  updateResult = 0;

  if (argc != 2 || strcmp(argv[1], "--upgrade") != 0) {
    UpdatePrint(
        "Update: ERROR! Invalid command, please use '--upgrade' parameter.\n");
    updateResult = 1;
    UpdateExit();
  }

  UpdateSetEnvironment(argv);
  UpdatePrepareLogs();

  runnerPath = UpdateRunnerPath(getenv("QZ_SYSTEM"));
  if (runnerPath == nullptr || runnerPath[0] == '\0') {
    UpdateExit();
  }

  UpdatePrint("Update: Going to start update runner.\n");
  UpdatePrint(
      "Update: Press any key to start qzrunner (it will download files).\n");
  UpdateWaitForKey();

  updateResult = UpdateStartRunner();

  UpdatePrint("Update: New version downloaded, going to install it.\n");
  UpdatePrint("Update: Going to start post update application.\n");
  UpdatePrint(
      "Update: Press any key to start qzpost (it will install files).\n");
  UpdateWaitForKey();

  updateResult = UpdateStartPost();

  UpdatePrint("Update: Update finished successfully.\n");
  UpdateExit();
}
