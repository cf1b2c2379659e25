// Frame intake and dispatch alone: a TCP stream of type-20 frames in pieces of random size, and
// UDP datagrams of several frames, through the feeder's arrival handlers and processors. No
// image has been taken (QuotesEnabled stays 0), so every frame stops at the processor's gates:
// CUTTING ONLY, the quotes are never decoded. These figures are the cost of the cutting, never
// the feeder's throughput; the replay benchmark measures the whole path.
#include <benchmark/benchmark.h>

#include <map>
#include <random>
#include <string>

#include "bench/bench_report.h"

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

struct Feeder {
  FakeClock clock;
  PollLoop loop{&clock};
  FakeSocketFactory sockets;
  QUOTLINKBAS bas{&loop, &sockets, nullptr};
  FakeSocket& tcp = *static_cast<FakeSocket*>(bas.Link().TCP.get());
  FakeSocket& udp = *static_cast<FakeSocket*>(bas.Link().UDP.get());
  Feeder() {
    // Frames pass the first gates; without an image they stop before any decoder.
    bas.Link().FeedVerified = 1;
  }
};

ByteString QuoteFrames(int count, size_t body) {
  ByteString s;
  for (int i = 0; i < count; ++i)
    s += BuildFrame(20, ByteString(body, static_cast<char>(i)));
  return s;
}

void BM_TcpCuttingOnly(benchmark::State& state) {
  Feeder f;
  state.SetLabel("cutting only: no quote decoded");
  const ByteString stream = QuoteFrames(2000, static_cast<size_t>(state.range(0)));
  std::mt19937 rng(1);
  std::vector<size_t> cuts;
  for (size_t pos = 0; pos < stream.size();) {
    const size_t n = std::min<size_t>(1 + rng() % 8192, stream.size() - pos);
    cuts.push_back(n);
    pos += n;
  }
  for (auto _ : state) {
    size_t pos = 0;
    for (size_t n : cuts) {
      f.tcp.Arrive(ByteView(stream).substr(pos, n));
      pos += n;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
  state.SetItemsProcessed(state.iterations() * 2000);
  state.counters["cut frames/s"] = benchmark::Counter(
      static_cast<double>(state.iterations() * 2000), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TcpCuttingOnly)->Arg(40)->Arg(200);

void BM_UdpCuttingOnly(benchmark::State& state) {
  Feeder f;
  state.SetLabel("cutting only: no quote decoded");
  const ByteString datagram = QuoteFrames(10, 100);
  for (auto _ : state) {
    for (int i = 0; i < 200; ++i)
      f.udp.Arrive(datagram);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * 200 * datagram.size()));
  state.counters["cut frames/s"] = benchmark::Counter(
      static_cast<double>(state.iterations() * 2000), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_UdpCuttingOnly);

int Main(int argc, char** argv) {
  std::map<std::string, bench::RunResult> results;
  const int rc = bench::RunBenchmarks(argc, argv, &results);
  if (rc == 2) return rc;  // a bad argument
  const auto rate = [&](const std::string& name) {
    const auto it = results.find(name);
    if (it == results.end()) return std::string("not run");
    return bench::Format("%.1f M frames/s", it->second.counters["cut frames/s"] / 1e6);
  };
  bench::PrintRow("quotlink_intake_bench",
                  "CUTTING ONLY (no image, no quote decoded; not the feeder's throughput): TCP "
                  "stream of type-20 frames in random pieces, 200 / 40-byte bodies",
                  rate("BM_TcpCuttingOnly/200") + " / " + rate("BM_TcpCuttingOnly/40"));
  bench::PrintRow("quotlink_intake_bench",
                  "CUTTING ONLY (no quote decoded): UDP datagrams of 10 frames each, a pump and a "
                  "status line per frame",
                  rate("BM_UdpCuttingOnly"));
  return rc;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  return quotlink::Main(argc, argv);
}
