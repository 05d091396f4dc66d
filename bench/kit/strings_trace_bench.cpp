// Bounded string functions against libbsd's, and the cost of a trace call
// that the level filter rejects.
#include <benchmark/benchmark.h>
#include <bsd/string.h>

#include <cstdlib>
#include <string>

#include "V_strings.h"
#include "cfitracelog.h"

namespace {

const std::string kShort(15, 'a');
const std::string kLong(200, 'b');

template <size_t (*Copy)(char*, const char*, size_t)>
void copy(benchmark::State& state, const std::string& source) {
  char buffer[256];
  for (auto _ : state) {
    benchmark::DoNotOptimize(Copy(buffer, source.c_str(), sizeof buffer));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * source.size());
}

template <size_t (*Append)(char*, const char*, size_t)>
void append(benchmark::State& state, const std::string& source) {
  char buffer[512];
  for (auto _ : state) {
    buffer[0] = '\0';
    Append(buffer, source.c_str(), sizeof buffer);
    benchmark::DoNotOptimize(Append(buffer, source.c_str(), sizeof buffer));
    benchmark::ClobberMemory();
  }
}

size_t bsdCopy(char* d, const char* s, size_t n) { return strlcpy(d, s, n); }
size_t bsdAppend(char* d, const char* s, size_t n) { return strlcat(d, s, n); }

void BM_V_strlcpy_short(benchmark::State& s) { copy<V_strlcpy>(s, kShort); }
void BM_bsd_strlcpy_short(benchmark::State& s) { copy<bsdCopy>(s, kShort); }
void BM_V_strlcpy_long(benchmark::State& s) { copy<V_strlcpy>(s, kLong); }
void BM_bsd_strlcpy_long(benchmark::State& s) { copy<bsdCopy>(s, kLong); }
void BM_V_strlcat_long(benchmark::State& s) { append<V_strlcat>(s, kLong); }
void BM_bsd_strlcat_long(benchmark::State& s) { append<bsdAppend>(s, kLong); }
BENCHMARK(BM_V_strlcpy_short);
BENCHMARK(BM_bsd_strlcpy_short);
BENCHMARK(BM_V_strlcpy_long);
BENCHMARK(BM_bsd_strlcpy_long);
BENCHMARK(BM_V_strlcat_long);
BENCHMARK(BM_bsd_strlcat_long);

void BM_TraceFilteredOut(benchmark::State& state) {
  frim_pdk_4_4::CFiTraceLog log;
  log.initialize("bench", ACE_CString("/tmp"), ACE_CString("bench-trace.log"), 1, false);
  for (auto _ : state) log.trace(6, "Entering Function %s [%d, %s]", "pairvolstat", 42, "hitachi_pairops.cpp");
}
BENCHMARK(BM_TraceFilteredOut);

void BM_TraceWritten(benchmark::State& state) {
  frim_pdk_4_4::CFiTraceLog log;
  log.initialize("bench", ACE_CString("/tmp"), ACE_CString("bench-trace.log"), 6, false);
  for (auto _ : state) log.trace(6, "Entering Function %s [%d, %s]", "pairvolstat", 42, "hitachi_pairops.cpp");
  std::remove("/tmp/bench-trace.log");
}
BENCHMARK(BM_TraceWritten);

}  // namespace

BENCHMARK_MAIN();
