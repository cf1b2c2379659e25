// A whole feeder over real loopback sockets, holding a rate: a feed thread answers the session
// (the simulator's responder), then sends the simulator's own quote packets (one to four quotes
// each, both families) at a given rate for a given time, first on TCP, then on UDP one packet a
// datagram. The feeder runs on this thread as the real program runs it. Reports per path what
// was sent, what reached the feeder's processor, what was lost, and the feeder's CPU per quote.
//
// Not a Google Benchmark: one run is a whole session of minutes. Usage: see kUsage.
#include <cstdio>
#include <string>

#include "bench/bench_market.h"
#include "bench/bench_report.h"
#include "bench/loopback_session.h"

namespace quotlink::bench {
namespace {

constexpr char kUsage[] =
    "usage: quotlink_loopback_bench [--seconds S] [--tcp-rate R] [--udp-rate R] [--path P]\n"
    "                               [--instruments N] [--window]\n"
    "  --seconds S      how long each path holds its rate (default 60)\n"
    "  --tcp-rate R     quotes a second on TCP; 0 sends as fast as TCP takes them (default "
    "1000000)\n"
    "  --udp-rate R     quotes a second on UDP; 0 sends as fast as the sender can (default "
    "200000)\n"
    "  --path P         tcp, udp or both (default both)\n"
    "  --instruments N  instruments in the market, all on the watch list (default 1000)\n"
    "  --window         the feeder runs with the console window shown (needs a display)\n";

struct Options {
  double seconds = 60;
  int64_t tcp_rate = 1000000;
  int64_t udp_rate = 200000;
  int64_t instruments = 1000;
  bool tcp = true;
  bool udp = true;
  bool window = false;
};

void Report(const char* path, int64_t rate, const LoopbackFeeder::PathResult& r) {
  const int64_t lost = r.sent.quotes - r.received_quotes;
  const double sent_rate = static_cast<double>(r.sent.quotes) / r.sent.seconds;
  const double cpu_us =
      r.received_quotes > 0 ? r.cpu_ns / 1e3 / static_cast<double>(r.received_quotes) : 0;
  std::printf(
      "%s: asked %lld quotes/s for %.1f s; sent %lld quotes in %lld frames (%.0f quotes/s); "
      "received %lld; lost %lld (%.3f%%); FeederReady %lld; feeder CPU %.2f us a quote\n",
      path, static_cast<long long>(rate), r.sent.seconds, static_cast<long long>(r.sent.quotes),
      static_cast<long long>(r.sent.frames), sent_rate, static_cast<long long>(r.received_quotes),
      static_cast<long long>(lost),
      r.sent.quotes > 0 ? 100.0 * static_cast<double>(lost) / static_cast<double>(r.sent.quotes)
                        : 0.0,
      static_cast<long long>(r.ready), cpu_us);
  if (r.ready == 0) Fail(std::string(path) + ": no quote reached FeederReady");
  const std::string asked = rate > 0
                                ? Format("%.3g M quotes/s asked", static_cast<double>(rate) / 1e6)
                                : std::string("as fast as it goes");
  PrintRow(
      "quotlink_loopback_bench",
      Format("%s over loopback, the simulator's packets%s, %s for %.0f s", path,
             std::string(path) == "UDP" ? " one a datagram" : "", asked.c_str(), r.sent.seconds),
      Format("sent %.3f M quotes/s, lost %lld of %lld (%.3f%%); feeder CPU %.2f us a quote",
             sent_rate / 1e6, static_cast<long long>(lost), static_cast<long long>(r.sent.quotes),
             r.sent.quotes > 0
                 ? 100.0 * static_cast<double>(lost) / static_cast<double>(r.sent.quotes)
                 : 0.0,
             cpu_us));
  const std::string p = std::string(path) == "TCP" ? "tcp" : "udp";
  PrintMetric("loopback." + p + ".asked_rate", static_cast<double>(rate));
  PrintMetric("loopback." + p + ".sent_rate", sent_rate);
  PrintMetric("loopback." + p + ".seconds", r.sent.seconds);
  PrintMetric("loopback." + p + ".lost", static_cast<double>(lost));
  PrintMetric("loopback." + p + ".cpu_ns_per_quote", cpu_us * 1e3);
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
    } else if (a == "--window") {
      o.window = true;
      continue;
    } else if (a == "--seconds") {
      ok = v != nullptr && ParseSeconds(v, &o.seconds);
    } else if (a == "--tcp-rate") {
      ok = v != nullptr && ParseCount(v, 0, 100000000, &o.tcp_rate);
    } else if (a == "--udp-rate") {
      ok = v != nullptr && ParseCount(v, 0, 100000000, &o.udp_rate);
    } else if (a == "--instruments") {
      ok = v != nullptr && ParseCount(v, 1, 32767, &o.instruments);
    } else if (a == "--path") {
      const std::string p = v != nullptr ? v : "";
      ok = p == "tcp" || p == "udp" || p == "both";
      o.tcp = p != "udp";
      o.udp = p != "tcp";
    } else {
      ok = false;
    }
    if (!ok) {
      std::fprintf(stderr, "quotlink_loopback_bench: bad argument '%s'\n%s", a.c_str(), kUsage);
      return 2;
    }
    ++i;
  }
  feedsim::Universe u = MakeUniverse(static_cast<int>(o.instruments));
  LoopbackFeed feed(&u);
  LoopbackFeeder feeder(&u, &feed, o.window);
  // Enough packets that cycling through them repeats nothing a cache would keep.
  const FrameRun frames = SessionStream(&u, 500000, 13);
  if (o.tcp) {
    StreamPlan plan;
    plan.path = FeedPath::kTcp;
    plan.frames = &frames;
    plan.rate = static_cast<double>(o.tcp_rate);
    plan.seconds = o.seconds;
    Report("TCP", o.tcp_rate, feeder.Run(plan));
  }
  if (o.udp) {
    StreamPlan plan;
    plan.path = FeedPath::kUdp;
    plan.frames = &frames;
    plan.rate = static_cast<double>(o.udp_rate);
    plan.seconds = o.seconds;
    Report("UDP", o.udp_rate, feeder.Run(plan));
  }
  return 0;
}

}  // namespace
}  // namespace quotlink::bench

int main(int argc, char** argv) {
  return quotlink::bench::Main(argc, argv);
}
