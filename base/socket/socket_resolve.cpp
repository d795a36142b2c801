// Names to IPv4 addresses and back, through the resolver, and their texts.

#include "base/socket/socket_resolve.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/error/error_format.h"
#include "base/error/error_text.h"
#include "base/socket/socket_report.h"

namespace {

// The resolver's error number and its text, as the failure lines quote
// them. A resolver failure that comes from running out of descriptors shows
// as EMFILE in errno with no resolver number of its own; it is then quoted
// as EMFILE, and h_errno is set to that number so that the caller sees it.
void WriteResolverFailure(const char* name) {
  ErrnoSaver saved;
  int number = h_errno;
  const char* text = "Unknown";
  switch (number) {
    case HOST_NOT_FOUND:
      text = "The specified host is unknown";
      break;
    case TRY_AGAIN:
      text = "Temporary name server error";
      break;
    case NO_RECOVERY:
      text = "Non-recoverable name server error";
      break;
    case NO_DATA:
      text = "Host does not have an IP address";
      break;
    default:
      if (saved.value() == EMFILE) {
        number = EMFILE;
        h_errno = EMFILE;
        text = LastErrorString();
        if (text == nullptr) {
          text = "nil";
        }
      }
      break;
  }
  SocketReportLine(SocketSeverity::kError, [&](std::ostream& s) {
    s << "Failed to resolve address '" << (name != nullptr ? name : "nil")
      << "'.";
  });
  SocketReportLine(SocketSeverity::kError, [&](std::ostream& s) {
    s << "Error is " << number << " '" << text << "'.";
  });
}

}  // namespace

uint32_t SocketResolveHost(const char* name) {
  if (name == nullptr || name[0] == '\0') {
    errno = EADDRNOTAVAIL;
    return 0;
  }
  const hostent* host = gethostbyname(name);
  if (host != nullptr && host->h_addrtype == AF_INET &&
      host->h_length == static_cast<int>(sizeof(uint32_t)) &&
      host->h_addr_list != nullptr && host->h_addr_list[0] != nullptr) {
    uint32_t address;
    memcpy(&address, host->h_addr_list[0], sizeof(address));
    return address;
  }
  in_addr_t numeric = inet_addr(name);
  if (numeric != INADDR_NONE) {
    return numeric;
  }
  WriteResolverFailure(name);
  errno = EADDRNOTAVAIL;
  return 0;
}

const char* SocketResolveAddress(const char* address) {
  in_addr_t numeric = address != nullptr ? inet_addr(address) : INADDR_NONE;
  if (numeric == INADDR_NONE) {
    SocketReportLine(SocketSeverity::kError, [&](std::ostream& s) {
      s << "Wrong IPv4 dotted-decimal address '"
        << (address != nullptr ? address : "nil") << "'.";
    });
    return nullptr;
  }
  const hostent* host = gethostbyaddr(&numeric, sizeof(numeric), AF_INET);
  if (host == nullptr || host->h_name == nullptr) {
    WriteResolverFailure(address);
    return nullptr;
  }
  return host->h_name;
}

int SocketIsNumericAddress(const char* text) {
  if (text == nullptr || text[0] == '\0') {
    return -1;
  }
  for (const char* c = text; *c != '\0'; ++c) {
    // '0' to ':' in character order: the ten digits and the colon.
    if (!((*c >= '0' && *c <= ':') || *c == '.')) {
      return 0;
    }
  }
  return 1;
}

const char* SocketAddressToText(uint32_t address) {
  in_addr value;
  value.s_addr = address;
  return inet_ntoa(value);
}

const char* SocketFormatAddress(uint32_t address) {
  // Longest text: "255.255.255.255" and the terminator.
  static char text[16];
  unsigned char bytes[4];
  memcpy(bytes, &address, sizeof(bytes));
  static_cast<void>(snprintf(text, sizeof(text), "%u.%u.%u.%u", bytes[0],
                             bytes[1], bytes[2], bytes[3]));
  return text;
}

const char* SocketResolveHostText(const char* name) {
  return SocketFormatAddress(SocketResolveHost(name));
}
