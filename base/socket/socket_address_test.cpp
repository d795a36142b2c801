#include "base/socket/socket_address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/socket/socket_test_util.h"
#include "base/string/owned_string.h"

namespace {

std::string ErrorPair(const std::string& text) {
  return "Socket: ERROR! " + text + "\nError: " + text + "\n";
}

// A name no resolver can know and no name server is asked about: its first
// label is longer than the 63 characters a DNS label may hold, so the
// resolver turns it down before building a query, and the .invalid domain
// is reserved never to exist. /etc/hosts is the only place looked at.
std::string UnknownName() { return std::string(70, 'q') + ".invalid"; }

uint32_t Address(unsigned a, unsigned b, unsigned c, unsigned d) {
  unsigned char bytes[4] = {
      static_cast<unsigned char>(a), static_cast<unsigned char>(b),
      static_cast<unsigned char>(c), static_cast<unsigned char>(d)};
  uint32_t address;
  memcpy(&address, bytes, sizeof(address));
  return address;
}

TEST(SocketResolveHost, EmptyNameFailsAtOnce) {
  SocketLogCapture capture;
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    errno = 0;
    EXPECT_EQ(0u, SocketResolveHost(name));
    EXPECT_EQ(EADDRNOTAVAIL, errno);
  }
  EXPECT_EQ("", capture.Text());
}

TEST(SocketResolveHost, DottedDecimalText) {
  SocketLogCapture capture;
  EXPECT_EQ(Address(127, 0, 0, 1), SocketResolveHost("127.0.0.1"));
  EXPECT_EQ(Address(10, 1, 2, 3), SocketResolveHost("10.1.2.3"));
  EXPECT_EQ("", capture.Text());
}

TEST(SocketResolveHost, UnknownNameWritesResolverLines) {
  const std::string name = UnknownName();
  SocketLogCapture capture;
  errno = 0;
  EXPECT_EQ(0u, SocketResolveHost(name.c_str()));
  EXPECT_EQ(EADDRNOTAVAIL, errno);
  EXPECT_EQ(ErrorPair("Failed to resolve address '" + name + "'.") +
                ErrorPair("Error is 1 'The specified host is unknown'."),
            capture.Text());
  EXPECT_STREQ("0.0.0.0", SocketResolveHostText(name.c_str()));
  EXPECT_EQ(EADDRNOTAVAIL, errno);
}

// With no descriptor left, the resolver can neither read /etc/hosts nor open
// a socket to a name server (so nothing leaves the machine): it has no number
// of its own for that, and EMFILE is quoted instead.
TEST(SocketResolveHost, OutOfDescriptorsQuotesEmfile) {
  const std::string name = "qz-no-such-host.invalid";
  std::string text;
  uint32_t address;
  int number;
  {
    SocketLogCapture capture;
    {
      ScopedNoDescriptors limit(WarmUpLogStreams);
      ASSERT_TRUE(limit.ok()) << errno;
      address = SocketResolveHost(name.c_str());
      number = h_errno;
    }
    text = capture.Text();
  }
  EXPECT_EQ(0u, address);
  if (number != EMFILE) {
    GTEST_SKIP() << "the resolver reported " << number
                 << " rather than running out of descriptors: " << text;
  }
  EXPECT_EQ(ErrorPair("Failed to resolve address '" + name + "'.") +
                ErrorPair("Error is 24 'Too many open files'."),
            text);
}

