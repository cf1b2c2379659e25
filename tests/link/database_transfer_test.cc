#include "link/database_transfer.h"

#include <gtest/gtest.h>

#include "tests/support/feeder_fixture.h"
#include "tests/support/link_fixture.h"
#include "tests/support/quote_feeder.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const ByteString kImageDone = "D\x0D\0\0\0\x64\0\0"s;
const ByteString kImageRequest = "D\x05\x09\x03\0\x01\0\0"s;

ByteString SomeImage() {
  ByteString image;
  for (int i = 0; i < 350; ++i)
    image.push_back(static_cast<char>(i % 251));  // markers and zero bytes among the rest
  return image;
}

// A connected, verified link that has just asked for the image &H09030001.
struct Transfer {
  LinkFixture f;
  ByteString image = SomeImage();
  std::vector<ByteString> frames = CutImageIntoFrames(image, 100);

  Transfer() {
    f.tcp.RaiseConnect();
    f.link.FeedVerified = 1;
    f.link.VersionValue = 151191553;
    f.link.MarkImagePending();
  }
  void Send(FeedPath path, ByteView frame) {
    path == FeedPath::kTcp ? f.link.ProcessPacketTCP(frame) : f.link.ProcessPacketUDP(frame);
  }
  void Tcp(ByteView frame) { Send(FeedPath::kTcp, frame); }
  std::string Log(size_t from, size_t to) const {
    std::string log;
    for (size_t k = from; k < to; ++k)
      log += frames[k] + "\r\n";
    return log;
  }
};

TEST(TransferTest, WholeTransferHandsTheImageUpLogsItAndAnswers) {
  const struct {
    FeedPath path;
    bool accept;
    int16_t pending;
  } cases[] = {{FeedPath::kTcp, true, 0}, {FeedPath::kTcp, false, 1}, {FeedPath::kUdp, true, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << (c.path == FeedPath::kTcp ? "TCP" : "UDP") << c.accept);
    Transfer t;
    t.f.decoders.accept = c.accept;
    t.f.link.PacketCount(c.path) = 40;
    for (const auto& fr : t.frames)
      t.Send(c.path, fr);
    EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
    EXPECT_EQ(t.f.decoders.versions, std::vector<ByteString>{"\x09\x03\0\x01"s});
    EXPECT_EQ(t.f.link.DatabasePending, c.pending);
    EXPECT_EQ(t.f.link.QuotesEnabled, 1);  // a refused image is muted by the pending flag alone
    EXPECT_EQ(t.f.console.ComunicationOK, 1);
    EXPECT_EQ(t.f.console.Info1.Caption(), "Database OK.");
    EXPECT_EQ(t.f.link.PacketCount(c.path), 0);
    EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageDone});
    EXPECT_EQ(t.f.dir.Read("temp.txt"),
              t.Log(0, t.frames.size()) +
                  "Normal end.\r\nProcess FDATABASE\r\nOK Process FDATABASE  " +
                  std::to_string(c.pending) + "\r\n");
    EXPECT_TRUE(t.f.link.Transfer(c.path).ImageText.empty());
  }
}

TEST(TransferTest, EachPathGathersItsOwnImage) {
  Transfer t;
  t.Tcp(t.frames[0]);
  for (const auto& fr : t.frames)
    t.Send(FeedPath::kUdp, fr);
  for (size_t k = 1; k < t.frames.size(); ++k)
    t.Tcp(t.frames[k]);
  EXPECT_EQ(t.f.decoders.images, (std::vector<ByteString>{t.image, t.image}));
}

TEST(TransferTest, PiecesWithoutAFirstDoNothingAndAFirstStartsOver) {
  Transfer t;
  t.Tcp(t.frames[1]);
  t.Tcp(t.frames.back());
  EXPECT_FALSE(TempDir::Exists(t.f.dir.File("temp.txt")));
  t.Tcp(t.frames[0]);
  t.Tcp(t.frames[1]);
  for (const auto& fr : t.frames)
    t.Tcp(fr);
  EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
  EXPECT_EQ(t.f.dir.Read("temp.txt").rfind(t.Log(0, 3), 0), 0u);  // the newest transfer only
}

