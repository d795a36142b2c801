// The second stage: the post-update program, which installs what the
// runner downloaded. From here on the driver's standard output, the
// program's and the Logger's log channel all go into the session file.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/error/error_format.h"
#include "base/file/file_path.h"
#include "base/log/log.h"
#include "base/process/exit_status.h"
#include "base/string/owned_string.h"
#include "update/update.h"
#include "update/update_child.h"
#include "update/update_environment.h"
#include "update/update_made.h"

namespace {

// Longest path formed here: what a 1024-byte buffer holds with room to
// spare for its terminator.
constexpr size_t kPathMaxLength = 1022;

// Sends standard output into the session file "<QZ_LOGS>/session". Without
// a usable QZ_LOGS (unset, empty, or too long to form the name) it stays
// where it is.
void RedirectIntoSession() {
  char* path = UpdateSessionPathOf(UpdateGetEnvironment("QZ_LOGS"));
  if (path != nullptr && strlen(path) <= kPathMaxLength) {
    UpdateRedirectOutput(path);
  }
  StringReset(&path);
}

// 1 when path may be read and executed; otherwise 0 with errno telling why
// (never 0 itself, so that a refusal is never taken for success).
int ProgramUsable(const char* path) {
  if (FileAccess(nullptr, path, R_OK | X_OK) == 1) {
    return 1;
  }
  if (errno == 0) {
    errno = EACCES;
  }
  return 0;
}

}  // namespace

int UpdateStartPost() {
  RedirectIntoSession();

  const char* system = getenv("QZ_SYSTEM");
  char* post = UpdatePostPath(system);
  if (post == nullptr || post[0] == '\0') {
    Log() << "Update: WARNING! No post update program found to run.\n";
    StringReset(&post);
    return 2;
  }
  if (ProgramUsable(post) == 0) {
    int error = errno;
    StringReset(&post);
    return error;
  }
  char* server = UpdateServerPath(system);
  if (server != nullptr && server[0] != '\0' && ProgramUsable(server) == 0) {
    int error = errno;
    StringReset(&server);
    StringReset(&post);
    return error;
  }

  Log() << "Update: ACTION! Executing post update program '" << post << "'.\n";
  Log() << "Update: Using post-upgrade program '" << post << "'.\n";
  const char* command[7] = {};
  int count = 0;
  command[count++] = post;
  command[count++] = post;
  if (server != nullptr && server[0] != '\0') {
    Log() << "Update: Using server program '" << server << "'.\n";
    command[count++] = "-s";
    command[count++] = server;
  }

  const char* root = getenv("QZ_ROOT");
  Log() << "Update: Using root directory '" << (root != nullptr ? root : "nil")
        << "'.\n";
  // Without a root directory there is no post file to look for (rather
  // than "/update.post").
  char* post_file = nullptr;
  if (root != nullptr) {
    StringAppend(&post_file, root, "/", "update.post");
  }
  if (post_file != nullptr && UpdateMadeRootHolds(root, "update.post")) {
    Log() << "Update: Using post file '" << post_file << "'.\n";
    command[count++] = "-f";
    command[count++] = post_file;
  }
  command[count] = nullptr;

  Log() << "Update: Using IN#0 OUT#1.\n";
  int pid = UpdateStartChild(command);
  int error = errno;
  StringReset(&post_file);
  StringReset(&server);
  StringReset(&post);
  if (pid < 0) {
    return error;
  }
  Log() << "Update: Waiting post update program with pid " << pid << ".\n";

  int status = 0;
  if (UpdateWaitChild(pid, &status) < 0) {
    UpdateExitWith(errno);
  }
  Log() << "Update: Update post program exited with code " << status << ".\n";
  if (status == 0) {
    return 0;
  }

  int code = ProcessExitCode(status);
  Log() << "Update: Error is " << code << ", '" << ErrorText(code) << "'.\n";
  UpdateExitWith(code);
}
