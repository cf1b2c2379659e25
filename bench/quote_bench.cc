// The quote path per quote: frames of one quote each, written by the feed simulator's encoders,
// from the UDP processor through decoding, merge and publication to a client's FeederReady
// handler that copies the quote, on the system clock, with 10, 1000 and 32767 records in the
// table and every one of them on the watch list. The quotes spread evenly over the whole table
// in a long sequence (every record several times over, the same length for every table), so
// the larger tables pay for the memory they really touch. The cost per quote must not grow with
// the table, and a quote must allocate nothing: the program prints the 32767 : 10 ratio of the
// time per quote and the allocations per quote (the median of the repetitions when
// --benchmark_repetitions asks for several). At 32767 records the time moves by some tens of
// percent from one run of the program to the next on a shared machine (with address space
// randomisation off as well), while the repetitions of one run agree: scripts/bench.sh takes
// the median of three runs.
//
// And ReadFullRecord of a 20-field layout.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_market.h"
#include "bench/bench_report.h"
#include "bench/memory_feeder.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/quote_frames.h"

namespace quotlink::bench {
namespace {

constexpr int kTableSizes[] = {10, 1000, 32767};
// Frames in each sequence: 8 quotes a record at the largest table.
constexpr size_t kFrames = size_t{1} << 18;

// A started feeder over a market of `records` instruments, all watched and all with their
// records, and a sequence of frames of each family.
struct Rig {
  explicit Rig(int n) : records(n), market(MakeUniverse(n)), feeder(&market) {
    InstrumentDeck deck(&market, 5);
    feedsim::Rng rng(9);
    for (size_t k = 0; k < kFrames; ++k)
      field_list.Add(OneQuoteFrame(&market, deck.Next(), QuoteFamily::kFieldList, &rng), 1);
    for (size_t k = 0; k < kFrames; ++k)
      positional.Add(OneQuoteFrame(&market, deck.Next(), QuoteFamily::kPositional, &rng), 1);
    // Once through both: the table holds every record's values and capacities have settled.
    for (const FrameRun* run : {&field_list, &positional}) {
      for (size_t k = 0; k < run->size(); ++k)
        feeder.link().ProcessPacketUDP(run->frame(k));
    }
  }
  const int records;
  feedsim::Universe market;
  MemoryFeeder feeder;
  FrameRun field_list;
  FrameRun positional;
  size_t next = 0;  // where the next run of the benchmark goes on in its sequence
};

// One rig at a time: the benchmarks of one table size run one after the other.
Rig& RigFor(int records) {
  static std::unique_ptr<Rig> rig;
  if (rig == nullptr || rig->records != records) {
    rig.reset();
    rig = std::make_unique<Rig>(records);
  }
  return *rig;
}

void RunQuotes(benchmark::State& state, QuoteFamily family) {
  Rig& rig = RigFor(static_cast<int>(state.range(0)));
  const FrameRun& run = family == QuoteFamily::kFieldList ? rig.field_list : rig.positional;
  FeedLink& link = rig.feeder.link();
  size_t k = rig.next % run.size();
  const int64_t ready_before = rig.feeder.ready();
  const int64_t allocs_before = AllocationCount();
  for (auto _ : state) {
    link.ProcessPacketUDP(run.frame(k));
    if (++k == run.size()) k = 0;
  }
  const int64_t allocs = AllocationCount() - allocs_before;
  const int64_t ready = rig.feeder.ready() - ready_before;
  rig.next = k;
  if (ready == 0) state.SkipWithError("no quote reached FeederReady");
  const auto n = static_cast<double>(state.iterations());
  state.counters["quotes/s"] = benchmark::Counter(n, benchmark::Counter::kIsRate);
  state.counters["allocs/quote"] = static_cast<double>(allocs) / n;
  state.counters["published"] = static_cast<double>(ready) / n;
}

void BM_FieldListQuotes(benchmark::State& state) {
  RunQuotes(state, QuoteFamily::kFieldList);
}
void BM_PositionalQuotes(benchmark::State& state) {
  RunQuotes(state, QuoteFamily::kPositional);
}

// ReadFullRecord over a layout of 20 fields of 4 bytes.
void BM_ReadFullRecord20(benchmark::State& state) {
  FeederFixture f;
  ImageLayout img;
  img.field_names = {
      "SYMBOL", "LAST",           "BID",      "ASK",      "VOLUME",        "HIGH", "LOW",
      "OPEN",   "PREVIOUS CLOSE", "BID SIZE", "ASK SIZE", "OPEN INTEREST", "SPARE"};
  DatabaseLayout db;
  db.key1 = "ABCD";
  db.count_a = 20;
  db.slots.push_back({0, 4, 0});
  for (int16_t j = 1; j < 20; ++j)
    db.slots.push_back({2, 4, static_cast<int16_t>(j % 13)});
  img.databases = {db};
  (void)ParseFeedImage(WriteImage(img), ByteView("\x09\x03\0\x01", 4), &f.bas.Database(),
                       [](std::string_view) {});
  f.frm.DTNSYMBOLS.Add("ES");
  const int32_t idx =
      f.bas.Quotes().Simbolos.Add("DCBA", 1, "ES", [](std::string_view) { return 1; });
  ByteString text = "ES  ";
  for (int j = 1; j < 20; ++j)
    text += Be(static_cast<uint64_t>(1000 + j), 4);
  text += "tr";
  for (auto _ : state) {
    int32_t index = idx;
    f.bas.Quotes().ReadFullRecord(text, 1, &index, 1, 20, "DCBA", 1);
    benchmark::DoNotOptimize(index);
  }
  state.counters["records/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// The rows and figures of one family, when all its table sizes ran.
void ReportFamily(const std::map<std::string, RunResult>& results, const char* name,
                  const char* family, const char* metric, double* worst_allocs) {
  std::string times;
  std::vector<double> ns;
  for (int size : kTableSizes) {
    const auto it = results.find(std::string(name) + "/" + std::to_string(size));
    if (it == results.end()) return;
    ns.push_back(it->second.cpu_ns);
    const auto allocs = it->second.max_counters.find("allocs/quote");
    if (allocs != it->second.max_counters.end())
      *worst_allocs = std::max(*worst_allocs, allocs->second);
    times += (times.empty() ? "" : " / ") + Format("%.2f", it->second.cpu_ns / 1000);
  }
  const double ratio = ns.back() / ns.front();
  PrintRow("quotlink_quote_bench",
           Format("%s quotes, one a frame, UDP processor to a copying FeederReady handler, "
                  "system clock, every record watched, quotes spread over the whole table; "
                  "10 / 1000 / 32767 records",
                  family),
           Format("%s us a quote (CPU); 32767 : 10 = %.2f", times.c_str(), ratio));
  PrintMetric(Format("quote.%s.ratio", metric), ratio);
  PrintMetric(Format("quote.%s.ns_10", metric), ns.front());
  PrintMetric(Format("quote.%s.ns_32767", metric), ns.back());
}

int Main(int argc, char** argv) {
  for (int size : kTableSizes) {
    benchmark::RegisterBenchmark("BM_FieldListQuotes", BM_FieldListQuotes)->Arg(size);
    benchmark::RegisterBenchmark("BM_PositionalQuotes", BM_PositionalQuotes)->Arg(size);
  }
  benchmark::RegisterBenchmark("BM_ReadFullRecord20", BM_ReadFullRecord20);
  std::map<std::string, RunResult> results;
  const int rc = RunBenchmarks(argc, argv, &results);
  if (rc == 2) return rc;  // a bad argument
  double worst_allocs = -1;
  ReportFamily(results, "BM_FieldListQuotes", "field-list", "field_list", &worst_allocs);
  ReportFamily(results, "BM_PositionalQuotes", "positional", "positional", &worst_allocs);
  if (worst_allocs >= 0) {
    PrintRow("quotlink_quote_bench", "allocations per quote, both families, every table size",
             Format("%.4g", worst_allocs));
    PrintMetric("quote.allocs_per_quote", worst_allocs);
  }
  const auto rfr = results.find("BM_ReadFullRecord20");
  if (rfr != results.end()) {
    PrintRow("quotlink_quote_bench", "ReadFullRecord of a 20-field layout",
             Format("%.0f ns (%.1f M records/s)", rfr->second.cpu_ns, 1e3 / rfr->second.cpu_ns));
  }
  return rc;
}

}  // namespace
}  // namespace quotlink::bench

int main(int argc, char** argv) {
  return quotlink::bench::Main(argc, argv);
}
