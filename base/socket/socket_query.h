// Queries of descriptors and sockets: an option's state, bytes readable and
// queued, free send space, the pending error.
//
// Each returns its value (0 or more) or -1.
// When a call fails the operation writes the module's failure lines, first
// the full line through Log() ("Socket: ERROR! ..." or "Socket: WARNING!
// ...") and then the same text without that beginning through LogError()
// (LogWarning() for the warnings), quoting the error as "Error is <errno>
// '<text>'". errno is saved where the call failed and is what the caller
// finds after -1.
//
// They keep no state and may be called from any thread.

#ifndef QZ_BASE_SOCKET_SOCKET_QUERY_H_
#define QZ_BASE_SOCKET_SOCKET_QUERY_H_

// Option 0: 1 when the descriptor is non-blocking, 0 when not. Option 2: the
// TCP_NODELAY value. Any other option writes "Query for option <option> not
// implemented." to the log stream and fails with ENOSYS. Failures write the
// query's two failure lines and return -1.
int SocketGetOption(int fd, int option);

// Bytes waiting to be read (FIONREAD), or -1 without a message.
int SocketGetReadable(int fd);

// Bytes in the send queue (TIOCOUTQ), or -1. Below level 3: -1 with errno
// ENOSYS, no system call and no message.
int SocketGetQueued(int fd);

// Free send space: SocketSendSpace of SO_SNDBUF and SocketGetQueued, or -1
// (below level 3 as SocketGetQueued).
int SocketGetSendSpace(int fd);

// send_buffer - queued - 16384, or 0 when that is negative. Pure.
int SocketSendSpace(int send_buffer, int queued);

// The socket's pending error number (SO_ERROR), or -1.
int SocketGetError(int fd);

#endif  // QZ_BASE_SOCKET_SOCKET_QUERY_H_
