// Reading and writing descriptors, and pipes of a chosen capacity.
//
// Nothing here keeps state; every operation is safe from any thread as far
// as the descriptor it is given is (two threads reading one descriptor share
// its bytes). Only FileBytesWritable writes a message.

#ifndef QZ_BASE_FILE_FILE_DESCRIPTOR_H_
#define QZ_BASE_FILE_FILE_DESCRIPTOR_H_

// Reads one byte at a time into buffer up to and including a newline, or
// until size - 1 bytes are stored, or end of file (then errno is EIO, also
// when a partial line is returned) or a read error (errno from read; EINTR
// is retried). Returns a pointer to the NUL written after the last stored
// byte (the line's length is its distance from buffer), or null when
// nothing was stored, when size is below 2 or buffer is null. Bytes after
// the line stay unread.
char* FileReadLine(int fd, char* buffer, int size);

// Writes the whole string, retrying EINTR and short writes. Returns the bytes
// written: all of them, or fewer when a write returned 0 or failed with
// EAGAIN (a full non-blocking descriptor), or when another error came after
// some bytes were written. -1 (errno from write) when an error came before
// any byte was written. 0 for an empty or null string.
int FileWriteString(int fd, const char* string);

// fcntl F_SETPIPE_SZ: 1 set (the kernel may round the capacity up), 0
// refused with EINVAL (a bad size, or not a pipe), -1 other error (EPERM
// above the unprivileged limit, EBADF, EBUSY when the pipe holds more than
// the new capacity), errno from fcntl.
int FileSetPipeSize(int fd, int capacity);

// pipe into fds (read end first), then the capacity on the read end and, if
// that did not fail with -1, on the write end; how the capacity came out is
// not reported. 1 when the pipe exists (the caller owns and closes both
// descriptors), -1 with errno from pipe when it could not be made.
int FilePipe(int fds[2], int capacity);

// Stores the FIONREAD count of fd (bytes waiting to be read) into *count.
// When the request fails, *count is set to 0 and errno is left as ioctl set
// it. A null count is ignored.
void FileBytesReadableInto(int fd, int* count);

// Not supported: writes "File: WARNING! Can't query the bytes writable to
// FD#<fd>." through Log, sets ENOSYS and returns -1.
int FileBytesWritable(int fd);

#endif  // QZ_BASE_FILE_FILE_DESCRIPTOR_H_
