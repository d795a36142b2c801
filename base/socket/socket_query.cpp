// Queries of descriptor and socket state.

#include "base/socket/socket_query.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

#include "base/error/error_format.h"
#include "base/log/log.h"
#include "base/socket/socket_report.h"
#include "base/socket/socket_support.h"

namespace {

// Room kept free in the send buffer for the kernel's own bookkeeping.
constexpr int kSendSpaceReserve = 16384;

// getsockopt of an int option; -1 with errno on failure.
int GetIntOption(int fd, int level, int name, int* value) {
  socklen_t length = sizeof(*value);
  return getsockopt(fd, level, name, value, &length);
}

}  // namespace

int SocketGetOption(int fd, int option) {
  int result = -1;
  if (option == 0) {
    int flags = fcntl(fd, F_GETFL);
    if (flags >= 0) {
      result = (flags & O_NONBLOCK) != 0 ? 1 : 0;
    }
  } else if (option == 2) {
    int value = 0;
    if (GetIntOption(fd, IPPROTO_TCP, TCP_NODELAY, &value) == 0) {
      result = value;
    }
  } else {
    Log() << "Socket: WARNING! Query for option " << option
          << " not implemented.\n";
    errno = ENOSYS;
  }
  if (result >= 0) {
    return result;
  }
  ErrnoSaver saved;
  SocketReportFailureLines(saved.value(), [&](std::ostream& s) {
    s << "Query failed for option " << option << " on FD#" << fd;
  });
  return -1;
}

int SocketGetReadable(int fd) {
  int count = 0;
  if (ioctl(fd, FIONREAD, &count) < 0) {
    return -1;
  }
  return count;
}

int SocketGetQueued(int fd) {
  if (SocketSystemSupport < kSocketSupportTcp) {
    errno = ENOSYS;
    return -1;
  }
  int count = 0;
  if (ioctl(fd, TIOCOUTQ, &count) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(SocketSeverity::kError, saved.value(),
                        [&](std::ostream& s) {
                          s << "Failed to get bytes queued on FD#" << fd;
                        });
    return -1;
  }
  return count;
}

int SocketSendSpace(int send_buffer, int queued) {
  // Widened so that extreme arguments cannot overflow.
  long long space =
      static_cast<long long>(send_buffer) - queued - kSendSpaceReserve;
  return space > 0 ? static_cast<int>(space) : 0;
}

int SocketGetSendSpace(int fd) {
  // Below level 3 this fails with ENOSYS, without a system call.
  int queued = SocketGetQueued(fd);
  if (queued < 0) {
    return -1;
  }
  int send_buffer = 0;
  if (GetIntOption(fd, SOL_SOCKET, SO_SNDBUF, &send_buffer) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(SocketSeverity::kError, saved.value(),
                        [&](std::ostream& s) {
                          s << "Failed to get the SO_SNDBUF size on FD#" << fd;
                        });
    return -1;
  }
  return SocketSendSpace(send_buffer, queued);
}

int SocketGetError(int fd) {
  int error = 0;
  if (GetIntOption(fd, SOL_SOCKET, SO_ERROR, &error) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to get the SO_ERROR option for FD#" << fd;
        });
    return -1;
  }
  return error;
}
