// The whole quote path at full speed: a session of the feed simulator's quotes (both families,
// one to four quotes a packet, no faults), fed from memory into a whole feeder through the TCP
// arrival handler in reads of up to 64 KiB, then through the UDP arrival handler one datagram
// (one packet) at a time, as the simulator sends them; through cutting, dispatch, decoding,
// merge and publication to a client's FeederReady handler that copies the quote. Against it,
// memcpy over the same bytes in the same run: the ratio says how far the feeder is from the
// speed of merely moving its input. Both start with the bytes in memory, not in the caches, as
// the bytes of a live feed are new to the feeder (memcpy from the caches is shown beside).
//
// Not a Google Benchmark: each round replays the whole session. Usage: see kUsage.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_market.h"
#include "bench/bench_report.h"
#include "bench/memory_feeder.h"

namespace quotlink::bench {
namespace {

constexpr char kUsage[] =
    "usage: quotlink_replay_bench [--instruments N] [--quotes N] [--rounds N]\n"
    "  --instruments N  instruments in the market, all on the watch list (default 1000)\n"
    "  --quotes N       quotes in the session replayed (default 200000)\n"
    "  --rounds N       replays of the session per path; the median counts (default 5)\n";

struct Options {
  int64_t instruments = 1000;
  int64_t quotes = 200000;
  int64_t rounds = 5;
};

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Pushes everything else out of the processor's caches by writing over a buffer twice the size
// of the largest of them: what follows reads its bytes from memory, as a feeder reads bytes that
// are new to it.
class CacheFlusher {
 public:
  void Flush() {
    std::memset(scratch_.data(), ++fill_, scratch_.size());
    benchmark::ClobberMemory();
  }

