// Moving the Logger's channels to files or other streams, emptying their
// files, and putting them back on the standard log stream.
//
// These take no lock: call them while no other thread writes on the channel
// concerned. A stream reference obtained from an accessor before a
// redirection stays valid through it: the old stream is retired (kept alive,
// writing into the standard log stream's buffer) until the next retirement on
// that channel or exit. std::clog never keeps writing into a stream that is
// retired, so it is never left on a destroyed buffer. Files are created with
// mode 0600 (umask 077 around the open, which other threads see too) and
// opened for appending.

#ifndef QZ_BASE_LOG_LOG_REDIRECT_H_
#define QZ_BASE_LOG_LOG_REDIRECT_H_

#include <ostream>

#include "base/log/logger.h"

// Log and error channels: only while logger.redirectEnabled is non-zero.
// The file is dir/name, or name when dir is null or empty; a null or empty
// name changes nothing, and a file that cannot be opened after five tries
// (200 ms apart) leaves the channel as it was. Redirecting the error channel
// also points std::clog at it and writes the note
// "Logger: Redirected the standard error to '<path>'." there.
void LoggerRedirectLog(Logger& logger, const char* dir, const char* name);
void LoggerRedirectError(Logger& logger, const char* dir, const char* name);

// Log channel only, while logger.redirectEnabled is non-zero: as
// LoggerRedirectLog, but the file is the one open on fd (which stays the
// caller's): the channel writes, for appending, through a duplicate of fd,
// so that no name is looked up again and nothing but the descriptor is
// needed (no /proc): whatever path now leads to, the channel writes the
// file fd holds. path becomes the channel's path (copied). A negative fd, a
// null or empty path, or a descriptor that cannot be duplicated leaves the
// channel as it was.
void LoggerRedirectLogToDescriptor(Logger& logger, int fd, const char* path);
void LoggerRedirectAux(Logger& logger, const char* dir, const char* name);

// The channel takes over the given heap-allocated stream (or std::clog): the
// Logger owns it from then on and destroys it when it leaves the retired
// slot or at exit. A null stream or the channel's own retired stream is
// refused and stays the caller's; the channel's current stream changes
// nothing. Redirecting the error channel also points std::clog at the
// stream and writes "Logger: Redirected the standard error to the stream."
// there.
void LoggerRedirectLogToStream(Logger& logger, std::ostream* stream);
void LoggerRedirectErrorToStream(Logger& logger, std::ostream* stream);
void LoggerRedirectAuxToStream(Logger& logger, std::ostream* stream);

// Empties the channel's file when it is at least limit bytes long (0: any
// size; negative: never) by reopening it. If it cannot be reopened the
// channel is back on std::clog. std::clog, when it wrote into the channel's
// file, writes into the reopened file (or its own buffer on failure).
void LoggerTruncateLog(Logger& logger, int limit);
void LoggerTruncateError(Logger& logger, int limit);
void LoggerTruncateAux(Logger& logger, int limit);

// Back to the standard log stream; the channel's path is freed. std::clog
// gets its own buffer back when it wrote into the channel's stream.
void LoggerRestoreLog(Logger& logger);
void LoggerRestoreError(Logger& logger);
void LoggerRestoreAux(Logger& logger);

#endif  // QZ_BASE_LOG_LOG_REDIRECT_H_
