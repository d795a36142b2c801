#include <gtest/gtest.h>

#include "base/string/owned_string.h"
#include "base/string/string_format.h"
#include "base/string/string_match.h"

namespace {

char kForeign[] = "foreign";

// Each operation on a slot that holds start (kForeign: a string the slot
// does not own, which the operations that start a slot leave alone): the
// string after, and whether the slot must keep its very array.
TEST(OwnedString, OperationsOnASlot) {
  const std::string longest(1023, 'q');
  const std::tuple<const char*, void (*)(char**), const char*, bool> cases[] = {
      {"old", [](char** s) { StringSet(s, "new"); }, "new", false},
      {"old", [](char** s) { StringSet(s, *s); }, "old", true},
      {kForeign, [](char** s) { StringInit(s, ""); }, "", false},
      {nullptr, [](char** s) { StringAppend(s, "", nullptr); }, nullptr, true},
      {nullptr, [](char** s) { StringAppend(s, "/t", "/", "x"); }, "/t/x", 0},
      {"/usr/lib", [](char** s) { StringAppend(s, *s + 4, "/", *s, *s + 8); },
       "/usr/lib/lib//usr/lib", false},
      {"xy", [](char** s) { StringAppendBytes(s, "z\0", 2); }, "xyz", false},
      {"xy", [](char** s) { StringAppendBytes(s, nullptr, 2); }, "xy", true},
      {"xy", [](char** s) { StringAppendBytes(s, "z", 0); }, "xy", true},
      {kForeign, [](char** s) { StringInitN(s, "abcdef", 3); }, "abc", false},
      {kForeign, [](char** s) { StringInitN(s, nullptr, 4); }, nullptr, 0},
      {kForeign,
       [](char** s) { StringInitBuffer(s, std::string(2000, 'q').c_str()); },
       longest.c_str(), false}};
  for (const auto& [start, operation, after, kept] : cases) {
    char* slot = start == kForeign ? kForeign : StringDuplicate(start);
    char* before = slot;
    operation(&slot);
    EXPECT_STREQ(slot, after);
    EXPECT_TRUE(!kept || slot == before) << after;
    if (slot != kForeign)
      StringReset(&slot);
  }
}

// Replacing every occurrence or a prefix (the slot untouched without a
// hit), prefix and suffix tests, the cut at the first unprintable byte other
// than the option escapes 29 to 31, and parent references.
TEST(StringMatch, EditsAndTests) {
  using Replace = int (*)(char**, const char*, const char*);
  const std::tuple<Replace, const char*, const char*, int, const char*>
      cases[] = {{StringReplaceAll, "aaaa", "aa", 2, "bb"},
                 {StringReplaceAll, "xaaay", "aa", 1, "xbay"},
                 {StringReplaceAll, "abc", "zz", 0, "abc"},
                 {StringReplacePrefix, "/opt/qz/bin", "/opt/qz", 1, "b/bin"},
                 {StringReplacePrefix, "/opt/qz/bin", "/qz", 0, "/opt/qz/bin"}};
  for (const auto& [replace, text, pattern, count, after] : cases) {
    char* slot = StringDuplicate(text);
    char* before = slot;
    EXPECT_EQ(replace(&slot, pattern, "b"), count);
    EXPECT_STREQ(slot, after);
    EXPECT_EQ(slot == before, count == 0);
    StringReset(&slot);
  }
  const char* text = "file.log";
  EXPECT_EQ(StringHasPrefix(text, "fi"), text);
  EXPECT_EQ(StringHasSuffix(text, ".log"), text + 4);
  EXPECT_EQ(StringHasSuffix(text, "a.log"), nullptr);
  EXPECT_EQ(StringHasSuffix(text, "xfile.log"), nullptr);
  for (std::string cut :
       {"a ~\x1d\x1f", "a ~\x1d\x1f\tb", "a ~\x1d\x1f\x1c", "a ~\x1d\x1f\xc3"})
    EXPECT_STREQ(StringCutNonPrintable(&cut[0]), "a ~\x1d\x1f");
  EXPECT_EQ(StringCutNonPrintable(nullptr), nullptr);
  const std::pair<const char*, int> paths[] = {
      {"../", 1}, {"abc/../d", 1}, {"ab", 0}, {"/../x", 0}, {"a/../b", 0}};
  for (const auto& [path, parent] : paths)
    EXPECT_EQ(StringHasParentReference(path), parent) << path;
}

// The time of day, built by hand, against snprintf's "%07.3f" of the
// microseconds times 0.001.
TEST(StringFormat, TimeOfDay) {
  std::tm local{3, 5, 9, 14, 0, 123, 0, 0, -1, 0, nullptr};  // 14 Jan 2023
  const time_t second = mktime(&local);
  char expected[17], buffer[17];
  for (long micros : {0L, 7L, 999L, 1000L, 10010L, 123456L, 200300L, 999999L}) {
    static_cast<void>(snprintf(expected, 17, "09:05:03 %07.3f",
                               static_cast<double>(micros) * 0.001));
    const timeval time = {second, micros};
    EXPECT_STREQ(TimeFormat(buffer, &time), expected);
  }
}

}  // namespace
