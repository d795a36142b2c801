#include "base/digest/md5.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Digest of `size` bytes appended in pieces of the given sizes, cycling;
// no sizes means one call.
std::string Digest(const unsigned char* bytes, size_t size,
                   const std::vector<int>& sizes = {}) {
  Md5Context context;
  Md5Init(&context);
  for (size_t i = 0, done = 0; done < size; ++i) {
    size_t piece =
        sizes.empty() ? size : static_cast<size_t>(sizes[i % sizes.size()]);
    piece = std::min(piece, size - done);
    Md5Append(&context, bytes + done, static_cast<int>(piece));
    done += piece;
  }
  unsigned char digest[16];
  Md5Finish(&context, digest);
  std::string hex;
  for (unsigned char byte : digest) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

std::string Digest(const std::string& text,
                   const std::vector<int>& sizes = {}) {
  return Digest(reinterpret_cast<const unsigned char*>(text.data()),
                text.size(), sizes);
}

struct Known {
  std::string input;
  const char* digest;
};

// RFC 1321 appendix A.5, then runs of 'a' where padding needs one block or two.
const Known kKnown[] = {
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"a", "0cc175b9c0f1b6a831c399e269772661"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"1234567890123456789012345678901234567890123456789012345678901234567890"
     "1234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
    {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
    {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
    {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
    {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
    {std::string(65, 'a'), "c743a45e0d2e6a95cb859adae0248435"},
    {std::string(128, 'a'), "e510683b3f5ffe4093d021808bc6ff70"},
};

// However the input is cut, the digest is the same.
TEST(Md5, KnownDigestsInOneCallAndInPieces) {
  const std::vector<std::vector<int>> cuttings = {
      {}, {1}, {63}, {65}, {7, 120, 1}, {55, 9, 64}};
  for (const Known& known : kKnown) {
    for (const std::vector<int>& sizes : cuttings) {
      EXPECT_EQ(Digest(known.input, sizes), known.digest)
          << known.input.size() << " cut " << (sizes.empty() ? 0 : sizes[0]);
    }
  }
  EXPECT_EQ(Digest(std::string(1000000, 'a')),
            "7707d6ae4e027c70eea2a935c2296f21");
}

TEST(Md5Append, CountOfZeroOrLessChangesNothing) {
  Md5Context context;
  Md5Init(&context);
  Md5Append(&context, reinterpret_cast<const unsigned char*>("qqqqqqqqqq"), 10);
  Md5Context before;
  memcpy(&before, &context, sizeof context);
  for (int count : {0, -1, INT32_MIN}) {
    Md5Append(&context, nullptr, count);
    EXPECT_EQ(memcmp(&before, &context, sizeof context), 0) << count;
  }
}

TEST(Md5Append, BitCountCarriesIntoTheHighWord) {
  Md5Context context;
  Md5Init(&context);
  context.count[0] = 0xfffffff8u;  // as if 2^29 - 1 bytes had gone in
  const unsigned char byte = 0;
  Md5Append(&context, &byte, 1);
  EXPECT_EQ(context.count[0], 0u);
  EXPECT_EQ(context.count[1], 1u);
}

}  // namespace
