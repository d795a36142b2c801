// Descriptor and socket options.
//
// Every setter makes one or two system calls and returns 1 when the option
// is set, 0 when it skipped itself because the system-support level
// (base/socket/socket_support.h) is too low (no system call, no message),
// and -1 when the system refused.
// When a call fails the operation writes the module's failure lines, first
// the full line through Log() ("Socket: ERROR! ..." or "Socket: WARNING!
// ...") and then the same text without that beginning through LogError()
// (LogWarning() for the warnings), quoting the error as "Error is <errno>
// '<text>'". errno is saved where the call failed and is what the caller
// finds after -1.
//
// They keep no state and may be called from any thread.

#ifndef QZ_BASE_SOCKET_SOCKET_OPTION_H_
#define QZ_BASE_SOCKET_SOCKET_OPTION_H_

// O_NONBLOCK on (value non-zero) or off, other status flags unchanged; no
// second call when the state already equals the value. 1 or -1.
int SocketSetNonBlocking(int fd, int value);

// Writes value as the descriptor flags (1 sets close-on-exec, 0 clears it).
// 1 or -1.
int SocketSetNoInherit(int fd, int value);

// TCP_NODELAY. 1 or -1; EOPNOTSUPP and ENOPROTOOPT (not a TCP socket) fail
// without a message.
int SocketSetNoDelay(int fd, int value);

// TCP_CORK; 0 below level 3. 1, 0 or -1.
int SocketSetCork(int fd, int value);

// SO_RCVBUF to size bytes. 1 or -1.
int SocketSetReceiveBuffer(int fd, int size);

// SO_SNDBUF to size bytes. 1 or -1.
int SocketSetSendBuffer(int fd, int size);

// IP_TOS to IPTOS_LOWDELAY; 0 below level 1. 1, 0 or -1; EOPNOTSUPP fails
// without a message, other failures are written as warnings.
int SocketSetLowDelay(int fd);

// SO_KEEPALIVE. 1 or -1.
int SocketSetKeepAlive(int fd, int value);

// SO_LINGER: on for seconds > 0, off (on 0, linger 0) otherwise. 1 or -1.
int SocketSetLinger(int fd, int seconds);

// SO_REUSEADDR. 1 or -1.
int SocketSetReuseAddress(int fd, int value);

// TCP_QUICKACK; 0 below level 3. 1, 0 or -1.
int SocketSetQuickAck(int fd, int value);

#endif  // QZ_BASE_SOCKET_SOCKET_OPTION_H_
