// What a simulated RMLIB call costs, through the library as the plugin
// loads it: the bare call frame (getrmver), a pair status read, and the
// plugin's worst case, a device-map scan of a Fibre Channel port (2048
// getldev calls). Each reports its time as a multiple of the frame's,
// measured in the same run, next to the absolute time.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>

#include "rmsim.h"

namespace {

struct Rig {
  Rig() {
    char pattern[] = "/tmp/rmsim-bench.XXXXXX";
    dir = ::mkdtemp(pattern);
    ::setenv("RMSIM_DB", (dir + "/state.db").c_str(), 1);
    rmsim::Simulator(dir + "/state.db").loadModel(rmsim::Simulator::defaultModel(), "db1");
    handle = ::dlopen(SIM_ROOT "/usr/lib/libsvrrm.so", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return;
    attach = reinterpret_cast<decltype(attach)>(::dlsym(handle, "attachcmddev"));
    version = reinterpret_cast<decltype(version)>(::dlsym(handle, "getrmver"));
    volstat = reinterpret_cast<decltype(volstat)>(::dlsym(handle, "pairvolstat"));
    ldev = reinterpret_cast<decltype(ldev)>(::dlsym(handle, "getldev"));
    char path[] = "/dev/sdb";
    attach(&cmd, path, 601);
    frameSeconds = timeFrame();
  }
  ~Rig() {
    if (handle) ::dlclose(handle);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }
  double timeFrame() {
    const int calls = 200;
    int v = 0;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) version(&v);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / calls;
  }
  static targdev address(int lun, int mu) {
    targdev t;
    std::memset(&t, 0, sizeof t);
    t.porttype = 1;
    t.lun = lun;
    t.mun = mu;
    t.ldevno = 0xFFFF;
    return t;
  }
  void report(benchmark::State& state, double seconds) {
    state.counters["x_frame"] = seconds / state.iterations() / frameSeconds;
  }

  std::string dir;
  void* handle = nullptr;
  int (*attach)(cmddevinfo*, char*, int) = nullptr;
  int (*version)(int*) = nullptr;
  int (*volstat)(cmddevinfo*, targdev*, pairstatinfo*) = nullptr;
  int (*ldev)(cmddevinfo*, targdev*) = nullptr;
  cmddevinfo cmd{};
  double frameSeconds = 1.0;
};

template <class Fn>
void run(benchmark::State& state, Fn body) {
  Rig rig;
  if (rig.handle == nullptr) {
    state.SkipWithError("libsvrrm.so not found");
    return;
  }
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) body(rig);
  rig.report(state, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

void BM_CallFrame(benchmark::State& state) {
  run(state, [](Rig& rig) {
    int v = 0;
    benchmark::DoNotOptimize(rig.version(&v));
  });
}
BENCHMARK(BM_CallFrame)->Unit(benchmark::kMicrosecond);

void BM_PairStatus(benchmark::State& state) {
  run(state, [](Rig& rig) {
    targdev t = Rig::address(2, 0);
    pairstatinfo info;
    benchmark::DoNotOptimize(rig.volstat(&rig.cmd, &t, &info));
  });
}
BENCHMARK(BM_PairStatus)->Unit(benchmark::kMicrosecond);

void BM_FibrePortScan(benchmark::State& state) {
  run(state, [](Rig& rig) {
    for (int lun = 0; lun < 2048; ++lun) {
      targdev t = Rig::address(lun, 0);
      benchmark::DoNotOptimize(rig.ldev(&rig.cmd, &t));
    }
  });
}
BENCHMARK(BM_FibrePortScan)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
