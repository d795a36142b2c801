#include "base/digest/md5.h"

#include <cstddef>
#include <cstring>

static_assert(sizeof(Md5Context) == 88, "Md5Context is an 88-byte record");

namespace {

constexpr size_t kBlockSize = 64;

inline uint32_t RotateLeft(uint32_t value, int shift) {
  return (value << shift) | (value >> (32 - shift));
}

// Message words are little-endian. memcpy makes the load safe at any
// alignment and compiles to a single move on the machines we build for.
inline uint32_t LoadWord(const unsigned char* bytes) {
  uint32_t word;
  memcpy(&word, bytes, sizeof word);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  word = __builtin_bswap32(word);
#endif
  return word;
}

inline void StoreWord(unsigned char* bytes, uint32_t word) {
  bytes[0] = static_cast<unsigned char>(word);
  bytes[1] = static_cast<unsigned char>(word >> 8);
  bytes[2] = static_cast<unsigned char>(word >> 16);
  bytes[3] = static_cast<unsigned char>(word >> 24);
}

// The four step functions. Each step is
//   a = b + ((a + f(b, c, d) + word + constant) <<< shift)
// and b is the value the previous step just produced, so the time per step
// is the length of the path from b to the new a. The message word and the
// constant are added to a first, and the parts of f that do not need b are
// formed beside them, so that only one or two operations on b remain before
// the final addition, rotation and addition.

// f = (b & c) | (~b & d), written as d ^ (b & (c ^ d)): c ^ d does not
// wait for b.
inline void StepF(uint32_t& a, uint32_t b, uint32_t c, uint32_t d,
                  uint32_t word_and_constant, int shift) {
  a += word_and_constant;
  a += d ^ (b & (c ^ d));
  a = RotateLeft(a, shift) + b;
}

// g = (b & d) | (c & ~d). The two halves never share a bit, so the or is an
// addition, and c & ~d joins the sum before b is known.
inline void StepG(uint32_t& a, uint32_t b, uint32_t c, uint32_t d,
                  uint32_t word_and_constant, int shift) {
  a += word_and_constant;
  a += c & ~d;
  a += b & d;
  a = RotateLeft(a, shift) + b;
}

// h = b ^ c ^ d. The next step's c ^ d is this step's b ^ c, which is h ^ d:
// carrying it in cross saves forming c ^ d afresh in every step.
// On entry cross holds c ^ d; on return, the next step's c ^ d.
inline void StepH(uint32_t& a, uint32_t b, uint32_t d, uint32_t& cross,
                  uint32_t word_and_constant, int shift) {
  a += word_and_constant;
  cross ^= b;
  a += cross;
  cross ^= d;
  a = RotateLeft(a, shift) + b;
}

// i = c ^ (b | ~d), with ~d formed first.
inline void StepI(uint32_t& a, uint32_t b, uint32_t c, uint32_t d,
                  uint32_t word_and_constant, int shift) {
  a += word_and_constant;
  a += c ^ (b | ~d);
  a = RotateLeft(a, shift) + b;
}

// Runs the compression function over count whole blocks, keeping the state
// in registers from one block to the next.
void Md5Blocks(uint32_t state[4], const unsigned char* data, size_t count) {
  uint32_t a = state[0];
  uint32_t b = state[1];
  uint32_t c = state[2];
  uint32_t d = state[3];
  for (; count > 0; --count, data += kBlockSize) {
    uint32_t x[16];
    for (size_t i = 0; i < 16; ++i) {
      x[i] = LoadWord(data + 4 * i);
    }
    const uint32_t saved_a = a;
    const uint32_t saved_b = b;
    const uint32_t saved_c = c;
    const uint32_t saved_d = d;

    StepF(a, b, c, d, x[0] + 0xd76aa478, 7);
    StepF(d, a, b, c, x[1] + 0xe8c7b756, 12);
    StepF(c, d, a, b, x[2] + 0x242070db, 17);
    StepF(b, c, d, a, x[3] + 0xc1bdceee, 22);
    StepF(a, b, c, d, x[4] + 0xf57c0faf, 7);
    StepF(d, a, b, c, x[5] + 0x4787c62a, 12);
    StepF(c, d, a, b, x[6] + 0xa8304613, 17);
    StepF(b, c, d, a, x[7] + 0xfd469501, 22);
    StepF(a, b, c, d, x[8] + 0x698098d8, 7);
    StepF(d, a, b, c, x[9] + 0x8b44f7af, 12);
    StepF(c, d, a, b, x[10] + 0xffff5bb1, 17);
    StepF(b, c, d, a, x[11] + 0x895cd7be, 22);
    StepF(a, b, c, d, x[12] + 0x6b901122, 7);
    StepF(d, a, b, c, x[13] + 0xfd987193, 12);
    StepF(c, d, a, b, x[14] + 0xa679438e, 17);
    StepF(b, c, d, a, x[15] + 0x49b40821, 22);

    StepG(a, b, c, d, x[1] + 0xf61e2562, 5);
    StepG(d, a, b, c, x[6] + 0xc040b340, 9);
    StepG(c, d, a, b, x[11] + 0x265e5a51, 14);
    StepG(b, c, d, a, x[0] + 0xe9b6c7aa, 20);
    StepG(a, b, c, d, x[5] + 0xd62f105d, 5);
    StepG(d, a, b, c, x[10] + 0x02441453, 9);
    StepG(c, d, a, b, x[15] + 0xd8a1e681, 14);
    StepG(b, c, d, a, x[4] + 0xe7d3fbc8, 20);
    StepG(a, b, c, d, x[9] + 0x21e1cde6, 5);
    StepG(d, a, b, c, x[14] + 0xc33707d6, 9);
    StepG(c, d, a, b, x[3] + 0xf4d50d87, 14);
    StepG(b, c, d, a, x[8] + 0x455a14ed, 20);
    StepG(a, b, c, d, x[13] + 0xa9e3e905, 5);
    StepG(d, a, b, c, x[2] + 0xfcefa3f8, 9);
    StepG(c, d, a, b, x[7] + 0x676f02d9, 14);
    StepG(b, c, d, a, x[12] + 0x8d2a4c8a, 20);

    uint32_t cross = c ^ d;
    StepH(a, b, d, cross, x[5] + 0xfffa3942, 4);
    StepH(d, a, c, cross, x[8] + 0x8771f681, 11);
    StepH(c, d, b, cross, x[11] + 0x6d9d6122, 16);
    StepH(b, c, a, cross, x[14] + 0xfde5380c, 23);
    StepH(a, b, d, cross, x[1] + 0xa4beea44, 4);
    StepH(d, a, c, cross, x[4] + 0x4bdecfa9, 11);
    StepH(c, d, b, cross, x[7] + 0xf6bb4b60, 16);
    StepH(b, c, a, cross, x[10] + 0xbebfbc70, 23);
    StepH(a, b, d, cross, x[13] + 0x289b7ec6, 4);
    StepH(d, a, c, cross, x[0] + 0xeaa127fa, 11);
    StepH(c, d, b, cross, x[3] + 0xd4ef3085, 16);
    StepH(b, c, a, cross, x[6] + 0x04881d05, 23);
    StepH(a, b, d, cross, x[9] + 0xd9d4d039, 4);
    StepH(d, a, c, cross, x[12] + 0xe6db99e5, 11);
    StepH(c, d, b, cross, x[15] + 0x1fa27cf8, 16);
    StepH(b, c, a, cross, x[2] + 0xc4ac5665, 23);

    StepI(a, b, c, d, x[0] + 0xf4292244, 6);
    StepI(d, a, b, c, x[7] + 0x432aff97, 10);
    StepI(c, d, a, b, x[14] + 0xab9423a7, 15);
    StepI(b, c, d, a, x[5] + 0xfc93a039, 21);
    StepI(a, b, c, d, x[12] + 0x655b59c3, 6);
    StepI(d, a, b, c, x[3] + 0x8f0ccc92, 10);
    StepI(c, d, a, b, x[10] + 0xffeff47d, 15);
    StepI(b, c, d, a, x[1] + 0x85845dd1, 21);
    StepI(a, b, c, d, x[8] + 0x6fa87e4f, 6);
    StepI(d, a, b, c, x[15] + 0xfe2ce6e0, 10);
    StepI(c, d, a, b, x[6] + 0xa3014314, 15);
    StepI(b, c, d, a, x[13] + 0x4e0811a1, 21);
    StepI(a, b, c, d, x[4] + 0xf7537e82, 6);
    StepI(d, a, b, c, x[11] + 0xbd3af235, 10);
    StepI(c, d, a, b, x[2] + 0x2ad7d2bb, 15);
    StepI(b, c, d, a, x[9] + 0xeb86d391, 21);

    a += saved_a;
    b += saved_b;
    c += saved_c;
    d += saved_d;
  }
  state[0] = a;
  state[1] = b;
  state[2] = c;
  state[3] = d;
}

}  // namespace

