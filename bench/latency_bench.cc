// How long a quote takes to reach the client: p50, p99 and p99.9 of the time from the hand-over
// of its bytes to the client's FeederReady handler.
//
// In process: a whole feeder fed from memory on the system clock; each quote packet (one quote,
// of the simulator's mix of families) is queued on the in-memory socket, the clock read, and
// UDP_DataArrival (one datagram) or TCP_DataArrival (one read) called; the FeederReady handler
// reads the clock again.
//
// Over loopback: the feeder on the real sockets and its poll loop, a feed thread sending one
// trade a packet at a steady rate (10 000 quotes/s by default), each trade's volume its number,
// so that the handler knows which quote it has and when it was sent.
//
// Not a Google Benchmark: the figures are a distribution. Usage: see kUsage.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_market.h"
#include "bench/bench_report.h"
#include "bench/loopback_session.h"
#include "bench/memory_feeder.h"

namespace quotlink::bench {
namespace {

constexpr char kUsage[] =
    "usage: quotlink_latency_bench [--samples N] [--rate R] [--seconds S] [--instruments N]\n"
    "                              [--in-process | --loopback]\n"
    "  --samples N      quotes handed over per path in process (default 200000)\n"
    "  --rate R         quotes a second over loopback (default 10000)\n"
    "  --seconds S      how long each path is measured over loopback (default 10)\n"
    "  --instruments N  instruments in the market, all on the watch list (default 1000)\n"
    "  --in-process     only the in-process measurement; --loopback: only over loopback\n";

struct Options {
  int64_t samples = 200000;
  int64_t rate = 10000;
  double seconds = 10;
  int64_t instruments = 1000;
  bool in_process = true;
  bool loopback = true;
};

// The first of the samples go: the caches and the branch predictors settle on them.
constexpr size_t kWarmUp = 1000;

void Report(const std::string& key, const std::string& what, std::vector<int64_t> ns,
            int64_t handed) {
  if (ns.empty()) Fail(what + ": no quote reached FeederReady");
  const auto n = static_cast<long long>(ns.size());
  const double p50 = static_cast<double>(Percentile(&ns, 0.50)) / 1e3;
  const double p99 = static_cast<double>(Percentile(&ns, 0.99)) / 1e3;
  const double p999 = static_cast<double>(Percentile(&ns, 0.999)) / 1e3;
  const double max = static_cast<double>(ns.back()) / 1e3;
  std::printf(
      "%s: %lld quotes timed of %lld handed over; p50 %.2f us, p99 %.2f us, p99.9 %.2f us, "
      "most %.1f us\n",
      what.c_str(), n, static_cast<long long>(handed), p50, p99, p999, max);
  PrintRow("quotlink_latency_bench", what,
           Format("p50 %.2f us, p99 %.2f us, p99.9 %.2f us", p50, p99, p999));
  PrintMetric("latency." + key + ".p50_ns", p50 * 1e3);
  PrintMetric("latency." + key + ".p99_ns", p99 * 1e3);
  PrintMetric("latency." + key + ".p999_ns", p999 * 1e3);
}

void InProcess(const Options& o, feedsim::Universe* u) {
  MemoryFeeder f(u);
  InstrumentDeck deck(u, 21);
  feedsim::Rng rng(22);
  FrameRun frames;
  for (int64_t k = 0; k < o.samples + static_cast<int64_t>(kWarmUp); ++k) {
    const QuoteFamily family = rng.OneIn(5) ? QuoteFamily::kPositional : QuoteFamily::kFieldList;
    frames.Add(OneQuoteFrame(u, deck.Next(), family, &rng), 1);
  }
  int64_t reached = -1;  // when FeederReady ran for the quote in hand
  f.client().OnFeederReady([&] {
    if (reached < 0) reached = NowNs();
  });
  for (const bool tcp : {false, true}) {
    FakeSocket& socket = tcp ? f.tcp() : f.udp();
    FeedLink& link = f.link();
    std::vector<int64_t> ns;
    ns.reserve(frames.size());
    for (size_t k = 0; k < frames.size(); ++k) {
      socket.Queue(frames.frame(k));
      reached = -1;
      const int64_t handed = NowNs();
      if (tcp) {
        link.TCP_DataArrival();
      } else {
        link.UDP_DataArrival();
      }
      if (reached >= 0 && k >= kWarmUp) ns.push_back(reached - handed);
    }
    Report(tcp ? "tcp" : "udp",
           Format("in process, the hand-over of %s to the FeederReady handler (system clock, "
                  "%lld instruments watched)",
                  tcp ? "a TCP read of one quote packet (TCP_DataArrival)"
                      : "a datagram of one quote (UDP_DataArrival)",
                  static_cast<long long>(o.instruments)),
           std::move(ns), o.samples);
  }
}

void Loopback(const Options& o, feedsim::Universe* u) {
  LoopbackFeed feed(u);
  LoopbackFeeder feeder(u, &feed, false);
  const auto count = static_cast<size_t>(static_cast<double>(o.rate) * o.seconds);
  InstrumentDeck deck(u, 31);
  feedsim::Rng rng(32);
  FrameRun frames;
  for (size_t k = 0; k < count; ++k)
    frames.Add(TradeFrame(u, deck.Next(), static_cast<uint32_t>(k + 1), &rng), 1);
  std::vector<std::atomic<int64_t>> sent_at(count + 1);
  std::vector<int64_t> ns;
  ns.reserve(count);  // the handler mustn't time a reallocation
  QUOTLINKCls& client = feeder.client();
  client.OnFeederReady([&] {
    const int64_t now = NowNs();
    const auto k = static_cast<int64_t>(std::llround(client.Vol()));
    if (k < 1 || static_cast<size_t>(k) > count) return;
    const int64_t t = sent_at[static_cast<size_t>(k)].load(std::memory_order_acquire);
    if (t > 0 && static_cast<size_t>(k) > kWarmUp) ns.push_back(now - t);
  });
  for (const FeedPath path : {FeedPath::kUdp, FeedPath::kTcp}) {
    for (auto& t : sent_at)
      t.store(0, std::memory_order_relaxed);
    ns.clear();
    StreamPlan plan;
    plan.path = path;
    plan.frames = &frames;
    plan.cycle = false;
    plan.rate = static_cast<double>(o.rate);
    plan.seconds = o.seconds * 2;  // ends with the frames, well before this
    plan.send_ns = sent_at.data();
    const LoopbackFeeder::PathResult r = feeder.Run(plan);
    const bool tcp = path == FeedPath::kTcp;
    Report(tcp ? "loopback_tcp" : "loopback_udp",
           Format("over loopback at %lld quotes/s, from the feed's send (%s) to the FeederReady "
                  "handler",
                  static_cast<long long>(o.rate),
                  tcp ? "one packet a TCP send" : "one packet a datagram"),
           ns, r.sent.quotes);
  }
}

int Main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
    bool ok = true;
    if (a == "--help" || a == "-h") {
      std::printf("%s", kUsage);
      return 0;
    } else if (a == "--in-process" || a == "--loopback") {
      o.in_process = a == "--in-process";
      o.loopback = !o.in_process;
      continue;
    } else if (a == "--samples") {
      ok = v != nullptr && ParseCount(v, 1, 100000000, &o.samples);
    } else if (a == "--rate") {
      ok = v != nullptr && ParseCount(v, 1, 1000000, &o.rate);
    } else if (a == "--seconds") {
      ok = v != nullptr && ParseSeconds(v, &o.seconds);
    } else if (a == "--instruments") {
      ok = v != nullptr && ParseCount(v, 1, 32767, &o.instruments);
    } else {
      ok = false;
    }
    if (!ok) {
      std::fprintf(stderr, "quotlink_latency_bench: bad argument '%s'\n%s", a.c_str(), kUsage);
      return 2;
    }
    ++i;
  }
  feedsim::Universe u = MakeUniverse(static_cast<int>(o.instruments));
  if (o.in_process) InProcess(o, &u);
  if (o.loopback) Loopback(o, &u);
  return 0;
}

}  // namespace
}  // namespace quotlink::bench

int main(int argc, char** argv) {
  return quotlink::bench::Main(argc, argv);
}
