#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "base/socket/socket_network.h"
#include "base/socket/socket_option.h"
#include "base/socket/socket_pipe.h"
#include "base/socket/socket_query.h"
#include "base/socket/socket_resolve.h"
#include "base/socket/socket_support.h"
#include "base/string/owned_string.h"
#include "testing/test_support.h"

namespace {

using qz_test::LogCapture;
using qz_test::ScopedFd;

const std::string kBad = "Error is 9 'Bad file descriptor'.";

// A line on the log channel, then the same on the error channel.
std::string Pair(const std::string& text, const char* level = "ERROR! ",
                 const char* channel = "Error: ") {
  return std::string("Socket: ") + level + text + "\n" + channel + text + "\n";
}

template <int (*Query)(int)>
int Unary(int fd, int) {
  return Query(fd);
}

// Each operation on descriptor -1, with its lines in one of the module's
// layouts (E one line, W one line as a warning, G two lines with both log
// lines first, I two lines each followed by its error-channel line, N none)
// and errno EBADF, then its result on a TCP socket, at the level its gate
// needs; one level lower a gated setter gives 0 and a gated query -1 with
// ENOSYS, without a call.
TEST(SocketOptions, LinesResultsAndGates) {
  using Case = std::tuple<int (*)(int, int), int, int, int, char, std::string>;
  const Case cases[] = {
      {SocketSetNonBlocking, 1, -1, 1, 'E',
       "Can't set non-blocking mode on FD#-1 to 1"},
      {SocketSetNoInherit, 1, -1, 1, 'E',
       "Can't set no-inherit mode on FD#-1 to 1"},
      {SocketSetNoDelay, 1, -1, 1, 'E',
       "Can't set no-delay mode on FD#-1 to 1"},
      {SocketSetCork, 1, 3, 1, 'G', "Failed to set TCP_CORK to 1 on FD#-1"},
      {SocketSetReceiveBuffer, 4096, -1, 1, 'E',
       "Failed to set SO_RCVBUF size to 4096 on FD#-1"},
      {SocketSetSendBuffer, 8192, -1, 1, 'E',
       "Failed to set SO_SNDBUF size to 8192 on FD#-1"},
      {Unary<SocketSetLowDelay>, 0, 1, 1, 'W',
       "Failed to set IPTOS_LOWDELAY on FD#-1 to 16"},
      {SocketSetKeepAlive, 1, -1, 1, 'E',
       "Failed to set SO_KEEPALIVE on FD#-1 to 1"},
      {SocketSetLinger, 7, -1, 1, 'E',
       "Failed to set SO_LINGER values to 1 and 7 on FD#-1"},
      {SocketSetLinger, -5, -1, 1, 'E',
       "Failed to set SO_LINGER values to 0 and 0 on FD#-1"},
      {SocketSetReuseAddress, 1, -1, 1, 'E',
       "Failed to set SO_REUSEADDR on FD#-1 to 1"},
      {SocketSetQuickAck, 0, 3, 1, 'G',
       "Failed to set TCP_QUICKACK to 0 on FD#-1"},
      // By now the socket is non-blocking and sends without delay.
      {SocketGetOption, 0, -1, 1, 'I', "Query failed for option 0 on FD#-1"},
      {SocketGetOption, 2, -1, 1, 'I', "Query failed for option 2 on FD#-1"},
      {Unary<SocketGetReadable>, 0, -1, 0, 'N', ""},
      {Unary<SocketGetQueued>, 0, 3, 0, 'E',
       "Failed to get bytes queued on FD#-1"},
      {Unary<SocketGetSendSpace>, 0, 3, 0, 'E',
       "Failed to get bytes queued on FD#-1"},
      {Unary<SocketGetError>, 0, -1, 0, 'E',
       "Failed to get the SO_ERROR option for FD#-1"}};
  ScopedFd tcp(socket(AF_INET, SOCK_STREAM, 0));
  for (const auto& [call, value, gate, result, layout, text] : cases) {
    const std::string lines =
        layout == 'E'   ? Pair(text + ". " + kBad)
        : layout == 'W' ? Pair(text + ". " + kBad, "WARNING! ", "Warning: ")
        : layout == 'I' ? Pair(text + ".") + Pair(kBad)
        : layout == 'G'
            ? "Socket: ERROR! " + text + ".\nSocket: ERROR! " + kBad +
                  "\nError: " + text + ".\nError: " + kBad + "\n"
            : "";
    SocketSystemSupport = gate;
    LogCapture capture;
    EXPECT_EQ(call(-1, value), -1) << text;
    EXPECT_EQ(errno, EBADF) << text;
    EXPECT_EQ(call(tcp.get(), value), result) << text;
    SocketSystemSupport = gate - 1;
    errno = 0;
    EXPECT_EQ(call(-1, value), gate > 0 ? result - 1 : -1) << text;
    EXPECT_EQ(errno, gate < 0 ? EBADF : result == 1 ? 0 : ENOSYS) << text;
    EXPECT_EQ(capture.Text(), gate > 0 ? lines : lines + lines) << text;
  }
}

// A connected pair, both ends close-on-exec with the buffers asked for
// (Linux keeps twice the size).
TEST(SocketCreatePipe, ConnectedCloseOnExecPair) {
  int fds[2], size = 0;
  socklen_t length = sizeof size;
  ASSERT_EQ(SocketCreatePipe(fds, 65536), 0);
  ScopedFd first(fds[0]), second(fds[1]);
  for (int fd : fds) {
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    for (int option : {SO_RCVBUF, SO_SNDBUF}) {
      getsockopt(fd, SOL_SOCKET, option, &size, &length);
      EXPECT_EQ(size, 131072);
    }
  }
  EXPECT_EQ(write(fds[0], "abc", 3), 3);
  EXPECT_EQ(SocketGetReadable(fds[1]), 3);
}

TEST(SocketSupportLevel, FromSystemNameAndRelease) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"Linux", "2.0.40", 2}, {"Linux", "2.2.20", 2}, {"Linux", "2.4.37", 3},
      {"Linux", "2.6.32", 4}, {"Linux", "2.8.1", 4},  {"Linux", "3.10.0", 5},
      {"Linux", "2.5.75", 5}, {"Linux", nullptr, 5},  {"SunOS", "5.10", 1},
      {"FreeBSD", "13", 0},   {"linux", "2.6.1", 0},  {nullptr, "2.6.1", 0}};
  for (const auto& [system, release, level] : cases)
    EXPECT_EQ(SocketSupportLevel(system, release), level) << release;
  for (int start : {-1, 2}) {  // detected, as Linux 3 or later, only once
    SocketSystemSupport = start;
    EXPECT_EQ(SocketInit(), 1);
    EXPECT_EQ(SocketSystemSupport, start == -1 ? 5 : start);
  }
}

