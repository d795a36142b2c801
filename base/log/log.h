// Log accessors: each writes what must stand at the start of a line and
// returns the stream on which the caller writes the rest of it, ending it
// with "\n" itself:
//
//   Log() << "File: ERROR! Can't change ownership of '" << path << "'.\n";
//
// Log writes the line prefix "<pid> <tid> HH:MM:SS mmm.uuu " on the log
// channel; LogError, LogWarning, LogInfo and LogSession write "Error: ",
// "Warning: ", "Info: " and "Session: " on the error channel. Every accessor
// first flushes the stream it returns, so a line goes out whole when the next
// line on that stream begins (or at LogFlush).
//
// Each Logger accessor exists with an explicit Logger and without one (then
// LoggerInstance()). With the Logger's `enabled` at 0 they return its
// nullStream at once. LogMutex (base/log/logger.h) is held only while a line
// is begun: the caller's own text is written unlocked, so two threads writing
// on one channel at once may interleave within a line, never within a line's
// start. The direct accessors use neither the Logger nor LogMutex; they are
// for reporting trouble with the Logger or the mutex themselves.
//
// Nothing here fails or reports: a write to a failed stream is lost.

#ifndef QZ_BASE_LOG_LOG_H_
#define QZ_BASE_LOG_LOG_H_

#include <ostream>

#include "base/log/logger.h"

std::ostream& Log(Logger& logger);
std::ostream& Log();
std::ostream& LogContinue(Logger& logger);
std::ostream& LogContinue();
std::ostream& LogSession(Logger& logger);
std::ostream& LogSession();
std::ostream& LogError(Logger& logger);
std::ostream& LogError();
std::ostream& LogWarning(Logger& logger);
std::ostream& LogWarning();
std::ostream& LogInfo(Logger& logger);
std::ostream& LogInfo();
std::ostream& LogErrorContinue(Logger& logger);
std::ostream& LogErrorContinue();

// Log, then "<label>/" when the Logger's labels switch is on. A null label
// is written as "nil" rather than putting the stream in its bad state.
std::ostream& LogLabel(Logger& logger, const char* label);
std::ostream& LogLabel(const char* label);

// Resets the number base of the current log stream and of the error stream
// to decimal and flushes both.
void LogFlush(Logger& logger);
void LogFlush();

// Prefix (and "Error: ") straight to the standard log stream, no lock.
std::ostream& LogDirect();
std::ostream& LogDirectError();
std::ostream& LogDirectContinue();
std::ostream& LogDirectStream();

#endif  // QZ_BASE_LOG_LOG_H_
