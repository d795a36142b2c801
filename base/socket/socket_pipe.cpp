// A connected pair of local stream sockets, used as a pipe.

#include "base/socket/socket_pipe.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "base/error/error_format.h"
#include "base/socket/socket_option.h"
#include "base/socket/socket_report.h"

namespace {

// Writes the pipe's failure line with the errno of the failure, then closes
// whatever the pair holds. errno is the failure's afterwards.
void FailPipe(int fds[2]) {
  ErrnoSaver saved;
  SocketReportFailure(
      SocketSeverity::kError, saved.value(),
      [](std::ostream& s) { s << "Can't create the socket pipe"; });
  for (int i = 0; i < 2; ++i) {
    if (fds[i] != -1) {
      // Not retried on EINTR: Linux releases the descriptor regardless.
      close(fds[i]);
    }
  }
}

}  // namespace

int SocketCreatePipe(int fds[2], int size) {
  fds[0] = -1;
  fds[1] = -1;
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) < 0) {
    // socketpair leaves the array alone on failure; make sure of it.
    fds[0] = -1;
    fds[1] = -1;
    FailPipe(fds);
    return -1;
  }
  if (SocketSetNoInherit(fds[0], 1) < 0 || SocketSetNoInherit(fds[1], 1) < 0) {
    FailPipe(fds);
    return -1;
  }
  SocketSetReceiveBuffer(fds[0], size);
  SocketSetReceiveBuffer(fds[1], size);
  SocketSetSendBuffer(fds[0], size);
  SocketSetSendBuffer(fds[1], size);
  return 0;
}
