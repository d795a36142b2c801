// MD5 message digests as RFC 1321 defines them, computed incrementally.

#ifndef QZ_BASE_DIGEST_MD5_H_
#define QZ_BASE_DIGEST_MD5_H_

#include <cstdint>

// A plain 88-byte record owned by the caller.
struct Md5Context {
  uint32_t count[2];        // bits appended so far, low word first
  uint32_t state[4];        // the running digest words A, B, C, D
  unsigned char buffer[64];  // the current, incomplete block
};

void Md5Init(Md5Context* context);

// Feeds count bytes; a count of 0 or less does nothing.
void Md5Append(Md5Context* context, const unsigned char* bytes, int count);

// Pads, appends the length and writes the 16-byte digest. The context must
// be initialised again before reuse.
void Md5Finish(Md5Context* context, unsigned char digest[16]);

#endif  // QZ_BASE_DIGEST_MD5_H_
