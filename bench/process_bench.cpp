// The cost of starting a program: one ProcessCreate of /bin/true and the
// waitpid that reaps it.

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include <benchmark/benchmark.h>

#include "base/process/process_create.h"

namespace {

void BM_ProcessCreateTrue(benchmark::State& state) {
  const char* command[] = {"/bin/true", "true", nullptr};
  while (state.KeepRunning()) {
    int child = ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
    if (child <= 0) {
      state.SkipWithError("ProcessCreate failed");
      break;
    }
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    if (status != 0) {
      state.SkipWithError("/bin/true did not exit with 0");
      break;
    }
  }
}
BENCHMARK(BM_ProcessCreateTrue)->Unit(benchmark::kMicrosecond);

// The baseline: fork, execv and waitpid with nothing around them.
void BM_PlainForkTrue(benchmark::State& state) {
  char true_path[] = "/bin/true";
  char* const arguments[] = {true_path, nullptr};
  while (state.KeepRunning()) {
    pid_t child = fork();
    if (child == 0) {
      execv(true_path, arguments);
      _exit(127);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
  }
}
BENCHMARK(BM_PlainForkTrue)->Unit(benchmark::kMicrosecond);

// The same with a failing exec: the child's way out through exit().
void BM_ProcessCreateMissing(benchmark::State& state) {
  const char* command[] = {"/nonexistent/qz-program", "qz-program", nullptr};
  while (state.KeepRunning()) {
    int child = ProcessCreate(command, nullptr, 0, 1, 2, 0, 1);
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
  }
}
BENCHMARK(BM_ProcessCreateMissing)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
