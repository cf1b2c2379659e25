// The quote path: from a type-20 frame in the UDP processor to a subscriber of `Data`, with
// 10, 1000 and 32767 records in the table; and ReadFullRecord of a 20-field layout. Counts
// allocations in the steady state: there must be none per quote.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>

#include "link/packet_dispatch.h"
#include "quotes/quote_stream.h"
#include "tests/support/alloc_counter.h"
#include "tests/support/quote_feeder.h"

namespace quotlink {
namespace {

// A feeder whose table holds `records` equity records, with one frame per record to send.
struct Stream {
  QuoteFeeder q;
  std::vector<ByteString> frames;
  Stream(int records, bool positional) {
    q.bas.Quotes().Simbolos.ReplaceAll(EquityTable(records));
    q.bas.Form().Data.Subscribe([] {});
    std::mt19937 rng(3);
    for (int k = 0; k < 1024; ++k) {
      const int code = static_cast<int>(rng() % static_cast<unsigned>(records));
      const std::string sym = "S" + std::to_string(code);
      const uint32_t price = 10000 + rng() % 5000;
      ByteString body;
      if (positional) {
        body = EquityRecord(sym, 0, price, price - 5, price + 5, 1000 + k);
        frames.push_back(QuotePacket(kEquityKey, 4, 6, 1,
                                     Quote(sym, 6, code, static_cast<int>(body.size()), body)));
      } else {
        body = ByteString("\x03", 1) + Be(price, 4) + "\x04" + Be(price - 5, 4) + "\x06" +
               Be(1000u + static_cast<unsigned>(k), 4);
        frames.push_back(QuotePacket(kEquityKey, 1, 6, 1, Quote(sym, 6, code, 3, body)));
      }
    }
  }
};

void RunQuotes(benchmark::State& state, bool positional) {
  Stream s(static_cast<int>(state.range(0)), positional);
  for (const auto& f : s.frames)
    s.q.bas.Link().ProcessPacketUDP(f);  // warm up: capacities settle
  const size_t published_before = s.q.published.capacity();
  s.q.published.clear();
  s.q.published.shrink_to_fit();
  (void)published_before;
  // The fixture's recording subscriber copies boards; drop it for the measurement.
  QuoteFeeder& q = s.q;
  q.frm.Data.Unsubscribe(1);
  q.bas.Link().frame_tap = nullptr;  // the fixture's recorders copy what they see
  q.frm.SetView(nullptr);
  const int64_t before = AllocationCount();
  size_t k = 0;
  for (auto _ : state) {
    q.bas.Link().ProcessPacketUDP(s.frames[k++ & 1023]);
  }
  const int64_t allocs = AllocationCount() - before;
  state.counters["quotes/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["allocs/quote"] =
      static_cast<double>(allocs) / static_cast<double>(state.iterations());
}

void BM_FieldListQuotes(benchmark::State& state) {
  RunQuotes(state, false);
}
void BM_PositionalQuotes(benchmark::State& state) {
  RunQuotes(state, true);
}
BENCHMARK(BM_FieldListQuotes)->Arg(10)->Arg(1000)->Arg(32767);
BENCHMARK(BM_PositionalQuotes)->Arg(10)->Arg(1000)->Arg(32767);

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
BENCHMARK(BM_ReadFullRecord20);

}  // namespace
}  // namespace quotlink

BENCHMARK_MAIN();
