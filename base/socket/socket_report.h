// The socket module's failure lines, for its own sources only.
//
// A line's text is given as a callable that writes it on a stream, without
// the module's beginning and without the line end, so that the same text
// goes once to the log stream (after "Socket: ERROR! " or "Socket: WARNING! ")
// and once to the error stream (after LogError's "Error: " or LogWarning's
// "Warning: "). The writers touch neither errno nor anything else; callers
// keep errno with an ErrnoSaver taken where the call failed.

#ifndef QZ_BASE_SOCKET_SOCKET_REPORT_H_
#define QZ_BASE_SOCKET_SOCKET_REPORT_H_

#include <functional>
#include <ostream>

enum class SocketSeverity { kError, kWarning };

// Writes a line's text on the stream it is given.
using SocketText = std::function<void(std::ostream&)>;

// The log line alone, and the error-stream line alone.
void SocketLogLine(SocketSeverity severity, const SocketText& text);
void SocketErrorLine(SocketSeverity severity, const SocketText& text);

// The log line, then the error-stream line.
void SocketReportLine(SocketSeverity severity, const SocketText& text);

// One line: "<text>. Error is <code> '<text of code>'."
void SocketReportFailure(SocketSeverity severity, int code,
                         const SocketText& text);

// "Error is <code> '<text of code>'."
SocketText SocketErrorIs(int code);

// Two lines, "<text>." and the error line, each log line followed by its
// error-stream line.
void SocketReportFailureLines(int code, const SocketText& text);

// The same two lines, both log lines before both error-stream lines.
void SocketReportFailureLinesGrouped(int code, const SocketText& text);

#endif  // QZ_BASE_SOCKET_SOCKET_REPORT_H_
