#include "base/error/error_text.h"

#include <cerrno>
#include <cstring>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/error/error_format.h"

namespace {

// Every name held is the platform's own (glibc prefers EOPNOTSUPP for the
// number ENOTSUP shares); gaps and out-of-range numbers are "Unknown".
TEST(ErrorName, AgreesWithThePlatformForEveryNumberItHolds) {
  int held = 0;
  for (int code = 1; code < 200; ++code) {
    std::string name = ErrorName(code);
    if (name == "Unknown") {
      continue;
    }
    ++held;
    ASSERT_NE(strerrorname_np(code), nullptr) << code;
    EXPECT_EQ(name, code == EOPNOTSUPP ? "ENOTSUP" : strerrorname_np(code));
  }
  EXPECT_EQ(held, 55);
  EXPECT_STREQ("Success", ErrorName(0));
  for (int code : {15, 116, -1, 1 << 30}) {
    EXPECT_STREQ("Unknown", ErrorName(code)) << code;
  }
}

TEST(ErrorText, TextsLayoutsAndErrnoUntouched) {
  errno = 12345;
  EXPECT_STREQ("No error", ErrorString(0));
  for (int code : {-1, 2, 115, 100000}) {
    std::string expected =
        strerror(code);  // copied: the next call may reuse it
    EXPECT_EQ(expected, ErrorString(code)) << code;
  }
  ErrorName(-5);
  std::ostringstream out;
  out << ErrorQuoted(13) << '|' << ErrorComma(2) << '|' << ErrorText(0);
  EXPECT_EQ(
      std::string("13 '") + strerror(13) + "'|2, " + strerror(2) + "|No error",
      out.str());
  EXPECT_EQ(12345, errno);

  errno = ENOENT;
  EXPECT_STREQ(strerror(ENOENT), LastErrorString());
  EXPECT_STREQ("ENOENT", LastErrorName());
  EXPECT_EQ(ENOENT, errno);

  // A base left behind on the stream does not reach the error number.
  std::ostringstream hex;
  hex << std::hex << ErrorQuoted(13) << ' ' << 255;
  EXPECT_EQ(std::string("13 '") + strerror(13) + "' ff", hex.str());
}

}  // namespace
