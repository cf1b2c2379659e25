#include "link/session.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "link/feed_requests.h"
#include "tests/support/link_fixture.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const ByteString kTest = "D\x0E\0\0\0\x64\0\0"s;
const ByteString kReset = "D\x1C\0\0\0\x64\0\0"s;
const ByteString kImage2 = "D\x05\x09\x03\0\x02\0\0"s;

// The feed connects in 10 ms and answers the reset at once; a UDP status frame comes at 1 s.
struct Session {
  LinkFixture f;
  bool answer_reset = true;

  Session() {
    f.dir.Write("DTN.ini", "; the feed's image\r\n[DATABASE]\r\nINFORMATION=&H09030002\r\n");
    f.tcp.loop = &f.loop;
    f.tcp.connect_delay_ms = 10;
    f.tcp.on_sent = [this](ByteView r) {
      std::fprintf(f.log.file(), "sent %d%s\n", r[1], f.link.FeedVerified ? "" : " unverified");
      if (answer_reset && r[1] == 28) f.tcp.Arrive(StatusPacket(12));
    };
    f.At(1000, [this] { f.udp.Arrive(StatusPacket(5)); });
  }
  // The log, then the flags set: 'v' verified, 'p' image pending, 'q' quotes enabled.
  std::string Out() {
    return f.log.Take() + (f.link.FeedVerified ? "v" : "") + (f.link.DatabasePending ? "p" : "") +
           (f.link.QuotesEnabled ? "q" : "");
  }
};

TEST(SessionTest, TheThreeWaits) {
  // The kernel gave UDP a short receive buffer: told at the bind.
  const std::string udp =
      "notice: UDP: the kernel gives the receive buffer 208 KiB of the 4096 KiB asked for; a "
      "longer burst of datagrams is lost (sysctl net.core.rmem_max raises the cap)\n"
      "Mensagem: Packets TCP/UDP = 0 , 1\nPicture1: red\n";
  const std::string dialogue = udp + "sent 14 unverified\nInfo1: Reseting Watch List.\nsent 28\n" +
                               "Info1: Reading databases information.\nsent 5\nvp";
  const struct {
    int connect_delay_ms;
    bool answer_reset;
    int64_t ms;  // what the start takes, give or take 100 ms
    std::string out;
  } cases[] = {
      {10, true, 3000, dialogue},
      {10, false, 8010, dialogue},
      {-1, false, 18000, udp + "message: CANNOT CONNECT WITH TCP ADDRESS\nq"},
  };
  for (const auto& c : cases) {
    Session t;
    t.f.tcp.connect_delay_ms = c.connect_delay_ms;
    t.answer_reset = c.answer_reset;
    t.f.udp.receive_buffer = 212992;
    t.f.link.TcpConnected = 1;  // left from an earlier session
    t.f.link.QuotesEnabled = 1;
    t.f.link.StartSession();
    EXPECT_NEAR(t.f.clock.MonotonicMs(), c.ms + 50, 50);
    EXPECT_TRUE(t.f.udp.bound());
    EXPECT_EQ(t.Out(), c.out);
    if (t.f.link.DatabasePending) {
      EXPECT_EQ(t.f.tcp.sent, (std::vector<ByteString>{kTest, kReset, kImage2}));
      EXPECT_EQ(t.f.link.DatabaseRequestTime, t.f.clock.Now());
    }
  }
}

// Another start, or the end of the feeder, reached through the pump of a running start's waits.
TEST(SessionTest, OnlyTheNewestStartGoesOn) {
  Session restarted;
  restarted.answer_reset = false;
  restarted.f.At(5000, [&] { restarted.f.link.RestartFeed(); });  // in the reset wait
  restarted.f.link.StartSession();
  EXPECT_EQ(restarted.f.tcp.RequestCodes(), (std::vector<int>{14, 28, 14, 28, 5}));
  Session stopped;
  stopped.f.At(1000, [&] { stopped.f.link.Stop(); });  // in the bind wait
  stopped.f.link.StartSession();
  EXPECT_TRUE(stopped.f.tcp.sent.empty());
}

TEST(FeedRequestsTest, NumbersGoMostSignificantFirstClampedIntoFourBytes) {
  EXPECT_EQ(NumberToBytes(4275878552.0), "\xFE\xDC\xBA\x98");
  EXPECT_EQ(NumberToBytes(-1), "\0\0\0\0"s);
  EXPECT_EQ(NumberToBytes(4294967296.0), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(BuildRequest(255, "\0\xFF"s), "\x44\xFF\0\xFF\0\0"s);
}

}  // namespace
}  // namespace quotlink