// In a child, whose resolver state does not matter afterwards, the resolver
// is pointed at a closed UDP port of 127.0.0.1: the name server refuses at
// once and the resolver calls that a temporary failure. Gives what the child
// wrote, with its exit status appended.
std::string ResolveWithRefusingNameServer() {
  int channel[2];
  if (pipe(channel) < 0) {
    return "pipe failed";
  }
  pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(server);
    int probe = socket(AF_INET, SOCK_DGRAM, 0);
    if (probe < 0 ||
        bind(probe, reinterpret_cast<sockaddr*>(&server), length) < 0 ||
        getsockname(probe, reinterpret_cast<sockaddr*>(&server), &length) < 0) {
      _exit(2);
    }
    close(probe);
    res_init();
    _res.nscount = 1;
    _res.nsaddr_list[0] = server;
    _res.retrans = 1;
    _res.retry = 1;
    std::string text;
    int failed = 0;
    {
      SocketLogCapture capture;
      failed += SocketResolveHost("qz-no-such-host.invalid") == 0 ? 1 : 0;
      failed += SocketResolveAddress("192.0.2.1") == nullptr ? 1 : 0;
      text = capture.Text();
    }
    const char* out = text.c_str();
    size_t left = text.size();
    while (left > 0) {
      ssize_t written = write(channel[1], out, left);
      if (written <= 0) {
        _exit(3);
      }
      out += written;
      left -= static_cast<size_t>(written);
    }
    _exit(failed == 2 ? 0 : 1);
  }
  close(channel[1]);
  std::string text;
  char buffer[512];
  ssize_t count;
  while ((count = read(channel[0], buffer, sizeof(buffer))) != 0) {
    if (count < 0 && errno != EINTR) {
      break;
    }
    if (count > 0) {
      text.append(buffer, static_cast<size_t>(count));
    }
  }
  close(channel[0]);
  int status = -1;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return text + "status " + std::to_string(status);
}

TEST(SocketResolveHost, TemporaryNameServerError) {
  const std::string text = ResolveWithRefusingNameServer();
  const std::string temporary =
      ErrorPair("Error is 2 'Temporary name server error'.");
  EXPECT_EQ(ErrorPair("Failed to resolve address 'qz-no-such-host.invalid'.") +
                temporary +
                ErrorPair("Failed to resolve address '192.0.2.1'.") +
                temporary + "status 0",
            text);
}

TEST(SocketFormatAddress, BytesInAddressOrder) {
  struct Case {
    uint32_t address;
    const char* text;
  };
  const Case cases[] = {
      {Address(10, 1, 2, 3), "10.1.2.3"},
      {0xFFFFFFFFu, "255.255.255.255"},
      {0, "0.0.0.0"},
      {Address(127, 0, 0, 1), "127.0.0.1"},
      {Address(192, 168, 200, 9), "192.168.200.9"},
  };
  for (const Case& c : cases) {
    EXPECT_STREQ(c.text, SocketFormatAddress(c.address));
    EXPECT_STREQ(c.text, SocketAddressToText(c.address));
  }
}

TEST(SocketResolveAddress, WrongDottedDecimalText) {
  for (const char* text : {"300.1.1.1", "255.255.255.255", "host.example",
                           static_cast<const char*>(nullptr)}) {
    SocketLogCapture capture;
    EXPECT_EQ(nullptr, SocketResolveAddress(text));
    EXPECT_EQ(ErrorPair(std::string("Wrong IPv4 dotted-decimal address '") +
                        (text != nullptr ? text : "nil") + "'."),
              capture.Text());
  }
}

TEST(SocketIsNumericAddress, DigitsColonsAndDots) {
  struct Case {
    const char* text;
    int result;
  };
  const Case cases[] = {
      {"192.168.0.1", 1}, {"10.0.0.1:80", 1}, {"::1", 1}, {"0", 1},
      {"...", 1},         {"10.0.0.a", 0},    {"a.1", 0}, {"1 2", 0},
      {"/", 0},           {";", 0},           {"-1", 0},  {"fe80::1", 0},
      {"", -1},           {nullptr, -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.result, SocketIsNumericAddress(c.text))
        << (c.text != nullptr ? c.text : "null");
  }
}