// A name whose first label is longer than a name server takes is unknown
// without a query leaving the host.
TEST(SocketResolve, NamesAndNumericTexts) {
  const std::string unknown = std::string(70, 'q') + ".invalid";
  LogCapture capture;
  std::ostringstream texts;
  for (const char* name : {"", "10.1.2.3", "localhost", unknown.c_str()}) {
    errno = 0;
    texts << SocketResolveHostText(name) << " " << errno << ", ";
  }
  EXPECT_EQ(SocketResolveAddress("255.255.255.255"), nullptr);
  EXPECT_EQ(texts.str(), "0.0.0.0 99, 10.1.2.3 0, 127.0.0.1 0, 0.0.0.0 99, ");
  EXPECT_EQ(capture.Text(),
            Pair("Failed to resolve address '" + unknown + "'.") +
                Pair("Error is 1 'The specified host is unknown'.") +
                Pair("Wrong IPv4 dotted-decimal address '255.255.255.255'."));
  const std::pair<const char*, int> numbers[] = {
      {"09:.", 1}, {"1.a", 0}, {"/", 0}, {";", 0}, {"", -1}, {nullptr, -1}};
  for (const auto& [text, numeric] : numbers)
    EXPECT_EQ(SocketIsNumericAddress(text), numeric) << text;
}

// Zeroes the stack below the caller, so that a length the code forgot to
// set reads 0 rather than whatever an earlier call left there.
__attribute__((noinline)) void ClearStack() {
  volatile char area[16384];
  for (volatile char& byte : area)
    byte = 0;
}

// "<result> <local>:<port> <remote>:<port>", a line, and what was logged;
// the slots' old strings are freed.
std::string NetworkInfo(int fd) {
  LogCapture capture;
  char *local = StringDuplicate("old"), *remote = nullptr;
  int local_port = 0, remote_port = 0;
  ClearStack();
  int result =
      SocketGetNetworkInfo(fd, &local, &local_port, &remote, &remote_port);
  std::string text = std::to_string(result) + " " + local + ":" +
                     std::to_string(local_port) + " " + remote + ":" +
                     std::to_string(remote_port) + "\n" + capture.Text();
  StringReset(&local);
  StringReset(&remote);
  return text;
}

// Both ends of a connection to a listener on both protocols, which sees
// them as IPv4-mapped IPv6 addresses and must give them as IPv4; then what
// a descriptor that is no socket gives.
TEST(SocketGetNetworkInfo, BothEndsOrUnknown) {
  ScopedFd listener(socket(AF_INET6, SOCK_STREAM, 0));
  if (listener.get() < 0)
    GTEST_SKIP() << "this host makes no IPv6 sockets";
  ScopedFd client(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in6 any{};
  any.sin6_family = AF_INET6;
  sockaddr_in to{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  socklen_t length = sizeof any;
  auto* address = reinterpret_cast<sockaddr*>(&any);
  ASSERT_FALSE(bind(listener.get(), address, length) ||
               listen(listener.get(), 1) ||
               getsockname(listener.get(), address, &length));
  to.sin_port = any.sin6_port;
  address = reinterpret_cast<sockaddr*>(&to);
  length = sizeof to;
  ASSERT_EQ(connect(client.get(), address, length), 0);
  ScopedFd server(accept(listener.get(), nullptr, nullptr));
  const std::string a = "127.0.0.1:" + std::to_string(ntohs(to.sin_port));
  ASSERT_EQ(getsockname(client.get(), address, &length), 0);
  const std::string b = "127.0.0.1:" + std::to_string(ntohs(to.sin_port));
  EXPECT_EQ(NetworkInfo(server.get()), "1 " + a + " " + b + "\n");
  EXPECT_EQ(NetworkInfo(client.get()), "1 " + b + " " + a + "\n");
  EXPECT_EQ(
      SocketGetNetworkInfo(server.get(), nullptr, nullptr, nullptr, nullptr),
      1);
  EXPECT_EQ(NetworkInfo(-1),
            "-1 UNKNOWN:-1 UNKNOWN:-1\n" +
                Pair("Can't get the local host info for FD#-1.") + Pair(kBad) +
                Pair("Can't get the remote host info for FD#-1.") + Pair(kBad) +
                Pair("Can't get the local host for FD#-1.") + Pair(kBad) +
                Pair("Can't get the remote host for FD#-1.") + Pair(kBad) +
                Pair("Failed to collect network information for FD#-1."));
}

}  // namespace
