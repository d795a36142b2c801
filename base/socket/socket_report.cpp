#include "base/socket/socket_report.h"

#include "base/error/error_format.h"
#include "base/log/log.h"

void SocketLogLine(SocketSeverity severity, const SocketText& text) {
  std::ostream& stream = Log();
  stream << (severity == SocketSeverity::kError ? "Socket: ERROR! "
                                                : "Socket: WARNING! ");
  text(stream);
  stream << "\n";
}

void SocketErrorLine(SocketSeverity severity, const SocketText& text) {
  std::ostream& stream =
      severity == SocketSeverity::kError ? LogError() : LogWarning();
  text(stream);
  stream << "\n";
}

void SocketReportLine(SocketSeverity severity, const SocketText& text) {
  SocketLogLine(severity, text);
  SocketErrorLine(severity, text);
}

void SocketReportFailure(SocketSeverity severity, int code,
                         const SocketText& text) {
  SocketReportLine(severity, [&](std::ostream& stream) {
    text(stream);
    stream << ". Error is " << ErrorQuoted(code) << ".";
  });
}

SocketText SocketErrorIs(int code) {
  return [code](std::ostream& stream) {
    stream << "Error is " << ErrorQuoted(code) << ".";
  };
}

namespace {

// "<text>."
SocketText WithFullStop(const SocketText& text) {
  return [&text](std::ostream& stream) {
    text(stream);
    stream << ".";
  };
}

}  // namespace

void SocketReportFailureLines(int code, const SocketText& text) {
  SocketReportLine(SocketSeverity::kError, WithFullStop(text));
  SocketReportLine(SocketSeverity::kError, SocketErrorIs(code));
}

void SocketReportFailureLinesGrouped(int code, const SocketText& text) {
  SocketText first = WithFullStop(text);
  SocketText error = SocketErrorIs(code);
  SocketLogLine(SocketSeverity::kError, first);
  SocketLogLine(SocketSeverity::kError, error);
  SocketErrorLine(SocketSeverity::kError, first);
  SocketErrorLine(SocketSeverity::kError, error);
}
