// Numeric addresses and ports of both ends of a socket.

#include "base/socket/socket_network.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/error/error_format.h"
#include "base/socket/socket_report.h"
#include "base/socket/socket_resolve.h"
#include "base/string/owned_string.h"

namespace {

// getnameinfo's host buffer: the platform's NI_MAXHOST.
constexpr int kHostTextSize = 1025;
// getnameinfo's service buffer.
constexpr int kPortTextSize = 32;
// Bytes of an IPv6 socket address.
constexpr socklen_t kInet6Length = 28;

// Reads the local (getsockname) or remote (getpeername) address into a
// zeroed buffer; -1 with errno on failure.
int ReadEnd(int fd, bool local, sockaddr_storage* address, socklen_t* length) {
  memset(address, 0, sizeof(*address));
  *length = sizeof(*address);
  sockaddr* generic = reinterpret_cast<sockaddr*>(address);
  int result = local ? getsockname(fd, generic, length)
                     : getpeername(fd, generic, length);
  if (result == 0 && address->ss_family == AF_INET6) {
    *length = kInet6Length;
  }
  return result;
}

// The failure line "<text>." and the error pair with errno.
template <typename Text>
void ReportWithErrno(const Text& text) {
  ErrnoSaver saved;
  SocketReportFailureLines(saved.value(), text);
}

// The port of one end, or -1 after the failure lines.
int EndPort(int fd, bool local) {
  sockaddr_storage address;
  socklen_t length;
  if (ReadEnd(fd, local, &address, &length) < 0) {
    ReportWithErrno([&](std::ostream& s) {
      s << "Can't get the " << (local ? "local" : "remote") << " host for FD#"
        << fd;
    });
    return -1;
  }
  char port[kPortTextSize];
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, nullptr,
                  0, port, sizeof(port), NI_NUMERICSERV) != 0) {
    ReportWithErrno([](std::ostream& s) { s << "Can't get the network port"; });
    return -1;
  }
  return static_cast<int>(strtol(port, nullptr, 10));
}

// Stores value into an owned-string slot, or frees it when there is none.
void StoreText(char** slot, char* value) {
  if (slot == nullptr) {
    StringReset(&value);
    return;
  }
  StringReset(slot);
  *slot = value;
}

}  // namespace

void SocketUnmapAddress(sockaddr_storage* address, socklen_t* length) {
  if (address->ss_family != AF_INET6) {
    return;
  }
  sockaddr_in6 inet6;
  memcpy(&inet6, address, sizeof(inet6));
  const unsigned char* bytes = inet6.sin6_addr.s6_addr;
  static const unsigned char kMappedPrefix[12] = {0, 0, 0, 0, 0,    0,
                                                  0, 0, 0, 0, 0xFF, 0xFF};
  if (memcmp(bytes, kMappedPrefix, sizeof(kMappedPrefix)) != 0) {
    return;
  }
  sockaddr_in inet;
  memset(&inet, 0, sizeof(inet));
  inet.sin_family = AF_INET;
  inet.sin_port = inet6.sin6_port;
  memcpy(&inet.sin_addr, bytes + 12, sizeof(inet.sin_addr));
  // sockaddr_in is 16 bytes: family, port, the address and eight zeros.
  memcpy(address, &inet, sizeof(inet));
  *length = sizeof(inet);
}

char* SocketGetHostAddress(int fd, int local) {
  const char* end = local != 0 ? "local" : "remote";
  sockaddr_storage address;
  socklen_t length;
  if (ReadEnd(fd, local != 0, &address, &length) < 0) {
    ReportWithErrno([&](std::ostream& s) {
      s << "Can't get the " << end << " host info for FD#" << fd;
    });
    return nullptr;
  }
  SocketUnmapAddress(&address, &length);
  char host[kHostTextSize];
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host,
                  sizeof(host), nullptr, 0, NI_NUMERICHOST) != 0) {
    ReportWithErrno([&](std::ostream& s) {
      s << "Can't get the host name info for FD#" << fd;
    });
    return nullptr;
  }
  return StringDuplicate(host);
}

int SocketGetNetworkInfo(int fd, char** local_address, int* local_port,
                         char** remote_address, int* remote_port) {
  bool complete = true;
  char* local_text = SocketGetHostAddress(fd, 1);
  if (local_text == nullptr) {
    complete = false;
    local_text = StringDuplicate("UNKNOWN");
  }
  StoreText(local_address, local_text);
  char* remote_text = SocketGetHostAddress(fd, 0);
  if (remote_text == nullptr) {
    complete = false;
    remote_text = StringDuplicate("UNKNOWN");
  }
  StoreText(remote_address, remote_text);
  int port = EndPort(fd, true);
  complete = complete && port != -1;
  if (local_port != nullptr) {
    *local_port = port;
  }
  port = EndPort(fd, false);
  complete = complete && port != -1;
  if (remote_port != nullptr) {
    *remote_port = port;
  }
  if (complete) {
    return 1;
  }
  ErrnoSaver saved;
  SocketReportLine(SocketSeverity::kError, [&](std::ostream& s) {
    s << "Failed to collect network information for FD#" << fd << ".";
  });
  return -1;
}
