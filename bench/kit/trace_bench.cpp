// The cost of a trace call that the level filter rejects (the common case:
// the plugin runs at level 1 and traces every function at level 6), next to
// one that is written, in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "cfitracelog.h"

namespace {

void traceAt(benchmark::State& state, int level) {
  frim_pdk_4_4::CFiTraceLog log;
  log.initialize("bench", ACE_CString("/tmp"), ACE_CString("hitachifi-bench-trace.log"), level, false);
  for (auto _ : state)
    log.trace(6, "Entering Function %s [%d, %s]", "pairvolstat", 42, "hitachi_pairops.cpp");
  std::remove("/tmp/hitachifi-bench-trace.log");
}

void BM_TraceFilteredOut(benchmark::State& state) { traceAt(state, 1); }
void BM_TraceWritten(benchmark::State& state) { traceAt(state, 6); }
BENCHMARK(BM_TraceFilteredOut);
BENCHMARK(BM_TraceWritten);

}  // namespace

BENCHMARK_MAIN();
