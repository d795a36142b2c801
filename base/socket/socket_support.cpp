// The system-support level: decided once from uname's name and release.

#include "base/socket/socket_support.h"

#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

#include "base/error/error_format.h"
#include "base/socket/socket_report.h"

std::atomic<int> SocketSystemSupport{-1};

int SocketSupportLevel(const char* system, const char* release) {
  if (system == nullptr) {
    return 0;
  }
  if (strcmp(system, "Linux") == 0) {
    if (release == nullptr) {
      return 5;
    }
    if (strncmp(release, "2.0.", 4) == 0 || strncmp(release, "2.2.", 4) == 0) {
      return 2;
    }
    if (strncmp(release, "2.4.", 4) == 0) {
      return 3;
    }
    if (strncmp(release, "2.6.", 4) == 0 || strncmp(release, "2.8.", 4) == 0) {
      return 4;
    }
    return 5;
  }
  return strcmp(system, "SunOS") == 0 ? 1 : 0;
}

void SocketDetectSystem() {
  struct utsname names;
  if (uname(&names) < 0) {
    ErrnoSaver saved;
    auto failed = [&](std::ostream& stream) {
      stream << "Failed to get system info. Error is "
             << ErrorQuoted(saved.value()) << ".";
    };
    auto assuming = [](std::ostream& stream) {
      stream << "Assuming lowest system support.";
    };
    SocketLogLine(SocketSeverity::kWarning, failed);
    SocketLogLine(SocketSeverity::kWarning, assuming);
    SocketErrorLine(SocketSeverity::kWarning, failed);
    SocketErrorLine(SocketSeverity::kWarning, assuming);
    SocketSystemSupport = 0;
    return;
  }
  SocketSystemSupport = SocketSupportLevel(names.sysname, names.release);
}

int SocketInit() {
  if (SocketSystemSupport == -1) {
    SocketDetectSystem();
  }
  return 1;
}
