#include "base/file/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

#include "base/file/file_test_support.h"

namespace {

using filetest::LogCapture;
using filetest::TempDir;

// A pipe closed at scope end.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(fds_), 0); }
  ~Pipe() {
    CloseRead();
    CloseWrite();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int read_end() const { return fds_[0]; }
  int write_end() const { return fds_[1]; }
  void Put(const std::string& bytes) {
    ASSERT_EQ(write(fds_[1], bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  std::string Drain() {
    std::string out;
    char chunk[4096];
    ssize_t got;
    while ((got = read(fds_[0], chunk, sizeof chunk)) > 0) {
      out.append(chunk, static_cast<size_t>(got));
    }
    return out;
  }
  void CloseRead() { Close(&fds_[0]); }
  void CloseWrite() { Close(&fds_[1]); }

 private:
  static void Close(int* fd) {
    if (*fd >= 0) {
      close(*fd);
      *fd = -1;
    }
  }
  int fds_[2] = {-1, -1};
};

int PipeSize(int fd) { return fcntl(fd, F_GETPIPE_SZ); }

TEST(FileReadLine, LinesThenPartialLineThenEndOfFile) {
  Pipe pipe;
  pipe.Put("abc\ndef");
  pipe.CloseWrite();
  char buffer[64];
  char* end = FileReadLine(pipe.read_end(), buffer, sizeof buffer);
  ASSERT_EQ(end, buffer + 4);
  EXPECT_STREQ(buffer, "abc\n");

  errno = 0;
  end = FileReadLine(pipe.read_end(), buffer, sizeof buffer);
  ASSERT_EQ(end, buffer + 3);
  EXPECT_STREQ(buffer, "def");
  EXPECT_EQ(errno, EIO);  // a partial line at end of file

  errno = 0;
  EXPECT_EQ(FileReadLine(pipe.read_end(), buffer, sizeof buffer), nullptr);
  EXPECT_EQ(errno, EIO);
}

TEST(FileReadLine, SizeThreeStoresTwoAndLeavesTheRest) {
  Pipe pipe;
  pipe.Put("abc\ndef\n");
  pipe.CloseWrite();
  char buffer[3];
  ASSERT_EQ(FileReadLine(pipe.read_end(), buffer, 3), buffer + 2);
  EXPECT_STREQ(buffer, "ab");
  ASSERT_EQ(FileReadLine(pipe.read_end(), buffer, 3), buffer + 2);
  EXPECT_STREQ(buffer, "c\n");
  ASSERT_EQ(FileReadLine(pipe.read_end(), buffer, 3), buffer + 2);
  EXPECT_STREQ(buffer, "de");
  EXPECT_EQ(pipe.Drain(), "f\n");
}

TEST(FileReadLine, EmptyLineAndTooSmallBuffers) {
  Pipe pipe;
  pipe.Put("\nxy");
  pipe.CloseWrite();
  char buffer[8] = "unused";
  EXPECT_EQ(FileReadLine(pipe.read_end(), buffer, 1), nullptr);
  EXPECT_EQ(FileReadLine(pipe.read_end(), buffer, 0), nullptr);
  EXPECT_EQ(FileReadLine(pipe.read_end(), buffer, -5), nullptr);
  EXPECT_EQ(FileReadLine(pipe.read_end(), nullptr, 8), nullptr);
  EXPECT_STREQ(buffer, "unused");
  // Nothing was consumed by the refusals; a lone newline is a line.
  ASSERT_EQ(FileReadLine(pipe.read_end(), buffer, 8), buffer + 1);
  EXPECT_STREQ(buffer, "\n");
  EXPECT_EQ(pipe.Drain(), "xy");
}

TEST(FileReadLine, ReadErrorKeepsItsErrno) {
  Pipe pipe;
  char buffer[8];
  errno = 0;
  EXPECT_EQ(FileReadLine(pipe.write_end(), buffer, sizeof buffer), nullptr);
  EXPECT_EQ(errno, EBADF);
}

void IgnoreSignal(int) {}

// A reader blocked on an empty pipe is hit by signals whose handler does not
// restart calls; the line written afterwards must still arrive whole.
TEST(FileReadLine, InterruptedReadsAreRepeated) {
  struct sigaction action = {};
  struct sigaction saved = {};
  action.sa_handler = IgnoreSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: read fails with EINTR
  ASSERT_EQ(sigaction(SIGUSR1, &action, &saved), 0);

  Pipe pipe;
  std::atomic<bool> reading{false};
  char buffer[32];
  char* end = nullptr;
  int error = 0;
  std::thread reader([&] {
    reading = true;
    errno = 0;
    end = FileReadLine(pipe.read_end(), buffer, sizeof buffer);
    error = errno;
  });
  while (!reading) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 20; ++i) {
    pthread_kill(reader.native_handle(), SIGUSR1);
    usleep(1000);
  }
  pipe.Put("late line\n");
  reader.join();
  sigaction(SIGUSR1, &saved, nullptr);
  ASSERT_EQ(end, buffer + 10) << strerror(error);
  EXPECT_STREQ(buffer, "late line\n");
}

TEST(FileWriteString, EmptyAndNullWriteNothing) {
  Pipe pipe;
  ASSERT_EQ(fcntl(pipe.read_end(), F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(FileWriteString(pipe.write_end(), ""), 0);
  EXPECT_EQ(FileWriteString(pipe.write_end(), nullptr), 0);
  // Not even a failing descriptor is touched.
  EXPECT_EQ(FileWriteString(-1, ""), 0);
  EXPECT_EQ(pipe.Drain(), "");
}

TEST(FileWriteString, WholeStringThroughAPipe) {
  Pipe pipe;
  EXPECT_EQ(FileWriteString(pipe.write_end(), "hello\nworld"), 11);
  pipe.CloseWrite();
  EXPECT_EQ(pipe.Drain(), "hello\nworld");
}

// More than the pipe holds: the writer blocks and goes on as a reader
// drains; nothing is lost or repeated.
TEST(FileWriteString, LargerThanThePipe) {
  Pipe pipe;
  ASSERT_EQ(FileSetPipeSize(pipe.write_end(), 4096), 1);
  std::string text;
  for (int i = 0; text.size() < 200000; ++i) {
    text += std::to_string(i) + ",";
  }
  std::string received;
  std::thread reader([&] { received = pipe.Drain(); });
  EXPECT_EQ(FileWriteString(pipe.write_end(), text.c_str()),
            static_cast<int>(text.size()));
  pipe.CloseWrite();
  reader.join();
  EXPECT_EQ(received, text);
}

// A full non-blocking pipe: the first call returns what fitted, the next
// returns 0, both with EAGAIN.
TEST(FileWriteString, FullNonBlockingPipeReturnsWhatWasWritten) {
  Pipe pipe;
  ASSERT_EQ(FileSetPipeSize(pipe.write_end(), 4096), 1);
  int capacity = PipeSize(pipe.write_end());
  ASSERT_GE(capacity, 4096);
  ASSERT_EQ(fcntl(pipe.write_end(), F_SETFL, O_NONBLOCK), 0);
  ASSERT_EQ(fcntl(pipe.read_end(), F_SETFL, O_NONBLOCK), 0);
  std::string text(static_cast<size_t>(capacity) * 3, 'x');
  errno = 0;
  EXPECT_EQ(FileWriteString(pipe.write_end(), text.c_str()), capacity);
  EXPECT_EQ(errno, EAGAIN);
  errno = 0;
  EXPECT_EQ(FileWriteString(pipe.write_end(), "more"), 0);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(pipe.Drain().size(), static_cast<size_t>(capacity));
}

TEST(FileWriteString, ErrorBeforeAnyByteIsMinusOne) {
  struct sigaction ignore = {};
  struct sigaction saved = {};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(sigaction(SIGPIPE, &ignore, &saved), 0);
  Pipe pipe;
  pipe.CloseRead();
  errno = 0;
  EXPECT_EQ(FileWriteString(pipe.write_end(), "lost"), -1);
  EXPECT_EQ(errno, EPIPE);
  sigaction(SIGPIPE, &saved, nullptr);

  EXPECT_EQ(FileWriteString(pipe.read_end(), "x"), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(FileSetPipeSize, SetsRefusesAndFails) {
  Pipe pipe;
  EXPECT_EQ(FileSetPipeSize(pipe.write_end(), 131072), 1);
  EXPECT_EQ(PipeSize(pipe.read_end()), 131072);
  // Rounded up to a power of two number of pages.
  EXPECT_EQ(FileSetPipeSize(pipe.read_end(), 5000), 1);
  EXPECT_EQ(PipeSize(pipe.write_end()), 8192);

  // Sizes the kernel refuses with EINVAL.
  for (int capacity : {-1, -4096, -(1 << 30)}) {
    errno = 0;
    EXPECT_EQ(FileSetPipeSize(pipe.write_end(), capacity), 0) << capacity;
    EXPECT_EQ(errno, EINVAL) << capacity;
  }
  EXPECT_EQ(PipeSize(pipe.write_end()), 8192);

  // Smaller than what the pipe holds: EBUSY.
  pipe.Put(std::string(6000, 'b'));
  EXPECT_EQ(FileSetPipeSize(pipe.write_end(), 4096), -1);
  EXPECT_EQ(errno, EBUSY);

  TempDir dir;
  dir.Write("plain", "");
  int file = open(dir.Join("plain").c_str(), O_RDONLY);
  ASSERT_GE(file, 0);
  EXPECT_EQ(FileSetPipeSize(file, 65536), -1);
  EXPECT_EQ(errno, EBADF);
  close(file);
}

TEST(FileSetPipeSize, AboveTheLimitIsRefusedToAnOrdinaryUser) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may exceed /proc/sys/fs/pipe-max-size";
  }
  Pipe pipe;
  EXPECT_EQ(FileSetPipeSize(pipe.write_end(), 1 << 30), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST(FilePipe, BothEndsGetTheCapacity) {
  int fds[2] = {-1, -1};
  ASSERT_EQ(FilePipe(fds, 262144), 1);
  EXPECT_EQ(PipeSize(fds[0]), 262144);
  EXPECT_EQ(PipeSize(fds[1]), 262144);
  EXPECT_EQ(write(fds[1], "ok", 2), 2);
  char buffer[2];
  EXPECT_EQ(read(fds[0], buffer, 2), 2);
  close(fds[0]);
  close(fds[1]);
}

TEST(FilePipe, ARefusedCapacityStillGivesAPipe) {
  int fds[2] = {-1, -1};
  int default_size;
  {
    Pipe plain;
    default_size = PipeSize(plain.write_end());
  }
  ASSERT_EQ(FilePipe(fds, -1), 1);
  EXPECT_EQ(PipeSize(fds[0]), default_size);
  EXPECT_EQ(write(fds[1], "ok", 2), 2);
  close(fds[0]);
  close(fds[1]);

  int large = 1 << 30;  // beyond an ordinary user's limit
  ASSERT_EQ(FilePipe(fds, large), 1);
  EXPECT_EQ(write(fds[1], "ok", 2), 2);
  close(fds[0]);
  close(fds[1]);
}

// With no descriptor left, pipe fails and nothing is left open.
TEST(FilePipe, NoDescriptorsLeft) {
  struct rlimit saved;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  int lowest = open("/dev/null", O_RDONLY);
  ASSERT_GE(lowest, 0);
  close(lowest);
  struct rlimit tight = saved;
  tight.rlim_cur = static_cast<rlim_t>(lowest) + 1;  // room for one
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  int fds[2] = {-7, -7};
  errno = 0;
  int result = FilePipe(fds, 65536);
  int error = errno;
  setrlimit(RLIMIT_NOFILE, &saved);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(error, EMFILE);
  int after = open("/dev/null", O_RDONLY);
  EXPECT_EQ(after, lowest);
  close(after);
}

TEST(FileBytesReadableInto, CountsWaitingBytes) {
  Pipe pipe;
  int count = -1;
  FileBytesReadableInto(pipe.read_end(), &count);
  EXPECT_EQ(count, 0);
  pipe.Put("12345");
  FileBytesReadableInto(pipe.read_end(), &count);
  EXPECT_EQ(count, 5);
  FileBytesReadableInto(pipe.read_end(), nullptr);  // ignored
}

TEST(FileBytesReadableInto, FailureStoresZero) {
  int count = 77;
  errno = 0;
  FileBytesReadableInto(-1, &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(errno, EBADF);
}

TEST(FileBytesWritable, WarnsAndFailsWithEnosys) {
  LogCapture capture;
  errno = 0;
  EXPECT_EQ(FileBytesWritable(42), -1);
  EXPECT_EQ(errno, ENOSYS);
  EXPECT_EQ(capture.Log(),
            "File: WARNING! Can't query the bytes writable "
            "to FD#42.\n");
  EXPECT_EQ(capture.Error(), "");
}

}  // namespace
