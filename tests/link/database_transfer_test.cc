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

// A verified link that has just asked for the image &H09030001; the image holds markers and zeros.
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
};

// The whole transfer on either path, the image taken (and logged) or refused (with no log).
TEST(TransferTest, WholeTransferHandsTheImageUpLogsItAndAnswers) {
  for (const FeedPath path : {FeedPath::kTcp, FeedPath::kUdp}) {
    const bool accept = path == FeedPath::kTcp;
    Transfer t;
    t.f.decoders.accept = accept;
    if (!accept) t.f.settings.DataFolder += "no/such/folder/";
    t.f.link.PacketCount(path) = 40;
    std::string log;
    for (const auto& fr : t.frames) {
      t.Send(fr, path);
      log += fr + "\r\n";
    }
    EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
    EXPECT_EQ(t.f.decoders.versions, std::vector<ByteString>{"\x09\x03\0\x01"s});
    EXPECT_EQ(t.f.link.DatabasePending, accept ? 0 : 1);
    EXPECT_EQ(t.f.link.QuotesEnabled, 1);  // a refused image is muted by the pending flag alone
    EXPECT_EQ(t.f.link.PacketCount(path), 0);
    EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageDone});
    const std::string end = "Normal end.\r\nProcess FDATABASE\r\nOK Process FDATABASE  0\r\n";
    EXPECT_EQ(t.f.dir.Read("temp.txt"), accept ? log + end : "");
    EXPECT_TRUE(t.f.link.Transfer(path).ImageText.empty());
  }
}

TEST(TransferTest, RetryAfterAMinuteDropsTheTransferAndAsksAgainUntilAnImageIsTaken) {
  Transfer t;
  t.Send(t.frames[0]);
  t.f.clock.Advance(60000);
  t.Send(StatusPacket(6));  // a minute exactly: not yet
  EXPECT_TRUE(t.f.tcp.sent.empty());
  t.f.clock.Advance(1);
  t.f.link.TcpPacketCount = 40;
  t.f.log.Take();
  t.Send(t.frames[1]);  // appended and logged, then the same frame fires the retry
  EXPECT_EQ(t.f.log.Take(), "Info1: Trying new download\n");
  EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageRequest});
  EXPECT_EQ(t.f.link.TcpPacketCount, 0);
  EXPECT_EQ(t.f.dir.Read("temp.txt"), t.frames[0] + "\r\n" + t.frames[1] + "\r\n");

  // The rest of the dropped transfer is ignored. Each path gathers from its newest first piece.
  t.SendFrames(2, t.frames.size());
  EXPECT_TRUE(t.f.decoders.images.empty());
  t.SendFrames(0, 2);
  t.SendFrames(0, 1);
  for (const auto& fr : t.frames)
    t.Send(fr, FeedPath::kUdp);
  t.SendFrames(1, t.frames.size());
  EXPECT_EQ(t.f.decoders.images, (std::vector<ByteString>{t.image, t.image}));

  // No retry once an image is taken; a refused one asks again on its own end frame, a minute
  // after the last request, and not on the next frame.
  t.f.clock.Advance(61000);
  t.Send(StatusPacket(6));
  t.f.decoders.accept = false;
  t.SendFrames(0, t.frames.size());
  t.Send(StatusPacket(6));
  EXPECT_EQ(t.f.tcp.sent, (std::vector<ByteString>{kImageRequest, kImageDone, kImageDone,
                                                   kImageDone, kImageRequest}));
}

// An image past the bound is refused at its end as a bad one is; its memory is given back and
// temp.txt stops growing. The next transfer starts afresh.
TEST(TransferTest, ImageOverTheBoundIsRefusedAndItsMemoryGivenBack) {
  Transfer t;
  const ByteString piece = BuildFrame(7, ByteString(2 + 65000, 'p'));
  t.Send(t.frames[0]);
  for (size_t sent = 0; sent <= kMaxImageBytes; sent += 65000)
    t.Send(piece);
  const size_t logged = t.f.dir.Read("temp.txt").size();
  EXPECT_LE(logged, kMaxImageBytes + 65536);
  t.Send(piece);
  t.Send(t.frames.back());
  EXPECT_TRUE(t.f.decoders.images.empty());
  EXPECT_EQ(t.f.link.DatabasePending, 1);
  EXPECT_EQ(t.f.link.Transfer(FeedPath::kTcp).ImageText.capacity(), ByteString().capacity());
  EXPECT_EQ(t.f.log.Take(),
            "notice: image over 16777216 bytes refused (1 in all)\nInfo1: Database OK.\n");
  EXPECT_LT(t.f.dir.Read("temp.txt").size(), logged + 1000);  // the end lines alone
  t.SendFrames(0, t.frames.size());
  EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
}

}  // namespace
}  // namespace quotlink
