#include "base/error/error_report.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "base/error/error_text.h"
#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

// How an output stream prints a pointer.
std::string Printed(const void* pointer) {
  std::ostringstream stream;
  stream << pointer;
  return stream.str();
}

// Points the log and error channels at strings for the fixture's lifetime.
class ErrorReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Logger& logger = LoggerInstance();
    savedLog_ = logger.logStream;
    savedError_ = logger.errorStream;
    logger.logStream = &log_;
    logger.errorStream = &error_;
  }

  void TearDown() override {
    Logger& logger = LoggerInstance();
    logger.logStream = savedLog_;
    logger.errorStream = savedError_;
  }

  // The log text with the line prefix of its single line removed; empty and
  // a test failure when the text is not exactly one prefixed line.
  std::string LogLine() {
    LogFlush();
    static const std::regex kLine(
        "[0-9]+ [0-9]+ [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}\\.[0-9]{3} "
        "([^\n]*\n)");
    std::smatch match;
    std::string text = log_.str();
    EXPECT_TRUE(std::regex_match(text, match, kLine)) << text;
    return match.empty() ? std::string() : match[1].str();
  }

  std::string ErrorLine() {
    LogFlush();
    return error_.str();
  }

  void Clear() {
    log_.str("");
    error_.str("");
  }

  std::ostringstream log_;
  std::ostringstream error_;

 private:
  std::ostream* savedLog_ = nullptr;
  std::ostream* savedError_ = nullptr;
};

struct ReportCase {
  const char* what;
  std::function<void()> report;
  std::string className;
  std::string body;  // the line after "<class>: ERROR! " and "Error: "
  int code;
  const char* name;
};

int anObject;