TEST(TransferTest, RetryAfterAMinuteDropsTheTransferAndAsksAgain) {
  Transfer t;
  t.Tcp(t.frames[0]);
  t.f.clock.Advance(60001);
  t.f.link.TcpPacketCount = 40;
  t.f.log.Take();
  t.Tcp(t.frames[1]);  // appended and logged, then the same frame fires the retry
  EXPECT_EQ(t.f.log.Take(), "Info1: Trying new download\n");
  EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageRequest});
  EXPECT_EQ(t.f.link.TcpPacketCount, 0);
  EXPECT_EQ(t.f.link.DatabaseRequestTime, t.f.clock.Now());
  EXPECT_EQ(t.f.dir.Read("temp.txt"), t.Log(0, 2));
  // The rest of the dropped transfer is ignored; a new one goes through.
  for (size_t k = 2; k < t.frames.size(); ++k)
    t.Tcp(t.frames[k]);
  EXPECT_TRUE(t.f.decoders.images.empty());
  for (const auto& fr : t.frames)
    t.Tcp(fr);
  EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
}

TEST(TransferTest, RetryComesOnlyAfterTheMinuteOnFramesThatReachItsStep) {
  Transfer t;
  t.f.link.QuotesEnabled = 1;
  t.f.clock.Advance(60000);
  t.Tcp(StatusPacket(6));  // a minute exactly: not yet
  t.f.clock.Advance(1);
  t.Tcp(BuildFrame(20, "quotes"));  // stopped before the retry
  t.Tcp(BuildFrame(34, "marker"));  // stopped before the retry on TCP
  EXPECT_TRUE(t.f.tcp.sent.empty());
  t.Tcp(BuildFrame(28, "record"));
  EXPECT_EQ(t.f.tcp.sent, std::vector<ByteString>{kImageRequest});
  // A late end frame still ends the image: no retry once it has.
  for (size_t k = 0; k + 1 < t.frames.size(); ++k)
    t.Tcp(t.frames[k]);
  t.f.clock.Advance(61000);
  t.Tcp(t.frames.back());
  t.f.clock.Advance(61000);
  t.Tcp(StatusPacket(6));
  EXPECT_EQ(t.f.tcp.sent, (std::vector<ByteString>{kImageRequest, kImageDone}));
  // A refused image stays pending: the first frame a minute after the last request (here its
  // own end frame) asks again.
  t.f.decoders.accept = false;
  for (const auto& fr : t.frames)
    t.Tcp(fr);
  t.Tcp(StatusPacket(6));
  EXPECT_EQ(t.f.tcp.sent,
            (std::vector<ByteString>{kImageRequest, kImageDone, kImageDone, kImageRequest}));
}

TEST(TransferTest, AnUnwritableLogChangesNothing) {
  Transfer t;
  t.f.settings.DataFolder = t.f.dir.path() + "no/such/folder/";
  for (const auto& fr : t.frames)
    t.Tcp(fr);
  EXPECT_EQ(t.f.decoders.images, std::vector<ByteString>{t.image});
  EXPECT_EQ(t.f.link.DatabasePending, 0);
}

// The feeder's own database behind the link: it takes the image or refuses it, and says why.
TEST(FeederImageTest, TheDatabaseTakesOrRefusesTheImage) {
  const ByteString image = WriteImage(TestImageLayout());
  const struct {
    double version;
    size_t cut;
    int16_t pending;
    int databases;
    std::string shown;
  } cases[] = {
      {151191553, 0, 0, 2, "Mensagem: END SEC TYPES \n"},
      {151191554, 0, 1, 0, "message: diferente database\n"},
      {151191553, 30, 1, 0, "Mensagem: Database image refused - "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.shown);
    TempDir dir;
    FeederFixture f;
    MemoryFile log;
    ConsoleLog view(log.file());
    f.frm.SetView(&view);
    f.bas.settings().DataFolder = dir.path();
    f.tcp.RaiseConnect();
    f.bas.Link().FeedVerified = 1;
    f.bas.Link().VersionValue = c.version;
    f.bas.Link().MarkImagePending();
    for (const auto& fr : CutImageIntoFrames(image.substr(0, image.size() - c.cut), 100))
      f.bas.Link().ProcessPacketTCP(fr);
    EXPECT_EQ(f.bas.Link().DatabasePending, c.pending);
    EXPECT_EQ(f.bas.Database().DatabaseCount(), c.databases);
    EXPECT_NE(log.Take().find(c.shown), std::string::npos);
  }
}

}  // namespace
}  // namespace quotlink
