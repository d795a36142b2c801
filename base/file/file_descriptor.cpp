#include "base/file/file_descriptor.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/log/log.h"

char* FileReadLine(int fd, char* buffer, int size) {
  if (buffer == nullptr || size < 2) {
    return nullptr;
  }
  int stored = 0;
  while (stored < size - 1) {
    ssize_t result = read(fd, buffer + stored, 1);
    if (result < 0) {
      if (errno == EINTR) {
        continue;
      }
      break;
    }
    if (result == 0) {
      errno = EIO;
      break;
    }
    if (buffer[stored++] == '\n') {
      break;
    }
  }
  if (stored == 0) {
    return nullptr;
  }
  buffer[stored] = '\0';
  return buffer + stored;
}

int FileWriteString(int fd, const char* string) {
  if (string == nullptr) {
    return 0;
  }
  int length = static_cast<int>(strlen(string));
  if (length <= 0) {
    return 0;
  }
  int written = 0;
  while (written < length) {
    ssize_t result =
        write(fd, string + written, static_cast<size_t>(length - written));
    if (result > 0) {
      written += static_cast<int>(result);
      continue;
    }
    if (result == 0 || errno == EAGAIN) {
      break;
    }
    if (errno == EINTR) {
      continue;
    }
    return written > 0 ? written : -1;
  }
  return written;
}

int FileSetPipeSize(int fd, int capacity) {
  if (fcntl(fd, F_SETPIPE_SZ, capacity) != -1) {
    return 1;
  }
  return errno == EINVAL ? 0 : -1;
}

int FilePipe(int fds[2], int capacity) {
  if (pipe(fds) != 0) {
    return -1;
  }
  if (FileSetPipeSize(fds[0], capacity) == -1) {
    return 1;
  }
  FileSetPipeSize(fds[1], capacity);
  return 1;
}

void FileBytesReadableInto(int fd, int* count) {
  if (count == nullptr) {
    return;
  }
  if (ioctl(fd, FIONREAD, count) == -1) {
    *count = 0;
  }
}

int FileBytesWritable(int fd) {
  Log() << "File: WARNING! Can't query the bytes "
        << "writable to FD#" << fd << ".\n";
  errno = ENOSYS;
  return -1;
}
