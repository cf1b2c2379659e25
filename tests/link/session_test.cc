#include "link/session.h"

#include <gtest/gtest.h>

#include "link/feed_requests.h"
#include "platform/posix_socket.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/scripted_feed.h"
#include "tests/support/temp_dir.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

ByteString Request(int code, ByteView data) {
  ByteString r("D");
  r.push_back(static_cast<char>(code));
  r.append(data);
  r.append(2, '\0');
  return r;
}
const ByteString k100("\0\0\0\x64", 4);

struct SessionTest : ::testing::Test {
  TempDir dir;
  FeederFixture f;
  bool answer_reset = true;

  SessionTest() {
    f.bas.settings().DataFolder = dir.path();
    f.tcp.loop = &f.loop;
    f.tcp.connect_delay_ms = 10;
    f.tcp.on_sent = [this](ByteView r) {
      if (answer_reset && RequestCode(r) == 28) f.tcp.Arrive(StatusPacket(12));
    };
  }
  int64_t Load() {
    const int64_t start = f.clock.MonotonicMs();
    f.frm.Load();
    return f.clock.MonotonicMs() - start;
  }
  static int RequestCode(ByteView r) { return r.size() == 8 ? static_cast<uint8_t>(r[1]) : -1; }
};

TEST_F(SessionTest, AnsweredResetTakesALittleOverThreeSeconds) {
  const int64_t ms = Load();
  EXPECT_GE(ms, 3000);
  EXPECT_LT(ms, 3100);
  EXPECT_EQ(f.tcp.sent, (std::vector<ByteString>{Request(14, k100), Request(28, k100),
                                                 Request(5, ByteView("\x09\x03\0\x01", 4))}));
  EXPECT_EQ(f.bas.Link().FeedVerified, 1);
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  EXPECT_EQ(f.bas.Link().QuotesEnabled, 0);
  EXPECT_EQ(f.frm.Info1.Caption(), "Reading databases information.");
  EXPECT_EQ(f.view.Count("Info1: Reseting Watch List."), 1);
  EXPECT_NEAR(f.bas.Link().DatabaseRequestTime, f.clock.Now(), 1e-9);
  EXPECT_TRUE(f.udp.bound());
  EXPECT_TRUE(f.frm.visible());
}

TEST_F(SessionTest, UnansweredResetWaitsFiveSecondsMore) {
  answer_reset = false;
  const int64_t ms = Load();
  EXPECT_GE(ms, 8010);
  EXPECT_LT(ms, 8100);
  EXPECT_EQ(f.tcp.sent.size(), 3u);
}

TEST_F(SessionTest, NoServerEndsAfterEighteenSecondsWithTheMessage) {
  f.tcp.connect_delay_ms = -1;
  const int64_t ms = Load();
  EXPECT_GE(ms, 18000);
  EXPECT_LT(ms, 18100);
  EXPECT_EQ(f.view.Count("message: CANNOT CONNECT WITH TCP ADDRESS"), 1);
  EXPECT_TRUE(f.tcp.sent.empty());
  EXPECT_EQ(f.bas.Link().FeedVerified, 0);
  // The console goes on: the timer ran meanwhile, and UDP frames are counted.
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 0 , 0");
  f.udp.Arrive(TestPacket());
  EXPECT_EQ(f.bas.Link().FeedVerified, 1);
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 0 , 1");
}

TEST_F(SessionTest, GreetingGoesOutBeforeTheFeedCountsAsVerified) {
  std::vector<int16_t> verified_at_send;
  auto answer = f.tcp.on_sent;
  f.tcp.on_sent = [&](ByteView r) {
    verified_at_send.push_back(f.bas.Link().FeedVerified);
    answer(r);
  };
  Load();
  EXPECT_EQ(verified_at_send, (std::vector<int16_t>{0, 1, 1}));
}

TEST_F(SessionTest, VersionComesFromDtnIniUnchangedOrTheDefaultIsWritten) {
  dir.Write("DTN.ini", "; the feed's image\r\n[DATABASE]\r\nINFORMATION=&H09030002\r\n");
  Load();
  EXPECT_EQ(f.bas.Link().DatabaseVersion, "&H09030002");
  EXPECT_EQ(f.tcp.sent.back(), Request(5, ByteView("\x09\x03\0\x02", 4)));
  EXPECT_EQ(dir.Read("DTN.ini"), "; the feed's image\r\n[DATABASE]\r\nINFORMATION=&H09030002\r\n");

  TempDir other;
  FeederFixture g;
  g.bas.settings().DataFolder = other.path();
  g.tcp.loop = &g.loop;
  g.tcp.connect_delay_ms = 0;
  g.frm.Load();
  EXPECT_EQ(g.bas.Link().DatabaseVersion, "&H09030001");
  EXPECT_NE(other.Read("DTN.ini").find("&H09030001"), std::string::npos);
}

TEST_F(SessionTest, FirstRunWritesDefaultSettingsAndShowsThem) {
  Load();
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), "127.0.0.1\r\n21560\r\n20547\r\n");
  EXPECT_EQ(f.frm.DTNIPT.Caption(), "127.0.0.1");
  EXPECT_EQ(f.frm.DTNPORTT.Caption(), "21560");
  EXPECT_EQ(f.frm.LOCALPORTT.Caption(), "20547");
  EXPECT_EQ(f.udp.LocalPort(), 20547);
  EXPECT_EQ(f.tcp.RemotePort(), 21560);
  EXPECT_EQ(f.tcp.LocalPort(), 0);
}

