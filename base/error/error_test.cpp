#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "base/error/error_format.h"
#include "base/error/error_report.h"
#include "base/error/error_text.h"
#include "testing/test_support.h"

namespace {

// The name table holds the platform's own names (glibc prefers EOPNOTSUPP
// for the number ENOTSUP shares) and "Unknown" elsewhere. Names, texts and
// the layouts that quote them leave errno alone; the layouts write numbers
// in decimal whatever base the stream is in.
TEST(ErrorText, NamesTextsAndLayouts) {
  int held = 0;
  for (int code = 1; code <= 116; ++code) {
    const std::string name = ErrorName(code);
    held += name != "Unknown";
    if (name != "Unknown") {
      EXPECT_EQ(name, code == ENOTSUP ? "ENOTSUP" : strerrorname_np(code));
    }
  }
  errno = ENOENT;
  std::ostringstream out;
  out << held << ErrorName(0) << ErrorName(-1) << LastErrorName() << std::hex
      << ErrorQuoted(13) << '|' << ErrorComma(2) << '|' << ErrorText(0) << 255;
  EXPECT_EQ(out.str(),
            "55SuccessUnknownENOENT13 'Permission denied'|2, No such file or "
            "directory|No errorff");
  EXPECT_EQ(errno, ENOENT);
}

// Every report writes one text after "C: ERROR! " on the log channel and
// after "Error: " on the error channel, then sets errno; one member per
// layout of that text (the other members differ only in words and errno).
TEST(ErrorReport, OneMemberPerLayout) {
  const std::string in = " in method 'C::m()' context [x]";
  const std::tuple<void (*)(), std::string, int> cases[] = {
      {[] { ErrorBadValue("C", -7, "m", "x"); }, "Bad value '-7'" + in, EINVAL},
      {[] { ErrorBadPointer("C", reinterpret_cast<void*>(1), "m", "x"); },
       "Bad pointer '0x1'" + in, EINVAL},
      {[] { ErrorBadEvent("C", nullptr, "m", "x"); }, "Bad event 'nil'" + in,
       EBADE},
      {[] { ErrorBadValueForType("C", 3, 9, "m", "x"); },
       "Bad value '9' for type '3'" + in, EINVAL},
      {[] { ErrorOperationNotPermitted("C", "m", "x"); },
       "Operation not permitted" + in, EPERM},
      {[] { ErrorNotImplemented("C", 12, "m", "x"); },
       "Not implemented" + in + " value '12'", ENOSYS}};
  for (const auto& [report, line, code] : cases) {
    qz_test::LogCapture logged;
    report();
    EXPECT_EQ(errno, code) << line;
    EXPECT_EQ(logged.Text(), "C: ERROR! " + line + ".\nError: " + line + ".\n");
  }
}

}  // namespace
