// Setters of descriptor and socket options.

#include "base/socket/socket_option.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>

#include "base/error/error_format.h"
#include "base/socket/socket_report.h"
#include "base/socket/socket_support.h"

namespace {

// setsockopt with an int value passed by address, 4 bytes long.
int SetIntOption(int fd, int level, int name, int value) {
  return setsockopt(fd, level, name, &value, sizeof(value));
}

}  // namespace

int SocketSetNonBlocking(int fd, int value) {
  auto report = [&](int code) {
    SocketReportFailure(SocketSeverity::kError, code, [&](std::ostream& s) {
      s << "Can't set non-blocking mode on FD#" << fd << " to " << value;
    });
  };
  int flags = fcntl(fd, F_GETFL);
  if (flags < 0) {
    ErrnoSaver saved;
    report(saved.value());
    return -1;
  }
  int current = (flags & O_NONBLOCK) != 0 ? 1 : 0;
  if (current == value) {
    return 1;
  }
  flags = value != 0 ? (flags | O_NONBLOCK) : (flags & ~O_NONBLOCK);
  if (fcntl(fd, F_SETFL, flags) < 0) {
    ErrnoSaver saved;
    report(saved.value());
    return -1;
  }
  return 1;
}

int SocketSetNoInherit(int fd, int value) {
  if (fcntl(fd, F_SETFD, value) != 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Can't set no-inherit mode on FD#" << fd << " to " << value;
        });
    return -1;
  }
  return 1;
}

int SocketSetNoDelay(int fd, int value) {
  if (SetIntOption(fd, IPPROTO_TCP, TCP_NODELAY, value) < 0) {
    ErrnoSaver saved;
    if (saved.value() != EOPNOTSUPP && saved.value() != ENOPROTOOPT) {
      SocketReportFailure(
          SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
            s << "Can't set no-delay mode on FD#" << fd << " to " << value;
          });
    }
    return -1;
  }
  return 1;
}

int SocketSetCork(int fd, int value) {
  if (SocketSystemSupport < kSocketSupportTcp) {
    return 0;
  }
  if (SetIntOption(fd, IPPROTO_TCP, TCP_CORK, value) < 0) {
    ErrnoSaver saved;
    SocketReportFailureLinesGrouped(saved.value(), [&](std::ostream& s) {
      s << "Failed to set TCP_CORK to " << value << " on FD#" << fd;
    });
    return -1;
  }
  return 1;
}

int SocketSetReceiveBuffer(int fd, int size) {
  if (SetIntOption(fd, SOL_SOCKET, SO_RCVBUF, size) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to set SO_RCVBUF size to " << size << " on FD#" << fd;
        });
    return -1;
  }
  return 1;
}

int SocketSetSendBuffer(int fd, int size) {
  if (SetIntOption(fd, SOL_SOCKET, SO_SNDBUF, size) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to set SO_SNDBUF size to " << size << " on FD#" << fd;
        });
    return -1;
  }
  return 1;
}

int SocketSetLowDelay(int fd) {
  if (SocketSystemSupport < kSocketSupportLowDelay) {
    return 0;
  }
  const int value = IPTOS_LOWDELAY;
  if (SetIntOption(fd, IPPROTO_IP, IP_TOS, value) < 0) {
    ErrnoSaver saved;
    if (saved.value() != EOPNOTSUPP) {
      SocketReportFailure(
          SocketSeverity::kWarning, saved.value(), [&](std::ostream& s) {
            s << "Failed to set IPTOS_LOWDELAY on FD#" << fd << " to " << value;
          });
    }
    return -1;
  }
  return 1;
}

int SocketSetKeepAlive(int fd, int value) {
  if (SetIntOption(fd, SOL_SOCKET, SO_KEEPALIVE, value) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to set SO_KEEPALIVE on FD#" << fd << " to " << value;
        });
    return -1;
  }
  return 1;
}

int SocketSetLinger(int fd, int seconds) {
  struct linger record;
  record.l_onoff = seconds > 0 ? 1 : 0;
  record.l_linger = seconds > 0 ? seconds : 0;
  if (setsockopt(fd, SOL_SOCKET, SO_LINGER, &record, sizeof(record)) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to set SO_LINGER values to " << record.l_onoff << " and "
            << record.l_linger << " on FD#" << fd;
        });
    return -1;
  }
  return 1;
}

int SocketSetReuseAddress(int fd, int value) {
  if (SetIntOption(fd, SOL_SOCKET, SO_REUSEADDR, value) < 0) {
    ErrnoSaver saved;
    SocketReportFailure(
        SocketSeverity::kError, saved.value(), [&](std::ostream& s) {
          s << "Failed to set SO_REUSEADDR on FD#" << fd << " to " << value;
        });
    return -1;
  }
  return 1;
}

int SocketSetQuickAck(int fd, int value) {
  if (SocketSystemSupport < kSocketSupportTcp) {
    return 0;
  }
  if (SetIntOption(fd, IPPROTO_TCP, TCP_QUICKACK, value) < 0) {
    ErrnoSaver saved;
    SocketReportFailureLinesGrouped(saved.value(), [&](std::ostream& s) {
      s << "Failed to set TCP_QUICKACK to " << value << " on FD#" << fd;
    });
    return -1;
  }
  return 1;
}
