// StringParseVersion: any text gives a field count from -1 (EOF) to 4, the
// fields not converted stay -1, and the call never reads past the text
// (the sanitizers see to that, as the text is an exact-size copy).

#include <string>
#include <vector>

#include "base/string/string_match.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text = FuzzInput(data, size).TakeString();
  std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
  int f[4] = {7, 7, 7, 7};
  int count = StringParseVersion(exact.data(), &f[0], &f[1], &f[2], &f[3]);
  for (int i = 0; i < 4; ++i) {
    FUZZ_CHECK(count >= -1 && count <= 4 && (i < count || f[i] == -1));
  }
  return 0;
}
