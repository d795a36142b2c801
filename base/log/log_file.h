// Internal to the log module: opening the files that the Logger's channels
// write. Used by the redirection operations (log_redirect.cpp) and their
// tests; other modules redirect through base/log/log_redirect.h.

#ifndef QZ_BASE_LOG_LOG_FILE_H_
#define QZ_BASE_LOG_LOG_FILE_H_

#include <fstream>
#include <ios>
#include <memory>

#include "base/log/logger.h"

// Attempts before LoggerOpenFile gives up, and its pause after each failure.
constexpr int kLoggerOpenAttempts = 5;
constexpr int kLoggerOpenPauseMilliseconds = 200;

// Opens path for output plus mode (std::ios_base::app or trunc) in a new
// heap file stream, with the process umask at 077 around the open, so that a
// file created here has mode 0600. When logger.buffered is 0 the stream is
// unbuffered. Up to kLoggerOpenAttempts tries, each failure followed by a
// pause of kLoggerOpenPauseMilliseconds (the last one too).
//
// Returns the open stream, owned by the caller, or null when every attempt
// failed; logs nothing. The umask is back to its previous value in every
// case. The umask is process-wide: another thread creating a file while this
// runs gets 077 too.
std::unique_ptr<std::ofstream> LoggerOpenFile(const Logger& logger,
                                              std::ios_base::openmode mode,
                                              const char* path);

// A new heap file stream, owned by the caller, that appends to the file
// open on fd through a duplicate of fd (close-on-exec) which the stream owns
// and closes; fd stays the caller's. Unbuffered when logger.buffered is 0.
// Null with errno when fd cannot be duplicated. Needs neither the file's
// name nor /proc.
std::unique_ptr<std::ofstream> LoggerAdoptFile(const Logger& logger, int fd);

#endif  // QZ_BASE_LOG_LOG_FILE_H_
