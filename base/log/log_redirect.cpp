#include "base/log/log_redirect.h"

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>

#include "base/file/file_path.h"
#include "base/log/log.h"
#include "base/log/log_file.h"
#include "base/string/owned_string.h"

// Where std::clog writes. Redirecting the error channel gives std::clog the
// buffer of the channel's stream, so that text written to std::clog anywhere
// lands in the error channel. std::clog must never be left writing into the
// buffer of a stream that may be destroyed, and a retired stream is
// destroyed by the next retirement on its channel or at exit. So whenever a
// stream whose buffer std::clog uses is retired, std::clog gets its own
// buffer (savedLogBuffer) back; and when truncation reopens the file of such
// a stream, std::clog follows the channel into the reopened file. In short,
// std::clog follows the error channel: after truncating the error channel's
// file it writes into the emptied file, and after restoring an error channel
// that was on a caller's stream it writes to standard error again.

namespace {

// A channel's slot triple: its current stream, retired stream and path.
struct Channel {
  std::ostream** current;
  std::unique_ptr<std::ostream>* retired;
  char** path;
};

Channel LogChannel(Logger& logger) {
  return {&logger.logStream, &logger.retiredLogStream, &logger.logPath};
}

Channel ErrorChannel(Logger& logger) {
  return {&logger.errorStream, &logger.retiredErrorStream, &logger.errorPath};
}

Channel AuxChannel(Logger& logger) {
  return {&logger.auxStream, &logger.retiredAuxStream, &logger.auxPath};
}

// Keeps old alive in the retired slot, writing into the standard log
// stream's buffer, and destroys the stream retired before it. The standard
// log stream itself is never retired.
void LoggerRetireStream(Logger& logger, std::ostream* old,
                        std::unique_ptr<std::ostream>* retired) {
  if (old == &std::clog) {
    return;
  }
  // old is still alive and may own the buffer std::clog writes into; once
  // retired it may be destroyed at any next retirement.
  if (std::clog.rdbuf() == old->rdbuf()) {
    std::clog.rdbuf(logger.savedLogBuffer);
  }
  retired->reset();
  old->flush();
  old->rdbuf(logger.savedLogBuffer);
  retired->reset(old);
}

// Makes file (when there is one) the channel's current stream and path (an
// owned string, taken over in every case) its path, retiring the previous
// stream; path is freed otherwise.
void Adopt(Logger& logger, Channel channel, std::unique_ptr<std::ofstream> file,
           char* path) {
  if (file == nullptr) {
    StringReset(&path);
    return;
  }
  StringReset(channel.path);
  *channel.path = path;
  std::ostream* old = *channel.current;
  *channel.current = file.release();
  LoggerRetireStream(logger, old, channel.retired);
}

void RedirectToFile(Logger& logger, Channel channel, const char* dir,
                    const char* name) {
  char* path = FilePath(dir, name);
  if (path == nullptr) {
    return;
  }
  Adopt(logger, channel, LoggerOpenFile(logger, std::ios_base::app, path),
        path);
}

// Returns whether the stream is now the channel's current stream. A null
// stream, or the channel's retired stream (which the Logger owns already and
// would destroy at the next retirement), is refused; the current stream
// itself leaves the channel as it is.
bool RedirectToStream(Logger& logger, Channel channel, std::ostream* stream) {
  if (stream == nullptr || stream == channel.retired->get()) {
    return false;
  }
  if (stream == *channel.current) {
    return true;
  }
  std::ostream* old = *channel.current;
  *channel.current = stream;
  LoggerRetireStream(logger, old, channel.retired);
  StringReset(channel.path);
  return true;
}

void Truncate(Logger& logger, Channel channel, int limit) {
  if (*channel.path == nullptr || limit < 0) {
    return;
  }
  struct stat record;
  if (FileStat(*channel.path, &record) != 1 || record.st_size < limit) {
    return;
  }
  std::ostream* old = *channel.current;
  bool clog_follows = std::clog.rdbuf() == old->rdbuf();
  *channel.current = &std::clog;
  LoggerRetireStream(logger, old, channel.retired);
  std::unique_ptr<std::ofstream> file =
      LoggerOpenFile(logger, std::ios_base::trunc, *channel.path);
  if (file == nullptr) {
    StringReset(channel.path);
    return;
  }
  *channel.current = file.release();
  if (clog_follows) {
    std::clog.rdbuf((*channel.current)->rdbuf());
  }
}

void Restore(Logger& logger, Channel channel) {
  std::ostream* old = *channel.current;
  *channel.current = &std::clog;
  LoggerRetireStream(logger, old, channel.retired);
  StringReset(channel.path);
}

}  // namespace

void LoggerRedirectLog(Logger& logger, const char* dir, const char* name) {
  if (logger.redirectEnabled == 0) {
    return;
  }
  RedirectToFile(logger, LogChannel(logger), dir, name);
}

void LoggerRedirectLogToDescriptor(Logger& logger, int fd, const char* path) {
  if (logger.redirectEnabled == 0 || fd < 0 || path == nullptr ||
      path[0] == '\0') {
    return;
  }
  Adopt(logger, LogChannel(logger), LoggerAdoptFile(logger, fd),
        StringDuplicate(path));
}

void LoggerRedirectError(Logger& logger, const char* dir, const char* name) {
  if (logger.redirectEnabled == 0) {
    return;
  }
  RedirectToFile(logger, ErrorChannel(logger), dir, name);
  // Also when nothing was redirected now: the note names the file of an
  // earlier redirection, or nil.
  const char* reported = "nil";
  if (logger.errorPath != nullptr) {
    std::clog.rdbuf(logger.errorStream->rdbuf());
    reported = logger.errorPath;
  }
  LogDirectStream() << "Logger: Redirected the standard error to "
                    << "'" << reported << "'"
                    << ".\n";
}

void LoggerRedirectAux(Logger& logger, const char* dir, const char* name) {
  RedirectToFile(logger, AuxChannel(logger), dir, name);
}

void LoggerRedirectLogToStream(Logger& logger, std::ostream* stream) {
  if (logger.redirectEnabled == 0) {
    return;
  }
  RedirectToStream(logger, LogChannel(logger), stream);
}

void LoggerRedirectErrorToStream(Logger& logger, std::ostream* stream) {
  if (logger.redirectEnabled == 0 ||
      !RedirectToStream(logger, ErrorChannel(logger), stream)) {
    return;
  }
  std::clog.rdbuf(logger.errorStream->rdbuf());
  LogDirectStream() << "Logger: Redirected the standard error to "
                    << "the stream.\n";
}

void LoggerRedirectAuxToStream(Logger& logger, std::ostream* stream) {
  RedirectToStream(logger, AuxChannel(logger), stream);
}

void LoggerTruncateLog(Logger& logger, int limit) {
  Truncate(logger, LogChannel(logger), limit);
}

void LoggerTruncateError(Logger& logger, int limit) {
  Truncate(logger, ErrorChannel(logger), limit);
}

void LoggerTruncateAux(Logger& logger, int limit) {
  Truncate(logger, AuxChannel(logger), limit);
}

void LoggerRestoreLog(Logger& logger) { Restore(logger, LogChannel(logger)); }

void LoggerRestoreError(Logger& logger) {
  if (logger.errorPath != nullptr) {
    std::clog.rdbuf(logger.savedLogBuffer);
  }
  Restore(logger, ErrorChannel(logger));
}

void LoggerRestoreAux(Logger& logger) { Restore(logger, AuxChannel(logger)); }
