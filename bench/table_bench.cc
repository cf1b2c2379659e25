// Cost of finding a quote record by key and code, for a table of a few, many and the most
// records. Every type-20 quote looks its record up once, so this cost must not grow with the
// table.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_report.h"
#include "quotes/simbolo_table.h"

namespace quotlink {
namespace {

struct Lookup {
  char key[4];
  int32_t code;
};

// A table of `n` records under a handful of layout keys, numbered in a row within each key as
// the feed numbers instruments, and a long stream of lookups drawn at random over all its
// pairs: 2^20 of them, the same number for every table, so that the largest table's index
// (1.25 MB) is visited all over, many times, and no table's lookups repeat in a short cycle
// that the caches or the branch predictor learn by heart.
constexpr size_t kLookups = size_t{1} << 20;

void Fill(int32_t n, SimboloTable* table, std::vector<Lookup>* lookups) {
  const char* keys[] = {"\x01\x02\x03\x04", "STK1", "OPT9", "\0FUT"};
  std::vector<SimboloRec> recs;
  std::vector<Lookup> pairs;
  for (int32_t i = 0; i < n; ++i) {
    SimboloRec r = ZeroSimboloRec();
    std::memcpy(r.DatabaseKey, keys[i % 4], 4);
    r.SymbolCode = 1000 + i / 4;
    std::memcpy(r.Simbolo, "SYM         ", 12);
    recs.push_back(r);
    Lookup l;
    std::memcpy(l.key, keys[i % 4], 4);
    l.code = r.SymbolCode;
    pairs.push_back(l);
  }
  table->ReplaceAll(std::move(recs));
  std::mt19937 rng(42);
  std::uniform_int_distribution<size_t> pick(0, pairs.size() - 1);
  for (size_t i = 0; i < kLookups; ++i)
    lookups->push_back(pairs[pick(rng)]);
}

void BM_Find(benchmark::State& state) {
  SimboloTable table;
  std::vector<Lookup> lookups;
  Fill(static_cast<int32_t>(state.range(0)), &table, &lookups);
  size_t next = 0;
  for (auto _ : state) {
    const Lookup& l = lookups[next];
    benchmark::DoNotOptimize(table.Find(ByteView(l.key, 4), l.code));
    if (++next == lookups.size()) next = 0;
  }
}
BENCHMARK(BM_Find)->Arg(10)->Arg(1000)->Arg(SimboloTable::kMaxRecords);

int Main(int argc, char** argv) {
  std::map<std::string, bench::RunResult> results;
  const int rc = bench::RunBenchmarks(argc, argv, &results);
  if (rc == 2) return rc;  // a bad argument
  std::string figure;
  for (int size : {10, 1000, int{SimboloTable::kMaxRecords}}) {
    const auto it = results.find("BM_Find/" + std::to_string(size));
    if (it == results.end()) return rc;
    figure += (figure.empty() ? "" : " / ") + bench::Format("%.1f", it->second.cpu_ns);
  }
  bench::PrintRow("quotlink_table_bench",
                  "finding a record by key and code, 2^20 lookups over the whole table, "
                  "10 / 1000 / 32767 records",
                  figure + " ns (CPU)");
  return rc;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  return quotlink::Main(argc, argv);
}
