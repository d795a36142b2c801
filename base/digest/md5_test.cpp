#include "base/digest/md5.h"

#include <cstdio>

#include <gtest/gtest.h>

namespace {

// Three cases of the test suite of RFC 1321, the last (80 digits) also cut
// at the edges of the padding, each in one call (the fuzz target checks that
// pieces give the same). Every message word differs from its neighbours, so
// that a step that reads the wrong word shows.
TEST(Md5, KnownDigests) {
  const std::string digits =
      "1234567890123456789012345678901234567890"
      "1234567890123456789012345678901234567890";
  const std::pair<std::string, const char*> known[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {digits.substr(0, 55), "c9ccf168914a1bcfc3229f1948e67da0"},
      {digits.substr(0, 56), "49f193adce178490e34d1b3a4ec0064c"},
      {digits.substr(0, 64), "eb6c4179c0a7c82cc2828c1e6338e165"},
      {digits, "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const auto& [text, digest] : known) {
    Md5Context context;
    Md5Init(&context);
    Md5Append(&context, reinterpret_cast<const unsigned char*>(text.data()),
              static_cast<int>(text.size()));
    unsigned char sum[16];
    Md5Finish(&context, sum);
    char hex[33];
    for (size_t i = 0; i < 16; ++i)
      static_cast<void>(snprintf(&hex[2 * i], 3, "%02x", sum[i]));
    EXPECT_STREQ(hex, digest) << text.size();
  }
}

}  // namespace
