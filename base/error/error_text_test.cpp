#include "base/error/error_text.h"

#include <cerrno>
#include <cstring>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/error/error_format.h"

namespace {

constexpr int kSentinel = 12345;

TEST(ErrorString, ZeroIsNoErrorAndOthersArePlatformText) {
  EXPECT_STREQ("No error", ErrorString(0));
  for (int code : {-1, 1, 2, 13, 95, 115, 200, 100000}) {
    std::string expected = strerror(code);
    EXPECT_EQ(expected, ErrorString(code)) << code;
  }
}

// The names the library holds must be the platform's own, except where
// glibc prefers the other name of a number that has two.
TEST(ErrorName, AgreesWithThePlatformForEveryNumberItHolds) {
  int held = 0;
  for (int code = 1; code < 200; ++code) {
    std::string name = ErrorName(code);
    if (name == "Unknown") {
      continue;
    }
    ++held;
    const char* platform = strerrorname_np(code);
    ASSERT_NE(platform, nullptr) << code;
    if (code == EOPNOTSUPP) {
      EXPECT_EQ(name, "ENOTSUP");
    } else {
      EXPECT_EQ(name, platform) << code;
    }
  }
  EXPECT_EQ(held, 55);  // 56 entries with "Success" for 0
  EXPECT_STREQ("Success", ErrorName(0));
}

TEST(ErrorName, GapsAndOutOfRangeAreUnknown) {
  for (int code : {15, 26, 40, 41, 43, 51, 53, 55, 116, -1, -22, 1 << 30}) {
    EXPECT_STREQ("Unknown", ErrorName(code)) << code;
  }
  EXPECT_STREQ("EINPROGRESS", ErrorName(115));
  EXPECT_STREQ("EAGAIN", ErrorName(11));
  EXPECT_STREQ("EDEADLK", ErrorName(35));
}

TEST(ErrorText, NoneOfTheFunctionsChangesErrno) {
  errno = kSentinel;
  ErrorString(2);
  ErrorString(0);
  ErrorName(2);
  ErrorName(-5);
  EXPECT_EQ(kSentinel, errno);

  errno = ENOENT;
  EXPECT_STREQ(strerror(ENOENT), LastErrorString());
  EXPECT_STREQ("ENOENT", LastErrorName());
  EXPECT_EQ(ENOENT, errno);
}

TEST(ErrorFormat, LayoutsAndErrnoUntouched) {
  errno = kSentinel;
  std::ostringstream out;
  out << ErrorQuoted(13) << '|' << ErrorComma(2) << '|' << ErrorText(0);
  EXPECT_EQ(std::string("13 '") + strerror(13) + "'|2, " + strerror(2) +
                "|No error",
            out.str());
  EXPECT_EQ(kSentinel, errno);

  // A base left behind on the stream does not reach the error number.
  std::ostringstream hex;
  hex << std::hex << ErrorQuoted(13) << ' ' << 255;
  EXPECT_EQ(std::string("13 '") + strerror(13) + "' ff", hex.str());
}

}  // namespace
