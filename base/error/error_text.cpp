#include "base/error/error_text.h"

#include <cerrno>
#include <cstring>

namespace {

// Dense table of the names the library knows, indexed by error number; the
// gaps are numbers whose name the library does not hold. Where Linux has two
// names for one number the table keeps one: EAGAIN, EDEADLK, ENOTSUP.
constexpr int kNameCount = 116;

struct NameTable {
  const char* names[kNameCount];

  constexpr NameTable() : names() {
    for (auto& name : names) {
      name = "Unknown";
    }
    names[0] = "Success";
    names[1] = "EPERM";
    names[2] = "ENOENT";
    names[3] = "ESRCH";
    names[4] = "EINTR";
    names[5] = "EIO";
    names[6] = "ENXIO";
    names[7] = "E2BIG";
    names[8] = "ENOEXEC";
    names[9] = "EBADF";
    names[10] = "ECHILD";
    names[11] = "EAGAIN";
    names[12] = "ENOMEM";
    names[13] = "EACCES";
    names[14] = "EFAULT";
    names[16] = "EBUSY";
    names[17] = "EEXIST";
    names[18] = "EXDEV";
    names[19] = "ENODEV";
    names[20] = "ENOTDIR";
    names[21] = "EISDIR";
    names[22] = "EINVAL";
    names[23] = "ENFILE";
    names[24] = "EMFILE";
    names[25] = "ENOTTY";
    names[27] = "EFBIG";
    names[28] = "ENOSPC";
    names[29] = "ESPIPE";
    names[30] = "EROFS";
    names[31] = "EMLINK";
    names[32] = "EPIPE";
    names[33] = "EDOM";
    names[34] = "ERANGE";
    names[35] = "EDEADLK";
    names[36] = "ENAMETOOLONG";
    names[37] = "ENOLCK";
    names[38] = "ENOSYS";
    names[39] = "ENOTEMPTY";
    names[42] = "ENOMSG";
    names[52] = "EBADE";
    names[56] = "EBADRQC";
    names[57] = "EBADSLT";
    names[70] = "ECOMM";
    names[71] = "EPROTO";
    names[74] = "EBADMSG";
    names[84] = "EILSEQ";
    names[88] = "ENOTSOCK";
    names[95] = "ENOTSUP";
    names[98] = "EADDRINUSE";
    names[99] = "EADDRNOTAVAIL";
    names[103] = "ECONNABORTED";
    names[104] = "ECONNRESET";
    names[106] = "EISCONN";
    names[110] = "ETIMEDOUT";
    names[111] = "ECONNREFUSED";
    names[115] = "EINPROGRESS";
  }
};

constexpr NameTable kNames;

}  // namespace

const char* ErrorString(int code) {
  if (code == 0) {
    return "No error";
  }
  // strerror itself does not touch errno on glibc for any int, but the
  // library promises it, so hold on to it here rather than rely on that.
  int saved = errno;
  const char* text = strerror(code);
  errno = saved;
  return text;
}

const char* LastErrorString() { return ErrorString(errno); }

const char* ErrorName(int code) {
  // Unsigned comparison puts every negative number outside the table.
  auto index = static_cast<unsigned int>(code);
  return index < kNameCount ? kNames.names[index] : "Unknown";
}

const char* LastErrorName() { return ErrorName(errno); }
