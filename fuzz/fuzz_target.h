// What every fuzz target shares: the entry point that the fuzzing engine
// and the replay main call, a check that reports a finding, and a reader
// that cuts a fuzzer's input into single bytes and NUL-terminated strings.
// Taking past the end gives 0 and empty strings, so that every input,
// however short, is a valid case.

#ifndef QZ_FUZZ_FUZZ_TARGET_H_
#define QZ_FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Runs one input through the target; always returns 0.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// A property the target checks: a failure is a finding, reported and ended
// with abort so that both the fuzzing engine and the replay see it.
#define FUZZ_CHECK(condition)                                                  \
  do {                                                                         \
    if (!(condition)) {                                                        \
      static_cast<void>(fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, \
                                __LINE__, #condition));                        \
      abort();                                                                 \
    }                                                                          \
  } while (0)

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size)
      : text_(reinterpret_cast<const char*>(data), size) {}
  bool Empty() const { return offset_ >= text_.size(); }
  uint8_t TakeByte() { return Empty() ? 0 : text_[offset_++]; }
  // The bytes up to the next NUL (taken, not returned) or the end.
  std::string TakeString() {
    std::string taken =
        Empty() ? ""
                : text_.substr(offset_, text_.find('\0', offset_) - offset_);
    offset_ += taken.size() + 1;
    return taken;
  }
  // Everything not taken yet.
  std::string TakeRest() {
    std::string rest = Empty() ? "" : text_.substr(offset_);
    offset_ = text_.size();
    return rest;
  }

 private:
  std::string text_;
  size_t offset_ = 0;
};

#endif  // QZ_FUZZ_FUZZ_TARGET_H_
