// Allocating and releasing instance numbers, alone and while other
// processes do the same on the same file.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "hitachi_instanceManager.h"

namespace {

std::string prepare() {
  static std::string dir;
  if (dir.empty()) {
    char pattern[] = "/tmp/instances-bench.XXXXXX";
    dir = ::mkdtemp(pattern);
  }
  CInstanceManager::setMinMaxInstanceNo(601, 699);
  CInstanceManager::setInstanceNoPath(dir);
  CInstanceManager::createInstanceNoFile(CInstanceManager::getFilePath("bench"));
  return dir;
}

void allocateAndRelease() {
  CInstanceNumber number;
  benchmark::DoNotOptimize(number.get("bench"));
}

void BM_AllocateRelease(benchmark::State& state) {
  prepare();
  const int competitors = static_cast<int>(state.range(0));
  std::vector<pid_t> children;
  for (int i = 0; i < competitors; ++i) {
    pid_t pid = ::fork();
    if (pid == 0) {
      for (;;) allocateAndRelease();  // until the benchmark ends it
    }
    children.push_back(pid);
  }
  for (auto _ : state) allocateAndRelease();
  for (pid_t pid : children) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["competing_processes"] = competitors;
}
BENCHMARK(BM_AllocateRelease)->Arg(0)->Arg(1)->Arg(3)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
