// A static object of its own translation unit that logs while it is being
// constructed, before main and before the library's own statics: the Logger
// and LogMutex must already be there.

#include <pthread.h>

#include <iostream>
#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/log/log.h"
#include "base/sync/mutex.h"

namespace {

struct LogsWhileConstructed {
  LogsWhileConstructed() {
    Logger& logger = LoggerInstance();
    initialValues =
        logger.logStream == &std::clog && logger.errorStream == &std::clog &&
        logger.auxStream == &std::clog && logger.enabled == 1 &&
        logger.locking == 1 && logger.labels == 1 && logger.buffered == 1 &&
        logger.redirectEnabled == 0 && logger.nullStream != nullptr &&
        logger.savedLogBuffer == std::clog.rdbuf();
    logger.logStream = &captured;
    Log() << "Startup: constructed " << 42 << ".\n";
    LogFlush();
    logger.logStream = &std::clog;
    // A second lock by the owner succeeds only on a recursive mutex, which
    // LogMutex is once MutexInit has run (a zeroed one is not).
    lockedOnce = MutexTimedLock(&LogMutex, 0);
    lockedTwice = MutexTimedLock(&LogMutex, 0);
    if (lockedTwice == 1) {
      pthread_mutex_unlock(&LogMutex);
    }
    if (lockedOnce == 1) {
      pthread_mutex_unlock(&LogMutex);
    }
  }

  std::ostringstream captured;
  bool initialValues = false;
  int lockedOnce = 0;
  int lockedTwice = 0;
};

LogsWhileConstructed logsWhileConstructed;

TEST(LogStartup, StaticObjectLogsFromItsConstructor) {
  EXPECT_TRUE(logsWhileConstructed.initialValues);
  EXPECT_TRUE(std::regex_match(
      logsWhileConstructed.captured.str(),
      std::regex("\\d+ \\d+ \\d\\d:\\d\\d:\\d\\d \\d{3}\\.\\d{3} "
                 "Startup: constructed 42\\.\n")))
      << logsWhileConstructed.captured.str();
  EXPECT_EQ(logsWhileConstructed.lockedOnce, 1);
  EXPECT_EQ(logsWhileConstructed.lockedTwice, 1);
}

}  // namespace
