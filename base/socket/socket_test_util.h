// Test support: catches what the Logger's log and error channels receive,
// and keeps the process-wide system-support level across a test.

#ifndef QZ_BASE_SOCKET_SOCKET_TEST_UTIL_H_
#define QZ_BASE_SOCKET_SOCKET_TEST_UTIL_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

#include "base/log/logger.h"
#include "base/socket/socket_option.h"

// Points the log and the error channel at one string stream, so that the
// order of lines across both channels shows, and puts both back at scope
// end. Text() gives what was written with the line prefix of the log lines
// removed: log lines then begin "Socket: ", error-channel lines "Error: " or
// "Warning: ".
class SocketLogCapture {
 public:
  SocketLogCapture()
      : logger_(LoggerInstance()),
        saved_log_(logger_.logStream),
        saved_error_(logger_.errorStream),
        saved_enabled_(logger_.enabled) {
    logger_.logStream = &stream_;
    logger_.errorStream = &stream_;
    logger_.enabled = 1;
  }
  ~SocketLogCapture() {
    logger_.logStream = saved_log_;
    logger_.errorStream = saved_error_;
    logger_.enabled = saved_enabled_;
  }
  SocketLogCapture(const SocketLogCapture&) = delete;
  SocketLogCapture& operator=(const SocketLogCapture&) = delete;

  std::string Text() const {
    std::istringstream lines(stream_.str());
    std::string result;
    std::string line;
    while (std::getline(lines, line)) {
      if (!line.empty() && isdigit(static_cast<unsigned char>(line[0]))) {
        // "<pid> <tid> HH:MM:SS mmm.uuu ": four fields, each with a blank.
        size_t position = 0;
        for (int field = 0; field < 4 && position != std::string::npos;
             ++field) {
          position = line.find(' ', position);
          if (position != std::string::npos) {
            ++position;
          }
        }
        if (position == std::string::npos) {
          line.insert(0, "<bad prefix>");
        } else {
          line.erase(0, position);
        }
      }
      result += line;
      result += "\n";
    }
    if (!stream_.str().empty() && stream_.str().back() != '\n') {
      result += "<no line end>";
    }
    return result;
  }

 private:
  Logger& logger_;
  std::ostringstream stream_;
  std::ostream* saved_log_;
  std::ostream* saved_error_;
  int32_t saved_enabled_;
};

// Lowers the soft limit of open descriptors to 0 for the scope, so that
// every call that would open a descriptor fails with EMFILE. The sanitizers'
// own checks of an object's type open a pipe the first time they meet a
// type; WarmUp() lets them meet the log's stream types before the limit.
class ScopedNoDescriptors {
 public:
  template <typename WarmUp>
  explicit ScopedNoDescriptors(const WarmUp& warm_up) {
    warm_up();
    ok_ = getrlimit(RLIMIT_NOFILE, &saved_) == 0;
    struct rlimit none = saved_;
    none.rlim_cur = 0;
    ok_ = ok_ && setrlimit(RLIMIT_NOFILE, &none) == 0;
  }
  ~ScopedNoDescriptors() {
    if (ok_) {
      setrlimit(RLIMIT_NOFILE, &saved_);
    }
  }
  ScopedNoDescriptors(const ScopedNoDescriptors&) = delete;
  ScopedNoDescriptors& operator=(const ScopedNoDescriptors&) = delete;

  bool ok() const { return ok_; }

 private:
  struct rlimit saved_;
  bool ok_ = false;
};

// Writes a failure through the module's reporting, into a capture, so that
// the stream types have been used once.
inline void WarmUpLogStreams() {
  SocketLogCapture capture;
  SocketGetError(-1);
}

// Sets SocketSystemSupport for the scope and puts the old level back.
class ScopedSupportLevel {
 public:
  explicit ScopedSupportLevel(int level) : saved_(SocketSystemSupport) {
    SocketSystemSupport = level;
  }
  ~ScopedSupportLevel() { SocketSystemSupport = saved_; }
  ScopedSupportLevel(const ScopedSupportLevel&) = delete;
  ScopedSupportLevel& operator=(const ScopedSupportLevel&) = delete;

 private:
  int saved_;
};

// A descriptor closed at scope end.
class ScopedFd {
 public:
  explicit ScopedFd(int fd = -1) : fd_(fd) {}
  ~ScopedFd() { Reset(-1); }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;

  int get() const { return fd_; }
  void Reset(int fd) {
    if (fd_ >= 0) {
      close(fd_);
    }
    fd_ = fd;
  }

 private:
  int fd_;
};

// An unlinked regular file in the temporary directory: a descriptor that is
// not a socket.
inline int OpenPlainFile() {
  char name[] = "/tmp/qz-socket-test-XXXXXX";
  int fd = mkstemp(name);
  if (fd >= 0) {
    unlink(name);
  }
  return fd;
}

// A TCP connection over 127.0.0.1: a listener, the connecting end and the
// accepted end. ok() is false when any step failed.
struct LoopbackTcp {
  LoopbackTcp() {
    listener.Reset(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    sockaddr* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener.get() < 0 || bind(listener.get(), generic, length) < 0 ||
        listen(listener.get(), 1) < 0 ||
        getsockname(listener.get(), generic, &length) < 0) {
      return;
    }
    port = ntohs(address.sin_port);
    client.Reset(socket(AF_INET, SOCK_STREAM, 0));
    if (client.get() < 0 || connect(client.get(), generic, length) < 0) {
      return;
    }
    server.Reset(accept(listener.get(), nullptr, nullptr));
  }
  bool ok() const { return server.get() >= 0; }

  ScopedFd listener;
  ScopedFd client;
  ScopedFd server;
  int port = -1;
};

#endif  // QZ_BASE_SOCKET_SOCKET_TEST_UTIL_H_
