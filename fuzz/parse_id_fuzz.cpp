// ProcessParseId against an independent reading of its contract: the
// leading decimal number of a text that begins with a digit, saturated as
// a long, narrowed to 32 bits, and -1 when that is negative.

#include <climits>
#include <cstdint>
#include <string>

#include "base/process/user.h"
#include "fuzz/fuzz_target.h"

namespace {

int ReferenceId(const std::string& text) {
  if (text.empty() || text[0] < '0' || text[0] > '9') {
    return -1;
  }
  unsigned long long value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') {
      break;
    }
    // Past LONG_MAX the value stays there, as strtol's result does.
    unsigned digit = static_cast<unsigned>(c - '0');
    if (value > (static_cast<unsigned long long>(LONG_MAX) - digit) / 10) {
      value = LONG_MAX;
    } else {
      value = value * 10 + digit;
    }
  }
  auto id = static_cast<int32_t>(static_cast<uint32_t>(value));
  return id < 0 ? -1 : id;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string text = input.TakeString();
  FUZZ_CHECK(ProcessParseId(text.c_str()) == ReferenceId(text));
  return 0;
}
