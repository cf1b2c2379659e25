// What the console window costs the quote path: type-20 frames through ProcessPacketUDP, each
// followed by one pump of the loop (as the UDP intake does per cutting pass), headless on the
// poll loop against the window on its loop. Needs a display ($DISPLAY, e.g. an Xvfb); without one
// the window case reports an error and the headless case still runs.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "bench/bench_report.h"
#include "link/packet_dispatch.h"
#include "platform/poll_loop.h"
#include "tests/support/quote_feeder.h"
#include "window/fltk_console.h"
#include "window/fltk_loop.h"

namespace quotlink {
namespace {

// A feeder with 1000 equity records and 1024 frames of one quote each.
struct Stream {
  QuoteFeeder q;
  std::vector<ByteString> frames;
  Stream() {
    q.bas.Quotes().Simbolos.ReplaceAll(EquityTable(1000));
    q.frm.Data.Unsubscribe(1);  // the fixture's recorder copies every board
    q.bas.Link().frame_tap = nullptr;
    std::mt19937 rng(3);
    for (int k = 0; k < 1024; ++k) {
      const int code = static_cast<int>(rng() % 1000u);
      const std::string sym = "S" + std::to_string(code);
      const uint32_t price = 10000 + rng() % 5000;
      const ByteString body = ByteString("\x03", 1) + Be(price, 4) + "\x04" + Be(price - 5, 4) +
                              "\x06" + Be(1000u + static_cast<unsigned>(k), 4);
      frames.push_back(QuotePacket(kEquityKey, 1, 6, 1, Quote(sym, 6, code, 3, body)));
    }
  }
};

void Run(benchmark::State& state, Stream& s, EventLoop& loop) {
  size_t k = 0;
  for (auto _ : state) {
    s.q.bas.Link().ProcessPacketUDP(s.frames[k++ & 1023]);
    loop.PumpOnce();
  }
  state.counters["quotes/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_QuotesHeadless(benchmark::State& state) {
  Stream s;
  s.q.frm.SetView(nullptr);
  // The same clock as the window's loop: the loop reads it on every pass.
  SystemClock clock;
  PollLoop loop(&clock);
  Run(state, s, loop);
}
BENCHMARK(BM_QuotesHeadless);

void BM_QuotesWithWindow(benchmark::State& state) {
  if (!WindowAvailable()) {
    state.SkipWithError("no display: set DISPLAY (an Xvfb will do)");
    return;
  }
  Stream s;
  SystemClock clock;
  FltkLoop loop(&clock);
  FltkConsole console(&loop);
  s.q.frm.SetView(&console);
  console.ShowWindow();
  // The first drawing loads fonts, once per process: not a cost of the quotes.
  for (int i = 0; i < 10; ++i)
    loop.RunOnce(FltkLoop::kFramePeriodMs);
  Run(state, s, loop);
  state.counters["draws"] = static_cast<double>(loop.display_turns());
  s.q.frm.SetView(nullptr);
}
BENCHMARK(BM_QuotesWithWindow);

int Main(int argc, char** argv) {
  std::map<std::string, bench::RunResult> results;
  const int rc = bench::RunBenchmarks(argc, argv, &results);
  if (rc == 2) return rc;  // a bad argument
  const auto plain = results.find("BM_QuotesHeadless");
  const auto shown = results.find("BM_QuotesWithWindow");
  if (plain == results.end() || shown == results.end()) return rc;
  bench::PrintRow("quotlink_window_bench",
                  "type-20 frames through the UDP processor, one pump each, headless against the "
                  "console window shown",
                  bench::Format("%.2f against %.2f M quotes/s (the window costs %.0f%%)",
                                1e3 / plain->second.real_ns, 1e3 / shown->second.real_ns,
                                100 * (1 - plain->second.real_ns / shown->second.real_ns)));
  return rc;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  return quotlink::Main(argc, argv);
}
