// The snapshot lifecycle through the plugin's C entry points against the
// simulator: RMLIB calls per node for select, isready, prepare and make on
// the default model, next to the count the operations' steps call for, and
// the time per node of whole sessions of 10, 100 and 1000 nodes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "lifecycle_host.h"

namespace {

// One method's source on the default model: its LUN on the scanned port
// and the mirror unit of its partner.
struct Method {
  const char* fim;
  const char* udid;
  int lun, mu;
};

const Method kMethods[] = {
    {"Hitachi_ShadowImage", "UDID##HITACHI##HDS##410001##256", 1, 0},
    {"Hitachi_CopyOnWrite", "UDID##HITACHI##HDS##410001##259", 8, 3},
    {"HPXP_BusinessCopy", "UDID##HP##XP##520002##300", 1, 0},
    {"HPXP_Snapshot", "UDID##HP##XP##520002##301", 2, 3},
};

// What the steps call for, counted by hand for the first node on a command
// device not yet attached (lun L, partner at mirror unit M):
//   select : attachcmddev 1, getrminfo 1, getldev 1 + (L + 1) for the device
//            map, getdkclimit 1, pairvolstat M + 1 for discovery, getrminfo 1
//            for the target                                      = L + M + 7
//   isready: pairvolstat 1 (a node whose pair list is set)       = 1
//   prepare: getdkclimit 1, pairvolstat M + 1 to select the pair, 1 for its
//            status; a split pair: pairvolstat 1 for the pace, pairresync 1
//                                                                = M + 5
//   make   : pairvolstat 1 for the status, 1 for the pace, pairsplit 1 = 3
struct Counts {
  int select, isready, prepare, make;
};
Counts handCount(const Method& m) { return {m.lun + m.mu + 7, 1, m.mu + 5, 3}; }

int taken(LifecycleHost& host) {
  const int n = static_cast<int>(host.sim().journal().size());
  host.sim().clearJournal();
  return n;
}

Counts measure(const Method& m) {
  LifecycleHost host(std::string(), 1);
  HostNode& node = host.node(LifecycleHost::marked(m.udid), m.fim);
  Counts counts{};
  host.select("job", {&node});
  counts.select = taken(host);
  host.prepare("job", {});
  counts.prepare = taken(host);
  host.isready({&node});
  counts.isready = taken(host);
  while ((node.domain.flags & ZFI_NODE_READY) == 0) host.isready({&node});
  taken(host);
  host.make("job", {&node}, nullptr);
  counts.make = taken(host);
  return counts;
}

void printCallTable() {
  std::printf("RMLIB calls per node on the default model (measured / by the steps)\n");
  std::printf("%-20s %9s %9s %9s %9s\n", "method", "select", "isready", "prepare", "make");
  for (const Method& m : kMethods) {
    const Counts got = measure(m), want = handCount(m);
    std::printf("%-20s %4d/%-4d %4d/%-4d %4d/%-4d %4d/%-4d\n", m.fim, got.select, want.select, got.isready,
                want.isready, got.prepare, want.prepare, got.make, want.make);
  }
  std::fflush(stdout);
}

// n ShadowImage sources, each paired at mirror unit 0, ten to a Fibre
// Channel port: the device-map scan walks a port's LUNs from 0 for every
// new device, so a host's LUNs on one port would make each lookup cost its
// position (see the closing note of the benchmark output).
std::string generatedModel(int n) {
  std::string model = "setting copy_reads 2\narray 410001 vendor=HITACHI maxmmun=64 unit=1\n";
  model += "cmddev 410001 /dev/sdb ldev=4095\nldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb\n";
  const int perPort = 10;
  for (int port = 0; port * perPort < n; ++port) {
    model += "port 410001 " + std::to_string(port) + " fibre\n";
    model += "hostgroup 410001 " + std::to_string(port) + " 0 @HOST@\n";
  }
  model += "lun 410001 0 0 0 4095\n";
  for (int i = 0; i < n; ++i) {
    const std::string port = std::to_string(i / perPort), source = std::to_string(1000 + i),
                      target = std::to_string(20000 + i);
    const int lun = 1 + 2 * (i % perPort);
    model += "ldev 410001 " + source + " props=si,cow\nldev 410001 " + target + "\n";
    model += "lun 410001 " + port + " 0 " + std::to_string(lun) + " " + source + "\n";
    model += "lun 410001 " + port + " 0 " + std::to_string(lun + 1) + " " + target + "\n";
    model += "pair 410001 " + source + " 0 " + target + " si status=PSUS\n";
  }
  return model;
}

std::map<int, double> g_secondsPerSession;

void BM_Session(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::string model = generatedModel(n);
  double seconds = 0;
  int sessions = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto host = std::make_unique<LifecycleHost>(model, 1);
    std::vector<HostNode*> nodes;
    for (int i = 0; i < n; ++i)
      nodes.push_back(
          &host->node(LifecycleHost::marked("UDID##HITACHI##HDS##410001##" + std::to_string(1000 + i)),
                      "Hitachi_ShadowImage"));
    const auto start = std::chrono::steady_clock::now();
    state.ResumeTiming();
    int rc = host->select("job", nodes);
    rc |= host->prepare("job", {});
    for (int poll = 0; poll < 10 && host->isready(nodes) == 0; ++poll) {
      bool ready = true;
      for (HostNode* node : nodes) ready = ready && (node->domain.flags & ZFI_NODE_READY) != 0;
      if (ready) break;
    }
    std::vector<std::string> names;
    rc |= host->make("job", nodes, &names);
    state.PauseTiming();
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ++sessions;
    if (rc != 0 || static_cast<int>(names.size()) != n) state.SkipWithError("the session failed");
    host.reset();
    state.ResumeTiming();
  }
  g_secondsPerSession[n] = seconds / sessions;
  state.counters["us_per_node"] = 1e6 * seconds / sessions / n;
}
BENCHMARK(BM_Session)->Arg(10)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Session)->Arg(100)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Session)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  printCallTable();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (g_secondsPerSession.count(100) && g_secondsPerSession.count(1000)) {
    const double ratio = g_secondsPerSession[1000] / g_secondsPerSession[100];
    std::printf("session time 1000 nodes / 100 nodes: %.2f (linear: 10, limit 10.5) %s\n", ratio,
                ratio <= 10.5 ? "linear" : "NOT LINEAR");
  }
  return 0;
}
