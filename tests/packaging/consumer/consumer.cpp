// Uses the installed qzbase the way another program would: an error name and
// an MD5 digest on standard output, and a log line, with its prefix, on the
// log channel (standard error).

#include <cstdio>

#include "base/digest/md5.h"
#include "base/error/error_text.h"
#include "base/log/log.h"

int main() {
  Log() << "Consumer: ErrorName(2) is '" << ErrorName(2) << "'.\n";
  LogFlush();
  Md5Context context;
  unsigned char digest[16];
  Md5Init(&context);
  Md5Append(&context, reinterpret_cast<const unsigned char*>("abc"), 3);
  Md5Finish(&context, digest);
  std::printf("%s ", ErrorName(2));
  for (unsigned char byte : digest)
    std::printf("%02x", byte);
  std::printf("\n");
}
