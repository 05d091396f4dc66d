// What a simulated RMLIB call costs, through the library as the plugin
// loads it: the bare call frame (getrmver), a pair status read, and the
// plugin's worst case, a device-map scan of a Fibre Channel port (2048
// getldev calls). Each reports its time as a multiple of the frame's,
// measured in the same run, next to the absolute time. And how long a pair
// status read waits while another process polls without pause, against the
// same reads with nobody else calling.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

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

// Microseconds each of `reads` status reads of LUN 1 took, sorted.
std::vector<double> timeReads(Rig& rig, int reads) {
  std::vector<double> took;
  for (int i = 0; i < reads; ++i) {
    targdev t = Rig::address(1, 0);
    pairstatinfo info;
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(rig.volstat(&rig.cmd, &t, &info));
    took.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(took.begin(), took.end());
  return took;
}

double percentile(const std::vector<double>& sorted, double share) {
  const size_t at = static_cast<size_t>(share * static_cast<double>(sorted.size()));
  return sorted[std::min(at, sorted.size() - 1)];
}

// A child reading LUN 2's pair status through the library in a tight loop,
// as a restore's completion poll does, from its first read until killed.
pid_t startPoller(Rig& rig) {
  int ready[2];
  if (::pipe(ready) != 0) return -1;
  const pid_t pid = ::fork();
  if (pid == 0) {
    targdev t = Rig::address(2, 0);
    pairstatinfo info;
    if (rig.volstat(&rig.cmd, &t, &info) == 0 && ::write(ready[1], "!", 1) == 1) {
      while (true) rig.volstat(&rig.cmd, &t, &info);
    }
    ::_exit(1);
  }
  char sign;
  const bool polling = pid > 0 && ::read(ready[0], &sign, 1) == 1;
  ::close(ready[0]);
  ::close(ready[1]);
  return polling ? pid : -1;
}

// Argument 0: both pairs in PAIR, so every read only looks; 1: both copying
// (copy_reads high), so every read advances its copy and takes a writer's turn.
void BM_PairStatusUnderPoll(benchmark::State& state) {
  Rig rig;
  if (rig.handle == nullptr) {
    state.SkipWithError("libsvrrm.so not found");
    return;
  }
  if (state.range(0) != 0) {
    rmsim::Simulator control(rig.dir + "/state.db");
    control.setSetting("copy_reads", "1000000");
    control.setPairStatus(410001, 256, 0, RMSIM_COPY);
    control.setPairStatus(410001, 257, 0, RMSIM_COPY);
  }
  const int reads = 2000;
  std::vector<double> idle, polled;
  for (auto _ : state) {
    idle = timeReads(rig, reads);
    const pid_t poller = startPoller(rig);
    if (poller < 0) {
      state.SkipWithError("the poller did not start");
      return;
    }
    polled = timeReads(rig, reads);
    ::kill(poller, SIGKILL);
    ::waitpid(poller, nullptr, 0);
  }
  state.counters["idle_p50_us"] = percentile(idle, 0.5);
  state.counters["idle_p99_us"] = percentile(idle, 0.99);
  state.counters["idle_max_us"] = idle.back();
  state.counters["poll_p50_us"] = percentile(polled, 0.5);
  state.counters["poll_p99_us"] = percentile(polled, 0.99);
  state.counters["poll_max_us"] = polled.back();
  state.counters["p99_ratio"] = percentile(polled, 0.99) / percentile(idle, 0.99);
  double load[1] = {0.0};
  if (::getloadavg(load, 1) == 1) state.counters["load_1min"] = load[0];
}
BENCHMARK(BM_PairStatusUnderPoll)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
