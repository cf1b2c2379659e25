// Frame intake and dispatch: a TCP stream of type-20 frames in pieces of random size, and UDP
// datagrams of several frames, through the feeder's arrival handlers and processors.
#include <benchmark/benchmark.h>

#include <random>

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
    bas.Link().FeedVerified = 1;  // frames pass the gates up to the decoders
  }
};

ByteString QuoteFrames(int count, size_t body) {
  ByteString s;
  for (int i = 0; i < count; ++i)
    s += BuildFrame(20, ByteString(body, static_cast<char>(i)));
  return s;
}

void BM_TcpStreamInRandomPieces(benchmark::State& state) {
  Feeder f;
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
  state.counters["frames/s"] = benchmark::Counter(static_cast<double>(state.iterations() * 2000),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TcpStreamInRandomPieces)->Arg(40)->Arg(200);

void BM_UdpDatagramsOfSeveralFrames(benchmark::State& state) {
  Feeder f;
  const ByteString datagram = QuoteFrames(10, 100);
  for (auto _ : state) {
    for (int i = 0; i < 200; ++i)
      f.udp.Arrive(datagram);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * 200 * datagram.size()));
  state.counters["frames/s"] = benchmark::Counter(static_cast<double>(state.iterations() * 2000),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_UdpDatagramsOfSeveralFrames);

}  // namespace
}  // namespace quotlink

BENCHMARK_MAIN();