sockaddr_storage Inet6(const unsigned char (&bytes)[16], uint16_t port) {
  sockaddr_storage storage;
  memset(&storage, 0xA5, sizeof(storage));
  sockaddr_in6 inet6{};
  inet6.sin6_family = AF_INET6;
  inet6.sin6_port = htons(port);
  inet6.sin6_flowinfo = htonl(0x12345);
  inet6.sin6_scope_id = 3;
  memcpy(inet6.sin6_addr.s6_addr, bytes, sizeof(bytes));
  memcpy(&storage, &inet6, sizeof(inet6));
  return storage;
}

TEST(SocketUnmapAddress, MappedBecomesInet) {
  const unsigned char mapped[16] = {0, 0, 0,    0,    0,  0, 0, 0,
                                    0, 0, 0xFF, 0xFF, 10, 1, 2, 3};
  sockaddr_storage storage = Inet6(mapped, 8080);
  socklen_t length = 28;
  SocketUnmapAddress(&storage, &length);
  EXPECT_EQ(16u, length);
  sockaddr_in inet;
  memcpy(&inet, &storage, sizeof(inet));
  EXPECT_EQ(AF_INET, inet.sin_family);
  EXPECT_EQ(htons(8080), inet.sin_port);
  EXPECT_EQ(Address(10, 1, 2, 3), inet.sin_addr.s_addr);
  const unsigned char zeros[8] = {};
  EXPECT_EQ(0, memcmp(inet.sin_zero, zeros, sizeof(zeros)));
}

TEST(SocketUnmapAddress, OtherAddressesUntouched) {
  const unsigned char loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0,
                                      0, 0, 0, 0, 0, 0, 0, 1};
  const unsigned char almost[16] = {0, 0, 0,    0,    0,  0, 0, 0,
                                    0, 1, 0xFF, 0xFF, 10, 1, 2, 3};
  const unsigned char half[16] = {0, 0, 0,    0,    0,  0, 0, 0,
                                  0, 0, 0xFF, 0xFE, 10, 1, 2, 3};
  for (const auto* bytes : {&loopback, &almost, &half}) {
    sockaddr_storage storage = Inet6(*bytes, 22);
    sockaddr_storage before = storage;
    socklen_t length = 28;
    SocketUnmapAddress(&storage, &length);
    EXPECT_EQ(28u, length);
    EXPECT_EQ(0, memcmp(&before, &storage, sizeof(storage)));
  }
  sockaddr_storage storage;
  memset(&storage, 0, sizeof(storage));
  storage.ss_family = AF_INET;
  sockaddr_storage before = storage;
  socklen_t length = 16;
  SocketUnmapAddress(&storage, &length);
  EXPECT_EQ(16u, length);
  EXPECT_EQ(0, memcmp(&before, &storage, sizeof(storage)));
}

// An IPv6 listener that also takes IPv4 (IPV6_V6ONLY off), bound to the
// mapped loopback address ::ffff:127.0.0.1, with a client connecting over
// plain IPv4: the accepted socket sees both ends as mapped addresses.
struct DualStackConnection {
  DualStackConnection() {
    listener.Reset(socket(AF_INET6, SOCK_STREAM, 0));
    if (listener.get() < 0) {
      return;
    }
    int off = 0;
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    socklen_t length = sizeof(address);
    if (setsockopt(listener.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off,
                   sizeof(off)) < 0 ||
        inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr) != 1 ||
        bind(listener.get(), reinterpret_cast<sockaddr*>(&address), length) <
            0 ||
        listen(listener.get(), 1) < 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address),
                    &length) < 0) {
      return;
    }
    port = ntohs(address.sin6_port);
    client.Reset(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = address.sin6_port;
    target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (client.get() < 0 ||
        connect(client.get(), reinterpret_cast<sockaddr*>(&target),
                sizeof(target)) < 0) {
      return;
    }
    server.Reset(accept(listener.get(), nullptr, nullptr));
  }
  ScopedFd listener;
  ScopedFd client;
  ScopedFd server;
  int port = -1;
};

