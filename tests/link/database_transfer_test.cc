#include "link/database_transfer.h"

#include <gtest/gtest.h>

#include "tests/support/link_fixture.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const ByteString kImageDone = "D\x0D\0\0\0\x64\0\0"s;
const ByteString kImageRequest = "D\x05\x09\x03\0\x01\0\0"s;

// A connected, verified link that has just asked for the image &H09030001, and an image of
// four frames with markers and zero bytes among its bytes.
struct Transfer {
  LinkFixture f;
  ByteString image;
  std::vector<ByteString> frames;

  Transfer() {
    for (int i = 0; i < 350; ++i)
      image.push_back(static_cast<char>(i % 251));
    frames = CutImageIntoFrames(image, 100);
    f.tcp.RaiseConnect();
    f.link.FeedVerified = 1;
    f.link.VersionValue = 151191553;
    f.link.MarkImagePending();
  }
  void Send(ByteView frame, FeedPath path = FeedPath::kTcp) {
    path == FeedPath::kTcp ? f.link.ProcessPacketTCP(frame) : f.link.ProcessPacketUDP(frame);
  }
  void SendFrames(size_t from, size_t to) {
    for (size_t k = from; k < to; ++k)
      Send(frames[k]);
  }
  std::string Log(size_t to) const {
    std::string log;
    for (size_t k = 0; k < to; ++k)
      log += frames[k] + "\r\n";
    return log;
  }
};

// The whole transfer on either path, the image taken or refused, the log written or not.
TEST(TransferTest, WholeTransferHandsTheImageUpLogsItAndAnswers) {
  const struct {
    FeedPath path;
    bool accept, log;
    int16_t pending;
  } cases[] = {{FeedPath::kTcp, true, true, 0},
               {FeedPath::kTcp, false, true, 1},
               {FeedPath::kUdp, true, true, 0},
               {FeedPath::kTcp, true, false, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Transfer t;
    t.f.decoders.accept = c.accept;
    if (!c.log) t.f.settings.DataFolder += "no/such/folder/";
    t.f.link.PacketCount(c.path) = 40;
    for (const auto& fr : t.frames)
      t.Send(fr, c.path);
    EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
    EXPECT_EQ(t.f.decoders.versions, std::vector<ByteString>{"\x09\x03\0\x01"s});
    EXPECT_EQ(t.f.link.DatabasePending, c.pending);
    EXPECT_EQ(t.f.link.QuotesEnabled, 1);  // a refused image is muted by the pending flag alone
    EXPECT_EQ(t.f.console.ComunicationOK, 1);
    EXPECT_EQ(t.f.console.Info1.Caption(), "Database OK.");
    EXPECT_EQ(t.f.link.PacketCount(c.path), 0);
    EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageDone});
    const std::string end = "Normal end.\r\nProcess FDATABASE\r\nOK Process FDATABASE  ";
    EXPECT_EQ(t.f.dir.Read("temp.txt"),
              c.log ? t.Log(t.frames.size()) + end + std::to_string(c.pending) + "\r\n" : "");
    EXPECT_TRUE(t.f.link.Transfer(c.path).ImageText.empty());
  }
}

// Pieces count from a first piece, which starts over; each path gathers its own image.
TEST(TransferTest, EachPathGathersFromItsNewestFirstPiece) {
  Transfer t;
  t.Send(t.frames[1]);
  t.Send(t.frames.back());
  t.SendFrames(0, 2);
  t.Send(t.frames[0]);
  for (const auto& fr : t.frames)
    t.Send(fr, FeedPath::kUdp);
  t.SendFrames(1, t.frames.size());
  EXPECT_EQ(t.f.decoders.images, (std::vector<ByteString>{t.image, t.image}));
}

TEST(TransferTest, RetryAfterAMinuteDropsTheTransferAndAsksAgain) {
  Transfer t;
  t.Send(t.frames[0]);
  t.f.clock.Advance(60001);
  t.f.link.TcpPacketCount = 40;
  t.f.log.Take();
  t.Send(t.frames[1]);  // appended and logged, then the same frame fires the retry
  EXPECT_EQ(t.f.log.Take(), "Info1: Trying new download\n");
  EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageRequest});
  EXPECT_EQ(t.f.link.TcpPacketCount, 0);
  EXPECT_EQ(t.f.link.DatabaseRequestTime, t.f.clock.Now());
  EXPECT_EQ(t.f.dir.Read("temp.txt"), t.Log(2));
  // The rest of the dropped transfer is ignored; a new one goes through.
  t.SendFrames(2, t.frames.size());
  EXPECT_TRUE(t.f.decoders.images.empty());
  t.SendFrames(0, t.frames.size());
  EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
}

TEST(TransferTest, RetryComesOnlyAfterTheMinuteOnFramesThatReachItsStep) {
  Transfer t;
  t.f.link.QuotesEnabled = 1;
  t.f.clock.Advance(60000);
  t.Send(StatusPacket(6));  // a minute exactly: not yet
  t.f.clock.Advance(1);
  t.Send(BuildFrame(20, "quotes"));  // stopped before the retry
  t.Send(BuildFrame(34, "marker"));  // stopped before the retry on TCP
  EXPECT_TRUE(t.f.tcp.sent.empty());
  t.Send(BuildFrame(28, "record"));
  EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageRequest});
  // A late end frame still ends the image: no retry once it has.
  t.SendFrames(0, t.frames.size() - 1);
  t.f.clock.Advance(61000);
  t.Send(t.frames.back());
  t.f.clock.Advance(61000);
  t.Send(StatusPacket(6));
  EXPECT_EQ(t.f.tcp.sent, (std::vector<ByteString>{kImageRequest, kImageDone}));
  // A refused image stays pending: the first frame a minute after the last request (its own
  // end frame) asks again.
  t.f.decoders.accept = false;
  t.SendFrames(0, t.frames.size());
  t.Send(StatusPacket(6));
  EXPECT_EQ(t.f.tcp.sent,
            (std::vector<ByteString>{kImageRequest, kImageDone, kImageDone, kImageRequest}));
}

}  // namespace
}  // namespace quotlink
