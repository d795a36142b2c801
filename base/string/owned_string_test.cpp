#include "base/string/owned_string.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

// Frees whatever the slot holds when the test ends, so that the sanitizer
// build reports only real leaks and double frees.
struct Slot {
  Slot() = default;
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  ~Slot() { StringReset(&value); }
  char* value = nullptr;
};

TEST(StringSet, OwnPointerIsKeptAsItIs) {
  Slot slot;
  StringSet(&slot.value, "abc");
  char* before = slot.value;
  // Freeing first and copying second would read freed memory here.
  StringSet(&slot.value, slot.value);
  EXPECT_EQ(slot.value, before);
  EXPECT_STREQ(slot.value, "abc");
}

TEST(StringSet, CopiesAndReplaces) {
  Slot slot;
  char source[] = "first";
  StringSet(&slot.value, source);
  ASSERT_NE(slot.value, source);
  EXPECT_STREQ(slot.value, "first");
  source[0] = 'X';  // The copy does not follow its source.
  EXPECT_STREQ(slot.value, "first");
  StringSet(&slot.value, "second");
  EXPECT_STREQ(slot.value, "second");
}

TEST(StringSet, NullSourceFreesAndLeavesNull) {
  Slot slot;
  StringSet(&slot.value, "abc");
  StringSet(&slot.value, nullptr);
  EXPECT_EQ(slot.value, nullptr);
  StringSet(&slot.value, nullptr);
  EXPECT_EQ(slot.value, nullptr);
}

TEST(StringSet, EmptyIsNotNull) {
  Slot slot;
  StringSet(&slot.value, "");
  ASSERT_NE(slot.value, nullptr);
  EXPECT_STREQ(slot.value, "");
}

TEST(StringInit, DoesNotFreeWhatTheSlotHeld) {
  // A slot that holds garbage (here: a stack array) must not be freed.
  char not_owned[] = "stack";
  char* slot = not_owned;
  StringInit(&slot, nullptr);
  EXPECT_EQ(slot, nullptr);

  slot = not_owned;
  StringInit(&slot, "");
  ASSERT_NE(slot, nullptr);
  ASSERT_NE(slot, not_owned);
  EXPECT_STREQ(slot, "");
  StringReset(&slot);

  slot = not_owned;
  StringInit(&slot, "value");
  EXPECT_STREQ(slot, "value");
  StringReset(&slot);
}

TEST(StringReset, TwiceIsHarmless) {
  char* slot = nullptr;
  StringSet(&slot, "abc");
  StringReset(&slot);
  EXPECT_EQ(slot, nullptr);
  StringReset(&slot);
  EXPECT_EQ(slot, nullptr);
}

TEST(StringAppend, BuildsAPathOnANullSlot) {
  Slot slot;
  StringAppend(&slot.value, "/tmp", "/", "x", nullptr);
  EXPECT_STREQ(slot.value, "/tmp/x");
}

TEST(StringAppend, AllFourInOrderSkippingNulls) {
  Slot slot;
  StringSet(&slot.value, "0");
  StringAppend(&slot.value, "a", nullptr, "c", "d");
  EXPECT_STREQ(slot.value, "0acd");
  StringAppend(&slot.value, nullptr, "b");
  EXPECT_STREQ(slot.value, "0acdb");
}

TEST(StringAppend, NothingToAppendChangesNothing) {
  Slot slot;
  StringAppend(&slot.value, "", nullptr, "", nullptr);
  EXPECT_EQ(slot.value, nullptr);

  StringSet(&slot.value, "");
  char* empty = slot.value;
  StringAppend(&slot.value, "", "");
  EXPECT_EQ(slot.value, empty);  // The same array, not a new empty one.
}

TEST(StringAppend, AlwaysANewArrayWhenSomethingIsAppended) {
  Slot slot;
  StringSet(&slot.value, "abc");
  char* before = slot.value;
  StringAppend(&slot.value, "d");
  EXPECT_NE(slot.value, before);
  EXPECT_STREQ(slot.value, "abcd");
  before = slot.value;
  // Nothing added, but the total (old string included) is not 0.
  StringAppend(&slot.value, "", nullptr);
  EXPECT_NE(slot.value, before);
  EXPECT_STREQ(slot.value, "abcd");
}

