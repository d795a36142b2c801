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
  int fields[4] = {7, 7, 7, 7};
  int count = StringParseVersion(exact.data(), &fields[0], &fields[1],
                                 &fields[2], &fields[3]);
  FUZZ_CHECK(count >= -1 && count <= 4);
  for (int i = count < 0 ? 0 : count; i < 4; ++i) {
    FUZZ_CHECK(fields[i] == -1);
  }
  return 0;
}
