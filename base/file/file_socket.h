// Descriptor operations of the file module that the socket module carries
// out: callers holding a plain descriptor need not name the socket module.
// Each passes its arguments unchanged to the socket operation named and
// returns its result, messages and errno included (base/socket/socket_option.h
// has the full contracts). Safe from any thread.

#ifndef QZ_BASE_FILE_FILE_SOCKET_H_
#define QZ_BASE_FILE_FILE_SOCKET_H_

// SocketSetNonBlocking: O_NONBLOCK on (value non-zero) or off. 1 or -1.
int FileSetNonBlocking(int fd, int value);

// SocketSetNoInherit: value as the descriptor flags (1 close-on-exec, 0
// not). 1 or -1.
int FileSetNoInherit(int fd, int value);

// SocketGetReadable: bytes waiting to be read, or -1 without a message.
int FileBytesReadable(int fd);

// SocketGetQueued: bytes in the send queue, or -1 (ENOSYS before the socket
// module has detected a system that offers the query).
int FileBytesQueued(int fd);

#endif  // QZ_BASE_FILE_FILE_SOCKET_H_
