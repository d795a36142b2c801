#include "base/error/error_format.h"

#include "base/error/error_text.h"

namespace {

const char* TextOrNil(int code) {
  const char* text = ErrorString(code);
  return text != nullptr ? text : "nil";
}

// Error numbers are always written in decimal, whatever base an earlier
// line left on the stream (the error channel's accessors do not reset it).
void WriteDecimal(std::ostream& stream, int code) {
  std::ios_base::fmtflags flags = stream.flags();
  stream << std::dec << code;
  stream.flags(flags);
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ErrorQuoted& error) {
  WriteDecimal(stream, error.code);
  return stream << " '" << TextOrNil(error.code) << "'";
}

std::ostream& operator<<(std::ostream& stream, const ErrorComma& error) {
  WriteDecimal(stream, error.code);
  return stream << ", " << TextOrNil(error.code);
}

std::ostream& operator<<(std::ostream& stream, const ErrorText& error) {
  return stream << TextOrNil(error.code);
}
