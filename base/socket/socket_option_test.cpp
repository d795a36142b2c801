#include "base/socket/socket_option.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "base/socket/socket_test_util.h"

namespace {

const char kNotSocket[] = "Error is 88 'Socket operation on non-socket'.";

// The log line and the error-channel line of a one-line failure.
std::string ErrorPair(const std::string& text) {
  return "Socket: ERROR! " + text + "\nError: " + text + "\n";
}

int GetIntOption(int fd, int level, int name) {
  int value = -1;
  socklen_t length = sizeof(value);
  if (getsockopt(fd, level, name, &value, &length) < 0) {
    return -1;
  }
  return value;
}

TEST(SocketSetNoDelay, LocalSocketFailsSilentlyPlainFileReports) {
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
  ScopedFd first(pair[0]);
  ScopedFd second(pair[1]);
  {
    SocketLogCapture capture;
    errno = 0;
    EXPECT_EQ(-1, SocketSetNoDelay(first.get(), 1));
    EXPECT_TRUE(errno == EOPNOTSUPP || errno == ENOPROTOOPT) << errno;
    EXPECT_EQ("", capture.Text());
  }
  ScopedFd file(OpenPlainFile());
  ASSERT_GE(file.get(), 0);
  SocketLogCapture capture;
  EXPECT_EQ(-1, SocketSetNoDelay(file.get(), 1));
  EXPECT_EQ(ENOTSOCK, errno);
  std::string fd = std::to_string(file.get());
  EXPECT_EQ(
      ErrorPair("Can't set no-delay mode on FD#" + fd + " to 1. " + kNotSocket),
      capture.Text());
}

// Every reporting operation on a descriptor that is not a socket: its result,
// errno ENOTSOCK, and its lines in their order on both channels.
TEST(SocketOptions, FailureLinesOnAPlainFile) {
  ScopedSupportLevel level(5);
  ScopedFd file(OpenPlainFile());
  ASSERT_GE(file.get(), 0);
  const int f = file.get();
  const std::string fd = std::to_string(f);
  const std::string two_lines_cork =
      "Socket: ERROR! Failed to set TCP_CORK to 1 on FD#" + fd +
      ".\nSocket: ERROR! " + kNotSocket +
      "\nError: Failed to set TCP_CORK to 1 on FD#" + fd +
      ".\nError: " + kNotSocket + "\n";
  const std::string two_lines_quick_ack =
      "Socket: ERROR! Failed to set TCP_QUICKACK to 0 on FD#" + fd +
      ".\nSocket: ERROR! " + kNotSocket +
      "\nError: Failed to set TCP_QUICKACK to 0 on FD#" + fd +
      ".\nError: " + kNotSocket + "\n";
  const std::string low_delay_text =
      "Failed to set IPTOS_LOWDELAY on FD#" + fd + " to 16. " + kNotSocket;
  struct Case {
    const char* name;
    std::function<int()> call;
    std::string lines;
  };
  const Case cases[] = {
      {"cork", [f] { return SocketSetCork(f, 1); }, two_lines_cork},
      {"quick ack", [f] { return SocketSetQuickAck(f, 0); },
       two_lines_quick_ack},
      {"receive buffer", [f] { return SocketSetReceiveBuffer(f, 4096); },
       ErrorPair("Failed to set SO_RCVBUF size to 4096 on FD#" + fd + ". " +
                 kNotSocket)},
      {"send buffer", [f] { return SocketSetSendBuffer(f, 8192); },
       ErrorPair("Failed to set SO_SNDBUF size to 8192 on FD#" + fd + ". " +
                 kNotSocket)},
      {"low delay", [f] { return SocketSetLowDelay(f); },
       "Socket: WARNING! " + low_delay_text + "\nWarning: " + low_delay_text +
           "\n"},
      {"keep alive", [f] { return SocketSetKeepAlive(f, 1); },
       ErrorPair("Failed to set SO_KEEPALIVE on FD#" + fd + " to 1. " +
                 kNotSocket)},
      {"linger on", [f] { return SocketSetLinger(f, 7); },
       ErrorPair("Failed to set SO_LINGER values to 1 and 7 on FD#" + fd +
                 ". " + kNotSocket)},
      {"linger negative", [f] { return SocketSetLinger(f, -5); },
       ErrorPair("Failed to set SO_LINGER values to 0 and 0 on FD#" + fd +
                 ". " + kNotSocket)},
      {"reuse address", [f] { return SocketSetReuseAddress(f, 0); },
       ErrorPair("Failed to set SO_REUSEADDR on FD#" + fd + " to 0. " +
                 kNotSocket)},
      {"error", [f] { return SocketGetError(f); },
       ErrorPair("Failed to get the SO_ERROR option for FD#" + fd + ". " +
                 kNotSocket)},
      {"query no-delay", [f] { return SocketGetOption(f, 2); },
       ErrorPair("Query failed for option 2 on FD#" + fd + ".") +
           ErrorPair(kNotSocket)},
  };
  for (const Case& c : cases) {
    SocketLogCapture capture;
    errno = 0;
    EXPECT_EQ(-1, c.call()) << c.name;
    EXPECT_EQ(ENOTSOCK, errno) << c.name;
    EXPECT_EQ(c.lines, capture.Text()) << c.name;
  }
}

TEST(SocketSendSpace, BufferLessQueuedLessReserve) {
  struct Case {
    int send_buffer;
    int queued;
    int space;
  };
  const Case cases[] = {
      {87040, 70000, 656}, {87040, 80000, 0}, {16384, 0, 0},
      {16385, 0, 1},       {0, 0, 0},         {INT_MAX, 0, INT_MAX - 16384},
      {0, INT_MAX, 0},     {87040, 70656, 0}, {87040, 70655, 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.space, SocketSendSpace(c.send_buffer, c.queued))
        << c.send_buffer << " " << c.queued;
  }
}

TEST(SocketSetNonBlocking, SwitchesOnlyTheNonBlockingFlag) {
  ScopedFd file(OpenPlainFile());
  ASSERT_GE(file.get(), 0);
  ASSERT_EQ(0, fcntl(file.get(), F_SETFL, O_APPEND));
  SocketLogCapture capture;
  struct Step {
    int value;
    int nonblocking;
  };
  // Twice each way: the second call finds the state already right.
  for (Step step :
       {Step{1, 1}, Step{1, 1}, Step{0, 0}, Step{0, 0}, Step{7, 1}}) {
    EXPECT_EQ(1, SocketSetNonBlocking(file.get(), step.value));
    int flags = fcntl(file.get(), F_GETFL);
    EXPECT_EQ(step.nonblocking, (flags & O_NONBLOCK) != 0 ? 1 : 0);
    EXPECT_NE(0, flags & O_APPEND);
  }
  EXPECT_EQ("", capture.Text());
}

TEST(SocketFcntlOptions, FailureLinesOnAClosedDescriptor) {
  int fd = OpenPlainFile();
  ASSERT_GE(fd, 0);
  ASSERT_EQ(0, close(fd));
  const std::string bad = ". Error is 9 'Bad file descriptor'.";
  const std::string n = std::to_string(fd);
  struct Case {
    int (*call)(int, int);
    std::string lines;
  };
  const Case cases[] = {
      {SocketSetNonBlocking,
       ErrorPair("Can't set non-blocking mode on FD#" + n + " to 1" + bad)},
      {SocketSetNoInherit,
       ErrorPair("Can't set no-inherit mode on FD#" + n + " to 1" + bad)},
  };
  for (const Case& c : cases) {
    SocketLogCapture capture;
    EXPECT_EQ(-1, c.call(fd, 1));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ(c.lines, capture.Text());
  }
  SocketLogCapture capture;
  EXPECT_EQ(-1, SocketGetReadable(fd));
  EXPECT_EQ(EBADF, errno);
  EXPECT_EQ("", capture.Text());
}

TEST(SocketCreatePipe, ConnectedCloseOnExecPair) {
  SocketLogCapture capture;
  int fds[2] = {-7, -7};
  ASSERT_EQ(0, SocketCreatePipe(fds, 65536));
  ScopedFd first(fds[0]);
  ScopedFd second(fds[1]);
  for (int fd : fds) {
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    // The kernel doubles what it is asked for, for its own bookkeeping.
    EXPECT_GE(GetIntOption(fd, SOL_SOCKET, SO_RCVBUF), 65536);
    EXPECT_GE(GetIntOption(fd, SOL_SOCKET, SO_SNDBUF), 65536);
  }
  char byte = 0;
  ASSERT_EQ(1, write(fds[0], "a", 1));
  ASSERT_EQ(1, read(fds[1], &byte, 1));
  EXPECT_EQ('a', byte);
  ASSERT_EQ(1, write(fds[1], "b", 1));
  ASSERT_EQ(1, read(fds[0], &byte, 1));
  EXPECT_EQ('b', byte);
  EXPECT_EQ("", capture.Text());
}

}  // namespace