void Md5Init(Md5Context* context) {
  context->count[0] = 0;
  context->count[1] = 0;
  context->state[0] = 0x67452301;
  context->state[1] = 0xefcdab89;
  context->state[2] = 0x98badcfe;
  context->state[3] = 0x10325476;
}

void Md5Append(Md5Context* context, const unsigned char* bytes, int count) {
  if (count <= 0) {
    return;
  }
  size_t left = static_cast<size_t>(count);
  size_t waiting = (context->count[0] >> 3) % kBlockSize;

  uint32_t bits = static_cast<uint32_t>(count) << 3;
  context->count[0] += bits;
  if (context->count[0] < bits) {
    ++context->count[1];
  }
  context->count[1] += static_cast<uint32_t>(count) >> 29;

  if (waiting != 0) {
    size_t room = kBlockSize - waiting;
    if (left < room) {
      memcpy(context->buffer + waiting, bytes, left);
      return;
    }
    memcpy(context->buffer + waiting, bytes, room);
    Md5Blocks(context->state, context->buffer, 1);
    bytes += room;
    left -= room;
  }
  size_t whole = left / kBlockSize;
  if (whole != 0) {
    Md5Blocks(context->state, bytes, whole);
    bytes += whole * kBlockSize;
    left -= whole * kBlockSize;
  }
  if (left != 0) {
    memcpy(context->buffer, bytes, left);
  }
}

void Md5Finish(Md5Context* context, unsigned char digest[16]) {
  static const unsigned char kPadding[kBlockSize] = {0x80};
  unsigned char length[8];
  StoreWord(length, context->count[0]);
  StoreWord(length + 4, context->count[1]);
  int waiting = static_cast<int>((context->count[0] >> 3) % kBlockSize);
  Md5Append(context, kPadding, ((55 - waiting) & 63) + 1);
  Md5Append(context, length, 8);
  for (size_t i = 0; i < 4; ++i) {
    StoreWord(digest + 4 * i, context->state[i]);
  }
}
