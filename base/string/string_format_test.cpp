#include "base/string/string_format.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/string/owned_string.h"

namespace {

// The epoch second at which the local clock shows hour:minute:second on
// 14 March 2023 (any zone, DST decided by the system).
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

// What TimeFormat must produce, by the slow and obvious route.
std::string Reference(const struct timeval& time) {
  struct tm local;
  time_t seconds = time.tv_sec;
  localtime_r(&seconds, &local);
  char text[17];
  EXPECT_GT(snprintf(text, sizeof text, "%02d:%02d:%02d %07.3f", local.tm_hour,
                     local.tm_min, local.tm_sec,
                     static_cast<double>(time.tv_usec) * 0.001),
            0);
  return text;
}

TEST(TimeFormat, KnownValues) {
  struct Case {
    int hour, minute, second;
    long micros;
    const char* expected;
  } cases[] = {
      {9, 5, 3, 7, "09:05:03 000.007"},
      {0, 0, 0, 0, "00:00:00 000.000"},
      {23, 59, 59, 999999, "23:59:59 999.999"},
      {15, 47, 28, 42137, "15:47:28 042.137"},
      {12, 0, 1, 500000, "12:00:01 500.000"},
      {10, 10, 10, 1000, "10:10:10 001.000"},
  };
  for (const Case& c : cases) {
    struct timeval time = {LocalTime(c.hour, c.minute, c.second), c.micros};
    char buffer[17];
    memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(TimeFormat(buffer, &time), buffer);
    EXPECT_STREQ(buffer, c.expected);
  }
}

// The hand-made digits against snprintf's "%07.3f" of micros * 0.001,
// including the values where a binary product lands just below a thousandth.
TEST(TimeFormat, MatchesSnprintfEverywhere) {
  const time_t seconds[] = {LocalTime(0, 0, 0),    LocalTime(1, 2, 3),
                            LocalTime(9, 59, 59),  LocalTime(13, 30, 7),
                            LocalTime(23, 59, 59), 0};
  for (time_t second : seconds) {
    for (long micros = 0; micros < 1000000; micros += 7) {
      struct timeval time = {second, micros};
      char buffer[17];
      TimeFormat(buffer, &time);
      ASSERT_EQ(buffer, Reference(time)) << "microseconds " << micros;
    }
    for (long micros : {1L, 5L, 999L, 1000L, 1005L, 9999L, 99999L, 100000L,
                        555555L, 999000L, 999499L, 999500L, 999998L, 999999L}) {
      struct timeval time = {second, micros};
      char buffer[17];
      TimeFormat(buffer, &time);
      ASSERT_EQ(buffer, Reference(time)) << "microseconds " << micros;
    }
  }
}

TEST(TimeFormat, MicrosecondsOutOfRangeFollowSnprintf) {
  for (long micros : {-1L, 1000000L, 5000000L}) {
    struct timeval time = {LocalTime(8, 7, 6), micros};
    char buffer[17];
    TimeFormat(buffer, &time);
    EXPECT_EQ(buffer, Reference(time)) << "microseconds " << micros;
  }
}

TEST(StringSetTime, ReplacesTheSlot) {
  char* slot = nullptr;
  StringSet(&slot, "old");
  struct timeval time = {LocalTime(9, 5, 3), 7};
  StringSetTime(&slot, &time);
  EXPECT_STREQ(slot, "09:05:03 000.007");
  StringReset(&slot);
}

TEST(StringFormatCtime, CtimeWithoutTheLineEnd) {
  for (time_t time : {time_t{0}, LocalTime(9, 5, 3), time_t{2147483647}}) {
    char expected[26];
    ASSERT_NE(ctime_r(&time, expected), nullptr);
    ASSERT_EQ(expected[24], '\n');
    expected[24] = '\0';
    char buffer[26];
    EXPECT_EQ(StringFormatCtime(buffer, &time), buffer);
    EXPECT_STREQ(buffer, expected);
    EXPECT_EQ(strlen(buffer), 24u);

    char* slot = nullptr;
    StringSet(&slot, "old");
    StringSetCtime(&slot, &time);
    EXPECT_STREQ(slot, expected);
    StringReset(&slot);
  }
}

TEST(StringFormatCtime, YearBeyondTheLayoutGivesEmpty) {
  time_t far = 400000000000LL;  // Year ~14700: ctime_r refuses it.
  char buffer[26];
  memset(buffer, 'Z', sizeof buffer);
  EXPECT_STREQ(StringFormatCtime(buffer, &far), "");
}

TEST(StringFormatAddress, MemoryOrderIsDottedOrder) {
  struct Case {
    unsigned char bytes[4];
    const char* expected;
  } cases[] = {
      {{192, 168, 0, 1}, "192.168.0.1"},         {{0, 0, 0, 0}, "0.0.0.0"},
      {{255, 255, 255, 255}, "255.255.255.255"}, {{127, 0, 0, 1}, "127.0.0.1"},
      {{10, 200, 3, 128}, "10.200.3.128"},
  };
  for (const Case& c : cases) {
    uint32_t address;
    memcpy(&address, c.bytes, sizeof address);
    char buffer[16];
    EXPECT_EQ(StringFormatAddress(buffer, address), buffer);
    EXPECT_STREQ(buffer, c.expected);
    // The same text that the C library gives for an in_addr.
    struct in_addr in;
    in.s_addr = address;
    char reference[INET_ADDRSTRLEN];
    ASSERT_NE(inet_ntop(AF_INET, &in, reference, sizeof reference), nullptr);
    EXPECT_STREQ(buffer, reference);

    char* slot = nullptr;
    StringSetAddress(&slot, address);
    EXPECT_STREQ(slot, c.expected);
    StringReset(&slot);
  }
}

}  // namespace
