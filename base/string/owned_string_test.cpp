#include "base/string/owned_string.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

// Frees what the slot holds at the end, so the sanitizer sees real leaks.
struct Slot {
  ~Slot() { StringReset(&value); }
  char* value = nullptr;
};

TEST(StringSet, NullEmptyCopyAndOwnPointer) {
  Slot slot;
  char source[] = "first";
  StringSet(&slot.value, source);
  ASSERT_NE(slot.value, source);
  source[0] = 'X';
  EXPECT_STREQ(slot.value, "first");
  // Its own pointer is kept as it is (free-then-copy would read freed memory).
  char* before = slot.value;
  StringSet(&slot.value, slot.value);
  EXPECT_EQ(slot.value, before);
  EXPECT_STREQ(slot.value, "first");
  StringSet(&slot.value, nullptr);
  EXPECT_EQ(slot.value, nullptr);
  StringSet(&slot.value, "");
  ASSERT_NE(slot.value, nullptr);
  EXPECT_STREQ(slot.value, "");
  StringReset(&slot.value);
  StringReset(&slot.value);
  EXPECT_EQ(slot.value, nullptr);
}

TEST(StringInit, DoesNotFreeWhatTheSlotHeld) {
  char not_owned[] = "stack";
  Slot slot;
  for (const char* source : {static_cast<const char*>(nullptr), "", "value"}) {
    slot.value = not_owned;
    StringInit(&slot.value, source);
    if (source == nullptr) {
      EXPECT_EQ(slot.value, nullptr);
    } else {
      EXPECT_STREQ(slot.value, source);
      StringReset(&slot.value);
    }
  }
  slot.value = not_owned;
  StringInitN(&slot.value, nullptr, 4);
  EXPECT_EQ(slot.value, nullptr);
}

TEST(StringAppend, OrderNullsAndNewArrays) {
  Slot slot;
  StringAppend(&slot.value, "", nullptr, "", nullptr);
  EXPECT_EQ(slot.value, nullptr);
  StringAppend(&slot.value, "/tmp", "/", "x", nullptr);
  EXPECT_STREQ(slot.value, "/tmp/x");
  StringAppend(&slot.value, "a", nullptr, "c", "d");
  EXPECT_STREQ(slot.value, "/tmp/xacd");
  // Anything in the total makes a new array, even with nothing added.
  char* before = slot.value;
  StringAppend(&slot.value, "", nullptr);
  EXPECT_NE(slot.value, before);
  EXPECT_STREQ(slot.value, "/tmp/xacd");
  StringSet(&slot.value, "");
  before = slot.value;
  StringAppend(&slot.value, "", "");
  EXPECT_EQ(slot.value, before);
}

TEST(StringAppend, SourcesMayPointIntoTheOldString) {
  Slot slot;
  StringSet(&slot.value, "/usr/lib");
  StringAppend(&slot.value, slot.value + 4, "/", slot.value, slot.value + 8);
  EXPECT_STREQ(slot.value, "/usr/lib/lib//usr/lib");
}

TEST(StringAppendBytes, CopiesBytesAsTheyAre) {
  Slot slot;
  StringAppendBytes(&slot.value, nullptr, 3);
  StringAppendBytes(&slot.value, "abc", 0);
  EXPECT_EQ(slot.value, nullptr);
  StringAppendBytes(&slot.value, "ab\0cd", 5);
  ASSERT_NE(slot.value, nullptr);
  EXPECT_EQ(std::string(slot.value, 6), std::string("ab\0cd\0", 6));
  StringSet(&slot.value, "xy");
  StringAppendBytes(&slot.value, "zzz", 2);
  EXPECT_STREQ(slot.value, "xyzz");
}

TEST(StringInitN, CutsAndPadsToN) {
  EXPECT_EQ(StringDuplicate(nullptr), nullptr);
  EXPECT_EQ(StringDuplicateN(nullptr, 4), nullptr);
  struct Case {
    const char* source;
    int n;
    const char* expected;  // n + 1 bytes
  } cases[] = {
      {"abcdef", 3, "abc\0"}, {"ab", 5, "ab\0\0\0\0"}, {"", 2, "\0\0\0"}};
  for (const Case& c : cases) {
    Slot a, b;
    StringInitN(&a.value, c.source, c.n);
    b.value = StringDuplicateN(c.source, c.n);
    ASSERT_TRUE(a.value != nullptr && b.value != nullptr);
    EXPECT_EQ(memcmp(a.value, c.expected, c.n + 1), 0) << c.source;
    EXPECT_EQ(memcmp(b.value, c.expected, c.n + 1), 0) << c.source;
  }
}

TEST(StringInitBuffer, SizesAndTheLimitOf1023) {
  Slot slot;
  EXPECT_EQ(StringAllocate(&slot.value, 64), slot.value);
  EXPECT_STREQ(slot.value, "");
  slot.value[63] = 'x';      // The whole size is usable (checked by ASan).
  StringReset(&slot.value);  // the Init functions never free the slot
  StringInitBuffer(&slot.value, std::string(2000, 'q').c_str());
  EXPECT_EQ(strlen(slot.value), 1023u);
  StringReset(&slot.value);
  StringInitBuffer(&slot.value, nullptr);
  EXPECT_STREQ(slot.value, "");
  slot.value[1023] = '\0';  // 1024 bytes are there.
  StringReset(&slot.value);
  EXPECT_EQ(StringNewBuffer(&slot.value), slot.value);
  EXPECT_STREQ(slot.value, "");
}

}  // namespace
