// The fixed layouts in which messages quote an error number with its text.
//
// Each layout is written in one place so that a module cannot get a quote or
// a comma wrong. They are stream inserters: they read nothing but their
// argument, so they never disturb errno.
//
//   Log() << "Process: ERROR! Error is " << ErrorQuoted(errno) << ".\n";
//     -> Process: ERROR! Error is 13 'Permission denied'.
//   Log() << "File: ERROR! Error is " << ErrorComma(errno) << ".\n";
//     -> File: ERROR! Error is 13, Permission denied.

#ifndef QZ_BASE_ERROR_ERROR_FORMAT_H_
#define QZ_BASE_ERROR_ERROR_FORMAT_H_

#include <cerrno>
#include <ostream>

// "<code> '<text>'"
struct ErrorQuoted {
  explicit ErrorQuoted(int error_code) : code(error_code) {}
  int code;
};

// "<code>, <text>"
struct ErrorComma {
  explicit ErrorComma(int error_code) : code(error_code) {}
  int code;
};

// "<text>" of a code, or "nil" when the platform gives none.
struct ErrorText {
  explicit ErrorText(int error_code) : code(error_code) {}
  int code;
};

std::ostream& operator<<(std::ostream& stream, const ErrorQuoted& error);
std::ostream& operator<<(std::ostream& stream, const ErrorComma& error);
std::ostream& operator<<(std::ostream& stream, const ErrorText& error);

// Keeps errno across a block that logs: a failure's errno is saved where the
// call failed and put back when the reporting is done, so that callers can
// rely on errno after a -1 result.
class ErrnoSaver {
 public:
  ErrnoSaver() : saved_(errno) {}
  ~ErrnoSaver() { errno = saved_; }
  ErrnoSaver(const ErrnoSaver&) = delete;
  ErrnoSaver& operator=(const ErrnoSaver&) = delete;

  int value() const { return saved_; }

 private:
  int saved_;
};

#endif  // QZ_BASE_ERROR_ERROR_FORMAT_H_
