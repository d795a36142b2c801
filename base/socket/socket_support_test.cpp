#include <sys/utsname.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "base/socket/socket_option.h"
#include "base/socket/socket_test_util.h"

namespace {

TEST(SocketSupportLevel, FromSystemNameAndRelease) {
  struct Case {
    const char* system;
    const char* release;
    int level;
  };
  const Case cases[] = {
      {"Linux", "2.0.40", 2},  {"Linux", "2.2.20", 2}, {"Linux", "2.4.37", 3},
      {"Linux", "2.6.32", 4},  {"Linux", "2.8.1", 4},  {"Linux", "3.10.0", 5},
      {"Linux", "2.1.100", 5}, {"Linux", "2.5.75", 5}, {"Linux", "6.18.44", 5},
      {"Linux", "2.6", 5},     {"Linux", "", 5},       {"Linux", "2.24.1", 5},
      {"Linux", nullptr, 5},   {"SunOS", "5.10", 1},   {"SunOS", "2.6.32", 1},
      {"FreeBSD", "13.2", 0},  {"linux", "2.6.32", 0}, {"LINUX", "3.10.0", 0},
      {"Linux ", "3.10.0", 0}, {"Linu", "3.10.0", 0},  {"SunOS5", "5.10", 0},
      {"sunos", "5.10", 0},    {"", "3.10.0", 0},      {nullptr, "3.10.0", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.level, SocketSupportLevel(c.system, c.release))
        << (c.system != nullptr ? c.system : "null") << " "
        << (c.release != nullptr ? c.release : "null");
  }
}

// SocketInit detects from uname, and only while the level is undetermined.
TEST(SocketInit, DetectsOnlyWhileUndetermined) {
  struct utsname names;
  ASSERT_EQ(0, uname(&names));
  int detected = SocketSupportLevel(names.sysname, names.release);
  for (int start : {-1, 0, 2, 5}) {
    ScopedSupportLevel level(start);
    SocketLogCapture capture;
    EXPECT_EQ(1, SocketInit());
    EXPECT_EQ(start == -1 ? detected : start, SocketSystemSupport) << start;
    EXPECT_EQ(1, SocketInit());
    EXPECT_EQ("", capture.Text());
  }
}

// The gated operations are given descriptor -1: a skipped operation makes no
// system call, so it neither fails with EBADF nor writes anything, while one
// that passes its gate fails on the descriptor and reports.
TEST(SocketGates, BelowTheirLevelNoCallAndNoMessage) {
  struct Gate {
    const char* name;
    int (*call)();
    int needed;
    int skipped_result;
  };
  const Gate gates[] = {
      {"cork", [] { return SocketSetCork(-1, 1); }, 3, 0},
      {"quick ack", [] { return SocketSetQuickAck(-1, 1); }, 3, 0},
      {"low delay", [] { return SocketSetLowDelay(-1); }, 1, 0},
      {"queued", [] { return SocketGetQueued(-1); }, 3, -1},
      {"send space", [] { return SocketGetSendSpace(-1); }, 3, -1},
  };
  for (int support = -1; support <= 5; ++support) {
    ScopedSupportLevel level(support);
    for (const Gate& gate : gates) {
      SocketLogCapture capture;
      errno = 0;
      int result = gate.call();
      int error = errno;
      if (support < gate.needed) {
        EXPECT_EQ(gate.skipped_result, result) << gate.name << " " << support;
        EXPECT_EQ(gate.skipped_result == 0 ? 0 : ENOSYS, error)
            << gate.name << " " << support;
        EXPECT_EQ("", capture.Text()) << gate.name << " " << support;
      } else {
        EXPECT_EQ(-1, result) << gate.name << " " << support;
        EXPECT_EQ(EBADF, error) << gate.name << " " << support;
        EXPECT_NE("", capture.Text()) << gate.name << " " << support;
      }
    }
  }
}

}  // namespace
