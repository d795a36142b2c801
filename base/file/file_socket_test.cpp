#include "base/file/file_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "base/socket/socket_option.h"

namespace {

// Each forwarder reaches its own socket operation: they are told apart by
// what they do to a socket pair.
TEST(FileSocketForwarders, ReachTheirSocketOperations) {
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
  EXPECT_EQ(1, FileSetNonBlocking(pair[0], 1));
  EXPECT_NE(0, fcntl(pair[0], F_GETFL) & O_NONBLOCK);
  EXPECT_EQ(0, fcntl(pair[0], F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(1, FileSetNoInherit(pair[0], 1));
  EXPECT_NE(0, fcntl(pair[0], F_GETFD) & FD_CLOEXEC);
  ASSERT_EQ(3, write(pair[0], "abc", 3));
  EXPECT_EQ(3, FileBytesReadable(pair[1]));
  EXPECT_EQ(0, FileBytesReadable(pair[0]));

  int saved = SocketSystemSupport;
  SocketSystemSupport = -1;
  errno = 0;
  EXPECT_EQ(-1, FileBytesQueued(pair[0]));
  EXPECT_EQ(ENOSYS, errno);
  SocketSystemSupport = 5;
  EXPECT_EQ(SocketGetQueued(pair[0]), FileBytesQueued(pair[0]));
  SocketSystemSupport = saved;
  close(pair[0]);
  close(pair[1]);
}

}  // namespace
