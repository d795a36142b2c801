#include "base/digest/md5.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Hex(const unsigned char digest[16]) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (int i = 0; i < 16; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 15];
  }
  return text;
}

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string Digest(const unsigned char* bytes, size_t size) {
  Md5Context context;
  Md5Init(&context);
  Md5Append(&context, bytes, static_cast<int>(size));
  unsigned char digest[16];
  Md5Finish(&context, digest);
  return Hex(digest);
}

std::string Digest(const std::string& text) {
  return Digest(Bytes(text), text.size());
}

// Appends in pieces of the given sizes, cycling through them.
std::string DigestInPieces(const std::string& text,
                           const std::vector<int>& sizes) {
  Md5Context context;
  Md5Init(&context);
  size_t done = 0;
  for (size_t i = 0; done < text.size(); ++i) {
    size_t piece = static_cast<size_t>(sizes[i % sizes.size()]);
    piece = std::min(piece, text.size() - done);
    Md5Append(&context, Bytes(text) + done, static_cast<int>(piece));
    done += piece;
  }
  unsigned char digest[16];
  Md5Finish(&context, digest);
  return Hex(digest);
}

struct Known {
  std::string input;
  const char* digest;
};

// RFC 1321, appendix A.5.
const Known kSuite[] = {
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
};

// Runs of 'a' around the places where the padding needs one block or two.
const Known kBoundaries[] = {
    {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
    {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
    {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
    {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
    {std::string(65, 'a'), "c743a45e0d2e6a95cb859adae0248435"},
    {std::string(127, 'a'), "020406e1d05cdc2aa287641f7ae2cc39"},
    {std::string(128, 'a'), "e510683b3f5ffe4093d021808bc6ff70"},
    {std::string(129, 'a'), "b325dc1c6f5e7a2b7cf465b9feab7948"},
    {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
};

TEST(Md5, RfcTestSuite) {
  for (const Known& known : kSuite) {
    EXPECT_EQ(Digest(known.input), known.digest) << known.input;
  }
}

TEST(Md5, PaddingBoundaries) {
  for (const Known& known : kBoundaries) {
    EXPECT_EQ(Digest(known.input), known.digest) << known.input.size();
  }
}

// However the input is cut, the digest is the same: byte by byte, in
// pieces that straddle the block boundaries, or with a partial block
// waiting before a long run.
TEST(Md5Append, PiecesGiveTheSameDigest) {
  const std::vector<std::vector<int>> cuttings = {
      {1}, {3}, {63}, {64}, {65}, {7, 120, 1}, {1, 200}, {55, 9, 64, 128}};
  for (const Known& known : kSuite) {
    for (const std::vector<int>& sizes : cuttings) {
      EXPECT_EQ(DigestInPieces(known.input, sizes), known.digest)
          << known.input << " cut " << sizes[0];
    }
  }
  for (const Known& known : kBoundaries) {
    if (known.input.size() > 1000) {
      continue;
    }
    for (const std::vector<int>& sizes : cuttings) {
      EXPECT_EQ(DigestInPieces(known.input, sizes), known.digest)
          << known.input.size() << " cut " << sizes[0];
    }
  }
}

TEST(Md5Append, AnyAlignment) {
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += static_cast<char>(i * 7 + 3);
  }
  const std::string expected = Digest(text);
  std::vector<unsigned char> storage(text.size() + 16);
  for (size_t offset = 0; offset < 8; ++offset) {
    memcpy(storage.data() + offset, text.data(), text.size());
    EXPECT_EQ(Digest(storage.data() + offset, text.size()), expected) << offset;
    // A partial block first shifts every later block off its alignment.
    Md5Context context;
    Md5Init(&context);
    Md5Append(&context, storage.data() + offset, 5);
    Md5Append(&context, storage.data() + offset + 5,
              static_cast<int>(text.size()) - 5);
    unsigned char digest[16];
    Md5Finish(&context, digest);
    EXPECT_EQ(Hex(digest), expected) << offset;
  }
}

TEST(Md5Append, CountOfZeroOrLessChangesNothing) {
  for (int waiting : {0, 10, 63}) {
    Md5Context context;
    memset(&context, 0xa5, sizeof context);
    Md5Init(&context);
    std::string head(static_cast<size_t>(waiting), 'q');
    Md5Append(&context, Bytes(head), waiting);
    Md5Context before;
    memcpy(&before, &context, sizeof context);
    const unsigned char byte = 'z';
    for (int count : {0, -1, -64, INT32_MIN}) {
      Md5Append(&context, &byte, count);
      Md5Append(&context, nullptr, count);
      EXPECT_EQ(memcmp(&before, &context, sizeof context), 0) << count;
    }
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

// Random inputs of up to a few blocks, compared with the system's md5sum
// run as a child on a file holding the same bytes.
TEST(Md5, AgreesWithMd5sum) {
  if (system("command -v md5sum >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "no md5sum on this machine to compare with";
  }
  char path[] = "/tmp/qz-md5-test-XXXXXX";
  int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  close(fd);
  std::mt19937 random(20240611);
  for (int round = 0; round < 40; ++round) {
    size_t size = random() % 300;
    if (round < 4) {
      size = static_cast<size_t>(round) * 64;
    }
    std::string data(size, '\0');
    for (char& byte : data) {
      byte = static_cast<char>(random());
    }
    FILE* file = fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(fwrite(data.data(), 1, size, file), size);
    ASSERT_EQ(fclose(file), 0);
    std::string command = std::string("md5sum < ") + path;
    FILE* child = popen(command.c_str(), "r");
    ASSERT_NE(child, nullptr);
    char line[80] = "";
    ASSERT_NE(fgets(line, sizeof line, child), nullptr);
    ASSERT_EQ(pclose(child), 0);
    EXPECT_EQ(Digest(data), std::string(line, 32)) << size;
    std::vector<int> pieces = {static_cast<int>(random() % 70 + 1),
                               static_cast<int>(random() % 70 + 1)};
    EXPECT_EQ(DigestInPieces(data, pieces), std::string(line, 32)) << size;
  }
  unlink(path);
}

}  // namespace
