#include "base/string/string_format.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/string/owned_string.h"

namespace {

// The epoch second at which the local clock shows h:m:s on 14 March 2023.
time_t LocalTime(int hour, int minute, int second) {
  struct tm local = {};
  local.tm_year = 2023 - 1900;
  local.tm_mon = 2;
  local.tm_mday = 14;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = -1;
  return mktime(&local);
}

// The hand-made digits against snprintf's "%07.3f" of micros * 0.001,
// including values where a binary product lands just below a thousandth.
TEST(TimeFormat, MatchesSnprintf) {
  for (time_t second :
       {LocalTime(0, 0, 0), LocalTime(9, 5, 3), LocalTime(23, 59, 59)}) {
    for (long micros = -1; micros <= 1000000;
         micros += micros < 1000 ? 1 : 997) {
      for (long exact : {micros, 999999L - micros % 1000}) {
        struct timeval time = {second, exact};
        struct tm local;
        localtime_r(&second, &local);
        char expected[17], buffer[17];  // out-of-range values cut alike
        snprintf(expected, sizeof expected, "%02d:%02d:%02d %07.3f",
                 local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<double>(exact) * 0.001);
        ASSERT_EQ(TimeFormat(buffer, &time), buffer);
        ASSERT_STREQ(buffer, expected) << "microseconds " << exact;
      }
    }
  }
  char* slot = nullptr;
  StringSet(&slot, "old");
  struct timeval time = {LocalTime(9, 5, 3), 7};
  StringSetTime(&slot, &time);
  EXPECT_STREQ(slot, "09:05:03 000.007");
  StringReset(&slot);
}

TEST(StringFormatCtime, CtimeWithoutTheLineEnd) {
  for (time_t time : {time_t{0}, time_t{2147483647}}) {
    char expected[26], buffer[26];
    ASSERT_NE(ctime_r(&time, expected), nullptr);
    expected[24] = '\0';
    EXPECT_EQ(StringFormatCtime(buffer, &time), buffer);
    EXPECT_STREQ(buffer, expected);
    char* slot = nullptr;
    StringSetCtime(&slot, &time);
    EXPECT_STREQ(slot, expected);
    StringReset(&slot);
  }
  time_t far = 400000000000LL;  // Year ~14700: ctime_r refuses it.
  char buffer[26];
  EXPECT_STREQ(StringFormatCtime(buffer, &far), "");
}

TEST(StringFormatAddress, MemoryOrderIsDottedOrder) {
  const unsigned char cases[][4] = {
      {192, 168, 0, 1}, {0, 0, 0, 0}, {255, 255, 255, 255}};
  for (const unsigned char* bytes : cases) {
    struct in_addr in;
    memcpy(&in.s_addr, bytes, 4);
    char buffer[16], reference[INET_ADDRSTRLEN];
    ASSERT_NE(inet_ntop(AF_INET, &in, reference, sizeof reference), nullptr);
    EXPECT_EQ(StringFormatAddress(buffer, in.s_addr), buffer);
    EXPECT_STREQ(buffer, reference);
    char* slot = nullptr;
    StringSetAddress(&slot, in.s_addr);
    EXPECT_STREQ(slot, reference);
    StringReset(&slot);
  }
}

}  // namespace