TEST_F(ErrorReportTest, EveryMemberWritesItsTwoLinesThenSetsErrno) {
  const void* pointer = &anObject;
  const std::string p = Printed(pointer);
  const std::string null_pointer = Printed(nullptr);
  const std::string tail = " in method 'Example::open()' context [mode].\n";
  const std::vector<ReportCase> cases = {
      {"BadValue int", [] { ErrorBadValue("Example", 7, "open", "mode"); },
       "Example", "Bad value '7'" + tail, EINVAL, "EINVAL"},
      {"BadValue negative int",
       [] { ErrorBadValue("Example", -2147483647 - 1, "open", "mode"); },
       "Example", "Bad value '-2147483648'" + tail, EINVAL, "EINVAL"},
      {"BadValue pointer",
       [pointer] { ErrorBadValue("Example", pointer, "open", "mode"); },
       "Example", "Bad value '" + p + "'" + tail, EINVAL, "EINVAL"},
      {"BadValue null pointer",
       [] {
         ErrorBadValue("Example", static_cast<const void*>(nullptr), "open",
                       "mode");
       },
       "Example", "Bad value '" + null_pointer + "'" + tail, EINVAL, "EINVAL"},
      {"BadValue text",
       [] { ErrorBadValue("Example", "text 42", "open", "mode"); }, "Example",
       "Bad value 'text 42'" + tail, EINVAL, "EINVAL"},
      {"BadValueForType",
       [] { ErrorBadValueForType("Example", 3, 9, "open", "mode"); }, "Example",
       "Bad value '9' for type '3'" + tail, EINVAL, "EINVAL"},
      {"BadPointer",
       [pointer] { ErrorBadPointer("Example", pointer, "open", "mode"); },
       "Example", "Bad pointer '" + p + "'" + tail, EINVAL, "EINVAL"},
      {"OperationNotPermitted",
       [] { ErrorOperationNotPermitted("Example", "open", "mode"); }, "Example",
       "Operation not permitted" + tail, EPERM, "EPERM"},
      {"NotImplemented", [] { ErrorNotImplemented("Example", "open", "mode"); },
       "Example", "Not implemented" + tail, ENOSYS, "ENOSYS"},
      {"NotImplemented int",
       [] { ErrorNotImplemented("Example", 12, "open", "mode"); }, "Example",
       "Not implemented in method 'Example::open()' context [mode] value "
       "'12'.\n",
       ENOSYS, "ENOSYS"},
      {"NotImplemented pointer",
       [pointer] { ErrorNotImplemented("Example", pointer, "open", "mode"); },
       "Example",
       "Not implemented in method 'Example::open()' context [mode] value '" +
           p + "'.\n",
       ENOSYS, "ENOSYS"},
      {"MemoryAllocation",
       [] { ErrorMemoryAllocation("Example", "open", "mode"); }, "Example",
       "Memory allocation failed" + tail, ENOMEM, "ENOMEM"},
      {"InvalidState", [] { ErrorInvalidState("Example", "open", "mode"); },
       "Example", "Invalid state for object" + tail, EACCES, "EACCES"},
      {"BadDescriptorState",
       [] { ErrorBadDescriptorState("Example", "open", "mode"); }, "Example",
       "Bad descriptor state" + tail, EBADF, "EBADF"},
      {"BufferNotFound", [] { ErrorBufferNotFound("Example", "open", "mode"); },
       "Example", "Buffer not found" + tail, ENXIO, "ENXIO"},
      {"InvalidBufferOwner",
       [] { ErrorInvalidBufferOwner("Example", "open", "mode"); }, "Example",
       "Invalid buffer owner" + tail, EDEADLK, "EDEADLK"},
      {"BadEvent", [] { ErrorBadEvent("Example", "close", "open", "mode"); },
       "Example", "Bad event 'close'" + tail, EBADE, "EBADE"},
      {"InvalidOperationForType",
       [] { ErrorInvalidOperationForType("Example", "pipe", "open", "mode"); },
       "Example", "Invalid operation for type 'pipe'" + tail, ENOTSUP,
       "ENOTSUP"},
      {"InvalidOperationForProto",
       [] { ErrorInvalidOperationForProto("Example", "udp", "open", "mode"); },
       "Example", "Invalid operation for proto 'udp'" + tail, EPROTO, "EPROTO"},
      {"empty context", [] { ErrorBufferNotFound("Socket", "read", ""); },
       "Socket", "Buffer not found in method 'Socket::read()' context [].\n",
       ENXIO, "ENXIO"},
      {"missing texts", [] { ErrorInvalidState(nullptr, nullptr, nullptr); },
       "nil",
       "Invalid state for object in method 'nil::nil()' context [nil].\n",
       EACCES, "EACCES"},
      {"missing text value",
       [] {
         ErrorBadValue("Example", static_cast<const char*>(nullptr), "open",
                       "mode");
       },
       "Example", "Bad value 'nil'" + tail, EINVAL, "EINVAL"},
      {"missing event",
       [] { ErrorBadEvent("Example", nullptr, "open", "mode"); }, "Example",
       "Bad event 'nil'" + tail, EBADE, "EBADE"},
  };
  for (const ReportCase& c : cases) {
    SCOPED_TRACE(c.what);
    Clear();
    errno = 0;
    c.report();
    EXPECT_EQ(c.code, errno);
    EXPECT_STREQ(c.name, ErrorName(errno));
    EXPECT_EQ(c.className + ": ERROR! " + c.body, LogLine());
    EXPECT_EQ("Error: " + c.body, ErrorLine());
  }
}

// A stream left in another number base still gets decimal integers.
TEST_F(ErrorReportTest, IntegersAreDecimalWhateverTheStreamBase) {
  error_ << std::hex;
  ErrorBadValueForType("Example", 31, 255, "open", "mode");
  EXPECT_EQ(
      "Error: Bad value '255' for type '31' in method 'Example::open()' "
      "context [mode].\n",
      ErrorLine());
  EXPECT_EQ(EINVAL, errno);
}

// errno is set after the lines are written, so a failing log stream cannot
// change what the caller sees.
TEST_F(ErrorReportTest, ErrnoSurvivesFailedStreams) {
  log_.setstate(std::ios_base::badbit);
  error_.setstate(std::ios_base::badbit);
  errno = 0;
  ErrorMemoryAllocation("Example", "grow", "buffer");
  EXPECT_EQ(ENOMEM, errno);
}

}  // namespace
