// Reading and writing descriptors, and pipes of a chosen capacity.

#ifndef QZ_BASE_FILE_FILE_DESCRIPTOR_H_
#define QZ_BASE_FILE_FILE_DESCRIPTOR_H_

// Reads one byte at a time up to and including a newline, or until size - 1
// bytes are stored, or end of file (errno EIO) or an error (EINTR is
// retried). Returns a pointer to the NUL written after the last stored byte,
// or null when nothing was stored or size is below 2.
char* FileReadLine(int fd, char* buffer, int size);

// Writes the whole string, retrying EINTR and short writes. Returns the bytes
// written; stops early on a zero write or EAGAIN; -1 when an error came
// before any byte was written.
int FileWriteString(int fd, const char* string);

// F_SETPIPE_SZ: 1 set, 0 refused with EINVAL, -1 other error.
int FileSetPipeSize(int fd, int capacity);

// pipe, then the capacity on both ends as far as the kernel allows: 1 when
// the pipe exists, -1 when pipe failed.
int FilePipe(int fds[2], int capacity);

// FIONREAD count into *count.
void FileBytesReadableInto(int fd, int* count);

// Not supported: logs a warning, sets ENOSYS and returns -1.
int FileBytesWritable(int fd);

#endif  // QZ_BASE_FILE_FILE_DESCRIPTOR_H_
