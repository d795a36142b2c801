// Moving the Logger's channels to files or other streams, emptying their
// files, and putting them back on the standard log stream.
//
// These take no lock: call them while no other thread writes on the channel
// concerned. A stream reference obtained from an accessor before a
// redirection stays valid through it: the old stream is retired (kept alive,
// writing into the standard log stream's buffer) until the next retirement on
// that channel or exit. Files are created with mode 0600 (umask 077 around
// the open) and opened for appending.

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
void LoggerRedirectAux(Logger& logger, const char* dir, const char* name);

// The channel takes over the given heap-allocated stream (or std::clog).
void LoggerRedirectLogToStream(Logger& logger, std::ostream* stream);
void LoggerRedirectErrorToStream(Logger& logger, std::ostream* stream);
void LoggerRedirectAuxToStream(Logger& logger, std::ostream* stream);

// Empties the channel's file when it is at least limit bytes long.
void LoggerTruncateLog(Logger& logger, int limit);
void LoggerTruncateError(Logger& logger, int limit);
void LoggerTruncateAux(Logger& logger, int limit);

// Back to the standard log stream; the channel's path is freed.
void LoggerRestoreLog(Logger& logger);
void LoggerRestoreError(Logger& logger);
void LoggerRestoreAux(Logger& logger);

#endif  // QZ_BASE_LOG_LOG_REDIRECT_H_
