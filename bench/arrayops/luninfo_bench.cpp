// getLUNInfo with host mapping on a Fibre Channel port: a cold lookup scans
// the port for the LDEV's LUN; a cached one is answered from the command
// device's device map. Reports library calls per lookup next to the time.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "cficontextsingleton.h"
#include "hitachi_rmlibintf.h"
#include "sim_control.h"

namespace {

// LDEV 769 sits at LUN 6 of host group 0 on Fibre port 0 in the default model.
const char kLdev[] = "769";

struct Rig {
  Rig() : sim(SIM_ROOT) {
    ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(sim.dir());
    intf.init();
  }
  SCmdInfoPtr commandDevice() {
    SCmdInfoPtr cmd(new SCmdInfo());
    cmd->cmddev = ::strdup("/dev/sdb");
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    intf.attachCmd(cmd);
    return cmd;
  }
  void drop(SCmdInfoPtr& cmd) {
    intf.detachCmd(cmd);
    std::free(cmd->cmddev);
    ::operator delete(cmd->info);
    cmd.release();
  }
  int64_t calls() { return sim.calls("getldev") + sim.calls("getrminfo") + sim.calls("attachcmddev"); }

  SimControl sim;
  CHitachiCommandIntf intf;
};

void BM_LunInfoCold(benchmark::State& state) {
  Rig rig;
  int64_t calls = 0, lookups = 0;
  for (auto _ : state) {
    state.PauseTiming();
    SCmdInfoPtr cmd = rig.commandDevice();  // a fresh record: empty device map
    rig.sim.resetCounters();
    state.ResumeTiming();
    benchmark::DoNotOptimize(rig.intf.getLUNInfo(cmd, kLdev, true));
    state.PauseTiming();
    calls += rig.calls();
    ++lookups;
    rig.drop(cmd);
    state.ResumeTiming();
  }
  state.counters["rmlib_calls_per_lookup"] = static_cast<double>(calls) / lookups;
}
BENCHMARK(BM_LunInfoCold)->Unit(benchmark::kMicrosecond);

void BM_LunInfoCached(benchmark::State& state) {
  Rig rig;
  SCmdInfoPtr cmd = rig.commandDevice();
  rig.intf.getLUNInfo(cmd, kLdev, true);  // fills the device map
  rig.sim.resetCounters();
  for (auto _ : state) benchmark::DoNotOptimize(rig.intf.getLUNInfo(cmd, kLdev, true));
  state.counters["rmlib_calls_per_lookup"] = static_cast<double>(rig.calls()) / state.iterations();
  rig.drop(cmd);
}
BENCHMARK(BM_LunInfoCached)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
