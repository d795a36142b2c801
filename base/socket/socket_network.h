// The numeric addresses and ports of both ends of a socket.
//
// Failures are written as the module's line pairs: the full line through
// Log() ("Socket: ERROR! ..."), then the same text without that beginning
// through LogError(); a failure line is followed by its error pair ("Error is
// <errno> '<text>'."). Nothing is kept between calls; safe from any thread.

#ifndef QZ_BASE_SOCKET_SOCKET_NETWORK_H_
#define QZ_BASE_SOCKET_SOCKET_NETWORK_H_

#include <sys/socket.h>

// Rewrites an IPv4-mapped AF_INET6 address (ten zero bytes, two 0xFF bytes,
// the IPv4 address) in place as the AF_INET address with the same port, the
// bytes behind the IPv4 address zeroed, and sets *length to 16. Any other
// address and *length are left alone. No message.
void SocketUnmapAddress(sockaddr_storage* address, socklen_t* length);

// A new owned string (free it with StringReset) with the numeric host
// address of the local end (local non-zero) or the remote end (local 0) of
// the socket, an IPv4-mapped address given as plain dotted IPv4 text.
// Returns null after writing the failure lines when the address cannot be
// read or turned into text; errno is then the failed call's.
char* SocketGetHostAddress(int fd, int local);

// Fills the four out-parameters: the local address text, the local port, the
// remote address text and the remote port. An address that cannot be found
// is "UNKNOWN", a port -1 (each after its failure lines). The texts are
// stored into owned-string slots: what a slot held before is freed, and the
// caller owns and frees the new strings. Any out-parameter may be null: that
// value is then worked out (with its messages) and dropped. Returns 1 when
// both addresses and both ports were found, otherwise writes "Failed to
// collect network information for FD#<fd>." and returns -1.
int SocketGetNetworkInfo(int fd, char** local_address, int* local_port,
                         char** remote_address, int* remote_port);

#endif  // QZ_BASE_SOCKET_SOCKET_NETWORK_H_
