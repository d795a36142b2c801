// The socket pipe: a connected pair of local stream sockets.

#ifndef QZ_BASE_SOCKET_SOCKET_PIPE_H_
#define QZ_BASE_SOCKET_SOCKET_PIPE_H_

// A connected pair of AF_UNIX stream sockets in fds, both close-on-exec,
// their receive and then send buffers asked for size bytes (those results
// are not looked at; they report their own failures). Returns 0. When the
// pair cannot be made or marked close-on-exec, writes "Can't create the
// socket pipe. Error is ...", closes what was opened and returns -1; both
// slots hold -1 when socketpair itself failed, and the caller must not use
// them after a failure. The descriptors belong to the caller on success.
int SocketCreatePipe(int fds[2], int size);

#endif  // QZ_BASE_SOCKET_SOCKET_PIPE_H_
