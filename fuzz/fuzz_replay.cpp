// Replays corpora through a fuzz target without the fuzzing engine, so that
// the ordinary test run (sanitizer build included) checks every input kept
// in the repository: each argument is a file, or a directory whose regular
// files are fed one by one. Exits 1 when an argument cannot be read.

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace {

bool ReplayFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    fprintf(stderr, "fuzz replay: cannot read '%s'\n", path.c_str());
    return false;
  }
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                             std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return true;
}

// The regular files of a directory, in name order so that runs repeat.
bool ListDirectory(const std::string& path, std::vector<std::string>* files) {
  DIR* directory = opendir(path.c_str());
  if (directory == nullptr) {
    return false;
  }
  while (const dirent* entry = readdir(directory)) {
    std::string file = path + "/" + entry->d_name;
    struct stat record = {};
    if (stat(file.c_str(), &record) == 0 && S_ISREG(record.st_mode)) {
      files->push_back(file);
    }
  }
  closedir(directory);
  std::sort(files->begin(), files->end());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    std::vector<std::string> files;
    if (!ListDirectory(argv[i], &files)) {
      files.push_back(argv[i]);
    }
    for (const std::string& file : files) {
      if (!ReplayFile(file)) {
        return 1;
      }
      ++replayed;
    }
  }
  printf("fuzz replay: %d inputs\n", replayed);
  return 0;
}
