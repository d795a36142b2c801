// ProcessParseId against a reading of its contract: the leading decimal
// number of a text that begins with a digit, saturated as a long, narrowed
// to 32 bits, and -1 when that is negative.

#include <climits>
#include <cstdint>
#include <string>

#include "base/process/user.h"
#include "fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text = FuzzInput(data, size).TakeString();
  unsigned long long value = 0;
  size_t digits = 0;
  for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9';
       ++digits) {
    unsigned long long next = value * 10 + (text[digits] - '0');
    value = value > LONG_MAX / 10 || next > LONG_MAX ? LONG_MAX : next;
  }
  auto id = static_cast<int32_t>(static_cast<uint32_t>(value));
  FUZZ_CHECK(ProcessParseId(text.c_str()) == (digits == 0 || id < 0 ? -1 : id));
  return 0;
}
