// What every fuzz target shares: the entry point that the fuzzing engine
// and the replay main call, a check that reports a finding, and a reader
// that cuts a fuzzer's input into the pieces a target needs: single bytes and
// NUL-terminated strings. Taking past the end gives 0 and empty strings, so
// that every input, however short, is a valid case.

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
#define FUZZ_CHECK(condition)                                          \
  do {                                                                 \
    if (!(condition)) {                                                \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, \
              #condition);                                             \
      abort();                                                         \
    }                                                                  \
  } while (0)

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  uint8_t TakeByte() { return offset_ < size_ ? data_[offset_++] : 0; }

  // The bytes up to the next NUL (consumed, not returned) or the end.
  std::string TakeString() {
    std::string text;
    while (offset_ < size_ && data_[offset_] != 0) {
      text.push_back(static_cast<char>(data_[offset_++]));
    }
    if (offset_ < size_) {
      ++offset_;
    }
    return text;
  }

  // Everything not taken yet.
  std::string TakeRest() {
    std::string text(reinterpret_cast<const char*>(data_) + offset_,
                     size_ - offset_);
    offset_ = size_;
    return text;
  }

  bool Empty() const { return offset_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t offset_ = 0;
};

#endif  // QZ_FUZZ_FUZZ_TARGET_H_