TEST_F(SessionTest, RestartWritesTheSettingsBeforeAnySocketCloses) {
  Load();
  f.frm.DTNIPT.SetCaption("127.0.0.2");
  f.frm.DTNPORTT.SetCaption(" 7000 ");
  f.frm.LOCALPORTT.SetCaption("7001");
  std::string file_at_first_close;
  f.udp.on_call = [&](const std::string& call) {
    if (call == "Close" && file_at_first_close.empty()) {
      file_at_first_close = dir.Read("QUOTLINKINFO.DAT");
    }
  };
  f.tcp.sent.clear();
  f.frm.Command2_Click();
  EXPECT_EQ(file_at_first_close, "127.0.0.2\r\n 7000 \r\n 7001 \r\n");
  EXPECT_EQ(f.tcp.RemoteHost(), "127.0.0.2");
  EXPECT_EQ(f.udp.LocalPort(), 7001);
  EXPECT_EQ(f.tcp.sent.size(), 3u);
}

TEST_F(SessionTest, RestartRefusesPortsThatAreNotWhole32BitNumbers) {
  Load();
  const std::string before = dir.Read("QUOTLINKINFO.DAT");
  for (const char* bad : {"", "abc", "12x", "4294967296", "99999999999"}) {
    f.frm.DTNPORTT.SetCaption(bad);
    f.tcp.sent.clear();
    f.frm.Command2_Click();
    EXPECT_TRUE(f.tcp.sent.empty()) << bad;
    EXPECT_EQ(f.bas.settings().FeedPort, 21560) << bad;
    EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), before) << bad;
  }
  EXPECT_EQ(f.frm.modal_messages().size(), 5u);
}

TEST_F(SessionTest, RestartDuringTheWaitsOfARunningStartLetsTheNewerOneWin) {
  // "Restart" is pressed one second into the bind wait of the first start, through the pump.
  int clicks = 0;
  int timer = 0;
  timer = f.loop.AddTimer(1000, [&] {
    f.loop.RemoveTimer(timer);
    ++clicks;
    f.frm.Command2_Click();
  });
  Load();
  EXPECT_EQ(clicks, 1);
  // One whole sequence on the wire, that of the newer start.
  EXPECT_EQ(f.tcp.sent, (std::vector<ByteString>{Request(14, k100), Request(28, k100),
                                                 Request(5, ByteView("\x09\x03\0\x01", 4))}));
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  EXPECT_TRUE(f.view.lines.end() == std::find(f.view.lines.begin(), f.view.lines.end(),
                                              "message: CANNOT CONNECT WITH TCP ADDRESS"));
}

TEST_F(SessionTest, UnloadWritesTheSettingsAndEndsTheFeeder) {
  Load();
  dir.Write("QUOTLINKINFO.DAT", "");
  f.frm.Unload();
  EXPECT_TRUE(f.bas.ended());
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), "127.0.0.1\r\n 21560 \r\n 20547 \r\n");
}

// Over real sockets: a scripted feed server on loopback and the feeder's own sockets.
TEST(SessionLoopbackTest, RequestsGoOutInOrderAndRestartSavesBeforeClosing) {
  TempDir dir;
  FakeClock clock(46349.5, /*real_slice_ms=*/2);
  PollLoop loop(&clock);
  PosixSocketFactory sockets(&loop);
  ScriptedFeed feed(&loop);
  feed.on_request = [](ScriptedFeed& s, ByteView r) {
    if (RequestCode(r) == 28) s.SendTcp(StatusPacket(12));
  };
  dir.Write("QUOTLINKINFO.DAT", "127.0.0.1\r\n" + std::to_string(feed.port()) + "\r\n0\r\n");
  QUOTLINKBAS bas(&loop, &sockets, nullptr);
  bas.settings().DataFolder = dir.path();
  QUOTLINKFRM& frm = bas.Form();
  frm.Load();
  ASSERT_TRUE(WaitPumping(loop, 5.0, [&] { return feed.requests.size() >= 3; }));
  EXPECT_EQ(feed.requests, (std::vector<ByteString>{Request(14, k100), Request(28, k100),
                                                    Request(5, ByteView("\x09\x03\0\x01", 4))}));
  EXPECT_EQ(bas.Link().WatchListCleared, 1);
  EXPECT_EQ(bas.Link().DatabasePending, 1);

  frm.DTNPORTT.SetCaption(std::to_string(feed.port()));
  frm.LOCALPORTT.SetCaption("0");
  frm.DTNIPT.SetCaption("localhost");
  frm.Command2_Click();
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"),
            "localhost\r\n " + std::to_string(feed.port()) + " \r\n 0 \r\n");
  ASSERT_TRUE(WaitPumping(loop, 5.0, [&] { return feed.requests.size() >= 6; }));
  EXPECT_EQ(feed.accepted, 2);
  EXPECT_EQ(RequestCode(feed.requests[5]), 5);
}

}  // namespace
}  // namespace quotlink