TEST(StringAppend, SourcesMayPointIntoTheOldString) {
  Slot slot;
  StringSet(&slot.value, "/usr/lib");
  // Under AddressSanitizer a read after the free shows up here.
  StringAppend(&slot.value, slot.value + 4, "/", slot.value, slot.value + 8);
  EXPECT_STREQ(slot.value, "/usr/lib/lib//usr/lib");
}

TEST(StringAppendBytes, CopiesBytesAsTheyAre) {
  Slot slot;
  StringAppendBytes(&slot.value, "ab\0cd", 5);
  ASSERT_NE(slot.value, nullptr);
  EXPECT_EQ(std::string(slot.value, 6), std::string("ab\0cd\0", 6));

  StringSet(&slot.value, "xy");
  StringAppendBytes(&slot.value, "zzz", 2);
  EXPECT_STREQ(slot.value, "xyzz");
}

TEST(StringAppendBytes, NullOrZeroChangesNothing) {
  Slot slot;
  StringAppendBytes(&slot.value, nullptr, 3);
  StringAppendBytes(&slot.value, "abc", 0);
  EXPECT_EQ(slot.value, nullptr);
  StringSet(&slot.value, "keep");
  char* before = slot.value;
  StringAppendBytes(&slot.value, nullptr, 3);
  StringAppendBytes(&slot.value, "abc", 0);
  EXPECT_EQ(slot.value, before);
}

TEST(StringDuplicate, NullAndCopy) {
  EXPECT_EQ(StringDuplicate(nullptr), nullptr);
  char source[] = "text";
  Slot copy;
  copy.value = StringDuplicate(source);
  ASSERT_NE(copy.value, source);
  EXPECT_STREQ(copy.value, "text");
  StringReset(&copy.value);
  copy.value = StringDuplicate("");
  EXPECT_STREQ(copy.value, "");
}

TEST(StringInitN, CutsAndPadsToN) {
  struct Case {
    const char* source;
    int n;
    const char* expected;  // n + 1 bytes
  } cases[] = {
      {"abcdef", 3, "abc\0"}, {"ab", 5, "ab\0\0\0\0"}, {"abc", 3, "abc\0"},
      {"abc", 0, "\0"},       {"", 2, "\0\0\0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.source) + " n=" + std::to_string(c.n));
    char* slot = nullptr;
    StringInitN(&slot, c.source, c.n);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(memcmp(slot, c.expected, c.n + 1), 0);
    StringReset(&slot);
    slot = StringDuplicateN(c.source, c.n);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(memcmp(slot, c.expected, c.n + 1), 0);
    StringReset(&slot);
  }
}

TEST(StringInitN, NullSourceGivesNull) {
  char not_owned[] = "x";
  char* slot = not_owned;
  StringInitN(&slot, nullptr, 4);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(StringDuplicateN(nullptr, 4), nullptr);
}

TEST(StringAllocate, EmptyStringOfTheGivenSize) {
  Slot slot;
  char* returned = StringAllocate(&slot.value, 1);
  EXPECT_EQ(returned, slot.value);
  EXPECT_STREQ(slot.value, "");
  StringReset(&slot.value);
  StringAllocate(&slot.value, 64);
  EXPECT_STREQ(slot.value, "");
  slot.value[63] = 'x';  // The whole size is usable (checked by ASan).
}

TEST(StringInitBuffer, KeepsAtMost1023Characters) {
  std::string long_source(2000, 'q');
  Slot slot;
  StringInitBuffer(&slot.value, long_source.c_str());
  EXPECT_EQ(strlen(slot.value), 1023u);
  StringReset(&slot.value);

  StringInitBuffer(&slot.value, "short");
  EXPECT_STREQ(slot.value, "short");
  slot.value[1023] = '\0';  // 1024 characters are there.
  StringReset(&slot.value);

  StringInitBuffer(&slot.value, nullptr);
  EXPECT_STREQ(slot.value, "");
  StringReset(&slot.value);

  char* returned = StringNewBuffer(&slot.value);
  EXPECT_EQ(returned, slot.value);
  EXPECT_STREQ(slot.value, "");
}

}  // namespace
