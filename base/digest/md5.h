// MD5 message digests as RFC 1321 defines them, computed incrementally:
//
//   Md5Context context;
//   Md5Init(&context);
//   Md5Append(&context, bytes, count);   // any number of times
//   Md5Finish(&context, digest);         // 16 bytes
//
// Nothing here allocates, logs, fails or touches errno. A context is plain
// data owned by the caller; one context must not be used by two threads at
// once, distinct contexts are independent.

#ifndef QZ_BASE_DIGEST_MD5_H_
#define QZ_BASE_DIGEST_MD5_H_

#include <cstdint>

// A plain 88-byte record owned by the caller.
struct Md5Context {
  uint32_t count[2];         // bits appended so far, low word first
  uint32_t state[4];         // the running digest words A, B, C, D
  unsigned char buffer[64];  // the current, incomplete block
};

// Sets the bit count to 0 and the state to the initial words of RFC 1321.
// The buffer is not read before it is written, so it need not be cleared.
void Md5Init(Md5Context* context);

// Feeds count bytes from bytes (any alignment); a count of 0 or less does
// nothing and bytes is then not read.
void Md5Append(Md5Context* context, const unsigned char* bytes, int count);

// Pads, appends the length and writes the 16-byte digest (the words A, B,
// C, D, each least significant byte first). The context must be initialised
// again before reuse.
void Md5Finish(Md5Context* context, unsigned char digest[16]);

#endif  // QZ_BASE_DIGEST_MD5_H_