 private:
  static constexpr size_t kSize = size_t{64} << 20;
  std::vector<char> scratch_ = std::vector<char>(kSize);
  char fill_ = 0;
};

// One copy of `src` into `dst` in nanoseconds: from memory after `flusher`, else the fastest
// of three copies with `src` in the caches.
double MemcpyNs(const ByteString& src, ByteString* dst, CacheFlusher* flusher) {
  double best = 0;
  for (int i = 0; i < (flusher != nullptr ? 1 : 3); ++i) {
    if (flusher != nullptr) flusher->Flush();
    const int64_t t0 = NowNs();
    std::memcpy(dst->data(), src.data(), src.size());
    benchmark::ClobberMemory();
    const auto ns = static_cast<double>(NowNs() - t0);
    if (i == 0 || ns < best) best = ns;
  }
  return best;
}

void RunPath(MemoryFeeder* f, const FrameRun& session, bool tcp, const Options& o) {
  // Reads of a TCP stream come in all sizes up to what one read takes.
  std::vector<size_t> reads;
  feedsim::Rng rng(11);
  for (size_t pos = 0; pos < session.bytes.size();) {
    const size_t n = std::min<size_t>(static_cast<size_t>(rng.Uniform(1, Socket::kMaxTcpRead)),
                                      session.bytes.size() - pos);
    reads.push_back(n);
    pos += n;
  }
  const ByteView bytes(session.bytes);
  auto replay = [&] {
    if (tcp) {
      size_t pos = 0;
      for (size_t n : reads) {
        f->tcp().Arrive(bytes.substr(pos, n));
        pos += n;
      }
    } else {
      for (size_t i = 0; i < session.size(); ++i)
        f->udp().Arrive(session.frame(i));
    }
  };
  ByteString copy(session.bytes.size(), '\0');
  CacheFlusher flusher;
  replay();  // once to warm up: the table and the caches settle
  std::vector<double> replay_ns, memcpy_ns, cached_memcpy_ns;
  int64_t published = 0;
  for (int64_t r = 0; r < o.rounds; ++r) {
    flusher.Flush();
    const int64_t before = f->ready();
    const int64_t t0 = NowNs();
    replay();
    replay_ns.push_back(static_cast<double>(NowNs() - t0));
    published = f->ready() - before;
    memcpy_ns.push_back(MemcpyNs(session.bytes, &copy, &flusher));
    cached_memcpy_ns.push_back(MemcpyNs(session.bytes, &copy, nullptr));
  }
  // Every quote of a known record is published, but for one that repeats the text of the one
  // before it in the same second: far fewer means that the path is broken.
  if (published * 2 < session.quotes) {
    Fail(std::string(tcp ? "TCP" : "UDP") + ": only " + std::to_string(published) + " of " +
         std::to_string(session.quotes) + " quotes reached FeederReady");
  }
  const double size = static_cast<double>(session.bytes.size());
  const double bytes_per_s = size / Median(replay_ns) * 1e9;
  const double quotes_per_s = static_cast<double>(session.quotes) / Median(replay_ns) * 1e9;
  const double memcpy_per_s = size / Median(memcpy_ns) * 1e9;
  const double cached_memcpy_per_s = size / Median(cached_memcpy_ns) * 1e9;
  const double ratio = bytes_per_s / memcpy_per_s;
  const char* path = tcp ? "tcp" : "udp";
  std::printf(
      "%s: %zu bytes, %lld quotes in %zu %s; median of %lld rounds %.1f ms; FeederReady %lld "
      "times (%.2f%% of the quotes)\n",
      tcp ? "TCP" : "UDP", session.bytes.size(), static_cast<long long>(session.quotes),
      tcp ? reads.size() : session.size(), tcp ? "reads" : "datagrams",
      static_cast<long long>(o.rounds), Median(replay_ns) / 1e6, static_cast<long long>(published),
      100.0 * static_cast<double>(published) / static_cast<double>(session.quotes));
  PrintRow("quotlink_replay_bench",
           Format("%s replay of the simulator's quotes (%lld instruments, all watched), %s, "
                  "to a FeederReady handler that copies the quote; memcpy of the same bytes",
                  tcp ? "TCP" : "UDP", static_cast<long long>(o.instruments),
                  tcp ? "reads of 1 byte to 64 KiB through TCP_DataArrival"
                      : "one datagram per UDP_DataArrival"),
           Format("%.1f MB/s, %.2f M quotes/s; memcpy %.1f GB/s (%.1f GB/s from the caches); "
                  "1/%.0f of memcpy",
                  bytes_per_s / 1e6, quotes_per_s / 1e6, memcpy_per_s / 1e9,
                  cached_memcpy_per_s / 1e9, 1 / ratio));
  PrintMetric(Format("replay.%s.bytes_per_s", path), bytes_per_s);
  PrintMetric(Format("replay.%s.quotes_per_s", path), quotes_per_s);
  PrintMetric(Format("replay.%s.memcpy_bytes_per_s", path), memcpy_per_s);
  PrintMetric(Format("replay.%s.cached_memcpy_bytes_per_s", path), cached_memcpy_per_s);
  PrintMetric(Format("replay.%s.ratio", path), ratio);
}

int Main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--help" || a == "-h") {
      std::printf("%s", kUsage);
      return 0;
    }
    int64_t* target = a == "--instruments" ? &o.instruments
                      : a == "--quotes"    ? &o.quotes
                      : a == "--rounds"    ? &o.rounds
                                           : nullptr;
    const int64_t hi = a == "--instruments" ? 32767 : 100000000;
    if (target == nullptr || i + 1 >= argc || !ParseCount(argv[i + 1], 1, hi, target)) {
      std::fprintf(stderr, "quotlink_replay_bench: bad argument '%s'\n%s", a.c_str(), kUsage);
      return 2;
    }
    ++i;
  }
  feedsim::Universe u = MakeUniverse(static_cast<int>(o.instruments));
  MemoryFeeder feeder(&u);
  const FrameRun session = SessionStream(&u, o.quotes, 7);
  RunPath(&feeder, session, true, o);
  RunPath(&feeder, session, false, o);
  return 0;
}

}  // namespace
}  // namespace quotlink::bench

int main(int argc, char** argv) {
  return quotlink::bench::Main(argc, argv);
}
