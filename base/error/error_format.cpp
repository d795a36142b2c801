#include "base/error/error_format.h"

#include "base/error/error_text.h"

namespace {

const char* TextOrNil(int code) {
  const char* text = ErrorString(code);
  return text != nullptr ? text : "nil";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ErrorQuoted& error) {
  return stream << error.code << " '" << TextOrNil(error.code) << "'";
}

std::ostream& operator<<(std::ostream& stream, const ErrorComma& error) {
  return stream << error.code << ", " << TextOrNil(error.code);
}

std::ostream& operator<<(std::ostream& stream, const ErrorText& error) {
  return stream << TextOrNil(error.code);
}
