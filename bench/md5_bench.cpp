// MD5 throughput: ours on a large buffer and on an 8-byte input (the size
// the update driver hashes), OpenSSL's low-level MD5 on the same inputs when
// it is available, and the system's md5sum on a large file, all in one run.
//
//   cmake --preset release && cmake --build build/release --target md5_bench
//   build/release/bench/md5_bench

#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/digest/md5.h"

#ifdef QZ_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>
#endif

namespace {

constexpr size_t kLargeSize = 8 << 20;
constexpr size_t kFileSize = 256 << 20;

const std::vector<unsigned char>& LargeBuffer() {
  static const std::vector<unsigned char> buffer = [] {
    std::vector<unsigned char> bytes(kLargeSize);
    unsigned value = 12345;
    for (unsigned char& byte : bytes) {
      value = value * 1103515245u + 12345u;
      byte = static_cast<unsigned char>(value >> 16);
    }
    return bytes;
  }();
  return buffer;
}

const unsigned char kEight[8] = {'1', '2', '3', '4', '5', '6', '7', '8'};

void BM_Md5Large(benchmark::State& state) {
  const std::vector<unsigned char>& buffer = LargeBuffer();
  unsigned char digest[16];
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    Md5Context context;
    Md5Init(&context);
    Md5Append(&context, buffer.data(), static_cast<int>(buffer.size()));
    Md5Finish(&context, digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_Md5Large);

void BM_Md5Eight(benchmark::State& state) {
  unsigned char digest[16];
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    Md5Context context;
    Md5Init(&context);
    Md5Append(&context, kEight, sizeof kEight);
    Md5Finish(&context, digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 8);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_Md5Eight);

#ifdef QZ_BENCH_OPENSSL
void BM_OpenSslMd5Large(benchmark::State& state) {
  const std::vector<unsigned char>& buffer = LargeBuffer();
  unsigned char digest[16];
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Update(&context, buffer.data(), buffer.size());
    MD5_Final(digest, &context);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_OpenSslMd5Large);

void BM_OpenSslMd5Eight(benchmark::State& state) {
  unsigned char digest[16];
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Update(&context, kEight, sizeof kEight);
    MD5_Final(digest, &context);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 8);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_OpenSslMd5Eight);
#endif

double ChildCpuSeconds() {
  struct rusage usage;
  getrusage(RUSAGE_CHILDREN, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) /
             1e6;
}

// md5sum over a file in the page cache; the child's start-up is included
// but small beside 256 MiB of hashing.
void BM_Md5sumFile(benchmark::State& state) {
  char path[] = "/tmp/qz-md5-bench-XXXXXX";
  int fd = mkstemp(path);
  if (fd < 0) {
    state.SkipWithError("mkstemp failed");
    return;
  }
  const std::vector<unsigned char>& buffer = LargeBuffer();
  for (size_t done = 0; done < kFileSize; done += buffer.size()) {
    if (write(fd, buffer.data(), buffer.size()) !=
        static_cast<ssize_t>(buffer.size())) {
      state.SkipWithError("write failed");
      break;
    }
  }
  close(fd);
  std::string command = std::string("md5sum ") + path + " >/dev/null";
  if (system(command.c_str()) != 0) {  // also warms the page cache
    state.SkipWithError("md5sum failed");
  }
  double before = ChildCpuSeconds();
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    if (system(command.c_str()) != 0) {
      state.SkipWithError("md5sum failed");
      break;
    }
  }
  double child_seconds = ChildCpuSeconds() - before;
  unlink(path);
  // On a shared machine the children's own processor time is the fairer
  // measure beside the in-process benchmarks' CPU time.
  if (child_seconds > 0) {
    state.counters["child_cpu_MBps"] = static_cast<double>(state.iterations()) *
                                       static_cast<double>(kFileSize) /
                                       child_seconds / (1 << 20);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kFileSize));
}
BENCHMARK(BM_Md5sumFile)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
