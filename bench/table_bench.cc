// Cost of finding a quote record by key and code, for a table of a few, many and the most
// records. Every type-20 quote looks its record up once, so this cost must not grow with the
// table.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "quotes/simbolo_table.h"

namespace quotlink {
namespace {

struct Lookup {
  char key[4];
  int32_t code;
};

// A table of `n` records under a handful of layout keys, numbered in a row within each key as
// the feed numbers instruments, and a stream of lookups drawn at random from all its pairs. The
// stream has the same length for every table, so that a small table's lookups don't repeat in a
// short cycle that the processor's branch predictor learns by heart. Its length stands for the
// instruments that quote in a short while; a stream that visits all 32767 records at random
// puts the whole index (1.25 MB) into play and runs into the size of the nearer caches, not into
// any walk of the table: on the development machine it then costs about 1.8 times the small
// table's lookup.
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
  for (int i = 0; i < 8192; ++i)
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

}  // namespace
}  // namespace quotlink

BENCHMARK_MAIN();