int LocalPort(int fd) {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

TEST(SocketGetHostAddress, MappedEndsArePlainIpv4) {
  DualStackConnection connection;
  if (connection.server.get() < 0) {
    GTEST_SKIP() << "no dual-stack loopback here: " << strerror(errno);
  }
  sockaddr_in6 seen{};
  socklen_t length = sizeof(seen);
  ASSERT_EQ(0, getpeername(connection.server.get(),
                           reinterpret_cast<sockaddr*>(&seen), &length));
  ASSERT_EQ(AF_INET6, seen.sin6_family);
  ASSERT_TRUE(IN6_IS_ADDR_V4MAPPED(&seen.sin6_addr));

  SocketLogCapture capture;
  for (int local : {1, 0}) {
    char* text = SocketGetHostAddress(connection.server.get(), local);
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("127.0.0.1", text);
    StringReset(&text);
  }
  char* local_text = nullptr;
  char* remote_text = nullptr;
  int local_port = 0;
  int remote_port = 0;
  EXPECT_EQ(1, SocketGetNetworkInfo(connection.server.get(), &local_text,
                                    &local_port, &remote_text, &remote_port));
  EXPECT_STREQ("127.0.0.1", local_text);
  EXPECT_STREQ("127.0.0.1", remote_text);
  EXPECT_EQ(connection.port, local_port);
  EXPECT_EQ(LocalPort(connection.client.get()), remote_port);
  StringReset(&local_text);
  StringReset(&remote_text);
  EXPECT_EQ("", capture.Text());
}

TEST(SocketGetHostAddress, PlainFileWritesLocalAndRemoteLines) {
  ScopedFd file(OpenPlainFile());
  ASSERT_GE(file.get(), 0);
  const std::string fd = std::to_string(file.get());
  for (int local : {1, 0}) {
    SocketLogCapture capture;
    errno = 0;
    EXPECT_EQ(nullptr, SocketGetHostAddress(file.get(), local));
    EXPECT_EQ(ENOTSOCK, errno);
    EXPECT_EQ(ErrorPair(std::string("Can't get the ") +
                        (local != 0 ? "local" : "remote") +
                        " host info for FD#" + fd + ".") +
                  ErrorPair("Error is 88 'Socket operation on non-socket'."),
              capture.Text());
  }
}

TEST(SocketGetNetworkInfo, ListeningSocketHasNoRemoteEnd) {
  LoopbackTcp tcp;
  ASSERT_TRUE(tcp.ok()) << errno;
  const std::string fd = std::to_string(tcp.listener.get());
  const std::string not_connected =
      "Error is 107 'Transport endpoint is not connected'.";
  char* local_text = StringDuplicate("left over");
  char* remote_text = nullptr;
  int local_port = 0;
  int remote_port = 0;
  SocketLogCapture capture;
  EXPECT_EQ(-1, SocketGetNetworkInfo(tcp.listener.get(), &local_text,
                                     &local_port, &remote_text, &remote_port));
  EXPECT_STREQ("127.0.0.1", local_text);
  EXPECT_EQ(tcp.port, local_port);
  EXPECT_STREQ("UNKNOWN", remote_text);
  EXPECT_EQ(-1, remote_port);
  EXPECT_EQ(
      ErrorPair("Can't get the remote host info for FD#" + fd + ".") +
          ErrorPair(not_connected) +
          ErrorPair("Can't get the remote host for FD#" + fd + ".") +
          ErrorPair(not_connected) +
          ErrorPair("Failed to collect network information for FD#" + fd + "."),
      capture.Text());
  StringReset(&local_text);
  StringReset(&remote_text);
}

TEST(SocketGetNetworkInfo, NullOutParametersAreDropped) {
  LoopbackTcp tcp;
  ASSERT_TRUE(tcp.ok()) << errno;
  int remote_port = 0;
  EXPECT_EQ(1, SocketGetNetworkInfo(tcp.server.get(), nullptr, nullptr, nullptr,
                                    &remote_port));
  EXPECT_EQ(LocalPort(tcp.client.get()), remote_port);
}

}  // namespace
