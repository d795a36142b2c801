// IPv4 names and addresses.
//
// An IPv4 address here is a uint32_t in network byte order, as the resolver
// and inet_addr give it: its lowest-addressed byte is the first number of the
// dotted form. 0 stands for no address.
//
// Failures are written as the module's line pairs: the full line through
// Log() ("Socket: ERROR! ..."), then the same text without that beginning
// through LogError(); a failure line is followed by its error pair ("Error is
// <number> '<text>'."), which quotes the resolver's h_errno with a text of
// its own.
//
// Thread safety: these use the resolver's non-reentrant calls and storage,
// and SocketFormatAddress, SocketResolveHostText and SocketAddressToText
// return static buffers: one thread at a time, and a result is used before
// the next call.

#ifndef QZ_BASE_SOCKET_SOCKET_RESOLVE_H_
#define QZ_BASE_SOCKET_SOCKET_RESOLVE_H_

#include <cstdint>

// The first IPv4 address of a host name or dotted-decimal text. Returns 0
// with errno EADDRNOTAVAIL when it does not resolve: at once and without a
// message for a null or empty name, otherwise after writing the resolver
// failure lines.
uint32_t SocketResolveHost(const char* name);

// The official name of the host at a dotted-decimal IPv4 address, in the
// resolver's storage (valid until the next resolver call; not to be freed).
// Returns null after writing "Wrong IPv4 dotted-decimal address '<address>'."
// for text that inet_addr rejects (255.255.255.255 included; a null address
// is written as nil), or after the resolver failure lines when the resolver
// does not know the address. Does not set errno itself.
const char* SocketResolveAddress(const char* address);

// 1 when every character is a digit, ':' or '.'; 0 at the first other
// character; -1 for a null or empty text. No message.
int SocketIsNumericAddress(const char* text);

// inet_ntoa's text of the address, in the platform's static buffer.
const char* SocketAddressToText(uint32_t address);

// "%u.%u.%u.%u" of the four bytes, first byte first, in a static buffer of
// this module overwritten by the next call (also of SocketResolveHostText).
const char* SocketFormatAddress(uint32_t address);

// SocketFormatAddress(SocketResolveHost(name)): "0.0.0.0" when the name does
// not resolve (after the resolver's failure lines, errno EADDRNOTAVAIL).
const char* SocketResolveHostText(const char* name);

#endif  // QZ_BASE_SOCKET_SOCKET_RESOLVE_H_
