// The random part of the log directory's name: the MD5 of one draw of the
// process's pseudo-random generator, seeded from the clock.

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "base/digest/md5.h"
#include "base/string/owned_string.h"
#include "update/update.h"

namespace {

constexpr int kValueSize = 8;
constexpr int kDigestSize = 16;

}  // namespace

char* UpdateRandomId() {
  struct timeval now = {};
  gettimeofday(&now, nullptr);
  srand(static_cast<unsigned>(now.tv_usec));
  int64_t value = rand();

  // The value's bytes, lowest first, as a string of at most eight
  // characters: a zero byte ends it and zeroes the rest.
  unsigned char bytes[kValueSize] = {};
  for (int i = 0; i < kValueSize; ++i) {
    auto byte = static_cast<unsigned char>((value >> (8 * i)) & 0xff);
    if (byte == 0) {
      break;
    }
    bytes[i] = byte;
  }

  std::unique_ptr<Md5Context> context(new Md5Context());
  unsigned char digest[kDigestSize];
  Md5Init(context.get());
  Md5Append(context.get(), bytes, kValueSize);
  Md5Finish(context.get(), digest);

  char* id = nullptr;
  StringAllocate(&id, 2 * kDigestSize + 1);
  for (int i = 0; i < kDigestSize; ++i) {
    static_cast<void>(
        snprintf(id + static_cast<ptrdiff_t>(2) * i, 3, "%02X", digest[i]));
  }
  return id;
}
