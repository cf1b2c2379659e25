// DecodeValue runs once for every numeric field of every quote: its cost by format code and
// field length.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <string>

#include "bench/bench_report.h"
#include "database/value_decoding.h"

namespace quotlink {
namespace {

// Arguments: format code, field length in bytes, process code.
void BM_DecodeValue(benchmark::State& state) {
  const auto code = static_cast<int16_t>(state.range(0));
  const ByteString bytes("\x04\xD5\x30\x39\x7F\x12\x34\x56", static_cast<size_t>(state.range(1)));
  SimboloRec record = NewWorkingRecord();
  record.ProcessCode = static_cast<int32_t>(state.range(2));
  record.PrimaryFormat = 2;
  for (auto _ : state) {
    benchmark::DoNotOptimize(DecodeValue(record, bytes, code));
  }
}
BENCHMARK(BM_DecodeValue)
    ->ArgNames({"code", "len", "proc"})
    ->Args({0, 4, -1})   // whole number, signed
    ->Args({0, 4, 1})    // whole number, last digit in eighths
    ->Args({2, 2, -1})   // two decimal places
    ->Args({13, 3, 1})   // whole part and eighths
    ->Args({14, 4, 14})  // thirty-seconds and eighths
    ->Args({45, 2, -1})  // indirect, through PrimaryFormat
    ->Args({31, 2, -1})  // date
    ->Args({64, 2, -1})  // 256ths
    ->Args({6, 8, -1});  // long unsigned field

int Main(int argc, char** argv) {
  std::map<std::string, bench::RunResult> results;
  const int rc = bench::RunBenchmarks(argc, argv, &results);
  if (rc == 2 || results.empty()) return rc;  // a bad argument, or nothing ran
  double lo = 0, hi = 0;
  for (const auto& [name, r] : results) {
    lo = lo == 0 ? r.cpu_ns : std::min(lo, r.cpu_ns);
    hi = std::max(hi, r.cpu_ns);
  }
  bench::PrintRow("quotlink_decode_bench", "DecodeValue across format codes and field lengths",
                  bench::Format("%.1f to %.1f ns a value (CPU)", lo, hi));
  return rc;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  return quotlink::Main(argc, argv);
}
