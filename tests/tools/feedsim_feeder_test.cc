// The feeder itself, on real sockets, against the simulator: a whole session from connection to
// a table that holds the simulated market, and a replay of the transfer log it wrote.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "platform/posix_socket.h"
#include "tests/support/temp_dir.h"
#include "tools/feedsim/capture.h"
#include "tools/feedsim/feed_server.h"
#include "tools/feedsim/sim_format.h"

namespace quotlink::feedsim {
namespace {

TEST(FeedsimWithFeeder, SessionEndsWithTheMarketInTheFeedersTable) {
  TempDir dir;
  // Simulated time runs fast while the loop idles, so the session's waits cost little.
  FakeClock clock(46349.5, /*real_slice_ms=*/2);
  PollLoop loop(&clock);
  PosixSocketFactory sockets(&loop);
  const int udp_port = FreeLoopbackPort(SOCK_DGRAM);
  SimOptions o;
  o.listen_host = "127.0.0.1";
  o.listen_port = 0;
  o.udp_port = udp_port;
  o.rate = 0;
  o.count = 2000;
  o.path = StreamPath::kTcp;  // TCP loses nothing, so the last word on every field arrives
  FeedServer sim(&loop, o, {});
  ASSERT_TRUE(sim.Start().ok());

  dir.Write("QUOTLINKINFO.DAT", "127.0.0.1\r\n" + std::to_string(sim.port()) + "\r\n" +
                                    std::to_string(udp_port) + "\r\n");
  QUOTLINKBAS bas(&loop, &sockets, nullptr);
  bas.settings().DataFolder = dir.path();
  QUOTLINKFRM& frm = bas.Form();
  const Universe& u = sim.universe();
  for (size_t i = 0; i < u.size(); ++i)
    frm.DTNSYMBOLS.Add(u.at(i).symbol);
  frm.Load();
  ASSERT_TRUE(WaitPumping(loop, 30.0, [&] { return bas.Link().QuotesEnabled == 1; }));
  EXPECT_EQ(bas.Link().DatabasePending, 0);
  EXPECT_EQ(bas.Link().FeedVerified, 1);
  EXPECT_EQ(bas.Link().WatchListCleared, 1);
  EXPECT_EQ(bas.Database().DatabaseCount(), 4);

  // The stream ends; the feeder's table then settles on the market's last state.
  auto settled = [&] {
    if (sim.stats().quotes < 2000 ||
        bas.Quotes().Simbolos.size() < static_cast<int32_t>(u.size())) {
      return false;
    }
    for (size_t i = 0; i < u.size(); ++i) {
      const Instrument& inst = u.at(i);
      const int32_t k = bas.Quotes().Simbolos.Find(u.WireKey(inst.kind), inst.code);
      if (k < 1) return false;
      const SimboloRec& r = bas.Quotes().Simbolos.at(k);
      auto near = [&](float got, int64_t ticks) {
        const double want = TicksToPrice(inst.price_code, ticks);
        return std::fabs(got - want) <= 1e-6 * std::fabs(want) + 1e-6;
      };
      if (!near(r.Last, inst.last) || !near(r.Bid, inst.bid) || !near(r.Ask, inst.ask) ||
          r.Vol != static_cast<float>(inst.volume)) {
        return false;
      }
    }
    return true;
  };
  EXPECT_TRUE(WaitPumping(loop, 60.0, settled));
  for (size_t i = 0; i < u.size(); ++i) {
    const Instrument& inst = u.at(i);
    const int32_t k = bas.Quotes().Simbolos.Find(u.WireKey(inst.kind), inst.code);
    ASSERT_GE(k, 1) << inst.symbol;
    const SimboloRec& r = bas.Quotes().Simbolos.at(k);
    EXPECT_NEAR(r.Last, TicksToPrice(inst.price_code, inst.last), 1e-3) << inst.symbol;
    EXPECT_EQ(r.Vol, static_cast<float>(inst.volume)) << inst.symbol;
  }

  // The feeder's transfer log replays as the frames of the image it received.
  std::vector<ReplayItem> items;
  ASSERT_TRUE(ReadReplayFile(dir.File("temp.txt"), &items).ok());
  ASSERT_GE(items.size(), 3u);
  EXPECT_EQ(ByteAt(items.front().bytes, 1), kTypeImageFirst);
  EXPECT_EQ(ByteAt(items.back().bytes, 1), kTypeImageEnd);
  ByteString image;
  for (const ReplayItem& item : items)
    image += item.bytes.substr(10, item.bytes.size() - 12);
  EXPECT_EQ(image, u.Image(ByteString("\x09\x03\x00\x01", 4)));
}

}  // namespace
}  // namespace quotlink::feedsim
