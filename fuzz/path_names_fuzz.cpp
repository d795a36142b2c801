// The names the driver forms from outside text: the three program paths
// from QZ_SYSTEM, and the log directory's name from the host name (HOSTNAME
// is the caller's), the process id and the random id. Each must be the
// exact concatenation, and a host name that the driver accepts must keep
// the name a single path component that is not "." or "..".

#include <string>

#include "base/string/owned_string.h"
#include "fuzz/fuzz_target.h"
#include "update/update.h"
#include "update/update_internal.h"

namespace {

void CheckProgramPath(char* (*build)(const char*), const std::string& system,
                      const char* name) {
  char* path = build(system.c_str());
  if (system.empty()) {
    FUZZ_CHECK(path == nullptr);
    return;
  }
  FUZZ_CHECK(path != nullptr);
  FUZZ_CHECK(system + "/bin/" + name == path);
  StringReset(&path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  std::string system = input.TakeString();
  CheckProgramPath(UpdateRunnerPath, system, "qzrunner.bin");
  CheckProgramPath(UpdatePostPath, system, "qzpost");
  CheckProgramPath(UpdateServerPath, system, "qzserver");

  std::string host = input.TakeString();
  int pid = 0;
  for (int i = 0; i < 4; ++i) {
    pid = pid << 8 | input.TakeByte();
  }
  pid &= 0x7fffffff;
  std::string id = input.TakeString();
  std::string name = UpdateLogDirectoryName(host.c_str(), pid, id.c_str());
  FUZZ_CHECK(name == "M-" + host + "-" + std::to_string(pid) + "-" + id);

  bool usable = UpdateHostNameUsable(host.c_str());
  FUZZ_CHECK(usable == (host.find('/') == std::string::npos &&
                        host.find("..") == std::string::npos));
  // The id is always hexadecimal digits in a run; with such an id an
  // accepted host name can never lead the name out of QZ_ROOT.
  if (usable && id.find_first_not_of("0123456789abcdef") == std::string::npos) {
    FUZZ_CHECK(name.find('/') == std::string::npos);
    FUZZ_CHECK(name != "." && name != "..");
  }
  return 0;
}
