#include "base/file/file_descriptor.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "base/file/file_test_support.h"

namespace {

// A pipe closed at scope end.
struct Pipe {
  Pipe() { EXPECT_EQ(pipe(fd), 0); }
  ~Pipe() {
    CloseWrite();
    close(fd[0]);
  }
  void Put(const std::string& bytes) {
    ASSERT_EQ(write(fd[1], bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
  std::string Drain() {
    std::string out;
    char chunk[4096];
    for (ssize_t got; (got = read(fd[0], chunk, sizeof chunk)) > 0;)
      out.append(chunk, static_cast<size_t>(got));
    return out;
  }
  void CloseWrite() {
    if (fd[1] >= 0)
      close(fd[1]);
    fd[1] = -1;
  }
  int fd[2] = {-1, -1};
};

int PipeSize(int fd) { return fcntl(fd, F_GETPIPE_SZ); }

void IgnoreSignal(int) {}

// Signals without SA_RESTART hit a reader blocked on an empty pipe; the line
// written afterwards still arrives whole.
TEST(FileReadLine, InterruptedReadsAreRepeated) {
  struct sigaction action = {}, saved;
  action.sa_handler = IgnoreSignal;
  ASSERT_EQ(sigaction(SIGUSR1, &action, &saved), 0);
  Pipe pipe;
  std::atomic<bool> reading{false};
  char buffer[32];
  char* end = nullptr;
  std::thread reader([&] {
    reading = true;
    end = FileReadLine(pipe.fd[0], buffer, sizeof buffer);
  });
  while (!reading)
    std::this_thread::yield();
  for (int i = 0; i < 20; ++i, usleep(1000))
    pthread_kill(reader.native_handle(), SIGUSR1);
  pipe.Put("late line\n");
  reader.join();
  sigaction(SIGUSR1, &saved, nullptr);
  ASSERT_EQ(end, buffer + 10);
  EXPECT_STREQ(buffer, "late line\n");
}

// More than the pipe holds goes through whole as a reader drains; empty
// writes touch nothing; a full non-blocking pipe gives what fitted, then 0.
TEST(FileWriteString, ThroughAPipe) {
  Pipe pipe;
  EXPECT_EQ(FileWriteString(-1, ""), 0);
  EXPECT_EQ(FileWriteString(pipe.fd[1], nullptr), 0);
  ASSERT_EQ(FileSetPipeSize(pipe.fd[1], 4096), 1);
  std::string text;
  for (int i = 0; text.size() < 200000; ++i)
    text += std::to_string(i) + ",";
  std::string received;
  std::thread reader([&] { received = pipe.Drain(); });
  EXPECT_EQ(FileWriteString(pipe.fd[1], text.c_str()),
            static_cast<int>(text.size()));
  pipe.CloseWrite();
  reader.join();
  EXPECT_EQ(received, text);

  Pipe full;
  int capacity = PipeSize(full.fd[1]);
  ASSERT_EQ(fcntl(full.fd[1], F_SETFL, O_NONBLOCK), 0);
  errno = 0;
  EXPECT_EQ(FileWriteString(full.fd[1], std::string(capacity * 3, 'x').c_str()),
            capacity);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(FileWriteString(full.fd[1], "more"), 0);
  EXPECT_EQ(errno, EAGAIN);

  struct sigaction ignore = {}, saved;
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(sigaction(SIGPIPE, &ignore, &saved), 0);
  EXPECT_EQ(FileWriteString(pipe.fd[0], "x"), -1);
  EXPECT_EQ(errno, EBADF);
  Pipe closed;
  close(closed.fd[0]);
  closed.fd[0] = -1;
  EXPECT_EQ(FileWriteString(closed.fd[1], "lost"), -1);
  EXPECT_EQ(errno, EPIPE);
  sigaction(SIGPIPE, &saved, nullptr);
}

TEST(FileSetPipeSize, SetsRefusesAndFails) {
  Pipe pipe;
  EXPECT_EQ(FileSetPipeSize(pipe.fd[0], 5000), 1);
  EXPECT_EQ(PipeSize(pipe.fd[1]), 8192);  // whole pages, a power of two
  errno = 0;
  EXPECT_EQ(FileSetPipeSize(pipe.fd[1], -4096), 0);
  EXPECT_EQ(errno, EINVAL);
  pipe.Put(std::string(6000, 'b'));
  EXPECT_EQ(FileSetPipeSize(pipe.fd[1], 4096), -1);  // smaller than held
  EXPECT_EQ(errno, EBUSY);
  int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(FileSetPipeSize(null, 65536), -1);
  EXPECT_EQ(errno, EBADF);
  close(null);
  if (geteuid() != 0) {  // root may pass /proc/sys/fs/pipe-max-size
    EXPECT_EQ(FileSetPipeSize(pipe.fd[1], 1 << 30), -1);
    EXPECT_EQ(errno, EPERM);
  }
}

// FilePipe sets both ends; a refused capacity still gives a pipe; with no
// descriptor left it fails and leaves nothing open.
TEST(FilePipe, CapacityRefusalAndNoDescriptors) {
  for (int capacity : {262144, -1, 1 << 30}) {
    int fds[2] = {-1, -1};
    ASSERT_EQ(FilePipe(fds, capacity), 1) << capacity;
    if (capacity > 0 && capacity < (1 << 20)) {
      EXPECT_EQ(PipeSize(fds[0]), capacity);
    }
    EXPECT_EQ(write(fds[1], "ok", 2), 2);
    close(fds[0]);
    close(fds[1]);
  }
  struct rlimit saved;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  int lowest = open("/dev/null", O_RDONLY);
  close(lowest);
  struct rlimit tight = saved;
  tight.rlim_cur = static_cast<rlim_t>(lowest) + 1;  // room for one
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  int fds[2];
  int result = FilePipe(fds, 65536), error = errno;
  setrlimit(RLIMIT_NOFILE, &saved);
  EXPECT_EQ(result, -1);
  EXPECT_EQ(error, EMFILE);
  int after = open("/dev/null", O_RDONLY);
  EXPECT_EQ(after, lowest);
  close(after);
}

TEST(FileBytesReadableInto, CountsOrStoresZero) {
  Pipe pipe;
  pipe.Put("12345");
  int count = -1;
  FileBytesReadableInto(pipe.fd[0], &count);
  EXPECT_EQ(count, 5);
  FileBytesReadableInto(pipe.fd[0], nullptr);
  errno = 0;
  FileBytesReadableInto(-1, &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(errno, EBADF);
  filetest::LogCapture capture;
  EXPECT_EQ(FileBytesWritable(42), -1);
  EXPECT_EQ(errno, ENOSYS);
  EXPECT_EQ(capture.Log(),
            "File: WARNING! Can't query the bytes writable to FD#42.\n");
}

}  // namespace
