// MD5 fed in pieces, cut where the input's first bytes say, must give the
// digest of the whole input fed at once.

#include <cstring>
#include <vector>

#include "base/digest/md5.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::vector<size_t> cuts;
  for (int i = input.TakeByte() % 8; i > 0; --i)
    cuts.push_back(static_cast<size_t>(input.TakeByte()) * 3);
  const std::string rest = input.TakeRest();
  const auto* bytes = reinterpret_cast<const unsigned char*>(rest.data());
  unsigned char digests[2][16];
  for (unsigned char* digest : digests) {
    Md5Context context;
    Md5Init(&context);
    size_t done = 0;
    for (size_t cut : digest == digests[1] ? cuts : std::vector<size_t>()) {
      size_t count = cut < rest.size() - done ? cut : rest.size() - done;
      Md5Append(&context, bytes + done, static_cast<int>(count));
      done += count;
    }
    Md5Append(&context, bytes + done, static_cast<int>(rest.size() - done));
    Md5Finish(&context, digest);
  }
  FUZZ_CHECK(memcmp(digests[0], digests[1], 16) == 0);
  return 0;
}
