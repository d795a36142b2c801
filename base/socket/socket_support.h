// The system-support level: which socket options the running system offers,
// read once from uname, and the gates of the operations that need more than
// the lowest level.
//
// Thread safety: SocketSystemSupport is written by SocketDetectSystem and
// read by the gated operations without a lock; SocketInit is meant to run
// once at start-up before other threads use the module.

#ifndef QZ_BASE_SOCKET_SOCKET_SUPPORT_H_
#define QZ_BASE_SOCKET_SOCKET_SUPPORT_H_

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

#endif  // QZ_BASE_SOCKET_SOCKET_SUPPORT_H_
