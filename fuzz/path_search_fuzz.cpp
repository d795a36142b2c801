// The application path search over PATH values taken from the input, where
// each '@' stands for a directory that holds a qzrunner: the result must be
// "<entry>/" for the first non-empty entry whose qzrunner exists and whose
// "<entry>/qzrunner" fits the 1024-byte buffer, and nothing otherwise.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/fuzz_target.h"
#include "update/update_internal.h"

namespace {

constexpr size_t kBufferSize = 1024;

// A throwaway directory with an empty qzrunner in it, removed at exit.
std::string installation;

void RemoveInstallation() {
  unlink((installation + "/qzrunner").c_str());
  rmdir(installation.c_str());
}

const std::string& Installation() {
  if (installation.empty()) {
    char name[] = "/tmp/qz-fuzz-XXXXXX";
    FUZZ_CHECK(mkdtemp(name) != nullptr);
    installation = name;
    FILE* runner = fopen((installation + "/qzrunner").c_str(), "w");
    FUZZ_CHECK(runner != nullptr);
    fclose(runner);
    atexit(RemoveInstallation);
  }
  return installation;
}

std::string Expected(const std::string& path) {
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find(':', start);
    if (end == std::string::npos) {
      end = path.size();
    }
    std::string entry = path.substr(start, end - start);
    std::string candidate = entry + "/qzrunner";
    struct stat record = {};
    if (!entry.empty() && candidate.size() < kBufferSize - 1 &&
        stat(candidate.c_str(), &record) == 0) {
      return entry + "/";
    }
    start = end + 1;
  }
  return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string path;
  for (char c : input.TakeString()) {
    path += c == '@' ? Installation() : std::string(1, c);
  }
  char buffer[kBufferSize] = {};
  UpdateSearchPath(path.c_str(), buffer);
  FUZZ_CHECK(strlen(buffer) < kBufferSize);
  FUZZ_CHECK(Expected(path) == buffer);
  return 0;
}
