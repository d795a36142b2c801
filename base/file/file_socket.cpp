#include "base/file/file_socket.h"

#include "base/socket/socket_option.h"
#include "base/socket/socket_query.h"

int FileSetNonBlocking(int fd, int value) {
  return SocketSetNonBlocking(fd, value);
}

int FileSetNoInherit(int fd, int value) {
  return SocketSetNoInherit(fd, value);
}

int FileBytesReadable(int fd) { return SocketGetReadable(fd); }

int FileBytesQueued(int fd) { return SocketGetQueued(fd); }
