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

}  // namespace
