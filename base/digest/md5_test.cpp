#include "base/digest/md5.h"

#include <cstdio>

#include <gtest/gtest.h>

namespace {

// Two cases of the test suite of RFC 1321, then lengths at the edges of
// the padding, in one call (the fuzz target checks that pieces give the same).
TEST(Md5, KnownDigests) {
  const std::pair<std::string, const char*> known[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
      {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
      {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"}};
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
