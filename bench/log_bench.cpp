// The cost of one log line written to a file, against its parts and its
// floor: the line prefix alone, and a bare write(2) of a ready-made line.
// With the optional comparison library present, also its thread-safe file
// sink flushed after every line.
//
// Run from the build directory, e.g.
//   bench/log_bench --benchmark_filter=Line
// The fixed-iteration variants are for counting system calls and
// instructions per line:
//   strace -f -c -e trace=write,writev bench/log_bench
//       --benchmark_filter=LogLineToFile/iterations
//   valgrind --tool=callgrind --toggle-collect='*BM_LogLineToFile*'
//       bench/log_bench --benchmark_filter=LogLineToFile/iterations
// (each on one line).

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "base/log/log.h"
#include "base/log/log_prefix.h"

#ifdef QZ_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

constexpr int kFixedIterations = 100000;

// A file in a fresh temporary directory, removed with it at scope end.
class TempFile {
 public:
  TempFile() {
    char name[] = "/tmp/log_bench.XXXXXX";
    if (mkdtemp(name) == nullptr) {
      perror("mkdtemp");
      abort();
    }
    dir_ = name;
    path_ = dir_ + "/session";
  }
  ~TempFile() {
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  std::string dir_;
  std::string path_;
};

// One Log() line, the log channel on a heap file stream opened for
// appending, as redirection leaves it.
void BM_LogLineToFile(benchmark::State& state) {
  TempFile file;
  Logger& logger = LoggerInstance();
  std::ostream* saved = logger.logStream;
  auto* stream = new std::ofstream(file.path(), std::ios::out | std::ios::app);
  logger.logStream = stream;
  int line = 0;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    Log() << "Update: Post-update line " << ++line << " of the session.\n";
  }
  LogFlush();
  logger.logStream = saved;
  delete stream;
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LogLineToFile);
BENCHMARK(BM_LogLineToFile)->Iterations(kFixedIterations);

void BM_LogPrefix(benchmark::State& state) {
  char prefix[kLogPrefixSize];
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(LogPrefix(prefix, kLogPrefixSize));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LogPrefix);

// The floor: a line of the same length, prefix made once, one write each.
void BM_BareWritePerLine(benchmark::State& state) {
  TempFile file;
  int fd = open(file.path(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) {
    state.SkipWithError("open failed");
    return;
  }
  char prefix[kLogPrefixSize];
  std::string line = std::string(prefix, LogPrefix(prefix, sizeof prefix)) +
                     "Update: Post-update line 12345 of the session.\n";
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    if (write(fd, line.data(), line.size()) < 0) {
      state.SkipWithError("write failed");
      break;
    }
  }
  close(fd);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareWritePerLine);

#ifdef QZ_HAVE_SPDLOG
// The comparison library's thread-safe file sink, flushed after every line
// so that each line reaches the file as ours does; a prefix of the same
// fields (process, thread, local time with microseconds).
void BM_SpdlogFileSinkLine(benchmark::State& state) {
  TempFile file;
  auto logger = spdlog::basic_logger_mt("bench", file.path());
  logger->set_pattern("%P %t %H:%M:%S %f %v");
  logger->flush_on(spdlog::level::trace);
  int line = 0;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    logger->info("Update: Post-update line {} of the session.", ++line);
  }
  spdlog::drop("bench");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpdlogFileSinkLine);
#endif

}  // namespace

BENCHMARK_MAIN();
