// The bounded copy and append against libbsd's strlcpy and strlcat, over
// sources of several lengths. After the usual table the run prints, for
// each case, the time of the V_ function divided by libbsd's: 1.00 is par,
// below 1 is faster. Both sides run in the same process, so the ratio holds
// across machines better than either time alone.
#include <benchmark/benchmark.h>
#include <bsd/string.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "V_strings.h"

namespace {

constexpr size_t kBufferSize = 512;
const int kLengths[] = {8, 64, 400};

using CopyFn = size_t (*)(char*, const char*, size_t);

size_t bsdStrlcpy(char* d, const char* s, size_t n) { return strlcpy(d, s, n); }
size_t bsdStrlcat(char* d, const char* s, size_t n) { return strlcat(d, s, n); }

void copyInto(benchmark::State& state, CopyFn copy) {
  const std::string source(static_cast<size_t>(state.range(0)), 'a');
  char buffer[kBufferSize];
  for (auto _ : state) {
    benchmark::DoNotOptimize(copy(buffer, source.c_str(), sizeof buffer));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// Appends the source behind a prefix of the same length, so the walk to the
// destination's end costs as much as the copy.
void appendTo(benchmark::State& state, CopyFn append) {
  const size_t length = static_cast<size_t>(state.range(0));
  const std::string prefix(length / 2, 'p');
  const std::string source(length - prefix.size(), 's');
  char buffer[kBufferSize];
  for (auto _ : state) {
    V_strlcpy(buffer, prefix.c_str(), sizeof buffer);
    benchmark::DoNotOptimize(append(buffer, source.c_str(), sizeof buffer));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// Collects the time per iteration of every run, then prints ours over
// libbsd's for every case that both sides ran.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      if (m_cpuTime.emplace(run.benchmark_name(), run.GetAdjustedCPUTime()).second)
        m_order.push_back(run.benchmark_name());
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-24s %12s\n", "V_ / libbsd (cpu time)", "ratio");
    for (const std::string& name : m_order) {
      if (name.rfind("V_", 0) != 0) continue;
      auto baseline = m_cpuTime.find("bsd_" + name.substr(2));
      if (baseline == m_cpuTime.end() || baseline->second <= 0) continue;
      std::printf("%-24s %12.2f\n", name.c_str(), m_cpuTime[name] / baseline->second);
    }
  }

 private:
  std::map<std::string, double> m_cpuTime;
  std::vector<std::string> m_order;  // first-seen order, for the ratio table
};

void registerPair(const char* operation, void (*body)(benchmark::State&, CopyFn), CopyFn ours,
                  CopyFn theirs) {
  benchmark::internal::Benchmark* mine =
      benchmark::RegisterBenchmark(("V_" + std::string(operation)).c_str(), body, ours);
  benchmark::internal::Benchmark* baseline =
      benchmark::RegisterBenchmark(("bsd_" + std::string(operation)).c_str(), body, theirs);
  for (int length : kLengths) {
    mine->Arg(length);
    baseline->Arg(length);
  }
}

}  // namespace

int main(int argc, char** argv) {
  registerPair("strlcpy", copyInto, V_strlcpy, bsdStrlcpy);
  registerPair("strlcat", appendTo, V_strlcat, bsdStrlcat);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
