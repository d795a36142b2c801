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

const std::string kBad = "Error is 9 'Bad file descriptor'.";

// A line on the log channel, then the same on the error channel.
std::string Pair(const std::string& text, const char* level = "ERROR! ",
                 const char* channel = "Error: ") {
  return std::string("Socket: ") + level + text + "\n" + channel + text + "\n";
}

// One setter or query per layout of the module's failure lines and per
// gate, on descriptor -1: its lines (E one line, W one line as a warning, G
// two lines with both log lines first, I two lines each followed by its
// error-channel line) and errno EBADF; then its result on a TCP socket, at
// the level its gate needs; one level lower a gated setter gives 0 and a
// gated query -1 with ENOSYS, without a call; quick ack stands for the
// setters gated on TCP support, non-blocking mode for those set through
// fcntl. The others share these layouts.
TEST(SocketOptions, LinesResultsAndGates) {
  using Case = std::tuple<int (*)(int, int), int, int, int, char, std::string>;
  const Case cases[] = {
      {SocketSetNoDelay, 1, -1, 1, 'E',
       "Can't set no-delay mode on FD#-1 to 1"},
      {SocketSetCork, 1, 3, 1, 'G', "Failed to set TCP_CORK to 1 on FD#-1"},
      {SocketSetQuickAck, 1, 3, 1, 'G',
       "Failed to set TCP_QUICKACK to 1 on FD#-1"},
      {[](int fd, int) { return SocketSetLowDelay(fd); }, 0, 1, 1, 'W',
       "Failed to set IPTOS_LOWDELAY on FD#-1 to 16"},
      {SocketSetKeepAlive, 1, -1, 1, 'E',
       "Failed to set SO_KEEPALIVE on FD#-1 to 1"},
      {SocketSetReuseAddress, 1, -1, 1, 'E',
       "Failed to set SO_REUSEADDR on FD#-1 to 1"},
      {SocketGetOption, 0, -1, 0, 'I', "Query failed for option 0 on FD#-1"},
      {[](int fd, int) { return SocketGetQueued(fd); }, 0, 3, 0, 'E',
       "Failed to get bytes queued on FD#-1"},
      {[](int fd, int) { return SocketGetSendSpace(fd); }, 0, 3, 0, 'E',
       "Failed to get bytes queued on FD#-1"},
      {SocketSetNonBlocking, 1, -1, 1, 'E',
       "Can't set non-blocking mode on FD#-1 to 1"}};
  qz_test::ScopedFd tcp(socket(AF_INET, SOCK_STREAM, 0));
  for (const auto& [call, value, gate, result, layout, text] : cases) {
    const std::string lines =
        layout == 'E'   ? Pair(text + ". " + kBad)
        : layout == 'W' ? Pair(text + ". " + kBad, "WARNING! ", "Warning: ")
        : layout == 'I'
            ? Pair(text + ".") + Pair(kBad)
            : "Socket: ERROR! " + text + ".\nSocket: ERROR! " + kBad +
                  "\nError: " + text + ".\nError: " + kBad + "\n";
    SocketSystemSupport = gate;
    qz_test::LogCapture capture;
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
  qz_test::ScopedFd first(fds[0]), second(fds[1]);
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
  qz_test::LogCapture capture;
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
  qz_test::LogCapture capture;
  char *local = StringDuplicate("old"), *remote = nullptr;
  int ports[2] = {0, 0};
  ClearStack();
  int result = SocketGetNetworkInfo(fd, &local, &ports[0], &remote, &ports[1]);
  std::string text = std::to_string(result) + " " + local + ":" +
                     std::to_string(ports[0]) + " " + remote + ":" +
                     std::to_string(ports[1]) + "\n" + capture.Text();
  StringReset(&local);
  StringReset(&remote);
  return text;
}

// Both ends of a UDP socket on both protocols connected to an IPv4 port,
// which it sees as IPv4-mapped IPv6 addresses and must give as IPv4 (slots
// may be null); then what a descriptor that is no socket gives.
TEST(SocketGetNetworkInfo, BothEndsOrUnknown) {
  qz_test::ScopedFd fd(socket(AF_INET6, SOCK_DGRAM, 0));
  if (fd.get() < 0)
    GTEST_SKIP() << "this host makes no IPv6 sockets";
  sockaddr_in6 address{AF_INET6, htons(9), 0, {}, 0};
  socklen_t length = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr), 1);
  ASSERT_FALSE(connect(fd.get(), generic, length) ||
               getsockname(fd.get(), generic, &length));
  EXPECT_EQ(NetworkInfo(fd.get()),
            "1 127.0.0.1:" + std::to_string(ntohs(address.sin6_port)) +
                " 127.0.0.1:9\n");
  EXPECT_EQ(SocketGetNetworkInfo(fd.get(), nullptr, nullptr, nullptr, nullptr),
            1);
  std::string lines = "-1 UNKNOWN:-1 UNKNOWN:-1\n";
  for (std::string end :
       {"local host info", "remote host info", "local host", "remote host"})
    lines += Pair("Can't get the " + end + " for FD#-1.") + Pair(kBad);
  EXPECT_EQ(NetworkInfo(-1),
            lines + Pair("Failed to collect network information for FD#-1."));
}

}  // namespace
