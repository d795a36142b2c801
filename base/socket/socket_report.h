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

#include <ostream>

#include "base/error/error_format.h"
#include "base/log/log.h"

enum class SocketSeverity { kError, kWarning };

template <typename Text>
void SocketLogLine(SocketSeverity severity, const Text& text) {
  std::ostream& stream = Log();
  stream << (severity == SocketSeverity::kError ? "Socket: ERROR! "
                                                : "Socket: WARNING! ");
  text(stream);
  stream << "\n";
}

template <typename Text>
void SocketErrorLine(SocketSeverity severity, const Text& text) {
  std::ostream& stream =
      severity == SocketSeverity::kError ? LogError() : LogWarning();
  text(stream);
  stream << "\n";
}

// The log line, then the error-stream line.
template <typename Text>
void SocketReportLine(SocketSeverity severity, const Text& text) {
  SocketLogLine(severity, text);
  SocketErrorLine(severity, text);
}

// One line: "<text>. Error is <code> '<text of code>'."
template <typename Text>
void SocketReportFailure(SocketSeverity severity, int code, const Text& text) {
  SocketReportLine(severity, [&](std::ostream& stream) {
    text(stream);
    stream << ". Error is " << ErrorQuoted(code) << ".";
  });
}

// "Error is <code> '<text of code>'."
struct SocketErrorIs {
  explicit SocketErrorIs(int error_code) : code(error_code) {}
  void operator()(std::ostream& stream) const {
    stream << "Error is " << ErrorQuoted(code) << ".";
  }
  int code;
};

// Two lines, "<text>." and the error line, each log line followed by its
// error-stream line.
template <typename Text>
void SocketReportFailureLines(int code, const Text& text) {
  auto first = [&](std::ostream& stream) {
    text(stream);
    stream << ".";
  };
  SocketReportLine(SocketSeverity::kError, first);
  SocketReportLine(SocketSeverity::kError, SocketErrorIs(code));
}

// The same two lines, both log lines before both error-stream lines.
template <typename Text>
void SocketReportFailureLinesGrouped(int code, const Text& text) {
  auto first = [&](std::ostream& stream) {
    text(stream);
    stream << ".";
  };
  SocketLogLine(SocketSeverity::kError, first);
  SocketLogLine(SocketSeverity::kError, SocketErrorIs(code));
  SocketErrorLine(SocketSeverity::kError, first);
  SocketErrorLine(SocketSeverity::kError, SocketErrorIs(code));
}

#endif  // QZ_BASE_SOCKET_SOCKET_REPORT_H_
