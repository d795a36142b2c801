// FileReadLine over a pipe: the lines read with a buffer of the size the
// first byte says must give back the written bytes exactly, each line
// terminated, none longer than the buffer allows, and each ending at a
// newline unless the buffer filled or the input ended.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "base/file/file_descriptor.h"
#include "fuzz/fuzz_target.h"

namespace {

// What a pipe surely holds without a reader: the whole input is written
// before the first read.
constexpr size_t kLargestInput = 60000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  int buffer_size = 2 + input.TakeByte() % 64;
  std::string text = input.TakeRest();
  if (text.size() > kLargestInput) {
    text.resize(kLargestInput);
  }

  int ends[2];
  FUZZ_CHECK(pipe2(ends, O_CLOEXEC) == 0);
  FUZZ_CHECK(write(ends[1], text.data(), text.size()) ==
             static_cast<ssize_t>(text.size()));
  close(ends[1]);

  std::vector<char> buffer(static_cast<size_t>(buffer_size));
  std::string read_back;
  while (char* end = FileReadLine(ends[0], buffer.data(), buffer_size)) {
    auto length = static_cast<size_t>(end - buffer.data());
    FUZZ_CHECK(length >= 1 && length <= static_cast<size_t>(buffer_size - 1));
    FUZZ_CHECK(*end == '\0');
    std::string line(buffer.data(), length);
    bool whole_line = line.back() == '\n';
    bool buffer_full = length == static_cast<size_t>(buffer_size - 1);
    bool last = read_back.size() + length == text.size();
    FUZZ_CHECK(whole_line || buffer_full || last);
    FUZZ_CHECK(line.find('\n') == std::string::npos ||
               line.find('\n') == length - 1);
    read_back += line;
  }
  FUZZ_CHECK(errno == EIO);
  close(ends[0]);
  FUZZ_CHECK(read_back == text);
  return 0;
}
