#include "base/error/error_report.h"

#include <cerrno>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/error/error_text.h"
#include "base/log/log.h"
#include "base/log/logger.h"

namespace {

// Points the log and error channels at strings for the fixture's lifetime.
class ErrorReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::swap(LoggerInstance().logStream, log_);
    std::swap(LoggerInstance().errorStream, error_);
  }
  void TearDown() override { SetUp(); }

  // The single log line without its prefix; a failure if it is not one line.
  std::string LogLine() {
    LogFlush();
    static const std::regex kLine(
        "[0-9]+ [0-9]+ [0-9:]{8} [0-9]{3}\\.[0-9]{3} ([^\n]*\n)");
    std::smatch match;
    std::string text = logText_.str();
    EXPECT_TRUE(std::regex_match(text, match, kLine)) << text;
    return match.empty() ? std::string() : match[1].str();
  }

  std::ostringstream logText_, errorText_;
  std::ostream* log_ = &logText_;
  std::ostream* error_ = &errorText_;
};

int anObject;

TEST_F(ErrorReportTest, EveryMemberWritesItsTwoLinesThenSetsErrno) {
  const void* p = &anObject;
  std::ostringstream printed;
  printed << p;
  const std::string ps = printed.str();
  const std::string tail = " in method 'Example::open()' context [mode].\n";
  struct Case {
    std::function<void()> report;
    std::string line;  // after "<class>: ERROR! " and "Error: "
    int code;
    std::string className = "Example";
  };
  const std::vector<Case> cases = {
      {[] { ErrorBadValue("Example", -2147483647 - 1, "open", "mode"); },
       "Bad value '-2147483648'" + tail, EINVAL},
      {[p] { ErrorBadValue("Example", p, "open", "mode"); },
       "Bad value '" + ps + "'" + tail, EINVAL},
      {[] { ErrorBadValue("Example", "text 42", "open", "mode"); },
       "Bad value 'text 42'" + tail, EINVAL},
      {[] { ErrorBadValueForType("Example", 3, 9, "open", "mode"); },
       "Bad value '9' for type '3'" + tail, EINVAL},
      {[p] { ErrorBadPointer("Example", p, "open", "mode"); },
       "Bad pointer '" + ps + "'" + tail, EINVAL},
      {[] { ErrorOperationNotPermitted("Example", "open", "mode"); },
       "Operation not permitted" + tail, EPERM},
      {[] { ErrorNotImplemented("Example", "open", "mode"); },
       "Not implemented" + tail, ENOSYS},
      {[] { ErrorNotImplemented("Example", 12, "open", "mode"); },
       "Not implemented in method 'Example::open()' context [mode] value "
       "'12'.\n",
       ENOSYS},
      {[p] { ErrorNotImplemented("Example", p, "open", "mode"); },
       "Not implemented in method 'Example::open()' context [mode] value '" +
           ps + "'.\n",
       ENOSYS},
      {[] { ErrorMemoryAllocation("Example", "open", "mode"); },
       "Memory allocation failed" + tail, ENOMEM},
      {[] { ErrorInvalidState("Example", "open", "mode"); },
       "Invalid state for object" + tail, EACCES},
      {[] { ErrorBadDescriptorState("Example", "open", "mode"); },
       "Bad descriptor state" + tail, EBADF},
      {[] { ErrorBufferNotFound("Example", "open", "mode"); },
       "Buffer not found" + tail, ENXIO},
      {[] { ErrorInvalidBufferOwner("Example", "open", "mode"); },
       "Invalid buffer owner" + tail, EDEADLK},
      {[] { ErrorBadEvent("Example", "close", "open", "mode"); },
       "Bad event 'close'" + tail, EBADE},
      {[] { ErrorInvalidOperationForType("Example", "pipe", "open", "mode"); },
       "Invalid operation for type 'pipe'" + tail, ENOTSUP},
      {[] { ErrorInvalidOperationForProto("Example", "udp", "open", "mode"); },
       "Invalid operation for proto 'udp'" + tail, EPROTO},
      {[] { ErrorBufferNotFound("Socket", "read", ""); },
       "Buffer not found in method 'Socket::read()' context [].\n", ENXIO,
       "Socket"},
      {[] { ErrorInvalidState(nullptr, nullptr, nullptr); },
       "Invalid state for object in method 'nil::nil()' context [nil].\n",
       EACCES, "nil"},
      {[] {
         ErrorBadValue("Example", static_cast<const char*>(nullptr), "open",
                       "mode");
       },
       "Bad value 'nil'" + tail, EINVAL},
      {[] { ErrorBadEvent("Example", nullptr, "open", "mode"); },
       "Bad event 'nil'" + tail, EBADE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    logText_.str("");
    errorText_.str("");
    errno = 0;
    c.report();
    EXPECT_EQ(c.code, errno);
    EXPECT_EQ(c.className + ": ERROR! " + c.line, LogLine());
    EXPECT_EQ("Error: " + c.line, errorText_.str());
  }
}

// A stream left in hex still gets decimal integers; errno is set after the
// lines, so even failing streams leave the caller its errno.
TEST_F(ErrorReportTest, DecimalIntegersAndErrnoWhateverTheStreams) {
  errorText_ << std::hex;
  ErrorBadValueForType("Example", 31, 255, "open", "mode");
  LogFlush();
  EXPECT_EQ(
      "Error: Bad value '255' for type '31' in method 'Example::open()' "
      "context [mode].\n",
      errorText_.str());
  logText_.setstate(std::ios_base::badbit);
  errorText_.setstate(std::ios_base::badbit);
  errno = 0;
  ErrorMemoryAllocation("Example", "grow", "buffer");
  EXPECT_EQ(ENOMEM, errno);
}

}  // namespace
