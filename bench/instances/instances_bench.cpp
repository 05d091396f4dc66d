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

std::string g_dir;

void prepare() {
  CInstanceManager::setMinMaxInstanceNo(601, 699);
  CInstanceManager::setInstanceNoPath(g_dir);
  CInstanceManager::createInstanceNoFile(CInstanceManager::getFilePath("bench"));
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

int main(int argc, char** argv) {
  char pattern[] = "/tmp/instances-bench.XXXXXX";
  if (::mkdtemp(pattern) == nullptr) return 1;
  g_dir = pattern;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  (void)std::system(("rm -rf " + g_dir).c_str());
  return 0;
}
