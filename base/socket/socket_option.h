// Descriptor and socket options, socket queries and the socket pipe.
//
// Every operation makes one or two system calls. When a call fails the
// operation writes the module's failure lines, first the full line through
// Log() ("Socket: ERROR! ..." or "Socket: WARNING! ...") and then the same
// text without that beginning through LogError() (LogWarning() for the
// warnings), quoting the error as "Error is <errno> '<text>'". errno is
// saved where the call failed and is what the caller finds after -1.
//
// Setters return 1 when the option is set, 0 when they skipped themselves
// because the system-support level is too low (no system call, no message),
// and -1 when the system refused. Queries return their value (0 or more) or
// -1.
//
// Thread safety: SocketSystemSupport is written by SocketDetectSystem and
// read by the gated operations without a lock; SocketInit is meant to run
// once at start-up before other threads use the module. Everything else keeps
// no state and may be called from any thread.

#ifndef QZ_BASE_SOCKET_SOCKET_OPTION_H_
#define QZ_BASE_SOCKET_SOCKET_OPTION_H_

#include <atomic>

// How much the running system offers: -1 not yet determined (the value at
// start, which fails every gate as the lowest system would), 0 lowest (a
// system other than Linux or SunOS, or one whose name could not be read),
// 1 SunOS, 2 Linux 2.0 and 2.2, 3 Linux 2.4, 4 Linux 2.6 and 2.8, 5 any other
// Linux release.
extern std::atomic<int> SocketSystemSupport;

// Levels the gated operations need.
constexpr int kSocketSupportLowDelay = 1;  // SocketSetLowDelay
constexpr int kSocketSupportTcp = 3;  // cork, quick ack, queued, send space

// Detects the level when it is still -1. Always returns 1.
int SocketInit();

// Sets SocketSystemSupport from uname's system name and release. When uname
// fails it writes two warnings ("Failed to get system info. Error is ...",
// "Assuming lowest system support.") on the log stream and then on the error
// stream, and sets the level 0.
void SocketDetectSystem();

// The level for a system name and release as uname gives them: "Linux"
// (exactly) with a release starting "2.0." or "2.2." gives 2, "2.4." 3,
// "2.6." or "2.8." 4, anything else 5; "SunOS" gives 1; any other name, or a
// null one, gives 0. A null release counts as "any other release". Pure.
int SocketSupportLevel(const char* system, const char* release);

// Option 0: 1 when the descriptor is non-blocking, 0 when not. Option 2: the
// TCP_NODELAY value. Any other option writes "Query for option <option> not
// implemented." to the log stream and fails with ENOSYS. Failures write the
// query's two failure lines and return -1.
int SocketGetOption(int fd, int option);

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

// A connected pair of AF_UNIX stream sockets in fds, both close-on-exec,
// their receive and then send buffers asked for size bytes (those results
// are not looked at; they report their own failures). Returns 0. When the
// pair cannot be made or marked close-on-exec, writes "Can't create the
// socket pipe. Error is ...", closes what was opened and returns -1; both
// slots hold -1 when socketpair itself failed, and the caller must not use
// them after a failure. The descriptors belong to the caller on success.
int SocketCreatePipe(int fds[2], int size);

#endif  // QZ_BASE_SOCKET_SOCKET_OPTION_H_
