// Writing and reading a vdisk record with 16 pairs, against one linear scan
// of the same text (a search that finds nothing) as the baseline: reading
// is a series of such scans, so the ratio says how many it costs.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "hitachi_vdisk.h"

namespace {

SHitachiVirtualDisk sixteenPairs() {
  SHitachiVirtualDisk disk;
  disk.m_deviceId = "256";
  disk.m_enclosureId = "410001";
  disk.m_supportShadowImage = disk.m_supportSnapshot = true;
  disk.m_hostInfo.m_hostGroupName = "db1-backup";
  for (int mu = 0; mu < 16; ++mu) {
    SHitachiSnapPair pair;
    pair.m_muNumber = mu;
    pair.m_lun = static_cast<uint16_t>(100 + mu);
    pair.m_status = 4;
    pair.m_serialNo = 410001;
    disk.m_pairList.push_back(pair);
  }
  return disk;
}

void BM_Serialize16Pairs(benchmark::State& state) {
  const SHitachiVirtualDisk disk = sixteenPairs();
  size_t written = 0;
  for (auto _ : state) {
    ACE_CString text = disk.serialize();
    written = text.length();
    benchmark::DoNotOptimize(text.c_str());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * written));
}
BENCHMARK(BM_Serialize16Pairs);

void BM_Deserialize16Pairs(benchmark::State& state) {
  const std::string text = sixteenPairs().serialize().c_str();
  for (auto _ : state) {
    SHitachiVirtualDisk disk;
    disk.deserialize(text.c_str());
    benchmark::DoNotOptimize(disk.m_pairList.size());
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_Deserialize16Pairs);

void BM_BaselineOneScan(benchmark::State& state) {
  const std::string text = sixteenPairs().serialize().c_str();
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::strstr(text.c_str(), "</NotThere>"));
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_BaselineOneScan);

}  // namespace

BENCHMARK_MAIN();
